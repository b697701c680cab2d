/// @file
/// The framework's main header: the application object and GDI objects; strings, lists and
/// rectangles come with it.
#pragma once

#include "afx.h"
#include "afxcoll.h"
#include "atltypes.h"

/// The application object. The module has one, at namespace scope: the first that is constructed is
/// the one that AfxGetApp() knows, and the framework calls its members when the module is loaded
/// and unloaded.
class AFX_API CWinApp : public CObject
{
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
