#include <windows.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>

#include "CSFunc.h"

void CSFunc::s_S_Debug(const char* pFormat, ...)
{
    constexpr size_t kLineSize = 1024;
    const std::unique_ptr<char[]> line(new (std::nothrow) char[kLineSize]);
    if (pFormat == nullptr || line == nullptr)
    {
        return;
    }
    va_list arguments;
    va_start(arguments, pFormat);
    // One byte is kept back for the line end.
    const int length = std::vsnprintf(line.get(), kLineSize - 1, pFormat, arguments);
    va_end(arguments);
    if (length < 0)
    {
        return;
    }
    std::strcat(line.get(), "\n");
    OutputDebugStringA(line.get());
}
