// Any bytes as a unit for the H.264 size probe: nothing outside them is read (the sanitizer
// watches), and the size is that of the slow model of the walk.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <utility>

#include "media/h264_size.h"
#include "tests/media/h264_size_model.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const int len = static_cast<int>(size) - 4;
    const ostrel::media::PictureSize found = ostrel::media::ReadH264Size(data, len);
    if (std::make_pair(found.width, found.height) != ostrel::test::H264SizeModel::Size(data, len))
    {
        std::abort();
    }
    return 0;
}
