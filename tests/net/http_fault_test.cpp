// Answers that are cut anywhere, come byte by byte, pause, or never come: each exported way of the
// HTTP class to receive, and the stream socket's.
#include <winsock2.h>

#include <afxwin.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "CHTTP.h"
#include "CStdSocket.h"
#include "net/process_resources.h"
#include "net/std_socket_peers.h"
#include "support/scripted_camera.h"

namespace
{

using ostrel::test::BareListener;
using ostrel::test::BareSocket;
using ostrel::test::CameraScript;
using ostrel::test::CameraStep;
using ostrel::test::Clock;
using ostrel::test::Close;
using ostrel::test::MillisecondsSince;
using ostrel::test::Reset;
using ostrel::test::ScriptedCamera;
using ostrel::test::Send;
using ostrel::test::SendByteByByte;
using ostrel::test::Wait;

constexpr char kHost[] = "127.0.0.1";
constexpr int kTimeOut = 5000;
constexpr int kNothingArrived = -5;
// Gives the client the time to take what was sent before a reset, which may take it back.
constexpr int kBeforeReset = 60;
// Clocks of different make may disagree by a tick.
constexpr int kTick = 20;

constexpr char kBody[] = "twelve bytes";
constexpr int kBodyLength = 12;
const std::string kAnswer = std::string("HTTP/1.1 200 OK\r\nContent-Length: 12\r\n\r\n") + kBody;
const std::string kRefusal = "HTTP/1.1 401 Unauthorized\r\nContent-Length: 0\r\n\r\n";
const std::string kStreamHead =
    "HTTP/1.0 200 OK\r\nContent-Type: multipart/x-mixed-replace;boundary=abc\r\n\r\n";
const std::string kPart = "Content-Type: text/plain\r\n\r\none\r\n";
const std::string kStream = kStreamHead + "--abc\r\n" + kPart + "--abc\r\n";
const std::string kPosted = "the posted data";

/// What one exchange came to.
struct Result
{
    int code = -1000;
    int reported = -1000;  // to the callback
    std::string bytes;

