#include <gtest/gtest.h>

#include <type_traits>

#include "crypto/ciphers.h"
#include "crypto/guarded_memory.h"
#include "crypto/platform_calls.h"

namespace
{

using namespace ostrel::test;
using Calls = std::vector<std::string>;

// A result's size once its message was padded to whole blocks.
int Padded(unsigned int length)
{
    return static_cast<int>((length / 16 + 1) * 16);
}

}  // namespace

// ---- Deriving the key ---------------------------------------------------------------------------

TEST(AesCipher, AsksForTheAesProviderWithoutContainer)
{
    PlatformCalls calls;
    Aes cipher(kPassPhrase);
    EXPECT_EQ(calls.CallsOf("CryptAcquireContextW").front(),
              "null; Microsoft Enhanced RSA and AES Cryptographic Provider; 24; 0");
}

TEST(AesCipher, AsksWindowsForItsVersionAtEveryInit)
{
    PlatformCalls calls;
    Aes cipher;
    EXPECT_EQ(calls.CallsOf("GetVersionExW").size(), 0U);
    cipher.Init(kPassPhrase);
    cipher.Init(kPassPhrase);
    EXPECT_EQ(calls.CallsOf("GetVersionExW").size(), 2U);
}

TEST(AesCipher, ProviderOfAnOldWindowsIsAPrototype)
{
    for (const DWORD version : {4U, 5U})
    {
        PlatformCalls calls;
        calls.SetMajorVersion(version);
        Aes cipher;
        cipher.Init(kPassPhrase);
        const Calls attempts = calls.CallsOf("CryptAcquireContextW");
        EXPECT_EQ(attempts[0],
                  "null; Microsoft Enhanced RSA and AES Cryptographic Provider (Prototype); 24; 0");
        if (attempts.size() > 1)
        {
            EXPECT_EQ(
                attempts[1],
                "null; Microsoft Enhanced RSA and AES Cryptographic Provider (Prototype); 24; 8");
        }
    }
}

TEST(AesCipher, ProviderOfALaterWindowsIsNone)
{
    for (const DWORD version : {6U, 7U, 10U, 0xFFFFFFFFU})
    {
        PlatformCalls calls;
        calls.SetMajorVersion(version);
        Aes cipher(kPassPhrase);
        EXPECT_EQ(calls.CallsOf("CryptAcquireContextW").front(),
                  "null; Microsoft Enhanced RSA and AES Cryptographic Provider; 24; 0");
    }
}

TEST(AesCipher, WithoutAProviderThereIsNoKey)
{
    PlatformCalls calls;
    Aes cipher;
    calls.RefuseContexts();
    EXPECT_FALSE(cipher.Init(kPassPhrase));
    EXPECT_EQ(calls.Names(), (Calls{"CryptAcquireContextW", "CryptAcquireContextW"}));
}

TEST(AesCipher, DerivesA128BitAesKeyFromASha1Hash)
{
    PlatformCalls calls;
    Aes cipher(std::string("abc"));
    EXPECT_EQ(calls.CallsOf("CryptCreateHash"), Calls{std::to_string(0x8004) + "; 0; 0"});
    EXPECT_EQ(calls.CallsOf("CryptHashData"), Calls{"616263; 0"});
    EXPECT_EQ(calls.CallsOf("CryptDeriveKey"),
              Calls{std::to_string(0x660E) + "; " + std::to_string(0x00800000)});
}

TEST(AesCipher, SetsTheIvThePaddingAndTheModeInThisOrder)
{
    PlatformCalls calls;
    Aes cipher(kPassPhrase);
    EXPECT_EQ(calls.CallsOf("CryptSetKeyParam"), (Calls{"1; 00112233445566778899aabbccddeeff; 0",
                                                        "3; 01000000; 0", "4; 04000000; 0"}));
    EXPECT_EQ(calls.Names(), Aes::SetUp());
}

TEST(AesCipher, IsConstructedWithAllThreeArgumentsOrWithNone)
{
    using Text = const unsigned char*;
    EXPECT_TRUE(std::is_default_constructible_v<CWinAES>);
    EXPECT_TRUE((std::is_constructible_v<CWinAES, Text, unsigned int, Text>));
    EXPECT_FALSE((std::is_constructible_v<CWinAES, Text, unsigned int>));
    EXPECT_FALSE((std::is_constructible_v<CWinAES, Text>));
}

TEST(AesCipher, ANullIvIsLeftToTheProvider)
{
    PlatformCalls calls;
    CWinAES cipher;
    EXPECT_FALSE(cipher.m_F_b_Init(BytesOf(kPassPhrase), 13, nullptr));
    EXPECT_EQ(calls.CallsOf("CryptSetKeyParam"), Calls{"1; null; 0"});
}

TEST(AesCipher, AnotherIvMakesAnotherResult)
{
    Aes cipher(kPassPhrase);
    Bytes iv(std::begin(kIv), std::end(kIv));
    iv.back() ^= 1;
    CWinAES other(BytesOf(kPassPhrase), static_cast<unsigned int>(kPassPhrase.size()), iv.data());
    EXPECT_NE(Encrypt(cipher, Sample(20)), Encrypt(other, Sample(20)));
}

