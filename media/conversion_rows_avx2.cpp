// The row functions for AVX2: 32 pixels of both rows at once. Most instructions work within the two
// halves of a register, so the comments give the order of pixels or samples as "left | right".
//
// Only this file is compiled for AVX2, so nothing inline from elsewhere may be used here: the
// linker could keep this file's copy of it for everybody.
#include <immintrin.h>

#include "media/conversion_rows.h"

namespace ostrel::media::avx2
{
namespace
{

__m128i LoadHalf(const unsigned char* bytes)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}

__m256i Load(const unsigned char* bytes)
{
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes));
}

void Store(unsigned char* bytes, __m256i value)
{
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(bytes), value);
}

void StoreHalf(unsigned char* bytes, __m128i value)
{
    _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes), value);
}

// 16 samples of U and V in turn.
__m256i LoadChroma(const unsigned char* u, const unsigned char* v)
{
    const __m128i uSamples = LoadHalf(u);
    const __m128i vSamples = LoadHalf(v);
    return _mm256_set_m128i(_mm_unpackhi_epi8(uSamples, vSamples),
                            _mm_unpacklo_epi8(uSamples, vSamples));
}

// Fetches what is converted or written some steps later. (The processor does so by itself within a
// page of memory; a row is several.)
void Prefetch(const unsigned char* bytes)
{
    constexpr std::ptrdiff_t kAhead = 1536;
    _mm_prefetch(reinterpret_cast<const char*>(bytes + kAhead), _MM_HINT_T0);
}

// 16-bit lanes that repeat a pair.
__m256i Pairs(short first, short second)
{
    return _mm256_setr_epi16(first, second, first, second, first, second, first, second, first,
                             second, first, second, first, second, first, second);
}

// The same 16 bytes in both halves.
__m256i Twice(__m128i half)
{
    return _mm256_broadcastsi128_si256(half);
}

// ---- YUV to RGB ---------------------------------------------------------------------------------

// One 16-bit term for each of 32 pixels: 0-7 | 16-23 and 8-15 | 24-31, as bytes unpack.
struct Terms
{
    __m256i low;
    __m256i high;
};

// Each chroma sample serves two neighbours.
Terms ForBothNeighbours(__m256i samples)
{
    return {_mm256_unpacklo_epi16(samples, samples), _mm256_unpackhi_epi16(samples, samples)};
}

// What chroma adds to a pixel's luma; from it, for green.
struct ChromaTerms
{
    Terms blue;
    Terms green;
    Terms red;
};

// Multiplies unsigned bytes with signed ones and adds the products of neighbours. (It takes the
// place of 16-bit multiplications too, which compilers break up into several shifts and sums.)
__m256i SumsOfProducts(__m256i unsignedBytes, __m256i signedBytes)
{
    return _mm256_maddubs_epi16(unsignedBytes, signedBytes);
}

// 8-bit lanes that repeat a pair.
__m256i BytePairs(unsigned char first, unsigned char second)
{
    return _mm256_set1_epi16(static_cast<short>(first | second << 8));
}

// Of 16 samples, U and V in turn.
ChromaTerms ChromaTermsOf(__m256i samples)
{
    // Less 128 each, as signed bytes.
    const __m256i chroma = _mm256_xor_si256(samples, _mm256_set1_epi8(-128));
    return {ForBothNeighbours(SumsOfProducts(BytePairs(129, 0), chroma)),
            ForBothNeighbours(SumsOfProducts(BytePairs(25, 52), chroma)),
            ForBothNeighbours(SumsOfProducts(BytePairs(0, 102), chroma))};
}

// 32 pixels, a byte per channel.
struct Channels
{
    __m256i blue;
    __m256i green;
    __m256i red;
};

__m256i Clamped(__m256i low, __m256i high)
{
    return _mm256_packus_epi16(_mm256_srai_epi16(low, 6), _mm256_srai_epi16(high, 6));
}

struct SaturatingSums
{
    static __m256i Sum(__m256i a, __m256i b) { return _mm256_adds_epi16(a, b); }
};

struct WrappingSums
{
    static __m256i Sum(__m256i a, __m256i b) { return _mm256_add_epi16(a, b); }
};

