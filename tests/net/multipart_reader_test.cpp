#include "net/multipart_reader.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/support/scripted_transport.h"

namespace net = ostrel::net;
using ostrel::test::Block;
using ostrel::test::BlocksForEver;
using ostrel::test::Bytes;
using ostrel::test::End;
using ostrel::test::Failure;
using ostrel::test::PeerStep;
using ostrel::test::ScriptedTransport;
using ostrel::test::Silence;

namespace
{

constexpr int kTimeOut = 3000;
constexpr int kForEver = ScriptedTransport::kForEver;

const std::string kHead =
    "HTTP/1.0 200 OK\r\nContent-Type: multipart/x-mixed-replace;boundary=abc\r\n\r\n";
const std::string kDelimiter = "--abc\r\n";

std::string Part(const std::string& content)
{
    return "Content-Type: text/plain\r\n\r\n" + content + "\r\n";
}

/// A stream from a peer that behaves as written down, read with a buffer of exactly its size.
struct Stream
{
    explicit Stream(std::deque<PeerStep> steps) : transport(std::move(steps)) {}
    ~Stream() { delete[] boundary; }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    int Read(int size = 1024)
    {
        const std::unique_ptr<char[]> out(new char[static_cast<std::size_t>(size)]);
        std::fill_n(out.get(), size, '#');
        const int closesBefore = transport.closes;
        const int result =
            net::ReadPart(request, isOpen, transport, {buffer, held, boundary}, {out.get(), size});
        isClosed = transport.closes > closesBefore;
        isOpen = !isClosed;
        block.assign(out.get(), static_cast<std::size_t>(size));
        part =
            result > 1 && result <= size ? block.substr(0, static_cast<std::size_t>(result)) : "";
        return result;
    }

    std::string Held() const
    {
        return std::string(reinterpret_cast<const char*>(buffer.m_pMem),
                           static_cast<std::size_t>(held));
    }

    ScriptedTransport transport;
    net::GetRequest request = {{"camera", "user", "secret", 8080}, "stream.cgi", kTimeOut};
    CMemManage buffer;
    int held = 0;
    char* boundary = nullptr;
    bool isOpen = false;
    bool isClosed = false;
    std::string part;
    std::string block;
};

/// What a reader that is handed all of it comes to, if nothing is wrong.
const std::string kThreeParts = kHead + kDelimiter + Part("one") + kDelimiter + Part("two") +
                                kDelimiter + Part("three") + kDelimiter;

void ExpectThreeParts(Stream& stream, const std::string& trace = "")
{
    SCOPED_TRACE(trace);
    EXPECT_EQ(stream.Read(), static_cast<int>(Part("one").size()));
    EXPECT_EQ(stream.part, Part("one"));
    EXPECT_EQ(stream.Read(), static_cast<int>(Part("two").size()));
    EXPECT_EQ(stream.part, Part("two"));
    EXPECT_EQ(stream.Read(), static_cast<int>(Part("three").size()));
    EXPECT_EQ(stream.part, Part("three"));
    EXPECT_EQ(stream.Read(), 1);
    EXPECT_TRUE(stream.isClosed);
}

}  // namespace

// ---- Opening ------------------------------------------------------------------------------------

TEST(MultipartOpening, ConnectsToHostAndPortWithTheTimeOut)
{
    Stream stream({Bytes(kThreeParts)});
    stream.Read();
    EXPECT_EQ(stream.transport.NumbersOf("connect camera:8080"), std::vector<int>{kTimeOut});
}

TEST(MultipartOpening, SendsTheRequestOfAGet)
{
    Stream stream({Bytes(kThreeParts)});
    stream.Read();
    EXPECT_EQ(stream.transport.sent,
              "GET /stream.cgi HTTP/1.1\r\n"
              "Accept: image/jpeg,*/*\r\n"
              "Connection: Keep-Alive\r\n"
              "Host:camera\r\n"
              "Authorization: Basic dXNlcjpzZWNyZXQ=\r\n"
              "\r\n");
}

TEST(MultipartOpening, WaitsForRoomWithoutLimitAndAgainWhenSendingBlocks)
{
    Stream stream({Bytes(kThreeParts)});
    stream.transport.sends = {10, ScriptedTransport::kSendBlocks, 5,
                              ScriptedTransport::kSendBlocks};
    ExpectThreeParts(stream);
    EXPECT_EQ(stream.transport.NumbersOf("writable"), std::vector<int>(3, kForEver));
    EXPECT_TRUE(stream.transport.sent.find("\r\n\r\n") != std::string::npos);
}

