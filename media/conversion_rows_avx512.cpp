// The row functions for AVX-512 with byte permutations (VBMI) and byte products (VNNI): 64 pixels
// of both rows at once. One instruction brings any byte of two registers to any place, so pixels
// are kept in whatever order suits the arithmetic, and the permutation that stores them sorts them.
//
// Only this file is compiled for AVX-512, so nothing inline from elsewhere may be used here: the
// linker could keep this file's copy of it for everybody. That includes the standard library.
#include <immintrin.h>

#include "media/conversion_rows.h"

namespace ostrel::media::avx512
{
namespace
{

__m512i Load(const unsigned char* bytes)
{
    return _mm512_loadu_si512(bytes);
}

__m256i LoadHalf(const unsigned char* bytes)
{
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes));
}

void Store(unsigned char* bytes, __m512i value)
{
    _mm512_storeu_si512(bytes, value);
}

void StoreHalf(unsigned char* bytes, __m256i value)
{
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(bytes), value);
}

// Fetches what is converted or written some steps later. (The processor does so by itself within a
// page of memory; a row is several.)
constexpr std::ptrdiff_t kAhead = 1536;

template <int kRegisters>
void Prefetch(const unsigned char* bytes)
{
    for (std::ptrdiff_t i = 0; i < kRegisters; ++i)
    {
        _mm_prefetch(reinterpret_cast<const char*>(bytes + kAhead + 64 * i), _MM_HINT_T0);
    }
}

// Where each of the 64 bytes of a register comes from: 0-63 the first source, 64-127 the second.
struct alignas(64) Places
{
    unsigned char from[64];
};

__m512i Vector(const Places& places)
{
    return _mm512_load_si512(places.from);
}

template <class From>
constexpr Places PlacesBy(From from)
{
    Places places = {};
    for (int i = 0; i < 64; ++i)
    {
        places.from[i] = static_cast<unsigned char>(from(i));
    }
    return places;
}

// 8-bit lanes that repeat a pair.
__m512i BytePairs(int first, int second)
{
    return _mm512_set1_epi16(static_cast<short>((first & 0xFF) | (second & 0xFF) << 8));
}

// 16-bit lanes that repeat a pair.
__m512i Pairs(int first, int second)
{
    return _mm512_set1_epi32(static_cast<int>((static_cast<unsigned>(first) & 0xFFFF) |
                                              static_cast<unsigned>(second) << 16));
}

// Multiplies unsigned bytes with signed ones and adds the products of neighbours.
__m512i SumsOfProducts(__m512i unsignedBytes, __m512i signedBytes)
{
    return _mm512_maddubs_epi16(unsignedBytes, signedBytes);
}

// 32 samples of U and V in turn.
__m512i LoadChroma(const unsigned char* u, const unsigned char* v)
{
    static constexpr Places kInTurn = PlacesBy([](int i) { return i / 2 + 64 * (i % 2); });
    return _mm512_permutex2var_epi8(_mm512_castsi256_si512(LoadHalf(u)), Vector(kInTurn),
                                    _mm512_castsi256_si512(LoadHalf(v)));
}

// ---- YUV to RGB ---------------------------------------------------------------------------------

// What chroma adds to 74 x y, the luma offset of 16 included: no partial sum saturates, so where it
// is subtracted makes no difference. One 16-bit lane for each sample, which serves two neighbours.
struct ChromaTerms
{
    __m512i blue;
    __m512i green;
    __m512i red;
};

ChromaTerms ChromaTermsOf(const unsigned char* u, const unsigned char* v)
{
    // Less 128 each, as signed bytes.
    const __m512i chroma = _mm512_xor_si512(LoadChroma(u, v), _mm512_set1_epi8(-128));
    const __m512i offset = _mm512_set1_epi16(74 * 16);
    return {_mm512_sub_epi16(SumsOfProducts(BytePairs(129, 0), chroma), offset),
            _mm512_add_epi16(SumsOfProducts(BytePairs(25, 52), chroma), offset),
            _mm512_sub_epi16(SumsOfProducts(BytePairs(0, 102), chroma), offset)};
}

