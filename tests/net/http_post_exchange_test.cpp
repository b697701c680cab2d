#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "net/http_post.h"
#include "tests/support/scripted_transport.h"

namespace net = ostrel::net;
using ostrel::test::Block;
using ostrel::test::Bytes;
using ostrel::test::End;
using ostrel::test::Failure;
using ostrel::test::PeerStep;
using ostrel::test::ScriptedTransport;
using ostrel::test::Silence;

namespace
{

constexpr int kTimeOut = 5000;
constexpr int kWorkSize = 5000;

const std::string kReply = "HTTP/1.0 200 OK\r\nContent-Length: 2\r\n\r\nok";

std::string HeadFor(std::size_t length)
{
    return "POST /upload.cgi HTTP/1.0\r\n"
           "Content-Length: " +
           std::to_string(length) +
           "\r\n"
           "Connection: Keep-Alive\r\n"
           "Host:camera\r\n"
           "Authorization: Basic dXNlcjpzZWNyZXQ=\r\n"
           "\r\n";
}

/// One post to a peer that behaves as written down. The reply buffer has exactly its size, so that
/// the sanitizer sees a byte too many.
struct Post
{
    explicit Post(std::deque<PeerStep> steps, std::string data = "data", int replySize = 200)
        : transport(std::move(steps)),
          data(std::move(data)),
          replySize(replySize),
          reply(new char[static_cast<std::size_t>(replySize)])
    {
        std::fill_n(reply.get(), replySize, '#');
    }

    net::PostRequest Request() const
    {
        return {{"camera", "user", "secret", 8080},
                path.c_str(),
                reinterpret_cast<const unsigned char*>(data.data()),
                static_cast<int>(data.size())};
    }

    int Direct(int timeOut = kTimeOut)
    {
        return copied = net::PostDirectly(Request(), timeOut, transport, {reply.get(), replySize});
    }

    int Split(std::uint32_t piece, std::uint32_t timeOut = kTimeOut)
    {
        return copied = net::PostInPieces(Request(), {timeOut, piece, sent}, transport,
                                          {reply.get(), replySize});
    }

    std::string Reply() const { return std::string(reply.get(), static_cast<std::size_t>(copied)); }

    /// What was sent after the head.
    std::string SentData() const { return transport.sent.substr(HeadFor(data.size()).size()); }

