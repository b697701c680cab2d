#include <cwchar>
#include <string>
#include <utility>
#include <vector>

#include "xml/dom_slots.h"
#include "xml/xml_test.h"

namespace
{

using namespace ostrel::test;

using XmlKey = XmlTest;
using XmlCreatingLookup = XmlTest;
using XmlDefaultRoot = XmlTest;
using XmlValue = XmlTest;
using XmlNumber = XmlTest;
using XmlText = XmlTest;
using XmlNode = XmlTest;

// ---- Keys ---------------------------------------------------------------------------------------

TEST_F(XmlKey, NamesTheFirstElementOfItsPath)
{
    Load(L"<root><a><b k='1'/><b k='2'/></a><a><b k='3'/></a></root>");
    EXPECT_EQ(m_xml.m_F_s_GetValue(L"a/b", L"k", L""), L"1");
    EXPECT_EQ(m_xml.m_F_s_GetValue(L"b", L"k", L"none"), L"none");
}

TEST_F(XmlKey, WithALeadingSlashNamesTheDocumentElementByAnyFirstComponent)
{
    Load(L"<root><a k='1'><b k='2'/></a></root>");
    for (const wchar_t* key : {L"/root/a", L"/other/a", L"a", L"//a"})
    {
        EXPECT_EQ(m_xml.m_F_s_GetValue(key, L"k", L""), L"1") << CStringA(key).GetString();
    }
    EXPECT_EQ(m_xml.m_F_s_GetValue(L"/x/a/b", L"k", L""), L"2");
}

TEST_F(XmlKey, WithALeadingSlashAndNoOtherIsAnAbsolutePath)
{
    Load(L"<root k='0'><a k='1'/></root>");
    EXPECT_EQ(m_xml.m_F_s_GetValue(L"/a", L"k", L"none"), L"none");
    EXPECT_EQ(m_xml.m_F_s_GetValue(L"/root", L"k", L"none"), L"0");
    // The document itself is no element.
    EXPECT_EQ(m_xml.m_F_s_GetValue(L"/", L"k", L"none"), L"none");
}

TEST_F(XmlKey, WithNothingAfterItsSecondSlashNamesTheDocumentElement)
{
    Load(L"<root k='0'><a k='1'/></root>");
    EXPECT_EQ(m_xml.m_F_s_GetValue(L"/root/", L"k", L"none"), L"0");
    EXPECT_EQ(m_xml.m_F_s_GetValue(L"/any/", L"k", L"none"), L"0");
    EXPECT_EQ(m_xml.m_F_s_GetValue(L"//", L"k", L"none"), L"0");
}

TEST_F(XmlKey, MayBeAnExpression)
{
    Load(L"<root><a id='1'><b k='1'/></a><a id='2'><b k='2'/></a><c><d k='3'/></c></root>");
    EXPECT_EQ(m_xml.m_F_s_GetValue(L"a[@id='2']/b", L"k", L""), L"2");
    EXPECT_EQ(m_xml.m_F_s_GetValue(L"c//d", L"k", L""), L"3");
    EXPECT_EQ(m_xml.m_F_s_GetValue(L"*/d", L"k", L""), L"3");
    EXPECT_EQ(m_xml.m_F_s_GetValue(L"a/..", L"k", L"none"), L"none");
    EXPECT_EQ(m_xml.m_F_s_GetValue(L"a/../c/d", L"k", L""), L"3");
}

TEST_F(XmlKey, WithADoubledSlashReachesAnyDepth)
{
    Load(L"<root><a><x><b k='1'/></x></a></root>");
    EXPECT_EQ(m_xml.m_F_s_GetValue(L"a//b", L"k", L""), L"1");
}

TEST_F(XmlKey, OfANodeThatIsNoElementFindsNothing)
{
    Load(L"<root><a k='1'>text<!--comment--></a></root>");
    EXPECT_EQ(m_xml.m_F_s_GetValue(L"a/@k", L"k", L"none"), L"none");
    EXPECT_EQ(m_xml.m_F_s_GetValue(L"a/text()", L"k", L"none"), L"none");
    EXPECT_EQ(m_xml.m_F_s_GetValue(L"a/comment()", L"k", L"none"), L"none");
    EXPECT_EQ(Structure(m_xml), L"<root><a k=\"1\">text<!--comment--></a></root>");
}

TEST_F(XmlKey, DistinguishesUpperAndLowerCase)
{
    Load(L"<root><a k='1'/></root>");
    EXPECT_EQ(m_xml.m_F_s_GetValue(L"A", L"k", L"none"), L"none");
    EXPECT_EQ(m_xml.m_F_s_GetValue(L"a", L"K", L"none"), L"none");
}

TEST_F(XmlKey, ThatIsNoExpressionThrows)
{
    Load(L"<root><a k='1'/></root>");
    for (const wchar_t* key : {L"a/", L"/root/a/", L"a//", L"a[", L"a['", L"[", L"a]", L"count(a)"})
    {
        CStringW value;
        EXPECT_EQ(ErrorOf([&] { m_xml.m_F_n_GetValue(key, L"k", value, L""); }), E_FAIL)
            << CStringA(key).GetString();
        EXPECT_EQ(ErrorOf([&] { m_xml.m_F_b_SetValue(key, L"k", L"2"); }), E_FAIL)
            << CStringA(key).GetString();
    }
    EXPECT_EQ(Structure(m_xml), L"<root><a k=\"1\"/></root>");
}

HRESULT(WINAPI* queryInterface)(IUnknown*, REFIID, void**) = nullptr;

HRESULT WINAPI RefuseToBeAnElement(IUnknown* object, REFIID interfaceId, void** result)
{
    if (IsEqualIID(interfaceId, IID_IXMLDOMElement))
    {
        *result = nullptr;
        return kFailure;
    }
    return queryInterface(object, interfaceId, result);
}

TEST_F(XmlKey, OnlyAMissingInterfaceCountsAsAMissingNode)
{
    Load(L"<root><a k='1'/></root>");
    const CXmlObj::ElementPtr element = DocumentElement();
    const MethodPatch patch(element, kDomSlots.queryInterface, RefuseToBeAnElement);
    patch.GetOriginal(queryInterface);
    EXPECT_EQ(ErrorOf([&] { m_xml.m_F_s_GetValue(L"a", L"k", L""); }), kFailure);
}

TEST_F(XmlKey, MayBeThousandsOfElementsDeep)
{
    Load(L"<root/>");
    const CStringW key = L"a" + Repeated(L"/a", 1999);
    EXPECT_TRUE(m_xml.m_F_b_SetValue(key, L"k", 5));
    EXPECT_EQ(m_xml.m_F_n_GetValueInt(key, L"k", 0), 5);
    EXPECT_EQ(m_xml.m_F_n_GetValueInt(key + L"/a", L"k", 7), 7);
    EXPECT_GT(m_xml.m_F_n_GetXML_Length(), 2000 * 3);
}

// The platform takes so long an expression, or refuses it with an error; nothing worse happens.
TEST_F(XmlKey, OfAnyLengthIsWithstood)
{
    Load(L"<root><a k='1'/></root>");
    const CStringW key = L"b" + Repeated(L"/b", 10000);
    const HRESULT result = ErrorOf([&] { m_xml.m_F_b_SetValue(key, L"k", 5); });
    EXPECT_EQ(FAILED(result), Structure(m_xml) == L"<root><a k=\"1\"/></root>");
    EXPECT_EQ(m_xml.m_F_s_GetValue(Repeated(L"name", 1000), L"k", L"none"), L"none");
    EXPECT_EQ(m_xml.m_F_s_GetValue(L"a", L"k", L"none"), L"1");
}

// ---- Lookups that create ------------------------------------------------------------------------

TEST_F(XmlCreatingLookup, AddsTheMissingElementsOfItsPathAndNoneTwice)
{
    Load(L"<a/>");
    EXPECT_TRUE(m_xml.m_F_b_SetValue(L"x/y", L"k", L"1"));
    EXPECT_EQ(Structure(m_xml), L"<a><x><y k=\"1\"/></x></a>");
    EXPECT_TRUE(m_xml.m_F_b_SetValue(L"x/y", L"k", L"1"));
    EXPECT_EQ(Structure(m_xml), L"<a><x><y k=\"1\"/></x></a>");
}

TEST_F(XmlCreatingLookup, AddsOnlyTheMissingTailAndAsLastChildren)
{
    Load(L"<a><x><first/></x><z/></a>");
    EXPECT_TRUE(m_xml.m_F_b_SetValue(L"x/y/w", L"k", L"1"));
    EXPECT_EQ(Structure(m_xml), L"<a><x><first/><y><w k=\"1\"/></y></x><z/></a>");
    EXPECT_TRUE(m_xml.m_F_b_SetValue(L"v", L"k", L"2"));
    EXPECT_EQ(Structure(m_xml), L"<a><x><first/><y><w k=\"1\"/></y></x><z/><v k=\"2\"/></a>");
}

// The path goes through the first of several elements of a name, though a later one has more of it.
TEST_F(XmlCreatingLookup, GoesThroughTheFirstElementOfAName)
{
    Load(L"<a><x/><x><y/></x></a>");
    EXPECT_TRUE(m_xml.m_F_b_SetValue(L"x/y", L"k", L"1"));
    EXPECT_EQ(Structure(m_xml), L"<a><x/><x><y k=\"1\"/></x></a>");
    EXPECT_TRUE(m_xml.m_F_b_SetValue(L"x/z", L"k", L"1"));
    EXPECT_EQ(Structure(m_xml), L"<a><x><z k=\"1\"/></x><x><y k=\"1\"/></x></a>");
}

TEST_F(XmlCreatingLookup, DropsTheFirstComponentAfterALeadingSlash)
{
    Load(L"<a/>");
    EXPECT_TRUE(m_xml.m_F_b_SetValue(L"/a/x", L"k", L"1"));
    EXPECT_TRUE(m_xml.m_F_b_SetValue(L"/whatever/y", L"k", L"1"));
    EXPECT_EQ(Structure(m_xml), L"<a><x k=\"1\"/><y k=\"1\"/></a>");
}

TEST_F(XmlCreatingLookup, SkipsTheEmptyComponentsOfDoubledSlashes)
{
    Load(L"<a/>");
    EXPECT_TRUE(m_xml.m_F_b_SetValue(L"x//y", L"k", L"1"));
    EXPECT_EQ(Structure(m_xml), L"<a><x><y k=\"1\"/></x></a>");
}

// The path is made below the document element, but then sought from the document.
TEST_F(XmlCreatingLookup, OfAnAbsolutePathStillFindsNothing)
{
    Load(L"<a/>");
    EXPECT_FALSE(m_xml.m_F_b_SetValue(L"/x", L"k", L"1"));
    EXPECT_EQ(Structure(m_xml), L"<a><x/></a>");
    EXPECT_FALSE(m_xml.m_F_b_SetValue(L"/", L"k", L"1"));
    EXPECT_EQ(Structure(m_xml), L"<a><x/></a>");
}

TEST_F(XmlCreatingLookup, FollowsPredicatesOfWhatIsThere)
{
    Load(L"<a><x id='1'/><x id='2'/></a>");
    EXPECT_TRUE(m_xml.m_F_b_SetValue(L"x[@id='2']/y", L"k", L"1"));
    EXPECT_EQ(Structure(m_xml), L"<a><x id=\"1\"/><x id=\"2\"><y k=\"1\"/></x></a>");
}

HRESULT WINAPI CreateNoElement(IUnknown*, BSTR, IXMLDOMElement** element)
{
    *element = nullptr;
    return kFailure;
}

HRESULT(WINAPI* createElement)(IUnknown*, BSTR, IXMLDOMElement**) = nullptr;

HRESULT WINAPI CreateElementOfValidName(IUnknown* document, BSTR name, IXMLDOMElement** element)
{
    if (std::wstring(name).find_first_of(L"[]@*.") != std::wstring::npos)
    {
        *element = nullptr;
        return kFailure;
    }
    return createElement(document, name, element);
}

TEST_F(XmlCreatingLookup, ThrowsWhereAComponentCannotBeATagName)
{
    Load(L"<a/>");
    const CXmlObj::DocumentPtr document = m_xml.m_F_p_GetDOC();
    const MethodPatch patch(document, kDomSlots.documentCreateElement, CreateElementOfValidName);
    patch.GetOriginal(createElement);
    EXPECT_EQ(ErrorOf([&] { m_xml.m_F_b_SetValue(L"x/item[2]/y", L"k", L"1"); }), kFailure);
    // What came before it stays.
    EXPECT_EQ(Structure(m_xml), L"<a><x/></a>");
    EXPECT_TRUE(m_xml.m_F_b_IsOpen());
}

TEST_F(XmlCreatingLookup, ThrowsWhereASlashInAPredicateSplitsIt)
{
    Load(L"<a/>");
    EXPECT_EQ(ErrorOf([&] { m_xml.m_F_b_SetValue(L"x[@u='p/q']", L"k", L"1"); }), E_FAIL);
    EXPECT_EQ(Structure(m_xml), L"<a/>");
}

TEST_F(XmlCreatingLookup, IsDoneByTheWritersAndTheTextReaderAlone)
{
    Load(L"<a/>");
    CStringW value;
    EXPECT_EQ(m_xml.m_F_n_GetValue(L"v1/w", L"k", value, L"d"), 0);
    EXPECT_EQ(m_xml.m_F_s_GetValue(L"v2/w", L"k", L"d"), L"d");
    EXPECT_EQ(m_xml.m_F_n_GetValueInt(L"v3/w", L"k", 1), 1);
    EXPECT_EQ(Structure(m_xml), L"<a/>");
    EXPECT_TRUE(m_xml.m_F_b_SetValue(L"s1/w", L"k", L"1"));
    EXPECT_TRUE(m_xml.m_F_b_SetValue(L"s2/w", L"k", 1));
    EXPECT_EQ(m_xml.m_F_n_GetText(L"s3/w", value, L"d"), 0);
    EXPECT_EQ(m_xml.m_F_n_SetText(L"s4/w", L"t"), 1);
    EXPECT_EQ(Structure(m_xml),
              L"<a><s1><w k=\"1\"/></s1><s2><w k=\"1\"/></s2><s3><w/></s3><s4><w>t</w></s4></a>");
}

// ---- The default root ---------------------------------------------------------------------------

TEST_F(XmlDefaultRoot, IsMadeByAnyLookup)
{
    using Lookup = void (*)(CXmlObj&);
    const std::vector<Lookup> lookups = {
        [](CXmlObj& xml) { EXPECT_EQ(xml.m_F_s_GetValue(L"a", L"k", L"d"), L"d"); },
        [](CXmlObj& xml) { EXPECT_EQ(xml.m_F_s_GetValue(L"/a", L"k", L"d"), L"d"); },
        [](CXmlObj& xml) { EXPECT_EQ(xml.m_F_n_GetValueInt(L"a", L"k", 3), 3); },
        [](CXmlObj& xml) { EXPECT_FALSE(xml.m_F_b_RemoveNods(L"a", L"b")); },
        [](CXmlObj& xml) { EXPECT_FALSE(xml.m_F_b_RenameNods(L"a", L"b", L"c")); },
        [](CXmlObj& xml)
        {
            CStringList names;
            EXPECT_EQ(xml.m_F_n_GetChildKey(L"a", names), 0);
        },
    };
    for (const Lookup lookup : lookups)
    {
        Load(L"<a/>");
        RemoveDocumentElement(m_xml);
        ASSERT_EQ(Structure(m_xml), L"");
        lookup(m_xml);
        EXPECT_EQ(Structure(m_xml), L"<root/>");
    }
}

TEST_F(XmlDefaultRoot, IsMadeBeforeAnythingElse)
{
    Load(L"<a/>");
    RemoveDocumentElement(m_xml);
    EXPECT_TRUE(m_xml.m_F_b_SetValue(L"", L"k", L"1"));
    EXPECT_EQ(Structure(m_xml), L"<root k=\"1\"/>");
    RemoveDocumentElement(m_xml);
    EXPECT_TRUE(m_xml.m_F_b_SetValue(L"x/y", L"k", L"1"));
    EXPECT_EQ(Structure(m_xml), L"<root><x><y k=\"1\"/></x></root>");
}

TEST_F(XmlDefaultRoot, IsNotMadeWithoutALookup)
{
    Load(L"<a/>");
    RemoveDocumentElement(m_xml);
    CStringW value;
    EXPECT_EQ(m_xml.m_F_n_GetValue(L"", L"k", value, L""), 0);
    EXPECT_FALSE(m_xml.m_F_b_SetValue(L"x", L"", L"1"));
    EXPECT_EQ(m_xml.m_F_n_GetText(L"", value, L""), 0);
    EXPECT_FALSE(m_xml.m_F_b_AddNods(L"x", L""));
    EXPECT_EQ(Structure(m_xml), L"");
    m_xml.m_F_b_Close();
    EXPECT_FALSE(m_xml.m_F_b_SetValue(L"x", L"k", L"1"));
    EXPECT_EQ(Structure(m_xml), L"");
}

TEST_F(XmlDefaultRoot, ThatCannotBeMadeThrows)
{
    Load(L"<a/>");
    RemoveDocumentElement(m_xml);
    const MethodPatch patch(m_xml.m_F_p_GetDOC(), kDomSlots.documentCreateElement, CreateNoElement);
    EXPECT_EQ(ErrorOf([&] { m_xml.m_F_s_GetValue(L"a", L"k", L""); }), kFailure);
}

// ---- Values -------------------------------------------------------------------------------------

TEST_F(XmlValue, IsAnAttributeAndItsLength)
{
    Load(L"<root><a k='value'/></root>");
    CStringW value(L"before");
    EXPECT_EQ(m_xml.m_F_n_GetValue(L"a", L"k", value, L"default"), 5);
    EXPECT_EQ(value, L"value");
}

TEST_F(XmlValue, IsTheDefaultWhenElementOrAttributeIsMissing)
{
    Load(L"<root><a k='value'/></root>");
    CStringW value;
    EXPECT_EQ(m_xml.m_F_n_GetValue(L"b", L"k", value, L"default"), 0);
    EXPECT_EQ(value, L"default");
    EXPECT_EQ(m_xml.m_F_n_GetValue(L"a", L"other", value, L"second"), 0);
    EXPECT_EQ(value, L"second");
    EXPECT_EQ(m_xml.m_F_n_GetValue(L"x/y", L"k", value, L"third"), 0);
    EXPECT_EQ(value, L"third");
    EXPECT_EQ(Structure(m_xml), L"<root><a k=\"value\"/></root>");
}

TEST_F(XmlValue, ThatIsEmptyIsNotTheDefault)
{
    Load(L"<root><a k=''/></root>");
    CStringW value;
    EXPECT_EQ(m_xml.m_F_n_GetValue(L"a", L"k", value, L"default"), 0);
    EXPECT_EQ(value, L"");
    EXPECT_EQ(m_xml.m_F_s_GetValue(L"a", L"k", L"default"), L"");
}

TEST_F(XmlValue, IsTheDefaultForAnEmptyKeyOrName)
{
    Load(L"<root k='value'><a k='value'/></root>");
    CStringW value;
    EXPECT_EQ(m_xml.m_F_n_GetValue(L"", L"k", value, L"default"), 0);
    EXPECT_EQ(value, L"default");
    EXPECT_EQ(m_xml.m_F_n_GetValue(L"a", L"", value, L"second"), 0);
    EXPECT_EQ(value, L"second");
}

TEST_F(XmlValue, MayBeReadIntoItsOwnDefault)
{
    Load(L"<root><a k='value'/></root>");
    CStringW text(L"default");
    EXPECT_EQ(m_xml.m_F_n_GetValue(L"b", L"k", text, text), 0);
    EXPECT_EQ(text, L"default");
    EXPECT_EQ(m_xml.m_F_n_GetValue(L"a", L"k", text, text), 5);
    EXPECT_EQ(text, L"value");
}

TEST_F(XmlValue, IsReturnedByTheOtherReader)
{
    Load(L"<root><a k='value'/></root>");
    EXPECT_EQ(m_xml.m_F_s_GetValue(L"a", L"k", L"default"), L"value");
    EXPECT_EQ(m_xml.m_F_s_GetValue(L"a", L"none", L"default"), L"default");
}

TEST_F(XmlValue, IsSetAndOverwritten)
{
    Load(L"<root><a k='1' m='2'/></root>");
    EXPECT_TRUE(m_xml.m_F_b_SetValue(L"a", L"k", L"changed"));
    EXPECT_TRUE(m_xml.m_F_b_SetValue(L"a", L"n", L"new"));
    EXPECT_EQ(Structure(m_xml), L"<root><a k=\"changed\" m=\"2\" n=\"new\"/></root>");
    EXPECT_TRUE(m_xml.m_F_b_SetValue(L"a", L"k", L""));
    EXPECT_EQ(m_xml.m_F_s_GetValue(L"a", L"k", L"default"), L"");
}

TEST_F(XmlValue, IsNotSetWithoutAName)
{
    Load(L"<root/>");
    EXPECT_FALSE(m_xml.m_F_b_SetValue(L"x", L"", L"1"));
    EXPECT_FALSE(m_xml.m_F_b_SetValue(L"x", L"", 1));
    EXPECT_EQ(Structure(m_xml), L"<root/>");
}

TEST_F(XmlValue, IsSetOnTheDocumentElementByAnEmptyKeyButNotReadBack)
{
    Load(L"<root/>");
    EXPECT_TRUE(m_xml.m_F_b_SetValue(L"", L"k", L"1"));
    EXPECT_EQ(Structure(m_xml), L"<root k=\"1\"/>");
    CStringW value;
    EXPECT_EQ(m_xml.m_F_n_GetValue(L"", L"k", value, L"default"), 0);
    EXPECT_EQ(value, L"default");
    EXPECT_EQ(m_xml.m_F_s_GetValue(L"/root", L"k", L"default"), L"1");
}

TEST_F(XmlValue, OfANumberIsDecimalText)
{
    Load(L"<root/>");
    const std::vector<std::pair<int, const wchar_t*>> numbers = {{42, L"42"},
                                                                 {-7, L"-7"},
                                                                 {0, L"0"},
                                                                 {2147483647, L"2147483647"},
                                                                 {-2147483647 - 1, L"-2147483648"}};
    for (const auto& [number, text] : numbers)
    {
        EXPECT_TRUE(m_xml.m_F_b_SetValue(L"a", L"k", number));
        EXPECT_EQ(m_xml.m_F_s_GetValue(L"a", L"k", L""), text);
        EXPECT_EQ(m_xml.m_F_n_GetValueInt(L"a", L"k", 99), number);
    }
    EXPECT_TRUE(m_xml.m_F_b_SetValue(L"", L"k", -7));
    EXPECT_EQ(m_xml.m_F_s_GetValue(L"/root", L"k", L""), L"-7");
}

TEST_F(XmlValue, KeepsEveryCharacter)
{
    const wchar_t* const texts[] = {L"\u00E9\u00DF",          L"\u65E5\u672C\u8A9E",
                                    L"\U0001F600 \U00020000", L"<&>\"'",
                                    L"  two  blanks  ",       L"a\tb\nc"};
    Load(L"<root/>");
    for (const wchar_t* text : texts)
    {
        EXPECT_TRUE(m_xml.m_F_b_SetValue(L"a", L"k", text));
        EXPECT_EQ(m_xml.m_F_s_GetValue(L"a", L"k", L""), text);
        CStringW value;
        EXPECT_EQ(m_xml.m_F_n_GetValue(L"a", L"k", value, L""), static_cast<int>(wcslen(text)));
    }
}

TEST_F(XmlValue, HasItsEntitiesResolved)
{
    Load(L"<root><a k='&lt;&amp;&gt;&quot;&apos;&#65;&#x65E5;&#x1F600;'/></root>");
    EXPECT_EQ(m_xml.m_F_s_GetValue(L"a", L"k", L""), L"<&>\"'A\u65E5\U0001F600");
}

TEST_F(XmlValue, SurvivesBeingWrittenAndLoadedAgain)
{
    const CStringW text(L"<&>\"' \u00E9 \u65E5 \U0001F600");
    Load(L"<root/>");
    ASSERT_TRUE(m_xml.m_F_b_SetValue(L"a", L"k", text));
    const TemporaryFile file;
    ASSERT_TRUE(m_xml.m_F_b_Save(file.Path()));
    CXmlObj again;
    ASSERT_TRUE(again.m_F_b_LoadXMLFile(file.Path()));
    EXPECT_EQ(again.m_F_s_GetValue(L"a", L"k", L""), text);
}

TEST_F(XmlValue, MayBeAMegabyteLong)
{
    const CStringW text = Repeated(L"0123456789abcde\u65E5", 65536);
    Load(L"<root/>");
    EXPECT_TRUE(m_xml.m_F_b_SetValue(L"a", L"k", text));
    CStringW value;
    EXPECT_EQ(m_xml.m_F_n_GetValue(L"a", L"k", value, L""), 1 << 20);
    EXPECT_TRUE(value == text);
}

HRESULT WINAPI FailToSet(IUnknown*, BSTR, VARIANT)
{
    return kFailure;
}

HRESULT WINAPI FailToGive(IUnknown*, void** result)
{
    *result = nullptr;
    return kFailure;
}

HRESULT WINAPI GiveNothing(IUnknown*, void** result)
{
    *result = nullptr;
    return S_FALSE;
}

TEST_F(XmlValue, ThatTheDomRefusesThrows)
{
    Load(L"<root><a/></root>");
    const MethodPatch patch(DocumentElement(), kDomSlots.elementSetAttribute, FailToSet);
    EXPECT_EQ(ErrorOf([&] { m_xml.m_F_b_SetValue(L"a", L"not a name", L"1"); }), kFailure);
    EXPECT_EQ(ErrorOf([&] { m_xml.m_F_b_SetValue(L"a", L"not a name", 1); }), kFailure);
}

TEST_F(XmlValue, OfAnElementWithoutAttributeMapIsTheDefault)
{
    Load(L"<root><a k='1'/></root>");
    const MethodPatch patch(DocumentElement(), kDomSlots.elementGetAttributes, GiveNothing);
    CStringW value;
    EXPECT_EQ(m_xml.m_F_n_GetValue(L"a", L"k", value, L"default"), 0);
    EXPECT_EQ(value, L"default");
    EXPECT_EQ(CXmlObj::s_F_n_GetNodeValInt(DocumentElement(), L"k", 4), 4);
}

TEST_F(XmlValue, WhoseMapCannotBeReadThrows)
{
    Load(L"<root><a k='1'/></root>");
    const MethodPatch patch(DocumentElement(), kDomSlots.elementGetAttributes, FailToGive);
    EXPECT_EQ(ErrorOf([&] { m_xml.m_F_s_GetValue(L"a", L"k", L""); }), kFailure);
}

// ---- Numbers ------------------------------------------------------------------------------------

TEST_F(XmlNumber, IsReadAsFarAsItGoes)
{
    const std::vector<std::pair<const wchar_t*, int>> cases = {{L"42", 42},
                                                               {L"-7", -7},
                                                               {L"+5", 5},
                                                               {L"  13", 13},
                                                               {L"\t9", 9},
                                                               {L"12ab", 12},
                                                               {L"3.9", 3},
                                                               {L"abc", 0},
                                                               {L"0x10", 0},
                                                               {L"- 5", 0},
                                                               {L"007", 7},
                                                               {L" ", 0},
                                                               {L"-", 0},
                                                               {L"1 2", 1},
                                                               {L"\u65E5", 0},
                                                               {L"2147483647", 2147483647},
                                                               {L"-2147483648", -2147483647 - 1}};
    Load(L"<root/>");
    for (const auto& [text, number] : cases)
    {
        ASSERT_TRUE(m_xml.m_F_b_SetValue(L"a", L"k", text));
        EXPECT_EQ(m_xml.m_F_n_GetValueInt(L"a", L"k", 99), number) << CStringA(text).GetString();
        CXmlObj::NodePtr node;
        ASSERT_EQ(DocumentElement()->get_firstChild(&node), S_OK);
        EXPECT_EQ(CXmlObj::s_F_n_GetNodeValInt(node, L"k", 99), number)
            << CStringA(text).GetString();
    }
}

TEST_F(XmlNumber, IsTheDefaultForAMissingOrEmptyAttribute)
{
    Load(L"<root><a k=''/></root>");
    EXPECT_EQ(m_xml.m_F_n_GetValueInt(L"a", L"missing", 7), 7);
    EXPECT_EQ(m_xml.m_F_n_GetValueInt(L"a", L"k", 7), 7);
    EXPECT_EQ(m_xml.m_F_n_GetValueInt(L"b", L"k", -7), -7);
    EXPECT_EQ(m_xml.m_F_n_GetValueInt(L"", L"k", 7), 7);
    EXPECT_EQ(m_xml.m_F_n_GetValueInt(L"a", L"", 7), 7);
}

// ---- Texts --------------------------------------------------------------------------------------

TEST_F(XmlText, IsOfTheElementAndAllInIt)
{
    Load(L"<root><a>one<b>two<c>three</c></b>four</a></root>");
    CStringW text;
    EXPECT_EQ(m_xml.m_F_n_GetText(L"a", text, L"default"), 15);
    EXPECT_EQ(text, L"onetwothreefour");
    EXPECT_EQ(m_xml.m_F_n_GetText(L"a/b/c", text, L"default"), 5);
    EXPECT_EQ(text, L"three");
}

TEST_F(XmlText, OfAnEmptyElementIsNotTheDefault)
{
    Load(L"<root><a/></root>");
    CStringW text(L"before");
    EXPECT_EQ(m_xml.m_F_n_GetText(L"a", text, L"default"), 0);
    EXPECT_EQ(text, L"");
}

TEST_F(XmlText, CreatesThePathItReads)
{
    Load(L"<root/>");
    CStringW text(L"before");
    EXPECT_EQ(m_xml.m_F_n_GetText(L"x/y", text, L"default"), 0);
    EXPECT_EQ(text, L"");
    EXPECT_EQ(Structure(m_xml), L"<root><x><y/></x></root>");
    EXPECT_EQ(m_xml.m_F_n_GetText(L"x/y", text, L"default"), 0);
    EXPECT_EQ(Structure(m_xml), L"<root><x><y/></x></root>");
}

TEST_F(XmlText, IsTheDefaultForAnEmptyKeyOrAnUnreachableOne)
{
    Load(L"<root>text</root>");
    CStringW text;
    EXPECT_EQ(m_xml.m_F_n_GetText(L"", text, L"default"), 0);
    EXPECT_EQ(text, L"default");
    EXPECT_EQ(m_xml.m_F_n_GetText(L"/other", text, L"second"), 0);
    EXPECT_EQ(text, L"second");
    EXPECT_EQ(m_xml.m_F_n_GetText(L"/root", text, L"default"), 4);
    EXPECT_EQ(text, L"text");
}

TEST_F(XmlText, IsSetInThePlaceOfAllChildren)
{
    Load(L"<root><a k='1'>old<b/><!--c--></a></root>");
    EXPECT_EQ(m_xml.m_F_n_SetText(L"a", L"new"), 1);
    EXPECT_EQ(Structure(m_xml), L"<root><a k=\"1\">new</a></root>");
}

TEST_F(XmlText, IsSetInElementsThatAreMadeForIt)
{
    Load(L"<root/>");
    EXPECT_EQ(m_xml.m_F_n_SetText(L"x/y", L"text"), 1);
    EXPECT_EQ(Structure(m_xml), L"<root><x><y>text</y></x></root>");
}

TEST_F(XmlText, IsNotSetForAnEmptyKeyOrAnUnreachableOne)
{
    Load(L"<root>text</root>");
    EXPECT_EQ(m_xml.m_F_n_SetText(L"", L"new"), 0);
    EXPECT_EQ(Structure(m_xml), L"<root>text</root>");
    EXPECT_EQ(m_xml.m_F_n_SetText(L"/", L"new"), 0);
    EXPECT_EQ(Structure(m_xml), L"<root>text</root>");
}

TEST_F(XmlText, KeepsEveryCharacter)
{
    Load(L"<root/>");
    CStringW text;
    for (const wchar_t* characters :
         {L"\u00E9\u65E5\U0001F600", L"<b>&amp;\"'", L"]]>", L"two words"})
    {
        EXPECT_EQ(m_xml.m_F_n_SetText(L"a", characters), 1);
        EXPECT_EQ(m_xml.m_F_n_GetText(L"a", text, L""), static_cast<int>(wcslen(characters)));
        EXPECT_EQ(text, characters);
    }
    const CStringW large = Repeated(L"0123456789abcdef", 65536);
    EXPECT_EQ(m_xml.m_F_n_SetText(L"a", large), 1);
    EXPECT_EQ(m_xml.m_F_n_GetText(L"a", text, L""), 1 << 20);
    EXPECT_TRUE(text == large);
}

TEST_F(XmlText, ThatCannotBeReadThrows)
{
    Load(L"<root><a>t</a></root>");
    const MethodPatch patch(DocumentElement(), kDomSlots.elementGetText, FailToGive);
    CStringW text;
    EXPECT_EQ(ErrorOf([&] { m_xml.m_F_n_GetText(L"a", text, L"default"); }), kFailure);
}

// ---- Nodes that the client holds ----------------------------------------------------------------

TEST_F(XmlNode, HasItsAttributesRead)
{
    Load(L"<root k='value' e=''/>");
    const CXmlObj::NodePtr node = DocumentElement();
    CStringW value;
    CXmlObj::s_S_GetNodeVal(node, L"k", value, L"default");
    EXPECT_EQ(value, L"value");
    CXmlObj::s_S_GetNodeVal(node, L"e", value, L"default");
    EXPECT_EQ(value, L"");
    CXmlObj::s_S_GetNodeVal(node, L"missing", value, L"default");
    EXPECT_EQ(value, L"default");
}

TEST_F(XmlNode, HasItsNumbersRead)
{
    Load(L"<root k='42' e='' t='abc'/>");
    const CXmlObj::NodePtr node = DocumentElement();
    EXPECT_EQ(CXmlObj::s_F_n_GetNodeValInt(node, L"k", 7), 42);
    EXPECT_EQ(CXmlObj::s_F_n_GetNodeValInt(node, L"t", 7), 0);
    EXPECT_EQ(CXmlObj::s_F_n_GetNodeValInt(node, L"missing", 7), 7);
    // Unlike the member that goes by a key.
    EXPECT_EQ(CXmlObj::s_F_n_GetNodeValInt(node, L"e", 7), 0);
    EXPECT_EQ(m_xml.m_F_n_GetValueInt(L"/root", L"e", 7), 7);
}

TEST_F(XmlNode, MayBeNull)
{
    CStringW value(L"before");
    CXmlObj::s_S_GetNodeVal(CXmlObj::NodePtr(), L"k", value, L"default");
    EXPECT_EQ(value, L"default");
    EXPECT_EQ(CXmlObj::s_F_n_GetNodeValInt(CXmlObj::NodePtr(), L"k", 7), 7);
}

TEST_F(XmlNode, MayBeOfAKindWithoutAttributes)
{
    Load(L"<root>text</root>");
    CXmlObj::NodePtr text;
    ASSERT_EQ(DocumentElement()->get_firstChild(&text), S_OK);
    CStringW value;
    CXmlObj::s_S_GetNodeVal(text, L"k", value, L"default");
    EXPECT_EQ(value, L"default");
    EXPECT_EQ(CXmlObj::s_F_n_GetNodeValInt(text, L"k", 7), 7);
}

TEST_F(XmlNode, KeepsTheClientsReferencesAndNoMore)
{
    Load(L"<root k='42'/>");
    const CXmlObj::NodePtr node = DocumentElement();
    const unsigned long count = ReferencesTo(node);
    CStringW value;
    CXmlObj::s_S_GetNodeVal(node, L"k", value, L"");
    CXmlObj::s_S_GetNodeVal(node, L"none", value, L"");
    CXmlObj::s_F_n_GetNodeValInt(node, L"k", 0);
    EXPECT_EQ(ReferencesTo(node), count);
}

}  // namespace
