#include "xml/node_path.h"

#include <algorithm>
#include <cstddef>

namespace ostrel::xml
{

namespace
{

constexpr wchar_t kSeparator = L'/';

}  // namespace

std::wstring_view BelowDocumentElement(std::wstring_view key)
{
    if (key.empty() || key.front() != kSeparator)
    {
        return key;
    }
    const std::size_t end = key.find(kSeparator, 1);
    return end == std::wstring_view::npos ? key : key.substr(end + 1);
}

std::wstring_view TakeComponent(std::wstring_view& path)
{
    path.remove_prefix(std::min(path.find_first_not_of(kSeparator), path.size()));
    const std::size_t length = std::min(path.find(kSeparator), path.size());
    const std::wstring_view component = path.substr(0, length);
    path.remove_prefix(std::min(length + 1, path.size()));
    return component;
}

}  // namespace ostrel::xml
