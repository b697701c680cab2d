#include <gtest/gtest.h>
// clang-format off
#include <winsock2.h>
#include <windows.h>
#include <psapi.h>
// clang-format on

#include <chrono>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "CHTTP.h"
#include "support/import_patch.h"
#include "support/output_capture.h"
#include "support/scripted_camera.h"

using ostrel::test::ImportPatch;
using ostrel::test::OutputCapture;
using ostrel::test::ScriptedCamera;
using ostrel::test::Send;

namespace
{

using Clock = std::chrono::steady_clock;

constexpr int kEndless = 0;
constexpr int kGroup = 1;
constexpr char kPrefix[] = "POST /stream HTTP/1.0\r\n";

const std::string kAuthorization = "Authorization: Basic dXNlcjpzZWNyZXQ=\r\n\r\n";
const std::string kEndlessHead = kPrefix + kAuthorization;

std::string BlockRequest(const std::string& block)
{
    return kPrefix + ("Content-Length: " + std::to_string(block.size())) + "\r\n" + kAuthorization +
           block;
}

bool Within20Seconds(const std::function<bool()>& condition)
{
    const Clock::time_point end = Clock::now() + std::chrono::seconds(20);
    while (!condition())
    {
        if (Clock::now() > end)
        {
            return false;
        }
        Sleep(5);
    }
    return true;
}

struct Client
{
    explicit Client(int port)
    {
        http.m_S_Init("127.0.0.1", "user", "secret", port);
        http.m_nTimeOut = 5000;
    }
    explicit Client(const ScriptedCamera& camera) : Client(camera.Port()) {}

    bool Add(const std::string& block)
    {
        return http.m_F_b_AddPost(reinterpret_cast<const unsigned char*>(block.data()),
                                  static_cast<unsigned>(block.size()));
    }

    bool IsRunning() const
    {
        return http.m_hPostThread != nullptr &&
               WaitForSingleObject(http.m_hPostThread, 0) == WAIT_TIMEOUT;
    }

    void ExpectStopped()
    {
        EXPECT_EQ(http.m_nState, 0);
        EXPECT_FALSE(http.m_bPostRun);
        EXPECT_EQ(http.m_hPostThread, nullptr);
        EXPECT_EQ(http.m_socket, INVALID_SOCKET);
        EXPECT_TRUE(http.m_listPost.IsEmpty());
        EXPECT_EQ(std::string(http.m_szPostUrl, sizeof(http.m_szPostUrl)),
                  std::string(sizeof(http.m_szPostUrl), '\0'));
    }

    CHTTP http;
};

int FreePort()
{
    ScriptedCamera camera({});
    return camera.Port();
}

/// Listens, but never takes a connection: a large block fills the buffers and then blocks.
struct DeafPeer
{
    DeafPeer()
    {
        WSADATA data = {};
        WSAStartup(MAKEWORD(2, 2), &data);
        listener = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        int size = sizeof(address);
        bind(listener, reinterpret_cast<sockaddr*>(&address), size);
        listen(listener, 5);
        getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size);
        port = ntohs(address.sin_port);
    }
    ~DeafPeer()
    {
        closesocket(listener);
        WSACleanup();
    }
    DeafPeer(const DeafPeer&) = delete;
    DeafPeer& operator=(const DeafPeer&) = delete;

    SOCKET listener;
    int port;
};

SIZE_T CommittedBytes()
{
    PROCESS_MEMORY_COUNTERS counters = {};
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters));
    return counters.PagefileUsage;
}

HANDLE WINAPI NoThread(LPSECURITY_ATTRIBUTES, SIZE_T, LPTHREAD_START_ROUTINE, LPVOID, DWORD,
                       LPDWORD)
{
    return nullptr;
}

class BothPostWorkers : public testing::TestWithParam<int>
{
};

INSTANTIATE_TEST_SUITE_P(HttpPost, BothPostWorkers, testing::Values(kEndless, kGroup),
                         [](const auto& info)
                         { return std::string(info.param == kGroup ? "Group" : "Endless"); });

}  // namespace

