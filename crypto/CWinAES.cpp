#include "CWinAES.h"

#include "crypto/cipher_object.h"

using namespace ostrel::crypto;

namespace
{

constexpr DWORD kFirstVersionWithAes = 6;

const wchar_t* ProviderName()
{
    OSVERSIONINFOW version = {};
    version.dwOSVersionInfoSize = sizeof(version);
    const bool isOld =
        GetVersionExW(&version) != FALSE && version.dwMajorVersion < kFirstVersionWithAes;
    return isOld ? MS_ENH_RSA_AES_PROV_XP_W : MS_ENH_RSA_AES_PROV_W;
}

bool SetParameter(HCRYPTKEY key, DWORD parameter, DWORD value)
{
    return CryptSetKeyParam(key, parameter, reinterpret_cast<const BYTE*>(&value), 0) != FALSE;
}

}  // namespace

CWinAES::CWinAES(const unsigned char* pKey, unsigned int nKeyLen, const unsigned char* pIV)
    : vm_fields{}
{
    if (pKey != nullptr && nKeyLen != 0)
    {
        m_F_b_Init(pKey, nKeyLen, pIV);
    }
}

CWinAES::~CWinAES()
{
    m_S_Uninit();
}

// Shallow, on purpose.
CWinAES& CWinAES::operator=(const CWinAES& other) = default;

bool CWinAES::m_F_b_Init(const unsigned char* pKey, unsigned int nKeyLen, const unsigned char* pIV)
{
    const ResultsHeld results(vm_fields);
    m_S_Uninit();
    const KeyRecipe recipe = {ProviderName(), PROV_RSA_AES, CALG_SHA1, CALG_AES_128};
    // The feedback's width stays at the provider's default, which data encrypted elsewhere has.
    return DeriveKey(vm_fields, recipe, pKey, nKeyLen) &&
           CryptSetKeyParam(vm_fields.key, KP_IV, pIV, 0) != FALSE &&
           SetParameter(vm_fields.key, KP_PADDING, PKCS5_PADDING) &&
           SetParameter(vm_fields.key, KP_MODE, CRYPT_MODE_CFB);
}

void CWinAES::m_S_Uninit()
{
    ReleaseCipher(vm_fields);
}

int CWinAES::m_F_n_Encrypt(const unsigned char* pData, unsigned int nLen)
{
    return ReplaceResult(vm_fields.encryption, vm_fields.encryptionSize, LayOutAesEncryption(nLen),
                         pData, nLen, Encryption(vm_fields.key, kAesCapacity));
}

int CWinAES::m_F_n_Decrypt(const unsigned char* pData, unsigned int nLen)
{
    // A provider may look for the padding in the byte before the end, so it is never asked to
    // decrypt nothing.
    const PieceCipher nothing = [](unsigned char*, std::uint32_t, bool) { return 0U; };
    return ReplaceResult(vm_fields.decryption, vm_fields.decryptionSize, LayOutAesDecryption(nLen),
                         pData, nLen, nLen == 0 ? nothing : Decryption(vm_fields.key));
}

unsigned char* CWinAES::m_F_p_GetEncBuf()
{
    return vm_fields.encryption;
}

unsigned char* CWinAES::m_F_p_GetDecBuf()
{
    return vm_fields.decryption;
}

int CWinAES::m_F_n_GetEncBufSize()
{
    return vm_fields.encryptionSize;
}

int CWinAES::m_F_n_GetDecBufSize()
{
    return vm_fields.decryptionSize;
}
