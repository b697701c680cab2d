#include <string>
#include <vector>

#include "xml/dom_slots.h"
#include "xml/xml_test.h"

namespace
{

using namespace ostrel::test;

using XmlChildNames = XmlTest;
using XmlSelection = XmlTest;
using XmlQuery = XmlTest;

using Names = std::vector<std::wstring>;

Names NamesIn(const CStringList& list)
{
    Names names;
    for (POSITION position = list.GetHeadPosition(); position != nullptr;)
    {
        names.push_back(Wide(list.GetNext(position)));
    }
    return names;
}

HRESULT WINAPI FailToGive(IUnknown*, void** result)
{
    *result = nullptr;
    return kFailure;
}

// ---- The names of all children ------------------------------------------------------------------

TEST_F(XmlChildNames, AreAppendedToWhatIsInTheList)
{
    Load(L"<root><e><a/>text<b/></e></root>");
    CStringList list;
    list.AddTail(L"before");
    list.AddTail(L"them");
    EXPECT_EQ(m_xml.m_F_n_GetChildKey(L"e", list), 5);
    EXPECT_EQ(NamesIn(list), (Names{L"before", L"them", L"a", L"#text", L"b"}));
}

TEST_F(XmlChildNames, AreOfAllKindsOfChildren)
{
    Load(L"<root><e>text<!--c--><![CDATA[d]]><a/><?target data?></e></root>");
    CStringList list;
    EXPECT_EQ(m_xml.m_F_n_GetChildKey(L"e", list), 5);
    EXPECT_EQ(NamesIn(list), (Names{L"#text", L"#comment", L"#cdata-section", L"a", L"target"}));
}

TEST_F(XmlChildNames, KeepOrderRepetitionAndEveryCharacter)
{
    Load(L"<root><e><b/><a/><b/><\u65E5\u672C/></e></root>");
    CStringList list;
    EXPECT_EQ(m_xml.m_F_n_GetChildKey(L"/root/e", list), 4);
    EXPECT_EQ(NamesIn(list), (Names{L"b", L"a", L"b", L"\u65E5\u672C"}));
}

TEST_F(XmlChildNames, OfTheDocumentElementNeedALeadingSlash)
{
    Load(L"<root><a/></root>");
    CStringList list;
    list.AddTail(L"before");
    EXPECT_EQ(m_xml.m_F_n_GetChildKey(L"", list), 0);
    EXPECT_EQ(NamesIn(list), (Names{L"before"}));
    EXPECT_EQ(m_xml.m_F_n_GetChildKey(L"/root", list), 2);
    EXPECT_EQ(m_xml.m_F_n_GetChildKey(L"/any/", list), 3);
    EXPECT_EQ(NamesIn(list), (Names{L"before", L"a", L"a"}));
}

TEST_F(XmlChildNames, OfAMissingOrEmptyElementLeaveTheList)
{
    Load(L"<root><e/></root>");
    CStringList list;
    list.AddTail(L"before");
    EXPECT_EQ(m_xml.m_F_n_GetChildKey(L"missing/one", list), 1);
    EXPECT_EQ(m_xml.m_F_n_GetChildKey(L"e", list), 1);
    EXPECT_EQ(Structure(m_xml), L"<root><e/></root>");
    m_xml.m_F_b_Close();
    EXPECT_EQ(m_xml.m_F_n_GetChildKey(L"e", list), 1);
    EXPECT_EQ(NamesIn(list), (Names{L"before"}));
}

TEST_F(XmlChildNames, ThatCannotBeListedLeaveTheList)
{
    Load(L"<root><e><a/></e></root>");
    const MethodPatch patch(DocumentElement(), kDomSlots.elementGetChildNodes, FailToGive);
    CStringList list;
    list.AddTail(L"before");
    EXPECT_EQ(m_xml.m_F_n_GetChildKey(L"e", list), 1);
}

TEST_F(XmlChildNames, ThrowWhenTheListCannotBeWalked)
{
    Load(L"<root><e><a/></e></root>");
    CXmlObj::NodeListPtr children;
    ASSERT_EQ(DocumentElement()->get_childNodes(&children), S_OK);
    const MethodPatch patch(children, kDomSlots.listNextNode, FailToGive);
    CStringList list;
    EXPECT_EQ(ErrorOf([&] { m_xml.m_F_n_GetChildKey(L"e", list); }), kFailure);
}

// ---- The stored selection -----------------------------------------------------------------------

struct Item
{
    int length;
    std::wstring value;
    std::wstring tagName;

