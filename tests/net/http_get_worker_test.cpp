#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "CHTTP.h"
#include "CSFunc.h"
#include "support/output_capture.h"
#include "support/scripted_camera.h"

using ostrel::test::CameraEnding;
using ostrel::test::CameraScript;
using ostrel::test::Close;
using ostrel::test::NextHandleValue;
using ostrel::test::OutputCapture;
using ostrel::test::ScriptedCamera;
using ostrel::test::Send;
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

unsigned int LowBits(HANDLE handle)
{
    return static_cast<unsigned int>(reinterpret_cast<UINT_PTR>(handle));
}

/// What the callback saw.
struct Seen
{
    CHTTP* http = nullptr;
    std::atomic<int> calls{0};
    int code = 0;
    __int64 second = 0;
    DWORD threadId = 0;
    int state = 0;
    SOCKET socket = 0;
    std::string body;
};

int TakeResult(int code, __int64 first, __int64 second)
{
    Seen& seen = *reinterpret_cast<Seen*>(first);
    seen.code = code;
    seen.second = second;
    seen.threadId = GetCurrentThreadId();
    seen.state = seen.http->m_nState;
    seen.socket = seen.http->m_socket;
    CMemManage& data = seen.http->m_memData;
    seen.body.assign(data.m_F_p_GetStrCHAR() != nullptr ? data.m_F_p_GetStrCHAR() : "");
    ++seen.calls;
    return 4711;
}

/// An object that is set up for the camera, with the callback above.
struct Client
{
    explicit Client(int port)
    {
        http.m_S_Init("127.0.0.1", "user", "secret", port);
        seen.http = &http;
        http.m_pfnFinished = TakeResult;
        http.m_nUserData1 = reinterpret_cast<__int64>(&seen);
        http.m_nUserData2 = 0x123456789ABCDEF0;
    }
    explicit Client(const ScriptedCamera& camera) : Client(camera.Port()) {}

    unsigned int Start(int timeOut = kTimeOut)
    {
        return http.m_F_n_HTTPGetData("snap.jpg", timeOut);
    }

    /// Waits for the worker and returns its exit code.
    int ExitCode()
    {
        EXPECT_EQ(WaitForSingleObject(http.m_hThread, 30000), WAIT_OBJECT_0);
        DWORD code = 0;
        EXPECT_TRUE(GetExitCodeThread(http.m_hThread, &code));
        return static_cast<int>(code);
    }

    int Fetch(int timeOut = kTimeOut)
    {
        EXPECT_NE(Start(timeOut), 0U);
        return ExitCode();
    }

    Seen seen;
    CHTTP http;
};

int FreePort()
{
    ScriptedCamera camera({});
    return camera.Port();
}

/// A thread that runs until its flag drops.
struct FlaggedThread
{
    explicit FlaggedThread(std::atomic<bool>& flag) : flag(flag)
    {
        flag = true;
        handle = CreateThread(nullptr, 0, Run, this, 0, nullptr);
        DuplicateHandle(GetCurrentProcess(), handle, GetCurrentProcess(), &observer, 0, FALSE,
                        DUPLICATE_SAME_ACCESS);
    }
    ~FlaggedThread() { CloseHandle(observer); }
    FlaggedThread(const FlaggedThread&) = delete;
    FlaggedThread& operator=(const FlaggedThread&) = delete;

    static DWORD WINAPI Run(void* pParam)
    {
        while (static_cast<FlaggedThread*>(pParam)->flag)
        {
            Sleep(5);
        }
        return 7;
    }

    std::atomic<bool>& flag;
    HANDLE handle = nullptr;
    HANDLE observer = nullptr;
};

}  // namespace

// ---- Construction, initialisation, release ------------------------------------------------------

