/// @file
/// What a client may rely on of the H.264 and MPEG-4 size probes, of the display conversion and of
/// the image export, by streams written bit by bit and by slow models.
#include <winsock2.h>

#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <utility>
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
        constexpr std::size_t kPage = 4096;
        vm_nRoom = (room + kPage - 1) / kPage * kPage;
        vm_pStart = static_cast<unsigned char*>(
            VirtualAlloc(nullptr, vm_nRoom + kPage, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
        DWORD before = 0;
        VirtualProtect(vm_pStart + vm_nRoom, kPage, PAGE_NOACCESS, &before);
    }
    ~FencedMemory() { VirtualFree(vm_pStart, 0, MEM_RELEASE); }
    FencedMemory(const FencedMemory&) = delete;
    FencedMemory& operator=(const FencedMemory&) = delete;

    /// A copy that ends at the fence.
    unsigned char* Hold(const Bytes& bytes) const
    {
        unsigned char* const start = vm_pStart + vm_nRoom - bytes.size();
        std::copy(bytes.begin(), bytes.end(), start);
        return start;
    }

private:
    unsigned char* vm_pStart;
    std::size_t vm_nRoom;
};

constexpr int kPreset = -7;

struct Size
{
    int width = kPreset;
    int height = kPreset;
    std::vector<std::string> lines;
};

void ExpectSize(const Size& size, int width, int height)
{
    EXPECT_EQ(width, size.width);
    EXPECT_EQ(height, size.height);
}

/// Writes a stream bit by bit, the most significant first.
class Writer
{
public:
    Writer& U(std::uint64_t value, int count)
    {
        for (int i = count - 1; i >= 0; --i)
        {
            bits.push_back(((value >> i) & 1) != 0);
        }
        return *this;
    }
    Writer& Ue(std::uint64_t value)
    {
        int length = 0;
        while (((value + 1) >> (length + 1)) != 0)
        {
            ++length;
        }
        return U(0, length).U(value + 1, length + 1);
    }
    Writer& Se(int value) { return Ue(value > 0 ? 2 * value - 1 : -2 * value); }
    Bytes Data() const
    {
        Bytes data((bits.size() + 7) / 8);
        for (std::size_t i = 0; i < bits.size(); ++i)
        {
            data[i / 8] |= static_cast<unsigned char>(bits[i] ? 0x80 >> (i % 8) : 0);
        }
        return data;
    }

    std::vector<bool> bits;
};

// ---- H.264 --------------------------------------------------------------------------------------

/// Probes a start code and the unit, which nothing readable follows.
Size ProbeUnit(const Bytes& unit, unsigned char startCodeByte = 0)
{
    static const FencedMemory memory(1 << 16);
    Bytes data = {startCodeByte, startCodeByte, startCodeByte, 1};
    data.insert(data.end(), unit.begin(), unit.end());
    Size size;
    ostrel::test::OutputCapture capture;
    CSFunc::s_S_GetH264WH(memory.Hold(data), static_cast<int>(unit.size()), size.width,
                          size.height);
    size.lines = capture.Texts();
    return size;
}

Bytes Escaped(const Bytes& payload, unsigned char header = 0x67)
{
    Bytes unit = {header};
    int zeros = 0;
    for (const unsigned char byte : payload)
    {
        if (zeros == 2 && byte <= 3)
        {
            unit.push_back(3);
            zeros = 0;
        }
        unit.push_back(byte);
        zeros = byte == 0 ? zeros + 1 : 0;
    }
    return unit;
}

struct Frame
{
    int widthMinus1 = 119;
    int heightMinus1 = 67;
    bool progressive = true;
    bool cropping = false;
    unsigned left = 0, right = 0, top = 0, bottom = 0;
};

Writer Opening(int profile)
{
    return Writer().U(profile, 8).U(0, 8).U(40, 8).Ue(0);
}

Writer& AddFrame(Writer& sps, const Frame& frame)
{
    sps.Ue(1).U(0, 1).Ue(frame.widthMinus1).Ue(frame.heightMinus1).U(frame.progressive, 1);
    if (!frame.progressive)
    {
        sps.U(1, 1);
    }
    sps.U(1, 1).U(frame.cropping, 1);
    if (frame.cropping)
    {
        sps.Ue(frame.left).Ue(frame.right).Ue(frame.top).Ue(frame.bottom);
    }
    return sps.U(0, 1).U(1, 1);
}

Size ProbeFrame(const Frame& frame)
{
    Writer sps = Opening(66);
    sps.Ue(0).Ue(2);
    return ProbeUnit(Escaped(AddFrame(sps, frame).Data()));
}

Size ProbeAfter(Writer sps)
{
    sps.Ue(0).Ue(2);
    return ProbeUnit(Escaped(AddFrame(sps, {}).Data()));
}

TEST(ProbesH264, SizesFullHd)
{
    ExpectSize(ProbeFrame({119, 67, true, true, 0, 0, 0, 4}), 1920, 1080);
    ExpectSize(ProbeFrame({119, 33, false, true, 0, 0, 0, 4}), 1920, 1080);
    ExpectSize(ProbeFrame({119, 67, true, false}), 1920, 1088);
}

