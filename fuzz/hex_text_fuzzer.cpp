// Any text as hexadecimal: nothing outside of it is read, nothing past the room is written (the
// sanitizer watches), the bytes are those of the digits one by one, and they survive the way back
// and forth.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "sysutil/hex_text.h"
#include "tests/sysutil/hex_text_model.h"

namespace
{

using Bytes = std::vector<unsigned char>;

void Require(bool isTrue)
{
    if (!isTrue)
    {
        std::abort();
    }
}

Bytes Read(const std::string& text, std::size_t room)
{
    const std::unique_ptr<char[]> exactText(new char[text.size()]);
    std::copy(text.begin(), text.end(), exactText.get());
    const std::unique_ptr<unsigned char[]> bytes(new unsigned char[room]);
    const std::size_t count =
        ostrel::sysutil::ReadHexText({exactText.get(), text.size()}, bytes.get(), room);
    return {bytes.get(), bytes.get() + count};
}

Bytes ReadPairByPair(std::string text, std::size_t room)
{
    Bytes bytes;
    while (!text.empty() && text[0] != '\0' && bytes.size() < room)
    {
        bytes.push_back(ostrel::test::HexByte(text.substr(0, 2)));
        text.erase(0, 2);
    }
    return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
    {
        return 0;
    }
    const std::size_t room = data[0];
    const std::string text(data + 1, data + size);
    Require(Read(text, room) == ReadPairByPair(text, room));

    std::wstring written(2 * size, L'?');
    ostrel::sysutil::WriteHexText(data, size, written.data());
    Require(Read(std::string(written.begin(), written.end()), size) == Bytes(data, data + size));
    return 0;
}
