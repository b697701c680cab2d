#include "sysutil/directory_chain.h"

#include <algorithm>

namespace ostrel::sysutil
{

constexpr wchar_t kSeparator = L'\\';

std::size_t LevelAbove(std::wstring_view path, std::size_t level)
{
    const std::size_t separator = path.substr(0, level).rfind(kSeparator);
    return separator == std::wstring_view::npos ? 0 : separator;
}

std::size_t LevelBelow(std::wstring_view path, std::size_t level)
{
    return std::min(path.find(kSeparator, level + 1), path.size());
}

bool IsTakenForFileName(std::wstring_view level)
{
    const std::size_t mark = level.find_last_of(L"\\.");
    return mark != std::wstring_view::npos && level[mark] == L'.';
}

}  // namespace ostrel::sysutil