    bool operator==(const Result& other) const
    {
        return code == other.code && reported == other.reported && bytes == other.bytes;
    }
};

std::ostream& operator<<(std::ostream& out, const Result& result)
{
    return out << result.code << ", reported " << result.reported << ", \"" << result.bytes << '"';
}

// ---- The ways to receive -----------------------------------------------------------------------

std::string Stored(CMemManage& data, int count)
{
    return count > 0 ? std::string(data.m_F_p_GetStrCHAR(), static_cast<std::size_t>(count))
                     : std::string();
}

Result GetDirectly(int port, int timeOut)
{
    CHTTP http;
    CMemManage data;
    Result result;
    result.code =
        http.m_F_n_HTTPGetDataDirect(kHost, "user", "pass", port, "snap.jpg", &data, timeOut);
    result.bytes = Stored(data, result.code);
    return result;
}

Result GetByWorker(int port, int timeOut)
{
    CHTTP http;
    Result result;
    http.m_S_Init(kHost, "user", "pass", port);
    http.m_nUserData1 = reinterpret_cast<__int64>(&result);
    http.m_pfnFinished = [](int code, __int64 target, __int64) -> int
    {
        reinterpret_cast<Result*>(target)->reported = code;
        return 0;
    };
    EXPECT_NE(http.m_F_n_HTTPGetData("snap.jpg", timeOut), 0U);
    EXPECT_EQ(WaitForSingleObject(http.m_hThread, 20000), WAIT_OBJECT_0);
    DWORD code = 0;
    EXPECT_TRUE(GetExitCodeThread(http.m_hThread, &code));
    result.code = static_cast<int>(code);
    result.bytes = Stored(http.m_memData, result.code);
    return result;
}

Result PostDirectly(int port, int timeOut)
{
    CHTTP http;
    char reply[1000] = {};
    Result result;
    result.code = http.m_F_n_HTTPPostDataDirect(
        kHost, "user", "pass", port, "x", reinterpret_cast<const unsigned char*>(kPosted.data()),
        static_cast<int>(kPosted.size()), reply, static_cast<int>(sizeof(reply)), timeOut);
    result.bytes.assign(reply, static_cast<std::size_t>(std::max(result.code, 0)));
    return result;
}

Result PostInPieces(int port, int timeOut)
{
    CHTTP http;
    char reply[1000] = {};
    int sent = -1;
    Result result;
    result.code = http.m_F_n_HTTPPostDataDirectSplit(
        kHost, "user", "pass", port, "x", reinterpret_cast<const unsigned char*>(kPosted.data()),
        static_cast<int>(kPosted.size()), reply, static_cast<int>(sizeof(reply)), sent,
        static_cast<unsigned>(timeOut), 4);
    result.bytes.assign(reply, static_cast<std::size_t>(std::max(result.code, 0)));
    EXPECT_GE(sent, 0);
    EXPECT_LE(sent, static_cast<int>(kPosted.size()));
    return result;
}

Result ReadPart(int port, int timeOut)
{
    CHTTP http;
    http.m_S_Init(kHost, "user", "pass", port);
    char part[1024] = {};
    Result result;
    result.code =
        http.m_F_n_MultiPartStreamGet("stream", part, static_cast<int>(sizeof(part)), timeOut);
    const bool isPart = result.code > 1;
    result.bytes.assign(part, isPart ? static_cast<std::size_t>(result.code) : 0);
    EXPECT_EQ(http.m_socket != INVALID_SOCKET, isPart) << "anything but a part closes";
    return result;
}

// Receives until the connection ends or nothing comes for a while. The code is the last result.
Result ReceiveAll(int port, int timeOut)
{
    CStdSocket socket(0);
    Result result;
    EXPECT_EQ(socket.m_F_n_ConnectTo(L"127.0.0.1", port, kTimeOut, 0), 1);
    EXPECT_EQ(socket.m_F_n_SendSocket("\r\n\r\n", 4, kTimeOut), 4);
    const auto start = Clock::now();
    do
    {
        char buffer[7];
        result.code =
            socket.m_F_n_ReceviceSocket(buffer, static_cast<int>(sizeof(buffer)), kTimeOut);
        if (result.code > 0)
        {
            result.bytes.append(buffer, static_cast<std::size_t>(result.code));
        }
    } while (result.code > 0 ||
             (result.code == kNothingArrived && MillisecondsSince(start) < timeOut));
    return result;
}

using Way = Result (*)(int port, int timeOut);

// ---- What is to come of a cut answer -----------------------------------------------------------

bool HasLineEnd(const std::string& text)
{
    return text.find("\r\n") != std::string::npos;
}

bool HasHeadEnd(const std::string& text)
{
    return text.find("\r\n\r\n") != std::string::npos;
}

Result FromCutAnswerDirectly(const std::string& cut)
{
    if (!HasLineEnd(cut))
    {
        return {-3, -1000, ""};
    }
    const std::string body = HasHeadEnd(cut) ? cut.substr(cut.find("\r\n\r\n") + 4) : "";
    return {static_cast<int>(body.size()), -1000, body};
}

Result FromCutAnswerByWorker(const std::string& cut)
{
    if (!HasHeadEnd(cut))
    {
        return {-3, -3, ""};
    }
    Result result = FromCutAnswerDirectly(cut);
    result.reported = kBodyLength;
    return result;
}

Result FromCutRefusalDirectly(const std::string& cut)
{
    return {HasLineEnd(cut) ? -4 : -3, -1000, ""};
}

// The worker knows a refusal without a line end.
Result FromCutRefusalByWorker(const std::string& cut)
{
    const int code = cut.find(" 401 ") != std::string::npos ? -4 : -3;
    return {code, code, ""};
}

Result FromCutReply(const std::string& cut)
{
    return {static_cast<int>(cut.size()), -1000, cut};
}

Result FromCutStream(const std::string& cut)
{
    if (cut == kStream)
    {
        return {static_cast<int>(kPart.size()), -1000, kPart};
    }
    if (HasHeadEnd(cut))
    {
        return {1, -1000, ""};
    }
    return {HasLineEnd(cut) ? -5 : -3, -1000, ""};
}

Result FromCutReceive(const std::string& cut)
{
    return {0, -1000, cut};
}

using Expectation = Result (*)(const std::string& cut);

struct Member
{
    const char* name;
    Way way;
    const std::string* answer;
    Expectation expectation;
    int timeOutOfCuts;
};

// A multipart stream that is closed ends with a silence, so it gets little time for it; but enough
// to be sent what is sent at once.
const Member kMembers[] = {
    {"GetDirectly", GetDirectly, &kAnswer, FromCutAnswerDirectly, kTimeOut},
    {"GetDirectlyRefused", GetDirectly, &kRefusal, FromCutRefusalDirectly, kTimeOut},
    {"GetByWorker", GetByWorker, &kAnswer, FromCutAnswerByWorker, kTimeOut},
    {"GetByWorkerRefused", GetByWorker, &kRefusal, FromCutRefusalByWorker, kTimeOut},
    {"PostDirectly", PostDirectly, &kAnswer, FromCutReply, kTimeOut},
    {"PostInPieces", PostInPieces, &kAnswer, FromCutReply, kTimeOut},
    {"MultiPartStream", ReadPart, &kStream, FromCutStream, 200},
    {"StdSocket", ReceiveAll, &kAnswer, FromCutReceive, kTimeOut}};

class EveryMember : public ::testing::TestWithParam<Member>
{
protected:
    EveryMember()
    {
        WSADATA data = {};
        WSAStartup(MAKEWORD(2, 2), &data);
    }
    ~EveryMember() override { WSACleanup(); }

