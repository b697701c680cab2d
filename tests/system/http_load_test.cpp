// Thirty-two objects at work at once for half a minute, against nginx (with_nginx.py) and a server
// of Python's (with_load_peer.py), which tell ports and folder by the environment.
#include <gtest/gtest.h>
#include <winsock2.h>

#include <windows.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "CHTTP.h"
#include "net/process_resources.h"

namespace
{

using Clock = std::chrono::steady_clock;

constexpr char kHost[] = "127.0.0.1";
constexpr char kUser[] = "camera";
constexpr char kPassword[] = "s3cret word";
// Longer than any pause of a busy machine.
constexpr int kTimeOut = 15000;
constexpr int kGroupMode = 1;
constexpr int kOneConnection = 0;

std::string Environment(const char* name)
{
    const char* value = std::getenv(name);
    if (value == nullptr)
    {
        ADD_FAILURE() << name << " is not set: run this through with_nginx.py, with_load_peer.py";
        return "";
    }
    return value;
}

int PortOf(const char* name)
{
    return std::atoi(Environment(name).c_str());
}

std::string FileBytes(const std::string& name)
{
    // The folder is named as the system that serves it names it, which is where Z: leads.
    std::ifstream file("Z:" + Environment("OSTREL_HTTP_ROOT") + "/" + name, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << name;
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

/// The CRC of RFC 1952, section 8.
std::uint32_t Checksum(const std::string& bytes)
{
    static const auto table = []
    {
        std::array<std::uint32_t, 256> entries = {};
        for (std::uint32_t i = 0; i < entries.size(); ++i)
        {
            std::uint32_t value = i;
            for (int bit = 0; bit < 8; ++bit)
            {
                value = (value & 1) != 0 ? 0xEDB88320 ^ (value >> 1) : value >> 1;
            }
            entries[i] = value;
        }
        return entries;
    }();
    std::uint32_t checksum = 0xFFFFFFFF;
    for (const char byte : bytes)
    {
        checksum = table[(checksum ^ static_cast<unsigned char>(byte)) & 0xFF] ^ (checksum >> 8);
    }
    return ~checksum;
}

std::string RandomBytes(std::mt19937& dice, std::size_t size)
{
    std::string bytes(size, '\0');
    for (char& byte : bytes)
    {
        byte = static_cast<char>(dice());
    }
    return bytes;
}

std::string Block(std::uint32_t number, const std::string& payload)
{
    const std::uint32_t head[] = {number, static_cast<std::uint32_t>(payload.size()),
                                  Checksum(payload)};
    return std::string(reinterpret_cast<const char*>(head), sizeof(head)) + payload;
}

/// What one kind of work came to.
struct Tally
{
    std::atomic<long> done = 0;
    std::atomic<long> wrong = 0;

    void Add(bool isRight)
    {
        ++done;
        wrong += isRight ? 0 : 1;
    }
};

struct Tallies
{
    Tally fetched;
    Tally fetchedByWorker;
    Tally posted;
    Tally postedInPieces;
    Tally queuedOnOneConnection;
    Tally queuedInGroup;
    Tally parts;
    std::atomic<long> streams = 0;
    std::atomic<long> workers = 0;
};

struct Job
{
    Tallies& tallies;
    Clock::time_point end;
    int number;  // of the object

    bool IsOver() const { return Clock::now() >= end; }
};

struct ServedFile
{
    std::string path;
    std::string bytes;
};

const std::vector<ServedFile>& ServedFiles()
{
    static const std::vector<ServedFile> files = []
    {
        std::vector<ServedFile> list;
        for (const char* name : {"640x480.jpg", "17x9.jpg", "20k.bin", "200k.bin", "1920x1080.jpg"})
        {
            list.push_back({std::string("pictures/") + name, FileBytes(name)});
        }
        return list;
    }();
    return files;
}

std::string TextOf(CMemManage& data, std::size_t length)
{
    return data.m_F_n_GetMemSize() < length ? std::string()
                                            : std::string(data.m_F_p_GetStrCHAR(), length);
}

void FetchDirectly(const Job& job)
{
    CHTTP http;
    CMemManage data;
    for (auto i = static_cast<std::size_t>(job.number); !job.IsOver(); ++i)
    {
        const ServedFile& file = ServedFiles()[i % ServedFiles().size()];
        const int code =
            http.m_F_n_HTTPGetDataDirect(kHost, kUser, kPassword, PortOf("OSTREL_HTTP_PORT"),
                                         file.path.c_str(), &data, kTimeOut);
        job.tallies.fetched.Add(code == static_cast<int>(file.bytes.size()) &&
                                TextOf(data, file.bytes.size()) == file.bytes);
    }
}

void FetchByWorker(const Job& job)
{
    CHTTP http;
    http.m_S_Init(kHost, kUser, kPassword, PortOf("OSTREL_HTTP_PORT"));
    std::atomic<int> told = 0;
    http.m_nUserData1 = reinterpret_cast<__int64>(&told);
    http.m_pfnFinished = [](int code, __int64 target, __int64) -> int
    {
        *reinterpret_cast<std::atomic<int>*>(target) = code;
        return 0;
    };
    for (auto i = static_cast<std::size_t>(job.number); !job.IsOver(); ++i)
    {
        const ServedFile& file = ServedFiles()[i % ServedFiles().size()];
        told = -1000;
        DWORD stored = 0;
        const bool isDone = http.m_F_n_HTTPGetData(file.path.c_str(), kTimeOut) != 0 &&
                            WaitForSingleObject(http.m_hThread, 60000) == WAIT_OBJECT_0 &&
                            GetExitCodeThread(http.m_hThread, &stored) != FALSE;
        job.tallies.fetchedByWorker.Add(isDone && told == static_cast<int>(file.bytes.size()) &&
                                        stored == file.bytes.size() &&
                                        TextOf(http.m_memData, file.bytes.size()) == file.bytes);
    }
}

bool Confirms(const std::string& answer, const std::string& body)
{
    const std::string verdict = std::to_string(body.size()) + " " + std::to_string(Checksum(body));
    const std::size_t start = answer.find("\r\n\r\n");
    return answer.rfind("HTTP/1.0 200 ", 0) == 0 && start != std::string::npos &&
           answer.substr(start + 4) == verdict;
}

void PostDirectly(const Job& job)
{
    CHTTP http;
    std::mt19937 dice(static_cast<unsigned>(job.number));
    while (!job.IsOver())
    {
        const std::string body = RandomBytes(dice, 1 + dice() % 300000);
        char answer[5000] = {};
        const int length = http.m_F_n_HTTPPostDataDirect(
            kHost, kUser, kPassword, PortOf("OSTREL_LOAD_PORT"), "check",
            reinterpret_cast<const unsigned char*>(body.data()), static_cast<int>(body.size()),
            answer, static_cast<int>(sizeof(answer)), kTimeOut);
        job.tallies.posted.Add(
            length > 0 && Confirms(std::string(answer, static_cast<std::size_t>(length)), body));
    }
}

void PostInPieces(const Job& job)
{
    CHTTP http;
    std::mt19937 dice(static_cast<unsigned>(job.number));
    while (!job.IsOver())
    {
        const std::string body = RandomBytes(dice, 1 + dice() % 100000);
        char answer[5000] = {};
        int sent = -1;
        const int length = http.m_F_n_HTTPPostDataDirectSplit(
            kHost, kUser, kPassword, PortOf("OSTREL_LOAD_PORT"), "check",
            reinterpret_cast<const unsigned char*>(body.data()), static_cast<int>(body.size()),
            answer, static_cast<int>(sizeof(answer)), sent, kTimeOut, 100 + dice() % 5000);
        job.tallies.postedInPieces.Add(
            length > 0 && sent == static_cast<int>(body.size()) &&
            Confirms(std::string(answer, static_cast<std::size_t>(length)), body));
    }
}

struct Seen
{
    long blocks = -1;
    long connections = -1;
    long bad = -1;
};

Seen AskForSeen(const std::string& name)
{
    CHTTP http;
    CMemManage data;
    Seen seen;
    const int code =
        http.m_F_n_HTTPGetDataDirect(kHost, kUser, kPassword, PortOf("OSTREL_LOAD_PORT"),
                                     ("seen/" + name).c_str(), &data, kTimeOut);
    if (code > 0)
    {
        std::sscanf(data.m_F_p_GetStrCHAR(), "%ld %ld %ld", &seen.blocks, &seen.connections,
                    &seen.bad);
    }
    return seen;
}

/// Waits until the server has so many blocks.
Seen AwaitSeen(const std::string& name, long blocks)
{
    const auto end = Clock::now() + std::chrono::seconds(30);
    Seen seen = AskForSeen(name);
    while (seen.blocks < blocks && Clock::now() < end)
    {
        Sleep(50);
        seen = AskForSeen(name);
    }
    return seen;
}

bool HasQueued(CHTTP& http)
{
    const CSingleLock guard(&http.m_csPost, TRUE);
    return http.m_listPost.IsEmpty() == FALSE;
}

/// Posts blocks by one worker after another; each is stopped when all of its blocks have come.
void PostQueued(const Job& job, int mode, std::size_t largest, Tally& tally)
{
    const bool isGroup = mode == kGroupMode;
    CHTTP http;
    http.m_S_Init(kHost, kUser, kPassword, PortOf("OSTREL_LOAD_PORT"));
    http.m_nTimeOut = kTimeOut;
    std::mt19937 dice(static_cast<unsigned>(job.number));
    for (int worker = 0; !job.IsOver(); ++worker)
    {
        const std::string name = std::to_string(job.number) + "-" + std::to_string(worker);
        const std::string prefix =
            "POST /" + std::string(isGroup ? "group/" : "endless/") + name + " HTTP/1.0\r\n" +
            (isGroup ? std::string() : std::string("Content-Length: 2000000000\r\n"));
        EXPECT_EQ(http.m_F_n_StartPostThread(prefix.c_str(), mode), 1U);
        const auto workerEnd = std::min(job.end, Clock::now() + std::chrono::seconds(4));
        std::uint32_t number = 0;
        while (Clock::now() < workerEnd)
        {
            for (unsigned burst = 1 + dice() % 6; burst > 0; --burst)
            {
                const std::string block = Block(number++, RandomBytes(dice, dice() % largest));
                EXPECT_TRUE(http.m_F_b_AddPost(reinterpret_cast<const unsigned char*>(block.data()),
                                               static_cast<unsigned>(block.size())));
            }
            while (HasQueued(http))
            {
                Sleep(5);
            }
        }
        const Seen seen = AwaitSeen(name, number);
        EXPECT_EQ(seen.blocks, static_cast<long>(number)) << name;
        EXPECT_EQ(seen.bad, 0) << name << ": blocks damaged or out of turn";
        EXPECT_EQ(seen.connections, isGroup ? static_cast<long>(number) : 1) << name;
        http.m_F_n_StopPostThread();
        ++job.tallies.workers;
        tally.done += number;
        tally.wrong += seen.bad + (static_cast<long>(number) - seen.blocks);
    }
}

void PostOnOneConnection(const Job& job)
{
    PostQueued(job, kOneConnection, 60000, job.tallies.queuedOnOneConnection);
}

// The group worker ends a connection, abortively, as soon as there is another block; only what the
// peer's platform has taken then is sure to be there, so the blocks are small ones.
void PostInGroup(const Job& job)
{
    PostQueued(job, kGroupMode, 8000, job.tallies.queuedInGroup);
}

void FollowStreams(const Job& job)
{
    CHTTP http;
    http.m_S_Init(kHost, kUser, kPassword, PortOf("OSTREL_LOAD_PORT"));
    for (int stream = 0; !job.IsOver(); ++stream)
    {
        const std::string name = std::to_string(job.number) + "-" + std::to_string(stream);
        for (int number = 0; number < 300 && !job.IsOver(); ++number)
        {
            char part[1024] = {};
            const int length = http.m_F_n_MultiPartStreamGet(
                ("stream/" + name).c_str(), part, static_cast<int>(sizeof(part)), kTimeOut);
            const std::string start = "Content-Type: text/plain\r\n\r\npart " +
                                      std::to_string(number) + " of " + name + ": ";
            const std::string text(part, length > 1 ? static_cast<std::size_t>(length) : 0);
            const bool isRight = text.rfind(start, 0) == 0 && text.size() >= start.size() + 2 &&
                                 text.substr(start.size()).find_first_not_of("abcdefghijklmnop") ==
                                     text.size() - start.size() - 2 &&
                                 text.substr(text.size() - 2) == "\r\n";
            job.tallies.parts.Add(isRight);
        }
        ++job.tallies.streams;
    }
}

struct Kind
{
    void (*work)(const Job&);
    int objects;
};

constexpr Kind kKinds[] = {{FetchDirectly, 6}, {FetchByWorker, 6}, {PostDirectly, 4},
                           {PostInPieces, 4},  {PostInGroup, 4},   {PostOnOneConnection, 4},
                           {FollowStreams, 4}};

/// Returns the number of objects at work.
int Work(Tallies& tallies, int seconds, int firstNumber)
{
    const auto end = Clock::now() + std::chrono::seconds(seconds);
    int number = firstNumber;
    std::vector<std::thread> threads;
    for (const Kind& kind : kKinds)
    {
        for (int i = 0; i < kind.objects; ++i)
        {
            threads.emplace_back(kind.work, Job{tallies, end, number++});
        }
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    return number - firstNumber;
}

void Report(const char* what, const Tally& tally)
{
    std::printf("%-28s %7ld, wrong %ld\n", what, tally.done.load(), tally.wrong.load());
    EXPECT_GT(tally.done, 0) << what;
    EXPECT_EQ(tally.wrong, 0) << what;
}

}  // namespace

TEST(HttpLoad, ThirtyTwoObjectsAtOnceLoseNothingAndLeaveNothingBehind)
{
    ServedFiles();
    Tallies warmUp;
    Work(warmUp, 3, 1000);
    const ostrel::test::ProcessResources before = ostrel::test::MeasureResources();

    Tallies tallies;
    const auto start = Clock::now();
    const int objects = Work(tallies, 30, 0);
    EXPECT_EQ(objects, 32);
    std::printf(
        "%d objects, %lld ms\n", objects,
        static_cast<long long>(
            std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count()));
    Report("fetched directly", tallies.fetched);
    Report("fetched by the worker", tallies.fetchedByWorker);
    Report("posted directly", tallies.posted);
    Report("posted in pieces", tallies.postedInPieces);
    Report("blocks on one connection", tallies.queuedOnOneConnection);
    Report("blocks by the group worker", tallies.queuedInGroup);
    Report("parts of streams", tallies.parts);
    std::printf("%ld post workers, %ld streams\n", tallies.workers.load(), tallies.streams.load());
    ostrel::test::ExpectNothingLeftBehind(before, 8, 2 << 20);
}
