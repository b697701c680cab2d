/// @file
/// Keys: the paths of elements, with their components separated by slashes.
#pragma once

#include <string_view>

namespace ostrel::xml
{

/// Turns a key that names the document element in its first component into one that starts from
/// that element: the component is dropped, whatever it says. A key without a leading slash starts
/// there already; one with no other slash is left as it is, an absolute path.
std::wstring_view BelowDocumentElement(std::wstring_view key);

/// Takes the first component that is not empty off the front of a path.
/// @param path what is left of it; moves behind the component and the slash that ends it.
/// @return the component; empty when none is left.
std::wstring_view TakeComponent(std::wstring_view& path);

}  // namespace ostrel::xml
