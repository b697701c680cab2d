#include "CShareMem.h"

#include <algorithm>
#include <cstring>

namespace
{

// Bytes from the view's start that can be written to.
size_t RoomOf(const void* view)
{
    MEMORY_BASIC_INFORMATION region = {};
    if (VirtualQuery(view, &region, sizeof(region)) == 0 || region.State != MEM_COMMIT)
    {
        return 0;
    }
    return region.RegionSize;
}

// The size is what was asked for; the block may have been made by someone else, and be shorter.
void FillWithZeros(void* view, int size)
{
    if (size > 0)
    {
        std::memset(view, 0, std::min(static_cast<size_t>(size), RoomOf(view)));
    }
}

}  // namespace

CShareMem::CShareMem() : vm_pView(nullptr), vm_nSize(0), vm_hMapping(nullptr) {}

CShareMem::~CShareMem()
{
    m_S_CloseSM();
}

int CShareMem::m_F_n_OpenShareMem(CStringW sName, int nSize, bool bCreate)
{
    m_S_CloseSM();
    vm_hMapping = OpenFileMappingW(FILE_MAP_ALL_ACCESS, FALSE, sName);
    const bool isMade = vm_hMapping == nullptr && bCreate;
    if (isMade)
    {
        vm_hMapping = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                                         static_cast<DWORD>(nSize), sName);
    }
    if (vm_hMapping == nullptr)
    {
        return 0;
    }
    vm_pView = MapViewOfFile(vm_hMapping, FILE_MAP_READ | FILE_MAP_WRITE, 0, 0, 0);
    if (vm_pView == nullptr)
    {
        // Closes nothing without a view: the mapping's handle stays, on purpose.
        m_S_CloseSM();
        return 0;
    }
    vm_sName = sName;
    vm_nSize = nSize;
    if (isMade)
    {
        // Also when another process has made the block just now.
        FillWithZeros(vm_pView, vm_nSize);
    }
    return 1;
}

int CShareMem::m_S_CloseSM()
{
    if (m_F_n_IsOpen() == 0)
    {
        return 0;
    }
    UnmapViewOfFile(vm_pView);
    CloseHandle(vm_hMapping);
    vm_hMapping = nullptr;
    vm_sName.Empty();
    vm_pView = nullptr;
    return 1;
}

int CShareMem::m_F_n_IsOpen()
{
    return vm_hMapping != nullptr && vm_pView != nullptr ? 1 : 0;
}

void CShareMem::m_S_ZeroMem()
{
    if (m_F_n_IsOpen() != 0)
    {
        FillWithZeros(vm_pView, vm_nSize);
    }
}

int CShareMem::m_F_n_GetMemSize()
{
    return vm_nSize;
}
