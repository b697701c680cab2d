#include "media/jpeg_size.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstddef>

#include "jpeg_pictures.h"
#include "probe_outcome.h"

namespace
{

using namespace ostrel::media;
using namespace ostrel::test;

Outcome Probe(const JpegBytes& picture, std::size_t size)
{
    return ProbeExactly(FindJpegSize, picture, size);
}

Outcome Probe(const JpegBytes& picture)
{
    return Probe(picture, picture.size());
}

}  // namespace

TEST(JpegSize, ABaselineJfifPictureIsSized)
{
    EXPECT_EQ(Probe(BaselinePicture(704, 576)), Found(704, 576));
}

TEST(JpegSize, BothBytesOfASizeCount)
{
    EXPECT_EQ(Probe(BaselinePicture(0xFEDC, 0x0102)), Found(65244, 258));
    EXPECT_EQ(Probe(BaselinePicture(0xFFFF, 0)), Found(65535, 0));
}

TEST(JpegSize, AFrameHeaderRightAfterTheOpeningIsFound)
{
    EXPECT_EQ(Probe(Joined({JfifOpening(), FrameHeader(0xC0, 16, 8)})), Found(16, 8));
}

TEST(JpegSize, OtherSegmentsArePassedOver)
{
    EXPECT_EQ(
        Probe(Joined({JfifOpening(), Segment(0xE1, JpegBytes(300, 0xFF)), Segment(0xFE, {'h', 'i'}),
                      QuantisationTable(), FrameHeader(0xC0, 1280, 720)})),
        Found(1280, 720));
}

TEST(JpegSize, ABaselineHeaderInsideASegmentIsNotOne)
{
    EXPECT_EQ(Probe(Joined({JfifOpening(), Segment(0xFE, FrameHeader(0xC0, 11, 22)),
                            FrameHeader(0xC0, 33, 44)})),
              Found(33, 44));
}

TEST(JpegSize, OtherFrameHeadersArePassedOverAsOrdinarySegments)
{
    for (const unsigned char marker : {0xC1, 0xC2, 0xC3, 0xC9, 0xCA, 0xCF})
    {
        EXPECT_EQ(
            Probe(Joined({JfifOpening(), FrameHeader(marker, 11, 22), FrameHeader(0xC0, 33, 44)})),
            Found(33, 44));
    }
}

// The walk goes on behind the scan header, into coded data that is no marker.
TEST(JpegSize, AProgressivePictureIsNotSizedAndEndsSilentlyInItsData)
{
    EXPECT_EQ(
        Probe(Joined({JfifOpening(), QuantisationTable(), FrameHeader(0xC2, 704, 576), Scan()})),
        kNothingSilent);
}

TEST(JpegSize, AnExifOpeningIsReportedUnsized)
{
    EXPECT_EQ(Probe(Joined({{0xFF, 0xD8},
                            Segment(0xE1, {'E', 'x', 'i', 'f', 0, 0, 1, 2}),
                            FrameHeader(0xC0, 704, 576)})),
              kNothingReported);
}

TEST(JpegSize, AnyOtherByteInTheOpeningIsReportedUnsized)
{
    for (const std::size_t position : {0, 1, 2, 3, 6, 7, 8, 9, 10})
    {
        JpegBytes picture = BaselinePicture(704, 576);
        picture[position] ^= 1;
        EXPECT_EQ(Probe(picture), kNothingReported) << position;
    }
}

TEST(JpegSize, NothingAtAllIsReportedUnsized)
{
    const JpegBytes picture = BaselinePicture(704, 576);
    for (const int size : {0, -1, INT_MIN})
    {
        EXPECT_TRUE(FindJpegSize(picture.data(), size).isReported);
        EXPECT_FALSE(FindJpegSize(picture.data(), size).size);
    }
    for (const int size : {0, -1, 100, INT_MAX})
    {
        EXPECT_TRUE(FindJpegSize(nullptr, size).isReported);
        EXPECT_FALSE(FindJpegSize(nullptr, size).size);
    }
}

// The opening is 20 bytes, the table 69; the frame header's marker stands at 89 and its last byte
// of the width at 97.
TEST(JpegSize, APictureTruncatedAtEveryLengthEndsAsStated)
{
    const JpegBytes picture = BaselinePicture(704, 576);
    for (std::size_t size = 0; size <= picture.size(); ++size)
    {
        Outcome expected = Found(704, 576);
        if (size < 11)
        {
            expected = kNothingReported;  // not even the opening
        }
        else if (size <= 20)
        {
            expected = kNothingSilent;  // the next marker's place is out of range
        }
        else if (size <= 22)
        {
            expected = kNothingReported;  // the walk reaches the end at the table's length
        }
        else if (size <= 89)
        {
            expected = kNothingSilent;  // the frame header's place is out of range
        }
        else if (size < 98)
        {
            expected = kNothingReported;  // the frame header's marker or fields are absent
        }
        EXPECT_EQ(Probe(picture, size), expected) << size;
    }
}

TEST(JpegSize, ASegmentThatDoesNotEndAtAMarkerIsSilent)
{
    JpegBytes picture = BaselinePicture(704, 576);
    picture[20] = 0xFE;
    EXPECT_EQ(Probe(picture), kNothingSilent);
}

TEST(JpegSize, ASegmentThatEndsPastThePictureIsSilent)
{
    JpegBytes picture = BaselinePicture(704, 576);
    picture[22] = 0xFF;
    picture[23] = 0xFF;
    EXPECT_EQ(Probe(picture), kNothingSilent);
}

// A length counts its own two bytes; a smaller one ends at itself, where no marker can stand.
TEST(JpegSize, ALengthTooSmallForItselfIsSilent)
{
    for (const unsigned char length : {0, 1})
    {
        JpegBytes picture = BaselinePicture(704, 576);
        picture[22] = 0;
        picture[23] = length;
        EXPECT_EQ(Probe(picture), kNothingSilent) << int{length};
        picture[4] = 0;
        picture[5] = length;
        EXPECT_EQ(Probe(picture), kNothingSilent) << int{length};
    }
}

// Whatever the absent half is, the length points at itself or out of range.
TEST(JpegSize, HalfALengthAsTheVeryLastByteIsSilent)
{
    for (const unsigned char marker : {0xDB, 0xFF})
    {
        for (const unsigned char half : {0x00, 0x01, 0xC0, 0xFF})
        {
            EXPECT_EQ(Probe(Joined({JfifOpening(), {0xFF, marker, half}})), kNothingSilent);
        }
    }
}

TEST(JpegSize, AMarkerAsTheVeryLastBytesIsReported)
{
    EXPECT_EQ(Probe(Joined({JfifOpening(), {0xFF, 0xD9}})), kNothingReported);
    EXPECT_EQ(Probe(Joined({JfifOpening(), {0xFF}})), kNothingReported);
}

TEST(JpegSize, ManySmallSegmentsAreWalkedInOneGo)
{
    JpegBytes picture = JfifOpening();
    for (int i = 0; i < 250000; ++i)
    {
        const JpegBytes empty = Segment(0xFE, {});
        picture.insert(picture.end(), empty.begin(), empty.end());
    }
    EXPECT_EQ(Probe(Joined({picture, FrameHeader(0xC0, 5, 6)})), Found(5, 6));
}