TEST(MultipartOpening, WaitsForTheHeadWithoutLimit)
{
    Stream stream({Silence(100000000), Bytes(kThreeParts)});
    EXPECT_GT(stream.Read(), 1);
    EXPECT_EQ(stream.transport.NumbersOf("readable").front(), kForEver);
}

TEST(MultipartOpening, BlocksWhilePeerIsSilent)
{
    Stream stream({});
    EXPECT_THROW(stream.Read(), BlocksForEver);
    Stream inTheHead({Bytes("HTTP/1.0 200 OK\r\n")});
    EXPECT_THROW(inTheHead.Read(), BlocksForEver);
}

TEST(MultipartOpening, ReadsTheAnswerEvenIfTheRequestCouldNotBeSent)
{
    Stream stream({Bytes(kThreeParts)});
    stream.transport.sends = {5, -1};
    ExpectThreeParts(stream);
}

TEST(MultipartOpening, CutsARequestThatIsLongerThanTheReceiveBuffer)
{
    Stream stream({Bytes(kThreeParts)});
    const std::string path(2000, 'p');
    stream.request.path = path.c_str();
    stream.Read();
    EXPECT_EQ(stream.transport.sent, ("GET /" + path).substr(0, 1023));
}

TEST(MultipartOpening, MakesABufferOf1024Bytes)
{
    Stream stream({Bytes(kThreeParts)});
    stream.buffer.m_F_p_MemAlloc(99);
    stream.Read();
    EXPECT_EQ(stream.buffer.m_nMemSize, 1024U);
}

TEST(MultipartOpening, KeepsTheBoundaryWithTheLineEndBehindIt)
{
    Stream stream({Bytes(kThreeParts)});
    stream.Read();
    ASSERT_NE(stream.boundary, nullptr);
    EXPECT_STREQ(stream.boundary, "abc\r\n");
}

TEST(MultipartOpening, ReplacesAnEarlierBoundary)
{
    Stream stream({Bytes(kThreeParts)});
    stream.boundary = new char[4]{'o', 'l', 'd', '\0'};
    ExpectThreeParts(stream);
    EXPECT_STREQ(stream.boundary, "abc\r\n");
}

TEST(MultipartOpening, EndsWithMinusTwoWhenItCannotConnect)
{
    Stream stream({Bytes(kThreeParts)});
    stream.transport.connects = false;
    EXPECT_EQ(stream.Read(), -2);
    EXPECT_TRUE(stream.isClosed);
    EXPECT_EQ(stream.transport.sent, "");
}

TEST(MultipartOpening, EndsWithMinusThreeForAnAnswerWithoutLineEnd)
{
    Stream stream({Bytes("HTTP/1.0 200 OK\n\n")});
    EXPECT_EQ(stream.Read(), -3);
    EXPECT_TRUE(stream.isClosed);
}

TEST(MultipartOpening, EndsWithMinusThreeForAnyOtherStatus)
{
    for (const std::string status : {"404 Not Found", "500 Oops", "302 Found"})
    {
        Stream stream({Bytes("HTTP/1.0 " + status + "\r\n\r\n")});
        EXPECT_EQ(stream.Read(), -3) << status;
        EXPECT_TRUE(stream.isClosed);
    }
}

TEST(MultipartOpening, EndsWithMinusFourForARefusal)
{
    for (const std::string answer : {"HTTP/1.0 401 Unauthorized\r\n\r\n", "HTTP/1.0 401 No"})
    {
        Stream stream({Bytes(answer)});
        EXPECT_EQ(stream.Read(), -4) << answer;
        EXPECT_TRUE(stream.isClosed);
    }
}

TEST(MultipartOpening, EndsWithMinusFourForA200WithoutLineEndThatHasA401)
{
    Stream stream({Bytes("HTTP/1.0 200 or 401 ")});
    EXPECT_EQ(stream.Read(), -4);
}

TEST(MultipartOpening, TakesAnAnswerThatHoldsBothCodesForA200)
{
    Stream stream({Bytes("HTTP/1.0 200 OK\r\nX: 401 \r\nboundary=abc\r\n\r\n" + kDelimiter +
                         Part("one") + kDelimiter)});
    EXPECT_GT(stream.Read(), 1);
    EXPECT_EQ(stream.part, Part("one"));
}

