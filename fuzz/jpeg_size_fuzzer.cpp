// Any bytes as a picture for the JPEG size probe: nothing outside them is read (the sanitizer
// watches), and what is found does not depend on what follows.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "media/jpeg_size.h"

namespace
{

using ostrel::media::FindJpegSize;
using ostrel::media::JpegSizeResult;

void Require(bool condition)
{
    if (!condition)
    {
        std::abort();
    }
}

bool IsInRange(int value)
{
    return value >= 0 && value <= 0xFFFF;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const JpegSizeResult result = FindJpegSize(data, static_cast<int>(size));
    if (!result.size)
    {
        return 0;
    }
    Require(result.isReported);
    Require(IsInRange(result.size->width) && IsInRange(result.size->height));

    std::vector<unsigned char> longer(data, data + size);
    longer.insert(longer.end(), 16, 0xFF);
    const JpegSizeResult again = FindJpegSize(longer.data(), static_cast<int>(longer.size()));
    Require(again.size.has_value());
    Require(again.size->width == result.size->width && again.size->height == result.size->height);
    return 0;
}