TEST(HttpObject, StartsWithTheStatedValues)
{
    const CHTTP http;
    EXPECT_EQ(http.m_hThread, nullptr);
    EXPECT_EQ(http.m_nPort, 80);
    EXPECT_EQ(http.m_nTimeOut, 30000);
    EXPECT_EQ(http.m_nState, 0);
    EXPECT_EQ(http.m_hPostThread, nullptr);
    EXPECT_FALSE(http.m_bPostRun);
    EXPECT_TRUE(http.m_listPost.IsEmpty());
    EXPECT_EQ(http.m_socket, INVALID_SOCKET);
    EXPECT_EQ(http.m_pszBoundary, nullptr);
    EXPECT_TRUE(http.m_pfnFinished == nullptr);
    EXPECT_EQ(http.m_memData.m_pMem, nullptr);
}

TEST(HttpObject, StartsWinsock)
{
    const CHTTP http;
    const SOCKET socket = ::socket(AF_INET, SOCK_STREAM, 0);
    EXPECT_NE(socket, INVALID_SOCKET);
    closesocket(socket);
}

TEST(HttpObject, LeavesWinsockRunningWhenDestroyed)
{
    {
        const CHTTP http;
    }
    const SOCKET socket = ::socket(AF_INET, SOCK_STREAM, 0);
    EXPECT_NE(socket, INVALID_SOCKET);
    closesocket(socket);
}

TEST(HttpInit, StoresServerAndCredentials)
{
    CHTTP http;
    EXPECT_TRUE(http.m_S_Init("host", "user", "word", 8080));
    EXPECT_STREQ(http.m_szHost, "host");
    EXPECT_STREQ(http.m_szUser, "user");
    EXPECT_STREQ(http.m_szPassword, "word");
    EXPECT_EQ(http.m_nPort, 8080);
}

TEST(HttpInit, StoresTextsOfUpToThirtyOneCharacters)
{
    CHTTP http;
    const std::string text(31, 'x');
    EXPECT_TRUE(http.m_S_Init(text.c_str(), text.c_str(), text.c_str(), 80));
    EXPECT_EQ(http.m_szHost, text);
    EXPECT_EQ(http.m_szUser, text);
    EXPECT_EQ(http.m_szPassword, text);
}

TEST(HttpInit, LeavesAFieldEmptyWhoseTextIsLongerOrNull)
{
    CHTTP http;
    http.m_S_Init("host", "user", "word", 80);
    const std::string text(32, 'x');
    EXPECT_TRUE(http.m_S_Init(text.c_str(), nullptr, std::string(10000, 'x').c_str(), 81));
    EXPECT_STREQ(http.m_szHost, "");
    EXPECT_STREQ(http.m_szUser, "");
    EXPECT_STREQ(http.m_szPassword, "");
    EXPECT_EQ(http.m_nPort, 81);
}

TEST(HttpInit, ChangesNothingForTheObjectsOwnFieldsAndPort)
{
    ScriptedCamera camera({Send(Ok("abc")), Close()});
    Client client(camera);
    client.Fetch();
    CHTTP& http = client.http;
    EXPECT_TRUE(http.m_S_Init(http.m_szHost, http.m_szUser, http.m_szPassword, http.m_nPort));
    EXPECT_TRUE(http.m_pfnFinished == TakeResult);
    EXPECT_STREQ(http.m_szHost, "127.0.0.1");
    EXPECT_EQ(http.m_memData.m_F_n_GetMemSize(), 8U);
}

TEST(HttpInit, ReleasesForEqualTextsFromOtherBuffers)
{
    ScriptedCamera camera({Send(Ok("abc")), Close()});
    Client client(camera);
    client.Fetch();
    EXPECT_TRUE(client.http.m_S_Init("127.0.0.1", "user", "secret", camera.Port()));
    EXPECT_TRUE(client.http.m_pfnFinished == nullptr);
    EXPECT_EQ(client.http.m_memData.m_F_n_GetMemSize(), 0U);
}