TEST(ProbesH264, AppliesRightAndBottomOffsetsBelowEightOnly)
{
    for (unsigned offset = 0; offset < 40; ++offset)
    {
        const int cut = offset < 8 ? 2 * static_cast<int>(offset) : 0;
        ExpectSize(ProbeFrame({9, 9, true, true, 0, offset, 0, 0}), 160 - cut, 160);
        ExpectSize(ProbeFrame({9, 9, true, true, 0, 0, 0, offset}), 160, 160 - cut);
        ExpectSize(ProbeFrame({9, 9, false, true, 0, 0, 0, offset}), 160, 320 - cut);
        ExpectSize(ProbeFrame({9, 9, true, true, offset, 3, offset, 5}), 154, 150);
    }
}

TEST(ProbesH264, SaysNothing)
{
    EXPECT_TRUE(ProbeFrame({}).lines.empty());
    EXPECT_TRUE(ProbeUnit({}).lines.empty());
}

TEST(ProbesH264, WithoutDataIs16By32)
{
    ExpectSize(ProbeUnit({}), 16, 32);
    ExpectSize(ProbeUnit({0x67}), 16, 32);
    int width = 0;
    int height = 0;
    unsigned char data[8] = {0, 0, 0, 1, 0x67, 66, 0, 40};
    CSFunc::s_S_GetH264WH(data, -5, width, height);
    EXPECT_EQ(16, width);
    EXPECT_EQ(32, height);
}

TEST(ProbesH264, DoesNotLookAtStartCodeOrUnitType)
{
    Writer sps = Opening(66);
    sps.Ue(0).Ue(2);
    const Bytes payload = AddFrame(sps, {}).Data();
    ExpectSize(ProbeUnit(Escaped(payload), 0xAB), 1920, 1088);
    for (const unsigned char header : {0x00, 0x68, 0xE5, 0xFF})
    {
        ExpectSize(ProbeUnit(Escaped(payload, header)), 1920, 1088);
    }
}

TEST(ProbesH264, FourProfilesHoldTheChromaFields)
{
    for (const int profile : {100, 110, 122, 144})
    {
        ExpectSize(ProbeAfter(Opening(profile).Ue(1).Ue(0).Ue(0).U(0, 2)), 1920, 1088);
        ExpectSize(ProbeAfter(Opening(profile).Ue(3).U(1, 1).Ue(2).Ue(6).U(2, 2)), 1920, 1088);
    }
}

TEST(ProbesH264, NoOtherProfileHoldsTheChromaFields)
{
    for (int profile = 0; profile < 256; ++profile)
    {
        if (profile != 100 && profile != 110 && profile != 122 && profile != 144)
        {
            ExpectSize(ProbeAfter(Opening(profile)), 1920, 1088);
        }
    }
}

TEST(ProbesH264, EightAbsentScalingListsAreEightBits)
{
    ExpectSize(ProbeAfter(Opening(100).Ue(1).Ue(0).Ue(0).U(1, 2).U(0, 8)), 1920, 1088);
    ExpectSize(ProbeAfter(Opening(122).Ue(3).U(0, 1).Ue(0).Ue(0).U(1, 2).U(0, 8)), 1920, 1088);
}

TEST(ProbesH264, FullScalingListsHave16And64Coefficients)
{
    Writer sps = Opening(100).Ue(1).Ue(0).Ue(0).U(1, 2);
    for (int list = 0; list < 8; ++list)
    {
        sps.U(1, 1);
        for (int j = 0; j < (list < 6 ? 16 : 64); ++j)
        {
            sps.Se(j % 2 == 0 ? 5 : -4);
        }
    }
    ExpectSize(ProbeAfter(sps), 1920, 1088);
}

TEST(ProbesH264, ScalingListEndsWhenTheNextIsZero)
{
    // 8 - 8 is 0 at once; 8 + 248 wraps to 0; 8 + 2 - 10 is 0 at the second coefficient.
    for (const std::vector<int>& deltas :
         {std::vector<int>{-8}, std::vector<int>{248}, std::vector<int>{2, -10}})
    {
        for (int list = 0; list < 8; ++list)
        {
            Writer sps = Opening(110).Ue(1).Ue(0).Ue(0).U(1, 2).U(0, list).U(1, 1);
            for (const int delta : deltas)
            {
                sps.Se(delta);
            }
            ExpectSize(ProbeAfter(sps.U(0, 7 - list)), 1920, 1088);
        }
    }
}

TEST(ProbesH264, ScalingListGoesOnBelowZero)
{
    // 8 - 300 + 256 is -36, which goes on; -36 - 220 + 256 is 0, which ends the list.
    Writer sps = Opening(100).Ue(1).Ue(0).Ue(0).U(1, 2).U(1, 1).Se(-300).Se(-220).U(0, 7);
    ExpectSize(ProbeAfter(sps), 1920, 1088);
}

TEST(ProbesH264, ReadsThePictureOrderOfEachType)
{
    const auto probe = [](Writer sps) {
        return ProbeUnit(Escaped(AddFrame(sps, {21, 17, true}).Data()));
    };
    ExpectSize(probe(Opening(77).Ue(12).Ue(0).Ue(4)), 352, 288);
    ExpectSize(probe(Opening(77).Ue(0).Ue(1).U(1, 1).Se(-3).Se(900).Ue(0)), 352, 288);
    Writer cycle = Opening(77).Ue(0).Ue(1).U(0, 1).Se(1).Se(-70000).Ue(3);
    ExpectSize(probe(cycle.Se(5).Se(-6).Se(0)), 352, 288);
    for (const int type : {2, 3, 7, 255})
    {
        ExpectSize(probe(Opening(77).Ue(0).Ue(type)), 352, 288);
    }
}

