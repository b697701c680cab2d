// The row functions for SSE2: 16 pixels of both rows at once, or 32 where there is little to do.
#include <emmintrin.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "media/conversion_rows.h"

namespace ostrel::media::sse2
{
namespace
{

__m128i Load(const unsigned char* bytes)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}

__m128i LoadHalf(const unsigned char* bytes)
{
    return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(bytes));
}

void Store(unsigned char* bytes, __m128i value)
{
    _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes), value);
}

void StoreHalf(unsigned char* bytes, __m128i value)
{
    _mm_storel_epi64(reinterpret_cast<__m128i*>(bytes), value);
}

// Fetches what is converted or written some steps later. (The processor does so by itself within a
// page of memory; a row is several.)
void Prefetch(const unsigned char* bytes)
{
    constexpr std::ptrdiff_t kAhead = 1536;
    _mm_prefetch(reinterpret_cast<const char*>(bytes + kAhead), _MM_HINT_T0);
}

// 16-bit lanes that repeat a pair.
__m128i Pairs(short first, short second)
{
    return _mm_setr_epi16(first, second, first, second, first, second, first, second);
}

// ---- YUV to RGB ---------------------------------------------------------------------------------

// One 16-bit term for each of 16 pixels.
struct Terms
{
    __m128i left;
    __m128i right;
};

// Each chroma sample serves two neighbours.
Terms ForBothNeighbours(__m128i samples)
{
    return {_mm_unpacklo_epi16(samples, samples), _mm_unpackhi_epi16(samples, samples)};
}

// What chroma adds to 74 x y, the luma offset of 16 included: no partial sum saturates, so where it
// is subtracted makes no difference.
struct ChromaTerms
{
    Terms blue;
    Terms green;
    Terms red;
};

ChromaTerms ChromaTermsOf(const unsigned char* uSamples, const unsigned char* vSamples)
{
    const __m128i zero = _mm_setzero_si128();
    const __m128i chromaOffset = _mm_set1_epi16(128);
    const __m128i lumaOffset = _mm_set1_epi16(74 * 16);
    const __m128i u = _mm_sub_epi16(_mm_unpacklo_epi8(LoadHalf(uSamples), zero), chromaOffset);
    const __m128i v = _mm_sub_epi16(_mm_unpacklo_epi8(LoadHalf(vSamples), zero), chromaOffset);
    const __m128i blue = _mm_mullo_epi16(u, _mm_set1_epi16(129));
    const __m128i green = _mm_add_epi16(_mm_mullo_epi16(u, _mm_set1_epi16(25)),
                                        _mm_mullo_epi16(v, _mm_set1_epi16(52)));
    const __m128i red = _mm_mullo_epi16(v, _mm_set1_epi16(102));
    return {ForBothNeighbours(_mm_sub_epi16(blue, lumaOffset)),
            ForBothNeighbours(_mm_add_epi16(green, lumaOffset)),
            ForBothNeighbours(_mm_sub_epi16(red, lumaOffset))};
}

// 16 pixels, a byte per channel.
struct Channels
{
    __m128i blue;
    __m128i green;
    __m128i red;
};

__m128i Clamped(__m128i left, __m128i right)
{
    return _mm_packus_epi16(_mm_srai_epi16(left, 6), _mm_srai_epi16(right, 6));
}

struct SaturatingSums
{
    static __m128i Sum(__m128i a, __m128i b) { return _mm_adds_epi16(a, b); }
};

struct WrappingSums
{
    static __m128i Sum(__m128i a, __m128i b) { return _mm_add_epi16(a, b); }
};

template <class Sums>
Channels ChannelsOf(const unsigned char* y, const ChromaTerms& chroma)
{
    // 256 x y times 256 x 74, and of that the upper half. (A plain multiplication by 74 would be
    // broken up into several shifts and sums by compilers.)
    const __m128i zero = _mm_setzero_si128();
    const __m128i gain = _mm_set1_epi16(256 * 74);
    const __m128i luma = Load(y);
    const __m128i left = _mm_mulhi_epu16(_mm_unpacklo_epi8(zero, luma), gain);
    const __m128i right = _mm_mulhi_epu16(_mm_unpackhi_epi8(zero, luma), gain);
    // Only blue can leave 16 bits.
    return {
        Clamped(Sums::Sum(left, chroma.blue.left), Sums::Sum(right, chroma.blue.right)),
        Clamped(_mm_sub_epi16(left, chroma.green.left), _mm_sub_epi16(right, chroma.green.right)),
        Clamped(_mm_add_epi16(left, chroma.red.left), _mm_add_epi16(right, chroma.red.right))};
}

