#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "CHTTP.h"
#include "support/scripted_camera.h"

using ostrel::test::CameraEnding;
using ostrel::test::CameraScript;
using ostrel::test::Close;
using ostrel::test::NextHandleValue;
using ostrel::test::ScriptedCamera;
using ostrel::test::Send;
using ostrel::test::SendByteByByte;
using ostrel::test::Wait;

namespace
{

using Clock = std::chrono::steady_clock;

constexpr int kTimeOut = 5000;
const std::string kReply = "HTTP/1.0 200 OK\r\nContent-Length: 2\r\n\r\nok";

long long MillisecondsSince(Clock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

std::string HeadFor(std::size_t length)
{
    return "POST /upload.cgi HTTP/1.0\r\nContent-Length: " + std::to_string(length) +
           "\r\nConnection: Keep-Alive\r\nHost:127.0.0.1\r\n"
           "Authorization: Basic dXNlcjpzZWNyZXQ=\r\n\r\n";
}

std::string Noise(std::size_t size)
{
    std::string bytes;
    unsigned state = 777;
    while (bytes.size() < size)
    {
        state = state * 1664525U + 1013904223U;
        bytes += static_cast<char>(state >> 24);
    }
    return bytes;
}

/// The arguments of a post, with everything in order at first.
struct Post
{
    explicit Post(int port, std::string data = "data") : port(port), data(std::move(data)) {}
    explicit Post(const ScriptedCamera& camera, std::string data = "data")
        : Post(camera.Port(), std::move(data))
    {
    }

    const unsigned char* Data() const
    {
        return hasData ? reinterpret_cast<const unsigned char*>(data.data()) : nullptr;
    }

    int Length() const { return length >= -1000 ? length : static_cast<int>(data.size()); }

    int Direct()
    {
        return http.m_F_n_HTTPPostDataDirect(host, "user", "secret", port, path, Data(), Length(),
                                             reply, replySize, timeOut);
    }

    int Split(unsigned chunk)
    {
        return http.m_F_n_HTTPPostDataDirectSplit(host, "user", "secret", port, path, Data(),
                                                  Length(), reply, replySize, sent,
                                                  static_cast<unsigned>(timeOut), chunk);
    }

    CHTTP http;
    const char* host = "127.0.0.1";
    int port;
    const char* path = "upload.cgi";
    std::string data;
    bool hasData = true;
    int length = -100000;  // that of the data
    char reply[6000] = {};
    int replySize = 6000;
    int timeOut = kTimeOut;
    int sent = 4711;
};

}  // namespace

TEST(HttpPostArguments, ThatAreBadYieldMinusOneAndOpenNoConnection)
{
    ScriptedCamera camera({Send(kReply), Close()});
    const auto expectRefused = [&](void (*spoil)(Post&))
    {
        Post post(camera);
        spoil(post);
        EXPECT_EQ(post.Direct(), -1);
        EXPECT_EQ(post.Split(10), -1);
        EXPECT_EQ(post.sent, 4711) << "it is set only after the arguments were found good";
    };
    expectRefused([](Post& post) { post.host = ""; });
    expectRefused([](Post& post) { post.host = nullptr; });
    expectRefused([](Post& post) { post.path = ""; });
    expectRefused([](Post& post) { post.path = nullptr; });
    expectRefused([](Post& post) { post.hasData = false; });
    expectRefused([](Post& post) { post.length = 0; });
    expectRefused([](Post& post) { post.length = -1; });
    expectRefused([](Post& post) { post.port = -1; });
    Sleep(100);
    EXPECT_EQ(camera.CountOfConnections(), 0U);
}

TEST(HttpPostArguments, MayLeaveOutUserPasswordAndReply)
{
    ScriptedCamera camera({Send(kReply), Close()});
    CHTTP http;
    const unsigned char byte = 'x';
    EXPECT_EQ(http.m_F_n_HTTPPostDataDirect("127.0.0.1", nullptr, nullptr, camera.Port(), "p",
                                            &byte, 1, nullptr, 100, kTimeOut),
              0);
    EXPECT_NE(camera.Received().find("Authorization: Basic Og==\r\n\r\n"), std::string::npos);
}

TEST(HttpPost, SendsExactlyThisRequestAndHandsTheRawAnswerBack)
{
    for (const bool isSplit : {false, true})
    {
        ScriptedCamera camera({Send(kReply), Close()});
        Post post(camera, std::string("\0binary\xFF", 8));
        EXPECT_EQ(isSplit ? post.Split(3) : post.Direct(), static_cast<int>(kReply.size()));
        EXPECT_EQ(std::string(post.reply), kReply);
        EXPECT_EQ(camera.ReceivedBytes(HeadFor(8).size() + 8), HeadFor(8) + post.data);
    }
}

TEST(HttpPost, LeavesTheObjectAlone)
{
    ScriptedCamera camera({Send(kReply), Close()});
    Post post(camera);
    post.Direct();
    post.Split(2);
    EXPECT_EQ(post.http.m_nState, 0);
    EXPECT_EQ(post.http.m_socket, INVALID_SOCKET);
    EXPECT_STREQ(post.http.m_szHost, "");
    EXPECT_EQ(post.http.m_nPort, 80);
    EXPECT_EQ(post.http.m_nTimeOut, 30000);
}

TEST(HttpPost, MayRunWhileAWorkerRuns)
{
    ScriptedCamera camera({Send(kReply), Close()});
    ScriptedCamera sink({});
    Post post(camera);
    post.http.m_S_Init("127.0.0.1", "user", "secret", sink.Port());
    ASSERT_EQ(post.http.m_F_n_StartPostThread("POST /s HTTP/1.0\r\n", 0), 1U);
    EXPECT_EQ(post.Direct(), static_cast<int>(kReply.size()));
    EXPECT_EQ(post.http.m_nState, 2);
    post.http.m_F_n_StopPostThread();
}

TEST(HttpPost, EndsWithMinusTwoWhenNothingListens)
{
    int port = 0;
    {
        ScriptedCamera camera({});
        port = camera.Port();
    }
    Post post(port);
    post.timeOut = 300;
    EXPECT_EQ(post.Direct(), -2);
    EXPECT_EQ(post.Split(10), -2);
    EXPECT_EQ(post.sent, 0);
}

TEST(HttpPost, EndsWithMinusTwoForAnUnknownHost)
{
    Post post(80);
    post.host = "no.such.host.invalid";
    EXPECT_EQ(post.Direct(), -2);
    EXPECT_EQ(post.Split(10), -2);
}

TEST(HttpPost, CutsTheAnswerToTheReplyBufferWithoutATerminator)
{
    for (const bool isSplit : {false, true})
    {
        ScriptedCamera camera({Send("abcdefgh"), Close()});
        Post post(camera);
        std::fill(std::begin(post.reply), std::end(post.reply), '#');
        post.replySize = 5;
        EXPECT_EQ(isSplit ? post.Split(2) : post.Direct(), 5);
        EXPECT_EQ(std::string(post.reply, 8), "abcde###");
    }
}

TEST(HttpPost, CutsTheAnswerAtAZeroByteAndAtFiveThousandBytes)
{
    ScriptedCamera camera({Send(std::string("ab\0cd", 5)), Close()});
    Post post(camera);
    EXPECT_EQ(post.Direct(), 2);
    camera.SetScript({Send(std::string(5500, 'r')), Close()});
    EXPECT_EQ(post.Direct(), 5000);
    EXPECT_EQ(post.Split(4), 5000);
}

TEST(HttpPost, CopiesNothingIntoABufferWithoutSize)
{
    ScriptedCamera camera({Send(kReply), Close()});
    for (const int size : {0, -1})
    {
        Post post(camera);
        post.replySize = size;
        EXPECT_EQ(post.Direct(), 0);
        EXPECT_EQ(post.Split(4), 0);
        EXPECT_EQ(post.reply[0], '\0');
    }
}

TEST(HttpPost, PutsAnAnswerTogetherThatComesByteByByte)
{
    CameraScript script = SendByteByByte("HTTP/1.0 200 OK\r\n\r\n", 5);
    script.push_back(Close());
    ScriptedCamera camera(script);
    Post post(camera);
    post.Direct();
    EXPECT_STREQ(post.reply, "HTTP/1.0 200 OK\r\n\r\n");
}

TEST(HttpPost, DeliversALargeBlock)
{
    const std::string data = Noise(3000000);
    for (const unsigned chunk : {0U, 65536U})
    {
        ScriptedCamera camera({Wait(300), Send(kReply), Close()});
        Post post(camera, data);
        EXPECT_EQ(chunk == 0 ? post.Direct() : post.Split(chunk), static_cast<int>(kReply.size()));
        EXPECT_TRUE(camera.ReceivedBytes(HeadFor(data.size()).size() + data.size()) ==
                    HeadFor(data.size()) + data);
        EXPECT_EQ(post.sent, chunk == 0 ? 4711 : 3000000);
    }
}

TEST(HttpPost, EndsAfterTheTimeOutWhenNoAnswerComes)
{
    ScriptedCamera camera({});
    Post post(camera);
    post.timeOut = 400;
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(post.Direct(), 0);
    EXPECT_GE(MillisecondsSince(start), 380);
    EXPECT_LT(MillisecondsSince(start), 10000);
    EXPECT_EQ(camera.Ending(), CameraEnding::PeerReset) << "the close is an abortive one";
}

TEST(HttpSplitPost, EndsAtTheDeadlineHoweverOftenSomethingArrives)
{
    ScriptedCamera camera(SendByteByByte(std::string(200, 'x'), 50));
    Post post(camera);
    post.timeOut = 600;
    const Clock::time_point start = Clock::now();
    const int length = post.Split(4);
    EXPECT_GE(length, 1);
    EXPECT_LT(length, 100);
    EXPECT_GE(MillisecondsSince(start), 560);
    EXPECT_LT(MillisecondsSince(start), 8000);
}

TEST(HttpSplitPost, TellsHowMuchLeftBeforeThePeerStoppedReading)
{
    // Nobody takes the connection from the queue, so only the buffers between fill up.
    const SOCKET listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int size = sizeof(address);
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), size), 0);
    ASSERT_EQ(listen(listener, 5), 0);
    ASSERT_EQ(getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size), 0);

    Post post(ntohs(address.sin_port), std::string(40000000, 'd'));
    post.timeOut = 500;
    EXPECT_EQ(post.Split(65536), 0);
    EXPECT_GT(post.sent, 0);
    EXPECT_LT(post.sent, 40000000);
    closesocket(listener);
}

TEST(HttpSplitPost, DeliversPiecesOfOneByte)
{
    ScriptedCamera camera({Wait(200), Send(kReply), Close()});
    Post post(camera, Noise(300));
    EXPECT_EQ(post.Split(1), static_cast<int>(kReply.size()));
    EXPECT_EQ(post.sent, 300);
    EXPECT_EQ(camera.ReceivedBytes(HeadFor(300).size() + 300), HeadFor(300) + post.data);
}

TEST(HttpPost, LeavesNoHandleBehind)
{
    ScriptedCamera camera({Send(kReply), Close()});
    Post post(camera);
    const auto postTwice = [&]
    {
        post.Direct();
        post.Split(2);
    };
    postTwice();
    const std::size_t before = NextHandleValue();
    // The camera's own thread and socket for each connection are let go of with it; only few here.
    const std::size_t connections = camera.CountOfConnections();
    for (int i = 0; i < 3; ++i)
    {
        postTwice();
    }
    constexpr std::size_t kHandleValueStep = 4;
    const std::size_t tolerated = 4 * (camera.CountOfConnections() - connections);
    EXPECT_LE(NextHandleValue(), before + tolerated * kHandleValueStep);
}
