#include "media/confined_conversion.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace ostrel::media
{
namespace
{

constexpr unsigned char kBlackLuma = 16;
constexpr unsigned char kNoChroma = 128;

// Offsets and sizes in bytes of what one pair of rows touches. A pair reads and writes without a
// gap from the start of its upper row to the end of its lower one, so all sizes are those of a
// pair.
struct PairLayout
{
    explicit PairLayout(std::size_t width)
        : width(width),
          roundedWidth((width + 15) / 16 * 16),
          lumaSize(width + roundedWidth),
          chromaSize(roundedWidth / 2),
          rgbSize(3 * lumaSize)
    {
    }

    std::size_t LumaOffset(std::size_t pair) const { return 2 * pair * width; }
    std::size_t ChromaOffset(std::size_t pair) const { return pair * (width / 2); }
    std::size_t RgbOffset(std::size_t pair) const { return 6 * pair * width; }

    std::size_t width;
    std::size_t roundedWidth;
    std::size_t lumaSize;
    std::size_t chromaSize;
    std::size_t rgbSize;
};

struct Picture
{
    const unsigned char* data;
    std::size_t size;
    std::size_t uOffset;
    std::size_t vOffset;

    bool Holds(std::size_t offset, std::size_t count) const
    {
        return offset <= size && count <= size - offset;
    }

    // The bytes from an offset on, those outside replaced.
    void Copy(std::size_t offset, unsigned char outside, std::vector<unsigned char>& bytes) const
    {
        const std::size_t inside = offset < size ? std::min(bytes.size(), size - offset) : 0;
        if (inside > 0)
        {
            std::memcpy(bytes.data(), data + offset, inside);
        }
        std::fill(bytes.begin() + static_cast<std::ptrdiff_t>(inside), bytes.end(), outside);
    }
};

// How many pairs from the first on neither read outside the picture nor write outside the output.
std::size_t CountPairsInside(const PairLayout& layout, const Picture& picture, std::size_t rgbSize,
                             std::size_t pairs)
{
    const auto isInside = [&](std::size_t pair)
    {
        const std::size_t chroma = layout.ChromaOffset(pair);
        return layout.RgbOffset(pair) + layout.rgbSize <= rgbSize &&
               picture.Holds(layout.LumaOffset(pair), layout.lumaSize) &&
               picture.Holds(picture.uOffset + chroma, layout.chromaSize) &&
               picture.Holds(picture.vOffset + chroma, layout.chromaSize);
    };
    // Only the last pairs can be outside, each as far as any before it.
    while (pairs > 0 && !isInside(pairs - 1))
    {
        --pairs;
    }
    return pairs;
}

}  // namespace

void ConvertYv12ToRgb24Confined(Yv12ToRgb24 convert, unsigned char* rgb, std::size_t rgbSize,
                                const unsigned char* picture, std::size_t pictureSize,
                                std::size_t uOffset, std::size_t vOffset, int width, int height)
{
    if (width <= 0 || height <= 0 ||
        rgbSize / 3 / static_cast<std::size_t>(width) < static_cast<std::size_t>(height))
    {
        return;
    }
    const PairLayout layout(static_cast<std::size_t>(width));
    const Picture source = {picture, pictureSize, uOffset, vOffset};
    const std::size_t pairs = (static_cast<std::size_t>(height) + 1) / 2;
    const std::size_t pairsInside = CountPairsInside(layout, source, rgbSize, pairs);

    if (pairsInside > 0)
    {
        const int rows =
            static_cast<int>(std::min(2 * pairsInside, static_cast<std::size_t>(height)));
        convert(rgb, picture, picture + uOffset, picture + vOffset, width, rows);
    }
    if (pairsInside == pairs)
    {
        return;
    }
    // The rest goes pair by pair through memory with room. A pair overwrites what the one before it
    // left past its own rows, so copying them out in their order leaves what one walk leaves.
    std::vector<unsigned char> luma(layout.lumaSize);
    std::vector<unsigned char> u(layout.chromaSize);
    std::vector<unsigned char> v(layout.chromaSize);
    std::vector<unsigned char> converted(layout.rgbSize);
    for (std::size_t pair = pairsInside; pair < pairs; ++pair)
    {
        source.Copy(layout.LumaOffset(pair), kBlackLuma, luma);
        source.Copy(uOffset + layout.ChromaOffset(pair), kNoChroma, u);
        source.Copy(vOffset + layout.ChromaOffset(pair), kNoChroma, v);
        convert(converted.data(), luma.data(), u.data(), v.data(), width, 2);
        const std::size_t offset = layout.RgbOffset(pair);
        std::memcpy(rgb + offset, converted.data(), std::min(layout.rgbSize, rgbSize - offset));
    }
}

}  // namespace ostrel::media
