#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "net/stream_transfer.h"

namespace net = ostrel::net;
using net::WaitResult;

namespace
{

constexpr int kBlocks = -10035;
constexpr int kError = -1;

/// A connection whose waits, sends and receives come out as written down. What is not written down
/// fails the test.
class WrittenConnection final : public net::StreamConnection
{
public:
    WaitResult WaitWritable(int timeOut) override
    {
        ++writableWaits;
        return Wait(timeOut);
    }

    WaitResult WaitReadable(int timeOut) override
    {
        ++readableWaits;
        return Wait(timeOut);
    }

    net::TransferResult Send(const char* bytes, int count) override
    {
        asked.push_back(count);
        const int taken = std::min(Next(), count);
        if (taken > 0)
        {
            sent.append(bytes, static_cast<std::size_t>(taken));
        }
        return {taken, taken == kBlocks};
    }

    net::TransferResult Receive(char* bytes, int capacity) override
    {
        asked.push_back(capacity);
        const int given = std::min(Next(), capacity);
        if (given > 0)
        {
            std::memset(bytes, 'r', static_cast<std::size_t>(given));
        }
        return {given, given == kBlocks};
    }

    std::deque<WaitResult> waits;  ///< the waits' results, whichever they are for
    std::deque<int> transfers;     ///< what each send or receive moves, or kBlocks, or kError
    std::string sent;
    std::vector<int> asked;  ///< the length of each send or receive
    int writableWaits = 0;
    int readableWaits = 0;

private:
    WaitResult Wait(int timeOut)
    {
        EXPECT_EQ(timeOut, 100);
        if (waits.empty())
        {
            ADD_FAILURE() << "one wait too many";
            return WaitResult::Failed;
        }
        const WaitResult result = waits.front();
        waits.pop_front();
        return result;
    }

    int Next()
    {
        if (transfers.empty())
        {
            ADD_FAILURE() << "one transfer too many";
            return kError;
        }
        const int result = transfers.front();
        transfers.pop_front();
        return result;
    }
};

constexpr int kClient = 0;
constexpr int kListener = 1;
constexpr int kAccepted = 2;

/// Exactly as large as said, so that the sanitizer sees each step outside.
struct Room
{
    explicit Room(int size) : size(size), bytes(new char[static_cast<std::size_t>(size)])
    {
        std::memset(bytes.get(), '#', static_cast<std::size_t>(size));
    }

    std::string Text() const { return std::string(bytes.get(), static_cast<std::size_t>(size)); }

    int size;
    std::unique_ptr<char[]> bytes;
};

int SendAll(WrittenConnection& connection, const std::string& data, int timeOut)
{
    const Room room(static_cast<int>(data.size()));
    std::memcpy(room.bytes.get(), data.data(), data.size());
    return net::SendStream(connection, kClient, room.bytes.get(), room.size, timeOut);
}

int ReceiveInto(WrittenConnection& connection, Room& room, int timeOut)
{
    return net::ReceiveStream(connection, kClient, room.bytes.get(), room.size, timeOut);
}

std::string Zeros(int count)
{
    return std::string(static_cast<std::size_t>(count), '\0');
}

}  // namespace

// ---- Sending ------------------------------------------------------------------------------------

TEST(StreamSend, IsRefusedInAnyRoleButClientAndAccepted)
{
    for (const int role : {kListener, 3, -1, INT_MAX, INT_MIN})
    {
        WrittenConnection connection;
        EXPECT_EQ(net::SendStream(connection, role, "data", 4, 1000), -2) << role;
        EXPECT_EQ(net::SendStream(connection, role, nullptr, 4, 1000), -2) << role;
        EXPECT_EQ(connection.writableWaits, 0);
    }
}

TEST(StreamSend, IsDoneInTheRolesClientAndAccepted)
{
    for (const int role : {kClient, kAccepted})
    {
        WrittenConnection connection;
        connection.waits = {WaitResult::Ready};
        connection.transfers = {4};
        EXPECT_EQ(net::SendStream(connection, role, "data", 4, 1000), 4);
        EXPECT_EQ(connection.sent, "data");
    }
}

TEST(StreamSend, IsRefusedWithoutData)
{
    for (const int timeOut : {1000, 0, -1000})
    {
        WrittenConnection connection;
        EXPECT_EQ(net::SendStream(connection, kClient, nullptr, 4, timeOut), -4);
        EXPECT_EQ(net::SendStream(connection, kClient, nullptr, 0, timeOut), -4);
        EXPECT_EQ(net::SendStream(connection, kClient, nullptr, -1, timeOut), -4);
        EXPECT_EQ(connection.writableWaits, 0);
    }
}

