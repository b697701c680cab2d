#include "present/picture_layout.h"

namespace ostrel::present
{

std::uint32_t RowCount(std::int32_t height)
{
    const auto rows = static_cast<std::uint32_t>(height);
    return height < 0 ? 0U - rows : rows;
}

PictureLayout LayOutPicture(std::int32_t width, std::int32_t height)
{
    const std::uint32_t rows = RowCount(height);
    if (width <= 0 || rows == 0 || rows > INT32_MAX)
    {
        return {};
    }
    const auto columns = static_cast<std::uint64_t>(width);
    PictureLayout layout;
    layout.width = width;
    layout.height = static_cast<int>(rows);
    layout.vOffset = columns * rows;
    layout.uOffset = layout.vOffset + layout.vOffset / 4;
    layout.pictureSize = layout.vOffset + 2 * (columns / 2) * (rows / 2);
    layout.rgbSize = layout.vOffset * 3;
    layout.dibSize = (columns * 3 + 3) / 4 * 4 * rows;
    return layout;
}

}  // namespace ostrel::present
