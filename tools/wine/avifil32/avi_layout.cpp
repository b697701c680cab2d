#include "avi_layout.h"

#include <algorithm>

namespace stand_in
{

namespace
{

// AVIF_HASINDEX, AVIF_ISINTERLEAVED, AVIF_TRUSTCKTYPE: the index stands in the order of the
// chunks, they were written as they came, and their key frame marks are their writer's own.
constexpr std::uint32_t kHasIndex = 0x10;
constexpr std::uint32_t kIsInterleaved = 0x100;
constexpr std::uint32_t kTrustKeyFrames = 0x800;

constexpr std::size_t kListHeadSize = 12;

void Append16(Bytes& bytes, std::uint32_t value)
{
    bytes.push_back(static_cast<unsigned char>(value));
    bytes.push_back(static_cast<unsigned char>(value >> 8));
}

void Append32(Bytes& bytes, std::uint32_t value)
{
    Append16(bytes, value);
    Append16(bytes, value >> 16);
}

void Replace32(Bytes& bytes, std::size_t position, std::uint32_t value)
{
    for (std::size_t i = 0; i < 4; ++i)
    {
        bytes[position + i] = static_cast<unsigned char>(value >> 8 * i);
    }
}

// Begins a list whose size is not known yet, and gives its place to EndList.
std::size_t BeginList(Bytes& bytes, std::uint32_t kind)
{
    const std::size_t place = bytes.size();
    AppendChunkHead(bytes, FourCc("LIST"), 0);
    Append32(bytes, kind);
    return place;
}

void EndList(Bytes& bytes, std::size_t place)
{
    Replace32(bytes, place + 4, static_cast<std::uint32_t>(bytes.size() - place - kChunkHeadSize));
}

// The frame rectangle of `strh` has 16-bit members.
std::uint32_t Side16(std::int32_t side)
{
    return static_cast<std::uint16_t>(std::clamp(side, -32768, 32767));
}

const Stream* FirstVideo(const std::vector<Stream>& streams)
{
    const auto found =
        std::find_if(streams.begin(), streams.end(),
                     [](const Stream& stream) { return stream.header.type == kVideoStream; });
    return found == streams.end() ? nullptr : &*found;
}

std::uint32_t Extent(std::int32_t from, std::int32_t to)
{
    const std::int64_t extent = static_cast<std::int64_t>(to) - from;
    return extent > 0 ? static_cast<std::uint32_t>(extent) : 0;
}

void AppendMainHeader(Bytes& bytes, const std::vector<Stream>& streams, bool hasIndex)
{
    const Totals totals = TotalsOf(streams);
    AppendChunkHead(bytes, FourCc("avih"), 56);
    Append32(bytes, totals.microSecondsPerFrame);
    Append32(bytes, totals.mostBytesPerSecond);
    Append32(bytes, 0);  // no padding to larger blocks
    Append32(bytes, (hasIndex ? kHasIndex : 0) | kIsInterleaved | kTrustKeyFrames);
    Append32(bytes, totals.frames);
    Append32(bytes, 0);  // no initial frames
    Append32(bytes, static_cast<std::uint32_t>(streams.size()));
    Append32(bytes, totals.suggestedBufferSize);
    Append32(bytes, totals.width);
    Append32(bytes, totals.height);
    for (int reserved = 0; reserved < 4; ++reserved)
    {
        Append32(bytes, 0);
    }
}

void AppendStreamHeader(Bytes& bytes, const Stream& stream)
{
    const StreamHeader& header = stream.header;
    AppendChunkHead(bytes, FourCc("strh"), 56);
    Append32(bytes, header.type);
    Append32(bytes, header.handler);
    Append32(bytes, header.flags);
    Append16(bytes, header.priority);
    Append16(bytes, header.language);
    Append32(bytes, header.initialFrames);
    Append32(bytes, header.scale);
    Append32(bytes, header.rate);
    Append32(bytes, header.start);
    Append32(bytes, stream.length);
    Append32(bytes, std::max(header.suggestedBufferSize, stream.largestChunk));
    Append32(bytes, header.quality);
    Append32(bytes, header.sampleSize);
    for (const std::int32_t side : {header.left, header.top, header.right, header.bottom})
    {
        Append16(bytes, Side16(side));
    }
}

void AppendFormat(Bytes& bytes, const Bytes& format)
{
    AppendChunkHead(bytes, FourCc("strf"), static_cast<std::uint32_t>(format.size()));
    bytes.insert(bytes.end(), format.begin(), format.end());
    bytes.resize(static_cast<std::size_t>(Padded(bytes.size())));
}

void AppendHeaderList(Bytes& bytes, const std::vector<Stream>& streams, bool hasIndex)
{
    const std::size_t headers = BeginList(bytes, FourCc("hdrl"));
    AppendMainHeader(bytes, streams, hasIndex);
    for (const Stream& stream : streams)
    {
        const std::size_t list = BeginList(bytes, FourCc("strl"));
        AppendStreamHeader(bytes, stream);
        AppendFormat(bytes, stream.format);
        EndList(bytes, list);
    }
    EndList(bytes, headers);
}

std::uint32_t HexDigit(std::size_t value)
{
    return static_cast<unsigned char>("0123456789ABCDEF"[value % 16]);
}

// Video that no codec has touched has chunks of its own kind: its BITMAPINFOHEADER's compression,
// at byte 16, is 0.
bool IsUncompressed(const Bytes& bitmapInfo)
{
    return bitmapInfo.size() >= 20 && std::all_of(bitmapInfo.begin() + 16, bitmapInfo.begin() + 20,
                                                  [](unsigned char byte) { return byte == 0; });
}

}  // namespace

void AppendChunkHead(Bytes& bytes, std::uint32_t id, std::uint32_t size)
{
    Append32(bytes, id);
    Append32(bytes, size);
}

std::uint32_t ChunkId(std::size_t streamNumber, const Stream& stream)
{
    const char* kind = nullptr;
    switch (stream.header.type)
    {
        case kVideoStream:
            kind = IsUncompressed(stream.format) ? "db" : "dc";
            break;
        case kAudioStream:
            kind = "wb";
            break;
        case kTextStream:
            kind = "tx";
            break;
        default:
            return 0;
    }
    return HexDigit(streamNumber / 16) | HexDigit(streamNumber) << 8 |
           static_cast<std::uint32_t>(kind[0]) << 16 | static_cast<std::uint32_t>(kind[1]) << 24;
}

Totals TotalsOf(const std::vector<Stream>& streams)
{
    Totals totals;
    std::uint64_t mostBytesPerSecond = 0;
    for (const Stream& stream : streams)
    {
        mostBytesPerSecond += stream.mostBytesPerSecond;
        totals.suggestedBufferSize =
            std::max(totals.suggestedBufferSize, stream.largestChunk + kChunkHeadSize);
    }
    totals.mostBytesPerSecond =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(mostBytesPerSecond, UINT32_MAX));
    if (const Stream* video = FirstVideo(streams))
    {
        const StreamHeader& header = video->header;
        const std::uint64_t microSeconds =
            (1000000ULL * header.scale + header.rate / 2) / header.rate;
        totals.microSecondsPerFrame =
            static_cast<std::uint32_t>(std::min<std::uint64_t>(microSeconds, UINT32_MAX));
        totals.scale = header.scale;
        totals.rate = header.rate;
        totals.frames = video->length;
        totals.width = Extent(header.left, header.right);
        totals.height = Extent(header.top, header.bottom);
    }
    return totals;
}

