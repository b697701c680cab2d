#pragma once

#include <afxwin.h>

/// The module's application object. The framework does everything.
class CLib_OstrelApp : public CWinApp
{
public:
    BOOL InitInstance() override;
};
