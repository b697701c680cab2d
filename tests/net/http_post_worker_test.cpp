#include <gtest/gtest.h>

#include <deque>
#include <set>
#include <string>
#include <vector>

#include "net/post_worker.h"
#include "tests/support/scripted_transport.h"

namespace net = ostrel::net;
using ostrel::test::PeerStep;
using ostrel::test::ScriptedTransport;

namespace
{

constexpr int kTimeOut = 5000;
const std::string kPrefix = "POST /stream HTTP/1.0\r\nX-Line: 1\r\n";
const std::string kEndlessHead = kPrefix + "Authorization: Basic dXNlcjpzZWNyZXQ=\r\n\r\n";

std::string BlockHead(std::size_t length)
{
    return kPrefix + "Content-Length: " + std::to_string(length) +
           "\r\nAuthorization: Basic dXNlcjpzZWNyZXQ=\r\n\r\n";
}

/// A queue of real items, so that the sanitizer sees what is leaked or read beyond its end.
class Queue final : public net::PostQueue
{
public:
    ~Queue()
    {
        for (unsigned char* item : items)
        {
            net::DeletePostItem(item);
        }
    }

    void Add(const std::string& bytes)
    {
        items.push_back(net::NewPostItem(reinterpret_cast<const unsigned char*>(bytes.data()),
                                         static_cast<std::uint32_t>(bytes.size())));
    }

    bool IsEmpty() override { return items.empty(); }
    net::PostBlock Front() override { return net::BlockOf(items.front()); }
    void RemoveFront() override
    {
        net::DeletePostItem(items.front());
        items.pop_front();
    }

    std::deque<unsigned char*> items;
};

using Loop = void (*)(const net::PostTarget&, net::Transport&, net::PostQueue&, const net::Permit&);

/// A worker that runs until its queue has been empty at so many polls, or for so many pauses.
struct Worker
{
    explicit Worker(Loop loop, int idlePolls = 1) : loop(loop), transport({}), idlePolls(idlePolls)
    {
        transport.onPause = [this]
        {
            ++pauses;
            if (actAfterPauses.count(pauses) > 0)
            {
                act();
            }
            if (queue.IsEmpty() && --this->idlePolls < 0)
            {
                run = false;
            }
            if (pauses >= mostPauses)
            {
                run = false;
            }
        };
    }

    void Run()
    {
        loop({{"camera", "user", "secret", 8080}, kPrefix.c_str(), kTimeOut}, transport, queue,
             net::RunFlag(run));
    }

    Loop loop;
    ScriptedTransport transport;
    Queue queue;
    std::atomic<bool> run{true};
    int idlePolls;
    int pauses = 0;
    int mostPauses = 100000;
    std::set<int> actAfterPauses;
    std::function<void()> act;
};

const Loop kEndless = net::PostInOneRequest;
const Loop kGroup = net::PostInSingleRequests;

class BothWorkers : public testing::TestWithParam<Loop>
{
};

INSTANTIATE_TEST_SUITE_P(Post, BothWorkers, testing::Values(kEndless, kGroup),
                         [](const auto& info)
                         { return std::string(info.param == kEndless ? "Endless" : "Group"); });

}  // namespace

// ---- Items --------------------------------------------------------------------------------------

TEST(PostItem, IsItsCountAndThenItsBytes)
{
    const unsigned char bytes[] = {1, 0, 255};
    unsigned char* const item = net::NewPostItem(bytes, 3);
    std::uint32_t count = 0;
    std::memcpy(&count, item, 4);
    EXPECT_EQ(count, 3U);
    EXPECT_EQ(std::memcmp(item + 4, bytes, 3), 0);
    net::DeletePostItem(item);
}

TEST(PostItem, MayBeEmpty)
{
    unsigned char* const item = net::NewPostItem(nullptr, 0);
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(net::BlockOf(item).length, 0U);
    net::DeletePostItem(item);
}

TEST(PostItem, MadeByAnotherIsRead)
{
    auto* const item = new unsigned char[6]{2, 0, 0, 0, 'a', 'b'};
    const net::PostBlock block = net::BlockOf(item);
    EXPECT_EQ(std::string(block.bytes, block.length), "ab");
    net::DeletePostItem(item);
}

TEST(PostItem, NullHoldsNothing)
{
    EXPECT_EQ(net::BlockOf(nullptr).length, 0U);
    net::DeletePostItem(nullptr);
}