// 64 pixels, a byte per channel: in each quarter the even pixels, then the odd ones.
struct Channels
{
    __m512i blue;
    __m512i green;
    __m512i red;
};

constexpr int PlaceOfPixel(int pixel)
{
    return pixel / 16 * 16 + pixel % 2 * 8 + pixel % 16 / 2;
}

__m512i Clamped(__m512i even, __m512i odd)
{
    return _mm512_packus_epi16(_mm512_srai_epi16(even, 6), _mm512_srai_epi16(odd, 6));
}

struct SaturatingSums
{
    static __m512i Sum(__m512i a, __m512i b) { return _mm512_adds_epi16(a, b); }
};

struct WrappingSums
{
    static __m512i Sum(__m512i a, __m512i b) { return _mm512_add_epi16(a, b); }
};

template <class Sums>
Channels ChannelsOf(__m512i luma, const ChromaTerms& chroma)
{
    const __m512i even = SumsOfProducts(luma, BytePairs(74, 0));
    const __m512i odd = SumsOfProducts(luma, BytePairs(0, 74));
    // Only blue can leave 16 bits.
    return {Clamped(Sums::Sum(even, chroma.blue), Sums::Sum(odd, chroma.blue)),
            Clamped(_mm512_sub_epi16(even, chroma.green), _mm512_sub_epi16(odd, chroma.green)),
            Clamped(_mm512_add_epi16(even, chroma.red), _mm512_add_epi16(odd, chroma.red))};
}

// Stores bytes that come from two registers but for those that a mask takes from a third.
struct Selection
{
    Places places;
    unsigned long long fromThird;
};

template <int kPart>
constexpr Selection Rgb24Selection()
{
    Selection selection = {};
    for (int i = 0; i < 64; ++i)
    {
        const int byte = 64 * kPart + i;
        const int place = PlaceOfPixel(byte / 3);
        selection.places.from[i] = static_cast<unsigned char>(byte % 3 == 1 ? 64 + place : place);
        selection.fromThird |= static_cast<unsigned long long>(byte % 3 == 2) << i;
    }
    return selection;
}

template <int kPart>
__m512i Rgb24Part(const Channels& channels)
{
    static constexpr Selection kSelection = Rgb24Selection<kPart>();
    const __m512i places = Vector(kSelection.places);
    const __m512i blueGreen = _mm512_permutex2var_epi8(channels.blue, places, channels.green);
    return _mm512_mask_permutexvar_epi8(blueGreen, kSelection.fromThird, places, channels.red);
}

struct Rgb24Out
{
    static constexpr std::ptrdiff_t kBytesPerPixel = 3;

    static void StorePixels(unsigned char* packed, const Channels& channels)
    {
        Store(packed, Rgb24Part<0>(channels));
        Store(packed + 64, Rgb24Part<1>(channels));
        Store(packed + 128, Rgb24Part<2>(channels));
    }
};

template <int kPart>
__m512i Rgb32Part(const Channels& channels)
{
    static constexpr Places kBlueGreen =
        PlacesBy([](int i) { return PlaceOfPixel(16 * kPart + i / 4) + (i % 2 == 1 ? 64 : 0); });
    constexpr __mmask64 kRed = 0x4444444444444444;
    constexpr __mmask64 kNoFourth = 0x7777777777777777;
    // The red channel is taken from the same place as the others.
    const __m512i places = Vector(kBlueGreen);
    const __m512i blueGreen =
        _mm512_maskz_permutex2var_epi8(kNoFourth, channels.blue, places, channels.green);
    return _mm512_mask_permutexvar_epi8(blueGreen, kRed, places, channels.red);
}