TEST(StreamSend, OfANegativeLengthSendsNothing)
{
    for (const int length : {-1, -1000, INT_MIN})
    {
        for (const int timeOut : {1000, 0, -1000})
        {
            WrittenConnection connection;
            EXPECT_EQ(net::SendStream(connection, kClient, "data", length, timeOut), 0);
            EXPECT_TRUE(connection.asked.empty());
        }
    }
}

TEST(StreamSend, OfNothingReturnsZero)
{
    WrittenConnection connection;
    connection.waits = {WaitResult::Ready};
    connection.transfers = {0};
    EXPECT_EQ(net::SendStream(connection, kClient, "data", 0, 1000), 0);
    EXPECT_EQ(connection.writableWaits, 1);
    EXPECT_EQ(connection.sent, "");
}

TEST(StreamSend, WaitsOnceAndSendsAllThatIsTaken)
{
    WrittenConnection connection;
    connection.waits = {WaitResult::Ready};
    connection.transfers = {10};
    EXPECT_EQ(SendAll(connection, "0123456789", 1000), 10);
    EXPECT_EQ(connection.sent, "0123456789");
    EXPECT_EQ(connection.writableWaits, 1);
    EXPECT_EQ(connection.readableWaits, 0);
}

TEST(StreamSend, SendsNothingWithoutRoomInTheFirstWait)
{
    WrittenConnection connection;
    connection.waits = {WaitResult::TimedOut};
    EXPECT_EQ(SendAll(connection, "0123456789", 1000), 0);
}

TEST(StreamSend, SendsNothingWhenTheFirstWaitFails)
{
    WrittenConnection connection;
    connection.waits = {WaitResult::Failed};
    EXPECT_EQ(SendAll(connection, "0123456789", 1000), 0);
}

TEST(StreamSend, CutAtAnyByteGoesOnWithTheRest)
{
    const std::string data = "0123456789";
    for (int first = 1; first < 10; ++first)
    {
        for (const bool isBlockedBetween : {false, true})
        {
            WrittenConnection connection;
            connection.waits = {WaitResult::Ready, WaitResult::Ready};
            connection.transfers = {first};
            if (isBlockedBetween)
            {
                connection.transfers.push_back(kBlocks);
            }
            connection.transfers.push_back(10);
            EXPECT_EQ(SendAll(connection, data, 1000), 10) << first;
            EXPECT_EQ(connection.sent, data) << first;
            EXPECT_EQ(connection.asked.back(), 10 - first);
            EXPECT_EQ(connection.writableWaits, isBlockedBetween ? 2 : 1);
        }
    }
}

TEST(StreamSend, ByteByByteSendsAll)
{
    WrittenConnection connection;
    connection.waits = {WaitResult::Ready};
    connection.transfers = {1, 1, 1, 1, 1};
    EXPECT_EQ(SendAll(connection, "01234", 100), 5);
    EXPECT_EQ(connection.sent, "01234");
    EXPECT_EQ(connection.asked, (std::vector<int>{5, 4, 3, 2, 1}));
}

TEST(StreamSend, CutAtAnyByteByAnErrorOrAnEndReturnsWhatWasSent)
{
    for (const int last : {kError, 0})
    {
        for (int first = 1; first < 10; ++first)
        {
            WrittenConnection connection;
            connection.waits = {WaitResult::Ready};
            connection.transfers = {first, last};
            EXPECT_EQ(SendAll(connection, "0123456789", 1000), first);
            EXPECT_EQ(connection.sent, std::string("0123456789").substr(0, connection.sent.size()));
        }
        WrittenConnection connection;
        connection.waits = {WaitResult::Ready};
        connection.transfers = {last};
        EXPECT_EQ(SendAll(connection, "0123456789", 1000), 0);
    }
}

TEST(StreamSend, EndsWhenNoRoomComesAfterABlock)
{
    for (const WaitResult second : {WaitResult::TimedOut, WaitResult::Failed})
    {
        WrittenConnection connection;
        connection.waits = {WaitResult::Ready, second};
        connection.transfers = {3, kBlocks};
        EXPECT_EQ(SendAll(connection, "0123456789", 100000), 3);
    }
}

TEST(StreamSend, RetriesAHundredthOfTheTimeOutInARow)
{
    const struct
    {
        int timeOut;
        int retries;
    } cases[] = {{100, 1}, {199, 1}, {200, 2}, {999, 9}, {1000, 10}};
    for (const auto& expected : cases)
    {
        WrittenConnection connection;
        connection.waits.assign(static_cast<std::size_t>(expected.retries) + 1, WaitResult::Ready);
        connection.transfers.assign(static_cast<std::size_t>(expected.retries), kBlocks);
        EXPECT_EQ(SendAll(connection, "0123456789", expected.timeOut), 0) << expected.timeOut;
        EXPECT_TRUE(connection.transfers.empty()) << expected.timeOut;
        EXPECT_TRUE(connection.waits.empty()) << expected.timeOut;
    }
}

