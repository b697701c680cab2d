#include <afxwin.h>
#include <gtest/gtest.h>

#include <string>

namespace
{

template <typename... Arguments>
CStringW Wide(const wchar_t* format, Arguments... arguments)
{
    CStringW text;
    text.Format(format, arguments...);
    return text;
}

template <typename... Arguments>
CStringA Narrow(const char* format, Arguments... arguments)
{
    CStringA text;
    text.Format(format, arguments...);
    return text;
}

TEST(StringFormat, ReplacesTheText)
{
    CStringW text = L"before";
    text.Format(L"%d of %u", -3, 7u);
    EXPECT_STREQ(text, L"-3 of 7");
}

TEST(StringFormat, InWideTextSMeansWideAndCapitalSMeans8Bit)
{
    EXPECT_STREQ(Wide(L"<%s>", L"wide \x20AC"), L"<wide \x20AC>");
    EXPECT_STREQ(Wide(L"<%S>", "narrow"), L"<narrow>");
    EXPECT_STREQ(Wide(L"<%c%C>", L'\x20AC', 'n'), L"<\x20ACn>");
}

TEST(StringFormat, In8BitTextSMeans8BitAndCapitalSMeansWide)
{
    EXPECT_STREQ(Narrow("<%s>", "narrow"), "<narrow>");
    EXPECT_STREQ(Narrow("<%S>", L"wide"), "<wide>");
}

TEST(StringFormat, AnExplicitWidthOfCharactersHoldsInBoth)
{
    EXPECT_STREQ(Wide(L"%hs|%ls", "narrow", L"wide"), L"narrow|wide");
    EXPECT_STREQ(Narrow("%hs|%ls", "narrow", L"wide"), "narrow|wide");
}

TEST(StringFormat, KnowsThePlatforms64BitIntegers)
{
    EXPECT_STREQ(Wide(L"%I64d", static_cast<__int64>(-9007199254740993)), L"-9007199254740993");
    EXPECT_STREQ(Narrow("%I64u", ~static_cast<unsigned __int64>(0)), "18446744073709551615");
    EXPECT_STREQ(Narrow("%lld", 1234567890123LL), "1234567890123");
}

TEST(StringFormat, KnowsWidthPrecisionAndFloatingPoint)
{
    EXPECT_STREQ(Wide(L"%04x|%-5d|%5s", 0xABu, 12, L"ab"), L"00ab|12   |   ab");
    EXPECT_STREQ(Narrow("%.3f|%*d|%.2s", 3.14159, 4, 7, "abcdef"), "3.142|   7|ab");
    EXPECT_STREQ(Narrow("100%%"), "100%");
}

TEST(StringFormat, AStringIsPassedByItsPointer)
{
    const CStringW name = L"camera";
    EXPECT_STREQ(Wide(L"%s!", static_cast<LPCWSTR>(name)), L"camera!");
    EXPECT_STREQ(Wide(L"%s!", name.GetString()), L"camera!");
}

TEST(StringFormat, MayNameItsOwnText)
{
    CStringA text = "ab";
    text.Format("%s-%s", text.GetString(), text.GetString());
    EXPECT_STREQ(text, "ab-ab");
}

TEST(StringFormat, HasNoLimitOfLength)
{
    const std::wstring wide(100000, L'w');
    EXPECT_EQ(Wide(L"[%s]", wide.c_str()).GetLength(), 100002);
    const std::string narrow(100000, 'n');
    EXPECT_EQ(Narrow("[%s]", narrow.c_str()).GetLength(), 100002);
    EXPECT_EQ(Narrow("[%s]", narrow.c_str()).GetAt(100001), ']');
}

TEST(StringFormat, AnEmptyFormatGivesAnEmptyText)
{
    CStringW text = L"before";
    text.Format(L"");
    EXPECT_TRUE(text.IsEmpty());
}

TEST(StringFormat, ANullFormatThrowsInvalidArgument)
{
    CStringW text = L"before";
    EXPECT_THROW(text.Format(nullptr), CInvalidArgException*);
    EXPECT_STREQ(text, L"before");
}

void FormatList(CStringW& text, const wchar_t* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    text.FormatV(format, arguments);
    va_end(arguments);
}

TEST(StringFormat, TakesAnArgumentList)
{
    CStringW text;
    FormatList(text, L"%d %s", 5, L"five");
    EXPECT_STREQ(text, L"5 five");
}

TEST(StringFormat, AppendsFormattedText)
{
    CStringW text = L"count: ";
    text.AppendFormat(L"%d", 3);
    text.AppendFormat(L", %s", L"done");
    EXPECT_STREQ(text, L"count: 3, done");
}

}  // namespace
