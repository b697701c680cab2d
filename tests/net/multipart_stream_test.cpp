#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "CHTTP.h"
#include "support/scripted_camera.h"

using ostrel::test::CameraEnding;
using ostrel::test::CameraScript;
using ostrel::test::Close;
using ostrel::test::ScriptedCamera;
using ostrel::test::Send;
using ostrel::test::Wait;

namespace
{

using Clock = std::chrono::steady_clock;

constexpr int kTimeOut = 5000;
const std::string kHead =
    "HTTP/1.0 200 OK\r\nContent-Type: multipart/x-mixed-replace;boundary=abc\r\n\r\n";
const std::string kDelimiter = "--abc\r\n";

std::string Part(const std::string& content)
{
    return "Content-Type: text/plain\r\n\r\n" + content + "\r\n";
}

const std::string kThreeParts = kHead + kDelimiter + Part("one") + kDelimiter + Part("two") +
                                kDelimiter + Part("three") + kDelimiter;

struct Client
{
    explicit Client(int port) { http.m_S_Init("127.0.0.1", "user", "secret", port); }
    explicit Client(const ScriptedCamera& camera) : Client(camera.Port()) {}

    int Read(const char* path = "stream.cgi", int timeOut = kTimeOut)
    {
        const int result =
            http.m_F_n_MultiPartStreamGet(path, buffer, static_cast<int>(sizeof(buffer)), timeOut);
        part.assign(buffer, result > 1 ? static_cast<std::size_t>(result) : 0);
        return result;
    }

    bool IsOpen() const { return http.m_socket != INVALID_SOCKET; }

    CHTTP http;
    char buffer[1024] = {};
    std::string part;
};

}  // namespace

TEST(MultipartStream, ReturnsPartAfterPartOverOneConnection)
{
    ScriptedCamera camera({Send(kThreeParts)});
    Client client(camera);
    for (const char* content : {"one", "two", "three"})
    {
        EXPECT_EQ(client.Read(), static_cast<int>(Part(content).size()));
        EXPECT_EQ(client.part, Part(content));
        EXPECT_TRUE(client.IsOpen());
    }
    EXPECT_EQ(camera.CountOfConnections(), 1U);
    EXPECT_EQ(camera.Received(),
              "GET /stream.cgi HTTP/1.1\r\n"
              "Accept: image/jpeg,*/*\r\n"
              "Connection: Keep-Alive\r\n"
              "Host:127.0.0.1\r\n"
              "Authorization: Basic dXNlcjpzZWNyZXQ=\r\n"
              "\r\n");
}

TEST(MultipartStream, KeepsItsStateInTheFields)
{
    ScriptedCamera camera({Send(kThreeParts)});
    Client client(camera);
    client.Read("stream.cgi", 4321);
    EXPECT_STREQ(client.http.m_szUrl, "stream.cgi");
    EXPECT_EQ(client.http.m_nTimeOut, 4321);
    EXPECT_STREQ(client.http.m_pszBoundary, "abc\r\n");
    EXPECT_EQ(client.http.m_memData.m_F_n_GetMemSize(), 1024U);
    EXPECT_EQ(std::string(client.http.m_memData.m_F_p_GetStrCHAR(),
                          static_cast<std::size_t>(client.http.m_nStreamLen)),
              kThreeParts.substr(kThreeParts.find(Part("two")) - kDelimiter.size()));
    EXPECT_EQ(client.http.m_nState, 0);
}

TEST(MultipartStream, WithBadArgumentsYieldsZeroAndDoesNothing)
{
    ScriptedCamera camera({Send(kThreeParts)});
    Client client(camera);
    char byte = '#';
    CHTTP& http = client.http;
    EXPECT_EQ(http.m_F_n_MultiPartStreamGet("", &byte, 1, kTimeOut), 0);
    EXPECT_EQ(http.m_F_n_MultiPartStreamGet(nullptr, &byte, 1, kTimeOut), 0);
    EXPECT_EQ(http.m_F_n_MultiPartStreamGet(std::string(256, 'p').c_str(), &byte, 1, kTimeOut), 0);
    EXPECT_EQ(http.m_F_n_MultiPartStreamGet("p", nullptr, 1024, kTimeOut), 0);
    EXPECT_EQ(http.m_F_n_MultiPartStreamGet("p", &byte, 0, kTimeOut), 0);
    EXPECT_EQ(http.m_F_n_MultiPartStreamGet("p", &byte, -1, kTimeOut), 0);
    CHTTP hostless;
    EXPECT_EQ(hostless.m_F_n_MultiPartStreamGet("p", &byte, 1, kTimeOut), 0);
    EXPECT_EQ(byte, '#');
    EXPECT_STREQ(http.m_szUrl, "");
    EXPECT_EQ(camera.CountOfConnections(), 0U);
}

TEST(MultipartStream, StaysOpenWithBadArguments)
{
    ScriptedCamera camera({Send(kThreeParts)});
    Client client(camera);
    client.Read();
    client.Read("");
    EXPECT_GT(client.Read(), 1);
    EXPECT_EQ(client.part, Part("two"));
}

TEST(MultipartStream, EndsWithMinusTwoWhenNothingListens)
{
    int port = 0;
    {
        ScriptedCamera camera({});
        port = camera.Port();
    }
    Client client(port);
    EXPECT_EQ(client.Read("stream.cgi", 200), -2);
    EXPECT_FALSE(client.IsOpen());
}

