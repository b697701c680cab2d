/// @file
/// Colour conversions of whole pictures: the frame walks over the row functions.
///
/// Rows go in pairs (two rows of luma share one of chroma), each for the width rounded up to a
/// multiple of 16. An odd height therefore converts one row past the last, and a width that is no
/// multiple of 16 makes rows overlap; what remains is what the stated steps write last, and it is
/// the same for every instruction set.
#pragma once

#include <cstddef>

namespace ostrel::media
{

/// Planar YV12 to a packed picture. Strides in bytes. With @p flip the packed picture is walked
/// from its last row upwards, the planar one always from the top. A width or height of 0 or less
/// does nothing.
using ToPackedKernel = void (*)(unsigned char* packed, std::ptrdiff_t packedStride,
                                const unsigned char* y, const unsigned char* u,
                                const unsigned char* v, std::ptrdiff_t yStride,
                                std::ptrdiff_t chromaStride, int width, int height, bool flip);

/// A packed picture to planar YV12; otherwise as ToPackedKernel.
using ToPlanarKernel = void (*)(const unsigned char* packed, std::ptrdiff_t packedStride,
                                unsigned char* y, unsigned char* u, unsigned char* v,
                                std::ptrdiff_t yStride, std::ptrdiff_t chromaStride, int width,
                                int height, bool flip);

/// The conversions for one instruction set.
struct ConversionKernels
{
    ToPackedKernel yv12ToYuy2;
    ToPackedKernel yv12ToUyvy;
    ToPackedKernel yv12ToRgb24;  ///< B, G, R
    ToPackedKernel yv12ToRgb32;  ///< B, G, R, 0
    /// B, G, R, 0; a blue above the largest 16-bit sum wraps to 0. Deliberate.
    ToPackedKernel yuv420ToArgb8888;
    ToPlanarKernel rgb24ToYv12;  ///< R, G, B
    ToPlanarKernel rgb32ToYv12;  ///< R, G, B, ignored
    ToPlanarKernel yuy2ToYv12;
};

/// The reference: every stated step, one after another.
extern const ConversionKernels kScalarKernels;
extern const ConversionKernels kSse2Kernels;
/// Only for a processor with AVX2.
extern const ConversionKernels kAvx2Kernels;
/// Only for a processor with AVX-512 as CpuHasAvx512() asks for it.
extern const ConversionKernels kAvx512Kernels;

/// The fastest kernels that this machine can run.
const ConversionKernels& BestKernels();

// The conversions with the strides that the exported members give them, by the best kernels.
// YUY2 and UYVY rows are laid out width bytes apart, half of their length: deliberate.
void ConvertYv12ToYuy2(unsigned char* yuy2, const unsigned char* y, const unsigned char* u,
                       const unsigned char* v, int width, int height);
void ConvertYv12ToUyvy(unsigned char* uyvy, const unsigned char* y, const unsigned char* u,
                       const unsigned char* v, int width, int height);
void ConvertYv12ToRgb24(unsigned char* rgb, const unsigned char* y, const unsigned char* u,
                        const unsigned char* v, int width, int height);
void ConvertYv12ToRgb32(unsigned char* rgb, const unsigned char* y, const unsigned char* u,
                        const unsigned char* v, int width, int height);
void ConvertYuv420ToArgb8888(unsigned char* argb, const unsigned char* y, const unsigned char* u,
                             const unsigned char* v, int width, int height);
void ConvertRgb24ToYv12(const unsigned char* rgb, unsigned char* y, unsigned char* u,
                        unsigned char* v, int width, int height);
void ConvertRgb32ToYv12(const unsigned char* rgb, unsigned char* y, unsigned char* u,
                        unsigned char* v, int width, int height);
void ConvertYuy2ToYv12(const unsigned char* yuy2, unsigned char* y, unsigned char* u,
                       unsigned char* v, int width, int height);

}  // namespace ostrel::media
