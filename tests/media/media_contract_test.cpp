/// @file
/// What a client may rely on of the JPEG size probe and of the seven colour conversions, compared
/// with a slow model that walks the frame sample by sample.
#include <winsock2.h>

#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <future>
#include <random>
#include <string>
#include <vector>

#include "CSFunc.h"
#include "support/output_capture.h"

namespace
{

using Bytes = std::vector<unsigned char>;

/// Memory behind whose last byte the first access faults.
class FencedMemory
{
public:
    explicit FencedMemory(std::size_t room)
    {
        SYSTEM_INFO info;
        GetSystemInfo(&info);
        const std::size_t page = info.dwPageSize;
        vm_nRoom = (room + page - 1) / page * page;
        vm_pStart = static_cast<unsigned char*>(
            VirtualAlloc(nullptr, vm_nRoom + page, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
        DWORD before = 0;
        VirtualProtect(vm_pStart + vm_nRoom, page, PAGE_NOACCESS, &before);
    }
    ~FencedMemory() { VirtualFree(vm_pStart, 0, MEM_RELEASE); }
    FencedMemory(const FencedMemory&) = delete;
    FencedMemory& operator=(const FencedMemory&) = delete;

    /// The last @p size bytes before the fence.
    unsigned char* Last(std::size_t size) const { return vm_pStart + vm_nRoom - size; }
    unsigned char* Start() const { return vm_pStart; }

private:
    unsigned char* vm_pStart;
    std::size_t vm_nRoom;
};

// ---- JPEG sizes ---------------------------------------------------------------------------------

constexpr int kPreset = -7;

struct Probed
{
    int width = kPreset;
    int height = kPreset;
    std::vector<std::string> lines;
};

/// Probes a copy of the first @p len bytes that has nothing readable behind it.
Probed ProbeFirst(const Bytes& data, int len)
{
    static const FencedMemory memory(1 << 17);
    unsigned char* const copy = memory.Last(static_cast<std::size_t>(len));
    std::copy(data.begin(), data.begin() + len, copy);
    Probed probed;
    ostrel::test::OutputCapture capture;
    CSFunc::s_S_GetJpegWH(copy, len, probed.width, probed.height);
    probed.lines = capture.Texts();
    return probed;
}

Probed Probe(const Bytes& data)
{
    return ProbeFirst(data, static_cast<int>(data.size()));
}

const std::vector<std::string> kSilence;
const std::vector<std::string> kUntouchedLine = {"CSFunc::s_S_GetJpegWH W=-7,H=-7"};

void ExpectUntouched(const Probed& probed, const std::vector<std::string>& lines)
{
    EXPECT_EQ(kPreset, probed.width);
    EXPECT_EQ(kPreset, probed.height);
    EXPECT_EQ(lines, probed.lines);
}

Bytes operator+(Bytes left, const Bytes& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

const Bytes kJfifOpening = {0xFF, 0xD8, 0xFF, 0xE0, 0x00, 0x10, 'J',  'F',  'I',  'F',
                            0x00, 0x01, 0x01, 0x00, 0x00, 0x01, 0x00, 0x01, 0x00, 0x00};

/// A segment whose length field counts itself and the payload.
Bytes Segment(unsigned char marker, const Bytes& payload)
{
    const std::size_t length = payload.size() + 2;
    return Bytes{0xFF, marker, static_cast<unsigned char>(length >> 8),
                 static_cast<unsigned char>(length)} +
           payload;
}

Bytes FrameHeader(unsigned char marker, int width, int height)
{
    return Segment(
        marker,
        {8, static_cast<unsigned char>(height >> 8), static_cast<unsigned char>(height),
         static_cast<unsigned char>(width >> 8), static_cast<unsigned char>(width), 1, 1, 0x11, 0});
}

TEST(JpegSize, IsReadFromTheBaselineFrameHeader)
{
    const Probed probed = Probe(kJfifOpening + FrameHeader(0xC0, 1920, 1080));
    EXPECT_EQ(1920, probed.width);
    EXPECT_EQ(1080, probed.height);
}

TEST(JpegSize, IsReportedInOneLineWithoutLineEnd)
{
    const Probed probed = Probe(kJfifOpening + FrameHeader(0xC0, 704, 576));
    EXPECT_EQ(std::vector<std::string>{"CSFunc::s_S_GetJpegWH W=704,H=576"}, probed.lines);
}

TEST(JpegSize, TakesBothBytesOfEachFieldUnsigned)
{
    const Probed probed = Probe(kJfifOpening + FrameHeader(0xC0, 65535, 32769));
    EXPECT_EQ(65535, probed.width);
    EXPECT_EQ(32769, probed.height);
    const Probed zero = Probe(kJfifOpening + FrameHeader(0xC0, 0, 256));
    EXPECT_EQ(0, zero.width);
    EXPECT_EQ(256, zero.height);
}

TEST(JpegSize, PassesOverSegmentsBeforeTheFrameHeader)
{
    const Probed probed = Probe(kJfifOpening + Segment(0xDB, Bytes(65, 0xFF)) + Segment(0xFE, {}) +
                                Segment(0xC4, Bytes(300, 0xC0)) + FrameHeader(0xC0, 320, 240));
    EXPECT_EQ(320, probed.width);
    EXPECT_EQ(240, probed.height);
}

TEST(JpegSize, PassesOverOtherFrameTypesAsOrdinarySegments)
{
    for (int marker = 0xC1; marker <= 0xCF; ++marker)
    {
        const Probed probed =
            Probe(kJfifOpening + FrameHeader(static_cast<unsigned char>(marker), 11, 22) +
                  FrameHeader(0xC0, 33, 44));
        EXPECT_EQ(33, probed.width) << marker;
        EXPECT_EQ(44, probed.height) << marker;
    }
}

TEST(JpegSize, OfAProgressivePictureIsNotFound)
{
    const Bytes picture = kJfifOpening + FrameHeader(0xC2, 320, 240) + Segment(0xDA, Bytes(10, 0)) +
                          Bytes{0x12, 0x34, 0xFF, 0xD9};
    ExpectUntouched(Probe(picture), kSilence);
}

TEST(JpegSize, StopsAtTheFirstBaselineFrameHeader)
{
    const Probed probed = Probe(kJfifOpening + FrameHeader(0xC0, 1, 2) + FrameHeader(0xC0, 3, 4));
    EXPECT_EQ(1, probed.width);
    EXPECT_EQ(2, probed.height);
}

TEST(JpegSize, OfAnythingElseThanJfifIsNotSoughtButReported)
{
    const Bytes picture = kJfifOpening + FrameHeader(0xC0, 320, 240);
    for (const std::size_t place : {0, 1, 2, 3, 6, 7, 8, 9, 10})
    {
        Bytes changed = picture;
        changed[place] ^= 0x20;
        SCOPED_TRACE(place);
        ExpectUntouched(Probe(changed), kUntouchedLine);
    }
    Bytes exif = picture;
    exif[3] = 0xE1;
    ExpectUntouched(Probe(exif), kUntouchedLine);
}

TEST(JpegSize, OfFourBytesOrFewerIsNotSoughtButReported)
{
    for (int len = 0; len <= 4; ++len)
    {
        SCOPED_TRACE(len);
        ExpectUntouched(ProbeFirst(kJfifOpening, len), kUntouchedLine);
    }
}

TEST(JpegSize, CountsNothingBehindTheLengthGiven)
{
    // The whole picture stands in memory, but the length ends before the mark of a JFIF picture.
    Bytes picture = kJfifOpening + FrameHeader(0xC0, 320, 240);
    for (const int len : {-1000, -1, 0, 1, 4, 5, 10})
    {
        SCOPED_TRACE(len);
        Probed probed;
        {
            ostrel::test::OutputCapture capture;
            CSFunc::s_S_GetJpegWH(picture.data(), len, probed.width, probed.height);
            probed.lines = capture.Texts();
        }
        ExpectUntouched(probed, kUntouchedLine);
    }
    // The next segment stands exactly where the picture is said to end.
    Probed probed;
    {
        ostrel::test::OutputCapture capture;
        CSFunc::s_S_GetJpegWH(picture.data(), static_cast<int>(kJfifOpening.size()), probed.width,
                              probed.height);
        probed.lines = capture.Texts();
    }
    ExpectUntouched(probed, kSilence);
}

TEST(JpegSize, OfAPictureCutBeforeTheFrameHeaderIsSilentlyNotFound)
{
    const Bytes head = kJfifOpening + Segment(0xDB, Bytes(65, 1));
    for (int len = 11; len <= static_cast<int>(head.size()); ++len)
    {
        // Where the cut leaves only the next marker or half of its length, see the test below.
        const int behindMarker = len - static_cast<int>(kJfifOpening.size());
        if (behindMarker >= 1 && behindMarker <= 3)
        {
            continue;
        }
        SCOPED_TRACE(len);
        ExpectUntouched(ProbeFirst(head, len), kSilence);
    }
}

TEST(JpegSize, WalkThatReachesTheEndBehindAMarkerReportsWhatStands)
{
    // The marker's last byte is the picture's last one: the walk comes to an end by its length.
    ExpectUntouched(Probe(kJfifOpening + Bytes{0xFF, 0xDB}), kUntouchedLine);
    // Half a marker is none that counts, and is passed over as any other.
    ExpectUntouched(Probe(kJfifOpening + Bytes{0xFF}), kUntouchedLine);
}

TEST(JpegSize, WalkOntoAByteThatIsNoMarkerIsSilent)
{
    ExpectUntouched(Probe(kJfifOpening + Bytes{0x00} + FrameHeader(0xC0, 3, 4)), kSilence);
    // A segment of length 0 makes its own length field the next marker.
    ExpectUntouched(Probe(kJfifOpening + Bytes{0xFF, 0xDB, 0x00, 0x00} + FrameHeader(0xC0, 3, 4)),
                    kSilence);
}

TEST(JpegSize, FirstLengthIsFollowedWhateverItSays)
{
    // A first length of 2 leads to the mark's first letter.
    Bytes shortFirst = kJfifOpening + FrameHeader(0xC0, 3, 4);
    shortFirst[5] = 2;
    ExpectUntouched(Probe(shortFirst), kSilence);
    Bytes longFirst = kJfifOpening + FrameHeader(0xC0, 3, 4);
    longFirst[4] = 0xFF;
    longFirst[5] = 0xFF;
    ExpectUntouched(Probe(longFirst), kSilence);
    // High and low byte in their places.
    Bytes farFirst = kJfifOpening;
    farFirst[4] = 0x01;
    farFirst[5] = 0x10;
    farFirst.resize(4 + 0x110, 0x55);
    const Probed probed = Probe(farFirst + FrameHeader(0xC0, 3, 4));
    EXPECT_EQ(3, probed.width);
    EXPECT_EQ(4, probed.height);
}

TEST(JpegSize, CutWithinTheFrameHeaderIsNotFound)
{
    const Bytes picture = kJfifOpening + FrameHeader(0xC0, 320, 240);
    const int headerStart = static_cast<int>(kJfifOpening.size());
    // Marker, length and precision take 5 bytes, the size 4.
    for (int len = headerStart + 1; len < headerStart + 9; ++len)
    {
        const Probed probed = ProbeFirst(picture, len);
        EXPECT_EQ(kPreset, probed.width) << len;
        EXPECT_EQ(kPreset, probed.height) << len;
    }
    const Probed complete = ProbeFirst(picture, headerStart + 9);
    EXPECT_EQ(320, complete.width);
    EXPECT_EQ(240, complete.height);
}

TEST(JpegSize, OfRandomSegmentsNeverReadsBehindTheLength)
{
    std::mt19937 random(4711);
    for (int round = 0; round < 2000; ++round)
    {
        Bytes data = kJfifOpening;
        const std::size_t count = random() % 40;
        for (std::size_t i = 0; i < count; ++i)
        {
            const unsigned char choices[] = {0xFF, 0x00, 0x02, 0xC0,
                                             static_cast<unsigned char>(random())};
            data.push_back(choices[random() % 5]);
        }
        static const FencedMemory memory(4096);
        unsigned char* const copy = memory.Last(data.size());
        std::copy(data.begin(), data.end(), copy);
        int width = kPreset;
        int height = kPreset;
        CSFunc::s_S_GetJpegWH(copy, static_cast<int>(data.size()), width, height);
        // Both or neither.
        EXPECT_EQ(width == kPreset, height == kPreset);
    }
}

// ---- The model of the conversions ---------------------------------------------------------------

enum class Order
{
    UpperFirst,
    LowerFirst
};

/// A picture in its four memories, with the room that the walk needs.
struct Picture
{
    Bytes packed, y, u, v;
};

struct Frame
{
    int width;
    int height;
    int packedStride;
    int packedBytes;  // of one pixel

    int Width16() const { return (width + 15) & ~15; }
    int Rows() const { return (height + 1) / 2 * 2; }
    std::size_t PackedRoom() const
    {
        return static_cast<std::size_t>((Rows() - 1) * packedStride + Width16() * packedBytes);
    }
    std::size_t LumaRoom() const
    {
        return static_cast<std::size_t>((Rows() - 1) * width + Width16());
    }
    std::size_t ChromaRoom() const
    {
        return static_cast<std::size_t>((Rows() / 2 - 1) * (width / 2) + Width16() / 2);
    }
};

int Saturate16(int value)
{
    return std::clamp(value, -32768, 32767);
}

int Low16(int value)
{
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(value));
}

unsigned char ToByte(int value)
{
    return static_cast<unsigned char>(std::clamp(value, 0, 255));
}

void ModelPixel(int y, int u, int v, unsigned char* bgr)
{
    const int luma = Low16(74 * (y - 16));
    const int blue = u - 128;
    const int red = v - 128;
    const int green = Saturate16(Low16(25 * blue) + Low16(52 * red));
    bgr[0] = ToByte(Saturate16(luma + Low16(129 * blue)) >> 6);
    bgr[1] = ToByte(Saturate16(luma - green) >> 6);
    bgr[2] = ToByte(Saturate16(luma + Low16(102 * red)) >> 6);
}

void ModelToRgb(const Frame& frame, Picture& picture, Order order)
{
    const std::size_t stride = static_cast<std::size_t>(frame.packedStride);
    for (int pair = 0; pair * 2 < frame.height; ++pair)
    {
        for (int step = 0; step < frame.Width16() / 8; ++step)
        {
            for (int i = 0; i < 2; ++i)
            {
                const int row = pair * 2 + (order == Order::UpperFirst ? i : 1 - i);
                for (int x = step * 8; x < step * 8 + 8; ++x)
                {
                    const std::size_t luma = static_cast<std::size_t>(row * frame.width + x);
                    const std::size_t chroma =
                        static_cast<std::size_t>(pair * (frame.width / 2) + x / 2);
                    unsigned char* const pixel =
                        &picture.packed[static_cast<std::size_t>(row) * stride +
                                        static_cast<std::size_t>(x * frame.packedBytes)];
                    ModelPixel(picture.y[luma], picture.u[chroma], picture.v[chroma], pixel);
                    if (frame.packedBytes == 4)
                    {
                        pixel[3] = 0;
                    }
                }
            }
        }
    }
}

void ModelToPacked422(const Frame& frame, Picture& picture, bool lumaFirst)
{
    for (int pair = 0; pair * 2 < frame.height; ++pair)
    {
        for (int step = 0; step < frame.Width16() / 16; ++step)
        {
            for (int part = 0; part < 4; ++part)  // upper 0-7, lower 0-7, upper 8-15, lower 8-15
            {
                const int row = pair * 2 + part % 2;
                const int first = step * 16 + part / 2 * 8;
                for (int x = first; x < first + 8; x += 2)
                {
                    const int luma = row * frame.width + x;
                    const int chroma = pair * (frame.width / 2) + x / 2;
                    const unsigned char y0 = picture.y[static_cast<std::size_t>(luma)];
                    const unsigned char y1 = picture.y[static_cast<std::size_t>(luma + 1)];
                    const unsigned char u = picture.u[static_cast<std::size_t>(chroma)];
                    const unsigned char v = picture.v[static_cast<std::size_t>(chroma)];
                    const Bytes four = lumaFirst ? Bytes{y0, u, y1, v} : Bytes{u, y0, v, y1};
                    std::copy(four.begin(), four.end(),
                              picture.packed.begin() + row * frame.packedStride + x * 2);
                }
            }
        }
    }
}

void ModelFromRgb(const Frame& frame, Picture& picture)
{
    for (int pair = 0; pair * 2 < frame.height; ++pair)
    {
        for (int x = 0; x < frame.Width16(); x += 2)
        {
            int sum[3] = {};
            for (int i = 0; i < 4; ++i)
            {
                const int row = pair * 2 + i / 2;
                const int column = x + i % 2;
                const unsigned char* const p = &picture.packed[static_cast<std::size_t>(
                    row * frame.packedStride + column * frame.packedBytes)];
                picture.y[static_cast<std::size_t>(row * frame.width + column)] =
                    static_cast<unsigned char>(
                        ((2105 * p[0] + 4129 * p[1] + 803 * p[2] + 4096) >> 13) + 16);
                for (int channel = 0; channel < 3; ++channel)
                {
                    sum[channel] += p[channel];
                }
            }
            const std::size_t chroma = static_cast<std::size_t>(pair * (frame.width / 2) + x / 2);
            picture.u[chroma] = static_cast<unsigned char>(
                ((-1212 * sum[0] - 2384 * sum[1] + 3596 * sum[2] + 16384) >> 15) + 128);
            picture.v[chroma] = static_cast<unsigned char>(
                ((3596 * sum[0] - 3015 * sum[1] - 582 * sum[2] + 16384) >> 15) + 128);
        }
    }
}

void ModelFromYuy2(const Frame& frame, Picture& picture)
{
    for (int pair = 0; pair * 2 < frame.height; ++pair)
    {
        const int upper = pair * 2 * frame.packedStride;
        const int lower = upper + frame.packedStride;
        const auto at = [&](int place) { return picture.packed[static_cast<std::size_t>(place)]; };
        for (int x = 0; x < frame.Width16(); ++x)
        {
            picture.y[static_cast<std::size_t>(pair * 2 * frame.width + x)] = at(upper + 2 * x);
        }
        for (int x = 0; x < frame.Width16(); ++x)
        {
            picture.y[static_cast<std::size_t>((pair * 2 + 1) * frame.width + x)] =
                at(lower + 2 * x);
        }
        for (int c = 0; c < frame.Width16() / 2; ++c)
        {
            const std::size_t chroma = static_cast<std::size_t>(pair * (frame.width / 2) + c);
            picture.u[chroma] = static_cast<unsigned char>(
                (at(upper + 4 * c + 1) + at(lower + 4 * c + 1) + 1) >> 1);
            picture.v[chroma] = static_cast<unsigned char>(
                (at(upper + 4 * c + 3) + at(lower + 4 * c + 3) + 1) >> 1);
        }
    }
}

// ---- Comparing the entry points with the model --------------------------------------------------

enum class Content
{
    Random,
    Extreme,
    Dark,
    Bright
};

constexpr Content kContents[] = {Content::Random, Content::Extreme, Content::Dark, Content::Bright};

std::mt19937& Random()
{
    static std::mt19937 random(20240229);
    return random;
}

void Fill(Bytes& bytes, Content content)
{
    for (unsigned char& byte : bytes)
    {
        switch (content)
        {
            case Content::Random:
                byte = static_cast<unsigned char>(Random()());
                break;
            case Content::Extreme:
                byte = Random()() % 2 == 0 ? 0 : 255;
                break;
            case Content::Dark:
                byte = 0;
                break;
            case Content::Bright:
                byte = 255;
                break;
        }
    }
}

/// The four memories as the library sees them: each ends where the walk may go last.
struct Fenced
{
    FencedMemory packed{16384}, y{8192}, u{8192}, v{8192};
};

Fenced& Memories()
{
    static Fenced memories;
    return memories;
}

constexpr std::size_t kFront = 64;  // watched bytes before each memory

unsigned char* Place(const FencedMemory& memory, const Bytes& bytes)
{
    unsigned char* const place = memory.Last(bytes.size());
    std::memset(place - kFront, 0xA5, kFront);
    std::copy(bytes.begin(), bytes.end(), place);
    return place;
}

Bytes Taken(const unsigned char* place, std::size_t size)
{
    EXPECT_TRUE(
        std::all_of(place - kFront, place, [](unsigned char byte) { return byte == 0xA5; }));
    return Bytes(place, place + size);
}

struct Places
{
    unsigned char *packed, *y, *u, *v;
};

/// Runs the library on a copy of the picture and returns what the four memories then hold.
Picture Convert(const Picture& picture, const std::function<void(const Places&)>& convert)
{
    Fenced& memories = Memories();
    const Places places = {Place(memories.packed, picture.packed), Place(memories.y, picture.y),
                           Place(memories.u, picture.u), Place(memories.v, picture.v)};
    convert(places);
    return {Taken(places.packed, picture.packed.size()), Taken(places.y, picture.y.size()),
            Taken(places.u, picture.u.size()), Taken(places.v, picture.v.size())};
}

bool operator==(const Picture& left, const Picture& right)
{
    return left.packed == right.packed && left.y == right.y && left.u == right.u &&
           left.v == right.v;
}

std::string FirstDifference(const Picture& expected, const Picture& got)
{
    const std::pair<const char*, Bytes Picture::*> members[] = {
        {"packed", &Picture::packed}, {"y", &Picture::y}, {"u", &Picture::u}, {"v", &Picture::v}};
    for (const auto& [name, member] : members)
    {
        const Bytes& want = expected.*member;
        const Bytes& have = got.*member;
        for (std::size_t i = 0; i < want.size(); ++i)
        {
            if (want[i] != have[i])
            {
                return std::string(name) + "[" + std::to_string(i) + "] is " +
                       std::to_string(have[i]) + " instead of " + std::to_string(want[i]);
            }
        }
    }
    return "none";
}

using ToPacked = void (*)(unsigned char*, const unsigned char*, const unsigned char*,
                          const unsigned char*, int, int);
using FromPacked = void (*)(const unsigned char*, unsigned char*, unsigned char*, unsigned char*,
                            int, int);

constexpr int kMaxWidth = 50;
constexpr int kMaxHeight = 7;

/// Calls @p check for every size and content with a picture whose sources are filled and whose
/// destinations hold a mark.
void ForEveryFrame(int strideFactor, int packedBytes, bool intoPacked,
                   const std::function<void(const Frame&, const Picture&)>& check)
{
    int compared = 0;
    for (int width = 1; width <= kMaxWidth; ++width)
    {
        for (int height = 1; height <= kMaxHeight; ++height)
        {
            const Frame frame = {width, height, width * strideFactor, packedBytes};
            for (const Content content : kContents)
            {
                Picture picture = {Bytes(frame.PackedRoom(), 0x5A), Bytes(frame.LumaRoom(), 0x5A),
                                   Bytes(frame.ChromaRoom(), 0x5A),
                                   Bytes(frame.ChromaRoom(), 0x5A)};
                if (intoPacked)
                {
                    Fill(picture.y, content);
                    Fill(picture.u, content);
                    Fill(picture.v, content);
                }
                else
                {
                    Fill(picture.packed, content);
                }
                SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height));
                check(frame, picture);
                ++compared;
                if (testing::Test::HasFailure())
                {
                    return;
                }
            }
        }
    }
    EXPECT_EQ(kMaxWidth * kMaxHeight * 4, compared);
}

void CompareToRgb(ToPacked function, int packedBytes)
{
    ForEveryFrame(
        packedBytes, packedBytes, true,
        [&](const Frame& frame, const Picture& picture)
        {
            const Picture got =
                Convert(picture, [&](const Places& at)
                        { function(at.packed, at.y, at.u, at.v, frame.width, frame.height); });
            Picture expected = picture;
            ModelToRgb(frame, expected, Order::UpperFirst);
            // Narrower than a step, both rows of a pair meet within one step, whose
            // order is open.
            Picture alternative = picture;
            ModelToRgb(frame, alternative, frame.width < 8 ? Order::LowerFirst : Order::UpperFirst);
            EXPECT_TRUE(got == expected || got == alternative) << FirstDifference(expected, got);
        });
}

void CompareToPacked422(ToPacked function, bool lumaFirst)
{
    ForEveryFrame(1, 2, true,
                  [&](const Frame& frame, const Picture& picture)
                  {
                      const Picture got = Convert(
                          picture, [&](const Places& at)
                          { function(at.packed, at.y, at.u, at.v, frame.width, frame.height); });
                      Picture expected = picture;
                      ModelToPacked422(frame, expected, lumaFirst);
                      EXPECT_TRUE(got == expected) << FirstDifference(expected, got);
                  });
}

void CompareFromPacked(FromPacked function, int packedBytes, void (*model)(const Frame&, Picture&))
{
    ForEveryFrame(packedBytes, packedBytes, false,
                  [&](const Frame& frame, const Picture& picture)
                  {
                      const Picture got = Convert(
                          picture, [&](const Places& at)
                          { function(at.packed, at.y, at.u, at.v, frame.width, frame.height); });
                      Picture expected = picture;
                      model(frame, expected);
                      EXPECT_TRUE(got == expected) << FirstDifference(expected, got);
                  });
}

TEST(ConversionWalk, OfYv12ToRgb24IsTheModelsForEverySize)
{
    CompareToRgb(&CSFunc::s_S_YV12_to_RGB24, 3);
}

TEST(ConversionWalk, OfYv12ToRgb32IsTheModelsForEverySize)
{
    CompareToRgb(&CSFunc::s_S_YV12_to_RGB32, 4);
}

TEST(ConversionWalk, OfYv12ToYuy2IsTheModelsForEverySize)
{
    CompareToPacked422(&CSFunc::s_S_YV12_to_YUY2, true);
}

TEST(ConversionWalk, OfYv12ToUyvyIsTheModelsForEverySize)
{
    CompareToPacked422(&CSFunc::s_S_YV12_to_UYVY, false);
}

TEST(ConversionWalk, OfRgb24ToYv12IsTheModelsForEverySize)
{
    CompareFromPacked(&CSFunc::s_S_RGB24_to_YV12, 3, &ModelFromRgb);
}

TEST(ConversionWalk, OfRgb32ToYv12IsTheModelsForEverySize)
{
    CompareFromPacked(&CSFunc::s_S_RGB32_to_YV12, 4, &ModelFromRgb);
}

TEST(ConversionWalk, OfYuy2ToYv12IsTheModelsForEverySize)
{
    CompareFromPacked(&CSFunc::s_S_YUY2_to_YV12, 2, &ModelFromYuy2);
}

// ---- The finished 4:2:2 buffer ------------------------------------------------------------------

void ExpectFinishedBuffer(ToPacked function, bool lumaFirst)
{
    constexpr std::size_t kGuard = 64;
    for (int width = 16; width <= 80; width += 16)
    {
        for (int height = 2; height <= 8; height += 2)
        {
            SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height));
            const std::size_t w = static_cast<std::size_t>(width);
            const std::size_t h = static_cast<std::size_t>(height);
            Bytes y(w * h), u(w / 2 * h / 2), v(w / 2 * h / 2);
            Fill(y, Content::Random);
            Fill(u, Content::Random);
            Fill(v, Content::Random);
            const auto packedByte = [&](std::size_t row, std::size_t byte)
            {
                const std::size_t chroma = row / 2 * (w / 2) + byte / 4;
                const std::size_t role = lumaFirst ? byte % 4 : (byte % 4) ^ 1;
                return role == 1 ? u[chroma] : role == 3 ? v[chroma] : y[row * w + byte / 2];
            };
            Bytes expected;
            for (std::size_t row = 0; row < h; row += 2)
            {
                for (std::size_t byte = 0; byte < 2 * w; ++byte)
                {
                    expected.push_back(packedByte(row, byte));
                }
            }
            for (std::size_t byte = w; byte < 2 * w; ++byte)
            {
                expected.push_back(packedByte(h - 1, byte));
            }
            ASSERT_EQ((h + 1) * w, expected.size());
            expected.resize(expected.size() + kGuard, 0x5A);
            Bytes got((h + 1) * w + kGuard, 0x5A);
            function(got.data(), y.data(), u.data(), v.data(), width, height);
            EXPECT_EQ(expected, got);
        }
    }
}