    friend bool operator==(const Item& a, const Item& b)
    {
        return a.length == b.length && a.value == b.value && a.tagName == b.tagName;
    }
};

void PrintTo(const Item& item, std::ostream* stream)
{
    *stream << item.length << ' ' << CStringA(item.value.c_str()).GetString() << ' '
            << CStringA(item.tagName.c_str()).GetString();
}

Item Read(CXmlObj& xml, int index, const wchar_t* attribute)
{
    CStringW value(L"before");
    CStringW tagName(L"before");
    const int length = xml.m_F_n_GetSelectedChildItemAttr(index, attribute, value, tagName);
    return {length, Wide(value), Wide(tagName)};
}

TEST_F(XmlSelection, HasTheChildElementsAlone)
{
    Load(L"<root><e><a/>text<b/><!--c--></e></root>");
    EXPECT_EQ(m_xml.m_F_n_SelectChildNodes(L"e"), 2);
    EXPECT_EQ(Read(m_xml, 0, L"k").tagName, L"a");
    EXPECT_EQ(Read(m_xml, 1, L"k").tagName, L"b");
}

TEST_F(XmlSelection, IsReadByIndex)
{
    Load(L"<root><e><a k='one'/><b k='second'/><a/></e></root>");
    ASSERT_EQ(m_xml.m_F_n_SelectChildNodes(L"e"), 3);
    EXPECT_EQ(Read(m_xml, 0, L"k"), (Item{3, L"one", L"a"}));
    EXPECT_EQ(Read(m_xml, 1, L"k"), (Item{6, L"second", L"b"}));
    EXPECT_EQ(Read(m_xml, 2, L"k"), (Item{0, L"", L"a"}));
    EXPECT_EQ(Read(m_xml, 0, L"k"), (Item{3, L"one", L"a"}));
}

TEST_F(XmlSelection, HasBoundsOfWhichTheUpperOneThrows)
{
    Load(L"<root><e><a/><b/><c/></e></root>");
    ASSERT_EQ(m_xml.m_F_n_SelectChildNodes(L"e"), 3);
    EXPECT_EQ(Read(m_xml, -1, L"k"), (Item{0, L"", L"before"}));
    EXPECT_EQ(Read(m_xml, 4, L"k"), (Item{0, L"", L"before"}));
    EXPECT_EQ(Read(m_xml, 2147483647, L"k"), (Item{0, L"", L"before"}));
    EXPECT_EQ(Read(m_xml, -2147483647 - 1, L"k"), (Item{0, L"", L"before"}));
    CStringW value(L"before");
    CStringW tagName(L"before");
    EXPECT_EQ(ErrorOf([&] { m_xml.m_F_n_GetSelectedChildItemAttr(3, L"k", value, tagName); }),
              E_POINTER);
    EXPECT_EQ(value, L"");
    EXPECT_EQ(tagName, L"before");
    // It can still be read.
    EXPECT_EQ(Read(m_xml, 0, L"k").tagName, L"a");
}

TEST_F(XmlSelection, ThatWasNeverMadeThrows)
{
    Load(L"<root><e/></root>");
    EXPECT_EQ(ErrorOf([&] { Read(m_xml, 0, L"k"); }), E_POINTER);
    EXPECT_EQ(Read(m_xml, -1, L"k"), (Item{0, L"", L"before"}));
}

TEST_F(XmlSelection, OfNothingHasLengthZeroAndThrowsAtIndexZero)
{
    Load(L"<root><e>text</e></root>");
    EXPECT_EQ(m_xml.m_F_n_SelectChildNodes(L"e"), 0);
    EXPECT_EQ(ErrorOf([&] { Read(m_xml, 0, L"k"); }), E_POINTER);
    EXPECT_EQ(Read(m_xml, 1, L"k"), (Item{0, L"", L"before"}));
}

TEST_F(XmlSelection, TellsTheTagNameWithoutTheAttribute)
{
    Load(L"<root><e><a k='1' empty=''/></e></root>");
    ASSERT_EQ(m_xml.m_F_n_SelectChildNodes(L"e"), 1);
    EXPECT_EQ(Read(m_xml, 0, L"missing"), (Item{0, L"", L"a"}));
    EXPECT_EQ(Read(m_xml, 0, L"empty"), (Item{0, L"", L"a"}));
}

TEST_F(XmlSelection, CreatesAMissingPath)
{
    Load(L"<root/>");
    EXPECT_EQ(m_xml.m_F_n_SelectChildNodes(L"x/y"), 0);
    EXPECT_EQ(Structure(m_xml), L"<root><x><y/></x></root>");
}

TEST_F(XmlSelection, IsLeftAloneByAnEmptyOrUnreachableKey)
{
    Load(L"<root><e><a k='1'/></e></root>");
    ASSERT_EQ(m_xml.m_F_n_SelectChildNodes(L"e"), 1);
    EXPECT_EQ(m_xml.m_F_n_SelectChildNodes(L""), 0);
    EXPECT_EQ(m_xml.m_F_n_SelectChildNodes(L"/other"), 0);
    EXPECT_EQ(Read(m_xml, 0, L"k"), (Item{1, L"1", L"a"}));
}

TEST_F(XmlSelection, IsReplacedByTheNext)
{
    Load(L"<root><e><a k='1'/></e><f><b k='2'/><c k='3'/></f></root>");
    ASSERT_EQ(m_xml.m_F_n_SelectChildNodes(L"e"), 1);
    ASSERT_EQ(m_xml.m_F_n_SelectChildNodes(L"f"), 2);
    EXPECT_EQ(Read(m_xml, 0, L"k"), (Item{1, L"2", L"b"}));
    EXPECT_EQ(Read(m_xml, 1, L"k"), (Item{1, L"3", L"c"}));
}

TEST_F(XmlSelection, OutlivesItsDocument)
{
    Load(L"<root><e><a k='old'/></e></root>");
    ASSERT_EQ(m_xml.m_F_n_SelectChildNodes(L"e"), 1);
    Load(L"<root><e><b k='new'/></e></root>");
    EXPECT_EQ(Read(m_xml, 0, L"k"), (Item{3, L"old", L"a"}));
    EXPECT_FALSE(m_xml.m_F_b_LoadXML(L"<"));
    Load(L"<root><e><b k='new'/></e></root>");
    EXPECT_EQ(Read(m_xml, 0, L"k"), (Item{3, L"old", L"a"}));
    ASSERT_EQ(m_xml.m_F_n_SelectChildNodes(L"e"), 1);
    EXPECT_EQ(Read(m_xml, 0, L"k"), (Item{3, L"new", L"b"}));
}

TEST_F(XmlSelection, IsNotReadWhileTheDocumentIsClosedButKept)
{
    Load(L"<root><e><a k='1'/></e></root>");
    ASSERT_EQ(m_xml.m_F_n_SelectChildNodes(L"e"), 1);
    m_xml.m_F_b_Close();
    EXPECT_EQ(Read(m_xml, 0, L"k"), (Item{0, L"", L"before"}));
    Load(L"<other/>");
    EXPECT_EQ(Read(m_xml, 0, L"k"), (Item{1, L"1", L"a"}));
}

TEST_F(XmlSelection, IsSharedByCopiesUntilOneMakesItsOwn)
{
    Load(L"<root><e><a k='1'/></e><f><b k='2'/></f></root>");
    ASSERT_EQ(m_xml.m_F_n_SelectChildNodes(L"e"), 1);
    CXmlObj copy(m_xml);
    CXmlObj assigned;
    assigned = m_xml;
    EXPECT_EQ(Read(copy, 0, L"k"), (Item{1, L"1", L"a"}));
    EXPECT_EQ(Read(assigned, 0, L"k"), (Item{1, L"1", L"a"}));
    ASSERT_EQ(copy.m_F_n_SelectChildNodes(L"f"), 1);
    EXPECT_EQ(Read(copy, 0, L"k"), (Item{1, L"2", L"b"}));
    EXPECT_EQ(Read(m_xml, 0, L"k"), (Item{1, L"1", L"a"}));
}

TEST_F(XmlSelection, SeesItsElementsChangeButNotTheirNumber)
{
    Load(L"<root><e><a k='1'/><b k='2'/></e></root>");
    ASSERT_EQ(m_xml.m_F_n_SelectChildNodes(L"e"), 2);
    ASSERT_TRUE(m_xml.m_F_b_SetValue(L"e/a", L"k", L"changed"));
    ASSERT_TRUE(m_xml.m_F_b_AddNods(L"e", L"c"));
    EXPECT_EQ(Read(m_xml, 0, L"k"), (Item{7, L"changed", L"a"}));
    EXPECT_EQ(ErrorOf([&] { Read(m_xml, 2, L"k"); }), E_POINTER);
}

TEST_F(XmlSelection, KeepsEveryCharacterOfAValue)
{
    Load(L"<root><e><a k='\u00E9\u65E5\U0001F600&lt;'/></e></root>");
    ASSERT_EQ(m_xml.m_F_n_SelectChildNodes(L"e"), 1);
    EXPECT_EQ(Read(m_xml, 0, L"k"), (Item{5, L"\u00E9\u65E5\U0001F600<", L"a"}));
}

TEST_F(XmlSelection, GivesTagNamesInCharactersOfTheAnsiCodePage)
{
    Load(L"<root><e><caf\u00E9/><\u65E5\u672Cx/><p\u03A9/></e></root>");
    ASSERT_EQ(m_xml.m_F_n_SelectChildNodes(L"e"), 3);
    const wchar_t* const names[] = {L"caf\u00E9", L"\u65E5\u672Cx", L"p\u03A9"};
    for (int i = 0; i < 3; ++i)
    {
        char ansi[16] = {};
        wchar_t expected[16] = {};
        WideCharToMultiByte(CP_ACP, 0, names[i], -1, ansi, sizeof(ansi), nullptr, nullptr);
        MultiByteToWideChar(CP_ACP, 0, ansi, -1, expected, 16);
        EXPECT_EQ(Read(m_xml, i, L"k").tagName, expected);
    }
    if (GetACP() == 1252)
    {
        EXPECT_EQ(Read(m_xml, 0, L"k").tagName, L"caf\u00E9");
        EXPECT_EQ(Read(m_xml, 1, L"k").tagName, L"??x");
    }
}

TEST_F(XmlSelection, ReadsIntoOneStringForBothResults)
{
    Load(L"<root><e><a k='1'/></e></root>");
    ASSERT_EQ(m_xml.m_F_n_SelectChildNodes(L"e"), 1);
    CStringW both(L"k");
    EXPECT_EQ(m_xml.m_F_n_GetSelectedChildItemAttr(0, both, both, both), 1);
    EXPECT_EQ(both, L"1");
}

HRESULT WINAPI FailToCount(IUnknown*, long* count)
{
    *count = 5;
    return kFailure;
}

TEST_F(XmlSelection, WhoseLengthCannotBeReadIsZeroWhenMadeAndThrowsWhenRead)
{
    Load(L"<root><e><a k='1'/></e></root>");
    const CXmlObj::NodeListPtr list = m_xml.m_S_SelectNodesByKey(L"root/e/*");
    {
        const MethodPatch patch(list, kDomSlots.listGetLength, FailToCount);
        EXPECT_EQ(m_xml.m_F_n_SelectChildNodes(L"e"), 0);
        EXPECT_EQ(ErrorOf([&] { Read(m_xml, 0, L"k"); }), kFailure);
    }
    // It was stored all the same.
    EXPECT_EQ(Read(m_xml, 0, L"k"), (Item{1, L"1", L"a"}));
}

IUnknown* countedList = nullptr;
HRESULT(WINAPI* getLength)(IUnknown*, long*) = nullptr;

HRESULT WINAPI NoteTheList(IUnknown* list, long* count)
{
    countedList = list;
    return getLength(list, count);
}

TEST_F(XmlSelection, IsHeldByOneReferenceOfEachObjectAndReleased)
{
    Load(L"<root><e><a k='1'/></e></root>");
    {
        const MethodPatch patch(m_xml.m_S_SelectNodesByKey(L"root/e/*"), kDomSlots.listGetLength,
                                NoteTheList);
        patch.GetOriginal(getLength);
        ASSERT_EQ(m_xml.m_F_n_SelectChildNodes(L"e"), 1);
    }
    const CXmlObj::NodeListPtr list(static_cast<IXMLDOMNodeList*>(countedList));
    EXPECT_EQ(ReferencesTo(list), 2U);
    {
        CXmlObj copy(m_xml);
        CXmlObj assigned;
        assigned = copy;
        EXPECT_EQ(ReferencesTo(list), 4U);
    }
    EXPECT_EQ(ReferencesTo(list), 2U);
    ASSERT_EQ(m_xml.m_F_n_SelectChildNodes(L"e"), 1);
    EXPECT_EQ(ReferencesTo(list), 1U);
}

// ---- Queries ------------------------------------------------------------------------------------

long Count(const CXmlObj::NodeListPtr& nodes)
{
    long count = -1;
    EXPECT_TRUE(nodes);
    EXPECT_EQ(nodes->get_length(&count), S_OK);
    return count;
}

TEST_F(XmlQuery, IsEvaluatedWithTheDocumentAsItsContext)
{
    Load(L"<root><Device id='1'/><Device id='2'/><group><Device id='3'/></group></root>");
    EXPECT_EQ(Count(m_xml.m_S_SelectNodesByKey(L"Device")), 0);
    EXPECT_EQ(Count(m_xml.m_S_SelectNodesByKey(L"root/Device")), 2);
    EXPECT_EQ(Count(m_xml.m_S_SelectNodesByKey(L"/root/Device")), 2);
    EXPECT_EQ(Count(m_xml.m_S_SelectNodesByKey(L"//Device")), 3);
    EXPECT_EQ(Count(m_xml.m_S_SelectNodesByKey(L"root/Device[@id='2']")), 1);
    EXPECT_EQ(Count(m_xml.m_S_SelectNodesByKey(L"root/Device/@id")), 2);
}

// The rules of keys do not hold: no first component is dropped.
TEST_F(XmlQuery, TakesItsExpressionUnchanged)
{
    Load(L"<root><a><b/></a></root>");
    EXPECT_EQ(Count(m_xml.m_S_SelectNodesByKey(L"/other/a")), 0);
    EXPECT_EQ(Count(m_xml.m_S_SelectNodesByKey(L"/root")), 1);
    EXPECT_EQ(Structure(m_xml), L"<root><a><b/></a></root>");
}

TEST_F(XmlQuery, GivesNodesToBeRead)
{
    Load(L"<root><Device id='1' name='one'/><Device id='2'/></root>");
    const CXmlObj::NodeListPtr nodes = m_xml.m_S_SelectNodesByKey(L"root/Device");
    CXmlObj::NodePtr node;
    ASSERT_EQ(nodes->get_item(0, &node), S_OK);
    EXPECT_EQ(CXmlObj::s_F_n_GetNodeValInt(node, L"id", 0), 1);
    CStringW name;
    CXmlObj::s_S_GetNodeVal(node, L"name", name, L"none");
    EXPECT_EQ(name, L"one");
    ASSERT_EQ(nodes->get_item(1, &node), S_OK);
    EXPECT_EQ(CXmlObj::s_F_n_GetNodeValInt(node, L"id", 0), 2);
    CXmlObj::s_S_GetNodeVal(node, L"name", name, L"none");
    EXPECT_EQ(name, L"none");
}

TEST_F(XmlQuery, IsNullWhileTheDocumentIsClosed)
{
    EXPECT_FALSE(m_xml.m_S_SelectNodesByKey(L"//a"));
    Load(L"<a/>");
    m_xml.m_F_b_Close();
    EXPECT_FALSE(m_xml.m_S_SelectNodesByKey(L"//a"));
}

TEST_F(XmlQuery, LeavesTheSelectionAlone)
{
    Load(L"<root><e><a k='1'/></e><f><b/><b/></f></root>");
    ASSERT_EQ(m_xml.m_F_n_SelectChildNodes(L"e"), 1);
    EXPECT_EQ(Count(m_xml.m_S_SelectNodesByKey(L"//b")), 2);
    EXPECT_EQ(Read(m_xml, 0, L"k"), (Item{1, L"1", L"a"}));
}

TEST_F(XmlQuery, MakesNoDefaultRoot)
{
    Load(L"<a/>");
    RemoveDocumentElement(m_xml);
    EXPECT_EQ(Count(m_xml.m_S_SelectNodesByKey(L"//*")), 0);
    EXPECT_EQ(Structure(m_xml), L"");
}

TEST_F(XmlQuery, ThatIsNoExpressionThrows)
{
    Load(L"<root/>");
    for (const wchar_t* expression :
         {L"", L"[", L"//", L"root/", L"root[@", L"root['", L"count(root)"})
    {
        EXPECT_EQ(ErrorOf([&] { m_xml.m_S_SelectNodesByKey(expression); }), E_FAIL)
            << CStringA(expression).GetString();
    }
}

TEST_F(XmlQuery, HandsItsListOverToTheCaller)
{
    Load(L"<root><a/></root>");
    const CXmlObj::NodeListPtr nodes = m_xml.m_S_SelectNodesByKey(L"root/a");
    EXPECT_EQ(ReferencesTo(nodes), 1U);
    m_xml = CXmlObj();
    EXPECT_EQ(Count(nodes), 1);
}

}  // namespace