template <class Sums>
Channels ChannelsOf(__m256i luma, const ChromaTerms& chroma)
{
    // 74 x y - 37 x 32 = 74 x (y - 16)
    const __m256i offset = _mm256_set1_epi8(32);
    const __m256i gains = BytePairs(74, static_cast<unsigned char>(-37));
    const __m256i low = SumsOfProducts(_mm256_unpacklo_epi8(luma, offset), gains);
    const __m256i high = SumsOfProducts(_mm256_unpackhi_epi8(luma, offset), gains);
    // Only blue can leave 16 bits.
    return {
        Clamped(Sums::Sum(low, chroma.blue.low), Sums::Sum(high, chroma.blue.high)),
        Clamped(_mm256_sub_epi16(low, chroma.green.low), _mm256_sub_epi16(high, chroma.green.high)),
        Clamped(_mm256_add_epi16(low, chroma.red.low), _mm256_add_epi16(high, chroma.red.high))};
}

// The 48 bytes of 16 pixels fill three registers of 16. A byte at i in one of them belongs to
// another channel than the bytes at i in the other two (16 is 1 modulo 3). So each channel is
// shuffled once for all three, every pixel to its place in the one that takes it, and each register
// then picks every third byte from each channel.
void StoreRgb24(unsigned char* packed, const Channels& channels)
{
    const __m128i places = _mm_setr_epi8(0, 11, 6, 1, 12, 7, 2, 13, 8, 3, 14, 9, 4, 15, 10, 5);
    const __m256i bluePlaces = Twice(places);
    const __m256i greenPlaces = Twice(_mm_alignr_epi8(places, places, 15));
    const __m256i redPlaces = Twice(_mm_alignr_epi8(places, places, 14));
    const __m256i second =
        Twice(_mm_setr_epi8(0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0));
    const __m256i third = Twice(_mm_setr_epi8(0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0));

    const __m256i b = _mm256_shuffle_epi8(channels.blue, bluePlaces);
    const __m256i g = _mm256_shuffle_epi8(channels.green, greenPlaces);
    const __m256i r = _mm256_shuffle_epi8(channels.red, redPlaces);
    // Pixels 0-15 | 16-31 each.
    const __m256i bytes0 = _mm256_blendv_epi8(_mm256_blendv_epi8(b, g, second), r, third);
    const __m256i bytes16 = _mm256_blendv_epi8(_mm256_blendv_epi8(g, r, second), b, third);
    const __m256i bytes32 = _mm256_blendv_epi8(_mm256_blendv_epi8(r, b, second), g, third);
    Store(packed, _mm256_permute2x128_si256(bytes0, bytes16, 0x20));
    Store(packed + 32, _mm256_blend_epi32(bytes32, bytes0, 0xF0));
    Store(packed + 64, _mm256_permute2x128_si256(bytes16, bytes32, 0x31));
}

// Groups of four pixels 0 2 4 6 | 1 3 5 7, which come out of two unpackings as 0 | 1, 2 | 3 and so
// on.
__m256i EvenGroupsFirst(__m256i groups)
{
    return _mm256_permutevar8x32_epi32(groups, _mm256_setr_epi32(0, 2, 4, 6, 1, 3, 5, 7));
}

void StoreRgb32(unsigned char* packed, const Channels& channels)
{
    const __m256i zero = _mm256_setzero_si256();
    const __m256i blueGreenLow = _mm256_unpacklo_epi8(channels.blue, channels.green);
    const __m256i blueGreenHigh = _mm256_unpackhi_epi8(channels.blue, channels.green);
    const __m256i redLow = _mm256_unpacklo_epi8(channels.red, zero);
    const __m256i redHigh = _mm256_unpackhi_epi8(channels.red, zero);
    Store(packed, _mm256_unpacklo_epi16(blueGreenLow, redLow));
    Store(packed + 32, _mm256_unpackhi_epi16(blueGreenLow, redLow));
    Store(packed + 64, _mm256_unpacklo_epi16(blueGreenHigh, redHigh));
    Store(packed + 96, _mm256_unpackhi_epi16(blueGreenHigh, redHigh));
}

