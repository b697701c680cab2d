#include "event_text.h"

#include <gtest/gtest.h>

#include <string>

namespace
{
TEST(EventText, IsTheContentWithoutThePartsOwnHeaders)
{
    EXPECT_EQ(EventText("Content-Type: text/plain\r\nContent-Length: 6\r\n\r\nMotion\r\n"),
              "Motion");
}

TEST(EventText, OfAPartWithoutHeadersIsAllAfterItsEmptyLine)
{
    EXPECT_EQ(EventText("\r\nMotion\r\n\r\nin zone 2\r\n"), "Motion in zone 2");
}

TEST(EventText, IsEmptyWhenThereIsNoContent)
{
    EXPECT_EQ(EventText(""), "");
    EXPECT_EQ(EventText("\r\n"), "");
    EXPECT_EQ(EventText("Content-Type: text/plain\r\n\r\n"), "");
    EXPECT_EQ(EventText("Content-Type: text/plain\r\n"), "");
}

TEST(EventText, OfSeveralLinesIsOneLine)
{
    EXPECT_EQ(EventText("A: b\r\n\r\n{\n  \"celsius\":\t21.5\n}\n"), "{ \"celsius\": 21.5 }");
}

TEST(EventText, HoldsNoControlCharacters)
{
    using namespace std::string_literals;
    EXPECT_EQ(EventText("A: b\r\n\r\n\x1b[31mred\x7f\0end"s), "[31mred end");
}

TEST(EventText, KeepsCharactersBeyondAscii)
{
    EXPECT_EQ(EventText("A: b\r\n\r\n21 \xC2\xB0"
                        "C\r\n"),
              "21 \xC2\xB0"
              "C");
}
}  // namespace