TEST(HttpInit, ReleasesForTheObjectsOwnFieldsAndAnotherPort)
{
    Client client(1234);
    CHTTP& http = client.http;
    EXPECT_TRUE(http.m_S_Init(http.m_szHost, http.m_szUser, http.m_szPassword, 1235));
    EXPECT_TRUE(http.m_pfnFinished == nullptr);
    EXPECT_STREQ(http.m_szHost, "127.0.0.1");
    EXPECT_STREQ(http.m_szUser, "user");
    EXPECT_STREQ(http.m_szPassword, "secret");
    EXPECT_EQ(http.m_nPort, 1235);
}

TEST(HttpInit, TakesTheObjectsOwnFieldsInAnotherOrder)
{
    CHTTP http;
    http.m_S_Init("host", "user", "word", 80);
    http.m_S_Init(http.m_szUser, http.m_szPassword, http.m_szHost, 80);
    EXPECT_STREQ(http.m_szHost, "user");
    EXPECT_STREQ(http.m_szUser, "word");
    EXPECT_STREQ(http.m_szPassword, "host");
}

TEST(HttpRelease, FreesWhatTheObjectHolds)
{
    ScriptedCamera camera({Send(Ok("abc")), Close()});
    Client client(camera);
    client.Fetch();
    client.http.m_pszBoundary = new char[10];
    EXPECT_TRUE(client.http.m_S_Release());
    EXPECT_EQ(client.http.m_memData.m_F_p_GetMemPoint(), nullptr);
    EXPECT_EQ(client.http.m_memData.m_F_n_GetMemSize(), 0U);
    EXPECT_EQ(client.http.m_pszBoundary, nullptr);
    EXPECT_TRUE(client.http.m_pfnFinished == nullptr);
    EXPECT_EQ(client.http.m_nState, 0);
    EXPECT_TRUE(client.http.m_S_Release());
}

TEST(HttpRelease, ClosesTheConnection)
{
    ScriptedCamera camera({});
    CHTTP http;
    http.m_socket = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<u_short>(camera.Port()));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_TRUE(CSFunc::s_F_n_ConnectTimeOut(http.m_socket, reinterpret_cast<sockaddr*>(&address),
                                             static_cast<int>(sizeof(address)), kTimeOut));
    http.m_S_Release();
    EXPECT_EQ(http.m_socket, INVALID_SOCKET);
    EXPECT_EQ(camera.Ending(), CameraEnding::PeerReset);
}

TEST(HttpRelease, WaitsForARunningWorkerAndCallsNobody)
{
    OutputCapture output;
    ScriptedCamera camera({Wait(1000), Send(Ok("abc")), Close()});
    Client client(camera);
    client.Start();
    camera.Received();
    EXPECT_TRUE(client.http.m_S_Release());
    EXPECT_EQ(client.http.m_hThread, nullptr);
    EXPECT_EQ(client.http.m_nState, 0);
    EXPECT_EQ(client.http.m_socket, INVALID_SOCKET);
    EXPECT_EQ(client.http.m_memData.m_F_p_GetMemPoint(), nullptr);
    EXPECT_EQ(client.seen.calls, 0);
    EXPECT_TRUE(output.Texts().empty());
}

TEST(HttpRelease, TerminatesAWorkerThatDoesNotEndWithinTenSeconds)
{
    OutputCapture output;
    ScriptedCamera camera({});
    Client client(camera);
    const unsigned int handle = client.Start(600000);
    camera.Received();
    const auto start = Clock::now();
    client.http.m_S_Release();
    EXPECT_GE(MillisecondsSince(start), 9900);
    EXPECT_EQ(client.http.m_hThread, nullptr);
    EXPECT_EQ(client.http.m_nState, 0);
    EXPECT_EQ(client.http.m_socket, INVALID_SOCKET);
    EXPECT_EQ(camera.Ending(), CameraEnding::PeerReset);
    char line[100];
    std::snprintf(line, sizeof(line), "TerminateThread hThread = 0x%08x, TIMEOUT = 10000\n",
                  handle);
    EXPECT_EQ(output.Texts(), std::vector<std::string>{line});
}