TEST(Yuy2Buffer, HoldsTheEvenRowsThenTheRightHalfOfTheLastOddRow)
{
    ExpectFinishedBuffer(&CSFunc::s_S_YV12_to_YUY2, true);
}

TEST(UyvyBuffer, HoldsTheEvenRowsThenTheRightHalfOfTheLastOddRow)
{
    ExpectFinishedBuffer(&CSFunc::s_S_YV12_to_UYVY, false);
}

// ---- Arithmetic ---------------------------------------------------------------------------------

/// The first B, G and R of a 16x2 picture of one colour.
Bytes RgbOf(unsigned char y, unsigned char u, unsigned char v)
{
    const Bytes luma(32, y), blue(8, u), red(8, v);
    Bytes rgb(96);
    CSFunc::s_S_YV12_to_RGB24(rgb.data(), luma.data(), blue.data(), red.data(), 16, 2);
    return Bytes(rgb.begin(), rgb.begin() + 3);
}

TEST(Yv12ToRgb, BlackIsBlack)
{
    EXPECT_EQ((Bytes{0, 0, 0}), RgbOf(16, 128, 128));
}

TEST(Yv12ToRgb, WhiteFallsShortOfFullWhite)
{
    EXPECT_EQ((Bytes{253, 253, 253}), RgbOf(235, 128, 128));
}