    ScriptedTransport transport;
    std::string data;
    std::string path = "upload.cgi";
    int replySize;
    std::unique_ptr<char[]> reply;
    int sent = 0;
    int copied = 0;
};

struct Variant
{
    const char* name;
    int (*run)(Post& post);
};

class BothPosts : public testing::TestWithParam<Variant>
{
};

INSTANTIATE_TEST_SUITE_P(
    Post, BothPosts,
    testing::Values(Variant{"Direct", [](Post& post) { return post.Direct(); }},
                    Variant{"Split", [](Post& post) { return post.Split(1000000); }}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace

TEST_P(BothPosts, ConnectsToHostAndPortWithTheTimeOut)
{
    Post post({Bytes(kReply), End()});
    GetParam().run(post);
    EXPECT_EQ(post.transport.NumbersOf("connect camera:8080"), std::vector<int>{kTimeOut});
}

TEST_P(BothPosts, SendsExactlyThisHeadAndThenTheData)
{
    Post post({Bytes(kReply), End()});
    GetParam().run(post);
    EXPECT_EQ(post.transport.sent,
              "POST /upload.cgi HTTP/1.0\r\n"
              "Content-Length: 4\r\n"
              "Connection: Keep-Alive\r\n"
              "Host:camera\r\n"
              "Authorization: Basic dXNlcjpzZWNyZXQ=\r\n"
              "\r\n"
              "data");
}

TEST_P(BothPosts, SendsZeroBytesOfTheDataLikeAnyOther)
{
    Post post({Bytes(kReply), End()}, std::string("\0a\0\0b\0", 6));
    GetParam().run(post);
    EXPECT_EQ(post.transport.sent, HeadFor(6) + post.data);
}

TEST_P(BothPosts, GoesOnWithTheRestWhenOnlyAPartWasSent)
{
    Post post({Bytes(kReply), End()}, std::string(1000, 'd'));
    post.transport.sends = {1, 20, 3, 100, 500, 7, 1, 300};
    GetParam().run(post);
    EXPECT_EQ(post.transport.sent, HeadFor(1000) + post.data);
}

TEST_P(BothPosts, WaitsForRoomWithTheTimeOutBeforeTheHeadAndBeforeTheData)
{
    Post post({Bytes(kReply), End()});
    GetParam().run(post);
    EXPECT_EQ(post.transport.NumbersOf("writable"), (std::vector<int>{kTimeOut, kTimeOut}));
}

TEST_P(BothPosts, WaitsForRoomAgainWhenSendingBlocks)
{
    Post post({Bytes(kReply), End()});
    constexpr int kBlocks = ScriptedTransport::kSendBlocks;
    post.transport.sends = {10, kBlocks, kBlocks, 10000, 2, kBlocks};
    GetParam().run(post);
    EXPECT_EQ(post.transport.sent, HeadFor(4) + "data");
    EXPECT_EQ(post.transport.NumbersOf("writable"), std::vector<int>(5, kTimeOut));
}

TEST_P(BothPosts, EndsSendingTheDataWhenThatWaitBringsNoRoom)
{
    Post post({Bytes(kReply), End()});
    post.transport.sends = {10000, 2, ScriptedTransport::kSendBlocks};
    post.transport.writable = {true, true, false};
    post.transport.steps.push_front(Bytes(""));
    GetParam().run(post);
    EXPECT_EQ(post.transport.sent, HeadFor(4) + "da");
}

TEST_P(BothPosts, EndsSendingAtAnErrorAndReadsTheAnswer)
{
    for (const int failure : {-1, 0})
    {
        Post post({Bytes(kReply), End()});
        post.transport.sends = {10000, 2, failure};
        EXPECT_EQ(GetParam().run(post), static_cast<int>(kReply.size()));
        EXPECT_EQ(post.transport.sent, HeadFor(4) + "da");
    }
}

TEST_P(BothPosts, CutsAHeadThatIsLongerThanTheWorkBuffer)
{
    Post post({Bytes(kReply), End()});
    post.path.assign(6000, 'p');
    GetParam().run(post);
    EXPECT_EQ(post.transport.sent, ("POST /" + post.path).substr(0, kWorkSize - 1) + "data");
}

TEST_P(BothPosts, EndsWithMinusTwoWhenItCannotConnect)
{
    Post post({Bytes(kReply), End()});
    post.transport.connects = false;
    EXPECT_EQ(GetParam().run(post), -2);
    EXPECT_EQ(post.transport.sent, "");
    EXPECT_EQ(post.transport.closes, 1);
    EXPECT_EQ(std::string(post.reply.get(), 200), std::string(200, '#'));
}

TEST_P(BothPosts, ClosesTheConnectionOnceAndLast)
{
    for (const std::deque<PeerStep>& steps :
         {std::deque<PeerStep>{Bytes(kReply), End()}, {End()}, {Failure()}, {}})
    {
        Post post(steps);
        GetParam().run(post);
        EXPECT_EQ(post.transport.closes, 1);
        EXPECT_EQ(post.transport.calls.back().first, "close");
    }
}

TEST_P(BothPosts, HandsTheAnswerOnRawWhateverItsStatus)
{
    for (const std::string& answer :
         {kReply, std::string("HTTP/1.0 401 Unauthorized\r\n\r\n"), std::string("no HTTP at all")})
    {
        Post post({Bytes(answer), End()});
        EXPECT_EQ(GetParam().run(post), static_cast<int>(answer.size()));
        EXPECT_EQ(post.Reply(), answer);
    }
}

TEST_P(BothPosts, WritesNoTerminatorAndNothingBeyondTheAnswer)
{
    Post post({Bytes("abc"), End()}, "data", 5);
    EXPECT_EQ(GetParam().run(post), 3);
    EXPECT_EQ(std::string(post.reply.get(), 5), "abc##");
}

TEST_P(BothPosts, CutsAnAnswerLongerThanTheReplyBuffer)
{
    Post post({Bytes("abcdefgh"), End()}, "data", 5);
    EXPECT_EQ(GetParam().run(post), 5);
    EXPECT_EQ(post.Reply(), "abcde");
}

TEST_P(BothPosts, CutsAnAnswerAtItsFirstZeroByte)
{
    Post post({Bytes(std::string("ab\0cd", 5)), End()});
    EXPECT_EQ(GetParam().run(post), 2);
    EXPECT_EQ(post.Reply(), "ab");
}

TEST_P(BothPosts, YieldsZeroForAnAnswerThatBeginsWithAZeroByte)
{
    Post post({Bytes(std::string("\0abc", 4)), End()});
    EXPECT_EQ(GetParam().run(post), 0);
}

TEST_P(BothPosts, YieldsZeroWhenNoAnswerComes)
{
    for (const std::deque<PeerStep>& steps :
         {std::deque<PeerStep>{End()}, {Failure()}, {}, {Silence(kTimeOut + 1), Bytes(kReply)}})
    {
        Post post(steps);
        EXPECT_EQ(GetParam().run(post), 0);
        EXPECT_EQ(std::string(post.reply.get(), 200), std::string(200, '#'));
    }
}

TEST_P(BothPosts, TakesNoMoreOfTheAnswerThanOneWorkBuffer)
{
    Post post({Bytes(std::string(7000, 'r')), End()}, "data", 6000);
    EXPECT_EQ(GetParam().run(post), kWorkSize);
    EXPECT_EQ(post.Reply(), std::string(kWorkSize, 'r'));
    EXPECT_EQ(post.transport.NumbersOf("receive"), std::vector<int>{kWorkSize});
}

TEST_P(BothPosts, CopiesNothingWithoutAReplyBuffer)
{
    for (const int size : {0, -1, -2147483647 - 1})
    {
        Post post({Bytes(kReply), End()});
        post.replySize = size;
        EXPECT_EQ(GetParam().run(post), 0) << size;
        EXPECT_EQ(std::string(post.reply.get(), 200), std::string(200, '#'));
    }
    Post nowhere({Bytes(kReply), End()});
    nowhere.reply = nullptr;
    EXPECT_EQ(GetParam().run(nowhere), 0);
    EXPECT_EQ(nowhere.transport.sent, HeadFor(4) + "data");
}

TEST_P(BothPosts, WaitsForEveryPieceOfTheAnswerWithTheTimeOut)
{
    Post post({Silence(2000), Bytes("ab"), Silence(2000), Bytes("cd"), End()});
    EXPECT_EQ(GetParam().run(post), 4);
    EXPECT_EQ(post.transport.NumbersOf("readable"), (std::vector<int>{kTimeOut, kTimeOut}));
}

TEST_P(BothPosts, HasNoLimitToTheRetriesOfAReceive)
{
    std::deque<PeerStep> steps(100, Block());
    steps.push_back(Bytes("abc"));
    steps.push_back(End());
    Post post(steps);
    EXPECT_EQ(GetParam().run(post), 3);
}

TEST_P(BothPosts, KeepsWhatArrivedBeforeAReceiveFailed)
{
    Post post({Bytes("abc"), Failure()});
    EXPECT_EQ(GetParam().run(post), 3);
}

TEST_P(BothPosts, PutsAnAnswerTogetherThatComesByteByByte)
{
    std::deque<PeerStep> steps;
    for (const char byte : kReply)
    {
        steps.push_back(Bytes(std::string(1, byte)));
        steps.push_back(Block());
    }
    steps.push_back(End());
    Post post(steps);
    GetParam().run(post);
    EXPECT_EQ(post.Reply(), kReply);
}

TEST_P(BothPosts, PostsTheAnswerBufferItself)
{
    Post post({Bytes("HTTP/1.0 200 OK"), End()}, "some data to post", 17);
    post.reply.reset(new char[17]);
    std::copy_n(post.data.begin(), 17, post.reply.get());
    const net::PostRequest request = {{"camera", "user", "secret", 8080},
                                      "upload.cgi",
                                      reinterpret_cast<const unsigned char*>(post.reply.get()),
                                      17};
    EXPECT_EQ(net::PostDirectly(request, kTimeOut, post.transport, {post.reply.get(), 17}), 15);
    EXPECT_EQ(post.SentData(), "some data to post");
}

// ---- Direct -------------------------------------------------------------------------------------

TEST(DirectPost, PausesFiveMillisecondsBetweenHeadAndData)
{
    Post post({Bytes(kReply), End()});
    post.Direct();
    EXPECT_EQ(post.transport.NumbersOf("pause"), std::vector<int>{5});
    const std::size_t head = HeadFor(4).size();
    const std::vector<std::pair<std::string, int>> expected = {{"connect camera:8080", kTimeOut},
                                                               {"writable", kTimeOut},
                                                               {"send", static_cast<int>(head)},
                                                               {"pause", 5},
                                                               {"writable", kTimeOut},
                                                               {"send", 4}};
    ASSERT_GE(post.transport.calls.size(), expected.size());
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), post.transport.calls.begin()));
}

