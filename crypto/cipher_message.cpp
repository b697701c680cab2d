#include "crypto/cipher_message.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace ostrel::crypto
{

namespace
{

constexpr std::size_t kAesGranule = 32;  // two blocks
constexpr std::uint32_t kWholeMessage = std::numeric_limits<std::uint32_t>::max();

constexpr std::uint32_t kRc4Piece = 1000;
constexpr std::uint32_t kRc4Spare = 8;

std::size_t NextGranuleAbove(std::uint32_t length)
{
    return (length / kAesGranule + 1) * kAesGranule;
}

}  // namespace

MessageLayout LayOutAesEncryption(std::uint32_t length)
{
    // No provider is told of more room than there is.
    const std::size_t blockSize = std::max<std::size_t>(NextGranuleAbove(length), kAesCapacity);
    return {blockSize, kWholeMessage, kAesCapacity};
}

MessageLayout LayOutAesDecryption(std::uint32_t length)
{
    return {NextGranuleAbove(length), kWholeMessage, length};
}

MessageLayout LayOutRc4Encryption(std::uint32_t length)
{
    constexpr std::uint32_t kCapacity = kRc4Piece + kRc4Spare;
    const std::size_t messageSize = length <= kRc4Piece ? 0 : length;
    return {messageSize + kCapacity, kRc4Piece, kCapacity};
}

MessageLayout LayOutRc4Decryption(std::uint32_t length)
{
    return {std::size_t{length} + kRc4Piece, kRc4Piece, kRc4Piece};
}

std::size_t ProcessMessage(const MessageLayout& layout, const unsigned char* data,
                           std::uint32_t length, unsigned char* block, const PieceCipher& cipher)
{
    std::uint32_t offset = 0;
    std::size_t position = 0;
    bool isFinal = false;
    bool hasRoom = true;
    while (!isFinal && hasRoom)
    {
        const std::uint32_t pieceLength = std::min(length - offset, layout.pieceSize);
        if (pieceLength > 0)
        {
            std::memcpy(block + position, data + offset, pieceLength);
        }
        offset += pieceLength;
        isFinal = offset == length;
        const std::uint32_t produced = cipher(block + position, pieceLength, isFinal);
        position += produced;
        hasRoom = position <= layout.blockSize && layout.blockSize - position >= layout.capacity;
    }
    return position;
}

}  // namespace ostrel::crypto
