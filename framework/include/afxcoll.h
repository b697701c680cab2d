/// @file
/// Collections.
#pragma once

#include <vector>

#include "afx.h"

/// Names an element of a list while it is in the list; null past either end.
typedef struct AFX_POSITION* POSITION;

/// A doubly linked list of untyped pointers. It owns its nodes, never what the pointers name.
///
/// Nodes are allocated in blocks, reused when elements come and go, and freed when the list becomes
/// empty. A POSITION that is null where an element is needed, and an empty list where one is,
/// throws CInvalidArgException; a failed allocation throws CMemoryException.
class AFX_API CPtrList : public CObject
{
public:
    /// @param nBlockSize nodes allocated at a time.
    explicit CPtrList(INT_PTR nBlockSize = 10);
    ~CPtrList() override;

    INT_PTR GetCount() const { return m_nCount; }
    INT_PTR GetSize() const { return m_nCount; }
    BOOL IsEmpty() const { return m_nCount == 0; }

    void*& GetHead();
    const void* GetHead() const;
    void*& GetTail();
    const void* GetTail() const;

    void* RemoveHead();
    void* RemoveTail();
    void RemoveAll();

    /// @return the new element's position.
    POSITION AddHead(void* newElement);
    POSITION AddTail(void* newElement);

    /// Adds the elements of another list, in its order, before the head or after the tail.
    void AddHead(CPtrList* pNewList);
    void AddTail(CPtrList* pNewList);

    POSITION GetHeadPosition() const;
    POSITION GetTailPosition() const;

    /// @return the element at @p rPosition, which moves on to the next (the previous) element and
    /// is null past the last (the first).
    void*& GetNext(POSITION& rPosition);
    const void* GetNext(POSITION& rPosition) const;
    void*& GetPrev(POSITION& rPosition);
    const void* GetPrev(POSITION& rPosition) const;

    void*& GetAt(POSITION position);
    const void* GetAt(POSITION position) const;
    void SetAt(POSITION pos, void* newElement);
    void RemoveAt(POSITION position);

    /// A null position stands for the head (before) or the tail (after).
    POSITION InsertBefore(POSITION position, void* newElement);
    POSITION InsertAfter(POSITION position, void* newElement);

    /// Searches by pointer value.
    /// @param startAfter the search begins with the element after this one; null: with the head.
    POSITION Find(void* searchValue, POSITION startAfter = nullptr) const;

    /// @return the position of the element with this zero-based index; null when there is none.
    POSITION FindIndex(INT_PTR nIndex) const;

private:
    struct Node
    {
        Node* pPrev;
        Node* pNext;
        void* pData;
    };

    using Block = std::vector<Node, CAfxAllocator<Node>>;

    static Node* NodeAt(POSITION position);
    static Node* Required(Node* pNode);
    static POSITION PositionOf(Node* pNode);
    POSITION Insert(Node* pPrev, Node* pNext, void* newElement);
    void* Remove(Node* pNode);
    Node* TakeFreeNode();

    Node* m_pHead = nullptr;
    Node* m_pTail = nullptr;
    Node* m_pFree = nullptr;  // the unused nodes, linked by pNext
    INT_PTR m_nCount = 0;
    size_t m_nBlockSize;
    std::vector<Block, CAfxAllocator<Block>> m_blocks;
};

/// A doubly linked list of strings, which it owns. Positions, missing elements and failed
/// allocations are as with CPtrList.
class AFX_API CStringList : public CObject
{
public:
    /// @param nBlockSize nodes allocated at a time.
    explicit CStringList(INT_PTR nBlockSize = 10);
    ~CStringList() override;

    INT_PTR GetCount() const { return m_list.GetCount(); }
    INT_PTR GetSize() const { return m_list.GetSize(); }
    BOOL IsEmpty() const { return m_list.IsEmpty(); }

    CString& GetHead();
    const CString& GetHead() const;
    CString& GetTail();
    const CString& GetTail() const;

    CString RemoveHead();
    CString RemoveTail();
    void RemoveAll();

    /// @return the new element's position.
    POSITION AddHead(LPCTSTR newElement);
    POSITION AddHead(const CString& newElement);
    POSITION AddTail(LPCTSTR newElement);
    POSITION AddTail(const CString& newElement);