TEST(ProbesH264, ReadsAPictureOrderCycleOfAnyLength)
{
    for (const int count : {255, 256, 257, 3000})
    {
        Writer sps = Opening(66).Ue(0).Ue(1).U(0, 1).Se(0).Se(0).Ue(count);
        for (int i = 0; i < count; ++i)
        {
            sps.Se(i % 7 - 3);
        }
        ExpectSize(ProbeUnit(Escaped(AddFrame(sps, {}).Data())), 1920, 1088);
    }
    Writer endless = Opening(66).Ue(0).Ue(1).U(0, 1).Se(0).Se(0).Ue(0x7FFFFFFE);
    ExpectSize(ProbeUnit(Escaped(endless.Data())), 16, 32);
}

TEST(ProbesH264, RemovesEmulationPrevention)
{
    // A frame number length of many zero bits makes the payload need the escape.
    Writer sps = Opening(66).Ue((1U << 30) - 1).Ue(2);
    const Bytes payload = AddFrame(sps, {}).Data();
    const Bytes unit = Escaped(payload);
    ASSERT_GT(unit.size(), payload.size() + 1);
    ExpectSize(ProbeUnit(unit), 1920, 1088);
}

TEST(ProbesH264, EndsAtAStartCode)
{
    Writer sps = Opening(66);
    sps.Ue(0).Ue(2);
    Bytes unit = Escaped(AddFrame(sps, {}).Data());
    Bytes followed = unit;
    followed.insert(followed.end(), {0, 0, 1, 0x68, 0xFF, 0xFF});
    ExpectSize(ProbeUnit(followed), 1920, 1088);
    // Behind the profile there is nothing any more: all that follows reads as 0.
    ExpectSize(ProbeUnit({0x67, 66, 0, 0, 1, 0xFF, 0xFF, 0xFF, 0xFF}), 16, 32);
    // The last two bytes belong to no pattern.
    ExpectSize(ProbeUnit({0x67, 66, 0, 0x28, 0, 0}), 16, 32);
}

TEST(ProbesH264, TruncationReadsZeros)
{
    // The unit ends behind the width, after 34 bits. Of the last byte's six zero bits the sixth
    // ends the data and is not counted: five of them make a height of 31 + 1 units of 32 lines.
    const Writer sps = Opening(66).Ue(0).Ue(2).Ue(0).U(0, 1).Ue(2);
    ASSERT_EQ(34U, sps.bits.size());
    ExpectSize(ProbeUnit(Escaped(sps.Data())), 48, 1024);
    // Without a bit left the height is 0 + 1 units.
    const Writer even = Opening(66).Ue(0).Ue(2).Ue(0).U(0, 1).Ue(255);
    ASSERT_EQ(48U, even.bits.size());
    ExpectSize(ProbeUnit(Escaped(even.Data())), 4096, 32);
}

/// The walk through the fields, taken literally.
class SpsModel
{
public:
    explicit SpsModel(const Bytes& unit)
    {
        const std::size_t len = unit.size();
        for (std::size_t i = 1; i < len;)
        {
            const bool zeros = i + 2 < len && unit[i] == 0 && unit[i + 1] == 0;
            if (zeros && unit[i + 2] == 3)
            {
                vm_data.insert(vm_data.end(), 2, 0);
                i += 3;
            }
            else if (zeros && unit[i + 2] == 1)
            {
                break;
            }
            else
            {
                vm_data.push_back(unit[i++]);
            }
        }
    }

    Size Walk()
    {
        const unsigned profile = Bits(8);
        Bits(16);
        Ue();
        if (profile == 100 || profile == 110 || profile == 122 || profile == 144)
        {
            SkipChromaFields();
        }
        Ue();
        const std::uint32_t type = Ue();
        if (type == 0)
        {
            Ue();
        }
        else if (type == 1)
        {
            Bits(1);
            Ue();
            Ue();
            for (auto n = static_cast<std::int32_t>(Ue()); n > 0 && HasMore(); --n)
            {
                Ue();
            }
        }
        Ue();
        Bits(1);
        const std::uint32_t columns = Ue() + 1;
        const std::uint32_t rows = Ue() + 1;
        const unsigned progressive = Bits(1);
        Bits(progressive == 0 ? 2 : 1);
        std::uint32_t crop[4] = {0, 0, 0, 0};
        if (Bits(1) == 1)
        {
            for (std::uint32_t& offset : crop)
            {
                offset = Ue();
            }
        }
        Size size;
        size.width = static_cast<int>(columns * 16 - (crop[1] < 8 ? 2 * crop[1] : 0));
        size.height =
            static_cast<int>(rows * (2 - progressive) * 16 - (crop[3] < 8 ? 2 * crop[3] : 0));
        return size;
    }

private:
    bool HasMore() const { return vm_nPosition < vm_data.size() * 8; }
    std::uint32_t Bits(int count)
    {
        std::uint32_t value = 0;
        for (; count > 0; --count)
        {
            value <<= 1;
            if (HasMore())
            {
                value |= (vm_data[vm_nPosition / 8] >> (7 - vm_nPosition % 8)) & 1U;
                ++vm_nPosition;
            }
        }
        return value;
    }
    std::uint32_t Ue()
    {
        int count = 0;
        for (;;)
        {
            if (HasMore() && Bits(1) == 1)
            {
                break;
            }
            if (count == 32 || !HasMore())
            {
                break;
            }
            ++count;
        }
        return count == 0 ? 0 : (1U << (count % 32)) - 1 + Bits(count);
    }
    int Se()
    {
        const std::uint32_t k = Ue();
        return k % 2 == 1 ? static_cast<int>(k / 2 + 1) : -static_cast<int>(k / 2);
    }
    void SkipChromaFields()
    {
        if (Ue() == 3)
        {
            Bits(1);
        }
        Ue();
        Ue();
        Bits(1);
        if (Bits(1) == 0)
        {
            return;
        }
        for (int list = 0; list < 8; ++list)
        {
            if (Bits(1) == 0)
            {
                continue;
            }
            int last = 8;
            int next = 8;
            for (int j = 0; j < (list < 6 ? 16 : 64); ++j)
            {
                if (next != 0)
                {
                    const auto sum =
                        static_cast<std::uint32_t>(last) + static_cast<std::uint32_t>(Se()) + 256U;
                    next = static_cast<std::int32_t>(sum) % 256;
                }
                last = next == 0 ? last : next;
            }
        }
    }

