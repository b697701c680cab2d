#include "sysutil/hex_text.h"

#include <cstdlib>

namespace ostrel::sysutil
{

void WriteHexText(const unsigned char* bytes, std::size_t count, wchar_t* text)
{
    constexpr wchar_t kDigits[] = L"0123456789ABCDEF";
    for (std::size_t i = 0; i < count; ++i)
    {
        text[2 * i] = kDigits[bytes[i] >> 4];
        text[2 * i + 1] = kDigits[bytes[i] & 0x0F];
    }
}

std::size_t ReadHexText(std::string_view text, unsigned char* bytes, std::size_t room)
{
    std::size_t count = 0;
    for (; count < room && 2 * count < text.size() && text[2 * count] != '\0'; ++count)
    {
        // Two characters at most, so that an odd last one is read by itself.
        char pair[3] = {};
        text.copy(pair, 2, 2 * count);
        bytes[count] = static_cast<unsigned char>(std::strtol(pair, nullptr, 16));
    }
    return count;
}

}  // namespace ostrel::sysutil