    Result Expected(const std::string& cut) const { return GetParam().expectation(cut); }
    const std::string& Answer() const { return *GetParam().answer; }
    Result Run(int port, int timeOut = kTimeOut) const { return GetParam().way(port, timeOut); }

    Result Run(const CameraScript& script, int timeOut = kTimeOut) const
    {
        ScriptedCamera camera(script);
        return Run(camera.Port(), timeOut);
    }

    /// Cuts the answer at every byte, some positions at a time, and ends it as the steps say.
    void CutEverywhere(const CameraScript& ending) const
    {
        constexpr std::size_t kAtOnce = 8;
        std::vector<Result> results(Answer().size() + 1);
        std::vector<std::thread> threads;
        for (std::size_t first = 0; first < kAtOnce; ++first)
        {
            threads.emplace_back(
                [&, first]
                {
                    for (std::size_t cut = first; cut < results.size(); cut += kAtOnce)
                    {
                        CameraScript script = ending;
                        script.insert(script.begin(), Send(Answer().substr(0, cut)));
                        results[cut] = Run(script, GetParam().timeOutOfCuts);
                    }
                });
        }
        for (std::thread& thread : threads)
        {
            thread.join();
        }
        for (std::size_t cut = 0; cut < results.size(); ++cut)
        {
            EXPECT_EQ(results[cut], Expected(Answer().substr(0, cut))) << "cut at " << cut;
        }
        std::printf("%zu cuts\n", results.size());
    }
};

std::string NameOf(const ::testing::TestParamInfo<Member>& info)
{
    return info.param.name;
}

/// Takes connections and resets each at once, before it has read anything.
class ResettingPeer
{
public:
    ResettingPeer() : vm_thread([this] { Run(); }) {}
    ~ResettingPeer()
    {
        vm_listener.socket.Close();
        vm_thread.join();
    }
    ResettingPeer(const ResettingPeer&) = delete;
    ResettingPeer& operator=(const ResettingPeer&) = delete;
    int Port() const { return vm_listener.port; }

private:
    void Run()
    {
        for (;;)
        {
            const SOCKET accepted = accept(vm_listener.socket.handle, nullptr, nullptr);
            if (accepted == INVALID_SOCKET)
            {
                return;
            }
            BareSocket(accepted).Reset();
        }
    }

    BareListener vm_listener;
    std::thread vm_thread;
};

}  // namespace

TEST_P(EveryMember, TakesWhatCameBeforeTheCloseAtAnyByte)
{
    CutEverywhere({Close()});
}

TEST_P(EveryMember, TakesWhatCameBeforeTheResetAtAnyByte)
{
    CutEverywhere({Wait(kBeforeReset), Reset()});
}

TEST_P(EveryMember, LosesNothingByItsCuts)
{
    const auto cutOnce = [this]
    {
        for (std::size_t cut = 0; cut <= Answer().size(); cut += Answer().size() / 5)
        {
            Run({Send(Answer().substr(0, cut)), Wait(5), Reset()}, GetParam().timeOutOfCuts);
        }
    };
    cutOnce();
    const ostrel::test::ProcessResources before = ostrel::test::MeasureResources();
    cutOnce();
    ostrel::test::ExpectNothingLeftBehind(before);
}

TEST_P(EveryMember, TakesAnAnswerThatComesByteByByte)
{
    // Its first bytes alone say nothing to the multipart reader, which judges by what came first.
    const std::size_t atOnce = GetParam().way == ReadPart ? kStreamHead.size() : 0;
    CameraScript script = SendByteByByte(Answer().substr(atOnce), 5);
    script.insert(script.begin(), Send(Answer().substr(0, atOnce)));
    script.push_back(Close());
    EXPECT_EQ(Run(script), Expected(Answer()));
}

