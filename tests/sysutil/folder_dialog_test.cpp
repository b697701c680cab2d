#include <gtest/gtest.h>
#include <winsock2.h>

#include <windows.h>

#include <ole2.h>
#include <shlobj.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "CSFunc.h"
#include "net/process_resources.h"
#include "support/import_patch.h"
#include "sysutil/temporary_folder.h"

namespace
{

using ostrel::test::ImportPatch;
using ostrel::test::TemporaryFolder;

constexpr ULONGLONG kDeadline = 60000;

// ---- The dialog itself, opened and answered --------------------------------------------------

BOOL CALLBACK TakeDialog(HWND window, LPARAM found)
{
    DWORD pid = 0;
    GetWindowThreadProcessId(window, &pid);
    wchar_t name[32] = {};
    GetClassNameW(window, name, 32);
    if (pid == GetCurrentProcessId() && IsWindowVisible(window) && name == std::wstring(L"#32770"))
    {
        *reinterpret_cast<HWND*>(found) = window;
        return FALSE;
    }
    return TRUE;
}

// @return the folder dialog of this process; null when it does not come in a long time.
HWND AwaitDialog()
{
    HWND dialog = nullptr;
    for (const ULONGLONG start = GetTickCount64();
         dialog == nullptr && GetTickCount64() - start < kDeadline; Sleep(20))
    {
        EnumWindows(TakeDialog, reinterpret_cast<LPARAM>(&dialog));
    }
    return dialog;
}

// Answers the dialog that comes up while it lives, as a user would: looks, acts, presses a button.
class User
{
public:
    explicit User(
        WORD button, std::function<void(HWND)> act = [](HWND) {})
        : vm_thread(
              [this, button, act]
              {
                  const HWND dialog = AwaitDialog();
                  vm_bCame = dialog != nullptr;
                  if (dialog != nullptr)
                  {
                      act(dialog);
                  }
                  // Again, should the dialog not have been ready for it.
                  for (int i = 0; i < 1200 && dialog != nullptr && IsWindow(dialog); ++i)
                  {
                      if (i % 5 == 0)
                      {
                          PostMessageW(dialog, WM_COMMAND, button, 0);
                      }
                      Sleep(20);
                  }
              })
    {
    }
    ~User()
    {
        vm_thread.join();
        EXPECT_TRUE(vm_bCame) << "no dialog";
    }
    User(const User&) = delete;
    User& operator=(const User&) = delete;

private:
    std::atomic<bool> vm_bCame{false};
    std::thread vm_thread;
};

struct Texts
{
    std::wstring wanted;
    bool isFound = false;
};

BOOL CALLBACK LookForText(HWND window, LPARAM parameter)
{
    auto* const texts = reinterpret_cast<Texts*>(parameter);
    wchar_t text[256] = {};
    SendMessageTimeoutW(window, WM_GETTEXT, 256, reinterpret_cast<LPARAM>(text), SMTO_ABORTIFHUNG,
                        5000, nullptr);
    texts->isFound = texts->isFound || texts->wanted == text;
    return TRUE;
}

TEST(FolderDialog, CancellingGivesAnEmptyText)
{
    const User user(IDCANCEL);
    EXPECT_TRUE(CSFunc::s_F_s_GetFolder(L"Choose", nullptr, L"", L"", true).IsEmpty());
}

TEST(FolderDialog, AcceptingGivesTheFolderThatIsSelected)
{
    const TemporaryFolder folder(L"folder_\x0416_\x5F55");
    const User user(IDOK);
    const CStringW chosen =
        CSFunc::s_F_s_GetFolder(L"Choose", nullptr, folder.Path().c_str(), L"", false);
    // At first it is the root that is selected.
    EXPECT_EQ(chosen.CompareNoCase(folder.Path().c_str()), 0) << CStringA(chosen).GetString();
}

TEST(FolderDialog, ShowsTheTitle)
{
    bool isShown = false;
    {
        const User user(IDCANCEL,
                        [&](HWND dialog)
                        {
                            Texts texts{L"Where the records go"};
                            for (int i = 0; i < 500 && !texts.isFound; ++i)
                            {
                                EnumChildWindows(dialog, LookForText,
                                                 reinterpret_cast<LPARAM>(&texts));
                                Sleep(20);
                            }
                            isShown = texts.isFound;
                        });
        CSFunc::s_F_s_GetFolder(L"Where the records go", nullptr, L"", L"", true);
    }
    EXPECT_TRUE(isShown);
}

TEST(FolderDialog, OpensAgainAndAgainWithoutLoss)
{
    const TemporaryFolder folder(L"folder_dialog_test");
    const auto chooseOnce = [&]
    {
        const User user(IDOK);
        EXPECT_FALSE(CSFunc::s_F_s_GetFolder(L"Choose", nullptr, folder.Path().c_str(), L"", true)
                         .IsEmpty());
    };
    chooseOnce();
    const ostrel::test::ProcessResources before = ostrel::test::MeasureResources();
    for (int i = 0; i < 2; ++i)
    {
        chooseOnce();
    }
    ostrel::test::ExpectNothingLeftBehind(before, 1, 8192);
}

// ---- What the shell is asked for ----------------------------------------------------------------

// The shell, as far as it is asked: the dialog that it was to show, and what it gives.
struct Shell
{
    UINT flags = 0;
    HWND owner = nullptr;
    std::wstring title;
    bool hasRoot = false;
    std::wstring root;
    bool hasCallback = false;
    LPARAM parameter = 0;
    bool isApartmentEntered = false;
    std::wstring gives;  // empty: the user cancels
    bool hasPath = true;
    std::vector<const void*> freed;
    const void* rootList = nullptr;
    const void* chosenList = nullptr;
    int entered = 0;
    int left = 0;
    HRESULT enterResult = S_OK;
};

Shell g_shell;

LPITEMIDLIST WINAPI Browse(BROWSEINFOW* browse)
{
    g_shell.flags = browse->ulFlags;
    g_shell.owner = browse->hwndOwner;
    g_shell.title = browse->lpszTitle;
    g_shell.hasRoot = browse->pidlRoot != nullptr;
    g_shell.rootList = browse->pidlRoot;
    g_shell.hasCallback = browse->lpfn != nullptr;
    g_shell.parameter = browse->lParam;
    g_shell.isApartmentEntered = g_shell.entered == 1 && g_shell.left == 0;
    wchar_t path[MAX_PATH] = {};
    if (g_shell.hasRoot && SHGetPathFromIDListW(browse->pidlRoot, path))
    {
        g_shell.root = path;
    }
    // The room that the record promises.
    std::fill(browse->pszDisplayName, browse->pszDisplayName + MAX_PATH - 1, L'n');
    if (g_shell.gives.empty())
    {
        return nullptr;
    }
    LPITEMIDLIST chosen = nullptr;
    EXPECT_EQ(SHParseDisplayName(g_shell.gives.c_str(), nullptr, &chosen, 0, nullptr), S_OK);
    g_shell.chosenList = chosen;
    return chosen;
}

BOOL WINAPI PathOfList(LPCITEMIDLIST list, wchar_t* path)
{
    EXPECT_EQ(list, g_shell.chosenList);
    return g_shell.hasPath ? SHGetPathFromIDListW(list, path) : FALSE;
}

void WINAPI NoteFreed(void* block)
{
    g_shell.freed.push_back(block);
    CoTaskMemFree(block);
}

HRESULT WINAPI Enter(void* reserved)
{
    EXPECT_EQ(reserved, nullptr);
    ++g_shell.entered;
    return SUCCEEDED(g_shell.enterResult) ? OleInitialize(nullptr) : g_shell.enterResult;
}

void WINAPI Leave()
{
    ++g_shell.left;
    OleUninitialize();
}

class FolderRequest : public testing::Test
{
protected:
    FolderRequest() { g_shell = Shell(); }

