// Any bytes as a stream for the MPEG-4 size probe: nothing outside them is read (the sanitizer
// watches), and the outcome is that of the slow model of the walk.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "media/mpeg4_size.h"
#include "tests/media/mpeg4_size_model.h"

namespace
{

void Require(bool condition)
{
    if (!condition)
    {
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const int len = static_cast<int>(size);
    const ostrel::media::Mpeg4SizeResult found = ostrel::media::FindMpeg4Size(data, len);
    const ostrel::test::Mpeg4SizeModel::Outcome modelled =
        ostrel::test::Mpeg4SizeModel::Walk(data, len);
    Require(found.isReported == modelled.isReported);
    Require(found.size.has_value() == modelled.size.has_value());
    if (found.size)
    {
        Require(found.size->width == modelled.size->first);
        Require(found.size->height == modelled.size->second);
    }
    return 0;
}