TEST_P(BothPostWorkers, DeliverAThousandBlocksInOrder)
{
    ScriptedCamera camera({});
    Client client(camera);
    ASSERT_EQ(client.http.m_F_n_StartPostThread(kPrefix, GetParam()), 1U);
    std::vector<std::string> blocks;
    std::string endless = kEndlessHead;
    for (int i = 0; i < 1000; ++i)
    {
        blocks.push_back("<" + std::to_string(i) + std::string(static_cast<size_t>(i % 97), 'b'));
        endless += blocks.back();
        ASSERT_TRUE(client.Add(blocks.back()));
    }
    if (GetParam() == kEndless)
    {
        EXPECT_TRUE(camera.ReceivedBytes(endless.size()) == endless);
        EXPECT_EQ(camera.CountOfConnections(), 1U);
    }
    else
    {
        ASSERT_TRUE(Within20Seconds([&] { return client.http.m_listPost.IsEmpty() != FALSE; }));
        ASSERT_TRUE(Within20Seconds([&] { return camera.CountOfConnections() == 1000; }));
        for (std::size_t i = 0; i < blocks.size(); ++i)
        {
            const std::string expected = BlockRequest(blocks[i]);
            ASSERT_EQ(camera.ReceivedBytes(expected.size(), i), expected);
        }
    }
    client.http.m_F_n_StopPostThread();
    client.ExpectStopped();
}

TEST_P(BothPostWorkers, DeliverAnItemAppendedToTheListItself)
{
    ScriptedCamera camera({});
    Client client(camera);
    client.http.m_F_n_StartPostThread(kPrefix, GetParam());
    client.http.m_listPost.AddTail(new unsigned char[7]{3, 0, 0, 0, 'o', 'l', 'd'});
    const std::string expected = GetParam() == kGroup ? BlockRequest("old") : kEndlessHead + "old";
    EXPECT_EQ(camera.ReceivedBytes(expected.size()), expected);
    client.http.m_F_n_StopPostThread();
}

