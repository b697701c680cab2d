#include "xml/expression.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace
{

using ostrel::xml::IsBroken;

void ExpectBroken(bool isBroken, std::initializer_list<const wchar_t*> expressions)
{
    for (const std::wstring expression : expressions)
    {
        EXPECT_EQ(IsBroken(expression), isBroken)
            << std::string(expression.begin(), expression.end());
    }
}

TEST(BrokenExpression, PassesOrdinaryKeys)
{
    ExpectBroken(false, {L"a", L"a/b", L"/a", L"a//b", L"//a", L"/", L" / ", L".", L"..", L"a/..",
                         L"*", L"a/*", L"a-", L"a.b", L"p:q"});
}

TEST(BrokenExpression, PassesPredicatesFunctionsAndUnions)
{
    ExpectBroken(false, {L"a[1]", L"a[ 1 ]", L"a[b[@k='1']/c]", L"a[@k=\"1\"]", L"text()",
                         L"a[not(@k)]", L"a | b", L"a | /", L"count(a)", L"@k", L"a/@k",
                         L"a[last()]", L"(a | b)[1]", L"a[@k!='1']", L"a[$not$ b]"});
}

TEST(BrokenExpression, SeesNothingInsideQuotes)
{
    ExpectBroken(false, {L"a[.='[']", L"a[.=']/']", L"a[.=\"it's\"]", L"a[.='\"(']", L"'a/'"});
}

TEST(BrokenExpression, LeavesWhatMayBeWrongToTheDom)
{
    ExpectBroken(false, {L"a b", L"1a", L"%", L"a::b", L"a and", L"-"});
}

TEST(BrokenExpression, RefusesNothingAtAll)
{
    ExpectBroken(true, {L"", L" ", L"\t\r\n"});
}

TEST(BrokenExpression, RefusesASlashAtTheEnd)
{
    ExpectBroken(true,
                 {L"a/", L"a/ ", L"a /", L"/a/", L"//", L"a//", L"///", L"../", L"a[1]/", L"'a'/"});
}

TEST(BrokenExpression, RefusesAnEndWhereSomethingHasToFollow)
{
    ExpectBroken(true, {L"@", L"a/@", L"a|", L"a | ", L"a=", L"a<", L"a>=", L"a,", L"a::", L"a:",
                        L"a!", L"$", L"a$and$", L"a&&"});
}

TEST(BrokenExpression, RefusesOpenQuotes)
{
    ExpectBroken(true, {L"'", L"\"", L"a['", L"a[.='1]", L"a[.=\"1']", L"'a''"});
}

TEST(BrokenExpression, RefusesBracketsThatDoNotMatch)
{
    ExpectBroken(true, {L"[", L"]", L"(", L")", L"a[", L"a[1", L"a(", L"not(a", L"a[not(@k]",
                        L"a[)", L"a]", L"a[1]]", L"][", L"a[(1])"});
}

TEST(BrokenExpression, RefusesAnEmptyPredicate)
{
    ExpectBroken(true, {L"a[]", L"a[ ]"});
    EXPECT_FALSE(IsBroken(L"a['']"));
}

// Every short text of the characters that matter, each in memory of just its size.
TEST(BrokenExpression, IsToldOfAnyText)
{
    const std::wstring characters = L"/[](\"a |@";
    std::size_t total = 1;
    for (std::size_t length = 1; length <= 5; ++length)
    {
        total *= characters.size();
        for (std::size_t number = 0; number < total; ++number)
        {
            std::vector<wchar_t> text;
            for (std::size_t rest = number; text.size() < length; rest /= characters.size())
            {
                text.push_back(characters[rest % characters.size()]);
            }
            const std::wstring_view view(text.data(), text.size());
            const std::wstring quoted = L"'" + std::wstring(view) + L"'";
            ASSERT_FALSE(IsBroken(quoted)) << std::string(view.begin(), view.end());
            // One bracket more on one side cannot match, wherever quotes leave it to be seen.
            const bool isBroken = IsBroken(view);
            ASSERT_TRUE(isBroken || IsBroken(std::wstring(view) + L"["));
        }
    }
}

TEST(BrokenExpression, TakesAnyDepth)
{
    const std::wstring open(100000, L'(');
    const std::wstring close(100000, L')');
    EXPECT_FALSE(IsBroken(open + L"a" + close));
    EXPECT_TRUE(IsBroken(open + L"a"));
}

}  // namespace