TEST_P(EveryMember, BridgesAPauseBelowItsLimits)
{
    // Below the second that a fetch waits inside a block, and far below the time-out.
    const std::size_t middle = Answer().size() - 3;
    EXPECT_EQ(Run({Wait(300), Send(Answer().substr(0, middle)), Wait(500),
                   Send(Answer().substr(middle)), Close()}),
              Expected(Answer()));
}

TEST_P(EveryMember, GivesUpAfterAPauseBeyondItsLimits)
{
    // Beyond the second of a fetch, and beyond the time-out, too.
    constexpr int kShortTimeOut = 500;
    const std::size_t middle = Answer().size() - 3;
    const std::string begun = Answer().substr(0, middle);
    Result expected = Expected(begun);
    if (GetParam().way == ReceiveAll)
    {
        expected.code = kNothingArrived;
    }
    EXPECT_EQ(Run({Send(begun), Wait(4000), Send(Answer().substr(middle)), Close()}, kShortTimeOut),
              expected);
}

TEST_P(EveryMember, GivesUpOnAPeerThatStaysSilent)
{
    if (GetParam().way == ReadPart)
    {
        // It waits for ever; see the test of the opening. Silent behind the head is what is left.
        const auto start = Clock::now();
        EXPECT_EQ(Run({Send(kStreamHead)}, 500), (Result{1, -1000, ""}));
        EXPECT_GE(MillisecondsSince(start), 500 - kTick);
        return;
    }
    const auto start = Clock::now();
    Result expected = Expected("");
    if (GetParam().way == ReceiveAll)
    {
        expected.code = kNothingArrived;
    }
    EXPECT_EQ(Run(CameraScript{}, 500), expected);
    EXPECT_GE(MillisecondsSince(start), 500 - kTick);
    EXPECT_LT(MillisecondsSince(start), 20000);
}

TEST_P(EveryMember, SurvivesAResetBeforeItsRequest)
{
    if (GetParam().way == ReceiveAll)
    {
        // Its send may still succeed, or not; the receive tells of the end.
        ResettingPeer peer;
        CStdSocket socket(0);
        ASSERT_EQ(socket.m_F_n_ConnectTo(L"127.0.0.1", peer.Port(), kTimeOut, 0), 1);
        Sleep(50);
        EXPECT_EQ(socket.m_F_n_SendSocket("\r\n\r\n", 4, kTimeOut), 0);
        char buffer[7] = {};
        EXPECT_EQ(socket.m_F_n_ReceviceSocket(buffer, 7, kTimeOut), 0);
        return;
    }
    ResettingPeer peer;
    for (int i = 0; i < 20; ++i)
    {
        // The reset may come so early that there is no connection yet.
        const Result result = Run(peer.Port());
        EXPECT_TRUE(result == Expected("") || result == (Result{-2, -1000, ""})) << result;
    }
}

TEST_P(EveryMember, SurvivesAResetInsteadOfAnAnswer)
{
    Result expected = Expected("");
    EXPECT_EQ(Run({Reset()}), expected);
    EXPECT_EQ(Run({Wait(100), Reset()}), expected);
}

INSTANTIATE_TEST_SUITE_P(Faults, EveryMember, ::testing::ValuesIn(kMembers), NameOf);

TEST(SplitPost, IsEndedByItsDeadlineThoughTheAnswerKeepsComing)
{
    // A byte every 100 ms is never a silence, but all together has to be within the time-out.
    ScriptedCamera camera(SendByteByByte(std::string(200, 'a'), 100));
    const auto start = Clock::now();
    const Result result = PostInPieces(camera.Port(), 1000);
    EXPECT_GE(MillisecondsSince(start), 1000 - kTick);
    EXPECT_LT(MillisecondsSince(start), 15000);
    EXPECT_GT(result.code, 0);
    EXPECT_LT(result.code, 200);
}

TEST(DirectPost, GoesOnForAsLongAsTheAnswerKeepsComing)
{
    CameraScript script = SendByteByByte(std::string(20, 'a'), 100);
    script.push_back(Close());
    ScriptedCamera camera(script);
    EXPECT_EQ(PostDirectly(camera.Port(), 1000).bytes, std::string(20, 'a'));
}