TEST(Yv12ToRgb, PureRedStandsInTheThirdByte)
{
    EXPECT_EQ((Bytes{0, 0, 254}), RgbOf(82, 90, 240));
}

TEST(Yv12ToRgb, SaturatedBlueSumStillGivesFullBlue)
{
    EXPECT_EQ(255, RgbOf(255, 255, 128)[0]);
}

/// A 4096x4096 picture that holds every combination of Y, U and V.
struct EveryColour
{
    static constexpr int kSide = 4096;
    Bytes y, u, v;

    EveryColour() : y(kSide * kSide), u(kSide * kSide / 4), v(kSide * kSide / 4)
    {
        constexpr std::size_t side = kSide;
        for (std::size_t row = 0; row < side; ++row)
        {
            for (std::size_t x = 0; x < side; ++x)
            {
                const std::size_t block = row / 2 * (side / 2) + x / 2;
                y[row * side + x] =
                    static_cast<unsigned char>(block % 64 * 4 + row % 2 * 2 + x % 2);
                u[block] = static_cast<unsigned char>(block / 64 % 256);
                v[block] = static_cast<unsigned char>(block / 64 / 256);
            }
        }
    }
};

void ExpectEveryColour(ToPacked function, std::size_t packedBytes)
{
    const EveryColour colours;
    constexpr std::size_t side = EveryColour::kSide;
    Bytes rgb(side * side * packedBytes, 0x5A);
    function(rgb.data(), colours.y.data(), colours.u.data(), colours.v.data(), EveryColour::kSide,
             EveryColour::kSide);
    std::size_t wrong = 0;
    for (std::size_t i = 0; i < side * side; ++i)
    {
        const std::size_t block = i / side / 2 * (side / 2) + i % side / 2;
        unsigned char expected[4] = {};
        ModelPixel(colours.y[i], colours.u[block], colours.v[block], expected);
        wrong += std::memcmp(expected, &rgb[i * packedBytes], packedBytes) != 0;
    }
    EXPECT_EQ(0u, wrong);
}