    Bytes vm_data;
    std::size_t vm_nPosition = 0;
};

TEST(ProbesH264, ReadsAnyBytesAsTheModelDoes)
{
    std::mt19937 random(20);
    const int profiles[] = {66, 77, 100, 110, 122, 144, 244, 88};
    for (int round = 0; round < 3000; ++round)
    {
        Bytes unit(random() % 90);
        const unsigned sparsity = random() % 4;
        for (unsigned char& byte : unit)
        {
            byte = static_cast<unsigned char>(random() % 4 < sparsity ? random() % 4 : random());
        }
        if (unit.size() > 1)
        {
            unit[1] = static_cast<unsigned char>(profiles[random() % 8]);
        }
        const Size expected = SpsModel(unit).Walk();
        const Size probed = ProbeUnit(unit);
        ASSERT_EQ(expected.width, probed.width) << "round " << round;
        ASSERT_EQ(expected.height, probed.height) << "round " << round;
    }
}

// ---- MPEG-4 -------------------------------------------------------------------------------------

Size ProbeLayer(const Bytes& data, int len)
{
    static const FencedMemory memory(1 << 16);
    Size size;
    ostrel::test::OutputCapture capture;
    CSFunc::s_S_GetMpg4WH(memory.Hold(data), len, size.width, size.height);
    size.lines = capture.Texts();
    return size;
}

Size ProbeLayer(const Bytes& data)
{
    return ProbeLayer(data, static_cast<int>(data.size()));
}

Writer LayerStart(unsigned code = 0x20)
{
    return Writer().U(0x100U | code, 32).U(0, 1).U(1, 8);
}

/// Ends with the size and a few bytes.
Bytes Ended(Writer layer, int width, int height)
{
    layer.U(1, 1).U(width, 13).U(1, 1).U(height, 13).U(1, 1).U(0, 40);
    return layer.Data();
}

const std::vector<std::string> kLine704 = {"CSFunc::s_S_GetMpg4WH W=704,H=576"};
const std::vector<std::string> kLineUntouched = {"CSFunc::s_S_GetMpg4WH W=-7,H=-7"};

void Expect704(const Size& size)
{
    ExpectSize(size, 704, 576);
    EXPECT_EQ(kLine704, size.lines);
}

/// Shape, marker, resolution, marker, and a free VOP rate.
Writer& Rated(Writer& layer, unsigned shape, unsigned resolution)
{
    return layer.U(shape, 2).U(1, 1).U(resolution, 16).U(1, 1).U(0, 1);
}

TEST(ProbesMpeg4, SizesAndReportsAPlainLayer)
{
    Writer layer = LayerStart().U(0, 1).U(1, 4).U(0, 1);
    Expect704(ProbeLayer(Ended(Rated(layer, 0, 25), 704, 576)));
}

TEST(ProbesMpeg4, ReadsAFixedRateOfTheResolutionsBits)
{
    const struct
    {
        unsigned resolution;
        int bits;
    } cases[] = {{30000, 15}, {16, 5},     {15, 4},     {31, 5}, {1, 1},  {2, 2},
                 {3, 2},      {32768, 16}, {65535, 16}, {0, 0},  {25, 5}, {32767, 15}};
    for (const auto& one : cases)
    {
        Writer layer = LayerStart().U(0, 1).U(1, 4).U(0, 1);
        layer.U(0, 2).U(1, 1).U(one.resolution, 16).U(1, 1).U(1, 1).U(0x5555, one.bits);
        SCOPED_TRACE(one.resolution);
        Expect704(ProbeLayer(Ended(layer, 704, 576)));
    }
}

TEST(ProbesMpeg4, AStandardIncrementOfAPowerOfTwoShiftsTheSizeByOneBit)
{
    Writer layer = LayerStart().U(0, 1).U(1, 4).U(0, 1);
    layer.U(0, 2).U(1, 1).U(16, 16).U(1, 1).U(1, 1).U(1, 4);
    // The marker counts as an increment bit; the width's first bit as the marker. So the width is
    // 704's lower 12 bits and the marker, and the height 576's lower 12 bits and the marker.
    ExpectSize(ProbeLayer(Ended(layer, 704, 576)), 1409, 1153);
}