// Four registers of four pixels: B, G, R, 0.
struct Quads
{
    __m128i pixels[4];
};

Quads QuadsOf(const Channels& channels)
{
    const __m128i zero = _mm_setzero_si128();
    const __m128i blueGreenLeft = _mm_unpacklo_epi8(channels.blue, channels.green);
    const __m128i blueGreenRight = _mm_unpackhi_epi8(channels.blue, channels.green);
    const __m128i redLeft = _mm_unpacklo_epi8(channels.red, zero);
    const __m128i redRight = _mm_unpackhi_epi8(channels.red, zero);
    return {{_mm_unpacklo_epi16(blueGreenLeft, redLeft), _mm_unpackhi_epi16(blueGreenLeft, redLeft),
             _mm_unpacklo_epi16(blueGreenRight, redRight),
             _mm_unpackhi_epi16(blueGreenRight, redRight)}};
}

// Four pixels of four bytes to 12 bytes, the upper four 0.
__m128i WithoutFourthBytes(__m128i pixels)
{
    const __m128i evenPixels = _mm_set1_epi64x(0x0000000000FFFFFF);
    const __m128i oddPixels = _mm_set1_epi64x(0x0000FFFFFF000000);
    const __m128i sixInEachHalf = _mm_or_si128(_mm_and_si128(pixels, evenPixels),
                                               _mm_and_si128(_mm_srli_epi64(pixels, 8), oddPixels));
    const __m128i firstHalf = _mm_move_epi64(sixInEachHalf);
    const __m128i secondHalf = _mm_slli_si128(_mm_srli_si128(sixInEachHalf, 8), 6);
    return _mm_or_si128(firstHalf, secondHalf);
}

void StoreRgb24(unsigned char* packed, const Channels& channels)
{
    const Quads quads = QuadsOf(channels);
    const __m128i a = WithoutFourthBytes(quads.pixels[0]);
    const __m128i b = WithoutFourthBytes(quads.pixels[1]);
    const __m128i c = WithoutFourthBytes(quads.pixels[2]);
    const __m128i d = WithoutFourthBytes(quads.pixels[3]);
    Store(packed, _mm_or_si128(a, _mm_slli_si128(b, 12)));
    Store(packed + 16, _mm_or_si128(_mm_srli_si128(b, 4), _mm_slli_si128(c, 8)));
    Store(packed + 32, _mm_or_si128(_mm_srli_si128(c, 8), _mm_slli_si128(d, 4)));
}

void StoreRgb32(unsigned char* packed, const Channels& channels)
{
    const Quads quads = QuadsOf(channels);
    for (std::ptrdiff_t i = 0; i < 4; ++i)
    {
        Store(packed + 16 * i, quads.pixels[i]);
    }
}

// ---- RGB to YUV ---------------------------------------------------------------------------------

// Pixels as 16-bit pairs, so that one multiply-add weights two channels. In the fourth place stands
// a constant whose weight adds rounding and offset.
struct WeightedPairs
{
    __m128i redBlue;
    __m128i greenOne;
};

constexpr short kOne = 4096;

// Four pixels of four bytes, the last one anything.
WeightedPairs PairsOf(__m128i pixels)
{
    const __m128i redBlue = _mm_and_si128(pixels, _mm_set1_epi32(0x00FF00FF));
    const __m128i green = _mm_and_si128(_mm_srli_epi32(pixels, 8), _mm_set1_epi32(0x000000FF));
    return {redBlue, _mm_or_si128(green, Pairs(0, kOne))};
}

WeightedPairs SumOf(const WeightedPairs& a, const WeightedPairs& b)
{
    return {_mm_add_epi16(a.redBlue, b.redBlue), _mm_add_epi16(a.greenOne, b.greenOne)};
}

__m128i WeightedSum(const WeightedPairs& pairs, __m128i redBlueWeights, __m128i greenOneWeights)
{
    return _mm_add_epi32(_mm_madd_epi16(pairs.redBlue, redBlueWeights),
                         _mm_madd_epi16(pairs.greenOne, greenOneWeights));
}

