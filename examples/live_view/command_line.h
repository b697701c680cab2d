// What the user asked for on the command line.
#pragma once

#include <optional>
#include <string>

struct Options
{
    std::string url;  // empty: the cameras of the file, or embedded ones
    bool help = false;
    bool useGdi = false;
    int seconds = 0;  // 0: until the window is closed
    int framesPerSecond = 25;
    int gridRows = 1;
    int gridColumns = 1;
    bool sound = false;
    bool embedded = false;     // even where the cameras file names others
    std::wstring camerasFile;  // empty: the user's own
    std::wstring recordFile;
    bool stream = false;
    std::optional<std::string> streamPath;  // without: the embedded camera's
    std::wstring screenshotFile;
    std::wstring snapshotFolder;
    std::wstring summaryFile;
};

extern const char* const kUsage;

// Throws std::invalid_argument, whose text tells the user what is wrong.
Options ParseCommandLine(int count, const wchar_t* const* arguments);
