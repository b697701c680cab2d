/// @file
/// What an object of either cipher, CWinAES and CWinRSA, consists of.
#pragma once

#include <afxwin.h>

#include <wincrypt.h>

#include <cstddef>

namespace ostrel
{

/// The fields of a cipher, all zero or null while it has no key and no results.
struct CipherFields
{
    HCRYPTPROV provider;        ///< what the key and the hash belong to
    HCRYPTKEY key;              ///< derived from the pass phrase
    HCRYPTHASH hash;            ///< of the pass phrase; kept as long as the key
    unsigned char* encryption;  ///< result of the last encryption, owned
    int encryptionSize;         ///< its bytes
    unsigned char* decryption;  ///< result of the last decryption, owned
    int decryptionSize;         ///< its bytes
};

static_assert(offsetof(CipherFields, provider) == 0 && offsetof(CipherFields, key) == 8 &&
                  offsetof(CipherFields, hash) == 16 && offsetof(CipherFields, encryption) == 24 &&
                  offsetof(CipherFields, encryptionSize) == 32 &&
                  offsetof(CipherFields, decryption) == 40 &&
                  offsetof(CipherFields, decryptionSize) == 48 && sizeof(CipherFields) == 56,
              "the fields, in this order, and nothing else");

}  // namespace ostrel
