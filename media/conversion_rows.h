/// @file
/// Row functions: the arithmetic of the colour conversions over one pair of rows, once per
/// instruction set.
///
/// The scalar functions are the reference: they take the stated steps one after another and store
/// in the stated order, so their result is right even where the rows of a pair overlap. The vector
/// functions take the same steps from left to right but up to kStep pixels at once, in any order
/// inside; they may be used where nothing that one such step writes overlaps.
#pragma once

#include <cstddef>

namespace ostrel::media
{

/// Two rows of luma and the chroma row that they share.
struct PlanarSource
{
    const unsigned char* upper;
    const unsigned char* lower;
    const unsigned char* u;
    const unsigned char* v;
};

/// As PlanarSource, to be written.
struct PlanarTarget
{
    unsigned char* upper;
    unsigned char* lower;
    unsigned char* u;
    unsigned char* v;
};

/// Both rows of a pair, planar to packed. @p pixels is a multiple of 16.
using PackPair = void (*)(unsigned char* upper, unsigned char* lower, const PlanarSource& source,
                          std::ptrdiff_t pixels);

/// Both rows of a pair, packed to planar. @p pixels is a multiple of 16.
using UnpackPair = void (*)(const unsigned char* upper, const unsigned char* lower,
                            const PlanarTarget& target, std::ptrdiff_t pixels);

/// One row, planar to packed 4:2:2. @p pixels is a multiple of 8.
using InterleaveRow = void (*)(unsigned char* packed, const unsigned char* y,
                               const unsigned char* u, const unsigned char* v,
                               std::ptrdiff_t pixels);

namespace scalar
{
void PackRgb24(unsigned char* upper, unsigned char* lower, const PlanarSource& source,
               std::ptrdiff_t pixels);
void PackRgb32(unsigned char* upper, unsigned char* lower, const PlanarSource& source,
               std::ptrdiff_t pixels);
void PackArgb8888(unsigned char* upper, unsigned char* lower, const PlanarSource& source,
                  std::ptrdiff_t pixels);
void PackYuy2(unsigned char* upper, unsigned char* lower, const PlanarSource& source,
              std::ptrdiff_t pixels);
void PackUyvy(unsigned char* upper, unsigned char* lower, const PlanarSource& source,
              std::ptrdiff_t pixels);
void UnpackRgb24(const unsigned char* upper, const unsigned char* lower, const PlanarTarget& target,
                 std::ptrdiff_t pixels);
void UnpackRgb32(const unsigned char* upper, const unsigned char* lower, const PlanarTarget& target,
                 std::ptrdiff_t pixels);
void UnpackYuy2(const unsigned char* upper, const unsigned char* lower, const PlanarTarget& target,
                std::ptrdiff_t pixels);
// For the end of a row in which a vector does not fit any more.
void InterleaveYuy2(unsigned char* packed, const unsigned char* y, const unsigned char* u,
                    const unsigned char* v, std::ptrdiff_t pixels);
void InterleaveUyvy(unsigned char* packed, const unsigned char* y, const unsigned char* u,
                    const unsigned char* v, std::ptrdiff_t pixels);
}  // namespace scalar

namespace sse2
{
/// The most pixels of a row that a function converts before it goes on to the next.
constexpr std::ptrdiff_t kStep = 32;

/// Copies past the caches. FinishStreams() must follow before another thread is told.
void StreamCopy(unsigned char* to, const unsigned char* from, std::ptrdiff_t count);
void FinishStreams();

void PackRgb24(unsigned char* upper, unsigned char* lower, const PlanarSource& source,
               std::ptrdiff_t pixels);
void PackRgb32(unsigned char* upper, unsigned char* lower, const PlanarSource& source,
               std::ptrdiff_t pixels);
void PackArgb8888(unsigned char* upper, unsigned char* lower, const PlanarSource& source,
                  std::ptrdiff_t pixels);
void InterleaveYuy2(unsigned char* packed, const unsigned char* y, const unsigned char* u,
                    const unsigned char* v, std::ptrdiff_t pixels);
void InterleaveUyvy(unsigned char* packed, const unsigned char* y, const unsigned char* u,
                    const unsigned char* v, std::ptrdiff_t pixels);
void UnpackRgb24(const unsigned char* upper, const unsigned char* lower, const PlanarTarget& target,
                 std::ptrdiff_t pixels);
void UnpackRgb32(const unsigned char* upper, const unsigned char* lower, const PlanarTarget& target,
                 std::ptrdiff_t pixels);
void UnpackYuy2(const unsigned char* upper, const unsigned char* lower, const PlanarTarget& target,
                std::ptrdiff_t pixels);
}  // namespace sse2

namespace avx2
{
/// The most pixels of a row that a function converts before it goes on to the next.
constexpr std::ptrdiff_t kStep = 32;

void PackRgb24(unsigned char* upper, unsigned char* lower, const PlanarSource& source,
               std::ptrdiff_t pixels);
void PackRgb32(unsigned char* upper, unsigned char* lower, const PlanarSource& source,
               std::ptrdiff_t pixels);
void PackArgb8888(unsigned char* upper, unsigned char* lower, const PlanarSource& source,
                  std::ptrdiff_t pixels);
void InterleaveYuy2(unsigned char* packed, const unsigned char* y, const unsigned char* u,
                    const unsigned char* v, std::ptrdiff_t pixels);
void InterleaveUyvy(unsigned char* packed, const unsigned char* y, const unsigned char* u,
                    const unsigned char* v, std::ptrdiff_t pixels);
void UnpackRgb24(const unsigned char* upper, const unsigned char* lower, const PlanarTarget& target,
                 std::ptrdiff_t pixels);
void UnpackRgb32(const unsigned char* upper, const unsigned char* lower, const PlanarTarget& target,
                 std::ptrdiff_t pixels);
void UnpackYuy2(const unsigned char* upper, const unsigned char* lower, const PlanarTarget& target,
                std::ptrdiff_t pixels);
}  // namespace avx2

namespace avx512
{
/// The most pixels of a row that a function converts before it goes on to the next.
constexpr std::ptrdiff_t kStep = 64;

void PackRgb24(unsigned char* upper, unsigned char* lower, const PlanarSource& source,
               std::ptrdiff_t pixels);
void PackRgb32(unsigned char* upper, unsigned char* lower, const PlanarSource& source,
               std::ptrdiff_t pixels);
void PackArgb8888(unsigned char* upper, unsigned char* lower, const PlanarSource& source,
                  std::ptrdiff_t pixels);
void InterleaveYuy2(unsigned char* packed, const unsigned char* y, const unsigned char* u,
                    const unsigned char* v, std::ptrdiff_t pixels);
void InterleaveUyvy(unsigned char* packed, const unsigned char* y, const unsigned char* u,
                    const unsigned char* v, std::ptrdiff_t pixels);
void UnpackRgb24(const unsigned char* upper, const unsigned char* lower, const PlanarTarget& target,
                 std::ptrdiff_t pixels);
void UnpackRgb32(const unsigned char* upper, const unsigned char* lower, const PlanarTarget& target,
                 std::ptrdiff_t pixels);
void UnpackYuy2(const unsigned char* upper, const unsigned char* lower, const PlanarTarget& target,
                std::ptrdiff_t pixels);
}  // namespace avx512

}  // namespace ostrel::media
