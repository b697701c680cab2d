// What is left of a run: files.
#pragma once

#include <windows.h>

#include <cstddef>
#include <string>

// Saves what the screen shows of a window's client area, as PNG.
// Throws std::runtime_error when that fails.
void SaveScreenshot(HWND window, const std::wstring& file);

// Throws std::runtime_error when that fails.
void SaveFile(const std::wstring& file, const void* bytes, std::size_t length);
