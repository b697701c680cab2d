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

CXmlObj::NodePtr PreviousSibling(const CXmlObj::NodePtr& node)
{
    CXmlObj::NodePtr sibling;
    Check(node->get_previousSibling(&sibling), node);
    return sibling;
}

CXmlObj::NodePtr Parent(const CXmlObj::NodePtr& node)
{
    CXmlObj::NodePtr parent;
    Check(node->get_parentNode(&parent), node);
    return parent;
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

/// How many nodes stand before a node in its parent.
long IndexOf(const CXmlObj::NodePtr& node)
{
    long index = 0;
    for (CXmlObj::NodePtr before = PreviousSibling(node); before; before = PreviousSibling(before))
    {
        ++index;
    }
    return index;
}

/// Whether two references are to the same node of a document. The pointers do not tell: a DOM may
/// make another object for a node each time that it hands it out. The names tell most apart
/// at once, and where an element stands tells all.
bool IsSame(CXmlObj::NodePtr a, CXmlObj::NodePtr b)
{
    while (a && b && NodeName(a) == NodeName(b) && IndexOf(a) == IndexOf(b))
    {
        a = Parent(a);
        b = Parent(b);
    }
    return !a && !b;
}

/// Appends an element, or throws if it is @p to or around it: not every DOM refuses that itself.
void Move(const CXmlObj::ElementPtr& element, const CXmlObj::ElementPtr& to)
{
    for (CXmlObj::NodePtr node = to; node; node = Parent(node))
    {
        if (IsSame(element, node))
        {
            throw _com_error(E_FAIL);
        }
    }
    Check(to->appendChild(element, nullptr), to);
}

/// Moves the leading elements out of the element that @p name selects. The name is looked up for
/// every child, on purpose: once a child has gone, it may select another element. If that is @p to,
/// whose children would go round in it for ever, the end is reached; any other has only so many
/// children outside @p to, or deep in it.
void MoveLeadingElements(const CXmlObj::ElementPtr& parent, const Bstr& name,
                         const CXmlObj::ElementPtr& to)
{
    CXmlObj::ElementPtr from = SelectElement(parent, name);
    CXmlObj::ElementPtr child = LeadingElement(from);
    while (child && !IsSame(from, to))
    {
        Move(child, to);
        from = SelectElement(parent, name);
        child = LeadingElement(from);
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
        MoveLeadingElements(parent, oldName, to);
    }
    // Deliberate: what was not moved goes with the old element.
    m_F_b_RemoveNods(strKey, strOldName);
    return true;
}
