// The other process of the tests of files and of shared memory:
//
//   second_process open-to-read PATH         exits with the platform's error code, 0 for none
//   second_process open-to-write PATH        likewise
//   second_process read NAME SIZE OFFSET     exits with the byte of the shared memory
//   second_process write NAME SIZE OFFSET V  writes the byte to the shared memory and exits with 0
//   second_process create NAME SIZE          exits with 0 when it could open or create it
#include <afxwin.h>
#include <shellapi.h>

#include <string>
#include <vector>

#include "CShareMem.h"
#include "core/second_process.h"

namespace
{

using ostrel::test::kSecondProcessFailed;

std::vector<std::wstring> Arguments()
{
    int count = 0;
    wchar_t** const arguments = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::wstring> result(arguments + 1, arguments + count);
    LocalFree(arguments);
    result.resize(6);
    return result;
}

unsigned int TryToOpen(const std::wstring& path, DWORD access)
{
    const HANDLE file = CreateFileW(path.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                    nullptr, OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE)
    {
        return GetLastError();
    }
    CloseHandle(file);
    return 0;
}

}  // namespace

int main()
{
    const std::vector<std::wstring> arguments = Arguments();
    const std::wstring& command = arguments[0];
    if (command == L"open-to-read")
    {
        return static_cast<int>(TryToOpen(arguments[1], GENERIC_READ));
    }
    if (command == L"open-to-write")
    {
        return static_cast<int>(TryToOpen(arguments[1], GENERIC_WRITE));
    }
    CShareMem memory;
    if (memory.m_F_n_OpenShareMem(CStringW(arguments[1].c_str()), std::stoi(arguments[2]),
                                  command == L"create") == 0)
    {
        return static_cast<int>(kSecondProcessFailed);
    }
    auto* const bytes = static_cast<unsigned char*>(memory.vm_pView);
    if (command == L"read")
    {
        return bytes[std::stoi(arguments[3])];
    }
    if (command == L"write")
    {
        bytes[std::stoi(arguments[3])] = static_cast<unsigned char>(std::stoi(arguments[4]));
    }
    return 0;
}
