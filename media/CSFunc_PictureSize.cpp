#include <windows.h>

#include <cstdio>

#include "CSFunc.h"
#include "media/jpeg_size.h"

void CSFunc::s_S_GetJpegWH(unsigned char* data, int len, int& width, int& height)
{
    const ostrel::media::JpegSizeResult result = ostrel::media::FindJpegSize(data, len);
    if (result.size)
    {
        width = result.size->width;
        height = result.size->height;
    }
    if (result.isReported)
    {
        // The line goes out without a line end and past s_S_Debug(): deliberate.
        char line[64];
        std::snprintf(line, sizeof line, "CSFunc::s_S_GetJpegWH W=%d,H=%d", width, height);
        OutputDebugStringA(line);
    }
}