struct Rgb32Out
{
    static constexpr std::ptrdiff_t kBytesPerPixel = 4;

    static void StorePixels(unsigned char* packed, const Channels& channels)
    {
        Store(packed, Rgb32Part<0>(channels));
        Store(packed + 64, Rgb32Part<1>(channels));
        Store(packed + 128, Rgb32Part<2>(channels));
        Store(packed + 192, Rgb32Part<3>(channels));
    }
};

template <class Format, class Sums>
std::ptrdiff_t PackWholeSteps(unsigned char* upper, unsigned char* lower,
                              const PlanarSource& source, std::ptrdiff_t pixels)
{
    std::ptrdiff_t x = 0;
    for (; x + kStep <= pixels; x += kStep)
    {
        Prefetch<1>(source.upper + x);
        Prefetch<1>(source.lower + x);
        Prefetch<1>(source.u + x / 2);
        Prefetch<1>(source.v + x / 2);
        const ChromaTerms chroma = ChromaTermsOf(source.u + x / 2, source.v + x / 2);
        Format::StorePixels(upper + Format::kBytesPerPixel * x,
                            ChannelsOf<Sums>(Load(source.upper + x), chroma));
        Format::StorePixels(lower + Format::kBytesPerPixel * x,
                            ChannelsOf<Sums>(Load(source.lower + x), chroma));
    }
    return x;
}

// ---- Planar to 4:2:2 ----------------------------------------------------------------------------

// Byte i of two registers in turn, from the first half of each or the second.
template <int kHalf>
constexpr Places InTurn()
{
    return PlacesBy([](int i) { return 32 * kHalf + i / 2 + 64 * (i % 2); });
}

void StoreInTurn(unsigned char* packed, __m512i first, __m512i second)
{
    static constexpr Places kLeft = InTurn<0>();
    static constexpr Places kRight = InTurn<1>();
    Store(packed, _mm512_permutex2var_epi8(first, Vector(kLeft), second));
    Store(packed + 64, _mm512_permutex2var_epi8(first, Vector(kRight), second));
}

// ---- RGB to YUV ---------------------------------------------------------------------------------

// A weight in units of 1/8192 does not fit into a byte: it is 256 x upper + lower, both signed.
constexpr int LowerPart(int weight)
{
    return static_cast<signed char>(weight & 0xFF);
}

constexpr int UpperPart(int weight)
{
    return (weight - LowerPart(weight)) / 256;
}

__m512i ByteQuads(int a, int b, int c, int d)
{
    return _mm512_set1_epi32(static_cast<int>(
        (static_cast<unsigned>(a) & 0xFF) | (static_cast<unsigned>(b) & 0xFF) << 8 |
        (static_cast<unsigned>(c) & 0xFF) << 16 | static_cast<unsigned>(d) << 24));
}

// Luma of 16 pixels of four bytes, the last one anything, in 32-bit lanes.
__m512i LumaOf(__m512i pixels)
{
    // 528 x 256 = 4096 (rounding) + 16 x 8192 (offset).
    const __m512i upper =
        _mm512_dpbusd_epi32(_mm512_set1_epi32(528), pixels,
                            ByteQuads(UpperPart(2105), UpperPart(4129), UpperPart(803), 0));
    const __m512i sum =
        _mm512_dpbusd_epi32(_mm512_slli_epi32(upper, 8), pixels,
                            ByteQuads(LowerPart(2105), LowerPart(4129), LowerPart(803), 0));
    return _mm512_srli_epi32(sum, 13);
}

// Groups of four bytes, as two packings leave them, back in their order: in each quarter are four
// bytes of each of the four sources.
__m512i InOrder(__m512i groups)
{
    return _mm512_permutexvar_epi32(
        _mm512_setr_epi32(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15), groups);
}

__m512i BytesOf(__m512i a, __m512i b, __m512i c, __m512i d)
{
    return InOrder(_mm512_packus_epi16(_mm512_packs_epi32(a, b), _mm512_packs_epi32(c, d)));
}

