#include "xml/node_path.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace
{

using ostrel::xml::BelowDocumentElement;
using ostrel::xml::TakeComponent;

using Components = std::vector<std::wstring>;

Components ComponentsOf(std::wstring_view path)
{
    Components components;
    for (std::wstring_view component = TakeComponent(path); !component.empty();
         component = TakeComponent(path))
    {
        components.emplace_back(component);
    }
    EXPECT_TRUE(path.empty());
    return components;
}

/// One field of a text after the other, as the framework's AfxExtractSubString gives them.
bool ExtractField(const std::wstring& text, int index, std::wstring& field)
{
    std::wstring::size_type start = 0;
    for (; index > 0; --index)
    {
        start = text.find(L'/', start);
        if (start == std::wstring::npos)
        {
            return false;
        }
        ++start;
    }
    field = text.substr(start, text.find(L'/', start) - start);
    return true;
}

/// Calls with every text of at most so many of these characters.
template <class Call>
void ForEveryText(const std::wstring& characters, std::size_t length, const std::wstring& beginning,
                  Call call)
{
    call(beginning);
    if (length > 0)
    {
        for (const wchar_t character : characters)
        {
            ForEveryText(characters, length - 1, beginning + character, call);
        }
    }
}

TEST(KeyBelowTheDocumentElement, LeavesAPlainKeyAsItIs)
{
    EXPECT_EQ(BelowDocumentElement(L"a/b"), L"a/b");
    EXPECT_EQ(BelowDocumentElement(L"a"), L"a");
    EXPECT_EQ(BelowDocumentElement(L"a//b/"), L"a//b/");
}

TEST(KeyBelowTheDocumentElement, DropsTheFirstComponentAfterALeadingSlash)
{
    EXPECT_EQ(BelowDocumentElement(L"/root/a/b"), L"a/b");
    EXPECT_EQ(BelowDocumentElement(L"/anything/a"), L"a");
    EXPECT_EQ(BelowDocumentElement(L"/root//a"), L"/a");
}

TEST(KeyBelowTheDocumentElement, IsEmptyWhenNothingFollowsTheSecondSlash)
{
    EXPECT_EQ(BelowDocumentElement(L"/root/"), L"");
    EXPECT_EQ(BelowDocumentElement(L"//"), L"");
}

TEST(KeyBelowTheDocumentElement, SearchesTheSecondSlashFromTheSecondCharacter)
{
    EXPECT_EQ(BelowDocumentElement(L"//a"), L"a");
    EXPECT_EQ(BelowDocumentElement(L"//a/b"), L"a/b");
}

TEST(KeyBelowTheDocumentElement, KeepsAKeyWithoutASecondSlash)
{
    EXPECT_EQ(BelowDocumentElement(L"/a"), L"/a");
    EXPECT_EQ(BelowDocumentElement(L"/"), L"/");
}

TEST(KeyBelowTheDocumentElement, LeavesTheEmptyKeyEmpty)
{
    EXPECT_EQ(BelowDocumentElement(L""), L"");
    EXPECT_EQ(BelowDocumentElement(std::wstring_view()), L"");
}

TEST(KeyComponents, AreTakenInOrder)
{
    EXPECT_EQ(ComponentsOf(L"a/bc/d"), (Components{L"a", L"bc", L"d"}));
    EXPECT_EQ(ComponentsOf(L"a"), (Components{L"a"}));
}

TEST(KeyComponents, LeaveOutEmptyFields)
{
    EXPECT_EQ(ComponentsOf(L"/a"), (Components{L"a"}));
    EXPECT_EQ(ComponentsOf(L"a/"), (Components{L"a"}));
    EXPECT_EQ(ComponentsOf(L"a//b///c"), (Components{L"a", L"b", L"c"}));
    EXPECT_EQ(ComponentsOf(L"///"), Components());
    EXPECT_EQ(ComponentsOf(L""), Components());
}

TEST(KeyComponents, KeepBlanksAndPredicates)
{
    EXPECT_EQ(ComponentsOf(L" a /b[@k='1']"), (Components{L" a ", L"b[@k='1']"}));
}

TEST(KeyComponents, AreTheFieldsThatTheFrameworkExtractsButTheEmptyOnes)
{
    ForEveryText(L"/ab", 8, L"",
                 [](const std::wstring& text)
                 {
                     Components expected;
                     std::wstring field;
                     for (int index = 0; ExtractField(text, index, field); ++index)
                     {
                         if (!field.empty())
                         {
                             expected.push_back(field);
                         }
                     }
                     ASSERT_EQ(ComponentsOf(text), expected)
                         << std::string(text.begin(), text.end());
                 });
}

TEST(KeyComponents, OfALongPathAreAllTaken)
{
    std::wstring path;
    for (int i = 0; i < 100000; ++i)
    {
        path += L"ab/";
    }
    EXPECT_EQ(ComponentsOf(path).size(), 100000U);
}

}  // namespace
