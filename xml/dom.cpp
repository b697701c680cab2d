#include "xml/dom.h"

namespace ostrel::xml
{

namespace
{

using SupportErrorInfoPtr = _com_ptr_t<_com_IIID<ISupportErrorInfo, &IID_ISupportErrorInfo>>;

constexpr std::wstring_view kDefaultRootName = L"root";

}  // namespace

Bstr::Bstr(std::wstring_view text)
    : m_text(SysAllocStringLen(text.data(), static_cast<UINT>(text.size())))
{
    if (m_text == nullptr)
    {
        _com_issue_error(E_OUTOFMEMORY);
    }
}

Bstr::Bstr(const CStringW& text) : Bstr(ViewOf(text)) {}

Bstr::~Bstr()
{
    SysFreeString(m_text);
}

VARIANT Bstr::ToVariant() const
{
    VARIANT variant = {};
    V_VT(&variant) = VT_BSTR;
    V_BSTR(&variant) = m_text;
    return variant;
}

void RaiseComError(HRESULT result, IUnknown* source, REFIID interfaceId)
{
    IErrorInfo* information = nullptr;
    SupportErrorInfoPtr support;
    if (SUCCEEDED(
            source->QueryInterface(IID_ISupportErrorInfo, reinterpret_cast<void**>(&support))) &&
        support->InterfaceSupportsErrorInfo(interfaceId) == S_OK)
    {
        GetErrorInfo(0, &information);
    }
    // The exception takes the reference over.
    throw _com_error(result, information);
}

CXmlObj::ElementPtr SelectElement(const CXmlObj::ElementPtr& context, const Bstr& expression)
{
    CXmlObj::NodePtr node;
    Check(context->selectSingleNode(expression.Get(), &node), context);
    // E_NOINTERFACE makes it null; any other failure throws.
    return node;
}

CXmlObj::ElementPtr DocumentElement(const CXmlObj::DocumentPtr& document)
{
    CXmlObj::ElementPtr element;
    Check(document->get_documentElement(&element), document);
    if (!element)
    {
        element = AppendElement(document, document, Bstr(kDefaultRootName));
    }
    return element;
}

CXmlObj::NodePtr FindAttribute(const NodeMapPtr& attributes, const CStringW& name)
{
    CXmlObj::NodePtr attribute;
    if (attributes)
    {
        Check(attributes->getNamedItem(Bstr(name).Get(), &attribute), attributes);
    }
    return attribute;
}

CStringW NodeName(const CXmlObj::NodePtr& node)
{
    Bstr name;
    Check(node->get_nodeName(name.Receive()), node);
    return name.ToString();
}

CStringW NodeValue(const CXmlObj::NodePtr& node)
{
    _variant_t value;
    Check(node->get_nodeValue(&value), node);
    if (V_VT(&value) != VT_BSTR)
    {
        value.ChangeType(VT_BSTR);
    }
    return CStringW(V_BSTR(&value), static_cast<int>(SysStringLen(V_BSTR(&value))));
}

}  // namespace ostrel::xml
