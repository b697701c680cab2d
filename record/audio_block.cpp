#include "record/audio_block.h"

namespace ostrel::record
{

AudioBlock::AudioBlock(std::int32_t length, std::uint16_t blockAlign)
    : vm_nRemaining(length), vm_nBlockAlign(blockAlign)
{
}

AudioBlock::Next AudioBlock::Take(std::int32_t bytes)
{
    if (bytes >= vm_nRemaining)
    {
        return Next::Done;
    }
    if (bytes <= 0)
    {
        // Offered again, the same would be refused again without end.
        return Next::Stuck;
    }
    vm_nRemaining -= bytes;
    vm_nOffset += static_cast<std::size_t>(bytes);
    return Next::Offer;
}

}  // namespace ostrel::record
