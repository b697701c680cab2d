#include "sysutil/hex_text.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/sysutil/hex_text_model.h"

namespace
{

using ostrel::sysutil::ReadHexText;
using ostrel::sysutil::WriteHexText;
using Bytes = std::vector<unsigned char>;

std::wstring Written(const Bytes& bytes)
{
    // Of the exact size, so that a character too much is noticed.
    const std::unique_ptr<wchar_t[]> text(new wchar_t[2 * bytes.size()]);
    WriteHexText(bytes.data(), bytes.size(), text.get());
    return {text.get(), 2 * bytes.size()};
}

Bytes Read(const std::string& text, std::size_t room)
{
    // Both of the exact size, without a terminator.
    const std::unique_ptr<char[]> exactText(new char[text.size()]);
    text.copy(exactText.get(), text.size());
    const std::unique_ptr<unsigned char[]> bytes(new unsigned char[room]);
    const std::size_t count = ReadHexText({exactText.get(), text.size()}, bytes.get(), room);
    EXPECT_LE(count, room);
    return {bytes.get(), bytes.get() + count};
}

TEST(HexText, BytesAreTwoCapitalDigitsEachHighNibbleFirst)
{
    EXPECT_EQ(Written({0x0A, 0xFF}), L"0AFF");
    EXPECT_EQ(Written({0x00, 0x7F, 0xA5}), L"007FA5");
    EXPECT_EQ(Written({0xBC, 0xDE, 0x12}), L"BCDE12");
}

TEST(HexText, NoBytesAreNoText)
{
    EXPECT_EQ(Written({}), L"");
}

TEST(HexText, EveryByteSurvivesBothWays)
{
    Bytes all;
    for (int i = 0; i < 256; ++i)
    {
        all.push_back(static_cast<unsigned char>(i));
    }
    const std::wstring text = Written(all);
    EXPECT_EQ(Read(std::string(text.begin(), text.end()), 256), all);
}

TEST(HexText, DigitsOfEitherCaseAreRead)
{
    EXPECT_EQ(Read("0aff", 9), (Bytes{0x0A, 0xFF}));
    EXPECT_EQ(Read("0AfFcDeB", 9), (Bytes{0x0A, 0xFF, 0xCD, 0xEB}));
}

TEST(HexText, NoMoreIsWrittenThanThereIsRoomFor)
{
    EXPECT_EQ(Read("0aff", 1), (Bytes{0x0A}));
    EXPECT_EQ(Read("0aff", 0), (Bytes{}));
}

TEST(HexText, APairThatStartsWithNoDigitGivesZero)
{
    EXPECT_EQ(Read("g5zzx1..:9", 9), (Bytes{0, 0, 0, 0, 0}));
}

TEST(HexText, APairWithOneDigitBeforeSomethingElseGivesThatDigit)
{
    EXPECT_EQ(Read("5gF.0x9 ", 9), (Bytes{5, 15, 0, 9}));
}

TEST(HexText, BlankAndSignsAreReadAsByTheRunTime)
{
    EXPECT_EQ(Read(" 5+A-1 - \t7", 9), (Bytes{5, 10, 0xFF, 0, 0, 7}));
}

TEST(HexText, OfAnOddNumberTheLastCharacterGivesItsOwnValue)
{
    EXPECT_EQ(Read("0af", 9), (Bytes{0x0A, 0x0F}));
    EXPECT_EQ(Read("7", 9), (Bytes{7}));
    EXPECT_EQ(Read("x", 9), (Bytes{0}));
}

TEST(HexText, ANullCharacterEndsTheTextOnlyWhereAPairBegins)
{
    EXPECT_EQ(Read(std::string("12\00034", 5), 9), (Bytes{0x12}));
    EXPECT_EQ(Read(std::string("1\0"
                               "34",
                               4),
                   9),
              (Bytes{0x01, 0x34}));
    EXPECT_EQ(Read(std::string("\0"
                               "1234",
                               5),
                   9),
              (Bytes{}));
}

TEST(HexText, EveryPairOfCharactersGivesWhatItsDigitsComeTo)
{
    for (int first = 1; first < 256; ++first)
    {
        for (int second = 0; second < 256; ++second)
        {
            const std::string pair = {static_cast<char>(first), static_cast<char>(second)};
            ASSERT_EQ(Read(pair, 1), (Bytes{ostrel::test::HexByte(pair)}))
                << first << ' ' << second;
        }
    }
}

TEST(HexText, LongTextsSurviveBothWays)
{
    Bytes bytes(1000003);
    unsigned int state = 1;
    for (unsigned char& byte : bytes)
    {
        state = state * 1664525 + 1013904223;
        byte = static_cast<unsigned char>(state >> 24);
    }
    const std::wstring text = Written(bytes);
    EXPECT_EQ(Read(std::string(text.begin(), text.end()), bytes.size()), bytes);
}

}  // namespace
