#include <comdef.h>

#include <string>
#include <thread>

#include "support/import_patch.h"
#include "xml/dom_slots.h"
#include "xml/xml_test.h"

namespace
{

using namespace ostrel::test;

constexpr CLSID kDomDocument = {
    0xF6D90F11, 0x9C73, 0x11D3, {0xB3, 0x2E, 0x00, 0xC0, 0x4F, 0x99, 0x0B, 0xB4}};

CXmlObj::DocumentPtr PlatformDocument()
{
    CXmlObj::DocumentPtr document;
    EXPECT_EQ(document.CreateInstance(kDomDocument), S_OK);
    return document;
}

void ExpectClosedWithoutDocument(CXmlObj& xml)
{
    EXPECT_FALSE(xml.m_F_b_IsOpen());
    EXPECT_FALSE(xml.m_F_p_GetDOC());
}

// ---- Construction, copies, destruction ----------------------------------------------------------

TEST(XmlDocument, IsClosedAndHoldsNothingAtFirst)
{
    CXmlObj xml;
    ExpectClosedWithoutDocument(xml);
    EXPECT_EQ(xml.m_F_s_GetXML(), L"");
    EXPECT_EQ(xml.m_F_n_GetXML_Length(), 0);
    EXPECT_FALSE(xml.m_F_b_Save(L""));
}

// A thread that is in an apartment of its own cannot be moved to the other kind.
TEST(XmlDocument, MakesItsThreadASingleThreadedApartmentForGood)
{
    HRESULT before = S_OK;
    HRESULT after = S_OK;
    std::thread(
        [&]
        {
            {
                CXmlObj xml;
                before = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
            }
            after = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        })
        .join();
    EXPECT_EQ(before, RPC_E_CHANGED_MODE);
    EXPECT_EQ(after, RPC_E_CHANGED_MODE);
}

TEST(XmlDocument, IgnoresThatItsThreadWasInitialisedInAnotherWay)
{
    bool isLoaded = false;
    std::thread(
        [&]
        {
            CoInitializeEx(nullptr, COINIT_MULTITHREADED);
            {
                CXmlObj xml;
                isLoaded = xml.m_F_b_LoadXML(L"<a/>");
            }
            CoUninitialize();
        })
        .join();
    EXPECT_TRUE(isLoaded);
}

TEST(XmlDocument, ACopyWorksOnTheSameDocument)
{
    CXmlObj xml;
    ASSERT_TRUE(xml.m_F_b_LoadXML(L"<a/>"));
    CXmlObj copy(xml);
    EXPECT_TRUE(copy.m_F_b_IsOpen());
    EXPECT_EQ(copy.m_F_p_GetDOC().GetInterfacePtr(), xml.m_F_p_GetDOC().GetInterfacePtr());
    EXPECT_TRUE(xml.m_F_b_SetValue(L"x", L"k", L"1"));
    EXPECT_EQ(copy.m_F_s_GetValue(L"x", L"k", L""), L"1");
    EXPECT_TRUE(copy.m_F_b_SetValue(L"x", L"k", L"2"));
    EXPECT_EQ(xml.m_F_s_GetValue(L"x", L"k", L""), L"2");
}

TEST(XmlDocument, ClosingOneCopyDoesNotCloseTheOther)
{
    CXmlObj xml;
    ASSERT_TRUE(xml.m_F_b_LoadXML(L"<a/>"));
    CXmlObj copy(xml);
    xml.m_F_b_Close();
    EXPECT_FALSE(xml.m_F_b_IsOpen());
    EXPECT_TRUE(copy.m_F_b_IsOpen());
    const CXmlObj closed(xml);
    EXPECT_FALSE(CXmlObj(closed).m_F_b_IsOpen());
}

TEST(XmlDocument, LoadingOneCopyLeavesTheOtherItsDocument)
{
    CXmlObj xml;
    ASSERT_TRUE(xml.m_F_b_LoadXML(L"<a/>"));
    CXmlObj copy(xml);
    ASSERT_TRUE(xml.m_F_b_LoadXML(L"<b/>"));
    EXPECT_EQ(Structure(copy), L"<a/>");
    EXPECT_EQ(Structure(xml), L"<b/>");
}

TEST(XmlDocument, EveryObjectHoldsOneReferenceToItsDocument)
{
    CXmlObj xml;
    ASSERT_TRUE(xml.m_F_b_LoadXML(L"<a/>"));
    const CXmlObj::DocumentPtr document = xml.m_F_p_GetDOC();
    EXPECT_EQ(ReferencesTo(document), 2U);
    {
        CXmlObj copy(xml);
        EXPECT_EQ(ReferencesTo(document), 3U);
        CXmlObj assigned;
        assigned = copy;
        EXPECT_EQ(ReferencesTo(document), 4U);
    }
    EXPECT_EQ(ReferencesTo(document), 2U);
}

TEST(XmlDocument, AssignmentTakesTheOtherDocumentAndReleasesItsOwn)
{
    CXmlObj xml;
    ASSERT_TRUE(xml.m_F_b_LoadXML(L"<a/>"));
    CXmlObj other;
    ASSERT_TRUE(other.m_F_b_LoadXML(L"<b/>"));
    const CXmlObj::DocumentPtr released = xml.m_F_p_GetDOC();
    EXPECT_EQ(&(xml = other), &xml);
    EXPECT_EQ(ReferencesTo(released), 1U);
    EXPECT_EQ(Structure(xml), L"<b/>");
    EXPECT_TRUE(xml.m_F_b_IsOpen());
    other.m_F_b_Close();
    xml = other;
    EXPECT_FALSE(xml.m_F_b_IsOpen());
    xml = CXmlObj();
    ExpectClosedWithoutDocument(xml);
}

TEST(XmlDocument, AssignmentToItselfChangesNothing)
{
    CXmlObj xml;
    ASSERT_TRUE(xml.m_F_b_LoadXML(L"<a/>"));
    const CXmlObj::DocumentPtr document = xml.m_F_p_GetDOC();
    const CXmlObj& same = xml;
    xml = same;
    EXPECT_TRUE(xml.m_F_b_IsOpen());
    EXPECT_EQ(ReferencesTo(document), 2U);
}

TEST(XmlDocument, DestructionReleasesTheDocument)
{
    CXmlObj::DocumentPtr document;
    {
        CXmlObj xml;
        ASSERT_TRUE(xml.m_F_b_LoadXML(L"<a/>"));
        document = xml.m_F_p_GetDOC();
    }
    EXPECT_EQ(ReferencesTo(document), 1U);
}

TEST(XmlDocument, GetDocTakesAReferenceForTheCaller)
{
    CXmlObj xml;
    ASSERT_TRUE(xml.m_F_b_LoadXML(L"<a/>"));
    const CXmlObj::DocumentPtr first = xml.m_F_p_GetDOC();
    const unsigned long count = ReferencesTo(first);
    const CXmlObj::DocumentPtr second = xml.m_F_p_GetDOC();
    EXPECT_EQ(ReferencesTo(first), count + 1);
}

// ---- Creating the document ----------------------------------------------------------------------

struct CreationCall
{
    int count = 0;
    CLSID classId = {};
    DWORD context = 0;
    IID interfaceId = {};
    int runs = 0;
} creation;

HRESULT WINAPI RecordCreation(REFCLSID classId, IUnknown* outer, DWORD context, REFIID interfaceId,
                              void** object)
{
    ++creation.count;
    creation.classId = classId;
    creation.context = context;
    creation.interfaceId = interfaceId;
    return CoCreateInstance(classId, outer, context, interfaceId, object);
}

HRESULT WINAPI RecordRun(IUnknown* object)
{
    ++creation.runs;
    return OleRun(object);
}

HRESULT WINAPI FailToCreate(REFCLSID, IUnknown*, DWORD, REFIID, void** object)
{
    *object = nullptr;
    return REGDB_E_CLASSNOTREG;
}

IUnknown* createdObject = nullptr;

HRESULT WINAPI CreateAnotherClass(REFCLSID, IUnknown*, DWORD, REFIID, void** object)
{
    ICreateErrorInfo* other = nullptr;
    CreateErrorInfo(&other);
    createdObject = other;
    createdObject->AddRef();
    *object = other;
    return S_OK;
}

HRESULT WINAPI FailToRun(IUnknown* object)
{
    createdObject = object;
    createdObject->AddRef();
    return E_FAIL;
}

TEST(XmlDocument, EveryLoadCreatesADocumentOfTheStatedClass)
{
    creation = CreationCall();
    const ImportPatch create("CoCreateInstance", RecordCreation);
    const ImportPatch run("OleRun", RecordRun);
    CXmlObj xml;
    ASSERT_TRUE(xml.m_F_b_LoadXML(L"<a/>"));
    EXPECT_EQ(creation.count, 1);
    EXPECT_TRUE(IsEqualCLSID(creation.classId, kDomDocument));
    EXPECT_EQ(creation.context, 23U);
    EXPECT_TRUE(IsEqualIID(creation.interfaceId, IID_IUnknown));
    EXPECT_EQ(creation.runs, 1);
    const CXmlObj::DocumentPtr first = xml.m_F_p_GetDOC();
    ASSERT_TRUE(xml.m_F_b_LoadXML(L"<a/>"));
    EXPECT_EQ(creation.count, 2);
    EXPECT_NE(xml.m_F_p_GetDOC().GetInterfacePtr(), first.GetInterfacePtr());
    EXPECT_EQ(ReferencesTo(first), 1U);
    EXPECT_FALSE(xml.m_F_b_LoadXMLFile(L"?"));
    EXPECT_EQ(creation.count, 3);
}

TEST(XmlDocument, ALoadFailsWhenTheClassCannotBeCreated)
{
    CXmlObj xml;
    ASSERT_TRUE(xml.m_F_b_LoadXML(L"<a/>"));
    const CXmlObj::DocumentPtr document = xml.m_F_p_GetDOC();
    const ImportPatch create("CoCreateInstance", FailToCreate);
    EXPECT_FALSE(xml.m_F_b_LoadXML(L"<a/>"));
    ExpectClosedWithoutDocument(xml);
    EXPECT_EQ(ReferencesTo(document), 1U);
    EXPECT_FALSE(xml.m_F_b_LoadXMLFile(L"?"));
    ExpectClosedWithoutDocument(xml);
}

TEST(XmlDocument, ALoadFailsWhenTheObjectIsNoDocument)
{
    CXmlObj xml;
    const ImportPatch create("CoCreateInstance", CreateAnotherClass);
    EXPECT_FALSE(xml.m_F_b_LoadXML(L"<a/>"));
    ExpectClosedWithoutDocument(xml);
    EXPECT_EQ(createdObject->Release(), 0U);
}

TEST(XmlDocument, ALoadFailsWhenTheObjectDoesNotRun)
{
    CXmlObj xml;
    const ImportPatch run("OleRun", FailToRun);
    EXPECT_FALSE(xml.m_F_b_LoadXML(L"<a/>"));
    ExpectClosedWithoutDocument(xml);
    EXPECT_EQ(createdObject->Release(), 0U);
}

TEST(XmlDocument, LeavesTheLoadOptionsAtTheirDefaults)
{
    CXmlObj xml;
    ASSERT_TRUE(xml.m_F_b_LoadXML(L"<a/>"));
    const CXmlObj::DocumentPtr loaded = xml.m_F_p_GetDOC();
    const CXmlObj::DocumentPtr fresh = PlatformDocument();
    using Getter = HRESULT (WINAPI IXMLDOMDocument::*)(VARIANT_BOOL*);
    for (const Getter option :
         {&IXMLDOMDocument::get_async, &IXMLDOMDocument::get_validateOnParse,
          &IXMLDOMDocument::get_resolveExternals, &IXMLDOMDocument::get_preserveWhiteSpace})
    {
        VARIANT_BOOL expected = 7;
        VARIANT_BOOL value = 8;
        EXPECT_EQ((*fresh.*option)(&expected), S_OK);
        EXPECT_EQ((*loaded.*option)(&value), S_OK);
        EXPECT_EQ(value, expected);
    }
}

// ---- Loading a text -----------------------------------------------------------------------------

TEST(XmlDocument, IsOpenAfterASuccessfulLoad)
{
    CXmlObj xml;
    EXPECT_TRUE(xml.m_F_b_LoadXML(L"<a><b k='1'/></a>"));
    EXPECT_TRUE(xml.m_F_b_IsOpen());
    EXPECT_EQ(Structure(xml), L"<a><b k=\"1\"/></a>");
}

TEST(XmlDocument, DoesNotOpenWhatIsNotWellFormed)
{
    for (const wchar_t* text :
         {L"", L" ", L"text", L"<a>", L"<a><b></a>", L"<a/><b/>", L"<a k=1/>", L"<a>&nope;</a>",
          L"<a k='1' k='2'/>", L"<!-- no element -->", L"<a>\x01</a>"})
    {
        CXmlObj xml;
        EXPECT_FALSE(xml.m_F_b_LoadXML(text)) << CStringA(text).GetString();
        EXPECT_FALSE(xml.m_F_b_IsOpen());
    }
}

TEST(XmlDocument, AFailedLoadClosesItAndTheOldContentIsGone)
{
    CXmlObj xml;
    ASSERT_TRUE(xml.m_F_b_LoadXML(L"<a><b k='1'/></a>"));
    const CXmlObj::DocumentPtr old = xml.m_F_p_GetDOC();
    EXPECT_FALSE(xml.m_F_b_LoadXML(L"<a><b k='2'></a>"));
    EXPECT_FALSE(xml.m_F_b_IsOpen());
    EXPECT_EQ(xml.m_F_s_GetXML(), L"");
    EXPECT_EQ(xml.m_F_s_GetValue(L"b", L"k", L"none"), L"none");
    // The new, failed document is in its place.
    EXPECT_TRUE(xml.m_F_p_GetDOC());
    EXPECT_NE(xml.m_F_p_GetDOC().GetInterfacePtr(), old.GetInterfacePtr());
    EXPECT_EQ(ReferencesTo(old), 1U);
}

TEST(XmlDocument, ASecondLoadDiscardsTheFirstDocument)
{
    CXmlObj xml;
    ASSERT_TRUE(xml.m_F_b_LoadXML(L"<a><b k='1'/></a>"));
    ASSERT_TRUE(xml.m_F_b_LoadXML(L"<c/>"));
    EXPECT_EQ(Structure(xml), L"<c/>");
}

TEST(XmlDocument, CanBeLoadedAgainAfterAFailure)
{
    CXmlObj xml;
    EXPECT_FALSE(xml.m_F_b_LoadXML(L"<"));
    EXPECT_TRUE(xml.m_F_b_LoadXML(L"<a/>"));
    EXPECT_TRUE(xml.m_F_b_IsOpen());
}

TEST(XmlDocument, LoadsAndGivesBackAMegabyte)
{
    const CStringW text = Repeated(L"0123456789abcdef", 65536);
    CXmlObj xml;
    ASSERT_TRUE(xml.m_F_b_LoadXML(L"<a>" + text + L"</a>"));
    CStringW read;
    EXPECT_EQ(xml.m_F_n_GetText(L"/a/", read, L""), 1 << 20);
    EXPECT_TRUE(read == text);
    EXPECT_GT(xml.m_F_n_GetXML_Length(), 1 << 20);
}

HRESULT WINAPI FailWithText(IUnknown*, BSTR, VARIANT_BOOL* isLoaded)
{
    *isLoaded = VARIANT_TRUE;
    return kFailure;
}

HRESULT WINAPI FailWithVariant(IUnknown*, VARIANT, VARIANT_BOOL* isLoaded)
{
    *isLoaded = VARIANT_TRUE;
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

HRESULT WINAPI GiveErrorCode(IUnknown*, long* code)
{
    *code = 5;
    return S_OK;
}

HRESULT WINAPI FailToGiveCode(IUnknown*, long* code)
{
    *code = 0;
    return kFailure;
}

TEST(XmlDocument, ALoadThatReportsSuccessButHasAParseErrorFails)
{
    const CXmlObj::DocumentPtr document = PlatformDocument();
    IXMLDOMParseError* error = nullptr;
    ASSERT_EQ(document->get_parseError(&error), S_OK);
    CXmlObj xml;
    {
        const MethodPatch patch(error, kDomSlots.parseErrorGetErrorCode, GiveErrorCode);
        EXPECT_FALSE(xml.m_F_b_LoadXML(L"<a/>"));
        EXPECT_FALSE(xml.m_F_b_IsOpen());
    }
    error->Release();
}

TEST(XmlDocument, AFailingCallWithinALoadThrowsAndLeavesItClosed)
{
    const CXmlObj::DocumentPtr document = PlatformDocument();
    IXMLDOMParseError* error = nullptr;
    ASSERT_EQ(document->get_parseError(&error), S_OK);
    CXmlObj xml;
    const auto load = [&] { xml.m_F_b_LoadXML(L"<a/>"); };
    {
        const MethodPatch patch(document, kDomSlots.documentLoadXml, FailWithText);
        EXPECT_EQ(ErrorOf(load), kFailure);
        EXPECT_FALSE(xml.m_F_b_IsOpen());
    }
    {
        const MethodPatch patch(document, kDomSlots.documentLoad, FailWithVariant);
        EXPECT_EQ(ErrorOf([&] { xml.m_F_b_LoadXMLFile(L"?"); }), kFailure);
        EXPECT_FALSE(xml.m_F_b_IsOpen());
    }
    {
        const MethodPatch patch(document, kDomSlots.documentGetParseError, FailToGive);
        EXPECT_EQ(ErrorOf(load), kFailure);
        EXPECT_FALSE(xml.m_F_b_IsOpen());
    }
    {
        const MethodPatch patch(error, kDomSlots.parseErrorGetErrorCode, FailToGiveCode);
        EXPECT_EQ(ErrorOf(load), kFailure);
        EXPECT_FALSE(xml.m_F_b_IsOpen());
    }
    error->Release();
    EXPECT_EQ(ErrorOf(load), S_OK);
    EXPECT_TRUE(xml.m_F_b_IsOpen());
}

TEST(XmlDocument, ACallThroughANullInterfaceThrowsPointerError)
{
    const CXmlObj::DocumentPtr document = PlatformDocument();
    const MethodPatch patch(document, kDomSlots.documentGetParseError, GiveNothing);
    CXmlObj xml;
    EXPECT_EQ(ErrorOf([&] { xml.m_F_b_LoadXML(L"<a/>"); }), E_POINTER);
    EXPECT_FALSE(xml.m_F_b_IsOpen());
}

BSTR WINAPI AllocateNothing(const OLECHAR*, UINT)
{
    return nullptr;
}

TEST(XmlDocument, AFailedAllocationOfAStringThrowsOutOfMemory)
{
    CXmlObj open;
    ASSERT_TRUE(open.m_F_b_LoadXML(L"<a/>"));
    CXmlObj xml;
    const ImportPatch allocate("SysAllocStringLen", AllocateNothing);
    EXPECT_EQ(ErrorOf([&] { xml.m_F_b_LoadXML(L"<a/>"); }), E_OUTOFMEMORY);
    EXPECT_EQ(ErrorOf([&] { xml.m_F_b_LoadXMLFile(L"a"); }), E_OUTOFMEMORY);
    EXPECT_FALSE(xml.m_F_b_IsOpen());
    EXPECT_EQ(ErrorOf([&] { open.m_F_b_Save(L"a"); }), E_OUTOFMEMORY);
    EXPECT_EQ(ErrorOf([&] { open.m_F_b_SetValue(L"a", L"b", L"c"); }), E_OUTOFMEMORY);
    EXPECT_TRUE(open.m_F_b_IsOpen());
}

// ---- Files --------------------------------------------------------------------------------------

TEST(XmlDocument, LoadsAFile)
{
    const TemporaryFile file;
    file.Write("<?xml version=\"1.0\" encoding=\"UTF-8\"?><a><b k=\"\xC3\xA9\"/></a>");
    CXmlObj xml;
    EXPECT_TRUE(xml.m_F_b_LoadXMLFile(file.Path()));
    EXPECT_TRUE(xml.m_F_b_IsOpen());
    EXPECT_EQ(xml.m_F_s_GetValue(L"b", L"k", L""), L"\u00E9");
}

TEST(XmlDocument, LoadsAFileByItsUrl)
{
    const TemporaryFile file;
    file.Write("<a/>");
    CStringW url = L"file:///" + file.Path();
    url.Replace(L'\\', L'/');
    CXmlObj xml;
    EXPECT_TRUE(xml.m_F_b_LoadXMLFile(url));
}

TEST(XmlDocument, DoesNotOpenAFileThatIsMissingOrNotWellFormed)
{
    const TemporaryFile file;
    CXmlObj xml;
    ASSERT_TRUE(xml.m_F_b_LoadXML(L"<a/>"));
    EXPECT_FALSE(xml.m_F_b_LoadXMLFile(file.Path()));
    EXPECT_FALSE(xml.m_F_b_IsOpen());
    EXPECT_FALSE(xml.m_F_b_LoadXMLFile(L""));
    file.Write("<a><b></a>");
    ASSERT_TRUE(xml.m_F_b_LoadXML(L"<a/>"));
    EXPECT_FALSE(xml.m_F_b_LoadXMLFile(file.Path()));
    EXPECT_FALSE(xml.m_F_b_IsOpen());
    EXPECT_EQ(xml.m_F_s_GetXML(), L"");
}

TEST(XmlDocument, SavesWhatTheDomItselfWrites)
{
    CXmlObj xml;
    ASSERT_TRUE(xml.m_F_b_LoadXML(L"<a><b k='1'>t<!--c--></b><c/></a>"));
    const TemporaryFile file;
    const TemporaryFile expected;
    EXPECT_TRUE(xml.m_F_b_Save(file.Path()));
    ASSERT_EQ(xml.m_F_p_GetDOC()->save(_variant_t(expected.Path().GetString())), S_OK);
    EXPECT_EQ(file.Read(), expected.Read());
    EXPECT_EQ(file.Read().find("<?xml"), std::string::npos);
    CXmlObj again;
    ASSERT_TRUE(again.m_F_b_LoadXMLFile(file.Path()));
    EXPECT_EQ(Structure(again), Structure(xml));
}

TEST(XmlDocument, SavesWithAnEmptyPathToWhereItWasLoadedFrom)
{
    for (const wchar_t* name : {L"plain.xml", L"with blank.xml", L"50%.xml", L"\u00E9.xml"})
    {
        const TemporaryFile file(name);
        file.Write("<a/>");
        CXmlObj xml;
        ASSERT_TRUE(xml.m_F_b_LoadXMLFile(file.Path()));
        ASSERT_TRUE(xml.m_F_b_SetValue(L"b", L"k", L"1"));
        EXPECT_TRUE(xml.m_F_b_Save(L""));
        CXmlObj again;
        ASSERT_TRUE(again.m_F_b_LoadXMLFile(file.Path()));
        EXPECT_EQ(Structure(again), L"<a><b k=\"1\"/></a>");
    }
}

TEST(XmlDocument, DoesNotSaveWithAnEmptyPathWhatWasLoadedFromAText)
{
    CXmlObj xml;
    ASSERT_TRUE(xml.m_F_b_LoadXML(L"<a/>"));
    EXPECT_FALSE(xml.m_F_b_Save(L""));
}

TEST(XmlDocument, SavesNothingWhileItIsClosed)
{
    const TemporaryFile file;
    CXmlObj xml;
    ASSERT_TRUE(xml.m_F_b_LoadXML(L"<a/>"));
    xml.m_F_b_Close();
    EXPECT_FALSE(xml.m_F_b_Save(file.Path()));
    EXPECT_FALSE(file.Exists());
}

TEST(XmlDocument, ThrowsWhenTheFileCannotBeWritten)
{
    const TemporaryFile file;
    const CStringW path = file.Path() + L"\\missing\\folder.xml";
    CXmlObj xml;
    ASSERT_TRUE(xml.m_F_b_LoadXML(L"<a/>"));
    const HRESULT expected = xml.m_F_p_GetDOC()->save(_variant_t(path.GetString()));
    ASSERT_TRUE(FAILED(expected));
    EXPECT_EQ(ErrorOf([&] { xml.m_F_b_Save(path); }), expected);
    EXPECT_TRUE(xml.m_F_b_IsOpen());
}

TEST(XmlDocument, ThrowsWhenItsUrlCannotBeRead)
{
    CXmlObj xml;
    ASSERT_TRUE(xml.m_F_b_LoadXML(L"<a/>"));
    const MethodPatch patch(xml.m_F_p_GetDOC(), kDomSlots.documentGetUrl, FailToGive);
    EXPECT_EQ(ErrorOf([&] { xml.m_F_b_Save(L""); }), kFailure);
}

// ---- The document as text -----------------------------------------------------------------------

TEST(XmlDocument, GivesTheTextOfTheDom)
{
    CXmlObj xml;
    ASSERT_TRUE(xml.m_F_b_LoadXML(L"<a><b k='&lt;&quot;\u00E9\u65E5\U0001F600'/></a>"));
    BSTR text = nullptr;
    ASSERT_EQ(xml.m_F_p_GetDOC()->get_xml(&text), S_OK);
    const std::wstring expected(text, SysStringLen(text));
    SysFreeString(text);
    EXPECT_EQ(Wide(xml.m_F_s_GetXML()), expected);
    EXPECT_NE(expected.find(L"\u00E9\u65E5\U0001F600"), std::wstring::npos);
}

TEST(XmlDocument, MeasuresItsTextInCodeUnits)
{
    CXmlObj plain;
    ASSERT_TRUE(plain.m_F_b_LoadXML(L"<a>e</a>"));
    EXPECT_EQ(plain.m_F_n_GetXML_Length(), plain.m_F_s_GetXML().GetLength());
    CXmlObj pair;
    ASSERT_TRUE(pair.m_F_b_LoadXML(L"<a>\U0001F600</a>"));
    EXPECT_EQ(pair.m_F_n_GetXML_Length(), plain.m_F_n_GetXML_Length() + 1);
}

TEST(XmlDocument, HasNoTextWhileItIsClosed)
{
    CXmlObj xml;
    ASSERT_TRUE(xml.m_F_b_LoadXML(L"<a/>"));
    xml.m_F_b_Close();
    EXPECT_EQ(xml.m_F_s_GetXML(), L"");
    EXPECT_EQ(xml.m_F_n_GetXML_Length(), 0);
}

TEST(XmlDocument, HasAnEmptyTextWhenTheDomGivesNone)
{
    CXmlObj xml;
    ASSERT_TRUE(xml.m_F_b_LoadXML(L"<a/>"));
    const MethodPatch patch(xml.m_F_p_GetDOC(), kDomSlots.documentGetXml, GiveNothing);
    EXPECT_EQ(xml.m_F_s_GetXML(), L"");
    EXPECT_EQ(xml.m_F_n_GetXML_Length(), 0);
}

TEST(XmlDocument, ThrowsWhenItsTextCannotBeRead)
{
    CXmlObj xml;
    ASSERT_TRUE(xml.m_F_b_LoadXML(L"<a/>"));
    const MethodPatch patch(xml.m_F_p_GetDOC(), kDomSlots.documentGetXml, FailToGive);
    EXPECT_EQ(ErrorOf([&] { xml.m_F_s_GetXML(); }), kFailure);
    EXPECT_EQ(ErrorOf([&] { xml.m_F_n_GetXML_Length(); }), kFailure);
}

// ---- Closing ------------------------------------------------------------------------------------

TEST(XmlDocument, ClosingAlwaysSucceedsAndKeepsTheDocument)
{
    CXmlObj xml;
    EXPECT_TRUE(xml.m_F_b_Close());
    ASSERT_TRUE(xml.m_F_b_LoadXML(L"<a/>"));
    const CXmlObj::DocumentPtr document = xml.m_F_p_GetDOC();
    EXPECT_TRUE(xml.m_F_b_Close());
    EXPECT_FALSE(xml.m_F_b_IsOpen());
    EXPECT_TRUE(xml.m_F_b_Close());
    EXPECT_EQ(xml.m_F_p_GetDOC().GetInterfacePtr(), document.GetInterfacePtr());
    EXPECT_EQ(ReferencesTo(document), 2U);
}

TEST(XmlDocument, NoOperationWorksWhileItIsClosed)
{
    CXmlObj xml;
    ASSERT_TRUE(xml.m_F_b_LoadXML(L"<a><b k='1'>t<c/></b></a>"));
    ASSERT_EQ(xml.m_F_n_SelectChildNodes(L"b"), 1);
    xml.m_F_b_Close();
    CStringW value(L"before");
    EXPECT_EQ(xml.m_F_n_GetValue(L"b", L"k", value, L"default"), 0);
    EXPECT_EQ(value, L"default");
    EXPECT_EQ(xml.m_F_s_GetValue(L"b", L"k", L"default"), L"default");
    EXPECT_EQ(xml.m_F_n_GetValueInt(L"b", L"k", 9), 9);
    EXPECT_FALSE(xml.m_F_b_SetValue(L"b", L"k", L"2"));
    EXPECT_FALSE(xml.m_F_b_SetValue(L"b", L"k", 2));
    EXPECT_EQ(xml.m_F_n_GetText(L"b", value, L"other"), 0);
    EXPECT_EQ(value, L"other");
    EXPECT_EQ(xml.m_F_n_SetText(L"b", L"u"), 0);
    EXPECT_FALSE(xml.m_F_b_AddNods(L"", L"d"));
    EXPECT_FALSE(xml.m_F_b_RemoveNods(L"b", L"c"));
    EXPECT_FALSE(xml.m_F_b_RenameNods(L"b", L"c", L"d"));
    EXPECT_EQ(xml.m_F_n_SelectChildNodes(L"b"), 0);
    CStringW tag(L"before");
    EXPECT_EQ(xml.m_F_n_GetSelectedChildItemAttr(0, L"k", value, tag), 0);
    EXPECT_EQ(value, L"");
    EXPECT_EQ(tag, L"before");
    EXPECT_FALSE(xml.m_S_SelectNodesByKey(L"//b"));
    CStringList names;
    EXPECT_EQ(xml.m_F_n_GetChildKey(L"b", names), 0);
    EXPECT_EQ(Structure(xml), L"<a><b k=\"1\">t<c/></b></a>");
}

// ---- What a thrown error carries ----------------------------------------------------------------

void LeaveErrorInformation(const wchar_t* description)
{
    ICreateErrorInfo* creator = nullptr;
    ASSERT_EQ(CreateErrorInfo(&creator), S_OK);
    BSTR text = SysAllocString(description);
    creator->SetDescription(text);
    SysFreeString(text);
    IErrorInfo* information = nullptr;
    creator->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&information));
    SetErrorInfo(0, information);
    information->Release();
    creator->Release();
}

