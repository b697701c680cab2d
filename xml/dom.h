/// @file
/// Calls of the platform's DOM: a reference comes back in a smart pointer, a text in a string, and
/// a failure as `_com_error`.
#pragma once

#include <cstddef>
#include <string_view>

#include "CXmlObj.h"

namespace ostrel::xml
{

using NodeMapPtr = _com_ptr_t<_com_IIID<IXMLDOMNamedNodeMap, &IID_IXMLDOMNamedNodeMap>>;
using ParseErrorPtr = _com_ptr_t<_com_IIID<IXMLDOMParseError, &IID_IXMLDOMParseError>>;

inline std::wstring_view ViewOf(const CStringW& text)
{
    return {text.GetString(), static_cast<std::size_t>(text.GetLength())};
}

/// A text in the platform's form, owned.
class Bstr
{
public:
    Bstr() = default;
    /// Copies the text; throws `_com_error` with E_OUTOFMEMORY.
    explicit Bstr(std::wstring_view text);
    explicit Bstr(const CStringW& text);
    ~Bstr();
    Bstr(const Bstr&) = delete;
    Bstr& operator=(const Bstr&) = delete;

    BSTR Get() const { return m_text; }
    BSTR* Receive() { return &m_text; }
    int Length() const { return static_cast<int>(SysStringLen(m_text)); }
    CStringW ToString() const { return CStringW(m_text, Length()); }
    /// The text as an argument; it stays the owner.
    VARIANT ToVariant() const;

private:
    BSTR m_text = nullptr;
};

/// Throws `_com_error` with the result and, if @p source has error information for this interface,
/// with the thread's.
[[noreturn]] void RaiseComError(HRESULT result, IUnknown* source, REFIID interfaceId);

/// Throws if a call of @p source failed.
template <class Interface>
void Check(HRESULT result, const _com_ptr_t<Interface>& source)
{
    if (FAILED(result))
    {
        RaiseComError(result, source.GetInterfacePtr(), Interface::GetIID());
    }
}

/// The first node that an expression selects, if it is an element; otherwise null.
CXmlObj::ElementPtr SelectElement(const CXmlObj::ElementPtr& context, const Bstr& expression);

/// Appends a new element.
/// @param parent an element or the document itself.
template <class Parent>
CXmlObj::ElementPtr AppendElement(const CXmlObj::DocumentPtr& document, const Parent& parent,
                                  const Bstr& tagName)
{
    CXmlObj::ElementPtr element;
    Check(document->createElement(tagName.Get(), &element), document);
    Check(parent->appendChild(element, nullptr), parent);
    return element;
}

/// The document element, which is made if there is none.
CXmlObj::ElementPtr DocumentElement(const CXmlObj::DocumentPtr& document);

/// A node's attributes; null if it is of a kind that has none.
template <class Node>
NodeMapPtr AttributesOf(const Node& node)
{
    NodeMapPtr attributes;
    Check(node->get_attributes(&attributes), node);
    return attributes;
}

/// The attribute of this name; null if there is none, or no map.
CXmlObj::NodePtr FindAttribute(const NodeMapPtr& attributes, const CStringW& name);

CStringW NodeName(const CXmlObj::NodePtr& node);
CStringW NodeValue(const CXmlObj::NodePtr& node);

}  // namespace ostrel::xml