    static std::wstring Ask(const std::wstring& title, HWND owner, const std::wstring& root,
                            const std::wstring& initial, bool isNewAllowed)
    {
        const ImportPatch browse("SHBrowseForFolderW", Browse);
        const ImportPatch path("SHGetPathFromIDListW", PathOfList);
        const ImportPatch free("CoTaskMemFree", NoteFreed);
        const ImportPatch enter("OleInitialize", Enter);
        const ImportPatch leave("OleUninitialize", Leave);
        return CSFunc::s_F_s_GetFolder(title.c_str(), owner, root.c_str(), initial.c_str(),
                                       isNewAllowed)
            .GetString();
    }

    static size_t TimesFreed(const void* list)
    {
        return static_cast<size_t>(std::count(g_shell.freed.begin(), g_shell.freed.end(), list));
    }
};

TEST_F(FolderRequest, HasTheCallersTitleAndOwner)
{
    const HWND owner = GetDesktopWindow();
    EXPECT_EQ(Ask(L"T\x0416", owner, L"", L"", true), L"");
    EXPECT_EQ(g_shell.title, L"T\x0416");
    EXPECT_EQ(g_shell.owner, owner);
    EXPECT_FALSE(g_shell.hasCallback);
}

TEST_F(FolderRequest, FlagsSayWhetherNewFoldersMayBeMade)
{
    Ask(L"", nullptr, L"", L"", true);
    EXPECT_EQ(g_shell.flags, 0x50U);
    Ask(L"", nullptr, L"", L"", false);
    EXPECT_EQ(g_shell.flags, 0x250U);
}

TEST_F(FolderRequest, TheInitialFolderIsOnlyToldToBeThere)
{
    Ask(L"", nullptr, L"", L"", true);
    EXPECT_EQ(g_shell.parameter, 0);
    Ask(L"", nullptr, L"", L"C:\\windows", true);
    EXPECT_EQ(g_shell.parameter, 1);
}

TEST_F(FolderRequest, WithoutARootThereIsNone)
{
    Ask(L"", nullptr, L"", L"", true);
    EXPECT_FALSE(g_shell.hasRoot);
}

TEST_F(FolderRequest, TheRootIsTheFolderAndIsFreed)
{
    Ask(L"", nullptr, L"C:\\windows", L"", true);
    EXPECT_TRUE(g_shell.hasRoot);
    EXPECT_EQ(_wcsicmp(g_shell.root.c_str(), L"C:\\windows"), 0);
    EXPECT_EQ(TimesFreed(g_shell.rootList), 1U);
}

TEST_F(FolderRequest, ARootThatIsNotThereIsNone)
{
    Ask(L"", nullptr, L"C:\\none\\at all", L"", true);
    EXPECT_FALSE(g_shell.hasRoot);
    Ask(L"", nullptr, L"?*<>|", L"", true);
    EXPECT_FALSE(g_shell.hasRoot);
}

TEST_F(FolderRequest, WhatTheUserChoseIsTheResultAndIsFreed)
{
    g_shell.gives = L"C:\\windows\\system32";
    EXPECT_EQ(
        _wcsicmp(Ask(L"", nullptr, L"C:\\windows", L"", true).c_str(), L"C:\\windows\\system32"),
        0);
    EXPECT_EQ(TimesFreed(g_shell.chosenList), 1U);
    EXPECT_EQ(TimesFreed(g_shell.rootList), 1U);
}

TEST_F(FolderRequest, WhatHasNoPathGivesAnEmptyTextAndIsFreed)
{
    g_shell.gives = L"C:\\windows";
    g_shell.hasPath = false;
    EXPECT_EQ(Ask(L"", nullptr, L"", L"", true), L"");
    EXPECT_EQ(TimesFreed(g_shell.chosenList), 1U);
}

TEST_F(FolderRequest, TheApartmentIsEnteredAroundItAndLeft)
{
    Ask(L"", nullptr, L"C:\\windows", L"", true);
    EXPECT_TRUE(g_shell.isApartmentEntered);
    EXPECT_EQ(g_shell.left, 1);
}

TEST_F(FolderRequest, AnApartmentThatCannotBeEnteredIsNotLeft)
{
    g_shell.enterResult = RPC_E_CHANGED_MODE;
    Ask(L"", nullptr, L"", L"", true);
    EXPECT_EQ(g_shell.entered, 1);
    EXPECT_EQ(g_shell.left, 0);
}

}  // namespace
