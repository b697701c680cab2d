/// @file
/// Hand-made JPEG pictures: segments as ITU-T T.81 and JFIF lay them out, with as much in them as a
/// size probe can meet.
#pragma once

#include <vector>

namespace ostrel::test
{

using JpegBytes = std::vector<unsigned char>;

inline JpegBytes Joined(const std::vector<JpegBytes>& parts)
{
    JpegBytes joined;
    for (const JpegBytes& part : parts)
    {
        joined.insert(joined.end(), part.begin(), part.end());
    }
    return joined;
}

/// A segment of a marker with so many bytes after its length.
inline JpegBytes Segment(unsigned char marker, const JpegBytes& content)
{
    const auto length = static_cast<unsigned>(content.size() + 2);
    return Joined({{0xFF, marker, static_cast<unsigned char>(length / 256),
                    static_cast<unsigned char>(length % 256)},
                   content});
}

/// SOI, APP0 "JFIF" 1.01 without a thumbnail: 20 bytes.
inline JpegBytes JfifOpening()
{
    return Joined(
        {{0xFF, 0xD8}, Segment(0xE0, {'J', 'F', 'I', 'F', 0, 1, 1, 0, 0, 1, 0, 1, 0, 0})});
}

/// One quantisation table: 69 bytes.
inline JpegBytes QuantisationTable()
{
    JpegBytes content(65, 16);
    content[0] = 0;
    return Segment(0xDB, content);
}

/// A frame header of three components: 19 bytes.
inline JpegBytes FrameHeader(unsigned char marker, int width, int height)
{
    return Segment(
        marker, {8, static_cast<unsigned char>(height / 256),
                 static_cast<unsigned char>(height % 256), static_cast<unsigned char>(width / 256),
                 static_cast<unsigned char>(width % 256), 3, 1, 0x22, 0, 2, 0x11, 0, 3, 0x11, 0});
}

/// A scan header, some coded data with a stuffed byte, and EOI.
inline JpegBytes Scan()
{
    return Joined({Segment(0xDA, {3, 1, 0, 2, 0, 3, 0, 0, 63, 0}),
                   {0x12, 0x34, 0xFF, 0x00, 0x56, 0xFF, 0xD9}});
}

inline JpegBytes BaselinePicture(int width, int height)
{
    return Joined({JfifOpening(), QuantisationTable(), FrameHeader(0xC0, width, height), Scan()});
}

}  // namespace ostrel::test