HRESULT WINAPI FailWithInformation(IUnknown*, void** result)
{
    *result = nullptr;
    LeaveErrorInformation(L"what went wrong");
    return kFailure;
}

HRESULT WINAPI SupportNoErrorInformation(IUnknown*, REFIID)
{
    return S_FALSE;
}

TEST(XmlError, CarriesTheErrorInformationOfAnInterfaceThatSupportsIt)
{
    CXmlObj xml;
    ASSERT_TRUE(xml.m_F_b_LoadXML(L"<a/>"));
    const MethodPatch patch(xml.m_F_p_GetDOC(), kDomSlots.documentGetXml, FailWithInformation);
    try
    {
        xml.m_F_s_GetXML();
        ADD_FAILURE() << "nothing was thrown";
    }
    catch (const _com_error& error)
    {
        EXPECT_EQ(error.Error(), kFailure);
        IErrorInfo* const information = error.ErrorInfo();
        ASSERT_NE(information, nullptr);
        EXPECT_STREQ(static_cast<const wchar_t*>(error.Description()), L"what went wrong");
        // The exception's reference and this one, and none that was forgotten.
        EXPECT_EQ(information->Release(), 1U);
    }
    IErrorInfo* left = nullptr;
    EXPECT_EQ(GetErrorInfo(0, &left), S_FALSE);
}

TEST(XmlError, CarriesNothingOfAnInterfaceThatDoesNotSupportIt)
{
    CXmlObj xml;
    ASSERT_TRUE(xml.m_F_b_LoadXML(L"<a/>"));
    const CXmlObj::DocumentPtr document = xml.m_F_p_GetDOC();
    ISupportErrorInfo* support = nullptr;
    ASSERT_EQ(document->QueryInterface(IID_ISupportErrorInfo, reinterpret_cast<void**>(&support)),
              S_OK);
    {
        const MethodPatch refuse(support, kDomSlots.interfaceSupportsErrorInfo,
                                 SupportNoErrorInformation);
        const MethodPatch patch(document, kDomSlots.documentGetXml, FailWithInformation);
        try
        {
            xml.m_F_s_GetXML();
            ADD_FAILURE() << "nothing was thrown";
        }
        catch (const _com_error& error)
        {
            EXPECT_EQ(error.Error(), kFailure);
            EXPECT_EQ(error.ErrorInfo(), nullptr);
        }
    }
    support->Release();
    SetErrorInfo(0, nullptr);
}

}  // namespace