// 33 x 4096 = 4096 (rounding) + 16 x 8192 (offset).
__m128i LumaOf(const WeightedPairs& pairs)
{
    return _mm_srai_epi32(WeightedSum(pairs, Pairs(2105, 803), Pairs(4129, 33)), 13);
}

// Of sums of four pixels: 257 x 4 x 4096 = 16384 (rounding) + 128 x 32768 (offset).
__m128i BlueDifferenceOf(const WeightedPairs& sums)
{
    return _mm_srai_epi32(WeightedSum(sums, Pairs(-1212, 3596), Pairs(-2384, 257)), 15);
}

__m128i RedDifferenceOf(const WeightedPairs& sums)
{
    return _mm_srai_epi32(WeightedSum(sums, Pairs(3596, -582), Pairs(-3015, 257)), 15);
}

// a0+a1, a2+a3, b0+b1, b2+b3.
__m128i SumsOfNeighbours(__m128i a, __m128i b)
{
    const __m128 first = _mm_castsi128_ps(a);
    const __m128 second = _mm_castsi128_ps(b);
    const __m128i even = _mm_castps_si128(_mm_shuffle_ps(first, second, _MM_SHUFFLE(2, 0, 2, 0)));
    const __m128i odd = _mm_castps_si128(_mm_shuffle_ps(first, second, _MM_SHUFFLE(3, 1, 3, 1)));
    return _mm_add_epi16(even, odd);
}

WeightedPairs SumsOfNeighbours(const WeightedPairs& a, const WeightedPairs& b)
{
    return {SumsOfNeighbours(a.redBlue, b.redBlue), SumsOfNeighbours(a.greenOne, b.greenOne)};
}

// Four pixels of three bytes to four of four.
__m128i WithFourthBytes(__m128i bytes)
{
    const __m128i firstTwo = _mm_unpacklo_epi32(bytes, _mm_srli_si128(bytes, 3));
    const __m128i lastTwo = _mm_unpacklo_epi32(_mm_srli_si128(bytes, 6), _mm_srli_si128(bytes, 9));
    return _mm_unpacklo_epi64(firstTwo, lastTwo);
}

Quads LoadRgb24(const unsigned char* packed)
{
    // The last load starts early, for the row may end with its last pixel.
    return {{WithFourthBytes(Load(packed)), WithFourthBytes(Load(packed + 12)),
             WithFourthBytes(Load(packed + 24)),
             WithFourthBytes(_mm_srli_si128(Load(packed + 32), 4))}};
}

Quads LoadRgb32(const unsigned char* packed)
{
    return {{Load(packed), Load(packed + 16), Load(packed + 32), Load(packed + 48)}};
}

// Eight columns of both rows.
struct Columns
{
    __m128i upperLuma;        // 16 bits each
    __m128i lowerLuma;        // likewise
    __m128i blueDifferences;  // 32 bits each
    __m128i redDifferences;   // likewise
};

Columns ColumnsOf(__m128i topLeft, __m128i topRight, __m128i bottomLeft, __m128i bottomRight)
{
    const WeightedPairs topLeftPairs = PairsOf(topLeft);
    const WeightedPairs topRightPairs = PairsOf(topRight);
    const WeightedPairs bottomLeftPairs = PairsOf(bottomLeft);
    const WeightedPairs bottomRightPairs = PairsOf(bottomRight);
    const WeightedPairs sums = SumsOfNeighbours(SumOf(topLeftPairs, bottomLeftPairs),
                                                SumOf(topRightPairs, bottomRightPairs));
    return {_mm_packs_epi32(LumaOf(topLeftPairs), LumaOf(topRightPairs)),
            _mm_packs_epi32(LumaOf(bottomLeftPairs), LumaOf(bottomRightPairs)),
            BlueDifferenceOf(sums), RedDifferenceOf(sums)};
}

