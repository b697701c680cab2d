#include <afxwin.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

namespace
{

constexpr UINT kAsk = WM_USER + 1;
constexpr UINT kTell = WM_USER + 2;
constexpr UINT kThrow = WM_USER + 3;
const RECT kPlace = {10, 20, 110, 70};

// A top-level window that no object of the framework's knows.
class PlainWindow
{
public:
    PlainWindow()
        : m_window(CreateWindowExW(0, L"STATIC", L"plain", WS_POPUP, 40, 50, 300, 200, nullptr,
                                   nullptr, nullptr, nullptr))
    {
    }
    ~PlainWindow() { ::DestroyWindow(m_window); }
    PlainWindow(const PlainWindow&) = delete;
    PlainWindow& operator=(const PlainWindow&) = delete;

    operator HWND() const { return m_window; }

private:
    HWND m_window;
};

class Listener : public CWnd
{
public:
    afx_msg LRESULT OnAsk(WPARAM wParam, LPARAM lParam)
    {
        return static_cast<LRESULT>(wParam) + lParam;
    }
    afx_msg LRESULT OnTell(WPARAM, LPARAM) { return 1; }
    afx_msg LRESULT OnThrow(WPARAM, LPARAM)
    {
        AfxThrowMemoryException();
        return 1;
    }

    std::vector<UINT> m_messages;

protected:
    LRESULT WindowProc(UINT message, WPARAM wParam, LPARAM lParam) override
    {
        m_messages.push_back(message);
        return CWnd::WindowProc(message, wParam, lParam);
    }

    DECLARE_MESSAGE_MAP()
};

BEGIN_MESSAGE_MAP(Listener, CWnd)
ON_MESSAGE(kAsk, &Listener::OnAsk)
ON_MESSAGE(kTell, &Listener::OnTell)
ON_MESSAGE(kThrow, &Listener::OnThrow)
END_MESSAGE_MAP()

class KeenListener : public Listener
{
public:
    afx_msg LRESULT OnTell(WPARAM, LPARAM) { return 2; }

