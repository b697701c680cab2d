// The time of day where this machine is, by the library's own conversion.
#pragma once

#include <windows.h>

#include <string>

SYSTEMTIME LocalTime();

// As in 2026-11-21 13:05:09.
std::wstring LocalTimeText();
