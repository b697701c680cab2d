#include "CXmlObj.h"
#include "xml/dom.h"

using namespace ostrel::xml;

namespace
{

/// Steps to the next node of a list; null at its end.
CXmlObj::NodePtr NextNode(const CXmlObj::NodeListPtr& nodes)
{
    CXmlObj::NodePtr node;
    Check(nodes->nextNode(&node), nodes);
    return node;
}

/// Converts a text to the system's ANSI code page and back. The code page is named, for a string's
/// own conversion may go by the thread's locale instead.
CStringW ThroughAnsiCodePage(const CStringW& text)
{
    const int ansiLength =
        WideCharToMultiByte(CP_ACP, 0, text, text.GetLength(), nullptr, 0, nullptr, nullptr);
    CStringA ansi;
    WideCharToMultiByte(CP_ACP, 0, text, text.GetLength(), ansi.GetBuffer(ansiLength), ansiLength,
                        nullptr, nullptr);
    ansi.ReleaseBuffer(ansiLength);
    const int length = MultiByteToWideChar(CP_ACP, 0, ansi, ansiLength, nullptr, 0);
    CStringW result;
    MultiByteToWideChar(CP_ACP, 0, ansi, ansiLength, result.GetBuffer(length), length);
    result.ReleaseBuffer(length);
    return result;
}

}  // namespace

int CXmlObj::m_F_n_GetChildKey(CStringW strKey, CStringList& list)
{
    if (strKey.IsEmpty())
    {
        return 0;
    }
    const ElementPtr element = m_F_p_FindNode(strKey, false);
    NodeListPtr children;
    if (element && SUCCEEDED(element->get_childNodes(&children)) && children)
    {
        for (NodePtr child = NextNode(children); child; child = NextNode(children))
        {
            list.AddTail(NodeName(child));
        }
    }
    return static_cast<int>(list.GetCount());
}

int CXmlObj::m_F_n_SelectChildNodes(CStringW strKey)
{
    if (!vm_bOpen || strKey.IsEmpty())
    {
        return 0;
    }
    // Deliberate: selecting creates the path.
    const ElementPtr element = m_F_p_FindNode(strKey, true);
    if (!element)
    {
        return 0;
    }
    NodeListPtr children;
    Check(element->selectNodes(Bstr(std::wstring_view(L"*")).Get(), &children), element);
    vm_pSelection = children;
    long count = 0;
    return SUCCEEDED(vm_pSelection->get_length(&count)) ? count : 0;
}

int CXmlObj::m_F_n_GetSelectedChildItemAttr(int nIndex, CStringW strAttrName, CStringW& strValue,
                                            CStringW& strTagName)
{
    strValue.Empty();
    if (!vm_bOpen || nIndex < 0)
    {
        return 0;
    }
    long count = 0;
    Check(vm_pSelection->get_length(&count), vm_pSelection);
    // Deliberate: an index equal to the count passes, and fails on the node that is not there.
    if (nIndex > count)
    {
        return 0;
    }
    NodePtr node;
    Check(vm_pSelection->get_item(nIndex, &node), vm_pSelection);
    const NodeMapPtr attributes = AttributesOf(node);
    // Deliberate.
    strTagName = ThroughAnsiCodePage(NodeName(node));
    const NodePtr attribute = FindAttribute(attributes, strAttrName);
    if (!attribute)
    {
        return 0;
    }
    strValue = NodeValue(attribute);
    return lstrlenW(strValue);
}

CXmlObj::NodeListPtr CXmlObj::m_S_SelectNodesByKey(CStringW strExpression)
{
    NodeListPtr nodes;
    if (vm_bOpen)
    {
        Check(vm_pDoc->selectNodes(Bstr(strExpression).Get(), &nodes), vm_pDoc);
    }
    return nodes;
}
