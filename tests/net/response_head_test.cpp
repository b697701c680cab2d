#include "net/response_head.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace net = ostrel::net;

TEST(ResponseText, EndsAtTheFirstZeroByte)
{
    const std::string received("HTTP\0 200 \r\n", 12);
    EXPECT_EQ(net::ResponseText(received.data(), received.size()), "HTTP");
}

TEST(ResponseText, EndsWithTheHeldBytesWhenThereIsNoZeroByte)
{
    // Exactly as large as its contents: a read past them is an error that the sanitizer reports.
    const std::string text = "HTTP/1.1 200 OK\r\n";
    const std::vector<char> received(text.begin(), text.end());
    EXPECT_EQ(net::ResponseText(received.data(), received.size()), text);
}

TEST(ResponseText, MayBeEmpty)
{
    const char byte = 'x';
    EXPECT_EQ(net::ResponseText(&byte, 0), "");
}

TEST(LineEnd, IsCarriageReturnAndLineFeed)
{
    EXPECT_TRUE(net::HasLineEnd("a\r\nb"));
    EXPECT_FALSE(net::HasLineEnd("a\nb\rc\n\r"));
    EXPECT_FALSE(net::HasLineEnd(""));
}

TEST(Status, IsOkWhenTwoHundredStandsBetweenBlanks)
{
    EXPECT_TRUE(net::SaysOk("HTTP/1.1 200 OK"));
    EXPECT_FALSE(net::SaysOk("HTTP/1.1 200"));
    EXPECT_FALSE(net::SaysOk("HTTP/1.1 2000 "));
    EXPECT_FALSE(net::SaysOk("HTTP/1.1 401 "));
}

TEST(Status, IsUnauthorizedWhenFourHundredAndOneStandsBetweenBlanks)
{
    EXPECT_TRUE(net::SaysUnauthorized("HTTP/1.1 401 Unauthorized"));
    EXPECT_FALSE(net::SaysUnauthorized("HTTP/1.1 401\r\n"));
    EXPECT_FALSE(net::SaysUnauthorized("HTTP/1.1 200 OK"));
}

TEST(AnnouncedLength, IsTheNumberAfterContentLength)
{
    EXPECT_EQ(net::AnnouncedLength("\r\nContent-Length: 1234\r\n"), 1234);
}

TEST(AnnouncedLength, MayBeSpeltWithASmallL)
{
    EXPECT_EQ(net::AnnouncedLength("\r\nContent-length: 77\r\n"), 77);
}

TEST(AnnouncedLength, PrefersTheCapitalLWhereverItStands)
{
    EXPECT_EQ(net::AnnouncedLength("Content-length: 1\r\nContent-Length: 2\r\n"), 2);
}

TEST(AnnouncedLength, IsFourMebibytesInAnyOtherSpelling)
{
    EXPECT_EQ(net::AnnouncedLength("content-length: 5\r\n"), 4194304);
    EXPECT_EQ(net::AnnouncedLength("CONTENT-LENGTH: 5\r\n"), 4194304);
    EXPECT_EQ(net::AnnouncedLength("Content-Length:5\r\n"), 4194304);
    EXPECT_EQ(net::AnnouncedLength(""), 4194304);
}

TEST(AnnouncedLength, CountsAsNoneWhenNegative)
{
    EXPECT_EQ(net::AnnouncedLength("Content-Length: -5\r\n"), 0);
}

TEST(AnnouncedLength, IsNoneWhenTheTextEndsBeforeTheNumber)
{
    EXPECT_EQ(net::AnnouncedLength("Content-Length: "), 0);
    EXPECT_EQ(net::AnnouncedLength("Content-Length: \r\n"), 0);
}

TEST(LeadingNumber, SkipsWhiteSpaceAndTakesASign)
{
    EXPECT_EQ(net::LeadingNumber(" \t\n\v\f\r42"), 42);
    EXPECT_EQ(net::LeadingNumber("+42"), 42);
    EXPECT_EQ(net::LeadingNumber(" -42"), -42);
    EXPECT_EQ(net::LeadingNumber("--42"), 0);
    EXPECT_EQ(net::LeadingNumber("- 42"), 0);
}

TEST(LeadingNumber, IgnoresWhatFollows)
{
    EXPECT_EQ(net::LeadingNumber("12abc"), 12);
    EXPECT_EQ(net::LeadingNumber("12 34"), 12);
    EXPECT_EQ(net::LeadingNumber("0x10"), 0);
}

TEST(LeadingNumber, IsNoneWithoutDigits)
{
    EXPECT_EQ(net::LeadingNumber(""), 0);
    EXPECT_EQ(net::LeadingNumber("   "), 0);
    EXPECT_EQ(net::LeadingNumber("abc"), 0);
    EXPECT_EQ(net::LeadingNumber("-"), 0);
}

TEST(LeadingNumber, StopsAtTheLimitsOfThirtyTwoBits)
{
    EXPECT_EQ(net::LeadingNumber("2147483647"), 2147483647);
    EXPECT_EQ(net::LeadingNumber("2147483648"), 2147483647);
    EXPECT_EQ(net::LeadingNumber("99999999999"), 2147483647);
    EXPECT_EQ(net::LeadingNumber("-2147483648"), -2147483647 - 1);
    EXPECT_EQ(net::LeadingNumber("-2147483649"), -2147483647 - 1);
    EXPECT_EQ(net::LeadingNumber(std::string(1000, '9')), 2147483647);
    EXPECT_EQ(net::LeadingNumber("-" + std::string(1000, '9')), -2147483647 - 1);
}

TEST(BodyStart, IsAfterTheFirstEmptyLine)
{
    EXPECT_EQ(net::BodyStart("ab\r\n\r\ncd\r\n\r\n"), 6U);
    EXPECT_EQ(net::BodyStart("\r\n\r\n"), 4U);
}

TEST(BodyStart, MayBeAfterTwoLineFeeds)
{
    EXPECT_EQ(net::BodyStart("ab\n\ncd"), 4U);
}

TEST(BodyStart, PrefersCarriageReturnsEvenWhenLineFeedsComeFirst)
{
    EXPECT_EQ(net::BodyStart("a\n\nb\r\n\r\nc"), 8U);
}

TEST(BodyStart, IsNowhereWithoutAnEmptyLine)
{
    EXPECT_EQ(net::BodyStart("ab\r\ncd\r\n"), std::string::npos);
    EXPECT_EQ(net::BodyStart("ab\r\n\r"), std::string::npos);
    EXPECT_EQ(net::BodyStart(""), std::string::npos);
}
