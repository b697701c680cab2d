/// @file
/// What a client may rely on in the two ciphers: their results beside ciphertexts that openssl
/// made, and what they ask of the platform beside the calls that are promised.
#include <gtest/gtest.h>

#include "CWinAES.h"
#include "CWinRSA.h"
#include "support/import_patch.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace
{

using namespace std::string_literals;
using ostrel::test::ImportPatch;
using Bytes = std::vector<unsigned char>;

// ---------------------------------------------------------------------------------------------
// The fields as a client knows them
// ---------------------------------------------------------------------------------------------

struct Fields
{
    HCRYPTPROV provider;
    HCRYPTKEY key;
    HCRYPTHASH hash;
    unsigned char* encryption;
    std::int32_t encryptionSize;
    unsigned char* decryption;
    std::int32_t decryptionSize;
};

static_assert(sizeof(CWinAES) == sizeof(Fields) && sizeof(CWinRSA) == sizeof(Fields));
static_assert(!std::is_polymorphic_v<CWinAES> && !std::is_polymorphic_v<CWinRSA>);

template <class Cipher>
Fields FieldsOf(const Cipher& cipher)
{
    Fields fields;
    std::memcpy(&fields, static_cast<const void*>(&cipher), sizeof(fields));
    return fields;
}

bool SameFields(const Fields& a, const Fields& b)
{
    return a.provider == b.provider && a.key == b.key && a.hash == b.hash &&
           a.encryption == b.encryption && a.encryptionSize == b.encryptionSize &&
           a.decryption == b.decryption && a.decryptionSize == b.decryptionSize;
}

bool AllClear(const Fields& fields)
{
    return SameFields(fields, Fields{0, 0, 0, nullptr, 0, nullptr, 0});
}

// ---------------------------------------------------------------------------------------------
// Bytes
// ---------------------------------------------------------------------------------------------

Bytes FromText(const std::string& text)
{
    return Bytes(text.begin(), text.end());
}

Bytes FromHex(const std::string& hex)
{
    Bytes bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
    {
        bytes.push_back(static_cast<unsigned char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

std::string ToHex(const Bytes& bytes)
{
    std::string hex;
    for (const unsigned char byte : bytes)
    {
        hex += "0123456789abcdef"[byte >> 4];
        hex += "0123456789abcdef"[byte & 15];
    }
    return hex;
}

/// The message whose ciphertexts were made with openssl: byte i is 7 i + 3.
Bytes Message(std::size_t length)
{
    Bytes bytes(length);
    for (std::size_t i = 0; i < length; ++i)
    {
        bytes[i] = static_cast<unsigned char>(i * 7 + 3);
    }
    return bytes;
}

/// 0, 1, 2 ...: a pass phrase longer than a block of the hash.
Bytes LongPhrase()
{
    Bytes bytes(200);
    for (std::size_t i = 0; i < bytes.size(); ++i)
    {
        bytes[i] = static_cast<unsigned char>(i);
    }
    return bytes;
}

Bytes Phrase()
{
    return FromText("open sesame");
}

/// Not text: 00 ff 00 61 0a.
Bytes BinaryPhrase()
{
    return Bytes{0x00, 0xFF, 0x00, 0x61, 0x0A};
}

/// a0, a1 ... af.
Bytes Iv()
{
    Bytes bytes(16);
    for (std::size_t i = 0; i < bytes.size(); ++i)
    {
        bytes[i] = static_cast<unsigned char>(0xA0 + i);
    }
    return bytes;
}

/// Bytes that cannot be written and behind which nothing can be read.
class FencedBytes
{
public:
    explicit FencedBytes(const Bytes& bytes)
        : vm_pages(static_cast<unsigned char*>(
              VirtualAlloc(nullptr, 2 * kPage, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE))),
          vm_length(bytes.size())
    {
        if (!bytes.empty())
        {
            std::memcpy(Start(), bytes.data(), bytes.size());
        }
        DWORD before = 0;
        VirtualProtect(vm_pages, kPage, PAGE_READONLY, &before);
        VirtualProtect(vm_pages + kPage, kPage, PAGE_NOACCESS, &before);
    }
    ~FencedBytes() { VirtualFree(vm_pages, 0, MEM_RELEASE); }
    FencedBytes(const FencedBytes&) = delete;
    FencedBytes& operator=(const FencedBytes&) = delete;

    const unsigned char* Data() const { return vm_pages + kPage - vm_length; }

private:
    static constexpr std::size_t kPage = 4096;

    unsigned char* Start() { return vm_pages + kPage - vm_length; }

    unsigned char* vm_pages;
    std::size_t vm_length;
};

// ---------------------------------------------------------------------------------------------
// The platform asked directly, by this program's own imports, which no patch touches
// ---------------------------------------------------------------------------------------------

class DirectCipher
{
public:
    DirectCipher(const wchar_t* provider, DWORD type, ALG_ID hash, ALG_ID cipher,
                 const Bytes& phrase)
    {
        if (!CryptAcquireContextW(&vm_provider, nullptr, provider, type, 0))
        {
            CryptAcquireContextW(&vm_provider, nullptr, provider, type, CRYPT_NEWKEYSET);
        }
        CryptCreateHash(vm_provider, hash, 0, 0, &vm_hash);
        CryptHashData(vm_hash, phrase.data(), static_cast<DWORD>(phrase.size()), 0);
        vm_ready = CryptDeriveKey(vm_provider, cipher, vm_hash, 0x00800000, &vm_key) != FALSE;
    }
    ~DirectCipher()
    {
        CryptDestroyKey(vm_key);
        CryptDestroyHash(vm_hash);
        CryptReleaseContext(vm_provider, 0);
    }
    DirectCipher(const DirectCipher&) = delete;
    DirectCipher& operator=(const DirectCipher&) = delete;

    bool Ready() const { return vm_ready; }
    HCRYPTKEY Key() const { return vm_key; }

    /// One call over the whole message, in a roomy buffer.
    Bytes Encrypt(const Bytes& message)
    {
        Bytes buffer(message);
        buffer.resize(message.size() + 64);
        DWORD length = static_cast<DWORD>(message.size());
        EXPECT_TRUE(CryptEncrypt(vm_key, 0, TRUE, 0, buffer.data(), &length,
                                 static_cast<DWORD>(buffer.size())));
        buffer.resize(length);
        return buffer;
    }

    /// The length that the platform reports for the whole message, whatever it thinks of it.
    DWORD DecryptedLength(const Bytes& message)
    {
        Bytes buffer(message);
        buffer.resize(message.size() + 64);
        DWORD length = static_cast<DWORD>(message.size());
        CryptDecrypt(vm_key, 0, TRUE, 0, buffer.data(), &length);
        return length;
    }

private:
    HCRYPTPROV vm_provider = 0;
    HCRYPTHASH vm_hash = 0;
    HCRYPTKEY vm_key = 0;
    bool vm_ready = false;
};

class DirectAes : public DirectCipher
{
public:
    DirectAes(const Bytes& phrase, const Bytes& iv)
        : DirectCipher(L"Microsoft Enhanced RSA and AES Cryptographic Provider", 24, 0x8004, 0x660E,
                       phrase)
    {
        DWORD padding = 1;
        DWORD mode = 4;
        CryptSetKeyParam(Key(), 1, iv.data(), 0);
        CryptSetKeyParam(Key(), 3, reinterpret_cast<const BYTE*>(&padding), 0);
        CryptSetKeyParam(Key(), 4, reinterpret_cast<const BYTE*>(&mode), 0);
    }
};

class DirectRc4 : public DirectCipher
{
public:
    explicit DirectRc4(const Bytes& phrase)
        : DirectCipher(L"Microsoft Enhanced Cryptographic Provider v1.0", 1, 0x8003, 0x6801, phrase)
    {
    }
};

std::string Sha1Hex(const Bytes& bytes)
{
    HCRYPTPROV provider = 0;
    HCRYPTHASH hash = 0;
    CryptAcquireContextW(&provider, nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT);
    CryptCreateHash(provider, CALG_SHA1, 0, 0, &hash);
    CryptHashData(hash, bytes.data(), static_cast<DWORD>(bytes.size()), 0);
    Bytes digest(20);
    DWORD length = 20;
    CryptGetHashParam(hash, HP_HASHVAL, digest.data(), &length, 0);
    CryptDestroyHash(hash);
    CryptReleaseContext(provider, 0);
    return ToHex(digest);
}

// ---------------------------------------------------------------------------------------------
// What the DLL asks of the platform
// ---------------------------------------------------------------------------------------------

struct Acquire
{
    bool container;
    std::wstring provider;
    DWORD type;
    DWORD flags;
};

struct KeyParameter
{
    HCRYPTKEY key;
    DWORD id;
    Bytes value;
    DWORD flags;
};

struct Transform
{
    HCRYPTKEY key;
    HCRYPTHASH hash;
    BOOL final;
    DWORD flags;
    unsigned char* buffer;
    DWORD length;
    DWORD capacity;  ///< of encryptions
    Bytes input;
};

using Substitute = std::function<BOOL(unsigned char*, DWORD*)>;

/// The calls of the DLL since the test began, and what is to become of them.
struct Platform
{
    std::vector<std::string> order;
    std::vector<Acquire> acquires;
    ALG_ID hashAlgorithm = 0;
    HCRYPTKEY hashKey = 1;
    DWORD hashFlags = 1;
    std::vector<Bytes> hashed;
    DWORD hashDataFlags = 1;
    ALG_ID keyAlgorithm = 0;
    HCRYPTHASH keyHash = 0;
    DWORD keyFlags = 0;
    std::vector<KeyParameter> parameters;
    std::vector<Transform> encryptions;
    std::vector<Transform> decryptions;
    std::vector<DWORD> releaseFlags;
    std::vector<HCRYPTPROV> released;
    std::vector<HCRYPTHASH> destroyedHashes;
    std::vector<HCRYPTKEY> destroyedKeys;

    int refusedAcquires = 0;
    std::string refused;     ///< the name of a call that fails, of a key parameter with its number
    DWORD majorVersion = 0;  ///< 0 for the real one
    Substitute encrypt;      ///< instead of the platform's
    Substitute decrypt;      ///< instead of the platform's

    bool Refuses(const std::string& name)
    {
        order.push_back(name);
        if (refused == name)
        {
            SetLastError(static_cast<DWORD>(NTE_FAIL));
            return true;
        }
        return false;
    }
};

Platform* g_platform = nullptr;

BOOL WINAPI Version(LPOSVERSIONINFOW info)
{
    const BOOL result = GetVersionExW(info);
    if (g_platform->majorVersion != 0)
    {
        info->dwMajorVersion = g_platform->majorVersion;
        info->dwMinorVersion = 0;
    }
    return result;
}

BOOL WINAPI AcquireContext(HCRYPTPROV* provider, LPCWSTR container, LPCWSTR name, DWORD type,
                           DWORD flags)
{
    g_platform->order.push_back("CryptAcquireContextW");
    g_platform->acquires.push_back({container != nullptr, name ? name : L"", type, flags});
    if (g_platform->refusedAcquires > 0)
    {
        --g_platform->refusedAcquires;
        SetLastError(static_cast<DWORD>(NTE_BAD_KEYSET));
        return FALSE;
    }
    // A retry that the test forced finds the key set made already; that is not the DLL's doing.
    return CryptAcquireContextW(provider, container, name, type, flags) ||
           CryptAcquireContextW(provider, container, name, type, flags ^ CRYPT_NEWKEYSET);
}

BOOL WINAPI CreateHash(HCRYPTPROV provider, ALG_ID algorithm, HCRYPTKEY key, DWORD flags,
                       HCRYPTHASH* hash)
{
    g_platform->hashAlgorithm = algorithm;
    g_platform->hashKey = key;
    g_platform->hashFlags = flags;
    return !g_platform->Refuses("CryptCreateHash") &&
           CryptCreateHash(provider, algorithm, key, flags, hash);
}

BOOL WINAPI HashData(HCRYPTHASH hash, const BYTE* data, DWORD length, DWORD flags)
{
    g_platform->hashed.emplace_back(data, data + length);
    g_platform->hashDataFlags = flags;
    return !g_platform->Refuses("CryptHashData") && CryptHashData(hash, data, length, flags);
}

BOOL WINAPI DeriveKey(HCRYPTPROV provider, ALG_ID algorithm, HCRYPTHASH hash, DWORD flags,
                      HCRYPTKEY* key)
{
    g_platform->keyAlgorithm = algorithm;
    g_platform->keyHash = hash;
    g_platform->keyFlags = flags;
    return !g_platform->Refuses("CryptDeriveKey") &&
           CryptDeriveKey(provider, algorithm, hash, flags, key);
}

BOOL WINAPI SetKeyParam(HCRYPTKEY key, DWORD id, const BYTE* data, DWORD flags)
{
    const std::size_t size = id == KP_IV ? 16 : sizeof(DWORD);
    g_platform->parameters.push_back({key, id, Bytes(data, data + size), flags});
    return !g_platform->Refuses("CryptSetKeyParam " + std::to_string(id)) &&
           CryptSetKeyParam(key, id, data, flags);
}

BOOL WINAPI Encrypt(HCRYPTKEY key, HCRYPTHASH hash, BOOL final, DWORD flags, BYTE* data,
                    DWORD* length, DWORD capacity)
{
    g_platform->order.push_back("CryptEncrypt");
    g_platform->encryptions.push_back(
        {key, hash, final, flags, data, *length, capacity, Bytes(data, data + *length)});
    return g_platform->encrypt ? g_platform->encrypt(data, length)
                               : CryptEncrypt(key, hash, final, flags, data, length, capacity);
}

BOOL WINAPI Decrypt(HCRYPTKEY key, HCRYPTHASH hash, BOOL final, DWORD flags, BYTE* data,
                    DWORD* length)
{
    g_platform->order.push_back("CryptDecrypt");
    g_platform->decryptions.push_back(
        {key, hash, final, flags, data, *length, 0, Bytes(data, data + *length)});
    return g_platform->decrypt ? g_platform->decrypt(data, length)
                               : CryptDecrypt(key, hash, final, flags, data, length);
}

BOOL WINAPI DestroyHash(HCRYPTHASH hash)
{
    g_platform->order.push_back("CryptDestroyHash");
    g_platform->destroyedHashes.push_back(hash);
    return CryptDestroyHash(hash);
}

BOOL WINAPI DestroyKey(HCRYPTKEY key)
{
    g_platform->order.push_back("CryptDestroyKey");
    g_platform->destroyedKeys.push_back(key);
    return CryptDestroyKey(key);
}

BOOL WINAPI ReleaseContext(HCRYPTPROV provider, DWORD flags)
{
    g_platform->order.push_back("CryptReleaseContext");
    g_platform->released.push_back(provider);
    g_platform->releaseFlags.push_back(flags);
    return CryptReleaseContext(provider, flags);
}

using Names = std::vector<std::string>;

const Names kReleaseAll{"CryptDestroyHash", "CryptDestroyKey", "CryptReleaseContext"};

/// A test that watches the DLL's calls.
class Watched : public testing::Test
{
protected:
    Watched() { g_platform = &platform; }
    ~Watched() override { g_platform = nullptr; }

    Platform platform;

private:
    ImportPatch<decltype(Version)> vm_version{"GetVersionExW", Version};
    ImportPatch<decltype(AcquireContext)> vm_acquire{"CryptAcquireContextW", AcquireContext};
    ImportPatch<decltype(CreateHash)> vm_createHash{"CryptCreateHash", CreateHash};
    ImportPatch<decltype(HashData)> vm_hashData{"CryptHashData", HashData};
    ImportPatch<decltype(DeriveKey)> vm_deriveKey{"CryptDeriveKey", DeriveKey};
    ImportPatch<decltype(SetKeyParam)> vm_setKeyParam{"CryptSetKeyParam", SetKeyParam};
    ImportPatch<decltype(Encrypt)> vm_encrypt{"CryptEncrypt", Encrypt};
    ImportPatch<decltype(Decrypt)> vm_decrypt{"CryptDecrypt", Decrypt};
    ImportPatch<decltype(DestroyHash)> vm_destroyHash{"CryptDestroyHash", DestroyHash};
    ImportPatch<decltype(DestroyKey)> vm_destroyKey{"CryptDestroyKey", DestroyKey};
    ImportPatch<decltype(ReleaseContext)> vm_release{"CryptReleaseContext", ReleaseContext};
};

// ---------------------------------------------------------------------------------------------
// Both ciphers under one name
// ---------------------------------------------------------------------------------------------

bool Init(CWinAES& cipher, const Bytes& phrase)
{
    return cipher.m_F_b_Init(phrase.data(), static_cast<unsigned int>(phrase.size()), Iv().data());
}

bool Init(CWinRSA& cipher, const Bytes& phrase)
{
    return cipher.m_F_b_Init(phrase.data(), static_cast<int>(phrase.size()));
}

template <class Cipher>
std::unique_ptr<Cipher> Construct(const unsigned char* phrase, int length)
{
    if constexpr (std::is_same_v<Cipher, CWinAES>)
    {
        return std::make_unique<CWinAES>(phrase, static_cast<unsigned int>(length), Iv().data());
    }
    else
    {
        return std::make_unique<CWinRSA>(phrase, length);
    }
}

template <class Cipher>
int EncryptInto(Cipher& cipher, const Bytes& message)
{
    return cipher.m_F_n_Encrypt(message.data(), static_cast<int>(message.size()));
}

template <class Cipher>
int DecryptInto(Cipher& cipher, const Bytes& message)
{
    return cipher.m_F_n_Decrypt(message.data(), static_cast<int>(message.size()));
}

template <class Cipher>
Bytes EncryptionOf(Cipher& cipher)
{
    return Bytes(cipher.m_F_p_GetEncBuf(), cipher.m_F_p_GetEncBuf() + cipher.m_F_n_GetEncBufSize());
}

template <class Cipher>
Bytes DecryptionOf(Cipher& cipher)
{
    return Bytes(cipher.m_F_p_GetDecBuf(), cipher.m_F_p_GetDecBuf() + cipher.m_F_n_GetDecBufSize());
}

template <class Cipher>
Bytes Encrypted(Cipher& cipher, const Bytes& message)
{
    EncryptInto(cipher, message);
    return EncryptionOf(cipher);
}

template <class Cipher>
Bytes Decrypted(Cipher& cipher, const Bytes& message)
{
    DecryptInto(cipher, message);
    return DecryptionOf(cipher);
}

void ForEachHeldBlock(const std::function<void(const unsigned char*, std::size_t)>& visit)
{
    std::vector<HANDLE> heaps(64);
    heaps.resize(GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data()));
    for (const HANDLE heap : heaps)
    {
        PROCESS_HEAP_ENTRY entry = {};
        while (HeapWalk(heap, &entry))
        {
            if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0)
            {
                visit(static_cast<const unsigned char*>(entry.lpData), entry.cbData);
            }
        }
    }
}

/// What the process holds in its heaps.
std::size_t HeldBytes()
{
    std::size_t held = 0;
    ForEachHeldBlock([&held](const unsigned char*, std::size_t size) { held += size; });
    return held;
}

/// How many bytes from @p place on belong to the block that it lies in.
std::size_t RoomAt(const unsigned char* place)
{
    std::size_t room = 0;
    ForEachHeldBlock(
        [place, &room](const unsigned char* block, std::size_t size)
        {
            if (block <= place && place < block + size)
            {
                room = static_cast<std::size_t>(block + size - place);
            }
        });
    return room;
}

template <class Cipher>
class BothCiphers : public Watched
{
};

using Ciphers = testing::Types<CWinAES, CWinRSA>;
TYPED_TEST_SUITE(BothCiphers, Ciphers, );

TYPED_TEST(BothCiphers, AllFieldsAreClearAfterConstructionWithoutPassPhrase)
{
    TypeParam cipher;
    EXPECT_TRUE(AllClear(FieldsOf(cipher)));
    EXPECT_EQ(cipher.m_F_p_GetEncBuf(), nullptr);
    EXPECT_EQ(cipher.m_F_p_GetDecBuf(), nullptr);
    EXPECT_EQ(cipher.m_F_n_GetEncBufSize(), 0);
    EXPECT_EQ(cipher.m_F_n_GetDecBufSize(), 0);
    EXPECT_TRUE(this->platform.order.empty());
}

TYPED_TEST(BothCiphers, AConstructorWithAPassPhraseLeavesTheObjectWithKey)
{
    const auto cipher = Construct<TypeParam>(Phrase().data(), 11);
    const Fields fields = FieldsOf(*cipher);
    EXPECT_NE(fields.provider, 0u);
    EXPECT_NE(fields.key, 0u);
    EXPECT_NE(fields.hash, 0u);
    EXPECT_EQ(fields.encryption, nullptr);
    EXPECT_EQ(fields.encryptionSize, 0);
    EXPECT_EQ(fields.decryption, nullptr);
    EXPECT_EQ(fields.decryptionSize, 0);

    TypeParam initialised;
    ASSERT_TRUE(Init(initialised, Phrase()));
    EXPECT_EQ(Encrypted(*cipher, Message(40)), Encrypted(initialised, Message(40)));
}

TYPED_TEST(BothCiphers, AConstructorWithAPassPhraseOfNoBytesLeavesTheObjectWithoutKey)
{
    const auto cipher = Construct<TypeParam>(Phrase().data(), 0);
    EXPECT_TRUE(AllClear(FieldsOf(*cipher)));
    EXPECT_TRUE(this->platform.order.empty());
}

TYPED_TEST(BothCiphers, AConstructorWithoutPassPhrasePointerLeavesTheObjectWithoutKey)
{
    const auto cipher = Construct<TypeParam>(nullptr, 11);
    EXPECT_TRUE(AllClear(FieldsOf(*cipher)));
    EXPECT_TRUE(this->platform.order.empty());
}

TYPED_TEST(BothCiphers, AConstructorWhoseInitFailsStillMakesAnObject)
{
    this->platform.refusedAcquires = 2;
    const auto cipher = Construct<TypeParam>(Phrase().data(), 11);
    EXPECT_TRUE(AllClear(FieldsOf(*cipher)));
    EXPECT_TRUE(Init(*cipher, Phrase()));
}

TYPED_TEST(BothCiphers, TheHashIsKeptUntilUninit)
{
    TypeParam cipher;
    ASSERT_TRUE(Init(cipher, Phrase()));
    EncryptInto(cipher, Message(40));
    DecryptInto(cipher, Message(48));
    EXPECT_NE(FieldsOf(cipher).hash, 0u);
    EXPECT_TRUE(this->platform.destroyedHashes.empty());
    cipher.m_S_Uninit();
    EXPECT_EQ(this->platform.destroyedHashes.size(), 1u);
}

TYPED_TEST(BothCiphers, UninitDestroysHashThenKeyAndReleasesTheContext)
{
    TypeParam cipher;
    ASSERT_TRUE(Init(cipher, Phrase()));
    const Fields fields = FieldsOf(cipher);
    this->platform.order.clear();
    cipher.m_S_Uninit();
    EXPECT_EQ(this->platform.order, kReleaseAll);
    EXPECT_EQ(this->platform.destroyedHashes, std::vector<HCRYPTHASH>{fields.hash});
    EXPECT_EQ(this->platform.destroyedKeys, std::vector<HCRYPTKEY>{fields.key});
    EXPECT_EQ(this->platform.released, std::vector<HCRYPTPROV>{fields.provider});
    EXPECT_EQ(this->platform.releaseFlags, std::vector<DWORD>{0});
}

TYPED_TEST(BothCiphers, UninitClearsEveryField)
{
    TypeParam cipher;
    ASSERT_TRUE(Init(cipher, Phrase()));
    EncryptInto(cipher, Message(40));
    DecryptInto(cipher, Message(48));
    cipher.m_S_Uninit();
    EXPECT_TRUE(AllClear(FieldsOf(cipher)));
    EXPECT_EQ(cipher.m_F_p_GetEncBuf(), nullptr);
    EXPECT_EQ(cipher.m_F_p_GetDecBuf(), nullptr);
    EXPECT_EQ(cipher.m_F_n_GetEncBufSize(), 0);
    EXPECT_EQ(cipher.m_F_n_GetDecBufSize(), 0);
}

TYPED_TEST(BothCiphers, UninitReleasesOnlyWhatIsSet)
{
    TypeParam cipher;
    cipher.m_S_Uninit();
    EXPECT_TRUE(this->platform.order.empty());

    ASSERT_TRUE(Init(cipher, Phrase()));
    cipher.m_S_Uninit();
    this->platform.order.clear();
    cipher.m_S_Uninit();
    EXPECT_TRUE(this->platform.order.empty());

    this->platform.refused = "CryptCreateHash";
    ASSERT_FALSE(Init(cipher, Phrase()));
    this->platform.order.clear();
    cipher.m_S_Uninit();
    EXPECT_EQ(this->platform.order, Names{"CryptReleaseContext"});
}

TYPED_TEST(BothCiphers, TheDestructorReleasesEverything)
{
    {
        TypeParam cipher;
        ASSERT_TRUE(Init(cipher, Phrase()));
        this->platform.order.clear();
    }
    EXPECT_EQ(this->platform.order, kReleaseAll);
}

TYPED_TEST(BothCiphers, InitReleasesThePreviousKeyHashContextAndBuffersFirst)
{
    TypeParam cipher;
    ASSERT_TRUE(Init(cipher, Phrase()));
    EncryptInto(cipher, Message(40));
    DecryptInto(cipher, Message(48));
    const Fields before = FieldsOf(cipher);
    this->platform.order.clear();
    ASSERT_TRUE(Init(cipher, BinaryPhrase()));
    ASSERT_GE(this->platform.order.size(), 4u);
    EXPECT_EQ(Names(this->platform.order.begin(), this->platform.order.begin() + 3), kReleaseAll);
    EXPECT_EQ(this->platform.order[3], "CryptAcquireContextW");
    EXPECT_EQ(this->platform.destroyedKeys, std::vector<HCRYPTKEY>{before.key});
    EXPECT_EQ(cipher.m_F_p_GetEncBuf(), nullptr);
    EXPECT_EQ(cipher.m_F_n_GetEncBufSize(), 0);
    EXPECT_EQ(cipher.m_F_p_GetDecBuf(), nullptr);
    EXPECT_EQ(cipher.m_F_n_GetDecBufSize(), 0);
}

TYPED_TEST(BothCiphers, AnObjectThatWasReleasedCanBeInitialisedAgain)
{
    TypeParam cipher;
    ASSERT_TRUE(Init(cipher, Phrase()));
    const Bytes first = Encrypted(cipher, Message(40));
    cipher.m_S_Uninit();
    ASSERT_TRUE(Init(cipher, BinaryPhrase()));
    EXPECT_NE(Encrypted(cipher, Message(40)), first);
    ASSERT_TRUE(Init(cipher, Phrase()));
    EXPECT_EQ(Encrypted(cipher, Message(40)), first);
}

TYPED_TEST(BothCiphers, AcquiringIsTriedWithoutContainerAndWithoutFlags)
{
    TypeParam cipher;
    ASSERT_TRUE(Init(cipher, Phrase()));
    ASSERT_EQ(this->platform.acquires.size(), 1u);
    EXPECT_FALSE(this->platform.acquires[0].container);
    EXPECT_EQ(this->platform.acquires[0].flags, 0u);
}

TYPED_TEST(BothCiphers, AcquiringIsTriedOnceMoreWithANewKeySet)
{
    this->platform.refusedAcquires = 1;
    TypeParam cipher;
    EXPECT_TRUE(Init(cipher, Phrase()));
    ASSERT_EQ(this->platform.acquires.size(), 2u);
    EXPECT_EQ(this->platform.acquires[0].flags, 0u);
    EXPECT_EQ(this->platform.acquires[1].flags, 8u);
    EXPECT_FALSE(this->platform.acquires[1].container);
    EXPECT_EQ(this->platform.acquires[1].provider, this->platform.acquires[0].provider);
    EXPECT_EQ(this->platform.acquires[1].type, this->platform.acquires[0].type);
    EXPECT_EQ(Decrypted(cipher, Encrypted(cipher, Message(5))), Message(5));
}

TYPED_TEST(BothCiphers, InitFailsWhenAcquiringFailsTwice)
{
    this->platform.refusedAcquires = 100;
    TypeParam cipher;
    EXPECT_FALSE(Init(cipher, Phrase()));
    EXPECT_EQ(this->platform.order, (Names{"CryptAcquireContextW", "CryptAcquireContextW"}));
    EXPECT_TRUE(AllClear(FieldsOf(cipher)));
}

TYPED_TEST(BothCiphers, InitFailsAndStopsWhenTheHashCannotBeCreated)
{
    this->platform.refused = "CryptCreateHash";
    TypeParam cipher;
    EXPECT_FALSE(Init(cipher, Phrase()));
    EXPECT_EQ(this->platform.order.back(), "CryptCreateHash");
    EXPECT_NE(FieldsOf(cipher).provider, 0u);
    EXPECT_EQ(FieldsOf(cipher).hash, 0u);
    EXPECT_EQ(FieldsOf(cipher).key, 0u);
}

TYPED_TEST(BothCiphers, InitFailsAndStopsWhenThePassPhraseCannotBeHashed)
{
    this->platform.refused = "CryptHashData";
    TypeParam cipher;
    EXPECT_FALSE(Init(cipher, Phrase()));
    EXPECT_EQ(this->platform.order.back(), "CryptHashData");
    EXPECT_NE(FieldsOf(cipher).provider, 0u);
    EXPECT_NE(FieldsOf(cipher).hash, 0u);
    EXPECT_EQ(FieldsOf(cipher).key, 0u);
}

TYPED_TEST(BothCiphers, InitFailsAndStopsWhenTheKeyCannotBeDerived)
{
    this->platform.refused = "CryptDeriveKey";
    TypeParam cipher;
    EXPECT_FALSE(Init(cipher, Phrase()));
    EXPECT_EQ(this->platform.order.back(), "CryptDeriveKey");
    EXPECT_NE(FieldsOf(cipher).provider, 0u);
    EXPECT_NE(FieldsOf(cipher).hash, 0u);
    EXPECT_EQ(FieldsOf(cipher).key, 0u);
}

TYPED_TEST(BothCiphers, WhatAFailedInitAcquiredIsReleasedByTheNextInit)
{
    this->platform.refused = "CryptDeriveKey";
    TypeParam cipher;
    ASSERT_FALSE(Init(cipher, Phrase()));
    const Fields left = FieldsOf(cipher);
    EXPECT_TRUE(this->platform.released.empty());
    this->platform.refused.clear();
    EXPECT_TRUE(Init(cipher, Phrase()));
    EXPECT_EQ(this->platform.destroyedHashes, std::vector<HCRYPTHASH>{left.hash});
    EXPECT_EQ(this->platform.released, std::vector<HCRYPTPROV>{left.provider});
    EXPECT_TRUE(this->platform.destroyedKeys.empty());
}

TYPED_TEST(BothCiphers, WhatAFailedInitAcquiredIsReleasedByUninit)
{
    this->platform.refused = "CryptHashData";
    TypeParam cipher;
    ASSERT_FALSE(Init(cipher, Phrase()));
    this->platform.order.clear();
    cipher.m_S_Uninit();
    EXPECT_EQ(this->platform.order, (Names{"CryptDestroyHash", "CryptReleaseContext"}));
    EXPECT_TRUE(AllClear(FieldsOf(cipher)));
}

TYPED_TEST(BothCiphers, WhatAFailedInitAcquiredIsReleasedByTheDestructor)
{
    {
        this->platform.refused = "CryptDeriveKey";
        TypeParam cipher;
        ASSERT_FALSE(Init(cipher, Phrase()));
        this->platform.order.clear();
    }
    EXPECT_EQ(this->platform.order, (Names{"CryptDestroyHash", "CryptReleaseContext"}));
}

TYPED_TEST(BothCiphers, ThePassPhraseIsHashedInOnePieceAndToItsLengthOnly)
{
    const FencedBytes phrase(BinaryPhrase());
    const auto cipher = Construct<TypeParam>(phrase.Data(), 5);
    EXPECT_EQ(this->platform.hashed, std::vector<Bytes>{BinaryPhrase()});
    EXPECT_EQ(this->platform.hashDataFlags, 0u);
    EXPECT_EQ(this->platform.hashKey, 0u);
    EXPECT_EQ(this->platform.hashFlags, 0u);
    EXPECT_NE(FieldsOf(*cipher).key, 0u);
}

TYPED_TEST(BothCiphers, TheKeyOf128BitsIsDerivedFromTheHash)
{
    TypeParam cipher;
    ASSERT_TRUE(Init(cipher, Phrase()));
    EXPECT_EQ(this->platform.keyHash, FieldsOf(cipher).hash);
    EXPECT_EQ(this->platform.keyFlags, 0x00800000u);
}

TYPED_TEST(BothCiphers, AssignmentCopiesTheSevenFieldsAndDuplicatesNothing)
{
    TypeParam source;
    ASSERT_TRUE(Init(source, Phrase()));
    EncryptInto(source, Message(40));
    DecryptInto(source, Message(48));
    const Fields fields = FieldsOf(source);
    TypeParam copy;
    this->platform.order.clear();
    TypeParam& result = (copy = source);
    EXPECT_EQ(&result, &copy);
    EXPECT_TRUE(this->platform.order.empty());
    EXPECT_TRUE(SameFields(FieldsOf(copy), fields));
    EXPECT_TRUE(SameFields(FieldsOf(source), fields));
    EXPECT_EQ(copy.m_F_p_GetEncBuf(), source.m_F_p_GetEncBuf());
    EXPECT_EQ(copy.m_F_p_GetDecBuf(), source.m_F_p_GetDecBuf());
    copy = TypeParam();  // only one of the two may release what they share
    EXPECT_TRUE(AllClear(FieldsOf(copy)));
}

TYPED_TEST(BothCiphers, AssignmentReleasesNothingOfWhatWasHeld)
{
    TypeParam target;
    ASSERT_TRUE(Init(target, Phrase()));
    EncryptInto(target, Message(40));
    TypeParam holder;
    holder = target;
    this->platform.order.clear();
    target = TypeParam();
    EXPECT_TRUE(this->platform.order.empty());
    EXPECT_EQ(Decrypted(holder, EncryptionOf(holder)), Message(40));
}

TYPED_TEST(BothCiphers, AssignmentToItselfChangesNothing)
{
    TypeParam cipher;
    ASSERT_TRUE(Init(cipher, Phrase()));
    EncryptInto(cipher, Message(40));
    const Fields fields = FieldsOf(cipher);
    TypeParam& same = cipher;
    cipher = same;
    EXPECT_TRUE(SameFields(FieldsOf(cipher), fields));
}

TYPED_TEST(BothCiphers, TheAccessorsGiveTheFieldsAndTheReturnedSizes)
{
    TypeParam cipher;
    ASSERT_TRUE(Init(cipher, Phrase()));
    const int encrypted = EncryptInto(cipher, Message(40));
    const int decrypted = DecryptInto(cipher, EncryptionOf(cipher));
    const Fields fields = FieldsOf(cipher);
    EXPECT_EQ(cipher.m_F_n_GetEncBufSize(), encrypted);
    EXPECT_EQ(cipher.m_F_n_GetDecBufSize(), decrypted);
    EXPECT_EQ(fields.encryptionSize, encrypted);
    EXPECT_EQ(fields.decryptionSize, decrypted);
    EXPECT_EQ(cipher.m_F_p_GetEncBuf(), fields.encryption);
    EXPECT_EQ(cipher.m_F_p_GetDecBuf(), fields.decryption);
    EXPECT_NE(fields.encryption, fields.decryption);
}

TYPED_TEST(BothCiphers, TheInputIsNotChangedAndNotReadBeyondItsLength)
{
    TypeParam cipher;
    ASSERT_TRUE(Init(cipher, Phrase()));
    for (const std::size_t length : {1u, 5u, 16u, 31u, 32u, 500u, 991u})
    {
        const FencedBytes plain(Message(length));
        cipher.m_F_n_Encrypt(plain.Data(), static_cast<int>(length));
        const FencedBytes secret(EncryptionOf(cipher));
        cipher.m_F_n_Decrypt(secret.Data(), cipher.m_F_n_GetEncBufSize());
        EXPECT_EQ(DecryptionOf(cipher), Message(length));
    }
}

TYPED_TEST(BothCiphers, TheResultOfOneKindLivesThroughCallsOfTheOther)
{
    TypeParam cipher;
    ASSERT_TRUE(Init(cipher, Phrase()));
    const Bytes secret = Encrypted(cipher, Message(40));
    unsigned char* const buffer = cipher.m_F_p_GetEncBuf();
    DecryptInto(cipher, Message(48));
    DecryptInto(cipher, secret);
    EXPECT_EQ(cipher.m_F_p_GetEncBuf(), buffer);
    EXPECT_EQ(EncryptionOf(cipher), secret);

    unsigned char* const plain = cipher.m_F_p_GetDecBuf();
    EncryptInto(cipher, Message(100));
    EXPECT_EQ(cipher.m_F_p_GetDecBuf(), plain);
    EXPECT_EQ(DecryptionOf(cipher), Message(40));
}

TYPED_TEST(BothCiphers, EncryptingTwiceGivesTheSameBothTimes)
{
    TypeParam cipher;
    ASSERT_TRUE(Init(cipher, Phrase()));
    const Bytes first = Encrypted(cipher, Message(77));
    EXPECT_EQ(Encrypted(cipher, Message(77)), first);
    EncryptInto(cipher, Message(300));
    DecryptInto(cipher, first);
    EXPECT_EQ(Encrypted(cipher, Message(77)), first);
}

TYPED_TEST(BothCiphers, DecryptingTwiceGivesTheSameBothTimes)
{
    TypeParam cipher;
    ASSERT_TRUE(Init(cipher, Phrase()));
    const Bytes secret = Encrypted(cipher, Message(77));
    EXPECT_EQ(Decrypted(cipher, secret), Message(77));
    EXPECT_EQ(Decrypted(cipher, secret), Message(77));
}

TYPED_TEST(BothCiphers, TwoObjectsOfOnePassPhraseUnderstandEachOther)
{
    TypeParam one;
    TypeParam other;
    ASSERT_TRUE(Init(one, Phrase()));
    ASSERT_TRUE(Init(other, Phrase()));
    const Bytes secret = Encrypted(one, Message(321));
    EXPECT_EQ(Encrypted(other, Message(321)), secret);
    EXPECT_EQ(Decrypted(other, secret), Message(321));
    EXPECT_EQ(Decrypted(one, Encrypted(other, Message(12))), Message(12));
}

TYPED_TEST(BothCiphers, ObjectsOfDifferentPassPhrasesAreIndependent)
{
    TypeParam one;
    ASSERT_TRUE(Init(one, Phrase()));
    const Bytes secret = Encrypted(one, Message(50));
    {
        TypeParam other;
        ASSERT_TRUE(Init(other, BinaryPhrase()));
        EXPECT_NE(Encrypted(other, Message(50)), secret);
    }
    EXPECT_EQ(Encrypted(one, Message(50)), secret);
}

TYPED_TEST(BothCiphers, WithoutKeyTheInputLengthIsReturnedAndTheBufferIsNotEncrypted)
{
    TypeParam never;
    TypeParam released;
    ASSERT_TRUE(Init(released, Phrase()));
    released.m_S_Uninit();
    TypeParam failed;
    this->platform.refused = "CryptDeriveKey";
    ASSERT_FALSE(Init(failed, Phrase()));
    for (TypeParam* cipher : {&never, &released, &failed})
    {
        EXPECT_EQ(EncryptInto(*cipher, Message(40)), 40);
        EXPECT_EQ(EncryptionOf(*cipher), Message(40));
        EXPECT_EQ(DecryptInto(*cipher, Message(48)), 48);
        EXPECT_EQ(DecryptionOf(*cipher), Message(48));
    }
}

TYPED_TEST(BothCiphers, AFailingEncryptionIsNotNoticed)
{
    this->platform.encrypt = [](unsigned char*, DWORD*) { return FALSE; };
    TypeParam cipher;
    ASSERT_TRUE(Init(cipher, Phrase()));
    EXPECT_EQ(EncryptInto(cipher, Message(40)), 40);
    EXPECT_EQ(EncryptionOf(cipher), Message(40));
}

TYPED_TEST(BothCiphers, TheLengthThatAFailingEncryptionLeavesIsReturned)
{
    this->platform.encrypt = [](unsigned char* data, DWORD* length)
    {
        data[0] = 'x';
        *length = 17;
        return FALSE;
    };
    TypeParam cipher;
    ASSERT_TRUE(Init(cipher, Phrase()));
    EXPECT_EQ(EncryptInto(cipher, Message(40)), 17);
    EXPECT_EQ(cipher.m_F_n_GetEncBufSize(), 17);
    Bytes left = Message(17);
    left[0] = 'x';
    EXPECT_EQ(EncryptionOf(cipher), left);
}

TYPED_TEST(BothCiphers, TheLengthThatAFailingDecryptionLeavesIsReturned)
{
    this->platform.decrypt = [](unsigned char* data, DWORD* length)
    {
        data[0] = 'x';
        *length = 17;
        return FALSE;
    };
    TypeParam cipher;
    ASSERT_TRUE(Init(cipher, Phrase()));
    EXPECT_EQ(DecryptInto(cipher, Message(48)), 17);
    EXPECT_EQ(cipher.m_F_n_GetDecBufSize(), 17);
    Bytes left = Message(17);
    left[0] = 'x';
    EXPECT_EQ(DecryptionOf(cipher), left);
}

TYPED_TEST(BothCiphers, AFailureDoesNotHarmTheNextCall)
{
    TypeParam cipher;
    ASSERT_TRUE(Init(cipher, Phrase()));
    const Bytes secret = Encrypted(cipher, Message(40));
    this->platform.encrypt = [](unsigned char*, DWORD*) { return FALSE; };
    EncryptInto(cipher, Message(40));
    this->platform.encrypt = nullptr;
    EXPECT_EQ(Encrypted(cipher, Message(40)), secret);
    EXPECT_EQ(Decrypted(cipher, secret), Message(40));
}

TYPED_TEST(BothCiphers, AnOwnResultCanBeTheNextInput)
{
    TypeParam cipher;
    ASSERT_TRUE(Init(cipher, Phrase()));
    const Bytes once = Encrypted(cipher, Message(40));
    const Bytes twice = Encrypted(cipher, once);
    EncryptInto(cipher, Message(40));
    cipher.m_F_n_Encrypt(cipher.m_F_p_GetEncBuf(), cipher.m_F_n_GetEncBufSize());
    EXPECT_EQ(EncryptionOf(cipher), twice);

    cipher.m_F_n_Decrypt(cipher.m_F_p_GetEncBuf(), cipher.m_F_n_GetEncBufSize());
    cipher.m_F_n_Decrypt(cipher.m_F_p_GetDecBuf(), cipher.m_F_n_GetDecBufSize());
    EXPECT_EQ(DecryptionOf(cipher), Message(40));
}

TYPED_TEST(BothCiphers, AMissingMessageLeavesNoResult)
{
    TypeParam cipher;
    ASSERT_TRUE(Init(cipher, Phrase()));
    EncryptInto(cipher, Message(40));
    DecryptInto(cipher, Message(48));
    EXPECT_EQ(cipher.m_F_n_Encrypt(nullptr, 40), 0);
    EXPECT_EQ(cipher.m_F_n_GetEncBufSize(), 0);
    EXPECT_EQ(cipher.m_F_p_GetEncBuf(), nullptr);
    EXPECT_EQ(cipher.m_F_n_Decrypt(nullptr, 48), 0);
    EXPECT_EQ(cipher.m_F_n_GetDecBufSize(), 0);
    EXPECT_EQ(cipher.m_F_p_GetDecBuf(), nullptr);
}

TYPED_TEST(BothCiphers, EveryResultIsReleasedByTheNextByUninitByInitAndByTheDestructor)
{
    const Bytes message(1000000, 'm');
    const std::size_t before = HeldBytes();
    {
        const Bytes proof(1000000, 1);
        ASSERT_GE(HeldBytes(), before + 1000000) << "the measure does not measure";
    }
    for (int i = 0; i < 3; ++i)
    {
        TypeParam cipher;
        for (int j = 0; j < 3; ++j)
        {
            EncryptInto(cipher, message);
            DecryptInto(cipher, message);
            // The records of the calls have copies of the messages.
            this->platform = Platform();
        }
        EXPECT_GE(HeldBytes(), before + 2000000);
        EXPECT_LT(HeldBytes(), before + 3000000);
        if (i == 1)
        {
            cipher.m_S_Uninit();
            EXPECT_LT(HeldBytes(), before + 500000);
        }
        if (i == 2)
        {
            ASSERT_TRUE(Init(cipher, Phrase()));
            EXPECT_LT(HeldBytes(), before + 500000);
        }
    }
    EXPECT_LT(HeldBytes(), before + 500000);
}

// ---------------------------------------------------------------------------------------------
// AES
// ---------------------------------------------------------------------------------------------

class Aes : public Watched
{
};

struct Vector
{
    std::size_t length;
    const char* secret;
};

// Made with openssl 3.0 (enc -aes-128-cfb8 -nopad over the padded Message()), the key from Phrase()
// as CryptDeriveKey's documentation says.
const Vector kAesVectors[] = {
    {0, "2fb4032cd46c74249f394a258dbdfcef"},
    {1, "3c2cb7d5de976b095f10666b75dbf20d"},
    {5, "3c2946aa42f84b924ee7cac60f6f097e"},
    {15, "3c2946aa42d55bd5f9f6e4904dbaca87"},
    {16, "3c2946aa42d55bd5f9f6e4904dbacaeadcf0b0c1b63a7aa0ffa9ef371a203863"},
    {17, "3c2946aa42d55bd5f9f6e4904dbacaeabfc1c3a269f6dab5208e7f37c28e10eb"},
    {31, "3c2946aa42d55bd5f9f6e4904dbacaeabfb488e6ec3b163a371a4271ccb47174"},
    {32,
     "3c2946aa42d55bd5f9f6e4904dbacaeabfb488e6ec3b163a371a4271ccb471a93a514853e7dd69315b3950bf45bc2"
     "d"
     "9f"},
    {33,
     "3c2946aa42d55bd5f9f6e4904dbacaeabfb488e6ec3b163a371a4271ccb471a9c9f438a30b6893996fc85c35e1ff0"
     "0"
     "62"},
};

TEST_F(Aes, CiphertextsAreThoseOfOpenssl)
{
    CWinAES aes;
    ASSERT_TRUE(Init(aes, Phrase()));
    for (const Vector& vector : kAesVectors)
    {
        EXPECT_EQ(EncryptInto(aes, Message(vector.length)),
                  static_cast<int>(FromHex(vector.secret).size()));
        EXPECT_EQ(ToHex(EncryptionOf(aes)), vector.secret) << vector.length;
    }
}

TEST_F(Aes, CiphertextsOfOpensslAreDecrypted)
{
    CWinAES aes;
    ASSERT_TRUE(Init(aes, Phrase()));
    for (const Vector& vector : kAesVectors)
    {
        EXPECT_EQ(DecryptInto(aes, FromHex(vector.secret)), static_cast<int>(vector.length));
        EXPECT_EQ(DecryptionOf(aes), Message(vector.length)) << vector.length;
    }
}

TEST_F(Aes, ThePassPhraseIsAnyBytesOfAnyNumber)
{
    CWinAES aes;
    const Bytes hello = FromText("hello");
    ASSERT_TRUE(Init(aes, Phrase()));
    EXPECT_EQ(ToHex(Encrypted(aes, hello)), "5725c7723e5a201c1d4019e3315af8cc");
    ASSERT_TRUE(Init(aes, BinaryPhrase()));
    EXPECT_EQ(ToHex(Encrypted(aes, hello)), "58612de998c1551933723a4f9655fe70");
    ASSERT_TRUE(Init(aes, LongPhrase()));
    EXPECT_EQ(ToHex(Encrypted(aes, hello)), "142c33c91ebe9057ed6a8b64cb658582");
}

TEST_F(Aes, InitWithAPassPhraseOfNoBytesHashesTheEmptyMessage)
{
    CWinAES aes;
    ASSERT_TRUE(aes.m_F_b_Init(Phrase().data(), 0, Iv().data()));
    EXPECT_EQ(ToHex(Encrypted(aes, FromText("hello"))), "7bec3ab264553fba62d118cec9a9bca1");
}

TEST_F(Aes, TheIvIsSixteenBytesOfTheCaller)
{
    const FencedBytes zero(Bytes(16, 0));
    CWinAES aes;
    ASSERT_TRUE(aes.m_F_b_Init(Phrase().data(), 11, zero.Data()));
    EXPECT_EQ(ToHex(Encrypted(aes, FromText("hello"))), "b6b132c7446f38d5a190af40ca1a6ed1");
}

TEST_F(Aes, TheProviderIsTheAesProviderOfItsType)
{
    CWinAES aes;
    ASSERT_TRUE(Init(aes, Phrase()));
    ASSERT_EQ(platform.acquires.size(), 1u);
    EXPECT_EQ(platform.acquires[0].provider,
              L"Microsoft Enhanced RSA and AES Cryptographic Provider");
    EXPECT_EQ(platform.acquires[0].type, 24u);
}

TEST_F(Aes, WindowsOfMajorVersion5HasThePrototypeProvider)
{
    platform.majorVersion = 5;
    platform.refusedAcquires = 1;
    CWinAES aes;
    Init(aes, Phrase());
    ASSERT_EQ(platform.acquires.size(), 2u);
    for (const Acquire& acquire : platform.acquires)
    {
        EXPECT_EQ(acquire.provider,
                  L"Microsoft Enhanced RSA and AES Cryptographic Provider (Prototype)");
        EXPECT_EQ(acquire.type, 24u);
    }
}

TEST_F(Aes, WindowsFromMajorVersion6OnHasTheFinalProvider)
{
    for (const DWORD version : {6u, 10u})
    {
        platform.majorVersion = version;
        CWinAES aes;
        EXPECT_TRUE(Init(aes, Phrase()));
        EXPECT_EQ(platform.acquires.back().provider,
                  L"Microsoft Enhanced RSA and AES Cryptographic Provider");
    }
}

TEST_F(Aes, TheHashIsSha1AndTheKeyAes128)
{
    CWinAES aes;
    ASSERT_TRUE(Init(aes, Phrase()));
    EXPECT_EQ(platform.hashAlgorithm, 0x8004u);
    EXPECT_EQ(platform.keyAlgorithm, 0x660Eu);
}

TEST_F(Aes, IvPaddingAndCfbAreSetInThisOrderAndNothingElse)
{
    CWinAES aes;
    ASSERT_TRUE(Init(aes, Phrase()));
    ASSERT_EQ(platform.parameters.size(), 3u);
    EXPECT_EQ(platform.parameters[0].id, 1u);
    EXPECT_EQ(platform.parameters[0].value, Iv());
    EXPECT_EQ(platform.parameters[1].id, 3u);
    EXPECT_EQ(platform.parameters[1].value, (Bytes{1, 0, 0, 0}));
    EXPECT_EQ(platform.parameters[2].id, 4u);
    EXPECT_EQ(platform.parameters[2].value, (Bytes{4, 0, 0, 0}));
    for (const KeyParameter& parameter : platform.parameters)
    {
        EXPECT_EQ(parameter.key, FieldsOf(aes).key);
    }
}

TEST_F(Aes, TheStepsOfInitComeInTheirOrder)
{
    CWinAES aes;
    ASSERT_TRUE(Init(aes, Phrase()));
    EXPECT_EQ(platform.order,
              (Names{"CryptAcquireContextW", "CryptCreateHash", "CryptHashData", "CryptDeriveKey",
                     "CryptSetKeyParam 1", "CryptSetKeyParam 3", "CryptSetKeyParam 4"}));
}

TEST_F(Aes, InitFailsAndStopsWhenAKeyParameterCannotBeSetAndKeepsTheHandles)
{
    for (const char* parameter : {"CryptSetKeyParam 1", "CryptSetKeyParam 3", "CryptSetKeyParam 4"})
    {
        platform.refused = parameter;
        CWinAES aes;
        EXPECT_FALSE(Init(aes, Phrase())) << parameter;
        EXPECT_EQ(platform.order.back(), parameter);
        EXPECT_NE(FieldsOf(aes).provider, 0u);
        EXPECT_NE(FieldsOf(aes).hash, 0u);
        EXPECT_NE(FieldsOf(aes).key, 0u);
        platform.order.clear();
        aes.m_S_Uninit();
        EXPECT_EQ(platform.order, kReleaseAll);
    }
}

TEST_F(Aes, EncryptionIsOneFinalCallInPlaceWithACapacityOf1000)
{
    CWinAES aes;
    ASSERT_TRUE(Init(aes, Phrase()));
    for (const std::size_t length : {0u, 5u, 32u, 991u, 992u, 3000u})
    {
        platform.encryptions.clear();
        EncryptInto(aes, Message(length));
        ASSERT_EQ(platform.encryptions.size(), 1u) << length;
        const Transform& call = platform.encryptions[0];
        EXPECT_EQ(call.key, FieldsOf(aes).key);
        EXPECT_EQ(call.hash, 0u);
        EXPECT_TRUE(call.final);
        EXPECT_EQ(call.flags, 0u);
        EXPECT_EQ(call.buffer, aes.m_F_p_GetEncBuf());
        EXPECT_EQ(call.length, length);
        EXPECT_EQ(call.capacity, 1000u);
        EXPECT_EQ(call.input, Message(length));
    }
}

TEST_F(Aes, DecryptionIsOneFinalCallInPlace)
{
    CWinAES aes;
    ASSERT_TRUE(Init(aes, Phrase()));
    const Bytes secret = Encrypted(aes, Message(40));
    EXPECT_EQ(DecryptInto(aes, secret), 40);
    ASSERT_EQ(platform.decryptions.size(), 1u);
    const Transform& call = platform.decryptions[0];
    EXPECT_EQ(call.key, FieldsOf(aes).key);
    EXPECT_EQ(call.hash, 0u);
    EXPECT_TRUE(call.final);
    EXPECT_EQ(call.flags, 0u);
    EXPECT_EQ(call.buffer, aes.m_F_p_GetDecBuf());
    EXPECT_EQ(call.length, 48u);
    EXPECT_EQ(call.input, secret);
}

TEST(RoomAt, IsToTheByte)
{
    for (const std::size_t size : {33u, 1000u, 1008u, 3500u})
    {
        const auto block = std::make_unique<unsigned char[]>(size);
        EXPECT_EQ(RoomAt(block.get()), size);
    }
}

TEST_F(Aes, TheEncryptionBufferHasRoomForTheWholeResult)
{
    CWinAES aes;
    ASSERT_TRUE(Init(aes, Phrase()));
    for (const std::size_t length : {0u, 1u, 15u, 16u, 31u, 32u, 33u, 64u, 960u, 976u, 991u})
    {
        const int size = EncryptInto(aes, Message(length));
        EXPECT_GE(RoomAt(aes.m_F_p_GetEncBuf()), static_cast<std::size_t>(size)) << length;
    }
}

TEST_F(Aes, TheSizeOfAMessageThatWasNotEncryptedCanBeRead)
{
    CWinAES aes;
    ASSERT_TRUE(Init(aes, Phrase()));
    for (const std::size_t length : {992u, 1008u, 1024u, 5000u})
    {
        const int size = EncryptInto(aes, Message(length));
        EXPECT_GE(RoomAt(aes.m_F_p_GetEncBuf()), static_cast<std::size_t>(size)) << length;
    }
}

TEST_F(Aes, TheDecryptionBufferHasRoomForTheWholeBlocksThatThePlatformWorksOn)
{
    CWinAES aes;
    ASSERT_TRUE(Init(aes, Phrase()));
    for (const std::size_t length : {1u, 5u, 15u, 16u, 17u, 31u, 32u, 33u, 999u})
    {
        DecryptInto(aes, Message(length));
        EXPECT_GE(RoomAt(aes.m_F_p_GetDecBuf()), (length + 15) / 16 * 16) << length;
    }
}

TEST_F(Aes, FiveBytesComeBackAsFiveBytes)
{
    CWinAES sender;
    CWinAES receiver;
    ASSERT_TRUE(Init(sender, Phrase()));
    ASSERT_TRUE(Init(receiver, Phrase()));
    EXPECT_EQ(EncryptInto(sender, FromText("12345")), 16);
    EXPECT_EQ(receiver.m_F_n_Decrypt(sender.m_F_p_GetEncBuf(),
                                     static_cast<unsigned int>(sender.m_F_n_GetEncBufSize())),
              5);
    EXPECT_EQ(receiver.m_F_n_GetDecBufSize(), 5);
    EXPECT_EQ(DecryptionOf(receiver), FromText("12345"));
}

TEST_F(Aes, EveryLengthUpToTheLimitComesBack)
{
    CWinAES aes;
    ASSERT_TRUE(Init(aes, Phrase()));
    for (std::size_t length = 0; length <= 991; ++length)
    {
        const Bytes message = Message(length);
        ASSERT_EQ(EncryptInto(aes, message), static_cast<int>(length / 16 * 16 + 16));
        ASSERT_EQ(aes.m_F_n_Decrypt(aes.m_F_p_GetEncBuf(),
                                    static_cast<unsigned int>(aes.m_F_n_GetEncBufSize())),
                  static_cast<int>(length));
        ASSERT_EQ(DecryptionOf(aes), message);
    }
}

TEST_F(Aes, TheLongestMessageIsEncryptedAsByOpenssl)
{
    CWinAES aes;
    ASSERT_TRUE(Init(aes, Phrase()));
    EXPECT_EQ(EncryptInto(aes, Message(991)), 992);
    EXPECT_EQ(Sha1Hex(EncryptionOf(aes)), "fd58475ed61601dba62851eceb33ea74b0b11442");
}

TEST_F(Aes, AMessageWhoseResultWouldExceed1000BytesIsNotEncryptedAndTheAskedSizeIsReturned)
{
    CWinAES aes;
    ASSERT_TRUE(Init(aes, Phrase()));
    DirectAes direct(Phrase(), Iv());
    ASSERT_TRUE(direct.Ready());
    for (const std::size_t length : {992u, 1000u, 1024u, 5000u, 100000u})
    {
        Bytes roomy = Message(length);
        roomy.resize(length + 64);
        DWORD asked = static_cast<DWORD>(length);
        ASSERT_FALSE(CryptEncrypt(direct.Key(), 0, TRUE, 0, roomy.data(), &asked, 1000));

        EXPECT_EQ(EncryptInto(aes, Message(length)), static_cast<int>(asked));
        EXPECT_EQ(aes.m_F_n_GetEncBufSize(), static_cast<int>(asked));
        EXPECT_EQ(Bytes(aes.m_F_p_GetEncBuf(), aes.m_F_p_GetEncBuf() + length), Message(length));
    }
    EXPECT_EQ(ToHex(Encrypted(aes, FromText("hello"))), "5725c7723e5a201c1d4019e3315af8cc");
}

TEST_F(Aes, DecryptionKnowsNoLimitOf1000Bytes)
{
    DirectAes direct(Phrase(), Iv());
    ASSERT_TRUE(direct.Ready());
    const Bytes secret = direct.Encrypt(Message(20000));
    CWinAES aes;
    ASSERT_TRUE(Init(aes, Phrase()));
    EXPECT_EQ(DecryptInto(aes, secret), 20000);
    EXPECT_EQ(DecryptionOf(aes), Message(20000));
}

TEST_F(Aes, NoBytesAndNoPointerAreEncryptedToABlockOfPadding)
{
    CWinAES aes;
    ASSERT_TRUE(Init(aes, Phrase()));
    EXPECT_EQ(aes.m_F_n_Encrypt(nullptr, 0), 16);
    EXPECT_EQ(ToHex(EncryptionOf(aes)), kAesVectors[0].secret);
}

TEST_F(Aes, NoBytesAreDecryptedToNoBytes)
{
    CWinAES aes;
    ASSERT_TRUE(Init(aes, Phrase()));
    DecryptInto(aes, FromHex(kAesVectors[2].secret));
    EXPECT_EQ(aes.m_F_n_Decrypt(Message(1).data(), 0), 0);
    EXPECT_EQ(aes.m_F_n_GetDecBufSize(), 0);
    EXPECT_EQ(aes.m_F_n_Decrypt(nullptr, 0), 0);
    EXPECT_EQ(aes.m_F_n_GetDecBufSize(), 0);
}

TEST_F(Aes, ACiphertextThatIsNoWholeNumberOfBlocksIsMeasuredByThePlatform)
{
    DirectAes direct(Phrase(), Iv());
    ASSERT_TRUE(direct.Ready());
    CWinAES aes;
    ASSERT_TRUE(Init(aes, Phrase()));
    for (const std::size_t length : {1u, 5u, 15u, 17u, 31u, 33u, 999u})
    {
        const DWORD expected = direct.DecryptedLength(Message(length));
        const FencedBytes secret(Message(length));
        EXPECT_EQ(aes.m_F_n_Decrypt(secret.Data(), static_cast<unsigned int>(length)),
                  static_cast<int>(expected))
            << length;
    }
    EXPECT_EQ(Decrypted(aes, FromHex(kAesVectors[2].secret)), Message(5));
}

TEST_F(Aes, ACiphertextOfAnotherPassPhraseIsMeasuredByThePlatform)
{
    DirectAes direct(BinaryPhrase(), Iv());
    ASSERT_TRUE(direct.Ready());
    CWinAES other;
    ASSERT_TRUE(Init(other, BinaryPhrase()));
    for (const Vector& vector : kAesVectors)
    {
        const Bytes secret = FromHex(vector.secret);
        EXPECT_EQ(DecryptInto(other, secret), static_cast<int>(direct.DecryptedLength(secret)));
        EXPECT_NE(DecryptionOf(other), Message(vector.length));
    }
}

TEST_F(Aes, APassPhraseThatIsMissingIsRefused)
{
    CWinAES aes;
    EXPECT_FALSE(aes.m_F_b_Init(nullptr, 5, Iv().data()));
    EXPECT_EQ(FieldsOf(aes).key, 0u);
}

// ---------------------------------------------------------------------------------------------
// RC4
// ---------------------------------------------------------------------------------------------

class Rsa : public Watched
{
};

struct LongVector
{
    std::size_t length;
    const char* sha1;
    const char* end;
};

// Made with openssl 3.0 (enc -rc4 over Message()), the key the MD5 of Phrase().
const LongVector kRc4Vectors[] = {
    {1, "c032adc1ff629c9b66f22749ad667e6beadf144b", "58"},
    {1000, "9812b012206dbae92183547e0414454cf2180938", "c76bead9dce7463bac19691b4d96463f"},
    {1001, "244bb2268608fdd53bfa9f7b8533651cdbe32efc", "6bead9dce7463bac19691b4d96463fe6"},
    {2000, "4c9afb322418de6a17a71050bc2bbb850041ba83", "a950c3ea090211fd5b89486586e3a41e"},
    {2500, "21f988dc802a085e5365f77b9fe541ddb3e9c5e5", "18576d14f507fae33197e6611fee448f"},
};

TEST_F(Rsa, CiphertextsAreThoseOfOpensslsRc4)
{
    CWinRSA rsa;
    ASSERT_TRUE(Init(rsa, Phrase()));
    for (const LongVector& vector : kRc4Vectors)
    {
        EXPECT_EQ(EncryptInto(rsa, Message(vector.length)), static_cast<int>(vector.length));
        const Bytes secret = EncryptionOf(rsa);
        EXPECT_EQ(Sha1Hex(secret), vector.sha1) << vector.length;
        const std::size_t shown = std::strlen(vector.end) / 2;
        EXPECT_EQ(ToHex(Bytes(secret.end() - static_cast<std::ptrdiff_t>(shown), secret.end())),
                  vector.end)
            << vector.length;
    }
}

TEST_F(Rsa, EncryptingAndDecryptingAreTheSameTransformation)
{
    CWinRSA rsa;
    ASSERT_TRUE(Init(rsa, Phrase()));
    for (const std::size_t length : {0u, 1u, 999u, 1000u, 1001u, 1999u, 2000u, 2001u, 12345u})
    {
        const Bytes secret = Encrypted(rsa, Message(length));
        EXPECT_EQ(secret.size(), length);
        EXPECT_EQ(Decrypted(rsa, Message(length)), secret) << length;
        EXPECT_EQ(Decrypted(rsa, secret), Message(length)) << length;
        EXPECT_EQ(Encrypted(rsa, secret), Message(length)) << length;
    }
}

TEST_F(Rsa, ThePassPhraseIsAnyBytesOfAnyNumber)
{
    CWinRSA rsa;
    const Bytes hello = FromText("hello");
    ASSERT_TRUE(Init(rsa, Phrase()));
    EXPECT_EQ(ToHex(Encrypted(rsa, hello)), "33be350e2a");
    ASSERT_TRUE(Init(rsa, BinaryPhrase()));
    EXPECT_EQ(ToHex(Encrypted(rsa, hello)), "9ff69b0e39");
    ASSERT_TRUE(Init(rsa, LongPhrase()));
    EXPECT_EQ(ToHex(Encrypted(rsa, hello)), "67853d1252");
}

TEST_F(Rsa, InitWithAPassPhraseOfNoBytesHashesTheEmptyMessage)
{
    CWinRSA rsa;
    ASSERT_TRUE(rsa.m_F_b_Init(Phrase().data(), 0));
    EXPECT_EQ(ToHex(Encrypted(rsa, FromText("hello"))), "0d09bf17db");
}

TEST_F(Rsa, AConstructorWithANegativeLengthLeavesTheObjectWithoutKey)
{
    CWinRSA rsa(Phrase().data(), -1);
    EXPECT_TRUE(AllClear(FieldsOf(rsa)));
    EXPECT_TRUE(platform.order.empty());
}

TEST_F(Rsa, TheProviderIsTheEnhancedOneOnEveryWindows)
{
    for (const DWORD version : {5u, 6u, 10u})
    {
        platform.majorVersion = version;
        CWinRSA rsa;
        EXPECT_TRUE(Init(rsa, Phrase()));
        EXPECT_EQ(platform.acquires.back().provider,
                  L"Microsoft Enhanced Cryptographic Provider v1.0");
        EXPECT_EQ(platform.acquires.back().type, 1u);
    }
}

TEST_F(Rsa, TheHashIsMd5AndTheKeyRc4)
{
    CWinRSA rsa;
    ASSERT_TRUE(Init(rsa, Phrase()));
    EXPECT_EQ(platform.hashAlgorithm, 0x8003u);
    EXPECT_EQ(platform.keyAlgorithm, 0x6801u);
}

TEST_F(Rsa, TheStepsOfInitComeInTheirOrderAndNoKeyParameterIsSet)
{
    CWinRSA rsa;
    ASSERT_TRUE(Init(rsa, Phrase()));
    EXPECT_EQ(platform.order, (Names{"CryptAcquireContextW", "CryptCreateHash", "CryptHashData",
                                     "CryptDeriveKey"}));
}

TEST_F(Rsa, UpTo1000BytesAreEncryptedByOneFinalCallWithACapacityOf1008)
{
    CWinRSA rsa;
    ASSERT_TRUE(Init(rsa, Phrase()));
    for (const std::size_t length : {1u, 999u, 1000u})
    {
        platform.encryptions.clear();
        EXPECT_EQ(EncryptInto(rsa, Message(length)), static_cast<int>(length));
        ASSERT_EQ(platform.encryptions.size(), 1u);
        const Transform& call = platform.encryptions[0];
        EXPECT_EQ(call.key, FieldsOf(rsa).key);
        EXPECT_EQ(call.hash, 0u);
        EXPECT_TRUE(call.final);
        EXPECT_EQ(call.flags, 0u);
        EXPECT_EQ(call.buffer, rsa.m_F_p_GetEncBuf());
        EXPECT_EQ(call.length, length);
        EXPECT_EQ(call.capacity, 1008u);
        EXPECT_EQ(call.input, Message(length));
    }
}

/// Holds for @p calls over Message(@p length) whose results are as long as the input.
void ExpectPieces(const std::vector<Transform>& calls, HCRYPTKEY key, unsigned char* buffer,
                  std::size_t length, DWORD capacity)
{
    const Bytes message = Message(length);
    ASSERT_EQ(calls.size(), (length + 999) / 1000);
    for (std::size_t i = 0; i < calls.size(); ++i)
    {
        const std::size_t start = i * 1000;
        const bool last = i + 1 == calls.size();
        const std::size_t size = last ? length - start : 1000;
        EXPECT_EQ(calls[i].key, key);
        EXPECT_EQ(calls[i].hash, 0u);
        EXPECT_EQ(calls[i].flags, 0u);
        EXPECT_EQ(calls[i].final != FALSE, last) << i;
        EXPECT_EQ(calls[i].buffer, buffer + start) << i;
        EXPECT_EQ(calls[i].length, size) << i;
        EXPECT_EQ(calls[i].capacity, capacity) << i;
        EXPECT_EQ(calls[i].input, Bytes(message.data() + start, message.data() + start + size));
    }
}

TEST_F(Rsa, MoreThan1000BytesAreEncryptedInPiecesOfWhichOnlyTheLastIsFinal)
{
    CWinRSA rsa;
    ASSERT_TRUE(Init(rsa, Phrase()));
    for (const std::size_t length : {1001u, 1999u, 2000u, 2001u, 2500u, 3000u})
    {
        platform.encryptions.clear();
        EXPECT_EQ(EncryptInto(rsa, Message(length)), static_cast<int>(length));
        ExpectPieces(platform.encryptions, FieldsOf(rsa).key, rsa.m_F_p_GetEncBuf(), length, 1008);
    }
}

TEST_F(Rsa, MoreThan1000BytesAreDecryptedInPiecesOfWhichOnlyTheLastIsFinal)
{
    CWinRSA rsa;
    ASSERT_TRUE(Init(rsa, Phrase()));
    for (const std::size_t length : {1u, 1000u, 1001u, 2000u, 2500u})
    {
        platform.decryptions.clear();
        EXPECT_EQ(DecryptInto(rsa, Message(length)), static_cast<int>(length));
        ExpectPieces(platform.decryptions, FieldsOf(rsa).key, rsa.m_F_p_GetDecBuf(), length, 0);
    }
}

TEST_F(Rsa, PiecesEqualAnEncryptionInOnePiece)
{
    CWinRSA rsa;
    ASSERT_TRUE(Init(rsa, Phrase()));
    DirectRc4 direct(Phrase());
    ASSERT_TRUE(direct.Ready());
    for (const std::size_t length : {1000u, 1001u, 2000u, 100000u})
    {
        EXPECT_EQ(Encrypted(rsa, Message(length)), direct.Encrypt(Message(length))) << length;
    }
}

TEST_F(Rsa, PiecesAreReadNeitherBeyondTheMessageNorWrittenIntoIt)
{
    CWinRSA rsa;
    ASSERT_TRUE(Init(rsa, Phrase()));
    for (const std::size_t length : {1000u, 1001u, 2000u, 2500u})
    {
        const FencedBytes message(Message(length));
        EXPECT_EQ(rsa.m_F_n_Encrypt(message.Data(), static_cast<int>(length)),
                  static_cast<int>(length));
        EXPECT_EQ(rsa.m_F_n_Decrypt(message.Data(), static_cast<int>(length)),
                  static_cast<int>(length));
        EXPECT_EQ(DecryptionOf(rsa), EncryptionOf(rsa));
    }
}

TEST_F(Rsa, TheKeyStreamRestartsWithTheNextCallAfterPieces)
{
    CWinRSA rsa;
    ASSERT_TRUE(Init(rsa, Phrase()));
    const Bytes first = Encrypted(rsa, Message(2500));
    EXPECT_EQ(Encrypted(rsa, Message(2500)), first);
    EXPECT_EQ(Encrypted(rsa, Message(10)), Bytes(first.begin(), first.begin() + 10));
    EXPECT_EQ(Decrypted(rsa, first), Message(2500));
    EXPECT_EQ(Encrypted(rsa, Message(1001)), Bytes(first.begin(), first.begin() + 1001));
}

TEST_F(Rsa, TheEncryptionBufferIsZeroBehindAMessageOfUpTo1000Bytes)
{
    CWinRSA rsa;
    ASSERT_TRUE(Init(rsa, Phrase()));
    for (const int length : {1, 500, 1000})
    {
        EncryptInto(rsa, Message(static_cast<std::size_t>(length)));
        unsigned char* const buffer = rsa.m_F_p_GetEncBuf();
        EXPECT_EQ(Bytes(buffer + length, buffer + 1008),
                  Bytes(static_cast<std::size_t>(1008 - length), 0));
    }
}

TEST_F(Rsa, TheEncryptionBufferHas1008ZerosBehindALongerMessage)
{
    CWinRSA rsa;
    ASSERT_TRUE(Init(rsa, Phrase()));
    EncryptInto(rsa, Message(2500));
    unsigned char* const end = rsa.m_F_p_GetEncBuf() + 2500;
    EXPECT_EQ(Bytes(end, end + 1008), Bytes(1008, 0));
}

TEST_F(Rsa, TheDecryptionBufferHas1000ZerosBehindTheMessage)
{
    CWinRSA rsa;
    ASSERT_TRUE(Init(rsa, Phrase()));
    for (const int length : {0, 5, 1000, 1001, 2500})
    {
        DecryptInto(rsa, Message(static_cast<std::size_t>(length)));
        unsigned char* const end = rsa.m_F_p_GetDecBuf() + length;
        EXPECT_EQ(Bytes(end, end + 1000), Bytes(1000, 0)) << length;
    }
}

TEST_F(Rsa, TheBuffersHaveTheRoomThatThePlatformIsTold)
{
    CWinRSA rsa;
    ASSERT_TRUE(Init(rsa, Phrase()));
    for (const std::size_t length : {0u, 5u, 1000u, 1001u, 2500u})
    {
        EncryptInto(rsa, Message(length));
        EXPECT_GE(RoomAt(rsa.m_F_p_GetEncBuf()), length <= 1000 ? 1008 : length + 1008);
        DecryptInto(rsa, Message(length));
        EXPECT_GE(RoomAt(rsa.m_F_p_GetDecBuf()), length + 1000);
    }
}

TEST_F(Rsa, DecryptedTextIsTerminatedByAZeroByte)
{
    CWinRSA rsa;
    ASSERT_TRUE(Init(rsa, Phrase()));
    EXPECT_EQ(DecryptInto(rsa, FromHex("33be350e2a")), 5);
    EXPECT_EQ(rsa.m_F_n_GetDecBufSize(), 5);
    EXPECT_STREQ(reinterpret_cast<const char*>(rsa.m_F_p_GetDecBuf()), "hello");
}

TEST_F(Rsa, TheZeroByteIsWrittenBehindTheReportedLength)
{
    platform.decrypt = [](unsigned char* data, DWORD* length)
    {
        std::memset(data, 'd', *length);
        *length -= 2;
        return TRUE;
    };
    CWinRSA rsa;
    ASSERT_TRUE(Init(rsa, Phrase()));
    EXPECT_EQ(DecryptInto(rsa, Message(10)), 8);
    EXPECT_EQ(Bytes(rsa.m_F_p_GetDecBuf(), rsa.m_F_p_GetDecBuf() + 10), FromText("dddddddd\0d"s));
    EXPECT_EQ(DecryptInto(rsa, Message(1010)), 1006);
    EXPECT_EQ(rsa.m_F_p_GetDecBuf()[1005], 'd');
    EXPECT_EQ(rsa.m_F_p_GetDecBuf()[1006], 0);
}

TEST_F(Rsa, EncryptionWritesNoZeroByteBehindTheReportedLength)
{
    platform.encrypt = [](unsigned char* data, DWORD* length)
    {
        std::memset(data, 'e', *length);
        *length -= 2;
        return TRUE;
    };
    CWinRSA rsa;
    ASSERT_TRUE(Init(rsa, Phrase()));
    EXPECT_EQ(EncryptInto(rsa, Message(10)), 8);
    EXPECT_EQ(Bytes(rsa.m_F_p_GetEncBuf(), rsa.m_F_p_GetEncBuf() + 10), Bytes(10, 'e'));
}

TEST_F(Rsa, EachPieceIsWrittenWhereThePreviousOneEnded)
{
    for (const int change : {-100, 4})
    {
        const Substitute substitute = [change](unsigned char* data, DWORD* length)
        {
            const unsigned char mark = data[0];
            *length = static_cast<DWORD>(static_cast<int>(*length) + change);
            std::memset(data, mark, *length);
            return TRUE;
        };
        platform.encrypt = substitute;
        platform.decrypt = substitute;
        platform.encryptions.clear();
        platform.decryptions.clear();
        Bytes message(2500, 1);
        std::fill(message.begin() + 1000, message.begin() + 2000, static_cast<unsigned char>(2));
        std::fill(message.begin() + 2000, message.end(), static_cast<unsigned char>(3));
        const std::size_t piece = static_cast<std::size_t>(1000 + change);
        Bytes packed(2 * piece, 1);
        std::fill(packed.begin() + static_cast<std::ptrdiff_t>(piece), packed.end(),
                  static_cast<unsigned char>(2));
        packed.insert(packed.end(), static_cast<std::size_t>(500 + change),
                      static_cast<unsigned char>(3));

        CWinRSA rsa;
        ASSERT_TRUE(Init(rsa, Phrase()));
        EXPECT_EQ(EncryptInto(rsa, message), 2500 + 3 * change);
        EXPECT_EQ(EncryptionOf(rsa), packed);
        ASSERT_EQ(platform.encryptions.size(), 3u);
        EXPECT_EQ(platform.encryptions[1].buffer, rsa.m_F_p_GetEncBuf() + piece);
        EXPECT_EQ(platform.encryptions[2].buffer, rsa.m_F_p_GetEncBuf() + 2 * piece);
        EXPECT_EQ(platform.encryptions[1].input, Bytes(1000, 2));
        EXPECT_EQ(platform.encryptions[2].input, Bytes(500, 3));

        EXPECT_EQ(DecryptInto(rsa, message), 2500 + 3 * change);
        EXPECT_EQ(DecryptionOf(rsa), packed);
        EXPECT_EQ(rsa.m_F_p_GetDecBuf()[packed.size()], 0);
    }
}

TEST_F(Rsa, PiecesWithoutKeyAreLeftAsTheyAre)
{
    CWinRSA rsa;
    EXPECT_EQ(EncryptInto(rsa, Message(2500)), 2500);
    EXPECT_EQ(EncryptionOf(rsa), Message(2500));
    EXPECT_EQ(DecryptInto(rsa, Message(2500)), 2500);
    EXPECT_EQ(DecryptionOf(rsa), Message(2500));
    EXPECT_EQ(rsa.m_F_p_GetDecBuf()[2500], 0);
}

TEST_F(Rsa, NoBytesAreEncryptedToABufferOf1008Zeros)
{
    CWinRSA rsa;
    ASSERT_TRUE(Init(rsa, Phrase()));
    EncryptInto(rsa, Message(30));
    EXPECT_EQ(rsa.m_F_n_Encrypt(Message(1).data(), 0), 0);
    EXPECT_EQ(rsa.m_F_n_GetEncBufSize(), 0);
    ASSERT_NE(rsa.m_F_p_GetEncBuf(), nullptr);
    EXPECT_EQ(Bytes(rsa.m_F_p_GetEncBuf(), rsa.m_F_p_GetEncBuf() + 1008), Bytes(1008, 0));
}

TEST_F(Rsa, NoBytesAreDecryptedToAnEmptyText)
{
    CWinRSA rsa;
    ASSERT_TRUE(Init(rsa, Phrase()));
    DecryptInto(rsa, Message(30));
    EXPECT_EQ(rsa.m_F_n_Decrypt(Message(1).data(), 0), 0);
    EXPECT_EQ(rsa.m_F_n_GetDecBufSize(), 0);
    ASSERT_NE(rsa.m_F_p_GetDecBuf(), nullptr);
    EXPECT_EQ(rsa.m_F_p_GetDecBuf()[0], 0);
    EXPECT_EQ(Encrypted(rsa, FromText("hello")), FromHex("33be350e2a"));
}

TEST_F(Rsa, NegativeLengthsOfMessagesAreRejected)
{
    CWinRSA rsa;
    ASSERT_TRUE(Init(rsa, Phrase()));
    const FencedBytes message(Message(8));
    for (const int length : {-1, -1000, -1008, -2000, INT_MIN})
    {
        EncryptInto(rsa, Message(30));
        DecryptInto(rsa, Message(30));
        EXPECT_EQ(rsa.m_F_n_Encrypt(message.Data(), length), 0);
        EXPECT_EQ(rsa.m_F_n_GetEncBufSize(), 0);
        EXPECT_EQ(rsa.m_F_p_GetEncBuf(), nullptr);
        EXPECT_EQ(rsa.m_F_n_Decrypt(message.Data(), length), 0);
        EXPECT_EQ(rsa.m_F_n_GetDecBufSize(), 0);
        EXPECT_EQ(rsa.m_F_p_GetDecBuf(), nullptr);
    }
    EXPECT_EQ(Encrypted(rsa, FromText("hello")), FromHex("33be350e2a"));
}

TEST_F(Rsa, APassPhraseOfNegativeLengthIsRejected)
{
    const FencedBytes phrase(Phrase());
    for (const int length : {-1, INT_MIN})
    {
        CWinRSA rsa;
        ASSERT_TRUE(Init(rsa, Phrase()));
        EXPECT_FALSE(rsa.m_F_b_Init(phrase.Data(), length));
        EXPECT_EQ(FieldsOf(rsa).key, 0u);
    }
}

TEST_F(Rsa, APassPhraseThatIsMissingIsRefused)
{
    CWinRSA rsa;
    EXPECT_FALSE(rsa.m_F_b_Init(nullptr, 5));
    EXPECT_EQ(FieldsOf(rsa).key, 0u);
}

}  // namespace
