/// @file
/// A block of audio on its way into a stream that may take it in pieces.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ostrel::record
{

/// What is left of a block, and what to do after each piece that the stream has taken.
class AudioBlock
{
public:
    enum class Next
    {
        Offer,  ///< offer what is left
        Done,   ///< the stream has taken all
        Stuck,  ///< it takes no more
    };

    /// @param length bytes, 0 or more.
    /// @param blockAlign bytes of a sample of all channels, not 0.
    AudioBlock(std::int32_t length, std::uint16_t blockAlign);

    std::size_t Offset() const { return vm_nOffset; }
    std::int32_t Remaining() const { return vm_nRemaining; }
    /// The whole samples in what is left.
    std::int32_t Samples() const { return vm_nRemaining / vm_nBlockAlign; }

    /// Takes note of what the stream has taken of what is left. When that is all, Remaining() stays
    /// what was offered last.
    Next Take(std::int32_t bytes);

private:
    std::size_t vm_nOffset = 0;
    std::int32_t vm_nRemaining;
    std::int32_t vm_nBlockAlign;
};

}  // namespace ostrel::record
