#include "record/subtitle.h"

namespace ostrel::record
{

namespace
{

std::wstring TwoDigits(std::int64_t value)
{
    std::wstring digits = std::to_wstring(value);
    if (digits.size() < 2)
    {
        digits.insert(digits.begin(), L'0');
    }
    return digits;
}

// Hours, minutes and seconds; hours may have more than two digits.
std::wstring ClockText(std::int64_t seconds)
{
    return TwoDigits(seconds / 3600) + L':' + TwoDigits(seconds / 60 % 60) + L':' +
           TwoDigits(seconds % 60);
}

}  // namespace

std::wstring SubtitleEntry(std::int32_t number, std::wstring_view text)
{
    const std::wstring clock = ClockText(std::int64_t{number} - 1);
    std::wstring entry = std::to_wstring(number) + L'\n' + clock + L",000-->" + clock + L",999\n";
    entry += text;
    entry += L"\n\n";
    return entry;
}

}  // namespace ostrel::record
