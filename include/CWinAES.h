/// @file
/// The AES cipher: byte buffers under a pass phrase, for data that is encrypted this way already.
#pragma once

#include "CipherFields.h"
#include "LibOstrelExport.h"

/// Encrypts and decrypts byte buffers with AES-128 through the platform's CryptoAPI.
///
/// The key is derived (`CryptDeriveKey`) from the SHA-1 hash of a pass phrase. The mode is CFB with
/// the provider's default feedback, which is 8 bits (NIST SP 800-38A 6.3), over the message padded
/// to whole blocks of 16 bytes (PKCS #5). docs/ciphers.md tells how other programs do the same.
///
/// **Not for new secrets.** The class is here for data that exists. A pass phrase is hashed once,
/// without a salt, so guessing it is cheap; nothing tells whether a ciphertext was altered; and all
/// messages of an object start from the same IV, so equal messages, and equal beginnings of
/// messages, have equal ciphertexts.
///
/// **Use.** Construct it empty and call m_F_b_Init(), or construct it with a pass phrase, where a
/// failure cannot be told; then encrypt and decrypt as often as is wanted, reading each result
/// before the next call of the same kind:
///
/// ~~~
/// CWinAES aes;
/// if (aes.m_F_b_Init(pPassPhrase, nPassPhraseLen, pIV))
/// {
///     const int nSize = aes.m_F_n_Encrypt(pData, nLen);
///     if (nSize > (int)nLen && nSize <= 1000)
///         Store(aes.m_F_p_GetEncBuf(), nSize);
/// }
/// ~~~
///
/// Every call is a whole message of its own; none continues the one before. Messages of up to 991
/// bytes can be encrypted.
///
/// **Failures are silent.** What the provider answers to a message is not checked, on purpose: a
/// message that it refuses, be it for its length or because the object has no key, is left in the
/// result buffer as it was given. **So after a refused encryption the buffer holds the plaintext.**
/// Look at m_F_b_Init()'s result and at the size, as above: an encrypted message is always longer
/// than the plain one and never exceeds 1000 bytes.
///
/// **Memory.** Results are overwritten with zeros before they are freed. Data, pass phrase and IV
/// of a call may lie inside the object's own results.
///
/// **Threads.** One object is for one thread at a time. **Key sets.** The first use by a user makes
/// his default key set; when two processes do so in the same moment, one of them may fail.
///
/// Nothing throws.
class OSTREL_API CWinAES
{
public:
    /// Has neither key nor results.
    CWinAES() : CWinAES(nullptr, 0, nullptr) {}

    /// Has neither key nor results at first; then, if @p pKey is not null and @p nKeyLen not 0,
    /// calls m_F_b_Init(), whose result is not kept. **So nothing tells whether the key is ready**,
    /// and an object without one hands out plaintext; construct it empty and call m_F_b_Init() to
    /// know.
    /// @param pKey, nKeyLen the pass phrase, any bytes, and its length in bytes.
    /// @param pIV the initialisation vector: 16 readable bytes, as for m_F_b_Init().
    CWinAES(const unsigned char* pKey, unsigned int nKeyLen, const unsigned char* pIV);

    /// Shallow, on purpose; see operator=().
    CWinAES(const CWinAES& other) = default;

    /// Releases everything, as m_S_Uninit() does.
    ~CWinAES();

    /// Copies all fields as they stand and duplicates nothing, on purpose: both objects then share
    /// handles and results, and the caller sees to it that only one of them releases them, for
    /// instance by assigning an empty object to the other. What was held before is not released.
    CWinAES& operator=(const CWinAES& other);

    /// Derives the key, after releasing everything as m_S_Uninit() does.
    ///
    /// The provider is "Microsoft Enhanced RSA and AES Cryptographic Provider", with
    /// " (Prototype)" behind it where `GetVersionExW` tells of a Windows older than 6.0.
    /// @param pKey the pass phrase; the object keeps no copy. Null counts as empty, but with a
    /// length other than 0 it is refused.
    /// @param nKeyLen its length in bytes. 0 derives the key from the hash of nothing.
    /// @param pIV the initialisation vector: 16 readable bytes. Not checked; what becomes of a null
    /// is left to the provider.
    /// @return whether the key is ready. After a failure the object must not be used: it has no
    /// key, or one that is not set up. What had been acquired by then is released by the next
    /// m_F_b_Init(), m_S_Uninit() or the destructor.
    bool m_F_b_Init(const unsigned char* pKey, unsigned int nKeyLen, const unsigned char* pIV);

    /// Frees both results and releases hash, key and provider. Harmless when repeated.
    void m_S_Uninit();

    /// Encrypts a message into the encryption buffer; the previous one is freed.
    /// @param pData the message, which is not changed. It may lie in the object's own results.
    /// @param nLen its length in bytes.
    /// @return m_F_n_GetEncBufSize(): for up to 991 bytes the next multiple of 16 above @p nLen, so
    /// that no bytes become 16. For a longer message the size that it would have had, the buffer
    /// holding the message as it is, not encrypted, and zeros up to that size. Without a key @p
    /// nLen, the buffer holding the message as it is. (Sizes from 2 GB come out negative.)
    /// 0, without a buffer, when @p pData is null although there should be bytes, or there is no
    /// memory.
    int m_F_n_Encrypt(const unsigned char* pData, unsigned int nLen);

    /// Decrypts a message into the decryption buffer; the previous one is freed.
    /// @param pData the encrypted message, which is not changed. It may lie in the object's own
    /// results.
    /// @param nLen its length in bytes; a whole message is a multiple of 16.
    /// @return m_F_n_GetDecBufSize(): the length of the plain message. Where the padding found is
    /// none, for another pass phrase or IV for instance, @p nLen, with meaningless bytes. Without a
    /// key @p nLen, with the bytes as given. 0 for no bytes. (Sizes from 2 GB come out negative.)
    /// 0, without a buffer, when @p pData is null although there should be bytes, or there is no
    /// memory.
    int m_F_n_Decrypt(const unsigned char* pData, unsigned int nLen);

    /// @return the result of the last m_F_n_Encrypt(), null before the first. The object owns it:
    /// it is invalid after the next m_F_n_Encrypt(), m_F_b_Init(), m_S_Uninit() or destruction.
    unsigned char* m_F_p_GetEncBuf();

    /// @return the result of the last m_F_n_Decrypt(), null before the first. The object owns it:
    /// it is invalid after the next m_F_n_Decrypt(), m_F_b_Init(), m_S_Uninit() or destruction.
    unsigned char* m_F_p_GetDecBuf();

    /// @return what the last m_F_n_Encrypt() returned; so many bytes can be read from its buffer.
    int m_F_n_GetEncBufSize();

    /// @return what the last m_F_n_Decrypt() returned; so many bytes can be read from its buffer.
    int m_F_n_GetDecBufSize();

private:
    ostrel::CipherFields vm_fields;
};

static_assert(sizeof(CWinAES) == sizeof(ostrel::CipherFields), "the fields and nothing else");
