#include "core/CLib_OstrelApp.h"

static CLib_OstrelApp theApp;

BOOL CLib_OstrelApp::InitInstance()
{
    CWinApp::InitInstance();
    return TRUE;
}
