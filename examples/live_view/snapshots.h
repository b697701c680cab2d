// Pictures that the user keeps.
#pragma once

#include <string>

#include "feed.h"

// Saves the feed's picture as it is shown, as JPEG, under the folder in one that is named after the
// local date: 2026-11-21/13-05-09 1 NAME.jpg, with the camera's number in the grid. Returns the
// file's name in UTF-8. Throws std::runtime_error when it cannot be written.
std::string SaveSnapshot(const std::wstring& folder, int number, Feed& feed);