TEST(ProbesMpeg4, PassesTheOptionalFields)
{
    Writer identified = LayerStart().U(1, 1).U(0xF, 4).U(7, 3).U(1, 4).U(0, 1);
    Expect704(ProbeLayer(Ended(Rated(identified, 0, 25), 704, 576)));
    Writer aspect = LayerStart().U(0, 1).U(15, 4).U(0xFFFF, 16).U(0, 1);
    Expect704(ProbeLayer(Ended(Rated(aspect, 0, 25), 704, 576)));
    Writer control = LayerStart().U(0, 1).U(14, 4).U(1, 1).U(7, 3).U(0, 1);
    Expect704(ProbeLayer(Ended(Rated(control, 0, 25), 704, 576)));
    Writer vbv = LayerStart().U(0, 1).U(1, 4).U(1, 1).U(7, 3).U(1, 1).U(~0ULL, 63);
    Expect704(ProbeLayer(Ended(Rated(vbv, 0, 25), 704, 576)));
    Writer all = LayerStart().U(1, 1).U(0, 7).U(15, 4).U(0, 16).U(1, 1).U(0, 3).U(1, 1).U(0, 63);
    Expect704(ProbeLayer(Ended(Rated(all, 0, 65535), 704, 576)));
}

TEST(ProbesMpeg4, OtherShapesKeepTheSizeButAreReported)
{
    for (const unsigned shape : {1U, 2U, 3U})
    {
        Writer layer = LayerStart().U(0, 1).U(1, 4).U(0, 1);
        const Size size = ProbeLayer(Ended(Rated(layer, shape, 25), 704, 576));
        ExpectSize(size, kPreset, kPreset);
        EXPECT_EQ(kLineUntouched, size.lines);
    }
}

TEST(ProbesMpeg4, OtherStartCodesAreSilent)
{
    for (unsigned code = 0; code < 256; ++code)
    {
        if (code != 0x20)
        {
            Writer layer = LayerStart(code).U(0, 1).U(1, 4).U(0, 1);
            const Size size = ProbeLayer(Ended(Rated(layer, 0, 25), 704, 576));
            ExpectSize(size, kPreset, kPreset);
            EXPECT_TRUE(size.lines.empty());
        }
    }
}

TEST(ProbesMpeg4, NoDataIsSilent)
{
    Writer layer = LayerStart().U(0, 1).U(1, 4).U(0, 1);
    const Bytes data = Ended(Rated(layer, 0, 25), 704, 576);
    for (const int len : {0, -1, -2147483647 - 1})
    {
        const Size size = ProbeLayer(data, len);
        ExpectSize(size, kPreset, kPreset);
        EXPECT_TRUE(size.lines.empty());
    }
    for (int len = 1; len < 4; ++len)
    {
        EXPECT_TRUE(ProbeLayer(Bytes(data.begin(), data.begin() + len)).lines.empty());
    }
}

TEST(ProbesMpeg4, FindsTheLayerAnywhereAndTakesTheFirst)
{
    Writer layer = LayerStart().U(0, 1).U(1, 4).U(0, 1);
    const Bytes data = Ended(Rated(layer, 0, 25), 704, 576);
    for (std::size_t before = 1; before < 40; ++before)
    {
        Bytes stream(before, 0);
        stream.insert(stream.end(), data.begin(), data.end());
        stream.insert(stream.end(), {0, 0, 1, 0x20, 0xFF, 0xFF, 0xFF});
        Expect704(ProbeLayer(stream));
    }
}

TEST(ProbesMpeg4, TakesAll13Bits)
{
    for (const int extent : {0, 1, 4096, 8191})
    {
        Writer layer = LayerStart().U(0, 1).U(1, 4).U(0, 1);
        ExpectSize(ProbeLayer(Ended(Rated(layer, 0, 25), extent, 8191 - extent)), extent,
                   8191 - extent);
    }
}

TEST(ProbesMpeg4, AnIncompleteHeaderHasNoSizeButIsReported)
{
    Writer layer = LayerStart().U(0, 1).U(1, 4).U(0, 1);
    Rated(layer, 0, 25).U(1, 1).U(704, 13).U(1, 1).U(576, 13);
    const std::size_t whole = layer.bits.size() / 8;
    const Bytes data = layer.Data();
    for (std::size_t len = 4; len < whole; ++len)
    {
        const Size size = ProbeLayer(Bytes(data.begin(), data.begin() + len));
        ExpectSize(size, kPreset, kPreset);
        EXPECT_EQ(kLineUntouched, size.lines) << len;
    }
}

/// The layer header behind its start code, taken literally.
Size LayerModel(const Bytes& data, std::size_t start)
{
    std::size_t position = (start + 4) * 8;
    const auto read = [&](int count)
    {
        unsigned value = 0;
        for (; count > 0; --count, ++position)
        {
            const unsigned byte = position / 8 < data.size() ? data[position / 8] : 0;
            value = value << 1 | (byte >> (7 - position % 8) & 1U);
        }
        return value;
    };
    position += 9;
    position += read(1) == 1 ? 7 : 0;
    position += read(4) == 15 ? 16 : 0;
    if (read(1) == 1)
    {
        position += 3;
        position += read(1) == 1 ? 63 : 0;
    }
    const unsigned shape = read(2);
    ++position;
    unsigned resolution = read(16);
    ++position;
    if (read(1) == 1)
    {
        for (; resolution != 0; resolution /= 2)
        {
            ++position;
        }
    }
    Size size;
    ++position;
    const int width = static_cast<int>(read(13));
    ++position;
    const int height = static_cast<int>(read(13));
    if (shape == 0 && position <= data.size() * 8)
    {
        size.width = width;
        size.height = height;
    }
    return size;
}

