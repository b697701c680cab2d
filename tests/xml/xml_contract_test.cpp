// What a client may rely on in an XML document: loading and saving, keys, values and texts, changes
// of the structure, and lists of elements. What the platform's DOM does is asked of the DOM itself.
#include <winsock2.h>

#include <afxcoll.h>
#include <gtest/gtest.h>
#include <ole2.h>

#include <climits>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "CXmlObj.h"
#include "support/import_patch.h"
#include "support/temporary_folder.h"

namespace
{

using ostrel::test::ContentsOf;
using ostrel::test::ImportPatch;
using ostrel::test::MakeFile;
using ostrel::test::TemporaryFolder;

using DocumentPtr = CXmlObj::DocumentPtr;
using ElementPtr = CXmlObj::ElementPtr;
using NodeListPtr = CXmlObj::NodeListPtr;
using NodePtr = CXmlObj::NodePtr;

// {F6D90F11-9C73-11D3-B32E-00C04F990BB4}
const CLSID kDocumentClass = {
    0xF6D90F11, 0x9C73, 0x11D3, {0xB3, 0x2E, 0x00, 0xC0, 0x4F, 0x99, 0x0B, 0xB4}};

constexpr HRESULT kFailure = static_cast<HRESULT>(0x80041ABC);

// ---- The interface as it is declared -----------------------------------------------------------

static_assert(!std::is_polymorphic_v<CXmlObj>);
static_assert(std::is_same_v<decltype(&CXmlObj::m_F_b_LoadXML), bool (CXmlObj::*)(CStringW)>);
static_assert(std::is_same_v<decltype(&CXmlObj::m_F_b_LoadXMLFile), bool (CXmlObj::*)(CStringW)>);
static_assert(std::is_same_v<decltype(&CXmlObj::m_F_b_Save), bool (CXmlObj::*)(CStringW)>);
static_assert(std::is_same_v<decltype(&CXmlObj::m_F_s_GetXML), CStringW (CXmlObj::*)()>);
static_assert(std::is_same_v<decltype(&CXmlObj::m_F_n_GetXML_Length), int (CXmlObj::*)()>);
static_assert(std::is_same_v<decltype(&CXmlObj::m_F_b_Close), bool (CXmlObj::*)()>);
static_assert(std::is_same_v<decltype(&CXmlObj::m_F_b_IsOpen), bool (CXmlObj::*)()>);
static_assert(std::is_same_v<decltype(&CXmlObj::m_F_p_GetDOC), DocumentPtr (CXmlObj::*)()>);
static_assert(std::is_same_v<decltype(&CXmlObj::m_F_n_GetValue),
                             int (CXmlObj::*)(CStringW, CStringW, CStringW&, CStringW)>);
static_assert(std::is_same_v<decltype(&CXmlObj::m_F_s_GetValue),
                             CStringW (CXmlObj::*)(CStringW, CStringW, CStringW)>);
static_assert(std::is_same_v<decltype(&CXmlObj::m_F_n_GetValueInt),
                             int (CXmlObj::*)(CStringW, CStringW, int)>);
static_assert(std::is_same_v<decltype(&CXmlObj::m_F_n_GetText),
                             int (CXmlObj::*)(CStringW, CStringW&, CStringW)>);
static_assert(
    std::is_same_v<decltype(&CXmlObj::m_F_n_SetText), int (CXmlObj::*)(CStringW, CStringW)>);
static_assert(std::is_same_v<decltype(&CXmlObj::s_S_GetNodeVal),
                             void (*)(NodePtr, CStringW, CStringW&, CStringW)>);
static_assert(
    std::is_same_v<decltype(&CXmlObj::s_F_n_GetNodeValInt), int (*)(NodePtr, CStringW, int)>);
static_assert(
    std::is_same_v<decltype(&CXmlObj::m_F_b_AddNods), bool (CXmlObj::*)(CStringW, CStringW)>);
static_assert(
    std::is_same_v<decltype(&CXmlObj::m_F_b_RemoveNods), bool (CXmlObj::*)(CStringW, CStringW)>);
static_assert(std::is_same_v<decltype(&CXmlObj::m_F_b_RenameNods),
                             bool (CXmlObj::*)(CStringW, CStringW, CStringW)>);
static_assert(std::is_same_v<decltype(&CXmlObj::m_F_n_GetChildKey),
                             int (CXmlObj::*)(CStringW, CStringList&)>);
static_assert(
    std::is_same_v<decltype(&CXmlObj::m_F_n_SelectChildNodes), int (CXmlObj::*)(CStringW)>);
static_assert(std::is_same_v<decltype(&CXmlObj::m_F_n_GetSelectedChildItemAttr),
                             int (CXmlObj::*)(int, CStringW, CStringW&, CStringW&)>);
static_assert(
    std::is_same_v<decltype(&CXmlObj::m_S_SelectNodesByKey), NodeListPtr (CXmlObj::*)(CStringW)>);

// ---- The DOM, asked directly -------------------------------------------------------------------

std::wstring Wide(const CStringW& text)
{
    return {text.GetString(), static_cast<std::size_t>(text.GetLength())};
}

std::wstring TakeText(BSTR text)
{
    std::wstring copy(text != nullptr ? text : L"", SysStringLen(text));
    SysFreeString(text);
    return copy;
}

struct OwnString
{
    explicit OwnString(const std::wstring& text) : bstr(SysAllocString(text.c_str())) {}
    ~OwnString() { SysFreeString(bstr); }
    OwnString(const OwnString&) = delete;
    OwnString& operator=(const OwnString&) = delete;

    VARIANT AsVariant() const
    {
        VARIANT value;
        VariantInit(&value);
        value.vt = VT_BSTR;
        value.bstrVal = bstr;
        return value;
    }

    BSTR bstr;
};

DocumentPtr OwnDocument()
{
    void* document = nullptr;
    EXPECT_EQ(CoCreateInstance(kDocumentClass, nullptr, CLSCTX_ALL, IID_IXMLDOMDocument, &document),
              S_OK);
    return DocumentPtr(static_cast<IXMLDOMDocument*>(document), false);
}

DocumentPtr OwnDocument(const std::wstring& text)
{
    DocumentPtr document = OwnDocument();
    VARIANT_BOOL isLoaded = VARIANT_FALSE;
    document->loadXML(OwnString(text).bstr, &isLoaded);
    EXPECT_EQ(isLoaded, VARIANT_TRUE);
    return document;
}

std::wstring XmlOf(IXMLDOMNode* node)
{
    BSTR text = nullptr;
    EXPECT_EQ(node->get_xml(&text), S_OK);
    return TakeText(text);
}

std::wstring NameOf(IXMLDOMNode* node)
{
    BSTR text = nullptr;
    EXPECT_EQ(node->get_nodeName(&text), S_OK);
    return TakeText(text);
}

ElementPtr DocumentElementOf(IXMLDOMDocument* document)
{
    IXMLDOMElement* element = nullptr;
    document->get_documentElement(&element);
    return ElementPtr(element, false);
}

NodePtr Select(IXMLDOMNode* context, const std::wstring& expression)
{
    IXMLDOMNode* node = nullptr;
    context->selectSingleNode(OwnString(expression).bstr, &node);
    return NodePtr(node, false);
}

NodeListPtr SelectAll(IXMLDOMNode* context, const std::wstring& expression)
{
    IXMLDOMNodeList* list = nullptr;
    EXPECT_EQ(context->selectNodes(OwnString(expression).bstr, &list), S_OK);
    return NodeListPtr(list, false);
}

long LengthOf(IXMLDOMNodeList* list)
{
    long length = -1;
    EXPECT_EQ(list->get_length(&length), S_OK);
    return length;
}

long CountOf(IXMLDOMNode* context, const std::wstring& expression)
{
    return LengthOf(SelectAll(context, expression));
}

NodePtr ItemOf(IXMLDOMNodeList* list, long index)
{
    IXMLDOMNode* node = nullptr;
    list->get_item(index, &node);
    return NodePtr(node, false);
}

void AppendTo(IXMLDOMDocument* document, IXMLDOMNode* parent, const std::wstring& name)
{
    IXMLDOMElement* element = nullptr;
    ASSERT_EQ(document->createElement(OwnString(name).bstr, &element), S_OK);
    EXPECT_EQ(parent->appendChild(element, nullptr), S_OK);
    element->Release();
}

/// What an attribute of the node found by an expression holds; "(none)" when there is none.
std::wstring AttributeOf(IXMLDOMNode* context, const std::wstring& expression,
                         const std::wstring& name)
{
    const NodePtr node = Select(context, expression);
    IXMLDOMNamedNodeMap* attributes = nullptr;
    if (!node || node->get_attributes(&attributes) != S_OK)
    {
        return L"(none)";
    }
    IXMLDOMNode* attribute = nullptr;
    attributes->getNamedItem(OwnString(name).bstr, &attribute);
    attributes->Release();
    if (attribute == nullptr)
    {
        return L"(none)";
    }
    BSTR text = nullptr;
    attribute->get_text(&text);
    attribute->Release();
    return TakeText(text);
}

ULONG ReferencesTo(IUnknown* object)
{
    object->AddRef();
    return object->Release();
}

template <class Function>
HRESULT ErrorOf(Function&& function)
{
    try
    {
        function();
    }
    catch (const _com_error& error)
    {
        return error.Error();
    }
    return S_OK;
}

// ---- The object under test ---------------------------------------------------------------------

struct Fields
{
    IXMLDOMDocument* document;
    bool isOpen;
    IXMLDOMNodeList* selection;
};
static_assert(sizeof(Fields) == sizeof(CXmlObj));

Fields FieldsOf(const CXmlObj& object)
{
    Fields fields = {};
    std::memcpy(&fields, &object, sizeof(fields));
    return fields;
}

void MarkAsOpen(CXmlObj& object)
{
    const bool isOpen = true;
    std::memcpy(reinterpret_cast<char*>(&object) + offsetof(Fields, isOpen), &isOpen,
                sizeof(isOpen));
}

struct Loaded : CXmlObj
{
    explicit Loaded(const wchar_t* text) { EXPECT_TRUE(m_F_b_LoadXML(text)) << "not loaded"; }
};

/// The document is the same as one that the DOM loads from this text.
void ExpectDocument(CXmlObj& object, const std::wstring& expected)
{
    EXPECT_EQ(XmlOf(object.m_F_p_GetDOC()), XmlOf(OwnDocument(expected)));
}

void RemoveDocumentElement(CXmlObj& object)
{
    const DocumentPtr document = object.m_F_p_GetDOC();
    ASSERT_EQ(document->removeChild(DocumentElementOf(document), nullptr), S_OK);
    ASSERT_EQ(DocumentElementOf(document).GetInterfacePtr(), nullptr);
}

std::wstring ValueAt(CXmlObj& object, const wchar_t* key, const wchar_t* name)
{
    return Wide(object.m_F_s_GetValue(key, name, L"(default)"));
}

std::vector<std::wstring> EntriesOf(const CStringList& list)
{
    std::vector<std::wstring> entries;
    for (POSITION position = list.GetHeadPosition(); position != nullptr;)
    {
        entries.push_back(Wide(CStringW(list.GetNext(position))));
    }
    return entries;
}

struct Operation
{
    const char* name;
    std::function<void(CXmlObj&)> run;
    bool createsItsKey = false;
};

const wchar_t* const kSample =
    L"<root><a k='1'>t<b n='2'/></a><old p='1'><c/></old><list><i n='5'/><i/></list></root>";

const std::vector<Operation> kLookups = {
    {"GetValue",
     [](CXmlObj& object)
     {
         CStringW value;
         object.m_F_n_GetValue(L"a", L"k", value, L"");
     }},
    {"GetValueText", [](CXmlObj& object) { object.m_F_s_GetValue(L"a", L"k", L""); }},
    {"GetValueInt", [](CXmlObj& object) { object.m_F_n_GetValueInt(L"a", L"k", 0); }},
    {"SetValue", [](CXmlObj& object) { object.m_F_b_SetValue(L"a", L"k", L"v"); }, true},
    {"SetValueInt", [](CXmlObj& object) { object.m_F_b_SetValue(L"a", L"k", 1); }, true},
    {"GetText",
     [](CXmlObj& object)
     {
         CStringW text;
         object.m_F_n_GetText(L"a", text, L"");
     },
     true},
    {"SetText", [](CXmlObj& object) { object.m_F_n_SetText(L"a", L"v"); }, true},
    {"AddNods", [](CXmlObj& object) { object.m_F_b_AddNods(L"a", L"x"); }, true},
    {"RemoveNods", [](CXmlObj& object) { object.m_F_b_RemoveNods(L"a", L"x"); }},
    {"RenameNods", [](CXmlObj& object) { object.m_F_b_RenameNods(L"a", L"x", L"y"); }},
    {"GetChildKey",
     [](CXmlObj& object)
     {
         CStringList list;
         object.m_F_n_GetChildKey(L"a", list);
     }},
    {"SelectChildNodes", [](CXmlObj& object) { object.m_F_n_SelectChildNodes(L"a"); }, true},
};

// ---- The platform, made to fail ----------------------------------------------------------------

enum Slot
{
    kQueryInterface = 0,
    kNodeNodeName = 7,
    kNodeNodeValue = 8,
    kNodeFirstChild = 13,
    kNodeAttributes = 17,
    kNodeRemoveChild = 20,
    kNodeAppendChild = 21,
    kNodeText = 26,
    kNodePutText = 27,
    kNodeXml = 34,
    kNodeSelectNodes = 36,
    kNodeSelectSingleNode = 37,
    kDocumentDocumentElement = 45,
    kDocumentCreateElement = 47,
    kDocumentLoad = 58,
    kDocumentParseError = 60,
    kDocumentUrl = 61,
    kDocumentLoadXml = 65,
    kDocumentSave = 66,
    kElementSetAttribute = 45,
    kListItem = 7,
    kListLength = 8,
    kListNextNode = 9,
    kMapNamedItem = 7,
    kMapItem = 10,
    kMapLength = 11,
    kErrorCode = 7
};

/// While it lives, all objects of the class of @p object have another method in this slot.
class SlotPatch
{
public:
    template <class Function>
    SlotPatch(IUnknown* object, int slot, Function* replacement)
        : vm_pSlot(*reinterpret_cast<void***>(object) + slot)
    {
        vm_pOriginal = Store(reinterpret_cast<void*>(replacement));
    }
    ~SlotPatch() { Store(vm_pOriginal); }
    SlotPatch(const SlotPatch&) = delete;
    SlotPatch& operator=(const SlotPatch&) = delete;

    void* Original() const { return vm_pOriginal; }

private:
    void* Store(void* method)
    {
        DWORD protection = 0;
        VirtualProtect(vm_pSlot, sizeof(*vm_pSlot), PAGE_READWRITE, &protection);
        void* const before = *vm_pSlot;
        *vm_pSlot = method;
        VirtualProtect(vm_pSlot, sizeof(*vm_pSlot), protection, &protection);
        return before;
    }

