#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "CSFunc.h"
#include "jpeg_pictures.h"
#include "support/output_capture.h"

namespace
{

using namespace ostrel::test;
using Lines = std::vector<std::string>;

struct Probe
{
    explicit Probe(JpegBytes picture) : Probe(picture.data(), static_cast<int>(picture.size())) {}

    Probe(unsigned char* data, int len)
    {
        const OutputCapture capture;
        CSFunc::s_S_GetJpegWH(data, len, width, height);
        lines = capture.Texts();
    }

    int width = -7;
    int height = 99;
    Lines lines;
};

}  // namespace

TEST(JpegSizeMember, WritesTheSizeAndOneLineWithoutALineEnd)
{
    const Probe probe(BaselinePicture(704, 576));
    EXPECT_EQ(probe.width, 704);
    EXPECT_EQ(probe.height, 576);
    EXPECT_EQ(probe.lines, Lines{"CSFunc::s_S_GetJpegWH W=704,H=576"});
}

TEST(JpegSizeMember, LeavesTheSizeAloneAndReportsItAsItStands)
{
    JpegBytes exif = BaselinePicture(704, 576);
    exif[3] = 0xE1;
    const Probe probe(exif);
    EXPECT_EQ(probe.width, -7);
    EXPECT_EQ(probe.height, 99);
    EXPECT_EQ(probe.lines, Lines{"CSFunc::s_S_GetJpegWH W=-7,H=99"});
}

TEST(JpegSizeMember, ReportsAPictureThatEndsInsideItsFrameHeader)
{
    JpegBytes picture = BaselinePicture(704, 576);
    picture.resize(97);
    const Probe probe(picture);
    EXPECT_EQ(probe.width, -7);
    EXPECT_EQ(probe.height, 99);
    EXPECT_EQ(probe.lines, Lines{"CSFunc::s_S_GetJpegWH W=-7,H=99"});
}

TEST(JpegSizeMember, IsSilentWhenTheWalkEndsOutOfRange)
{
    JpegBytes picture = BaselinePicture(704, 576);
    picture.resize(60);
    const Probe probe(picture);
    EXPECT_EQ(probe.width, -7);
    EXPECT_EQ(probe.height, 99);
    EXPECT_EQ(probe.lines, Lines{});
}

TEST(JpegSizeMember, IsSilentWhenTheWalkEndsAtAByteThatIsNoMarker)
{
    const Probe probe(Joined({JfifOpening(), FrameHeader(0xC2, 704, 576), Scan()}));
    EXPECT_EQ(probe.width, -7);
    EXPECT_EQ(probe.height, 99);
    EXPECT_EQ(probe.lines, Lines{});
}

TEST(JpegSizeMember, TakesNullAndNegativeLengthsForAnEmptyPicture)
{
    JpegBytes picture = BaselinePicture(704, 576);
    for (const Probe& probe : {Probe(nullptr, 100), Probe(nullptr, 0), Probe(picture.data(), 0),
                               Probe(picture.data(), -1)})
    {
        EXPECT_EQ(probe.width, -7);
        EXPECT_EQ(probe.height, 99);
        EXPECT_EQ(probe.lines, Lines{"CSFunc::s_S_GetJpegWH W=-7,H=99"});
    }
}
