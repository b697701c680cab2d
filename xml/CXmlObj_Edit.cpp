#include "CXmlObj.h"
#include "xml/dom.h"

using namespace ostrel::xml;

namespace
{

void CopyAttributes(const CXmlObj::ElementPtr& from, const CXmlObj::ElementPtr& to)
{
    const NodeMapPtr attributes = AttributesOf(from);
    long count = 0;
    Check(attributes->get_length(&count), attributes);
    for (long index = 0; index < count; ++index)
    {
        CXmlObj::NodePtr attribute;
        Check(attributes->get_item(index, &attribute), attributes);
        Check(to->setAttribute(Bstr(NodeName(attribute)).Get(),
                               Bstr(NodeValue(attribute)).ToVariant()),
              to);
    }
}

long CountChildren(const CXmlObj::ElementPtr& element)
{
    CXmlObj::NodeListPtr children;
    Check(element->get_childNodes(&children), element);
    long count = 0;
    Check(children->get_length(&count), children);
    return count;
}

/// The first child, if it is an element; otherwise null.
CXmlObj::ElementPtr LeadingElement(const CXmlObj::ElementPtr& element)
{
    CXmlObj::NodePtr child;
    if (element)
    {
        Check(element->get_firstChild(&child), element);
    }
    return child;
}

/// Moves the children of the element that @p name selects, up to the first that is no element. The
/// name is looked up for every child. It may select another element when a child has gone, even
/// @p to itself, so the count sees to an end.
void MoveLeadingElements(const CXmlObj::ElementPtr& parent, const Bstr& name, long count,
                         const CXmlObj::ElementPtr& to)
{
    for (; count > 0; --count)
    {
        const CXmlObj::ElementPtr child = LeadingElement(SelectElement(parent, name));
        if (!child)
        {
            return;
        }
        Check(to->appendChild(child, nullptr), to);
    }
}

}  // namespace

bool CXmlObj::m_F_b_AddNods(CStringW strKey, CStringW strName)
{
    if (strName.IsEmpty())
    {
        return false;
    }
    const CStringW key = strKey.IsEmpty() ? strName : strKey + L"/" + strName;
    return m_F_p_FindNode(key, true) ? true : false;
}

bool CXmlObj::m_F_b_RemoveNods(CStringW strKey, CStringW strName)
{
    if (strKey.IsEmpty() || strName.IsEmpty())
    {
        return false;
    }
    const ElementPtr parent = m_F_p_FindNode(strKey, false);
    if (!parent)
    {
        return false;
    }
    const ElementPtr child = SelectElement(parent, Bstr(strName));
    if (!child)
    {
        return false;
    }
    Check(parent->removeChild(child, nullptr), parent);
    return true;
}

bool CXmlObj::m_F_b_RenameNods(CStringW strKey, CStringW strOldName, CStringW strNewName)
{
    if (strKey.IsEmpty() || strOldName.IsEmpty() || strNewName.IsEmpty())
    {
        return false;
    }
    const ElementPtr parent = m_F_p_FindNode(strKey, false);
    if (!parent)
    {
        return false;
    }
    m_F_b_RemoveNods(strKey, strNewName);
    m_F_b_AddNods(strKey, strNewName);
    const Bstr oldName(strOldName);
    const ElementPtr from = SelectElement(parent, oldName);
    const ElementPtr to = SelectElement(parent, Bstr(strNewName));
    if (from && to)
    {
        CopyAttributes(from, to);
        MoveLeadingElements(parent, oldName, CountChildren(from), to);
    }
    // Deliberate: what was not moved goes with the old element.
    m_F_b_RemoveNods(strKey, strOldName);
    return true;
}
