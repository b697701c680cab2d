#include "record/recording_name.h"

#include <gtest/gtest.h>

namespace ostrel::record
{
namespace
{

TEST(RecordingName, GetsTheExtensionThatItLacks)
{
    EXPECT_EQ(RecordingName(L"rec"), L"rec.avi");
    EXPECT_EQ(RecordingName(L"C:\\videos\\rec.mp4"), L"C:\\videos\\rec.mp4.avi");
    EXPECT_EQ(RecordingName(L"a.avi.old"), L"a.avi.old.avi");
    EXPECT_EQ(RecordingName(L"avi"), L"avi.avi");
    EXPECT_EQ(RecordingName(L"xavi"), L"xavi.avi");
    EXPECT_EQ(RecordingName(L"a.av"), L"a.av.avi");
}

TEST(RecordingName, WithTheExtensionInAnyCaseIsKept)
{
    EXPECT_EQ(RecordingName(L"rec.avi"), L"rec.avi");
    EXPECT_EQ(RecordingName(L"REC.AVI"), L"REC.AVI");
    EXPECT_EQ(RecordingName(L"rec.aVi"), L"rec.aVi");
    EXPECT_EQ(RecordingName(L".avi"), L".avi");
}

TEST(RecordingName, MayBeShorterThanTheExtension)
{
    EXPECT_EQ(RecordingName(L""), L".avi");
    EXPECT_EQ(RecordingName(L"a"), L"a.avi");
    EXPECT_EQ(RecordingName(L"avi"), L"avi.avi");
}

TEST(RecordingName, KeepsOtherLetters)
{
    EXPECT_EQ(RecordingName(L"\u00dcber \u0414\u043e\u043c"), L"\u00dcber \u0414\u043e\u043c.avi");
    EXPECT_EQ(RecordingName(L"x.AV\u0130"), L"x.AV\u0130.avi") << "a dotted I is no I";
}

TEST(SubtitleName, ReplacesTheLastThreeCharacters)
{
    EXPECT_EQ(SubtitleName(L"rec.avi"), L"rec.srt");
    EXPECT_EQ(SubtitleName(L"REC.AVI"), L"REC.srt");
    EXPECT_EQ(SubtitleName(L"D:\\a.avi\\b.avi"), L"D:\\a.avi\\b.srt");
    EXPECT_EQ(SubtitleName(L".avi"), L".srt");
}

TEST(SubtitleName, OfLessThanThreeCharactersIsTheExtensionAlone)
{
    EXPECT_EQ(SubtitleName(L""), L"srt");
    EXPECT_EQ(SubtitleName(L"ab"), L"srt");
}

}  // namespace
}  // namespace ostrel::record
