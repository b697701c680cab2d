#include "CWinRSA.h"

#include "crypto/cipher_object.h"

using namespace ostrel::crypto;

namespace
{

constexpr KeyRecipe kRecipe = {MS_ENHANCED_PROV_W, PROV_RSA_FULL, CALG_MD5, CALG_RC4};

// A message that cannot be is refused as one whose bytes are missing is.
const unsigned char* UnlessNegative(const unsigned char* data, int length)
{
    return length < 0 ? nullptr : data;
}

}  // namespace

CWinRSA::CWinRSA(const unsigned char* pKey, int nKeyLen) : vm_fields{}
{
    if (pKey != nullptr && nKeyLen >= 1)
    {
        m_F_b_Init(pKey, nKeyLen);
    }
}

CWinRSA::~CWinRSA()
{
    m_S_Uninit();
}

// Shallow, on purpose.
CWinRSA& CWinRSA::operator=(const CWinRSA& other) = default;

bool CWinRSA::m_F_b_Init(const unsigned char* pKey, int nKeyLen)
{
    const ResultsHeld results(vm_fields);
    m_S_Uninit();
    return DeriveKey(vm_fields, kRecipe, UnlessNegative(pKey, nKeyLen),
                     static_cast<DWORD>(nKeyLen));
}

void CWinRSA::m_S_Uninit()
{
    ReleaseCipher(vm_fields);
}

int CWinRSA::m_F_n_Encrypt(const unsigned char* pData, int nLen)
{
    const auto length = static_cast<DWORD>(nLen);
    const MessageLayout layout = LayOutRc4Encryption(length);
    return ReplaceResult(vm_fields.encryption, vm_fields.encryptionSize, layout,
                         UnlessNegative(pData, nLen), length,
                         Encryption(vm_fields.key, layout.capacity));
}

int CWinRSA::m_F_n_Decrypt(const unsigned char* pData, int nLen)
{
    const auto length = static_cast<DWORD>(nLen);
    const MessageLayout layout = LayOutRc4Decryption(length);
    const int size = ReplaceResult(vm_fields.decryption, vm_fields.decryptionSize, layout,
                                   UnlessNegative(pData, nLen), length, Decryption(vm_fields.key));
    // The size is what the provider reported.
    if (vm_fields.decryption != nullptr && static_cast<std::size_t>(size) < layout.blockSize)
    {
        vm_fields.decryption[size] = 0;
    }
    return size;
}

unsigned char* CWinRSA::m_F_p_GetEncBuf()
{
    return vm_fields.encryption;
}

unsigned char* CWinRSA::m_F_p_GetDecBuf()
{
    return vm_fields.decryption;
}

int CWinRSA::m_F_n_GetEncBufSize()
{
    return vm_fields.encryptionSize;
}

int CWinRSA::m_F_n_GetDecBufSize()
{
    return vm_fields.decryptionSize;
}