// Sums of channels over blocks of two columns and two rows: 16 of them, as 16-bit pairs.
struct BlockSums
{
    __m512i redGreen;
    __m512i blueOne;
};

constexpr int kOne = 4096;

// 257 x 4 x 4096 = 16384 (rounding) + 128 x 32768 (offset).
__m512i WeightedSum(const BlockSums& sums, __m512i redGreenWeights, __m512i blueOneWeights)
{
    const __m512i redGreen = _mm512_madd_epi16(sums.redGreen, redGreenWeights);
    return _mm512_srai_epi32(_mm512_dpwssd_epi32(redGreen, sums.blueOne, blueOneWeights), 15);
}

__m512i BlueDifferenceOf(const BlockSums& sums)
{
    return WeightedSum(sums, Pairs(-1212, -2384), Pairs(3596, 4 * 257));
}

__m512i RedDifferenceOf(const BlockSums& sums)
{
    return WeightedSum(sums, Pairs(3596, -3015), Pairs(-582, 4 * 257));
}

// The same channel of neighbours side by side.
template <int kSize>
constexpr Places RedGreenOfNeighbours()
{
    return PlacesBy([](int i) { return 2 * kSize * (i / 4) + kSize * (i % 2) + i % 4 / 2; });
}

// Two of blue; the other two bytes are masked off.
template <int kSize>
constexpr Places BlueOfNeighbours()
{
    return PlacesBy([](int i) { return 2 * kSize * (i / 4) + kSize * (i % 2) + 2; });
}

template <int kSize>
BlockSums BlockSumsOf(__m512i topLeft, __m512i topRight, __m512i bottomLeft, __m512i bottomRight)
{
    static constexpr Places kRedGreen = RedGreenOfNeighbours<kSize>();
    static constexpr Places kBlue = BlueOfNeighbours<kSize>();
    constexpr __mmask64 kFirstTwo = 0x3333333333333333;
    const __m512i redGreen = Vector(kRedGreen);
    const __m512i blue = Vector(kBlue);
    const __m512i ones = _mm512_set1_epi8(1);
    const __m512i topBlue = _mm512_maskz_permutex2var_epi8(kFirstTwo, topLeft, blue, topRight);
    const __m512i bottomBlue =
        _mm512_maskz_permutex2var_epi8(kFirstTwo, bottomLeft, blue, bottomRight);
    return {_mm512_add_epi16(
                SumsOfProducts(_mm512_permutex2var_epi8(topLeft, redGreen, topRight), ones),
                SumsOfProducts(_mm512_permutex2var_epi8(bottomLeft, redGreen, bottomRight), ones)),
            _mm512_add_epi16(_mm512_add_epi16(SumsOfProducts(topBlue, ones), Pairs(0, kOne)),
                             SumsOfProducts(bottomBlue, ones))};
}

// 64 pixels of a row: as quads of four bytes for luma, and for chroma as they came, 32 pixels from
// the start of each pair of registers.
struct Row64
{
    __m512i quads[4];
    __m512i bytes[4];
};

struct Rgb24In
{
    static constexpr std::ptrdiff_t kBytesPerPixel = 3;

    // 16 pixels that start at a place.
    template <int kFrom>
    static __m512i Quads(__m512i bytes)
    {
        static constexpr Places kQuads =
            PlacesBy([](int i) { return kFrom + 3 * (i / 4) + (i % 4 < 3 ? i % 4 : 0); });
        return _mm512_permutexvar_epi8(Vector(kQuads), bytes);
    }

    static Row64 LoadRow(const unsigned char* packed)
    {
        // 192 bytes and not one more: the last load is that of the end.
        const __m512i first = Load(packed);
        const __m512i second = Load(packed + 48);
        const __m512i third = Load(packed + 96);
        const __m512i fourth = Load(packed + 128);
        return {{Quads<0>(first), Quads<0>(second), Quads<0>(third), Quads<16>(fourth)},
                {first, LoadRest(packed + 64), third, LoadRest(packed + 160)}};
    }

