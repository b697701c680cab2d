// An AVI file while it is recorded: which writes are taken, where their chunks go, and what the
// header and the index say at the end. The file itself is behind Output.
#pragma once

#include <cstdint>
#include <vector>

#include "avi_layout.h"

namespace stand_in
{

// Where the bytes go.
class Output
{
public:
    virtual ~Output() = default;
    // Writes all of it, or answers false with any part of it written.
    virtual bool Write(std::uint64_t offset, const unsigned char* data, std::size_t size) = 0;
    virtual bool Truncate(std::uint64_t size) = 0;
};

enum class Result
{
    kOk,
    kBadParameter,
    kBadSize,
    kBadFormat,
    kUnsupported,
    kFileWrite,
};

struct Written
{
    std::int32_t samples = 0;
    std::int32_t bytes = 0;
};

// Offsets in the file are read as signed by many programs.
constexpr std::uint32_t kLargestFile = 0x7FFFFFFF;

class AviRecording
{
public:
    // `output` is empty, and outlives the recording.
    explicit AviRecording(Output& output, std::uint32_t largestFile = kLargestFile);

    // Takes the header's room in the output. To be called first.
    Result Begin();

    // Adds a stream; its number is the count of those before it.
    Result AddStream(const StreamHeader& header);
    // Sets a stream's format, which no longer changes once the stream has data.
    Result SetFormat(std::size_t number, const void* format, std::int32_t size);
    // Appends samples. `start` is the position of the first, or -1: after the last. In a stream
    // with a sample size it must be that, and the size must fit the count. Elsewhere a chunk is one
    // sample, and positions that are left out become empty chunks. A refused or failed write leaves
    // the file as it was.
    Result Write(std::size_t number, std::int32_t start, std::int32_t samples, const void* data,
                 std::int32_t size, std::uint32_t flags, Written& written);

    // Writes the index and the header. When the index finds no room the file goes without.
    Result Finish();

    const std::vector<Stream>& Streams() const { return streams_; }

private:
    // Whether a stream takes these samples, which leave `skipped` positions out.
    static Result Judge(const Stream& stream, std::int64_t skipped, std::int32_t samples,
                        std::int32_t size);
    Result Append(std::size_t number, std::uint32_t skipped, const unsigned char* data,
                  std::uint32_t size, std::uint32_t flags);
    void AddChunk(Bytes& bytes, std::uint32_t id, std::uint32_t flags, const unsigned char* data,
                  std::uint32_t size);
    void Count(std::size_t number, std::uint32_t skipped, std::uint32_t samples,
               std::uint32_t size);
    bool WriteIndex(std::uint32_t& size);

    // The bytes that a stream's running second holds, for its peak.
    struct RunningSecond
    {
        std::uint64_t second = 0;
        std::uint64_t bytes = 0;
    };

    Output& output_;
    const std::uint32_t largestFile_;
    std::vector<Stream> streams_;
    std::vector<RunningSecond> seconds_;
    std::vector<IndexEntry> index_;
    std::uint32_t end_ = kHeaderSize;
};

}  // namespace stand_in
