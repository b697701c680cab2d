/// @file
/// The framework's main header: the application object, windows and GDI objects; strings, lists and
/// rectangles come with it.
#pragma once

#include "afx.h"
#include "afxcoll.h"
#include "atltypes.h"

class CWnd;
struct CCreateContext;

/// A handler of messages.
typedef LRESULT (CWnd::*AFX_PMSG)(WPARAM wParam, LPARAM lParam);

/// One entry of a message map; the last one of a map has no handler.
struct AFX_MSGMAP_ENTRY
{
    UINT nMessage;  ///< the message
    UINT nCode;     ///< a control's code; 0
    UINT nID;       ///< a control's identifier; 0
    UINT nLastID;   ///< the last of a range of identifiers; 0
    UINT_PTR nSig;  ///< the handler's kind; not 0
    AFX_PMSG pfn;   ///< the handler
};

/// The messages that a class handles.
struct AFX_MSGMAP
{
    const AFX_MSGMAP*(
        PASCAL* pfnGetBaseMap)();       ///< gives the base class's map; null: there is none
    const AFX_MSGMAP_ENTRY* lpEntries;  ///< the class's own entries
};

// clang-format off

/// In the declaration of a class derived from CCmdTarget: the class has a message map.
#define DECLARE_MESSAGE_MAP()                            \
protected:                                               \
    static const AFX_MSGMAP* PASCAL GetThisMessageMap(); \
    virtual const AFX_MSGMAP* GetMessageMap() const override;

/// Begins the message map of a class, in a source file; entries and #END_MESSAGE_MAP follow.
#define BEGIN_MESSAGE_MAP(theClass, baseClass)              \
    const AFX_MSGMAP* theClass::GetMessageMap() const       \
    {                                                       \
        return GetThisMessageMap();                         \
    }                                                       \
    const AFX_MSGMAP* PASCAL theClass::GetThisMessageMap()  \
    {                                                       \
        using ThisClass [[maybe_unused]] = theClass;        \
        using TheBaseClass = baseClass;                     \
        static const AFX_MSGMAP_ENTRY entriesOfThis[] = {

/// Has a message handled by a member `LRESULT OnX(WPARAM, LPARAM)`, named as in
/// `ON_MESSAGE(kX, &CMyWnd::OnX)`.
#define ON_MESSAGE(message, memberFxn) \
            {message, 0, 0, 0, 1,      \
             static_cast<LRESULT (CWnd::*)(WPARAM, LPARAM)>(memberFxn)},

/// Ends the message map of a class.
#define END_MESSAGE_MAP()                                                                      \
            {0, 0, 0, 0, 0, nullptr}};                                                         \
        static const AFX_MSGMAP mapOfThis = {&TheBaseClass::GetThisMessageMap, entriesOfThis}; \
        return &mapOfThis;                                                                     \
    }

// clang-format on

/// Base of the classes that have a message map.
class AFX_API CCmdTarget : public CObject
{
    DECLARE_DYNAMIC(CCmdTarget)

public:
    CCmdTarget();

protected:
    static const AFX_MSGMAP* PASCAL GetThisMessageMap();
    virtual const AFX_MSGMAP* GetMessageMap() const;
};

/// A window, and the object that stands for it.
///
/// Windows and objects are matched for each thread apart: an object is used by the thread that
/// created or attached its window, and that thread deletes it, or detaches the window before. An
/// object that another thread deletes leaves its window, which goes on calling it.
class AFX_API CWnd : public CCmdTarget
{
    DECLARE_DYNAMIC(CWnd)

public:
    CWnd();

    /// Destroys the window, if there is one; on the window's thread only.
    ~CWnd() override;

    /// @return the window; null when there is none, or when called through a null pointer.
    HWND GetSafeHwnd() const;
    operator HWND() const { return m_hWnd; }

    /// @return the object of a window. Where this thread has attached none, a temporary one, which
    /// lasts until DeleteTempMap() and does not own the window. Null for a null handle.
    static CWnd* PASCAL FromHandle(HWND hWnd);

    /// @return the object that this thread has attached to a window, or null.
    static CWnd* PASCAL FromHandlePermanent(HWND hWnd);

    /// Deletes the temporary objects of this thread, and leaves their windows alone. There is no
    /// message loop in here that would do so while it is idle; they go with the thread at last.
    static void PASCAL DeleteTempMap();

    /// @return the object, usually a temporary one, of the window that covers the whole screen.
    static CWnd* PASCAL GetDesktopWindow();

    /// Attaches a window that exists; its messages go on to where they went.
    /// @return FALSE for a null handle.
    BOOL Attach(HWND hWndNew);

    /// Gives the window away.
    /// @return it, or null when there was none.
    HWND Detach();

    /// Creates a child window and attaches it; its messages come to this object from then on.
    /// @param lpszClassName a registered window class; null: one of the framework's.
    /// @param rect in the parent's client coordinates.
    /// @param pParentWnd the parent, which a child must have.
    /// @param nID the child's identifier.
    /// @param pContext handed on as the creation parameter.
    /// @return FALSE when the window could not be created.
    virtual BOOL Create(LPCTSTR lpszClassName, LPCTSTR lpszWindowName, DWORD dwStyle,
                        const RECT& rect, CWnd* pParentWnd, UINT nID,
                        CCreateContext* pContext = nullptr);

