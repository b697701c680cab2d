/// @file
/// The picture size of an MPEG-4 Part 2 stream.
#pragma once

#include <optional>

#include "media/picture_size.h"

namespace ostrel::media
{

struct Mpeg4SizeResult
{
    std::optional<PictureSize> size;
    /// True if the outcome is to be reported, found or not. Only a stream without the start code is
    /// silent.
    bool isReported;
};

/// Finds the size in the first video object layer header (ISO/IEC 14496-2 6.2.3) whose start code
/// is 00 00 01 20, by the rules of CSFunc::s_S_GetMpg4WH(). Bytes at or past @p len are absent and
/// never read: a header that ends before its size is complete has none. Null @p data and a negative
/// @p len stand for an empty stream.
Mpeg4SizeResult FindMpeg4Size(const unsigned char* data, int len);

}  // namespace ostrel::media