// ---- Both workers -------------------------------------------------------------------------------

TEST_P(BothWorkers, CloseTheConnectionAtTheEnd)
{
    Worker worker(GetParam());
    worker.queue.Add("abc");
    worker.Run();
    EXPECT_EQ(worker.transport.calls.back().first, "close");
}

TEST_P(BothWorkers, CloseAnOldConnectionBeforeTheyMakeAnother)
{
    Worker worker(GetParam());
    worker.queue.Add("abc");
    worker.Run();
    const auto& calls = worker.transport.calls;
    for (std::size_t i = 0; i < calls.size(); ++i)
    {
        if (calls[i].first.rfind("connect", 0) == 0)
        {
            ASSERT_GT(i, 0U);
            EXPECT_EQ(calls[i - 1].first, "close");
        }
    }
}

TEST_P(BothWorkers, TryToConnectEveryHundredMillisecondsAndKeepTheQueue)
{
    Worker worker(GetParam());
    worker.queue.Add("abc");
    worker.transport.connects = false;
    worker.mostPauses = 7;
    worker.Run();
    EXPECT_EQ(worker.transport.NumbersOf("pause"), std::vector<int>(7, 100));
    EXPECT_EQ(worker.transport.NumbersOf("connect camera:8080"), std::vector<int>(7, kTimeOut));
    EXPECT_EQ(worker.queue.items.size(), 1U);
    EXPECT_EQ(worker.transport.sent, "");
    EXPECT_EQ(worker.transport.calls.back().first, "close");
}

TEST_P(BothWorkers, SendTheBlocksInOrderOnceTheyCanConnect)
{
    Worker worker(GetParam());
    worker.queue.Add("first");
    worker.queue.Add("second");
    worker.transport.connects = false;
    worker.actAfterPauses = {3};
    worker.act = [&] { worker.transport.connects = true; };
    worker.Run();
    EXPECT_EQ(worker.transport.sent, GetParam() == kEndless
                                         ? kEndlessHead + "firstsecond"
                                         : BlockHead(5) + "first" + BlockHead(6) + "second");
    EXPECT_TRUE(worker.queue.IsEmpty());
}

TEST_P(BothWorkers, PollTheQueueEveryTwoMilliseconds)
{
    Worker worker(GetParam(), 5);
    worker.Run();
    EXPECT_EQ(worker.transport.NumbersOf("pause"), std::vector<int>(6, 2));
}

TEST_P(BothWorkers, SendABlockThatComesLater)
{
    Worker worker(GetParam(), 20);
    worker.actAfterPauses = {10, 15};
    worker.act = [&] { worker.queue.Add("late"); };
    worker.Run();
    EXPECT_EQ(worker.transport.sent, GetParam() == kEndless
                                         ? kEndlessHead + "latelate"
                                         : BlockHead(4) + "late" + BlockHead(4) + "late");
}

TEST_P(BothWorkers, WaitForRoomWithTheTimeOut)
{
    Worker worker(GetParam());
    worker.queue.Add("abc");
    worker.Run();
    EXPECT_EQ(worker.transport.NumbersOf("writable"), (std::vector<int>{kTimeOut, kTimeOut}));
}

TEST_P(BothWorkers, SleepFiveMillisecondsAndRetryWhenSendingBlocks)
{
    Worker worker(GetParam());
    worker.queue.Add("abc");
    worker.transport.sends = {5, ScriptedTransport::kSendBlocks, 10000, 1};
    worker.transport.sends.insert(worker.transport.sends.end(), 50, ScriptedTransport::kSendBlocks);
    worker.Run();
    const std::vector<int> pauses = worker.transport.NumbersOf("pause");
    ASSERT_GE(pauses.size(), 51U);
    EXPECT_EQ(std::vector<int>(pauses.begin(), pauses.begin() + 51), std::vector<int>(51, 5));
    EXPECT_EQ(worker.transport.sent,
              (GetParam() == kEndless ? kEndlessHead : BlockHead(3)) + "abc");
}

TEST_P(BothWorkers, DropABlockWhoseSendingFails)
{
    for (const int failure : {-1, 0})
    {
        Worker worker(GetParam());
        worker.queue.Add("first");
        worker.queue.Add("second");
        worker.transport.sends = {10000, 2, failure};
        worker.Run();
        EXPECT_EQ(worker.transport.sent, GetParam() == kEndless
                                             ? kEndlessHead + "fisecond"
                                             : BlockHead(5) + "fi" + BlockHead(6) + "second");
        EXPECT_TRUE(worker.queue.IsEmpty());
    }
}

