#include "event_text.h"

#include <algorithm>

namespace
{
// What follows the first empty line. A part without headers begins with that line.
std::string_view Content(std::string_view part)
{
    constexpr std::string_view kLineEnd = "\r\n";
    constexpr std::string_view kHeadEnd = "\r\n\r\n";
    if (part.substr(0, kLineEnd.size()) == kLineEnd)
    {
        return part.substr(kLineEnd.size());
    }
    const std::size_t head = part.find(kHeadEnd);
    return head == std::string_view::npos ? std::string_view()
                                          : part.substr(head + kHeadEnd.size());
}

bool IsBlankOrControl(char character)
{
    const auto byte = static_cast<unsigned char>(character);
    return byte <= ' ' || byte == 0x7F;
}
}  // namespace

std::string EventText(std::string_view part)
{
    std::string text;
    for (const char character : Content(part))
    {
        if (!IsBlankOrControl(character))
        {
            text += character;
        }
        else if (!text.empty() && text.back() != ' ')
        {
            text += ' ';
        }
    }
    if (!text.empty() && text.back() == ' ')
    {
        text.pop_back();
    }
    return text;
}
