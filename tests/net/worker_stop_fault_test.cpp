// Workers that are stopped in every phase of their work, five hundred of them, with nothing left
// behind.
#include <winsock2.h>

#include <afxwin.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "CHTTP.h"
#include "net/process_resources.h"
#include "net/std_socket_peers.h"
#include "support/scripted_camera.h"

namespace
{

using ostrel::test::BareListener;
using ostrel::test::BareSocket;
using ostrel::test::CameraEnding;
using ostrel::test::CameraScript;
using ostrel::test::Clock;
using ostrel::test::Eventually;
using ostrel::test::ExpectNothingLeftBehind;
using ostrel::test::LoopbackAddress;
using ostrel::test::MeasureResources;
using ostrel::test::MillisecondsSince;
using ostrel::test::ProcessResources;
using ostrel::test::ScriptedCamera;
using ostrel::test::Send;
using ostrel::test::SendByteByByte;
using ostrel::test::Wait;

// Short, so that a worker ends by itself while it is being waited for; long enough to be found in
// its phase.
constexpr int kTimeOut = 600;
constexpr int kGroupMode = 1;
constexpr int kOneConnection = 0;
constexpr std::size_t kBodySize = 200000;
// A single one left behind is to be seen.
constexpr unsigned kBlockSize = 100000;
// More than the platform takes from a sender whose peer does not read.
constexpr unsigned kHugeBlockSize = 16 << 20;

/// A listener whose queue is full: whoever connects gets no answer.
class FullListener
{
public:
    FullListener()
    {
        sockaddr_in address = LoopbackAddress(0);
        int size = static_cast<int>(sizeof(address));
        EXPECT_EQ(bind(vm_listener.handle, reinterpret_cast<sockaddr*>(&address), size), 0);
        EXPECT_EQ(listen(vm_listener.handle, 1), 0);
        getsockname(vm_listener.handle, reinterpret_cast<sockaddr*>(&address), &size);
        port = ntohs(address.sin_port);
        for (const BareSocket& waiting : vm_queue)
        {
            u_long isNonBlocking = 1;
            ioctlsocket(waiting.handle, FIONBIO, &isNonBlocking);
            connect(waiting.handle, reinterpret_cast<sockaddr*>(&address), size);
        }
        Sleep(200);
    }

    int port = 0;

private:
    BareSocket vm_listener;
    std::array<BareSocket, 8> vm_queue;
};

enum class Stop
{
    Release,
    Init,
    StopPost,
    Destroy
};

/// One worker: an object, and a handle of its thread that stays good after the stop.
class StoppedWorker
{
public:
    explicit StoppedWorker(int port)
    {
        vm_pHttp->m_S_Init("127.0.0.1", "user", "pass", port);
        vm_pHttp->m_nTimeOut = kTimeOut;
    }
    ~StoppedWorker()
    {
        if (vm_hThread != nullptr)
        {
            CloseHandle(vm_hThread);
        }
    }
    StoppedWorker(const StoppedWorker&) = delete;
    StoppedWorker& operator=(const StoppedWorker&) = delete;

    CHTTP& Http() { return *vm_pHttp; }

    void StartGet()
    {
        EXPECT_NE(vm_pHttp->m_F_n_HTTPGetData("snap.jpg", kTimeOut), 0U);
        Keep(vm_pHttp->m_hThread);
    }

    void StartPost(int mode, int blocks, unsigned blockSize = kBlockSize)
    {
        EXPECT_EQ(vm_pHttp->m_F_n_StartPostThread("POST /x HTTP/1.0\r\n", mode), 1U);
        Keep(vm_pHttp->m_hPostThread);
        const std::vector<unsigned char> block(blockSize, 'b');
        for (int i = 0; i < blocks; ++i)
        {
            EXPECT_TRUE(vm_pHttp->m_F_b_AddPost(block.data(), blockSize));
        }
    }

    bool IsRunning() const { return WaitForSingleObject(vm_hThread, 0) == WAIT_TIMEOUT; }

    std::size_t Queued()
    {
        const CSingleLock guard(&vm_pHttp->m_csPost, TRUE);
        return static_cast<std::size_t>(vm_pHttp->m_listPost.GetCount());
    }

    /// Stops it in the midst of its work.
    void End(Stop how)
    {
        EXPECT_TRUE(IsRunning()) << "the phase was over before the stop";
        const auto start = Clock::now();
        switch (how)
        {
            case Stop::Release:
                vm_pHttp->m_S_Release();
                break;
            case Stop::Init:
                vm_pHttp->m_S_Init("127.0.0.1", "other", "other", 1);
                break;
            case Stop::StopPost:
                vm_pHttp->m_F_n_StopPostThread();
                break;
            case Stop::Destroy:
                vm_pHttp.reset();
                break;
        }
        EXPECT_LT(MillisecondsSince(start), 20000);
        EXPECT_FALSE(IsRunning()) << "the worker is still there";
        if (vm_pHttp != nullptr)
        {
            EXPECT_EQ(vm_pHttp->m_nState, 0);
            EXPECT_EQ(vm_pHttp->m_socket, INVALID_SOCKET);
            EXPECT_TRUE(vm_pHttp->m_listPost.IsEmpty());
            EXPECT_EQ(vm_pHttp->m_hPostThread, nullptr);
        }
    }

private:
    void Keep(HANDLE hThread)
    {
        EXPECT_TRUE(DuplicateHandle(GetCurrentProcess(), hThread, GetCurrentProcess(), &vm_hThread,
                                    0, FALSE, DUPLICATE_SAME_ACCESS));
    }

