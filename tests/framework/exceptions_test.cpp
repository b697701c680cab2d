// The framework throws its exceptions by pointer; these tests catch in the client what was thrown
// inside the DLL.
#include <afxdisp.h>
#include <afxmt.h>
#include <afxwin.h>
#include <gtest/gtest.h>

#include <string>
#include <type_traits>

namespace
{

// Which handler takes what the function throws; the most derived types stand first.
template <typename Function>
std::string HandlerFor(Function function)
{
    try
    {
        function();
    }
    catch (CMemoryException* e)
    {
        e->Delete();
        return "memory";
    }
    catch (CNotSupportedException* e)
    {
        e->Delete();
        return "not supported";
    }
    catch (CInvalidArgException* e)
    {
        e->Delete();
        return "invalid argument";
    }
    catch (CResourceException* e)
    {
        e->Delete();
        return "resource";
    }
    catch (CUserException* e)
    {
        e->Delete();
        return "user";
    }
    catch (COleException* e)
    {
        e->Delete();
        return "OLE";
    }
    return "none";
}

template <typename Caught, typename Function>
bool IsCaughtAs(Function function)
{
    try
    {
        function();
    }
    catch (Caught* e)
    {
        e->Delete();
        return true;
    }
    return false;
}

TEST(Exceptions, EachThrowFunctionThrowsItsOwnTypeAcrossTheDllBoundary)
{
    EXPECT_EQ(HandlerFor(AfxThrowMemoryException), "memory");
    EXPECT_EQ(HandlerFor(AfxThrowNotSupportedException), "not supported");
    EXPECT_EQ(HandlerFor(AfxThrowInvalidArgException), "invalid argument");
    EXPECT_EQ(HandlerFor(AfxThrowResourceException), "resource");
    EXPECT_EQ(HandlerFor(AfxThrowUserException), "user");
    EXPECT_EQ(HandlerFor([] { AfxThrowOleException(E_FAIL); }), "OLE");
}

TEST(Exceptions, APointerToABaseClassCatchesThem)
{
    EXPECT_TRUE(IsCaughtAs<CSimpleException>(AfxThrowInvalidArgException));
    EXPECT_TRUE(IsCaughtAs<CException>(AfxThrowInvalidArgException));
    EXPECT_TRUE(IsCaughtAs<CException>([] { AfxThrowOleException(E_FAIL); }));
    EXPECT_TRUE(IsCaughtAs<CException>(AfxThrowMemoryException));
}

TEST(Exceptions, AnOleExceptionIsNoSimpleException)
{
    EXPECT_THROW(IsCaughtAs<CSimpleException>([] { AfxThrowOleException(E_FAIL); }),
                 COleException*);
}

TEST(Exceptions, AnExceptionMadeByTheClientIsCaughtByType)
{
    EXPECT_EQ(HandlerFor([] { throw new CMemoryException; }), "memory");
}

TEST(Exceptions, CanBeThrownAgainAfterBeingDeleted)
{
    EXPECT_EQ(HandlerFor(AfxThrowInvalidArgException), "invalid argument");
    EXPECT_EQ(HandlerFor(AfxThrowInvalidArgException), "invalid argument");
}

TEST(Exceptions, AnOleExceptionCarriesItsResult)
{
    try
    {
        AfxThrowOleException(E_ACCESSDENIED);
    }
    catch (COleException* e)
    {
        EXPECT_EQ(e->m_sc, E_ACCESSDENIED);
        e->Delete();
    }
}

class CountedException : public CException
{
public:
    explicit CountedException(BOOL bAutoDelete) : CException(bAutoDelete) { ++alive; }
    ~CountedException() override { --alive; }

    static int alive;
};

int CountedException::alive = 0;

TEST(Exceptions, DeleteDeletesAnExceptionOnTheHeap)
{
    CountedException* exception = new CountedException(TRUE);
    EXPECT_EQ(CountedException::alive, 1);
    exception->Delete();
    EXPECT_EQ(CountedException::alive, 0);
}

TEST(Exceptions, DeleteLeavesAnExceptionThatIsNotOnTheHeap)
{
    CountedException exception(FALSE);
    exception.Delete();
    EXPECT_EQ(CountedException::alive, 1);
}

TEST(Exceptions, ASimpleExceptionHasAMessage)
{
    CInvalidArgException exception(FALSE);
    TCHAR message[100] = _T("");
    UINT helpContext = 1;
    EXPECT_TRUE(exception.GetErrorMessage(message, 100, &helpContext));
    EXPECT_NE(message[0], _T('\0'));
    EXPECT_EQ(helpContext, 0u);
}

TEST(Exceptions, AMessageIsCutToTheRoomGiven)
{
    CInvalidArgException exception(FALSE);
    TCHAR message[6] = {_T('#'), _T('#'), _T('#'), _T('#'), _T('#'), _T('#')};
    EXPECT_TRUE(exception.GetErrorMessage(message, 5));
    EXPECT_EQ(lstrlen(message), 4);
    EXPECT_EQ(message[5], _T('#'));
}

TEST(Exceptions, AnExceptionWithoutAMessageSaysSo)
{
    CException exception(FALSE);
    TCHAR message[10] = _T("old");
    EXPECT_FALSE(exception.GetErrorMessage(message, 10));
    EXPECT_STREQ(message, _T(""));
}

TEST(Exceptions, AnOleExceptionHasThePlatformsMessage)
{
    COleException exception;
    exception.m_sc = E_ACCESSDENIED;
    TCHAR message[200] = _T("");
    EXPECT_TRUE(exception.GetErrorMessage(message, 200));
    EXPECT_NE(message[0], _T('\0'));
}

TEST(Exceptions, ObjectsOfTheFrameworkCannotBeCopied)
{
    EXPECT_FALSE(std::is_copy_constructible_v<CPtrList>);
    EXPECT_FALSE(std::is_copy_assignable_v<CPtrList>);
    EXPECT_FALSE(std::is_copy_constructible_v<CInvalidArgException>);
    EXPECT_FALSE(std::is_copy_constructible_v<CCriticalSection>);
    EXPECT_FALSE(std::is_copy_constructible_v<CBrush>);
}

}  // namespace