TEST(Yv12ToRgb24, IsExactForEveryColour)
{
    ExpectEveryColour(&CSFunc::s_S_YV12_to_RGB24, 3);
}

TEST(Yv12ToRgb32, IsExactForEveryColourAndItsFourthByteIsAlwaysZero)
{
    ExpectEveryColour(&CSFunc::s_S_YV12_to_RGB32, 4);
}

struct Yuv
{
    unsigned char y, u, v;
};

Yuv YuvOf(unsigned char red, unsigned char green, unsigned char blue)
{
    Bytes rgb;
    for (int i = 0; i < 32; ++i)
    {
        rgb.insert(rgb.end(), {red, green, blue});
    }
    Bytes y(32), u(8), v(8);
    CSFunc::s_S_RGB24_to_YV12(rgb.data(), y.data(), u.data(), v.data(), 16, 2);
    return {y[0], u[0], v[0]};
}

TEST(RgbToYv12, ReadsTheFirstByteAsRed)
{
    const Yuv red = YuvOf(255, 0, 0);
    EXPECT_EQ(82, red.y);
    EXPECT_EQ(90, red.u);
    EXPECT_EQ(240, red.v);
}

TEST(RgbToYv12, ReadsTheThirdByteAsBlue)
{
    const Yuv blue = YuvOf(0, 0, 255);
    EXPECT_EQ(((803 * 255 + 4096) >> 13) + 16, blue.y);
    EXPECT_EQ(240, blue.u);
}

