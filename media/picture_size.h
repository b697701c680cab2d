/// @file
/// What the size probes find.
#pragma once

namespace ostrel::media
{

struct PictureSize
{
    int width;
    int height;
};

}  // namespace ostrel::media