TEST(StreamSend, CountsRetriesAnewAfterEachSend)
{
    WrittenConnection connection;
    connection.waits.assign(6, WaitResult::Ready);
    connection.transfers = {kBlocks, 4, kBlocks, 4, kBlocks, 2};
    EXPECT_EQ(SendAll(connection, "0123456789", 200), 10);
    EXPECT_EQ(connection.sent, "0123456789");
}

TEST(StreamSend, ReturnsWhatWasSentWhenTheRetriesRunOut)
{
    WrittenConnection connection;
    connection.waits.assign(4, WaitResult::Ready);
    connection.transfers = {4, kBlocks, kBlocks};
    EXPECT_EQ(SendAll(connection, "0123456789", 200), 4);
    EXPECT_EQ(connection.writableWaits, 3);
}

TEST(StreamSend, OnlyWaitsWithATimeOutBelowAHundred)
{
    for (const int timeOut : {99, 1, 0, -1, -99})
    {
        WrittenConnection connection;
        connection.waits = {WaitResult::Ready};
        EXPECT_EQ(SendAll(connection, "0123456789", timeOut), 0) << timeOut;
        EXPECT_EQ(connection.writableWaits, 1);
        EXPECT_TRUE(connection.asked.empty());
    }
}

TEST(StreamSend, ExceedsItsRetriesWithANegativeTimeOut)
{
    for (const int timeOut : {-100, -1000, INT_MIN})
    {
        for (const WaitResult first : {WaitResult::Ready, WaitResult::TimedOut, WaitResult::Failed})
        {
            WrittenConnection connection;
            connection.waits = {first};
            EXPECT_EQ(SendAll(connection, "0123456789", timeOut), -3) << timeOut;
            EXPECT_EQ(connection.writableWaits, 1);
            EXPECT_TRUE(connection.asked.empty());
        }
    }
}

// ---- Receiving ----------------------------------------------------------------------------------

TEST(StreamReceive, IsRefusedInAnyRoleButClientAndAccepted)
{
    for (const int role : {kListener, 3, -1, INT_MAX, INT_MIN})
    {
        WrittenConnection connection;
        Room room(4);
        EXPECT_EQ(net::ReceiveStream(connection, role, room.bytes.get(), 4, 1000), -2) << role;
        EXPECT_EQ(net::ReceiveStream(connection, role, nullptr, 4, 1000), -2) << role;
        EXPECT_EQ(room.Text(), "####");
        EXPECT_EQ(connection.readableWaits, 0);
    }
}

TEST(StreamReceive, IsDoneInTheRolesClientAndAccepted)
{
    for (const int role : {kClient, kAccepted})
    {
        WrittenConnection connection;
        connection.waits = {WaitResult::Ready};
        connection.transfers = {4};
        Room room(4);
        EXPECT_EQ(net::ReceiveStream(connection, role, room.bytes.get(), 4, 1000), 4);
        EXPECT_EQ(room.Text(), "rrrr");
    }
}

TEST(StreamReceive, IsRefusedWithoutABuffer)
{
    for (const int timeOut : {1000, 0, -1000})
    {
        WrittenConnection connection;
        EXPECT_EQ(net::ReceiveStream(connection, kClient, nullptr, 4, timeOut), -4);
        EXPECT_EQ(net::ReceiveStream(connection, kClient, nullptr, 0, timeOut), -4);
        EXPECT_EQ(net::ReceiveStream(connection, kClient, nullptr, -1, timeOut), -4);
        EXPECT_EQ(connection.readableWaits, 0);
    }
}

TEST(StreamReceive, OfANegativeSizeReadsAndClearsNothing)
{
    for (const int size : {-1, -1000, INT_MIN})
    {
        for (const int timeOut : {1000, 0, -1000})
        {
            WrittenConnection connection;
            Room room(4);
            EXPECT_EQ(net::ReceiveStream(connection, kClient, room.bytes.get(), size, timeOut), 0);
            EXPECT_EQ(room.Text(), "####");
            EXPECT_TRUE(connection.asked.empty());
        }
    }
}

TEST(StreamReceive, OfNoSizeReceivesNothing)
{
    WrittenConnection connection;
    connection.waits = {WaitResult::Ready};
    Room room(4);
    EXPECT_EQ(net::ReceiveStream(connection, kClient, room.bytes.get(), 0, 1000), 0);
    EXPECT_EQ(room.Text(), "####");
    EXPECT_EQ(connection.readableWaits, 1);
}