TEST(RgbToYv12, IsExactForEveryColour)
{
    // Pixels of one block are far apart in colour, so that sums and rounding vary too.
    constexpr std::size_t side = 4096;
    Bytes rgb(side * side * 3);
    for (std::size_t i = 0; i < side * side; ++i)
    {
        const std::uint32_t colour = static_cast<std::uint32_t>(i) * 2654435761u & 0xFFFFFF;
        rgb[i * 3] = static_cast<unsigned char>(colour);
        rgb[i * 3 + 1] = static_cast<unsigned char>(colour >> 8);
        rgb[i * 3 + 2] = static_cast<unsigned char>(colour >> 16);
    }
    const Frame frame = {static_cast<int>(side), static_cast<int>(side), static_cast<int>(side * 3),
                         3};
    Picture expected = {rgb, Bytes(side * side), Bytes(side * side / 4), Bytes(side * side / 4)};
    ModelFromRgb(frame, expected);
    Bytes y(side * side), u(side * side / 4), v(side * side / 4);
    CSFunc::s_S_RGB24_to_YV12(rgb.data(), y.data(), u.data(), v.data(), frame.width, frame.height);
    EXPECT_TRUE(expected.y == y);
    EXPECT_TRUE(expected.u == u);
    EXPECT_TRUE(expected.v == v);
}

