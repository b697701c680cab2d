#include "crypto/platform_calls.h"

#include <gtest/gtest.h>

#include <cstdio>

#include "support/import_patch.h"

namespace ostrel::test
{

namespace
{

PlatformCalls* current = nullptr;

std::string Text(const wchar_t* text)
{
    return text == nullptr ? "null" : std::string(text, text + wcslen(text));
}

std::string Hex(const BYTE* bytes, DWORD length)
{
    std::string text;
    for (DWORD i = 0; i < length; ++i)
    {
        char digits[3];
        std::snprintf(digits, sizeof(digits), "%02x", bytes[i]);
        text += digits;
    }
    return text;
}

std::string Number(ULONG_PTR value)
{
    return std::to_string(value);
}

}  // namespace

struct PlatformCalls::Hooks
{
    static BOOL WINAPI GetVersionExW(OSVERSIONINFOW* version)
    {
        current->Record("GetVersionExW", "");
        const BOOL result = ::GetVersionExW(version);
        if (current->vm_nMajorVersion != 0)
        {
            version->dwMajorVersion = current->vm_nMajorVersion;
        }
        return result;
    }

    static BOOL WINAPI AcquireContext(HCRYPTPROV* provider, const wchar_t* container,
                                      const wchar_t* name, DWORD type, DWORD flags)
    {
        const bool isWanted =
            current->Record("CryptAcquireContextW", Text(container) + "; " + Text(name) + "; " +
                                                        Number(type) + "; " + Number(flags));
        if (!isWanted || current->vm_bRefusesContexts)
        {
            return FALSE;
        }
        const BOOL result = ::CryptAcquireContextW(provider, container, name, type, flags);
        if (result != FALSE)
        {
            current->Opened(*provider);
        }
        return result;
    }

    static BOOL WINAPI ReleaseContext(HCRYPTPROV provider, DWORD flags)
    {
        current->Record("CryptReleaseContext", Number(flags));
        current->Closed(provider);
        return ::CryptReleaseContext(provider, flags);
    }

    static BOOL WINAPI CreateHash(HCRYPTPROV provider, ALG_ID algorithm, HCRYPTKEY key, DWORD flags,
                                  HCRYPTHASH* hash)
    {
        if (!current->Record("CryptCreateHash",
                             Number(algorithm) + "; " + Number(key) + "; " + Number(flags)))
        {
            return FALSE;
        }
        const BOOL result = ::CryptCreateHash(provider, algorithm, key, flags, hash);
        if (result != FALSE)
        {
            current->Opened(*hash);
        }
        return result;
    }

    static BOOL WINAPI HashData(HCRYPTHASH hash, const BYTE* data, DWORD length, DWORD flags)
    {
        return current->Record("CryptHashData", Hex(data, length) + "; " + Number(flags)) &&
               ::CryptHashData(hash, data, length, flags);
    }

    static BOOL WINAPI DeriveKey(HCRYPTPROV provider, ALG_ID algorithm, HCRYPTHASH hash,
                                 DWORD flags, HCRYPTKEY* key)
    {
        if (!current->Record("CryptDeriveKey", Number(algorithm) + "; " + Number(flags)))
        {
            return FALSE;
        }
        const BOOL result = ::CryptDeriveKey(provider, algorithm, hash, flags, key);
        if (result != FALSE)
        {
            current->Opened(*key);
        }
        return result;
    }

    static BOOL WINAPI SetKeyParam(HCRYPTKEY key, DWORD parameter, const BYTE* data, DWORD flags)
    {
        const DWORD length = parameter == KP_IV ? 16 : sizeof(DWORD);
        return current->Record("CryptSetKeyParam",
                               Number(parameter) + "; " +
                                   (data == nullptr ? "null" : Hex(data, length)) + "; " +
                                   Number(flags)) &&
               ::CryptSetKeyParam(key, parameter, data, flags);
    }

    static BOOL WINAPI Encrypt(HCRYPTKEY key, HCRYPTHASH hash, BOOL isFinal, DWORD flags,
                               BYTE* data, DWORD* length, DWORD capacity)
    {
        const bool isWanted = current->Record(
            "CryptEncrypt", Number(hash) + "; " + Number(static_cast<ULONG_PTR>(isFinal)) + "; " +
                                Number(flags) + "; " + Number(*length) + "; " + Number(capacity));
        if (current->vm_nReportedLength != kAsItIs)
        {
            *length = current->vm_nReportedLength;
            return FALSE;
        }
        return isWanted && ::CryptEncrypt(key, hash, isFinal, flags, data, length, capacity);
    }

