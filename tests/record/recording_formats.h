/// @file
/// Formats of frames and of audio to record in.
#pragma once

#include <winsock2.h>

#include <windows.h>

#include <mmreg.h>

namespace ostrel::test
{

/// @param code four letters.
inline BITMAPINFO VideoFormat(const char* code, int width, int height)
{
    BITMAPINFO format = {};
    format.bmiHeader.biSize = sizeof(format.bmiHeader);
    format.bmiHeader.biWidth = width;
    format.bmiHeader.biHeight = height;
    format.bmiHeader.biPlanes = 1;
    format.bmiHeader.biBitCount = 24;
    format.bmiHeader.biCompression =
        static_cast<DWORD>(code[0] | code[1] << 8 | code[2] << 16 | code[3] << 24);
    format.bmiHeader.biSizeImage = static_cast<DWORD>(width * height * 3);
    return format;
}

inline WAVEFORMATEX PcmFormat(int channels, int samplesPerSecond, int bits)
{
    WAVEFORMATEX format = {};
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.nChannels = static_cast<WORD>(channels);
    format.nSamplesPerSec = static_cast<DWORD>(samplesPerSecond);
    format.nBlockAlign = static_cast<WORD>(channels * bits / 8);
    format.nAvgBytesPerSec = format.nSamplesPerSec * format.nBlockAlign;
    format.wBitsPerSample = static_cast<WORD>(bits);
    return format;
}

}  // namespace ostrel::test
