/// @file
/// Watches the calls that the ciphers make to the platform, and has them fail.
#pragma once

#include <winsock2.h>

#include <windows.h>

#include <wincrypt.h>

#include <set>
#include <string>
#include <vector>

namespace ostrel::test
{

/// While it lives, what the DLL calls of CryptoAPI is recorded and then done by the platform. One
/// at a time.
class PlatformCalls
{
public:
    PlatformCalls();
    ~PlatformCalls();
    PlatformCalls(const PlatformCalls&) = delete;
    PlatformCalls& operator=(const PlatformCalls&) = delete;

    /// Has the call of this name fail, the @p which'th from now on (counting from 1).
    void Fail(const std::string& name, int which = 1);

    /// Has every CryptAcquireContextW fail.
    void RefuseContexts() { vm_bRefusesContexts = true; }

    /// Has GetVersionExW tell of this version.
    void SetMajorVersion(DWORD major) { vm_nMajorVersion = major; }

    /// Has CryptEncrypt and CryptDecrypt report this length and do nothing.
    void ReportLength(DWORD length) { vm_nReportedLength = length; }

    /// The names of the calls so far, without those of GetVersionExW.
    std::vector<std::string> Names() const;

    /// The calls of one name, with their arguments.
    std::vector<std::string> CallsOf(const std::string& name) const;

    void Forget() { vm_calls.clear(); }

    /// How many contexts, hashes and keys there are that have not been released.
    std::size_t CountOpen() const { return vm_open.size(); }

    struct Hooks;

private:
    struct Call
    {
        std::string name;
        std::string arguments;
    };
    struct Patches;

    /// @return whether the call is to be made.
    bool Record(const std::string& name, const std::string& arguments);
    void Opened(ULONG_PTR handle);
    void Closed(ULONG_PTR handle);

    std::vector<Call> vm_calls;
    std::multiset<ULONG_PTR> vm_open;
    std::string vm_sFailing;
    int vm_nUntilFailure = 0;
    bool vm_bRefusesContexts = false;
    DWORD vm_nMajorVersion = 0;
    DWORD vm_nReportedLength = kAsItIs;
    Patches* vm_pPatches;

    static constexpr DWORD kAsItIs = 0xFFFFFFFF;
};

}  // namespace ostrel::test
