/// @file
/// A look at XPath expressions before they are handed to the DOM.
#pragma once

#include <string_view>

namespace ostrel::xml
{

/// Whether an expression certainly is none: it is empty, its quotes or brackets do not match, or it
/// ends where something has to follow. It is no parser; what passes may still be wrong.
bool IsBroken(std::wstring_view expression);

}  // namespace ostrel::xml
