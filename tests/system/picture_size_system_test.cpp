// The size probes on pictures of real encoders. The folder that OSTREL_PICTURE_STREAMS names holds
// the pictures and table.txt, which says what each is and what the probe is to find.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "CSFunc.h"
#include "media/h264_size_model.h"
#include "support/output_capture.h"

namespace
{

using namespace ostrel::test;
using Bytes = std::vector<unsigned char>;
using Lines = std::vector<std::string>;
using Size = std::pair<int, int>;

const Size kPreset = {-7, 99};

struct Picture
{
    std::string encoder;
    std::string format;
    std::string mode;
    Size size;
    std::string stated;
    std::string why;
    std::string name;
    Bytes bytes;
};

std::string Folder()
{
    const char* folder = std::getenv("OSTREL_PICTURE_STREAMS");
    EXPECT_NE(folder, nullptr);
    return "Z:" + std::string(folder != nullptr ? folder : "") + "/";
}

Size SizeIn(const std::string& text)
{
    const std::size_t cross = text.find('x');
    return {std::stoi(text), std::stoi(text.substr(cross + 1))};
}

// The pictures of one kind, each named by its line of the table.
std::vector<Picture> Pictures(const std::string& wanted)
{
    std::vector<Picture> pictures;
    std::ifstream table(Folder() + "table.txt");
    EXPECT_TRUE(table.is_open());
    for (std::string line; std::getline(table, line);)
    {
        std::istringstream words(line);
        std::string kind;
        std::string size;
        Picture picture;
        words >> kind >> picture.encoder >> picture.format >> picture.mode >> size;
        if (kind != wanted)
        {
            continue;
        }
        words >> picture.stated >> std::ws;
        std::getline(words, picture.why);
        picture.size = SizeIn(size);
        picture.name = line;
        std::string file =
            kind + "-" + picture.encoder + "-" + picture.format + "-" + picture.mode + "-" + size;
        std::replace(file.begin(), file.end(), ':', '_');
        std::replace(file.begin(), file.end(), '/', '_');
        std::ifstream stream(Folder() + file, std::ios::binary);
        picture.bytes.assign(std::istreambuf_iterator<char>(stream), {});
        EXPECT_GT(picture.bytes.size(), 20U) << line;
        pictures.push_back(picture);
    }
    return pictures;
}

using Member = void (*)(unsigned char*, int, int&, int&);

struct Probe
{
    Probe(Member member, Bytes bytes, std::size_t len) : size(kPreset)
    {
        const OutputCapture capture;
        member(bytes.data(), static_cast<int>(len), size.first, size.second);
        lines = capture.Texts();
    }

    Size size;
    Lines lines;
};

int RoundedUp(int value, int unit)
{
    return (value + unit - 1) / unit * unit;
}

// What is left of a coded length when the picture's end is cut off in units of so many pixels, and
// the probe counts 2 for each, up to 7 of them.
int StatedLength(int coded, int cut, int unit)
{
    const int offset = cut / unit;
    return offset >= 1 && offset <= 7 ? coded - 2 * offset : coded;
}

struct Crop
{
    int left = 0;
    int right = 0;
    int top = 0;
    int bottom = 0;
};

Crop CropOf(const Picture& picture)
{
    Crop crop;
    if (picture.mode.rfind("crop:", 0) == 0)
    {
        char colon = 0;
        std::istringstream numbers(picture.mode.substr(4));
        numbers >> colon >> crop.left >> colon >> crop.right;
        numbers >> colon >> crop.top >> colon >> crop.bottom;
        EXPECT_FALSE(numbers.fail());
    }
    return crop;
}

// What a decoder shows.
Size TrueH264Size(const Picture& picture)
{
    const Crop crop = CropOf(picture);
    return {picture.size.first - crop.left - crop.right,
            picture.size.second - crop.top - crop.bottom};
}

// From what is encoded, by the stated rules; for all but profile 244.
Size StatedH264Size(const Picture& picture)
{
    // Pixels per chroma sample: what the encoder's cropping counts in.
    const std::map<std::string, Size> units = {{"yuv420p", {2, 2}},
                                               {"yuv420p10le", {2, 2}},
                                               {"yuv422p", {2, 1}},
                                               {"yuv422p10le", {2, 1}},
                                               {"gray", {1, 1}}};
    const Size unit = units.at(picture.format);
    const bool isInFields = picture.mode == "interlaced" || picture.mode == "fields-flagged";
    const Crop crop = CropOf(picture);
    const Size coded = {RoundedUp(picture.size.first, 16),
                        RoundedUp(picture.size.second, isInFields ? 32 : 16)};
    return {StatedLength(coded.first, coded.first - picture.size.first + crop.right, unit.first),
            StatedLength(coded.second, coded.second - picture.size.second + crop.bottom,
                         isInFields ? 2 * unit.second : unit.second)};
}

// An increment of a fixed rate has one bit more here when the resolution is a power of two. Only
// XviD's rates are fixed. The numbers then lose their first bit of 13 and gain the marker behind.
Size StatedMpeg4Size(const Picture& picture)
{
    const int rate = std::stoi(picture.format);
    const bool isLate = picture.encoder == "libxvid" && (rate & (rate - 1)) == 0;
    if (!isLate)
    {
        return picture.size;
    }
    return {picture.size.first % 4096 * 2 + 1, picture.size.second % 4096 * 2 + 1};
}

std::string LineOf(const std::string& member, const Size& size)
{
    return "CSFunc::" + member + " W=" + std::to_string(size.first) +
           ",H=" + std::to_string(size.second);
}

// The unit behind the first start code, up to the next one.
std::size_t UnitSize(const Bytes& stream)
{
    const unsigned char kStartCode[] = {0, 0, 1};
    const auto next =
        std::search(stream.begin() + 4, stream.end(), std::begin(kStartCode), std::end(kStartCode));
    return static_cast<std::size_t>(next - stream.begin()) - 4;
}

}  // namespace

