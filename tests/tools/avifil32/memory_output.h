// Outputs that need no disk.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "avi_recording.h"

// A file in memory, on a disk that may be small.
class MemoryOutput final : public stand_in::Output
{
public:
    explicit MemoryOutput(std::uint64_t room = UINT64_MAX) : room_(room) {}

    bool Write(std::uint64_t offset, const unsigned char* data, std::size_t size) override
    {
        const std::uint64_t end = std::min(offset + size, room_);
        if (end > offset)
        {
            bytes.resize(std::max<std::size_t>(bytes.size(), static_cast<std::size_t>(end)));
            std::copy(data, data + (end - offset),
                      bytes.begin() + static_cast<std::ptrdiff_t>(offset));
        }
        return end == offset + size;
    }
    bool Truncate(std::uint64_t size) override
    {
        bytes.resize(static_cast<std::size_t>(size));
        return true;
    }

    std::vector<unsigned char> bytes;

private:
    const std::uint64_t room_;
};

// A file of which only the start and the size are kept.
class MeasuringOutput final : public stand_in::Output
{
public:
    bool Write(std::uint64_t offset, const unsigned char* data, std::size_t size) override
    {
        if (offset == 0)
        {
            start.assign(data, data + size);
        }
        fileSize = std::max(fileSize, offset + size);
        return true;
    }
    bool Truncate(std::uint64_t size) override
    {
        fileSize = size;
        return true;
    }

    std::vector<unsigned char> start;
    std::uint64_t fileSize = 0;
};
