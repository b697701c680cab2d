#include "xml/xml_test.h"

#include <cstdio>

namespace ostrel::test
{

namespace
{

std::wstring Take(BSTR text)
{
    const std::wstring copy(text == nullptr ? L"" : text, SysStringLen(text));
    SysFreeString(text);
    return copy;
}

std::wstring NameOf(const CXmlObj::NodePtr& node)
{
    BSTR name = nullptr;
    EXPECT_EQ(node->get_nodeName(&name), S_OK);
    return Take(name);
}

std::wstring ValueOf(const CXmlObj::NodePtr& node)
{
    VARIANT value = {};
    EXPECT_EQ(node->get_nodeValue(&value), S_OK);
    EXPECT_EQ(V_VT(&value), VT_BSTR);
    return Take(V_BSTR(&value));
}

std::wstring Write(const CXmlObj::NodePtr& node);

std::wstring WriteElement(const CXmlObj::NodePtr& element)
{
    const std::wstring name = NameOf(element);
    std::wstring text = L"<" + name;
    IXMLDOMNamedNodeMap* attributes = nullptr;
    EXPECT_EQ(element->get_attributes(&attributes), S_OK);
    for (CXmlObj::NodePtr attribute; attributes->nextNode(&attribute) == S_OK;)
    {
        text += L" " + NameOf(attribute) + L"=\"" + ValueOf(attribute) + L"\"";
    }
    attributes->Release();
    std::wstring content;
    CXmlObj::NodePtr child;
    element->get_firstChild(&child);
    while (child)
    {
        content += Write(child);
        CXmlObj::NodePtr next;
        child->get_nextSibling(&next);
        child = next;
    }
    return text + (content.empty() ? L"/>" : L">" + content + L"</" + name + L">");
}

std::wstring Write(const CXmlObj::NodePtr& node)
{
    DOMNodeType type = NODE_INVALID;
    EXPECT_EQ(node->get_nodeType(&type), S_OK);
    switch (type)
    {
        case NODE_ELEMENT:
            return WriteElement(node);
        case NODE_TEXT:
            return ValueOf(node);
        case NODE_COMMENT:
            return L"<!--" + ValueOf(node) + L"-->";
        case NODE_CDATA_SECTION:
            return L"<![CDATA[" + ValueOf(node) + L"]]>";
        default:
            return L"(" + NameOf(node) + L")";
    }
}

}  // namespace

std::wstring Structure(const CXmlObj::DocumentPtr& document)
{
    CXmlObj::ElementPtr element;
    document->get_documentElement(&element);
    return element ? WriteElement(element) : std::wstring();
}

void RemoveDocumentElement(CXmlObj& xml)
{
    const CXmlObj::DocumentPtr document = xml.m_F_p_GetDOC();
    CXmlObj::ElementPtr element;
    ASSERT_EQ(document->get_documentElement(&element), S_OK);
    ASSERT_EQ(document->removeChild(element, nullptr), S_OK);
}

unsigned long ReferencesTo(IUnknown* object)
{
    object->AddRef();
    return object->Release();
}

TemporaryFile::TemporaryFile(const wchar_t* name)
{
    wchar_t folder[MAX_PATH + 1] = {};
    GetTempPathW(MAX_PATH + 1, folder);
    static int number = 0;
    m_folder.Format(L"%sxml_test_%lu_%d", folder, GetCurrentProcessId(), ++number);
    CreateDirectoryW(m_folder, nullptr);
    m_path = m_folder + L"\\" + name;
}

TemporaryFile::~TemporaryFile()
{
    DeleteFileW(m_path);
    RemoveDirectoryW(m_folder);
}

bool TemporaryFile::Exists() const
{
    return GetFileAttributesW(m_path) != INVALID_FILE_ATTRIBUTES;
}

std::string TemporaryFile::Read() const
{
    std::string bytes;
    if (FILE* const file = _wfopen(m_path, L"rb"))
    {
        char block[4096];
        for (std::size_t count = 0; (count = std::fread(block, 1, sizeof(block), file)) > 0;)
        {
            bytes.append(block, count);
        }
        std::fclose(file);
    }
    return bytes;
}

void TemporaryFile::Write(const std::string& bytes) const
{
    FILE* const file = _wfopen(m_path, L"wb");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(std::fwrite(bytes.data(), 1, bytes.size(), file), bytes.size());
    std::fclose(file);
}

void* MethodPatch::Store(void* method)
{
    DWORD protection = 0;
    VirtualProtect(m_place, sizeof(*m_place), PAGE_READWRITE, &protection);
    void* const before = *m_place;
    *m_place = method;
    VirtualProtect(m_place, sizeof(*m_place), protection, &protection);
    return before;
}

}  // namespace ostrel::test