TEST(HttpRelease, StopsAPostWorker)
{
    OutputCapture output;
    CHTTP http;
    FlaggedThread worker(http.m_bPostRun);
    http.m_hPostThread = worker.handle;
    http.m_nState = 2;
    http.m_S_Release();
    EXPECT_EQ(WaitForSingleObject(worker.observer, 0), WAIT_OBJECT_0);
    EXPECT_FALSE(http.m_bPostRun);
    EXPECT_EQ(http.m_hPostThread, nullptr);
    EXPECT_EQ(http.m_nState, 0);
    EXPECT_TRUE(output.Texts().empty());
}

TEST(HttpRelease, DoesNotStopAGroupPostWorker)
{
    CHTTP http;
    FlaggedThread worker(http.m_bPostRun);
    http.m_hPostThread = worker.handle;
    http.m_nState = 3;
    http.m_S_Release();
    EXPECT_EQ(WaitForSingleObject(worker.observer, 50), static_cast<DWORD>(WAIT_TIMEOUT));
    EXPECT_TRUE(http.m_bPostRun);
    EXPECT_EQ(http.m_hPostThread, worker.handle);
    EXPECT_EQ(http.m_nState, 0);

    http.m_bPostRun = false;
    CSFunc::s_S_ForceCloseThread(http.m_hPostThread, 10000, nullptr);
}

TEST(HttpRelease, HappensInTheDestructorToo)
{
    ScriptedCamera camera({Wait(700), Send(Ok("abc"))});
    auto client = std::make_unique<Client>(camera);
    client->Start();
    camera.Received();
    client.reset();
    EXPECT_EQ(camera.Ending(), CameraEnding::PeerReset);
}

// ---- Starting a worker --------------------------------------------------------------------------

TEST(HttpWorker, IsStartedWithItsHandleAsTheResult)
{
    ScriptedCamera camera({Wait(300), Send(Ok("abc")), Close()});
    Client client(camera);
    const unsigned int result = client.Start(4321);
    EXPECT_NE(result, 0U);
    EXPECT_EQ(result, LowBits(client.http.m_hThread));
    EXPECT_EQ(client.http.m_nState, 1);
    EXPECT_STREQ(client.http.m_szUrl, "snap.jpg");
    EXPECT_EQ(client.http.m_nTimeOut, 4321);
    client.ExitCode();
}

TEST(HttpWorker, IsNotStartedForAnEmptyPathOrHost)
{
    ScriptedCamera camera({Send(Ok("abc")), Close()});
    Client client(camera);
    EXPECT_EQ(client.http.m_F_n_HTTPGetData("", kTimeOut), 0U);
    EXPECT_EQ(client.http.m_F_n_HTTPGetData(nullptr, kTimeOut), 0U);
    client.http.m_szHost[0] = '\0';
    EXPECT_EQ(client.http.m_F_n_HTTPGetData("snap.jpg", kTimeOut), 0U);
    EXPECT_EQ(client.http.m_nState, 0);
    EXPECT_EQ(client.http.m_hThread, nullptr);
    Sleep(200);
    EXPECT_EQ(camera.CountOfConnections(), 0U);
}

TEST(HttpWorker, IsNotStartedForAPathThatIsTooLong)
{
    ScriptedCamera camera({Send(Ok("abc")), Close()});
    Client client(camera);
    EXPECT_EQ(client.http.m_F_n_HTTPGetData(std::string(256, 'p').c_str(), kTimeOut), 0U);
    EXPECT_EQ(client.http.m_nState, 0);
    EXPECT_EQ(client.http.m_hThread, nullptr);
}

