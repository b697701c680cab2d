/// @file
/// The entries of a subtitle file in SRT form.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace ostrel::record
{

/// @param number the entry's number, from 1 on: entry k covers second k - 1.
/// @param text goes into the entry as it is.
/// @return the entry with the empty line behind it. Lines end in LF alone, and no spaces stand
/// around the arrow.
std::wstring SubtitleEntry(std::int32_t number, std::wstring_view text);

}  // namespace ostrel::record
