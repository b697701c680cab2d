#include <afxwin.h>

#include <memory>
#include <unordered_map>

#include "window_class.h"

// What of CWnd the platform calls and keeps.
struct CWnd::Dispatch
{
    static LRESULT CALLBACK Call(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    static LRESULT CallHandlers(CWnd& wnd, UINT message, WPARAM wParam, LPARAM lParam);
    static LRESULT CALLBACK TakeCreatedWindow(int code, WPARAM wParam, LPARAM lParam);
    static bool Adopt(CWnd& wnd, HWND window);
};

namespace
{

constexpr LPCTSTR kWindowClassName = _T("AfxWnd");

template <typename Value>
using WindowMap = std::unordered_map<HWND, Value, std::hash<HWND>, std::equal_to<HWND>,
                                     CAfxAllocator<std::pair<const HWND, Value>>>;

// A temporary object never owns its window.
struct TemporaryDeleter
{
    void operator()(CWnd* wnd) const
    {
        wnd->m_hWnd = nullptr;
        delete wnd;
    }
};

// The window that CreateWindowEx is asked for at the moment.
struct Creation
{
    CWnd* wnd;
    LPCTSTR className;
    HHOOK hook;
};

struct ThreadWindows
{
    WindowMap<CWnd*> permanent;
    WindowMap<std::unique_ptr<CWnd, TemporaryDeleter>> temporary;
    Creation* creation = nullptr;
};

// The platform itself tells of the end of a thread.
class ThreadSlot
{
public:
    ThreadSlot() : m_index(FlsAlloc(&Delete)) {}
    ~ThreadSlot() { FlsFree(m_index); }
    ThreadSlot(const ThreadSlot&) = delete;
    ThreadSlot& operator=(const ThreadSlot&) = delete;

    ThreadWindows* Find() const { return static_cast<ThreadWindows*>(FlsGetValue(m_index)); }

    ThreadWindows& Get() const
    {
        ThreadWindows* windows = Find();
        if (windows == nullptr)
        {
            std::unique_ptr<ThreadWindows> fresh(new (std::nothrow) ThreadWindows);
            if (fresh == nullptr || !FlsSetValue(m_index, fresh.get()))
            {
                AfxThrowMemoryException();
            }
            windows = fresh.release();
        }
        return *windows;
    }

private:
    static void CALLBACK Delete(void* windows) { delete static_cast<ThreadWindows*>(windows); }

