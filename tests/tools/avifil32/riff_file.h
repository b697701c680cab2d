// Reads the bytes of an AVI file by the public description of the format, for the tests to look at.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

struct RiffChunk
{
    std::string id;
    std::size_t place = 0;  // of its head in the file
    std::vector<unsigned char> data;

    std::uint32_t At32(std::size_t offset) const
    {
        return data.at(offset) | data.at(offset + 1) << 8 | data.at(offset + 2) << 16 |
               static_cast<std::uint32_t>(data.at(offset + 3)) << 24;
    }
    std::uint16_t At16(std::size_t offset) const
    {
        return static_cast<std::uint16_t>(data.at(offset) | data.at(offset + 1) << 8);
    }
    std::string CodeAt(std::size_t offset) const
    {
        return std::string(data.begin() + static_cast<std::ptrdiff_t>(offset),
                           data.begin() + static_cast<std::ptrdiff_t>(offset) + 4);
    }
    std::string Text() const { return std::string(data.begin(), data.end()); }
};

// The chunks from `from` to the end of `bytes`, which must be filled by them exactly.
inline std::vector<RiffChunk> ReadChunks(const std::vector<unsigned char>& bytes,
                                         std::size_t placeInFile, std::size_t from = 0)
{
    std::vector<RiffChunk> chunks;
    while (from != bytes.size())
    {
        RiffChunk head;
        head.data.assign(bytes.begin() + static_cast<std::ptrdiff_t>(from), bytes.end());
        RiffChunk chunk;
        chunk.id = head.CodeAt(0);
        chunk.place = placeInFile + from;
        const std::size_t size = head.At32(4);
        if (from + 8 + size > bytes.size())
        {
            throw std::runtime_error("the chunk " + chunk.id + " reaches past the end");
        }
        const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(from + 8);
        chunk.data.assign(begin, begin + static_cast<std::ptrdiff_t>(size));
        from += 8 + size;
        if (size % 2 != 0)
        {
            if (bytes.at(from) != 0)
            {
                throw std::runtime_error("the padding of " + chunk.id + " is not zero");
            }
            ++from;
        }
        chunks.push_back(chunk);
    }
    return chunks;
}

// What stands in a list, whose first four bytes say its kind.
inline std::vector<RiffChunk> Inside(const RiffChunk& list)
{
    return ReadChunks(list.data, list.place + 8, 4);
}

struct AviFileBytes
{
    explicit AviFileBytes(const std::vector<unsigned char>& bytes)
    {
        const std::vector<RiffChunk> whole = ReadChunks(bytes, 0);
        if (whole.size() != 1 || whole[0].id != "RIFF" || whole[0].CodeAt(0) != "AVI ")
        {
            throw std::runtime_error("not one RIFF form of the kind AVI");
        }
        for (const RiffChunk& chunk : Inside(whole[0]))
        {
            order += chunk.id == "LIST" ? chunk.CodeAt(0) : chunk.id;
            if (chunk.id == "LIST" && chunk.CodeAt(0) == "hdrl")
            {
                TakeHeaders(chunk);
            }
            else if (chunk.id == "LIST" && chunk.CodeAt(0) == "movi")
            {
                movi = chunk;
                chunks = Inside(chunk);
            }
            else if (chunk.id == "idx1")
            {
                index = chunk;
            }
        }
    }

    void TakeHeaders(const RiffChunk& list)
    {
        for (const RiffChunk& chunk : Inside(list))
        {
            if (chunk.id == "avih")
            {
                mainHeader = chunk;
                continue;
            }
            const std::vector<RiffChunk> stream = Inside(chunk);
            if (chunk.CodeAt(0) != "strl" || stream.size() != 2 || stream[0].id != "strh" ||
                stream[1].id != "strf")
            {
                throw std::runtime_error("not a stream header list");
            }
            streamHeaders.push_back(stream[0]);
            formats.push_back(stream[1]);
        }
    }

    // The ids of the chunks, in order, each followed by a blank.
    std::string Ids() const
    {
        std::string ids;
        for (const RiffChunk& chunk : chunks)
        {
            ids += chunk.id + ' ';
        }
        return ids;
    }

    std::size_t IndexEntries() const { return index.data.size() / 16; }

    // Whether the index names every chunk, at its place and with its length, in order.
    bool IndexMatchesChunks() const
    {
        if (index.data.size() != chunks.size() * 16)
        {
            return false;
        }
        for (std::size_t i = 0; i < chunks.size(); ++i)
        {
            const std::size_t fromMovi = chunks[i].place - (movi.place + 8);
            if (index.CodeAt(16 * i) != chunks[i].id || index.At32(16 * i + 8) != fromMovi ||
                index.At32(16 * i + 12) != chunks[i].data.size())
            {
                return false;
            }
        }
        return true;
    }

    // The flag that decoding can start there, of each chunk: "k" or "-".
    std::string KeyFrames() const
    {
        std::string keys;
        for (std::size_t i = 0; i < IndexEntries(); ++i)
        {
            keys += (index.At32(16 * i + 4) & 0x10) != 0 ? 'k' : '-';
        }
        return keys;
    }

    std::string order;  // of the chunks and lists in the file
    RiffChunk mainHeader;
    std::vector<RiffChunk> streamHeaders;
    std::vector<RiffChunk> formats;
    RiffChunk movi;
    std::vector<RiffChunk> chunks;
    RiffChunk index;
};
