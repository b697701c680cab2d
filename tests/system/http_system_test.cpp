// Snapshots from nginx, started by with_nginx.py, which tells port and folder by the environment.
#include <gtest/gtest.h>
// clang-format off
#include <winsock2.h>
#include <windows.h>
#include <psapi.h>
// clang-format on

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "CHTTP.h"
#include "CSFunc.h"

namespace
{

constexpr char kHost[] = "127.0.0.1";
constexpr char kUser[] = "camera";
constexpr char kPassword[] = "s3cret word";
constexpr int kTimeOut = 3000;
constexpr int kSpareBytes = 5;
constexpr int kLengthWhenNoneIsAnnounced = 4194304;

std::string Environment(const char* name)
{
    const char* value = std::getenv(name);
    if (value == nullptr)
    {
        ADD_FAILURE() << name << " is not set: run this through with_nginx.py";
        return "";
    }
    return value;
}

int Port()
{
    static const int port = std::atoi(Environment("OSTREL_HTTP_PORT").c_str());
    return port;
}

using Bytes = std::vector<unsigned char>;

Bytes FileBytes(const std::string& name)
{
    // The folder is named as the system that serves it names it, which is where Z: leads.
    std::ifstream file("Z:" + Environment("OSTREL_HTTP_ROOT") + "/" + name, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << name;
    return Bytes(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

int Fetch(const std::string& path, CMemManage& data, const char* password = kPassword)
{
    CHTTP http;
    return http.m_F_n_HTTPGetDataDirect(kHost, kUser, password, Port(), path.c_str(), &data,
                                        kTimeOut);
}

Bytes Stored(CMemManage& data, int length)
{
    return Bytes(data.m_F_p_GetMemPoint(), data.m_F_p_GetMemPoint() + length);
}

// Runs one worker fetch to its end.
class WorkerFetch
{
public:
    explicit WorkerFetch(const std::string& path)
    {
        http.m_S_Init(kHost, kUser, kPassword, Port());
        http.m_nUserData1 = reinterpret_cast<__int64>(this);
        http.m_pfnFinished = [](int code, __int64 self, __int64) -> int
        {
            reinterpret_cast<WorkerFetch*>(self)->code = code;
            return 0;
        };
        http.m_F_n_HTTPGetData(path.c_str(), kTimeOut);
        WaitForSingleObject(http.m_hThread, 20000);
        GetExitCodeThread(http.m_hThread, &exitCode);
    }

    CHTTP http;
    int code = -1000;
    DWORD exitCode = 0;
};

// The value that the next socket gets. Values are reused, so it climbs only when sockets or other
// handles stay behind.
SOCKET NextSocketValue()
{
    const SOCKET socket = ::socket(AF_INET, SOCK_STREAM, 0);
    closesocket(socket);
    return socket;
}

SIZE_T CommittedBytes()
{
    PROCESS_MEMORY_COUNTERS counters = {};
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters));
    return counters.PagefileUsage;
}

constexpr SOCKET kHandleValueStep = 4;
constexpr SOCKET kToleratedHandles = 16;
constexpr SIZE_T kToleratedBytes = 2 << 20;

// Takes apart what a server sent in chunks (RFC 9112, 7.1).
Bytes Unchunk(const Bytes& coded)
{
    Bytes body;
    size_t position = 0;
    while (position < coded.size())
    {
        char* end = nullptr;
        const char* line = reinterpret_cast<const char*>(coded.data() + position);
        const size_t length = std::strtoul(line, &end, 16);
        position += static_cast<size_t>(end - line) + 2;
        if (length == 0)
        {
            break;
        }
        EXPECT_LE(position + length, coded.size());
        body.insert(body.end(), coded.begin() + static_cast<ptrdiff_t>(position),
                    coded.begin() + static_cast<ptrdiff_t>(position + length));
        position += length + 2;
    }
    return body;
}

struct Picture
{
    const char* name;
    int width;
    int height;
};

class SnapshotFromNginx : public testing::TestWithParam<Picture>
{
};

}  // namespace

TEST_P(SnapshotFromNginx, FetchedDirectlyEqualsTheFile)
{
    CMemManage data;
    const Bytes file = FileBytes(GetParam().name);
    const int length = Fetch(std::string("pictures/") + GetParam().name, data);
    ASSERT_EQ(length, static_cast<int>(file.size()));
    EXPECT_EQ(Stored(data, length), file);
    EXPECT_EQ(data.m_F_n_GetMemSize(), file.size() + kSpareBytes);
    const Bytes spare(data.m_F_p_GetMemPoint() + length,
                      data.m_F_p_GetMemPoint() + length + kSpareBytes);
    EXPECT_EQ(spare, Bytes(kSpareBytes, 0));
}

TEST_P(SnapshotFromNginx, FetchedByTheWorkerEqualsTheFile)
{
    const Bytes file = FileBytes(GetParam().name);
    WorkerFetch fetch(std::string("pictures/") + GetParam().name);
    EXPECT_EQ(fetch.code, static_cast<int>(file.size()));
    ASSERT_EQ(fetch.exitCode, file.size());
    EXPECT_EQ(Stored(fetch.http.m_memData, static_cast<int>(file.size())), file);
}

TEST_P(SnapshotFromNginx, IsSizedAsItWasEncoded)
{
    CMemManage data;
    const int length = Fetch(std::string("pictures/") + GetParam().name, data);
    int width = 0;
    int height = 0;
    CSFunc::s_S_GetJpegWH(data.m_F_p_GetMemPoint(), length, width, height);
    EXPECT_EQ(width, GetParam().width);
    EXPECT_EQ(height, GetParam().height);
}

INSTANTIATE_TEST_SUITE_P(
    Pictures, SnapshotFromNginx,
    testing::Values(Picture{"640x480.jpg", 640, 480}, Picture{"1920x1080.jpg", 1920, 1080},
                    Picture{"704x576.jpg", 704, 576}, Picture{"360x288.jpg", 360, 288},
                    Picture{"357x241.jpg", 357, 241}, Picture{"17x9.jpg", 17, 9}),
    [](const testing::TestParamInfo<Picture>& info)
    { return "w" + std::to_string(info.param.width) + "h" + std::to_string(info.param.height); });

TEST(AnswersFromNginx, TenMegabytesArriveByteForByte)
{
    CMemManage data;
    const Bytes file = FileBytes("large.bin");
    const int length = Fetch("pictures/large.bin", data);
    ASSERT_EQ(length, static_cast<int>(file.size()));
    EXPECT_TRUE(Stored(data, length) == file);
}

TEST(AnswersFromNginx, EmptyFileYieldsZeroAndFiveZeroBytes)
{
    CMemManage data;
    EXPECT_EQ(Fetch("open/empty.bin", data), 0);
    ASSERT_EQ(data.m_F_n_GetMemSize(), static_cast<unsigned __int64>(kSpareBytes));
    EXPECT_EQ(Stored(data, kSpareBytes), Bytes(kSpareBytes, 0));
}

TEST(AnswersFromNginx, WrongPasswordIsRefused)
{
    CMemManage data;
    EXPECT_EQ(Fetch("pictures/640x480.jpg", data, "wrong"), -4);
    EXPECT_EQ(data.m_F_n_GetMemSize(), 0u);
}

TEST(AnswersFromNginx, MissingPathIsABadAnswer)
{
    CMemManage data;
    EXPECT_EQ(Fetch("open/missing.jpg", data), -3);
    EXPECT_EQ(data.m_F_n_GetMemSize(), 0u);
}

TEST(AnswersFromNginx, ClosedPortIsNotConnected)
{
    CHTTP http;
    CMemManage data;
    // Nothing listens on a port that was free a moment ago and is held, unlistened, meanwhile.
    const SOCKET held = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(bind(held, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    int size = sizeof(address);
    ASSERT_EQ(getsockname(held, reinterpret_cast<sockaddr*>(&address), &size), 0);
    EXPECT_EQ(http.m_F_n_HTTPGetDataDirect(kHost, kUser, kPassword, ntohs(address.sin_port), "x",
                                           &data, 500),
              -2);
    closesocket(held);
}

TEST(AnswersFromNginx, ChunkedBodyIsCountedAsItCameOnTheWire)
{
    CMemManage data;
    const Bytes file = FileBytes("640x480.jpg");
    const int length = Fetch("chunked/640x480.jpg", data);
    ASSERT_GT(length, static_cast<int>(file.size()));
    EXPECT_EQ(data.m_F_n_GetMemSize(),
              static_cast<unsigned __int64>(kLengthWhenNoneIsAnnounced + kSpareBytes));
    EXPECT_EQ(Unchunk(Stored(data, length)), file);
}

TEST(AnswersFromNginx, ChunkedBodyCallsBackWithTheLengthForNoneAnnounced)
{
    WorkerFetch fetch("chunked/17x9.jpg");
    EXPECT_EQ(fetch.code, kLengthWhenNoneIsAnnounced);
    EXPECT_EQ(Unchunk(Stored(fetch.http.m_memData, static_cast<int>(fetch.exitCode))),
              FileBytes("17x9.jpg"));
}

TEST(AnswersFromNginx, BodyClosedEarlyFallsShortOfTheAnnouncedLength)
{
    CMemManage data;
    EXPECT_EQ(Fetch("early/", data), 600);
    EXPECT_EQ(data.m_F_n_GetMemSize(), 1000u + kSpareBytes);
    EXPECT_EQ(Stored(data, 600), Bytes(600, 'e'));
}

TEST(AnswersFromNginx, BodyClosedEarlyCallsBackWithTheAnnouncedLength)
{
    WorkerFetch fetch("early/");
    EXPECT_EQ(fetch.code, 1000);
    EXPECT_EQ(fetch.exitCode, 600u);
}

TEST(Soak, ThousandSnapshotsAreRightAndLeaveNothingBehind)
{
    const Bytes file = FileBytes("640x480.jpg");
    CHTTP http;
    CMemManage data;
    const auto fetchOnce = [&]
    {
        return http.m_F_n_HTTPGetDataDirect(kHost, kUser, kPassword, Port(), "pictures/640x480.jpg",
                                            &data, kTimeOut);
    };
    for (int warmUp = 0; warmUp < 20; ++warmUp)
    {
        fetchOnce();
    }
    const SOCKET socketBefore = NextSocketValue();
    const SIZE_T bytesBefore = CommittedBytes();
    int right = 0;
    for (int round = 0; round < 1000; ++round)
    {
        const int length = fetchOnce();
        right += length == static_cast<int>(file.size()) && Stored(data, length) == file;
    }
    EXPECT_EQ(right, 1000);
    EXPECT_LE(NextSocketValue(), socketBefore + kToleratedHandles * kHandleValueStep);
    EXPECT_LE(CommittedBytes(), bytesBefore + kToleratedBytes);
}

TEST(Soak, TwoHundredWorkersWithReleasesBetweenLeaveNothingBehind)
{
    const Bytes file = FileBytes("640x480.jpg");
    CHTTP http;
    int calls = 0;
    const auto fetchOnce = [&]
    {
        // Other addresses than the object's own: this releases what the last fetch left.
        http.m_S_Init(kHost, kUser, kPassword, Port());
        http.m_nUserData1 = reinterpret_cast<__int64>(&calls);
        http.m_pfnFinished = [](int, __int64 counter, __int64) -> int
        { return ++*reinterpret_cast<int*>(counter); };
        EXPECT_NE(http.m_F_n_HTTPGetData("pictures/640x480.jpg", kTimeOut), 0u);
        EXPECT_EQ(WaitForSingleObject(http.m_hThread, 20000), WAIT_OBJECT_0);
    };
    for (int warmUp = 0; warmUp < 20; ++warmUp)
    {
        fetchOnce();
    }
    calls = 0;
    const SOCKET socketBefore = NextSocketValue();
    const SIZE_T bytesBefore = CommittedBytes();
    int right = 0;
    for (int round = 0; round < 200; ++round)
    {
        fetchOnce();
        right += Stored(http.m_memData, static_cast<int>(file.size())) == file;
    }
    EXPECT_EQ(right, 200);
    EXPECT_EQ(calls, 200);
    EXPECT_LE(NextSocketValue(), socketBefore + kToleratedHandles * kHandleValueStep);
    EXPECT_LE(CommittedBytes(), bytesBefore + kToleratedBytes);
}
