#include "support/output_capture.h"

#include <windows.h>

#include <mutex>

namespace ostrel::test
{

namespace
{

// The platform raises this exception for every text, so that a debugger may take it.
constexpr DWORD kTextException = 0x40010006;

std::mutex g_lock;
std::vector<std::string> g_texts;

LONG CALLBACK TakeText(EXCEPTION_POINTERS* pointers)
{
    const EXCEPTION_RECORD& record = *pointers->ExceptionRecord;
    if (record.ExceptionCode != kTextException || record.NumberParameters < 2)
    {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    const std::lock_guard<std::mutex> guard(g_lock);
    g_texts.emplace_back(reinterpret_cast<const char*>(record.ExceptionInformation[1]));
    return EXCEPTION_CONTINUE_EXECUTION;
}

}  // namespace

OutputCapture::OutputCapture() : vm_pHandler(nullptr)
{
    const std::lock_guard<std::mutex> guard(g_lock);
    g_texts.clear();
    vm_pHandler = AddVectoredExceptionHandler(1, TakeText);
}

OutputCapture::~OutputCapture()
{
    RemoveVectoredExceptionHandler(vm_pHandler);
}

std::vector<std::string> OutputCapture::Texts() const
{
    const std::lock_guard<std::mutex> guard(g_lock);
    return g_texts;
}

}  // namespace ostrel::test
