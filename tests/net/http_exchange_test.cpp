#include "net/http_exchange.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#if !defined(__SANITIZE_ADDRESS__) && !__has_feature(address_sanitizer)
#include <sys/resource.h>
#endif

#include "tests/support/scripted_transport.h"

namespace net = ostrel::net;
using ostrel::test::Block;
using ostrel::test::Bytes;
using ostrel::test::End;
using ostrel::test::Failure;
using ostrel::test::PeerStep;
using ostrel::test::ScriptedTransport;
using ostrel::test::Silence;

// Some tests are about an allocation that fails, and this is how it does.
extern "C" const char* __asan_default_options()
{
    return "allocator_may_return_null=1:max_allocation_size_mb=256";
}

namespace
{

constexpr int kTimeOut = 5000;

/// Everything that differs between the two ways, as it is stated.
struct Variant
{
    const char* name;
    net::GetOutcome (*get)(const net::GetRequest&, net::Transport&, CMemManage&);
    int workSize;
    int noHeadEnd;
};

constexpr Variant kDirect = {"Direct", net::GetDirectly, 5000, 0};
constexpr Variant kWorker = {"Worker", net::GetOnWorker, 1000, -3};

/// One fetch from a peer that behaves as written down.
struct Fetch
{
    explicit Fetch(std::deque<PeerStep> steps) : transport(std::move(steps)) {}

    int Run(const Variant& variant)
    {
        outcome = variant.get(request, transport, body);
        return outcome.code;
    }

    std::string Stored() const
    {
        return outcome.code > 0 ? std::string(reinterpret_cast<const char*>(body.m_pMem),
                                              static_cast<std::size_t>(outcome.code))
                                : std::string();
    }

    std::string Block() const
    {
        return std::string(reinterpret_cast<const char*>(body.m_pMem), body.m_nMemSize);
    }

