/// @file
/// What the two ciphers have in common: a key derived from a pass phrase, and results in memory
/// that is cleared before it is freed.
#pragma once

#include <memory>

#include "CipherFields.h"
#include "crypto/cipher_message.h"

namespace ostrel::crypto
{

/// Clears and frees what `calloc` allocated.
struct ClearAndFree
{
    void operator()(unsigned char* bytes) const;
};

using ResultBlock = std::unique_ptr<unsigned char[], ClearAndFree>;

/// Takes the results out of a cipher and frees them at the end of its own life: whatever the caller
/// passed that lies inside them can be read until then.
class ResultsHeld
{
public:
    explicit ResultsHeld(CipherFields& fields);

private:
    ResultBlock vm_pEncryption;
    ResultBlock vm_pDecryption;
};

/// Which key is derived, and by which provider.
struct KeyRecipe
{
    const wchar_t* provider;
    DWORD providerType;
    ALG_ID hash;
    ALG_ID cipher;  ///< its key has 128 bits
};

/// Derives the key. What was acquired stays in the fields also when a later step fails.
/// @param passPhrase null for an empty one only.
bool DeriveKey(CipherFields& fields, const KeyRecipe& recipe, const unsigned char* passPhrase,
               DWORD length);

/// Frees the results and releases every handle that is set; all fields are zero afterwards.
void ReleaseCipher(CipherFields& fields);

/// Replaces a result by that of another message.
/// @param result, resultSize the result's fields. The result is null and its size 0 when there are
/// no @p data although there should be, or no memory.
/// @return the size.
int ReplaceResult(unsigned char*& result, int& resultSize, const MessageLayout& layout,
                  const unsigned char* data, DWORD length, const PieceCipher& cipher);

/// `CryptEncrypt` with that key, with the capacity given. Its outcome is not looked at.
PieceCipher Encryption(HCRYPTKEY key, DWORD capacity);

/// `CryptDecrypt` with that key. Its outcome is not looked at.
PieceCipher Decryption(HCRYPTKEY key);

}  // namespace ostrel::crypto
