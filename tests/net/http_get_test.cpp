#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "CHTTP.h"
#include "support/scripted_camera.h"

using ostrel::test::CameraEnding;
using ostrel::test::CameraScript;
using ostrel::test::Close;
using ostrel::test::NextHandleValue;
using ostrel::test::Reset;
using ostrel::test::ScriptedCamera;
using ostrel::test::Send;
using ostrel::test::SendByteByByte;
using ostrel::test::Wait;

namespace
{

using Clock = std::chrono::steady_clock;

constexpr int kTimeOut = 10000;

long long MillisecondsSince(Clock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

std::string Ok(const std::string& body)
{
    return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

std::string Text(CMemManage& data, int count)
{
    return std::string(data.m_F_p_GetStrCHAR(), static_cast<std::size_t>(count));
}

int Get(const ScriptedCamera& camera, CMemManage& data, int timeOut = kTimeOut)
{
    CHTTP http;
    return http.m_F_n_HTTPGetDataDirect("127.0.0.1", "user", "secret", camera.Port(), "snap.jpg",
                                        &data, timeOut);
}

int FreePort()
{
    ScriptedCamera camera({});
    return camera.Port();
}

}  // namespace

// ---- Arguments ----------------------------------------------------------------------------------

TEST(DirectGet, RefusesBadArgumentsAndConnectsToNobody)
{
    ScriptedCamera camera({Send(Ok("abc")), Close()});
    CHTTP http;
    CMemManage data;
    const int port = camera.Port();
    const char* const host = "127.0.0.1";
    EXPECT_EQ(http.m_F_n_HTTPGetDataDirect("", "u", "p", port, "x", &data, kTimeOut), -1);
    EXPECT_EQ(http.m_F_n_HTTPGetDataDirect(nullptr, "u", "p", port, "x", &data, kTimeOut), -1);
    EXPECT_EQ(http.m_F_n_HTTPGetDataDirect(host, "u", "p", port, "", &data, kTimeOut), -1);
    EXPECT_EQ(http.m_F_n_HTTPGetDataDirect(host, "u", "p", port, nullptr, &data, kTimeOut), -1);
    EXPECT_EQ(http.m_F_n_HTTPGetDataDirect(host, "u", "p", -1, "x", &data, kTimeOut), -1);
    EXPECT_EQ(http.m_F_n_HTTPGetDataDirect(host, "u", "p", port, "x", nullptr, kTimeOut), -1);
    Sleep(200);
    EXPECT_EQ(camera.CountOfConnections(), 0U);
}

TEST(DirectGet, TakesNullCredentialsForEmptyOnes)
{
    ScriptedCamera camera({Send(Ok("abc")), Close()});
    CHTTP http;
    CMemManage data;
    EXPECT_EQ(http.m_F_n_HTTPGetDataDirect("127.0.0.1", nullptr, nullptr, camera.Port(), "x", &data,
                                           kTimeOut),
              3);
    EXPECT_NE(camera.Received().find("Authorization: Basic Og==\r\n\r\n"), std::string::npos);
}

TEST(DirectGet, SendsCredentialsThatDoNotFitTheScratchTextAsEmpty)
{
    ScriptedCamera camera({Send(Ok("abc")), Close()});
    CHTTP http;
    CMemManage data;
    const std::string password(100000, 'p');
    EXPECT_EQ(http.m_F_n_HTTPGetDataDirect("127.0.0.1", "user", password.c_str(), camera.Port(),
                                           "x", &data, kTimeOut),
              3);
    EXPECT_NE(camera.Received().find("Authorization: Basic \r\n\r\n"), std::string::npos);
}

// ---- The exchange -------------------------------------------------------------------------------

TEST(DirectGet, SendsExactlyThisRequest)
{
    ScriptedCamera camera({Send(Ok("abc"))});
    CMemManage data;
    Get(camera, data);
    EXPECT_EQ(camera.Ending(), CameraEnding::PeerReset);
    EXPECT_EQ(camera.Received(),
              "GET /snap.jpg HTTP/1.1\r\n"
              "Accept: image/jpeg,*/*\r\n"
              "Connection: Keep-Alive\r\n"
              "Host:127.0.0.1\r\n"
              "Authorization: Basic dXNlcjpzZWNyZXQ=\r\n"
              "\r\n");
}

TEST(DirectGet, StoresTheBodyAndFiveZeroBytes)
{
    ScriptedCamera camera({Send(Ok("hello")), Close()});
    CMemManage data;
    ASSERT_EQ(Get(camera, data), 5);
    EXPECT_EQ(data.m_F_n_GetMemSize(), 10U);
    EXPECT_EQ(Text(data, 10), std::string("hello\0\0\0\0\0", 10));
}

TEST(DirectGet, FetchesALargeBody)
{
    std::string body;
    for (unsigned i = 0; body.size() < 1000000; i = i * 1664525U + 1013904223U)
    {
        body += static_cast<char>(i >> 24);
    }
    ScriptedCamera camera({Send(Ok(body)), Close()});
    CMemManage data;
    ASSERT_EQ(Get(camera, data), 1000000);
    EXPECT_TRUE(Text(data, 1000000) == body);
}

TEST(DirectGet, FetchesABodyThatComesByteByByte)
{
    ScriptedCamera camera(SendByteByByte(Ok("slow"), 5));
    CMemManage data;
    ASSERT_EQ(Get(camera, data), 4);
    EXPECT_EQ(Text(data, 4), "slow");
}

TEST(DirectGet, FetchesFromACameraThatAcceptsLate)
{
    ScriptedCamera camera({Send(Ok("late")), Close()}, 500);
    CMemManage data;
    EXPECT_EQ(Get(camera, data), 4);
}

TEST(DirectGet, ReadsToThePeersCloseWithoutAnAnnouncedLength)
{
    ScriptedCamera camera(
        {Send("HTTP/1.1 200 OK\r\n\r\nhello"), Wait(200), Send(" world"), Close()});
    CMemManage data;
    ASSERT_EQ(Get(camera, data), 11);
    EXPECT_EQ(data.m_F_n_GetMemSize(), 4194309U);
    EXPECT_STREQ(data.m_F_p_GetStrCHAR(), "hello world");
}

TEST(DirectGet, StoresAnEmptyBodyAsFiveZeroBytes)
{
    ScriptedCamera camera({Send(Ok("")), Close()});
    CMemManage data;
    EXPECT_EQ(Get(camera, data), 0);
    EXPECT_EQ(data.m_F_n_GetMemSize(), 5U);
    EXPECT_EQ(Text(data, 5), std::string(5, '\0'));
}

TEST(DirectGet, BridgesAPauseInTheBody)
{
    ScriptedCamera camera(
        {Send("HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\nabc"), Wait(1500), Send("def")});
    CMemManage data;
    EXPECT_EQ(Get(camera, data), 6);
    EXPECT_STREQ(data.m_F_p_GetStrCHAR(), "abcdef");
}

TEST(DirectGet, JudgesAHeadByWhatCameBeforeItsFirstLongPause)
{
    ScriptedCamera camera(
        {Send("HTTP/1.1 200 "), Wait(2500), Send("OK\r\nContent-Length: 3\r\n\r\nabc")});
    CMemManage data;
    EXPECT_EQ(Get(camera, data), -3);
}

TEST(DirectGet, EndsWithWhatArrivedWhenThePeerResets)
{
    ScriptedCamera camera(
        {Send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nabc"), Wait(500), Reset()});
    CMemManage data;
    EXPECT_EQ(Get(camera, data), 3);
    EXPECT_STREQ(data.m_F_p_GetStrCHAR(), "abc");
}

TEST(DirectGet, EndsWithWhatArrivedWhenThePeerCloses)
{
    ScriptedCamera camera({Send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nabc"), Close()});
    CMemManage data;
    EXPECT_EQ(Get(camera, data), 3);
}

TEST(DirectGet, EndsWithWhatArrivedBeforeAPauseLongerThanTheTimeOut)
{
    ScriptedCamera camera({Send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nabc")});
    CMemManage data;
    EXPECT_EQ(Get(camera, data, 300), 3);
}

// ---- Failures -----------------------------------------------------------------------------------

TEST(DirectGet, EndsWithMinusTwoAfterTheTimeOutWhenRefused)
{
    const int port = FreePort();
    CHTTP http;
    CMemManage data;
    const auto start = Clock::now();
    EXPECT_EQ(http.m_F_n_HTTPGetDataDirect("127.0.0.1", "u", "p", port, "x", &data, 600), -2);
    EXPECT_GE(MillisecondsSince(start), 580);
}

TEST(DirectGet, EndsWithMinusTwoForAnUnknownHost)
{
    CHTTP http;
    CMemManage data;
    EXPECT_EQ(http.m_F_n_HTTPGetDataDirect("no-such-host.invalid", "u", "p", 80, "x", &data, 500),
              -2);
    const std::string longHost(5000, 'h');
    EXPECT_EQ(http.m_F_n_HTTPGetDataDirect(longHost.c_str(), "u", "p", 80, "x", &data, 500), -2);
}

TEST(DirectGet, EndsWithMinusThreeAfterTheTimeOutWhenThePeerStaysSilent)
{
    ScriptedCamera camera({});
    CMemManage data;
    const auto start = Clock::now();
    EXPECT_EQ(Get(camera, data, 700), -3);
    EXPECT_GE(MillisecondsSince(start), 680);
}

TEST(DirectGet, EndsWithMinusThreeWhenThePeerResetsAtOnce)
{
    ScriptedCamera camera({Reset()});
    CMemManage data;
    EXPECT_EQ(Get(camera, data), -3);
}

TEST(DirectGet, EndsWithMinusThreeForAnotherStatus)
{
    for (const std::string status : {"404 Not Found", "500 Internal Server Error"})
    {
        ScriptedCamera camera({Send("HTTP/1.1 " + status + "\r\n\r\n"), Close()});
        CMemManage data;
        EXPECT_EQ(Get(camera, data), -3) << status;
    }
}

TEST(DirectGet, EndsWithMinusFourWhenTheCredentialsAreRefused)
{
    ScriptedCamera camera({Send("HTTP/1.1 401 Unauthorized\r\n\r\n"), Close()});
    CMemManage data;
    EXPECT_EQ(Get(camera, data), -4);
}

TEST(DirectGet, EndsWithMinusThreeForARefusalWithoutLineEnd)
{
    ScriptedCamera camera({Send("HTTP/1.1 401 Unauthorized"), Close()});
    CMemManage data;
    EXPECT_EQ(Get(camera, data), -3);
}

TEST(DirectGet, EndsWithZeroForA200WhoseHeadDoesNotEnd)
{
    ScriptedCamera camera({Send("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n"), Close()});
    CMemManage data;
    EXPECT_EQ(Get(camera, data), 0);
}

TEST(DirectGet, NeverBlocksWithoutATimeOut)
{
    for (const int timeOut : {0, -1})
    {
        ScriptedCamera camera({});
        CMemManage data;
        EXPECT_EQ(Get(camera, data, timeOut), -3);
        EXPECT_EQ(camera.Ending(), CameraEnding::PeerReset);
    }
}

// ---- Resources and threads ----------------------------------------------------------------------

TEST(DirectGet, ResetsTheConnectionOnEveryPath)
{
    const std::vector<CameraScript> scripts = {
        {Send(Ok("abc"))},
        {Send("HTTP/1.1 401 Unauthorized\r\n\r\n")},
        {Send("HTTP/1.1 404 Not Found\r\n\r\n")},
        {Send("HTTP/1.1 200 OK\r\n")},
        {Send("no answer at all")},
        {},
    };
    for (std::size_t i = 0; i < scripts.size(); ++i)
    {
        ScriptedCamera camera(scripts[i]);
        CMemManage data;
        Get(camera, data, 300);
        EXPECT_EQ(camera.Ending(), CameraEnding::PeerReset) << i;
    }
}

TEST(DirectGet, LosesNoHandle)
{
    ScriptedCamera camera({Send(Ok("abc")), Close()});
    CMemManage data;
    Get(camera, data);
    const int refusing = FreePort();
    CHTTP http;
    const std::size_t before = NextHandleValue();
    for (int i = 0; i < 200; ++i)
    {
        http.m_F_n_HTTPGetDataDirect("127.0.0.1", "u", "p", refusing, "x", &data, 1);
    }
    EXPECT_LT(NextHandleValue(), before + 400);
}

TEST(DirectGet, DoesNotTouchTheObject)
{
    ScriptedCamera camera({Send(Ok("abc")), Close()});
    CHTTP http;
    http.m_S_Init("host", "me", "word", 1234);
    CMemManage data;
    http.m_F_n_HTTPGetDataDirect("127.0.0.1", "u", "p", camera.Port(), "x", &data, kTimeOut);
    EXPECT_STREQ(http.m_szHost, "host");
    EXPECT_STREQ(http.m_szUser, "me");
    EXPECT_STREQ(http.m_szPassword, "word");
    EXPECT_STREQ(http.m_szUrl, "");
    EXPECT_EQ(http.m_nPort, 1234);
    EXPECT_EQ(http.m_nTimeOut, 30000);
    EXPECT_EQ(http.m_nState, 0);
    EXPECT_EQ(http.m_socket, INVALID_SOCKET);
    EXPECT_EQ(http.m_memData.m_F_n_GetMemSize(), 0U);
}

TEST(DirectGet, ServesSeveralThreadsAtOnce)
{
    ScriptedCamera camera({Wait(200), Send(Ok("abcdef")), Close()});
    CHTTP http;
    std::vector<int> results(8);
    std::vector<std::thread> threads;
    for (int& result : results)
    {
        threads.emplace_back(
            [&http, &camera, &result]
            {
                CMemManage data;
                result = http.m_F_n_HTTPGetDataDirect("127.0.0.1", "u", "p", camera.Port(), "x",
                                                      &data, kTimeOut);
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(results, std::vector<int>(8, 6));
}

// ---- Small tools --------------------------------------------------------------------------------

TEST(HttpAddressLookup, ReadsADottedAddress)
{
    CHTTP http;
    EXPECT_EQ(http.GetIPAddress("127.0.0.1"), 0x7F000001U);
    EXPECT_EQ(http.GetIPAddress("10.20.30.40"), 0x0A141E28U);
    EXPECT_EQ(http.GetIPAddress("255.255.255.255"), 0xFFFFFFFFU);
}

TEST(HttpAddressLookup, ResolvesAName)
{
    CHTTP http;
    EXPECT_EQ(http.GetIPAddress("localhost"), 0x7F000001U);
}

TEST(HttpAddressLookup, IsAllOnesForAnUnknownHost)
{
    CHTTP http;
    EXPECT_EQ(http.GetIPAddress("no-such-host.invalid"), 0xFFFFFFFFU);
}

TEST(HttpAddressLookup, IsAllOnesForNull)
{
    CHTTP http;
    EXPECT_EQ(http.GetIPAddress(nullptr), 0xFFFFFFFFU);
}

TEST(HttpAddressLookup, IsAllOnesForATextThatIsTooLong)
{
    CHTTP http;
    EXPECT_EQ(http.GetIPAddress(std::string(128, '1').c_str()), 0xFFFFFFFFU);
    EXPECT_EQ(http.GetIPAddress(std::string(100000, 'h').c_str()), 0xFFFFFFFFU);
}

TEST(HttpBase64, EncodesUserColonPassword)
{
    char text[256];
    std::memset(text, '#', sizeof(text));
    CHTTP::Base64Encode("Aladdin", "open sesame", text);
    EXPECT_STREQ(text, "QWxhZGRpbjpvcGVuIHNlc2FtZQ==");
    EXPECT_EQ(text[29], '#');
}

TEST(HttpBase64, TakesNullForEmpty)
{
    char text[8];
    CHTTP::Base64Encode(nullptr, nullptr, text);
    EXPECT_STREQ(text, "Og==");
}

TEST(HttpBodyOfAResponse, StartsAfterTheFirstEmptyLine)
{
    EXPECT_STREQ(CHTTP::s_F_s_GetHTTPData("head\r\n\r\nbody\r\n\r\nmore"), "body\r\n\r\nmore");
    EXPECT_STREQ(CHTTP::s_F_s_GetHTTPData("head\r\n\r\n"), "");
}

TEST(HttpBodyOfAResponse, MayStartAfterTwoLineFeeds)
{
    EXPECT_STREQ(CHTTP::s_F_s_GetHTTPData("head\n\nbody"), "body");
    EXPECT_STREQ(CHTTP::s_F_s_GetHTTPData("a\n\nb\r\n\r\nc"), "c");
}

TEST(HttpBodyOfAResponse, IsNullWithoutAnEmptyLine)
{
    EXPECT_EQ(CHTTP::s_F_s_GetHTTPData("head\r\nmore\r\n"), nullptr);
    EXPECT_EQ(CHTTP::s_F_s_GetHTTPData(""), nullptr);
    EXPECT_EQ(CHTTP::s_F_s_GetHTTPData(nullptr), nullptr);
}
