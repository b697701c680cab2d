/// @file
/// Handles of the platform that close themselves.
#pragma once

#include <winsock2.h>

#include <windows.h>

#include <memory>
#include <type_traits>

namespace ostrel::sysutil
{

struct HandleCloser
{
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using UniqueHandle = std::unique_ptr<std::remove_pointer_t<HANDLE>, HandleCloser>;

/// Takes over a handle of a call that reports its failure by either of the two values.
inline UniqueHandle OwnHandle(HANDLE handle)
{
    return UniqueHandle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

struct LibraryFreer
{
    void operator()(HMODULE library) const { FreeLibrary(library); }
};
using UniqueLibrary = std::unique_ptr<std::remove_pointer_t<HMODULE>, LibraryFreer>;

}  // namespace ostrel::sysutil