    static __m512i LoadRest(const unsigned char* packed)
    {
        return _mm512_castsi256_si512(LoadHalf(packed));
    }
};

struct Rgb32In
{
    static constexpr std::ptrdiff_t kBytesPerPixel = 4;

    static Row64 LoadRow(const unsigned char* packed)
    {
        const __m512i a = Load(packed);
        const __m512i b = Load(packed + 64);
        const __m512i c = Load(packed + 128);
        const __m512i d = Load(packed + 192);
        return {{a, b, c, d}, {a, b, c, d}};
    }
};

__m512i LumaOf(const Row64& row)
{
    return BytesOf(LumaOf(row.quads[0]), LumaOf(row.quads[1]), LumaOf(row.quads[2]),
                   LumaOf(row.quads[3]));
}

template <class Format>
std::ptrdiff_t UnpackWholeSteps(const unsigned char* upper, const unsigned char* lower,
                                const PlanarTarget& target, std::ptrdiff_t pixels)
{
    constexpr int kSize = Format::kBytesPerPixel;
    std::ptrdiff_t x = 0;
    for (; x + kStep <= pixels; x += kStep)
    {
        Prefetch<kSize>(upper + kSize * x);
        Prefetch<kSize>(lower + kSize * x);
        const Row64 top = Format::LoadRow(upper + kSize * x);
        const Row64 bottom = Format::LoadRow(lower + kSize * x);
        const BlockSums left =
            BlockSumsOf<kSize>(top.bytes[0], top.bytes[1], bottom.bytes[0], bottom.bytes[1]);
        const BlockSums right =
            BlockSumsOf<kSize>(top.bytes[2], top.bytes[3], bottom.bytes[2], bottom.bytes[3]);
        const __m512i chroma = BytesOf(BlueDifferenceOf(left), BlueDifferenceOf(right),
                                       RedDifferenceOf(left), RedDifferenceOf(right));
        Store(target.upper + x, LumaOf(top));
        Store(target.lower + x, LumaOf(bottom));
        StoreHalf(target.u + x / 2, _mm512_castsi512_si256(chroma));
        StoreHalf(target.v + x / 2, _mm512_extracti64x4_epi64(chroma, 1));
    }
    return x;
}

// ---- 4:2:2 to planar ----------------------------------------------------------------------------

__m512i EvenBytes(__m512i a, __m512i b)
{
    static constexpr Places kEven = PlacesBy([](int i) { return 2 * i; });
    return _mm512_permutex2var_epi8(a, Vector(kEven), b);
}

// U, which is the second of four bytes, then V, which is the fourth.
__m512i UThenV(__m512i a, __m512i b)
{
    static constexpr Places kPlanes = PlacesBy([](int i) { return 4 * (i % 32) + 1 + i / 32 * 2; });
    return _mm512_permutex2var_epi8(a, Vector(kPlanes), b);
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
    const std::ptrdiff_t x = PackWholeSteps<Rgb24Out, SaturatingSums>(upper, lower, source, pixels);
    if (x < pixels)
    {
        avx2::PackRgb24(upper + 3 * x, lower + 3 * x, From(source, x), pixels - x);
    }
}

void PackRgb32(unsigned char* upper, unsigned char* lower, const PlanarSource& source,
               std::ptrdiff_t pixels)
{
    const std::ptrdiff_t x = PackWholeSteps<Rgb32Out, SaturatingSums>(upper, lower, source, pixels);
    if (x < pixels)
    {
        avx2::PackRgb32(upper + 4 * x, lower + 4 * x, From(source, x), pixels - x);
    }
}

