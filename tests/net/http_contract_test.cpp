// What a client of the HTTP class may rely on: construction, initialisation and release, the bytes
// of a GET, how an answer is judged and stored, and the worker.
#include <winsock2.h>

#include <afxwin.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <climits>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "CHTTP.h"
#include "support/import_patch.h"
#include "support/output_capture.h"
#include "support/scripted_camera.h"

namespace
{

using ostrel::test::CameraEnding;
using ostrel::test::CameraScript;
using ostrel::test::Close;
using ostrel::test::ImportPatch;
using ostrel::test::NextHandleValue;
using ostrel::test::OutputCapture;
using ostrel::test::Reset;
using ostrel::test::ScriptedCamera;
using ostrel::test::Send;
using ostrel::test::SendByteByByte;
using ostrel::test::Wait;

constexpr const char* kHost = "127.0.0.1";
constexpr int kPatience = 5000;
constexpr std::size_t kNoLength = 4194304;
// Clocks of different make may disagree by a tick.
constexpr int kTick = 20;

std::string Answer(const std::string& body)
{
    return "HTTP/1.1 200 OK\r\nContent-Type: image/jpeg\r\nContent-Length: " +
           std::to_string(body.size()) + "\r\n\r\n" + body;
}

/// A head of exactly this many bytes, its empty line included.
std::string HeadOf(std::size_t size, std::size_t length)
{
    const std::string start =
        "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(length) + "\r\nX-Fill: ";
    return start + std::string(size - start.size() - 4, 'f') + "\r\n\r\n";
}

std::string Pattern(std::size_t size)
{
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i)
    {
        bytes[i] = static_cast<char>(i * 7 + i / 251);
    }
    return bytes;
}

std::string TextOf(CMemManage& buffer)
{
    return buffer.m_pMem == nullptr ? std::string()
                                    : std::string(buffer.m_F_p_GetStrCHAR(),
                                                  static_cast<std::size_t>(buffer.m_nMemSize));
}

/// What a buffer must hold after this much of a body of this length.
std::string Stored(const std::string& body, std::size_t length)
{
    return body + std::string(length + 5 - body.size(), '\0');
}

std::string Request(const std::string& path, const std::string& credentials)
{
    return "GET /" + path +
           " HTTP/1.1\r\nAccept: image/jpeg,*/*\r\nConnection: Keep-Alive\r\nHost:127.0.0.1\r\n"
           "Authorization: Basic " +
           credentials + "\r\n\r\n";
}

class Stopwatch
{
public:
    long long Milliseconds() const
    {
        return std::chrono::duration_cast<std::chrono::milliseconds>(
                   std::chrono::steady_clock::now() - vm_start)
            .count();
    }

private:
    std::chrono::steady_clock::time_point vm_start = std::chrono::steady_clock::now();
};

sockaddr_in Loopback(int port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<u_short>(port));
    return address;
}

/// A port of this machine that refuses connections while it lives.
class RefusingPort
{
public:
    RefusingPort() : vm_socket(socket(AF_INET, SOCK_STREAM, 0))
    {
        sockaddr_in address = Loopback(0);
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

/// Takes one connection and answers before it has read anything; then reads until the end.
class HastyServer
{
public:
    explicit HastyServer(std::string answer) : vm_listener(socket(AF_INET, SOCK_STREAM, 0))
    {
        sockaddr_in address = Loopback(0);
        int size = static_cast<int>(sizeof(address));
        bind(vm_listener, reinterpret_cast<sockaddr*>(&address), size);
        listen(vm_listener, 1);
        getsockname(vm_listener, reinterpret_cast<sockaddr*>(&address), &size);
        vm_nPort = ntohs(address.sin_port);
        vm_thread = std::thread([this, text = std::move(answer)] { Serve(text); });
    }
    ~HastyServer()
    {
        closesocket(vm_listener);
        if (vm_thread.joinable())
        {
            vm_thread.join();
        }
    }
    HastyServer(const HastyServer&) = delete;
    HastyServer& operator=(const HastyServer&) = delete;
    int Port() const { return vm_nPort; }

    /// Waits for the connection's end.
    std::string Received()
    {
        vm_thread.join();
        return vm_received;
    }

private:
    void Serve(const std::string& answer)
    {
        const SOCKET peer = accept(vm_listener, nullptr, nullptr);
        if (peer == INVALID_SOCKET)
        {
            return;
        }
        send(peer, answer.data(), static_cast<int>(answer.size()), 0);
        shutdown(peer, SD_SEND);
        const DWORD limit = 20000;
        setsockopt(peer, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&limit),
                   static_cast<int>(sizeof(limit)));
        char bytes[4096];
        for (int count = 0; (count = recv(peer, bytes, static_cast<int>(sizeof(bytes)), 0)) > 0;)
        {
            vm_received.append(bytes, static_cast<std::size_t>(count));
        }
        closesocket(peer);
    }

    SOCKET vm_listener;
    int vm_nPort = 0;
    std::string vm_received;
    std::thread vm_thread;
};

class HttpContract : public ::testing::Test
{
protected:
    HttpContract()
    {
        WSADATA data = {};
        WSAStartup(MAKEWORD(2, 2), &data);
    }
    ~HttpContract() override { WSACleanup(); }
};

// ---- The platform as the DLL sees it -----------------------------------------------------------

/// The function that stands in for one of the platform's while an Instead lives.
template <class Function>
std::function<Function> g_instead;

template <class Result, class... Arguments>
Result WSAAPI CallInstead(Arguments... arguments)
{
    return g_instead<Result(Arguments...)>(arguments...);
}

template <class Result, class... Arguments>
std::unique_ptr<ImportPatch<Result WSAAPI(Arguments...)>> PatchWith(
    const char* name, std::function<Result(Arguments...)> function)
{
    g_instead<Result(Arguments...)> = std::move(function);
    return std::make_unique<ImportPatch<Result WSAAPI(Arguments...)>>(
        name, &CallInstead<Result, Arguments...>);
}

// Functions of one type share one stand-in, so no two of them are replaced at a time.
using SendFunction = std::function<int(SOCKET, const char*, int, int)>;
using ReceiveFunction = std::function<int(SOCKET, char*, int, int)>;
using ConnectFunction = std::function<int(SOCKET, const sockaddr*, int)>;
using SelectFunction = std::function<int(int, fd_set*, fd_set*, fd_set*, const timeval*)>;
using CloseSocketFunction = std::function<int(SOCKET)>;
using WaitFunction = std::function<DWORD(HANDLE, DWORD)>;
using SleepFunction = std::function<void(DWORD)>;
using LookUpFunction = std::function<hostent*(const char*)>;
using StartupFunction = std::function<int(WORD, WSADATA*)>;
using CleanupFunction = std::function<int()>;
using SocketFunction = std::function<SOCKET(int, int, int)>;
using MallocFunction = std::function<void*(std::size_t)>;

/// A camera that has closed its own side cannot tell a reset from an orderly end for sure.
void ExpectAbortion(ScriptedCamera& camera, const CameraScript& script)
{
    const bool isClosed =
        !script.empty() && script.back().kind == ostrel::test::CameraStep::Kind::Close;
    const CameraEnding ending = camera.Ending();
    EXPECT_TRUE(ending == CameraEnding::PeerReset ||
                (isClosed && ending == CameraEnding::PeerClosed))
        << "the connection must be reset, and ended as " << static_cast<int>(ending);
}

// ---- Direct fetches ----------------------------------------------------------------------------

int Get(int port, CMemManage& data, int timeOut = kPatience, const char* path = "snap.jpg")
{
    CHTTP http;
    return http.m_F_n_HTTPGetDataDirect(kHost, "user", "pass", port, path, &data, timeOut);
}

int Get(const CameraScript& script, CMemManage& data, int timeOut = kPatience)
{
    ScriptedCamera camera(script);
    const int result = Get(camera.Port(), data, timeOut);
    ExpectAbortion(camera, script);
    return result;
}

// ---- Worker fetches ----------------------------------------------------------------------------

struct Finish
{
    int code;
    __int64 first;
    __int64 second;
    DWORD thread;
    int state;
    SOCKET socket;
};

std::mutex g_finishLock;
std::vector<Finish> g_finishes;
CHTTP* g_pFinishing = nullptr;

int NoteFinish(int code, __int64 first, __int64 second)
{
    const std::lock_guard<std::mutex> guard(g_finishLock);
    g_finishes.push_back({code, first, second, GetCurrentThreadId(),
                          g_pFinishing == nullptr ? -1 : g_pFinishing->m_nState.load(),
                          g_pFinishing == nullptr ? 0 : g_pFinishing->m_socket});
    return 12345;
}

/// An object that is ready to fetch from a port of this machine and whose callback is noted.
class Worker
{
public:
    explicit Worker(int port)
    {
        EXPECT_TRUE(http.m_S_Init(kHost, "user", "pass", port));
        http.m_nUserData1 = 0x1111111122222222;
        http.m_nUserData2 = 0x3333333344444444;
        http.m_pfnFinished = &NoteFinish;
        g_finishes.clear();
        g_pFinishing = &http;
    }
    ~Worker() { g_pFinishing = nullptr; }

    unsigned int Start(int timeOut = kPatience, const char* path = "snap.jpg")
    {
        return http.m_F_n_HTTPGetData(path, timeOut);
    }

    /// Waits for the worker's end.
    /// @return its exit code.
    int ExitCode()
    {
        EXPECT_EQ(WaitForSingleObject(http.m_hThread, 20000), WAIT_OBJECT_0);
        DWORD code = 0;
        EXPECT_TRUE(GetExitCodeThread(http.m_hThread, &code));
        EXPECT_EQ(http.m_nState, 0);
        return static_cast<int>(code);
    }

    int Fetch(int timeOut = kPatience)
    {
        EXPECT_NE(Start(timeOut), 0u);
        return ExitCode();
    }

    std::vector<int> Codes() const
    {
        const std::lock_guard<std::mutex> guard(g_finishLock);
        std::vector<int> codes;
        for (const Finish& finish : g_finishes)
        {
            codes.push_back(finish.code);
        }
        return codes;
    }

