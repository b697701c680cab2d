// Which streams, formats and writes are taken, and what becomes of a file that is full.
#include "recording_test.h"

#include <climits>

namespace stand_in
{

namespace
{

class TakenTest : public RecordingTest
{
protected:
    void SetUp() override { AddStreams(recording_); }

    // The file as it would be if it ended now.
    Bytes FileNow()
    {
        AviRecording copy = recording_;
        EXPECT_EQ(Result::kOk, copy.Finish());
        return output_.bytes;
    }

    MemoryOutput output_;
    AviRecording recording_{output_};
};

TEST_F(TakenTest, AWriteTellsHowMuchWasWritten)
{
    const Bytes data(3200);
    Written written;
    ASSERT_EQ(Result::kOk, recording_.Write(kAudio, 0, 800, data.data(), 3200, 0, written));
    EXPECT_EQ(800, written.samples);
    EXPECT_EQ(3200, written.bytes);
    ASSERT_EQ(Result::kOk, recording_.Write(kVideo, 0, 1, data.data(), 77, 0, written));
    EXPECT_EQ(1, written.samples);
    EXPECT_EQ(77, written.bytes);
}

TEST_F(TakenTest, SoundAtContiguousPositionsIsAppended)
{
    EXPECT_EQ(Result::kOk, Write(recording_, kAudio, 0, 2, "aaaabbbb"));
    EXPECT_EQ(Result::kOk, Write(recording_, kAudio, 2, 1, "cccc"));
    EXPECT_EQ(Result::kOk, Write(recording_, kAudio, 3, 1, "dddd"));
    EXPECT_EQ(4u, recording_.Streams()[kAudio].length);
}

TEST_F(TakenTest, TheStartMinusOneAppends)
{
    EXPECT_EQ(Result::kOk, Write(recording_, kAudio, -1, 1, "aaaa"));
    EXPECT_EQ(Result::kOk, Write(recording_, kAudio, -1, 1, "bbbb"));
    EXPECT_EQ(Result::kOk, Write(recording_, kVideo, -1, 1, "a"));
    EXPECT_EQ(Result::kOk, Write(recording_, kVideo, -1, 1, "b"));
    EXPECT_EQ(2u, recording_.Streams()[kAudio].length);
    EXPECT_EQ(2u, recording_.Streams()[kVideo].length);
}

TEST_F(TakenTest, PositionsCountFromTheStreamsStart)
{
    StreamHeader header = AudioHeader();
    header.start = 100;
    ASSERT_EQ(Result::kOk, recording_.AddStream(header));
    SetFormat(recording_, 3, AudioFormat());
    EXPECT_EQ(Result::kUnsupported, Write(recording_, 3, 0, 1, "aaaa"));
    EXPECT_EQ(Result::kOk, Write(recording_, 3, 100, 1, "aaaa"));
    EXPECT_EQ(Result::kOk, Write(recording_, 3, 101, 1, "bbbb"));
    EXPECT_EQ(2u, recording_.Streams()[3].length);
}

TEST_F(TakenTest, NothingIsWrittenTwice)
{
    ASSERT_EQ(Result::kOk, Write(recording_, kVideo, 0, 1, "a"));
    ASSERT_EQ(Result::kOk, Write(recording_, kVideo, 1, 1, "b"));
    ASSERT_EQ(Result::kOk, Write(recording_, kAudio, 0, 2, "aaaabbbb"));
    const Bytes before = FileNow();
    EXPECT_EQ(Result::kUnsupported, Write(recording_, kVideo, 0, 1, "c"));
    EXPECT_EQ(Result::kUnsupported, Write(recording_, kVideo, 1, 1, "c"));
    EXPECT_EQ(Result::kUnsupported, Write(recording_, kAudio, 0, 1, "cccc"));
    EXPECT_EQ(Result::kUnsupported, Write(recording_, kAudio, 1, 1, "cccc"));
    EXPECT_EQ(before, FileNow());
}

TEST_F(TakenTest, SoundHasNoGaps)
{
    ASSERT_EQ(Result::kOk, Write(recording_, kAudio, 0, 1, "aaaa"));
    const Bytes before = FileNow();
    EXPECT_EQ(Result::kUnsupported, Write(recording_, kAudio, 2, 1, "cccc"));
    EXPECT_EQ(before, FileNow());
}

TEST_F(TakenTest, BytesAndSamplesMustAgreeWhereThereIsASampleSize)
{
    const Bytes before = FileNow();
    EXPECT_EQ(Result::kBadSize, Write(recording_, kAudio, 0, 1, "aaa"));
    EXPECT_EQ(Result::kBadSize, Write(recording_, kAudio, 0, 1, "aaaaa"));
    EXPECT_EQ(Result::kBadSize, Write(recording_, kAudio, 0, 2, "aaaa"));
    EXPECT_EQ(Result::kBadSize, Write(recording_, kAudio, 0, 0, "a"));
    EXPECT_EQ(Result::kBadSize, Write(recording_, kAudio, 0, INT_MAX, "aaaa"));
    EXPECT_EQ(before, FileNow());
}

TEST_F(TakenTest, NoSoundAtAllLeavesNoChunk)
{
    const Bytes before = FileNow();
    EXPECT_EQ(Result::kOk, Write(recording_, kAudio, 0, 0, ""));
    EXPECT_EQ(before, FileNow());
}

TEST_F(TakenTest, WithoutASampleSizeAChunkIsOneSample)
{
    EXPECT_EQ(Result::kUnsupported, Write(recording_, kVideo, 0, 2, "ab"));
    EXPECT_EQ(Result::kUnsupported, Write(recording_, kVideo, 0, 0, ""));
    EXPECT_EQ(Result::kOk, Write(recording_, kVideo, 0, 1, "ab"));
}

TEST_F(TakenTest, BadArgumentsAreRefusedAndWriteNothing)
{
    const Bytes before = FileNow();
    Written written = {1, 1};
    EXPECT_EQ(Result::kBadParameter, recording_.Write(kVideo, 0, 1, nullptr, 1, 0, written));
    EXPECT_EQ(0, written.samples);
    EXPECT_EQ(0, written.bytes);
    EXPECT_EQ(Result::kBadParameter, recording_.Write(kVideo, 0, 1, "a", -1, 0, written));
    EXPECT_EQ(Result::kBadParameter, recording_.Write(kVideo, 0, -1, "a", 1, 0, written));
    EXPECT_EQ(Result::kBadParameter, recording_.Write(kVideo, -2, 1, "a", 1, 0, written));
    EXPECT_EQ(Result::kBadParameter, recording_.Write(3, 0, 1, "a", 1, 0, written));
    EXPECT_EQ(before, FileNow());
}

TEST_F(TakenTest, AStreamNeedsItsFormatFirst)
{
    ASSERT_EQ(Result::kOk, recording_.AddStream(TextHeader()));
    EXPECT_EQ(Result::kBadFormat, Write(recording_, 3, 0, 1, "text"));
    SetFormat(recording_, 3, TextFormat());
    EXPECT_EQ(Result::kOk, Write(recording_, 3, 0, 1, "text"));
}

TEST_F(TakenTest, AFormatIsReplacedUntilThereIsData)
{
    const Bytes other(20, 7);
    EXPECT_EQ(Result::kOk, recording_.SetFormat(kText, other.data(), 20));
    ASSERT_EQ(Result::kOk, Write(recording_, kText, 0, 1, "text"));
    EXPECT_EQ(Result::kUnsupported, recording_.SetFormat(kText, "1234", 4));
    EXPECT_EQ(other, recording_.Streams()[kText].format);
}

TEST_F(TakenTest, BadFormatsAreRefused)
{
    EXPECT_EQ(Result::kBadParameter, recording_.SetFormat(kText, nullptr, 4));
    EXPECT_EQ(Result::kBadParameter, recording_.SetFormat(kText, "1234", 0));
    EXPECT_EQ(Result::kBadParameter, recording_.SetFormat(kText, "1234", -1));
    EXPECT_EQ(Result::kBadParameter, recording_.SetFormat(3, "1234", 4));
    EXPECT_EQ(TextFormat(), recording_.Streams()[kText].format);
}

TEST_F(TakenTest, AFormatThatTheHeadersHaveNoRoomForIsRefused)
{
    const Bytes large(2048);
    EXPECT_EQ(Result::kBadSize, recording_.SetFormat(kText, large.data(), 2048));
    EXPECT_EQ(Result::kBadSize, recording_.SetFormat(kText, large.data(), INT_MAX));
    EXPECT_EQ(TextFormat(), recording_.Streams()[kText].format);
    // All that is left: 12 for RIFF, 12 and 64 for the main header, 84 a stream and its format, 8
    // for the filling and 12 for movi.
    const int room = 2048 - 12 - 76 - 3 * 84 - 44 - 18 - 8 - 12;
    EXPECT_EQ(Result::kBadSize, recording_.SetFormat(kText, large.data(), room + 1));
    EXPECT_EQ(Result::kOk, recording_.SetFormat(kText, large.data(), room));
    const AviFileBytes file(FileNow());
    EXPECT_EQ("hdrlJUNKmoviidx1", file.order);
    EXPECT_EQ(static_cast<std::size_t>(room), file.formats.at(kText).data.size());
}

TEST_F(TakenTest, StreamsThatTheHeadersHaveNoRoomForAreRefused)
{
    std::size_t taken = 3;
    while (taken < 1000 && recording_.AddStream(TextHeader()) == Result::kOk)
    {
        ++taken;
    }
    EXPECT_EQ((2048u - 12 - 76 - 44 - 4 - 18 - 8 - 12) / 84, taken);
    EXPECT_EQ(taken, recording_.Streams().size());
    EXPECT_EQ(Result::kUnsupported, recording_.AddStream(TextHeader()));
    EXPECT_EQ(taken, AviFileBytes(FileNow()).streamHeaders.size());
}

TEST_F(TakenTest, AStreamWithoutATimeIsRefused)
{
    StreamHeader header = AudioHeader();
    header.rate = 0;
    EXPECT_EQ(Result::kBadParameter, recording_.AddStream(header));
    header = AudioHeader();
    header.scale = 0;
    EXPECT_EQ(Result::kBadParameter, recording_.AddStream(header));
    EXPECT_EQ(3u, recording_.Streams().size());
}

TEST_F(TakenTest, StreamsOfOtherKindsAreRefused)
{
    StreamHeader header = TextHeader();
    header.type = FourCc("mids");
    EXPECT_EQ(Result::kUnsupported, recording_.AddStream(header));
    EXPECT_EQ(3u, recording_.Streams().size());
}

TEST_F(TakenTest, MorePicturesLeftOutThanAFileHoldsAreRefused)
{
    const Bytes before = FileNow();
    EXPECT_EQ(Result::kFileWrite, Write(recording_, kVideo, INT_MAX, 1, "a"));
    EXPECT_EQ(before, FileNow());
    EXPECT_EQ(0u, recording_.Streams()[kVideo].length);
}

using FullTest = RecordingTest;

TEST_F(FullTest, AFileIsFilledToItsLimitAndNoFurther)
{
    // Room for two chunks of 100 bytes and the index of two.
    constexpr std::uint32_t kLimit = 2048 + 2 * (8 + 100) + 8 + 2 * 16;
    MemoryOutput output;
    AviRecording recording(output, kLimit);
    AddStreams(recording);
    EXPECT_EQ(Result::kOk, Write(recording, kVideo, 0, 1, std::string(100, 'a')));
    EXPECT_EQ(Result::kFileWrite, Write(recording, kVideo, 1, 1, std::string(101, 'b')));
    EXPECT_EQ(Result::kFileWrite, Write(recording, kVideo, 2, 1, std::string(84, 'b')));
    EXPECT_EQ(Result::kOk, Write(recording, kVideo, 1, 1, std::string(100, 'b')));
    EXPECT_EQ(Result::kFileWrite, Write(recording, kVideo, 2, 1, ""));
    ASSERT_EQ(Result::kOk, recording.Finish());

    EXPECT_EQ(kLimit, output.bytes.size());
    const AviFileBytes file(output.bytes);
    EXPECT_EQ("00dc 00dc ", file.Ids());
    EXPECT_TRUE(file.IndexMatchesChunks());
    EXPECT_EQ(2u, file.streamHeaders[kVideo].At32(32));
}

TEST_F(FullTest, AFileGrowsToTwoGigabytes)
{
    constexpr std::uint64_t kTwoGigabytes = 2ULL << 30;
    constexpr std::int32_t kPicture = 32 << 20;
    MeasuringOutput output;
    AviRecording recording(output);
    AddStreams(recording);
    const Bytes picture(kPicture);
    Written written;
    for (int i = 0; i < 63; ++i)
    {
        ASSERT_EQ(Result::kOk, recording.Write(kVideo, i, 1, picture.data(), kPicture, 0, written));
    }
    EXPECT_EQ(Result::kFileWrite,
              recording.Write(kVideo, 63, 1, picture.data(), kPicture, 0, written));
    EXPECT_EQ(0, written.bytes);
    EXPECT_EQ(Result::kOk,
              recording.Write(kVideo, 63, 1, picture.data(), kPicture - 8192, 0, written));
    ASSERT_EQ(Result::kOk, recording.Finish());

    EXPECT_LT(output.fileSize, kTwoGigabytes);
    EXPECT_GT(output.fileSize, kTwoGigabytes - 8192);
    RiffChunk start;
    start.data = output.start;
    EXPECT_EQ(output.fileSize - 8, start.At32(4)) << "the size in the head of the form";
    EXPECT_EQ(4 + 64 * (8 + std::uint64_t{kPicture}) - 8192, start.At32(2048 - 8))
        << "the size of the list of chunks";
}

TEST_F(FullTest, AWriteThatFindsTheDiskFullLeavesTheFileAsItWas)
{
    MemoryOutput output(2048 + 1000);
    AviRecording recording(output);
    AddStreams(recording);
    ASSERT_EQ(Result::kOk, Write(recording, kVideo, 0, 1, std::string(100, 'a')));
    EXPECT_EQ(Result::kFileWrite, Write(recording, kVideo, 1, 1, std::string(1000, 'b')));
    EXPECT_EQ(2048u + 108, output.bytes.size());
    EXPECT_EQ(Result::kOk, Write(recording, kVideo, 1, 1, std::string(100, 'c')))
        << "a smaller one still finds room, at the same position";
    ASSERT_EQ(Result::kOk, recording.Finish());
    const AviFileBytes file(output.bytes);
    EXPECT_EQ("00dc 00dc ", file.Ids());
    EXPECT_EQ(std::string(100, 'c'), file.chunks[1].Text());
    EXPECT_TRUE(file.IndexMatchesChunks());
    EXPECT_EQ(2u, file.streamHeaders[kVideo].At32(32));
}

TEST_F(FullTest, AnIndexThatFindsTheDiskFullIsLeftOut)
{
    MemoryOutput output(2048 + 108 + 20);
    AviRecording recording(output);
    AddStreams(recording);
    ASSERT_EQ(Result::kOk, Write(recording, kVideo, 0, 1, std::string(100, 'a')));
    EXPECT_EQ(Result::kFileWrite, recording.Finish());
    const AviFileBytes file(output.bytes);
    EXPECT_EQ("hdrlJUNKmovi", file.order);
    EXPECT_EQ("00dc ", file.Ids());
    EXPECT_EQ(0x900u, file.mainHeader.At32(12)) << "no index";
    EXPECT_EQ(1u, file.mainHeader.At32(16));
}

TEST_F(FullTest, AFileThatFindsNoRoomForItsHeaderIsReported)
{
    MemoryOutput output(2000);
    AviRecording recording(output);
    EXPECT_EQ(Result::kFileWrite, recording.Begin());
}

TEST_F(FullTest, AFileThatIsNeverFinishedIsAnEmptyOne)
{
    MemoryOutput output;
    AviRecording recording(output);
    ASSERT_EQ(Result::kOk, recording.Begin());
    const AviFileBytes file(output.bytes);
    EXPECT_EQ("hdrlJUNKmovi", file.order);
}

}  // namespace

}  // namespace stand_in