TEST(Rgb32ToYv12, IgnoresTheFourthByte)
{
    Bytes rgb(16 * 2 * 4);
    Fill(rgb, Content::Random);
    Bytes other = rgb;
    for (std::size_t i = 3; i < other.size(); i += 4)
    {
        other[i] = static_cast<unsigned char>(~other[i]);
    }
    Bytes y(32), u(8), v(8), otherY(32), otherU(8), otherV(8);
    CSFunc::s_S_RGB32_to_YV12(rgb.data(), y.data(), u.data(), v.data(), 16, 2);
    CSFunc::s_S_RGB32_to_YV12(other.data(), otherY.data(), otherU.data(), otherV.data(), 16, 2);
    EXPECT_EQ(y, otherY);
    EXPECT_EQ(u, otherU);
    EXPECT_EQ(v, otherV);
}

TEST(Yuy2ToYv12, AveragesTheChromaOfTwoRowsRoundingUp)
{
    for (int upper = 0; upper < 256; ++upper)
    {
        for (int lower = 0; lower < 256; ++lower)
        {
            Bytes packed;
            for (const int chroma : {upper, lower})
            {
                for (int pair = 0; pair < 8; ++pair)
                {
                    packed.insert(packed.end(), {1, static_cast<unsigned char>(chroma), 2,
                                                 static_cast<unsigned char>(255 - chroma)});
                }
            }
            Bytes y(32), u(8), v(8);
            CSFunc::s_S_YUY2_to_YV12(packed.data(), y.data(), u.data(), v.data(), 16, 2);
            const int red = (255 - upper + 255 - lower + 1) / 2;
            ASSERT_EQ(Bytes(8, static_cast<unsigned char>((upper + lower + 1) / 2)), u);
            ASSERT_EQ(Bytes(8, static_cast<unsigned char>(red)), v);
        }
    }
}

