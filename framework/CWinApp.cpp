#include <afxwin.h>

#include "window_class.h"

namespace
{

HINSTANCE moduleInstance = nullptr;
CWinApp* moduleApp = nullptr;

CString ModuleFileTitle(HINSTANCE module)
{
    CString path;
    const DWORD length = GetModuleFileName(module, path.GetBuffer(MAX_PATH), MAX_PATH);
    path.ReleaseBuffer(static_cast<int>(length));
    const CString name = path.Mid(path.ReverseFind(_T('\\')) + 1);
    const int dot = name.ReverseFind(_T('.'));
    return dot < 0 ? name : name.Left(dot);
}

}  // namespace

IMPLEMENT_DYNAMIC(CWinApp, CWinThread)

CWinApp::CWinApp(LPCTSTR lpszAppName) : m_pszAppName(lpszAppName), m_hInstance(nullptr)
{
    if (moduleApp == nullptr)
    {
        moduleApp = this;
    }
}

CWinApp::~CWinApp()
{
    if (moduleApp == this)
    {
        moduleApp = nullptr;
    }
}

BOOL CWinApp::InitInstance()
{
    return TRUE;
}

int CWinApp::ExitInstance()
{
    return 0;
}

CWinApp* AfxGetApp()
{
    return moduleApp;
}

HINSTANCE AfxGetInstanceHandle()
{
    return moduleInstance;
}

LPCTSTR AfxGetAppName()
{
    return moduleApp == nullptr ? nullptr : moduleApp->m_pszAppName;
}

BOOL AfxExtractSubString(CString& rString, LPCTSTR lpszFullString, int iSubString, TCHAR chSep)
{
    const CString full(lpszFullString);
    rString.Empty();
    if (lpszFullString == nullptr || iSubString < 0)
    {
        return FALSE;
    }
    int start = 0;
    for (; iSubString > 0; --iSubString)
    {
        const int separator = full.Find(chSep, start);
        if (separator < 0)
        {
            return FALSE;
        }
        start = separator + 1;
    }
    const int end = full.Find(chSep, start);
    rString = end < 0 ? full.Mid(start) : full.Mid(start, end - start);
    return TRUE;
}

static BOOL AttachModule(HINSTANCE instance)
{
    static const CString fileTitle = ModuleFileTitle(instance);
    moduleInstance = instance;
    if (moduleApp == nullptr)
    {
        return TRUE;
    }
    moduleApp->m_hInstance = instance;
    if (moduleApp->m_pszAppName == nullptr)
    {
        moduleApp->m_pszAppName = fileTitle;
    }
    return moduleApp->InitInstance();
}

// The run-time has constructed the module's global objects, the application object among them,
// before it calls this for the attach, and destroys them after the detach.
extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved)
{
    if (reason == DLL_PROCESS_ATTACH)
    {
        return AttachModule(instance);
    }
    if (reason == DLL_PROCESS_DETACH && moduleApp != nullptr)
    {
        moduleApp->ExitInstance();
    }
    const bool isProcessEnding = reserved != nullptr;
    if (reason == DLL_PROCESS_DETACH && !isProcessEnding)
    {
        UnregisterWindowClass();
    }
    return TRUE;
}