TEST(MultipartOpening, EndsWithMinusThreeWhenThePeerClosesOrFailsWithoutAnAnswer)
{
    for (const PeerStep& step : {End(), Failure()})
    {
        Stream stream({step});
        EXPECT_EQ(stream.Read(), -3);
        EXPECT_TRUE(stream.isClosed);
    }
}

TEST(MultipartOpening, WaitsUpToFiveMoreTimesForTheHeadsEnd)
{
    for (const int pieces : {1, 2, 3, 4, 5, 6})
    {
        std::deque<PeerStep> steps = {Bytes("HTTP/1.0 200 OK\r\n")};
        for (int i = 1; i < pieces; ++i)
        {
            steps.push_back(Block());
            steps.push_back(Bytes("X: y\r\n"));
        }
        steps.push_back(Block());
        steps.push_back(
            Bytes("Content-Type: m;boundary=abc\r\n\r\n" + kDelimiter + Part("one") + kDelimiter));
        Stream stream(steps);
        const int result = stream.Read();
        if (pieces <= 5)
        {
            EXPECT_EQ(result, static_cast<int>(Part("one").size())) << pieces;
        }
        else
        {
            EXPECT_EQ(result, -5);
            EXPECT_TRUE(stream.isClosed);
        }
    }
}

TEST(MultipartOpening, EndsWithMinusFiveWhenThePeerClosesInTheHead)
{
    for (const PeerStep& step : {End(), Failure()})
    {
        Stream stream({Bytes("HTTP/1.0 200 OK\r\nX: y\r\n"), step});
        EXPECT_EQ(stream.Read(), -5);
        EXPECT_TRUE(stream.isClosed);
    }
}

TEST(MultipartOpening, EndsWithMinusFiveForAHeadThatDoesNotEndWithinTheBuffer)
{
    Stream stream({Bytes("HTTP/1.0 200 OK\r\nX: " + std::string(2000, 'x')), End()});
    EXPECT_EQ(stream.Read(), -5);
    EXPECT_TRUE(stream.isClosed);
}

TEST(MultipartOpening, EndsWithMinusFiveForAHeadWithoutABoundary)
{
    Stream stream({Bytes("HTTP/1.0 200 OK\r\nContent-Type: text/plain\r\n\r\nboundary=abc\r\n")});
    EXPECT_EQ(stream.Read(), -5);
    EXPECT_TRUE(stream.isClosed);
    EXPECT_EQ(stream.boundary, nullptr);
}

TEST(MultipartOpening, EndsTheTextOfTheHeadAtAZeroByte)
{
    Stream stream({Bytes(std::string("HTTP/1.0 200 OK\r\nX: \0", 22) + kThreeParts), End()});
    EXPECT_EQ(stream.Read(), -5);
}

TEST(MultipartOpening, JudgesTheStatusByWhatCameFirst)
{
    const std::size_t lineEnd = kHead.find("\r\n") + 2;
    for (std::size_t split = 1; split < kThreeParts.size(); ++split)
    {
        Stream stream(
            {Bytes(kThreeParts.substr(0, split)), Block(), Bytes(kThreeParts.substr(split))});
        if (split < lineEnd)
        {
            EXPECT_EQ(stream.Read(), -3) << split;
            EXPECT_TRUE(stream.isClosed);
        }
        else
        {
            ExpectThreeParts(stream, "split at " + std::to_string(split));
        }
    }
}

// ---- Reading ------------------------------------------------------------------------------------

TEST(MultipartReading, ReturnsTheFirstPartFirstAlthoughTheBoundaryStandsInTheHead)
{
    Stream stream({Bytes(kThreeParts)});
    EXPECT_EQ(stream.Read(), static_cast<int>(Part("one").size()));
    EXPECT_EQ(stream.part, Part("one"));
}

TEST(MultipartReading, ReturnsAHeldPartWithoutWaiting)
{
    Stream stream({Bytes(kThreeParts)});
    stream.Read();
    stream.transport.calls.clear();
    EXPECT_EQ(stream.Read(), static_cast<int>(Part("two").size()));
    EXPECT_TRUE(stream.transport.calls.empty());
}

