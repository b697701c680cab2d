/// @file
/// What a client may rely on when it converts text, and asks the shell for a folder or for the
/// browser's protected mode.
#include <CSFunc.h>
#include <gtest/gtest.h>
#include <ole2.h>
#include <shlobj.h>

#include <atomic>
#include <climits>
#include <cstdlib>
#include <cwchar>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "support/import_patch.h"

namespace
{

using ostrel::test::ImportPatch;

static_assert(std::is_same_v<decltype(&CSFunc::s_F_s_Utf8ToUnicode), CStringW (*)(CStringA)>);
static_assert(std::is_same_v<decltype(&CSFunc::s_F_s_UnicodeToUtf8), CStringA (*)(CStringW)>);
static_assert(
    std::is_same_v<decltype(&CSFunc::s_F_s_ByteToHexStr), CStringW (*)(unsigned char*, int)>);
static_assert(
    std::is_same_v<decltype(&CSFunc::s_S_HexStrToByte), void (*)(CStringW, unsigned char*, int)>);
static_assert(std::is_same_v<decltype(&CSFunc::s_F_s_GetFolder),
                             CStringW (*)(CStringW, HWND, CStringW, CStringW, bool)>);
static_assert(std::is_same_v<decltype(&CSFunc::s_F_b_IEIsProtectedMode), bool (*)()>);
static_assert(std::is_empty_v<CSFunc> && std::is_trivially_destructible_v<CSFunc>);

std::wstring Wide(const CStringW& text)
{
    return std::wstring(text.GetString(), static_cast<std::size_t>(text.GetLength()));
}

std::string Narrow(const CStringA& text)
{
    return std::string(text.GetString(), static_cast<std::size_t>(text.GetLength()));
}

// ---- UTF-8 -------------------------------------------------------------------------------------

std::wstring FromUtf8(const std::string& text)
{
    return Wide(CSFunc::s_F_s_Utf8ToUnicode(CStringA(text.data(), static_cast<int>(text.size()))));
}

std::string ToUtf8(const std::wstring& text)
{
    return Narrow(
        CSFunc::s_F_s_UnicodeToUtf8(CStringW(text.data(), static_cast<int>(text.size()))));
}

void AppendUtf8(std::string& text, unsigned scalar)
{
    const auto append = [&text](unsigned byte) { text += static_cast<char>(byte); };
    if (scalar < 0x80)
    {
        append(scalar);
    }
    else if (scalar < 0x800)
    {
        append(0xC0 | scalar >> 6);
        append(0x80 | (scalar & 0x3F));
    }
    else if (scalar < 0x10000)
    {
        append(0xE0 | scalar >> 12);
        append(0x80 | (scalar >> 6 & 0x3F));
        append(0x80 | (scalar & 0x3F));
    }
    else
    {
        append(0xF0 | scalar >> 18);
        append(0x80 | (scalar >> 12 & 0x3F));
        append(0x80 | (scalar >> 6 & 0x3F));
        append(0x80 | (scalar & 0x3F));
    }
}

void AppendUtf16(std::wstring& text, unsigned scalar)
{
    if (scalar < 0x10000)
    {
        text += static_cast<wchar_t>(scalar);
    }
    else
    {
        text += static_cast<wchar_t>(0xD800 + ((scalar - 0x10000) >> 10));
        text += static_cast<wchar_t>(0xDC00 + (scalar & 0x3FF));
    }
}

TEST(SysutilContractUtf8, OfFourBytesBecomesSurrogatePairsAndComesBackUnchanged)
{
    const std::string utf8 = "a\xF0\x9F\x8E\xA5z\xF4\x8F\xBF\xBF";
    const std::wstring utf16 = L"a\xD83C\xDFA5z\xDBFF\xDFFF";
    EXPECT_EQ(FromUtf8(utf8), utf16);
    EXPECT_EQ(ToUtf8(utf16), utf8);
}

TEST(SysutilContractUtf8, OfEveryCharacterConvertsBothWays)
{
    std::string utf8;
    std::wstring utf16;
    for (unsigned scalar = 1; scalar <= 0x10FFFF; ++scalar)
    {
        if (scalar < 0xD800 || scalar > 0xDFFF)
        {
            AppendUtf8(utf8, scalar);
            AppendUtf16(utf16, scalar);
        }
    }
    EXPECT_TRUE(FromUtf8(utf8) == utf16);
    EXPECT_TRUE(ToUtf8(utf16) == utf8);
}

TEST(SysutilContractUtf8, OfNoTextIsNoText)
{
    EXPECT_EQ(FromUtf8(""), L"");
    EXPECT_EQ(ToUtf8(L""), "");
}

TEST(SysutilContractUtf8, EndsAtATerminatorWithinTheText)
{
    EXPECT_EQ(FromUtf8(std::string("ab\0cd", 5)), L"ab");
    EXPECT_EQ(ToUtf8(std::wstring(L"ab\0cd", 5)), "ab");
}

TEST(SysutilContractUtf8, ThatIsInvalidConvertsAsThePlatformConvertsItWithoutFlags)
{
    for (const char* text : {"\x80", "a\xC3", "\xC0\xAF", "\xED\xA0\x80", "\xF5\x80\x80\x80",
                             "x\xE2\x82y", "\xFF\xFE"})
    {
        wchar_t expected[32] = L"";
        ASSERT_GT(MultiByteToWideChar(CP_UTF8, 0, text, -1, expected, 32), 0);
        EXPECT_EQ(FromUtf8(text), expected);
    }
}

TEST(SysutilContractUtf8, OfALoneSurrogateIsThePlatforms)
{
    for (const wchar_t* text : {L"\xD800", L"a\xDC00z", L"\xDC00\xD800", L"\xD83C"})
    {
        char expected[32] = "";
        ASSERT_GT(WideCharToMultiByte(CP_UTF8, 0, text, -1, expected, 32, nullptr, nullptr), 0);
        EXPECT_EQ(ToUtf8(text), expected);
    }
}

int WINAPI RefusedConversion(UINT, DWORD, LPCCH, int, LPWSTR, int)
{
    SetLastError(ERROR_NO_UNICODE_TRANSLATION);
    return 0;
}

TEST(SysutilContractUtf8, ThatCannotBeConvertedGivesNoText)
{
    CStringW result(L"before");
    {
        const CStringA text("abcdef");
        const ImportPatch patch("MultiByteToWideChar", RefusedConversion);
        result = CSFunc::s_F_s_Utf8ToUnicode(text);
    }
    EXPECT_EQ(Wide(result), L"");
}

// ---- Hexadecimal -------------------------------------------------------------------------------

std::wstring HexOf(std::vector<unsigned char> bytes)
{
    return Wide(CSFunc::s_F_s_ByteToHexStr(bytes.data(), static_cast<int>(bytes.size())));
}

/// The bytes of a buffer that was filled with @p fill.
std::vector<unsigned char> BytesOf(const std::wstring& hex, int max, std::size_t room,
                                   unsigned char fill = 0xEE)
{
    std::vector<unsigned char> bytes(room, fill);
    CSFunc::s_S_HexStrToByte(CStringW(hex.c_str()), bytes.data(), max);
    return bytes;
}

using Bytes = std::vector<unsigned char>;

TEST(SysutilContractHexOfBytes, IsTwoCapitalDigitsForEachHighNibbleFirst)
{
    EXPECT_EQ(HexOf({0x0A, 0xFF}), L"0AFF");
    EXPECT_EQ(HexOf({0x00, 0x7F, 0xA5}), L"007FA5");
}

TEST(SysutilContractHexOfBytes, WritesEveryByte)
{
    Bytes bytes;
    std::wstring expected;
    for (unsigned value = 0; value < 256; ++value)
    {
        bytes.push_back(static_cast<unsigned char>(value));
        expected += L"0123456789ABCDEF"[value / 16];
        expected += L"0123456789ABCDEF"[value % 16];
    }
    EXPECT_EQ(HexOf(bytes), expected);
}

TEST(SysutilContractHexOfBytes, OfZeroOrFewerIsNoText)
{
    unsigned char bytes[] = {1, 2};
    for (const int count : {0, -1, INT_MIN})
    {
        EXPECT_EQ(Wide(CSFunc::s_F_s_ByteToHexStr(bytes, count)), L"");
        EXPECT_EQ(Wide(CSFunc::s_F_s_ByteToHexStr(nullptr, count)), L"");
    }
}

TEST(SysutilContractBytesOfHex, StopWhenTheirRoomIsUsedUp)
{
    EXPECT_EQ(BytesOf(L"0aff", 1, 3), (Bytes{0x0A, 0xEE, 0xEE}));
    EXPECT_EQ(BytesOf(L"0aff", 0, 3), (Bytes{0xEE, 0xEE, 0xEE}));
    EXPECT_EQ(BytesOf(L"0aff", -1, 3), (Bytes{0xEE, 0xEE, 0xEE}));
    EXPECT_EQ(BytesOf(L"0aff", INT_MIN, 3), (Bytes{0xEE, 0xEE, 0xEE}));
}

TEST(SysutilContractBytesOfHex, EndWithTheText)
{
    EXPECT_EQ(BytesOf(L"0aff", 4, 4), (Bytes{0x0A, 0xFF, 0xEE, 0xEE}));
    EXPECT_EQ(BytesOf(L"", 2, 2), (Bytes{0xEE, 0xEE}));
    EXPECT_EQ(BytesOf(L"12", INT_MAX, 2), (Bytes{0x12, 0xEE}));
}

TEST(SysutilContractBytesOfHex, AreReadFromDigitsOfEitherCase)
{
    EXPECT_EQ(BytesOf(L"aAbBcCdDeEfF0199", 8, 8),
              (Bytes{0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF, 0x01, 0x99}));
}

TEST(SysutilContractBytesOfHex, AreZeroForAPairThatStartsWithNoDigit)
{
    EXPECT_EQ(BytesOf(L"g112", 2, 2), (Bytes{0x00, 0x12}));
    EXPECT_EQ(BytesOf(L"zz:a", 2, 2), (Bytes{0x00, 0x00}));
}

TEST(SysutilContractBytesOfHex, AreTheFirstDigitForAPairWithoutASecond)
{
    EXPECT_EQ(BytesOf(L"1gAz9 ", 3, 3), (Bytes{0x01, 0x0A, 0x09}));
}

TEST(SysutilContractBytesOfHex, AreThoseOfTheRuntimeForEveryPairOfLettersAndDigits)
{
    const std::wstring characters =
        L"0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
    for (const wchar_t first : characters)
    {
        for (const wchar_t second : characters)
        {
            const char pair[] = {static_cast<char>(first), static_cast<char>(second), '\0'};
            const auto expected = static_cast<unsigned char>(std::strtol(pair, nullptr, 16));
            ASSERT_EQ(BytesOf({first, second}, 2, 2), (Bytes{expected, 0xEE})) << pair;
        }
    }
}

TEST(SysutilContractBytesOfHex, AreReadFromTheTextInTheAnsiCodePage)
{
    // Full-width digits may have a likeness in the code page; an ideograph has none.
    const std::wstring text =
        L"\xFF21\xFF11\x4E2D\x4E2D\x00E9"
        L"15a";
    char ansi[64] = "";
    ASSERT_GT(WideCharToMultiByte(CP_ACP, 0, text.c_str(), -1, ansi, 64, nullptr, nullptr), 0);
    ASSERT_EQ(std::string(ansi).size() % 2, 0u);
    Bytes expected;
    for (const char* at = ansi; *at != '\0'; at += 2)
    {
        const char pair[] = {at[0], at[1], '\0'};
        expected.push_back(static_cast<unsigned char>(std::strtol(pair, nullptr, 16)));
    }
    EXPECT_EQ(BytesOf(text, static_cast<int>(expected.size()), expected.size()), expected);
}

TEST(SysutilContractBytesOfHex, OfAnOddNumberOfCharactersEndWithTheLastOnesOwnValue)
{
    EXPECT_EQ(BytesOf(L"abc", 4, 4), (Bytes{0xAB, 0x0C, 0xEE, 0xEE}));
    EXPECT_EQ(BytesOf(L"7", 4, 4), (Bytes{0x07, 0xEE, 0xEE, 0xEE}));
}

TEST(SysutilContractBytesOfHex, ComeBackFromTheTextOfBytes)
{
    Bytes bytes;
    for (unsigned value = 0; value < 256; ++value)
    {
        bytes.push_back(static_cast<unsigned char>(255 - value));
    }
    EXPECT_EQ(BytesOf(HexOf(bytes), 256, 256), bytes);
}

// ---- The folder dialog -------------------------------------------------------------------------

std::wstring CurrentFolder()
{
    wchar_t path[MAX_PATH] = L"";
    GetCurrentDirectoryW(MAX_PATH, path);
    return path;
}

std::wstring NewFolder(const wchar_t* name)
{
    const std::wstring path = CurrentFolder() + L'\\' + name;
    std::filesystem::create_directory(path);
    return path;
}

/// What the dialog was asked to do.
struct FolderRequest
{
    int calls = 0;
    HWND owner = nullptr;
    bool hasRoot = false;
    std::wstring root;
    bool hasDisplayName = false;
    std::wstring title;
    UINT flags = 0;
    bool hasCallback = false;
    LPARAM value = 0;
    HRESULT initialised = E_FAIL;
};

FolderRequest g_request;
std::wstring g_answer;  // a path, or what SHParseDisplayName() takes; empty: cancelled

PIDLIST_ABSOLUTE WINAPI AnsweredDialog(BROWSEINFOW* info)
{
    ++g_request.calls;
    g_request.owner = info->hwndOwner;
    g_request.hasRoot = info->pidlRoot != nullptr;
    wchar_t path[MAX_PATH] = L"";
    if (g_request.hasRoot && SHGetPathFromIDListW(info->pidlRoot, path) != FALSE)
    {
        g_request.root = path;
    }
    g_request.hasDisplayName = info->pszDisplayName != nullptr;
    if (g_request.hasDisplayName)
    {
        std::wmemset(info->pszDisplayName, L'n', MAX_PATH - 1);
        info->pszDisplayName[MAX_PATH - 1] = L'\0';
    }
    g_request.title = info->lpszTitle;
    g_request.flags = info->ulFlags;
    g_request.hasCallback = info->lpfn != nullptr;
    g_request.value = info->lParam;
    g_request.initialised = OleInitialize(nullptr);
    OleUninitialize();

    PIDLIST_ABSOLUTE answer = nullptr;
    if (!g_answer.empty())
    {
        EXPECT_EQ(SHParseDisplayName(g_answer.c_str(), nullptr, &answer, 0, nullptr), S_OK);
    }
    return answer;
}

std::wstring FolderAnswered(const std::wstring& answer, const wchar_t* title = L"",
                            HWND owner = nullptr, const wchar_t* root = L"",
                            const wchar_t* initial = L"", bool newFolder = false)
{
    g_request = {};
    g_answer = answer;
    const ImportPatch patch("SHBrowseForFolderW", AnsweredDialog);
    const std::wstring folder =
        Wide(CSFunc::s_F_s_GetFolder(title, owner, root, initial, newFolder));
    EXPECT_EQ(g_request.calls, 1);
    return folder;
}

TEST(SysutilContractFolder, IsThePathThatTheUserChose)
{
    const std::wstring folder = NewFolder(L"chosen");
    EXPECT_EQ(FolderAnswered(folder), folder);
}

TEST(SysutilContractFolder, IsEmptyWhenTheUserCancels)
{
    EXPECT_EQ(FolderAnswered(L""), L"");
}

TEST(SysutilContractFolder, IsEmptyWhenTheChosenItemHasNoPath)
{
    // The computer itself.
    EXPECT_EQ(FolderAnswered(L"::{20D04FE0-3AEA-1069-A2D8-08002B30309D}"), L"");
}

TEST(SysutilContractFolder, IsAskedForWithTheTitleAndTheOwner)
{
    const HWND owner = GetDesktopWindow();
    FolderAnswered(L"", L"Where are the recordings? \x00E9", owner);
    EXPECT_EQ(g_request.title, L"Where are the recordings? \x00E9");
    EXPECT_EQ(g_request.owner, owner);
    EXPECT_TRUE(g_request.hasDisplayName);
    EXPECT_FALSE(g_request.hasCallback);
    FolderAnswered(L"");
    EXPECT_EQ(g_request.owner, nullptr);
}

TEST(SysutilContractFolder, MayBeMadeInTheDialogOnlyWhenThatIsWanted)
{
    FolderAnswered(L"", L"", nullptr, L"", L"", true);
    EXPECT_EQ(g_request.flags, 0x50u);
    FolderAnswered(L"", L"", nullptr, L"", L"", false);
    EXPECT_EQ(g_request.flags, 0x250u);
}

TEST(SysutilContractFolder, OfTheBeginningIsOnlyTheApplicationValueOne)
{
    FolderAnswered(L"", L"", nullptr, L"", CurrentFolder().c_str());
    EXPECT_EQ(g_request.value, 1);
    EXPECT_FALSE(g_request.hasCallback);
    FolderAnswered(L"", L"", nullptr, L"", L"");
    EXPECT_EQ(g_request.value, 0);
}

TEST(SysutilContractFolder, IsChosenBelowTheRootThatIsGiven)
{
    const std::wstring root = NewFolder(L"root");
    FolderAnswered(L"", L"", nullptr, root.c_str());
    ASSERT_TRUE(g_request.hasRoot);
    EXPECT_EQ(g_request.root, root);
}

TEST(SysutilContractFolder, HasNoRootWhenNoneIsGivenOrItIsNotThere)
{
    FolderAnswered(L"", L"", nullptr, L"");
    EXPECT_FALSE(g_request.hasRoot);
    FolderAnswered(L"", L"", nullptr, (CurrentFolder() + L"\\missing\\root").c_str());
    EXPECT_FALSE(g_request.hasRoot);
}

TEST(SysutilContractFolder, IsAskedForWithOleInitialisedAndLeavesTheThreadWithoutIt)
{
    std::thread(
        []
        {
            FolderAnswered(L"");
            EXPECT_EQ(g_request.initialised, S_FALSE) << "OLE was not initialised yet";
            const HRESULT after = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
            EXPECT_EQ(after, S_OK) << "the thread is still in an apartment";
            if (SUCCEEDED(after))
            {
                CoUninitialize();
            }
        })
        .join();
}

/// A dialog of this process as a user sees it.
struct SeenDialog
{
    HWND window = nullptr;
    HWND owner = nullptr;
    bool showsTitle = false;
    std::wstring title;
};

BOOL CALLBACK FindTitle(HWND child, LPARAM parameter)
{
    auto& seen = *reinterpret_cast<SeenDialog*>(parameter);
    wchar_t text[200] = L"";
    GetWindowTextW(child, text, 200);
    seen.showsTitle = seen.showsTitle || seen.title == text;
    return TRUE;
}

BOOL CALLBACK FindDialog(HWND window, LPARAM parameter)
{
    auto& seen = *reinterpret_cast<SeenDialog*>(parameter);
    wchar_t name[32] = L"";
    GetClassNameW(window, name, 32);
    DWORD process = 0;
    GetWindowThreadProcessId(window, &process);
    if (process == GetCurrentProcessId() && std::wstring(name) == L"#32770" &&
        IsWindowVisible(window) != FALSE)
    {
        seen.window = window;
        seen.owner = GetWindow(window, GW_OWNER);
        EnumChildWindows(window, FindTitle, parameter);
        return FALSE;
    }
    return TRUE;
}

/// Shows the real dialog and presses a button as soon as it is there.
std::wstring FolderFromDialog(SeenDialog& seen, WPARAM button, HWND owner, const std::wstring& root)
{
    std::atomic<bool> closed = false;
    std::thread user(
        [&]
        {
            for (int looks = 0; !closed; ++looks)
            {
                Sleep(50);
                SeenDialog now;
                now.title = seen.title;
                EnumWindows(FindDialog, reinterpret_cast<LPARAM>(&now));
                // A dialog without its title is closed too, only later.
                if (now.window != nullptr && (now.showsTitle || looks > 200))
                {
                    seen = now;
                    PostMessageW(now.window, WM_COMMAND, button, 0);
                }
            }
        });
    const std::wstring folder =
        Wide(CSFunc::s_F_s_GetFolder(seen.title.c_str(), owner, root.c_str(), L"", false));
    closed = true;
    user.join();
    return folder;
}

TEST(SysutilContractFolderDialog, ThatIsCancelledGivesNoFolder)
{
    const HWND owner = CreateWindowExW(0, L"STATIC", L"owner", WS_OVERLAPPEDWINDOW, 0, 0, 200, 100,
                                       nullptr, nullptr, nullptr, nullptr);
    ASSERT_NE(owner, nullptr);
    SeenDialog seen;
    seen.title = L"Choose the archive";
    EXPECT_EQ(FolderFromDialog(seen, IDCANCEL, owner, L""), L"");
    EXPECT_TRUE(seen.showsTitle);
    EXPECT_EQ(seen.owner, owner);
    DestroyWindow(owner);
}

TEST(SysutilContractFolderDialog, ThatIsConfirmedAtOnceGivesItsRoot)
{
    const std::wstring root = NewFolder(L"confirmed");
    SeenDialog seen;
    seen.title = L"Choose the root";
    EXPECT_EQ(FolderFromDialog(seen, IDOK, nullptr, root), root);
    EXPECT_TRUE(seen.showsTitle);
}

// ---- The browser's protected mode --------------------------------------------------------------

HRESULT g_answerResult = S_OK;
BOOL g_answerMode = FALSE;
std::string g_nameAsked;
int g_released = 0;

HRESULT WINAPI AnsweredMode(BOOL* mode)
{
    *mode = g_answerMode;
    return g_answerResult;
}

FARPROC WINAPI FoundFunction(HMODULE, LPCSTR name)
{
    g_nameAsked = name;
    return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(AnsweredMode));
}