    void** vm_pSlot;
    void* vm_pOriginal = nullptr;
};

HRESULT STDMETHODCALLTYPE FailAlways(void*)
{
    return kFailure;
}

HRESULT STDMETHODCALLTYPE GiveNoText(void*, BSTR* text)
{
    *text = nullptr;
    return S_FALSE;
}

HRESULT STDMETHODCALLTYPE GiveErrorCode(void*, long* code)
{
    *code = kFailure;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE GiveNoErrorCode(void*, long* code)
{
    *code = 0;
    return S_FALSE;
}

HRESULT STDMETHODCALLTYPE ReportNotLoaded(void*, BSTR, VARIANT_BOOL* isLoaded)
{
    *isLoaded = VARIANT_FALSE;
    return S_FALSE;
}

HRESULT STDMETHODCALLTYPE ReportFileNotLoaded(void*, VARIANT, VARIANT_BOOL* isLoaded)
{
    *isLoaded = VARIANT_FALSE;
    return S_FALSE;
}

HRESULT STDMETHODCALLTYPE ReportLoaded(void*, BSTR, VARIANT_BOOL* isLoaded)
{
    *isLoaded = VARIANT_TRUE;
    return S_OK;
}

VARTYPE g_nVariantType = VT_EMPTY;
std::wstring g_variantText;
long g_nVariantNumber = 0;

void NoteVariant(const VARIANT& value)
{
    g_nVariantType = value.vt;
    g_variantText = value.vt == VT_BSTR ? value.bstrVal : L"";
    g_nVariantNumber = value.vt == VT_I4 ? value.lVal : 0;
}

HRESULT STDMETHODCALLTYPE NoteSetAttribute(void*, BSTR, VARIANT value)
{
    NoteVariant(value);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE NoteLoad(void*, VARIANT value, VARIANT_BOOL* isLoaded)
{
    NoteVariant(value);
    *isLoaded = VARIANT_FALSE;
    return S_FALSE;
}

HRESULT STDMETHODCALLTYPE NoteSave(void*, VARIANT value)
{
    NoteVariant(value);
    return S_OK;
}

using QueryFunction = HRESULT(STDMETHODCALLTYPE*)(void*, REFIID, void**);
QueryFunction g_pOriginalQuery = nullptr;

HRESULT STDMETHODCALLTYPE RefuseElement(void* self, REFIID iid, void** object)
{
    if (iid == IID_IXMLDOMElement)
    {
        *object = nullptr;
        return kFailure;
    }
    return g_pOriginalQuery(self, iid, object);
}

HRESULT STDMETHODCALLTYPE SupportErrorInfo(void*, REFIID)
{
    return S_OK;
}

HRESULT STDMETHODCALLTYPE SupportNoErrorInfo(void*, REFIID)
{
    return S_FALSE;
}

HRESULT STDMETHODCALLTYPE FailWithErrorInfo(void*)
{
    ICreateErrorInfo* writer = nullptr;
    IErrorInfo* info = nullptr;
    CreateErrorInfo(&writer);
    wchar_t description[] = L"as the DOM describes it";
    writer->SetDescription(description);
    writer->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info));
    SetErrorInfo(0, info);
    info->Release();
    writer->Release();
    return kFailure;
}

/// What the library asks of COM when it creates a document, and what it is given.
struct Creation
{
    int count = 0;
    CLSID classId = {};
    DWORD context = 0;
    IID interfaceId = {};
    bool isAggregated = true;
    int runs = 0;
    IUnknown* instance = nullptr;

    HRESULT createResult = S_OK;
    HRESULT runResult = S_OK;
    IUnknown* substitute = nullptr;
    IUnknown* watched = nullptr;
    ULONG watchedReferences = 0;
};
Creation g_creation;

HRESULT WINAPI WatchedCreate(REFCLSID classId, IUnknown* outer, DWORD context, REFIID interfaceId,
                             void** object)
{
    g_creation.count++;
    g_creation.classId = classId;
    g_creation.context = context;
    g_creation.interfaceId = interfaceId;
    g_creation.isAggregated = outer != nullptr;
    if (g_creation.watched != nullptr)
    {
        g_creation.watchedReferences = ReferencesTo(g_creation.watched);
    }
    *object = nullptr;
    if (g_creation.createResult != S_OK)
    {
        return g_creation.createResult;
    }
    if (g_creation.substitute != nullptr)
    {
        g_creation.substitute->AddRef();
        *object = g_creation.substitute;
        return S_OK;
    }
    const HRESULT result = CoCreateInstance(classId, outer, context, interfaceId, object);
    g_creation.instance = static_cast<IUnknown*>(*object);
    return result;
}

HRESULT WINAPI WatchedRun(IUnknown* object)
{
    g_creation.runs++;
    g_creation.instance = object;
    return g_creation.runResult != S_OK ? g_creation.runResult : OleRun(object);
}

struct WatchedCreation
{
    WatchedCreation() { g_creation = Creation(); }
    ~WatchedCreation() { g_creation = Creation(); }
    ImportPatch<decltype(WatchedCreate)> create{"CoCreateInstance", WatchedCreate};
    ImportPatch<decltype(WatchedRun)> run{"OleRun", WatchedRun};
};

/// An object that has no interface but IUnknown.
struct BareObject : IUnknown
{
    virtual ~BareObject() = default;
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        if (iid == IID_IUnknown)
        {
            AddRef();
            *object = this;
            return S_OK;
        }
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override { return --references; }

    ULONG references = 1;
};

BSTR WINAPI NoString(const OLECHAR*)
{
    return nullptr;
}

BSTR WINAPI NoStringOfLength(const OLECHAR*, UINT)
{
    return nullptr;
}

/// While it lives, the DLL gets no memory for a BSTR.
class NoStrings
{
public:
    NoStrings()
    {
        Try(vm_plain, "SysAllocString", NoString);
        Try(vm_counted, "SysAllocStringLen", NoStringOfLength);
        EXPECT_TRUE(vm_plain || vm_counted);
    }

private:
    template <class Function>
    static void Try(std::unique_ptr<ImportPatch<Function>>& patch, const char* name,
                    Function* replacement)
    {
        try
        {
            patch = std::make_unique<ImportPatch<Function>>(name, replacement);
        }
        catch (const std::runtime_error&)
        {
            // The DLL makes its strings with the other function.
        }
    }

