#include <afxwin.h>
#include <gtest/gtest.h>

#include <typeinfo>

namespace
{

TEST(WinApp, TheModuleHasAnApplicationObject)
{
    EXPECT_NE(AfxGetApp(), nullptr);
}

// The framework sets these before it calls InitInstance().
TEST(WinApp, TheModulesObjectWasInitialisedWhenTheModuleWasLoaded)
{
    ASSERT_NE(AfxGetApp(), nullptr);
    EXPECT_EQ(AfxGetApp()->m_hInstance, GetModuleHandle(_T("Lib_Ostrel.dll")));
    EXPECT_EQ(AfxGetInstanceHandle(), AfxGetApp()->m_hInstance);
}

TEST(WinApp, IsNamedAfterTheModulesFile)
{
    ASSERT_NE(AfxGetApp(), nullptr);
    EXPECT_STREQ(AfxGetApp()->m_pszAppName, _T("Lib_Ostrel"));
    EXPECT_STREQ(AfxGetAppName(), _T("Lib_Ostrel"));
}

TEST(WinApp, TheModulesObjectIsOfAnOverridingClass)
{
    ASSERT_NE(AfxGetApp(), nullptr);
    EXPECT_NE(typeid(*AfxGetApp()), typeid(CWinApp));
    EXPECT_TRUE(AfxGetApp()->InitInstance());
}

TEST(WinApp, InitInstanceSucceedsAndExitInstanceReturnsZero)
{
    CWinApp app(_T("Client"));
    EXPECT_STREQ(app.m_pszAppName, _T("Client"));
    EXPECT_TRUE(app.InitInstance());
    EXPECT_EQ(app.ExitInstance(), 0);
}

TEST(WinApp, AnotherObjectDoesNotTakeTheModulesPlace)
{
    CWinApp* const modules = AfxGetApp();
    {
        CWinApp app;
        EXPECT_EQ(AfxGetApp(), modules);
    }
    EXPECT_EQ(AfxGetApp(), modules);
}

}  // namespace