    CHTTP http;
};

/// A worker fetch: its exit code; the callback must have come once, with this code.
int WorkerGet(const CameraScript& script, int expectedCallbackCode, int timeOut = kPatience)
{
    ScriptedCamera camera(script);
    Worker worker(camera.Port());
    const int code = worker.Fetch(timeOut);
    EXPECT_EQ(worker.Codes(), std::vector<int>{expectedCallbackCode});
    EXPECT_EQ(worker.http.m_socket, INVALID_SOCKET);
    ExpectAbortion(camera, script);
    return code;
}

// ---- Construction ------------------------------------------------------------------------------

TEST_F(HttpContract, AFreshObjectHoldsTheStatedValues)
{
    CHTTP http;
    EXPECT_EQ(http.m_memData.m_pMem, nullptr);
    EXPECT_EQ(http.m_memData.m_nMemSize, 0u);
    EXPECT_EQ(http.m_hThread, nullptr);
    EXPECT_EQ(http.m_nPort, 80);
    EXPECT_EQ(http.m_nTimeOut, 30000);
    EXPECT_EQ(http.m_nState, 0);
    EXPECT_EQ(http.m_hPostThread, nullptr);
    EXPECT_FALSE(http.m_bPostRun);
    EXPECT_TRUE(http.m_listPost.IsEmpty());
    EXPECT_EQ(http.m_socket, INVALID_SOCKET);
    EXPECT_EQ(http.m_pszBoundary, nullptr);
    EXPECT_EQ(http.m_pfnFinished.load(), nullptr);
}

TEST_F(HttpContract, TheFieldsStandInTheStatedOrderWithoutAnythingBeforeThem)
{
    EXPECT_FALSE(std::is_polymorphic_v<CHTTP>);
    CHTTP http;
    const std::vector<const void*> fields = {
        &http.m_memData,     &http.m_hThread,    &http.m_szHost,     &http.m_szUser,
        &http.m_szPassword,  &http.m_szUrl,      &http.m_nPort,      &http.m_nTimeOut,
        &http.m_nUserData2,  &http.m_nUserData1, &http.m_nState,     &http.m_hPostThread,
        &http.m_bPostRun,    &http.m_listPost,   &http.m_szPostUrl,  &http.m_socket,
        &http.m_pszBoundary, &http.m_nStreamLen, &http.m_pfnFinished};
    EXPECT_EQ(fields[0], static_cast<const void*>(&http));
    for (std::size_t i = 1; i < fields.size(); ++i)
    {
        EXPECT_LT(fields[i - 1], fields[i]) << i;
    }
    EXPECT_EQ(sizeof(http.m_szHost), 32u);
    EXPECT_EQ(sizeof(http.m_szUser), 32u);
    EXPECT_EQ(sizeof(http.m_szPassword), 32u);
    EXPECT_EQ(sizeof(http.m_szUrl), 256u);
    EXPECT_EQ(sizeof(http.m_szPostUrl), 256u);
    EXPECT_EQ(sizeof(http.m_nState), 4u);
    EXPECT_EQ(sizeof(http.m_bPostRun), 1u);
    EXPECT_EQ(sizeof(http.m_pfnFinished), 8u);
}

TEST_F(HttpContract, TheConstructorStartsWinsockTwoPointTwoWhateverTheResult)
{
    std::vector<int> versions;
    const auto patch = PatchWith("WSAStartup", StartupFunction(
                                                   [&versions](WORD version, WSADATA*)
                                                   {
                                                       versions.push_back(version);
                                                       return WSAVERNOTSUPPORTED;
                                                   }));
    CHTTP http;
    EXPECT_EQ(versions, std::vector<int>{0x0202});
    EXPECT_EQ(http.m_nPort, 80);
}

TEST_F(HttpContract, TheDestructorNeverCleansWinsockUp)
{
    int count = 0;
    const auto patch = PatchWith("WSACleanup", CleanupFunction([&count] { return ++count; }));
    {
        CHTTP http;
    }
    EXPECT_EQ(count, 0);
}

TEST_F(HttpContract, TheDestructorClosesAnOpenConnectionAbortively)
{
    ScriptedCamera camera({});
    {
        CHTTP http;
        http.m_socket = socket(AF_INET, SOCK_STREAM, 0);
        const sockaddr_in address = Loopback(camera.Port());
        ASSERT_EQ(connect(http.m_socket, reinterpret_cast<const sockaddr*>(&address),
                          static_cast<int>(sizeof(address))),
                  0);
    }
    EXPECT_EQ(camera.Ending(), CameraEnding::PeerReset);
}

// ---- Initialisation and release ----------------------------------------------------------------

/// Gives the object something of everything that a release may take away.
void Load(CHTTP& http)
{
    http.m_pfnFinished = &NoteFinish;
    http.m_nUserData1 = 11;
    http.m_nUserData2 = 22;
    http.m_nStreamLen = 33;
    http.m_nTimeOut = 44;
    std::strcpy(http.m_szUrl, "url");
    std::strcpy(http.m_szPostUrl, "post");
    http.m_memData.m_F_p_MemAlloc(10);
    http.m_pszBoundary = new char[8];
    http.m_socket = socket(AF_INET, SOCK_STREAM, 0);
}

bool IsReleased(const CHTTP& http)
{
    return http.m_pfnFinished.load() == nullptr && http.m_memData.m_pMem == nullptr &&
           http.m_memData.m_nMemSize == 0 && http.m_pszBoundary == nullptr &&
           http.m_socket == INVALID_SOCKET && http.m_nState == 0;
}

TEST_F(HttpContract, InitStoresTheServerAndReturnsTrue)
{
    CHTTP http;
    EXPECT_TRUE(http.m_S_Init("camera", "admin", "secret", 8080));
    EXPECT_STREQ(http.m_szHost, "camera");
    EXPECT_STREQ(http.m_szUser, "admin");
    EXPECT_STREQ(http.m_szPassword, "secret");
    EXPECT_EQ(http.m_nPort, 8080);
    EXPECT_EQ(http.m_nTimeOut, 30000);
}

TEST_F(HttpContract, InitTakesThirtyOneCharactersOfEach)
{
    CHTTP http;
    const std::string host(31, 'h');
    const std::string user(31, 'u');
    const std::string password(31, 'p');
    EXPECT_TRUE(http.m_S_Init(host.c_str(), user.c_str(), password.c_str(), 1));
    EXPECT_EQ(http.m_szHost, host);
    EXPECT_EQ(http.m_szUser, user);
    EXPECT_EQ(http.m_szPassword, password);
}

TEST_F(HttpContract, InitLeavesTheFieldOfALongerOrNullTextEmptyAndItsNeighboursAlone)
{
    CHTTP http;
    EXPECT_TRUE(http.m_S_Init("host", "user", "pass", 1));
    const std::string tooLong(32, 'x');
    EXPECT_TRUE(http.m_S_Init("host", tooLong.c_str(), "pass", 2));
    EXPECT_STREQ(http.m_szHost, "host");
    EXPECT_STREQ(http.m_szUser, "");
    EXPECT_STREQ(http.m_szPassword, "pass");
    EXPECT_TRUE(http.m_S_Init(std::string(5000, 'x').c_str(), "user", nullptr, 3));
    EXPECT_STREQ(http.m_szHost, "");
    EXPECT_STREQ(http.m_szUser, "user");
    EXPECT_STREQ(http.m_szPassword, "");
    EXPECT_EQ(http.m_nPort, 3);
}

TEST_F(HttpContract, InitReleasesTheObjectFirst)
{
    CHTTP http;
    Load(http);
    EXPECT_TRUE(http.m_S_Init("host", "user", "pass", 1));
    EXPECT_TRUE(IsReleased(http));
}

TEST_F(HttpContract, InitWithTheObjectsOwnFieldsAndPortChangesNothing)
{
    CHTTP http;
    http.m_S_Init("host", "user", "pass", 81);
    Load(http);
    const unsigned char* const block = http.m_memData.m_pMem;
    const SOCKET socket = http.m_socket;
    const char* const boundary = http.m_pszBoundary;
    EXPECT_TRUE(http.m_S_Init(http.m_szHost, http.m_szUser, http.m_szPassword, 81));
    EXPECT_EQ(http.m_pfnFinished.load(), &NoteFinish);
    EXPECT_EQ(http.m_memData.m_pMem, block);
    EXPECT_EQ(http.m_socket, socket);
    EXPECT_EQ(http.m_pszBoundary, boundary);
    EXPECT_STREQ(http.m_szHost, "host");
}

TEST_F(HttpContract, InitWithTheOwnFieldsLeavesEvenARunningStateAlone)
{
    CHTTP http;
    http.m_S_Init("host", "user", "pass", 81);
    http.m_nState = 3;
    EXPECT_TRUE(http.m_S_Init(http.m_szHost, http.m_szUser, http.m_szPassword, 81));
    EXPECT_EQ(http.m_nState, 3);
    http.m_nState = 0;
}

TEST_F(HttpContract, InitWithTheOwnFieldsAndAnotherPortReleasesAndKeepsTheTexts)
{
    CHTTP http;
    http.m_S_Init("host", "user", "pass", 81);
    Load(http);
    EXPECT_TRUE(http.m_S_Init(http.m_szHost, http.m_szUser, http.m_szPassword, 82));
    EXPECT_TRUE(IsReleased(http));
    EXPECT_STREQ(http.m_szHost, "host");
    EXPECT_STREQ(http.m_szUser, "user");
    EXPECT_STREQ(http.m_szPassword, "pass");
    EXPECT_EQ(http.m_nPort, 82);
}

TEST_F(HttpContract, InitWithEqualTextsFromOtherBuffersReleases)
{
    const std::string host = "host";
    const std::string user = "user";
    const std::string password = "pass";
    CHTTP http;
    for (int own = 0; own < 7; ++own)
    {
        http.m_S_Init("host", "user", "pass", 81);
        Load(http);
        EXPECT_TRUE(http.m_S_Init((own & 1) != 0 ? http.m_szHost : host.c_str(),
                                  (own & 2) != 0 ? http.m_szUser : user.c_str(),
                                  (own & 4) != 0 ? http.m_szPassword : password.c_str(), 81));
        EXPECT_TRUE(IsReleased(http)) << own;
        EXPECT_STREQ(http.m_szHost, "host");
        EXPECT_STREQ(http.m_szUser, "user");
        EXPECT_STREQ(http.m_szPassword, "pass");
    }
}

TEST_F(HttpContract, ReleaseClearsWhatTheObjectHoldsAndKeepsTheRest)
{
    CHTTP http;
    http.m_S_Init("host", "user", "pass", 81);
    Load(http);
    http.m_listPost.AddTail(&http);
    EXPECT_TRUE(http.m_S_Release());
    EXPECT_TRUE(IsReleased(http));
    EXPECT_STREQ(http.m_szHost, "host");
    EXPECT_STREQ(http.m_szUser, "user");
    EXPECT_STREQ(http.m_szPassword, "pass");
    EXPECT_STREQ(http.m_szUrl, "url");
    EXPECT_STREQ(http.m_szPostUrl, "post");
    EXPECT_EQ(http.m_nPort, 81);
    EXPECT_EQ(http.m_nTimeOut, 44);
    EXPECT_EQ(http.m_nUserData1, 11);
    EXPECT_EQ(http.m_nUserData2, 22);
    EXPECT_EQ(http.m_listPost.GetCount(), 1);
    http.m_listPost.RemoveAll();
    EXPECT_TRUE(http.m_S_Release());
}

TEST_F(HttpContract, ReleaseDoesNotStopAGroupPostWorker)
{
    CHTTP http;
    const HANDLE thread = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    http.m_nState = 3;
    http.m_hPostThread = thread;
    http.m_bPostRun = true;
    EXPECT_TRUE(http.m_S_Release());
    EXPECT_EQ(http.m_nState, 0);
    EXPECT_EQ(http.m_hPostThread, thread);
    EXPECT_TRUE(http.m_bPostRun);
    DWORD flags = 0;
    EXPECT_TRUE(GetHandleInformation(thread, &flags));
    http.m_hPostThread = nullptr;
    http.m_bPostRun = false;
    CloseHandle(thread);
}

TEST_F(HttpContract, ReleaseLeavesAFinishedWorkersHandle)
{
    ScriptedCamera camera({Send(Answer("body")), Close()});
    Worker worker(camera.Port());
    worker.Fetch();
    const HANDLE thread = worker.http.m_hThread;
    EXPECT_TRUE(worker.http.m_S_Release());
    EXPECT_EQ(worker.http.m_hThread, thread);
    EXPECT_EQ(WaitForSingleObject(thread, 0), WAIT_OBJECT_0);
}

TEST_F(HttpContract, ReleaseWaitsForTheGetWorkerWhichThenCallsNobody)
{
    ScriptedCamera camera({});
    Worker worker(camera.Port());
    ASSERT_NE(worker.Start(1200), 0u);
    camera.Received();
    std::vector<DWORD> waits;
    {
        const auto patch =
            PatchWith("WaitForSingleObject", WaitFunction(
                                                 [&waits](HANDLE handle, DWORD time)
                                                 {
                                                     waits.push_back(time);
                                                     return WaitForSingleObject(handle, time);
                                                 }));
        EXPECT_TRUE(worker.http.m_S_Release());
    }
    EXPECT_EQ(waits, std::vector<DWORD>{10000});
    EXPECT_EQ(worker.http.m_hThread, nullptr);
    EXPECT_TRUE(IsReleased(worker.http));
    EXPECT_EQ(worker.Codes(), std::vector<int>{});
}

DWORD WINAPI SleepForGood(void*)
{
    Sleep(INFINITE);
    return 1;
}

TEST_F(HttpContract, ReleaseTerminatesAWorkerThatDoesNotEndAndClosesItsConnection)
{
    ScriptedCamera camera({});
    Worker worker(camera.Port());
    worker.http.m_socket = socket(AF_INET, SOCK_STREAM, 0);
    const sockaddr_in address = Loopback(camera.Port());
    ASSERT_EQ(connect(worker.http.m_socket, reinterpret_cast<const sockaddr*>(&address),
                      static_cast<int>(sizeof(address))),
              0);
    // A thread of the test's own: one that the close wakes could be terminated while it holds a
    // lock of the run-time.
    worker.http.m_hThread = CreateThread(nullptr, 0, &SleepForGood, nullptr, 0, nullptr);
    worker.http.m_nState = 1;
    OutputCapture capture;
    {
        const auto patch = PatchWith(
            "WaitForSingleObject",
            WaitFunction([](HANDLE handle, DWORD) { return WaitForSingleObject(handle, 100); }));
        EXPECT_TRUE(worker.http.m_S_Release());
    }
    ASSERT_EQ(capture.Texts().size(), 1u);
    EXPECT_EQ(capture.Texts()[0].find("TerminateThread hThread = 0x"), 0u);
    EXPECT_NE(capture.Texts()[0].find(", TIMEOUT = 10000\n"), std::string::npos);
    EXPECT_EQ(camera.Ending(), CameraEnding::PeerReset);
    EXPECT_EQ(worker.http.m_hThread, nullptr);
    EXPECT_TRUE(IsReleased(worker.http));
}

TEST_F(HttpContract, ACallbackSetBeforeInitIsClearedAndNeverCalled)
{
    ScriptedCamera camera({Send(Answer("body")), Close()});
    g_finishes.clear();
    CHTTP http;
    http.m_pfnFinished = &NoteFinish;
    http.m_S_Init(kHost, "user", "pass", camera.Port());
    ASSERT_NE(http.m_F_n_HTTPGetData("snap.jpg", kPatience), 0u);
    EXPECT_EQ(WaitForSingleObject(http.m_hThread, 20000), WAIT_OBJECT_0);
    EXPECT_EQ(TextOf(http.m_memData), Stored("body", 4));
    EXPECT_TRUE(g_finishes.empty());
}

// ---- The callback ------------------------------------------------------------------------------

TEST_F(HttpContract, OnFinishedPassesTheCodeThenTheFirstThenTheSecondValue)
{
    CHTTP http;
    http.OnFinished(1);
    g_finishes.clear();
    http.m_nUserData1 = 0x100000001;
    http.m_nUserData2 = -2;
    http.m_pfnFinished = &NoteFinish;
    http.OnFinished(-7);
    ASSERT_EQ(g_finishes.size(), 1u);
    EXPECT_EQ(g_finishes[0].code, -7);
    EXPECT_EQ(g_finishes[0].first, 0x100000001);
    EXPECT_EQ(g_finishes[0].second, -2);
}

// ---- Address lookup ----------------------------------------------------------------------------

constexpr unsigned int kAllOnes = 0xFFFFFFFF;

/// An answer of the name service.
class LookUp
{
public:
    explicit LookUp(std::vector<std::array<unsigned char, 4>> addresses)
        : vm_addresses(std::move(addresses))
    {
        for (auto& address : vm_addresses)
        {
            vm_list.push_back(reinterpret_cast<char*>(address.data()));
        }
        vm_list.push_back(nullptr);
        vm_host.h_addrtype = AF_INET;
        vm_host.h_length = 4;
        vm_host.h_addr_list = vm_list.data();
        vm_patch =
            PatchWith("gethostbyname", LookUpFunction(
                                           [this](const char* name) -> hostent*
                                           {
                                               names.emplace_back(name);
                                               return vm_addresses.empty() ? nullptr : &vm_host;
                                           }));
    }

