#include "net/multipart_part.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace net = ostrel::net;

namespace
{

std::string Boundary(const std::string& head)
{
    return std::string(net::DeclaredBoundary(head));
}

/// The part in a block of exactly this size, so that the sanitizer sees a read beyond it.
std::string Part(const std::string& held, const std::string& boundary, std::size_t from = 0)
{
    const std::unique_ptr<char[]> block(new char[held.size()]);
    held.copy(block.get(), held.size());
    const std::string_view view(block.get(), held.size());
    const net::PartPlace place = net::FindPart(view, boundary, from);
    return place.isComplete ? std::string(view.substr(place.start, place.length)) : "(none)";
}

}  // namespace

TEST(DeclaredBoundary, KeepsTheTwoCharactersThatFollowIt)
{
    EXPECT_EQ(Boundary("HTTP/1.0 200 OK\r\nContent-Type: multipart/mixed;boundary=abc\r\n\r\n"),
              "abc\r\n");
    EXPECT_EQ(Boundary("boundary=abc\rXYZ\r\n\r\n"), "abc\rX");
}

TEST(DeclaredBoundary, RunsToTheNextCarriageReturnWhateverStandsBetween)
{
    EXPECT_EQ(Boundary("boundary=\"a b\"; charset=x\r\n\r\n"), "\"a b\"; charset=x\r\n");
    EXPECT_EQ(Boundary("boundary=a\nb\r\n\r\n"), "a\nb\r\n");
}

TEST(DeclaredBoundary, IsTheFirstThatIsDeclared)
{
    EXPECT_EQ(Boundary("boundary=a\r\nboundary=b\r\n\r\n"), "a\r\n");
}

TEST(DeclaredBoundary, MayHaveNoCharactersOfItsOwn)
{
    EXPECT_EQ(Boundary("boundary=\r\n\r\n"), "\r\n");
}

TEST(DeclaredBoundary, IsEmptyWithoutADeclaration)
{
    EXPECT_EQ(Boundary("HTTP/1.0 200 OK\r\nContent-Type: text/plain\r\n\r\n"), "");
    EXPECT_EQ(Boundary("Boundary=abc\r\n\r\n"), "");
    EXPECT_EQ(Boundary(""), "");
}

TEST(DeclaredBoundary, IsEmptyWithoutALineEndAndTwoCharactersInIt)
{
    EXPECT_EQ(Boundary("boundary=abc"), "");
    EXPECT_EQ(Boundary("boundary=abc\n\n"), "");
    EXPECT_EQ(Boundary("boundary=abc\r"), "");
    EXPECT_EQ(Boundary("boundary="), "");
}

TEST(FindPart, TakesAllFromADelimiterLineToTheHyphensOfTheNext)
{
    EXPECT_EQ(Part("--abc\r\nType: x\r\n\r\ncontent\r\n--abc\r\n", "abc\r\n"),
              "Type: x\r\n\r\ncontent\r\n");
}

TEST(FindPart, EndsTwoBytesBeforeTheNextBoundaryWhateverTheseAre)
{
    EXPECT_EQ(Part("abc\r\ncontentabc\r\n", "abc\r\n"), "conte");
}

TEST(FindPart, DoesNotMatchTheClosingDelimiter)
{
    EXPECT_EQ(Part("--abc\r\ncontent\r\n--abc--\r\n", "abc\r\n"), "(none)");
}

TEST(FindPart, NeedsTwoDelimiters)
{
    const std::string held = "--abc\r\ncontent\r\n--abc\r\n";
    for (std::size_t size = 0; size < held.size(); ++size)
    {
        EXPECT_EQ(Part(held.substr(0, size), "abc\r\n"), "(none)") << size;
    }
    EXPECT_EQ(Part(held, "abc\r\n"), "content\r\n");
}

TEST(FindPart, SearchesFromTheGivenPlaceOn)
{
    const std::string held = "boundary=abc\r\n\r\n--abc\r\none\r\n--abc\r\n";
    EXPECT_EQ(Part(held, "abc\r\n", 16), "one\r\n");
    EXPECT_EQ(Part(held, "abc\r\n", 19), "(none)");
}

TEST(FindPart, FindsNothingFromAPlaceBeyondTheEnd)
{
    EXPECT_EQ(Part("abc\r\nxxabc\r\n", "abc\r\n", 100), "(none)");
}

TEST(FindPart, HoldsBytesOfEveryValue)
{
    std::string content;
    for (int value = 0; value < 256; ++value)
    {
        content += static_cast<char>(value);
    }
    EXPECT_EQ(Part("--abc\r\n" + content + "--abc\r\n", "abc\r\n"), content);
}

TEST(FindPart, IsEmptyBetweenDelimitersWithTwoBytesOrFewerBetweenThem)
{
    for (const std::string between : {"--", "-", ""})
    {
        const net::PartPlace place = net::FindPart("--abc\r\n" + between + "abc\r\n", "abc\r\n", 0);
        EXPECT_TRUE(place.isComplete);
        EXPECT_EQ(place.start, 7U);
        EXPECT_EQ(place.length, 0U);
        EXPECT_EQ(place.End(), 7U);
    }
}

TEST(FindPart, DoesNotTakeOneBoundaryForTwo)
{
    // The second would begin inside the first.
    EXPECT_EQ(Part("\r\r\r", "\r\r"), "(none)");
    EXPECT_EQ(Part("\r\r\r\r", "\r\r"), "");
}
