#include "media/image_export.h"

#include <algorithm>

namespace ostrel::media
{
namespace
{

// Letters outside ASCII have no small form that occurs in an extension text.
bool IsSameLetter(wchar_t inPath, wchar_t inExtension)
{
    const bool isCapital = inPath >= L'A' && inPath <= L'Z';
    return (isCapital ? inPath - L'A' + L'a' : inPath) == inExtension;
}

bool OccursBehindStart(std::wstring_view path, std::wstring_view extension)
{
    return !path.empty() && std::search(path.begin() + 1, path.end(), extension.begin(),
                                        extension.end(), IsSameLetter) != path.end();
}

}  // namespace

ImageFileFormat ChooseImageFileFormat(std::wstring_view path)
{
    if (OccursBehindStart(path, L".bmp"))
    {
        return ImageFileFormat::Bmp;
    }
    if (OccursBehindStart(path, L".png"))
    {
        return ImageFileFormat::Png;
    }
    return ImageFileFormat::Jpeg;
}

int CountRows(std::int32_t height)
{
    if (height == INT32_MIN)
    {
        return 0;
    }
    return height < 0 ? -height : height;
}

std::size_t DibSize(std::int32_t width, std::int32_t height, unsigned bitsPerPixel)
{
    const auto rows = static_cast<std::uint64_t>(CountRows(height));
    if (width <= 0 || rows == 0)
    {
        return 0;
    }
    const std::uint64_t rowSize = (static_cast<std::uint64_t>(width) * bitsPerPixel + 31) / 32 * 4;
    return rowSize > INT32_MAX / rows ? 0 : static_cast<std::size_t>(rowSize * rows);
}

PlanarLayout LayOutPlanar(std::int32_t width, std::int32_t height)
{
    const std::size_t lumaSize =
        static_cast<std::size_t>(width) * static_cast<std::size_t>(CountRows(height));
    const std::size_t chromaSize = lumaSize / 4;
    return {lumaSize, lumaSize + chromaSize, lumaSize + 2 * chromaSize, 3 * lumaSize};
}

void ConvertPlanarForDib(Yv12ToRgb24 convert, unsigned char* rgb, const unsigned char* picture,
                         std::int32_t width, std::int32_t height)
{
    const PlanarLayout layout = LayOutPlanar(width, height);
    ConvertYv12ToRgb24Confined(convert, rgb, layout.rgbSize, picture, layout.pictureSize,
                               layout.uOffset, layout.vOffset, width, CountRows(height));
}

}  // namespace ostrel::media