    ScriptedTransport transport;
    net::GetRequest request = {{"camera", "user", "secret", 8080}, "snap.jpg", kTimeOut};
    CMemManage body;
    net::GetOutcome outcome = {};
};

std::string Ok(int length)
{
    return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(length) + "\r\n\r\n";
}

/// A 200 head of exactly this size, its empty line included.
std::string OkHeadOfSize(int size, int length)
{
    const std::string start =
        "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(length) + "\r\nX-Filler: ";
    const std::string end = "\r\n\r\n";
    return start + std::string(static_cast<std::size_t>(size) - start.size() - end.size(), 'f') +
           end;
}

std::string Noise(std::size_t size)
{
    std::string bytes;
    unsigned state = 12345;
    while (bytes.size() < size)
    {
        state = state * 1664525U + 1013904223U;
        bytes += static_cast<char>(state >> 24);
    }
    return bytes;
}

/// Makes a huge allocation fail, where the sanitizer does not see to it.
void LimitMemory()
{
#if !defined(__SANITIZE_ADDRESS__) && !__has_feature(address_sanitizer)
    const rlimit limit = {1U << 30, 1U << 30};
    ASSERT_EQ(setrlimit(RLIMIT_AS, &limit), 0);
#endif
}

class BothWays : public testing::TestWithParam<Variant>
{
};

INSTANTIATE_TEST_SUITE_P(Get, BothWays, testing::Values(kDirect, kWorker),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace

// ---- The request --------------------------------------------------------------------------------

TEST_P(BothWays, ConnectsToHostAndPortWithTheTimeOut)
{
    Fetch fetch({Bytes(Ok(0))});
    fetch.Run(GetParam());
    EXPECT_EQ(fetch.transport.NumbersOf("connect camera:8080"), std::vector<int>{kTimeOut});
}

TEST_P(BothWays, SendsExactlyThisRequest)
{
    Fetch fetch({Bytes(Ok(0))});
    fetch.Run(GetParam());
    EXPECT_EQ(fetch.transport.sent,
              "GET /snap.jpg HTTP/1.1\r\n"
              "Accept: image/jpeg,*/*\r\n"
              "Connection: Keep-Alive\r\n"
              "Host:camera\r\n"
              "Authorization: Basic dXNlcjpzZWNyZXQ=\r\n"
              "\r\n");
}

TEST_P(BothWays, SendsEmptyUserAndPasswordAsALoneColon)
{
    Fetch fetch({Bytes(Ok(0))});
    fetch.request.server.user = "";
    fetch.request.server.password = "";
    fetch.Run(GetParam());
    EXPECT_NE(fetch.transport.sent.find("Authorization: Basic Og==\r\n\r\n"), std::string::npos);
}

TEST_P(BothWays, SendsTheLongestCredentialsThatFitTheScratchText)
{
    Fetch fetch({Bytes(Ok(0))});
    const std::string password(189 - 5, 'p');
    fetch.request.server.password = password.c_str();
    fetch.Run(GetParam());
    const std::string& sent = fetch.transport.sent;
    const std::size_t start = sent.find("Basic ") + 6;
    EXPECT_EQ(sent.find("\r\n", start) - start, 252U);
}

TEST_P(BothWays, SendsCredentialsThatDoNotFitTheScratchTextAsEmpty)
{
    Fetch fetch({Bytes(Ok(0))});
    const std::string password(190 - 5, 'p');
    fetch.request.server.password = password.c_str();
    fetch.Run(GetParam());
    EXPECT_NE(fetch.transport.sent.find("Authorization: Basic \r\n\r\n"), std::string::npos);
}

TEST_P(BothWays, CutsARequestThatIsLongerThanTheWorkBuffer)
{
    Fetch fetch({Bytes(Ok(0))});
    const std::string path(6000, 'p');
    fetch.request.path = path.c_str();
    EXPECT_EQ(fetch.Run(GetParam()), 0);
    EXPECT_EQ(fetch.transport.sent, ("GET /" + path).substr(0, GetParam().workSize - 1));
}

// ---- Sending ------------------------------------------------------------------------------------

TEST_P(BothWays, GoesOnWithTheRestWhenOnlyAPartWasSent)
{
    Fetch whole({Bytes(Ok(0))});
    whole.Run(GetParam());
    Fetch parts({Bytes(Ok(0))});
    parts.transport.sends = {1, 20, 3};
    parts.Run(GetParam());
    EXPECT_EQ(parts.transport.sent, whole.transport.sent);
    EXPECT_EQ(parts.transport.NumbersOf("send").size(), 4U);
}

TEST_P(BothWays, WaitsOnceForRoomWithTheTimeOut)
{
    Fetch fetch({Bytes(Ok(0))});
    fetch.transport.sends = {10, 10};
    fetch.Run(GetParam());
    EXPECT_EQ(fetch.transport.NumbersOf("writable"), std::vector<int>{kTimeOut});
}

TEST_P(BothWays, ReadsTheAnswerEvenIfNothingCouldBeSent)
{
    Fetch fetch({Bytes(Ok(3) + "abc")});
    fetch.transport.writable = {false};
    EXPECT_EQ(fetch.Run(GetParam()), 3);
    EXPECT_TRUE(fetch.transport.NumbersOf("send").empty());
}

TEST_P(BothWays, StopsSendingAtAnErrorAndReadsTheAnswer)
{
    Fetch fetch({Bytes(Ok(3) + "abc")});
    fetch.transport.sends = {5, -1};
    EXPECT_EQ(fetch.Run(GetParam()), 3);
    EXPECT_EQ(fetch.transport.sent, "GET /");
}

TEST_P(BothWays, StopsSendingWhenASendMovesNothingAndReadsTheAnswer)
{
    Fetch fetch({Bytes(Ok(3) + "abc")});
    fetch.transport.sends = {5, 0};
    EXPECT_EQ(fetch.Run(GetParam()), 3);
    EXPECT_EQ(fetch.transport.sent, "GET /");
}

TEST(DirectGet, SleepsFiveMillisecondsAndRetriesWithoutLimitWhenSendingBlocks)
{
    Fetch fetch({Bytes(Ok(0))});
    fetch.transport.sends.assign(1000, ScriptedTransport::kSendBlocks);
    fetch.Run(kDirect);
    EXPECT_EQ(fetch.transport.NumbersOf("pause"), std::vector<int>(1000, 5));
    EXPECT_EQ(fetch.transport.NumbersOf("writable").size(), 1U);
    EXPECT_EQ(fetch.transport.sent.substr(fetch.transport.sent.size() - 4), "\r\n\r\n");
}

TEST(WorkerGet, WaitsForRoomWithTheTimeOutWhenSendingBlocks)
{
    Fetch fetch({Bytes(Ok(0))});
    fetch.transport.sends = {10, ScriptedTransport::kSendBlocks, ScriptedTransport::kSendBlocks};
    fetch.Run(kWorker);
    EXPECT_EQ(fetch.transport.NumbersOf("writable"), std::vector<int>(3, kTimeOut));
    EXPECT_TRUE(fetch.transport.NumbersOf("pause").empty());
    EXPECT_EQ(fetch.transport.sent.substr(fetch.transport.sent.size() - 4), "\r\n\r\n");
}

TEST(WorkerGet, StopsSendingWhenThatWaitBringsNoRoomAndReadsTheAnswer)
{
    Fetch fetch({Bytes(Ok(3) + "abc")});
    fetch.transport.sends = {5, ScriptedTransport::kSendBlocks};
    fetch.transport.writable = {true, false};
    EXPECT_EQ(fetch.Run(kWorker), 3);
    EXPECT_EQ(fetch.transport.sent, "GET /");
}

// ---- Result codes -------------------------------------------------------------------------------

TEST_P(BothWays, EndsWithMinusTwoWhenItCannotConnect)
{
    Fetch fetch({Bytes(Ok(3) + "abc")});
    fetch.transport.connects = false;
    EXPECT_EQ(fetch.Run(GetParam()), -2);
    EXPECT_EQ(fetch.transport.sent, "");
    EXPECT_EQ(fetch.transport.closes, 1);
}

TEST_P(BothWays, EndsWithMinusThreeWhenNoAnswerComes)
{
    Fetch fetch({Silence(kTimeOut + 1), Bytes(Ok(0))});
    EXPECT_EQ(fetch.Run(GetParam()), -3);
}

TEST_P(BothWays, EndsWithMinusThreeWhenThePeerClosesWithoutAnAnswer)
{
    Fetch fetch({End()});
    EXPECT_EQ(fetch.Run(GetParam()), -3);
}

TEST_P(BothWays, EndsWithMinusThreeWhenTheAnswerHasNoLineEnd)
{
    Fetch fetch({Bytes("HTTP/1.1 200 OK\n\nabc"), End()});
    EXPECT_EQ(fetch.Run(GetParam()), -3);
}

TEST(DirectGet, EndsWithMinusThreeForARefusalWithoutLineEnd)
{
    Fetch fetch({Bytes("HTTP/1.1 401 Unauthorized"), End()});
    EXPECT_EQ(fetch.Run(kDirect), -3);
}

TEST(WorkerGet, EndsWithMinusFourForARefusalWithoutLineEnd)
{
    Fetch fetch({Bytes("HTTP/1.1 401 Unauthorized"), End()});
    EXPECT_EQ(fetch.Run(kWorker), -4);
}

TEST_P(BothWays, EndsWithMinusFourForARefusal)
{
    Fetch fetch({Bytes("HTTP/1.1 401 Unauthorized\r\nContent-Length: 0\r\n\r\n")});
    EXPECT_EQ(fetch.Run(GetParam()), -4);
}

TEST_P(BothWays, EndsWithMinusThreeForAnyOtherStatus)
{
    for (const std::string status : {"404 Not Found", "500 Internal Server Error", "302 Found"})
    {
        Fetch fetch({Bytes("HTTP/1.1 " + status + "\r\nContent-Length: 3\r\n\r\nabc"), End()});
        EXPECT_EQ(fetch.Run(GetParam()), -3) << status;
    }
}

TEST_P(BothWays, TakesAnAnswerThatHoldsBothCodesForA200)
{
    Fetch fetch({Bytes("HTTP/1.1 401 or 200 OK\r\nContent-Length: 3\r\n\r\nabc")});
    EXPECT_EQ(fetch.Run(GetParam()), 3);
}

TEST_P(BothWays, SearchesTheCodesInTheWholeAnswerNotJustItsFirstLine)
{
    Fetch fetch({Bytes("HTTP/1.1 404 Not Found\r\nContent-Length: 3\r\n\r\n 200 "), End()});
    EXPECT_EQ(fetch.Run(GetParam()), 3);
}

TEST(DirectGet, EndsWithZeroForA200WhoseHeadDoesNotEnd)
{
    Fetch fetch({Bytes("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n"), End()});
    EXPECT_EQ(fetch.Run(kDirect), 0);
}

TEST(DirectGet, EndsWithZeroForA200WhoseHeadDoesNotEndEvenWithA401InIt)
{
    Fetch fetch({Bytes("HTTP/1.1 200 OK\r\nX: 401 \r\n"), End()});
    EXPECT_EQ(fetch.Run(kDirect), 0);
}

TEST(WorkerGet, EndsWithMinusThreeForA200WhoseHeadDoesNotEnd)
{
    Fetch fetch({Bytes("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n"), End()});
    EXPECT_EQ(fetch.Run(kWorker), -3);
}

TEST(WorkerGet, EndsWithMinusFourForA200WhoseHeadDoesNotEndAndHasA401InIt)
{
    Fetch fetch({Bytes("HTTP/1.1 200 OK\r\nX: 401 \r\n"), End()});
    EXPECT_EQ(fetch.Run(kWorker), -4);
}

TEST_P(BothWays, EndsWithTheBytesStored)
{
    Fetch fetch({Bytes(Ok(5) + "hello")});
    EXPECT_EQ(fetch.Run(GetParam()), 5);
    EXPECT_EQ(fetch.Stored(), "hello");
}

TEST_P(BothWays, ReportsTheAnnouncedLengthEvenIfLessArrived)
{
    Fetch fetch({Bytes(Ok(100) + "hello"), End()});
    EXPECT_EQ(fetch.Run(GetParam()), 5);
    EXPECT_EQ(fetch.outcome.reported, 100);
}

TEST_P(BothWays, ReportsFourMebibytesWhenNoLengthWasAnnounced)
{
    Fetch fetch({Bytes("HTTP/1.1 200 OK\r\n\r\nhello"), End()});
    EXPECT_EQ(fetch.Run(GetParam()), 5);
    EXPECT_EQ(fetch.outcome.reported, 4194304);
}

TEST_P(BothWays, ReportsANegativeCodeAsItIs)
{
    Fetch fetch({Bytes("HTTP/1.1 401 No\r\n\r\n"), End()});
    fetch.Run(GetParam());
    EXPECT_EQ(fetch.outcome.reported, -4);
}

// ---- Reading the head ---------------------------------------------------------------------------

TEST_P(BothWays, WaitsForTheAnswerWithTheTimeOut)
{
    Fetch fetch({Silence(kTimeOut), Bytes(Ok(3) + "abc")});
    EXPECT_EQ(fetch.Run(GetParam()), 3);
    EXPECT_EQ(fetch.transport.NumbersOf("readable").front(), kTimeOut);
}

TEST_P(BothWays, ReadsAHeadThatComesByteByByte)
{
    std::deque<PeerStep> steps;
    for (const char byte : Ok(3) + "abc")
    {
        steps.push_back(Bytes(std::string(1, byte)));
    }
    Fetch fetch(steps);
    EXPECT_EQ(fetch.Run(GetParam()), 3);
    EXPECT_EQ(fetch.Stored(), "abc");
}

TEST_P(BothWays, BridgesPausesOfUpToASecondInTheHead)
{
    std::deque<PeerStep> steps;
    for (const char byte : Ok(3) + "abc")
    {
        steps.push_back(Bytes(std::string(1, byte)));
        steps.push_back(Silence(1000));
    }
    Fetch fetch(steps);
    EXPECT_EQ(fetch.Run(GetParam()), 3);
}

TEST_P(BothWays, JudgesAHeadByWhatCameBeforeItsFirstLongPause)
{
    Fetch line({Bytes("HTTP/1.1 200 "), Silence(1001), Bytes("OK\r\nContent-Length: 0\r\n\r\n")});
    EXPECT_EQ(line.Run(GetParam()), -3);
    Fetch head({Bytes("HTTP/1.1 200 OK\r\n"), Silence(1001), Bytes("Content-Length: 0\r\n\r\n")});
    EXPECT_EQ(head.Run(GetParam()), GetParam().noHeadEnd);
}

TEST_P(BothWays, WaitsOneSecondForMoreOfTheHead)
{
    Fetch fetch({Bytes("HTTP/1.1 404 Not Found\r\n")});
    fetch.Run(GetParam());
    EXPECT_EQ(fetch.transport.NumbersOf("readable"), (std::vector<int>{kTimeOut, 1000}));
}

TEST_P(BothWays, EndsTheHeadAtTheTenthRetryInARow)
{
    std::deque<PeerStep> steps(10, Block());
    steps.push_back(Bytes(Ok(3) + "abc"));
    Fetch fetch(steps);
    EXPECT_EQ(fetch.Run(GetParam()), -3);
}

TEST_P(BothWays, GoesOnAfterNineRetriesInARow)
{
    std::deque<PeerStep> steps(9, Block());
    steps.push_back(Bytes(Ok(3) + "abc"));
    Fetch fetch(steps);
    EXPECT_EQ(fetch.Run(GetParam()), 3);
}

TEST_P(BothWays, ForgetsRetriesWhenSomethingArrives)
{
    std::deque<PeerStep> steps;
    for (const char byte : Ok(3) + "abc")
    {
        steps.insert(steps.end(), 9, Block());
        steps.push_back(Bytes(std::string(1, byte)));
    }
    Fetch fetch(steps);
    EXPECT_EQ(fetch.Run(GetParam()), 3);
}

TEST_P(BothWays, JudgesWhatArrivedBeforeAReceiveFailed)
{
    Fetch fetch({Bytes(Ok(3) + "ab"), Failure()});
    EXPECT_EQ(fetch.Run(GetParam()), 2);
}

TEST_P(BothWays, ReceivesNoMoreThanOneWorkBufferOfHead)
{
    Fetch fetch({Bytes(Ok(0) + std::string(20000, 'x'))});
    EXPECT_EQ(fetch.Run(GetParam()), 0);
    EXPECT_EQ(fetch.transport.NumbersOf("receive"), std::vector<int>{GetParam().workSize});
}

TEST_P(BothWays, FindsTheEndOfAHeadThatFillsTheWorkBuffer)
{
    Fetch fetch({Bytes(OkHeadOfSize(GetParam().workSize, 3) + "abc")});
    EXPECT_EQ(fetch.Run(GetParam()), 3);
    EXPECT_EQ(fetch.Stored(), "abc");
}

TEST_P(BothWays, MissesTheEndOfAHeadThatIsOneByteLongerThanTheWorkBuffer)
{
    Fetch fetch({Bytes(OkHeadOfSize(GetParam().workSize + 1, 3) + "abc")});
    EXPECT_EQ(fetch.Run(GetParam()), GetParam().noHeadEnd);
}

TEST_P(BothWays, EndsTheTextOfAHeadAtAZeroByte)
{
    const std::string zero(1, '\0');
    Fetch status({Bytes("HTTP/1.1" + zero + " 200 OK\r\n\r\nabc"), End()});
    EXPECT_EQ(status.Run(GetParam()), -3);
    Fetch end({Bytes("HTTP/1.1 200 OK\r\nX: " + zero + "\r\nContent-Length: 3\r\n\r\nabc"), End()});
    EXPECT_EQ(end.Run(GetParam()), GetParam().noHeadEnd);
}

TEST_P(BothWays, GivesTheStatedResultWhereverAnAnswerIsCutOff)
{
    const std::string head = Ok(10);
    const std::string answer = head + "0123456789";
    const std::size_t lineEnd = answer.find("\r\n") + 2;
    for (std::size_t size = 0; size <= answer.size(); ++size)
    {
        Fetch fetch({Bytes(answer.substr(0, size)), End()});
        const int expected = size < lineEnd       ? -3
                             : size < head.size() ? GetParam().noHeadEnd
                                                  : static_cast<int>(size - head.size());
        EXPECT_EQ(fetch.Run(GetParam()), expected) << size;
        EXPECT_EQ(fetch.transport.closes, 1) << size;
        if (expected > 0)
        {
            EXPECT_EQ(fetch.Stored(), answer.substr(head.size(), size - head.size()));
        }
    }
}

// ---- Length and buffer --------------------------------------------------------------------------

TEST_P(BothWays, MakesTheBlockFiveBytesLongerThanTheAnnouncedLength)
{
    Fetch fetch({Bytes(Ok(7) + "sevenbt")});
    fetch.Run(GetParam());
    EXPECT_EQ(fetch.Block(), std::string("sevenbt\0\0\0\0\0", 12));
}

TEST_P(BothWays, AcceptsContentLengthWithASmallL)
{
    Fetch fetch({Bytes("HTTP/1.1 200 OK\r\nContent-length: 3\r\n\r\nabc")});
    EXPECT_EQ(fetch.Run(GetParam()), 3);
    EXPECT_EQ(fetch.body.m_nMemSize, 8U);
}

TEST_P(BothWays, TakesAnyOtherSpellingOfContentLengthForNone)
{
    for (const std::string header : {"content-length: 3", "CONTENT-LENGTH: 3", "Content-Length:3"})
    {
        Fetch fetch({Bytes("HTTP/1.1 200 OK\r\n" + header + "\r\n\r\nabcd"), End()});
        EXPECT_EQ(fetch.Run(GetParam()), 4) << header;
        EXPECT_EQ(fetch.body.m_nMemSize, 4194309U) << header;
    }
}

TEST_P(BothWays, StoresAnEmptyBodyAsFiveZeroBytes)
{
    Fetch fetch({Bytes(Ok(0))});
    EXPECT_EQ(fetch.Run(GetParam()), 0);
    EXPECT_EQ(fetch.Block(), std::string(5, '\0'));
}

TEST_P(BothWays, TakesANegativeLengthForNone)
{
    Fetch fetch({Bytes("HTTP/1.1 200 OK\r\nContent-Length: -5\r\n\r\nabc")});
    EXPECT_EQ(fetch.Run(GetParam()), 0);
    EXPECT_EQ(fetch.outcome.reported, 0);
    EXPECT_EQ(fetch.Block(), std::string(5, '\0'));
}

TEST_P(BothWays, ReadsWithoutAnAnnouncedLengthUntilThePeerCloses)
{
    const std::string body = Noise(30000);
    Fetch fetch({Bytes("HTTP/1.1 200 OK\r\n\r\n" + body), End()});
    EXPECT_EQ(fetch.Run(GetParam()), 30000);
    EXPECT_EQ(fetch.Stored(), body);
    EXPECT_EQ(fetch.body.m_nMemSize, 4194309U);
}

TEST_P(BothWays, ReadsWithoutAnAnnouncedLengthNoMoreThanFourMebibytes)
{
    const std::string body(4194304 + 100, 'x');
    Fetch fetch({Bytes("HTTP/1.1 200 OK\r\n\r\n" + body), End()});
    fetch.transport.isLogging = false;
    EXPECT_EQ(fetch.Run(GetParam()), 4194304);
    EXPECT_EQ(fetch.Block(), std::string(4194304, 'x') + std::string(5, '\0'));
}

TEST_P(BothWays, StoresNoMoreThanTheAnnouncedLength)
{
    Fetch fetch({Bytes(Ok(3) + "abcdefghijklmnop"), Bytes("more"), End()});
    EXPECT_EQ(fetch.Run(GetParam()), 3);
    EXPECT_EQ(fetch.Block(), std::string("abc\0\0\0\0\0", 8));
}

TEST_P(BothWays, EndsAsWithoutAHeadEndWhenTheBlockCannotBeAllocated)
{
    LimitMemory();
    for (const std::string length : {"2147483647", "99999999999"})
    {
        Fetch fetch({Bytes("HTTP/1.1 200 OK\r\nContent-Length: " + length + "\r\n\r\nabc"), End()});
        EXPECT_EQ(fetch.Run(GetParam()), GetParam().noHeadEnd) << length;
        EXPECT_EQ(fetch.body.m_pMem, nullptr);
        EXPECT_EQ(fetch.transport.closes, 1);
    }
}

TEST(WorkerGet, EndsWithMinusFourWhenTheBlockCannotBeAllocatedAndA401IsInTheAnswer)
{
    LimitMemory();
    Fetch fetch({Bytes("HTTP/1.1 200 OK\r\nX: 401 \r\nContent-Length: 2147483647\r\n\r\n"), End()});
    EXPECT_EQ(fetch.Run(kWorker), -4);
}

TEST_P(BothWays, KeepsABlockOfTheSameSize)
{
    Fetch fetch({Bytes(Ok(3) + "abc")});
    unsigned char* const block = fetch.body.m_F_p_MemAlloc(8);
    fetch.Run(GetParam());
    EXPECT_EQ(fetch.body.m_pMem, block);
}

TEST_P(BothWays, ZeroesABlockThatItKeeps)
{
    Fetch fetch({Bytes(Ok(3) + "a"), End()});
    std::memset(fetch.body.m_F_p_MemAlloc(8), '#', 8);
    fetch.Run(GetParam());
    EXPECT_EQ(fetch.Block(), std::string("a\0\0\0\0\0\0\0", 8));
}

TEST_P(BothWays, PreparesTheBlockEvenIfTheHeadDoesNotEnd)
{
    Fetch fetch({Bytes("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n"), End()});
    fetch.Run(GetParam());
    EXPECT_EQ(fetch.Block(), std::string(8, '\0'));
}

TEST_P(BothWays, LeavesTheBufferAloneUnlessTheAnswerIsA200)
{
    for (const std::string answer :
         {"", "HTTP/1.1 200 OK", "HTTP/1.1 401 No\r\n\r\n", "HTTP/1.1 404 No\r\n\r\n"})
    {
        Fetch fetch({Bytes(answer), End()});
        std::memcpy(fetch.body.m_F_p_MemAlloc(4), "kept", 4);
        EXPECT_LT(fetch.Run(GetParam()), 0);
        EXPECT_EQ(fetch.Block(), "kept") << answer;
    }
    Fetch unconnected({});
    unconnected.transport.connects = false;
    std::memcpy(unconnected.body.m_F_p_MemAlloc(4), "kept", 4);
    unconnected.Run(GetParam());
    EXPECT_EQ(unconnected.Block(), "kept");
}

// ---- The body -----------------------------------------------------------------------------------

TEST_P(BothWays, FindsABodyBehindTwoLineFeeds)
{
    Fetch fetch({Bytes("HTTP/1.1 200 OK\r\nContent-Length: 3\n\nabc")});
    EXPECT_EQ(fetch.Run(GetParam()), 3);
    EXPECT_EQ(fetch.Stored(), "abc");
}

TEST_P(BothWays, PrefersAnEmptyLineWithCarriageReturns)
{
    Fetch fetch({Bytes("HTTP/1.1 200 OK\nContent-Length: 3\n\nX: y\r\n\r\nabc")});
    EXPECT_EQ(fetch.Run(GetParam()), 3);
    EXPECT_EQ(fetch.Stored(), "abc");
}

TEST_P(BothWays, StoresZeroBytesOfTheBodyLikeAnyOther)
{
    const std::string body("\0a\0\0b\0", 6);
    Fetch fetch({Bytes(Ok(6) + body)});
    EXPECT_EQ(fetch.Run(GetParam()), 6);
    EXPECT_EQ(fetch.Stored(), body);
}

TEST_P(BothWays, AssemblesABodyOfManyPasses)
{
    const std::string body = Noise(100003);
    Fetch fetch({Bytes(Ok(100003) + body)});
    EXPECT_EQ(fetch.Run(GetParam()), 100003);
    EXPECT_EQ(fetch.Stored(), body);
}

TEST_P(BothWays, AssemblesABodyThatComesInOddPieces)
{
    const std::string body = Noise(20011);
    std::deque<PeerStep> steps = {Bytes(Ok(20011))};
    for (std::size_t start = 0, size = 1; start < body.size();
         start += size, size = size % 997 + 13)
    {
        steps.push_back(Silence(static_cast<int>(size) % 900));
        steps.push_back(Bytes(body.substr(start, size)));
    }
    Fetch fetch(steps);
    EXPECT_EQ(fetch.Run(GetParam()), 20011);
    EXPECT_EQ(fetch.Stored(), body);
}

TEST_P(BothWays, ReceivesInAPassNoMoreThanIsMissing)
{
    const int workSize = GetParam().workSize;
    Fetch fetch({Bytes(OkHeadOfSize(workSize, workSize + 7)),
                 Bytes(std::string(static_cast<std::size_t>(workSize) + 50, 'x'))});
    EXPECT_EQ(fetch.Run(GetParam()), workSize + 7);
    EXPECT_EQ(fetch.transport.NumbersOf("receive"), (std::vector<int>{workSize, workSize, 7}));
}

TEST_P(BothWays, WaitsForEveryPassWithTheTimeOut)
{
    const int workSize = GetParam().workSize;
    Fetch fetch({Bytes(OkHeadOfSize(workSize, workSize + 7)),
                 Bytes(std::string(static_cast<std::size_t>(workSize) + 7, 'x'))});
    fetch.Run(GetParam());
    EXPECT_EQ(fetch.transport.NumbersOf("readable"), std::vector<int>(3, kTimeOut));
}

TEST_P(BothWays, DoesNotWaitForMoreThanTheAnnouncedLength)
{
    Fetch fetch({Bytes(OkHeadOfSize(GetParam().workSize, 3)), Bytes("abc")});
    fetch.Run(GetParam());
    EXPECT_EQ(fetch.transport.NumbersOf("readable"), std::vector<int>(2, kTimeOut));
}

TEST_P(BothWays, BridgesPausesInTheBodyThatStayWithinTheTimeOut)
{
    Fetch fetch({Bytes(Ok(9) + "abc"), Silence(1000 + kTimeOut), Bytes("def"),
                 Silence(1000 + kTimeOut), Bytes("ghi")});
    EXPECT_EQ(fetch.Run(GetParam()), 9);
    EXPECT_EQ(fetch.Stored(), "abcdefghi");
}

TEST_P(BothWays, EndsWithWhatArrivedBeforeAPauseLongerThanTheTimeOut)
{
    Fetch fetch({Bytes(Ok(9) + "abc"), Silence(1000 + kTimeOut + 1), Bytes("def")});
    EXPECT_EQ(fetch.Run(GetParam()), 3);
    EXPECT_EQ(fetch.Block(), "abc" + std::string(11, '\0'));
}

TEST_P(BothWays, EndsWithWhatArrivedBeforeThePeerClosed)
{
    Fetch fetch({Bytes(Ok(9000)), Silence(1500), Bytes("abcdef"), End()});
    EXPECT_EQ(fetch.Run(GetParam()), 6);
}

TEST_P(BothWays, EndsWithWhatArrivedBeforeAReceiveOfTheBodyFailed)
{
    Fetch fetch({Bytes(Ok(9000)), Silence(1500), Bytes("abcdef"), Failure()});
    EXPECT_EQ(fetch.Run(GetParam()), 6);
}

TEST_P(BothWays, CountsRetriesOnFromTheHeadIntoTheBody)
{
    // The fourth retry runs into the pause that ends the head; ten of them end everything.
    std::deque<PeerStep> steps = {Bytes(Ok(3))};
    steps.insert(steps.end(), 4, Block());
    steps.push_back(Silence(1500));
    steps.insert(steps.end(), 5, Block());
    steps.push_back(Bytes("abc"));
    Fetch nine(steps);
    EXPECT_EQ(nine.Run(GetParam()), 3);

    steps.insert(steps.end() - 1, Block());
    Fetch ten(steps);
    EXPECT_EQ(ten.Run(GetParam()), 0);
}

TEST_P(BothWays, StartsNoPassWhenTheHeadUsedUpTheRetries)
{
    std::deque<PeerStep> steps = {Bytes(Ok(3))};
    steps.insert(steps.end(), 10, Block());
    steps.push_back(Bytes("abc"));
    Fetch fetch(steps);
    EXPECT_EQ(fetch.Run(GetParam()), 0);
}

TEST_P(BothWays, ClosesTheConnectionOnceAndLast)
{
    for (const std::string answer : {"", "HTTP/1.1 404 No\r\n\r\n", "HTTP/1.1 401 No\r\n\r\n",
                                     "HTTP/1.1 200 OK\r\n", "HTTP/1.1 200 OK\r\n\r\nabc"})
    {
        Fetch fetch({Bytes(answer), End()});
        fetch.Run(GetParam());
        EXPECT_EQ(fetch.transport.closes, 1) << answer;
        EXPECT_EQ(fetch.transport.calls.back().first, "close") << answer;
    }
}

TEST_P(BothWays, NeitherSendsNorReadsWithANegativeTimeOut)
{
    Fetch fetch({Bytes(Ok(3) + "abc")});
    fetch.request.timeOut = -1;
    EXPECT_EQ(fetch.Run(GetParam()), -3);
    EXPECT_TRUE(fetch.transport.NumbersOf("send").empty());
    EXPECT_TRUE(fetch.transport.NumbersOf("receive").empty());
}
