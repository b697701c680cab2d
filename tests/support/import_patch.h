/// @file
/// Puts a function of the test's own in the place of one that the DLL imports.
#pragma once

#include <winsock2.h>

#include <windows.h>

#include <cstring>
#include <stdexcept>
#include <string>

namespace ostrel::test
{

/// While it lives, the DLL under test calls @p replacement instead of the platform's function of
/// this name; the test program itself does not.
template <class Function>
class ImportPatch
{
public:
    /// @param module the module that imports the function; must be loaded.
    ImportPatch(const char* name, Function* replacement, const wchar_t* module = L"Lib_Ostrel.dll")
        : vm_pSlot(Find(name, module))
    {
        vm_pOriginal = Store(reinterpret_cast<ULONG_PTR>(replacement));
    }
    ~ImportPatch() { Store(vm_pOriginal); }
    ImportPatch(const ImportPatch&) = delete;
    ImportPatch& operator=(const ImportPatch&) = delete;

private:
    static ULONG_PTR* Find(const char* name, const wchar_t* importer)
    {
        BYTE* const base = reinterpret_cast<BYTE*>(GetModuleHandleW(importer));
        const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
        const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
        const IMAGE_DATA_DIRECTORY& imports =
            headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
        for (const auto* module =
                 reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR*>(base + imports.VirtualAddress);
             module->Name != 0; ++module)
        {
            const auto* names =
                reinterpret_cast<const IMAGE_THUNK_DATA*>(base + module->OriginalFirstThunk);
            auto* slots = reinterpret_cast<IMAGE_THUNK_DATA*>(base + module->FirstThunk);
            for (; names->u1.AddressOfData != 0; ++names, ++slots)
            {
                const auto* entry =
                    reinterpret_cast<const IMAGE_IMPORT_BY_NAME*>(base + names->u1.AddressOfData);
                if (!IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal) &&
                    std::strcmp(reinterpret_cast<const char*>(entry->Name), name) == 0)
                {
                    return reinterpret_cast<ULONG_PTR*>(&slots->u1.Function);
                }
            }
        }
        throw std::runtime_error(std::string("the DLL does not import ") + name);
    }

    ULONG_PTR Store(ULONG_PTR value)
    {
        DWORD protection = 0;
        VirtualProtect(vm_pSlot, sizeof(*vm_pSlot), PAGE_READWRITE, &protection);
        const ULONG_PTR before = *vm_pSlot;
        *vm_pSlot = value;
        VirtualProtect(vm_pSlot, sizeof(*vm_pSlot), protection, &protection);
        return before;
    }

    ULONG_PTR* vm_pSlot;
    ULONG_PTR vm_pOriginal = 0;
};

}  // namespace ostrel::test