    std::unique_ptr<CHTTP> vm_pHttp = std::make_unique<CHTTP>();
    HANDLE vm_hThread = nullptr;
};

std::string LargeHead()
{
    return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(kBodySize) + "\r\n\r\n";
}

void ExpectEndedByPeer(ScriptedCamera& camera)
{
    const CameraEnding ending = camera.Ending();
    EXPECT_TRUE(ending == CameraEnding::PeerReset || ending == CameraEnding::PeerClosed)
        << "the connection ended as " << static_cast<int>(ending);
}

// ---- The phases --------------------------------------------------------------------------------

void GetConnecting(Stop how)
{
    FullListener peer;
    StoppedWorker worker(peer.port);
    worker.StartGet();
    Sleep(50);
    worker.End(how);
}

void GetAwaitingTheAnswer(Stop how)
{
    ScriptedCamera camera(CameraScript{});
    StoppedWorker worker(camera.Port());
    worker.StartGet();
    camera.Received();
    worker.End(how);
    ExpectEndedByPeer(camera);
}

void GetReceivingASlowBody(Stop how)
{
    CameraScript script = SendByteByByte("slowly, byte by byte", 25);
    script.insert(script.begin(), Send(LargeHead() + std::string(kBodySize / 2, 'b')));
    ScriptedCamera camera(script);
    StoppedWorker worker(camera.Port());
    worker.StartGet();
    camera.Received();
    Sleep(100);
    worker.End(how);
    ExpectEndedByPeer(camera);
}

void GetCallingBack(Stop how)
{
    ScriptedCamera camera({Send(LargeHead() + std::string(kBodySize, 'b'))});
    StoppedWorker worker(camera.Port());
    std::atomic<bool> isInside = false;
    worker.Http().m_nUserData1 = reinterpret_cast<__int64>(&isInside);
    worker.Http().m_pfnFinished = [](int, __int64 inside, __int64) -> int
    {
        *reinterpret_cast<std::atomic<bool>*>(inside) = true;
        Sleep(150);
        return 0;
    };
    worker.StartGet();
    EXPECT_TRUE(Eventually([&isInside] { return isInside.load(); }));
    worker.End(how);
    ExpectEndedByPeer(camera);
}

template <int mode>
void PostConnecting(Stop how)
{
    FullListener peer;
    StoppedWorker worker(peer.port);
    worker.StartPost(mode, 3);
    Sleep(50);
    EXPECT_EQ(worker.Queued(), 3U);
    worker.End(how);
}

template <int mode>
void PostRetryingARefusedConnect(Stop how)
{
    ostrel::test::RefusingPort peer;
    StoppedWorker worker(peer.port);
    worker.StartPost(mode, 3);
    Sleep(kTimeOut + 50);
    EXPECT_EQ(worker.Queued(), 3U);
    worker.End(how);
}

// The peer's platform takes the connection, and the first bytes; the peer itself nothing.
template <int mode>
void PostSending(Stop how)
{
    BareListener peer(65536);
    StoppedWorker worker(peer.port);
    worker.StartPost(mode, 2, kHugeBlockSize);
    EXPECT_TRUE(peer.HasConnection());
    Sleep(200);
    EXPECT_EQ(worker.Queued(), 2U);
    worker.End(how);
}

template <int mode>
void PostWithAnEmptyQueue(Stop how)
{
    ScriptedCamera camera(CameraScript{});
    StoppedWorker worker(camera.Port());
    worker.StartPost(mode, 1);
    EXPECT_GT(camera.ReceivedBytes(kBlockSize).size(), kBlockSize - 1);
    EXPECT_TRUE(Eventually([&worker] { return worker.Queued() == 0; }));
    worker.End(how);
    ExpectEndedByPeer(camera);
}

template <int mode>
void PostInTheMidstOfItsQueue(Stop how)
{
    ScriptedCamera camera(CameraScript{});
    StoppedWorker worker(camera.Port());
    worker.StartPost(mode, 200, 5000);
    EXPECT_TRUE(Eventually([&worker] { return worker.Queued() < 190; }));
    EXPECT_GT(worker.Queued(), 0U);
    worker.End(how);
    ExpectEndedByPeer(camera);
}

void GroupNeverConnected(Stop how)
{
    ostrel::test::RefusingPort peer;
    StoppedWorker worker(peer.port);
    worker.StartPost(kGroupMode, 0);
    Sleep(20);
    worker.End(how);
}

struct StopCase
{
    const char* phase;
    void (*run)(Stop);
    Stop how;
};

constexpr StopCase kCases[] = {
    {"GET connecting, release", GetConnecting, Stop::Release},
    {"GET connecting, destruction", GetConnecting, Stop::Destroy},
    {"GET awaiting the answer, release", GetAwaitingTheAnswer, Stop::Release},
    {"GET awaiting the answer, destruction", GetAwaitingTheAnswer, Stop::Destroy},
    {"GET awaiting the answer, init", GetAwaitingTheAnswer, Stop::Init},
    {"GET receiving, release", GetReceivingASlowBody, Stop::Release},
    {"GET receiving, destruction", GetReceivingASlowBody, Stop::Destroy},
    {"GET calling back, release", GetCallingBack, Stop::Release},
    {"post connecting, stop", PostConnecting<kOneConnection>, Stop::StopPost},
    {"post connecting, release", PostConnecting<kOneConnection>, Stop::Release},
    {"post retrying, destruction", PostRetryingARefusedConnect<kOneConnection>, Stop::Destroy},
    {"post sending, stop", PostSending<kOneConnection>, Stop::StopPost},
    {"post sending, destruction", PostSending<kOneConnection>, Stop::Destroy},
    {"post idle, stop", PostWithAnEmptyQueue<kOneConnection>, Stop::StopPost},
    {"post idle, release", PostWithAnEmptyQueue<kOneConnection>, Stop::Release},
    {"post idle, destruction", PostWithAnEmptyQueue<kOneConnection>, Stop::Destroy},
    {"post amid its queue, init", PostInTheMidstOfItsQueue<kOneConnection>, Stop::Init},
    {"group connecting, stop", PostConnecting<kGroupMode>, Stop::StopPost},
    {"group retrying, destruction", PostRetryingARefusedConnect<kGroupMode>, Stop::Destroy},
    {"group sending, stop", PostSending<kGroupMode>, Stop::StopPost},
    {"group sending, destruction", PostSending<kGroupMode>, Stop::Destroy},
    {"group idle, stop", PostWithAnEmptyQueue<kGroupMode>, Stop::StopPost},
    {"group idle, destruction", PostWithAnEmptyQueue<kGroupMode>, Stop::Destroy},
    {"group never connected, stop", GroupNeverConnected, Stop::StopPost},
    {"group amid its queue, stop", PostInTheMidstOfItsQueue<kGroupMode>, Stop::StopPost},
};
constexpr int kCaseCount = static_cast<int>(sizeof(kCases) / sizeof(kCases[0]));

/// Stops so many workers, one after another, on each of some threads, which begin at different
/// kinds.
int StopWorkers(int threadCount, int each)
{
    std::atomic<int> stopped = 0;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < threadCount; ++thread)
    {
        threads.emplace_back(
            [thread, threadCount, each, &stopped]
            {
                for (int i = 0; i < each; ++i)
                {
                    const StopCase& stopCase =
                        kCases[(i + thread * kCaseCount / threadCount) % kCaseCount];
                    SCOPED_TRACE(stopCase.phase);
                    stopCase.run(stopCase.how);
                    ++stopped;
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    return stopped;
}

class WorkerStop : public ::testing::Test
{
protected:
    WorkerStop()
    {
        WSADATA data = {};
        WSAStartup(MAKEWORD(2, 2), &data);
    }
    ~WorkerStop() override { WSACleanup(); }
};

}  // namespace

TEST_F(WorkerStop, InAnyPhaseLeavesNothingBehindAfterFiveHundred)
{
    constexpr int kThreads = 20;
    EXPECT_EQ(StopWorkers(kCaseCount, 1), kCaseCount);
    const ProcessResources before = MeasureResources();
    const int stopped = StopWorkers(kThreads, kCaseCount);
    std::printf("%d workers stopped, %d kinds\n", stopped, kCaseCount);
    EXPECT_EQ(stopped, 500);
    ExpectNothingLeftBehind(before);
}

TEST_F(WorkerStop, ByForceAfterTenSecondsLeavesNothingBehindEither)
{
    // A byte now and then keeps a fetch going for as long as its body is long.
    constexpr std::size_t kWorkers = 8;
    const auto stopAll = [](std::size_t count)
    {
        std::vector<std::thread> threads;
        for (std::size_t i = 0; i < count; ++i)
        {
            threads.emplace_back(
                []
                {
                    CameraScript script = SendByteByByte(std::string(400, 'b'), 50);
                    script.insert(script.begin(), Send(LargeHead()));
                    ScriptedCamera camera(script);
                    StoppedWorker worker(camera.Port());
                    worker.StartGet();
                    camera.Received();
                    const auto start = Clock::now();
                    worker.End(Stop::Release);
                    EXPECT_GE(MillisecondsSince(start), 9900);
                    ExpectEndedByPeer(camera);
                });
        }
        for (std::thread& thread : threads)
        {
            thread.join();
        }
    };
    const ProcessResources before = MeasureResources();
    stopAll(kWorkers);
    // What threads of the test's own and a first termination leave for later use.
    constexpr std::size_t kToleratedHandles = 12;
    ExpectNothingLeftBehind(before, kToleratedHandles);
}