TEST(MultipartReading, SendsNoSecondRequest)
{
    Stream stream({Bytes(kThreeParts)});
    stream.Read();
    const std::string sent = stream.transport.sent;
    stream.Read();
    stream.Read();
    EXPECT_EQ(stream.transport.sent, sent);
}

TEST(MultipartReading, WaitsForTheThirdDelimiterBeforeTheSecondPart)
{
    Stream stream({Bytes(kHead + kDelimiter + Part("one") + kDelimiter + Part("two")),
                   Silence(1000), Bytes(kDelimiter)});
    stream.Read();
    stream.transport.calls.clear();
    EXPECT_EQ(stream.Read(), static_cast<int>(Part("two").size()));
    EXPECT_EQ(stream.transport.NumbersOf("readable"), std::vector<int>{kTimeOut});
}

TEST(MultipartReading, KeepsTheDelimiterThatEndedAPartForTheNext)
{
    Stream stream({Bytes(kHead + kDelimiter + Part("one") + kDelimiter + "Content")});
    stream.Read();
    EXPECT_EQ(stream.Held(), kDelimiter + "Content");
    const char* const bytes = reinterpret_cast<const char*>(stream.buffer.m_pMem);
    EXPECT_EQ(std::string(bytes + stream.held, bytes + 1024),
              std::string(1024 - static_cast<std::size_t>(stream.held), '\0'));
}

TEST(MultipartReading, TakesPartsThatComeByteByByteAfterTheStatusLine)
{
    const std::size_t lineEnd = kHead.find("\r\n") + 2;
    for (const std::size_t burst : {lineEnd, kHead.size() - 4, kHead.size()})
    {
        // The rest of a head has only five receives, so it comes whole.
        std::deque<PeerStep> steps = {Bytes(kThreeParts.substr(0, burst)), Block()};
        const std::size_t start = std::max(burst, kHead.size());
        if (start > burst)
        {
            steps.push_back(Bytes(kThreeParts.substr(burst, start - burst)));
        }
        for (const char byte : kThreeParts.substr(start))
        {
            steps.push_back(Silence(kTimeOut));
            steps.push_back(Bytes(std::string(1, byte)));
        }
        Stream stream(steps);
        ExpectThreeParts(stream);
    }
}

TEST(MultipartReading, ClearsTheWholeBufferAroundThePart)
{
    Stream stream({Bytes(kThreeParts)});
    stream.Read(100);
    EXPECT_EQ(stream.block, Part("one") + std::string(100 - Part("one").size(), '\0'));
}

TEST(MultipartReading, CutsAPartToTheBufferAndStillTellsItsLength)
{
    for (int size = 1; size <= 40; ++size)
    {
        Stream stream({Bytes(kThreeParts)});
        EXPECT_EQ(stream.Read(size), static_cast<int>(Part("one").size()));
        std::string expected = Part("one").substr(0, static_cast<std::size_t>(size));
        expected.resize(static_cast<std::size_t>(size), '\0');
        EXPECT_EQ(stream.block, expected);
        EXPECT_EQ(stream.Read(), static_cast<int>(Part("two").size()));
    }
}

TEST(MultipartReading, CarriesBytesOfEveryValue)
{
    std::string content;
    for (int value = 0; value < 256; ++value)
    {
        content += static_cast<char>(value);
    }
    Stream stream({Bytes(kHead + kDelimiter + content + kDelimiter + content + kDelimiter)});
    EXPECT_EQ(stream.Read(), 256);
    EXPECT_EQ(stream.part, content);
    EXPECT_EQ(stream.Read(), 256);
    EXPECT_EQ(stream.part, content);
}

TEST(MultipartReading, FollowsAStreamOfManyParts)
{
    std::deque<PeerStep> steps = {Bytes(kHead)};
    for (int i = 0; i < 500; ++i)
    {
        steps.push_back(Bytes(kDelimiter + Part(std::to_string(i))));
        steps.push_back(i % 3 == 0 ? Silence(i) : Block());
    }
    steps.push_back(Bytes(kDelimiter));
    Stream stream(steps);
    for (int i = 0; i < 500; ++i)
    {
        ASSERT_GT(stream.Read(), 1);
        ASSERT_EQ(stream.part, Part(std::to_string(i)));
    }
}