    std::vector<std::string> names;

private:
    std::vector<std::array<unsigned char, 4>> vm_addresses;
    std::vector<char*> vm_list;
    hostent vm_host = {};
    std::shared_ptr<void> vm_patch;
};

TEST_F(HttpContract, ADottedAddressIsGivenInHostOrderWithoutALookUp)
{
    LookUp lookUp({{9, 9, 9, 9}});
    CHTTP http;
    EXPECT_EQ(http.GetIPAddress("127.0.0.1"), 0x7F000001u);
    EXPECT_EQ(http.GetIPAddress("192.168.1.20"), 0xC0A80114u);
    EXPECT_EQ(http.GetIPAddress("0.0.0.0"), 0u);
    EXPECT_TRUE(lookUp.names.empty());
}

TEST_F(HttpContract, NoHostIsAllOnes)
{
    LookUp lookUp({{9, 9, 9, 9}});
    CHTTP http;
    EXPECT_EQ(http.GetIPAddress(nullptr), kAllOnes);
    EXPECT_TRUE(lookUp.names.empty());
}

TEST_F(HttpContract, TheBroadcastAddressIsAllOnesWithoutALookUp)
{
    LookUp lookUp({{9, 9, 9, 9}});
    CHTTP http;
    EXPECT_EQ(http.GetIPAddress("255.255.255.255"), kAllOnes);
    EXPECT_TRUE(lookUp.names.empty());
}

TEST_F(HttpContract, AnotherSpellingOfTheBroadcastAddressIsLookedUp)
{
    LookUp lookUp({{9, 8, 7, 6}});
    CHTTP http;
    EXPECT_EQ(http.GetIPAddress("0xffffffff"), 0x09080706u);
    EXPECT_EQ(lookUp.names, std::vector<std::string>{"0xffffffff"});
}

TEST_F(HttpContract, ANameGivesTheFirstAddressOfTheAnswer)
{
    LookUp lookUp({{10, 1, 2, 3}, {10, 4, 5, 6}});
    CHTTP http;
    EXPECT_EQ(http.GetIPAddress("camera.example"), 0x0A010203u);
    EXPECT_EQ(lookUp.names, std::vector<std::string>{"camera.example"});
}

TEST_F(HttpContract, AnUnknownNameIsAllOnes)
{
    LookUp lookUp({});
    CHTTP http;
    EXPECT_EQ(http.GetIPAddress("camera.example"), kAllOnes);
    EXPECT_EQ(lookUp.names.size(), 1u);
}

TEST_F(HttpContract, ANameOf127CharactersIsLookedUpInFullAndALongerOneIsUnknown)
{
    LookUp lookUp({{9, 8, 7, 6}});
    CHTTP http;
    const std::string longest(127, 'n');
    EXPECT_EQ(http.GetIPAddress(longest.c_str()), 0x09080706u);
    EXPECT_EQ(lookUp.names, std::vector<std::string>{longest});
    EXPECT_EQ(http.GetIPAddress(std::string(128, 'n').c_str()), kAllOnes);
    EXPECT_EQ(http.GetIPAddress(std::string(5000, 'n').c_str()), kAllOnes);
}

// ---- Credentials -------------------------------------------------------------------------------

std::string Encode(const char* user, const char* password)
{
    std::array<char, 1024> out;
    out.fill('#');
    CHTTP::Base64Encode(user, password, out.data());
    const std::size_t length = std::strlen(out.data());
    EXPECT_EQ(out[length + 1], '#') << "written past the terminator";
    return out.data();
}

TEST_F(HttpContract, CredentialsAreTheBase64OfUserColonPassword)
{
    EXPECT_EQ(Encode("Aladdin", "open sesame"), "QWxhZGRpbjpvcGVuIHNlc2FtZQ==");
    EXPECT_EQ(Encode("", ""), "Og==");
    EXPECT_EQ(Encode("a", ""), "YTo=");
    EXPECT_EQ(Encode("", "b"), "OmI=");
    EXPECT_EQ(Encode("a", "b"), "YTpi");
    EXPECT_EQ(Encode("user", "pass"), "dXNlcjpwYXNz");
    EXPECT_EQ(Encode("a:b", "c"), "YTpiOmM=");
}

TEST_F(HttpContract, CredentialsUseTheWholeAlphabet)
{
    EXPECT_EQ(Encode("~~~", "~~~"), "fn5+On5+fg==");
    EXPECT_EQ(Encode("???", "???"), "Pz8/Oj8/Pw==");
}

TEST_F(HttpContract, NullCredentialsCountAsEmpty)
{
    EXPECT_EQ(Encode(nullptr, nullptr), "Og==");
    EXPECT_EQ(Encode("a", nullptr), "YTo=");
    EXPECT_EQ(Encode(nullptr, "b"), "OmI=");
}

TEST_F(HttpContract, LongCredentialsAreEncodedWhole)
{
    const std::string text(299, 'a');
    std::string expected = "YWFh";
    for (int i = 1; i < 99; ++i)
    {
        expected += "YWFh";
    }
    // The last group is "aa:" and the empty password adds nothing.
    expected += "YWE6";
    EXPECT_EQ(Encode(text.c_str(), ""), expected);
}

// ---- The body inside a response ----------------------------------------------------------------

TEST_F(HttpContract, TheBodyBeginsAfterTheFirstEmptyLine)
{
    const char* const text = "a\r\n\r\nb\r\n\r\nc";
    EXPECT_EQ(CHTTP::s_F_s_GetHTTPData(text), text + 5);
    const char* const plain = "a\n\nb\n\nc";
    EXPECT_EQ(CHTTP::s_F_s_GetHTTPData(plain), plain + 3);
}

TEST_F(HttpContract, AnEmptyLineOfCarriageReturnsGoesBeforeAnEarlierPlainOne)
{
    const char* const text = "a\n\nb\r\n\r\nc";
    EXPECT_EQ(CHTTP::s_F_s_GetHTTPData(text), text + 8);
}

TEST_F(HttpContract, TheBodyMayBeEmpty)
{
    const char* const text = "a\r\n\r\n";
    EXPECT_EQ(CHTTP::s_F_s_GetHTTPData(text), text + 5);
}

TEST_F(HttpContract, WithoutAnEmptyLineThereIsNoBody)
{
    EXPECT_EQ(CHTTP::s_F_s_GetHTTPData(nullptr), nullptr);
    EXPECT_EQ(CHTTP::s_F_s_GetHTTPData(""), nullptr);
    EXPECT_EQ(CHTTP::s_F_s_GetHTTPData("a\r\nb\r\nc"), nullptr);
    EXPECT_EQ(CHTTP::s_F_s_GetHTTPData("a\n\rb\n\r\n"), nullptr);
    EXPECT_EQ(CHTTP::s_F_s_GetHTTPData("\r\n\r"), nullptr);
}

// ---- The request -------------------------------------------------------------------------------

TEST_F(HttpContract, TheDirectRequestIsExactlyAsWritten)
{
    ScriptedCamera camera({Send(Answer("body")), Close()});
    CMemManage data;
    EXPECT_EQ(Get(camera.Port(), data, kPatience, "cgi-bin/snap.cgi?ch=1&q=%20"), 4);
    EXPECT_NE(camera.Ending(), CameraEnding::None);
    EXPECT_EQ(camera.Received(), Request("cgi-bin/snap.cgi?ch=1&q=%20", "dXNlcjpwYXNz"));
}

TEST_F(HttpContract, TheWorkersRequestIsExactlyAsWritten)
{
    ScriptedCamera camera({Send(Answer("body")), Close()});
    Worker worker(camera.Port());
    worker.Start(kPatience, "snap.jpg?%d%s");
    worker.ExitCode();
    EXPECT_NE(camera.Ending(), CameraEnding::None);
    EXPECT_EQ(camera.Received(), Request("snap.jpg?%d%s", "dXNlcjpwYXNz"));
}

TEST_F(HttpContract, EmptyAndNullCredentialsAreSentAsAColon)
{
    ScriptedCamera camera({Send(Answer("body")), Close()});
    CHTTP http;
    CMemManage data;
    EXPECT_EQ(http.m_F_n_HTTPGetDataDirect(kHost, "", "", camera.Port(), "a", &data, kPatience), 4);
    EXPECT_EQ(
        http.m_F_n_HTTPGetDataDirect(kHost, nullptr, nullptr, camera.Port(), "a", &data, kPatience),
        4);
    EXPECT_EQ(camera.Received(0), Request("a", "Og=="));
    EXPECT_EQ(camera.Received(1), Request("a", "Og=="));
}

TEST_F(HttpContract, CredentialsTooLongForTheirTextAreSentAsEmptyOnes)
{
    ScriptedCamera camera({Send(Answer("body")), Close()});
    CHTTP http;
    CMemManage data;
    // With the colon 189 and 190 characters: 252 and 256 of Base64.
    for (const std::size_t length : {188u, 189u, 4000u})
    {
        EXPECT_EQ(http.m_F_n_HTTPGetDataDirect(kHost, std::string(length, 'u').c_str(), "",
                                               camera.Port(), "a", &data, kPatience),
                  4);
    }
    const std::string fits = camera.Received(0);
    EXPECT_NE(fits.find("Basic dXV1"), std::string::npos);
    EXPECT_NE(fits.find("dXU6\r\n\r\n"), std::string::npos);
    // An empty text, or the text of an empty user name and password.
    for (const std::size_t tooLong : {1u, 2u})
    {
        const std::string request = camera.Received(tooLong);
        EXPECT_TRUE(request == Request("a", "") || request == Request("a", "Og==")) << request;
    }
}

TEST_F(HttpContract, ARequestLongerThanTheWorkBufferIsBounded)
{
    HastyServer server(Answer("body"));
    CMemManage data;
    const std::string path(20000, 'p');
    EXPECT_EQ(Get(server.Port(), data, kPatience, path.c_str()), 4);
    const std::string received = server.Received();
    EXPECT_LE(received.size(), 5000u);
    EXPECT_EQ(received, Request(path, "dXNlcjpwYXNz").substr(0, received.size()));
}

TEST_F(HttpContract, EveryFetchOpensAConnectionOfItsOwnAndResetsIt)
{
    ScriptedCamera camera({Send(Answer(Pattern(9000)))});
    CHTTP http;
    CMemManage data;
    for (std::size_t i = 0; i < 3; ++i)
    {
        EXPECT_EQ(
            http.m_F_n_HTTPGetDataDirect(kHost, "u", "p", camera.Port(), "a", &data, kPatience),
            9000);
        EXPECT_EQ(camera.Ending(i), CameraEnding::PeerReset);
    }
    EXPECT_EQ(camera.CountOfConnections(), 3u);
}

TEST_F(HttpContract, ARefusedFetchResetsItsConnectionToo)
{
    // As long as both work buffers, so that no head waits for more.
    const std::string rest = "\r\nX: " + std::string(6000, 'x');
    CMemManage data;
    EXPECT_EQ(Get({Send("HTTP/1.1 401 No" + rest)}, data), -4);
    EXPECT_EQ(Get({Send("HTTP/1.1 404 No" + rest)}, data), -3);
    EXPECT_EQ(Get({Send(std::string(6000, 'x'))}, data), -3);
    EXPECT_EQ(Get({Send("HTTP/1.1 200 OK" + rest)}, data), 0);
    EXPECT_EQ(WorkerGet({Send("HTTP/1.1 401 No" + rest)}, -4), -4);
    EXPECT_EQ(WorkerGet({Send("HTTP/1.1 404 No" + rest)}, -3), -3);
    EXPECT_EQ(WorkerGet({Send(std::string(6000, 'x'))}, -3), -3);
    EXPECT_EQ(WorkerGet({Send("HTTP/1.1 200 OK" + rest)}, -3), -3);
}

TEST_F(HttpContract, APartlyTakenRequestIsSentOn)
{
    ScriptedCamera camera({Send(Answer("body")), Close()});
    CMemManage data;
    {
        const auto patch = PatchWith(
            "send", SendFunction([](SOCKET socket, const char* bytes, int count, int flags)
                                 { return send(socket, bytes, count > 7 ? 7 : count, flags); }));
        EXPECT_EQ(Get(camera.Port(), data), 4);
    }
    EXPECT_EQ(camera.Received(), Request("snap.jpg", "dXNlcjpwYXNz"));
}

/// A stand-in for `send` that would block so many times before each success.
SendFunction BlockingSend(int times)
{
    return [times, left = times](SOCKET socket, const char* bytes, int count, int flags) mutable
    {
        if (left-- > 0)
        {
            WSASetLastError(WSAEWOULDBLOCK);
            return -1;
        }
        left = times;
        return send(socket, bytes, count > 30 ? 30 : count, flags);
    };
}

TEST_F(HttpContract, TheDirectSendSleepsFiveMillisecondsWhenItWouldBlockWithoutLimit)
{
    ScriptedCamera camera({Send(Answer("body")), Close()});
    CMemManage data;
    std::vector<DWORD> sleeps;
    {
        const auto sleep =
            PatchWith("Sleep", SleepFunction([&sleeps](DWORD time) { sleeps.push_back(time); }));
        const auto patch = PatchWith("send", BlockingSend(30));
        EXPECT_EQ(Get(camera.Port(), data), 4);
    }
    EXPECT_EQ(camera.Received(), Request("snap.jpg", "dXNlcjpwYXNz"));
    EXPECT_GE(sleeps.size(), 150u);
    for (const DWORD sleep : sleeps)
    {
        EXPECT_EQ(sleep, 5u);
    }
}

TEST_F(HttpContract, TheWorkersSendWaitsForRoomWhenItWouldBlock)
{
    ScriptedCamera camera({Send(Answer("body")), Close()});
    Worker worker(camera.Port());
    {
        const auto sleep =
            PatchWith("Sleep", SleepFunction([](DWORD time) { EXPECT_NE(time, 5u); }));
        const auto patch = PatchWith("send", BlockingSend(30));
        EXPECT_EQ(worker.Fetch(), 4);
    }
    EXPECT_EQ(camera.Received(), Request("snap.jpg", "dXNlcjpwYXNz"));
}

TEST_F(HttpContract, TheAnswerIsReadThoughSendingFailed)
{
    HastyServer server(Answer("body"));
    CMemManage data;
    int calls = 0;
    {
        const auto patch = PatchWith("send", SendFunction(
                                                 [&calls](SOCKET, const char*, int, int)
                                                 {
                                                     ++calls;
                                                     WSASetLastError(WSAECONNABORTED);
                                                     return -1;
                                                 }));
        EXPECT_EQ(Get(server.Port(), data), 4);
    }
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(TextOf(data), Stored("body", 4));
    EXPECT_EQ(server.Received(), "");
}

TEST_F(HttpContract, TheAnswerIsReadThoughThereWasNoRoomForTheRequest)
{
    HastyServer server(Answer("body"));
    CMemManage data;
    int writeWaits = 0;
    {
        const auto patch =
            PatchWith("select", SelectFunction(
                                    [&writeWaits](int count, fd_set* read, fd_set* write,
                                                  fd_set* except, const timeval* limit)
                                    {
                                        if (write != nullptr && ++writeWaits == 2)
                                        {
                                            FD_ZERO(write);
                                            return 0;
                                        }
                                        return select(count, read, write, except,
                                                      const_cast<timeval*>(limit));
                                    }));
        EXPECT_EQ(Get(server.Port(), data), 4);
    }
    EXPECT_EQ(writeWaits, 2);
    EXPECT_EQ(server.Received(), "");
}

// ---- Arguments and connections -----------------------------------------------------------------

TEST_F(HttpContract, BadArgumentsGiveMinusOneAndOpenNoSocket)
{
    ScriptedCamera camera({Send(Answer("body")), Close()});
    int sockets = 0;
    const auto patch = PatchWith("socket", SocketFunction(
                                               [&sockets](int family, int type, int protocol)
                                               {
                                                   ++sockets;
                                                   return socket(family, type, protocol);
                                               }));
    CHTTP http;
    CMemManage data(3);
    std::memcpy(data.m_pMem, "old", 3);
    const int port = camera.Port();
    EXPECT_EQ(http.m_F_n_HTTPGetDataDirect("", "u", "p", port, "a", &data, kPatience), -1);
    EXPECT_EQ(http.m_F_n_HTTPGetDataDirect(kHost, "u", "p", port, "", &data, kPatience), -1);
    EXPECT_EQ(http.m_F_n_HTTPGetDataDirect(kHost, "u", "p", -1, "a", &data, kPatience), -1);
    EXPECT_EQ(http.m_F_n_HTTPGetDataDirect(kHost, "u", "p", INT_MIN, "a", &data, kPatience), -1);
    EXPECT_EQ(http.m_F_n_HTTPGetDataDirect(kHost, "u", "p", port, "a", nullptr, kPatience), -1);
    EXPECT_EQ(http.m_F_n_HTTPGetDataDirect(nullptr, "u", "p", port, "a", &data, kPatience), -1);
    EXPECT_EQ(http.m_F_n_HTTPGetDataDirect(kHost, "u", "p", port, nullptr, &data, kPatience), -1);
    EXPECT_EQ(sockets, 0);
    EXPECT_EQ(TextOf(data), "old");
}

TEST_F(HttpContract, PortZeroIsNoBadArgument)
{
    CHTTP http;
    CMemManage data;
    EXPECT_EQ(http.m_F_n_HTTPGetDataDirect(kHost, "u", "p", 0, "a", &data, 200), -2);
}

TEST_F(HttpContract, ARefusedConnectionIsMinusTwoAfterTheTimeOutAndLeavesTheBufferAlone)
{
    RefusingPort port;
    CMemManage data(3);
    std::memcpy(data.m_pMem, "old", 3);
    const unsigned char* const block = data.m_pMem;
    std::vector<SOCKET> closed;
    const auto patch = PatchWith("closesocket", CloseSocketFunction(
                                                    [&closed](SOCKET socket)
                                                    {
                                                        closed.push_back(socket);
                                                        return closesocket(socket);
                                                    }));
    const Stopwatch stopwatch;
    EXPECT_EQ(Get(port.Port(), data, 400), -2);
    EXPECT_GE(stopwatch.Milliseconds(), 400 - kTick);
    EXPECT_EQ(closed.size(), 1u);
    EXPECT_EQ(data.m_pMem, block);
    EXPECT_EQ(TextOf(data), "old");
}

TEST_F(HttpContract, AnUnknownHostIsMinusTwoAfterAConnectToTheBroadcastAddress)
{
    LookUp lookUp({});
    std::vector<sockaddr_in> addresses;
    const auto patch = PatchWith(
        "connect", ConnectFunction(
                       [&addresses](SOCKET socket, const sockaddr* address, int size)
                       {
                           addresses.push_back(*reinterpret_cast<const sockaddr_in*>(address));
                           return connect(socket, address, size);
                       }));
    CHTTP http;
    CMemManage data;
    EXPECT_EQ(http.m_F_n_HTTPGetDataDirect("camera.example", "u", "p", 8080, "a", &data, 300), -2);
    EXPECT_EQ(lookUp.names, std::vector<std::string>{"camera.example"});
    ASSERT_EQ(addresses.size(), 1u);
    EXPECT_EQ(addresses[0].sin_addr.s_addr, kAllOnes);
    EXPECT_EQ(ntohs(addresses[0].sin_port), 8080);
    EXPECT_EQ(addresses[0].sin_family, AF_INET);
}

TEST_F(HttpContract, TheHostLineHoldsTheNameAsGiven)
{
    ScriptedCamera camera({Send(Answer("body")), Close()});
    LookUp lookUp({{127, 0, 0, 1}});
    CHTTP http;
    CMemManage data;
    EXPECT_EQ(http.m_F_n_HTTPGetDataDirect("camera.example", "u", "p", camera.Port(), "a", &data,
                                           kPatience),
              4);
    EXPECT_NE(camera.Received().find("\r\nHost:camera.example\r\n"), std::string::npos);
}

TEST_F(HttpContract, ADirectFetchDoesNotTouchTheObject)
{
    ScriptedCamera camera({Send(Answer("body")), Close()});
    CHTTP http;
    http.m_S_Init("other", "name", "word", 1);
    http.m_pfnFinished = &NoteFinish;
    g_finishes.clear();
    std::array<unsigned char, sizeof(CHTTP)> before;
    std::memcpy(before.data(), static_cast<const void*>(&http), sizeof(http));
    CMemManage data;
    EXPECT_EQ(http.m_F_n_HTTPGetDataDirect(kHost, "u", "p", camera.Port(), "a", &data, kPatience),
              4);
    EXPECT_EQ(std::memcmp(before.data(), static_cast<const void*>(&http), sizeof(http)), 0);
    EXPECT_TRUE(g_finishes.empty());
}

TEST_F(HttpContract, ADirectFetchWorksWhileTheObjectsWorkerRuns)
{
    ScriptedCamera silent({});
    ScriptedCamera camera({Send(Answer("body")), Close()});
    Worker worker(silent.Port());
    worker.Start(800);
    CMemManage data;
    EXPECT_EQ(
        worker.http.m_F_n_HTTPGetDataDirect(kHost, "u", "p", camera.Port(), "a", &data, kPatience),
        4);
    EXPECT_EQ(worker.ExitCode(), -3);
}

TEST_F(HttpContract, ManyThreadsMayFetchDirectlyWithOneObject)
{
    const std::string body = Pattern(20000);
    ScriptedCamera camera({Send(Answer(body)), Close()});
    CHTTP http;
    std::vector<std::thread> threads;
    std::atomic<int> good{0};
    for (int i = 0; i < 4; ++i)
    {
        threads.emplace_back(
            [&]
            {
                CMemManage data;
                const int result = http.m_F_n_HTTPGetDataDirect(kHost, "u", "p", camera.Port(), "a",
                                                                &data, kPatience);
                good += result == 20000 && TextOf(data) == Stored(body, 20000) ? 1 : 0;
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(good, 4);
}

TEST_F(HttpContract, NothingIsLogged)
{
    OutputCapture capture;
    CMemManage data;
    Get({Send("HTTP/1.1 404 Not Found\r\n\r\n"), Close()}, data);
    Get({Send("HTTP/1.1 401 No\r\n\r\n"), Close()}, data);
    RefusingPort port;
    Get(port.Port(), data, 50);
    EXPECT_EQ(capture.Texts(), std::vector<std::string>{});
}

TEST_F(HttpContract, TheWaitsAreTheTimeOutInMicrosecondsAndOneSecondInsideABlock)
{
    ScriptedCamera camera(
        {Send("HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\nbo"), Wait(1400), Send("dy")});
    std::vector<std::string> waits;
    CMemManage data;
    {
        const auto patch = PatchWith(
            "select",
            SelectFunction(
                [&waits](int count, fd_set* read, fd_set* write, fd_set* except,
                         const timeval* limit)
                {
                    waits.push_back(
                        (read != nullptr ? "r " : "w ") + std::to_string(limit->tv_sec) + "s " +
                        std::to_string(limit->tv_usec) + "us" +
                        (except != nullptr || (read != nullptr && write != nullptr) ? " and more"
                                                                                    : ""));
                    return select(count, read, write, except, const_cast<timeval*>(limit));
                }));
        EXPECT_EQ(Get(camera.Port(), data, 2500), 4);
    }
    ASSERT_GE(waits.size(), 5u);
    EXPECT_EQ(waits[0], "w 0s 2500000us");
    EXPECT_EQ(waits[1], "w 0s 2500000us");
    EXPECT_EQ(waits[2], "r 0s 2500000us");
    for (std::size_t i = 3; i + 1 < waits.size(); ++i)
    {
        EXPECT_EQ(waits[i], "r 1s 0us") << i;
    }
    EXPECT_EQ(waits.back(), "r 0s 2500000us");
}

// ---- Judging an answer -------------------------------------------------------------------------

/// A direct fetch of an answer that the camera ends at once; the buffer must stay as it was.
int GetRefused(const std::string& answer)
{
    CMemManage data(3);
    std::memcpy(data.m_pMem, "old", 3);
    const unsigned char* const block = data.m_pMem;
    const int result = Get({Send(answer), Close()}, data);
    EXPECT_EQ(data.m_pMem, block);
    EXPECT_EQ(TextOf(data), "old");
    return result;
}

int WorkerGetRefused(const std::string& answer, int code)
{
    ScriptedCamera camera({Send(answer), Close()});
    Worker worker(camera.Port());
    worker.http.m_memData.m_F_p_MemAlloc(3);
    std::memcpy(worker.http.m_memData.m_pMem, "old", 3);
    const int result = worker.Fetch();
    EXPECT_EQ(worker.Codes(), std::vector<int>{code});
    EXPECT_EQ(TextOf(worker.http.m_memData), "old");
    EXPECT_NE(camera.Ending(), CameraEnding::None);
    return result;
}

TEST_F(HttpContract, RefusedCredentialsAreMinusFour)
{
    const std::string answer = "HTTP/1.1 401 Unauthorized\r\nContent-Length: 2\r\n\r\nno";
    EXPECT_EQ(GetRefused(answer), -4);
    EXPECT_EQ(WorkerGetRefused(answer, -4), -4);
}

TEST_F(HttpContract, AnyOtherStatusIsMinusThree)
{
    for (const char* status : {"404 Not Found", "500 Internal Error", "2000 Odd", "204 None"})
    {
        const std::string answer =
            std::string("HTTP/1.1 ") + status + "\r\nContent-Length: 2\r\n\r\nno";
        EXPECT_EQ(GetRefused(answer), -3) << status;
        EXPECT_EQ(WorkerGetRefused(answer, -3), -3) << status;
    }
}

TEST_F(HttpContract, TheStatusNeedsABlankOnBothSides)
{
    EXPECT_EQ(GetRefused("HTTP/1.1 200\r\nContent-Length: 2\r\n\r\nno"), -3);
    EXPECT_EQ(GetRefused("HTTP/1.1 401\r\nContent-Length: 2\r\n\r\nno"), -3);
}

TEST_F(HttpContract, TheStatusIsSearchedInTheWholeBuffer)
{
    CMemManage data;
    EXPECT_EQ(Get({Send("HTTP/1.1 404 Gone\r\nX-Count: of 200 or so\r\n"
                        "Content-Length: 2\r\n\r\nok"),
                   Close()},
                  data),
              2);
    EXPECT_EQ(TextOf(data), Stored("ok", 2));
    EXPECT_EQ(Get({Send("HTTP/1.1 500 Bad\r\nContent-Length: 7\r\n\r\na 200 b"), Close()}, data),
              7);
    EXPECT_EQ(TextOf(data), Stored("a 200 b", 7));
    EXPECT_EQ(GetRefused("HTTP/1.1 404 Gone\r\nContent-Length: 7\r\n\r\na 401 b"), -4);
}

TEST_F(HttpContract, TwoHundredGoesBeforeFourHundredAndOne)
{
    CMemManage data;
    const std::string answer = "HTTP/1.1 401 No\r\nX: a 200 b\r\nContent-Length: 2\r\n\r\nok";
    EXPECT_EQ(Get({Send(answer), Close()}, data), 2);
    EXPECT_EQ(WorkerGet({Send(answer), Close()}, 2), 2);
}

TEST_F(HttpContract, TheBufferIsSearchedAsText)
{
    EXPECT_EQ(GetRefused(std::string("HTTP/1.1 404 Gone\r\n\r\n\0 200 ", 27)), -3);
}

TEST_F(HttpContract, WithoutALineEndADirectFetchIsMinusThreeWhateverTheStatus)
{
    EXPECT_EQ(GetRefused("HTTP/1.1 200 OK\nContent-Length: 2\n\nok"), -3);
    EXPECT_EQ(GetRefused("HTTP/1.1 401 No\nContent-Length: 2\n\nok"), -3);
    EXPECT_EQ(GetRefused("junk"), -3);
    EXPECT_EQ(GetRefused(""), -3);
}

TEST_F(HttpContract, WithoutALineEndAWorkerFetchStillKnowsRefusedCredentials)
{
    EXPECT_EQ(WorkerGetRefused("HTTP/1.1 401 No\nContent-Length: 2\n\nok", -4), -4);
    EXPECT_EQ(WorkerGetRefused("HTTP/1.1 200 OK\nContent-Length: 2\n\nok", -3), -3);
    EXPECT_EQ(WorkerGetRefused("HTTP/1.1 200 OK\nX: a 401 b\n\nok", -4), -4);
    EXPECT_EQ(WorkerGetRefused("", -3), -3);
}

TEST_F(HttpContract, A200AnswerWithoutHeadEndIsZeroDirectlyAndTheBufferIsPrepared)
{
    CMemManage data(3);
    EXPECT_EQ(Get({Send("HTTP/1.1 200 OK\r\nContent-Length: 7\r\n"), Close()}, data), 0);
    EXPECT_EQ(TextOf(data), Stored("", 7));
    EXPECT_EQ(Get({Send("HTTP/1.1 200 OK\r\n"), Close()}, data), 0);
    EXPECT_EQ(data.m_nMemSize, kNoLength + 5);
}

TEST_F(HttpContract, A200AnswerWithoutHeadEndIsMinusThreeInTheWorker)
{
    EXPECT_EQ(WorkerGet({Send("HTTP/1.1 200 OK\r\nContent-Length: 7\r\n"), Close()}, -3), -3);
    EXPECT_EQ(WorkerGet({Send("HTTP/1.1 200 OK\r\nX: a 401 b\r\n"), Close()}, -4), -4);
}

TEST_F(HttpContract, ASilentPeerIsMinusThreeAfterTheTimeOut)
{
    CMemManage data;
    const Stopwatch stopwatch;
    EXPECT_EQ(Get(CameraScript{}, data, 400), -3);
    EXPECT_GE(stopwatch.Milliseconds(), 400 - kTick);
    EXPECT_EQ(WorkerGet({}, -3, 100), -3);
}

TEST_F(HttpContract, WithoutAPositiveTimeOutNobodyIsWaitedFor)
{
    CMemManage data;
    EXPECT_EQ(Get({Wait(1000), Send(Answer("body"))}, data, 0), -3);
    EXPECT_EQ(data.m_nMemSize, 0u);
}

TEST_F(HttpContract, APeerThatResetsBeforeItAnswersIsMinusThree)
{
    ScriptedCamera camera({Reset()});
    CMemManage data;
    EXPECT_EQ(Get(camera.Port(), data), -3);
}

TEST_F(HttpContract, TheFirstByteMayTakeAsLongAsTheTimeOut)
{
    CMemManage data;
    EXPECT_EQ(Get({Wait(1300), Send(Answer("body"))}, data), 4);
}

TEST_F(HttpContract, AHeadInManySmallPiecesIsOneHead)
{
    CMemManage data;
    EXPECT_EQ(Get(SendByteByByte(Answer("body"), 2), data), 4);
    EXPECT_EQ(TextOf(data), Stored("body", 4));
    EXPECT_EQ(WorkerGet(SendByteByByte(Answer("body"), 2), 4), 4);
}

TEST_F(HttpContract, AHeadWithALongPauseIsJudgedOnItsFirstPiece)
{
    CMemManage data;
    EXPECT_EQ(Get({Send("HTTP/1.1 2"), Wait(1600), Send("00 OK\r\n\r\nbody")}, data), -3);
    EXPECT_EQ(
        Get({Send("HTTP/1.1 200 OK\r\nContent-"), Wait(1600), Send("Length: 4\r\n\r\nbody")}, data),
        0);
    EXPECT_EQ(data.m_nMemSize, kNoLength + 5);
}

TEST_F(HttpContract, AWorkersHeadWithALongPauseIsJudgedOnItsFirstPiece)
{
    EXPECT_EQ(
        WorkerGet({Send("HTTP/1.1 401 No\r\nX: "), Wait(1600), Send(" 200 \r\n\r\nbody")}, -4), -4);
}

// ---- The receive loop --------------------------------------------------------------------------

TEST_F(HttpContract, TenReceivesThatWouldBlockEndTheHead)
{
    HastyServer server(Answer("body"));
    CMemManage data;
    int calls = 0;
    {
        const auto patch = PatchWith("recv", ReceiveFunction(
                                                 [&calls](SOCKET, char*, int, int)
                                                 {
                                                     ++calls;
                                                     WSASetLastError(WSAEWOULDBLOCK);
                                                     return -1;
                                                 }));
        EXPECT_EQ(Get(server.Port(), data), -3);
    }
    EXPECT_EQ(calls, 10);
}

TEST_F(HttpContract, EverySuccessfulReceiveResetsTheRetryCount)
{
    ScriptedCamera camera({Send(Answer("body")), Close()});
    CMemManage data;
    int calls = 0;
    {
        const auto patch =
            PatchWith("recv", ReceiveFunction(
                                  [&calls](SOCKET socket, char* bytes, int count, int flags)
                                  {
                                      if (++calls % 10 != 0)
                                      {
                                          WSASetLastError(WSAEWOULDBLOCK);
                                          return -1;
                                      }
                                      return recv(socket, bytes, count > 1 ? 1 : count, flags);
                                  }));
        EXPECT_EQ(Get(camera.Port(), data), 4);
    }
    EXPECT_EQ(TextOf(data), Stored("body", 4));
}

TEST_F(HttpContract, ReceivesThatWouldBlockEndTheBodyToo)
{
    const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nbo";
    HastyServer server(head + "dy");
    CMemManage data;
    int calls = 0;
    {
        const auto patch = PatchWith(
            "recv", ReceiveFunction(
                        [&](SOCKET socket, char* bytes, int, int flags)
                        {
                            if (++calls == 1)
                            {
                                return recv(socket, bytes, static_cast<int>(head.size()), flags);
                            }
                            WSASetLastError(WSAEWOULDBLOCK);
                            return -1;
                        }));
        EXPECT_EQ(Get(server.Port(), data), 2);
    }
    EXPECT_EQ(TextOf(data), Stored("bo", 9));
    EXPECT_LE(calls, 21);
}

// ---- Length and body ---------------------------------------------------------------------------

TEST_F(HttpContract, AnEmptyBodyIsZeroWithFiveZeroBytes)
{
    CMemManage data;
    EXPECT_EQ(Get({Send(Answer("")), Close()}, data), 0);
    EXPECT_EQ(TextOf(data), std::string(5, '\0'));
    EXPECT_EQ(WorkerGet({Send(Answer("")), Close()}, 0), 0);
}

TEST_F(HttpContract, ABodyIsStoredWithFiveSpareZeroBytes)
{
    for (const std::size_t size : {1u, 4000u, 5000u, 5001u, 65536u, 300000u})
    {
        const std::string body = Pattern(size);
        CMemManage data;
        EXPECT_EQ(Get({Send(Answer(body)), Close()}, data), static_cast<int>(size));
        EXPECT_TRUE(TextOf(data) == Stored(body, size)) << size;
    }
}

TEST_F(HttpContract, WithoutALengthTheBufferHoldsFourMebibytesAndTheBodyEndsWithTheConnection)
{
    CMemManage data;
    EXPECT_EQ(Get({Send("HTTP/1.1 200 OK\r\n\r\nbody"), Wait(100), Send("more"), Close()}, data),
              8);
    EXPECT_EQ(data.m_nMemSize, kNoLength + 5);
    EXPECT_TRUE(TextOf(data) == Stored("bodymore", kNoLength));
}

TEST_F(HttpContract, WithoutALengthReadingStopsAtFourMebibytes)
{
    const std::string body = Pattern(kNoLength + 1000);
    CMemManage data;
    EXPECT_EQ(Get({Send("HTTP/1.1 200 OK\r\n\r\n" + body), Close()}, data),
              static_cast<int>(kNoLength));
    EXPECT_TRUE(TextOf(data) == Stored(body.substr(0, kNoLength), kNoLength));
}

TEST_F(HttpContract, TheLowerCaseLengthIsAccepted)
{
    CMemManage data;
    EXPECT_EQ(Get({Send("HTTP/1.1 200 OK\r\nContent-length: 4\r\n\r\nbody"), Close()}, data), 4);
    EXPECT_EQ(data.m_nMemSize, 9u);
}

TEST_F(HttpContract, AnyOtherSpellingOfTheLengthIsNone)
{
    for (const char* name : {"content-length: ", "CONTENT-LENGTH: ", "Content-Length:",
                             "Content-Length :", "content-Length: "})
    {
        CMemManage data;
        EXPECT_EQ(
            Get({Send(std::string("HTTP/1.1 200 OK\r\n") + name + "2\r\n\r\nbody"), Close()}, data),
            4)
            << name;
        EXPECT_EQ(data.m_nMemSize, kNoLength + 5) << name;
    }
}

TEST_F(HttpContract, TheCapitalSpellingGoesBeforeAnEarlierLowerCaseOne)
{
    CMemManage data;
    EXPECT_EQ(Get({Send("HTTP/1.1 200 OK\r\nContent-length: 2\r\nContent-Length: 4\r\n\r\nbody"),
                   Close()},
                  data),
              4);
    EXPECT_EQ(data.m_nMemSize, 9u);
}

TEST_F(HttpContract, TheFirstOfTwoEqualSpellingsCounts)
{
    CMemManage data;
    EXPECT_EQ(Get({Send("HTTP/1.1 200 OK\r\nContent-Length: 4\r\nContent-Length: 2\r\n\r\nbody"),
                   Close()},
                  data),
              4);
}

TEST_F(HttpContract, TheLengthIsReadAsTheRunTimeReadsANumber)
{
    CMemManage data;
    EXPECT_EQ(Get({Send("HTTP/1.1 200 OK\r\nContent-Length:   +4;x\r\n\r\nbody"), Close()}, data),
              4);
    EXPECT_EQ(data.m_nMemSize, 9u);
    EXPECT_EQ(Get({Send("HTTP/1.1 200 OK\r\nContent-Length: none\r\n\r\n"), Close()}, data), 0);
    EXPECT_EQ(data.m_nMemSize, 5u);
}

TEST_F(HttpContract, TheBodyStartsAfterTheFirstEmptyLineThoughAPlainOneCameEarlier)
{
    CMemManage data;
    EXPECT_EQ(
        Get({Send("HTTP/1.1 200 OK\r\nX: y\n\nContent-Length: 4\r\n\r\nbody\r\n\r\n"), Close()},
            data),
        4);
    EXPECT_EQ(TextOf(data), Stored("body", 4));
}

TEST_F(HttpContract, APlainEmptyLineEndsTheHeadWhereThereIsNoOther)
{
    const std::string answer = "HTTP/1.1 200 OK\r\nContent-Length: 4\n\nbody";
    CMemManage data;
    EXPECT_EQ(Get({Send(answer), Close()}, data), 4);
    EXPECT_EQ(TextOf(data), Stored("body", 4));
    EXPECT_EQ(WorkerGet({Send(answer), Close()}, 4), 4);
}

TEST_F(HttpContract, ADirectHeadMayFillTheWorkBufferButNotOneByteMore)
{
    const std::string body = Pattern(8000);
    for (const std::size_t head : {1001u, 4999u, 5000u})
    {
        CMemManage data;
        EXPECT_EQ(Get({Send(HeadOf(head, body.size()) + body), Close()}, data), 8000) << head;
        EXPECT_TRUE(TextOf(data) == Stored(body, body.size())) << head;
    }
    CMemManage data;
    EXPECT_EQ(Get({Send(HeadOf(5001, body.size()) + body), Close()}, data), 0);
    EXPECT_EQ(data.m_nMemSize, body.size() + 5);
}

TEST_F(HttpContract, AWorkersHeadMayFillItsSmallerWorkBufferButNotOneByteMore)
{
    const std::string body = Pattern(8000);
    for (const std::size_t head : {999u, 1000u})
    {
        EXPECT_EQ(WorkerGet({Send(HeadOf(head, body.size()) + body), Close()}, 8000), 8000) << head;
    }
    EXPECT_EQ(WorkerGet({Send(HeadOf(1001, body.size()) + body), Close()}, -3), -3);
}

TEST_F(HttpContract, ABodyContinuesAfterAPauseShorterThanTheTimeOut)
{
    const std::string start = "HTTP/1.1 200 OK\r\nContent-Length: 8\r\n\r\nab";
    CMemManage data;
    EXPECT_EQ(Get({Send(start), Wait(1300), Send("cd"), Wait(1300), Send("efgh")}, data), 8);
    EXPECT_EQ(TextOf(data), Stored("abcdefgh", 8));
    EXPECT_EQ(WorkerGet({Send(start), Wait(1300), Send("cdefgh")}, 8), 8);
}

TEST_F(HttpContract, ABodyThatPausesTooLongFallsShort)
{
    CMemManage data;
    EXPECT_EQ(Get({Send("HTTP/1.1 200 OK\r\nContent-Length: 8\r\n\r\nab"), Wait(3000), Send("cd")},
                  data, 200),
              2);
    EXPECT_EQ(TextOf(data), Stored("ab", 8));
}

TEST_F(HttpContract, ABodyCutShortByTheCloseFallsShort)
{
    const CameraScript script = {Send("HTTP/1.1 200 OK\r\nContent-Length: 9000\r\n\r\nabc"),
                                 Close()};
    CMemManage data;
    EXPECT_EQ(Get(script, data), 3);
    EXPECT_TRUE(TextOf(data) == Stored("abc", 9000));
    EXPECT_EQ(WorkerGet(script, 9000), 3);
}

TEST_F(HttpContract, ABodyCutShortByAResetKeepsWhatHasArrived)
{
    ScriptedCamera camera(
        {Send("HTTP/1.1 200 OK\r\nContent-Length: 9000\r\n\r\nabc"), Wait(300), Reset()});
    CMemManage data;
    EXPECT_EQ(Get(camera.Port(), data), 3);
    EXPECT_TRUE(TextOf(data) == Stored("abc", 9000));
}

TEST_F(HttpContract, BytesPastTheLengthAreNotTakenInABodyPass)
{
    CMemManage data;
    EXPECT_EQ(Get({Send("HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\nbo"), Wait(1300),
                   Send("dyXXXXXXXXXXXXXXXX")},
                  data),
              4);
    EXPECT_EQ(TextOf(data), Stored("body", 4));
}

TEST_F(HttpContract, BytesPastTheLengthInTheFirstBlockStayOutOfTheSpareBytes)
{
    const std::string answer =
        "HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\nbody" + std::string(900, 'X');
    CMemManage data;
    EXPECT_EQ(Get({Send(answer), Close()}, data), 4);
    EXPECT_EQ(TextOf(data), Stored("body", 4));
}

TEST_F(HttpContract, ANegativeLengthIsBounded)
{
    for (const char* length : {"-1", "-3", "-5", "-6", "-2147483648", "-99999999999"})
    {
        CMemManage data;
        EXPECT_GE(Get({Send(std::string("HTTP/1.1 200 OK\r\nContent-Length: ") + length +
                            "\r\n\r\n" + std::string(900, 'X')),
                       Close()},
                      data),
                  0)
            << length;
        EXPECT_LE(data.m_nMemSize, 5u) << length;
    }
}

TEST_F(HttpContract, ALengthThatNoHeapGivesIsBounded)
{
    for (const char* length : {"2147483647", "2147483643", "99999999999"})
    {
        ScriptedCamera camera(
            {Send(std::string("HTTP/1.1 200 OK\r\nContent-Length: ") + length + "\r\n\r\nbody")});
        CMemManage data(3);
        const auto patch = PatchWith(
            "malloc", MallocFunction([](std::size_t size) -> void*
                                     { return size > 100000000 ? nullptr : std::malloc(size); }));
        EXPECT_GE(Get(camera.Port(), data, 300), 0) << length;
        EXPECT_EQ(data.m_pMem, nullptr) << length;
        EXPECT_EQ(data.m_nMemSize, 0u) << length;
        EXPECT_EQ(camera.Ending(), CameraEnding::PeerReset);
    }
}

TEST_F(HttpContract, EqualSizedPicturesKeepOneBlockWhichIsClearedInBetween)
{
    ScriptedCamera camera({Send(Answer("first picture")), Close()});
    CMemManage data;
    ASSERT_EQ(Get(camera.Port(), data), 13);
    const unsigned char* const block = data.m_pMem;
    camera.SetScript({Send("HTTP/1.1 200 OK\r\nContent-Length: 13\r\n\r\nnew"), Close()});
    ASSERT_EQ(Get(camera.Port(), data), 3);
    EXPECT_EQ(data.m_pMem, block);
    EXPECT_EQ(TextOf(data), Stored("new", 13));
    camera.SetScript({Send(Answer("smaller")), Close()});
    ASSERT_EQ(Get(camera.Port(), data), 7);
    EXPECT_EQ(TextOf(data), Stored("smaller", 7));
}

// ---- The worker --------------------------------------------------------------------------------

TEST_F(HttpContract, TheWorkerReportsOnItsOwnThreadWhileItsStateStillRuns)
{
    const std::string body = Pattern(3000);
    ScriptedCamera camera({Send(Answer(body)), Close()});
    Worker worker(camera.Port());
    const unsigned int handle = worker.Start(4321);
    EXPECT_EQ(handle,
              static_cast<unsigned int>(reinterpret_cast<ULONG_PTR>(worker.http.m_hThread)));
    EXPECT_EQ(worker.ExitCode(), 3000);
    EXPECT_STREQ(worker.http.m_szUrl, "snap.jpg");
    EXPECT_EQ(worker.http.m_nTimeOut, 4321);
    EXPECT_TRUE(TextOf(worker.http.m_memData) == Stored(body, 3000));
    ASSERT_EQ(g_finishes.size(), 1u);
    EXPECT_EQ(g_finishes[0].code, 3000);
    EXPECT_EQ(g_finishes[0].first, 0x1111111122222222);
    EXPECT_EQ(g_finishes[0].second, 0x3333333344444444);
    EXPECT_EQ(g_finishes[0].thread, GetThreadId(worker.http.m_hThread));
    EXPECT_EQ(g_finishes[0].state, 1);
    EXPECT_EQ(g_finishes[0].socket, INVALID_SOCKET);
}

TEST_F(HttpContract, WithoutALengthTheCallbackGetsFourMebibytesAndTheExitCodeTheBytesStored)
{
    EXPECT_EQ(WorkerGet({Send("HTTP/1.1 200 OK\r\n\r\nbody"), Close()}, 4194304), 4);
}

TEST_F(HttpContract, TheWorkersConnectionIsInTheObjectWhileItWorks)
{
    ScriptedCamera camera({});
    Worker worker(camera.Port());
    worker.Start(700);
    camera.Received();
    EXPECT_NE(worker.http.m_socket, INVALID_SOCKET);
    EXPECT_EQ(worker.http.m_nState, 1);
    EXPECT_EQ(worker.ExitCode(), -3);
    EXPECT_EQ(worker.http.m_socket, INVALID_SOCKET);
}

TEST_F(HttpContract, AWorkerThatCannotConnectEndsWithoutACallback)
{
    RefusingPort port;
    Worker worker(port.Port());
    worker.http.m_memData.m_F_p_MemAlloc(3);
    EXPECT_EQ(worker.Fetch(300), -2);
    EXPECT_EQ(worker.Codes(), std::vector<int>{});
    EXPECT_EQ(worker.http.m_memData.m_nMemSize, 3u);
    EXPECT_EQ(worker.http.m_socket, INVALID_SOCKET);
}

TEST_F(HttpContract, AWorkerWithoutACallbackStillFetches)
{
    ScriptedCamera camera({Send(Answer("body")), Close()});
    Worker worker(camera.Port());
    worker.http.m_pfnFinished = nullptr;
    EXPECT_EQ(worker.Fetch(), 4);
    EXPECT_EQ(TextOf(worker.http.m_memData), Stored("body", 4));
}

TEST_F(HttpContract, WhileAWorkerRunsItsHandleIsReturnedAndNothingIsStarted)
{
    ScriptedCamera camera({});
    Worker worker(camera.Port());
    const unsigned int handle = worker.Start(800, "first");
    camera.Received();
    const SOCKET socket = worker.http.m_socket;
    EXPECT_EQ(worker.Start(9999, "second"), handle);
    EXPECT_EQ(worker.Start(9999, ""), handle);
    EXPECT_STREQ(worker.http.m_szUrl, "first");
    EXPECT_EQ(worker.http.m_nTimeOut, 800);
    EXPECT_EQ(worker.http.m_socket, socket);
    EXPECT_EQ(worker.ExitCode(), -3);
    EXPECT_EQ(camera.CountOfConnections(), 1u);
}

TEST_F(HttpContract, AnyOtherRunningWorkerKeepsAFetchFromStarting)
{
    CHTTP http;
    http.m_S_Init(kHost, "u", "p", 1);
    for (const int state : {2, 3})
    {
        http.m_nState = state;
        EXPECT_EQ(http.m_F_n_HTTPGetData("a", 100), 0u);
        EXPECT_EQ(http.m_nState, state);
        EXPECT_EQ(http.m_hThread, nullptr);
    }
    http.m_nState = 0;
}

TEST_F(HttpContract, AnEmptyPathOrHostStartsNothing)
{
    CHTTP http;
    http.m_S_Init(kHost, "u", "p", 1);
    std::strcpy(http.m_szUrl, "before");
    EXPECT_EQ(http.m_F_n_HTTPGetData("", 100), 0u);
    EXPECT_EQ(http.m_F_n_HTTPGetData(nullptr, 100), 0u);
    http.m_S_Init("", "u", "p", 1);
    EXPECT_EQ(http.m_F_n_HTTPGetData("a", 100), 0u);
    EXPECT_EQ(http.m_nState, 0);
    EXPECT_EQ(http.m_hThread, nullptr);
    EXPECT_EQ(http.m_nTimeOut, 30000);
    EXPECT_STREQ(http.m_szUrl, "before");
}

TEST_F(HttpContract, AFinishedWorkersHandleIsClosedByTheNextCallEvenWithAnEmptyPath)
{
    ScriptedCamera camera({Send(Answer("body")), Close()});
    Worker worker(camera.Port());
    worker.Fetch();
    const HANDLE first = worker.http.m_hThread;
    ASSERT_NE(first, nullptr);
    std::vector<DWORD> waits;
    {
        const auto patch =
            PatchWith("WaitForSingleObject", WaitFunction(
                                                 [&waits](HANDLE handle, DWORD time)
                                                 {
                                                     waits.push_back(time);
                                                     return WaitForSingleObject(handle, time);
                                                 }));
        EXPECT_EQ(worker.Start(kPatience, ""), 0u);
    }
    EXPECT_EQ(waits, std::vector<DWORD>{1001});
    EXPECT_EQ(worker.http.m_hThread, nullptr);
    DWORD flags = 0;
    EXPECT_FALSE(GetHandleInformation(first, &flags));
    EXPECT_EQ(TextOf(worker.http.m_memData), Stored("body", 4));
}

TEST_F(HttpContract, AFetchClosesAConnectionThatWasLeftOpen)
{
    ScriptedCamera camera({Send(Answer("body")), Close()});
    ScriptedCamera other({});
    Worker worker(camera.Port());
    worker.http.m_socket = socket(AF_INET, SOCK_STREAM, 0);
    const sockaddr_in address = Loopback(other.Port());
    ASSERT_EQ(connect(worker.http.m_socket, reinterpret_cast<const sockaddr*>(&address),
                      static_cast<int>(sizeof(address))),
              0);
    EXPECT_EQ(worker.Fetch(), 4);
    EXPECT_EQ(other.Ending(), CameraEnding::PeerReset);
}

TEST_F(HttpContract, APathOf255CharactersIsSentWholeAndALongerOneStaysInItsField)
{
    ScriptedCamera camera({Send(Answer("body")), Close()});
    Worker worker(camera.Port());
    const std::string path(255, 'p');
    worker.Start(kPatience, path.c_str());
    EXPECT_EQ(worker.ExitCode(), 4);
    EXPECT_EQ(camera.Received(), Request(path, "dXNlcjpwYXNz"));
    worker.Start(kPatience, std::string(3000, 'q').c_str());
    WaitForSingleObject(worker.http.m_hThread, 20000);
    EXPECT_EQ(worker.http.m_nPort, camera.Port());
    EXPECT_LT(strnlen(worker.http.m_szUrl, 256), 256u);
}

TEST_F(HttpContract, TheWorkersBlockIsReusedForEqualSizesAndStaysUntilARelease)
{
    ScriptedCamera camera({Send(Answer("one")), Close()});
    Worker worker(camera.Port());
    EXPECT_EQ(worker.Fetch(), 3);
    const unsigned char* const block = worker.http.m_memData.m_pMem;
    camera.SetScript({Send(Answer("two")), Close()});
    EXPECT_EQ(worker.Fetch(), 3);
    EXPECT_EQ(worker.http.m_memData.m_pMem, block);
    EXPECT_EQ(TextOf(worker.http.m_memData), Stored("two", 3));
    EXPECT_EQ(worker.Codes(), (std::vector<int>{3, 3}));
}

TEST_F(HttpContract, TheThreadFunctionTakesTheFieldsAsTheyStandAndChecksNothing)
{
    ScriptedCamera camera({Send(Answer("body")), Close()});
    Worker worker(camera.Port());
    worker.http.m_szUrl[0] = '\0';
    worker.http.m_nTimeOut = kPatience;
    worker.http.m_nState = 1;
    EXPECT_EQ(CHTTP::m_F_n_HTTP_Thread(&worker.http), 4u);
    EXPECT_EQ(worker.http.m_nState, 0);
    EXPECT_EQ(worker.Codes(), std::vector<int>{4});
    EXPECT_EQ(camera.Received(), Request("", "dXNlcjpwYXNz"));
}

// ---- Weeks of watching -------------------------------------------------------------------------

TEST_F(HttpContract, NoHandleIsLostByFetchesThatFail)
{
    ScriptedCamera camera({Send("HTTP/1.1 401 No\r\n\r\n"), Close()});
    CMemManage data;
    Get(camera.Port(), data);
    int opened = 0;
    int closed = 0;
    const auto open = PatchWith("socket", SocketFunction(
                                              [&](int family, int type, int protocol)
                                              {
                                                  ++opened;
                                                  return socket(family, type, protocol);
                                              }));
    const auto close = PatchWith("closesocket", CloseSocketFunction(
                                                    [&](SOCKET socket)
                                                    {
                                                        ++closed;
                                                        return closesocket(socket);
                                                    }));
    for (const char* answer : {"HTTP/1.1 401 No\r\n\r\n", "HTTP/1.1 404 No\r\n\r\n", "junk", "",
                               "HTTP/1.1 200 OK\r\n", "HTTP/1.1 200 OK\r\n\r\nbody"})
    {
        camera.SetScript({Send(answer), Close()});
        Get(camera.Port(), data);
    }
    EXPECT_EQ(opened, 6);
    EXPECT_EQ(closed, 6);
}

TEST_F(HttpContract, NoHandleIsLostByObjectsThatFetchedWithTheirWorker)
{
    const auto fetch = []
    {
        ScriptedCamera camera({Send(Answer("body")), Close()});
        Worker worker(camera.Port());
        EXPECT_EQ(worker.Fetch(), 4);
    };
    fetch();
    const std::size_t before = NextHandleValue();
    for (int i = 0; i < 40; ++i)
    {
        fetch();
    }
    // Handle values go up in steps of four.
    EXPECT_LT(NextHandleValue(), before + 40 * 4);
}

}  // namespace
