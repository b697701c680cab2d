#include <gtest/gtest.h>

#include <climits>
#include <cstring>

#include "crypto/ciphers.h"
#include "crypto/guarded_memory.h"
#include "crypto/platform_calls.h"

namespace
{

using namespace ostrel::test;
using Calls = std::vector<std::string>;

constexpr char kProvider[] = "null; Microsoft Enhanced Cryptographic Provider v1.0; 1; ";

}  // namespace

// ---- Deriving the key ---------------------------------------------------------------------------

TEST(RsaCipher, AsksForTheEnhancedProviderWithoutContainerWhateverTheWindows)
{
    for (const DWORD version : {5U, 6U, 10U})
    {
        PlatformCalls calls;
        calls.SetMajorVersion(version);
        Rsa cipher(kPassPhrase);
        EXPECT_EQ(calls.CallsOf("CryptAcquireContextW").front(), std::string(kProvider) + "0");
        EXPECT_EQ(calls.CallsOf("GetVersionExW"), Calls());
    }
}

TEST(RsaCipher, WithoutAProviderThereIsNoKey)
{
    PlatformCalls calls;
    Rsa cipher;
    calls.RefuseContexts();
    EXPECT_FALSE(cipher.Init(kPassPhrase));
    EXPECT_EQ(calls.CallsOf("CryptAcquireContextW"),
              (Calls{std::string(kProvider) + "0", std::string(kProvider) + "8"}));
    EXPECT_EQ(calls.Names().size(), 2U);
}

TEST(RsaCipher, DerivesA128BitRc4KeyFromAnMd5HashAndSetsNoParameters)
{
    PlatformCalls calls;
    Rsa cipher(std::string("abc"));
    EXPECT_EQ(calls.CallsOf("CryptCreateHash"), Calls{std::to_string(0x8003) + "; 0; 0"});
    EXPECT_EQ(calls.CallsOf("CryptHashData"), Calls{"616263; 0"});
    EXPECT_EQ(calls.CallsOf("CryptDeriveKey"),
              Calls{std::to_string(0x6801) + "; " + std::to_string(0x00800000)});
    EXPECT_EQ(calls.Names(), Rsa::SetUp());
}

TEST(RsaCipher, APassPhraseOfNegativeLengthIsRefused)
{
    PlatformCalls calls;
    for (const int length : {-1, -1000, INT_MIN})
    {
        Rsa constructed(BytesOf(kPassPhrase), length);
        EXPECT_EQ(calls.Names(), Calls());
    }
    Rsa cipher(kPassPhrase);
    for (const int length : {-1, -1000, INT_MIN})
    {
        EXPECT_FALSE(cipher.Init(BytesOf(kPassPhrase), length));
        EXPECT_FALSE(cipher.Init(nullptr, length));
    }
    EXPECT_EQ(calls.CountOpen(), 0U);
    const Bytes data = Sample(20);
    EXPECT_EQ(Encrypt(cipher, data), data) << "the key before is gone";
}

// ---- Both directions ----------------------------------------------------------------------------

TEST(RsaCipher, EncryptsUpTo1000BytesInOneCall)
{
    Rsa cipher(kPassPhrase);
    PlatformCalls calls;
    Encrypt(cipher, Sample(0));
    Encrypt(cipher, Sample(999));
    Encrypt(cipher, Sample(1000));
    EXPECT_EQ(calls.CallsOf("CryptEncrypt"),
              (Calls{"0; 1; 0; 0; 1008", "0; 1; 0; 999; 1008", "0; 1; 0; 1000; 1008"}));
}

TEST(RsaCipher, EncryptsMoreInPiecesOf1000WithOnlyTheLastFinal)
{
    Rsa cipher(kPassPhrase);
    PlatformCalls calls;
    Encrypt(cipher, Sample(1001));
    Encrypt(cipher, Sample(2000));
    EXPECT_EQ(calls.CallsOf("CryptEncrypt"), (Calls{"0; 0; 0; 1000; 1008", "0; 1; 0; 1; 1008",
                                                    "0; 0; 0; 1000; 1008", "0; 1; 0; 1000; 1008"}));
}

TEST(RsaCipher, DecryptsInTheSamePieces)
{
    Rsa cipher(kPassPhrase);
    PlatformCalls calls;
    Decrypt(cipher, Sample(0));
    Decrypt(cipher, Sample(1000));
    Decrypt(cipher, Sample(2001));
    EXPECT_EQ(calls.CallsOf("CryptDecrypt"), (Calls{"0; 1; 0; 0", "0; 1; 0; 1000", "0; 0; 0; 1000",
                                                    "0; 0; 0; 1000", "0; 1; 0; 1"}));
}

TEST(RsaCipher, TheKeyStreamRunsOnAcrossPieces)
{
    // The result of zeros is the key stream itself.
    Rsa cipher(kPassPhrase);
    const Bytes stream = Encrypt(cipher, Bytes(1001, 0));
    const Bytes first = Encrypt(cipher, Bytes(1000, 0));
    EXPECT_TRUE(std::equal(first.begin(), first.end(), stream.begin()));
    const Bytes longer = Encrypt(cipher, Bytes(5000, 0));
    EXPECT_TRUE(std::equal(stream.begin(), stream.end(), longer.begin()));
    EXPECT_FALSE(std::equal(longer.begin(), longer.begin() + 1000, longer.begin() + 1000))
        << "it did not begin anew";
}

