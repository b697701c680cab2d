#include "crypto/cipher_message.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <numeric>
#include <vector>

namespace
{

using ostrel::crypto::LayOutAesDecryption;
using ostrel::crypto::LayOutAesEncryption;
using ostrel::crypto::LayOutRc4Decryption;
using ostrel::crypto::LayOutRc4Encryption;
using ostrel::crypto::MessageLayout;
using ostrel::crypto::ProcessMessage;

constexpr std::uint32_t kLargest = std::numeric_limits<std::uint32_t>::max();

/// A piece as the cipher was given it.
struct Piece
{
    std::size_t position;
    std::uint32_t length;
    bool isFinal;

    bool operator==(const Piece& other) const
    {
        return position == other.position && length == other.length && isFinal == other.isFinal;
    }
};

std::ostream& operator<<(std::ostream& out, const Piece& piece)
{
    return out << piece.length << " at " << piece.position << (piece.isFinal ? ", final" : "");
}

std::vector<unsigned char> Counting(std::size_t length)
{
    std::vector<unsigned char> bytes(length);
    std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(1));
    return bytes;
}

/// Processes a message in a block of exactly the size that its layout asks for.
class Message
{
public:
    Message(const MessageLayout& layout, std::uint32_t length)
        : vm_layout(layout), vm_nLength(length), vm_block(layout.blockSize)
    {
    }

    /// @param change what the cipher adds to each piece's length in its report; the bytes are
    /// inverted.
    std::size_t Process(int change = 0)
    {
        const std::vector<unsigned char> data = Counting(vm_nLength);
        return ProcessMessage(
            vm_layout, data.data(), vm_nLength, vm_block.data(),
            [&](unsigned char* bytes, std::uint32_t length, bool isFinal)
            {
                const auto position = bytes - vm_block.data();
                vm_pieces.push_back({static_cast<std::size_t>(position), length, isFinal});
                std::transform(bytes, bytes + length, bytes,
                               [](unsigned char byte) { return ~byte; });
                return length + static_cast<std::uint32_t>(change);
            });
    }

    const std::vector<Piece>& Pieces() const { return vm_pieces; }
    const std::vector<unsigned char>& Block() const { return vm_block; }

private:
    MessageLayout vm_layout;
    std::uint32_t vm_nLength;
    std::vector<unsigned char> vm_block;
    std::vector<Piece> vm_pieces;
};

}  // namespace

TEST(CipherMessage, AnAesBlockHoldsThePaddedMessageOfEveryLength)
{
    for (std::uint32_t length = 0; length <= 2100; ++length)
    {
        const std::size_t padded = (length / 16 + 1) * std::size_t{16};
        ASSERT_GE(LayOutAesEncryption(length).blockSize, padded) << length;
    }
}

TEST(CipherMessage, AnAesBlockHasTheCapacityThatIsDeclared)
{
    for (const std::uint32_t length : {0U, 5U, 991U, 992U, 1000U, 2100U})
    {
        EXPECT_EQ(LayOutAesEncryption(length).capacity, 1000U) << length;
        EXPECT_GE(LayOutAesEncryption(length).blockSize, 1000U) << length;
    }
}

TEST(CipherMessage, AnAesBlockHoldsTheWholeBlocksOfAMessageToDecrypt)
{
    for (std::uint32_t length = 0; length <= 2100; ++length)
    {
        ASSERT_GE(LayOutAesDecryption(length).blockSize, (length + 15) / 16 * std::size_t{16})
            << length;
        ASSERT_GE(LayOutAesDecryption(length).blockSize, 1U) << length;
    }
}

TEST(CipherMessage, AnRc4BlockFor1000BytesOrLessHas1008)
{
    for (const std::uint32_t length : {0U, 1U, 999U, 1000U})
    {
        EXPECT_EQ(LayOutRc4Encryption(length).blockSize, 1008U) << length;
    }
}

TEST(CipherMessage, AnRc4BlockForMoreHas1008MoreThanTheMessage)
{
    EXPECT_EQ(LayOutRc4Encryption(1001).blockSize, 2009U);
    EXPECT_EQ(LayOutRc4Encryption(123456).blockSize, 124464U);
}

TEST(CipherMessage, AnRc4BlockToDecryptHas1000MoreThanTheMessage)
{
    EXPECT_EQ(LayOutRc4Decryption(0).blockSize, 1000U);
    EXPECT_EQ(LayOutRc4Decryption(1000).blockSize, 2000U);
    EXPECT_EQ(LayOutRc4Decryption(2500).blockSize, 3500U);
}

TEST(CipherMessage, TheGreatestLengthsDoNotOverflow)
{
    for (std::uint32_t length = kLargest; length > kLargest - 64; --length)
    {
        const auto least = std::size_t{length};
        ASSERT_GT(LayOutAesEncryption(length).blockSize, least);
        ASSERT_GT(LayOutAesDecryption(length).blockSize, least);
        ASSERT_EQ(LayOutRc4Encryption(length).blockSize, least + 1008);
        ASSERT_EQ(LayOutRc4Decryption(length).blockSize, least + 1000);
    }
}

