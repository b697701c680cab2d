/// @file
/// The picture size of an H.264 stream.
#pragma once

#include "media/picture_size.h"

namespace ostrel::media
{

/// Reads the size in the sequence parameter set (ITU-T H.264 7.3.2.1.1) behind the four bytes of
/// start code at @p data, by the rules of CSFunc::s_S_GetH264WH(). Whatever stands there is read as
/// one, and there is always a size.
/// @param len the bytes behind the start code. Those at or past it are absent and never read; null
/// @p data and a negative @p len stand for none.
PictureSize ReadH264Size(const unsigned char* data, int len);

}  // namespace ostrel::media