TEST(HttpWorker, TakesAPathOfTwoHundredAndFiftyFiveCharacters)
{
    ScriptedCamera camera({Send(Ok("abc")), Close()});
    Client client(camera);
    const std::string path(255, 'p');
    EXPECT_NE(client.http.m_F_n_HTTPGetData(path.c_str(), kTimeOut), 0U);
    EXPECT_EQ(client.ExitCode(), 3);
    EXPECT_EQ(camera.Received().find("GET /" + path + " HTTP/1.1\r\n"), 0U);
}

TEST(HttpWorker, IsTheOnlyOneWhileItRuns)
{
    ScriptedCamera camera({Wait(700), Send(Ok("abc")), Close()});
    Client client(camera);
    const unsigned int first = client.Start();
    camera.Received();
    const unsigned int second = client.http.m_F_n_HTTPGetData("other", 1);
    EXPECT_EQ(second, first);
    EXPECT_STREQ(client.http.m_szUrl, "snap.jpg");
    EXPECT_EQ(client.http.m_nTimeOut, kTimeOut);
    EXPECT_EQ(client.ExitCode(), 3);
    EXPECT_EQ(camera.CountOfConnections(), 1U);
}

TEST(HttpWorker, LeavesItsHandleBehindWhenItHasFinished)
{
    ScriptedCamera camera({Send(Ok("abc")), Close()});
    Client client(camera);
    const unsigned int handle = client.Start();
    client.ExitCode();
    EXPECT_EQ(client.http.m_nState, 0);
    EXPECT_EQ(LowBits(client.http.m_hThread), handle);
}

TEST(HttpWorker, CanFollowAnother)
{
    ScriptedCamera camera({Send(Ok("abc")), Close()});
    Client client(camera);
    for (int i = 1; i <= 20; ++i)
    {
        ASSERT_EQ(client.Fetch(), 3);
        ASSERT_EQ(client.seen.calls, i);
    }
    EXPECT_EQ(camera.CountOfConnections(), 20U);
}

TEST(HttpWorker, LosesNoHandle)
{
    Client client(FreePort());
    client.Fetch(1);
    const std::size_t before = NextHandleValue();
    for (int i = 0; i < 100; ++i)
    {
        ASSERT_EQ(client.Fetch(1), -2);
    }
    // One lost with each fetch would make this 400.
    EXPECT_LT(NextHandleValue(), before + 200);
}

TEST(HttpWorker, EndsAPredecessorThatLingersAfterItsEnd)
{
    OutputCapture output;
    ScriptedCamera camera({Send(Ok("abc")), Close()});
    Client client(camera);
    // It calls itself finished, and then stays.
    client.http.m_pfnFinished = [](int, __int64 first, __int64) -> int
    {
        Seen& seen = *reinterpret_cast<Seen*>(first);
        ++seen.calls;
        seen.http->m_nState = 0;
        Sleep(INFINITE);
        return 0;
    };
    const unsigned int lingering = client.Start();
    while (client.http.m_nState != 0)
    {
        Sleep(5);
    }
    client.http.m_pfnFinished = TakeResult;
    const auto start = Clock::now();
    EXPECT_EQ(client.Fetch(), 3);
    EXPECT_GE(MillisecondsSince(start), 980);
    char line[100];
    std::snprintf(line, sizeof(line), "TerminateThread hThread = 0x%08x, TIMEOUT = 1001\n",
                  lingering);
    EXPECT_EQ(output.Texts(), std::vector<std::string>{line});
}

// ---- What a worker does -------------------------------------------------------------------------

TEST(HttpWorker, SendsExactlyThisRequest)
{
    ScriptedCamera camera({Send(Ok("abc")), Close()});
    Client client(camera);
    client.Fetch();
    EXPECT_EQ(camera.Received(),
              "GET /snap.jpg HTTP/1.1\r\n"
              "Accept: image/jpeg,*/*\r\n"
              "Connection: Keep-Alive\r\n"
              "Host:127.0.0.1\r\n"
              "Authorization: Basic dXNlcjpzZWNyZXQ=\r\n"
              "\r\n");
}

