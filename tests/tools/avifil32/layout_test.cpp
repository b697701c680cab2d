// What a finished file looks like.
#include "recording_test.h"

namespace stand_in
{

namespace
{

class LayoutTest : public RecordingTest
{
protected:
    void SetUp() override { AddStreams(recording_); }

    AviFileBytes Finished()
    {
        EXPECT_EQ(Result::kOk, recording_.Finish());
        return AviFileBytes(output_.bytes);
    }
    void Take(std::size_t stream, std::int32_t start, const std::string& data,
              bool isKeyFrame = true)
    {
        ASSERT_EQ(Result::kOk, Write(recording_, stream, start, 1, data, isKeyFrame));
    }
    void TakeSound(std::int32_t start, std::int32_t samples, char byte = 's')
    {
        const std::string sound(static_cast<std::size_t>(samples) * 4, byte);
        ASSERT_EQ(Result::kOk, Write(recording_, kAudio, start, samples, sound));
    }

    MemoryOutput output_;
    AviRecording recording_{output_};
};

TEST_F(LayoutTest, AFileIsHeadersFillingChunksAndIndex)
{
    Take(kVideo, 0, "picture");
    const AviFileBytes file = Finished();
    EXPECT_EQ("hdrlJUNKmoviidx1", file.order);
    EXPECT_EQ(2048u, file.chunks.at(0).place);
}

TEST_F(LayoutTest, AFileWithoutAnyChunkIsWhole)
{
    const AviFileBytes file = Finished();
    EXPECT_EQ("hdrlJUNKmoviidx1", file.order);
    EXPECT_TRUE(file.chunks.empty());
    EXPECT_EQ(0u, file.index.data.size());
    EXPECT_EQ(0u, file.mainHeader.At32(16));
    EXPECT_EQ(3u, file.mainHeader.At32(24));
}

TEST_F(LayoutTest, ChunksAreNamedByStreamAndKindAndKeepTheirBytes)
{
    Take(kVideo, 0, "picture");
    Take(kText, 0, "text");
    TakeSound(0, 2, 's');
    const AviFileBytes file = Finished();
    EXPECT_EQ("00dc 01tx 02wb ", file.Ids());
    EXPECT_EQ("picture", file.chunks[0].Text());
    EXPECT_EQ("text", file.chunks[1].Text());
    EXPECT_EQ("ssssssss", file.chunks[2].Text());
}

TEST_F(LayoutTest, UncompressedPicturesAreNamedSo)
{
    SetFormat(recording_, kVideo, VideoFormat(std::string(4, '\0')));
    Take(kVideo, 0, "picture");
    EXPECT_EQ("00db ", Finished().Ids());
}

TEST(LayoutOfManyStreams, TheNumberInAChunksNameIsHexadecimal)
{
    MemoryOutput output;
    AviRecording recording(output);
    ASSERT_EQ(Result::kOk, recording.Begin());
    const Bytes format = TextFormat();
    for (std::size_t i = 0; i <= 17; ++i)
    {
        ASSERT_EQ(Result::kOk, recording.AddStream(TextHeader()));
        ASSERT_EQ(Result::kOk, recording.SetFormat(i, format.data(), 4));
    }
    Written written;
    for (const std::size_t i : {9, 10, 15, 16, 17})
    {
        ASSERT_EQ(Result::kOk, recording.Write(i, 0, 1, "t", 1, 0, written));
    }
    ASSERT_EQ(Result::kOk, recording.Finish());
    EXPECT_EQ("09tx 0Atx 0Ftx 10tx 11tx ", AviFileBytes(output.bytes).Ids());
}

TEST_F(LayoutTest, AnOddChunkIsFollowedByAZeroThatItsLengthLeavesOut)
{
    Take(kVideo, 0, "odd");
    Take(kVideo, 1, "even");
    const AviFileBytes file = Finished();
    EXPECT_EQ("odd", file.chunks.at(0).Text());
    EXPECT_EQ(2048u + 8 + 4, file.chunks.at(1).place);
    EXPECT_EQ(0u, output_.bytes.size() % 2);
}

TEST_F(LayoutTest, TheIndexNamesTheChunksInTheOrderOfTheFile)
{
    Take(kText, 0, "first");
    Take(kVideo, 0, "a");
    TakeSound(0, 1);
    Take(kVideo, 1, "bb", false);
    TakeSound(1, 2);
    const AviFileBytes file = Finished();
    EXPECT_EQ("01tx 00dc 02wb 00dc 02wb ", file.Ids());
    EXPECT_TRUE(file.IndexMatchesChunks());
    EXPECT_EQ(4u, file.index.At32(8)) << "offsets count from the code movi";
}

TEST_F(LayoutTest, TheIndexTellsKeyFramesAsTheyWereWritten)
{
    Take(kVideo, 0, "I");
    Take(kVideo, 1, "P", false);
    Take(kVideo, 2, "P", false);
    Take(kVideo, 3, "I");
    EXPECT_EQ("k--k", Finished().KeyFrames());
}

TEST_F(LayoutTest, OfTheFlagsOfAWriteOnlyTheKeyFrameIsKept)
{
    Written written;
    ASSERT_EQ(Result::kOk, recording_.Write(kVideo, 0, 1, "x", 1, 0xFFFFFFFF, written));
    EXPECT_EQ(0x10u, Finished().index.At32(4));
}

TEST_F(LayoutTest, LeftOutPicturesAreEmptyChunksThatAreNoKeyFrames)
{
    Take(kVideo, 0, "one");
    Take(kVideo, 3, "four");
    const AviFileBytes file = Finished();
    EXPECT_EQ("00dc 00dc 00dc 00dc ", file.Ids());
    EXPECT_EQ("k--k", file.KeyFrames());
    EXPECT_TRUE(file.chunks[1].data.empty());
    EXPECT_TRUE(file.chunks[2].data.empty());
    EXPECT_EQ("four", file.chunks[3].Text());
    EXPECT_TRUE(file.IndexMatchesChunks());
    EXPECT_EQ(4u, file.streamHeaders[kVideo].At32(32));
}

TEST_F(LayoutTest, AnEmptyKeyFrameIsAnEmptyChunk)
{
    Written written;
    ASSERT_EQ(Result::kOk, recording_.Write(kVideo, 0, 1, nullptr, 0, kKeyFrame, written));
    EXPECT_EQ(1, written.samples);
    const AviFileBytes file = Finished();
    EXPECT_EQ("00dc ", file.Ids());
    EXPECT_EQ("k", file.KeyFrames());
}

TEST_F(LayoutTest, TheMainHeaderTellsOfPicturesAndStreams)
{
    for (int i = 0; i < 7; ++i)
    {
        Take(kVideo, i, "picture");
    }
    Take(kText, 0, "a line that is longer than any picture");
    const AviFileBytes file = Finished();
    const RiffChunk& header = file.mainHeader;
    ASSERT_EQ(56u, header.data.size());
    EXPECT_EQ(40000u, header.At32(0)) << "microseconds per frame";
    EXPECT_EQ(0u, header.At32(8)) << "padding granularity";
    EXPECT_EQ(0x910u, header.At32(12)) << "has an index, is interleaved, key frames can be trusted";
    EXPECT_EQ(7u, header.At32(16)) << "frames";
    EXPECT_EQ(0u, header.At32(20)) << "initial frames";
    EXPECT_EQ(3u, header.At32(24)) << "streams";
    EXPECT_EQ(38u + 8, header.At32(28)) << "suggested buffer: the largest chunk with its head";
    EXPECT_EQ(320u, header.At32(32));
    EXPECT_EQ(240u, header.At32(36));
}

TEST_F(LayoutTest, TheMostBytesPerSecondAreTheSumOfTheStreamsFullestSeconds)
{
    // 25 pictures of 10 bytes, then 25 of 3; 32000 bytes of sound per second; one line of 5 bytes
    // and one of 2.
    for (int i = 0; i < 50; ++i)
    {
        Take(kVideo, i, i < 25 ? "0123456789" : "012");
    }
    for (int i = 0; i < 20; ++i)
    {
        TakeSound(800 * i, 800);
    }
    Take(kText, 0, "12345");
    Take(kText, 1, "12");
    EXPECT_EQ(250u + 32000 + 5, Finished().mainHeader.At32(4));
}

TEST_F(LayoutTest, AStreamHeaderHoldsWhatTheCreatorSaidAndTheLength)
{
    Take(kVideo, 0, "12345678");
    Take(kVideo, 1, "123");
    const AviFileBytes file = Finished();
    const RiffChunk& header = file.streamHeaders.at(kVideo);
    ASSERT_EQ(56u, header.data.size());
    EXPECT_EQ("vids", header.CodeAt(0));
    EXPECT_EQ("MJPG", header.CodeAt(4));
    EXPECT_EQ(0u, header.At32(8)) << "flags";
    EXPECT_EQ(0u, header.At32(16)) << "initial frames";
    EXPECT_EQ(10000u, header.At32(20)) << "scale";
    EXPECT_EQ(250000u, header.At32(24)) << "rate";
    EXPECT_EQ(0u, header.At32(28)) << "start";
    EXPECT_EQ(2u, header.At32(32)) << "length";
    EXPECT_EQ(8u, header.At32(36)) << "suggested buffer";
    EXPECT_EQ(0u, header.At32(44)) << "sample size";
    EXPECT_EQ(0u, header.At16(48));
    EXPECT_EQ(0u, header.At16(50));
    EXPECT_EQ(320u, header.At16(52));
    EXPECT_EQ(240u, header.At16(54));
}

TEST(LayoutOfAStreamHeader, EveryFieldStandsAtItsPlace)
{
    StreamHeader header = VideoHeader();
    header.flags = 0x00010000;
    header.priority = 0x1234;
    header.language = 0x0407;
    header.initialFrames = 3;
    header.start = 5;
    header.suggestedBufferSize = 4096;
    header.quality = 10000;
    header.left = -1;
    header.top = 2;
    header.right = 100000;
    MemoryOutput output;
    AviRecording recording(output);
    ASSERT_EQ(Result::kOk, recording.Begin());
    ASSERT_EQ(Result::kOk, recording.AddStream(header));
    ASSERT_EQ(Result::kOk, recording.Finish());
    const RiffChunk written = AviFileBytes(output.bytes).streamHeaders.at(0);
    EXPECT_EQ(0x00010000u, written.At32(8));
    EXPECT_EQ(0x1234u, written.At16(12));
    EXPECT_EQ(0x0407u, written.At16(14));
    EXPECT_EQ(3u, written.At32(16));
    EXPECT_EQ(5u, written.At32(28));
    EXPECT_EQ(0u, written.At32(32));
    EXPECT_EQ(4096u, written.At32(36)) << "the creator's buffer, since no chunk is larger";
    EXPECT_EQ(10000u, written.At32(40));
    EXPECT_EQ(0xFFFFu, written.At16(48));
    EXPECT_EQ(2u, written.At16(50));
    EXPECT_EQ(32767u, written.At16(52)) << "the most that 16 bits hold";
}

TEST_F(LayoutTest, SoundIsMeasuredInBlocksOfTheSampleSize)
{
    TakeSound(0, 800);
    TakeSound(800, 10);
    const RiffChunk header = Finished().streamHeaders.at(kAudio);
    EXPECT_EQ(4u, header.At32(20));
    EXPECT_EQ(32000u, header.At32(24));
    EXPECT_EQ(810u, header.At32(32));
    EXPECT_EQ(3200u, header.At32(36));
    EXPECT_EQ(10000u, header.At32(40));
    EXPECT_EQ(4u, header.At32(44));
}

TEST_F(LayoutTest, FormatsAreKeptToTheByte)
{
    const AviFileBytes file = Finished();
    EXPECT_EQ(VideoFormat(), file.formats.at(kVideo).data);
    EXPECT_EQ(TextFormat(), file.formats.at(kText).data);
    EXPECT_EQ(AudioFormat(), file.formats.at(kAudio).data);
}

TEST_F(LayoutTest, AFormatOfOddSizeIsPadded)
{
    SetFormat(recording_, kText, {1, 2, 3});
    EXPECT_EQ((Bytes{1, 2, 3}), Finished().formats.at(kText).data);
}

TEST_F(LayoutTest, AStreamMayBeAddedAfterTheFirstChunks)
{
    Take(kVideo, 0, "picture");
    ASSERT_EQ(Result::kOk, recording_.AddStream(AudioHeader()));
    SetFormat(recording_, 3, AudioFormat());
    ASSERT_EQ(Result::kOk, Write(recording_, 3, 0, 1, "soun"));
    const AviFileBytes file = Finished();
    EXPECT_EQ("00dc 03wb ", file.Ids());
    EXPECT_EQ(4u, file.streamHeaders.size());
    EXPECT_TRUE(file.IndexMatchesChunks());
}

TEST(LayoutOfTotals, TimeAndSizeAreTheFirstVideoStreams)
{
    Stream sound;
    sound.header = AudioHeader();
    sound.length = 77;
    Stream video;
    video.header = VideoHeader();
    video.header.scale = 1001;
    video.header.rate = 30000;
    video.length = 5;
    Stream second;
    second.header = VideoHeader();
    second.header.right = 640;
    second.length = 9;
    const Totals totals = TotalsOf({sound, video, second});
    EXPECT_EQ(1001u, totals.scale);
    EXPECT_EQ(30000u, totals.rate);
    EXPECT_EQ(33367u, totals.microSecondsPerFrame) << "33366.67";
    EXPECT_EQ(5u, totals.frames);
    EXPECT_EQ(320u, totals.width);
}

TEST(LayoutOfTotals, AFileWithoutVideoHasNoFramesAndNoSize)
{
    Stream sound;
    sound.header = AudioHeader();
    sound.length = 77;
    const Totals totals = TotalsOf({sound});
    EXPECT_EQ(0u, totals.microSecondsPerFrame);
    EXPECT_EQ(0u, totals.frames);
    EXPECT_EQ(0u, totals.width);
}

}  // namespace

}  // namespace stand_in
