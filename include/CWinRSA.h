/// @file
/// The second cipher, which is RC4 and not RSA: byte buffers under a pass phrase, for data that is
/// encrypted this way already.
#pragma once

#include "CipherFields.h"
#include "LibOstrelExport.h"

/// Encrypts and decrypts byte buffers of any length with RC4 through the platform's CryptoAPI.
/// The name notwithstanding there is no public-key operation in it.
///
/// The 128-bit key is the MD5 hash of a pass phrase. A result is as long as its message, and
/// encrypting and decrypting are the same transformation. docs/ciphers.md tells how other programs
/// do the same.
///
/// **Not for secrets.** The class is here for data that exists. RC4 is broken; and the key stream
/// is the same for every message under one pass phrase, so that whoever knows or guesses one
/// message can read any other up to its length. Nothing tells whether a ciphertext was altered.
///
/// **Use.** As CWinAES: construct it with a pass phrase, or construct it empty and call
/// m_F_b_Init(); then encrypt and decrypt as often as is wanted, reading each result before the
/// next call of the same kind. Every call is a whole message of its own; none continues the one
/// before.
///
/// **Failures are silent.** What the provider answers to a message is not checked, on purpose: an
/// object without a key leaves the message in the result buffer as it was given. **So the
/// encryption buffer then holds the plaintext**, and its size does not tell; look at m_F_b_Init()'s
/// result.
///
/// **Memory.** Results are overwritten with zeros before they are freed. Data and pass phrase of a
/// call may lie inside the object's own results.
///
/// **Threads.** One object is for one thread at a time. **Key sets.** The first use by a user makes
/// his default key set; when two processes do so in the same moment, one of them may fail.
///
/// Nothing throws.
class OSTREL_API CWinRSA
{
public:
    /// Has neither key nor results at first; then, if @p pKey is not null and @p nKeyLen at least
    /// 1, calls m_F_b_Init(), whose result is not kept.
    /// @param pKey, nKeyLen the pass phrase, any bytes, and its length in bytes.
    explicit CWinRSA(const unsigned char* pKey = nullptr, int nKeyLen = 0);

    /// Shallow, on purpose; see operator=().
    CWinRSA(const CWinRSA& other) = default;

    /// Releases everything, as m_S_Uninit() does.
    ~CWinRSA();

    /// Copies all fields as they stand and duplicates nothing, on purpose: both objects then share
    /// handles and results, and the caller sees to it that only one of them releases them, for
    /// instance by assigning an empty object to the other. What was held before is not released.
    CWinRSA& operator=(const CWinRSA& other);

    /// Derives the key, after releasing everything as m_S_Uninit() does. The provider is
    /// "Microsoft Enhanced Cryptographic Provider v1.0".
    /// @param pKey the pass phrase; the object keeps no copy. Null counts as empty, but with a
    /// length other than 0 it is refused.
    /// @param nKeyLen its length in bytes. 0 derives the key from the hash of nothing; a negative
    /// one is refused.
    /// @return whether the key is ready. After a failure the object has none; what had been
    /// acquired by then is released by the next m_F_b_Init(), m_S_Uninit() or the destructor.
    bool m_F_b_Init(const unsigned char* pKey, int nKeyLen);

    /// Frees both results and releases hash, key and provider. Harmless when repeated.
    void m_S_Uninit();

    /// Encrypts a message into the encryption buffer; the previous one is freed. The buffer is
    /// followed by zeros: it has 1008 bytes for a message of up to 1000, and 1008 more than the
    /// message for a longer one.
    /// @param pData the message, which is not changed. It may lie in the object's own results.
    /// @param nLen its length in bytes.
    /// @return m_F_n_GetEncBufSize(), which is @p nLen, also without a key, the buffer then holding
    /// the message as it is. 0, without a buffer, for a negative length, when @p pData is null
    /// although there should be bytes, or there is no memory.
    int m_F_n_Encrypt(const unsigned char* pData, int nLen);

    /// Decrypts a message into the decryption buffer; the previous one is freed. A zero byte
    /// follows the result, so that decrypted text can be read as terminated text.
    /// @param pData the encrypted message, which is not changed. It may lie in the object's own
    /// results.
    /// @param nLen its length in bytes.
    /// @return m_F_n_GetDecBufSize(), which is @p nLen, also without a key, the buffer then holding
    /// the bytes as given. 0, without a buffer, for a negative length, when @p pData is null
    /// although there should be bytes, or there is no memory.
    int m_F_n_Decrypt(const unsigned char* pData, int nLen);

    /// @return the result of the last m_F_n_Encrypt(), null before the first. The object owns it:
    /// it is invalid after the next m_F_n_Encrypt(), m_F_b_Init(), m_S_Uninit() or destruction.
    unsigned char* m_F_p_GetEncBuf();

    /// @return the result of the last m_F_n_Decrypt(), null before the first. The object owns it:
    /// it is invalid after the next m_F_n_Decrypt(), m_F_b_Init(), m_S_Uninit() or destruction.
    unsigned char* m_F_p_GetDecBuf();

    /// @return what the last m_F_n_Encrypt() returned.
    int m_F_n_GetEncBufSize();

    /// @return what the last m_F_n_Decrypt() returned.
    int m_F_n_GetDecBufSize();

private:
    ostrel::CipherFields vm_fields;
};

static_assert(sizeof(CWinRSA) == sizeof(ostrel::CipherFields), "the fields and nothing else");
