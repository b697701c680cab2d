/// @file
/// How a message is laid out for a cipher that works in place: how much memory it takes and in
/// which pieces it is processed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

namespace ostrel::crypto
{

/// The layout of one message.
struct MessageLayout
{
    std::size_t blockSize;    ///< bytes to allocate for the result
    std::uint32_t pieceSize;  ///< bytes to process at a time
    std::uint32_t capacity;   ///< bytes that the cipher may use from where a piece starts
};

/// The capacity that the AES cipher declares to its provider, whatever the message: the limit of
/// what can be encrypted.
constexpr std::uint32_t kAesCapacity = 1000;

/// A whole message is one piece, padded to whole blocks. No multiple of the block's size is taken
/// as long enough, for padding adds a block to it, and a refused message is reported with it too.
MessageLayout LayOutAesEncryption(std::uint32_t length);

/// A whole message is one piece. Its last block is processed as a whole even if it is not complete.
MessageLayout LayOutAesDecryption(std::uint32_t length);

/// Pieces of 1000 bytes, each with 8 to spare.
MessageLayout LayOutRc4Encryption(std::uint32_t length);

/// Pieces of 1000 bytes; there is room for a terminator.
MessageLayout LayOutRc4Decryption(std::uint32_t length);

/// Transforms bytes in place; the last piece of a message is final.
/// @return the bytes that the piece has become, or whatever else the cipher reports.
using PieceCipher =
    std::function<std::uint32_t(unsigned char* bytes, std::uint32_t length, bool isFinal)>;

/// Processes a message piece by piece; the results follow one another without gaps. No bytes make
/// one empty piece.
/// @param block receives the result; @p layout's block size, filled with zeros. It does not overlap
/// @p data.
/// @return the sum of what the cipher reported. A cipher that lengthens its pieces until the next
/// one has no room in the block is stopped there.
std::size_t ProcessMessage(const MessageLayout& layout, const unsigned char* data,
                           std::uint32_t length, unsigned char* block, const PieceCipher& cipher);

}  // namespace ostrel::crypto