void UnpackStep(const Quads& top, const Quads& bottom, unsigned char* upper, unsigned char* lower,
                unsigned char* u, unsigned char* v)
{
    const Columns left =
        ColumnsOf(top.pixels[0], top.pixels[1], bottom.pixels[0], bottom.pixels[1]);
    const Columns right =
        ColumnsOf(top.pixels[2], top.pixels[3], bottom.pixels[2], bottom.pixels[3]);
    Store(upper, _mm_packus_epi16(left.upperLuma, right.upperLuma));
    Store(lower, _mm_packus_epi16(left.lowerLuma, right.lowerLuma));

    const __m128i chroma =
        _mm_packus_epi16(_mm_packs_epi32(left.blueDifferences, right.blueDifferences),
                         _mm_packs_epi32(left.redDifferences, right.redDifferences));
    StoreHalf(u, chroma);
    StoreHalf(v, _mm_srli_si128(chroma, 8));
}

// ---- 4:2:2 to planar ----------------------------------------------------------------------------

__m128i EvenBytes(__m128i a, __m128i b)
{
    const __m128i mask = _mm_set1_epi16(0x00FF);
    return _mm_packus_epi16(_mm_and_si128(a, mask), _mm_and_si128(b, mask));
}

__m128i OddBytes(__m128i a, __m128i b)
{
    return _mm_packus_epi16(_mm_srli_epi16(a, 8), _mm_srli_epi16(b, 8));
}

// The luma of 16 pixels of both rows; returns their chroma, U and V in turn.
__m128i UnpackLuma(const unsigned char* upper, const unsigned char* lower,
                   const PlanarTarget& target, std::ptrdiff_t x)
{
    const __m128i topLeft = Load(upper + 2 * x);
    const __m128i topRight = Load(upper + 2 * x + 16);
    const __m128i bottomLeft = Load(lower + 2 * x);
    const __m128i bottomRight = Load(lower + 2 * x + 16);
    Store(target.upper + x, EvenBytes(topLeft, topRight));
    Store(target.lower + x, EvenBytes(bottomLeft, bottomRight));
    return OddBytes(_mm_avg_epu8(topLeft, bottomLeft), _mm_avg_epu8(topRight, bottomRight));
}

}  // namespace

// Only whole lines of the cache: a part of one would be read first.
void StreamCopy(unsigned char* to, const unsigned char* from, std::ptrdiff_t count)
{
    constexpr std::ptrdiff_t kLine = 64;
    const auto past = static_cast<std::ptrdiff_t>(reinterpret_cast<std::uintptr_t>(to) % kLine);
    const std::ptrdiff_t first = std::min((kLine - past) % kLine, count);
    std::memcpy(to, from, static_cast<std::size_t>(first));
    std::ptrdiff_t i = first;
    for (; i + kLine <= count; i += kLine)
    {
        const __m128i parts[] = {Load(from + i), Load(from + i + 16), Load(from + i + 32),
                                 Load(from + i + 48)};
        auto* line = reinterpret_cast<__m128i*>(to + i);
        _mm_stream_si128(line, parts[0]);
        _mm_stream_si128(line + 1, parts[1]);
        _mm_stream_si128(line + 2, parts[2]);
        _mm_stream_si128(line + 3, parts[3]);
    }
    std::memcpy(to + i, from + i, static_cast<std::size_t>(count - i));
}

void FinishStreams()
{
    _mm_sfence();
}

void PackRgb24(unsigned char* upper, unsigned char* lower, const PlanarSource& source,
               std::ptrdiff_t pixels)
{
    for (std::ptrdiff_t x = 0; x < pixels; x += 16)
    {
        const ChromaTerms chroma = ChromaTermsOf(source.u + x / 2, source.v + x / 2);
        StoreRgb24(upper + 3 * x, ChannelsOf<SaturatingSums>(source.upper + x, chroma));
        StoreRgb24(lower + 3 * x, ChannelsOf<SaturatingSums>(source.lower + x, chroma));
    }
}

void PackRgb32(unsigned char* upper, unsigned char* lower, const PlanarSource& source,
               std::ptrdiff_t pixels)
{
    for (std::ptrdiff_t x = 0; x < pixels; x += 16)
    {
        const ChromaTerms chroma = ChromaTermsOf(source.u + x / 2, source.v + x / 2);
        StoreRgb32(upper + 4 * x, ChannelsOf<SaturatingSums>(source.upper + x, chroma));
        StoreRgb32(lower + 4 * x, ChannelsOf<SaturatingSums>(source.lower + x, chroma));
    }
}

