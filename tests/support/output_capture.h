/// @file
/// What the process writes to the debugger output.
#pragma once

#include <string>
#include <vector>

namespace ostrel::test
{

/// Collects, while it lives, every text that any thread of the process hands to
/// `OutputDebugStringA`; nothing of it reaches a debugger. One object at a time.
class OutputCapture
{
public:
    OutputCapture();
    ~OutputCapture();
    OutputCapture(const OutputCapture&) = delete;
    OutputCapture& operator=(const OutputCapture&) = delete;

    /// The texts so far, each as it was written, in their order.
    std::vector<std::string> Texts() const;

private:
    void* vm_pHandler;
};

}  // namespace ostrel::test
