/// @file
/// The post queue in its list, under its lock.
#pragma once

#include <afxmt.h>
#include <afxwin.h>

#include "net/post_worker.h"

namespace ostrel::net
{

/// Holds the lock for no longer than a look at the list takes.
class LockedPostQueue final : public PostQueue
{
public:
    LockedPostQueue(CPtrList& list, CCriticalSection& lock) : vm_list(list), vm_lock(lock) {}

    bool IsEmpty() override;
    PostBlock Front() override;
    void RemoveFront() override;

    /// Takes the item over.
    /// @return false when there is no memory to append it; it is freed then.
    bool Append(unsigned char* item);

    /// Removes and frees all blocks.
    void Clear();

private:
    void* TakeFront();

    CPtrList& vm_list;
    CCriticalSection& vm_lock;
};

}  // namespace ostrel::net