FARPROC WINAPI MissingFunction(HMODULE, LPCSTR)
{
    SetLastError(ERROR_PROC_NOT_FOUND);
    return nullptr;
}

BOOL WINAPI CountedRelease(HMODULE module)
{
    ++g_released;
    return FreeLibrary(module);
}

bool ModeAnswered(HRESULT result, BOOL mode)
{
    g_answerResult = result;
    g_answerMode = mode;
    const ImportPatch patch("GetProcAddress", FoundFunction);
    return CSFunc::s_F_b_IEIsProtectedMode();
}

TEST(SysutilContractProtectedMode, IsTrueOnlyWhenTheCallSucceedsAndSaysSo)
{
    EXPECT_TRUE(ModeAnswered(S_OK, TRUE));
    EXPECT_EQ(g_nameAsked, "IEIsProtectedModeProcess");
    EXPECT_FALSE(ModeAnswered(S_OK, FALSE));
    EXPECT_FALSE(ModeAnswered(E_FAIL, TRUE));
    EXPECT_FALSE(ModeAnswered(E_NOTIMPL, FALSE));
}

TEST(SysutilContractProtectedMode, IsFalseWhenTheLibraryLacksTheFunction)
{
    const ImportPatch patch("GetProcAddress", MissingFunction);
    EXPECT_FALSE(CSFunc::s_F_b_IEIsProtectedMode());
}