TEST(MultipartStream, ClosesTheConnectionWithEveryNegativeResult)
{
    const std::pair<const char*, int> answers[] = {
        {"HTTP/1.0 404 Not Found\r\n\r\n", -3},
        {"HTTP/1.0 200 OK", -3},
        {"HTTP/1.0 401 Unauthorized\r\n\r\n", -4},
        {"HTTP/1.0 200 OK\r\nContent-Type: text/plain\r\n\r\n", -5},
    };
    for (const auto& [answer, code] : answers)
    {
        ScriptedCamera camera({Send(answer)});
        Client client(camera);
        EXPECT_EQ(client.Read(), code) << answer;
        EXPECT_FALSE(client.IsOpen());
        EXPECT_EQ(camera.Ending(), CameraEnding::PeerReset);
    }
}

TEST(MultipartStream, EndsWithMinusFiveForAHeadWithoutEnd)
{
    ScriptedCamera camera({Send("HTTP/1.0 200 OK\r\n"), Close()});
    Client client(camera);
    EXPECT_EQ(client.Read(), -5);
    ScriptedCamera endless({Send("HTTP/1.0 200 OK\r\nX: " + std::string(3000, 'x'))});
    Client other(endless);
    EXPECT_EQ(other.Read(), -5);
    EXPECT_FALSE(other.IsOpen());
}

TEST(MultipartStream, EndsWithOneAfterASilenceAndReconnectsWithTheNextCall)
{
    ScriptedCamera camera({Send(kHead + kDelimiter + Part("one"))});
    Client client(camera);
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(client.Read("stream.cgi", 300), 1);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(280));
    EXPECT_FALSE(client.IsOpen());
    EXPECT_EQ(camera.Ending(), CameraEnding::PeerReset);

    camera.SetScript({Send(kThreeParts)});
    EXPECT_GT(client.Read(), 1);
    EXPECT_EQ(client.part, Part("one"));
    EXPECT_EQ(camera.CountOfConnections(), 2U);
}

TEST(MultipartStream, ReadsPartsThatComeWithPauses)
{
    CameraScript script = {Send(kHead)};
    for (const char* content : {"one", "two"})
    {
        script.push_back(Wait(150));
        script.push_back(Send(kDelimiter + Part(content)));
    }
    script.push_back(Wait(150));
    script.push_back(Send(kDelimiter));
    ScriptedCamera camera(script);
    Client client(camera);
    EXPECT_GT(client.Read(), 1);
    EXPECT_EQ(client.part, Part("one"));
    EXPECT_GT(client.Read(), 1);
    EXPECT_EQ(client.part, Part("two"));
}

TEST(MultipartStream, NeverReturnsTheLastPartOfAStreamClosedInOrder)
{
    ScriptedCamera camera(
        {Send(kHead + kDelimiter + Part("one") + kDelimiter + Part("two") + "--abc--\r\n"),
         Close()});
    Client client(camera);
    EXPECT_GT(client.Read(), 1);
    EXPECT_EQ(client.Read("stream.cgi", 300), 1);
    EXPECT_FALSE(client.IsOpen());
}

TEST(MultipartStream, OpensAnotherStreamForAnotherPath)
{
    ScriptedCamera camera({Send(kThreeParts)});
    Client client(camera);
    EXPECT_GT(client.Read("first.cgi"), 1);
    EXPECT_GT(client.Read("second.cgi"), 1);
    EXPECT_EQ(client.part, Part("one"));
    EXPECT_EQ(camera.Ending(0), CameraEnding::PeerReset);
    EXPECT_EQ(camera.Received(1).substr(0, 16), "GET /second.cgi ");
}

TEST(MultipartStream, WritesNoMoreThanTheCallersBuffer)
{
    ScriptedCamera camera({Send(kThreeParts)});
    Client client(camera);
    char small[8];
    std::fill(std::begin(small), std::end(small), '#');
    EXPECT_EQ(client.http.m_F_n_MultiPartStreamGet("stream.cgi", small, 5, kTimeOut),
              static_cast<int>(Part("one").size()));
    EXPECT_EQ(std::string(small, 8), "Conte###");
}

TEST(MultipartStream, EndsWithOneForAPartThatDoesNotFit)
{
    ScriptedCamera camera({Send(kHead + kDelimiter + std::string(3000, 'x') + kDelimiter)});
    Client client(camera);
    EXPECT_EQ(client.Read("stream.cgi", 300), 1);
    EXPECT_FALSE(client.IsOpen());
}

TEST(MultipartStream, IsForgottenByARelease)
{
    ScriptedCamera camera({Send(kThreeParts)});
    Client client(camera);
    client.Read();
    client.http.m_S_Release();
    EXPECT_EQ(client.http.m_pszBoundary, nullptr);
    EXPECT_FALSE(client.IsOpen());
    EXPECT_EQ(client.http.m_memData.m_F_n_GetMemSize(), 0U);
    EXPECT_GT(client.Read(), 1);
    EXPECT_EQ(client.part, Part("one"));
    EXPECT_EQ(camera.CountOfConnections(), 2U);
}

TEST(MultipartStream, WithoutAKnownBoundaryYieldsOneOnAnOpenConnection)
{
    ScriptedCamera camera({Send(kThreeParts)});
    Client client(camera);
    client.Read();
    delete[] client.http.m_pszBoundary;
    client.http.m_pszBoundary = nullptr;
    EXPECT_EQ(client.Read(), 1);
    EXPECT_TRUE(client.IsOpen());
}

TEST(MultipartStream, WaitsForASilentPeerWithoutLimitWhileOpening)
{
    ScriptedCamera camera({Wait(1500), Send(kThreeParts)});
    Client client(camera);
    EXPECT_GT(client.Read("stream.cgi", 200), 1);
    EXPECT_EQ(client.part, Part("one"));
}