    DWORD m_index;
};

ThreadSlot threadSlot;

// Windows of other classes may be made on the way, such as the one of the input method.
bool IsOfClass(HWND window, LPCTSTR className)
{
    if (IS_INTRESOURCE(className))
    {
        return GetClassLongPtr(window, GCW_ATOM) == reinterpret_cast<ULONG_PTR>(className);
    }
    TCHAR name[256];
    return GetClassName(window, name, static_cast<int>(std::size(name))) > 0 &&
           lstrcmpi(name, className) == 0;
}

void ForgetMainWindow(const CWnd* wnd)
{
    CWinThread* const thread = AfxGetThread();
    if (thread != nullptr && thread->m_pMainWnd == wnd)
    {
        thread->m_pMainWnd = nullptr;
    }
}

}  // namespace

LPCTSTR RegisterWindowClass()
{
    static const bool isRegistered = []
    {
        WNDCLASS description = {};
        description.style = CS_DBLCLKS;
        description.lpfnWndProc = ::DefWindowProc;
        description.hInstance = AfxGetInstanceHandle();
        description.hCursor = LoadCursor(nullptr, IDC_ARROW);
        description.lpszClassName = kWindowClassName;
        return RegisterClass(&description) != 0;
    }();
    static_cast<void>(isRegistered);
    return kWindowClassName;
}

void UnregisterWindowClass()
{
    UnregisterClass(kWindowClassName, AfxGetInstanceHandle());
}

// ---- Messages -----------------------------------------------------------------------------------

LRESULT CALLBACK CWnd::Dispatch::Call(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    CWnd* const wnd = FromHandlePermanent(window);
    if (wnd == nullptr)
    {
        return ::DefWindowProc(window, message, wParam, lParam);
    }
    const LRESULT result = CallHandlers(*wnd, message, wParam, lParam);
    // A handler may have deleted the object.
    if (message == WM_NCDESTROY && FromHandlePermanent(window) == wnd)
    {
        ForgetMainWindow(wnd);
        wnd->Detach();
    }
    return result;
}

// The platform's frames between a handler and the sender of the message let no exception through.
LRESULT CWnd::Dispatch::CallHandlers(CWnd& wnd, UINT message, WPARAM wParam, LPARAM lParam)
{
    try
    {
        return wnd.WindowProc(message, wParam, lParam);
    }
    catch (CException* exception)
    {
        exception->Delete();
        return message == WM_CREATE ? -1 : 0;
    }
}

LRESULT CWnd::WindowProc(UINT message, WPARAM wParam, LPARAM lParam)
{
    LRESULT result = 0;
    return OnWndMsg(message, wParam, lParam, &result) ? result
                                                      : DefWindowProc(message, wParam, lParam);
}

BOOL CWnd::OnWndMsg(UINT message, WPARAM wParam, LPARAM lParam, LRESULT* pResult)
{
    for (const AFX_MSGMAP* map = GetMessageMap();; map = map->pfnGetBaseMap())
    {
        for (const AFX_MSGMAP_ENTRY* entry = map->lpEntries; entry->pfn != nullptr; ++entry)
        {
            if (entry->nMessage == message)
            {
                const LRESULT result = (this->*entry->pfn)(wParam, lParam);
                if (pResult != nullptr)
                {
                    *pResult = result;
                }
                return TRUE;
            }
        }
        if (map->pfnGetBaseMap == nullptr)
        {
            return FALSE;
        }
    }
}

LRESULT CWnd::DefWindowProc(UINT message, WPARAM wParam, LPARAM lParam)
{
    return m_pfnSuper == nullptr ? ::DefWindowProc(m_hWnd, message, wParam, lParam)
                                 : CallWindowProc(m_pfnSuper, m_hWnd, message, wParam, lParam);
}

// ---- Objects and their windows ------------------------------------------------------------------

IMPLEMENT_DYNAMIC(CWnd, CCmdTarget)

BEGIN_MESSAGE_MAP(CWnd, CCmdTarget)
END_MESSAGE_MAP()

CWnd::CWnd() : m_hWnd(nullptr), m_pfnSuper(nullptr) {}

CWnd::~CWnd()
{
    // By name: a derived class's part is gone.
    CWnd::DestroyWindow();
    // For a window that could not be destroyed.
    Detach();
}

// Asked of a null pointer, too: this file is compiled so that the question stays.
HWND CWnd::GetSafeHwnd() const
{
    return this == nullptr ? nullptr : m_hWnd;
}

CWnd* PASCAL CWnd::FromHandle(HWND hWnd)
{
    CWnd* const permanent = FromHandlePermanent(hWnd);
    if (hWnd == nullptr || permanent != nullptr)
    {
        return permanent;
    }
    auto& object = threadSlot.Get().temporary[hWnd];
    if (object == nullptr)
    {
        object.reset(new (std::nothrow) CWnd);
        if (object == nullptr)
        {
            AfxThrowMemoryException();
        }
        object->m_hWnd = hWnd;
    }
    return object.get();
}

CWnd* PASCAL CWnd::FromHandlePermanent(HWND hWnd)
{
    const ThreadWindows* const windows = threadSlot.Find();
    if (windows == nullptr)
    {
        return nullptr;
    }
    const auto found = windows->permanent.find(hWnd);
    return found == windows->permanent.end() ? nullptr : found->second;
}

void PASCAL CWnd::DeleteTempMap()
{
    ThreadWindows* const windows = threadSlot.Find();
    if (windows != nullptr)
    {
        windows->temporary.clear();
    }
}

CWnd* PASCAL CWnd::GetDesktopWindow()
{
    return FromHandle(::GetDesktopWindow());
}

BOOL CWnd::Attach(HWND hWndNew)
{
    if (hWndNew == nullptr)
    {
        return FALSE;
    }
    threadSlot.Get().permanent[hWndNew] = this;
    if (m_hWnd != hWndNew)
    {
        Detach();
    }
    m_hWnd = hWndNew;
    return TRUE;
}

HWND CWnd::Detach()
{
    const HWND window = m_hWnd;
    if (FromHandlePermanent(window) == this)
    {
        threadSlot.Get().permanent.erase(window);
    }
    m_hWnd = nullptr;
    m_pfnSuper = nullptr;
    return window;
}

// ---- Creation and destruction -------------------------------------------------------------------

BOOL CWnd::Create(LPCTSTR lpszClassName, LPCTSTR lpszWindowName, DWORD dwStyle, const RECT& rect,
                  CWnd* pParentWnd, UINT nID, CCreateContext* pContext)
{
    return CreateEx(0, lpszClassName, lpszWindowName, dwStyle | WS_CHILD, rect, pParentWnd, nID,
                    pContext);
}

BOOL CWnd::CreateEx(DWORD dwExStyle, LPCTSTR lpszClassName, LPCTSTR lpszWindowName, DWORD dwStyle,
                    const RECT& rect, CWnd* pParentWnd, UINT nID, LPVOID lpParam)
{
    return CreateEx(dwExStyle, lpszClassName, lpszWindowName, dwStyle, rect.left, rect.top,
                    rect.right - rect.left, rect.bottom - rect.top, pParentWnd->GetSafeHwnd(),
                    reinterpret_cast<HMENU>(static_cast<UINT_PTR>(nID)), lpParam);
}

BOOL CWnd::CreateEx(DWORD dwExStyle, LPCTSTR lpszClassName, LPCTSTR lpszWindowName, DWORD dwStyle,
                    int x, int y, int nWidth, int nHeight, HWND hWndParent, HMENU nIDorHMenu,
                    LPVOID lpParam)
{
    if (lpszClassName == nullptr)
    {
        lpszClassName = RegisterWindowClass();
    }
    // The object shall see the window's first messages, too, and of a class that is not its own.
    Creation*& current = threadSlot.Get().creation;
    Creation creation = {this, lpszClassName, nullptr};
    creation.hook =
        SetWindowsHookEx(WH_CBT, &Dispatch::TakeCreatedWindow, nullptr, GetCurrentThreadId());
    if (creation.hook == nullptr)
    {
        AfxThrowMemoryException();
    }
    Creation* const outer = current;
    current = &creation;
    const HWND window =
        CreateWindowEx(dwExStyle, lpszClassName, lpszWindowName, dwStyle, x, y, nWidth, nHeight,
                       hWndParent, nIDorHMenu, AfxGetInstanceHandle(), lpParam);
    current = outer;
    UnhookWindowsHookEx(creation.hook);
    return window != nullptr;
}

LRESULT CALLBACK CWnd::Dispatch::TakeCreatedWindow(int code, WPARAM wParam, LPARAM lParam)
{
    constexpr LRESULT kRefuseWindow = 1;
    Creation* const creation = threadSlot.Get().creation;
    const HWND window = reinterpret_cast<HWND>(wParam);
    if (code == HCBT_CREATEWND && creation->wnd != nullptr &&
        IsOfClass(window, creation->className))
    {
        CWnd* const wnd = creation->wnd;
        // The windows that this one's own handlers make are not it.
        creation->wnd = nullptr;
        if (!Adopt(*wnd, window))
        {
            return kRefuseWindow;
        }
    }
    return CallNextHookEx(nullptr, code, wParam, lParam);
}

bool CWnd::Dispatch::Adopt(CWnd& wnd, HWND window)
{
    try
    {
        wnd.Attach(window);
    }
    catch (CException* exception)
    {
        exception->Delete();
        return false;
    }
    wnd.m_pfnSuper = reinterpret_cast<WNDPROC>(
        SetWindowLongPtr(window, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&Call)));
    return true;
}

