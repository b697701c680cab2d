// The file in which the program keeps its cameras and the place of its window.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

#include "camera_url.h"

struct KnownCamera
{
    std::string name;  // UTF-8, as is all text here
    CameraUrl url;
};

struct CameraBook
{
    std::vector<KnownCamera> cameras;
    std::optional<RECT> window;  // where it was when it was closed last

    // Where the book is when the user does not say it.
    static std::wstring DefaultFile();

    // Nothing when there is no such file. Throws std::runtime_error when it cannot be understood.
    static std::optional<CameraBook> Load(const std::wstring& file);

    // Throws std::runtime_error when that fails.
    void Save(const std::wstring& file) const;
};
