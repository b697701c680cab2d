/// @file
/// What a pair of characters comes to as a byte, worked out digit by digit.
#pragma once

#include <cstddef>
#include <string>

namespace ostrel::test
{

/// @return the digit's value; -1 for what is none.
inline int HexDigit(char character)
{
    const std::size_t index = std::string("0123456789abcdefABCDEF").find(character);
    if (character == '\0' || index == std::string::npos)
    {
        return -1;
    }
    return static_cast<int>(index < 16 ? index : index - 6);
}

/// The value of one or two characters by the rules of `strtol`: space and one sign are skipped, and
/// the number ends at the first character that is no digit.
inline unsigned char HexByte(std::string pair)
{
    while (!pair.empty() && std::string(" \t\n\v\f\r").find(pair[0]) != std::string::npos)
    {
        pair.erase(0, 1);
    }
    const bool isNegative = !pair.empty() && pair[0] == '-';
    if (!pair.empty() && (pair[0] == '-' || pair[0] == '+'))
    {
        pair.erase(0, 1);
    }
    int value = 0;
    for (const char character : pair)
    {
        if (HexDigit(character) < 0)
        {
            break;
        }
        value = value * 16 + HexDigit(character);
    }
    return static_cast<unsigned char>(isNegative ? -value : value);
}

}  // namespace ostrel::test