BOOL CWnd::DestroyWindow()
{
    const HWND window = m_hWnd;
    if (window == nullptr || !::DestroyWindow(window))
    {
        return FALSE;
    }
    // A window that was created here is detached by now, and its object may be gone.
    if (FromHandlePermanent(window) == this)
    {
        Detach();
    }
    return TRUE;
}

// ---- What a window is asked ---------------------------------------------------------------------

void CWnd::SetWindowText(LPCTSTR lpszString)
{
    ::SetWindowText(m_hWnd, lpszString);
}

int CWnd::GetWindowText(LPTSTR lpszStringBuf, int nMaxCount) const
{
    return ::GetWindowText(m_hWnd, lpszStringBuf, nMaxCount);
}

void CWnd::GetWindowText(CString& rString) const
{
    const int length = GetWindowTextLength();
    const int copied = GetWindowText(rString.GetBuffer(length + 1), length + 1);
    rString.ReleaseBuffer(copied);
}

int CWnd::GetWindowTextLength() const
{
    return ::GetWindowTextLength(m_hWnd);
}

void CWnd::GetWindowRect(LPRECT lpRect) const
{
    ::GetWindowRect(m_hWnd, lpRect);
}

void CWnd::GetClientRect(LPRECT lpRect) const
{
    ::GetClientRect(m_hWnd, lpRect);
}
