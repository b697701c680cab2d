#include <afxwin.h>

IMPLEMENT_DYNAMIC(CWinThread, CCmdTarget)

CWinThread::CWinThread() : m_pMainWnd(nullptr), m_nThreadID(GetCurrentThreadId()) {}

CWnd* CWinThread::GetMainWnd()
{
    return m_pMainWnd;
}

CWinThread* AfxGetThread()
{
    CWinApp* const app = AfxGetApp();
    return app != nullptr && app->m_nThreadID == GetCurrentThreadId() ? app : nullptr;
}

CWnd* AfxGetMainWnd()
{
    CWinThread* const thread = AfxGetThread();
    return thread == nullptr ? nullptr : thread->GetMainWnd();
}