TEST(Yuy2ToYv12, TenAndElevenGiveEleven)
{
    Bytes packed(64, 10);
    std::fill(packed.begin() + 32, packed.end(), static_cast<unsigned char>(11));
    Bytes y(32), u(8), v(8);
    CSFunc::s_S_YUY2_to_YV12(packed.data(), y.data(), u.data(), v.data(), 16, 2);
    EXPECT_EQ(Bytes(8, 11), u);
    EXPECT_EQ(Bytes(8, 11), v);
}

// ---- All seven entry points ---------------------------------------------------------------------

struct Entry
{
    const char* name;
    std::function<void(const Places&, int, int)> convert;
    int strideFactor;
    int packedBytes;
};

Entry Into(const char* name, ToPacked function, int strideFactor, int packedBytes)
{
    return {name,
            [function](const Places& at, int width, int height)
            { function(at.packed, at.y, at.u, at.v, width, height); },
            strideFactor, packedBytes};
}

Entry From(const char* name, FromPacked function, int packedBytes)
{
    return {name,
            [function](const Places& at, int width, int height)
            { function(at.packed, at.y, at.u, at.v, width, height); },
            packedBytes, packedBytes};
}

const Entry kEntries[] = {Into("YV12_to_YUY2", &CSFunc::s_S_YV12_to_YUY2, 1, 2),
                          Into("YV12_to_UYVY", &CSFunc::s_S_YV12_to_UYVY, 1, 2),
                          Into("YV12_to_RGB24", &CSFunc::s_S_YV12_to_RGB24, 3, 3),
                          Into("YV12_to_RGB32", &CSFunc::s_S_YV12_to_RGB32, 4, 4),
                          From("RGB24_to_YV12", &CSFunc::s_S_RGB24_to_YV12, 3),
                          From("RGB32_to_YV12", &CSFunc::s_S_RGB32_to_YV12, 4),
                          From("YUY2_to_YV12", &CSFunc::s_S_YUY2_to_YV12, 2)};