TEST(CipherMessage, AnAesMessageIsOnePieceWhateverItsLength)
{
    for (const std::uint32_t length : {0U, 1U, 1000U, 1001U, 50000U})
    {
        const std::vector<Piece> onePiece = {{0, length, true}};
        Message encryption(LayOutAesEncryption(length), length);
        encryption.Process();
        EXPECT_EQ(encryption.Pieces(), onePiece);
        Message decryption(LayOutAesDecryption(length), length);
        decryption.Process();
        EXPECT_EQ(decryption.Pieces(), onePiece);
    }
}

TEST(CipherMessage, AnRc4MessageOf1000BytesIsOnePiece)
{
    const std::vector<Piece> pieces = {{0, 1000, true}};
    Message encryption(LayOutRc4Encryption(1000), 1000);
    EXPECT_EQ(encryption.Process(), 1000U);
    EXPECT_EQ(encryption.Pieces(), pieces);
    Message decryption(LayOutRc4Decryption(1000), 1000);
    EXPECT_EQ(decryption.Process(), 1000U);
    EXPECT_EQ(decryption.Pieces(), pieces);
}

TEST(CipherMessage, ALongerRc4MessageGoesInPiecesOf1000OfWhichTheLastIsFinal)
{
    const std::vector<Piece> pieces = {{0, 1000, false}, {1000, 1000, false}, {2000, 1, true}};
    Message encryption(LayOutRc4Encryption(2001), 2001);
    EXPECT_EQ(encryption.Process(), 2001U);
    EXPECT_EQ(encryption.Pieces(), pieces);
    Message decryption(LayOutRc4Decryption(2001), 2001);
    EXPECT_EQ(decryption.Process(), 2001U);
    EXPECT_EQ(decryption.Pieces(), pieces);
}

TEST(CipherMessage, AWholeNumberOfPiecesHasNoEmptyOneAtItsEnd)
{
    Message message(LayOutRc4Encryption(2000), 2000);
    message.Process();
    EXPECT_EQ(message.Pieces(), (std::vector<Piece>{{0, 1000, false}, {1000, 1000, true}}));
}

TEST(CipherMessage, NoBytesAreOneEmptyPiece)
{
    Message message(LayOutRc4Encryption(0), 0);
    EXPECT_EQ(message.Process(), 0U);
    EXPECT_EQ(message.Pieces(), (std::vector<Piece>{{0, 0, true}}));
    EXPECT_EQ(message.Block(), std::vector<unsigned char>(1008));
}

TEST(CipherMessage, ResultsFollowOneAnotherAndZerosFollowThem)
{
    for (const std::uint32_t length : {1U, 1000U, 1001U, 3500U})
    {
        Message message(LayOutRc4Encryption(length), length);
        ASSERT_EQ(message.Process(), length);
        std::vector<unsigned char> expected = Counting(length);
        std::transform(expected.begin(), expected.end(), expected.begin(),
                       [](unsigned char byte) { return ~byte; });
        expected.resize(message.Block().size());
        ASSERT_EQ(message.Block(), expected) << length;
    }
}

TEST(CipherMessage, APieceBeginsWhereTheReportedEndOfTheLastOneIs)
{
    Message shorter(LayOutRc4Encryption(2500), 2500);
    EXPECT_EQ(shorter.Process(-10), 2470U);
    EXPECT_EQ(shorter.Pieces(),
              (std::vector<Piece>{{0, 1000, false}, {990, 1000, false}, {1980, 500, true}}));
    Message longer(LayOutRc4Encryption(2500), 2500);
    EXPECT_EQ(longer.Process(8), 2524U);
    EXPECT_EQ(longer.Pieces(),
              (std::vector<Piece>{{0, 1000, false}, {1008, 1000, false}, {2016, 500, true}}));
}

TEST(CipherMessage, ACipherThatLengthensItsPiecesIsNeverGivenAPieceOutsideTheBlock)
{
    for (const int change : {8, 100, 499, 1000, 5000, 1 << 30})
    {
        for (const std::uint32_t length : {1U, 1000U, 1001U, 2000U, 9999U})
        {
            for (const MessageLayout& layout :
                 {LayOutRc4Encryption(length), LayOutRc4Decryption(length)})
            {
                Message message(layout, length);
                message.Process(change);
                const Piece& last = message.Pieces().back();
                EXPECT_LE(last.position + last.length, layout.blockSize) << length;
            }
        }
    }
}

TEST(CipherMessage, ARefusedAesMessageIsReportedLongerThanItIsAndInsideTheBlock)
{
    for (std::uint32_t length = 992; length <= 2100; ++length)
    {
        Message message(LayOutAesEncryption(length), length);
        const std::size_t reported = message.Process(static_cast<int>(16 - length % 16));
        ASSERT_EQ(reported, (length / 16 + 1) * 16);
        ASSERT_LE(reported, message.Block().size());
    }
}
