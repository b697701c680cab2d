/// @file
/// A list of pointers that several threads share.
#pragma once

#include <afxcoll.h>
#include <afxmt.h>

#include "LibOstrelExport.h"

/// The framework's doubly linked list of untyped pointers, each operation under one lock. It owns
/// its nodes, never what the pointers name.
///
/// Any thread may call the members of this class; the operations of `CPtrList` itself take no lock.
/// Each single call is atomic. A walk by positions is not: between two calls another thread may
/// remove the element that a position names. Who walks while others remove keeps them out, for
/// instance by holding #vm_csList around the walk, which its own calls may enter again.
///
/// **Positions.** A POSITION names an element of this list as long as it is in the list. A null one
/// where an element is needed throws the framework's `CInvalidArgException*`, and **the lock stays
/// entered by the calling thread then**, on purpose: all other threads wait from then on, so no
/// null position is to be passed. The same holds for the `CMemoryException*` of an element that
/// cannot be allocated.
class OSTREL_API CPtrListCS : public CPtrList
{
public:
    /// An empty list, whose nodes are allocated ten at a time. Throws `CMemoryException*` or, with
    /// the code as an HRESULT, `COleException*` when the lock cannot be made.
    CPtrListCS();

    /// Deletes the lock and the nodes. No thread may be using the list.
    ~CPtrListCS() override;

    /// @return the first element; null when the list is empty (which a null element cannot be told
    /// from).
    void* m_F_p_GetHead();

    /// @return the last element; null when the list is empty.
    void* m_F_p_GetTail();

    /// Adds an element before the first one.
    /// @return its position.
    POSITION m_F_n_AddHead(void* p);

    /// Adds an element behind the last one.
    /// @return its position.
    POSITION m_F_n_AddTail(void* p);

    /// Removes all elements.
    void m_S_RemoveAll();

    /// Removes the first element.
    /// @return the element; null when the list is empty, which is no error here.
    void* m_F_p_RemoveHead();

    /// Removes the last element.
    /// @return the element; null when the list is empty, which is no error here.
    void* m_F_p_RemoveTail();

    /// @return the first element's position; null when the list is empty.
    POSITION m_F_n_GetHeadPosition();

    /// @return the last element's position; null when the list is empty.
    POSITION m_F_n_GetTailPosition();

    /// @param position moves on to the next element; null behind the last one.
    /// @return the element that @p position named.
    void* m_F_p_GetNext(POSITION& position);

    /// @param position moves back to the previous element; null before the first one.
    /// @return the element that @p position named.
    void* m_F_p_GetPrev(POSITION& position);

    /// @return the element at @p position.
    void* m_F_p_GetAt(POSITION position);

    /// Replaces the element at @p position.
    void m_S_SetAt(POSITION position, void* p);

    /// Removes the element at @p position, which is invalid then.
    void m_S_RemoveAt(POSITION position);

    /// Adds an element behind @p position; a null one stands for the last element.
    /// @return its position.
    POSITION m_F_n_InsertAfter(POSITION position, void* p);

    /// Adds an element before @p position; a null one stands for the first element.
    /// @return its position.
    POSITION m_F_n_InsertBefore(POSITION position, void* p);

    /// @return the number of elements.
    __int64 m_F_n_GetCount();

    /// @return the number of elements, as m_F_n_GetCount().
    __int64 m_F_n_GetSize();

    CCriticalSection vm_csList;  ///< the lock of every operation; a thread may enter it again
};
