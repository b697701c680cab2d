#include "net/post_queue.h"

namespace ostrel::net
{

bool LockedPostQueue::IsEmpty()
{
    const CSingleLock guard(&vm_lock, TRUE);
    return vm_list.IsEmpty() != FALSE;
}

PostBlock LockedPostQueue::Front()
{
    const CSingleLock guard(&vm_lock, TRUE);
    return BlockOf(vm_list.GetHead());
}

void LockedPostQueue::RemoveFront()
{
    DeletePostItem(TakeFront());
}

bool LockedPostQueue::Append(unsigned char* item)
{
    try
    {
        const CSingleLock guard(&vm_lock, TRUE);
        vm_list.AddTail(item);
        return true;
    }
    catch (CMemoryException* exception)
    {
        exception->Delete();
        DeletePostItem(item);
        return false;
    }
}

void LockedPostQueue::Clear()
{
    while (!IsEmpty())
    {
        RemoveFront();
    }
}

void* LockedPostQueue::TakeFront()
{
    const CSingleLock guard(&vm_lock, TRUE);
    return vm_list.RemoveHead();
}

}  // namespace ostrel::net
