/// @file
/// The picture size of a baseline JFIF picture.
#pragma once

#include <optional>

#include "media/picture_size.h"

namespace ostrel::media
{

struct JpegSizeResult
{
    std::optional<PictureSize> size;
    /// True if the outcome is to be reported, found or not. Only a segment walk that ends out of
    /// range or at a byte that is no marker is silent.
    bool isReported;
};

/// Finds the size in the SOF0 segment (ITU-T T.81 B.2.2) of a picture that opens with an APP0
/// "JFIF" segment. Bytes at or past @p len are absent and never read; null @p data and a negative
/// @p len stand for an empty picture.
JpegSizeResult FindJpegSize(const unsigned char* data, int len);

}  // namespace ostrel::media
