/// @file
/// The names of a recording's two files.
#pragma once

#include <string>
#include <string_view>

namespace ostrel::record
{

/// @return the name, with ".avi" added unless it ends so, in whatever case.
std::wstring RecordingName(std::wstring_view path);

/// @param recording the recording's name, as RecordingName() gives it.
/// @return that name with its last three characters replaced by "srt".
std::wstring SubtitleName(std::wstring_view recording);

}  // namespace ostrel::record