void PackArgb8888(unsigned char* upper, unsigned char* lower, const PlanarSource& source,
                  std::ptrdiff_t pixels)
{
    const std::ptrdiff_t x = PackWholeSteps<Rgb32Out, WrappingSums>(upper, lower, source, pixels);
    if (x < pixels)
    {
        avx2::PackArgb8888(upper + 4 * x, lower + 4 * x, From(source, x), pixels - x);
    }
}

void InterleaveYuy2(unsigned char* packed, const unsigned char* y, const unsigned char* u,
                    const unsigned char* v, std::ptrdiff_t pixels)
{
    std::ptrdiff_t x = 0;
    for (; x + kStep <= pixels; x += kStep)
    {
        StoreInTurn(packed + 2 * x, Load(y + x), LoadChroma(u + x / 2, v + x / 2));
    }
    if (x < pixels)
    {
        avx2::InterleaveYuy2(packed + 2 * x, y + x, u + x / 2, v + x / 2, pixels - x);
    }
}

void InterleaveUyvy(unsigned char* packed, const unsigned char* y, const unsigned char* u,
                    const unsigned char* v, std::ptrdiff_t pixels)
{
    std::ptrdiff_t x = 0;
    for (; x + kStep <= pixels; x += kStep)
    {
        StoreInTurn(packed + 2 * x, LoadChroma(u + x / 2, v + x / 2), Load(y + x));
    }
    if (x < pixels)
    {
        avx2::InterleaveUyvy(packed + 2 * x, y + x, u + x / 2, v + x / 2, pixels - x);
    }
}

void UnpackRgb24(const unsigned char* upper, const unsigned char* lower, const PlanarTarget& target,
                 std::ptrdiff_t pixels)
{
    const std::ptrdiff_t x = UnpackWholeSteps<Rgb24In>(upper, lower, target, pixels);
    if (x < pixels)
    {
        avx2::UnpackRgb24(upper + 3 * x, lower + 3 * x, From(target, x), pixels - x);
    }
}

void UnpackRgb32(const unsigned char* upper, const unsigned char* lower, const PlanarTarget& target,
                 std::ptrdiff_t pixels)
{
    const std::ptrdiff_t x = UnpackWholeSteps<Rgb32In>(upper, lower, target, pixels);
    if (x < pixels)
    {
        avx2::UnpackRgb32(upper + 4 * x, lower + 4 * x, From(target, x), pixels - x);
    }
}

void UnpackYuy2(const unsigned char* upper, const unsigned char* lower, const PlanarTarget& target,
                std::ptrdiff_t pixels)
{
    std::ptrdiff_t x = 0;
    for (; x + kStep <= pixels; x += kStep)
    {
        Prefetch<2>(upper + 2 * x);
        Prefetch<2>(lower + 2 * x);
        Prefetch<1>(target.upper + x);
        Prefetch<1>(target.lower + x);
        Prefetch<1>(target.u + x / 2);
        Prefetch<1>(target.v + x / 2);
        const __m512i topLeft = Load(upper + 2 * x);
        const __m512i topRight = Load(upper + 2 * x + 64);
        const __m512i bottomLeft = Load(lower + 2 * x);
        const __m512i bottomRight = Load(lower + 2 * x + 64);
        Store(target.upper + x, EvenBytes(topLeft, topRight));
        Store(target.lower + x, EvenBytes(bottomLeft, bottomRight));

        const __m512i chroma =
            UThenV(_mm512_avg_epu8(topLeft, bottomLeft), _mm512_avg_epu8(topRight, bottomRight));
        StoreHalf(target.u + x / 2, _mm512_castsi512_si256(chroma));
        StoreHalf(target.v + x / 2, _mm512_extracti64x4_epi64(chroma, 1));
    }
    if (x < pixels)
    {
        avx2::UnpackYuy2(upper + 2 * x, lower + 2 * x, From(target, x), pixels - x);
    }
}

}  // namespace ostrel::media::avx512
