// What a client of the posts, of the multipart stream and of the stream socket may rely on, from
// the outside alone: the bytes sent, the results, and what the fields hold afterwards.
#include <winsock2.h>

#include <afxwin.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstring>
#include <functional>
#include <string>
#include <thread>

#include "CHTTP.h"
#include "CStdSocket.h"
#include "support/scripted_camera.h"

namespace
{

using ostrel::test::CameraEnding;
using ostrel::test::CameraScript;
using ostrel::test::Close;
using ostrel::test::ScriptedCamera;
using ostrel::test::Send;
using ostrel::test::Wait;

constexpr const char* kHost = "127.0.0.1";
constexpr const char* kPrefix = "POST /live HTTP/1.0\r\nX-Own: 1\r\n";
constexpr const char* kAuthorization = "Authorization: Basic YWRtaW46MTIzNDU=\r\n\r\n";
constexpr int kPatience = 5000;
constexpr int kShort = 300;

const unsigned char* Bytes(const std::string& text)
{
    return reinterpret_cast<const unsigned char*>(text.data());
}

bool Eventually(const std::function<bool()>& condition)
{
    for (int i = 0; i < 1000; ++i)
    {
        if (condition())
        {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return condition();
}

/// A port that refuses connections while it lives.
class RefusingPort
{
public:
    RefusingPort() : vm_socket(socket(AF_INET, SOCK_STREAM, 0))
    {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        int size = static_cast<int>(sizeof(address));
        bind(vm_socket, reinterpret_cast<sockaddr*>(&address), size);
        getsockname(vm_socket, reinterpret_cast<sockaddr*>(&address), &size);
        vm_nPort = ntohs(address.sin_port);
    }
    ~RefusingPort() { closesocket(vm_socket); }
    RefusingPort(const RefusingPort&) = delete;
    RefusingPort& operator=(const RefusingPort&) = delete;
    int Port() const { return vm_nPort; }

private:
    SOCKET vm_socket;
    int vm_nPort = 0;
};

CameraScript AnswerAfterBody(const std::string& answer)
{
    return {Wait(100), Send(answer), Close()};
}

std::string DirectHead(const std::string& path, std::size_t length)
{
    return "POST /" + path + " HTTP/1.0\r\nContent-Length: " + std::to_string(length) +
           "\r\nConnection: Keep-Alive\r\nHost:127.0.0.1\r\n" + kAuthorization;
}

int Post(CHTTP& http, int port, const std::string& body, char* reply, int size)
{
    return http.m_F_n_HTTPPostDataDirect(kHost, "admin", "12345", port, "cgi/put", Bytes(body),
                                         static_cast<int>(body.size()), reply, size, kPatience);
}

int PostSplit(CHTTP& http, int port, const std::string& body, char* reply, int size, int& sent,
              unsigned int chunk)
{
    return http.m_F_n_HTTPPostDataDirectSplit(kHost, "admin", "12345", port, "cgi/put", Bytes(body),
                                              static_cast<int>(body.size()), reply, size, sent,
                                              kPatience, chunk);
}

class DirectPostContract : public testing::Test
{
protected:
    int PostWith(const char* host, int port, const char* path, const unsigned char* data, int count)
    {
        return http.m_F_n_HTTPPostDataDirect(host, "u", "p", port, path, data, count, reply,
                                             static_cast<int>(sizeof(reply)), kShort);
    }
    int SplitWith(const char* host, int port, const char* path, const unsigned char* data,
                  int count)
    {
        return http.m_F_n_HTTPPostDataDirectSplit(host, "u", "p", port, path, data, count, reply,
                                                  static_cast<int>(sizeof(reply)), sent, kShort, 0);
    }

    CHTTP http;
    int sent = 77;
    char reply[64] = {};
    const std::string binary = std::string("a\0b\r\n\xFFz", 7);
};

TEST_F(DirectPostContract, SendsHeadOfVersion10ThenTheBinaryData)
{
    ScriptedCamera camera(AnswerAfterBody("ok"));
    EXPECT_EQ(Post(http, camera.Port(), binary, reply, sizeof(reply)), 2);
    const std::string expected = DirectHead("cgi/put", binary.size()) + binary;
    EXPECT_EQ(camera.ReceivedBytes(expected.size()), expected);
}

TEST_F(DirectPostContract, SplitSendsTheSameBytes)
{
    ScriptedCamera camera(AnswerAfterBody("ok"));
    EXPECT_EQ(PostSplit(http, camera.Port(), binary, reply, sizeof(reply), sent, 1), 2);
    const std::string expected = DirectHead("cgi/put", binary.size()) + binary;
    EXPECT_EQ(camera.ReceivedBytes(expected.size()), expected);
    EXPECT_EQ(sent, 7);
}

TEST_F(DirectPostContract, ChunkSizeZeroSendsAll)
{
    ScriptedCamera camera(AnswerAfterBody("ok"));
    EXPECT_EQ(PostSplit(http, camera.Port(), binary, reply, sizeof(reply), sent, 0), 2);
    EXPECT_EQ(sent, 7);
}

TEST_F(DirectPostContract, ChunkSizeAboveEveryLengthSendsAll)
{
    ScriptedCamera camera(AnswerAfterBody("ok"));
    EXPECT_EQ(PostSplit(http, camera.Port(), binary, reply, sizeof(reply), sent, UINT_MAX), 2);
    EXPECT_EQ(sent, 7);
}

TEST_F(DirectPostContract, BadArgumentsGiveMinusOneAndLeaveBytesSentAlone)
{
    ScriptedCamera camera({});
    const int port = camera.Port();
    const unsigned char* data = Bytes(binary);
    EXPECT_EQ(PostWith("", port, "p", data, 1), -1);
    EXPECT_EQ(PostWith(nullptr, port, "p", data, 1), -1);
    EXPECT_EQ(PostWith(kHost, port, "", data, 1), -1);
    EXPECT_EQ(PostWith(kHost, port, "p", nullptr, 1), -1);
    EXPECT_EQ(PostWith(kHost, port, "p", data, 0), -1);
    EXPECT_EQ(PostWith(kHost, port, "p", data, -1), -1);
    EXPECT_EQ(PostWith(kHost, -1, "p", data, 1), -1);
    EXPECT_EQ(SplitWith("", port, "p", data, 1), -1);
    EXPECT_EQ(SplitWith(kHost, port, "", data, 1), -1);
    EXPECT_EQ(SplitWith(kHost, port, nullptr, data, 1), -1);
    EXPECT_EQ(SplitWith(kHost, port, "p", nullptr, 1), -1);
    EXPECT_EQ(SplitWith(kHost, port, "p", data, 0), -1);
    EXPECT_EQ(SplitWith(kHost, -1, "p", data, 1), -1);
    EXPECT_EQ(sent, 77);
    EXPECT_EQ(camera.CountOfConnections(), 0u);
}

TEST_F(DirectPostContract, NoConnectionGivesMinusTwoAndZeroBytesSent)
{
    RefusingPort port;
    EXPECT_EQ(PostWith(kHost, port.Port(), "p", Bytes(binary), 1), -2);
    EXPECT_EQ(SplitWith(kHost, port.Port(), "p", Bytes(binary), 1), -2);
    EXPECT_EQ(sent, 0);
}

TEST_F(DirectPostContract, StatusIsNotJudged)
{
    const std::string answer = "HTTP/1.0 401 No\r\n\r\nbody";
    ScriptedCamera camera(AnswerAfterBody(answer));
    EXPECT_EQ(Post(http, camera.Port(), binary, reply, sizeof(reply)),
              static_cast<int>(answer.size()));
    EXPECT_EQ(std::string(reply), answer);
}

TEST_F(DirectPostContract, ReplyIsCutAtItsFirstZeroByteAndGetsNoTerminator)
{
    ScriptedCamera camera(AnswerAfterBody(std::string("abc\0def", 7)));
    std::memset(reply, '#', sizeof(reply));
    EXPECT_EQ(Post(http, camera.Port(), binary, reply, sizeof(reply)), 3);
    EXPECT_EQ(std::string(reply, sizeof(reply)), "abc" + std::string(61, '#'));
    std::memset(reply, '#', sizeof(reply));
    EXPECT_EQ(PostSplit(http, camera.Port(), binary, reply, sizeof(reply), sent, 3), 3);
    EXPECT_EQ(std::string(reply, sizeof(reply)), "abc" + std::string(61, '#'));
}

TEST_F(DirectPostContract, ReplyIsCutToTheBufferSizeWithoutTerminator)
{
    ScriptedCamera camera(AnswerAfterBody("0123456789"));
    std::memset(reply, '#', sizeof(reply));
    EXPECT_EQ(Post(http, camera.Port(), binary, reply, 4), 4);
    EXPECT_EQ(std::string(reply, 8), "0123####");
    std::memset(reply, '#', sizeof(reply));
    EXPECT_EQ(PostSplit(http, camera.Port(), binary, reply, 10, sent, 0), 10);
    EXPECT_EQ(std::string(reply, 12), "0123456789##");
}

TEST_F(DirectPostContract, ReplyHasAtMost5000Bytes)
{
    ScriptedCamera camera(AnswerAfterBody(std::string(6000, 'r')));
    std::string room(6000, '#');
    EXPECT_EQ(Post(http, camera.Port(), binary, &room[0], 6000), 5000);
    EXPECT_EQ(room, std::string(5000, 'r') + std::string(1000, '#'));
}

TEST_F(DirectPostContract, NoAnswerIsZeroBytes)
{
    ScriptedCamera camera({Wait(50), Close()});
    std::memset(reply, '#', sizeof(reply));
    EXPECT_EQ(Post(http, camera.Port(), binary, reply, sizeof(reply)), 0);
    EXPECT_EQ(std::string(reply, sizeof(reply)), std::string(64, '#'));
}

TEST_F(DirectPostContract, LeavesStateAndSocketAlone)
{
    ScriptedCamera camera(AnswerAfterBody("ok"));
    http.m_nState = 3;
    EXPECT_EQ(Post(http, camera.Port(), binary, reply, sizeof(reply)), 2);
    EXPECT_EQ(http.m_nState, 3);
    EXPECT_EQ(http.m_socket, INVALID_SOCKET);
    http.m_nState = 0;
}

class PostWorkerContract : public testing::Test
{
protected:
    void Init(int port)
    {
        http.m_S_Init(kHost, "admin", "12345", port);
        http.m_nTimeOut = kShort;
    }
    void Append(const std::string& payload)
    {
        auto* item = new unsigned char[4 + payload.size()];
        const auto count = static_cast<unsigned int>(payload.size());
        std::memcpy(item, &count, 4);
        std::memcpy(item + 4, payload.data(), payload.size());
        http.m_csPost.Lock();
        http.m_listPost.AddTail(item);
        http.m_csPost.Unlock();
    }
    bool IsPrefixZero()
    {
        return std::all_of(http.m_szPostUrl, http.m_szPostUrl + 256, [](char c) { return c == 0; });
    }

    CHTTP http;
};

TEST_F(PostWorkerContract, SingleConnectionWritesBlocksIntoOneRequest)
{
    ScriptedCamera camera({});
    Init(camera.Port());
    EXPECT_EQ(http.m_F_n_StartPostThread(kPrefix, 0), 1u);
    EXPECT_EQ(http.m_nState, 2);
    EXPECT_STREQ(http.m_szPostUrl, kPrefix);
    Append(std::string("a\0b", 3));
    Append("cde");
    const std::string expected =
        std::string(kPrefix) + kAuthorization + std::string("a\0b", 3) + "cde";
    EXPECT_EQ(camera.ReceivedBytes(expected.size()), expected);
    EXPECT_EQ(http.m_F_n_StopPostThread(), 1u);
    EXPECT_EQ(camera.Ending(), CameraEnding::PeerReset);
    EXPECT_EQ(camera.CountOfConnections(), 1u);
    EXPECT_EQ(http.m_socket, INVALID_SOCKET);
}

TEST_F(PostWorkerContract, AnyModeButOneIsTheSingleConnection)
{
    ScriptedCamera camera({});
    Init(camera.Port());
    EXPECT_EQ(http.m_F_n_StartPostThread(kPrefix, 3), 1u);
    EXPECT_EQ(http.m_nState, 2);
    EXPECT_EQ(http.m_F_n_StopPostThread(), 1u);
}

TEST_F(PostWorkerContract, GroupMakesOneRequestForEachBlock)
{
    ScriptedCamera camera({});
    Init(camera.Port());
    EXPECT_EQ(http.m_F_n_StartPostThread(kPrefix, 1), 1u);
    EXPECT_EQ(http.m_nState, 3);
    Append("first");
    const std::string first =
        std::string(kPrefix) + "Content-Length: 5\r\n" + kAuthorization + "first";
    EXPECT_EQ(camera.ReceivedBytes(first.size(), 0), first);
    Append("2");
    const std::string second =
        std::string(kPrefix) + "Content-Length: 1\r\n" + kAuthorization + "2";
    EXPECT_EQ(camera.ReceivedBytes(second.size(), 1), second);
    EXPECT_EQ(camera.Ending(0), CameraEnding::PeerReset);
    EXPECT_EQ(http.m_F_n_StopPostThread(), 1u);
    EXPECT_EQ(camera.Ending(1), CameraEnding::PeerReset);
}

TEST_F(PostWorkerContract, GroupDoesNotConnectWithoutABlock)
{
    ScriptedCamera camera({});
    Init(camera.Port());
    http.m_F_n_StartPostThread(kPrefix, 1);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    http.m_F_n_StopPostThread();
    EXPECT_EQ(camera.CountOfConnections(), 0u);
}

TEST_F(PostWorkerContract, StopFreesTheQueueAndZeroesThePrefix)
{
    RefusingPort port;
    for (const int mode : {0, 1})
    {
        Init(port.Port());
        EXPECT_EQ(http.m_F_n_StartPostThread(kPrefix, mode), 1u);
        EXPECT_TRUE(http.m_bPostRun);
        http.m_F_b_AddPost(Bytes("abc"), 3);
        http.m_F_b_AddPost(Bytes("def"), 3);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        EXPECT_EQ(http.m_listPost.GetCount(), 2);
        EXPECT_EQ(http.m_F_n_StopPostThread(), 1u);
        EXPECT_EQ(http.m_listPost.GetCount(), 0);
        EXPECT_TRUE(IsPrefixZero());
        EXPECT_EQ(http.m_nState, 0);
        EXPECT_FALSE(http.m_bPostRun);
        EXPECT_EQ(http.m_hPostThread, nullptr);
        EXPECT_EQ(http.m_socket, INVALID_SOCKET);
    }
}

TEST_F(PostWorkerContract, StopWithoutWorkerEmptiesTheQueue)
{
    Append("left");
    EXPECT_EQ(http.m_F_n_StopPostThread(), 1u);
    EXPECT_EQ(http.m_listPost.GetCount(), 0);
    EXPECT_EQ(http.m_F_n_StopPostThread(), 1u);
}

TEST_F(PostWorkerContract, StartEmptiesTheQueue)
{
    RefusingPort port;
    Init(port.Port());
    Append("left");
    EXPECT_EQ(http.m_F_n_StartPostThread(kPrefix, 1), 1u);
    EXPECT_EQ(http.m_listPost.GetCount(), 0);
    http.m_F_n_StopPostThread();
}

TEST_F(PostWorkerContract, StartIsRefusedInEveryState)
{
    for (const int state : {1, 2, 3})
    {
        http.m_nState = state;
        EXPECT_EQ(http.m_F_n_StartPostThread(kPrefix, 1), 0u);
        EXPECT_EQ(http.m_nState, state);
        EXPECT_TRUE(IsPrefixZero());
        EXPECT_EQ(http.m_hPostThread, nullptr);
        EXPECT_FALSE(http.m_bPostRun);
    }
    http.m_nState = 0;
}

TEST_F(PostWorkerContract, PrefixStaysInsideItsField)
{
    RefusingPort port;
    Init(port.Port());
    const std::string longest(255, 'p');
    http.m_F_n_StartPostThread(longest.c_str(), 1);
    EXPECT_EQ(std::string(http.m_szPostUrl), longest);
    http.m_F_n_StopPostThread();
    http.m_F_n_StartPostThread(std::string(400, 'q').c_str(), 1);
    EXPECT_LT(strnlen(http.m_szPostUrl, 256), 256u);
    EXPECT_EQ(http.m_socket, INVALID_SOCKET);
    http.m_F_n_StopPostThread();
}

TEST_F(PostWorkerContract, ReleaseStopsTheSingleConnection)
{
    ScriptedCamera camera({});
    Init(camera.Port());
    http.m_F_n_StartPostThread(kPrefix, 0);
    camera.Received();
    EXPECT_TRUE(http.m_S_Release());
    EXPECT_EQ(http.m_hPostThread, nullptr);
    EXPECT_FALSE(http.m_bPostRun);
    EXPECT_TRUE(IsPrefixZero());
    EXPECT_EQ(camera.Ending(), CameraEnding::PeerReset);
}

TEST_F(PostWorkerContract, ReleaseLeavesTheGroupAlone)
{
    RefusingPort port;
    Init(port.Port());
    http.m_F_n_StartPostThread(kPrefix, 1);
    EXPECT_TRUE(http.m_S_Release());
    EXPECT_NE(http.m_hPostThread, nullptr);
    EXPECT_TRUE(http.m_bPostRun);
    EXPECT_STREQ(http.m_szPostUrl, kPrefix);
    EXPECT_EQ(WaitForSingleObject(http.m_hPostThread, 50), static_cast<DWORD>(WAIT_TIMEOUT));
    EXPECT_EQ(http.m_F_n_StopPostThread(), 1u);
    EXPECT_EQ(http.m_hPostThread, nullptr);
}

TEST_F(PostWorkerContract, WorkersExitWithOneWhenTheyMayNotRun)
{
    http.m_nState = 2;
    EXPECT_EQ(CHTTP::m_F_n_PostThreadProc(&http), 1u);
    EXPECT_EQ(http.m_nState, 0);
    http.m_nState = 3;
    EXPECT_EQ(CHTTP::m_F_n_GroupPostThreadProc(&http), 1u);
    EXPECT_EQ(http.m_nState, 0);
}

constexpr const char* kHead =
    "HTTP/1.1 200 OK\r\nContent-Type: multipart/mixed; boundary=abc\r\nX-Last: 1\r\n\r\n";
constexpr const char* kPartHead = "Content-Type: text/plain\r\n\r\n";

std::string Part(const std::string& content)
{
    return kPartHead + content + "\r\n";
}

class MultipartContract : public testing::Test
{
protected:
    void SetUp() override { std::memset(buffer, '#', sizeof(buffer)); }
    int Get(const ScriptedCamera& camera, const char* path = "events", int size = 1024)
    {
        if (http.m_szHost[0] == '\0')
        {
            http.m_S_Init(kHost, "admin", "12345", camera.Port());
        }
        return http.m_F_n_MultiPartStreamGet(path, buffer, size, kShort);
    }
    int GetFrom(const std::string& answer)
    {
        ScriptedCamera camera({Send(answer), Close()});
        const int result = Get(camera);
        EXPECT_EQ(http.m_socket, INVALID_SOCKET);
        return result;
    }

    CHTTP http;
    char buffer[1100];
};

TEST_F(MultipartContract, RequestIsTheGet)
{
    ScriptedCamera camera({Send(std::string(kHead))});
    Get(camera);
    EXPECT_EQ(camera.Received(),
              std::string("GET /events HTTP/1.1\r\nAccept: image/jpeg,*/*\r\nConnection: "
                          "Keep-Alive\r\nHost:127.0.0.1\r\n") +
                  kAuthorization);
}

TEST_F(MultipartContract, StoresTheBoundaryWithItsLineEnd)
{
    ScriptedCamera camera({Send(kHead + std::string("--abc\r\n") + Part("one") + "--abc\r\n")});
    Get(camera);
    EXPECT_STREQ(http.m_pszBoundary, "abc\r\n");
    EXPECT_STREQ(http.m_szUrl, "events");
    EXPECT_EQ(http.m_nTimeOut, kShort);
    EXPECT_EQ(http.m_memData.m_F_n_GetMemSize(), 1024u);
    EXPECT_NE(http.m_socket, INVALID_SOCKET);
    http.m_S_Release();
    EXPECT_EQ(http.m_pszBoundary, nullptr);
    EXPECT_EQ(http.m_socket, INVALID_SOCKET);
    EXPECT_EQ(camera.Ending(), CameraEnding::PeerReset);
}

TEST_F(MultipartContract, HandsOutPartsThatCameTogetherOneByOne)
{
    const std::string tail = "--abc\r\n";
    ScriptedCamera camera({Send(kHead + tail + Part("one") + tail + Part("second") + tail)});
    ASSERT_EQ(Get(camera), static_cast<int>(Part("one").size()));
    EXPECT_EQ(std::string(buffer), Part("one"));
    const std::string held = tail + Part("second") + tail;
    EXPECT_EQ(http.m_nStreamLen, static_cast<int>(held.size()));
    EXPECT_EQ(std::string(http.m_memData.m_F_p_GetStrCHAR(), 1024),
              held + std::string(1024 - held.size(), '\0'));
    ASSERT_EQ(Get(camera), static_cast<int>(Part("second").size()));
    EXPECT_EQ(std::string(buffer), Part("second"));
    EXPECT_EQ(http.m_nStreamLen, static_cast<int>(tail.size()));
    EXPECT_EQ(camera.CountOfConnections(), 1u);
}

TEST_F(MultipartContract, BoundaryInTheLastHeaderLineIsNoDelimiter)
{
    ScriptedCamera camera(
        {Send("HTTP/1.1 200 OK\r\nContent-Type: x; boundary=abc\r\n\r\n--abc\r\n" + Part("one") +
              "--abc\r\n")});
    EXPECT_EQ(Get(camera), static_cast<int>(Part("one").size()));
    EXPECT_EQ(std::string(buffer), Part("one"));
}

TEST_F(MultipartContract, ClearsTheWholeBufferAndNoMore)
{
    ScriptedCamera camera({Send(kHead + std::string("--abc\r\n") + Part("one") + "--abc\r\n")});
    ASSERT_EQ(Get(camera), static_cast<int>(Part("one").size()));
    EXPECT_EQ(std::string(buffer, sizeof(buffer)),
              Part("one") + std::string(1024 - Part("one").size(), '\0') +
                  std::string(sizeof(buffer) - 1024, '#'));
}

TEST_F(MultipartContract, ClosingDelimiterIsNoEndOfAPart)
{
    ScriptedCamera camera({Send(kHead + std::string("--abc\r\n") + Part("one") + "--abc--\r\n")});
    EXPECT_EQ(Get(camera), 1);
    EXPECT_EQ(http.m_socket, INVALID_SOCKET);
    EXPECT_EQ(std::string(buffer, 1024), std::string(1024, '#'));
}

TEST_F(MultipartContract, TimeOutIsFollowedByANewRequest)
{
    ScriptedCamera camera({Send(kHead + std::string("--abc\r\nhalf"))});
    EXPECT_EQ(Get(camera), 1);
    EXPECT_EQ(camera.Ending(), CameraEnding::PeerReset);
    camera.SetScript({Send(kHead + std::string("--abc\r\n") + Part("x") + "--abc\r\n")});
    EXPECT_EQ(Get(camera), static_cast<int>(Part("x").size()));
    EXPECT_EQ(camera.CountOfConnections(), 2u);
    EXPECT_EQ(camera.Received(1), camera.Received(0));
}

TEST_F(MultipartContract, PartThatDoesNotFitEndsWithTheTimeOut)
{
    ScriptedCamera camera(
        {Send(kHead + std::string("--abc\r\n") + Part(std::string(1200, 'x')) + "--abc\r\n")});
    EXPECT_EQ(Get(camera), 1);
    EXPECT_EQ(http.m_socket, INVALID_SOCKET);
}

TEST_F(MultipartContract, NewPathOpensANewStream)
{
    ScriptedCamera camera({Send(kHead + std::string("--abc\r\n") + Part("one") + "--abc\r\n" +
                                Part("two") + "--abc\r\n")});
    ASSERT_EQ(Get(camera), static_cast<int>(Part("one").size()));
    ASSERT_EQ(Get(camera, "other"), static_cast<int>(Part("one").size()));
    EXPECT_EQ(camera.Ending(0), CameraEnding::PeerReset);
    EXPECT_EQ(camera.CountOfConnections(), 2u);
    EXPECT_EQ(camera.Received(1).rfind("GET /other HTTP/1.1\r\n", 0), 0u);
    EXPECT_STREQ(http.m_szUrl, "other");
}

TEST_F(MultipartContract, BadArgumentsDoNothing)
{
    EXPECT_EQ(http.m_F_n_MultiPartStreamGet("p", buffer, 1024, kShort), 0);
    ScriptedCamera camera({});
    EXPECT_EQ(Get(camera, ""), 0);
    EXPECT_EQ(Get(camera, "p", 0), 0);
    EXPECT_EQ(http.m_F_n_MultiPartStreamGet("p", nullptr, 1024, kShort), 0);
    EXPECT_STREQ(http.m_szUrl, "");
    EXPECT_EQ(http.m_nTimeOut, 30000);
    EXPECT_EQ(camera.CountOfConnections(), 0u);
}

TEST_F(MultipartContract, NoConnectionIsMinusTwo)
{
    RefusingPort port;
    http.m_S_Init(kHost, "", "", port.Port());
    EXPECT_EQ(http.m_F_n_MultiPartStreamGet("p", buffer, 1024, kShort), -2);
    EXPECT_EQ(http.m_socket, INVALID_SOCKET);
}

TEST_F(MultipartContract, OtherStatusIsMinusThree)
{
    EXPECT_EQ(GetFrom("HTTP/1.1 404 Not Found\r\n\r\n"), -3);
}
TEST_F(MultipartContract, NoLineEndIsMinusThree)
{
    EXPECT_EQ(GetFrom("HTTP/1.1 200 OK"), -3);
}
TEST_F(MultipartContract, RefusedCredentialsAreMinusFour)
{
    EXPECT_EQ(GetFrom("HTTP/1.1 401 Unauthorized\r\n\r\n"), -4);
}
TEST_F(MultipartContract, RefusedCredentialsNeedNoLineEnd)
{
    EXPECT_EQ(GetFrom("HTTP/1.1 401 Unauthorized"), -4);
}
TEST_F(MultipartContract, NoBoundaryIsMinusFive)
{
    EXPECT_EQ(GetFrom("HTTP/1.1 200 OK\r\nX: 1\r\n\r\nboundary=abc\r\n"), -5);
}
TEST_F(MultipartContract, HeadWithoutEndIsMinusFive)
{
    EXPECT_EQ(GetFrom("HTTP/1.1 200 OK\r\nContent-Type: x; boundary=abc\r\n"), -5);
}

TEST_F(MultipartContract, StatusOf200WinsOver401)
{
    EXPECT_EQ(GetFrom("HTTP/1.1 200 401 OK\r\n\r\n"), -5);
}

TEST_F(MultipartContract, HeadInPiecesIsAwaited)
{
    const std::string head = kHead;
    ScriptedCamera camera({Send(head.substr(0, 25)), Wait(150), Send(head.substr(25, 30)),
                           Wait(150), Send(head.substr(55)), Wait(150),
                           Send("--abc\r\n" + Part("one")), Wait(150), Send("--abc\r\n")});
    EXPECT_EQ(Get(camera), static_cast<int>(Part("one").size()));
    EXPECT_EQ(std::string(buffer), Part("one"));
}

TEST_F(MultipartContract, NewStreamHasItsOwnBoundary)
{
    ScriptedCamera camera({Send(kHead + std::string("--abc\r\n") + Part("one") + "--abc\r\n")});
    Get(camera);
    camera.SetScript(
        {Send("HTTP/1.1 200 OK\r\nContent-Type: x; boundary=longer\r\nX: 1\r\n\r\n"
              "--longer\r\n" +
              Part("--abc\r\n") + "--longer\r\n")});
    EXPECT_EQ(Get(camera, "other"), static_cast<int>(Part("--abc\r\n").size()));
    EXPECT_EQ(std::string(buffer), Part("--abc\r\n"));
    EXPECT_STREQ(http.m_pszBoundary, "longer\r\n");
}

TEST_F(MultipartContract, OpenConnectionWithoutBoundaryIsOne)
{
    http.m_S_Init(kHost, "", "", 1);
    std::strcpy(http.m_szUrl, "p");
    const SOCKET held = socket(AF_INET, SOCK_STREAM, 0);
    http.m_socket = held;
    EXPECT_EQ(http.m_F_n_MultiPartStreamGet("p", buffer, 1024, kShort), 1);
    EXPECT_EQ(http.m_socket, held);
    EXPECT_EQ(http.m_nTimeOut, kShort);
    http.m_S_Release();
    EXPECT_EQ(http.m_socket, INVALID_SOCKET);
}

TEST_F(PostWorkerContract, GroupSendsAnEmptyBlockAsAnEmptyBody)
{
    ScriptedCamera camera({});
    Init(camera.Port());
    http.m_F_n_StartPostThread("", 1);
    EXPECT_TRUE(http.m_F_b_AddPost(nullptr, 0));
    EXPECT_FALSE(http.m_F_b_AddPost(nullptr, 1));
    const std::string expected = std::string("Content-Length: 0\r\n") + kAuthorization;
    EXPECT_EQ(camera.Received(), expected);
    EXPECT_TRUE(Eventually([&] { return http.m_listPost.GetCount() == 0; }));
    http.m_F_n_StopPostThread();
    EXPECT_EQ(camera.CountOfConnections(), 1u);
}

TEST_F(PostWorkerContract, GroupKeepsItsBlockWhileItCannotConnect)
{
    RefusingPort port;
    Init(port.Port());
    http.m_nTimeOut = 50;
    http.m_F_n_StartPostThread(kPrefix, 1);
    http.m_F_b_AddPost(Bytes("abc"), 3);
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    EXPECT_EQ(http.m_listPost.GetCount(), 1);
    EXPECT_EQ(http.m_nState, 3);
    http.m_F_n_StopPostThread();
}

TEST(StreamSocketContract, AssignmentIsShallow)
{
    CStdSocket first(2);
    const SOCKET held = socket(AF_INET, SOCK_STREAM, 0);
    ASSERT_EQ(first.m_S_SetConnectedSocket(held), 1);
    first.m_nListenPort = 8;
    CStdSocket second;
    second = first;
    EXPECT_EQ(second.m_socket, held);
    EXPECT_EQ(second.m_nSocketType, 2);
    EXPECT_EQ(second.m_nListenPort, 8);
    EXPECT_EQ(first.m_socket, held);
    second.m_socket = INVALID_SOCKET;
}

TEST(StreamSocketContract, PortInUseEndsTheListener)
{
    SOCKET other = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    int size = static_cast<int>(sizeof(address));
    bind(other, reinterpret_cast<sockaddr*>(&address), size);
    listen(other, 1);
    getsockname(other, reinterpret_cast<sockaddr*>(&address), &size);
    CStdSocket listener(1);
    EXPECT_EQ(listener.m_F_n_CreateListenThread(ntohs(address.sin_port), nullptr, 6), 1);
    EXPECT_TRUE(Eventually([&] { return listener.m_hListenThread == nullptr; }));
    EXPECT_EQ(listener.m_socket, INVALID_SOCKET);
    EXPECT_EQ(CStdSocket::m_S_ListenThreadProc(nullptr), 0u);
    closesocket(other);
}

/// A window that only takes messages.
class MessageWindow
{
public:
    MessageWindow()
        : vm_hWnd(CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr,
                                  nullptr))
    {
    }
    ~MessageWindow() { DestroyWindow(vm_hWnd); }
    MessageWindow(const MessageWindow&) = delete;
    MessageWindow& operator=(const MessageWindow&) = delete;
    HWND Handle() const { return vm_hWnd; }
    MSG Next() const
    {
        MSG message = {};
        Eventually([&] { return PeekMessageW(&message, vm_hWnd, 0x8B0, 0x8B0, PM_REMOVE) != 0; });
        return message;
    }

private:
    HWND vm_hWnd;
};

TEST(StreamSocketContract, FieldsAtFirst)
{
    CStdSocket client;
    EXPECT_FALSE(client.m_bExit);
    EXPECT_EQ(client.m_socket, INVALID_SOCKET);
    EXPECT_EQ(client.m_nSocketType, 0);
    EXPECT_EQ(client.m_hListenThread, nullptr);
    EXPECT_EQ(client.m_nListenPort, 0);
    EXPECT_EQ(client.m_nProtocol, 6);
    EXPECT_EQ(client.m_hWndNotify, nullptr);
    EXPECT_EQ(CStdSocket(2).m_nSocketType, 2);
}

TEST(StreamSocketContract, RolesAboveThreeAreRefused)
{
    CStdSocket client(1);
    EXPECT_EQ(client.m_S_SetSocketType(4), 0);
    EXPECT_EQ(client.m_S_SetSocketType(-1), 0);
    EXPECT_EQ(client.m_nSocketType, 1);
    EXPECT_EQ(client.m_S_SetSocketType(3), 1);
    EXPECT_EQ(client.m_nSocketType, 3);
}

TEST(StreamSocketContract, OtherRolesMayNot)
{
    ScriptedCamera camera({});
    char byte = 'x';
    for (const int role : {1, 3})
    {
        CStdSocket other(role);
        EXPECT_EQ(other.m_F_n_SendSocket(&byte, 1, 1000), -2);
        EXPECT_EQ(other.m_F_n_SendSocket(nullptr, 1, 1000), -2);
        EXPECT_EQ(other.m_F_n_ReceviceSocket(&byte, 1, 1000), -2);
        EXPECT_EQ(other.m_F_n_ReceviceSocket(nullptr, 1, 1000), -2);
        EXPECT_EQ(other.m_S_SetConnectedSocket(5), 0);
        EXPECT_EQ(other.m_F_n_ConnectTo(L"127.0.0.1", camera.Port(), 500, 0), 0);
        EXPECT_EQ(other.m_socket, INVALID_SOCKET);
    }
    EXPECT_EQ(byte, 'x');
    for (const int role : {0, 2, 3})
    {
        CStdSocket other(role);
        EXPECT_EQ(other.m_F_n_CreateListenThread(0, nullptr, 6), 0);
        EXPECT_EQ(other.m_hListenThread, nullptr);
    }
    EXPECT_EQ(camera.CountOfConnections(), 0u);
}

TEST(StreamSocketContract, TransferResults)
{
    ScriptedCamera camera({Send("hello")});
    CStdSocket client;
    ASSERT_EQ(client.m_F_n_ConnectTo(L"127.0.0.1", camera.Port(), 2000, 9), 1);
    EXPECT_TRUE(client.m_F_b_CheckSocketValid());
    EXPECT_EQ(client.m_F_n_GetSocket(), client.m_socket);
    const SOCKET held = client.m_socket;
    EXPECT_EQ(client.m_F_n_ConnectTo(L"127.0.0.1", camera.Port(), 500, 0), 0);
    EXPECT_EQ(client.m_socket, held);
    EXPECT_EQ(client.m_F_n_SendSocket(nullptr, 1, 1000), -4);
    EXPECT_EQ(client.m_F_n_ReceviceSocket(nullptr, 1, 1000), -4);
    char buffer[12];
    std::memset(buffer, '#', sizeof(buffer));
    EXPECT_EQ(client.m_F_n_ReceviceSocket(buffer, 10, 1000), -5);
    EXPECT_EQ(std::string(buffer, 12), std::string(10, '\0') + "##");
    EXPECT_EQ(client.m_F_n_SendSocket("lost", 4, 99), 0);
    EXPECT_EQ(client.m_F_n_SendSocket("lost", 4, -99), 0);
    EXPECT_EQ(client.m_F_n_SendSocket("lost", 4, -100), -3);
    EXPECT_EQ(client.m_F_n_SendSocket("lost", 0, 1000), 0);
    EXPECT_EQ(client.m_F_n_SendSocket("GET\r\n\r\n", 7, 100), 7);
    EXPECT_EQ(camera.Received(), "GET\r\n\r\n");
    ASSERT_TRUE(Eventually(
        [&]
        {
            u_long waiting = 0;
            ioctlsocket(held, FIONREAD, &waiting);
            return waiting == 5;
        }));
    EXPECT_EQ(client.m_F_n_ReceviceSocket(buffer, 10, 99), 0);
    EXPECT_EQ(client.m_F_n_ReceviceSocket(buffer, 10, -100), -3);
    EXPECT_EQ(client.m_F_n_ReceviceSocket(buffer, 0, 1000), 0);
    EXPECT_EQ(client.m_F_n_ReceviceSocket(buffer, 2, 100), 2);
    std::memset(buffer, '#', sizeof(buffer));
    EXPECT_EQ(client.m_F_n_ReceviceSocket(buffer, 10, 100), 3);
    EXPECT_EQ(std::string(buffer, 12), "llo" + std::string(7, '\0') + "##");
    client.m_S_ForceCloseSocket();
    EXPECT_FALSE(client.m_F_b_CheckSocketValid());
    EXPECT_EQ(camera.Ending(), CameraEnding::PeerReset);
}

TEST(StreamSocketContract, FailedConnectLeavesNoSocket)
{
    RefusingPort port;
    CStdSocket client;
    EXPECT_EQ(client.m_F_n_ConnectTo(L"127.0.0.1", port.Port(), kShort, 0), 0);
    EXPECT_EQ(client.m_socket, INVALID_SOCKET);
}

TEST(StreamSocketContract, Addresses)
{
    CStdSocket client;
    EXPECT_EQ(client.GetIPAddress(L"127.0.0.1"), 0x7F000001u);
    EXPECT_EQ(client.GetIPAddress(L"1.2.3.4"), 0x01020304u);
    EXPECT_EQ(client.GetIPAddress(L""), 0xFFFFFFFFu);
    EXPECT_EQ(client.GetIPAddress(L"255.255.255.255"), 0xFFFFFFFFu);
}

TEST(StreamSocketContract, NotificationCarriesItsValues)
{
    MessageWindow window;
    CStdSocket client;
    client.m_S_PostSocketMsg(static_cast<SOCKET_NOTIFICATION_MSG>(5), 1);
    client.m_S_SetWndNotification(window.Handle());
    client.m_S_PostSocketMsg(static_cast<SOCKET_NOTIFICATION_MSG>(7), 0x123456789ABCDEFLL);
    const MSG message = window.Next();
    EXPECT_EQ(message.message, 0x8B0u);
    EXPECT_EQ(message.wParam, 7u);
    EXPECT_EQ(message.lParam, 0x123456789ABCDEFLL);
}

TEST(StreamSocketContract, ListenerHandsItsConnectionToTheWindow)
{
    MessageWindow window;
    {
        CStdSocket listener(1);
        ASSERT_EQ(listener.m_F_n_CreateListenThread(0, window.Handle(), 6), 1);
        EXPECT_EQ(listener.m_F_n_CreateListenThread(0, nullptr, 17), 0);
        EXPECT_EQ(listener.m_hWndNotify, window.Handle());
        EXPECT_EQ(listener.m_nProtocol, 6);
        sockaddr_in address = {};
        ASSERT_TRUE(Eventually(
            [&]
            {
                int size = static_cast<int>(sizeof(address));
                return getsockname(listener.m_socket, reinterpret_cast<sockaddr*>(&address),
                                   &size) == 0 &&
                       address.sin_port != 0;
            }));
        CStdSocket client;
        ASSERT_TRUE(Eventually(
            [&] {
                return client.m_F_n_ConnectTo(L"127.0.0.1", ntohs(address.sin_port), 500, 0) == 1;
            }));
        const MSG message = window.Next();
        ASSERT_EQ(message.message, 0x8B0u);
        EXPECT_EQ(message.wParam, 0u);
        CStdSocket accepted(2);
        ASSERT_EQ(accepted.m_S_SetConnectedSocket(static_cast<SOCKET>(message.lParam)), 1);
        EXPECT_EQ(accepted.m_F_n_SendSocket("hi", 2, 1000), 2);
        char buffer[4] = {};
        EXPECT_EQ(client.m_F_n_ReceviceSocket(buffer, 4, 1000), 2);
        EXPECT_STREQ(buffer, "hi");
    }
    const MSG last = window.Next();
    EXPECT_EQ(last.message, 0x8B0u);
    EXPECT_EQ(static_cast<SOCKET>(last.lParam), INVALID_SOCKET);
}

}  // namespace