TEST(MultipartReading, NeverReturnsTheLastPartOfAStreamThatIsClosedInOrder)
{
    Stream stream(
        {Bytes(kHead + kDelimiter + Part("one") + kDelimiter + Part("two") + "--abc--\r\n"),
         End()});
    EXPECT_GT(stream.Read(), 1);
    EXPECT_EQ(stream.Read(), 1);
    EXPECT_TRUE(stream.isClosed);
}

TEST(MultipartReading, IgnoresALengthInAPartsHead)
{
    Stream stream({Bytes(kHead + kDelimiter + "Content-Length: 1\r\n\r\nlonger\r\n" + kDelimiter)});
    stream.Read();
    EXPECT_EQ(stream.part, "Content-Length: 1\r\n\r\nlonger\r\n");
}

TEST(MultipartReading, YieldsZeroForDelimitersWithTwoBytesOrFewerBetweenThemAndGoesOn)
{
    for (const std::string between : {"--", "-", ""})
    {
        Stream stream({Bytes(kHead + kDelimiter + between + "abc\r\n" + Part("one") + kDelimiter)});
        EXPECT_EQ(stream.Read(), 0);
        EXPECT_FALSE(stream.isClosed);
        EXPECT_EQ(stream.block, std::string(1024, '\0'));
        EXPECT_EQ(stream.Read(), static_cast<int>(Part("one").size()));
        EXPECT_EQ(stream.part, Part("one"));
    }
}

TEST(MultipartReading, YieldsOneForAPartOfOneByteAndStaysOpen)
{
    Stream stream({Bytes(kHead + kDelimiter + "x" + kDelimiter)});
    EXPECT_EQ(stream.Read(), 1);
    EXPECT_FALSE(stream.isClosed);
    EXPECT_EQ(stream.block[0], 'x');
}

TEST(MultipartReading, CutsAtLineEndsWhenTheBoundaryHasNoCharacters)
{
    Stream stream(
        {Bytes("HTTP/1.0 200 OK\r\nboundary=\r\n\r\n--\r\nfirst--\r\nsecond--\r\n"), End()});
    EXPECT_EQ(stream.Read(), 5);
    EXPECT_EQ(stream.part, "first");
    EXPECT_EQ(stream.Read(), 6);
    EXPECT_EQ(stream.part, "second");
    EXPECT_EQ(stream.Read(), 1);
    EXPECT_TRUE(stream.isClosed);
}

TEST(MultipartReading, FindsNoPartsWhenTheHeadQuotesTheBoundary)
{
    Stream stream({Bytes("HTTP/1.0 200 OK\r\nboundary=\"abc\"\r\n\r\n" + kDelimiter + Part("one") +
                         kDelimiter)});
    EXPECT_EQ(stream.Read(), 1);
}

// ---- The end of waiting -------------------------------------------------------------------------

TEST(MultipartSilence, LongerThanTheTimeOutEndsTheStream)
{
    Stream stream({Bytes(kHead + kDelimiter + Part("one"))});
    EXPECT_EQ(stream.Read(), 1);
    EXPECT_TRUE(stream.isClosed);
    EXPECT_GT(stream.transport.now, static_cast<std::uint32_t>(kTimeOut));
}

TEST(MultipartSilence, IsCountedAnewAfterEveryReceive)
{
    std::deque<PeerStep> steps = {Bytes(kHead), Silence(kTimeOut)};
    for (const char byte : kDelimiter + Part("one") + kDelimiter)
    {
        steps.push_back(Bytes(std::string(1, byte)));
        steps.push_back(Silence(kTimeOut));
    }
    Stream stream(steps);
    EXPECT_EQ(stream.Read(), static_cast<int>(Part("one").size()));
}

TEST(MultipartSilence, IsCountedAnewInEveryCall)
{
    Stream stream({Bytes(kHead + kDelimiter + Part("one") + kDelimiter), Silence(kTimeOut),
                   Bytes(Part("two") + kDelimiter)});
    stream.Read();
    stream.transport.now += 1000000;
    EXPECT_EQ(stream.Read(), static_cast<int>(Part("two").size()));
}

TEST(MultipartSilence, EndsAfterTheClockStartedAnew)
{
    Stream stream({Bytes(kHead + kDelimiter)});
    stream.transport.now = 0xFFFFFFF0U;
    EXPECT_EQ(stream.Read(), 1);
    EXPECT_LT(stream.transport.now, 3U * kTimeOut);
}