bool HeaderHasRoom(const std::vector<Stream>& streams)
{
    std::size_t size = kListHeadSize;  // RIFF
    size += kListHeadSize + kChunkHeadSize + 56;
    for (const Stream& stream : streams)
    {
        size += kListHeadSize + kChunkHeadSize + 56 + kChunkHeadSize;
        size += static_cast<std::size_t>(Padded(stream.format.size()));
    }
    size += kChunkHeadSize;  // what fills up is a chunk, too
    size += kListHeadSize;   // movi
    return size <= kHeaderSize;
}

Bytes FileHeader(const std::vector<Stream>& streams, std::uint32_t chunksSize,
                 std::uint32_t indexSize)
{
    Bytes bytes;
    bytes.reserve(kHeaderSize);
    AppendChunkHead(bytes, FourCc("RIFF"), kHeaderSize - kChunkHeadSize + chunksSize + indexSize);
    Append32(bytes, FourCc("AVI "));
    AppendHeaderList(bytes, streams, indexSize != 0);
    const std::size_t unused = kHeaderSize - kListHeadSize - kChunkHeadSize - bytes.size();
    AppendChunkHead(bytes, FourCc("JUNK"), static_cast<std::uint32_t>(unused));
    bytes.resize(bytes.size() + unused);
    AppendChunkHead(bytes, FourCc("LIST"), 4 + chunksSize);
    Append32(bytes, FourCc("movi"));
    return bytes;
}

Bytes IndexChunk(const std::vector<IndexEntry>& entries)
{
    Bytes bytes;
    const std::size_t size = entries.size() * kIndexEntrySize;
    bytes.reserve(kChunkHeadSize + size);
    AppendChunkHead(bytes, FourCc("idx1"), static_cast<std::uint32_t>(size));
    for (const IndexEntry& entry : entries)
    {
        Append32(bytes, entry.chunkId);
        Append32(bytes, entry.flags);
        Append32(bytes, entry.offset);
        Append32(bytes, entry.length);
    }
    return bytes;
}

}  // namespace stand_in
