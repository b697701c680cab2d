/// @file
/// Both ciphers in one form, for what they have in common.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "CWinAES.h"
#include "CWinRSA.h"

namespace ostrel::test
{

using Bytes = std::vector<unsigned char>;

constexpr unsigned char kIv[16] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                                   0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};
const std::string kPassPhrase = "a pass phrase";

inline const unsigned char* BytesOf(const std::string& text)
{
    return reinterpret_cast<const unsigned char*>(text.data());
}

/// Bytes of every value; their order is another for another seed.
inline Bytes Sample(std::size_t length, unsigned int seed = 1)
{
    Bytes bytes(length);
    std::generate(bytes.begin(), bytes.end(),
                  [state = seed * 2654435761U]() mutable
                  {
                      state = state * 1664525U + 1013904223U;
                      return static_cast<unsigned char>(state >> 24);
                  });
    return bytes;
}

/// Acquires and releases a context of the user's own key set.
inline void AcquireAndRelease(const wchar_t* provider, DWORD type)
{
    HCRYPTPROV context = 0;
    CryptAcquireContextW(&context, nullptr, provider, type, 0);
    CryptReleaseContext(context, 0);
}

class Aes : public CWinAES
{
public:
    Aes() = default;
    explicit Aes(const std::string& passPhrase)
        : CWinAES(BytesOf(passPhrase), static_cast<unsigned int>(passPhrase.size()), kIv)
    {
    }
    Aes(const unsigned char* passPhrase, int length)
        : CWinAES(passPhrase, static_cast<unsigned int>(length), kIv)
    {
    }
    bool Init(const unsigned char* passPhrase, int length)
    {
        return m_F_b_Init(passPhrase, static_cast<unsigned int>(length), kIv);
    }
    bool Init(const std::string& passPhrase)
    {
        return Init(BytesOf(passPhrase), static_cast<int>(passPhrase.size()));
    }

    static void UseBareContext()
    {
        AcquireAndRelease(L"Microsoft Enhanced RSA and AES Cryptographic Provider", 24);
    }

    // What a derived key needs, in the order of the calls.
    static std::vector<std::string> SetUp()
    {
        return {"CryptAcquireContextW", "CryptCreateHash",  "CryptHashData",   "CryptDeriveKey",
                "CryptSetKeyParam",     "CryptSetKeyParam", "CryptSetKeyParam"};
    }
    static constexpr int kEncryptedSizeOf5 = 16;
};

class Rsa : public CWinRSA
{
public:
    Rsa() = default;
    explicit Rsa(const std::string& passPhrase)
        : CWinRSA(BytesOf(passPhrase), static_cast<int>(passPhrase.size()))
    {
    }
    Rsa(const unsigned char* passPhrase, int length) : CWinRSA(passPhrase, length) {}
    bool Init(const unsigned char* passPhrase, int length)
    {
        return m_F_b_Init(passPhrase, length);
    }
    static void UseBareContext()
    {
        AcquireAndRelease(L"Microsoft Enhanced Cryptographic Provider v1.0", 1);
    }
    bool Init(const std::string& passPhrase)
    {
        return Init(BytesOf(passPhrase), static_cast<int>(passPhrase.size()));
    }

    static std::vector<std::string> SetUp()
    {
        return {"CryptAcquireContextW", "CryptCreateHash", "CryptHashData", "CryptDeriveKey"};
    }
    static constexpr int kEncryptedSizeOf5 = 5;
};

template <class Cipher>
Bytes Encrypted(Cipher& cipher)
{
    const unsigned char* const bytes = cipher.m_F_p_GetEncBuf();
    return Bytes(bytes, bytes + cipher.m_F_n_GetEncBufSize());
}

template <class Cipher>
Bytes Decrypted(Cipher& cipher)
{
    const unsigned char* const bytes = cipher.m_F_p_GetDecBuf();
    return Bytes(bytes, bytes + cipher.m_F_n_GetDecBufSize());
}

template <class Cipher>
Bytes Encrypt(Cipher& cipher, const Bytes& data)
{
    cipher.m_F_n_Encrypt(data.data(), static_cast<unsigned int>(data.size()));
    return Encrypted(cipher);
}

template <class Cipher>
Bytes Decrypt(Cipher& cipher, const Bytes& data)
{
    cipher.m_F_n_Decrypt(data.data(), static_cast<unsigned int>(data.size()));
    return Decrypted(cipher);
}

}  // namespace ostrel::test
