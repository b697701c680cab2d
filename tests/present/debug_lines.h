/// @file
/// What this process writes to the debugger output.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace ostrel::test
{

/// Gathers the lines that are written while it lives. One at a time, and for one thread.
class DebugLines
{
public:
    DebugLines()
    {
        Lines().clear();
        m_handler = AddVectoredExceptionHandler(1, &Gather);
    }
    ~DebugLines() { RemoveVectoredExceptionHandler(m_handler); }
    DebugLines(const DebugLines&) = delete;
    DebugLines& operator=(const DebugLines&) = delete;

    const std::vector<std::string>& Get() const { return Lines(); }

private:
    static std::vector<std::string>& Lines()
    {
        static std::vector<std::string> lines;
        return lines;
    }

    static LONG CALLBACK Gather(EXCEPTION_POINTERS* exception)
    {
        constexpr DWORD kPrint = 0x40010006;
        const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
        if (record.ExceptionCode != kPrint || record.NumberParameters < 2)
        {
            return EXCEPTION_CONTINUE_SEARCH;
        }
        // The length counts the terminator.
        Lines().emplace_back(reinterpret_cast<const char*>(record.ExceptionInformation[1]),
                             record.ExceptionInformation[0] - 1);
        return EXCEPTION_CONTINUE_EXECUTION;
    }

    void* m_handler;
};

}  // namespace ostrel::test
