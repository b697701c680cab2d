#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "CSFunc.h"
#include "h264_streams.h"
#include "support/output_capture.h"

namespace
{

using namespace ostrel::test;
using Lines = std::vector<std::string>;

struct Probe
{
    explicit Probe(Bytes unit) : Probe(unit.data(), static_cast<int>(unit.size()) - 4) {}

    Probe(unsigned char* data, int len)
    {
        const OutputCapture capture;
        CSFunc::s_S_GetH264WH(data, len, width, height);
        lines = capture.Texts();
    }

    int width = -7;
    int height = 99;
    Lines lines;
};

Sps FullHd()
{
    Sps sps;
    sps.cropping = Cropping{0, 0, 0, 4};
    return sps;
}

}  // namespace

TEST(H264SizeMember, WritesTheSizeAndNoLine)
{
    const Probe probe(SpsUnit(FullHd()));
    EXPECT_EQ(probe.width, 1920);
    EXPECT_EQ(probe.height, 1080);
    EXPECT_EQ(probe.lines, Lines{});
}

TEST(H264SizeMember, CropsAnInterlacedPictureInUnitsOf2)
{
    Sps sps = FullHd();
    sps.isFramesOnly = false;
    sps.heightInMapUnitsMinus1 = BitWriter().Ue(33);
    const Probe probe(SpsUnit(sps));
    EXPECT_EQ(probe.width, 1920);
    EXPECT_EQ(probe.height, 1080);
}

TEST(H264SizeMember, ReadsAHighProfileWithAScalingMatrix)
{
    Sps sps = FullHd();
    sps.profile = 100;
    sps.chroma = ChromaFields();
    sps.chroma->scaling = BitWriter().Bits("1 1").Se(-8).Bits("000 0001").Se(-8);
    const Probe probe(SpsUnit(sps));
    EXPECT_EQ(probe.width, 1920);
    EXPECT_EQ(probe.height, 1080);
}

TEST(H264SizeMember, WritesASizeWhateverTheUnitIs)
{
    const Bytes unit = UnitOf(Bytes(40, 0xFF), 0x41);
    const Probe probe(unit);
    // All ones: profile 255, no field with a code longer than one bit, frames only, offsets of 0.
    EXPECT_EQ(probe.width, 16);
    EXPECT_EQ(probe.height, 16);
    EXPECT_EQ(probe.lines, Lines{});
}

TEST(H264SizeMember, WritesTheSizeOfNothingWithoutContent)
{
    Bytes unit = SpsUnit(FullHd());
    for (const Probe& probe :
         {Probe(nullptr, 100), Probe(nullptr, 0), Probe(unit.data(), 0), Probe(unit.data(), 1),
          Probe(unit.data(), -1), Probe(unit.data(), -2147483647 - 1)})
    {
        EXPECT_EQ(probe.width, 16);
        EXPECT_EQ(probe.height, 32);
        EXPECT_EQ(probe.lines, Lines{});
    }
}

TEST(H264SizeMember, LeavesTheDataAlone)
{
    Bytes unit = SpsUnit(FullHd());
    const Bytes before = unit;
    int width = 0;
    int height = 0;
    CSFunc::s_S_GetH264WH(unit.data(), static_cast<int>(unit.size()) - 4, width, height);
    EXPECT_EQ(unit, before);
}
