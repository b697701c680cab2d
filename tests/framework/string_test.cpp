#include <afxwin.h>
#include <gtest/gtest.h>

#include <cstring>
#include <cwchar>
#include <string>
#include <vector>

namespace
{

// ---- Construction and conversion ----------------------------------------------------------------

TEST(String, IsEmptyAtFirst)
{
    const CStringA text;
    EXPECT_TRUE(text.IsEmpty());
    EXPECT_EQ(text.GetLength(), 0);
    EXPECT_STREQ(text.GetString(), "");
}

TEST(String, ANullPointerCountsAsEmpty)
{
    EXPECT_TRUE(CStringA(static_cast<const char*>(nullptr)).IsEmpty());
    EXPECT_TRUE(CStringA(static_cast<const wchar_t*>(nullptr)).IsEmpty());
    EXPECT_TRUE(CStringW(static_cast<const unsigned char*>(nullptr)).IsEmpty());
    CStringW text = L"before";
    text = static_cast<const wchar_t*>(nullptr);
    EXPECT_TRUE(text.IsEmpty());
    text += static_cast<const wchar_t*>(nullptr);
    EXPECT_TRUE(text.IsEmpty());
}

TEST(String, IsConstructedFromARepeatedCharacter)
{
    EXPECT_STREQ(CStringA('x', 3), "xxx");
    EXPECT_STREQ(CStringW(L'\x20AC', 2), L"\x20AC\x20AC");
    EXPECT_STREQ(CStringW('x', 2), L"xx");
    EXPECT_STREQ(CStringA('x'), "x");
    EXPECT_TRUE(CStringA('x', 0).IsEmpty());
}

TEST(String, IsConstructedFromPointerAndLength)
{
    EXPECT_STREQ(CStringA("abcdef", 3), "abc");
    EXPECT_STREQ(CStringW("abcdef", 3), L"abc");
    EXPECT_STREQ(CStringA(L"abcdef", 3), "abc");
    EXPECT_TRUE(CStringW(static_cast<const wchar_t*>(nullptr), 0).IsEmpty());
}

TEST(String, ABadPointerAndLengthThrowsInvalidArgument)
{
    EXPECT_THROW(CStringA("abc", -1), CInvalidArgException*);
    EXPECT_THROW(CStringA(static_cast<const char*>(nullptr), 1), CInvalidArgException*);
    EXPECT_THROW(CStringW(static_cast<const char*>(nullptr), 1), CInvalidArgException*);
}

TEST(String, IsConstructedFromUnsignedBytes)
{
    const unsigned char bytes[] = {'a', 0x80, 0};
    EXPECT_STREQ(CStringA(bytes), "a\x80");
    EXPECT_STREQ(CStringW(bytes), L"a\x20AC");
}

// The tests run with the ANSI code page 1252, where the euro sign is 0x80.
TEST(String, ConvertsThroughTheAnsiCodePageBothWays)
{
    ASSERT_EQ(GetACP(), 1252u);
    EXPECT_STREQ(CStringW("\x80 \xE9"), L"\x20AC \x00E9");
    EXPECT_STREQ(CStringA(L"\x20AC \x00E9"), "\x80 \xE9");
}

TEST(String, ACharacterOutsideTheCodePageBecomesAQuestionMark)
{
    EXPECT_STREQ(CStringA(L"a\x4E2D\x6587z"), "a??z");
}

TEST(String, ConvertsWhatIsAssignedAndAppended)
{
    CStringW wide;
    wide = "\x80";
    wide += "\xE9";
    wide += CStringA("!");
    EXPECT_STREQ(wide, L"\x20AC\x00E9!");
    CStringA narrow;
    narrow = L"\x20AC";
    narrow += L"\x00E9";
    narrow += CStringW(L"!");
    EXPECT_STREQ(narrow, "\x80\xE9!");
    narrow = wide;
    EXPECT_STREQ(narrow, "\x80\xE9!");
}

TEST(String, ConvertsCharactersOfTheOtherType)
{
    CStringW wide;
    wide = '\x80';
    wide += 'a';
    EXPECT_STREQ(wide,
                 L"\x20AC"
                 L"a");
    CStringA narrow;
    narrow = L'\x20AC';
    narrow += static_cast<unsigned char>(0xE9);
    EXPECT_STREQ(narrow, "\x80\xE9");
}

TEST(String, TheGenericStringIsWide)
{
    CString text = _T("abc");
    EXPECT_EQ(sizeof(text.GetString()[0]), sizeof(wchar_t));
    EXPECT_TRUE((std::is_same_v<CString, CStringW>));
}

TEST(String, HasValueSemantics)
{
    CStringA first = "abc";
    CStringA second = first;
    second.SetAt(0, 'x');
    EXPECT_STREQ(first, "abc");
    EXPECT_STREQ(second, "xbc");
    first = second;
    second.Empty();
    EXPECT_STREQ(first, "xbc");
}

TEST(String, CanBeMoved)
{
    CStringA source = "abc";
    CStringA target(std::move(source));
    EXPECT_STREQ(target, "abc");
    CStringA assigned = "before";
    assigned = std::move(target);
    EXPECT_STREQ(assigned, "abc");
}

TEST(String, CanBeAssignedToItselfAndFromItsOwnText)
{
    CStringA text = "abcdef";
    const CStringA& alias = text;
    text = alias;
    EXPECT_STREQ(text, "abcdef");
    text = text.GetString() + 2;
    EXPECT_STREQ(text, "cdef");
    text += text;
    EXPECT_STREQ(text, "cdefcdef");
    text.SetString(text.GetString() + 4, 2);
    EXPECT_STREQ(text, "cd");
}

TEST(String, PassesAsAPointerToText)
{
    const CStringW text = L"abc";
    EXPECT_EQ(std::wcslen(text), 3u);
    EXPECT_EQ(text.GetString(), static_cast<LPCWSTR>(text));
}

TEST(String, SetStringRefusesNullAndStopsAtATerminator)
{
    CStringA text;
    text.SetString("Soccer", 3);
    EXPECT_STREQ(text, "Soc");
    text.SetString("ab\0cd", 5);
    EXPECT_EQ(text.GetLength(), 2);
    EXPECT_THROW(text.SetString(nullptr), CInvalidArgException*);
    EXPECT_THROW(text.SetString(nullptr, 1), CInvalidArgException*);
}

TEST(String, EmptyClears)
{
    CStringA text = "abc";
    text.Empty();
    EXPECT_TRUE(text.IsEmpty());
}

// ---- Appending ----------------------------------------------------------------------------------

TEST(String, IsJoinedWithTextsAndCharacters)
{
    const CStringW text = L"b";
    EXPECT_STREQ(text + text, L"bb");
    EXPECT_STREQ(L"a" + text + L"c", L"abc");
    EXPECT_STREQ(L'a' + text + L'c', L"abc");
    EXPECT_STREQ('a' + text + 'c', L"abc");
    EXPECT_STREQ(CStringA("a") + "b" + 'c', "abc");
}

TEST(String, Appends)
{
    CStringA text = "a";
    text.Append("bc");
    text.Append("defgh", 2);
    text.AppendChar('!');
    text.Append(CStringA("?"));
    EXPECT_STREQ(text, "abcde!?");
}

TEST(String, TruncatesToALengthWithin)
{
    CStringA text = "abcdefghi";
    text.Truncate(4);
    EXPECT_STREQ(text, "abcd");
    EXPECT_THROW(text.Truncate(5), CInvalidArgException*);
    EXPECT_THROW(text.Truncate(-1), CInvalidArgException*);
}

// ---- Characters ---------------------------------------------------------------------------------

TEST(String, GivesItsCharactersAndItsTerminator)
{
    const CStringA text = "abcdef";
    EXPECT_EQ(text.GetAt(2), 'c');
    EXPECT_EQ(text[5], 'f');
    EXPECT_EQ(text[6], '\0');
}

TEST(String, AnIndexOutsideThrowsInvalidArgument)
{
    CStringA text = "abc";
    EXPECT_THROW(text.GetAt(-1), CInvalidArgException*);
    EXPECT_THROW(text.GetAt(4), CInvalidArgException*);
    EXPECT_THROW(text[4], CInvalidArgException*);
    EXPECT_THROW(text.SetAt(-1, 'x'), CInvalidArgException*);
    EXPECT_THROW(text.SetAt(3, 'x'), CInvalidArgException*);
    EXPECT_STREQ(text, "abc");
}

TEST(String, SetAtOverwritesOneCharacter)
{
    CStringA text = "abcdef";
    text.SetAt(1, 'a');
    EXPECT_STREQ(text, "aacdef");
}

// ---- Buffer -------------------------------------------------------------------------------------

TEST(String, LendsItsBuffer)
{
    CStringA text = "abcd";
    char* buffer = text.GetBuffer(10);
    EXPECT_STREQ(buffer, "abcd");
    std::strcpy(buffer, "Hello");
    text.ReleaseBuffer();
    EXPECT_EQ(text.GetLength(), 5);
    EXPECT_STREQ(text, "Hello");
}

TEST(String, KeepsItsLengthUntilTheBufferIsReleased)
{
    CStringW text = L"abc";
    text.GetBuffer(1024);
    EXPECT_EQ(text.GetLength(), 3);
    text.ReleaseBuffer();
    EXPECT_EQ(text.GetLength(), 3);
    EXPECT_STREQ(text, L"abc");
}

TEST(String, CanBeUsedAfterALentBufferThatWasOnlyRead)
{
    CStringA text = "abc";
    text.GetBuffer(100);
    text += "d";
    EXPECT_STREQ(text, "abcd");
    EXPECT_EQ(text.GetLength(), 4);
    const CStringA copy = text;
    EXPECT_EQ(copy.GetLength(), 4);
}

TEST(String, ABufferSmallerThanTheTextIsTheWholeText)
{
    CStringA text = "abcdef";
    char* buffer = text.GetBuffer(2);
    EXPECT_STREQ(buffer, "abcdef");
    buffer[0] = 'X';
    text.ReleaseBuffer();
    EXPECT_STREQ(text, "Xbcdef");
}

TEST(String, ReleasesTheBufferWithAGivenLength)
{
    CStringA text;
    std::memcpy(text.GetBuffer(8), "abcdefgh", 8);
    text.ReleaseBuffer(3);
    EXPECT_STREQ(text, "abc");
    std::memcpy(text.GetBuffer(8), "abcdefgh", 8);
    text.ReleaseBufferSetLength(8);
    EXPECT_STREQ(text, "abcdefgh");
}

TEST(String, AFullBufferWithoutATerminatorIsReleasedWhole)
{
    CStringA text;
    std::memset(text.GetBuffer(20), 'x', 20);
    text.ReleaseBuffer();
    EXPECT_EQ(text.GetLength(), 20);
}

TEST(String, ALengthBeyondTheBufferThrowsInvalidArgument)
{
    CStringA text;
    text.GetBuffer(8);
    EXPECT_THROW(text.ReleaseBuffer(9), CInvalidArgException*);
    EXPECT_THROW(text.ReleaseBufferSetLength(-1), CInvalidArgException*);
}

TEST(String, ABufferWithASetLengthNeedsNoRelease)
{
    CStringA text;
    char* buffer = text.GetBufferSetLength(3);
    buffer[0] = 'C';
    buffer[1] = 'u';
    buffer[2] = 'p';
    text += " soccer is best!";
    EXPECT_STREQ(text, "Cup soccer is best!");
    text.GetBufferSetLength(3);
    EXPECT_STREQ(text, "Cup");
}

TEST(String, ABufferThatCannotBeHadThrowsMemoryException)
{
    CStringW text = L"abc";
    EXPECT_THROW(text.GetBuffer(INT_MAX), CMemoryException*);
    EXPECT_STREQ(text, L"abc");
}

// ---- Comparison ---------------------------------------------------------------------------------

TEST(String, ComparesCaseSensitively)
{
    const CStringA text = "abc";
    EXPECT_EQ(text.Compare("abc"), 0);
    EXPECT_LT(text.Compare("abd"), 0);
    EXPECT_GT(text.Compare("ab"), 0);
    EXPECT_GT(text.Compare("ABC"), 0);
}

TEST(String, ComparesWithoutCase)
{
    EXPECT_EQ(CStringA("aBc").CompareNoCase("AbC"), 0);
    EXPECT_LT(CStringW(L"aBc").CompareNoCase(L"ABD"), 0);
    EXPECT_EQ(CStringW(L"rtsp").CompareNoCase(L"RTSP"), 0);
}

TEST(String, ComparesWithNullAsWithAnEmptyText)
{
    EXPECT_EQ(CStringA().Compare(nullptr), 0);
    EXPECT_GT(CStringA("a").CompareNoCase(nullptr), 0);
}

TEST(String, OperatorsCompareTextsOfBothTypes)
{
    const CStringW text = L"abc";
    EXPECT_TRUE(text == CStringW(L"abc"));
    EXPECT_TRUE(text == L"abc");
    EXPECT_TRUE(L"abc" == text);
    EXPECT_TRUE(text == "abc");
    EXPECT_TRUE("abc" == text);
    EXPECT_TRUE(text != L"abd");
    EXPECT_FALSE(text != "abc");
    EXPECT_TRUE(CStringA("x") == 'x');
    EXPECT_TRUE('x' != CStringA("xx"));
}

TEST(String, OperatorsOrderTexts)
{
    const CStringA text = "abc";
    EXPECT_TRUE(text < "abd");
    EXPECT_TRUE("abb" < text);
    EXPECT_TRUE(text > CStringA("ab"));
    EXPECT_TRUE(text <= "abc");
    EXPECT_TRUE(text >= "abc");
    EXPECT_FALSE("abc" > text);
    EXPECT_TRUE(CStringA("ab") < text);
}

// ---- Parts --------------------------------------------------------------------------------------

TEST(String, GivesItsMiddle)
{
    const CStringA text = "abcdef";
    EXPECT_STREQ(text.Mid(2, 3), "cde");
    EXPECT_STREQ(text.Mid(2), "cdef");
}

TEST(String, CutsAMiddleToTheText)
{
    const CStringA text = "abcdef";
    EXPECT_STREQ(text.Mid(4, 100), "ef");
    EXPECT_STREQ(text.Mid(6), "");
    EXPECT_STREQ(text.Mid(100, 2), "");
    EXPECT_STREQ(text.Mid(-2, 2), "ab");
    EXPECT_STREQ(text.Mid(2, -1), "");
    EXPECT_STREQ(text.Mid(1, INT_MAX), "bcdef");
}

TEST(String, GivesItsLeftAndRightPart)
{
    const CStringA text = "abcdef";
    EXPECT_STREQ(text.Left(2), "ab");
    EXPECT_STREQ(text.Right(2), "ef");
    EXPECT_STREQ(text.Left(100), "abcdef");
    EXPECT_STREQ(text.Right(100), "abcdef");
    EXPECT_STREQ(text.Left(-1), "");
    EXPECT_STREQ(text.Right(-1), "");
    EXPECT_STREQ(text.Right(0), "");
}

TEST(String, SpansTheCharactersOfASet)
{
    EXPECT_STREQ(CStringA("cabinet").SpanIncluding("abc"), "cab");
    EXPECT_STREQ(CStringA("xcab").SpanIncluding("abc"), "");
    EXPECT_STREQ(CStringA("abcabc").SpanIncluding("abc"), "abcabc");
}

TEST(String, SpansUpToACharacterOfASet)
{
    EXPECT_STREQ(CStringA("World Cup '98").SpanExcluding(";,.-'"), "World Cup ");
    EXPECT_STREQ(CStringA("cabinet").SpanExcluding("xyz"), "cabinet");
    EXPECT_STREQ(CStringA("cabinet").SpanExcluding("c"), "");
}

TEST(String, BreaksIntoTokens)
{
    const CStringA text = "%First Second#Third";
    int position = 0;
    EXPECT_STREQ(text.Tokenize("% #", position), "First");
    EXPECT_EQ(position, 7);
    EXPECT_STREQ(text.Tokenize("% #", position), "Second");
    EXPECT_EQ(position, 14);
    EXPECT_STREQ(text.Tokenize("% #", position), "Third");
    EXPECT_STREQ(text.Tokenize("% #", position), "");
    EXPECT_EQ(position, -1);
}

TEST(String, FindsNoTokenWhereThereAreOnlyDelimiters)
{
    int position = 0;
    EXPECT_STREQ(CStringA("///").Tokenize("/", position), "");
    EXPECT_EQ(position, -1);
    position = 0;
    EXPECT_STREQ(CStringA().Tokenize("/", position), "");
    EXPECT_EQ(position, -1);
}

TEST(String, TokenizingDoesNotChangeTheText)
{
    const CStringW text = L"a,b";
    int position = 0;
    text.Tokenize(L",", position);
    EXPECT_STREQ(text, L"a,b");
}

// ---- Search -------------------------------------------------------------------------------------

TEST(String, FindsTextsAndCharacters)
{
    const CStringA text = "abcdefabc";
    EXPECT_EQ(text.Find("cd"), 2);
    EXPECT_EQ(text.Find('c'), 2);
    EXPECT_EQ(text.Find("abc", 1), 6);
    EXPECT_EQ(text.Find('a', 1), 6);
    EXPECT_EQ(text.Find("x"), -1);
    EXPECT_EQ(text.Find('x'), -1);
}

TEST(String, FindsNothingFromAPlaceOutside)
{
    const CStringA text = "abc";
    EXPECT_EQ(text.Find("a", 4), -1);
    EXPECT_EQ(text.Find('a', 4), -1);
    EXPECT_EQ(text.Find("a", -1), -1);
    EXPECT_EQ(text.Find('a', -1), -1);
    EXPECT_EQ(text.Find(static_cast<const char*>(nullptr)), -1);
}

TEST(String, FindsTheLastCharacter)
{
    EXPECT_EQ(CStringW(L"C:\\dir\\file").ReverseFind(L'\\'), 6);
    EXPECT_EQ(CStringW(L"file").ReverseFind(L'\\'), -1);
}

TEST(String, FindsTheFirstOfASet)
{
    EXPECT_EQ(CStringA("abcdef").FindOneOf("xde"), 3);
    EXPECT_EQ(CStringA("abcdef").FindOneOf("xyz"), -1);
}

// ---- Changes ------------------------------------------------------------------------------------

TEST(String, ReplacesCharactersAndCountsThem)
{
    CStringA text = "C-*-o--";
    EXPECT_EQ(text.Replace('-', '+'), 4);
    EXPECT_STREQ(text, "C+*+o++");
    EXPECT_EQ(text.Replace('x', 'y'), 0);
}

TEST(String, ReplacesTextsOfAnyLengthAndCountsThem)
{
    CStringW text = L"a&b&c";
    EXPECT_EQ(text.Replace(L"&", L"&amp;"), 2);
    EXPECT_STREQ(text, L"a&amp;b&amp;c");
    EXPECT_EQ(text.Replace(L"&amp;", L""), 2);
    EXPECT_STREQ(text, L"abc");
    EXPECT_EQ(text.Replace(L"ABC", L"x"), 0);
    EXPECT_STREQ(text, L"abc");
}

TEST(String, ReplacesTextsFromTheLeftWithoutOverlap)
{
    CStringA text = "aaaaa";
    EXPECT_EQ(text.Replace("aa", "b"), 2);
    EXPECT_STREQ(text, "bba");
}

TEST(String, ReplacesNothingForAnEmptyText)
{
    CStringA text = "abc";
    EXPECT_EQ(text.Replace("", "x"), 0);
    EXPECT_STREQ(text, "abc");
}

TEST(String, RemovesACharacterCaseSensitivelyAndCounts)
{
    CStringA text = "This is a Test.";
    EXPECT_EQ(text.Remove('t'), 1);
    EXPECT_STREQ(text, "This is a Tes.");
    EXPECT_EQ(text.Remove('x'), 0);
}

TEST(String, InsertsBeforeAnIndexAndReturnsTheLength)
{
    CStringA text = "SoccerBest";
    EXPECT_EQ(text.Insert(6, "is "), 13);
    EXPECT_EQ(text.Insert(6, ' '), 14);
    EXPECT_STREQ(text, "Soccer is Best");
    EXPECT_EQ(text.Insert(0, ">"), 15);
    EXPECT_STREQ(text, ">Soccer is Best");
}

TEST(String, AnInsertionBeyondTheEndAppends)
{
    CStringA text = "ab";
    EXPECT_EQ(text.Insert(100, "c"), 3);
    EXPECT_EQ(text.Insert(100, 'd'), 4);
    EXPECT_STREQ(text, "abcd");
}

TEST(String, DeletesFromAnIndexAndReturnsTheLength)
{
    CStringA text = "Soccer is best";
    EXPECT_EQ(text.Delete(6, 3), 11);
    EXPECT_STREQ(text, "Soccer best");
    EXPECT_EQ(text.Delete(0), 10);
    EXPECT_STREQ(text, "occer best");
}

TEST(String, DeletesNoFurtherThanTheEnd)
{
    CStringA text = "abcdef";
    EXPECT_EQ(text.Delete(4, 100), 4);
    EXPECT_EQ(text.Delete(10, 1), 4);
    EXPECT_STREQ(text, "abcd");
}

TEST(String, TrimsWhiteSpace)
{
    EXPECT_STREQ(CStringA(" \t\r\n a b \n\t ").Trim(), "a b");
    EXPECT_STREQ(CStringW(L" \t a ").TrimLeft(), L"a ");
    EXPECT_STREQ(CStringW(L" a \r\n").TrimRight(), L" a");
    EXPECT_STREQ(CStringW(L" \n ").Trim(), L"");
}

TEST(String, TrimsACharacter)
{
    EXPECT_STREQ(CStringA("//a/b//").Trim('/'), "a/b");
    EXPECT_STREQ(CStringA("//a/b//").TrimLeft('/'), "a/b//");
    EXPECT_STREQ(CStringA("//a/b//").TrimRight('/'), "//a/b");
}

TEST(String, TrimsTheCharactersOfASet)
{
    CStringA text = "******Soccer is best!!!!!";
    EXPECT_STREQ(CStringA(text).Trim("!*"), "Soccer is best");
    EXPECT_STREQ(CStringA(text).TrimLeft("!*"), "Soccer is best!!!!!");
    EXPECT_STREQ(CStringA(text).TrimRight("!*"), "******Soccer is best");
}

TEST(String, TrimmingChangesTheStringItself)
{
    CStringA text = " a ";
    text.Trim();
    EXPECT_STREQ(text, "a");
    EXPECT_EQ(text.GetLength(), 1);
}

TEST(String, ChangesCaseAndOrder)
{
    EXPECT_STREQ(CStringA("aBc1").MakeUpper(), "ABC1");
    EXPECT_STREQ(CStringW(L"aBc1").MakeLower(), L"abc1");
    EXPECT_STREQ(CStringA("abc").MakeReverse(), "cba");
    CStringW text = L"aB";
    text.MakeUpper();
    EXPECT_STREQ(text, L"AB");
}

}  // namespace
