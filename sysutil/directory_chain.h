/// @file
/// The levels of a path: the path as a whole, and what lies before each of its backslashes but one
/// at its very start. A level is named by its length.
#pragma once

#include <cstddef>
#include <string_view>

namespace ostrel::sysutil
{

/// @return the next shorter level; 0 when there is none.
std::size_t LevelAbove(std::wstring_view path, std::size_t level);

/// @return the next longer level; of 0, the shortest. @p level is shorter than the path.
std::size_t LevelBelow(std::wstring_view path, std::size_t level);

/// Whether the last component of a level has a dot in it and is therefore taken for a file's name.
bool IsTakenForFileName(std::wstring_view level);

}  // namespace ostrel::sysutil