TEST(AesCipher, TheIvMayLieInItsOwnResults)
{
    GuardedMemory memory;
    Aes cipher(kPassPhrase);
    const Bytes iv = Encrypt(cipher, Sample(30));
    ASSERT_TRUE(cipher.m_F_b_Init(BytesOf(kPassPhrase), 13, cipher.m_F_p_GetEncBuf()));
    CWinAES other(BytesOf(kPassPhrase), 13, iv.data());
    EXPECT_EQ(Encrypt(cipher, Sample(20)), Encrypt(other, Sample(20)));
}

// ---- Encryption ---------------------------------------------------------------------------------

TEST(AesCipher, EncryptsAWholeMessageWithADeclaredCapacityOf1000)
{
    Aes cipher(kPassPhrase);
    PlatformCalls calls;
    Encrypt(cipher, Sample(5));
    Encrypt(cipher, Sample(2100));
    EXPECT_EQ(calls.CallsOf("CryptEncrypt"), (Calls{"0; 1; 0; 5; 1000", "0; 1; 0; 2100; 1000"}));
}

TEST(AesCipher, PadsEveryMessageToTheNextBlock)
{
    Aes cipher(kPassPhrase);
    for (const unsigned int length : {0U, 1U, 5U, 15U, 16U, 31U, 32U, 33U, 64U, 975U, 976U, 991U})
    {
        const Bytes data = Sample(length);
        EXPECT_EQ(cipher.m_F_n_Encrypt(data.data(), length), Padded(length)) << length;
        EXPECT_EQ(cipher.m_F_n_GetEncBufSize(), Padded(length)) << length;
        EXPECT_EQ(Decrypt(cipher, Encrypted(cipher)), data) << length;
    }
}

TEST(AesCipher, AMessageWhoseEncryptionExceeds1000BytesIsRefusedAndLeftAsItIs)
{
    GuardedMemory memory;
    Aes cipher(kPassPhrase);
    for (unsigned int length = 992; length <= 2100; ++length)
    {
        Bytes expected = Sample(length);
        ASSERT_EQ(cipher.m_F_n_Encrypt(expected.data(), length), Padded(length)) << length;
        // As many bytes can be read as are reported.
        expected.resize(static_cast<std::size_t>(Padded(length)));
        ASSERT_EQ(Encrypted(cipher), expected) << length;
    }
}

TEST(AesCipher, ReportsWhatTheProviderReports)
{
    Aes cipher(kPassPhrase);
    PlatformCalls calls;
    calls.ReportLength(7);
    EXPECT_EQ(Encrypt(cipher, Sample(500)).size(), 7U);
    EXPECT_EQ(Decrypt(cipher, Sample(500)).size(), 7U);
}

// ---- Decryption ---------------------------------------------------------------------------------

TEST(AesCipher, DecryptsAWholeMessage)
{
    Aes cipher(kPassPhrase);
    PlatformCalls calls;
    Decrypt(cipher, Sample(16));
    Decrypt(cipher, Sample(4096));
    EXPECT_EQ(calls.CallsOf("CryptDecrypt"), (Calls{"0; 1; 0; 16", "0; 1; 0; 4096"}));
}

TEST(AesCipher, DecryptingNothingIsNothing)
{
    GuardedMemory memory;
    Aes cipher(kPassPhrase);
    Aes noKey;
    for (Aes* object : {&cipher, &noKey})
    {
        EXPECT_EQ(object->m_F_n_Decrypt(kIv, 0), 0);
        EXPECT_EQ(object->m_F_n_GetDecBufSize(), 0);
        EXPECT_NE(object->m_F_p_GetDecBuf(), nullptr);
    }
}

TEST(AesCipher, AnIncompleteBlockIsNotTakenForMoreThanItIs)
{
    GuardedMemory memory;
    Aes cipher(kPassPhrase);
    for (unsigned int length = 1; length <= 200; ++length)
    {
        const Bytes data = Sample(length, length);
        const int size = cipher.m_F_n_Decrypt(data.data(), length);
        ASSERT_GE(size, 0) << length;
        ASSERT_LE(size, static_cast<int>(length)) << length;
        ASSERT_EQ(Decrypted(cipher).size(), static_cast<std::size_t>(size));
    }
}

TEST(AesCipher, WithoutItsPaddingAMessageKeepsItsLength)
{
    // The last byte of the plain message, 0xFF, is no padding.
    Aes cipher(kPassPhrase);
    Bytes encrypted = Encrypt(cipher, Bytes(32, 0xFF));
    encrypted.resize(32);
    EXPECT_EQ(cipher.m_F_n_Decrypt(encrypted.data(), 32), 32);
}

// ---- Lengths that cannot be ---------------------------------------------------------------------

TEST(AesCipher, TheGreatestLengthsAskForEnoughMemoryAndEndWithoutIt)
{
    GuardedMemory memory;
    memory.SetExhausted(true);
    Aes cipher(kPassPhrase);
    const Bytes data = Sample(16);
    for (const unsigned int length : {0x7FFFFFFFU, 0x80000000U, 0xFFFFFFE0U, 0xFFFFFFFFU})
    {
        EXPECT_EQ(cipher.m_F_n_Encrypt(data.data(), length), 0);
        EXPECT_GT(memory.Sizes().back(), std::size_t{length});
        EXPECT_EQ(cipher.m_F_n_Decrypt(data.data(), length), 0);
        EXPECT_GT(memory.Sizes().back(), std::size_t{length});
        EXPECT_EQ(cipher.m_F_p_GetEncBuf(), nullptr);
        EXPECT_EQ(cipher.m_F_p_GetDecBuf(), nullptr);
    }
}
