#include "CPtrListCS.h"

#include <type_traits>

namespace
{

constexpr INT_PTR kBlockSize = 10;

// Nothing releases the lock when an exception passes, on purpose: it stays entered then.
template <typename Operation>
auto UnderLock(CCriticalSection& section, Operation operation)
{
    section.Lock();
    if constexpr (std::is_void_v<decltype(operation())>)
    {
        operation();
        section.Unlock();
    }
    else
    {
        auto result = operation();
        section.Unlock();
        return result;
    }
}

}  // namespace

CPtrListCS::CPtrListCS() : CPtrList(kBlockSize) {}

CPtrListCS::~CPtrListCS() = default;

void* CPtrListCS::m_F_p_GetHead()
{
    return UnderLock(vm_csList, [&] { return IsEmpty() ? nullptr : GetHead(); });
}

void* CPtrListCS::m_F_p_GetTail()
{
    return UnderLock(vm_csList, [&] { return IsEmpty() ? nullptr : GetTail(); });
}

POSITION CPtrListCS::m_F_n_AddHead(void* p)
{
    return UnderLock(vm_csList, [&] { return AddHead(p); });
}

POSITION CPtrListCS::m_F_n_AddTail(void* p)
{
    return UnderLock(vm_csList, [&] { return AddTail(p); });
}

void CPtrListCS::m_S_RemoveAll()
{
    UnderLock(vm_csList, [&] { RemoveAll(); });
}

void* CPtrListCS::m_F_p_RemoveHead()
{
    return UnderLock(vm_csList, [&] { return IsEmpty() ? nullptr : RemoveHead(); });
}

void* CPtrListCS::m_F_p_RemoveTail()
{
    return UnderLock(vm_csList, [&] { return IsEmpty() ? nullptr : RemoveTail(); });
}

POSITION CPtrListCS::m_F_n_GetHeadPosition()
{
    return UnderLock(vm_csList, [&] { return GetHeadPosition(); });
}

POSITION CPtrListCS::m_F_n_GetTailPosition()
{
    return UnderLock(vm_csList, [&] { return GetTailPosition(); });
}

void* CPtrListCS::m_F_p_GetNext(POSITION& position)
{
    return UnderLock(vm_csList, [&] { return GetNext(position); });
}

void* CPtrListCS::m_F_p_GetPrev(POSITION& position)
{
    return UnderLock(vm_csList, [&] { return GetPrev(position); });
}

void* CPtrListCS::m_F_p_GetAt(POSITION position)
{
    return UnderLock(vm_csList, [&] { return GetAt(position); });
}

void CPtrListCS::m_S_SetAt(POSITION position, void* p)
{
    UnderLock(vm_csList, [&] { SetAt(position, p); });
}

void CPtrListCS::m_S_RemoveAt(POSITION position)
{
    UnderLock(vm_csList, [&] { RemoveAt(position); });
}

POSITION CPtrListCS::m_F_n_InsertAfter(POSITION position, void* p)
{
    return UnderLock(vm_csList, [&] { return InsertAfter(position, p); });
}

POSITION CPtrListCS::m_F_n_InsertBefore(POSITION position, void* p)
{
    return UnderLock(vm_csList, [&] { return InsertBefore(position, p); });
}

__int64 CPtrListCS::m_F_n_GetCount()
{
    return UnderLock(vm_csList, [&]() -> __int64 { return GetCount(); });
}

__int64 CPtrListCS::m_F_n_GetSize()
{
    return m_F_n_GetCount();
}
