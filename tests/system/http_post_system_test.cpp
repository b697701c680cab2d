// Posts to, and multipart streams from, the servers of with_http_peer.py, which tells ports and
// folder by the environment.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "CHTTP.h"

namespace
{

constexpr char kHost[] = "127.0.0.1";
constexpr char kUser[] = "camera";
constexpr char kPassword[] = "s3cret word";
constexpr int kTimeOut = 20000;

std::string Environment(const char* name)
{
    const char* value = std::getenv(name);
    if (value == nullptr)
    {
        ADD_FAILURE() << name << " is not set: run this through with_http_peer.py";
        return "";
    }
    return value;
}

int Port()
{
    return std::atoi(Environment("OSTREL_HTTP_PORT").c_str());
}

std::string PathOf(const std::string& name)
{
    // The folder is named as the system that serves it names it, which is where Z: leads.
    return "Z:" + Environment("OSTREL_HTTP_ROOT") + "/" + name;
}

std::string FileBytes(const std::string& name)
{
    std::ifstream file(PathOf(name), std::ios::binary);
    EXPECT_TRUE(file.is_open()) << name;
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

bool Appears(const std::string& name)
{
    for (int i = 0; i < 2000; ++i)
    {
        if (GetFileAttributesA(PathOf(name).c_str()) != INVALID_FILE_ATTRIBUTES)
        {
            return true;
        }
        Sleep(10);
    }
    return false;
}

std::string Noise(std::size_t size)
{
    std::string bytes;
    bytes.reserve(size);
    unsigned state = static_cast<unsigned>(size);
    while (bytes.size() < size)
    {
        state = state * 1664525U + 1013904223U;
        bytes += static_cast<char>(state >> 24);
    }
    return bytes;
}

const unsigned char* BytesOf(const std::string& data)
{
    return reinterpret_cast<const unsigned char*>(data.data());
}

/// Posts and returns the server's answer, which tells that all of the body came.
std::string PostDirect(const std::string& name, const std::string& data,
                       const char* password = kPassword)
{
    CHTTP http;
    char reply[5001] = {};
    EXPECT_GT(
        http.m_F_n_HTTPPostDataDirect(kHost, kUser, password, Port(), name.c_str(), BytesOf(data),
                                      static_cast<int>(data.size()), reply, 5000, kTimeOut),
        0);
    return reply;
}

std::string PostSplit(const std::string& name, const std::string& data, unsigned chunk)
{
    CHTTP http;
    char reply[5001] = {};
    int sent = -1;
    EXPECT_GT(http.m_F_n_HTTPPostDataDirectSplit(kHost, kUser, kPassword, Port(), name.c_str(),
                                                 BytesOf(data), static_cast<int>(data.size()),
                                                 reply, 5000, sent, 60000, chunk),
              0);
    EXPECT_EQ(sent, static_cast<int>(data.size()));
    return reply;
}

bool IsOk(const std::string& reply)
{
    return reply.rfind("HTTP/1.0 200 OK\r\n", 0) == 0;
}

/// The pictures of the stream, cut out of the file by the lengths that ffmpeg wrote.
std::vector<std::string> Pictures()
{
    std::vector<std::string> pictures;
    const std::string file = FileBytes("pictures.mpjpeg");
    const std::string field = "Content-length: ";
    for (std::size_t place = file.find(field); place != std::string::npos;)
    {
        const std::size_t length = std::strtoul(file.c_str() + place + field.size(), nullptr, 10);
        const std::size_t start = file.find("\r\n\r\n", place) + 4;
        pictures.push_back(file.substr(start, length));
        place = file.find(field, start + length);
    }
    return pictures;
}

void ExpectEveryPictureButTheLast(int port, const char* path)
{
    const std::vector<std::string> pictures = Pictures();
    ASSERT_EQ(pictures.size(), 60U);
    CHTTP http;
    http.m_S_Init(kHost, kUser, kPassword, port);
    char part[1024];
    for (std::size_t i = 0; i + 1 < pictures.size(); ++i)
    {
        const int length = http.m_F_n_MultiPartStreamGet(path, part, sizeof(part), 3000);
        ASSERT_GT(length, 1) << "part " << i;
        EXPECT_NE(std::string(part, static_cast<std::size_t>(length)).find(pictures[i]),
                  std::string::npos)
            << "part " << i;
    }
}

}  // namespace

TEST(PostsToPython, ArriveByteForByteWhateverTheirSize)
{
    for (const std::size_t size : {1, 2, 1459, 1460, 65536, 1000003, 10000000})
    {
        const std::string name = "direct" + std::to_string(size);
        const std::string data = Noise(size);
        EXPECT_TRUE(IsOk(PostDirect(name, data))) << size;
        EXPECT_TRUE(FileBytes(name + ".0") == data) << size;
    }
}

TEST(PostsToPython, ArriveByteForByteInPiecesOfEverySize)
{
    const struct
    {
        unsigned chunk;
        std::size_t size;
    } cases[] = {{1, 2000}, {7, 100003}, {65536, 10000000}, {0, 1000000}};
    for (const auto& [chunk, size] : cases)
    {
        const std::string name = "split" + std::to_string(chunk);
        const std::string data = Noise(size);
        EXPECT_TRUE(IsOk(PostSplit(name, data, chunk))) << chunk;
        EXPECT_TRUE(FileBytes(name + ".0") == data) << chunk;
    }
}

TEST(PostsToPython, AreAnsweredWithWhatTheServerMadeOfThem)
{
    // The SHA-256 of "abc", from FIPS 180-2 appendix B.1.
    EXPECT_NE(PostDirect("digest", "abc")
                  .find("\r\n\r\nba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"),
              std::string::npos);
}

TEST(PostsToPython, HandBackARefusalLikeAnyOtherAnswer)
{
    EXPECT_EQ(PostDirect("refused", "abc", "wrong").substr(0, 13), "HTTP/1.0 401 ");
}

TEST(PostsToPython, OfTheEndlessWorkerArriveAsOneBody)
{
    std::string expected;
    std::vector<std::string> blocks;
    for (std::size_t i = 0; i < 200; ++i)
    {
        blocks.push_back(Noise(i * 37 % 5000 + 1));
        expected += blocks.back();
    }
    CHTTP http;
    http.m_S_Init(kHost, kUser, kPassword, Port());
    const std::string prefix =
        "POST /endless HTTP/1.0\r\nContent-Length: " + std::to_string(expected.size()) + "\r\n";
    ASSERT_EQ(http.m_F_n_StartPostThread(prefix.c_str(), 0), 1U);
    for (const std::string& block : blocks)
    {
        http.m_F_b_AddPost(BytesOf(block), static_cast<unsigned>(block.size()));
    }
    ASSERT_TRUE(Appears("endless.0"));
    http.m_F_n_StopPostThread();
    EXPECT_TRUE(FileBytes("endless.0") == expected);
}

TEST(PostsToPython, OfTheGroupWorkerArriveAsOneRequestEach)
{
    CHTTP http;
    http.m_S_Init(kHost, kUser, kPassword, Port());
    ASSERT_EQ(http.m_F_n_StartPostThread("POST /group HTTP/1.0\r\n", 1), 1U);
    for (std::size_t i = 0; i < 50; ++i)
    {
        // One at a time: the server numbers its requests as its threads come to them.
        const std::string block = Noise(i * 97 + 1);
        http.m_F_b_AddPost(BytesOf(block), static_cast<unsigned>(block.size()));
        const std::string name = "group." + std::to_string(i);
        ASSERT_TRUE(Appears(name));
        EXPECT_TRUE(FileBytes(name) == block) << i;
    }
    http.m_F_n_StopPostThread();
}

TEST(MultipartFromPython, YieldsEveryPartAsTheFileHasIt)
{
    const std::string file = FileBytes("pictures.mpjpeg");
    const std::string delimiter = "--picture\r\n";
    CHTTP http;
    http.m_S_Init(kHost, kUser, kPassword, Port());
    char part[1024];
    std::string read;
    for (int i = 0; i < 59; ++i)
    {
        const int length = http.m_F_n_MultiPartStreamGet("stream", part, sizeof(part), 3000);
        ASSERT_GT(length, 1) << i;
        read += delimiter + std::string(part, static_cast<std::size_t>(length));
    }
    EXPECT_TRUE(read == file.substr(0, read.size()));
    EXPECT_GT(read.size(), 59U * 200);
}

TEST(MultipartFromPython, HoldsThePicturesThatFfmpegMade)
{
    ExpectEveryPictureButTheLast(Port(), "stream");
}

TEST(MultipartFromFfmpeg, HoldsThePicturesAmidTheChunksOfTheTransferCoding)
{
    ExpectEveryPictureButTheLast(std::atoi(Environment("OSTREL_FFMPEG_PORT").c_str()), "live");
}