// ---- Planar to 4:2:2 ----------------------------------------------------------------------------

// 32 pixels ordered so that they unpack to 0-7 | 8-15 and 16-23 | 24-31.
struct Samples422
{
    __m256i luma;
    __m256i chroma;
};

Samples422 Load422(const unsigned char* y, const unsigned char* u, const unsigned char* v)
{
    constexpr int kQuarters = _MM_SHUFFLE(3, 1, 2, 0);
    return {_mm256_permute4x64_epi64(Load(y), kQuarters),
            _mm256_permute4x64_epi64(LoadChroma(u, v), kQuarters)};
}

// ---- RGB to YUV ---------------------------------------------------------------------------------

// Pixels as 16-bit pairs, so that one multiply-add weights two channels. In the fourth place stands
// a constant whose weight adds rounding and offset.
struct WeightedPairs
{
    __m256i redBlue;
    __m256i greenOne;
};

constexpr short kOne = 4096;

WeightedPairs SumOf(const WeightedPairs& a, const WeightedPairs& b)
{
    return {_mm256_add_epi16(a.redBlue, b.redBlue), _mm256_add_epi16(a.greenOne, b.greenOne)};
}

__m256i WeightedSum(const WeightedPairs& pairs, __m256i redBlueWeights, __m256i greenOneWeights)
{
    return _mm256_add_epi32(_mm256_madd_epi16(pairs.redBlue, redBlueWeights),
                            _mm256_madd_epi16(pairs.greenOne, greenOneWeights));
}

// 33 x 4096 = 4096 (rounding) + 16 x 8192 (offset).
__m256i LumaOf(const WeightedPairs& pairs)
{
    return _mm256_srai_epi32(WeightedSum(pairs, Pairs(2105, 803), Pairs(4129, 33)), 13);
}

// Of sums of four pixels: 257 x 4 x 4096 = 16384 (rounding) + 128 x 32768 (offset).
__m256i BlueDifferenceOf(const WeightedPairs& sums)
{
    return _mm256_srai_epi32(WeightedSum(sums, Pairs(-1212, 3596), Pairs(-2384, 257)), 15);
}

__m256i RedDifferenceOf(const WeightedPairs& sums)
{
    return _mm256_srai_epi32(WeightedSum(sums, Pairs(3596, -582), Pairs(-3015, 257)), 15);
}

// Of pixels a 0-7 and b 0-7: a0+a1, a2+a3, b0+b1, b2+b3 | a4+a5, a6+a7, b4+b5, b6+b7.
__m256i SumsOfNeighbours(__m256i a, __m256i b)
{
    const __m256 first = _mm256_castsi256_ps(a);
    const __m256 second = _mm256_castsi256_ps(b);
    const __m256i even =
        _mm256_castps_si256(_mm256_shuffle_ps(first, second, _MM_SHUFFLE(2, 0, 2, 0)));
    const __m256i odd =
        _mm256_castps_si256(_mm256_shuffle_ps(first, second, _MM_SHUFFLE(3, 1, 3, 1)));
    return _mm256_add_epi16(even, odd);
}

WeightedPairs SumsOfNeighbours(const WeightedPairs& a, const WeightedPairs& b)
{
    return {SumsOfNeighbours(a.redBlue, b.redBlue), SumsOfNeighbours(a.greenOne, b.greenOne)};
}

// How eight pixels of a packed picture are loaded.
struct Rgb24
{
    static constexpr std::ptrdiff_t kBytesPerPixel = 3;

    static WeightedPairs Load8(const unsigned char* packed)
    {
        // 24 bytes and not one more: the right half is loaded from its end.
        const __m256i bytes = _mm256_set_m128i(LoadHalf(packed + 8), LoadHalf(packed));
        const __m256i redBlue =
            _mm256_setr_epi8(0, -1, 2, -1, 3, -1, 5, -1, 6, -1, 8, -1, 9, -1, 11, -1,  // left
                             4, -1, 6, -1, 7, -1, 9, -1, 10, -1, 12, -1, 13, -1, 15, -1);
        const __m256i green =
            _mm256_setr_epi8(1, -1, -1, -1, 4, -1, -1, -1, 7, -1, -1, -1, 10, -1, -1, -1,  // left
                             5, -1, -1, -1, 8, -1, -1, -1, 11, -1, -1, -1, 14, -1, -1, -1);
        return {_mm256_shuffle_epi8(bytes, redBlue),
                _mm256_or_si256(_mm256_shuffle_epi8(bytes, green), Pairs(0, kOne))};
    }
};