Picture RandomPicture()
{
    Picture picture = {Bytes(4096), Bytes(1024), Bytes(512), Bytes(512)};
    Fill(picture.packed, Content::Random);
    Fill(picture.y, Content::Random);
    Fill(picture.u, Content::Random);
    Fill(picture.v, Content::Random);
    return picture;
}

TEST(EveryConversion, OfNoWidthOrNoHeightDoesNothing)
{
    const Picture before = RandomPicture();
    for (const Entry& entry : kEntries)
    {
        SCOPED_TRACE(entry.name);
        for (const auto& [width, height] : std::initializer_list<std::pair<int, int>>{{0, 16},
                                                                                      {16, 0},
                                                                                      {0, 0},
                                                                                      {16, -1},
                                                                                      {16, -2},
                                                                                      {16, INT_MIN},
                                                                                      {-16, -16},
                                                                                      {-16, 4},
                                                                                      {-1, 4},
                                                                                      {INT_MIN, 4}})
        {
            SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height));
            EXPECT_TRUE(before == Convert(before, [&](const Places& at)
                                          { entry.convert(at, width, height); }));
        }
    }
}

TEST(EveryConversion, OfWidth20Takes32PixelsAndOfHeight5Takes6Rows)
{
    for (const Entry& entry : kEntries)
    {
        SCOPED_TRACE(entry.name);
        const Frame frame = {20, 5, 20 * entry.strideFactor, entry.packedBytes};
        // The last byte of the room is reached, in the destination, and nothing behind it.
        Picture before = {Bytes(frame.PackedRoom(), 0x00), Bytes(frame.LumaRoom(), 0x00),
                          Bytes(frame.ChromaRoom(), 0x00), Bytes(frame.ChromaRoom(), 0x00)};
        const bool intoPacked = std::string(entry.name).rfind("YV12", 0) == 0;
        if (intoPacked)
        {
            std::fill(before.packed.begin(), before.packed.end(), static_cast<unsigned char>(0x5A));
        }
        else
        {
            for (Bytes* plane : {&before.y, &before.u, &before.v})
            {
                std::fill(plane->begin(), plane->end(), static_cast<unsigned char>(0x5A));
            }
        }
        const Picture after = Convert(before, [&](const Places& at) { entry.convert(at, 20, 5); });
        if (intoPacked)
        {
            EXPECT_NE(0x5A, after.packed.back());
        }
        else
        {
            EXPECT_NE(0x5A, after.y.back());
            EXPECT_NE(0x5A, after.u.back());
            EXPECT_NE(0x5A, after.v.back());
        }
    }
}

TEST(EveryConversion, WaitsForTheLibraryWideLock)
{
    for (const Entry& entry : kEntries)
    {
        SCOPED_TRACE(entry.name);
        Picture picture = RandomPicture();
        const Places at = {picture.packed.data(), picture.y.data(), picture.u.data(),
                           picture.v.data()};
        CSFunc::vs_csYuvToRgb.Lock();
        auto done = std::async(std::launch::async, [&entry, at] { entry.convert(at, 16, 2); });
        EXPECT_EQ(std::future_status::timeout, done.wait_for(std::chrono::milliseconds(60)));
        CSFunc::vs_csYuvToRgb.Unlock();
        EXPECT_EQ(std::future_status::ready, done.wait_for(std::chrono::seconds(30)));
    }
}

TEST(EveryConversion, LeavesTheLockFreeForOtherThreads)
{
    for (const Entry& entry : kEntries)
    {
        SCOPED_TRACE(entry.name);
        Picture picture = RandomPicture();
        entry.convert({picture.packed.data(), picture.y.data(), picture.u.data(), picture.v.data()},
                      16, 2);
        auto done = std::async(std::launch::async,
                               []
                               {
                                   CSFunc::vs_csYuvToRgb.Lock();
                                   CSFunc::vs_csYuvToRgb.Unlock();
                               });
        ASSERT_EQ(std::future_status::ready, done.wait_for(std::chrono::seconds(30)));
    }
}

TEST(EveryConversion, RunsOnAThreadThatHoldsTheLockItself)
{
    for (const Entry& entry : kEntries)
    {
        SCOPED_TRACE(entry.name);
        const Picture before = RandomPicture();
        CSFunc::vs_csYuvToRgb.Lock();
        const Picture after = Convert(before, [&](const Places& at) { entry.convert(at, 16, 2); });
        CSFunc::vs_csYuvToRgb.Unlock();
        EXPECT_FALSE(before == after);
    }
}

}  // namespace
