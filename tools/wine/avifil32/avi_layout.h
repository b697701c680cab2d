// How an AVI file of the original kind (RIFF form "AVI ", index chunk "idx1") is laid out: its
// header lists and its index as bytes. Nothing in here opens a file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace stand_in
{

using Bytes = std::vector<unsigned char>;

// A four-character code: its first character is the lowest byte.
constexpr std::uint32_t FourCc(const char (&text)[5])
{
    std::uint32_t code = 0;
    for (int i = 3; i >= 0; --i)
    {
        code = code << 8 | static_cast<unsigned char>(text[i]);
    }
    return code;
}

constexpr std::uint32_t kVideoStream = FourCc("vids");
constexpr std::uint32_t kAudioStream = FourCc("auds");
constexpr std::uint32_t kTextStream = FourCc("txts");

// The index's flag of a chunk from which decoding can start (AVIIF_KEYFRAME).
constexpr std::uint32_t kKeyFrame = 0x10;

// What the creator of a stream says of it, in the order in which `strh` holds it.
struct StreamHeader
{
    std::uint32_t type = 0;
    std::uint32_t handler = 0;
    std::uint32_t flags = 0;
    std::uint16_t priority = 0;
    std::uint16_t language = 0;
    std::uint32_t initialFrames = 0;
    std::uint32_t scale = 0;
    std::uint32_t rate = 0;
    std::uint32_t start = 0;
    std::uint32_t suggestedBufferSize = 0;
    std::uint32_t quality = 0;
    std::uint32_t sampleSize = 0;
    std::int32_t left = 0;
    std::int32_t top = 0;
    std::int32_t right = 0;
    std::int32_t bottom = 0;
};

struct Stream
{
    StreamHeader header;
    Bytes format;
    // In samples: blocks of the sample size, or chunks where that is 0.
    std::uint32_t length = 0;
    std::uint32_t largestChunk = 0;
    std::uint32_t mostBytesPerSecond = 0;
};

struct IndexEntry
{
    std::uint32_t chunkId = 0;
    std::uint32_t flags = 0;
    // From the code "movi" to the chunk's head.
    std::uint32_t offset = 0;
    // Of the chunk's data, without head and padding.
    std::uint32_t length = 0;
};

// What holds for the whole file. Frames, their time and their size are the first video stream's.
struct Totals
{
    std::uint32_t scale = 0;
    std::uint32_t rate = 0;
    std::uint32_t microSecondsPerFrame = 0;
    std::uint32_t mostBytesPerSecond = 0;
    std::uint32_t frames = 0;
    std::uint32_t suggestedBufferSize = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
};

// All that stands before the first chunk always takes this room, so that streams can be added and
// lengths filled in when chunks have long been written. The code "movi" is its end.
constexpr std::uint32_t kHeaderSize = 2048;
constexpr std::uint32_t kChunkHeadSize = 8;
constexpr std::uint32_t kIndexEntrySize = 16;

// Chunks begin at even offsets.
constexpr std::uint64_t Padded(std::uint64_t size)
{
    return size + size % 2;
}

// The id of a stream's chunks: 00dc, 01tx, 02wb, with the stream's number in hexadecimal (the
// headers have room for far fewer streams than two digits can tell). 0 when streams of its type
// cannot be stored.
std::uint32_t ChunkId(std::size_t streamNumber, const Stream& stream);

Totals TotalsOf(const std::vector<Stream>& streams);

// Whether the header lists of these streams find room in kHeaderSize.
bool HeaderHasRoom(const std::vector<Stream>& streams);

// The first kHeaderSize bytes of a file whose chunks take `chunksSize` bytes, followed by an index
// of `indexSize` bytes (its chunk head included; 0: there is none).
Bytes FileHeader(const std::vector<Stream>& streams, std::uint32_t chunksSize,
                 std::uint32_t indexSize);

// The index as a chunk.
Bytes IndexChunk(const std::vector<IndexEntry>& entries);

void AppendChunkHead(Bytes& bytes, std::uint32_t id, std::uint32_t size);

}  // namespace stand_in