struct Rgb32
{
    static constexpr std::ptrdiff_t kBytesPerPixel = 4;

    static WeightedPairs Load8(const unsigned char* packed)
    {
        const __m256i bytes = Load(packed);
        const __m256i green =
            Twice(_mm_setr_epi8(1, -1, -1, -1, 5, -1, -1, -1, 9, -1, -1, -1, 13, -1, -1, -1));
        return {_mm256_and_si256(bytes, _mm256_set1_epi32(0x00FF00FF)),
                _mm256_or_si256(_mm256_shuffle_epi8(bytes, green), Pairs(0, kOne))};
    }
};

// Groups of four bytes 0 2 4 6 | 1 3 5 7, as packing leaves them, back in their order.
__m256i InOrder(__m256i groups)
{
    return _mm256_permutevar8x32_epi32(groups, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
}

// 16 columns of both rows.
struct Columns
{
    __m256i upperLuma;        // 16 bits each: 0-3, 8-11 | 4-7, 12-15
    __m256i lowerLuma;        // likewise
    __m256i blueDifferences;  // 32 bits each, pairs of samples: 0, 2 | 1, 3
    __m256i redDifferences;   // likewise
};

template <class Format>
Columns ColumnsOf(const unsigned char* top, const unsigned char* bottom)
{
    constexpr std::ptrdiff_t kNext = 8 * Format::kBytesPerPixel;
    const WeightedPairs topLeft = Format::Load8(top);
    const WeightedPairs topRight = Format::Load8(top + kNext);
    const WeightedPairs bottomLeft = Format::Load8(bottom);
    const WeightedPairs bottomRight = Format::Load8(bottom + kNext);
    const WeightedPairs sums =
        SumsOfNeighbours(SumOf(topLeft, bottomLeft), SumOf(topRight, bottomRight));
    return {_mm256_packs_epi32(LumaOf(topLeft), LumaOf(topRight)),
            _mm256_packs_epi32(LumaOf(bottomLeft), LumaOf(bottomRight)), BlueDifferenceOf(sums),
            RedDifferenceOf(sums)};
}

template <class Format>
void UnpackStep(const unsigned char* top, const unsigned char* bottom, unsigned char* upper,
                unsigned char* lower, unsigned char* u, unsigned char* v)
{
    constexpr std::ptrdiff_t kNext = 16 * Format::kBytesPerPixel;
    const Columns left = ColumnsOf<Format>(top, bottom);
    const Columns right = ColumnsOf<Format>(top + kNext, bottom + kNext);
    Store(upper, InOrder(_mm256_packus_epi16(left.upperLuma, right.upperLuma)));
    Store(lower, InOrder(_mm256_packus_epi16(left.lowerLuma, right.lowerLuma)));

    // Pairs of samples: U 0 2 4 6, V 0 2 4 6 | U 1 3 5 7, V 1 3 5 7.
    const __m256i packed =
        _mm256_packus_epi16(_mm256_packs_epi32(left.blueDifferences, right.blueDifferences),
                            _mm256_packs_epi32(left.redDifferences, right.redDifferences));
    const __m256i planes = _mm256_permute4x64_epi64(packed, _MM_SHUFFLE(3, 1, 2, 0));
    const __m256i chroma = _mm256_shuffle_epi8(
        planes, Twice(_mm_setr_epi8(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15)));
    StoreHalf(u, _mm256_castsi256_si128(chroma));
    StoreHalf(v, _mm256_extracti128_si256(chroma, 1));
}

template <class Format>
std::ptrdiff_t UnpackWholeSteps(const unsigned char* upper, const unsigned char* lower,
                                const PlanarTarget& target, std::ptrdiff_t pixels)
{
    std::ptrdiff_t x = 0;
    for (; x + kStep <= pixels; x += kStep)
    {
        UnpackStep<Format>(upper + Format::kBytesPerPixel * x, lower + Format::kBytesPerPixel * x,
                           target.upper + x, target.lower + x, target.u + x / 2, target.v + x / 2);
    }
    return x;
}

// ---- 4:2:2 to planar ----------------------------------------------------------------------------

__m256i EvenBytes(__m256i a, __m256i b)
{
    const __m256i mask = _mm256_set1_epi16(0x00FF);
    return _mm256_packus_epi16(_mm256_and_si256(a, mask), _mm256_and_si256(b, mask));
}

__m256i OddBytes(__m256i a, __m256i b)
{
    return _mm256_packus_epi16(_mm256_srli_epi16(a, 8), _mm256_srli_epi16(b, 8));
}

// ---- The rest of a row --------------------------------------------------------------------------

PlanarSource From(const PlanarSource& source, std::ptrdiff_t x)
{
    return {source.upper + x, source.lower + x, source.u + x / 2, source.v + x / 2};
}

PlanarTarget From(const PlanarTarget& target, std::ptrdiff_t x)
{
    return {target.upper + x, target.lower + x, target.u + x / 2, target.v + x / 2};
}

}  // namespace