    /// Creates a window of any kind and attaches it; its messages come to this object from then on.
    virtual BOOL CreateEx(DWORD dwExStyle, LPCTSTR lpszClassName, LPCTSTR lpszWindowName,
                          DWORD dwStyle, const RECT& rect, CWnd* pParentWnd, UINT nID,
                          LPVOID lpParam = nullptr);
    virtual BOOL CreateEx(DWORD dwExStyle, LPCTSTR lpszClassName, LPCTSTR lpszWindowName,
                          DWORD dwStyle, int x, int y, int nWidth, int nHeight, HWND hWndParent,
                          HMENU nIDorHMenu, LPVOID lpParam = nullptr);

    /// Destroys the window and detaches it.
    /// @return FALSE when there is none, or when it could not be destroyed.
    virtual BOOL DestroyWindow();

    void SetWindowText(LPCTSTR lpszString);

    /// @param nMaxCount room for this many characters, with the terminator.
    /// @return the number of characters copied, without the terminator.
    int GetWindowText(LPTSTR lpszStringBuf, int nMaxCount) const;
    void GetWindowText(CString& rString) const;
    int GetWindowTextLength() const;

    /// In screen coordinates. A window that is none leaves the rectangle as it is.
    void GetWindowRect(LPRECT lpRect) const;

    /// In client coordinates: left and top are 0.
    void GetClientRect(LPRECT lpRect) const;

    HWND m_hWnd;  ///< the window, or null

protected:
    /// Every message of a window that was created through this object: OnWndMsg(), and
    /// DefWindowProc() where that did not handle it. A framework exception that a handler lets pass
    /// ends here: the message then returns 0, or -1 for WM_CREATE.
    virtual LRESULT WindowProc(UINT message, WPARAM wParam, LPARAM lParam);

    /// Calls the handler that the message map has for the message, the derived class's first.
    /// @param pResult receives what the handler returned; may be null.
    /// @return FALSE when there is none.
    virtual BOOL OnWndMsg(UINT message, WPARAM wParam, LPARAM lParam, LRESULT* pResult);

    /// What the window's class does with the message.
    virtual LRESULT DefWindowProc(UINT message, WPARAM wParam, LPARAM lParam);

    DECLARE_MESSAGE_MAP()

private:
    struct Dispatch;

    WNDPROC m_pfnSuper;  // where the messages went before they came here
};

/// A thread that has windows.
class AFX_API CWinThread : public CCmdTarget
{
    DECLARE_DYNAMIC(CWinThread)

public:
    /// Stands for the calling thread.
    CWinThread();

    /// @return #m_pMainWnd.
    virtual CWnd* GetMainWnd();

    CWnd* m_pMainWnd;   ///< set by the client; null again when its window has been destroyed
    DWORD m_nThreadID;  ///< the thread's identifier
};

/// @return the object of the calling thread: the application object for the thread that loaded the
/// module, null for any other.
AFX_API CWinThread* AfxGetThread();

/// @return the main window of the calling thread, or null.
AFX_API CWnd* AfxGetMainWnd();

/// The application object. The module has one, at namespace scope: the first that is constructed is
/// the one that AfxGetApp() knows, and the framework calls its members when the module is loaded
/// and unloaded.
class AFX_API CWinApp : public CWinThread
{
    DECLARE_DYNAMIC(CWinApp)

public:
    /// @param lpszAppName the application's name, which is not copied; null: the name of the
    /// module's file without its extension.
    explicit CWinApp(LPCTSTR lpszAppName = nullptr);
    ~CWinApp() override;

    /// Called when the module is loaded.
    /// @return not 0 to go on; 0 refuses to load.
    virtual BOOL InitInstance();

    /// Called before the module is unloaded.
    /// @return the exit code; 0 means no error.
    virtual int ExitInstance();

    LPCTSTR m_pszAppName;   ///< the application's name; set before InitInstance() runs
    HINSTANCE m_hInstance;  ///< the module's instance; set before InitInstance() runs
};

/// @return the module's application object, or null.
AFX_API CWinApp* AfxGetApp();

/// @return the module's instance handle.
AFX_API HINSTANCE AfxGetInstanceHandle();

/// @return the name of the module's application object, or null.
AFX_API LPCTSTR AfxGetAppName();

/// Gets one field of a text.
/// @param iSubString the field's zero-based index.
/// @param chSep the separator.
/// @return TRUE when there is such a field, also an empty one; otherwise @p rString is empty.
AFX_API BOOL AfxExtractSubString(CString& rString, LPCTSTR lpszFullString, int iSubString,
                                 TCHAR chSep = _T('\n'));

/// Owns a handle of a GDI object.
class AFX_API CGdiObject : public CObject
{
public:
    CGdiObject();

    /// Deletes the GDI object.
    ~CGdiObject() override;

    operator HGDIOBJ() const { return m_hObject; }
    HGDIOBJ GetSafeHandle() const { return m_hObject; }

    BOOL Attach(HGDIOBJ hObject);
    HGDIOBJ Detach();
    BOOL DeleteObject();

    HGDIOBJ m_hObject;  ///< null while none is attached
};

/// A GDI brush.
class AFX_API CBrush : public CGdiObject
{
public:
    CBrush();

    /// Makes a solid brush, or throws CResourceException.
    CBrush(COLORREF crColor);

    BOOL CreateSolidBrush(COLORREF crColor);
    operator HBRUSH() const { return static_cast<HBRUSH>(m_hObject); }
};
