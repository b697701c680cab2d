#include "CXmlObj.h"
#include "xml/dom.h"
#include "xml/node_path.h"

using namespace ostrel::xml;

CXmlObj::ElementPtr CXmlObj::m_F_p_FindNode(CStringW strKey, bool bCreate)
{
    if (!vm_bOpen)
    {
        return {};
    }
    ElementPtr root = DocumentElement(vm_pDoc);
    const std::wstring_view path = BelowDocumentElement(ViewOf(strKey));
    if (path.empty())
    {
        return root;
    }
    const Bstr expression(path);
    ElementPtr element = SelectElement(root, expression);
    if (!element && bCreate &&
        m_F_b_ForceCreateMissPath(CStringW(path.data(), static_cast<int>(path.size()))))
    {
        element = SelectElement(root, expression);
    }
    return element;
}

bool CXmlObj::m_F_b_ForceCreateMissPath(CStringW strKey)
{
    if (!vm_bOpen || strKey.IsEmpty())
    {
        return false;
    }
    ElementPtr current = DocumentElement(vm_pDoc);
    std::wstring_view path = ViewOf(strKey);
    for (std::wstring_view name = TakeComponent(path); !name.empty(); name = TakeComponent(path))
    {
        const Bstr component(name);
        ElementPtr next = SelectElement(current, component);
        current = next ? next : AppendElement(vm_pDoc, current, component);
    }
    return true;
}

int CXmlObj::m_F_n_GetValue(CStringW strKey, CStringW strName, CStringW& strValue,
                            CStringW strDefault)
{
    strValue = strDefault;
    if (strKey.IsEmpty() || strName.IsEmpty())
    {
        return 0;
    }
    const ElementPtr element = m_F_p_FindNode(strKey, false);
    if (!element)
    {
        return 0;
    }
    const NodePtr attribute = FindAttribute(AttributesOf(element), strName);
    if (!attribute)
    {
        return 0;
    }
    strValue = NodeValue(attribute);
    return strValue.GetLength();
}

CStringW CXmlObj::m_F_s_GetValue(CStringW strKey, CStringW strName, CStringW strDefault)
{
    CStringW value;
    m_F_n_GetValue(strKey, strName, value, strDefault);
    return value;
}

int CXmlObj::m_F_n_GetValueInt(CStringW strKey, CStringW strName, int nDefault)
{
    CStringW value;
    m_F_n_GetValue(strKey, strName, value, CStringW());
    return value.IsEmpty() ? nDefault : _wtoi(value);
}

bool CXmlObj::m_F_b_SetValue(CStringW strKey, CStringW strName, CStringW strValue)
{
    if (strName.IsEmpty())
    {
        return false;
    }
    const ElementPtr element = m_F_p_FindNode(strKey, true);
    if (!element)
    {
        return false;
    }
    Check(element->setAttribute(Bstr(strName).Get(), Bstr(strValue).ToVariant()), element);
    return true;
}

bool CXmlObj::m_F_b_SetValue(CStringW strKey, CStringW strName, int nValue)
{
    if (strName.IsEmpty())
    {
        return false;
    }
    const ElementPtr element = m_F_p_FindNode(strKey, true);
    if (!element)
    {
        return false;
    }
    Check(element->setAttribute(Bstr(strName).Get(), _variant_t(static_cast<long>(nValue), VT_I4)),
          element);
    return true;
}

int CXmlObj::m_F_n_GetText(CStringW strKey, CStringW& strText, CStringW strDefault)
{
    strText = strDefault;
    if (strKey.IsEmpty())
    {
        return 0;
    }
    // Deliberate: reading a text creates the path to it.
    const ElementPtr element = m_F_p_FindNode(strKey, true);
    if (!element)
    {
        return 0;
    }
    Bstr text;
    Check(element->get_text(text.Receive()), element);
    strText = text.ToString();
    return strText.GetLength();
}

int CXmlObj::m_F_n_SetText(CStringW strKey, CStringW strText)
{
    if (strKey.IsEmpty())
    {
        return 0;
    }
    const ElementPtr element = m_F_p_FindNode(strKey, true);
    if (!element)
    {
        return 0;
    }
    Check(element->put_text(Bstr(strText).Get()), element);
    return 1;
}

void CXmlObj::s_S_GetNodeVal(NodePtr pNode, CStringW strName, CStringW& strValue,
                             CStringW strDefault)
{
    strValue = strDefault;
    if (!pNode)
    {
        return;
    }
    const NodePtr attribute = FindAttribute(AttributesOf(pNode), strName);
    if (attribute)
    {
        strValue = NodeValue(attribute);
    }
}

int CXmlObj::s_F_n_GetNodeValInt(NodePtr pNode, CStringW strName, int nDefault)
{
    if (!pNode)
    {
        return nDefault;
    }
    const NodePtr attribute = FindAttribute(AttributesOf(pNode), strName);
    // Deliberate: an empty attribute is 0 here, not the default.
    return attribute ? _wtoi(NodeValue(attribute)) : nDefault;
}