void PackRgb24(unsigned char* upper, unsigned char* lower, const PlanarSource& source,
               std::ptrdiff_t pixels)
{
    std::ptrdiff_t x = 0;
    for (; x + kStep <= pixels; x += kStep)
    {
        const ChromaTerms chroma = ChromaTermsOf(LoadChroma(source.u + x / 2, source.v + x / 2));
        StoreRgb24(upper + 3 * x, ChannelsOf<SaturatingSums>(Load(source.upper + x), chroma));
        StoreRgb24(lower + 3 * x, ChannelsOf<SaturatingSums>(Load(source.lower + x), chroma));
    }
    if (x < pixels)
    {
        sse2::PackRgb24(upper + 3 * x, lower + 3 * x, From(source, x), pixels - x);
    }
}

void PackRgb32(unsigned char* upper, unsigned char* lower, const PlanarSource& source,
               std::ptrdiff_t pixels)
{
    std::ptrdiff_t x = 0;
    for (; x + kStep <= pixels; x += kStep)
    {
        // A group of four pixels has two samples of U and V, four bytes as well.
        const ChromaTerms chroma =
            ChromaTermsOf(EvenGroupsFirst(LoadChroma(source.u + x / 2, source.v + x / 2)));
        StoreRgb32(upper + 4 * x,
                   ChannelsOf<SaturatingSums>(EvenGroupsFirst(Load(source.upper + x)), chroma));
        StoreRgb32(lower + 4 * x,
                   ChannelsOf<SaturatingSums>(EvenGroupsFirst(Load(source.lower + x)), chroma));
    }
    if (x < pixels)
    {
        sse2::PackRgb32(upper + 4 * x, lower + 4 * x, From(source, x), pixels - x);
    }
}

void PackArgb8888(unsigned char* upper, unsigned char* lower, const PlanarSource& source,
                  std::ptrdiff_t pixels)
{
    std::ptrdiff_t x = 0;
    for (; x + kStep <= pixels; x += kStep)
    {
        // A group of four pixels has two samples of U and V, four bytes as well.
        const ChromaTerms chroma =
            ChromaTermsOf(EvenGroupsFirst(LoadChroma(source.u + x / 2, source.v + x / 2)));
        StoreRgb32(upper + 4 * x,
                   ChannelsOf<WrappingSums>(EvenGroupsFirst(Load(source.upper + x)), chroma));
        StoreRgb32(lower + 4 * x,
                   ChannelsOf<WrappingSums>(EvenGroupsFirst(Load(source.lower + x)), chroma));
    }
    if (x < pixels)
    {
        sse2::PackArgb8888(upper + 4 * x, lower + 4 * x, From(source, x), pixels - x);
    }
}

