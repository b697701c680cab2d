#include <afxmt.h>

#include "CSFunc.h"
#include "media/colour_conversion.h"

CCriticalSection CSFunc::vs_csYuvToRgb;

void CSFunc::s_S_YV12_to_YUY2(unsigned char* pYUY2, const unsigned char* pY,
                              const unsigned char* pU, const unsigned char* pV, int nWidth,
                              int nHeight)
{
    CSingleLock lock(&vs_csYuvToRgb, TRUE);
    ostrel::media::ConvertYv12ToYuy2(pYUY2, pY, pU, pV, nWidth, nHeight);
}

void CSFunc::s_S_YV12_to_UYVY(unsigned char* pUYVY, const unsigned char* pY,
                              const unsigned char* pU, const unsigned char* pV, int nWidth,
                              int nHeight)
{
    CSingleLock lock(&vs_csYuvToRgb, TRUE);
    ostrel::media::ConvertYv12ToUyvy(pUYVY, pY, pU, pV, nWidth, nHeight);
}

void CSFunc::s_S_YV12_to_RGB24(unsigned char* pRGB, const unsigned char* pY,
                               const unsigned char* pU, const unsigned char* pV, int nWidth,
                               int nHeight)
{
    CSingleLock lock(&vs_csYuvToRgb, TRUE);
    ostrel::media::ConvertYv12ToRgb24(pRGB, pY, pU, pV, nWidth, nHeight);
}

void CSFunc::s_S_YV12_to_RGB32(unsigned char* pRGB, const unsigned char* pY,
                               const unsigned char* pU, const unsigned char* pV, int nWidth,
                               int nHeight)
{
    CSingleLock lock(&vs_csYuvToRgb, TRUE);
    ostrel::media::ConvertYv12ToRgb32(pRGB, pY, pU, pV, nWidth, nHeight);
}

void CSFunc::s_S_YUV420_To_ARGB8888_SSE2(unsigned char* y, unsigned char* u, unsigned char* v,
                                         int width, int height, unsigned char* out)
{
    CSingleLock lock(&vs_csYuvToRgb, TRUE);
    ostrel::media::ConvertYuv420ToArgb8888(out, y, u, v, width, height);
}

void CSFunc::s_S_RGB24_to_YV12(const unsigned char* pRGB, unsigned char* pY, unsigned char* pU,
                               unsigned char* pV, int nWidth, int nHeight)
{
    CSingleLock lock(&vs_csYuvToRgb, TRUE);
    ostrel::media::ConvertRgb24ToYv12(pRGB, pY, pU, pV, nWidth, nHeight);
}

void CSFunc::s_S_RGB32_to_YV12(const unsigned char* pRGB, unsigned char* pY, unsigned char* pU,
                               unsigned char* pV, int nWidth, int nHeight)
{
    CSingleLock lock(&vs_csYuvToRgb, TRUE);
    ostrel::media::ConvertRgb32ToYv12(pRGB, pY, pU, pV, nWidth, nHeight);
}

void CSFunc::s_S_YUY2_to_YV12(const unsigned char* pYUY2, unsigned char* pY, unsigned char* pU,
                              unsigned char* pV, int nWidth, int nHeight)
{
    CSingleLock lock(&vs_csYuvToRgb, TRUE);
    ostrel::media::ConvertYuy2ToYv12(pYUY2, pY, pU, pV, nWidth, nHeight);
}
