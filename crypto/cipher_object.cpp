#include "crypto/cipher_object.h"

#include <malloc.h>

#include <cstdlib>
#include <utility>

namespace ostrel::crypto
{

namespace
{

constexpr DWORD kKey128Bits = 128U << 16;

bool AcquireContext(HCRYPTPROV& context, const KeyRecipe& recipe)
{
    HCRYPTPROV acquired = 0;
    const auto acquire = [&](DWORD flags)
    {
        return CryptAcquireContextW(&acquired, nullptr, recipe.provider, recipe.providerType,
                                    flags) != FALSE;
    };
    // A user who has never used this provider has no key set yet.
    if (!acquire(0) && !acquire(CRYPT_NEWKEYSET))
    {
        return false;
    }
    context = acquired;
    return true;
}

bool CreateHash(HCRYPTHASH& hash, HCRYPTPROV provider, ALG_ID algorithm)
{
    HCRYPTHASH created = 0;
    if (CryptCreateHash(provider, algorithm, 0, 0, &created) == FALSE)
    {
        return false;
    }
    hash = created;
    return true;
}

bool DeriveFromHash(HCRYPTKEY& key, HCRYPTPROV provider, ALG_ID cipher, HCRYPTHASH hash)
{
    HCRYPTKEY derived = 0;
    if (CryptDeriveKey(provider, cipher, hash, kKey128Bits, &derived) == FALSE)
    {
        return false;
    }
    key = derived;
    return true;
}

}  // namespace

void ClearAndFree::operator()(unsigned char* bytes) const
{
    SecureZeroMemory(bytes, _msize(bytes));
    std::free(bytes);
}

ResultsHeld::ResultsHeld(CipherFields& fields)
    : vm_pEncryption(std::exchange(fields.encryption, nullptr)),
      vm_pDecryption(std::exchange(fields.decryption, nullptr))
{
}

bool DeriveKey(CipherFields& fields, const KeyRecipe& recipe, const unsigned char* passPhrase,
               DWORD length)
{
    constexpr unsigned char kNothing = 0;
    if (passPhrase == nullptr && length > 0)
    {
        return false;
    }
    return AcquireContext(fields.provider, recipe) &&
           CreateHash(fields.hash, fields.provider, recipe.hash) &&
           CryptHashData(fields.hash, passPhrase != nullptr ? passPhrase : &kNothing, length, 0) !=
               FALSE &&
           DeriveFromHash(fields.key, fields.provider, recipe.cipher, fields.hash);
}

void ReleaseCipher(CipherFields& fields)
{
    ResultBlock(fields.encryption).reset();
    ResultBlock(fields.decryption).reset();
    if (fields.hash != 0)
    {
        CryptDestroyHash(fields.hash);
    }
    if (fields.key != 0)
    {
        CryptDestroyKey(fields.key);
    }
    if (fields.provider != 0)
    {
        CryptReleaseContext(fields.provider, 0);
    }
    fields = {};
}

int ReplaceResult(unsigned char*& result, int& resultSize, const MessageLayout& layout,
                  const unsigned char* data, DWORD length, const PieceCipher& cipher)
{
    ResultBlock block;
    std::size_t size = 0;
    if (data != nullptr || length == 0)
    {
        block.reset(static_cast<unsigned char*>(std::calloc(layout.blockSize, 1)));
    }
    if (block)
    {
        size = ProcessMessage(layout, data, length, block.get(), cipher);
    }
    // Not before: the data may lie in the result that is replaced.
    ResultBlock(result).reset();
    result = block.release();
    resultSize = static_cast<int>(size);
    return resultSize;
}

PieceCipher Encryption(HCRYPTKEY key, DWORD capacity)
{
    return [=](unsigned char* bytes, DWORD length, bool isFinal)
    {
        CryptEncrypt(key, 0, isFinal, 0, bytes, &length, capacity);
        return length;
    };
}

PieceCipher Decryption(HCRYPTKEY key)
{
    return [=](unsigned char* bytes, DWORD length, bool isFinal)
    {
        CryptDecrypt(key, 0, isFinal, 0, bytes, &length);
        return length;
    };
}

}  // namespace ostrel::crypto
