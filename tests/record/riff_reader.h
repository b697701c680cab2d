/// @file
/// Reads an AVI file chunk by chunk, by the layout of the RIFF form "AVI " alone.
#pragma once

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

namespace ostrel::test
{

inline std::uint32_t Number32(const std::string& bytes, std::size_t offset)
{
    std::uint32_t value = 0;
    for (int i = 3; i >= 0; --i)
    {
        value = value << 8 | static_cast<unsigned char>(bytes.at(offset + i));
    }
    return value;
}

inline std::uint16_t Number16(const std::string& bytes, std::size_t offset)
{
    return static_cast<std::uint16_t>(static_cast<unsigned char>(bytes.at(offset)) |
                                      static_cast<unsigned char>(bytes.at(offset + 1)) << 8);
}

struct AviChunk
{
    std::size_t offset;  ///< of the chunk's identifier in the file
    std::string id;
    std::string data;
};

struct AviIndexEntry
{
    std::string id;
    std::uint32_t flags;
    std::uint32_t offset;
    std::uint32_t size;
};

/// The header and the format of one stream.
struct AviStreamChunks
{
    std::string header;  ///< `strh`, 56 bytes
    std::string format;  ///< `strf`

    std::string Type() const { return header.substr(0, 4); }
    std::string Handler() const { return header.substr(4, 4); }
    std::uint32_t Scale() const { return Number32(header, 20); }
    std::uint32_t Rate() const { return Number32(header, 24); }
    std::uint32_t Start() const { return Number32(header, 28); }
    std::uint32_t Length() const { return Number32(header, 32); }
    std::uint32_t Quality() const { return Number32(header, 40); }
    std::uint32_t SampleSize() const { return Number32(header, 44); }
    /// Left, top, right, bottom.
    std::vector<std::int16_t> Frame() const
    {
        std::vector<std::int16_t> frame;
        for (std::size_t offset = 48; offset < 56; offset += 2)
        {
            frame.push_back(static_cast<std::int16_t>(Number16(header, offset)));
        }
        return frame;
    }
};

/// A whole file. Throws std::runtime_error for one that is not an AVI file, or is cut short.
class AviReader
{
public:
    explicit AviReader(std::string file) : m_file(std::move(file))
    {
        Demand(Text(0) == "RIFF" && Text(8) == "AVI ", "no RIFF form AVI");
        Demand(Number32(m_file, 4) + 8 <= m_file.size(), "cut short");
        ReadChunks(12, Number32(m_file, 4) + 8);
        Demand(!header.empty(), "no avih");
        Demand(m_dataStart != 0, "no movi");
    }

    /// The chunks of one stream, in the file's order.
    std::vector<std::string> DataOf(int stream) const
    {
        std::vector<std::string> data;
        for (const AviChunk& chunk : chunks)
        {
            if (std::stoi(chunk.id.substr(0, 2)) == stream)
            {
                data.push_back(chunk.data);
            }
        }
        return data;
    }

    std::vector<AviIndexEntry> IndexOf(int stream) const
    {
        std::vector<AviIndexEntry> entries;
        for (const AviIndexEntry& entry : index)
        {
            if (std::stoi(entry.id.substr(0, 2)) == stream)
            {
                entries.push_back(entry);
            }
        }
        return entries;
    }

    /// The data that an index entry leads to. Offsets count from the identifier "movi".
    std::string DataAt(const AviIndexEntry& entry) const
    {
        const std::size_t offset = m_dataStart + entry.offset;
        Demand(Text(offset) == entry.id, "an index entry leads to another chunk");
        Demand(Number32(m_file, offset + 4) == entry.size, "an index entry has another size");
        return m_file.substr(offset + 8, entry.size);
    }

    std::string header;  ///< `avih`
    std::vector<AviStreamChunks> streams;
    std::vector<AviChunk> chunks;
    std::vector<AviIndexEntry> index;

private:
    static void Demand(bool condition, const char* what)
    {
        if (!condition)
        {
            throw std::runtime_error(what);
        }
    }

    std::string Text(std::size_t offset) const { return m_file.substr(offset, 4); }

    void ReadChunks(std::size_t offset, std::size_t end)
    {
        while (offset + 8 <= end)
        {
            const std::string id = Text(offset);
            const std::size_t size = Number32(m_file, offset + 4);
            Demand(offset + 8 + size <= end, "a chunk is longer than what it lies in");
            ReadChunk(id, offset, size);
            offset += 8 + size + size % 2;
        }
    }

    void ReadChunk(const std::string& id, std::size_t offset, std::size_t size)
    {
        const std::size_t data = offset + 8;
        if (id == "LIST")
        {
            const std::string kind = Text(data);
            if (kind == "movi")
            {
                m_dataStart = data;
            }
            else if (kind == "strl")
            {
                streams.emplace_back();
            }
            ReadChunks(data + 4, data + size);
        }
        else if (id == "avih")
        {
            header = m_file.substr(data, size);
        }
        else if (id == "strh")
        {
            streams.at(streams.size() - 1).header = m_file.substr(data, size);
        }
        else if (id == "strf")
        {
            streams.at(streams.size() - 1).format = m_file.substr(data, size);
        }
        else if (id == "idx1")
        {
            ReadIndex(data, size);
        }
        else if (id != "JUNK" && m_dataStart != 0)
        {
            chunks.push_back({offset, id, m_file.substr(data, size)});
        }
    }

    void ReadIndex(std::size_t offset, std::size_t size)
    {
        for (std::size_t end = offset + size; offset + 16 <= end; offset += 16)
        {
            index.push_back({Text(offset), Number32(m_file, offset + 4),
                             Number32(m_file, offset + 8), Number32(m_file, offset + 12)});
        }
    }

    std::string m_file;
    std::size_t m_dataStart = 0;
};

}  // namespace ostrel::test