void InterleaveYuy2(unsigned char* packed, const unsigned char* y, const unsigned char* u,
                    const unsigned char* v, std::ptrdiff_t pixels)
{
    std::ptrdiff_t x = 0;
    for (; x + kStep <= pixels; x += kStep)
    {
        const Samples422 samples = Load422(y + x, u + x / 2, v + x / 2);
        Store(packed + 2 * x, _mm256_unpacklo_epi8(samples.luma, samples.chroma));
        Store(packed + 2 * x + 32, _mm256_unpackhi_epi8(samples.luma, samples.chroma));
    }
    if (x < pixels)
    {
        sse2::InterleaveYuy2(packed + 2 * x, y + x, u + x / 2, v + x / 2, pixels - x);
    }
}

void InterleaveUyvy(unsigned char* packed, const unsigned char* y, const unsigned char* u,
                    const unsigned char* v, std::ptrdiff_t pixels)
{
    std::ptrdiff_t x = 0;
    for (; x + kStep <= pixels; x += kStep)
    {
        const Samples422 samples = Load422(y + x, u + x / 2, v + x / 2);
        Store(packed + 2 * x, _mm256_unpacklo_epi8(samples.chroma, samples.luma));
        Store(packed + 2 * x + 32, _mm256_unpackhi_epi8(samples.chroma, samples.luma));
    }
    if (x < pixels)
    {
        sse2::InterleaveUyvy(packed + 2 * x, y + x, u + x / 2, v + x / 2, pixels - x);
    }
}

void UnpackRgb24(const unsigned char* upper, const unsigned char* lower, const PlanarTarget& target,
                 std::ptrdiff_t pixels)
{
    const std::ptrdiff_t x = UnpackWholeSteps<Rgb24>(upper, lower, target, pixels);
    if (x < pixels)
    {
        sse2::UnpackRgb24(upper + 3 * x, lower + 3 * x, From(target, x), pixels - x);
    }
}

void UnpackRgb32(const unsigned char* upper, const unsigned char* lower, const PlanarTarget& target,
                 std::ptrdiff_t pixels)
{
    const std::ptrdiff_t x = UnpackWholeSteps<Rgb32>(upper, lower, target, pixels);
    if (x < pixels)
    {
        sse2::UnpackRgb32(upper + 4 * x, lower + 4 * x, From(target, x), pixels - x);
    }
}

void UnpackYuy2(const unsigned char* upper, const unsigned char* lower, const PlanarTarget& target,
                std::ptrdiff_t pixels)
{
    std::ptrdiff_t x = 0;
    for (; x + kStep <= pixels; x += kStep)
    {
        Prefetch(upper + 2 * x);
        Prefetch(lower + 2 * x);
        Prefetch(target.upper + x);
        Prefetch(target.lower + x);
        const __m256i topLeft = Load(upper + 2 * x);
        const __m256i topRight = Load(upper + 2 * x + 32);
        const __m256i bottomLeft = Load(lower + 2 * x);
        const __m256i bottomRight = Load(lower + 2 * x + 32);
        constexpr int kQuarters = _MM_SHUFFLE(3, 1, 2, 0);
        Store(target.upper + x, _mm256_permute4x64_epi64(EvenBytes(topLeft, topRight), kQuarters));
        Store(target.lower + x,
              _mm256_permute4x64_epi64(EvenBytes(bottomLeft, bottomRight), kQuarters));

        // U and V in turn, four of each: 0 2 | 1 3.
        const __m256i chroma =
            OddBytes(_mm256_avg_epu8(topLeft, bottomLeft), _mm256_avg_epu8(topRight, bottomRight));
        const __m256i u = _mm256_and_si256(chroma, _mm256_set1_epi16(0x00FF));
        const __m256i v = _mm256_srli_epi16(chroma, 8);
        const __m256i planes = InOrder(_mm256_packus_epi16(u, v));
        StoreHalf(target.u + x / 2, _mm256_castsi256_si128(planes));
        StoreHalf(target.v + x / 2, _mm256_extracti128_si256(planes, 1));
    }
    if (x < pixels)
    {
        sse2::UnpackYuy2(upper + 2 * x, lower + 2 * x, From(target, x), pixels - x);
    }
}

}  // namespace ostrel::media::avx2