TEST(DirectPost, SendsTheDataEvenIfTheHeadFoundNoRoom)
{
    Post post({Bytes("abc"), End()});
    post.transport.writable = {false, true};
    EXPECT_EQ(post.Direct(), 3);
    EXPECT_EQ(post.transport.sent, "data");
}

TEST(DirectPost, WaitsTheWholeTimeOutHoweverLongItIs)
{
    Post post({Silence(19000), Bytes("abc"), End()});
    EXPECT_EQ(post.Direct(20000), 3);
    EXPECT_EQ(post.transport.NumbersOf("writable"), (std::vector<int>{20000, 20000}));
}

TEST(DirectPost, NeitherSendsNorReadsWithANegativeTimeOut)
{
    Post post({Bytes(kReply), End()});
    EXPECT_EQ(post.Direct(-1), 0);
    EXPECT_EQ(post.transport.sent, "");
    EXPECT_TRUE(post.transport.NumbersOf("receive").empty());
}

TEST(DirectPost, HasNoDeadlineForTheWhole)
{
    std::deque<PeerStep> steps;
    for (int i = 0; i < 10; ++i)
    {
        steps.push_back(Silence(kTimeOut));
        steps.push_back(Bytes("x"));
    }
    steps.push_back(End());
    Post post(steps);
    EXPECT_EQ(post.Direct(), 10);
}