TEST(ProbesMpeg4, ReadsAnyBytesAsTheModelDoes)
{
    std::mt19937 random(21);
    for (int round = 0; round < 4000; ++round)
    {
        const std::size_t start = random() % 5;
        Bytes data(start, 0xAA);
        data.insert(data.end(), {0, 0, 1, 0x20});
        const std::size_t len = data.size() + random() % 30;
        while (data.size() < len)
        {
            data.push_back(static_cast<unsigned char>(random()));
        }
        const Size expected = LayerModel(data, start);
        const Size probed = ProbeLayer(data);
        ASSERT_EQ(expected.width, probed.width) << "round " << round;
        ASSERT_EQ(expected.height, probed.height) << "round " << round;
        const std::string line = "CSFunc::s_S_GetMpg4WH W=" + std::to_string(expected.width) +
                                 ",H=" + std::to_string(expected.height);
        ASSERT_EQ(std::vector<std::string>{line}, probed.lines) << "round " << round;
    }
}

// ---- ARGB8888 -----------------------------------------------------------------------------------

int Wrapped(int value)
{
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(value));
}

unsigned char Clamped(int value)
{
    return static_cast<unsigned char>(std::clamp(value, 0, 255));
}

void StorePixel(unsigned char* out, int y, int u, int v)
{
    const int luma = Wrapped(74 * (y - 16));
    out[0] = Clamped(Wrapped(luma + 129 * (u - 128)) >> 6);
    out[1] = Clamped(Wrapped(luma - 25 * (u - 128) - 52 * (v - 128)) >> 6);
    out[2] = Clamped(Wrapped(luma + 102 * (v - 128)) >> 6);
    out[3] = 0;
}

int RoundedUp(int value, int unit)
{
    return (value + unit - 1) / unit * unit;
}

/// Planes and output of exactly the size that is accessed.
struct Planes
{
    Planes(int width, int height)
    {
        const int rows = RoundedUp(height, 2);
        const int reach = RoundedUp(width, 16);
        y.resize((rows - 1) * width + reach);
        u.resize((rows / 2 - 1) * (width / 2) + reach / 2);
        v.resize(u.size());
        out.resize(4 * y.size(), 0xEE);
    }
    Bytes y, u, v, out;
};

Bytes ModelOf(const Planes& planes, int width, int height)
{
    Bytes out = planes.out;
    for (int row = 0; row < height; row += 2)
    {
        for (int step = 0; step < RoundedUp(width, 16); step += 16)
        {
            for (int lower = 0; lower < 2; ++lower)
            {
                for (int x = step; x < step + 16; ++x)
                {
                    const int at = (row + lower) * width + x;
                    const int chroma = row / 2 * (width / 2) + x / 2;
                    StorePixel(&out[4 * at], planes.y[at], planes.u[chroma], planes.v[chroma]);
                }
            }
        }
    }
    return out;
}

Bytes Converted(const Planes& planes, int width, int height)
{
    const FencedMemory y(planes.y.size()), u(planes.u.size()), v(planes.v.size()),
        out(planes.out.size());
    unsigned char* const result = out.Hold(planes.out);
    CSFunc::s_S_YUV420_To_ARGB8888_SSE2(y.Hold(planes.y), u.Hold(planes.u), v.Hold(planes.v), width,
                                        height, result);
    return Bytes(result, result + planes.out.size());
}

class ProbesArgb : public testing::TestWithParam<bool>
{
};

