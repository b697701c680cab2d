/// @file
/// Bytes as hexadecimal text (the digits of RFC 4648, Base 16), and back.
#pragma once

#include <cstddef>
#include <string_view>

namespace ostrel::sysutil
{

/// Writes two capital digits for each byte, 2 x @p count characters in all and no terminator.
void WriteHexText(const unsigned char* bytes, std::size_t count, wchar_t* text);

/// Reads two characters for each byte, as `strtol` reads them; a last single character gives its
/// own value. A null character ends the text where a pair would begin, and only there.
/// @param text nothing past its end is read.
/// @param bytes receives at most @p room bytes; what is not written is left alone.
/// @return how many bytes were written.
std::size_t ReadHexText(std::string_view text, unsigned char* bytes, std::size_t room);

}  // namespace ostrel::sysutil