TEST(HttpWorker, StoresTheBodyInTheObject)
{
    ScriptedCamera camera({Send(Ok("hello")), Close()});
    Client client(camera);
    EXPECT_EQ(client.Fetch(), 5);
    EXPECT_EQ(client.http.m_memData.m_F_n_GetMemSize(), 10U);
    EXPECT_STREQ(client.http.m_memData.m_F_p_GetStrCHAR(), "hello");
    EXPECT_EQ(client.seen.body, "hello");
}

TEST(HttpWorker, KeepsTheBlockForABodyOfTheSameSize)
{
    ScriptedCamera camera({Send(Ok("hello")), Close()});
    Client client(camera);
    client.Fetch();
    unsigned char* const block = client.http.m_memData.m_F_p_GetMemPoint();
    camera.SetScript({Send(Ok("world")), Close()});
    client.Fetch();
    EXPECT_EQ(client.http.m_memData.m_F_p_GetMemPoint(), block);
    EXPECT_STREQ(client.http.m_memData.m_F_p_GetStrCHAR(), "world");
}

TEST(HttpWorker, CallsBackWithCodeAndBothValuesInOrder)
{
    ScriptedCamera camera({Send(Ok("hello")), Close()});
    Client client(camera);
    client.Fetch();
    EXPECT_EQ(client.seen.calls, 1);
    EXPECT_EQ(client.seen.code, 5);
    EXPECT_EQ(client.seen.second, 0x123456789ABCDEF0);
}

TEST(HttpWorker, CallsBackOnItsOwnThread)
{
    ScriptedCamera camera({Wait(200), Send(Ok("hello")), Close()});
    Client client(camera);
    client.Start();
    const DWORD id = GetThreadId(client.http.m_hThread);
    client.ExitCode();
    EXPECT_EQ(client.seen.threadId, id);
    EXPECT_NE(client.seen.threadId, GetCurrentThreadId());
}

TEST(HttpWorker, CountsAsRunningDuringTheCallback)
{
    ScriptedCamera camera({Send(Ok("hello")), Close()});
    Client client(camera);
    client.Fetch();
    EXPECT_EQ(client.seen.state, 1);
    EXPECT_EQ(client.http.m_nState, 0);
}

TEST(HttpWorker, HasClosedItsConnectionBeforeTheCallback)
{
    ScriptedCamera camera({Send(Ok("hello"))});
    Client client(camera);
    client.Fetch();
    EXPECT_EQ(client.seen.socket, INVALID_SOCKET);
    EXPECT_EQ(camera.Ending(), CameraEnding::PeerReset);
}

TEST(HttpWorker, KeepsItsConnectionInTheObjectWhileItWorks)
{
    ScriptedCamera camera({Wait(500), Send(Ok("hello")), Close()});
    Client client(camera);
    client.Start();
    camera.Received();
    EXPECT_NE(client.http.m_socket, INVALID_SOCKET);
    client.ExitCode();
    EXPECT_EQ(client.http.m_socket, INVALID_SOCKET);
}

