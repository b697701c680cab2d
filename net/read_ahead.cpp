#include "net/read_ahead.h"

#include <algorithm>
#include <cstring>

namespace ostrel::net
{

TransferResult ReadAhead::Receive(char* bytes, int capacity)
{
    if (vm_nNext == vm_nHeld)
    {
        const TransferResult result =
            vm_connection.Receive(vm_szHeld, static_cast<int>(sizeof(vm_szHeld)));
        if (result.wouldBlock || result.count <= 0)
        {
            return result;
        }
        vm_nNext = 0;
        vm_nHeld = result.count;
    }
    const int count = std::min(capacity, vm_nHeld - vm_nNext);
    std::memcpy(bytes, vm_szHeld + vm_nNext, static_cast<std::size_t>(count));
    vm_nNext += count;
    return {count, false};
}

}  // namespace ostrel::net
