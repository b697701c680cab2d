// What a camera's event says.
#pragma once

#include <string>
#include <string_view>

// The content of a part of a multipart stream, as one line of text: without the part's own header
// lines, and with one blank for every run of blanks, line ends and other control characters. Empty
// when the part has no content.
std::string EventText(std::string_view part);
