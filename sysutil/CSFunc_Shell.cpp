#include <winsock2.h>

#include <windows.h>

#include <ole2.h>
#include <shlobj.h>

#include <memory>
#include <type_traits>

#include "CSFunc.h"
#include "sysutil/platform_handles.h"

using ostrel::sysutil::UniqueLibrary;

namespace
{

/// Enters the thread's apartment, and leaves it if entering succeeded.
class OleSession
{
public:
    OleSession() : vm_nResult(OleInitialize(nullptr)) {}
    ~OleSession()
    {
        if (SUCCEEDED(vm_nResult))
        {
            OleUninitialize();
        }
    }
    OleSession(const OleSession&) = delete;
    OleSession& operator=(const OleSession&) = delete;

private:
    HRESULT vm_nResult;
};

struct Releaser
{
    void operator()(IUnknown* object) const { object->Release(); }
};

struct ItemListFreer
{
    void operator()(ITEMIDLIST* list) const { CoTaskMemFree(list); }
};
using ItemList = std::unique_ptr<ITEMIDLIST, ItemListFreer>;

/// @return null when there is no such folder.
ItemList ParseFolder(CStringW path)
{
    IShellFolder* found = nullptr;
    if (FAILED(SHGetDesktopFolder(&found)) || found == nullptr)
    {
        return nullptr;
    }
    const std::unique_ptr<IShellFolder, Releaser> desktop(found);
    LPITEMIDLIST list = nullptr;
    const HRESULT result =
        desktop->ParseDisplayName(nullptr, nullptr, path.GetBuffer(), nullptr, &list, nullptr);
    ItemList owner(list);
    return SUCCEEDED(result) ? std::move(owner) : nullptr;
}

}  // namespace

CStringW CSFunc::s_F_s_GetFolder(CStringW sTitle, HWND hOwner, CStringW sRoot, CStringW sInit,
                                 bool bNewFolder)
{
    const OleSession session;
    const ItemList root = sRoot.IsEmpty() ? nullptr : ParseFolder(sRoot);
    wchar_t displayName[MAX_PATH] = {};
    BROWSEINFOW browse = {};
    browse.hwndOwner = hOwner;
    browse.pidlRoot = root.get();
    browse.pszDisplayName = displayName;
    browse.lpszTitle = sTitle;
    browse.ulFlags = BIF_NEWDIALOGSTYLE | BIF_EDITBOX | (bNewFolder ? 0 : BIF_NONEWFOLDERBUTTON);
    // Without a callback nobody reads it; a hook of the dialog could.
    browse.lParam = sInit.IsEmpty() ? 0 : 1;

    const ItemList chosen(SHBrowseForFolderW(&browse));
    wchar_t path[MAX_PATH] = {};
    if (chosen == nullptr || !SHGetPathFromIDListW(chosen.get(), path))
    {
        return CStringW();
    }
    return CStringW(path);
}

bool CSFunc::s_F_b_IEIsProtectedMode()
{
    const UniqueLibrary library(LoadLibraryW(L"ieframe.dll"));
    if (library == nullptr)
    {
        return false;
    }
    using Query = HRESULT(WINAPI*)(BOOL*);
    const auto query = reinterpret_cast<Query>(
        reinterpret_cast<void*>(GetProcAddress(library.get(), "IEIsProtectedModeProcess")));
    BOOL isProtected = FALSE;
    return query != nullptr && SUCCEEDED(query(&isProtected)) && isProtected != FALSE;
}
