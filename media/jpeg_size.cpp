#include "media/jpeg_size.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace ostrel::media
{
namespace
{

constexpr int kMarkerPrefix = 0xFF;
constexpr int kStartOfBaselineFrame = 0xC0;
constexpr int kAbsent = -1;

class Picture
{
public:
    Picture(const unsigned char* data, int len)
        : m_data(data), m_size(data != nullptr && len > 0 ? static_cast<std::size_t>(len) : 0)
    {
    }

    std::size_t Size() const { return m_size; }
    int At(std::size_t position) const { return position < m_size ? m_data[position] : kAbsent; }

    // 16 bits, big-endian, of bytes that are present.
    int WordAt(std::size_t position) const { return At(position) * 256 + At(position + 1); }

    bool OpensAsJfif() const
    {
        constexpr unsigned char kOpening[] = {0xFF, 0xD8, 0xFF, 0xE0};
        constexpr unsigned char kIdentifier[] = {'J', 'F', 'I', 'F', 0};
        return Holds(0, std::begin(kOpening), std::end(kOpening)) &&
               Holds(6, std::begin(kIdentifier), std::end(kIdentifier));
    }

private:
    bool Holds(std::size_t position, const unsigned char* first, const unsigned char* last) const
    {
        return position + static_cast<std::size_t>(last - first) <= m_size &&
               std::equal(first, last, m_data + position);
    }

    const unsigned char* m_data;
    std::size_t m_size;
};

// position is that of the segment's marker.
std::optional<PictureSize> SizeInFrameHeader(const Picture& picture, std::size_t position)
{
    if (position + 8 >= picture.Size())
    {
        return std::nullopt;
    }
    return PictureSize{picture.WordAt(position + 7), picture.WordAt(position + 5)};
}

}  // namespace

JpegSizeResult FindJpegSize(const unsigned char* data, int len)
{
    const Picture picture(data, len);
    if (!picture.OpensAsJfif())
    {
        return {std::nullopt, true};
    }
    // Where the length of the segment stands, which counts from itself.
    std::size_t position = 4;
    while (position < picture.Size())
    {
        if (position + 1 == picture.Size())
        {
            // Half a length. Whatever the other half is, no marker can follow inside the picture.
            return {std::nullopt, false};
        }
        position += static_cast<std::size_t>(picture.WordAt(position));
        if (picture.At(position) != kMarkerPrefix)
        {
            return {std::nullopt, false};
        }
        if (picture.At(position + 1) == kStartOfBaselineFrame)
        {
            return {SizeInFrameHeader(picture, position), true};
        }
        position += 2;
    }
    return {std::nullopt, true};
}

}  // namespace ostrel::media
