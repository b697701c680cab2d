#include <afxcoll.h>

#include <algorithm>

CPtrList::CPtrList(INT_PTR nBlockSize)
    : m_nBlockSize(static_cast<size_t>(std::max<INT_PTR>(nBlockSize, 1)))
{
}

CPtrList::~CPtrList() = default;

CPtrList::Node* CPtrList::NodeAt(POSITION position)
{
    return reinterpret_cast<Node*>(position);
}

CPtrList::Node* CPtrList::Required(Node* pNode)
{
    if (pNode == nullptr)
    {
        AfxThrowInvalidArgException();
    }
    return pNode;
}

POSITION CPtrList::PositionOf(Node* pNode)
{
    return reinterpret_cast<POSITION>(pNode);
}

void*& CPtrList::GetHead()
{
    return Required(m_pHead)->pData;
}

const void* CPtrList::GetHead() const
{
    return Required(m_pHead)->pData;
}

void*& CPtrList::GetTail()
{
    return Required(m_pTail)->pData;
}

const void* CPtrList::GetTail() const
{
    return Required(m_pTail)->pData;
}

void* CPtrList::RemoveHead()
{
    return Remove(Required(m_pHead));
}

void* CPtrList::RemoveTail()
{
    return Remove(Required(m_pTail));
}

void CPtrList::RemoveAll()
{
    m_pHead = nullptr;
    m_pTail = nullptr;
    m_pFree = nullptr;
    m_nCount = 0;
    m_blocks.clear();
}

POSITION CPtrList::AddHead(void* newElement)
{
    return Insert(nullptr, m_pHead, newElement);
}

POSITION CPtrList::AddTail(void* newElement)
{
    return Insert(m_pTail, nullptr, newElement);
}

// Both count the other list's elements beforehand, for it may be this list.
void CPtrList::AddHead(CPtrList* pNewList)
{
    Node* node = pNewList->m_pTail;
    for (INT_PTR left = pNewList->m_nCount; left > 0; --left)
    {
        AddHead(node->pData);
        node = node->pPrev;
    }
}

void CPtrList::AddTail(CPtrList* pNewList)
{
    Node* node = pNewList->m_pHead;
    for (INT_PTR left = pNewList->m_nCount; left > 0; --left)
    {
        AddTail(node->pData);
        node = node->pNext;
    }
}

POSITION CPtrList::GetHeadPosition() const
{
    return PositionOf(m_pHead);
}

POSITION CPtrList::GetTailPosition() const
{
    return PositionOf(m_pTail);
}

void*& CPtrList::GetNext(POSITION& rPosition)
{
    Node* node = Required(NodeAt(rPosition));
    rPosition = PositionOf(node->pNext);
    return node->pData;
}

const void* CPtrList::GetNext(POSITION& rPosition) const
{
    return const_cast<CPtrList*>(this)->GetNext(rPosition);
}

void*& CPtrList::GetPrev(POSITION& rPosition)
{
    Node* node = Required(NodeAt(rPosition));
    rPosition = PositionOf(node->pPrev);
    return node->pData;
}

const void* CPtrList::GetPrev(POSITION& rPosition) const
{
    return const_cast<CPtrList*>(this)->GetPrev(rPosition);
}

void*& CPtrList::GetAt(POSITION position)
{
    return Required(NodeAt(position))->pData;
}

const void* CPtrList::GetAt(POSITION position) const
{
    return Required(NodeAt(position))->pData;
}

void CPtrList::SetAt(POSITION pos, void* newElement)
{
    Required(NodeAt(pos))->pData = newElement;
}

void CPtrList::RemoveAt(POSITION position)
{
    Remove(Required(NodeAt(position)));
}

POSITION CPtrList::InsertBefore(POSITION position, void* newElement)
{
    Node* next = position == nullptr ? m_pHead : NodeAt(position);
    return Insert(next == nullptr ? nullptr : next->pPrev, next, newElement);
}

POSITION CPtrList::InsertAfter(POSITION position, void* newElement)
{
    Node* previous = position == nullptr ? m_pTail : NodeAt(position);
    return Insert(previous, previous == nullptr ? nullptr : previous->pNext, newElement);
}

POSITION CPtrList::Find(void* searchValue, POSITION startAfter) const
{
    Node* node = startAfter == nullptr ? m_pHead : NodeAt(startAfter)->pNext;
    while (node != nullptr && node->pData != searchValue)
    {
        node = node->pNext;
    }
    return PositionOf(node);
}

POSITION CPtrList::FindIndex(INT_PTR nIndex) const
{
    if (nIndex < 0 || nIndex >= m_nCount)
    {
        return nullptr;
    }
    Node* node = m_pHead;
    for (; nIndex > 0; --nIndex)
    {
        node = node->pNext;
    }
    return PositionOf(node);
}

POSITION CPtrList::Insert(Node* pPrev, Node* pNext, void* newElement)
{
    Node* node = TakeFreeNode();
    *node = Node{pPrev, pNext, newElement};
    (pPrev == nullptr ? m_pHead : pPrev->pNext) = node;
    (pNext == nullptr ? m_pTail : pNext->pPrev) = node;
    ++m_nCount;
    return PositionOf(node);
}

void* CPtrList::Remove(Node* pNode)
{
    void* element = pNode->pData;
    (pNode->pPrev == nullptr ? m_pHead : pNode->pPrev->pNext) = pNode->pNext;
    (pNode->pNext == nullptr ? m_pTail : pNode->pNext->pPrev) = pNode->pPrev;
    pNode->pNext = m_pFree;
    m_pFree = pNode;
    if (--m_nCount == 0)
    {
        RemoveAll();
    }
    return element;
}

CPtrList::Node* CPtrList::TakeFreeNode()
{
    if (m_pFree == nullptr)
    {
        m_blocks.emplace_back(m_nBlockSize);
        Block& block = m_blocks.back();
        for (size_t i = block.size(); i > 0; --i)
        {
            block[i - 1].pNext = m_pFree;
            m_pFree = &block[i - 1];
        }
    }
    Node* node = m_pFree;
    m_pFree = node->pNext;
    return node;
}