TEST_P(ProbesArgb, EqualsTheModelForEverySmallPicture)
{
    std::mt19937 random(7);
    for (int width = 1; width <= 40; ++width)
    {
        for (int height = 1; height <= 6; ++height)
        {
            Planes planes(width, height);
            for (Bytes* plane : {&planes.y, &planes.u, &planes.v})
            {
                for (unsigned char& sample : *plane)
                {
                    const auto any = static_cast<unsigned char>(random());
                    sample = GetParam() ? any : static_cast<unsigned char>(any < 128 ? 0 : 255);
                }
            }
            ASSERT_EQ(ModelOf(planes, width, height), Converted(planes, width, height))
                << width << " x " << height;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(RandomAndExtreme, ProbesArgb, testing::Bool());

Bytes PixelOf(int y, int u, int v)
{
    Planes planes(16, 2);
    std::fill(planes.y.begin(), planes.y.end(), static_cast<unsigned char>(y));
    std::fill(planes.u.begin(), planes.u.end(), static_cast<unsigned char>(u));
    std::fill(planes.v.begin(), planes.v.end(), static_cast<unsigned char>(v));
    const Bytes out = Converted(planes, 16, 2);
    return Bytes(out.begin(), out.begin() + 4);
}

TEST(ProbesArgbPixel, HasTheStatedColours)
{
    EXPECT_EQ((Bytes{0, 0, 0, 0}), PixelOf(16, 128, 128));
    EXPECT_EQ((Bytes{253, 253, 253, 0}), PixelOf(235, 128, 128));
    EXPECT_EQ((Bytes{0, 0, 254, 0}), PixelOf(82, 90, 240));
    EXPECT_EQ(0, PixelOf(255, 255, 128)[0]);
    EXPECT_EQ(0, PixelOf(250, 250, 128)[0]);
}

TEST(ProbesArgbPixel, BlueFollowsTheModelForAllLumaAndChroma)
{
    for (int u = 0; u < 256; ++u)
    {
        Planes planes(256, 2);
        for (int i = 0; i < 512; ++i)
        {
            planes.y[i] = static_cast<unsigned char>(i);
        }
        std::fill(planes.u.begin(), planes.u.end(), static_cast<unsigned char>(u));
        std::fill(planes.v.begin(), planes.v.end(), static_cast<unsigned char>(255 - u));
        ASSERT_EQ(ModelOf(planes, 256, 2), Converted(planes, 256, 2)) << u;
    }
}

TEST(ProbesArgbPixel, WithoutExtentNothingIsWritten)
{
    Planes planes(16, 2);
    for (const auto& [width, height] :
         std::vector<std::pair<int, int>>{{0, 2}, {16, 0}, {-16, 2}, {16, -2}, {-1, -1}})
    {
        EXPECT_EQ(planes.out, Converted(planes, width, height)) << width << ' ' << height;
    }
}

// ---- Image files --------------------------------------------------------------------------------

constexpr DWORD kYv12 = 0x32315659;

class ProbesImage : public testing::Test
{
protected:
    void SetUp() override
    {
        wchar_t temp[MAX_PATH] = {};
        GetTempPathW(MAX_PATH, temp);
        folder = std::wstring(temp) + L"probes" + std::to_wstring(GetCurrentProcessId()) + L"_" +
                 std::to_wstring(GetTickCount());
        CreateDirectoryW(folder.c_str(), nullptr);
        folder += L'\\';
    }
    void TearDown() override
    {
        for (const std::wstring& file : files)
        {
            DeleteFileW(file.c_str());
        }
        RemoveDirectoryW((folder + L"shots.bmp").c_str());
        RemoveDirectoryW(folder.c_str());
    }

    static BITMAPINFOHEADER Header(int width, int height, int bits, DWORD compression = BI_RGB)
    {
        BITMAPINFOHEADER header = {};
        header.biSize = sizeof(header);
        header.biWidth = width;
        header.biHeight = height;
        header.biPlanes = 1;
        header.biBitCount = static_cast<WORD>(bits);
        header.biCompression = compression;
        return header;
    }

    /// @return the file's bytes; none when there is no file.
    Bytes Save(const std::wstring& name, const BITMAPINFOHEADER& header, unsigned char* pixels)
    {
        files.push_back(folder + name);
        ostrel::test::OutputCapture capture;
        CSFunc::s_S_SaveImg(CString(files.back().c_str()), header, pixels);
        EXPECT_TRUE(capture.Texts().empty());
        Bytes content;
        if (FILE* const file = _wfopen(files.back().c_str(), L"rb"))
        {
            for (int byte = std::fgetc(file); byte != EOF; byte = std::fgetc(file))
            {
                content.push_back(static_cast<unsigned char>(byte));
            }
            std::fclose(file);
        }
        return content;
    }

    /// @return B, G, R of each pixel, the top row first, without padding.
    static Bytes PixelsOf(const Bytes& bmp, int width, int height)
    {
        BITMAPFILEHEADER file = {};
        BITMAPINFOHEADER info = {};
        if (bmp.size() < sizeof(file) + sizeof(info))
        {
            return {};
        }
        std::copy_n(bmp.begin(), sizeof(file), reinterpret_cast<unsigned char*>(&file));
        std::copy_n(bmp.begin() + sizeof(file), sizeof(info),
                    reinterpret_cast<unsigned char*>(&info));
        EXPECT_EQ(width, info.biWidth);
        EXPECT_EQ(height, std::abs(info.biHeight));
        EXPECT_EQ(24, info.biBitCount);
        Bytes pixels;
        const std::size_t stride = RoundedUp(3 * width, 4);
        for (int row = 0; row < height; ++row)
        {
            const std::size_t stored = info.biHeight > 0 ? height - 1 - row : row;
            const std::size_t start = file.bfOffBits + stored * stride;
            if (start + 3 * width > bmp.size())
            {
                return {};
            }
            pixels.insert(pixels.end(), bmp.begin() + start, bmp.begin() + start + 3 * width);
        }
        return pixels;
    }

    std::wstring folder;
    std::vector<std::wstring> files;
};

char KindOf(const Bytes& file)
{
    if (file.size() < 4)
    {
        return '-';
    }
    return file[0] == 'B' ? 'B' : file[0] == 0x89 ? 'P' : file[0] == 0xFF ? 'J' : '?';
}

TEST_F(ProbesImage, TheFormatIsSearchedForInTheWholePath)
{
    CreateDirectoryW((folder + L"shots.bmp").c_str(), nullptr);
    Bytes pixels(4 * 4 * 4, 90);
    const BITMAPINFOHEADER header = Header(4, 4, 32);
    EXPECT_EQ('B', KindOf(Save(L"a.bmp", header, pixels.data())));
    EXPECT_EQ('B', KindOf(Save(L"b.BmP", header, pixels.data())));
    EXPECT_EQ('B', KindOf(Save(L"c.png.bmp", header, pixels.data())));
    EXPECT_EQ('B', KindOf(Save(L"d.bmp.png", header, pixels.data())));
    EXPECT_EQ('B', KindOf(Save(L"e.bmpx", header, pixels.data())));
    EXPECT_EQ('P', KindOf(Save(L"f.PNG", header, pixels.data())));
    EXPECT_EQ('P', KindOf(Save(L"g.png.jpg", header, pixels.data())));
    EXPECT_EQ('J', KindOf(Save(L"h.jpg", header, pixels.data())));
    EXPECT_EQ('J', KindOf(Save(L"i.jpeg", header, pixels.data())));
    EXPECT_EQ('J', KindOf(Save(L"j", header, pixels.data())));
    EXPECT_EQ('J', KindOf(Save(L"bmp", header, pixels.data())));
    EXPECT_EQ('J', KindOf(Save(L"k.gif", header, pixels.data())));
    EXPECT_EQ('B', KindOf(Save(L"shots.bmp\\a.jpg", header, pixels.data())));
}

TEST_F(ProbesImage, PackedPixelsAreStoredAsTheyAre)
{
    std::mt19937 random(5);
    for (const int bits : {24, 32})
    {
        for (int width = 1; width <= 9; ++width)
        {
            const int height = 5;
            const int bytes = bits / 8;
            const int stride = RoundedUp(bytes * width, 4);
            Bytes pixels(stride * height);
            for (unsigned char& byte : pixels)
            {
                byte = static_cast<unsigned char>(random());
            }
            for (const int direction : {1, -1})
            {
                Bytes expected;
                for (int row = 0; row < height; ++row)
                {
                    const int held = direction > 0 ? height - 1 - row : row;
                    for (int x = 0; x < width; ++x)
                    {
                        const auto from = pixels.begin() + held * stride + x * bytes;
                        expected.insert(expected.end(), from, from + 3);
                    }
                }
                const Bytes file =
                    Save(L"p.bmp", Header(width, direction * height, bits), pixels.data());
                EXPECT_EQ(expected, PixelsOf(file, width, height))
                    << width << ' ' << bits << ' ' << direction;
            }
        }
    }
}

TEST_F(ProbesImage, PlanarPicturesAreNotFlipped)
{
    const int width = 16;
    const int height = 6;
    Bytes picture(width * height * 3 / 2);
    std::mt19937 random(6);
    for (unsigned char& byte : picture)
    {
        byte = static_cast<unsigned char>(60 + random() % 120);
    }
    // V lies before U.
    const unsigned char* const v = picture.data() + width * height;
    const unsigned char* const u = v + width * height / 4;
    Bytes upright;
    Bytes upsideDown;
    for (int row = 0; row < height; ++row)
    {
        for (int side = 0; side < 2; ++side)
        {
            Bytes& to = side == 0 ? upright : upsideDown;
            const int y = side == 0 ? row : height - 1 - row;
            for (int x = 0; x < width; ++x)
            {
                const int chroma = y / 2 * (width / 2) + x / 2;
                unsigned char pixel[4];
                StorePixel(pixel, picture[y * width + x], u[chroma], v[chroma]);
                to.insert(to.end(), pixel, pixel + 3);
            }
        }
    }
    EXPECT_EQ(upsideDown, PixelsOf(Save(L"u.bmp", Header(width, height, 12, kYv12), picture.data()),
                                   width, height));
    // A negative height moves no plane: the rule for their places counts the rows.
    EXPECT_EQ(upright, PixelsOf(Save(L"t.bmp", Header(width, -height, 12, kYv12), picture.data()),
                                width, height));
}

TEST_F(ProbesImage, AFileThatExistsIsReplaced)
{
    Bytes large(64 * 64 * 4, 200);
    const std::size_t before = Save(L"r.bmp", Header(64, 64, 32), large.data()).size();
    const Bytes after = Save(L"r.bmp", Header(2, 2, 32), large.data());
    EXPECT_LT(after.size(), before);
    EXPECT_EQ(Bytes(12, 200), PixelsOf(after, 2, 2));
}

TEST_F(ProbesImage, WithoutPixelsThePictureIsBlack)
{
    EXPECT_EQ(Bytes(4 * 4 * 3, 0), PixelsOf(Save(L"n.bmp", Header(4, 4, 24), nullptr), 4, 4));
    EXPECT_EQ(Bytes(16 * 4 * 3, 0),
              PixelsOf(Save(L"o.bmp", Header(16, 4, 12, kYv12), nullptr), 16, 4));
}

TEST_F(ProbesImage, FailuresAreSilentAndLeaveNoFile)
{
    Bytes pixels(4 * 4 * 4, 90);
    EXPECT_TRUE(Save(L"missing\\a.bmp", Header(4, 4, 32), pixels.data()).empty());
    EXPECT_TRUE(Save(L"b.bmp", Header(0, 4, 32), pixels.data()).empty());
    EXPECT_TRUE(Save(L"c.bmp", Header(4, 0, 32), pixels.data()).empty());
    EXPECT_TRUE(Save(L"d.bmp", Header(0x7FFFFFFF, 0x7FFFFFFF, 32), pixels.data()).empty());
    EXPECT_TRUE(Save(L"e.bmp", Header(0, 0, 12, kYv12), nullptr).empty());
    ostrel::test::OutputCapture capture;
    CSFunc::s_S_SaveImg(CString(L""), Header(4, 4, 32), pixels.data());
    EXPECT_TRUE(capture.Texts().empty());
}

}  // namespace
