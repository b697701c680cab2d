#include <windows.h>

#include <cstdio>
#include <optional>

#include "CSFunc.h"
#include "media/h264_size.h"
#include "media/jpeg_size.h"
#include "media/mpeg4_size.h"

namespace
{

void WriteIfFound(const std::optional<ostrel::media::PictureSize>& size, int& width, int& height)
{
    if (size)
    {
        width = size->width;
        height = size->height;
    }
}

// The line goes out without a line end and past s_S_Debug(): deliberate.
void Report(const char* member, int width, int height)
{
    char line[64];
    std::snprintf(line, sizeof line, "CSFunc::%s W=%d,H=%d", member, width, height);
    OutputDebugStringA(line);
}

}  // namespace

void CSFunc::s_S_GetH264WH(unsigned char* data, int len, int& width, int& height)
{
    const ostrel::media::PictureSize size = ostrel::media::ReadH264Size(data, len);
    width = size.width;
    height = size.height;
}

void CSFunc::s_S_GetMpg4WH(unsigned char* data, int len, int& width, int& height)
{
    const ostrel::media::Mpeg4SizeResult result = ostrel::media::FindMpeg4Size(data, len);
    WriteIfFound(result.size, width, height);
    if (result.isReported)
    {
        Report("s_S_GetMpg4WH", width, height);
    }
}

void CSFunc::s_S_GetJpegWH(unsigned char* data, int len, int& width, int& height)
{
    const ostrel::media::JpegSizeResult result = ostrel::media::FindJpegSize(data, len);
    WriteIfFound(result.size, width, height);
    if (result.isReported)
    {
        Report("s_S_GetJpegWH", width, height);
    }
}