TEST(PictureSizes, H264StreamsAreSizedByTheStatedRules)
{
    const std::map<std::string, int> profiles = {{"baseline", 66}, {"main", 77},
                                                 {"high", 100},    {"high10", 110},
                                                 {"high422", 122}, {"high444", 244}};
    const std::vector<Picture> pictures = Pictures("h264");
    EXPECT_GE(pictures.size(), 60U);
    for (const Picture& picture : pictures)
    {
        SCOPED_TRACE(picture.name);
        ASSERT_EQ(Bytes(picture.bytes.begin(), picture.bytes.begin() + 5),
                  (Bytes{0, 0, 0, 1, 0x67}));
        ASSERT_EQ(picture.bytes[5], profiles.at(picture.encoder));
        const std::size_t len = picture.bytes.size() - 4;
        Size expected = kPreset;
        if (picture.stated == "misread")
        {
            ASSERT_EQ(picture.encoder, "high444");
            expected = H264SizeModel::Size(picture.bytes.data(), static_cast<int>(len));
        }
        else
        {
            expected = SizeIn(picture.stated);
            ASSERT_EQ(expected, StatedH264Size(picture));
        }
        ASSERT_EQ(expected != TrueH264Size(picture), !picture.why.empty());

        const Probe whole(CSFunc::s_S_GetH264WH, picture.bytes, len);
        EXPECT_EQ(whole.size, expected);
        EXPECT_EQ(whole.lines, Lines{});
        const Probe unit(CSFunc::s_S_GetH264WH, picture.bytes, UnitSize(picture.bytes));
        EXPECT_EQ(unit.size, expected);
    }
}

TEST(PictureSizes, Mpeg4StreamsAreSizedByTheStatedRules)
{
    const std::vector<Picture> pictures = Pictures("mpeg4");
    EXPECT_GE(pictures.size(), 20U);
    for (const Picture& picture : pictures)
    {
        SCOPED_TRACE(picture.name);
        const Size expected = SizeIn(picture.stated);
        ASSERT_EQ(expected, StatedMpeg4Size(picture));
        ASSERT_EQ(expected != picture.size, !picture.why.empty());

        const Probe probe(CSFunc::s_S_GetMpg4WH, picture.bytes, picture.bytes.size());
        EXPECT_EQ(probe.size, expected);
        EXPECT_EQ(probe.lines, Lines{LineOf("s_S_GetMpg4WH", expected)});
    }
}

TEST(PictureSizes, JpegPicturesAreSizedIfTheyAreBaselineJfif)
{
    const std::vector<Picture> pictures = Pictures("jpeg");
    EXPECT_GE(pictures.size(), 20U);
    for (const Picture& picture : pictures)
    {
        SCOPED_TRACE(picture.name);
        const bool isSized = picture.mode == "jfif";
        const Size expected = isSized ? picture.size : kPreset;
        ASSERT_EQ(picture.stated == "untouched", !isSized);
        ASSERT_EQ(isSized ? SizeIn(picture.stated) : kPreset, expected);
        ASSERT_EQ(isSized, picture.why.empty());

        const Probe probe(CSFunc::s_S_GetJpegWH, picture.bytes, picture.bytes.size());
        EXPECT_EQ(probe.size, expected);
        // The walk over a progressive picture ends in its data, at a byte that is no marker.
        const bool isSilent = picture.mode == "progressive";
        EXPECT_EQ(probe.lines, isSilent ? Lines{} : Lines{LineOf("s_S_GetJpegWH", expected)});
    }
}