    /// Adds the elements of another list, in its order, before the head or after the tail.
    void AddHead(CStringList* pNewList);
    void AddTail(CStringList* pNewList);

    POSITION GetHeadPosition() const;
    POSITION GetTailPosition() const;

    /// @return the element at @p rPosition, which moves on to the next (the previous) element and
    /// is null past the last (the first).
    CString& GetNext(POSITION& rPosition);
    const CString& GetNext(POSITION& rPosition) const;
    CString& GetPrev(POSITION& rPosition);
    const CString& GetPrev(POSITION& rPosition) const;

    CString& GetAt(POSITION position);
    const CString& GetAt(POSITION position) const;
    void SetAt(POSITION pos, LPCTSTR newElement);
    void SetAt(POSITION pos, const CString& newElement);
    void RemoveAt(POSITION position);

    /// A null position stands for the head (before) or the tail (after).
    POSITION InsertBefore(POSITION position, LPCTSTR newElement);
    POSITION InsertBefore(POSITION position, const CString& newElement);
    POSITION InsertAfter(POSITION position, LPCTSTR newElement);
    POSITION InsertAfter(POSITION position, const CString& newElement);

    /// Searches for an equal text; upper and lower case differ.
    /// @param startAfter the search begins with the element after this one; null: with the head.
    POSITION Find(LPCTSTR searchValue, POSITION startAfter = nullptr) const;

    /// @return the position of the element with this zero-based index; null when there is none.
    POSITION FindIndex(INT_PTR nIndex) const;

private:
    CPtrList m_list;  // of CString, each allocated by itself
};

/// An array of values of one integer type that grows as it is asked to; elements that nobody has
/// set are 0. An index outside the array throws CInvalidArgException, as does a negative size; a
/// failed allocation throws CMemoryException. As the framework has it, this class is CDWordArray or
/// CUIntArray; only what the two share is written here.
template <typename Value>
class AFX_API CAfxValueArray : public CObject
{
public:
    CAfxValueArray();
    ~CAfxValueArray() override;

    INT_PTR GetSize() const;
    INT_PTR GetCount() const;
    BOOL IsEmpty() const;

    /// @return the last index; -1 when the array is empty.
    INT_PTR GetUpperBound() const;

    /// Cuts the array off, or lengthens it with zeros.
    /// @param nGrowBy how many elements to make room for when more is needed; -1 leaves it to the
    /// array.
    void SetSize(INT_PTR nNewSize, INT_PTR nGrowBy = -1);

    /// Gives back the room that is not used.
    void FreeExtra();
    void RemoveAll();

    Value GetAt(INT_PTR nIndex) const;
    void SetAt(INT_PTR nIndex, Value newElement);
    Value& ElementAt(INT_PTR nIndex);
    Value operator[](INT_PTR nIndex) const;
    Value& operator[](INT_PTR nIndex);

    /// @return the elements, one after another; null when there are none. Valid until the array
    /// changes its size.
    const Value* GetData() const;
    Value* GetData();

    /// Sets an element, and lengthens the array with zeros up to it if need be.
    void SetAtGrow(INT_PTR nIndex, Value newElement);

    /// @return the new element's index.
    INT_PTR Add(Value newElement);

    /// Adds the elements of another array behind those of this one.
    /// @return the index of the first of them.
    INT_PTR Append(const CAfxValueArray& src);
    void Copy(const CAfxValueArray& src);

    /// Inserts an element @p nCount times before the one at @p nIndex; behind the end, the array is
    /// lengthened with zeros up to there.
    void InsertAt(INT_PTR nIndex, Value newElement, INT_PTR nCount = 1);
    void RemoveAt(INT_PTR nIndex, INT_PTR nCount = 1);

private:
    size_t Checked(INT_PTR nIndex) const;

    std::vector<Value, CAfxAllocator<Value>> m_values;
    size_t m_nGrowBy = 0;
};

extern template class CAfxValueArray<DWORD>;
extern template class CAfxValueArray<UINT>;

/// An array of 32-bit values.
class AFX_API CDWordArray : public CAfxValueArray<DWORD>
{
public:
    CDWordArray();
    ~CDWordArray() override;
};

/// An array of `unsigned int`.
class AFX_API CUIntArray : public CAfxValueArray<UINT>
{
public:
    CUIntArray();
    ~CUIntArray() override;
};