TEST(SysutilContractProtectedMode, UnloadsTheLibraryAgain)
{
    const bool loadedBefore = GetModuleHandleW(L"ieframe.dll") != nullptr;
    const ImportPatch release("FreeLibrary", CountedRelease);
    g_released = 0;
    ModeAnswered(S_OK, TRUE);
    EXPECT_EQ(g_released, 1);
    EXPECT_EQ(GetModuleHandleW(L"ieframe.dll") != nullptr, loadedBefore);
}

// Whatever further arguments the call has, they are not looked at.
HMODULE WINAPI MissingLibrary(const void*)
{
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
}

TEST(SysutilContractProtectedMode, IsFalseWithoutTheBrowsersLibrary)
{
    // The function would say yes, were it asked.
    const ImportPatch found("GetProcAddress", FoundFunction);
    g_answerResult = S_OK;
    g_answerMode = TRUE;
    using Patch = ImportPatch<HMODULE WINAPI(const void*)>;
    std::vector<std::unique_ptr<Patch>> patches;
    for (const char* name : {"LoadLibraryW", "LoadLibraryA", "LoadLibraryExW", "LoadLibraryExA"})
    {
        try
        {
            patches.push_back(std::make_unique<Patch>(name, MissingLibrary));
        }
        catch (const std::runtime_error&)
        {
            // The DLL uses another one of them.
        }
    }
    ASSERT_FALSE(patches.empty());
    EXPECT_FALSE(CSFunc::s_F_b_IEIsProtectedMode());
}

}  // namespace