TEST(HttpWorker, TellsTheCallbackTheAnnouncedLengthAndExitsWithTheBytesStored)
{
    ScriptedCamera camera({Send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nhello"), Close()});
    Client client(camera);
    EXPECT_EQ(client.Fetch(), 5);
    EXPECT_EQ(client.seen.code, 100);
}

TEST(HttpWorker, TellsTheCallbackFourMebibytesWhenNoLengthWasAnnounced)
{
    ScriptedCamera camera({Send("HTTP/1.1 200 OK\r\n\r\nhello"), Close()});
    Client client(camera);
    EXPECT_EQ(client.Fetch(), 5);
    EXPECT_EQ(client.seen.code, 4194304);
}

TEST(HttpWorker, TellsTheCallbackANegativeCodeAndExitsWithIt)
{
    const struct
    {
        const char* answer;
        int code;
    } cases[] = {
        {"HTTP/1.1 404 Not Found\r\n\r\n", -3},
        {"HTTP/1.1 500 Broken\r\n\r\n", -3},
        {"HTTP/1.1 401 Unauthorized\r\n\r\n", -4},
        {"HTTP/1.1 401 Unauthorized", -4},
        {"HTTP/1.1 200 OK\r\n", -3},
        {"", -3},
    };
    for (const auto& expected : cases)
    {
        ScriptedCamera camera({Send(expected.answer)});
        Client client(camera);
        EXPECT_EQ(client.Fetch(500), expected.code) << expected.answer;
        EXPECT_EQ(client.seen.calls, 1) << expected.answer;
        EXPECT_EQ(client.seen.code, expected.code) << expected.answer;
        EXPECT_EQ(client.http.m_nState, 0);
        EXPECT_EQ(camera.Ending(), CameraEnding::PeerReset) << expected.answer;
    }
}

TEST(HttpWorker, EndsWithoutACallbackWhenItCannotConnect)
{
    Client client(FreePort());
    const auto start = Clock::now();
    EXPECT_EQ(client.Fetch(500), -2);
    EXPECT_GE(MillisecondsSince(start), 480);
    EXPECT_EQ(client.seen.calls, 0);
    EXPECT_EQ(client.http.m_nState, 0);
    EXPECT_EQ(client.http.m_socket, INVALID_SOCKET);
}

TEST(HttpWorker, UsesTheTimeOutForTheWaits)
{
    ScriptedCamera camera({});
    Client client(camera);
    const auto start = Clock::now();
    EXPECT_EQ(client.Fetch(700), -3);
    EXPECT_GE(MillisecondsSince(start), 680);
}

TEST(HttpWorker, WorksWithoutACallback)
{
    ScriptedCamera camera({Send(Ok("hello")), Close()});
    Client client(camera);
    client.http.m_pfnFinished = nullptr;
    EXPECT_EQ(client.Fetch(), 5);
    EXPECT_EQ(client.http.m_nState, 0);
}

TEST(HttpWorker, NeverCallsACallbackThatWasSetBeforeTheInitialisation)
{
    ScriptedCamera camera({Send(Ok("hello")), Close()});
    Client client(camera);
    client.http.m_S_Init("127.0.0.1", "user", "secret", camera.Port());
    EXPECT_EQ(client.Fetch(), 5);
    EXPECT_EQ(client.seen.calls, 0);
}

TEST(HttpWorker, IsRefusedToItsOwnCallback)
{
    ScriptedCamera camera({Send(Ok("hello")), Close()});
    Client client(camera);
    client.http.m_pfnFinished = [](int, __int64 first, __int64) -> int
    {
        Seen& seen = *reinterpret_cast<Seen*>(first);
        seen.http->m_F_n_HTTPGetData("again", kTimeOut);
        ++seen.calls;
        return 0;
    };
    client.Fetch();
    EXPECT_EQ(client.seen.calls, 1);
    EXPECT_STREQ(client.http.m_szUrl, "snap.jpg");
    EXPECT_EQ(camera.CountOfConnections(), 1U);
}

TEST(HttpWorker, DoesNothingWithoutAnObject)
{
    EXPECT_EQ(static_cast<int>(CHTTP::m_F_n_HTTP_Thread(nullptr)), -1);
}

TEST(HttpCallback, IsCalledWithCodeAndBothValuesInOrder)
{
    Client client(80);
    client.http.OnFinished(-17);
    EXPECT_EQ(client.seen.calls, 1);
    EXPECT_EQ(client.seen.code, -17);
    EXPECT_EQ(client.seen.second, 0x123456789ABCDEF0);
}

TEST(HttpCallback, MayBeMissing)
{
    CHTTP http;
    http.OnFinished(1);
    EXPECT_EQ(http.m_nState, 0);
}