// ---- Split --------------------------------------------------------------------------------------

TEST(SplitPost, DoesNotPauseBetweenHeadAndData)
{
    Post post({Bytes(kReply), End()});
    post.Split(2);
    EXPECT_TRUE(post.transport.NumbersOf("pause").empty());
}

TEST(SplitPost, SendsPiecesOfAtMostTheChunkSize)
{
    Post post({Bytes(kReply), End()}, "0123456789");
    post.Split(4);
    const int head = static_cast<int>(HeadFor(10).size());
    EXPECT_EQ(post.transport.NumbersOf("send"), (std::vector<int>{head, 4, 4, 2}));
    EXPECT_EQ(post.SentData(), "0123456789");
}

TEST(SplitPost, UpdatesTheBytesSentAfterEveryPiece)
{
    // The clock tells how far the count was whenever a send began.
    Post post({Bytes(kReply), End()}, "01234");
    struct Watcher final : net::Transport
    {
        Watcher(Post& post) : post(post) {}
        bool Connect(const char*, int, int) override { return true; }
        bool WaitWritable(net::WaitLimit) override { return true; }
        bool WaitReadable(net::WaitLimit) override { return false; }
        net::TransferResult Send(const char*, int count) override
        {
            seen.push_back(post.sent);
            return {count, false};
        }
        net::TransferResult Receive(char*, int) override { return {0, false}; }
        void Pause(int) override {}
        std::uint32_t Now() const override { return 0; }
        void Close() override {}
        Post& post;
        std::vector<int> seen;
    } watcher(post);
    net::PostInPieces(post.Request(), {kTimeOut, 1, post.sent}, watcher, {nullptr, 0});
    EXPECT_EQ(watcher.seen, (std::vector<int>{0, 0, 1, 2, 3, 4}));
    EXPECT_EQ(post.sent, 5);
}

TEST(SplitPost, CountsOnlyTheDataAsSent)
{
    Post post({Bytes(kReply), End()});
    post.transport.sends = {10000, -1};
    post.Split(2);
    EXPECT_EQ(post.sent, 0);
}

TEST(SplitPost, CountsAPieceThatLeftInPart)
{
    Post post({Bytes(kReply), End()}, "0123456789");
    post.transport.sends = {10000, 4, 3, -1};
    post.Split(4);
    EXPECT_EQ(post.sent, 7);
    EXPECT_EQ(post.SentData(), "0123456");
}