TEST(MultipartSilence, OfAClosedPeerLastsForTheTimeOutWithoutATightLoop)
{
    for (const PeerStep& step : {End(), Failure()})
    {
        Stream stream({Bytes(kHead + kDelimiter + Part("one")), step});
        EXPECT_EQ(stream.Read(), 1);
        EXPECT_TRUE(stream.isClosed);
        EXPECT_GT(stream.transport.now, static_cast<std::uint32_t>(kTimeOut));
        EXPECT_LE(stream.transport.NumbersOf("receive").size(), 310U);
    }
}

TEST(MultipartSilence, EndsAStreamWhosePartDoesNotFitTheBuffer)
{
    std::deque<PeerStep> steps = {Bytes(kHead + kDelimiter)};
    for (int i = 0; i < 20; ++i)
    {
        steps.push_back(Bytes(std::string(100, 'x')));
    }
    steps.push_back(Bytes(kDelimiter));
    Stream stream(steps);
    EXPECT_EQ(stream.Read(), 1);
    EXPECT_TRUE(stream.isClosed);
    EXPECT_EQ(stream.held, 1024);
    EXPECT_GT(stream.transport.now, static_cast<std::uint32_t>(kTimeOut));
}

TEST(MultipartSilence, EndsAStreamWithoutADelimiterIn1024Bytes)
{
    Stream stream({Bytes(kHead + std::string(5000, 'x'))});
    EXPECT_EQ(stream.Read(), 1);
    EXPECT_TRUE(stream.isClosed);
}

TEST(MultipartSilence, OfATimeOutOfZeroStillReturnsWhatIsHeld)
{
    Stream stream({Bytes(kThreeParts)});
    stream.request.timeOut = 0;
    ExpectThreeParts(stream);
}

TEST(MultipartSilence, IsNotWaitedForWithANegativeTimeOut)
{
    Stream stream({Bytes(kThreeParts)});
    stream.request.timeOut = -1;
    EXPECT_EQ(stream.Read(), 1);
    EXPECT_TRUE(stream.isClosed);
}

TEST(MultipartFit, ReturnsAPartThatFillsTheBufferWithItsDelimitersAndTheHead)
{
    const std::size_t room = 1024 - kHead.size() - 2 * kDelimiter.size();
    for (const std::size_t size : {room - 1, room, room + 1})
    {
        Stream stream({Bytes(kHead + kDelimiter + std::string(size, 'x') + kDelimiter)});
        EXPECT_EQ(stream.Read(), size <= room ? static_cast<int>(size) : 1);
    }
}

TEST(MultipartFit, HasMoreRoomForALaterPart)
{
    const std::size_t room = 1024 - 2 * kDelimiter.size();
    for (const std::size_t size : {room, room + 1})
    {
        Stream stream({Bytes(kHead + kDelimiter + Part("one") + kDelimiter +
                             std::string(size, 'x') + kDelimiter)});
        EXPECT_GT(stream.Read(), 1);
        EXPECT_EQ(stream.Read(), size <= room ? static_cast<int>(size) : 1);
    }
}

TEST(MultipartState, WithoutABoundaryOnAnOpenConnectionYieldsOneAndDoesNothing)
{
    Stream stream({Bytes(kThreeParts)});
    stream.isOpen = true;
    EXPECT_EQ(stream.Read(), 1);
    EXPECT_FALSE(stream.isClosed);
    EXPECT_TRUE(stream.transport.calls.empty());
}

TEST(MultipartState, ThatSomebodyChangedIsNeverReadOutsideTheBuffer)
{
    for (const int held : {-1, 100000, 2147483647, -2147483647 - 1})
    {
        Stream stream({Bytes(kThreeParts), Silence(100)});
        stream.Read();
        stream.held = held;
        stream.Read();
        EXPECT_GE(stream.held, 0);
        EXPECT_LE(stream.held, 1024);
    }
    Stream freed({Bytes(kThreeParts), End()});
    freed.Read();
    freed.buffer.m_S_DelMem();
    EXPECT_EQ(freed.Read(), 1);
}

TEST(MultipartState, OpensANewStreamAfterTheEndOfOne)
{
    Stream stream(
        {Bytes(kHead + kDelimiter + Part("old")), Silence(2 * kTimeOut + 1), Bytes(kThreeParts)});
    EXPECT_EQ(stream.Read(), 1);
    ExpectThreeParts(stream);
    EXPECT_EQ(stream.transport.NumbersOf("connect camera:8080").size(), 2U);
}