TEST_P(BothWorkers, DropABlockForWhichThereIsNoRoom)
{
    Worker worker(GetParam());
    worker.queue.Add("first");
    worker.queue.Add("second");
    worker.transport.writable = {true, false, true, true};
    worker.Run();
    EXPECT_EQ(worker.transport.sent, GetParam() == kEndless
                                         ? kEndlessHead + "second"
                                         : BlockHead(5) + BlockHead(6) + "second");
    EXPECT_TRUE(worker.queue.IsEmpty());
}

TEST_P(BothWorkers, CutAHeadThatIsLongerThanTheWorkBuffer)
{
    Worker worker(GetParam());
    worker.queue.Add("abc");
    const std::string prefix(2000, 'p');
    worker.loop({{"camera", "user", "secret", 8080}, prefix.c_str(), kTimeOut}, worker.transport,
                worker.queue, net::RunFlag(worker.run));
    EXPECT_EQ(worker.transport.sent, std::string(999, 'p') + "abc");
}

TEST_P(BothWorkers, ReadNoAnswer)
{
    Worker worker(GetParam());
    worker.queue.Add("abc");
    worker.transport.steps = {ostrel::test::Bytes("HTTP/1.0 200 OK\r\n\r\n")};
    worker.Run();
    EXPECT_TRUE(worker.transport.NumbersOf("readable").empty());
    EXPECT_TRUE(worker.transport.NumbersOf("receive").empty());
}

TEST_P(BothWorkers, SendAThousandBlocksInOrder)
{
    Worker worker(GetParam());
    std::string expected = GetParam() == kEndless ? kEndlessHead : "";
    for (int i = 0; i < 1000; ++i)
    {
        const std::string block = std::to_string(i) + std::string(static_cast<std::size_t>(i), 'x');
        worker.queue.Add(block);
        expected += (GetParam() == kGroup ? BlockHead(block.size()) : "") + block;
    }
    worker.transport.sends.assign(500, 17);
    worker.Run();
    EXPECT_TRUE(worker.transport.sent == expected);
}

TEST_P(BothWorkers, DoNothingOnceTheFlagIsDown)
{
    Worker worker(GetParam());
    worker.queue.Add("abc");
    worker.run = false;
    worker.Run();
    EXPECT_EQ(worker.transport.sent, "");
    EXPECT_TRUE(worker.transport.NumbersOf("connect camera:8080").empty());
    EXPECT_EQ(worker.transport.calls.back().first, "close");
    EXPECT_EQ(worker.queue.items.size(), 1U);
}

// ---- One request --------------------------------------------------------------------------------

TEST(EndlessWorker, SendsOneHeadWithTheAuthorisationAloneAndThenTheBlocks)
{
    Worker worker(kEndless);
    worker.queue.Add("one");
    worker.queue.Add("two");
    worker.queue.Add("three");
    worker.Run();
    EXPECT_EQ(worker.transport.sent,
              "POST /stream HTTP/1.0\r\nX-Line: 1\r\n"
              "Authorization: Basic dXNlcjpzZWNyZXQ=\r\n"
              "\r\n"
              "onetwothree");
    EXPECT_EQ(worker.transport.NumbersOf("connect camera:8080").size(), 1U);
}

TEST(EndlessWorker, SendsTheHeadBeforeThereIsABlock)
{
    Worker worker(kEndless);
    worker.Run();
    EXPECT_EQ(worker.transport.sent, kEndlessHead);
}

TEST(EndlessWorker, PausesTwoMillisecondsAfterEveryBlock)
{
    Worker worker(kEndless, 0);
    worker.queue.Add("one");
    worker.queue.Add("two");
    worker.Run();
    EXPECT_EQ(worker.transport.NumbersOf("pause"), (std::vector<int>{2, 2}));
}

TEST(EndlessWorker, SendsNothingForAnEmptyBlock)
{
    Worker worker(kEndless);
    worker.queue.Add("one");
    worker.queue.Add("");
    worker.queue.Add("two");
    worker.Run();
    EXPECT_EQ(worker.transport.sent, kEndlessHead + "onetwo");
    EXPECT_EQ(worker.transport.NumbersOf("send").size(), 3U);
}