TEST(SplitPost, SendsAllAtOnceWithoutAChunkSize)
{
    Post post({Bytes(kReply), End()}, std::string(100000, 'd'));
    post.Split(0);
    const int head = static_cast<int>(HeadFor(100000).size());
    EXPECT_EQ(post.transport.NumbersOf("send"), (std::vector<int>{head, 100000}));
    EXPECT_EQ(post.sent, 100000);
}

TEST(SplitPost, TakesTheLargestChunkSize)
{
    Post post({Bytes(kReply), End()}, std::string(1000, 'd'));
    post.Split(0xFFFFFFFFU);
    EXPECT_EQ(post.sent, 1000);
}

TEST(SplitPost, WaitsNoLongerThanTenSecondsAtATime)
{
    Post post({Bytes("abc"), Block(), Bytes("d"), End()});
    post.transport.sends = {10, ScriptedTransport::kSendBlocks};
    EXPECT_EQ(post.Split(4, 20000), 4);
    EXPECT_EQ(post.transport.NumbersOf("writable"), std::vector<int>(3, 10000));
    EXPECT_EQ(post.transport.NumbersOf("readable"), std::vector<int>(2, 10000));
    EXPECT_EQ(post.transport.NumbersOf("connect camera:8080"), std::vector<int>{20000});
}

TEST(SplitPost, TakesTheLargestTimeOut)
{
    Post post({Bytes("abc"), End()});
    EXPECT_EQ(post.Split(4, 0xFFFFFFFFU), 3);
    EXPECT_EQ(post.transport.NumbersOf("connect camera:8080"), std::vector<int>{2147483647});
    EXPECT_EQ(post.transport.NumbersOf("readable"), std::vector<int>{10000});
}

TEST(SplitPost, SendsNothingWithATimeOutOfZero)
{
    Post post({Bytes(kReply), End()});
    EXPECT_EQ(post.Split(4, 0), 0);
    EXPECT_EQ(post.transport.sent, "");
    EXPECT_EQ(post.sent, 0);
}

TEST(SplitPost, StopsSendingWhenTheTimeOutHasPassedSinceTheConnect)
{
    Post post({Bytes(kReply), End()}, "0123456789");
    post.transport.now = 0xFFFFFF00U;  // and the clock starts anew meanwhile
    post.transport.transferTime = 100;
    // The head takes the first 100 ms, and a piece may begin until 499.
    EXPECT_EQ(post.Split(1, 500), 0);
    EXPECT_EQ(post.sent, 4);
    EXPECT_EQ(post.SentData(), "0123");
}

TEST(SplitPost, StopsReceivingWhenTheTimeOutHasPassedSinceTheConnect)
{
    std::deque<PeerStep> steps;
    for (const char byte : std::string("0123456789"))
    {
        steps.push_back(Bytes(std::string(1, byte)));
    }
    Post post(steps);
    post.transport.transferTime = 100;
    // Head and data take 200 ms.
    EXPECT_EQ(post.Split(4, 500), 3);
    EXPECT_EQ(post.Reply(), "012");
    EXPECT_EQ(post.sent, 4);
}

TEST(SplitPost, CountsWaitsAgainstTheDeadline)
{
    Post post({Silence(400), Bytes("ab"), Silence(400), Bytes("cd"), Silence(400), Bytes("ef")});
    EXPECT_EQ(post.Split(4, 1000), 4);
}

TEST(SplitPost, LeavesTheSentCountWhereTheDeadlineStoppedIt)
{
    for (std::uint32_t deadline = 1; deadline < 1200; deadline += 7)
    {
        Post post({Bytes(kReply), End()}, "0123456789");
        post.transport.transferTime = 100;
        post.Split(1, deadline);
        const int pieces = static_cast<int>((deadline - 1) / 100);
        EXPECT_EQ(post.sent, std::min(pieces, 10)) << deadline;
    }
}

TEST(SplitPost, StopsSendingWhenAWaitForRoomBringsNone)
{
    Post post({Bytes("abc"), End()}, "0123456789");
    post.transport.sends = {10000, 4, ScriptedTransport::kSendBlocks};
    post.transport.writable = {true, true, false};
    EXPECT_EQ(post.Split(4, kTimeOut), 0);  // that wait used up the time
    EXPECT_EQ(post.sent, 4);
}
