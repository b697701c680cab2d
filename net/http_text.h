/// @file
/// Texts of the caller, on their way into the fields of the HTTP client.
#pragma once

#include <array>
#include <cstddef>
#include <cstring>

namespace ostrel::net
{

/// The text, or an empty one if it is null or too long. By value: the text may be the very field
/// that it is then copied to.
template <std::size_t Size>
std::array<char, Size> BoundedText(const char* text)
{
    std::array<char, Size> bounded = {};
    if (text != nullptr && strnlen(text, Size) < Size)
    {
        std::memcpy(bounded.data(), text, std::strlen(text));
    }
    return bounded;
}

template <std::size_t Size>
void SetText(char (&field)[Size], const std::array<char, Size>& text)
{
    std::memcpy(field, text.data(), Size);
}

inline const char* OrEmpty(const char* text)
{
    return text != nullptr ? text : "";
}

inline bool IsEmpty(const char* text)
{
    return text == nullptr || *text == '\0';
}

}  // namespace ostrel::net
