/// @file
/// Finding the boundary of a multipart stream (RFC 2046 section 5.1.1) in its head, and its parts
/// in the bytes held.
#pragma once

#include <cstddef>
#include <string_view>

namespace ostrel::net
{

/// The boundary that a head declares, with the two characters that follow it in the head (as a rule
/// its line end). So it is found in the delimiters between parts, but not in the closing one, whose
/// boundary is followed by two hyphens. Empty when none is declared, or no line end and a further
/// character follow it.
std::string_view DeclaredBoundary(std::string_view head);

/// Where a part lies in the bytes held.
struct PartPlace
{
    bool isComplete;  ///< whether there is one; if not, the rest means nothing
    std::size_t start;
    std::size_t length;

    std::size_t End() const { return start + length; }
};

/// The first part at or after @p from. It starts behind a boundary and ends two bytes, the hyphens
/// of the delimiter, before the next one; if there are not that many bytes between the two, it is
/// empty.
/// @param boundary not empty.
PartPlace FindPart(std::string_view held, std::string_view boundary, std::size_t from);

}  // namespace ostrel::net
