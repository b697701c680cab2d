#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "CSFunc.h"
#include "support/import_patch.h"
#include "sysutil/hex_text_model.h"

namespace
{

using ostrel::test::ImportPatch;
using Bytes = std::vector<unsigned char>;

std::wstring ToUnicode(const std::string& utf8)
{
    const CStringW text =
        CSFunc::s_F_s_Utf8ToUnicode(CStringA(utf8.data(), static_cast<int>(utf8.size())));
    return {text.GetString(), static_cast<size_t>(text.GetLength())};
}

std::string ToUtf8(const std::wstring& wide)
{
    const CStringA text =
        CSFunc::s_F_s_UnicodeToUtf8(CStringW(wide.data(), static_cast<int>(wide.size())));
    return {text.GetString(), static_cast<size_t>(text.GetLength())};
}

// What the platform makes of it, by a buffer that is large enough for anything.
std::wstring PlatformUnicode(const std::string& utf8)
{
    std::wstring text(utf8.size() * 4 + 4, L'?');
    const int length = MultiByteToWideChar(CP_UTF8, 0, utf8.c_str(), -1, text.data(),
                                           static_cast<int>(text.size()));
    EXPECT_GT(length, 0);
    text.resize(static_cast<size_t>(length) - 1);
    return text;
}

std::string PlatformUtf8(const std::wstring& wide)
{
    std::string text(wide.size() * 8 + 8, '?');
    const int length = WideCharToMultiByte(CP_UTF8, 0, wide.c_str(), -1, text.data(),
                                           static_cast<int>(text.size()), nullptr, nullptr);
    EXPECT_GT(length, 0);
    text.resize(static_cast<size_t>(length) - 1);
    return text;
}

// The encodings of a code point by their definition (RFC 3629, RFC 2781).
std::string Utf8Of(char32_t point)
{
    const auto byte = [](char32_t value) { return static_cast<char>(value); };
    const auto tail = [&](int shift) { return byte(0x80 | (point >> shift & 0x3F)); };
    if (point < 0x80)
    {
        return {byte(point)};
    }
    if (point < 0x800)
    {
        return {byte(0xC0 | point >> 6), tail(0)};
    }
    if (point < 0x10000)
    {
        return {byte(0xE0 | point >> 12), tail(6), tail(0)};
    }
    return {byte(0xF0 | point >> 18), tail(12), tail(6), tail(0)};
}

std::wstring Utf16Of(char32_t point)
{
    if (point < 0x10000)
    {
        return {static_cast<wchar_t>(point)};
    }
    point -= 0x10000;
    return {static_cast<wchar_t>(0xD800 + (point >> 10)),
            static_cast<wchar_t>(0xDC00 + (point & 0x3FF))};
}

// ---- UTF-8 -------------------------------------------------------------------------------------

TEST(Utf8, EveryCodePointConvertsBothWays)
{
    std::string utf8;
    std::wstring wide;
    for (char32_t point = 1; point <= 0x10FFFF; ++point)
    {
        if (point >= 0xD800 && point <= 0xDFFF)
        {
            continue;
        }
        utf8 += Utf8Of(point);
        wide += Utf16Of(point);
        if (point % 0x1000 == 0xFFF)
        {
            ASSERT_TRUE(ToUnicode(utf8) == wide) << point;
            ASSERT_TRUE(ToUtf8(wide) == utf8) << point;
            utf8.clear();
            wide.clear();
        }
    }
}

TEST(Utf8, EveryCodePointConvertsByItself)
{
    for (char32_t point = 1; point <= 0x10FFFF; point += point < 0x3000 ? 1 : 61)
    {
        if (point >= 0xD800 && point <= 0xDFFF)
        {
            continue;
        }
        ASSERT_TRUE(ToUnicode(Utf8Of(point)) == Utf16Of(point)) << point;
        ASSERT_TRUE(ToUtf8(Utf16Of(point)) == Utf8Of(point)) << point;
    }
}

TEST(Utf8, EmptyTextStaysEmpty)
{
    EXPECT_TRUE(CSFunc::s_F_s_Utf8ToUnicode(CStringA()).IsEmpty());
    EXPECT_TRUE(CSFunc::s_F_s_UnicodeToUtf8(CStringW()).IsEmpty());
}

TEST(Utf8, TextEndsAtItsTerminator)
{
    EXPECT_EQ(ToUnicode(std::string("ab\0cd", 5)), L"ab");
    EXPECT_EQ(ToUtf8(std::wstring(L"ab\0cd", 5)), "ab");
    EXPECT_EQ(ToUnicode(std::string("\0cd", 3)), L"");
    EXPECT_EQ(ToUtf8(std::wstring(L"\0cd", 3)), "");
}

TEST(Utf8, IllFormedSequencesAreWhatThePlatformMakesOfThem)
{
    for (const char* const text : {"\x80",
                                   "\xC3",
                                   "\xC3x",
                                   "\xC0\x80",
                                   "\xC1\xBF",
                                   "\xE2\x82",
                                   "\xE2\x82x",
                                   "\xE0\x80\x80",
                                   "\xED\xA0\x80",
                                   "\xED\xBF\xBF",
                                   "\xED\xA0\x80\xED\xB0\x80",
                                   "\xF0\x90\x80",
                                   "\xF0\x80\x80\x80",
                                   "\xF4\x90\x80\x80",
                                   "\xF5\x80\x80\x80",
                                   "\xF8\x88\x80\x80\x80",
                                   "\xFC\x84\x80\x80\x80\x80",
                                   "\xFE",
                                   "\xFF\xFF\xFF",
                                   "a\xFFz",
                                   "\xEF\xBB\xBFx"})
    {
        EXPECT_EQ(ToUnicode(text), PlatformUnicode(text)) << text;
    }
    EXPECT_EQ(ToUnicode("a\xFFz"), L"a\xFFFDz");
}

TEST(Utf8, RandomBytesAreWhatThePlatformMakesOfThem)
{
    std::mt19937 generator(8);
    for (int i = 0; i < 3000; ++i)
    {
        std::string text(generator() % 40, ' ');
        for (char& byte : text)
        {
            byte = static_cast<char>(generator() % 255 + 1);
        }
        ASSERT_TRUE(ToUnicode(text) == PlatformUnicode(text)) << i;
    }
}

TEST(Utf8, LoneSurrogatesAreWhatThePlatformMakesOfThem)
{
    for (const std::wstring& text :
         {std::wstring(L"\xD800"), std::wstring(L"\xDFFF"), std::wstring(L"\xD83Dx"),
          std::wstring(L"x\xDE00"), std::wstring(L"\xDE00\xD83D"),
          std::wstring(L"\xD83D\xD83D\xDE00")})
    {
        EXPECT_EQ(ToUtf8(text), PlatformUtf8(text));
    }
    EXPECT_EQ(ToUtf8(L"a\xD800z"), "a\xEF\xBF\xBDz");
}

TEST(Utf8, RandomCharactersAreWhatThePlatformMakesOfThem)
{
    std::mt19937 generator(16);
    for (int i = 0; i < 3000; ++i)
    {
        std::wstring text(generator() % 40, L' ');
        for (wchar_t& character : text)
        {
            const unsigned int base = generator() % 2 == 0 ? 0xD800 : 1;
            character = static_cast<wchar_t>(base + generator() % 0x800);
        }
        ASSERT_TRUE(ToUtf8(text) == PlatformUtf8(text)) << i;
    }
}

TEST(Utf8, HugeTextsConvertBothWays)
{
    constexpr size_t kCount = 20 * 1000 * 1000;
    const std::wstring wide(kCount, L'\x20AC');
    const std::string utf8 = ToUtf8(wide);
    ASSERT_EQ(utf8.size(), 3 * kCount);
    EXPECT_EQ(utf8.compare(3 * kCount - 6, 6, "\xE2\x82\xAC\xE2\x82\xAC"), 0);
    EXPECT_TRUE(ToUnicode(utf8) == wide);
}

int WINAPI NoUnicode(UINT, DWORD, const char*, int, wchar_t* out, int)
{
    if (out != nullptr)
    {
        out[0] = L'x';
    }
    return 0;
}

int WINAPI NoBytes(UINT, DWORD, const wchar_t*, int, char*, int, const char*, BOOL*)
{
    return 0;
}

TEST(Utf8, AFailedConversionGivesAnEmptyText)
{
    const ImportPatch unicode("MultiByteToWideChar", NoUnicode);
    const ImportPatch bytes("WideCharToMultiByte", NoBytes);
    EXPECT_EQ(ToUnicode("abc"), L"");
    EXPECT_EQ(ToUtf8(L"abc"), "");
}

// ---- Hexadecimal text --------------------------------------------------------------------------

std::wstring Hex(Bytes bytes)
{
    return CSFunc::s_F_s_ByteToHexStr(bytes.data(), static_cast<int>(bytes.size())).GetString();
}

// Reads into a buffer of 0xEE bytes.
Bytes FromHex(const std::wstring& text, int max, size_t size = 8)
{
    Bytes bytes(size, 0xEE);
    CSFunc::s_S_HexStrToByte(CStringW(text.data(), static_cast<int>(text.size())), bytes.data(),
                             max);
    return bytes;
}

TEST(HexadecimalText, BytesAreTwoCapitalDigitsEach)
{
    EXPECT_EQ(Hex({0x0A, 0xFF}), L"0AFF");
    EXPECT_EQ(Hex({0x00, 0x7F, 0xA5}), L"007FA5");
}

TEST(HexadecimalText, WithoutBytesItIsEmpty)
{
    unsigned char byte = 0x55;
    EXPECT_TRUE(CSFunc::s_F_s_ByteToHexStr(&byte, 0).IsEmpty());
    EXPECT_TRUE(CSFunc::s_F_s_ByteToHexStr(&byte, -1).IsEmpty());
    EXPECT_TRUE(CSFunc::s_F_s_ByteToHexStr(&byte, INT_MIN).IsEmpty());
    EXPECT_TRUE(CSFunc::s_F_s_ByteToHexStr(nullptr, 5).IsEmpty());
}

TEST(HexadecimalText, MoreThanAStringHoldsThrows)
{
    unsigned char byte = 0x55;
    for (const int count : {INT_MAX, INT_MAX / 2 + 1})
    {
        try
        {
            CSFunc::s_F_s_ByteToHexStr(&byte, count);
            FAIL() << "nothing was thrown";
        }
        catch (CMemoryException* exception)
        {
            exception->Delete();
        }
    }
}

TEST(HexadecimalText, IsReadInEitherCase)
{
    EXPECT_EQ(FromHex(L"0aFf", 8, 3), (Bytes{0x0A, 0xFF, 0xEE}));
}

TEST(HexadecimalText, NoMoreBytesAreWrittenThanAllowed)
{
    EXPECT_EQ(FromHex(L"0aff", 1, 2), (Bytes{0x0A, 0xEE}));
    EXPECT_EQ(FromHex(L"0aff", 0, 2), (Bytes{0xEE, 0xEE}));
    EXPECT_EQ(FromHex(L"0aff", -1, 2), (Bytes{0xEE, 0xEE}));
    EXPECT_EQ(FromHex(L"0aff", INT_MIN, 2), (Bytes{0xEE, 0xEE}));
    CSFunc::s_S_HexStrToByte(L"0aff", nullptr, 2);
}

TEST(HexadecimalText, NoMoreBytesAreWrittenThanTheTextHas)
{
    EXPECT_EQ(FromHex(L"12", 100, 3), (Bytes{0x12, 0xEE, 0xEE}));
    EXPECT_EQ(FromHex(L"", 100, 2), (Bytes{0xEE, 0xEE}));
}

TEST(HexadecimalText, WhatIsNoDigitCountsAsFarAsItIsOne)
{
    EXPECT_EQ(FromHex(L"g55gzz", 8, 3), (Bytes{0, 5, 0}));
    EXPECT_EQ(FromHex(L"\x5F55"
                      L"5"
                      L"\x00E4"
                      L"6",
                      8, 3),
              (Bytes{0, 0, 0xEE}));
}

TEST(HexadecimalText, OfAnOddNumberTheLastCharacterGivesItsOwnValue)
{
    EXPECT_EQ(FromHex(L"0af", 8, 3), (Bytes{0x0A, 0x0F, 0xEE}));
    EXPECT_EQ(FromHex(L"7", 8, 2), (Bytes{7, 0xEE}));
}

TEST(HexadecimalText, ANullCharacterEndsItOnlyWhereAPairBegins)
{
    EXPECT_EQ(FromHex(std::wstring(L"12\0"
                                   L"34",
                                   5),
                      8, 2),
              (Bytes{0x12, 0xEE}));
    EXPECT_EQ(FromHex(std::wstring(L"1\0"
                                   L"34",
                                   4),
                      8, 3),
              (Bytes{0x01, 0x34, 0xEE}));
}

// The run-time's reading of a number, as the DLL uses it, beside the definition.
TEST(HexadecimalText, EveryPairGivesWhatItsDigitsComeTo)
{
    for (int first = 1; first < 128; ++first)
    {
        for (int second = 1; second < 128; ++second)
        {
            const std::wstring pair = {static_cast<wchar_t>(first), static_cast<wchar_t>(second)};
            const unsigned char expected = ostrel::test::HexByte({pair.begin(), pair.end()});
            ASSERT_EQ(FromHex(pair, 1, 1)[0], expected) << first << ' ' << second;
        }
    }
}

TEST(HexadecimalText, LongTextsSurviveBothWays)
{
    std::mt19937 generator(4);
    Bytes bytes(3000001);
    std::generate(bytes.begin(), bytes.end(),
                  [&] { return static_cast<unsigned char>(generator()); });
    const std::wstring text = Hex(bytes);
    ASSERT_EQ(text.size(), 2 * bytes.size());
    EXPECT_TRUE(FromHex(text, static_cast<int>(bytes.size()), bytes.size()) == bytes);
}

// ---- Protected mode ----------------------------------------------------------------------------

// A browser's library, as far as it is asked for.
enum class Library
{
    Missing,
    WithoutFunction,
    Fails,
    SaysNo,
    SaysYes
};

Library g_library;
int g_loaded;
int g_freed;
std::wstring g_libraryName;
std::string g_functionName;

HMODULE FakeModule()
{
    static int module;
    return reinterpret_cast<HMODULE>(&module);
}

HRESULT WINAPI IsProtectedModeProcess(BOOL* result)
{
    *result = g_library == Library::SaysNo ? FALSE : TRUE;
    return g_library == Library::Fails ? E_FAIL : S_OK;
}

HMODULE WINAPI FakeLoadLibrary(const wchar_t* name)
{
    g_libraryName = name;
    if (g_library == Library::Missing)
    {
        return nullptr;
    }
    ++g_loaded;
    return FakeModule();
}

FARPROC WINAPI FakeGetProcAddress(HMODULE module, const char* name)
{
    EXPECT_EQ(module, FakeModule());
    g_functionName = name;
    return g_library == Library::WithoutFunction
               ? nullptr
               : reinterpret_cast<FARPROC>(reinterpret_cast<void*>(IsProtectedModeProcess));
}

BOOL WINAPI FakeFreeLibrary(HMODULE module)
{
    EXPECT_EQ(module, FakeModule());
    ++g_freed;
    return TRUE;
}

class ProtectedMode : public testing::Test
{
protected:
    static bool With(Library library)
    {
        g_library = library;
        g_loaded = 0;
        g_freed = 0;
        const ImportPatch load("LoadLibraryW", FakeLoadLibrary);
        const ImportPatch find("GetProcAddress", FakeGetProcAddress);
        const ImportPatch free("FreeLibrary", FakeFreeLibrary);
        const bool result = CSFunc::s_F_b_IEIsProtectedMode();
        EXPECT_EQ(g_loaded, library == Library::Missing ? 0 : 1);
        EXPECT_EQ(g_freed, g_loaded);
        return result;
    }
};

TEST_F(ProtectedMode, IsWhatTheBrowsersLibrarySays)
{
    EXPECT_TRUE(With(Library::SaysYes));
    EXPECT_EQ(g_libraryName, L"ieframe.dll");
    EXPECT_EQ(g_functionName, "IEIsProtectedModeProcess");
    EXPECT_FALSE(With(Library::SaysNo));
}

TEST_F(ProtectedMode, IsFalseWhenTheCallFails)
{
    EXPECT_FALSE(With(Library::Fails));
}

TEST_F(ProtectedMode, IsFalseWithoutTheFunction)
{
    EXPECT_FALSE(With(Library::WithoutFunction));
}

TEST_F(ProtectedMode, IsFalseWithoutTheLibrary)
{
    EXPECT_FALSE(With(Library::Missing));
}

TEST_F(ProtectedMode, ATestProgramIsNotInIt)
{
    EXPECT_FALSE(CSFunc::s_F_b_IEIsProtectedMode());
}

}  // namespace
