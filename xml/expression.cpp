#include "xml/expression.h"

#include <cstddef>
#include <string>

namespace ostrel::xml
{

namespace
{

constexpr std::wstring_view kBlanks = L" \t\r\n";
// None of them ends an expression, be it of XPath or of the older XSL patterns.
constexpr std::wstring_view kContinued = L"@|=<>,!:$&";

bool Contains(std::wstring_view set, wchar_t character)
{
    return set.find(character) != std::wstring_view::npos;
}

bool HasUnmatchedQuoteOrBracket(std::wstring_view expression)
{
    std::wstring awaited;
    wchar_t previous = 0;
    for (std::size_t i = 0; i < expression.size(); ++i)
    {
        const wchar_t character = expression[i];
        if (character == L'\'' || character == L'"')
        {
            i = expression.find(character, i + 1);
            if (i == std::wstring_view::npos)
            {
                return true;
            }
        }
        else if (character == L'[' || character == L'(')
        {
            awaited.push_back(character == L'[' ? L']' : L')');
        }
        else if (character == L']' || character == L')')
        {
            const bool isEmptyPredicate = character == L']' && previous == L'[';
            if (awaited.empty() || awaited.back() != character || isEmptyPredicate)
            {
                return true;
            }
            awaited.pop_back();
        }
        if (!Contains(kBlanks, character))
        {
            previous = character;
        }
    }
    return !awaited.empty();
}

/// A slash ends an expression only where it is the document itself.
bool EndsInSeparator(std::wstring_view trimmed)
{
    if (trimmed.back() != L'/')
    {
        return false;
    }
    const std::size_t before = trimmed.substr(0, trimmed.size() - 1).find_last_not_of(kBlanks);
    return before != std::wstring_view::npos && trimmed[before] != L'|';
}

}  // namespace

bool IsBroken(std::wstring_view expression)
{
    const std::size_t last = expression.find_last_not_of(kBlanks);
    if (last == std::wstring_view::npos)
    {
        return true;
    }
    const std::wstring_view trimmed = expression.substr(0, last + 1);
    return Contains(kContinued, trimmed.back()) || EndsInSeparator(trimmed) ||
           HasUnmatchedQuoteOrBracket(trimmed);
}

}  // namespace ostrel::xml