void PackArgb8888(unsigned char* upper, unsigned char* lower, const PlanarSource& source,
                  std::ptrdiff_t pixels)
{
    for (std::ptrdiff_t x = 0; x < pixels; x += 16)
    {
        const ChromaTerms chroma = ChromaTermsOf(source.u + x / 2, source.v + x / 2);
        StoreRgb32(upper + 4 * x, ChannelsOf<WrappingSums>(source.upper + x, chroma));
        StoreRgb32(lower + 4 * x, ChannelsOf<WrappingSums>(source.lower + x, chroma));
    }
}

void InterleaveYuy2(unsigned char* packed, const unsigned char* y, const unsigned char* u,
                    const unsigned char* v, std::ptrdiff_t pixels)
{
    std::ptrdiff_t x = 0;
    for (; x + 16 <= pixels; x += 16)
    {
        const __m128i luma = Load(y + x);
        const __m128i chroma = _mm_unpacklo_epi8(LoadHalf(u + x / 2), LoadHalf(v + x / 2));
        Store(packed + 2 * x, _mm_unpacklo_epi8(luma, chroma));
        Store(packed + 2 * x + 16, _mm_unpackhi_epi8(luma, chroma));
    }
    if (x < pixels)
    {
        scalar::InterleaveYuy2(packed + 2 * x, y + x, u + x / 2, v + x / 2, pixels - x);
    }
}

void InterleaveUyvy(unsigned char* packed, const unsigned char* y, const unsigned char* u,
                    const unsigned char* v, std::ptrdiff_t pixels)
{
    std::ptrdiff_t x = 0;
    for (; x + 16 <= pixels; x += 16)
    {
        const __m128i luma = Load(y + x);
        const __m128i chroma = _mm_unpacklo_epi8(LoadHalf(u + x / 2), LoadHalf(v + x / 2));
        Store(packed + 2 * x, _mm_unpacklo_epi8(chroma, luma));
        Store(packed + 2 * x + 16, _mm_unpackhi_epi8(chroma, luma));
    }
    if (x < pixels)
    {
        scalar::InterleaveUyvy(packed + 2 * x, y + x, u + x / 2, v + x / 2, pixels - x);
    }
}

void UnpackRgb24(const unsigned char* upper, const unsigned char* lower, const PlanarTarget& target,
                 std::ptrdiff_t pixels)
{
    for (std::ptrdiff_t x = 0; x < pixels; x += 16)
    {
        UnpackStep(LoadRgb24(upper + 3 * x), LoadRgb24(lower + 3 * x), target.upper + x,
                   target.lower + x, target.u + x / 2, target.v + x / 2);
    }
}

void UnpackRgb32(const unsigned char* upper, const unsigned char* lower, const PlanarTarget& target,
                 std::ptrdiff_t pixels)
{
    for (std::ptrdiff_t x = 0; x < pixels; x += 16)
    {
        UnpackStep(LoadRgb32(upper + 4 * x), LoadRgb32(lower + 4 * x), target.upper + x,
                   target.lower + x, target.u + x / 2, target.v + x / 2);
    }
}

void UnpackYuy2(const unsigned char* upper, const unsigned char* lower, const PlanarTarget& target,
                std::ptrdiff_t pixels)
{
    // Twice as many as elsewhere: so the chroma fills registers.
    constexpr std::ptrdiff_t kTwo = 32;
    std::ptrdiff_t x = 0;
    for (; x + kTwo <= pixels; x += kTwo)
    {
        Prefetch(upper + 2 * x);
        Prefetch(lower + 2 * x);
        Prefetch(target.upper + x);
        Prefetch(target.lower + x);
        const __m128i left = UnpackLuma(upper, lower, target, x);
        const __m128i right = UnpackLuma(upper, lower, target, x + kTwo / 2);
        Store(target.u + x / 2, EvenBytes(left, right));
        Store(target.v + x / 2, OddBytes(left, right));
    }
    if (x < pixels)
    {
        const __m128i chroma = UnpackLuma(upper, lower, target, x);
        StoreHalf(target.u + x / 2, EvenBytes(chroma, chroma));
        StoreHalf(target.v + x / 2, OddBytes(chroma, chroma));
    }
}

}  // namespace ostrel::media::sse2
