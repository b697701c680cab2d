#include "net/read_ahead.h"

#include <gtest/gtest.h>

#include <string>

#include "net/response_head.h"
#include "tests/support/scripted_transport.h"

namespace
{

using ostrel::net::IsWholeAnswer;
using ostrel::net::ReadAhead;
using ostrel::net::TransferResult;
using ostrel::test::Bytes;
using ostrel::test::End;
using ostrel::test::ScriptedTransport;
using ostrel::test::Silence;

std::string ReceiveUpTo(ReadAhead& transport, int capacity)
{
    std::string bytes(static_cast<std::size_t>(capacity), '#');
    const TransferResult result = transport.Receive(bytes.data(), capacity);
    EXPECT_FALSE(result.wouldBlock);
    bytes.resize(static_cast<std::size_t>(result.count));
    return bytes;
}

bool IsWhole(const std::string& text)
{
    return IsWholeAnswer(text.data(), text.size());
}

}  // namespace

TEST(ReadAhead, HandsOutWhatOneReceiveBroughtPieceByPiece)
{
    ScriptedTransport peer({Bytes("abcdefg"), End()});
    ReadAhead transport(peer);
    EXPECT_TRUE(transport.WaitReadable(10));
    EXPECT_EQ(ReceiveUpTo(transport, 3), "abc");
    EXPECT_EQ(ReceiveUpTo(transport, 3), "def");
    EXPECT_EQ(ReceiveUpTo(transport, 3), "g");
    EXPECT_EQ(peer.NumbersOf("receive").size(), 1u);
}

TEST(ReadAhead, NeedsNoWaitWhileItHoldsBytes)
{
    ScriptedTransport peer({Bytes("ab"), Silence(1000)});
    ReadAhead transport(peer);
    EXPECT_EQ(ReceiveUpTo(transport, 1), "a");
    EXPECT_TRUE(transport.WaitReadable(10));
    EXPECT_EQ(ReceiveUpTo(transport, 1), "b");
    EXPECT_FALSE(transport.WaitReadable(10));
}

TEST(ReadAhead, PassesOnThatNothingHasCome)
{
    ScriptedTransport peer({Silence(1000), Bytes("a")});
    ReadAhead transport(peer);
    char byte = 0;
    EXPECT_TRUE(transport.Receive(&byte, 1).wouldBlock);
}

TEST(ReadAhead, PassesOnTheEndAfterTheLastByte)
{
    ScriptedTransport peer({Bytes("a"), End()});
    ReadAhead transport(peer);
    EXPECT_EQ(ReceiveUpTo(transport, 8), "a");
    EXPECT_EQ(ReceiveUpTo(transport, 8), "");
}

TEST(WholeAnswer, IsA200WithItsLengthAndItsBody)
{
    EXPECT_TRUE(IsWhole("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabc"));
    EXPECT_TRUE(IsWhole("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabcd"));
    EXPECT_TRUE(IsWhole("HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"));
    EXPECT_TRUE(IsWhole("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\n" + std::string(3, 0)));
}

TEST(WholeAnswer, LacksABodyThatIsNotAllThere)
{
    EXPECT_FALSE(IsWhole("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nab"));
    EXPECT_FALSE(IsWhole("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r"));
    EXPECT_FALSE(IsWhole(""));
}

// In each of these, something that may still come would change the result.
TEST(WholeAnswer, IsNotSeenWhereLaterTextCouldChangeTheResult)
{
    EXPECT_FALSE(IsWhole("HTTP/1.1 401 No\r\nContent-Length: 0\r\n\r\n")) << "a 200 later on";
    EXPECT_FALSE(IsWhole("HTTP/1.1 200 OK\r\nContent-length: 3\r\n\r\nabc"))
        << "the first spelling later on";
    EXPECT_FALSE(IsWhole("HTTP/1.1 200 OK\nContent-Length: 3\n\nabc"))
        << "an empty line with carriage returns later on";
    EXPECT_FALSE(IsWhole("HTTP/1.1 200 OK\r\n\r\nContent-Length: 3"))
        << "more digits of a length that stands in the body";
}
