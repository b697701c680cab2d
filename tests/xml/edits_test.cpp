#include <string>

#include "xml/dom_slots.h"
#include "xml/xml_test.h"

namespace
{

using namespace ostrel::test;

using XmlAdding = XmlTest;
using XmlRemoving = XmlTest;
using XmlRenaming = XmlTest;

// ---- Adding -------------------------------------------------------------------------------------

TEST_F(XmlAdding, WithAnEmptyKeyAddsToTheDocumentElement)
{
    Load(L"<root><first/></root>");
    EXPECT_TRUE(m_xml.m_F_b_AddNods(L"", L"x"));
    EXPECT_EQ(Structure(m_xml), L"<root><first/><x/></root>");
}

TEST_F(XmlAdding, CreatesTheWholePath)
{
    Load(L"<root/>");
    EXPECT_TRUE(m_xml.m_F_b_AddNods(L"a/b", L"c"));
    EXPECT_EQ(Structure(m_xml), L"<root><a><b><c/></b></a></root>");
    EXPECT_TRUE(m_xml.m_F_b_AddNods(L"/root/a", L"d"));
    EXPECT_TRUE(m_xml.m_F_b_AddNods(L"/root", L"e"));
    EXPECT_EQ(Structure(m_xml), L"<root><a><b><c/></b><d/></a><e/></root>");
}

TEST_F(XmlAdding, NeverAddsASecondElementOfTheName)
{
    Load(L"<root><a><x k='1'>text</x></a></root>");
    EXPECT_TRUE(m_xml.m_F_b_AddNods(L"a", L"x"));
    EXPECT_TRUE(m_xml.m_F_b_AddNods(L"a", L"y"));
    EXPECT_TRUE(m_xml.m_F_b_AddNods(L"a", L"y"));
    EXPECT_EQ(Structure(m_xml), L"<root><a><x k=\"1\">text</x><y/></a></root>");
}

TEST_F(XmlAdding, WithoutANameDoesNothing)
{
    Load(L"<root/>");
    EXPECT_FALSE(m_xml.m_F_b_AddNods(L"a", L""));
    EXPECT_FALSE(m_xml.m_F_b_AddNods(L"", L""));
    EXPECT_EQ(Structure(m_xml), L"<root/>");
}

TEST_F(XmlAdding, JoinsKeyAndNameByASlash)
{
    Load(L"<root/>");
    // A key that ends in a slash makes a doubled one, which reaches any depth.
    EXPECT_TRUE(m_xml.m_F_b_AddNods(L"a/", L"b"));
    EXPECT_EQ(Structure(m_xml), L"<root><a><b/></a></root>");
    EXPECT_TRUE(m_xml.m_F_b_AddNods(L"a", L"c/d"));
    EXPECT_EQ(Structure(m_xml), L"<root><a><b/><c><d/></c></a></root>");
    // A name of its own is a key like any other: its first component after the slash is dropped.
    EXPECT_TRUE(m_xml.m_F_b_AddNods(L"", L"/any/e"));
    EXPECT_EQ(Structure(m_xml), L"<root><a><b/><c><d/></c></a><e/></root>");
}

HRESULT WINAPI CreateNoElement(IUnknown*, BSTR, IXMLDOMElement** element)
{
    *element = nullptr;
    return kFailure;
}

TEST_F(XmlAdding, ThrowsWhenTheElementCannotBeCreated)
{
    Load(L"<root><a/></root>");
    const MethodPatch patch(m_xml.m_F_p_GetDOC(), kDomSlots.documentCreateElement, CreateNoElement);
    EXPECT_EQ(ErrorOf([&] { m_xml.m_F_b_AddNods(L"a", L"b"); }), kFailure);
    EXPECT_EQ(ErrorOf([&] { m_xml.m_F_b_AddNods(L"", L"b"); }), kFailure);
    // What is there needs no creating.
    EXPECT_TRUE(m_xml.m_F_b_AddNods(L"", L"a"));
    EXPECT_EQ(Structure(m_xml), L"<root><a/></root>");
}

// ---- Removing -----------------------------------------------------------------------------------

TEST_F(XmlRemoving, TakesTheFirstChildOfTheNameWithItsContent)
{
    Load(L"<root><a><x id='1'><deep>text</deep></x><y/><x id='2'/></a></root>");
    EXPECT_TRUE(m_xml.m_F_b_RemoveNods(L"a", L"x"));
    EXPECT_EQ(Structure(m_xml), L"<root><a><y/><x id=\"2\"/></a></root>");
    EXPECT_TRUE(m_xml.m_F_b_RemoveNods(L"a", L"x"));
    EXPECT_FALSE(m_xml.m_F_b_RemoveNods(L"a", L"x"));
    EXPECT_EQ(Structure(m_xml), L"<root><a><y/></a></root>");
}

TEST_F(XmlRemoving, CreatesNothing)
{
    Load(L"<root/>");
    EXPECT_FALSE(m_xml.m_F_b_RemoveNods(L"a/b", L"x"));
    EXPECT_EQ(Structure(m_xml), L"<root/>");
}

TEST_F(XmlRemoving, NeedsKeyAndName)
{
    Load(L"<root><x/></root>");
    EXPECT_FALSE(m_xml.m_F_b_RemoveNods(L"", L"x"));
    EXPECT_FALSE(m_xml.m_F_b_RemoveNods(L"x", L""));
    EXPECT_EQ(Structure(m_xml), L"<root><x/></root>");
}

TEST_F(XmlRemoving, ReachesTheDocumentElementsChildrenByALeadingSlash)
{
    Load(L"<root><x/><y/><z/></root>");
    EXPECT_TRUE(m_xml.m_F_b_RemoveNods(L"/root", L"x"));
    EXPECT_TRUE(m_xml.m_F_b_RemoveNods(L"/root/", L"y"));
    EXPECT_FALSE(m_xml.m_F_b_RemoveNods(L"/other", L"z"));
    EXPECT_EQ(Structure(m_xml), L"<root><z/></root>");
}

TEST_F(XmlRemoving, TakesAnExpressionForTheName)
{
    Load(L"<root><a><x id='1'/><x id='2'/></a></root>");
    EXPECT_TRUE(m_xml.m_F_b_RemoveNods(L"a", L"x[@id='2']"));
    EXPECT_FALSE(m_xml.m_F_b_RemoveNods(L"a", L"x/@id"));
    EXPECT_EQ(Structure(m_xml), L"<root><a><x id=\"1\"/></a></root>");
}

TEST_F(XmlRemoving, ThrowsForAnElementThatIsNoChildOfTheParent)
{
    Load(L"<root><p><a><b/></a></p></root>");
    EXPECT_TRUE(FAILED(ErrorOf([&] { m_xml.m_F_b_RemoveNods(L"p", L"a/b"); })));
    EXPECT_TRUE(FAILED(ErrorOf([&] { m_xml.m_F_b_RemoveNods(L"p/a", L".."); })));
    EXPECT_EQ(Structure(m_xml), L"<root><p><a><b/></a></p></root>");
}

// ---- Renaming -----------------------------------------------------------------------------------

TEST_F(XmlRenaming, MakesAnElementOfTheNewNameTheLastChild)
{
    Load(L"<root><p><old k='1' m='2'><a/><b n='3'><c/></b><a/></old><x/></p></root>");
    EXPECT_TRUE(m_xml.m_F_b_RenameNods(L"p", L"old", L"new"));
    EXPECT_EQ(Structure(m_xml),
              L"<root><p><x/><new k=\"1\" m=\"2\"><a/><b n=\"3\"><c/></b><a/></new></p></root>");
}

TEST_F(XmlRenaming, NeedsAllThreeArguments)
{
    Load(L"<root><p><old/></p></root>");
    EXPECT_FALSE(m_xml.m_F_b_RenameNods(L"", L"old", L"new"));
    EXPECT_FALSE(m_xml.m_F_b_RenameNods(L"p", L"", L"new"));
    EXPECT_FALSE(m_xml.m_F_b_RenameNods(L"p", L"old", L""));
    EXPECT_EQ(Structure(m_xml), L"<root><p><old/></p></root>");
}

TEST_F(XmlRenaming, NeedsAParentAndCreatesNone)
{
    Load(L"<root/>");
    EXPECT_FALSE(m_xml.m_F_b_RenameNods(L"p", L"old", L"new"));
    EXPECT_EQ(Structure(m_xml), L"<root/>");
}

TEST_F(XmlRenaming, ReachesTheDocumentElementsChildrenByALeadingSlash)
{
    Load(L"<root><old k='1'/></root>");
    EXPECT_TRUE(m_xml.m_F_b_RenameNods(L"/root", L"old", L"new"));
    EXPECT_TRUE(m_xml.m_F_b_RenameNods(L"/root/", L"new", L"newer"));
    EXPECT_EQ(Structure(m_xml), L"<root><newer k=\"1\"/></root>");
}

TEST_F(XmlRenaming, LosesAText)
{
    Load(L"<root><p><old k='1'>5</old></p></root>");
    EXPECT_TRUE(m_xml.m_F_b_RenameNods(L"p", L"old", L"new"));
    EXPECT_EQ(Structure(m_xml), L"<root><p><new k=\"1\"/></p></root>");
}

TEST_F(XmlRenaming, MovesNothingFromBehindALeadingComment)
{
    Load(L"<root><p><old><!--c--><a/><b/></old></p></root>");
    EXPECT_TRUE(m_xml.m_F_b_RenameNods(L"p", L"old", L"new"));
    EXPECT_EQ(Structure(m_xml), L"<root><p><new/></p></root>");
}

TEST_F(XmlRenaming, MovesElementsUpToTheFirstNodeThatIsNone)
{
    for (const wchar_t* stop : {L"text", L"<!--c-->", L"<![CDATA[c]]>", L"<?p i?>"})
    {
        Load(L"<root><p><old><a/><b/>" + CStringW(stop) + L"<c/></old></p></root>");
        EXPECT_TRUE(m_xml.m_F_b_RenameNods(L"p", L"old", L"new"));
        EXPECT_EQ(Structure(m_xml), L"<root><p><new><a/><b/></new></p></root>")
            << CStringA(stop).GetString();
    }
}

TEST_F(XmlRenaming, MovesManyElementsInTheirOrder)
{
    CStringW children;
    for (int i = 0; i < 500; ++i)
    {
        children.AppendFormat(L"<c%d/>", i);
    }
    Load(L"<root><p><old>" + children + L"</old></p></root>");
    EXPECT_TRUE(m_xml.m_F_b_RenameNods(L"p", L"old", L"new"));
    EXPECT_EQ(Structure(m_xml), Wide(L"<root><p><new>" + children + L"</new></p></root>"));
}

TEST_F(XmlRenaming, ToTheSameNameDeletesTheElement)
{
    Load(L"<root><p><x/><old k='1'><a/></old></p></root>");
    EXPECT_TRUE(m_xml.m_F_b_RenameNods(L"p", L"old", L"old"));
    EXPECT_EQ(Structure(m_xml), L"<root><p><x/></p></root>");
}

// The second element is taken for both the old and the new one, its children are appended to
// itself.
TEST_F(XmlRenaming, ToTheSameNameDeletesTwoOfSeveral)
{
    Load(L"<root><p><old><a/></old><old><b/><c/></old><old/></p></root>");
    EXPECT_TRUE(m_xml.m_F_b_RenameNods(L"p", L"old", L"old"));
    EXPECT_EQ(Structure(m_xml), L"<root><p><old/></p></root>");
}

TEST_F(XmlRenaming, ReplacesAnElementThatHasTheNewName)
{
    Load(L"<root><p><new gone='1'><gone/></new><old k='1'><a/></old></p></root>");
    EXPECT_TRUE(m_xml.m_F_b_RenameNods(L"p", L"old", L"new"));
    EXPECT_EQ(Structure(m_xml), L"<root><p><new k=\"1\"><a/></new></p></root>");
}

TEST_F(XmlRenaming, ReplacesOnlyTheFirstElementThatHasTheNewName)
{
    Load(L"<root><p><new first='1'/><new second='2'/><old k='1'><a/></old></p></root>");
    EXPECT_TRUE(m_xml.m_F_b_RenameNods(L"p", L"old", L"new"));
    // The other one is there already, so none is made, and it receives what is moved.
    EXPECT_EQ(Structure(m_xml), L"<root><p><new second=\"2\" k=\"1\"><a/></new></p></root>");
}

TEST_F(XmlRenaming, AMissingElementLeavesAnEmptyOneOfTheNewName)
{
    Load(L"<root><p><x/><new k='1'><a/></new></p></root>");
    EXPECT_TRUE(m_xml.m_F_b_RenameNods(L"p", L"old", L"new"));
    EXPECT_EQ(Structure(m_xml), L"<root><p><x/><new/></p></root>");
}

TEST_F(XmlRenaming, RenamesTheFirstOfSeveral)
{
    Load(L"<root><p><old id='1'/><old id='2'/></p></root>");
    EXPECT_TRUE(m_xml.m_F_b_RenameNods(L"p", L"old", L"new"));
    EXPECT_EQ(Structure(m_xml), L"<root><p><old id=\"2\"/><new id=\"1\"/></p></root>");
}

TEST_F(XmlRenaming, MovesFromEveryElementThatTheOldNameSelectsInTurn)
{
    Load(L"<root><p><a><c n='1'/></a><a><c n='2'/></a></p></root>");
    EXPECT_TRUE(m_xml.m_F_b_RenameNods(L"p", L"a[c]", L"new"));
    EXPECT_EQ(Structure(m_xml), L"<root><p><a/><a/><new><c n=\"1\"/><c n=\"2\"/></new></p></root>");
    // An element without such a child is passed over, and keeps what it has.
    Load(L"<root><p><a><c n='1'/><d/></a><a><d/></a><a k='1'><c n='2'/></a></p></root>");
    EXPECT_TRUE(m_xml.m_F_b_RenameNods(L"p", L"a[c]", L"new"));
    EXPECT_EQ(Structure(m_xml),
              L"<root><p><a><d/></a><a><d/></a><a k=\"1\"/><new><c n=\"1\"/><c "
              L"n=\"2\"/></new></p></root>");
}

TEST_F(XmlRenaming, MovesUpToANodeThatIsNoElementInWhicheverElementTheOldNameSelects)
{
    Load(L"<root><p><a><c/></a><a><c n='1'/>text<c n='2'/></a><a><c n='3'/></a></p></root>");
    EXPECT_TRUE(m_xml.m_F_b_RenameNods(L"p", L"a[c]", L"new"));
    EXPECT_EQ(Structure(m_xml),
              L"<root><p><a/><a><c n=\"3\"/></a><new><c/><c n=\"1\"/></new></p></root>");
}

// Once the first child has been moved, the expression selects the element it was moved to.
TEST_F(XmlRenaming, EndsWhenTheOldNameSelectsTheNewElement)
{
    Load(L"<root><p><old><a/><b/></old></p></root>");
    EXPECT_TRUE(m_xml.m_F_b_RenameNods(L"p", L"*[a]", L"new"));
    EXPECT_EQ(Structure(m_xml), L"<root><p><old><b/></old></p></root>");
    Load(L"<root><p><x><a/><b/></x><y><a/></y></p></root>");
    EXPECT_TRUE(m_xml.m_F_b_RenameNods(L"p", L"*[a]", L"new"));
    EXPECT_EQ(Structure(m_xml), L"<root><p><x><b/></x><y/></p></root>");
}

TEST_F(XmlRenaming, ThrowsBeforeAnElementWouldBeMovedIntoItself)
{
    Load(L"<root><q/><p><a/><b/></p></root>");
    EXPECT_TRUE(FAILED(ErrorOf([&] { m_xml.m_F_b_RenameNods(L"p", L".", L"new"); })));
    EXPECT_EQ(Structure(m_xml), L"<root><q/><p><new><a/><b/></new></p></root>");
    EXPECT_TRUE(FAILED(ErrorOf([&] { m_xml.m_F_b_RenameNods(L"p", L"..", L"other"); })));
    EXPECT_EQ(Structure(m_xml), L"<root><p><new><a/><b/></new><other><q/></other></p></root>");
}

TEST_F(XmlRenaming, MovesFromAnElementThatHasTheNewNameButIsNotTheNewElement)
{
    Load(L"<root><p><a n='1'/><a n='2'/><a n='3'><c/><d/></a><a n='4'/></p></root>");
    // Once the first is gone, the next is the new one, and [1] is the second.
    EXPECT_TRUE(m_xml.m_F_b_RenameNods(L"p", L"a[1]", L"a"));
    EXPECT_EQ(Structure(m_xml), L"<root><p><a n=\"3\"><c/><d/></a><a n=\"4\"/></p></root>");
}

TEST_F(XmlRenaming, KeepsEveryCharacterOfTheAttributes)
{
    Load(L"<root><p><old k='&lt;&amp;&quot;\u00E9\u65E5\U0001F600' e=''/></p></root>");
    EXPECT_TRUE(m_xml.m_F_b_RenameNods(L"p", L"old", L"new"));
    EXPECT_EQ(m_xml.m_F_s_GetValue(L"p/new", L"k", L""), L"<&\"\u00E9\u65E5\U0001F600");
    EXPECT_EQ(m_xml.m_F_s_GetValue(L"p/new", L"e", L"missing"), L"");
}

HRESULT WINAPI FailToSet(IUnknown*, BSTR, VARIANT)
{
    return kFailure;
}

TEST_F(XmlRenaming, ThrowsWhenAnAttributeCannotBeCopied)
{
    Load(L"<root><p><old k='1'/></p></root>");
    const MethodPatch patch(DocumentElement(), kDomSlots.elementSetAttribute, FailToSet);
    EXPECT_EQ(ErrorOf([&] { m_xml.m_F_b_RenameNods(L"p", L"old", L"new"); }), kFailure);
    EXPECT_EQ(Structure(m_xml), L"<root><p><old k=\"1\"/><new/></p></root>");
}

}  // namespace