    static BOOL WINAPI Decrypt(HCRYPTKEY key, HCRYPTHASH hash, BOOL isFinal, DWORD flags,
                               BYTE* data, DWORD* length)
    {
        const bool isWanted = current->Record(
            "CryptDecrypt", Number(hash) + "; " + Number(static_cast<ULONG_PTR>(isFinal)) + "; " +
                                Number(flags) + "; " + Number(*length));
        if (current->vm_nReportedLength != kAsItIs)
        {
            *length = current->vm_nReportedLength;
            return FALSE;
        }
        return isWanted && ::CryptDecrypt(key, hash, isFinal, flags, data, length);
    }

    static BOOL WINAPI DestroyHash(HCRYPTHASH hash)
    {
        current->Record("CryptDestroyHash", "");
        current->Closed(hash);
        return ::CryptDestroyHash(hash);
    }

    static BOOL WINAPI DestroyKey(HCRYPTKEY key)
    {
        current->Record("CryptDestroyKey", "");
        current->Closed(key);
        return ::CryptDestroyKey(key);
    }
};

struct PlatformCalls::Patches
{
    ImportPatch<decltype(Hooks::GetVersionExW)> version{"GetVersionExW", Hooks::GetVersionExW};
    ImportPatch<decltype(Hooks::AcquireContext)> acquire{"CryptAcquireContextW",
                                                         Hooks::AcquireContext};
    ImportPatch<decltype(Hooks::ReleaseContext)> release{"CryptReleaseContext",
                                                         Hooks::ReleaseContext};
    ImportPatch<decltype(Hooks::CreateHash)> createHash{"CryptCreateHash", Hooks::CreateHash};
    ImportPatch<decltype(Hooks::HashData)> hashData{"CryptHashData", Hooks::HashData};
    ImportPatch<decltype(Hooks::DeriveKey)> deriveKey{"CryptDeriveKey", Hooks::DeriveKey};
    ImportPatch<decltype(Hooks::SetKeyParam)> setKeyParam{"CryptSetKeyParam", Hooks::SetKeyParam};
    ImportPatch<decltype(Hooks::Encrypt)> encrypt{"CryptEncrypt", Hooks::Encrypt};
    ImportPatch<decltype(Hooks::Decrypt)> decrypt{"CryptDecrypt", Hooks::Decrypt};
    ImportPatch<decltype(Hooks::DestroyHash)> destroyHash{"CryptDestroyHash", Hooks::DestroyHash};
    ImportPatch<decltype(Hooks::DestroyKey)> destroyKey{"CryptDestroyKey", Hooks::DestroyKey};
};

PlatformCalls::PlatformCalls() : vm_pPatches(nullptr)
{
    current = this;
    vm_pPatches = new Patches;
}

PlatformCalls::~PlatformCalls()
{
    delete vm_pPatches;
    current = nullptr;
}

void PlatformCalls::Fail(const std::string& name, int which)
{
    vm_sFailing = name;
    vm_nUntilFailure = which;
}

std::vector<std::string> PlatformCalls::Names() const
{
    std::vector<std::string> names;
    for (const Call& call : vm_calls)
    {
        if (call.name != "GetVersionExW")
        {
            names.push_back(call.name);
        }
    }
    return names;
}

std::vector<std::string> PlatformCalls::CallsOf(const std::string& name) const
{
    std::vector<std::string> calls;
    for (const Call& call : vm_calls)
    {
        if (call.name == name)
        {
            calls.push_back(call.arguments);
        }
    }
    return calls;
}

bool PlatformCalls::Record(const std::string& name, const std::string& arguments)
{
    vm_calls.push_back({name, arguments});
    return name != vm_sFailing || --vm_nUntilFailure != 0;
}

void PlatformCalls::Opened(ULONG_PTR handle)
{
    vm_open.insert(handle);
}

void PlatformCalls::Closed(ULONG_PTR handle)
{
    const auto open = vm_open.find(handle);
    ASSERT_NE(open, vm_open.end()) << "a handle is released that is not open";
    vm_open.erase(open);
}

}  // namespace ostrel::test
