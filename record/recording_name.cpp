#include "record/recording_name.h"

#include <algorithm>

namespace ostrel::record
{

namespace
{

constexpr std::wstring_view kExtension = L".avi";
constexpr std::wstring_view kSubtitles = L"srt";

// Not the run-time library's, which follows the locale.
wchar_t ToLower(wchar_t letter)
{
    return letter >= L'A' && letter <= L'Z' ? static_cast<wchar_t>(letter - L'A' + L'a') : letter;
}

bool HasExtension(std::wstring_view path)
{
    return path.size() >= kExtension.size() &&
           std::equal(kExtension.begin(), kExtension.end(), path.end() - kExtension.size(),
                      [](wchar_t wanted, wchar_t found) { return ToLower(found) == wanted; });
}

}  // namespace

std::wstring RecordingName(std::wstring_view path)
{
    std::wstring name(path);
    if (!HasExtension(path))
    {
        name += kExtension;
    }
    return name;
}

std::wstring SubtitleName(std::wstring_view recording)
{
    recording.remove_suffix(std::min(recording.size(), kSubtitles.size()));
    std::wstring name(recording);
    name += kSubtitles;
    return name;
}

}  // namespace ostrel::record