TEST(StreamReceive, ReturnsWhateverHasArrivedAndNoMore)
{
    for (int count = 1; count <= 10; ++count)
    {
        WrittenConnection connection;
        connection.waits = {WaitResult::Ready};
        connection.transfers = {count};
        Room room(10);
        EXPECT_EQ(ReceiveInto(connection, room, 1000), count);
        EXPECT_EQ(room.Text(),
                  std::string(static_cast<std::size_t>(count), 'r') + Zeros(10 - count));
        EXPECT_EQ(connection.asked, std::vector<int>{10});
        EXPECT_EQ(connection.readableWaits, 1);
        EXPECT_EQ(connection.writableWaits, 0);
    }
}

TEST(StreamReceive, SaysThatNothingArrivedInTheFirstWait)
{
    for (const int timeOut : {1000, 100, 99, 0, -1, -100, INT_MIN})
    {
        WrittenConnection connection;
        connection.waits = {WaitResult::TimedOut};
        Room room(10);
        EXPECT_EQ(ReceiveInto(connection, room, timeOut), -5) << timeOut;
        EXPECT_EQ(room.Text(), Zeros(10));
    }
}

TEST(StreamReceive, ReturnsZeroWhenTheFirstWaitFails)
{
    for (const int timeOut : {1000, 99, 0})
    {
        WrittenConnection connection;
        connection.waits = {WaitResult::Failed};
        Room room(10);
        EXPECT_EQ(ReceiveInto(connection, room, timeOut), 0) << timeOut;
        EXPECT_EQ(room.Text(), Zeros(10));
    }
}

TEST(StreamReceive, ExceedsItsRetriesWithANegativeTimeOut)
{
    for (const int timeOut : {-100, -1000, INT_MIN})
    {
        for (const WaitResult first : {WaitResult::Ready, WaitResult::Failed})
        {
            WrittenConnection connection;
            connection.waits = {first};
            Room room(10);
            EXPECT_EQ(ReceiveInto(connection, room, timeOut), -3) << timeOut;
            EXPECT_EQ(room.Text(), Zeros(10));
            EXPECT_TRUE(connection.asked.empty());
        }
    }
}

TEST(StreamReceive, ReceivesNothingWithATimeOutBelowAHundred)
{
    for (const int timeOut : {99, 1, 0, -1, -99})
    {
        WrittenConnection connection;
        connection.waits = {WaitResult::Ready};
        Room room(10);
        EXPECT_EQ(ReceiveInto(connection, room, timeOut), 0) << timeOut;
        EXPECT_TRUE(connection.asked.empty());
    }
}

TEST(StreamReceive, ReturnsZeroWhenTheConnectionEndsOrFails)
{
    for (const int result : {0, kError})
    {
        WrittenConnection connection;
        connection.waits = {WaitResult::Ready};
        connection.transfers = {result};
        Room room(10);
        EXPECT_EQ(ReceiveInto(connection, room, 1000), 0);
        EXPECT_EQ(room.Text(), Zeros(10));
    }
}

TEST(StreamReceive, TriesAgainWhenItWouldBlock)
{
    for (std::size_t blocks = 1; blocks < 10; ++blocks)
    {
        WrittenConnection connection;
        connection.waits.assign(blocks + 1, WaitResult::Ready);
        connection.transfers.assign(blocks, kBlocks);
        connection.transfers.push_back(7);
        Room room(10);
        EXPECT_EQ(ReceiveInto(connection, room, 1000), 7);
        EXPECT_EQ(connection.asked, std::vector<int>(blocks + 1, 10));
        EXPECT_TRUE(connection.waits.empty());
    }
}

TEST(StreamReceive, RetriesAHundredthOfTheTimeOut)
{
    const struct
    {
        int timeOut;
        int retries;
    } cases[] = {{100, 1}, {199, 1}, {200, 2}, {999, 9}, {1000, 10}};
    for (const auto& expected : cases)
    {
        WrittenConnection connection;
        connection.waits.assign(static_cast<std::size_t>(expected.retries) + 1, WaitResult::Ready);
        connection.transfers.assign(static_cast<std::size_t>(expected.retries), kBlocks);
        Room room(10);
        EXPECT_EQ(ReceiveInto(connection, room, expected.timeOut), 0) << expected.timeOut;
        EXPECT_TRUE(connection.transfers.empty()) << expected.timeOut;
        EXPECT_TRUE(connection.waits.empty()) << expected.timeOut;
    }
}

TEST(StreamReceive, ReturnsZeroWhenNothingComesAfterABlock)
{
    for (const WaitResult second : {WaitResult::TimedOut, WaitResult::Failed})
    {
        WrittenConnection connection;
        connection.waits = {WaitResult::Ready, second};
        connection.transfers = {kBlocks};
        Room room(10);
        EXPECT_EQ(ReceiveInto(connection, room, 1000), 0);
    }
}
