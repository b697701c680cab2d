#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "CSFunc.h"
#include "mpeg4_streams.h"
#include "support/output_capture.h"

namespace
{

using namespace ostrel::test;
using Lines = std::vector<std::string>;

struct Probe
{
    explicit Probe(Bytes stream) : Probe(stream.data(), static_cast<int>(stream.size())) {}

    Probe(unsigned char* data, int len)
    {
        const OutputCapture capture;
        CSFunc::s_S_GetMpg4WH(data, len, width, height);
        lines = capture.Texts();
    }

    int width = -7;
    int height = 99;
    Lines lines;
};

const Lines kUntouched = {"CSFunc::s_S_GetMpg4WH W=-7,H=99"};

}  // namespace

TEST(Mpeg4SizeMember, WritesTheSizeAndOneLineWithoutALineEnd)
{
    Vol vol;
    vol.resolution = 30000;
    vol.increment = BitWriter().Bits(1001, 15);
    const Probe probe(VolStream(vol));
    EXPECT_EQ(probe.width, 704);
    EXPECT_EQ(probe.height, 576);
    EXPECT_EQ(probe.lines, Lines{"CSFunc::s_S_GetMpg4WH W=704,H=576"});
}

TEST(Mpeg4SizeMember, LeavesTheSizeOfOtherShapesAloneAndReportsItAsItStands)
{
    for (const unsigned shape : {1U, 2U, 3U})
    {
        Vol vol;
        vol.shape = shape;
        const Probe probe(VolStream(vol));
        EXPECT_EQ(probe.width, -7);
        EXPECT_EQ(probe.height, 99);
        EXPECT_EQ(probe.lines, kUntouched);
    }
}

TEST(Mpeg4SizeMember, ReportsAHeaderThatEndsBeforeItsSizeIsComplete)
{
    const Bytes stream = VolStream(Vol());
    for (std::size_t cut = 2; cut < stream.size() - 17; ++cut)
    {
        const Probe probe(Bytes(stream.begin(), stream.end() - static_cast<std::ptrdiff_t>(cut)));
        EXPECT_EQ(probe.width, -7);
        EXPECT_EQ(probe.height, 99);
        EXPECT_EQ(probe.lines, kUntouched);
    }
}

TEST(Mpeg4SizeMember, IsSilentWithoutTheStartCode)
{
    for (const unsigned char code : {0x00, 0x1F, 0x21, 0x2F, 0xB0})
    {
        const Probe probe(VolStream(Vol(), code));
        EXPECT_EQ(probe.width, -7);
        EXPECT_EQ(probe.height, 99);
        EXPECT_EQ(probe.lines, Lines{});
    }
}

TEST(Mpeg4SizeMember, IsSilentWithoutData)
{
    Bytes stream = VolStream(Vol());
    for (const Probe& probe : {Probe(nullptr, 100), Probe(nullptr, 0), Probe(stream.data(), 0),
                               Probe(stream.data(), -1), Probe(stream.data(), 17)})
    {
        EXPECT_EQ(probe.width, -7);
        EXPECT_EQ(probe.height, 99);
        EXPECT_EQ(probe.lines, Lines{});
    }
}

TEST(Mpeg4SizeMember, ReadsPowersOfTwoAndVbvParametersToItsOwnMeasure)
{
    Vol late;
    late.resolution = 16;
    late.increment = BitWriter().Bits(1, 4);
    EXPECT_EQ(Probe(VolStream(late)).lines, Lines{"CSFunc::s_S_GetMpg4WH W=1409,H=1153"});

    Vol early;
    early.hasControlParameters = true;
    early.vbv = BitWriter().Bits(0, 63);
    EXPECT_EQ(Probe(VolStream(early)).lines, Lines{"CSFunc::s_S_GetMpg4WH W=704,H=576"});
}
