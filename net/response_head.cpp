#include "net/response_head.h"

#include <algorithm>
#include <cstdint>
#include <limits>

namespace ostrel::net
{

namespace
{

bool Contains(std::string_view text, std::string_view wanted)
{
    return text.find(wanted) != std::string_view::npos;
}

// The position after the first `wanted`, or npos.
std::size_t After(std::string_view text, std::string_view wanted)
{
    const std::size_t position = text.find(wanted);
    return position == std::string_view::npos ? position : position + wanted.size();
}

}  // namespace

std::string_view ResponseText(const char* received, std::size_t count)
{
    const std::string_view all(received, count);
    return all.substr(0, all.find('\0'));
}

bool HasLineEnd(std::string_view text)
{
    return Contains(text, "\r\n");
}

bool SaysOk(std::string_view text)
{
    return Contains(text, " 200 ");
}

bool SaysUnauthorized(std::string_view text)
{
    return Contains(text, " 401 ");
}

int AnnouncedLength(std::string_view text)
{
    // These two spellings and no other, on purpose.
    std::size_t number = After(text, "Content-Length: ");
    if (number == std::string_view::npos)
    {
        number = After(text, "Content-length: ");
    }
    if (number == std::string_view::npos)
    {
        return kDefaultLength;
    }
    return std::max(LeadingNumber(text.substr(number)), 0);
}

std::size_t BodyStart(std::string_view text)
{
    const std::size_t start = After(text, "\r\n\r\n");
    return start != std::string_view::npos ? start : After(text, "\n\n");
}

bool IsWholeAnswer(const char* received, std::size_t count)
{
    const std::string_view text = ResponseText(received, count);
    // What later text could come before or replace is no proof: an empty line of line feeds, and a
    // length in the second spelling, in the body or not yet ended.
    const std::size_t start = After(text, "\r\n\r\n");
    if (start == std::string_view::npos)
    {
        return false;
    }
    const std::string_view head = text.substr(0, start);
    return SaysOk(head) && Contains(head, "Content-Length: ") &&
           count - start >= static_cast<std::size_t>(AnnouncedLength(head));
}

int LeadingNumber(std::string_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
    const bool isNegative = !text.empty() && text.front() == '-';
    if (!text.empty() && (text.front() == '-' || text.front() == '+'))
    {
        text.remove_prefix(1);
    }
    const std::int64_t limit =
        isNegative ? -static_cast<std::int64_t>(std::numeric_limits<std::int32_t>::min())
                   : std::numeric_limits<std::int32_t>::max();
    std::int64_t value = 0;
    for (const char character : text)
    {
        if (character < '0' || character > '9')
        {
            break;
        }
        value = std::min(value * 10 + (character - '0'), limit);
    }
    return static_cast<int>(isNegative ? -value : value);
}

}  // namespace ostrel::net