    BOOL Handle(UINT message, LRESULT* result) { return OnWndMsg(message, 0, 0, result); }

protected:
    DECLARE_MESSAGE_MAP()
};

BEGIN_MESSAGE_MAP(KeenListener, Listener)
ON_MESSAGE(kTell, &KeenListener::OnTell)
END_MESSAGE_MAP()

class RefusingListener : public CWnd
{
public:
    afx_msg LRESULT OnCreate(WPARAM, LPARAM)
    {
        AfxThrowMemoryException();
        return 0;
    }

protected:
    DECLARE_MESSAGE_MAP()
};

BEGIN_MESSAGE_MAP(RefusingListener, CWnd)
ON_MESSAGE(WM_CREATE, &RefusingListener::OnCreate)
END_MESSAGE_MAP()

// Creates another window while its own is being created.
class Parent : public CWnd
{
public:
    CWnd m_child;

protected:
    LRESULT WindowProc(UINT message, WPARAM wParam, LPARAM lParam) override
    {
        if (message == WM_CREATE)
        {
            m_child.Create(nullptr, nullptr, WS_CHILD, kPlace, this, 5);
        }
        return CWnd::WindowProc(message, wParam, lParam);
    }
};

BOOL CreatePopup(CWnd& wnd)
{
    return wnd.CreateEx(0, nullptr, _T("popup"), WS_POPUP, kPlace, nullptr, 0);
}

bool Holds(const std::vector<UINT>& messages, UINT message)
{
    return std::find(messages.begin(), messages.end(), message) != messages.end();
}

// ---- Handles and objects ------------------------------------------------------------------------

TEST(Window, HasNoHandleAtFirst)
{
    CWnd wnd;
    EXPECT_EQ(wnd.m_hWnd, nullptr);
    EXPECT_EQ(wnd.GetSafeHwnd(), nullptr);
    EXPECT_EQ(static_cast<HWND>(wnd), nullptr);
    EXPECT_FALSE(wnd.DestroyWindow());
    EXPECT_EQ(wnd.Detach(), nullptr);
}

TEST(Window, ANullPointerHasNoHandle)
{
    CWnd* volatile none = nullptr;
    EXPECT_EQ(none->GetSafeHwnd(), nullptr);
}

TEST(Window, AttachTakesAWindowAndDetachGivesItBack)
{
    const PlainWindow plain;
    CWnd wnd;
    EXPECT_TRUE(wnd.Attach(plain));
    EXPECT_EQ(wnd.GetSafeHwnd(), plain);
    EXPECT_EQ(CWnd::FromHandle(plain), &wnd);
    EXPECT_EQ(CWnd::FromHandlePermanent(plain), &wnd);
    EXPECT_EQ(wnd.Detach(), plain);
    EXPECT_EQ(wnd.GetSafeHwnd(), nullptr);
    EXPECT_EQ(CWnd::FromHandlePermanent(plain), nullptr);
    EXPECT_TRUE(IsWindow(plain));
}

TEST(Window, AttachRefusesNull)
{
    CWnd wnd;
    EXPECT_FALSE(wnd.Attach(nullptr));
}

TEST(Window, AttachLeavesTheMessagesWhereTheyWent)
{
    const PlainWindow plain;
    Listener listener;
    listener.Attach(plain);
    SendMessage(plain, kAsk, 1, 2);
    EXPECT_TRUE(listener.m_messages.empty());
    listener.Detach();
}

TEST(Window, AttachingAnotherWindowForgetsTheFirst)
{
    const PlainWindow first;
    const PlainWindow second;
    CWnd wnd;
    wnd.Attach(first);
    wnd.Attach(second);
    EXPECT_EQ(CWnd::FromHandlePermanent(first), nullptr);
    EXPECT_EQ(CWnd::FromHandlePermanent(second), &wnd);
    wnd.Detach();
}

TEST(Window, AnUnknownWindowHasATemporaryObject)
{
    const PlainWindow plain;
    CWnd* const temporary = CWnd::FromHandle(plain);
    ASSERT_NE(temporary, nullptr);
    EXPECT_EQ(temporary->GetSafeHwnd(), plain);
    EXPECT_EQ(CWnd::FromHandle(plain), temporary);
    EXPECT_EQ(CWnd::FromHandlePermanent(plain), nullptr);
}

TEST(Window, DeletingTheTemporaryObjectsLeavesTheirWindowsAlone)
{
    const PlainWindow plain;
    CWnd::FromHandle(plain);
    CWnd::DeleteTempMap();
    EXPECT_TRUE(IsWindow(plain));
}

TEST(Window, ANullHandleHasNoObject)
{
    EXPECT_EQ(CWnd::FromHandle(nullptr), nullptr);
    EXPECT_EQ(CWnd::FromHandlePermanent(nullptr), nullptr);
}

TEST(Window, ObjectsAreKeptForEachThreadApart)
{
    const PlainWindow plain;
    CWnd wnd;
    wnd.Attach(plain);
    std::thread(
        [&]
        {
            EXPECT_EQ(CWnd::FromHandlePermanent(plain), nullptr);
            CWnd* const temporary = CWnd::FromHandle(plain);
            EXPECT_NE(temporary, &wnd);
            EXPECT_EQ(temporary->GetSafeHwnd(), plain);
        })
        .join();
    EXPECT_TRUE(IsWindow(plain)) << "the end of the thread ends its temporary objects only";
    EXPECT_EQ(CWnd::FromHandlePermanent(plain), &wnd);
    wnd.Detach();
}

TEST(Window, TheDesktopIsTheWindowOverTheWholeScreen)
{
    CWnd* const desktop = CWnd::GetDesktopWindow();
    ASSERT_NE(desktop, nullptr);
    EXPECT_EQ(desktop->GetSafeHwnd(), ::GetDesktopWindow());
    CRect rect;
    desktop->GetWindowRect(&rect);
    EXPECT_EQ(rect, CRect(0, 0, GetSystemMetrics(SM_CXSCREEN), GetSystemMetrics(SM_CYSCREEN)));
}

TEST(Window, IsOfItsOwnKind)
{
    CWnd wnd;
    EXPECT_TRUE(wnd.IsKindOf(RUNTIME_CLASS(CWnd)));
    EXPECT_TRUE(wnd.IsKindOf(RUNTIME_CLASS(CCmdTarget)));
}

// ---- Rectangles and text ------------------------------------------------------------------------

TEST(Window, HasItsRectangleInScreenAndInClientCoordinates)
{
    const PlainWindow plain;
    CWnd wnd;
    wnd.Attach(plain);
    CRect screen;
    wnd.GetWindowRect(screen);
    EXPECT_EQ(screen, CRect(40, 50, 340, 250));
    CRect client;
    wnd.GetClientRect(client);
    EXPECT_EQ(client, CRect(0, 0, 300, 200));
    wnd.Detach();
}

TEST(Window, WithoutAWindowLeavesRectanglesAlone)
{
    const CWnd wnd;
    CRect rect(1, 2, 3, 4);
    wnd.GetWindowRect(rect);
    wnd.GetClientRect(rect);
    EXPECT_EQ(rect, CRect(1, 2, 3, 4));
}

TEST(Window, ItsTextIsSetAndRead)
{
    const PlainWindow plain;
    CWnd wnd;
    wnd.Attach(plain);
    wnd.SetWindowText(_T("camera 7"));
    EXPECT_EQ(wnd.GetWindowTextLength(), 8);
    CString text;
    wnd.GetWindowText(text);
    EXPECT_STREQ(text, _T("camera 7"));
    TCHAR cut[5];
    EXPECT_EQ(wnd.GetWindowText(cut, 5), 4);
    EXPECT_STREQ(cut, _T("came"));
    wnd.SetWindowText(_T(""));
    wnd.GetWindowText(text);
    EXPECT_TRUE(text.IsEmpty());
    wnd.Detach();
}

// ---- Creation and destruction -------------------------------------------------------------------

TEST(Window, CreateMakesAChildOfItsParent)
{
    CWnd parent;
    ASSERT_TRUE(CreatePopup(parent));
    CWnd child;
    ASSERT_TRUE(child.Create(nullptr, _T("child"), WS_CHILD, kPlace, &parent, 17));
    EXPECT_TRUE(IsWindow(child));
    EXPECT_EQ(GetParent(child), parent.m_hWnd);
    EXPECT_EQ(GetDlgCtrlID(child), 17);
    CRect rect;
    child.GetWindowRect(rect);
    EXPECT_EQ(rect, CRect(20, 40, 120, 90));
    CString text;
    child.GetWindowText(text);
    EXPECT_STREQ(text, _T("child"));
    EXPECT_EQ(CWnd::FromHandle(child), &child);
}

TEST(Window, CreateOfAChildWithoutParentFails)
{
    CWnd wnd;
    EXPECT_FALSE(wnd.Create(nullptr, nullptr, WS_CHILD, kPlace, nullptr, 1));
    EXPECT_EQ(wnd.m_hWnd, nullptr);
}

TEST(Window, CreateOfAnUnknownClassFails)
{
    CWnd wnd;
    EXPECT_FALSE(wnd.CreateEx(0, _T("no such class"), nullptr, WS_POPUP, kPlace, nullptr, 0));
    EXPECT_EQ(wnd.m_hWnd, nullptr);
}

TEST(Window, AFailedCreationLeavesTheWindowThatTheObjectHas)
{
    const PlainWindow plain;
    CWnd wnd;
    wnd.Attach(plain);
    EXPECT_FALSE(wnd.Create(nullptr, nullptr, WS_CHILD, kPlace, nullptr, 1));
    EXPECT_EQ(wnd.Detach(), plain);
}

TEST(Window, AnObjectSeesItsWindowFromTheFirstMessageToTheLast)
{
    Listener listener;
    ASSERT_TRUE(CreatePopup(listener));
    EXPECT_TRUE(Holds(listener.m_messages, WM_NCCREATE));
    EXPECT_TRUE(Holds(listener.m_messages, WM_CREATE));
    EXPECT_TRUE(listener.DestroyWindow());
    EXPECT_TRUE(Holds(listener.m_messages, WM_DESTROY));
    EXPECT_EQ(listener.m_messages.back(), static_cast<UINT>(WM_NCDESTROY));
}

TEST(Window, DestroyWindowDestroysAndDetaches)
{
    CWnd wnd;
    ASSERT_TRUE(CreatePopup(wnd));
    const HWND window = wnd;
    EXPECT_TRUE(wnd.DestroyWindow());
    EXPECT_FALSE(IsWindow(window));
    EXPECT_EQ(wnd.m_hWnd, nullptr);
    EXPECT_EQ(CWnd::FromHandlePermanent(window), nullptr);
}

TEST(Window, DestroyWindowDetachesAnAttachedWindowToo)
{
    const HWND plain = CreateWindowExW(0, L"STATIC", L"", WS_POPUP, 0, 0, 9, 9, nullptr, nullptr,
                                       nullptr, nullptr);
    CWnd wnd;
    wnd.Attach(plain);
    EXPECT_TRUE(wnd.DestroyWindow());
    EXPECT_FALSE(IsWindow(plain));
    EXPECT_EQ(wnd.m_hWnd, nullptr);
}

TEST(Window, DestructionDestroysTheWindow)
{
    HWND window = nullptr;
    {
        CWnd wnd;
        ASSERT_TRUE(CreatePopup(wnd));
        window = wnd;
    }
    EXPECT_FALSE(IsWindow(window));
    EXPECT_EQ(CWnd::FromHandlePermanent(window), nullptr);
}

TEST(Window, AWindowThatIsDestroyedByOthersIsDetached)
{
    CWnd parent;
    ASSERT_TRUE(CreatePopup(parent));
    CWnd child;
    ASSERT_TRUE(child.Create(nullptr, nullptr, WS_CHILD, kPlace, &parent, 1));
    EXPECT_TRUE(parent.DestroyWindow());
    EXPECT_EQ(child.m_hWnd, nullptr);
}

TEST(Window, AWindowMadeDuringACreationHasItsOwnObject)
{
    Parent parent;
    ASSERT_TRUE(CreatePopup(parent));
    ASSERT_TRUE(IsWindow(parent.m_child));
    EXPECT_NE(parent.m_hWnd, parent.m_child.m_hWnd);
    EXPECT_EQ(GetParent(parent.m_child), parent.m_hWnd);
}

TEST(Window, AnExceptionFromTheCreationMessageRefusesTheWindow)
{
    RefusingListener listener;
    EXPECT_FALSE(CreatePopup(listener));
    EXPECT_EQ(listener.m_hWnd, nullptr);
}

TEST(Window, AWindowOfAPlatformsClassKeepsWhatItsClassDoes)
{
    CWnd parent;
    ASSERT_TRUE(CreatePopup(parent));
    Listener edit;
    ASSERT_TRUE(edit.Create(_T("EDIT"), _T("12345"), WS_CHILD, kPlace, &parent, 3));
    SendMessage(edit, EM_SETSEL, 1, 3);
    EXPECT_TRUE(Holds(edit.m_messages, EM_SETSEL));
    EXPECT_EQ(SendMessage(edit, EM_GETSEL, 0, 0), MAKELRESULT(1, 3));
}

// ---- Messages -----------------------------------------------------------------------------------

TEST(Window, AMessageGoesToTheHandlerOfItsMap)
{
    Listener listener;
    ASSERT_TRUE(CreatePopup(listener));
    EXPECT_EQ(SendMessage(listener, kAsk, 40, 2), 42);
}

TEST(Window, AMessageThatNoMapHoldsGoesToTheDefault)
{
    Listener listener;
    ASSERT_TRUE(CreatePopup(listener));
    EXPECT_EQ(SendMessage(listener, WM_GETTEXTLENGTH, 0, 0), 5);
    EXPECT_EQ(SendMessage(listener, WM_USER + 99, 1, 1), 0);
}

TEST(Window, TheDerivedClassesHandlerComesFirstAndTheBasesFollow)
{
    KeenListener listener;
    ASSERT_TRUE(CreatePopup(listener));
    EXPECT_EQ(SendMessage(listener, kTell, 0, 0), 2);
    EXPECT_EQ(SendMessage(listener, kAsk, 1, 2), 3);
}

TEST(Window, TheMapTellsWhetherItHandlesAMessage)
{
    KeenListener listener;
    LRESULT result = 7;
    EXPECT_FALSE(listener.Handle(WM_USER + 99, &result));
    EXPECT_EQ(result, 7);
    EXPECT_TRUE(listener.Handle(kTell, &result));
    EXPECT_EQ(result, 2);
    EXPECT_TRUE(listener.Handle(kTell, nullptr));
}

TEST(Window, AnExceptionOfAHandlerEndsInTheWindow)
{
    Listener listener;
    ASSERT_TRUE(CreatePopup(listener));
    EXPECT_EQ(SendMessage(listener, kThrow, 0, 0), 0);
    EXPECT_EQ(SendMessage(listener, kAsk, 1, 1), 2);
}

TEST(Window, ADetachedWindowIsServedByTheDefault)
{
    Listener listener;
    ASSERT_TRUE(CreatePopup(listener));
    const HWND window = listener.Detach();
    EXPECT_EQ(SendMessage(window, kAsk, 1, 1), 0);
    EXPECT_EQ(SendMessage(window, WM_GETTEXTLENGTH, 0, 0), 5);
    ::DestroyWindow(window);
}

// ---- The thread's main window -------------------------------------------------------------------

TEST(MainWindow, IsTheOneOfTheThreadThatLoadedTheModule)
{
    ASSERT_EQ(AfxGetThread(), AfxGetApp());
    EXPECT_EQ(AfxGetThread()->m_nThreadID, GetCurrentThreadId());
    EXPECT_EQ(AfxGetMainWnd(), nullptr);
    CWnd wnd;
    AfxGetThread()->m_pMainWnd = &wnd;
    EXPECT_EQ(AfxGetMainWnd(), &wnd);
    EXPECT_EQ(AfxGetThread()->GetMainWnd(), &wnd);
    AfxGetThread()->m_pMainWnd = nullptr;
}

TEST(MainWindow, AnotherThreadHasNone)
{
    CWnd wnd;
    AfxGetThread()->m_pMainWnd = &wnd;
    std::thread(
        []
        {
            EXPECT_EQ(AfxGetThread(), nullptr);
            EXPECT_EQ(AfxGetMainWnd(), nullptr);
        })
        .join();
    AfxGetThread()->m_pMainWnd = nullptr;
}

TEST(MainWindow, IsForgottenWhenItsWindowIsDestroyed)
{
    CWnd wnd;
    ASSERT_TRUE(CreatePopup(wnd));
    AfxGetThread()->m_pMainWnd = &wnd;
    wnd.DestroyWindow();
    EXPECT_EQ(AfxGetMainWnd(), nullptr);
}

}  // namespace
