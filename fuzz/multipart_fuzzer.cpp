// Any bytes as a multipart stream, in any pieces: nothing outside the receive buffer and the
// caller's buffer is touched (the sanitizer watches), every result is one of those stated, and the
// parts are those of a slow search over the whole stream at once.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "net/multipart_reader.h"
#include "tests/support/scripted_transport.h"

namespace net = ostrel::net;
namespace test = ostrel::test;

namespace
{

constexpr int kTimeOut = 50;

void Require(bool condition)
{
    if (!condition)
    {
        std::abort();
    }
}

bool StandsAt(const std::string& text, std::size_t place, const std::string& wanted)
{
    for (std::size_t i = 0; i < wanted.size(); ++i)
    {
        if (place + i >= text.size() || text[place + i] != wanted[i])
        {
            return false;
        }
    }
    return true;
}

// The model: where each part of the stream begins and ends, byte by byte.
struct Model
{
    explicit Model(const std::string& stream)
    {
        std::size_t head = 0;
        while (head < stream.size() && !StandsAt(stream, head, "\r\n\r\n"))
        {
            ++head;
        }
        head += 4;
        std::size_t place = 0;
        while (place < head && !StandsAt(stream, place, "boundary="))
        {
            ++place;
        }
        if (head > stream.size() || place + 9 > head)
        {
            return;
        }
        for (place += 9; stream[place] != '\r'; ++place)
        {
            boundary += stream[place];
        }
        boundary += stream.substr(place, 2);

        bool isInPart = false;
        std::string part;
        for (place = head; place < stream.size();)
        {
            if (!StandsAt(stream, place, boundary))
            {
                part += stream[place++];
                continue;
            }
            if (isInPart)
            {
                parts.push_back(part.substr(0, part.size() < 2 ? 0 : part.size() - 2));
            }
            isInPart = true;
            part.clear();
            place += boundary.size();
        }
    }

    std::string boundary;
    std::vector<std::string> parts;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzedDataProvider input(data, size);
    const int outSize = input.ConsumeIntegralInRange(1, 1100);
    const bool hasGoodStart = input.ConsumeBool();
    std::vector<std::uint8_t> pieces(input.ConsumeIntegralInRange(0, 8));
    for (std::uint8_t& piece : pieces)
    {
        piece = input.ConsumeIntegral<std::uint8_t>();
    }
    const std::string stream = (hasGoodStart ? "HTTP/1.0 200 OK\r\nboundary=" : "") +
                               input.ConsumeRemainingBytesAsString();

    test::ScriptedTransport transport({});
    transport.isLogging = false;
    std::size_t start = 0;
    for (const std::uint8_t piece : pieces)
    {
        if (start < stream.size())
        {
            transport.steps.push_back(test::Bytes(stream.substr(start, piece)));
            transport.steps.push_back(piece % 2 == 0 ? test::Block() : test::Silence(piece));
            start += piece;
        }
    }
    transport.steps.push_back(test::Bytes(start < stream.size() ? stream.substr(start) : ""));
    transport.steps.push_back(test::End());

    const Model model(stream);
    CMemManage buffer;
    int held = 0;
    char* boundary = nullptr;
    bool isOpen = false;
    const std::unique_ptr<char[]> out(new char[static_cast<std::size_t>(outSize)]);
    for (std::size_t count = 0;; ++count)
    {
        const int closes = transport.closes;
        const int result = net::ReadPart({{"camera", "", "", 80}, "x", kTimeOut}, isOpen, transport,
                                         {buffer, held, boundary}, {out.get(), outSize});
        isOpen = true;
        Require(result >= -5 && result != -1 && result != -2 && result <= net::kStreamBufferSize);
        Require(held >= 0 && held <= net::kStreamBufferSize);
        if (transport.closes > closes)
        {
            Require(result == net::kNoPart || (result < 0 && count == 0));
            break;
        }
        Require(result >= 0);
        Require(model.boundary == boundary);
        Require(count < model.parts.size());
        std::string expected = model.parts[count];
        Require(result == static_cast<int>(expected.size()));
        expected.resize(static_cast<std::size_t>(outSize), '\0');
        Require(expected == std::string(out.get(), static_cast<std::size_t>(outSize)));
    }
    delete[] boundary;
    return 0;
}