TEST_P(BothPostWorkers, DeliverBlocksAddedByManyThreads)
{
    ScriptedCamera camera({});
    Client client(camera);
    client.http.m_F_n_StartPostThread(kPrefix, GetParam());
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
    {
        threads.emplace_back(
            [&]
            {
                for (int i = 0; i < 50; ++i)
                {
                    client.Add("12345");
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    if (GetParam() == kEndless)
    {
        const std::size_t size = kEndlessHead.size() + 200 * 5;
        EXPECT_EQ(camera.ReceivedBytes(size).size(), size);
    }
    else
    {
        EXPECT_TRUE(Within20Seconds([&] { return camera.CountOfConnections() == 200; }));
    }
    client.http.m_F_n_StopPostThread();
}

TEST_P(BothPostWorkers, AreBusyUntilTheyAreStopped)
{
    ScriptedCamera camera({});
    Client client(camera);
    ASSERT_EQ(client.http.m_F_n_StartPostThread(kPrefix, GetParam()), 1U);
    EXPECT_EQ(client.http.m_nState, GetParam() == kGroup ? 3 : 2);
    EXPECT_TRUE(client.http.m_bPostRun);
    EXPECT_STREQ(client.http.m_szPostUrl, kPrefix);
    const HANDLE worker = client.http.m_hPostThread;

    EXPECT_EQ(client.http.m_F_n_StartPostThread("other", kEndless), 0U);
    EXPECT_EQ(client.http.m_F_n_StartPostThread("other", kGroup), 0U);
    EXPECT_EQ(client.http.m_F_n_HTTPGetData("snap.jpg", 1000), 0U);
    EXPECT_EQ(client.http.m_hThread, nullptr);
    EXPECT_STREQ(client.http.m_szPostUrl, kPrefix);
    EXPECT_EQ(client.http.m_hPostThread, worker);

    EXPECT_EQ(client.http.m_F_n_StopPostThread(), 1U);
    client.ExpectStopped();
    EXPECT_EQ(client.http.m_F_n_StartPostThread(kPrefix, GetParam()), 1U);
    client.http.m_F_n_StopPostThread();
}

TEST_P(BothPostWorkers, DoNotStartWhileAGetWorkerRuns)
{
    ScriptedCamera camera({});
    Client client(camera);
    ASSERT_NE(client.http.m_F_n_HTTPGetData("snap.jpg", 2000), 0U);
    EXPECT_EQ(client.http.m_F_n_StartPostThread(kPrefix, GetParam()), 0U);
    EXPECT_EQ(client.http.m_nState, 1);
    EXPECT_EQ(client.http.m_hPostThread, nullptr);
}

TEST_P(BothPostWorkers, StopWhileTheyCannotConnectAndFreeWhatIsQueued)
{
    Client client(FreePort());
    client.http.m_nTimeOut = 50;
    client.http.m_F_n_StartPostThread(kPrefix, GetParam());
    for (int i = 0; i < 100; ++i)
    {
        client.Add("never sent");
    }
    Sleep(400);
    EXPECT_EQ(client.http.m_listPost.GetCount(), 100);
    OutputCapture output;
    EXPECT_EQ(client.http.m_F_n_StopPostThread(), 1U);
    client.ExpectStopped();
    EXPECT_TRUE(output.Texts().empty()) << "nothing had to be terminated";
}

TEST_P(BothPostWorkers, ConnectOnceThePeerIsThere)
{
    const int port = FreePort();
    Client client(port);
    client.http.m_nTimeOut = 50;
    client.http.m_F_n_StartPostThread(kPrefix, GetParam());
    client.Add("block");
    Sleep(300);
    const SOCKET listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<u_short>(port));
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    ASSERT_EQ(listen(listener, 5), 0);
    const SOCKET peer = accept(listener, nullptr, nullptr);
    const std::string expected =
        GetParam() == kGroup ? BlockRequest("block") : kEndlessHead + "block";
    std::string received;
    char bytes[1000];
    while (received.size() < expected.size())
    {
        const int count = recv(peer, bytes, sizeof(bytes), 0);
        ASSERT_GT(count, 0);
        received.append(bytes, static_cast<std::size_t>(count));
    }
    EXPECT_EQ(received, expected);
    closesocket(peer);
    closesocket(listener);
    client.http.m_F_n_StopPostThread();
}

TEST_P(BothPostWorkers, StopWhileTheyHaveNothingToDo)
{
    ScriptedCamera camera({});
    Client client(camera);
    client.http.m_F_n_StartPostThread(kPrefix, GetParam());
    Sleep(100);
    OutputCapture output;
    client.http.m_F_n_StopPostThread();
    client.ExpectStopped();
    EXPECT_TRUE(output.Texts().empty());
}

TEST(HttpPostStop, EndsASendingThatBlocksByForceAndFreesEverything)
{
    DeafPeer peer;
    Client client(peer.port);
    client.http.m_F_n_StartPostThread(kPrefix, kEndless);
    for (int i = 0; i < 5; ++i)
    {
        client.Add(std::string(20000000, 'b'));
    }
    Sleep(500);
    ASSERT_EQ(client.http.m_listPost.GetCount(), 5);
    OutputCapture output;
    client.http.m_F_n_StopPostThread();
    client.ExpectStopped();
    ASSERT_EQ(output.Texts().size(), 1U);
    EXPECT_NE(output.Texts()[0].find("TIMEOUT = 1002"), std::string::npos);
    // The object is as good as new.
    ScriptedCamera camera({});
    client.http.m_nPort = camera.Port();
    client.http.m_F_n_StartPostThread(kPrefix, kEndless);
    client.Add("again");
    EXPECT_EQ(camera.ReceivedBytes((kEndlessHead + "again").size()), kEndlessHead + "again");
    client.http.m_F_n_StopPostThread();
}

TEST(HttpPostStop, EndsASendingOfTheGroupWorkerThatBlocksWithoutForce)
{
    DeafPeer peer;
    Client client(peer.port);
    client.http.m_F_n_StartPostThread(kPrefix, kGroup);
    client.Add(std::string(20000000, 'b'));
    client.Add(std::string(20000000, 'c'));
    Sleep(500);
    OutputCapture output;
    client.http.m_F_n_StopPostThread();
    client.ExpectStopped();
    EXPECT_TRUE(output.Texts().empty());
}

TEST(HttpPostStop, LeavesNoMemoryBehindHoweverOftenAWorkerIsTerminated)
{
    DeafPeer peer;
    Client client(peer.port);
    SIZE_T before = 0;
    for (int round = 0; round < 5; ++round)
    {
        client.http.m_F_n_StartPostThread(kPrefix, kEndless);
        for (int i = 0; i < 3; ++i)
        {
            client.Add(std::string(20000000, 'b'));
        }
        Sleep(100);
        client.http.m_F_n_StopPostThread();
        if (round == 0)
        {
            before = CommittedBytes();
        }
    }
    EXPECT_LT(CommittedBytes(), before + 60000000);
}

TEST(HttpPostStop, DoesNothingButClearWhenNothingRuns)
{
    CHTTP http;
    http.m_F_b_AddPost(reinterpret_cast<const unsigned char*>("abc"), 3);
    EXPECT_EQ(http.m_F_n_StopPostThread(), 1U);
    EXPECT_TRUE(http.m_listPost.IsEmpty());
    EXPECT_EQ(http.m_F_n_StopPostThread(), 1U);
}

TEST(HttpPostStart, ClearsLeftoversOfAnEarlierRun)
{
    ScriptedCamera camera({});
    Client client(camera);
    client.Add("left over");
    client.http.m_F_n_StartPostThread(kPrefix, kEndless);
    client.Add("new");
    EXPECT_EQ(camera.ReceivedBytes((kEndlessHead + "new").size()), kEndlessHead + "new");
    client.http.m_F_n_StopPostThread();
}

TEST(HttpPostStart, TakesAnyOtherModeForTheEndlessRequest)
{
    ScriptedCamera camera({});
    Client client(camera);
    for (const int mode : {0, 2, 3, -1})
    {
        client.http.m_F_n_StartPostThread(kPrefix, mode);
        EXPECT_EQ(client.http.m_nState, 2);
        client.http.m_F_n_StopPostThread();
    }
}

TEST(HttpPostStart, RefusesAPrefixThatDoesNotFitItsField)
{
    ScriptedCamera camera({});
    Client client(camera);
    const std::string longest = std::string(255, 'p');
    client.http.m_F_n_StartPostThread(longest.c_str(), kGroup);
    EXPECT_EQ(client.http.m_szPostUrl, longest);
    client.http.m_F_n_StopPostThread();
    client.http.m_F_n_StartPostThread((longest + "p").c_str(), kGroup);
    EXPECT_STREQ(client.http.m_szPostUrl, "");
    client.http.m_F_n_StopPostThread();
    EXPECT_EQ(client.http.m_F_n_StartPostThread(nullptr, kGroup), 1U);
    EXPECT_STREQ(client.http.m_szPostUrl, "");
    client.http.m_F_n_StopPostThread();
}

TEST(HttpPostStart, TakesThePrefixFieldItself)
{
    ScriptedCamera camera({});
    Client client(camera);
    std::strcpy(client.http.m_szPostUrl, kPrefix);
    client.http.m_F_n_StartPostThread(client.http.m_szPostUrl, kGroup);
    EXPECT_STREQ(client.http.m_szPostUrl, kPrefix);
    client.http.m_F_n_StopPostThread();
}

TEST(HttpPostStart, YieldsOneEvenWithoutAThreadButLeavesTheObjectFree)
{
    ScriptedCamera camera({});
    Client client(camera);
    {
        const ImportPatch patch("CreateThread", NoThread);
        EXPECT_EQ(client.http.m_F_n_StartPostThread(kPrefix, kGroup), 1U);
    }
    EXPECT_EQ(client.http.m_nState, 0);
    EXPECT_FALSE(client.http.m_bPostRun);
    EXPECT_EQ(client.http.m_hPostThread, nullptr);
    EXPECT_EQ(client.http.m_F_n_StartPostThread(kPrefix, kGroup), 1U);
    EXPECT_EQ(client.http.m_nState, 3);
    client.http.m_F_n_StopPostThread();
}

TEST(HttpPostRelease, StopsTheEndlessWorker)
{
    ScriptedCamera camera({});
    Client client(camera);
    client.http.m_F_n_StartPostThread(kPrefix, kEndless);
    client.Add("block");
    camera.ReceivedBytes(kEndlessHead.size() + 5);
    EXPECT_TRUE(client.http.m_S_Release());
    client.ExpectStopped();
}

TEST(HttpPostRelease, DoesNotStopTheGroupWorker)
{
    ScriptedCamera camera({});
    Client client(camera);
    client.http.m_F_n_StartPostThread(kPrefix, kGroup);
    EXPECT_TRUE(client.http.m_S_Release());
    EXPECT_EQ(client.http.m_nState, 0);
    EXPECT_TRUE(client.IsRunning());
    client.Add("after");
    EXPECT_EQ(camera.ReceivedBytes(BlockRequest("after").size()), BlockRequest("after"));
    client.http.m_F_n_StopPostThread();
    client.ExpectStopped();
}

TEST_P(BothPostWorkers, DoNotOutliveTheObject)
{
    ScriptedCamera camera({});
    HANDLE observer = nullptr;
    {
        Client client(camera);
        client.http.m_F_n_StartPostThread(kPrefix, GetParam());
        DuplicateHandle(GetCurrentProcess(), client.http.m_hPostThread, GetCurrentProcess(),
                        &observer, 0, FALSE, DUPLICATE_SAME_ACCESS);
        client.Add("block");
    }
    EXPECT_EQ(WaitForSingleObject(observer, 0), WAIT_OBJECT_0);
    DWORD code = 0;
    EXPECT_TRUE(GetExitCodeThread(observer, &code));
    EXPECT_EQ(code, 1U);
    CloseHandle(observer);
}

TEST(HttpPostWorker, EndsWithOneWithoutAnObject)
{
    EXPECT_EQ(CHTTP::m_F_n_PostThreadProc(nullptr), 1U);
    EXPECT_EQ(CHTTP::m_F_n_GroupPostThreadProc(nullptr), 1U);
}

TEST(HttpPostWorker, SetsTheStateToZeroWhenItLeavesByItself)
{
    ScriptedCamera camera({});
    for (const int mode : {kEndless, kGroup})
    {
        Client client(camera);
        client.http.m_F_n_StartPostThread(kPrefix, mode);
        client.http.m_bPostRun = false;
        EXPECT_EQ(WaitForSingleObject(client.http.m_hPostThread, 20000), WAIT_OBJECT_0);
        EXPECT_EQ(client.http.m_nState, 0);
        EXPECT_EQ(client.http.m_socket, INVALID_SOCKET);
        EXPECT_EQ(client.http.m_F_n_StartPostThread(kPrefix, mode), 1U);
        client.http.m_F_n_StopPostThread();
    }
}

TEST(HttpPostWorker, DropsBlocksWhenThePeerIsGoneAndDoesNotReconnect)
{
    ScriptedCamera camera({ostrel::test::Reset()});
    Client client(camera);
    client.http.m_F_n_StartPostThread(kPrefix, kEndless);
    camera.Ending();
    for (int i = 0; i < 50; ++i)
    {
        client.Add("block");
    }
    EXPECT_TRUE(Within20Seconds([&] { return client.http.m_listPost.IsEmpty() != FALSE; }));
    EXPECT_EQ(client.http.m_nState, 2);
    EXPECT_EQ(camera.CountOfConnections(), 1U);
    client.http.m_F_n_StopPostThread();
}

TEST(HttpPostAdd, RefusesNullWithALengthAndTakesAnEmptyBlock)
{
    CHTTP http;
    EXPECT_FALSE(http.m_F_b_AddPost(nullptr, 1));
    EXPECT_TRUE(http.m_listPost.IsEmpty());
    EXPECT_TRUE(http.m_F_b_AddPost(nullptr, 0));
    EXPECT_EQ(http.m_listPost.GetCount(), 1);
}

TEST(HttpPostAdd, MakesOneArrayBlockOfCountAndBytes)
{
    CHTTP http;
    http.m_F_b_AddPost(reinterpret_cast<const unsigned char*>("abc"), 3);
    ASSERT_EQ(http.m_listPost.GetCount(), 1);
    EXPECT_EQ(std::memcmp(http.m_listPost.GetHead(), "\3\0\0\0abc", 7), 0);
}

TEST(HttpPostWorker, PostsAnEmptyBlockAsAnEmptyBody)
{
    ScriptedCamera camera({});
    Client client(camera);
    client.http.m_F_n_StartPostThread(kPrefix, kGroup);
    client.Add("");
    EXPECT_EQ(camera.ReceivedBytes(BlockRequest("").size()), BlockRequest(""));
    client.http.m_F_n_StopPostThread();
}