    std::unique_ptr<ImportPatch<decltype(NoString)>> vm_plain;
    std::unique_ptr<ImportPatch<decltype(NoStringOfLength)>> vm_counted;
};

class XmlContract : public testing::Test
{
protected:
    static void SetUpTestSuite() { CoInitialize(nullptr); }
};

using XmlDocumentContract = XmlContract;
using XmlValueContract = XmlContract;
using XmlStructureContract = XmlContract;
using XmlListContract = XmlContract;

// ---- The document: construction, copies, destruction -------------------------------------------

TEST_F(XmlDocumentContract, HoldsDocumentOpenFlagAndSelectionInThisOrder)
{
    Loaded object(kSample);
    EXPECT_EQ(FieldsOf(object).document, object.m_F_p_GetDOC().GetInterfacePtr());
    EXPECT_TRUE(FieldsOf(object).isOpen);
    EXPECT_EQ(FieldsOf(object).selection, nullptr);
    object.m_F_n_SelectChildNodes(L"list");
    ASSERT_NE(FieldsOf(object).selection, nullptr);
    EXPECT_EQ(LengthOf(FieldsOf(object).selection), 2);
    object.m_F_b_Close();
    EXPECT_FALSE(FieldsOf(object).isOpen);
}

TEST_F(XmlDocumentContract, ANewObjectIsClosedAndHasNoDocumentAndNoSelection)
{
    CXmlObj object;
    EXPECT_FALSE(object.m_F_b_IsOpen());
    EXPECT_EQ(object.m_F_p_GetDOC().GetInterfacePtr(), nullptr);
    EXPECT_EQ(FieldsOf(object).selection, nullptr);
}

TEST_F(XmlDocumentContract, TheConstructorInitialisesComOnceAndTheDestructorLeavesItSo)
{
    std::thread(
        []
        {
            APTTYPE type = APTTYPE_NA;
            APTTYPEQUALIFIER qualifier = APTTYPEQUALIFIER_NONE;
            EXPECT_EQ(CoGetApartmentType(&type, &qualifier), CO_E_NOTINITIALIZED);
            {
                CXmlObj object;
                EXPECT_EQ(CoGetApartmentType(&type, &qualifier), S_OK);
                EXPECT_EQ(type, APTTYPE_STA);
                EXPECT_TRUE(object.m_F_b_LoadXML(L"<root/>"));
            }
            EXPECT_EQ(CoGetApartmentType(&type, &qualifier), S_OK);
            CoUninitialize();
            EXPECT_EQ(CoGetApartmentType(&type, &qualifier), CO_E_NOTINITIALIZED);
        })
        .join();
}

int g_nInitialisations = 0;
void* g_pInitialiseArgument = nullptr;

HRESULT WINAPI FailingInitialize(LPVOID argument)
{
    g_nInitialisations++;
    g_pInitialiseArgument = argument;
    return kFailure;
}

TEST_F(XmlDocumentContract, TheConstructorIgnoresTheResultOfCoInitialize)
{
    const ImportPatch<decltype(FailingInitialize)> patch("CoInitialize", FailingInitialize);
    g_nInitialisations = 0;
    g_pInitialiseArgument = &g_nInitialisations;
    CXmlObj object;
    EXPECT_EQ(g_nInitialisations, 1);
    EXPECT_EQ(g_pInitialiseArgument, nullptr);
    EXPECT_TRUE(object.m_F_b_LoadXML(L"<root/>"));
}

TEST_F(XmlDocumentContract, WorksOnAThreadThatIsInTheMultithreadedApartment)
{
    std::thread(
        []
        {
            CoInitializeEx(nullptr, COINIT_MULTITHREADED);
            {
                Loaded object(L"<root><a k='1'/></root>");
                EXPECT_EQ(ValueAt(object, L"a", L"k"), L"1");
            }
            CoUninitialize();
        })
        .join();
}

TEST_F(XmlDocumentContract, ACopyTakesAReferenceOnDocumentAndSelectionAndTheOpenFlag)
{
    Loaded object(kSample);
    object.m_F_n_SelectChildNodes(L"list");
    const Fields fields = FieldsOf(object);
    const ULONG documentReferences = ReferencesTo(fields.document);
    const ULONG selectionReferences = ReferencesTo(fields.selection);
    {
        const CXmlObj copy(object);
        EXPECT_EQ(FieldsOf(copy).document, fields.document);
        EXPECT_EQ(FieldsOf(copy).selection, fields.selection);
        EXPECT_TRUE(FieldsOf(copy).isOpen);
        EXPECT_EQ(ReferencesTo(fields.document), documentReferences + 1);
        EXPECT_EQ(ReferencesTo(fields.selection), selectionReferences + 1);
    }
    EXPECT_EQ(ReferencesTo(fields.document), documentReferences);
    EXPECT_EQ(ReferencesTo(fields.selection), selectionReferences);
}

TEST_F(XmlDocumentContract, ACopyOfAClosedObjectIsClosedAndHasTheDocument)
{
    Loaded object(kSample);
    object.m_F_b_Close();
    CXmlObj copy(object);
    EXPECT_FALSE(copy.m_F_b_IsOpen());
    EXPECT_EQ(copy.m_F_p_GetDOC().GetInterfacePtr(), object.m_F_p_GetDOC().GetInterfacePtr());
}

TEST_F(XmlDocumentContract, ACopyOfANewObjectIsLikeANewObject)
{
    const CXmlObj object;
    CXmlObj copy(object);
    EXPECT_FALSE(copy.m_F_b_IsOpen());
    EXPECT_EQ(copy.m_F_p_GetDOC().GetInterfacePtr(), nullptr);
    EXPECT_TRUE(copy.m_F_b_LoadXML(L"<root/>"));
}

TEST_F(XmlDocumentContract, ACopySeesEveryEditMadeThroughTheOtherObject)
{
    Loaded object(L"<root/>");
    CXmlObj copy(object);
    object.m_F_b_SetValue(L"a", L"k", L"1");
    EXPECT_EQ(ValueAt(copy, L"a", L"k"), L"1");
    copy.m_F_n_SetText(L"a", L"x");
    ExpectDocument(object, L"<root><a k='1'>x</a></root>");
}

TEST_F(XmlDocumentContract, ClosingACopyDoesNotCloseTheOther)
{
    Loaded object(L"<root/>");
    CXmlObj copy(object);
    copy.m_F_b_Close();
    EXPECT_TRUE(object.m_F_b_IsOpen());
    EXPECT_FALSE(copy.m_F_b_IsOpen());
    EXPECT_EQ(Wide(object.m_F_s_GetXML()), XmlOf(object.m_F_p_GetDOC()));
}

TEST_F(XmlDocumentContract, ALoadIntoACopyLeavesTheOtherWithItsDocument)
{
    Loaded object(L"<root><a k='1'/></root>");
    CXmlObj copy(object);
    copy.m_F_b_LoadXML(L"<other/>");
    EXPECT_EQ(ValueAt(object, L"a", L"k"), L"1");
    ExpectDocument(copy, L"<other/>");
}

TEST_F(XmlDocumentContract, AssignmentTakesTheSourcesReferencesAndReleasesTheOldOnes)
{
    Loaded source(kSample);
    source.m_F_n_SelectChildNodes(L"list");
    Loaded target(L"<root><a><b/></a></root>");
    target.m_F_n_SelectChildNodes(L"a");
    const DocumentPtr oldDocument(FieldsOf(target).document, true);
    const NodeListPtr oldSelection(FieldsOf(target).selection, true);
    const Fields fields = FieldsOf(source);

    target = source;

    EXPECT_EQ(FieldsOf(target).document, fields.document);
    EXPECT_EQ(FieldsOf(target).selection, fields.selection);
    EXPECT_EQ(ReferencesTo(fields.document), 2u);
    EXPECT_EQ(ReferencesTo(fields.selection), 2u);
    EXPECT_EQ(ReferencesTo(oldDocument), 1u);
    EXPECT_EQ(ReferencesTo(oldSelection), 1u);
}

TEST_F(XmlDocumentContract, AssignmentCopiesTheOpenFlag)
{
    Loaded open(L"<root/>");
    CXmlObj target;
    target = open;
    EXPECT_TRUE(target.m_F_b_IsOpen());
    open.m_F_b_Close();
    EXPECT_TRUE(target.m_F_b_IsOpen());
    target = open;
    EXPECT_FALSE(target.m_F_b_IsOpen());
    EXPECT_EQ(ReferencesTo(FieldsOf(target).document), 2u);
}

TEST_F(XmlDocumentContract, AssignmentOfANewObjectReleasesWhatWasHeld)
{
    Loaded target(kSample);
    target.m_F_n_SelectChildNodes(L"list");
    const DocumentPtr document = target.m_F_p_GetDOC();
    const NodeListPtr selection(FieldsOf(target).selection, true);
    static_cast<CXmlObj&>(target) = CXmlObj();
    EXPECT_EQ(target.m_F_p_GetDOC().GetInterfacePtr(), nullptr);
    EXPECT_EQ(FieldsOf(target).selection, nullptr);
    EXPECT_FALSE(target.m_F_b_IsOpen());
    EXPECT_EQ(ReferencesTo(document), 1u);
    EXPECT_EQ(ReferencesTo(selection), 1u);
}

TEST_F(XmlDocumentContract, AssignmentReturnsTheObjectItself)
{
    const Loaded source(L"<root/>");
    CXmlObj target;
    EXPECT_EQ(&(target = source), &target);
}

TEST_F(XmlDocumentContract, AssignmentToItselfChangesNothing)
{
    Loaded object(kSample);
    object.m_F_n_SelectChildNodes(L"list");
    const Fields fields = FieldsOf(object);
    CXmlObj& same = object;
    static_cast<CXmlObj&>(object) = same;
    EXPECT_EQ(FieldsOf(object).document, fields.document);
    EXPECT_EQ(FieldsOf(object).selection, fields.selection);
    EXPECT_EQ(ReferencesTo(fields.document), 1u);
    EXPECT_EQ(ReferencesTo(fields.selection), 1u);
    EXPECT_TRUE(object.m_F_b_IsOpen());
}

TEST_F(XmlDocumentContract, TheDestructorReleasesDocumentAndSelection)
{
    DocumentPtr document;
    NodeListPtr selection;
    {
        Loaded object(kSample);
        object.m_F_n_SelectChildNodes(L"list");
        document = object.m_F_p_GetDOC();
        selection = NodeListPtr(FieldsOf(object).selection, true);
    }
    EXPECT_EQ(ReferencesTo(document), 1u);
    EXPECT_EQ(ReferencesTo(selection), 1u);
}

// ---- The document: loading ---------------------------------------------------------------------

TEST_F(XmlDocumentContract, AWellFormedTextIsLoadedAndOpensTheObject)
{
    CXmlObj object;
    EXPECT_TRUE(object.m_F_b_LoadXML(kSample));
    EXPECT_TRUE(object.m_F_b_IsOpen());
    ExpectDocument(object, kSample);
}

TEST_F(XmlDocumentContract, TextOutsideTheAnsiCodePageIsLoadedAsItIs)
{
    const std::wstring text = L"<root k='\x041A\x4E2D\xD83D\xDE00'/>";
    CXmlObj object;
    EXPECT_TRUE(object.m_F_b_LoadXML(text.c_str()));
    EXPECT_EQ(AttributeOf(object.m_F_p_GetDOC(), L"root", L"k"), L"\x041A\x4E2D\xD83D\xDE00");
}

TEST_F(XmlDocumentContract, ALoadCreatesTheMsxml3DocumentAsIUnknownInAnyContextAndRunsIt)
{
    const WatchedCreation watch;
    CXmlObj object;
    object.m_F_b_LoadXML(L"<root/>");
    EXPECT_EQ(g_creation.count, 1);
    EXPECT_TRUE(g_creation.classId == kDocumentClass);
    EXPECT_EQ(g_creation.context, 23u);
    EXPECT_TRUE(g_creation.interfaceId == IID_IUnknown);
    EXPECT_FALSE(g_creation.isAggregated);
    EXPECT_EQ(g_creation.runs, 1);
}

TEST_F(XmlDocumentContract, ALoadedObjectHoldsOneReferenceOnItsDocument)
{
    Loaded object(L"<root/>");
    EXPECT_EQ(ReferencesTo(FieldsOf(object).document), 1u);
}

TEST_F(XmlDocumentContract, EveryLoadCreatesAFreshDocument)
{
    const WatchedCreation watch;
    TemporaryFolder folder;
    MakeFile(folder.Path(L"x.xml"), "<root/>");
    CXmlObj object;
    object.m_F_b_LoadXML(L"<root/>");
    const DocumentPtr first = object.m_F_p_GetDOC();
    object.m_F_b_LoadXML(L"<root/>");
    const DocumentPtr second = object.m_F_p_GetDOC();
    object.m_F_b_LoadXMLFile(folder.Path(L"x.xml").c_str());
    EXPECT_NE(first.GetInterfacePtr(), second.GetInterfacePtr());
    EXPECT_NE(second.GetInterfacePtr(), object.m_F_p_GetDOC().GetInterfacePtr());
    EXPECT_EQ(g_creation.count, 3);
    EXPECT_EQ(g_creation.runs, 3);
    EXPECT_EQ(ReferencesTo(first), 1u);
}

TEST_F(XmlDocumentContract, TheOldDocumentIsReleasedBeforeTheNewOneIsCreated)
{
    Loaded object(L"<root/>");
    const DocumentPtr old = object.m_F_p_GetDOC();
    const WatchedCreation watch;
    g_creation.watched = old;
    object.m_F_b_LoadXML(L"<root/>");
    EXPECT_EQ(g_creation.watchedReferences, 1u);
}

TEST_F(XmlDocumentContract, ADocumentThatCannotBeCreatedGivesFalseAndNoDocument)
{
    Loaded object(L"<root/>");
    const WatchedCreation watch;
    g_creation.createResult = REGDB_E_CLASSNOTREG;
    EXPECT_FALSE(object.m_F_b_LoadXML(L"<root/>"));
    EXPECT_FALSE(object.m_F_b_IsOpen());
    EXPECT_EQ(object.m_F_p_GetDOC().GetInterfacePtr(), nullptr);
    EXPECT_FALSE(object.m_F_b_LoadXMLFile(L"c:\\x.xml"));
    EXPECT_FALSE(object.m_F_b_IsOpen());
    EXPECT_EQ(g_creation.count, 2);
    EXPECT_EQ(g_creation.runs, 0);
}

TEST_F(XmlDocumentContract, ADocumentThatCannotBeRunGivesFalseAndNoDocument)
{
    Loaded object(L"<root/>");
    const WatchedCreation watch;
    BareObject bare;
    g_creation.substitute = &bare;
    g_creation.runResult = kFailure;
    EXPECT_FALSE(object.m_F_b_LoadXML(L"<root/>"));
    EXPECT_FALSE(object.m_F_b_IsOpen());
    EXPECT_EQ(object.m_F_p_GetDOC().GetInterfacePtr(), nullptr);
    EXPECT_EQ(bare.references, 1u);
}

TEST_F(XmlDocumentContract, AnObjectThatIsNoDocumentGivesFalseAndNoDocument)
{
    CXmlObj object;
    const WatchedCreation watch;
    BareObject bare;
    g_creation.substitute = &bare;
    EXPECT_FALSE(object.m_F_b_LoadXML(L"<root/>"));
    EXPECT_FALSE(object.m_F_b_LoadXMLFile(L"c:\\x.xml"));
    EXPECT_EQ(g_creation.runs, 2);
    EXPECT_FALSE(object.m_F_b_IsOpen());
    EXPECT_EQ(object.m_F_p_GetDOC().GetInterfacePtr(), nullptr);
    EXPECT_EQ(bare.references, 1u);
}

TEST_F(XmlDocumentContract, NoLoadOptionIsSet)
{
    Loaded object(L"<root> <a/> </root>");
    const DocumentPtr document = object.m_F_p_GetDOC();
    const DocumentPtr fresh = OwnDocument();
    using Getter = HRESULT (STDMETHODCALLTYPE IXMLDOMDocument::*)(VARIANT_BOOL*);
    for (const Getter getter :
         {&IXMLDOMDocument::get_async, &IXMLDOMDocument::get_validateOnParse,
          &IXMLDOMDocument::get_resolveExternals, &IXMLDOMDocument::get_preserveWhiteSpace})
    {
        VARIANT_BOOL value = 1;
        VARIANT_BOOL expected = 2;
        EXPECT_EQ((document.GetInterfacePtr()->*getter)(&value), S_OK);
        EXPECT_EQ((fresh.GetInterfacePtr()->*getter)(&expected), S_OK);
        EXPECT_EQ(value, expected);
    }
}

TEST_F(XmlDocumentContract, ATextThatTheDomDoesNotLoadGivesFalse)
{
    for (const wchar_t* text : {L"", L"no markup", L"<root>", L"<root></other>", L"<root/><root/>",
                                L"<root a=1/>", L"<root>&nothing;</root>"})
    {
        VARIANT_BOOL isLoaded = VARIANT_TRUE;
        OwnDocument()->loadXML(OwnString(text).bstr, &isLoaded);
        CXmlObj object;
        EXPECT_EQ(object.m_F_b_LoadXML(text), isLoaded == VARIANT_TRUE) << text;
        EXPECT_EQ(object.m_F_b_IsOpen(), isLoaded == VARIANT_TRUE) << text;
    }
}

TEST_F(XmlDocumentContract, AnErrorLaterInTheTextGivesFalseAndLeavesTheObjectClosed)
{
    CXmlObj object;
    EXPECT_FALSE(object.m_F_b_LoadXML(L"<root><a k='1'/><b></root>"));
    EXPECT_FALSE(object.m_F_b_IsOpen());
    EXPECT_EQ(ValueAt(object, L"a", L"k"), L"(default)");
}

TEST_F(XmlDocumentContract, AFailedSecondLoadClosesTheObjectAndTheOldContentIsGone)
{
    Loaded object(L"<root><a k='1'/></root>");
    const DocumentPtr old = object.m_F_p_GetDOC();
    EXPECT_FALSE(object.m_F_b_LoadXML(L"<root>"));
    EXPECT_FALSE(object.m_F_b_IsOpen());
    EXPECT_EQ(ReferencesTo(old), 1u);
    EXPECT_EQ(ValueAt(object, L"a", L"k"), L"(default)");
    EXPECT_EQ(Wide(object.m_F_s_GetXML()), L"");
}

TEST_F(XmlDocumentContract, AFailedLoadLeavesTheFailedDocumentInPlace)
{
    CXmlObj object;
    object.m_F_b_LoadXML(L"<root>");
    const DocumentPtr document = object.m_F_p_GetDOC();
    ASSERT_NE(document.GetInterfacePtr(), nullptr);
    IXMLDOMParseError* error = nullptr;
    ASSERT_EQ(document->get_parseError(&error), S_OK);
    long code = 0;
    error->get_errorCode(&code);
    error->Release();
    EXPECT_NE(code, 0);
}

TEST_F(XmlDocumentContract, ASecondLoadDiscardsThePreviousContent)
{
    Loaded object(L"<root><a/></root>");
    EXPECT_TRUE(object.m_F_b_LoadXML(L"<other/>"));
    ExpectDocument(object, L"<other/>");
}

TEST_F(XmlDocumentContract, ALoadAfterAFailedOneOpensTheObject)
{
    CXmlObj object;
    EXPECT_FALSE(object.m_F_b_LoadXML(L"<root>"));
    EXPECT_TRUE(object.m_F_b_LoadXML(L"<root/>"));
    EXPECT_TRUE(object.m_F_b_IsOpen());
}

TEST_F(XmlDocumentContract, ALoadThatReportsFalseGivesFalseWhateverTheErrorCodeIs)
{
    const DocumentPtr own = OwnDocument();
    IXMLDOMParseError* error = nullptr;
    ASSERT_EQ(own->get_parseError(&error), S_OK);
    const SlotPatch text(own, kDocumentLoadXml, ReportNotLoaded);
    const SlotPatch file(own, kDocumentLoad, ReportFileNotLoaded);
    const SlotPatch code(error, kErrorCode, GiveNoErrorCode);
    CXmlObj object;
    EXPECT_FALSE(object.m_F_b_LoadXML(L"<root/>"));
    EXPECT_FALSE(object.m_F_b_LoadXMLFile(L"c:\\x.xml"));
    EXPECT_FALSE(object.m_F_b_IsOpen());
    error->Release();
}

TEST_F(XmlDocumentContract, AnErrorCodeGivesFalseThoughTheLoadReportsTrue)
{
    TemporaryFolder folder;
    MakeFile(folder.Path(L"x.xml"), "<root/>");
    const DocumentPtr own = OwnDocument();
    IXMLDOMParseError* error = nullptr;
    ASSERT_EQ(own->get_parseError(&error), S_OK);
    const SlotPatch code(error, kErrorCode, GiveErrorCode);
    CXmlObj object;
    EXPECT_FALSE(object.m_F_b_LoadXML(L"<root/>"));
    EXPECT_FALSE(object.m_F_b_IsOpen());
    EXPECT_FALSE(object.m_F_b_LoadXMLFile(folder.Path(L"x.xml").c_str()));
    EXPECT_FALSE(object.m_F_b_IsOpen());
    error->Release();
}

TEST_F(XmlDocumentContract, ALoadThatReportsTrueWithoutAnErrorOpensTheObject)
{
    const DocumentPtr own = OwnDocument();
    const SlotPatch text(own, kDocumentLoadXml, ReportLoaded);
    CXmlObj object;
    EXPECT_TRUE(object.m_F_b_LoadXML(L"<root>"));
    EXPECT_TRUE(object.m_F_b_IsOpen());
}

TEST_F(XmlDocumentContract, AFileIsLoadedAndOpensTheObject)
{
    TemporaryFolder folder;
    MakeFile(folder.Path(L"x.xml"), "<root><a k='1'/></root>");
    CXmlObj object;
    EXPECT_TRUE(object.m_F_b_LoadXMLFile(folder.Path(L"x.xml").c_str()));
    EXPECT_TRUE(object.m_F_b_IsOpen());
    ExpectDocument(object, L"<root><a k='1'/></root>");
    EXPECT_EQ(ReferencesTo(FieldsOf(object).document), 1u);
}

TEST_F(XmlDocumentContract, AFileWithANameOutsideTheAnsiCodePageIsLoaded)
{
    TemporaryFolder folder;
    const std::wstring path = folder.Path(L"\x041A\x0430\x043C.xml");
    MakeFile(path, "<root/>");
    CXmlObj object;
    EXPECT_TRUE(object.m_F_b_LoadXMLFile(path.c_str()));
}

TEST_F(XmlDocumentContract, AFileIsLoadedFromItsUrl)
{
    TemporaryFolder folder;
    MakeFile(folder.Path(L"x.xml"), "<root/>");
    const std::wstring url =
        L"file:///" + std::filesystem::path(folder.Path(L"x.xml")).generic_wstring();
    CXmlObj object;
    EXPECT_TRUE(object.m_F_b_LoadXMLFile(url.c_str()));
    EXPECT_TRUE(object.m_F_b_IsOpen());
}

TEST_F(XmlDocumentContract, AFileThatIsMissingOrMalformedGivesFalseAndClosesTheObject)
{
    TemporaryFolder folder;
    MakeFile(folder.Path(L"bad.xml"), "<root><a></root>");
    MakeFile(folder.Path(L"empty.xml"), "");
    for (const wchar_t* name : {L"missing.xml", L"bad.xml", L"empty.xml"})
    {
        Loaded object(L"<root><a k='1'/></root>");
        const DocumentPtr old = object.m_F_p_GetDOC();
        EXPECT_FALSE(object.m_F_b_LoadXMLFile(folder.Path(name).c_str())) << name;
        EXPECT_FALSE(object.m_F_b_IsOpen()) << name;
        EXPECT_NE(object.m_F_p_GetDOC().GetInterfacePtr(), nullptr) << name;
        EXPECT_NE(object.m_F_p_GetDOC().GetInterfacePtr(), old.GetInterfacePtr()) << name;
        EXPECT_EQ(ReferencesTo(old), 1u) << name;
    }
}

TEST_F(XmlDocumentContract, ThePathIsGivenToLoadAndSaveAsAString)
{
    CXmlObj object;
    const DocumentPtr own = OwnDocument();
    {
        const SlotPatch load(own, kDocumentLoad, NoteLoad);
        object.m_F_b_LoadXMLFile(L"c:\\in.xml");
        EXPECT_EQ(g_nVariantType, VT_BSTR);
        EXPECT_EQ(g_variantText, L"c:\\in.xml");
    }
    object.m_F_b_LoadXML(L"<root/>");
    const SlotPatch save(own, kDocumentSave, NoteSave);
    EXPECT_TRUE(object.m_F_b_Save(L"c:\\out.xml"));
    EXPECT_EQ(g_nVariantType, VT_BSTR);
    EXPECT_EQ(g_variantText, L"c:\\out.xml");
}

TEST_F(XmlDocumentContract, ALoadLeavesTheSelectionInTheObject)
{
    TemporaryFolder folder;
    MakeFile(folder.Path(L"x.xml"), "<other/>");
    Loaded object(kSample);
    object.m_F_n_SelectChildNodes(L"list");
    IXMLDOMNodeList* const selection = FieldsOf(object).selection;
    object.m_F_b_LoadXML(L"<other/>");
    EXPECT_EQ(FieldsOf(object).selection, selection);
    object.m_F_b_LoadXMLFile(folder.Path(L"x.xml").c_str());
    EXPECT_EQ(FieldsOf(object).selection, selection);
    object.m_F_b_LoadXML(L"<other>");
    EXPECT_EQ(FieldsOf(object).selection, selection);
    EXPECT_EQ(ReferencesTo(selection), 1u);
    EXPECT_EQ(LengthOf(selection), 2);
}

// ---- The document: saving and text -------------------------------------------------------------

TEST_F(XmlDocumentContract, ASavedFileHoldsWhatTheDomItselfWrites)
{
    for (const wchar_t* text :
         {L"<root><a k='1'/>text<b/></root>", L"<?xml version='1.0'?><root><a/></root>",
          L"<root k='\xE9\x4E2D'/>"})
    {
        TemporaryFolder folder;
        Loaded object(text);
        EXPECT_TRUE(object.m_F_b_Save(folder.Path(L"x.xml").c_str()));
        const OwnString path(folder.Path(L"y.xml"));
        ASSERT_EQ(OwnDocument(text)->save(path.AsVariant()), S_OK);
        EXPECT_EQ(ContentsOf(folder.Path(L"x.xml")), ContentsOf(folder.Path(L"y.xml"))) << text;
        EXPECT_TRUE(object.m_F_b_IsOpen());
    }
}

TEST_F(XmlDocumentContract, ASavedFileIsNotIndentedAndGetsNoDeclaration)
{
    TemporaryFolder folder;
    Loaded object(L"<root><a><b/></a></root>");
    object.m_F_b_Save(folder.Path(L"x.xml").c_str());
    const std::string contents = ContentsOf(folder.Path(L"x.xml"));
    EXPECT_EQ(contents.find("<root><a><b/></a></root>"), 0u) << contents;
    EXPECT_EQ(contents.find("<?xml"), std::string::npos);
}

TEST_F(XmlDocumentContract, SavingReplacesAFile)
{
    TemporaryFolder folder;
    MakeFile(folder.Path(L"x.xml"), std::string(1000, 'x'));
    Loaded object(L"<root/>");
    EXPECT_TRUE(object.m_F_b_Save(folder.Path(L"x.xml").c_str()));
    CXmlObj again;
    EXPECT_TRUE(again.m_F_b_LoadXMLFile(folder.Path(L"x.xml").c_str()));
    ExpectDocument(again, L"<root/>");
}

TEST_F(XmlDocumentContract, SavingWithoutAPathWritesToTheFileItWasLoadedFrom)
{
    TemporaryFolder folder;
    MakeFile(folder.Path(L"x.xml"), "<root/>");
    CXmlObj object;
    ASSERT_TRUE(object.m_F_b_LoadXMLFile(folder.Path(L"x.xml").c_str()));
    object.m_F_b_SetValue(L"a", L"k", L"1");
    EXPECT_TRUE(object.m_F_b_Save(L""));
    CXmlObj again;
    ASSERT_TRUE(again.m_F_b_LoadXMLFile(folder.Path(L"x.xml").c_str()));
    ExpectDocument(again, L"<root><a k='1'/></root>");
}

TEST_F(XmlDocumentContract, SavingWithoutAPathFindsTheFileWhateverItsNameIs)
{
    for (const wchar_t* name : {L"a b.xml", L"50%.xml", L"a#b.xml", L"caf\xE9.xml",
                                L"\x041A\x4E2D.xml", L"a+b&c.xml", L"a;b=c,d.xml"})
    {
        TemporaryFolder folder;
        MakeFile(folder.Path(name), "<root/>");
        CXmlObj object;
        ASSERT_TRUE(object.m_F_b_LoadXMLFile(folder.Path(name).c_str())) << name;
        object.m_F_b_SetValue(L"", L"k", L"1");
        EXPECT_EQ(ErrorOf([&] { EXPECT_TRUE(object.m_F_b_Save(L"")); }), S_OK) << name;
        EXPECT_EQ(ContentsOf(folder.Path(name)).find("<root k=\"1\"/>"), 0u) << name;
    }
}

HRESULT STDMETHODCALLTYPE GiveWebUrl(void*, BSTR* url)
{
    *url = SysAllocString(L"http://127.0.0.1/a%20b.xml");
    return S_OK;
}

TEST_F(XmlDocumentContract, SavingWithoutAPathGivesTheUrlToTheDomAsAString)
{
    Loaded object(L"<root/>");
    const DocumentPtr document = object.m_F_p_GetDOC();
    const SlotPatch url(document, kDocumentUrl, GiveWebUrl);
    const SlotPatch save(document, kDocumentSave, NoteSave);
    EXPECT_TRUE(object.m_F_b_Save(L""));
    EXPECT_EQ(g_nVariantType, VT_BSTR);
    EXPECT_EQ(g_variantText, L"http://127.0.0.1/a%20b.xml");
}

TEST_F(XmlDocumentContract, SavingWithoutAPathGivesFalseForADocumentLoadedFromText)
{
    Loaded object(L"<root/>");
    const SlotPatch save(object.m_F_p_GetDOC(), kDocumentSave, FailAlways);
    EXPECT_FALSE(object.m_F_b_Save(L""));
    EXPECT_TRUE(object.m_F_b_IsOpen());
}

TEST_F(XmlDocumentContract, SavingAClosedObjectGivesFalseAndWritesNothing)
{
    TemporaryFolder folder;
    MakeFile(folder.Path(L"x.xml"), "<root/>");
    CXmlObj object;
    EXPECT_FALSE(object.m_F_b_Save(folder.Path(L"y.xml").c_str()));
    ASSERT_TRUE(object.m_F_b_LoadXMLFile(folder.Path(L"x.xml").c_str()));
    object.m_F_b_SetValue(L"a", L"k", L"1");
    object.m_F_b_Close();
    EXPECT_FALSE(object.m_F_b_Save(folder.Path(L"y.xml").c_str()));
    EXPECT_FALSE(object.m_F_b_Save(L""));
    EXPECT_FALSE(std::filesystem::exists(folder.Path(L"y.xml")));
    EXPECT_EQ(ContentsOf(folder.Path(L"x.xml")), "<root/>");
}

TEST_F(XmlDocumentContract, AFileThatCannotBeWrittenRaisesTheDomsError)
{
    TemporaryFolder folder;
    const std::wstring path = folder.Path(L"missing\\x.xml");
    const HRESULT expected = OwnDocument(L"<root/>")->save(OwnString(path).AsVariant());
    ASSERT_TRUE(FAILED(expected));
    Loaded object(L"<root/>");
    EXPECT_EQ(ErrorOf([&] { object.m_F_b_Save(path.c_str()); }), expected);
    EXPECT_TRUE(object.m_F_b_IsOpen());
}

TEST_F(XmlDocumentContract, TheTextOfTheDocumentIsTheDomsXml)
{
    Loaded object(kSample);
    EXPECT_EQ(Wide(object.m_F_s_GetXML()), XmlOf(OwnDocument(kSample)));
}

TEST_F(XmlDocumentContract, TheLengthCountsUtf16CodeUnits)
{
    const std::wstring text = L"<root k='\xE9\x4E2D\xD83D\xDE00'/>";
    Loaded object(text.c_str());
    EXPECT_EQ(object.m_F_n_GetXML_Length(), static_cast<int>(XmlOf(OwnDocument(text)).size()));
    EXPECT_EQ(object.m_F_n_GetXML_Length(), object.m_F_s_GetXML().GetLength());
}

TEST_F(XmlDocumentContract, AClosedObjectHasNoTextAndLengthZero)
{
    CXmlObj object;
    EXPECT_EQ(Wide(object.m_F_s_GetXML()), L"");
    EXPECT_EQ(object.m_F_n_GetXML_Length(), 0);
    object.m_F_b_LoadXML(L"<root/>");
    object.m_F_b_Close();
    EXPECT_EQ(Wide(object.m_F_s_GetXML()), L"");
    EXPECT_EQ(object.m_F_n_GetXML_Length(), 0);
}

TEST_F(XmlDocumentContract, AnAbsentTextCountsAsEmpty)
{
    Loaded object(L"<root/>");
    const SlotPatch patch(object.m_F_p_GetDOC(), kNodeXml, GiveNoText);
    EXPECT_EQ(Wide(object.m_F_s_GetXML()), L"");
    EXPECT_EQ(object.m_F_n_GetXML_Length(), 0);
}

TEST_F(XmlDocumentContract, TheTextDoesNotGainADocumentElement)
{
    Loaded object(L"<root/>");
    RemoveDocumentElement(object);
    object.m_F_s_GetXML();
    object.m_F_n_GetXML_Length();
    EXPECT_EQ(DocumentElementOf(object.m_F_p_GetDOC()).GetInterfacePtr(), nullptr);
}

// ---- The document: closing ---------------------------------------------------------------------

TEST_F(XmlDocumentContract, ClosingAlwaysGivesTrue)
{
    CXmlObj object;
    EXPECT_TRUE(object.m_F_b_Close());
    object.m_F_b_LoadXML(L"<root/>");
    EXPECT_TRUE(object.m_F_b_Close());
    EXPECT_FALSE(object.m_F_b_IsOpen());
    EXPECT_TRUE(object.m_F_b_Close());
}

TEST_F(XmlDocumentContract, ClosingReleasesNeitherDocumentNorSelection)
{
    Loaded object(kSample);
    object.m_F_n_SelectChildNodes(L"list");
    const Fields fields = FieldsOf(object);
    object.m_F_b_Close();
    EXPECT_EQ(object.m_F_p_GetDOC().GetInterfacePtr(), fields.document);
    EXPECT_EQ(FieldsOf(object).selection, fields.selection);
    EXPECT_EQ(ReferencesTo(fields.document), 1u);
    EXPECT_EQ(ReferencesTo(fields.selection), 1u);
    ExpectDocument(object, kSample);
}

TEST_F(XmlDocumentContract, AClosedObjectCanBeLoadedAgain)
{
    Loaded object(L"<root/>");
    object.m_F_b_Close();
    EXPECT_TRUE(object.m_F_b_LoadXML(L"<other/>"));
    EXPECT_TRUE(object.m_F_b_IsOpen());
}

TEST_F(XmlDocumentContract, EveryOperationRefusesToWorkOnAClosedObject)
{
    CXmlObj fresh;
    Loaded closed(kSample);
    closed.m_F_b_Close();
    for (CXmlObj* object : {&fresh, static_cast<CXmlObj*>(&closed)})
    {
        CStringW value(L"before");
        EXPECT_EQ(object->m_F_n_GetValue(L"a", L"k", value, L"default"), 0);
        EXPECT_EQ(Wide(value), L"default");
        EXPECT_EQ(Wide(object->m_F_s_GetValue(L"a", L"k", L"default")), L"default");
        EXPECT_EQ(object->m_F_n_GetValueInt(L"a", L"k", 7), 7);
        EXPECT_FALSE(object->m_F_b_SetValue(L"a", L"k", L"v"));
        EXPECT_FALSE(object->m_F_b_SetValue(L"a", L"k", 1));
        EXPECT_EQ(object->m_F_n_GetText(L"a", value, L"other"), 0);
        EXPECT_EQ(Wide(value), L"other");
        EXPECT_EQ(object->m_F_n_SetText(L"a", L"v"), 0);
        EXPECT_FALSE(object->m_F_b_AddNods(L"", L"x"));
        EXPECT_FALSE(object->m_F_b_RemoveNods(L"/root/", L"a"));
        EXPECT_FALSE(object->m_F_b_RenameNods(L"/root/", L"a", L"x"));
        CStringList list;
        EXPECT_EQ(object->m_F_n_GetChildKey(L"a", list), 0);
        EXPECT_EQ(object->m_F_n_SelectChildNodes(L"a"), 0);
        EXPECT_EQ(FieldsOf(*object).selection, nullptr);
        EXPECT_EQ(object->m_F_n_GetSelectedChildItemAttr(0, L"k", value, value), 0);
        EXPECT_EQ(object->m_S_SelectNodesByKey(L"//a").GetInterfacePtr(), nullptr);
    }
    ExpectDocument(closed, kSample);
}

TEST_F(XmlDocumentContract, TheDocumentIsHandedOutWithAReferenceOfItsOwn)
{
    DocumentPtr document;
    {
        Loaded object(L"<root/>");
        document = object.m_F_p_GetDOC();
        EXPECT_EQ(ReferencesTo(document), 2u);
    }
    EXPECT_EQ(ReferencesTo(document), 1u);
    EXPECT_EQ(NameOf(DocumentElementOf(document)), L"root");
}

// ---- The document: errors ----------------------------------------------------------------------

/// Objects of all classes of the DOM, whose methods can be replaced.
struct DomObjects
{
    DomObjects()
        : document(OwnDocument(L"<root><a k='1'>t<b/></a></root>")),
          element(DocumentElementOf(document)),
          list(SelectAll(document, L"*")),
          attribute(Select(document, L"root/a/@k"))
    {
        document->get_parseError(&error);
        Select(document, L"root/a")->get_attributes(&map);
        element->get_childNodes(&children);
    }
    ~DomObjects()
    {
        error->Release();
        map->Release();
        children->Release();
    }
    DomObjects(const DomObjects&) = delete;
    DomObjects& operator=(const DomObjects&) = delete;