TEST(RsaCipher, BothDirectionsAreTheSameAndKeepTheLength)
{
    Rsa cipher(kPassPhrase);
    for (const int length : {1, 5, 999, 1000, 1001, 1999, 2000, 2001, 12345})
    {
        const Bytes data = Sample(static_cast<std::size_t>(length));
        EXPECT_EQ(cipher.m_F_n_Encrypt(data.data(), length), length);
        EXPECT_EQ(cipher.m_F_n_Decrypt(data.data(), length), length);
        EXPECT_EQ(Encrypted(cipher), Decrypted(cipher)) << length;
        EXPECT_EQ(Decrypt(cipher, Encrypted(cipher)), data) << length;
    }
}

TEST(RsaCipher, NothingEncryptedIs1008Zeros)
{
    Rsa cipher(kPassPhrase);
    EXPECT_EQ(cipher.m_F_n_Encrypt(BytesOf(kPassPhrase), 0), 0);
    EXPECT_EQ(cipher.m_F_n_GetEncBufSize(), 0);
    const unsigned char* const buffer = cipher.m_F_p_GetEncBuf();
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(Bytes(buffer, buffer + 1008), Bytes(1008));
}

TEST(RsaCipher, ZerosFollowAnEncryption)
{
    GuardedMemory memory;
    Rsa cipher(kPassPhrase);
    for (const std::size_t length : {1, 1000, 1001, 3000})
    {
        Encrypt(cipher, Sample(length));
        const std::size_t size = length <= 1000 ? 1008 : length + 1008;
        EXPECT_EQ(memory.Sizes().back(), size);
        const unsigned char* const buffer = cipher.m_F_p_GetEncBuf();
        EXPECT_EQ(Bytes(buffer + length, buffer + size), Bytes(size - length)) << length;
    }
}

TEST(RsaCipher, AZeroByteFollowsADecryption)
{
    GuardedMemory memory;
    Rsa cipher(kPassPhrase);
    Rsa noKey;
    for (const std::size_t length : {0, 1, 999, 1000, 1001, 2000, 3500})
    {
        for (Rsa* object : {&cipher, &noKey})
        {
            EXPECT_EQ(object->m_F_n_Decrypt(Sample(length).data(), static_cast<int>(length)),
                      static_cast<int>(length));
            EXPECT_EQ(object->m_F_p_GetDecBuf()[length], 0) << length;
            EXPECT_EQ(memory.Sizes().back(), length + 1000);
        }
    }
}

TEST(RsaCipher, TheZeroByteStandsBehindWhatTheProviderReports)
{
    Rsa cipher(kPassPhrase);
    PlatformCalls calls;
    calls.ReportLength(7);
    const Bytes data(500, 'x');
    EXPECT_EQ(cipher.m_F_n_Decrypt(data.data(), 500), 7);
    EXPECT_STREQ(reinterpret_cast<const char*>(cipher.m_F_p_GetDecBuf()), "xxxxxxx");
}

TEST(RsaCipher, ReportsTheSumOfWhatTheProviderReports)
{
    Rsa cipher(kPassPhrase);
    PlatformCalls calls;
    calls.ReportLength(7);
    EXPECT_EQ(cipher.m_F_n_Encrypt(Sample(2500).data(), 2500), 21);
    EXPECT_EQ(cipher.m_F_n_Decrypt(Sample(2500).data(), 2500), 21);
}

TEST(RsaCipher, AProviderThatReportsTooMuchHasNothingWrittenOutsideTheResult)
{
    GuardedMemory memory;
    Rsa cipher(kPassPhrase);
    PlatformCalls calls;
    for (const DWORD length : {1008U, 5000U, 0x7FFFFFFFU, 0xFFFFFFF0U})
    {
        calls.ReportLength(length);
        cipher.m_F_n_Encrypt(Sample(5000).data(), 5000);
        cipher.m_F_n_Decrypt(Sample(5000).data(), 5000);
        cipher.m_F_n_Decrypt(Sample(10).data(), 10);
    }
}

// ---- Lengths that cannot be ---------------------------------------------------------------------

TEST(RsaCipher, AMessageOfNegativeLengthIsNoResult)
{
    Rsa cipher(kPassPhrase);
    const Bytes data = Sample(2000);
    for (const int length : {-1, -1000, -1001, INT_MIN})
    {
        Encrypt(cipher, data);
        Decrypt(cipher, data);
        PlatformCalls calls;
        EXPECT_EQ(cipher.m_F_n_Encrypt(data.data(), length), 0);
        EXPECT_EQ(cipher.m_F_n_GetEncBufSize(), 0);
        EXPECT_EQ(cipher.m_F_p_GetEncBuf(), nullptr);
        EXPECT_EQ(cipher.m_F_n_Decrypt(data.data(), length), 0);
        EXPECT_EQ(cipher.m_F_n_GetDecBufSize(), 0);
        EXPECT_EQ(cipher.m_F_p_GetDecBuf(), nullptr);
        EXPECT_EQ(cipher.m_F_n_Encrypt(nullptr, length), 0);
        EXPECT_EQ(calls.Names(), Calls());
    }
    EXPECT_EQ(Decrypt(cipher, Encrypt(cipher, data)), data);
}

TEST(RsaCipher, TheGreatestLengthAsksForEnoughMemoryAndEndsWithoutIt)
{
    GuardedMemory memory;
    memory.SetExhausted(true);
    Rsa cipher(kPassPhrase);
    const Bytes data = Sample(16);
    EXPECT_EQ(cipher.m_F_n_Encrypt(data.data(), INT_MAX), 0);
    EXPECT_EQ(memory.Sizes().back(), std::size_t{INT_MAX} + 1008);
    EXPECT_EQ(cipher.m_F_n_Decrypt(data.data(), INT_MAX), 0);
    EXPECT_EQ(memory.Sizes().back(), std::size_t{INT_MAX} + 1000);
}