TEST(EndlessWorker, GoesOnWithTheBlocksWhenTheHeadFoundNoRoom)
{
    Worker worker(kEndless);
    worker.queue.Add("one");
    worker.transport.writable = {false};
    worker.Run();
    EXPECT_EQ(worker.transport.sent, "one");
}

TEST(EndlessWorker, DropsEveryBlockWhenTheConnectionIsGoneAndDoesNotConnectAgain)
{
    Worker worker(kEndless);
    for (int i = 0; i < 20; ++i)
    {
        worker.queue.Add("block");
    }
    worker.transport.sends.assign(100, -1);
    worker.Run();
    EXPECT_TRUE(worker.queue.IsEmpty());
    EXPECT_EQ(worker.transport.NumbersOf("connect camera:8080").size(), 1U);
}

TEST(EndlessWorker, SendsABlockThatItBeganEvenIfTheFlagGoesDown)
{
    Worker worker(kEndless);
    worker.queue.Add("block");
    worker.transport.sends = {10000, 2, ScriptedTransport::kSendBlocks};
    worker.mostPauses = 1;
    worker.Run();
    EXPECT_EQ(worker.transport.sent, kEndlessHead + "block");
}

// ---- One request for each block -----------------------------------------------------------------

TEST(GroupWorker, MakesAConnectionForEveryBlock)
{
    Worker worker(kGroup);
    worker.queue.Add("one");
    worker.queue.Add("two");
    worker.Run();
    EXPECT_EQ(worker.transport.sent,
              "POST /stream HTTP/1.0\r\nX-Line: 1\r\n"
              "Content-Length: 3\r\n"
              "Authorization: Basic dXNlcjpzZWNyZXQ=\r\n"
              "\r\n"
              "one"
              "POST /stream HTTP/1.0\r\nX-Line: 1\r\n"
              "Content-Length: 3\r\n"
              "Authorization: Basic dXNlcjpzZWNyZXQ=\r\n"
              "\r\n"
              "two");
    EXPECT_EQ(worker.transport.NumbersOf("connect camera:8080").size(), 2U);
}

TEST(GroupWorker, ConnectsOnlyWhenThereIsABlock)
{
    Worker worker(kGroup);
    worker.Run();
    EXPECT_TRUE(worker.transport.NumbersOf("connect camera:8080").empty());
}

TEST(GroupWorker, LeavesTheConnectionOpenUntilTheNextBlock)
{
    Worker worker(kGroup, 30);
    worker.queue.Add("one");
    worker.actAfterPauses = {20};
    worker.act = [&]
    {
        EXPECT_EQ(worker.transport.closes, 1);  // the one before the first connect
        worker.queue.Add("two");
    };
    worker.Run();
    EXPECT_EQ(worker.transport.closes, 3);
}

TEST(GroupWorker, PausesFiveMillisecondsAfterEveryBlock)
{
    Worker worker(kGroup, 0);
    worker.queue.Add("one");
    worker.queue.Add("two");
    worker.Run();
    EXPECT_EQ(worker.transport.NumbersOf("pause"), (std::vector<int>{5, 5}));
}

TEST(GroupWorker, SendsAnEmptyBodyForAnEmptyBlock)
{
    Worker worker(kGroup);
    worker.queue.Add("");
    worker.Run();
    EXPECT_EQ(worker.transport.sent, BlockHead(0));
    EXPECT_TRUE(worker.queue.IsEmpty());
}

TEST(GroupWorker, StopsSendingAtOnceWhenTheFlagGoesDown)
{
    // In the head, and in the block.
    for (const std::size_t sentBefore : {std::size_t{5}, BlockHead(5).size() + 2})
    {
        Worker worker(kGroup);
        worker.queue.Add("block");
        worker.transport.sends = {static_cast<int>(std::min(sentBefore, BlockHead(5).size()))};
        if (sentBefore > BlockHead(5).size())
        {
            worker.transport.sends.push_back(2);
        }
        worker.transport.sends.push_back(ScriptedTransport::kSendBlocks);
        worker.mostPauses = 1;
        worker.Run();
        EXPECT_EQ(worker.transport.sent, (BlockHead(5) + "block").substr(0, sentBefore));
        EXPECT_EQ(worker.queue.items.size(), 1U) << "it is the stop that frees it";
    }
}
