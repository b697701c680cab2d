#include "media/colour_conversion.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "media/conversion_rows.h"
#include "media/cpu_features.h"

namespace ostrel::media
{
namespace
{

// Wide enough for any int: the sum must not overflow.
std::ptrdiff_t RoundedUpTo16(int width)
{
    return (std::ptrdiff_t{width} + 15) / 16 * 16;
}

// ---- Planar to packed ---------------------------------------------------------------------------

// A picture of which not all fits into the cache is stored past it: else every line of the packed
// picture would be read before it is written. (Towards the planes it saves nothing: they are the
// smaller part.)
bool AreLargerThanCache(std::ptrdiff_t pairs, std::ptrdiff_t bytesPerPair)
{
    // No thread has more of a shared cache to itself, whatever its size.
    constexpr std::size_t kMost = std::size_t{64} << 20;
    static const auto most = static_cast<std::ptrdiff_t>(std::min(LastLevelCacheSize(), kMost));
    return pairs > most / bytesPerPair;
}

// As the row function, but stored past the cache. The rows must not overlap.
template <PackPair kRows, int kBytesPerPixel>
void StreamPair(unsigned char* upper, unsigned char* lower, const PlanarSource& source,
                std::ptrdiff_t pixels)
{
    constexpr std::ptrdiff_t kPart = 1024;
    alignas(64) unsigned char parts[2][kBytesPerPixel * kPart];
    for (std::ptrdiff_t x = 0; x < pixels; x += kPart)
    {
        const std::ptrdiff_t count = std::min(kPart, pixels - x);
        kRows(parts[0], parts[1],
              {source.upper + x, source.lower + x, source.u + x / 2, source.v + x / 2}, count);
        sse2::StreamCopy(upper + kBytesPerPixel * x, parts[0], kBytesPerPixel * count);
        sse2::StreamCopy(lower + kBytesPerPixel * x, parts[1], kBytesPerPixel * count);
    }
}

// Within a step, the two rows of a pair must be apart: else only the reference stores in the right
// order.
template <PackPair kRows, PackPair kReference, std::ptrdiff_t kStep, int kBytesPerPixel>
void PackFrame(unsigned char* packed, std::ptrdiff_t packedStride, const unsigned char* y,
               const unsigned char* u, const unsigned char* v, std::ptrdiff_t yStride,
               std::ptrdiff_t chromaStride, int width, int height, bool flip)
{
    if (width <= 0 || height <= 0)
    {
        return;
    }
    if (flip)
    {
        packed += (height - 1) * packedStride;
        packedStride = -packedStride;
    }
    const std::ptrdiff_t pixels = RoundedUpTo16(width);
    PackPair rows = kReference;
    bool streams = false;
    if (kRows != kReference && std::abs(packedStride) >= kBytesPerPixel * std::min(kStep, pixels))
    {
        streams = std::abs(packedStride) >= kBytesPerPixel * pixels &&
                  AreLargerThanCache(height / 2, (2 * kBytesPerPixel + 3) * pixels);
        rows = streams ? StreamPair<kRows, kBytesPerPixel> : kRows;
    }
    for (int remaining = height; remaining > 0; remaining -= 2)
    {
        rows(packed, packed + packedStride, {y, y + yStride, u, v}, pixels);
        packed += 2 * packedStride;
        y += 2 * yStride;
        u += chromaStride;
        v += chromaStride;
    }
    if (streams)
    {
        sse2::FinishStreams();
    }
}

// The reference writes to the row at the lower address last wherever the two overlap, for each of
// its steps starts further along the row at the lower address. (It takes rows at least one step
// apart.)
template <InterleaveRow kRow>
void InterleavePair(unsigned char* upper, unsigned char* lower, const PlanarSource& source,
                    std::ptrdiff_t pixels)
{
    if (upper < lower)
    {
        kRow(lower, source.lower, source.u, source.v, pixels);
        kRow(upper, source.upper, source.u, source.v, pixels);
    }
    else
    {
        kRow(upper, source.upper, source.u, source.v, pixels);
        kRow(lower, source.lower, source.u, source.v, pixels);
    }
}

// Rows laid out half of their length apart: of each pair only the upper row remains, and of the
// last pair the right half of the lower row as well. Nothing else needs to be written.
template <InterleaveRow kRow>
void InterleaveRemainingRows(unsigned char* packed, const unsigned char* y, const unsigned char* u,
                             const unsigned char* v, std::ptrdiff_t yStride,
                             std::ptrdiff_t chromaStride, std::ptrdiff_t width, int height)
{
    int remaining = height;
    for (; remaining > 2; remaining -= 2)
    {
        kRow(packed, y, u, v, width);
        packed += 2 * width;
        y += 2 * yStride;
        u += chromaStride;
        v += chromaStride;
    }
    kRow(packed, y, u, v, width);
    kRow(packed + 2 * width, y + yStride + width / 2, u + width / 4, v + width / 4, width / 2);
}

template <InterleaveRow kRow, PackPair kReference, std::ptrdiff_t kStep>
void InterleaveFrame(unsigned char* packed, std::ptrdiff_t packedStride, const unsigned char* y,
                     const unsigned char* u, const unsigned char* v, std::ptrdiff_t yStride,
                     std::ptrdiff_t chromaStride, int width, int height, bool flip)
{
    const bool halfRowsRemain = packedStride == width && width % 16 == 0 && !flip;
    if (halfRowsRemain && width > 0 && height > 0)
    {
        InterleaveRemainingRows<kRow>(packed, y, u, v, yStride, chromaStride, width, height);
    }
    else
    {
        PackFrame<InterleavePair<kRow>, kReference, kStep, 2>(
            packed, packedStride, y, u, v, yStride, chromaStride, width, height, flip);
    }
}

// ---- Packed to planar ---------------------------------------------------------------------------

// Ranges that a row pair writes. Planes of one buffer overlap in them where a row runs past its
// end.
bool AreApart(const unsigned char* a, std::ptrdiff_t sizeA, const unsigned char* b,
              std::ptrdiff_t sizeB)
{
    const auto addressA = reinterpret_cast<std::uintptr_t>(a);
    const auto addressB = reinterpret_cast<std::uintptr_t>(b);
    return addressA < addressB ? addressB - addressA >= static_cast<std::uintptr_t>(sizeA)
                               : addressA - addressB >= static_cast<std::uintptr_t>(sizeB);
}

bool AreApart(const PlanarTarget& target, std::ptrdiff_t step, std::ptrdiff_t pixels)
{
    const std::ptrdiff_t yStride = target.lower - target.upper;
    const std::ptrdiff_t ySize = yStride + pixels;
    return yStride >= std::min(step, pixels) &&
           AreApart(target.upper, ySize, target.u, pixels / 2) &&
           AreApart(target.upper, ySize, target.v, pixels / 2) &&
           AreApart(target.u, pixels / 2, target.v, pixels / 2);
}

template <UnpackPair kRows, UnpackPair kReference, std::ptrdiff_t kStep>
void UnpackFrame(const unsigned char* packed, std::ptrdiff_t packedStride, unsigned char* y,
                 unsigned char* u, unsigned char* v, std::ptrdiff_t yStride,
                 std::ptrdiff_t chromaStride, int width, int height, bool flip)
{
    if (width <= 0 || height <= 0)
    {
        return;
    }
    if (flip)
    {
        packed += (height - 1) * packedStride;
        packedStride = -packedStride;
    }
    const std::ptrdiff_t pixels = RoundedUpTo16(width);
    for (int remaining = height; remaining > 0; remaining -= 2)
    {
        const PlanarTarget target = {y, y + yStride, u, v};
        UnpackPair rows = kReference;
        if (AreApart(target, kStep, pixels))
        {
            rows = kRows;
        }
        rows(packed, packed + packedStride, target, pixels);
        packed += 2 * packedStride;
        y += 2 * yStride;
        u += chromaStride;
        v += chromaStride;
    }
}

}  // namespace

const ConversionKernels kScalarKernels = {
    PackFrame<scalar::PackYuy2, scalar::PackYuy2, 8, 2>,
    PackFrame<scalar::PackUyvy, scalar::PackUyvy, 8, 2>,
    PackFrame<scalar::PackRgb24, scalar::PackRgb24, 8, 3>,
    PackFrame<scalar::PackRgb32, scalar::PackRgb32, 8, 4>,
    PackFrame<scalar::PackArgb8888, scalar::PackArgb8888, 16, 4>,
    UnpackFrame<scalar::UnpackRgb24, scalar::UnpackRgb24, 2>,
    UnpackFrame<scalar::UnpackRgb32, scalar::UnpackRgb32, 2>,
    UnpackFrame<scalar::UnpackYuy2, scalar::UnpackYuy2, 8>,
};

const ConversionKernels kSse2Kernels = {
    InterleaveFrame<sse2::InterleaveYuy2, scalar::PackYuy2, sse2::kStep>,
    InterleaveFrame<sse2::InterleaveUyvy, scalar::PackUyvy, sse2::kStep>,
    PackFrame<sse2::PackRgb24, scalar::PackRgb24, sse2::kStep, 3>,
    PackFrame<sse2::PackRgb32, scalar::PackRgb32, sse2::kStep, 4>,
    PackFrame<sse2::PackArgb8888, scalar::PackArgb8888, sse2::kStep, 4>,
    UnpackFrame<sse2::UnpackRgb24, scalar::UnpackRgb24, sse2::kStep>,
    UnpackFrame<sse2::UnpackRgb32, scalar::UnpackRgb32, sse2::kStep>,
    UnpackFrame<sse2::UnpackYuy2, scalar::UnpackYuy2, sse2::kStep>,
};

const ConversionKernels kAvx2Kernels = {
    InterleaveFrame<avx2::InterleaveYuy2, scalar::PackYuy2, avx2::kStep>,
    InterleaveFrame<avx2::InterleaveUyvy, scalar::PackUyvy, avx2::kStep>,
    PackFrame<avx2::PackRgb24, scalar::PackRgb24, avx2::kStep, 3>,
    PackFrame<avx2::PackRgb32, scalar::PackRgb32, avx2::kStep, 4>,
    PackFrame<avx2::PackArgb8888, scalar::PackArgb8888, avx2::kStep, 4>,
    UnpackFrame<avx2::UnpackRgb24, scalar::UnpackRgb24, avx2::kStep>,
    UnpackFrame<avx2::UnpackRgb32, scalar::UnpackRgb32, avx2::kStep>,
    UnpackFrame<avx2::UnpackYuy2, scalar::UnpackYuy2, avx2::kStep>,
};

const ConversionKernels kAvx512Kernels = {
    InterleaveFrame<avx512::InterleaveYuy2, scalar::PackYuy2, avx512::kStep>,
    InterleaveFrame<avx512::InterleaveUyvy, scalar::PackUyvy, avx512::kStep>,
    PackFrame<avx512::PackRgb24, scalar::PackRgb24, avx512::kStep, 3>,
    PackFrame<avx512::PackRgb32, scalar::PackRgb32, avx512::kStep, 4>,
    PackFrame<avx512::PackArgb8888, scalar::PackArgb8888, avx512::kStep, 4>,
    UnpackFrame<avx512::UnpackRgb24, scalar::UnpackRgb24, avx512::kStep>,
    UnpackFrame<avx512::UnpackRgb32, scalar::UnpackRgb32, avx512::kStep>,
    UnpackFrame<avx512::UnpackYuy2, scalar::UnpackYuy2, avx512::kStep>,
};

const ConversionKernels& BestKernels()
{
    static const ConversionKernels& best = CpuHasAvx512() ? kAvx512Kernels
                                           : CpuHasAvx2() ? kAvx2Kernels
                                                          : kSse2Kernels;
    return best;
}

// ---- The exported members' strides --------------------------------------------------------------

void ConvertYv12ToYuy2(unsigned char* yuy2, const unsigned char* y, const unsigned char* u,
                       const unsigned char* v, int width, int height)
{
    BestKernels().yv12ToYuy2(yuy2, width, y, u, v, width, width / 2, width, height, false);
}

void ConvertYv12ToUyvy(unsigned char* uyvy, const unsigned char* y, const unsigned char* u,
                       const unsigned char* v, int width, int height)
{
    BestKernels().yv12ToUyvy(uyvy, width, y, u, v, width, width / 2, width, height, false);
}

void ConvertYv12ToRgb24(unsigned char* rgb, const unsigned char* y, const unsigned char* u,
                        const unsigned char* v, int width, int height)
{
    const std::ptrdiff_t stride = std::ptrdiff_t{3} * width;
    BestKernels().yv12ToRgb24(rgb, stride, y, u, v, width, width / 2, width, height, false);
}

void ConvertYv12ToRgb32(unsigned char* rgb, const unsigned char* y, const unsigned char* u,
                        const unsigned char* v, int width, int height)
{
    const std::ptrdiff_t stride = std::ptrdiff_t{4} * width;
    BestKernels().yv12ToRgb32(rgb, stride, y, u, v, width, width / 2, width, height, false);
}

void ConvertYuv420ToArgb8888(unsigned char* argb, const unsigned char* y, const unsigned char* u,
                             const unsigned char* v, int width, int height)
{
    const std::ptrdiff_t stride = std::ptrdiff_t{4} * width;
    BestKernels().yuv420ToArgb8888(argb, stride, y, u, v, width, width / 2, width, height, false);
}

void ConvertRgb24ToYv12(const unsigned char* rgb, unsigned char* y, unsigned char* u,
                        unsigned char* v, int width, int height)
{
    const std::ptrdiff_t stride = std::ptrdiff_t{3} * width;
    BestKernels().rgb24ToYv12(rgb, stride, y, u, v, width, width / 2, width, height, false);
}

void ConvertRgb32ToYv12(const unsigned char* rgb, unsigned char* y, unsigned char* u,
                        unsigned char* v, int width, int height)
{
    const std::ptrdiff_t stride = std::ptrdiff_t{4} * width;
    BestKernels().rgb32ToYv12(rgb, stride, y, u, v, width, width / 2, width, height, false);
}

void ConvertYuy2ToYv12(const unsigned char* yuy2, unsigned char* y, unsigned char* u,
                       unsigned char* v, int width, int height)
{
    const std::ptrdiff_t stride = std::ptrdiff_t{2} * width;
    BestKernels().yuy2ToYv12(yuy2, stride, y, u, v, width, width / 2, width, height, false);
}

}  // namespace ostrel::media
