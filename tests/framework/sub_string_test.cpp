#include <afxwin.h>
#include <gtest/gtest.h>

namespace
{

struct Extracted
{
    BOOL found;
    CString text;
};

Extracted Extract(const wchar_t* full, int index, wchar_t separator)
{
    Extracted result{FALSE, L"before"};
    result.found = AfxExtractSubString(result.text, full, index, separator);
    return result;
}

TEST(ExtractSubString, GivesTheFieldOfTheIndex)
{
    EXPECT_TRUE(Extract(L"some/more/fields", 0, L'/').found);
    EXPECT_STREQ(Extract(L"some/more/fields", 0, L'/').text, L"some");
    EXPECT_STREQ(Extract(L"some/more/fields", 1, L'/').text, L"more");
    EXPECT_STREQ(Extract(L"some/more/fields", 2, L'/').text, L"fields");
}

TEST(ExtractSubString, GivesEmptyFieldsToo)
{
    EXPECT_TRUE(Extract(L"/a//b", 0, L'/').found);
    EXPECT_STREQ(Extract(L"/a//b", 0, L'/').text, L"");
    EXPECT_TRUE(Extract(L"/a//b", 2, L'/').found);
    EXPECT_STREQ(Extract(L"/a//b", 2, L'/').text, L"");
    EXPECT_STREQ(Extract(L"/a//b", 3, L'/').text, L"b");
    EXPECT_TRUE(Extract(L"a/", 1, L'/').found);
}

TEST(ExtractSubString, FailsPastTheLastField)
{
    EXPECT_FALSE(Extract(L"a/b", 2, L'/').found);
    EXPECT_STREQ(Extract(L"a/b", 2, L'/').text, L"");
    EXPECT_FALSE(Extract(L"a/b", 100, L'/').found);
}

TEST(ExtractSubString, FailsForNullAndForANegativeIndex)
{
    EXPECT_FALSE(Extract(nullptr, 0, L'/').found);
    EXPECT_FALSE(Extract(L"a", -1, L'/').found);
}

TEST(ExtractSubString, SplitsLinesByDefault)
{
    CString line;
    EXPECT_TRUE(AfxExtractSubString(line, L"first\nsecond", 1));
    EXPECT_STREQ(line, L"second");
}

TEST(ExtractSubString, MayWriteOverItsOwnSource)
{
    CString text = L"a,b,c";
    EXPECT_TRUE(AfxExtractSubString(text, text, 1, L','));
    EXPECT_STREQ(text, L"b");
}

}  // namespace