    DocumentPtr document;
    ElementPtr element;
    NodeListPtr list;
    NodePtr attribute;
    IXMLDOMParseError* error = nullptr;
    IXMLDOMNamedNodeMap* map = nullptr;
    IXMLDOMNodeList* children = nullptr;
};

struct FailingCall
{
    const char* name;
    IUnknown* object;
    int slot;
    std::vector<std::function<void(CXmlObj&)>> operations;
};

void ReadSelected(CXmlObj& object)
{
    CStringW value;
    CStringW tagName;
    object.m_F_n_GetSelectedChildItemAttr(0, L"n", value, tagName);
}

void ReadValue(CXmlObj& object)
{
    CStringW value;
    object.m_F_n_GetValue(L"a", L"k", value, L"");
}

void ReadText(CXmlObj& object)
{
    CStringW text;
    object.m_F_n_GetText(L"a", text, L"");
}

void ReadNode(CXmlObj& object)
{
    CStringW value;
    CXmlObj::s_S_GetNodeVal(Select(object.m_F_p_GetDOC(), L"root/a"), L"k", value, L"");
}

void ReadNodeInt(CXmlObj& object)
{
    CXmlObj::s_F_n_GetNodeValInt(Select(object.m_F_p_GetDOC(), L"root/a"), L"k", 0);
}

void Rename(CXmlObj& object)
{
    object.m_F_b_RenameNods(L"/any/", L"old", L"new");
}

void ReadChildren(CXmlObj& object)
{
    CStringList names;
    object.m_F_n_GetChildKey(L"a", names);
}

void CreateByText(CXmlObj& object)
{
    CStringW text;
    object.m_F_n_GetText(L"new", text, L"");
}

void CreateBySelection(CXmlObj& object)
{
    object.m_F_n_SelectChildNodes(L"new");
}

void CreateByAdding(CXmlObj& object)
{
    object.m_F_b_AddNods(L"", L"new");
}

void CreateByValue(CXmlObj& object)
{
    object.m_F_b_SetValue(L"new", L"k", L"v");
}

void LoadText(CXmlObj& object)
{
    object.m_F_b_LoadXML(L"<root/>");
}

std::vector<std::function<void(CXmlObj&)>> AllLookups()
{
    std::vector<std::function<void(CXmlObj&)>> lookups;
    for (const Operation& lookup : kLookups)
    {
        lookups.push_back(lookup.run);
    }
    return lookups;
}

std::vector<FailingCall> FailingCalls(const DomObjects& dom)
{
    const auto getXml = [](CXmlObj& object) { object.m_F_s_GetXML(); };
    const auto getLength = [](CXmlObj& object) { object.m_F_n_GetXML_Length(); };
    const auto saveBack = [](CXmlObj& object) { object.m_F_b_Save(L""); };
    const auto save = [](CXmlObj& object) { object.m_F_b_Save(L"c:\\x.xml"); };
    const auto loadFile = [](CXmlObj& object) { object.m_F_b_LoadXMLFile(L"c:\\x.xml"); };
    const auto query = [](CXmlObj& object) { object.m_S_SelectNodesByKey(L"//a"); };
    const auto setValue = [](CXmlObj& object) { object.m_F_b_SetValue(L"a", L"k", L"v"); };
    const auto setNumber = [](CXmlObj& object) { object.m_F_b_SetValue(L"a", L"k", 1); };
    const auto setText = [](CXmlObj& object) { object.m_F_n_SetText(L"a", L"v"); };
    const auto remove = [](CXmlObj& object) { object.m_F_b_RemoveNods(L"a", L"b"); };
    const auto select = [](CXmlObj& object) { object.m_F_n_SelectChildNodes(L"a"); };
    return {
        {"document.xml", dom.document, kNodeXml, {getXml, getLength}},
        {"document.url", dom.document, kDocumentUrl, {saveBack}},
        {"document.save", dom.document, kDocumentSave, {save}},
        {"document.loadXML", dom.document, kDocumentLoadXml, {LoadText}},
        {"document.load", dom.document, kDocumentLoad, {loadFile}},
        {"document.parseError", dom.document, kDocumentParseError, {LoadText}},
        {"document.documentElement", dom.document, kDocumentDocumentElement, AllLookups()},
        {"document.createElement",
         dom.document,
         kDocumentCreateElement,
         {CreateByText, CreateBySelection, CreateByAdding, CreateByValue, Rename}},
        {"document.selectNodes", dom.document, kNodeSelectNodes, {query}},
        {"parseError.errorCode", dom.error, kErrorCode, {LoadText}},
        {"element.selectSingleNode", dom.element, kNodeSelectSingleNode, AllLookups()},
        {"element.appendChild",
         dom.element,
         kNodeAppendChild,
         {CreateByText, CreateBySelection, CreateByAdding, CreateByValue, Rename}},
        {"element.attributes",
         dom.element,
         kNodeAttributes,
         {ReadValue, ReadNode, ReadNodeInt, ReadSelected, Rename}},
        {"element.setAttribute", dom.element, kElementSetAttribute, {setValue, setNumber, Rename}},
        {"element.text", dom.element, kNodeText, {ReadText}},
        {"element.text=", dom.element, kNodePutText, {setText}},
        {"element.removeChild", dom.element, kNodeRemoveChild, {remove, Rename}},
        {"element.selectNodes", dom.element, kNodeSelectNodes, {select}},
        {"element.nodeName", dom.element, kNodeNodeName, {ReadSelected, ReadChildren}},
        {"element.firstChild", dom.element, kNodeFirstChild, {Rename}},
        {"map.getNamedItem",
         dom.map,
         kMapNamedItem,
         {ReadValue, ReadNode, ReadNodeInt, ReadSelected}},
        {"map.length", dom.map, kMapLength, {Rename}},
        {"map.item", dom.map, kMapItem, {Rename}},
        {"attribute.nodeValue",
         dom.attribute,
         kNodeNodeValue,
         {ReadValue, ReadNode, ReadNodeInt, ReadSelected, Rename}},
        {"attribute.nodeName", dom.attribute, kNodeNodeName, {Rename}},
        {"list.length", dom.list, kListLength, {ReadSelected}},
        {"list.item", dom.list, kListItem, {ReadSelected}},
        {"children.nextNode", dom.children, kListNextNode, {ReadChildren}},
    };
}

TEST_F(XmlDocumentContract, AFailingCallOfTheDomRaisesItsResult)
{
    const DomObjects dom;
    for (const FailingCall& call : FailingCalls(dom))
    {
        for (std::size_t i = 0; i < call.operations.size(); ++i)
        {
            DocumentPtr document;
            {
                Loaded object(kSample);
                document = object.m_F_p_GetDOC();
                ASSERT_EQ(object.m_F_n_SelectChildNodes(L"list"), 2);
                const SlotPatch patch(call.object, call.slot, FailAlways);
                EXPECT_EQ(ErrorOf([&] { call.operations[i](object); }), kFailure)
                    << call.name << ", operation " << i;
            }
            EXPECT_EQ(ReferencesTo(document), 1u) << call.name << ", operation " << i;
        }
    }
}

TEST_F(XmlDocumentContract, ALoadThatRaisesLeavesTheObjectClosed)
{
    Loaded object(L"<root/>");
    const SlotPatch patch(OwnDocument(), kDocumentParseError, FailAlways);
    EXPECT_EQ(ErrorOf([&] { object.m_F_b_LoadXML(L"<root/>"); }), kFailure);
    EXPECT_FALSE(object.m_F_b_IsOpen());
}

TEST_F(XmlDocumentContract, TheErrorCarriesTheErrorInfoOfAnInterfaceThatSupportsIt)
{
    Loaded object(L"<root/>");
    const DocumentPtr document = object.m_F_p_GetDOC();
    ISupportErrorInfo* support = nullptr;
    ASSERT_EQ(document->QueryInterface(IID_ISupportErrorInfo, reinterpret_cast<void**>(&support)),
              S_OK);
    const SlotPatch fail(document, kNodeXml, FailWithErrorInfo);
    const SlotPatch supported(support, 3, SupportErrorInfo);
    support->Release();
    try
    {
        object.m_F_s_GetXML();
        FAIL() << "nothing was raised";
    }
    catch (const _com_error& error)
    {
        EXPECT_EQ(error.Error(), kFailure);
        EXPECT_STREQ(static_cast<const wchar_t*>(error.Description()), L"as the DOM describes it");
    }
}

TEST_F(XmlDocumentContract, TheErrorCarriesNoErrorInfoOfAnInterfaceThatDoesNotSupportIt)
{
    Loaded object(L"<root/>");
    const DocumentPtr document = object.m_F_p_GetDOC();
    ISupportErrorInfo* support = nullptr;
    ASSERT_EQ(document->QueryInterface(IID_ISupportErrorInfo, reinterpret_cast<void**>(&support)),
              S_OK);
    const SlotPatch fail(document, kNodeXml, FailWithErrorInfo);
    const SlotPatch notSupported(support, 3, SupportNoErrorInfo);
    support->Release();
    try
    {
        object.m_F_s_GetXML();
        FAIL() << "nothing was raised";
    }
    catch (const _com_error& error)
    {
        EXPECT_EQ(error.Error(), kFailure);
        EXPECT_EQ(error.ErrorInfo(), nullptr);
    }
    SetErrorInfo(0, nullptr);
}

TEST_F(XmlDocumentContract, ANullDocumentInAnOpenObjectRaisesEPointer)
{
    std::vector<Operation> operations = kLookups;
    operations.push_back({"GetXML", [](CXmlObj& object) { object.m_F_s_GetXML(); }});
    operations.push_back({"GetXML_Length", [](CXmlObj& object) { object.m_F_n_GetXML_Length(); }});
    operations.push_back({"Save", [](CXmlObj& object) { object.m_F_b_Save(L"c:\\x.xml"); }});
    operations.push_back({"SaveBack", [](CXmlObj& object) { object.m_F_b_Save(L""); }});
    operations.push_back(
        {"SelectNodesByKey", [](CXmlObj& object) { object.m_S_SelectNodesByKey(L"//a"); }});
    for (const Operation& operation : operations)
    {
        CXmlObj object;
        MarkAsOpen(object);
        EXPECT_EQ(ErrorOf([&] { operation.run(object); }), E_POINTER) << operation.name;
    }
}

TEST_F(XmlDocumentContract, AStringThatCannotBeAllocatedRaisesEOutOfMemory)
{
    const std::vector<Operation> operations = {
        {"LoadXML", LoadText},
        {"LoadXMLFile", [](CXmlObj& object) { object.m_F_b_LoadXMLFile(L"c:\\x.xml"); }},
        {"Save", [](CXmlObj& object) { object.m_F_b_Save(L"c:\\x.xml"); }},
        {"GetValue", ReadValue},
        {"SetValue", [](CXmlObj& object) { object.m_F_b_SetValue(L"", L"k", L"v"); }},
        {"SetText", [](CXmlObj& object) { object.m_F_n_SetText(L"a", L"v"); }},
        {"SelectNodesByKey", [](CXmlObj& object) { object.m_S_SelectNodesByKey(L"//a"); }},
        {"GetSelectedChildItemAttr", ReadSelected},
        {"GetNodeVal", ReadNode},
    };
    for (const Operation& operation : operations)
    {
        Loaded object(kSample);
        object.m_F_n_SelectChildNodes(L"list");
        const NoStrings noStrings;
        EXPECT_EQ(ErrorOf([&] { operation.run(object); }), E_OUTOFMEMORY) << operation.name;
    }
}

// ---- Keys --------------------------------------------------------------------------------------

TEST_F(XmlValueContract, AKeyNamesTheFirstElementOfItsPathBelowTheDocumentElement)
{
    Loaded object(
        L"<root><a><b k='1'/><b k='2'/></a><a><b k='3'/></a><b k='4'/><x><a><b/></a></x></root>");
    EXPECT_EQ(ValueAt(object, L"a/b", L"k"), L"1");
    EXPECT_EQ(ValueAt(object, L"b", L"k"), L"4");
    EXPECT_EQ(ValueAt(object, L"root", L"k"), L"(default)");
}

TEST_F(XmlValueContract, AnyExpressionWorksAsAKeyOfALookup)
{
    Loaded object(L"<root k='0'><a id='1' k='1'/><a id='2' k='2'><b k='3'/></a></root>");
    const ElementPtr context = DocumentElementOf(object.m_F_p_GetDOC());
    EXPECT_EQ(ValueAt(object, L"a[@id='2']", L"k"), L"2");
    for (const wchar_t* key :
         {L"a[1]", L"a[@id='2']/b", L".//b", L"*", L"*[b]", L"a/..", L".", L"a/b | a"})
    {
        EXPECT_EQ(ValueAt(object, key, L"k"), AttributeOf(context, key, L"k")) << key;
    }
}

TEST_F(XmlValueContract, TheFirstComponentAfterALeadingSlashIsDroppedWhateverItSays)
{
    Loaded object(L"<root><a k='1'><b k='2'/></a></root>");
    for (const wchar_t* key : {L"a", L"/root/a", L"/other/a", L"//a", L"/no name[/a", L"/ /a"})
    {
        EXPECT_EQ(ValueAt(object, key, L"k"), L"1") << key;
    }
    for (const wchar_t* key : {L"a/b", L"/root/a/b", L"/anything/a/b", L"//a/b"})
    {
        EXPECT_EQ(ValueAt(object, key, L"k"), L"2") << key;
    }
}

TEST_F(XmlValueContract, OnlyTheFirstComponentIsDropped)
{
    Loaded object(L"<root><root k='2'><a k='3'/></root><a k='4'/></root>");
    EXPECT_EQ(ValueAt(object, L"/root/root", L"k"), L"2");
    EXPECT_EQ(ValueAt(object, L"/root/root/a", L"k"), L"3");
    // What is left after the drop is used as it stands, so this one is an absolute path.
    EXPECT_EQ(ValueAt(object, L"/x//root", L"k"), L"(default)");
}

TEST_F(XmlValueContract, AKeyWithALeadingSlashAndNoOtherIsAnAbsolutePath)
{
    Loaded object(L"<root k='0'><a k='1'/></root>");
    EXPECT_EQ(ValueAt(object, L"/root", L"k"), L"0");
    EXPECT_EQ(ValueAt(object, L"/a", L"k"), L"(default)");
    Loaded named(L"<a k='5'><a k='6'/></a>");
    EXPECT_EQ(ValueAt(named, L"/a", L"k"), L"5");
}

TEST_F(XmlValueContract, AKeyOfTheDocumentElementAloneNamesTheDocumentElement)
{
    Loaded object(L"<root k='0'><a k='1'/></root>");
    EXPECT_EQ(ValueAt(object, L"/root/", L"k"), L"0");
    EXPECT_EQ(ValueAt(object, L"/other/", L"k"), L"0");
    EXPECT_EQ(ValueAt(object, L"//", L"k"), L"0");
}

TEST_F(XmlValueContract, ANodeThatIsNoElementCountsAsNotFound)
{
    Loaded object(L"<root><a k='1'>text<!--c--></a></root>");
    for (const wchar_t* key : {L"a/@k", L"a/text()", L"a/comment()", L"..", L"/"})
    {
        EXPECT_EQ(ValueAt(object, key, L"k"), L"(default)") << key;
    }
    ExpectDocument(object, L"<root><a k='1'>text<!--c--></a></root>");
}

TEST_F(XmlValueContract, AnotherFailureThanNoSuchInterfaceOfTheQueryForAnElementIsRaised)
{
    Loaded object(kSample);
    const ElementPtr element = DocumentElementOf(object.m_F_p_GetDOC());
    const SlotPatch patch(element, kQueryInterface, RefuseElement);
    g_pOriginalQuery = reinterpret_cast<QueryFunction>(patch.Original());
    EXPECT_EQ(ErrorOf([&] { ReadValue(object); }), kFailure);
}

TEST_F(XmlValueContract, AnInvalidKeyRaisesTheDomsError)
{
    Loaded object(kSample);
    for (const wchar_t* key : {L"count(x)", L"1"})
    {
        IXMLDOMNode* node = nullptr;
        const HRESULT expected =
            DocumentElementOf(object.m_F_p_GetDOC())->selectSingleNode(OwnString(key).bstr, &node);
        ASSERT_TRUE(FAILED(expected)) << key;
        EXPECT_EQ(ErrorOf([&] { object.m_F_s_GetValue(key, L"k", L""); }), expected) << key;
        EXPECT_EQ(ErrorOf([&] { object.m_F_b_SetValue(key, L"k", L"v"); }), expected) << key;
        EXPECT_EQ(ErrorOf([&] { object.m_F_n_SetText(key, L"v"); }), expected) << key;
        EXPECT_EQ(ErrorOf([&] { object.m_F_n_SelectChildNodes(key); }), expected) << key;
    }
    ExpectDocument(object, kSample);
}

TEST_F(XmlValueContract, EveryLookupGivesADocumentWithoutDocumentElementARoot)
{
    for (const Operation& lookup : kLookups)
    {
        Loaded object(L"<other/>");
        RemoveDocumentElement(object);
        lookup.run(object);
        const ElementPtr element = DocumentElementOf(object.m_F_p_GetDOC());
        ASSERT_NE(element.GetInterfacePtr(), nullptr) << lookup.name;
        EXPECT_EQ(NameOf(element), L"root") << lookup.name;
    }
}

TEST_F(XmlValueContract, AReadOnlyLookupAddsNothingButTheRoot)
{
    Loaded object(L"<other/>");
    RemoveDocumentElement(object);
    EXPECT_EQ(ValueAt(object, L"x/y", L"k"), L"(default)");
    ExpectDocument(object, L"<root/>");
}

TEST_F(XmlValueContract, TheRootIsThereBeforeTheKeyIsLookedUp)
{
    Loaded object(L"<other/>");
    RemoveDocumentElement(object);
    CStringList list;
    EXPECT_EQ(object.m_F_n_GetChildKey(L"/root", list), 0);
    EXPECT_TRUE(object.m_F_b_SetValue(L"/root", L"k", L"1"));
    ExpectDocument(object, L"<root k='1'/>");
}

TEST_F(XmlValueContract, WithoutAKeyOrANameNothingIsLookedUp)
{
    Loaded object(L"<other/>");
    RemoveDocumentElement(object);
    CStringW value;
    CStringList list;
    EXPECT_EQ(object.m_F_n_GetValue(L"", L"k", value, L""), 0);
    EXPECT_EQ(object.m_F_n_GetValue(L"a", L"", value, L""), 0);
    EXPECT_EQ(object.m_F_n_GetText(L"", value, L""), 0);
    EXPECT_EQ(object.m_F_n_SetText(L"", L"v"), 0);
    EXPECT_FALSE(object.m_F_b_SetValue(L"a", L"", L"v"));
    EXPECT_FALSE(object.m_F_b_SetValue(L"a", L"", 1));
    EXPECT_EQ(object.m_F_n_GetChildKey(L"", list), 0);
    EXPECT_EQ(object.m_F_n_SelectChildNodes(L""), 0);
    EXPECT_EQ(DocumentElementOf(object.m_F_p_GetDOC()).GetInterfacePtr(), nullptr);
}

// ---- Elements made by a key --------------------------------------------------------------------

TEST_F(XmlValueContract, SettingAValueCreatesTheMissingPathOnce)
{
    Loaded object(L"<a/>");
    EXPECT_TRUE(object.m_F_b_SetValue(L"x/y", L"k", L"1"));
    ExpectDocument(object, L"<a><x><y k='1'/></x></a>");
    EXPECT_TRUE(object.m_F_b_SetValue(L"x/y", L"k", L"1"));
    ExpectDocument(object, L"<a><x><y k='1'/></x></a>");
}

TEST_F(XmlValueContract, OnlyTheMissingTailIsCreatedAndAppended)
{
    Loaded object(L"<root><x><z/></x><x n='2'/></root>");
    object.m_F_b_SetValue(L"x/y/w", L"k", L"1");
    ExpectDocument(object, L"<root><x><z/><y><w k='1'/></y></x><x n='2'/></root>");
    object.m_F_b_SetValue(L"v", L"k", L"2");
    ExpectDocument(object, L"<root><x><z/><y><w k='1'/></y></x><x n='2'/><v k='2'/></root>");
}

TEST_F(XmlValueContract, AnElementFoundByTheWholeKeyIsUsedThoughItIsNotInTheFirstParent)
{
    Loaded object(L"<root><x/><x><y/></x></root>");
    object.m_F_b_SetValue(L"x/y", L"k", L"1");
    ExpectDocument(object, L"<root><x/><x><y k='1'/></x></root>");
}

TEST_F(XmlValueContract, EmptyComponentsAreSkippedWhenAPathIsCreated)
{
    Loaded object(L"<root/>");
    EXPECT_TRUE(object.m_F_b_SetValue(L"x//y", L"k", L"1"));
    ExpectDocument(object, L"<root><x><y k='1'/></x></root>");
}

TEST_F(XmlValueContract, AComponentMayBeAnExpressionThatFindsAnElement)
{
    Loaded object(L"<root><a id='1'/><a id='2'/></root>");
    EXPECT_TRUE(object.m_F_b_SetValue(L"a[@id='2']/c", L"k", L"1"));
    ExpectDocument(object, L"<root><a id='1'/><a id='2'><c k='1'/></a></root>");
}

TEST_F(XmlValueContract, ALeadingSlashDropsTheFirstComponentBeforeThePathIsCreated)
{
    Loaded object(L"<root/>");
    EXPECT_TRUE(object.m_F_b_SetValue(L"/other/x/y", L"k", L"1"));
    ExpectDocument(object, L"<root><x><y k='1'/></x></root>");
}

TEST_F(XmlValueContract, AnAbsoluteKeyThatFindsNothingFailsAfterThePathWasCreated)
{
    Loaded object(L"<root/>");
    EXPECT_FALSE(object.m_F_b_SetValue(L"/a", L"k", L"1"));
    ExpectDocument(object, L"<root><a/></root>");
    CStringW text(L"before");
    EXPECT_EQ(object.m_F_n_GetText(L"/a", text, L"default"), 0);
    EXPECT_EQ(Wide(text), L"default");
    EXPECT_EQ(object.m_F_n_SetText(L"/a", L"t"), 0);
    EXPECT_EQ(object.m_F_n_SelectChildNodes(L"/a"), 0);
    ExpectDocument(object, L"<root><a/></root>");
}

TEST_F(XmlValueContract, ACreatingLookupOfTheBareSlashFindsAndCreatesNothing)
{
    Loaded object(L"<root/>");
    EXPECT_FALSE(object.m_F_b_SetValue(L"/", L"k", L"1"));
    ExpectDocument(object, L"<root/>");
}

TEST_F(XmlValueContract, AnInvalidElementNameRaisesTheDomsError)
{
    const DocumentPtr own = OwnDocument(L"<root/>");
    IXMLDOMElement* element = nullptr;
    const HRESULT result = own->createElement(OwnString(L"item[2]").bstr, &element);
    if (element != nullptr)
    {
        element->Release();
    }
    Loaded object(L"<root/>");
    EXPECT_EQ(ErrorOf([&] { object.m_F_b_SetValue(L"item[2]", L"k", L"1"); }),
              FAILED(result) ? result : S_OK);
    EXPECT_EQ(CountOf(object.m_F_p_GetDOC(), L"root/*"), FAILED(result) ? 0 : 1);
}

TEST_F(XmlValueContract, EachMemberCreatesTheElementsOfItsKeyOrNot)
{
    for (const Operation& lookup : kLookups)
    {
        Loaded object(L"<root/>");
        lookup.run(object);
        EXPECT_EQ(CountOf(object.m_F_p_GetDOC(), L"root/a"), lookup.createsItsKey ? 1 : 0)
            << lookup.name;
    }
}

// ---- Values ------------------------------------------------------------------------------------

TEST_F(XmlValueContract, AValueIsGivenWithItsLength)
{
    Loaded object(L"<root><a k='one two'/></root>");
    CStringW value(L"before");
    EXPECT_EQ(object.m_F_n_GetValue(L"a", L"k", value, L"default"), 7);
    EXPECT_EQ(Wide(value), L"one two");
    EXPECT_EQ(Wide(object.m_F_s_GetValue(L"a", L"k", L"default")), L"one two");
}

TEST_F(XmlValueContract, TheLengthOfAValueCountsUtf16CodeUnits)
{
    Loaded object(L"<root><a k='\x4E2D\xD83D\xDE00'/></root>");
    CStringW value;
    EXPECT_EQ(object.m_F_n_GetValue(L"a", L"k", value, L""), 3);
    EXPECT_EQ(Wide(value), L"\x4E2D\xD83D\xDE00");
}

TEST_F(XmlValueContract, WhatIsMissingGivesZeroAndTheDefaultAndAddsNothing)
{
    Loaded object(L"<root><a/></root>");
    for (const auto& [key, name] : std::vector<std::pair<const wchar_t*, const wchar_t*>>{
             {L"a", L"k"}, {L"x/y", L"k"}, {L"", L"k"}, {L"a", L""}, {L"", L""}})
    {
        CStringW value(L"before");
        EXPECT_EQ(object.m_F_n_GetValue(key, name, value, L"default"), 0);
        EXPECT_EQ(Wide(value), L"default");
        EXPECT_EQ(Wide(object.m_F_s_GetValue(key, name, L"default")), L"default");
        EXPECT_EQ(object.m_F_n_GetValueInt(key, name, -5), -5);
    }
    ExpectDocument(object, L"<root><a/></root>");
}

TEST_F(XmlValueContract, AnEmptyValueGivesZeroAndTheEmptyString)
{
    Loaded object(L"<root><a k=''/></root>");
    CStringW value(L"before");
    EXPECT_EQ(object.m_F_n_GetValue(L"a", L"k", value, L"default"), 0);
    EXPECT_EQ(Wide(value), L"");
    EXPECT_EQ(Wide(object.m_F_s_GetValue(L"a", L"k", L"default")), L"");
}

TEST_F(XmlValueContract, ThePlaceOfTheValueMayBeAnArgumentToo)
{
    Loaded object(L"<root><a a='1'/></root>");
    CStringW text(L"a");
    EXPECT_EQ(object.m_F_n_GetValue(text, text, text, text), 1);
    EXPECT_EQ(Wide(text), L"1");
}

TEST_F(XmlValueContract, ANumberIsReadAsWtoiReadsIt)
{
    for (const wchar_t* text :
         {L"42", L"-7", L"+7", L"  12abc", L"\t -3", L"abc", L"12.9", L"0x10", L"1 2", L"- 1",
          L"2147483647", L"-2147483648", L"0", L"-", L"\x0661"})
    {
        Loaded object(L"<root><a/></root>");
        object.m_F_b_SetValue(L"a", L"k", text);
        EXPECT_EQ(object.m_F_n_GetValueInt(L"a", L"k", 99), _wtoi(text)) << text;
    }
    Loaded object(L"<root><a k='abc' l='  12abc' m='-7'/></root>");
    EXPECT_EQ(object.m_F_n_GetValueInt(L"a", L"k", 99), 0);
    EXPECT_EQ(object.m_F_n_GetValueInt(L"a", L"l", 99), 12);
    EXPECT_EQ(object.m_F_n_GetValueInt(L"a", L"m", 99), -7);
}

TEST_F(XmlValueContract, ANumberThatIsMissingOrEmptyIsTheDefault)
{
    Loaded object(L"<root><a k=''/></root>");
    EXPECT_EQ(object.m_F_n_GetValueInt(L"a", L"k", 99), 99);
    EXPECT_EQ(object.m_F_n_GetValueInt(L"a", L"l", INT_MIN), INT_MIN);
}

TEST_F(XmlValueContract, SettingAValueCreatesOrOverwritesTheAttribute)
{
    Loaded object(L"<root><a k='1' m='3'/></root>");
    EXPECT_TRUE(object.m_F_b_SetValue(L"a", L"k", L"2"));
    EXPECT_TRUE(object.m_F_b_SetValue(L"a", L"l", L"<&\"'>"));
    const DocumentPtr document = object.m_F_p_GetDOC();
    EXPECT_EQ(AttributeOf(document, L"root/a", L"k"), L"2");
    EXPECT_EQ(AttributeOf(document, L"root/a", L"l"), L"<&\"'>");
    EXPECT_EQ(AttributeOf(document, L"root/a", L"m"), L"3");
}

TEST_F(XmlValueContract, AnEmptyValueIsSet)
{
    Loaded object(L"<root><a k='1'/></root>");
    EXPECT_TRUE(object.m_F_b_SetValue(L"a", L"k", L""));
    ExpectDocument(object, L"<root><a k=''/></root>");
}

TEST_F(XmlValueContract, SettingAValueWithoutANameGivesFalseAndCreatesNothing)
{
    Loaded object(L"<root/>");
    EXPECT_FALSE(object.m_F_b_SetValue(L"x", L"", L"1"));
    EXPECT_FALSE(object.m_F_b_SetValue(L"x", L"", 1));
    ExpectDocument(object, L"<root/>");
}

TEST_F(XmlValueContract, SettingAValueWithoutAKeySetsItOnTheDocumentElement)
{
    Loaded object(L"<root/>");
    EXPECT_TRUE(object.m_F_b_SetValue(L"", L"k", L"1"));
    EXPECT_TRUE(object.m_F_b_SetValue(L"", L"n", 2));
    ExpectDocument(object, L"<root k='1' n='2'/>");
    CStringW value;
    EXPECT_EQ(object.m_F_n_GetValue(L"", L"k", value, L"default"), 0);
    EXPECT_EQ(Wide(value), L"default");
    EXPECT_EQ(ValueAt(object, L"/root", L"k"), L"1");
}

TEST_F(XmlValueContract, ANumberIsStoredAsDecimalText)
{
    Loaded object(L"<root><a/></root>");
    const std::vector<std::pair<int, const wchar_t*>> numbers = {
        {42, L"42"}, {-7, L"-7"}, {0, L"0"}, {INT_MAX, L"2147483647"}, {INT_MIN, L"-2147483648"}};
    for (const auto& [number, text] : numbers)
    {
        EXPECT_TRUE(object.m_F_b_SetValue(L"a", L"k", number));
        EXPECT_EQ(AttributeOf(object.m_F_p_GetDOC(), L"root/a", L"k"), text);
    }
}

TEST_F(XmlValueContract, ATextIsSetAsAStringAndANumberAsANumber)
{
    Loaded object(L"<root><a/></root>");
    const SlotPatch patch(DocumentElementOf(object.m_F_p_GetDOC()), kElementSetAttribute,
                          NoteSetAttribute);
    EXPECT_TRUE(object.m_F_b_SetValue(L"a", L"k", L"v"));
    EXPECT_EQ(g_nVariantType, VT_BSTR);
    EXPECT_EQ(g_variantText, L"v");
    EXPECT_TRUE(object.m_F_b_SetValue(L"a", L"k", -7));
    EXPECT_EQ(g_nVariantType, VT_I4);
    EXPECT_EQ(g_nVariantNumber, -7);
}

// ---- Texts -------------------------------------------------------------------------------------

TEST_F(XmlValueContract, ATextIsThatOfTheElementAndAllInIt)
{
    Loaded object(L"<root><a>one<b>two</b><![CDATA[<3>]]><!--no--></a></root>");
    const NodePtr node = Select(object.m_F_p_GetDOC(), L"root/a");
    BSTR bstr = nullptr;
    ASSERT_EQ(node->get_text(&bstr), S_OK);
    const std::wstring expected = TakeText(bstr);
    EXPECT_EQ(expected, L"onetwo<3>");
    CStringW text(L"before");
    EXPECT_EQ(object.m_F_n_GetText(L"a", text, L"default"), static_cast<int>(expected.size()));
    EXPECT_EQ(Wide(text), expected);
}

TEST_F(XmlValueContract, AnEmptyTextOverwritesTheDefault)
{
    Loaded object(L"<root><a/></root>");
    CStringW text(L"before");
    EXPECT_EQ(object.m_F_n_GetText(L"a", text, L"default"), 0);
    EXPECT_EQ(Wide(text), L"");
}

TEST_F(XmlValueContract, ReadingATextThatIsMissingCreatesItsElements)
{
    Loaded object(L"<root/>");
    CStringW value(L"before");
    EXPECT_EQ(object.m_F_n_GetValue(L"x/y", L"k", value, L"default"), 0);
    EXPECT_EQ(Wide(value), L"default");
    ExpectDocument(object, L"<root/>");
    EXPECT_EQ(object.m_F_n_GetText(L"x/y", value, L"default"), 0);
    EXPECT_EQ(Wide(value), L"");
    ExpectDocument(object, L"<root><x><y/></x></root>");
}

TEST_F(XmlValueContract, ATextWithoutAKeyIsTheDefault)
{
    Loaded object(L"<root>t</root>");
    CStringW text(L"before");
    EXPECT_EQ(object.m_F_n_GetText(L"", text, L"default"), 0);
    EXPECT_EQ(Wide(text), L"default");
    EXPECT_EQ(object.m_F_n_SetText(L"", L"v"), 0);
    ExpectDocument(object, L"<root>t</root>");
}

TEST_F(XmlValueContract, SettingATextReplacesAllChildrenByIt)
{
    Loaded object(L"<root><a k='1'>one<b/><!--c--></a></root>");
    EXPECT_EQ(object.m_F_n_SetText(L"a", L"<two> & three"), 1);
    ExpectDocument(object, L"<root><a k='1'>&lt;two&gt; &amp; three</a></root>");
    EXPECT_EQ(CountOf(object.m_F_p_GetDOC(), L"root/a/node()"), 1);
    CStringW text;
    EXPECT_EQ(object.m_F_n_GetText(L"a", text, L""), 13);
    EXPECT_EQ(Wide(text), L"<two> & three");
}

TEST_F(XmlValueContract, SettingATextCreatesItsElements)
{
    Loaded object(L"<root/>");
    EXPECT_EQ(object.m_F_n_SetText(L"x/y", L"t"), 1);
    ExpectDocument(object, L"<root><x><y>t</y></x></root>");
}

TEST_F(XmlValueContract, SettingAnEmptyTextEmptiesTheElement)
{
    Loaded object(L"<root><a>one<b/></a></root>");
    EXPECT_EQ(object.m_F_n_SetText(L"a", L""), 1);
    EXPECT_EQ(CountOf(object.m_F_p_GetDOC(), L"root/a/*"), 0);
    CStringW text(L"before");
    EXPECT_EQ(object.m_F_n_GetText(L"a", text, L""), 0);
    EXPECT_EQ(Wide(text), L"");
}

TEST_F(XmlValueContract, ATextOfTheDocumentElementIsReachedByItsName)
{
    Loaded object(L"<root>t</root>");
    CStringW text;
    EXPECT_EQ(object.m_F_n_GetText(L"/root/", text, L""), 1);
    EXPECT_EQ(Wide(text), L"t");
}

// ---- Attributes of nodes that the client holds --------------------------------------------------

TEST_F(XmlValueContract, AnAttributeOfANodeIsRead)
{
    const DocumentPtr own = OwnDocument(L"<root k='one' e='' n=' -12x' z='abc'/>");
    const NodePtr node = Select(own, L"root");
    CStringW value(L"before");
    CXmlObj::s_S_GetNodeVal(node, L"k", value, L"default");
    EXPECT_EQ(Wide(value), L"one");
    CXmlObj::s_S_GetNodeVal(node, L"e", value, L"default");
    EXPECT_EQ(Wide(value), L"");
    EXPECT_EQ(CXmlObj::s_F_n_GetNodeValInt(node, L"n", 99), -12);
    EXPECT_EQ(CXmlObj::s_F_n_GetNodeValInt(node, L"z", 99), 0);
    EXPECT_EQ(CXmlObj::s_F_n_GetNodeValInt(node, L"e", 99), 0);
}

TEST_F(XmlValueContract, ANodeWithoutTheAttributeGivesTheDefault)
{
    const DocumentPtr own = OwnDocument(L"<root>text<!--c--></root>");
    for (const NodePtr& node : {NodePtr(), Select(own, L"root"), Select(own, L"root/text()"),
                                Select(own, L"root/comment()"), NodePtr(own)})
    {
        CStringW value(L"before");
        CXmlObj::s_S_GetNodeVal(node, L"k", value, L"default");
        EXPECT_EQ(Wide(value), L"default");
        EXPECT_EQ(CXmlObj::s_F_n_GetNodeValInt(node, L"k", 99), 99);
    }
}

TEST_F(XmlValueContract, TheReferenceToTheNodePassedInIsReleased)
{
    const DocumentPtr own = OwnDocument(L"<root k='1'>t</root>");
    for (const wchar_t* expression : {L"root", L"root/text()"})
    {
        const NodePtr node = Select(own, expression);
        CStringW value;
        const ULONG before = ReferencesTo(node);
        CXmlObj::s_S_GetNodeVal(node, L"k", value, L"");
        CXmlObj::s_F_n_GetNodeValInt(node, L"k", 0);
        EXPECT_EQ(ReferencesTo(node), before);
        const SlotPatch patch(node, kNodeAttributes, FailAlways);
        EXPECT_EQ(ErrorOf([&] { CXmlObj::s_F_n_GetNodeValInt(node, L"k", 0); }), kFailure);
        EXPECT_EQ(ReferencesTo(node), before);
    }
}

// ---- Adding ------------------------------------------------------------------------------------

TEST_F(XmlStructureContract, AddingWithoutAKeyAddsAChildOfTheDocumentElement)
{
    Loaded object(L"<root><a/></root>");
    EXPECT_TRUE(object.m_F_b_AddNods(L"", L"x"));
    ExpectDocument(object, L"<root><a/><x/></root>");
}

TEST_F(XmlStructureContract, AddingCreatesWhatIsMissingOfTheKey)
{
    Loaded object(L"<root/>");
    EXPECT_TRUE(object.m_F_b_AddNods(L"a/b", L"c"));
    ExpectDocument(object, L"<root><a><b><c/></b></a></root>");
    EXPECT_TRUE(object.m_F_b_AddNods(L"a", L"d"));
    ExpectDocument(object, L"<root><a><b><c/></b><d/></a></root>");
}

TEST_F(XmlStructureContract, AddingTwiceLeavesOneElement)
{
    Loaded object(L"<root/>");
    EXPECT_TRUE(object.m_F_b_AddNods(L"a", L"x"));
    EXPECT_TRUE(object.m_F_b_AddNods(L"a", L"x"));
    ExpectDocument(object, L"<root><a><x/></a></root>");
}

TEST_F(XmlStructureContract, AddingAChildThatExistsChangesNothing)
{
    Loaded object(L"<root><a><x k='1'>t</x><y/></a></root>");
    EXPECT_TRUE(object.m_F_b_AddNods(L"a", L"x"));
    ExpectDocument(object, L"<root><a><x k='1'>t</x><y/></a></root>");
}

TEST_F(XmlStructureContract, AddingWithoutANameGivesFalseAndCreatesNothing)
{
    Loaded object(L"<root/>");
    EXPECT_FALSE(object.m_F_b_AddNods(L"a", L""));
    EXPECT_FALSE(object.m_F_b_AddNods(L"", L""));
    ExpectDocument(object, L"<root/>");
}

TEST_F(XmlStructureContract, AddingUnderAKeyThatBeginsWithASlashAddsBelowTheDocumentElement)
{
    Loaded object(L"<root/>");
    EXPECT_TRUE(object.m_F_b_AddNods(L"/root", L"x"));
    EXPECT_TRUE(object.m_F_b_AddNods(L"/other/a", L"y"));
    EXPECT_TRUE(object.m_F_b_AddNods(L"/", L"z"));
    ExpectDocument(object, L"<root><x/><a><y/></a><z/></root>");
}

TEST_F(XmlStructureContract, AddingUnderTheKeyOfTheDocumentElementWithASlashAtItsEndGivesFalse)
{
    // The child's key is "/root//x", of which "/x" is looked up: no document element of that name.
    Loaded object(L"<root/>");
    EXPECT_FALSE(object.m_F_b_AddNods(L"/root/", L"x"));
    ExpectDocument(object, L"<root><x/></root>");
    EXPECT_FALSE(object.m_F_b_AddNods(L"/root/", L"x"));
    ExpectDocument(object, L"<root><x/></root>");
}

TEST_F(XmlStructureContract, TheKeyAndTheNameTogetherAreTheKeyOfTheChild)
{
    Loaded object(L"<root/>");
    EXPECT_TRUE(object.m_F_b_AddNods(L"", L"a/b"));
    EXPECT_TRUE(object.m_F_b_AddNods(L"a/", L"c"));
    ExpectDocument(object, L"<root><a><b/><c/></a></root>");
    EXPECT_TRUE(object.m_F_b_AddNods(L"", L"/other/d"));
    ExpectDocument(object, L"<root><a><b/><c/></a><d/></root>");
}

TEST_F(XmlStructureContract, AddingUnderAPercentSignIsNotFormatting)
{
    Loaded object(L"<root><a id='%s%n'/></root>");
    EXPECT_TRUE(object.m_F_b_AddNods(L"a[@id='%s%n']", L"x"));
    ExpectDocument(object, L"<root><a id='%s%n'><x/></a></root>");
}

TEST_F(XmlStructureContract, AddingUnderALongKeyKeepsAllOfIt)
{
    const std::wstring id(5000, L'i');
    Loaded object((L"<root><a id='" + id + L"'/></root>").c_str());
    EXPECT_TRUE(object.m_F_b_AddNods((L"a[@id='" + id + L"']").c_str(), L"x"));
    EXPECT_EQ(CountOf(object.m_F_p_GetDOC(), L"root/a/x"), 1);
}

// ---- Removing ----------------------------------------------------------------------------------

TEST_F(XmlStructureContract, RemovingTakesTheFirstOccurrenceOnly)
{
    Loaded object(L"<root><a><x n='1'/><y/><x n='2'/></a></root>");
    EXPECT_TRUE(object.m_F_b_RemoveNods(L"a", L"x"));
    ExpectDocument(object, L"<root><a><y/><x n='2'/></a></root>");
    EXPECT_TRUE(object.m_F_b_RemoveNods(L"a", L"x"));
    ExpectDocument(object, L"<root><a><y/></a></root>");
    EXPECT_FALSE(object.m_F_b_RemoveNods(L"a", L"x"));
}

TEST_F(XmlStructureContract, RemovingTakesTheWholeSubtree)
{
    Loaded object(L"<root><a><x>t<b><c/></b></x></a></root>");
    EXPECT_TRUE(object.m_F_b_RemoveNods(L"a", L"x"));
    ExpectDocument(object, L"<root><a/></root>");
}

TEST_F(XmlStructureContract, RemovingWithoutAKeyOrANameGivesFalse)
{
    Loaded object(L"<root><a><x/></a></root>");
    EXPECT_FALSE(object.m_F_b_RemoveNods(L"", L"a"));
    EXPECT_FALSE(object.m_F_b_RemoveNods(L"a", L""));
    EXPECT_FALSE(object.m_F_b_RemoveNods(L"", L""));
    ExpectDocument(object, L"<root><a><x/></a></root>");
}

TEST_F(XmlStructureContract, AChildOfTheDocumentElementIsRemovedByAKeyThatBeginsWithASlash)
{
    Loaded object(L"<root><a/><b/><c/></root>");
    EXPECT_TRUE(object.m_F_b_RemoveNods(L"/root/", L"a"));
    EXPECT_TRUE(object.m_F_b_RemoveNods(L"/root", L"b"));
    EXPECT_FALSE(object.m_F_b_RemoveNods(L"/other", L"c"));
    EXPECT_TRUE(object.m_F_b_RemoveNods(L"/other/", L"c"));
    ExpectDocument(object, L"<root/>");
}

TEST_F(XmlStructureContract, RemovingWhatIsMissingGivesFalseAndCreatesNothing)
{
    Loaded object(L"<root><a/></root>");
    EXPECT_FALSE(object.m_F_b_RemoveNods(L"x/y", L"z"));
    EXPECT_FALSE(object.m_F_b_RemoveNods(L"a", L"z"));
    ExpectDocument(object, L"<root><a/></root>");
}

TEST_F(XmlStructureContract, RemovingANodeThatIsNoElementGivesFalse)
{
    Loaded object(L"<root><a k='1'>text<!--c--></a></root>");
    EXPECT_FALSE(object.m_F_b_RemoveNods(L"a", L"@k"));
    EXPECT_FALSE(object.m_F_b_RemoveNods(L"a", L"text()"));
    EXPECT_FALSE(object.m_F_b_RemoveNods(L"a", L"comment()"));
    ExpectDocument(object, L"<root><a k='1'>text<!--c--></a></root>");
}

TEST_F(XmlStructureContract, TheNameOfTheChildToRemoveMayBeAnExpression)
{
    Loaded object(L"<root><a><x n='1'/><x n='2'/></a></root>");
    EXPECT_TRUE(object.m_F_b_RemoveNods(L"a", L"x[@n='2']"));
    ExpectDocument(object, L"<root><a><x n='1'/></a></root>");
}

TEST_F(XmlStructureContract, RemovingAnElementThatIsNoDirectChildRaisesTheDomsError)
{
    const wchar_t* const text = L"<root><p><a><b/></a></p></root>";
    const DocumentPtr own = OwnDocument(text);
    const HRESULT expected =
        Select(own, L"root/p")->removeChild(Select(own, L"root/p/a/b"), nullptr);
    ASSERT_TRUE(FAILED(expected));
    Loaded object(text);
    EXPECT_EQ(ErrorOf([&] { object.m_F_b_RemoveNods(L"p", L"a/b"); }), expected);
    ExpectDocument(object, text);
}

TEST_F(XmlStructureContract, RemovingByAnInvalidNameRaisesTheDomsError)
{
    Loaded object(kSample);
    IXMLDOMNode* node = nullptr;
    const HRESULT expected = Select(object.m_F_p_GetDOC(), L"root/a")
                                 ->selectSingleNode(OwnString(L"count(x)").bstr, &node);
    ASSERT_TRUE(FAILED(expected));
    EXPECT_EQ(ErrorOf([&] { object.m_F_b_RemoveNods(L"a", L"count(x)"); }), expected);
}

// ---- Renaming ----------------------------------------------------------------------------------

TEST_F(XmlStructureContract, RenamingMovesAttributesAndChildrenInOrderToANewLastChild)
{
    Loaded object(
        L"<root><p><old c='1' a='2' b=''><k n='1'>t</k><l/><k n='2'/></old><x/></p></root>");
    EXPECT_TRUE(object.m_F_b_RenameNods(L"p", L"old", L"new"));
    ExpectDocument(
        object,
        L"<root><p><x/><new c='1' a='2' b=''><k n='1'>t</k><l/><k n='2'/></new></p></root>");
}

TEST_F(XmlStructureContract, RenamingAnElementWithATextEmptiesIt)
{
    Loaded object(L"<root><p><old k='1'>5</old></p></root>");
    EXPECT_TRUE(object.m_F_b_RenameNods(L"p", L"old", L"new"));
    ExpectDocument(object, L"<root><p><new k='1'/></p></root>");
}

TEST_F(XmlStructureContract, RenamingMovesNoChildWhenTheFirstIsNoElement)
{
    for (const wchar_t* first : {L"<!--c-->", L"text", L"<![CDATA[x]]>", L"<?p i?>"})
    {
        Loaded object(
            (std::wstring(L"<root><p><old>") + first + L"<k/><l/></old></p></root>").c_str());
        EXPECT_TRUE(object.m_F_b_RenameNods(L"p", L"old", L"new"));
        ExpectDocument(object, L"<root><p><new/></p></root>");
    }
}

TEST_F(XmlStructureContract, RenamingStopsMovingAtTheFirstChildThatIsNoElement)
{
    Loaded object(L"<root><p><old><k/><l/>text<m/></old></p></root>");
    EXPECT_TRUE(object.m_F_b_RenameNods(L"p", L"old", L"new"));
    ExpectDocument(object, L"<root><p><new><k/><l/></new></p></root>");
}

TEST_F(XmlStructureContract, RenamingToTheSameNameDeletesTheElement)
{
    Loaded object(L"<root><p><old k='1'><a/></old><x/></p></root>");
    EXPECT_TRUE(object.m_F_b_RenameNods(L"p", L"old", L"old"));
    ExpectDocument(object, L"<root><p><x/></p></root>");
}

TEST_F(XmlStructureContract, RenamingToTheSameNameDeletesTheFirstTwoOfSeveral)
{
    Loaded object(
        L"<root><p><old n='1'><a/></old><old n='2'><b/><c/></old><old n='3'/></p></root>");
    EXPECT_TRUE(object.m_F_b_RenameNods(L"p", L"old", L"old"));
    ExpectDocument(object, L"<root><p><old n='3'/></p></root>");
}

TEST_F(XmlStructureContract, RenamingReplacesAnElementThatHasTheNewName)
{
    Loaded object(L"<root><p><new z='9'><gone/></new><old k='1'><a/></old><x/></p></root>");
    EXPECT_TRUE(object.m_F_b_RenameNods(L"p", L"old", L"new"));
    ExpectDocument(object, L"<root><p><x/><new k='1'><a/></new></p></root>");
}

TEST_F(XmlStructureContract, RenamingWhatIsMissingGivesTrueAndAnEmptyElement)
{
    Loaded object(L"<root><p><x/></p></root>");
    EXPECT_TRUE(object.m_F_b_RenameNods(L"p", L"old", L"new"));
    ExpectDocument(object, L"<root><p><x/><new/></p></root>");
}

TEST_F(XmlStructureContract, RenamingWhatIsMissingStillReplacesAnElementOfTheNewName)
{
    Loaded object(L"<root><p><new k='1'><a/></new><x/></p></root>");
    EXPECT_TRUE(object.m_F_b_RenameNods(L"p", L"old", L"new"));
    ExpectDocument(object, L"<root><p><x/><new/></p></root>");
}

TEST_F(XmlStructureContract, RenamingTakesTheFirstOfSeveral)
{
    Loaded object(L"<root><p><old n='1'><a/></old><old n='2'><b/></old></p></root>");
    EXPECT_TRUE(object.m_F_b_RenameNods(L"p", L"old", L"new"));
    ExpectDocument(object, L"<root><p><old n='2'><b/></old><new n='1'><a/></new></p></root>");
}

TEST_F(XmlStructureContract, RenamingWithAnEmptyArgumentGivesFalseAndChangesNothing)
{
    Loaded object(L"<root><p><old/></p></root>");
    EXPECT_FALSE(object.m_F_b_RenameNods(L"", L"p", L"new"));
    EXPECT_FALSE(object.m_F_b_RenameNods(L"p", L"", L"new"));
    EXPECT_FALSE(object.m_F_b_RenameNods(L"p", L"old", L""));
    ExpectDocument(object, L"<root><p><old/></p></root>");
}

TEST_F(XmlStructureContract, RenamingUnderAMissingParentGivesFalseAndCreatesNothing)
{
    Loaded object(L"<root/>");
    EXPECT_FALSE(object.m_F_b_RenameNods(L"p", L"old", L"new"));
    ExpectDocument(object, L"<root/>");
}

TEST_F(XmlStructureContract, AChildOfTheDocumentElementIsRenamedByAKeyThatBeginsWithASlash)
{
    Loaded object(L"<root><old k='1'><a/></old><x/></root>");
    EXPECT_TRUE(object.m_F_b_RenameNods(L"/root", L"old", L"new"));
    ExpectDocument(object, L"<root><x/><new k='1'><a/></new></root>");
    EXPECT_TRUE(object.m_F_b_RenameNods(L"/root/", L"new", L"newer"));
    ExpectDocument(object, L"<root><x/><newer k='1'><a/></newer></root>");
}

// ---- Names of children -------------------------------------------------------------------------

TEST_F(XmlListContract, NamesOfAllKindsOfChildrenAreAppendedInOrder)
{
    Loaded object(L"<root><e><a/>text<b/></e></root>");
    CStringList list;
    list.AddTail(L"one");
    list.AddTail(L"two");
    EXPECT_EQ(object.m_F_n_GetChildKey(L"e", list), 5);
    EXPECT_EQ(EntriesOf(list), (std::vector<std::wstring>{L"one", L"two", L"a", L"#text", L"b"}));
}

TEST_F(XmlListContract, CommentsAndCdataSectionsAreListedByTheDomsNames)
{
    Loaded object(L"<root><e><!--c--><![CDATA[d]]>t<a><in/></a><a/><?pi x?></e></root>");
    CStringList list;
    EXPECT_EQ(object.m_F_n_GetChildKey(L"e", list), 6);
    EXPECT_EQ(EntriesOf(list), (std::vector<std::wstring>{L"#comment", L"#cdata-section", L"#text",
                                                          L"a", L"a", L"pi"}));
}

TEST_F(XmlListContract, NamesOfTheDocumentElementsChildrenAreListedByItsName)
{
    Loaded object(L"<root><a/><b/></root>");
    CStringList list;
    EXPECT_EQ(object.m_F_n_GetChildKey(L"/root/", list), 2);
    EXPECT_EQ(object.m_F_n_GetChildKey(L"/root", list), 4);
}

TEST_F(XmlListContract, ListingWithoutAKeyGivesZeroWhateverIsInTheList)
{
    Loaded object(L"<root><a/></root>");
    CStringList list;
    list.AddTail(L"one");
    EXPECT_EQ(object.m_F_n_GetChildKey(L"", list), 0);
    EXPECT_EQ(list.GetCount(), 1);
}

TEST_F(XmlListContract, ListingAMissingElementGivesTheCountUnchangedAndCreatesNothing)
{
    Loaded object(L"<root><a k='1'/></root>");
    CStringList list;
    list.AddTail(L"one");
    list.AddTail(L"two");
    EXPECT_EQ(object.m_F_n_GetChildKey(L"x/y", list), 2);
    EXPECT_EQ(object.m_F_n_GetChildKey(L"a/@k", list), 2);
    EXPECT_EQ(object.m_F_n_GetChildKey(L"a", list), 2);
    EXPECT_EQ(list.GetCount(), 2);
    ExpectDocument(object, L"<root><a k='1'/></root>");
}

TEST_F(XmlListContract, ListingInAClosedObjectFindsNoElement)
{
    Loaded object(L"<root><a><b/></a></root>");
    object.m_F_b_Close();
    CStringList list;
    list.AddTail(L"one");
    EXPECT_EQ(object.m_F_n_GetChildKey(L"a", list), 1);
    EXPECT_EQ(list.GetCount(), 1);
}

// ---- The selection -----------------------------------------------------------------------------

struct Item
{
    int length;
    std::wstring value;
    std::wstring tagName;
};

bool operator==(const Item& one, const Item& other)
{
    return one.length == other.length && one.value == other.value && one.tagName == other.tagName;
}

std::ostream& operator<<(std::ostream& out, const Item& item)
{
    return out << item.length << ' ' << testing::PrintToString(item.value) << ' '
               << testing::PrintToString(item.tagName);
}

Item SelectedItem(CXmlObj& object, int index, const wchar_t* name)
{
    CStringW value(L"(value)");
    CStringW tagName(L"(tag)");
    const int length = object.m_F_n_GetSelectedChildItemAttr(index, name, value, tagName);
    return {length, Wide(value), Wide(tagName)};
}

const Item kNoItem = {0, L"", L"(tag)"};

TEST_F(XmlListContract, SelectingGivesTheNumberOfChildElements)
{
    Loaded object(L"<root><e><a/>text<b/></e><f>t<!--c--></f></root>");
    EXPECT_EQ(object.m_F_n_SelectChildNodes(L"e"), 2);
    EXPECT_EQ(object.m_F_n_SelectChildNodes(L"f"), 0);
    EXPECT_EQ(object.m_F_n_SelectChildNodes(L"/root/"), 2);
}

TEST_F(XmlListContract, SelectedElementsAreReadByTheirIndexInOrder)
{
    Loaded object(L"<root><e><a k='one'/>text<b k='two'><a k='no'/></b><a k='three'/></e></root>");
    ASSERT_EQ(object.m_F_n_SelectChildNodes(L"e"), 3);
    EXPECT_EQ(SelectedItem(object, 0, L"k"), (Item{3, L"one", L"a"}));
    EXPECT_EQ(SelectedItem(object, 1, L"k"), (Item{3, L"two", L"b"}));
    EXPECT_EQ(SelectedItem(object, 2, L"k"), (Item{5, L"three", L"a"}));
    EXPECT_EQ(SelectedItem(object, 0, L"k"), (Item{3, L"one", L"a"}));
}

TEST_F(XmlListContract, AnIndexOutsideTheSelectionGivesZeroButItsLengthRaisesEPointer)
{
    Loaded object(L"<root><e><a/><a/><a/></e></root>");
    ASSERT_EQ(object.m_F_n_SelectChildNodes(L"e"), 3);
    for (const int index : {4, 5, INT_MAX, -1, INT_MIN})
    {
        EXPECT_EQ(SelectedItem(object, index, L"k"), kNoItem) << index;
    }
    CStringW value(L"(value)");
    CStringW tagName(L"(tag)");
    EXPECT_EQ(ErrorOf([&] { object.m_F_n_GetSelectedChildItemAttr(3, L"k", value, tagName); }),
              E_POINTER);
    EXPECT_EQ(Wide(value), L"");
    EXPECT_EQ(Wide(tagName), L"(tag)");
}

TEST_F(XmlListContract, IndexZeroOfAnEmptySelectionRaisesEPointer)
{
    Loaded object(L"<root><e/></root>");
    ASSERT_EQ(object.m_F_n_SelectChildNodes(L"e"), 0);
    EXPECT_EQ(ErrorOf([&] { SelectedItem(object, 0, L"k"); }), E_POINTER);
    EXPECT_EQ(SelectedItem(object, 1, L"k"), kNoItem);
}

TEST_F(XmlListContract, ReadingWithoutASelectionRaisesEPointer)
{
    Loaded object(L"<root/>");
    for (const int index : {0, 1, INT_MAX})
    {
        CStringW value(L"(value)");
        CStringW tagName(L"(tag)");
        EXPECT_EQ(
            ErrorOf([&] { object.m_F_n_GetSelectedChildItemAttr(index, L"k", value, tagName); }),
            E_POINTER);
        EXPECT_EQ(Wide(value), L"");
        EXPECT_EQ(Wide(tagName), L"(tag)");
    }
    EXPECT_EQ(SelectedItem(object, -1, L"k"), kNoItem);
    object.m_F_b_Close();
    EXPECT_EQ(SelectedItem(object, 0, L"k"), kNoItem);
}

TEST_F(XmlListContract, AnItemWithoutTheAttributeGivesZeroAndItsTagName)
{
    Loaded object(L"<root><e><a k=''/><b/></e></root>");
    ASSERT_EQ(object.m_F_n_SelectChildNodes(L"e"), 2);
    EXPECT_EQ(SelectedItem(object, 0, L"k"), (Item{0, L"", L"a"}));
    EXPECT_EQ(SelectedItem(object, 1, L"k"), (Item{0, L"", L"b"}));
    EXPECT_EQ(SelectedItem(object, 1, L""), (Item{0, L"", L"b"}));
}

TEST_F(XmlListContract, TheTagNamePassesThroughTheAnsiCodePageAndTheValueDoesNot)
{
    const std::wstring name = L"caf\xE9\x041A\x4E2D";
    char narrow[64] = "";
    wchar_t expected[64] = L"";
    WideCharToMultiByte(CP_ACP, 0, name.c_str(), -1, narrow, sizeof(narrow), nullptr, nullptr);
    MultiByteToWideChar(CP_ACP, 0, narrow, -1, expected, 64);
    Loaded object((L"<root><e><" + name + L" k='\x041A\x4E2D'/></e></root>").c_str());
    ASSERT_EQ(object.m_F_n_SelectChildNodes(L"e"), 1);
    EXPECT_EQ(SelectedItem(object, 0, L"k"), (Item{2, L"\x041A\x4E2D", expected}));
    if (GetACP() == 1252)
    {
        EXPECT_EQ(SelectedItem(object, 0, L"k").tagName, L"caf\xE9??");
    }
}

TEST_F(XmlListContract, ALongTagNameIsGivenWhole)
{
    const std::wstring name(5000, L'n');
    Loaded object((L"<root><e><" + name + L"/></e></root>").c_str());
    ASSERT_EQ(object.m_F_n_SelectChildNodes(L"e"), 1);
    EXPECT_EQ(SelectedItem(object, 0, L"k"), (Item{0, L"", name}));
}

TEST_F(XmlListContract, SelectingWithoutAKeyOrAnOpenDocumentGivesZeroAndKeepsTheSelection)
{
    Loaded object(kSample);
    ASSERT_EQ(object.m_F_n_SelectChildNodes(L"list"), 2);
    IXMLDOMNodeList* const selection = FieldsOf(object).selection;
    EXPECT_EQ(object.m_F_n_SelectChildNodes(L""), 0);
    EXPECT_EQ(FieldsOf(object).selection, selection);
    object.m_F_b_Close();
    EXPECT_EQ(object.m_F_n_SelectChildNodes(L"a"), 0);
    EXPECT_EQ(FieldsOf(object).selection, selection);
    EXPECT_EQ(ReferencesTo(selection), 1u);
}

TEST_F(XmlListContract, SelectingWhereNoElementIsFoundOrMadeKeepsTheSelection)
{
    Loaded object(kSample);
    ASSERT_EQ(object.m_F_n_SelectChildNodes(L"list"), 2);
    IXMLDOMNodeList* const selection = FieldsOf(object).selection;
    EXPECT_EQ(object.m_F_n_SelectChildNodes(L"/x"), 0);
    EXPECT_EQ(FieldsOf(object).selection, selection);
    EXPECT_EQ(SelectedItem(object, 0, L"n"), (Item{1, L"5", L"i"}));
}

TEST_F(XmlListContract, SelectingUnderAKeyThatDoesNotExistCreatesItAndGivesZero)
{
    Loaded object(L"<root><e><a/></e></root>");
    ASSERT_EQ(object.m_F_n_SelectChildNodes(L"e"), 1);
    EXPECT_EQ(object.m_F_n_SelectChildNodes(L"x/y"), 0);
    ExpectDocument(object, L"<root><e><a/></e><x><y/></x></root>");
    ASSERT_NE(FieldsOf(object).selection, nullptr);
    EXPECT_EQ(LengthOf(FieldsOf(object).selection), 0);
}

TEST_F(XmlListContract, ANewSelectionReleasesThePreviousOne)
{
    Loaded object(kSample);
    object.m_F_n_SelectChildNodes(L"list");
    const NodeListPtr previous(FieldsOf(object).selection, true);
    EXPECT_EQ(ReferencesTo(previous), 2u);
    object.m_F_n_SelectChildNodes(L"a");
    EXPECT_EQ(ReferencesTo(previous), 1u);
    EXPECT_EQ(ReferencesTo(FieldsOf(object).selection), 1u);
    EXPECT_EQ(SelectedItem(object, 0, L"n"), (Item{1, L"2", L"b"}));
}

TEST_F(XmlListContract, ASelectionWhoseLengthCannotBeReadIsStoredAndGivesZero)
{
    const NodeListPtr own = SelectAll(OwnDocument(L"<root/>"), L"*");
    Loaded object(kSample);
    {
        const SlotPatch patch(own, kListLength, FailAlways);
        EXPECT_EQ(object.m_F_n_SelectChildNodes(L"list"), 0);
    }
    ASSERT_NE(FieldsOf(object).selection, nullptr);
    EXPECT_EQ(SelectedItem(object, 0, L"n"), (Item{1, L"5", L"i"}));
}

TEST_F(XmlListContract, TheSelectionIsASnapshot)
{
    Loaded object(L"<root><e><a/><b/><c/></e></root>");
    ASSERT_EQ(object.m_F_n_SelectChildNodes(L"e"), 3);
    const DocumentPtr document = object.m_F_p_GetDOC();
    AppendTo(document, Select(document, L"root/e"), L"d");
    object.m_F_b_RemoveNods(L"e", L"b");
    EXPECT_EQ(SelectedItem(object, 1, L"k"), (Item{0, L"", L"b"}));
    EXPECT_EQ(SelectedItem(object, 2, L"k"), (Item{0, L"", L"c"}));
    EXPECT_EQ(ErrorOf([&] { SelectedItem(object, 3, L"k"); }), E_POINTER);
    EXPECT_EQ(SelectedItem(object, 4, L"k"), kNoItem);
}

TEST_F(XmlListContract, AfterALoadTheSelectionStillReadsThePreviousDocument)
{
    Loaded object(L"<root><e><a k='old'/></e></root>");
    ASSERT_EQ(object.m_F_n_SelectChildNodes(L"e"), 1);
    ASSERT_TRUE(object.m_F_b_LoadXML(L"<root><e><b k='new'/></e></root>"));
    EXPECT_EQ(SelectedItem(object, 0, L"k"), (Item{3, L"old", L"a"}));
    ASSERT_EQ(object.m_F_n_SelectChildNodes(L"e"), 1);
    EXPECT_EQ(SelectedItem(object, 0, L"k"), (Item{3, L"new", L"b"}));
}

TEST_F(XmlListContract, AClosedObjectKeepsItsSelectionButDoesNotReadIt)
{
    Loaded object(L"<root><e><a k='1'/></e></root>");
    ASSERT_EQ(object.m_F_n_SelectChildNodes(L"e"), 1);
    object.m_F_b_Close();
    for (const int index : {-1, 0, 1, 2})
    {
        EXPECT_EQ(SelectedItem(object, index, L"k"), kNoItem);
    }
    object.m_F_b_LoadXML(L"<other/>");
    EXPECT_EQ(SelectedItem(object, 0, L"k"), (Item{1, L"1", L"a"}));
}

TEST_F(XmlListContract, ACopyHasTheSelectionAndMakesItsOwn)
{
    Loaded object(L"<root><e><a k='1'/></e><f><b k='2'/></f></root>");
    ASSERT_EQ(object.m_F_n_SelectChildNodes(L"e"), 1);
    CXmlObj copy(object);
    EXPECT_EQ(SelectedItem(copy, 0, L"k"), (Item{1, L"1", L"a"}));
    ASSERT_EQ(copy.m_F_n_SelectChildNodes(L"f"), 1);
    EXPECT_EQ(SelectedItem(copy, 0, L"k"), (Item{1, L"2", L"b"}));
    EXPECT_EQ(SelectedItem(object, 0, L"k"), (Item{1, L"1", L"a"}));
}

TEST_F(XmlListContract, AFailedSelectionKeepsThePreviousOne)
{
    Loaded object(kSample);
    ASSERT_EQ(object.m_F_n_SelectChildNodes(L"list"), 2);
    {
        const SlotPatch patch(DocumentElementOf(object.m_F_p_GetDOC()), kNodeSelectNodes,
                              FailAlways);
        EXPECT_EQ(ErrorOf([&] { object.m_F_n_SelectChildNodes(L"a"); }), kFailure);
    }
    EXPECT_EQ(SelectedItem(object, 0, L"n"), (Item{1, L"5", L"i"}));
}

// ---- Free queries ------------------------------------------------------------------------------

const wchar_t* const kDevices =
    L"<root><Device n='1'/><group><Device n='2'/></group><Device n='3'/></root>";

TEST_F(XmlListContract, ARelativeExpressionBeginsAtTheDocument)
{
    Loaded object(kDevices);
    const NodeListPtr none = object.m_S_SelectNodesByKey(L"Device");
    ASSERT_NE(none.GetInterfacePtr(), nullptr);
    EXPECT_EQ(LengthOf(none), 0);
    const NodeListPtr devices = object.m_S_SelectNodesByKey(L"root/Device");
    ASSERT_EQ(LengthOf(devices), 2);
    EXPECT_EQ(CXmlObj::s_F_n_GetNodeValInt(ItemOf(devices, 0), L"n", 0), 1);
    EXPECT_EQ(CXmlObj::s_F_n_GetNodeValInt(ItemOf(devices, 1), L"n", 0), 3);
}

TEST_F(XmlListContract, AnAbsoluteExpressionIsUsedUnchanged)
{
    Loaded object(kDevices);
    EXPECT_EQ(LengthOf(object.m_S_SelectNodesByKey(L"/root/Device")), 2);
    EXPECT_EQ(LengthOf(object.m_S_SelectNodesByKey(L"/other/Device")), 0);
    EXPECT_EQ(LengthOf(object.m_S_SelectNodesByKey(L"//Device")), 3);
    EXPECT_EQ(LengthOf(object.m_S_SelectNodesByKey(L"//@n")), 3);
}

TEST_F(XmlListContract, AQueryInAClosedObjectGivesNull)
{
    CXmlObj object;
    EXPECT_EQ(object.m_S_SelectNodesByKey(L"//Device").GetInterfacePtr(), nullptr);
    EXPECT_EQ(object.m_S_SelectNodesByKey(L"[").GetInterfacePtr(), nullptr);
    object.m_F_b_LoadXML(kDevices);
    object.m_F_b_Close();
    EXPECT_EQ(object.m_S_SelectNodesByKey(L"//Device").GetInterfacePtr(), nullptr);
}

TEST_F(XmlListContract, AnInvalidExpressionRaisesTheDomsError)
{
    Loaded object(kDevices);
    for (const wchar_t* expression : {L"count(x)", L"1"})
    {
        IXMLDOMNodeList* list = nullptr;
        const HRESULT expected =
            object.m_F_p_GetDOC()->selectNodes(OwnString(expression).bstr, &list);
        ASSERT_TRUE(FAILED(expected)) << expression;
        EXPECT_EQ(ErrorOf([&] { object.m_S_SelectNodesByKey(expression); }), expected)
            << expression;
    }
    EXPECT_TRUE(object.m_F_b_IsOpen());
}

TEST_F(XmlListContract, AQueryLeavesTheSelectionAlone)
{
    Loaded object(kSample);
    ASSERT_EQ(object.m_F_n_SelectChildNodes(L"list"), 2);
    IXMLDOMNodeList* const selection = FieldsOf(object).selection;
    EXPECT_EQ(LengthOf(object.m_S_SelectNodesByKey(L"//b")), 1);
    EXPECT_EQ(FieldsOf(object).selection, selection);
    EXPECT_EQ(SelectedItem(object, 0, L"n"), (Item{1, L"5", L"i"}));
}

TEST_F(XmlListContract, TheListOfAQueryIsTheCallersAlone)
{
    NodeListPtr list;
    {
        Loaded object(kDevices);
        list = object.m_S_SelectNodesByKey(L"//Device");
    }
    EXPECT_EQ(ReferencesTo(list), 1u);
    EXPECT_EQ(CXmlObj::s_F_n_GetNodeValInt(ItemOf(list, 2), L"n", 0), 3);
}

TEST_F(XmlListContract, AQueryDoesNotCreateARoot)
{
    Loaded object(L"<other/>");
    RemoveDocumentElement(object);
    EXPECT_EQ(LengthOf(object.m_S_SelectNodesByKey(L"//Device")), 0);
    EXPECT_EQ(DocumentElementOf(object.m_F_p_GetDOC()).GetInterfacePtr(), nullptr);
}

}  // namespace
