#include <afxcoll.h>

#include <memory>
#include <new>
#include <utility>

namespace
{

std::unique_ptr<CString> MakeElement(const CString& text)
{
    std::unique_ptr<CString> element(new (std::nothrow) CString(text));
    if (element == nullptr)
    {
        AfxThrowMemoryException();
    }
    return element;
}

CString& StringOf(void* element)
{
    return *static_cast<CString*>(element);
}

const CString& StringOf(const void* element)
{
    return *static_cast<const CString*>(element);
}

CString TakeStringOf(void* element)
{
    const std::unique_ptr<CString> owner(static_cast<CString*>(element));
    return std::move(*owner);
}

}  // namespace

CStringList::CStringList(INT_PTR nBlockSize) : m_list(nBlockSize) {}

CStringList::~CStringList()
{
    RemoveAll();
}

CString& CStringList::GetHead()
{
    return StringOf(m_list.GetHead());
}

const CString& CStringList::GetHead() const
{
    return StringOf(m_list.GetHead());
}

CString& CStringList::GetTail()
{
    return StringOf(m_list.GetTail());
}

const CString& CStringList::GetTail() const
{
    return StringOf(m_list.GetTail());
}

CString CStringList::RemoveHead()
{
    return TakeStringOf(m_list.RemoveHead());
}

CString CStringList::RemoveTail()
{
    return TakeStringOf(m_list.RemoveTail());
}

void CStringList::RemoveAll()
{
    for (POSITION position = m_list.GetHeadPosition(); position != nullptr;)
    {
        delete &GetNext(position);
    }
    m_list.RemoveAll();
}

// The list takes the element over only once there is a node for it.
POSITION CStringList::AddHead(const CString& newElement)
{
    std::unique_ptr<CString> element = MakeElement(newElement);
    const POSITION position = m_list.AddHead(element.get());
    element.release();
    return position;
}

POSITION CStringList::AddTail(const CString& newElement)
{
    std::unique_ptr<CString> element = MakeElement(newElement);
    const POSITION position = m_list.AddTail(element.get());
    element.release();
    return position;
}

POSITION CStringList::AddHead(LPCTSTR newElement)
{
    return AddHead(CString(newElement));
}

POSITION CStringList::AddTail(LPCTSTR newElement)
{
    return AddTail(CString(newElement));
}

// Both count the other list's elements beforehand, for it may be this list.
void CStringList::AddHead(CStringList* pNewList)
{
    POSITION position = pNewList->GetTailPosition();
    for (INT_PTR left = pNewList->GetCount(); left > 0; --left)
    {
        AddHead(pNewList->GetPrev(position));
    }
}

void CStringList::AddTail(CStringList* pNewList)
{
    POSITION position = pNewList->GetHeadPosition();
    for (INT_PTR left = pNewList->GetCount(); left > 0; --left)
    {
        AddTail(pNewList->GetNext(position));
    }
}

POSITION CStringList::GetHeadPosition() const
{
    return m_list.GetHeadPosition();
}

POSITION CStringList::GetTailPosition() const
{
    return m_list.GetTailPosition();
}

CString& CStringList::GetNext(POSITION& rPosition)
{
    return StringOf(m_list.GetNext(rPosition));
}

const CString& CStringList::GetNext(POSITION& rPosition) const
{
    return StringOf(m_list.GetNext(rPosition));
}

CString& CStringList::GetPrev(POSITION& rPosition)
{
    return StringOf(m_list.GetPrev(rPosition));
}

const CString& CStringList::GetPrev(POSITION& rPosition) const
{
    return StringOf(m_list.GetPrev(rPosition));
}

CString& CStringList::GetAt(POSITION position)
{
    return StringOf(m_list.GetAt(position));
}

const CString& CStringList::GetAt(POSITION position) const
{
    return StringOf(m_list.GetAt(position));
}

void CStringList::SetAt(POSITION pos, LPCTSTR newElement)
{
    GetAt(pos) = newElement;
}

void CStringList::SetAt(POSITION pos, const CString& newElement)
{
    GetAt(pos) = newElement;
}

void CStringList::RemoveAt(POSITION position)
{
    CString* const element = &GetAt(position);
    m_list.RemoveAt(position);
    delete element;
}

POSITION CStringList::InsertBefore(POSITION position, const CString& newElement)
{
    std::unique_ptr<CString> element = MakeElement(newElement);
    const POSITION inserted = m_list.InsertBefore(position, element.get());
    element.release();
    return inserted;
}

POSITION CStringList::InsertAfter(POSITION position, const CString& newElement)
{
    std::unique_ptr<CString> element = MakeElement(newElement);
    const POSITION inserted = m_list.InsertAfter(position, element.get());
    element.release();
    return inserted;
}

POSITION CStringList::InsertBefore(POSITION position, LPCTSTR newElement)
{
    return InsertBefore(position, CString(newElement));
}

POSITION CStringList::InsertAfter(POSITION position, LPCTSTR newElement)
{
    return InsertAfter(position, CString(newElement));
}

POSITION CStringList::Find(LPCTSTR searchValue, POSITION startAfter) const
{
    POSITION position = GetHeadPosition();
    if (startAfter != nullptr)
    {
        position = startAfter;
        GetNext(position);
    }
    while (position != nullptr)
    {
        const POSITION found = position;
        if (GetNext(position) == searchValue)
        {
            return found;
        }
    }
    return nullptr;
}

POSITION CStringList::FindIndex(INT_PTR nIndex) const
{
    return m_list.FindIndex(nIndex);
}
