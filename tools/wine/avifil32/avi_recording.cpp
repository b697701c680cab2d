#include "avi_recording.h"

#include <algorithm>
#include <new>

namespace stand_in
{

AviRecording::AviRecording(Output& output, std::uint32_t largestFile)
    : output_(output), largestFile_(largestFile)
{
}

Result AviRecording::Begin()
{
    const Bytes header = FileHeader(streams_, 0, 0);
    return output_.Write(0, header.data(), header.size()) ? Result::kOk : Result::kFileWrite;
}

Result AviRecording::AddStream(const StreamHeader& header)
{
    Stream stream;
    stream.header = header;
    if (ChunkId(streams_.size(), stream) == 0)
    {
        return Result::kUnsupported;
    }
    if (header.scale == 0 || header.rate == 0)
    {
        return Result::kBadParameter;
    }
    seconds_.reserve(streams_.size() + 1);
    streams_.push_back(stream);
    if (!HeaderHasRoom(streams_))
    {
        streams_.pop_back();
        return Result::kUnsupported;
    }
    seconds_.emplace_back();
    return Result::kOk;
}

Result AviRecording::SetFormat(std::size_t number, const void* format, std::int32_t size)
{
    if (number >= streams_.size() || format == nullptr || size <= 0)
    {
        return Result::kBadParameter;
    }
    Stream& stream = streams_[number];
    if (stream.length != 0)
    {
        return Result::kUnsupported;
    }
    if (static_cast<std::uint32_t>(size) > kHeaderSize)
    {
        return Result::kBadSize;
    }
    const auto* bytes = static_cast<const unsigned char*>(format);
    Bytes taken(bytes, bytes + size);
    stream.format.swap(taken);
    if (!HeaderHasRoom(streams_))
    {
        stream.format.swap(taken);
        return Result::kBadSize;
    }
    return Result::kOk;
}

Result AviRecording::Write(std::size_t number, std::int32_t start, std::int32_t samples,
                           const void* data, std::int32_t size, std::uint32_t flags,
                           Written& written)
{
    written = {};
    if (number >= streams_.size() || start < -1 || samples < 0 || size < 0 ||
        (size > 0 && data == nullptr))
    {
        return Result::kBadParameter;
    }
    const Stream& stream = streams_[number];
    const std::int64_t next = static_cast<std::int64_t>(stream.header.start) + stream.length;
    const std::int64_t skipped = start == -1 ? 0 : start - next;
    Result result = Judge(stream, skipped, samples, size);
    if (result != Result::kOk || (samples == 0 && size == 0))
    {
        return result;
    }
    const auto gap = static_cast<std::uint32_t>(skipped);
    const auto byteCount = static_cast<std::uint32_t>(size);
    result = Append(number, gap, static_cast<const unsigned char*>(data), byteCount, flags);
    if (result == Result::kOk)
    {
        Count(number, gap, static_cast<std::uint32_t>(samples), byteCount);
        written = {samples, size};
    }
    return result;
}

Result AviRecording::Judge(const Stream& stream, std::int64_t skipped, std::int32_t samples,
                           std::int32_t size)
{
    if (stream.format.empty())
    {
        return Result::kBadFormat;
    }
    const std::uint32_t sampleSize = stream.header.sampleSize;
    if (sampleSize == 0)
    {
        return skipped >= 0 && samples == 1 ? Result::kOk : Result::kUnsupported;
    }
    if (skipped != 0)
    {
        return Result::kUnsupported;
    }
    const bool fits = static_cast<std::int64_t>(samples) * sampleSize == size;
    return fits ? Result::kOk : Result::kBadSize;
}

Result AviRecording::Append(std::size_t number, std::uint32_t skipped, const unsigned char* data,
                            std::uint32_t size, std::uint32_t flags)
{
    const std::uint64_t added =
        std::uint64_t{kChunkHeadSize} * skipped + kChunkHeadSize + Padded(size);
    const std::uint64_t entries = std::uint64_t{index_.size()} + skipped + 1;
    if (end_ + added + kChunkHeadSize + entries * kIndexEntrySize > largestFile_)
    {
        return Result::kFileWrite;
    }

    const std::size_t entriesBefore = index_.size();
    if (entries > index_.capacity())
    {
        index_.reserve(
            static_cast<std::size_t>(std::max<std::uint64_t>(entries, 2 * entriesBefore)));
    }
    Bytes bytes;
    bytes.reserve(static_cast<std::size_t>(added));
    const std::uint32_t id = ChunkId(number, streams_[number]);
    for (std::uint32_t i = 0; i < skipped; ++i)
    {
        AddChunk(bytes, id, 0, nullptr, 0);
    }
    AddChunk(bytes, id, flags & kKeyFrame, data, size);

    if (!output_.Write(end_, bytes.data(), bytes.size()))
    {
        index_.resize(entriesBefore);
        output_.Truncate(end_);
        return Result::kFileWrite;
    }
    end_ += static_cast<std::uint32_t>(added);
    return Result::kOk;
}

// `bytes` are those that will stand at the end of the file.
void AviRecording::AddChunk(Bytes& bytes, std::uint32_t id, std::uint32_t flags,
                            const unsigned char* data, std::uint32_t size)
{
    constexpr std::uint32_t kCodeMovi = kHeaderSize - 4;
    const auto offset = end_ + static_cast<std::uint32_t>(bytes.size()) - kCodeMovi;
    index_.push_back({id, flags, offset, size});
    AppendChunkHead(bytes, id, size);
    if (size != 0)
    {
        bytes.insert(bytes.end(), data, data + size);
    }
    bytes.resize(static_cast<std::size_t>(Padded(bytes.size())));
}

void AviRecording::Count(std::size_t number, std::uint32_t skipped, std::uint32_t samples,
                         std::uint32_t size)
{
    Stream& stream = streams_[number];
    stream.length += skipped;
    RunningSecond& running = seconds_[number];
    const std::uint64_t second =
        static_cast<std::uint64_t>(stream.length) * stream.header.scale / stream.header.rate;
    if (second != running.second)
    {
        running = {second, 0};
    }
    running.bytes += size;
    stream.length += samples;
    stream.largestChunk = std::max(stream.largestChunk, size);
    stream.mostBytesPerSecond = static_cast<std::uint32_t>(
        std::max<std::uint64_t>(stream.mostBytesPerSecond, running.bytes));
}

Result AviRecording::Finish()
{
    std::uint32_t indexSize = 0;
    if (!WriteIndex(indexSize))
    {
        output_.Truncate(end_);
        indexSize = 0;
    }
    const Bytes header = FileHeader(streams_, end_ - kHeaderSize, indexSize);
    const bool written = output_.Write(0, header.data(), header.size());
    return written && indexSize != 0 ? Result::kOk : Result::kFileWrite;
}

bool AviRecording::WriteIndex(std::uint32_t& size)
try
{
    const Bytes index = IndexChunk(index_);
    size = static_cast<std::uint32_t>(index.size());
    return output_.Write(end_, index.data(), index.size());
}
catch (const std::bad_alloc&)
{
    return false;
}

}  // namespace stand_in
