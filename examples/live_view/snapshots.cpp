#include "snapshots.h"

#include <CRender.h>
#include <CSFunc.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include "local_time.h"

namespace
{
// What a file's name may hold on every file system.
std::wstring AsFileName(const std::string& name)
{
    std::wstring text = CSFunc::s_F_s_Utf8ToUnicode(name.c_str()).GetString();
    std::replace_if(
        text.begin(), text.end(),
        [](wchar_t letter) { return letter < L' ' || wcschr(L"<>:\"/\\|?*.", letter) != nullptr; },
        L'_');
    return text;
}
}  // namespace

std::string SaveSnapshot(const std::wstring& folder, int number, Feed& feed)
{
    const SYSTEMTIME now = LocalTime();
    CStringW date;
    date.Format(L"%04d-%02d-%02d", now.wYear, now.wMonth, now.wDay);
    CStringW time;
    time.Format(L"%02d-%02d-%02d %d ", now.wHour, now.wMinute, now.wSecond, number);

    // The library takes backslashes for the separators.
    std::filesystem::path path = std::filesystem::absolute(folder) / date.GetString();
    path.make_preferred();
    CSFunc::s_F_n_CreateDirectorys(path.c_str());
    path /= time.GetString() + AsFileName(feed.Name()) + L".jpg";

    Picture& picture = feed.Shown();
    BITMAPINFOHEADER header = {};
    header.biSize = sizeof header;
    header.biWidth = picture.heldWidth;
    header.biHeight = -picture.heldHeight;  // negative: upright
    header.biPlanes = 1;
    header.biBitCount = 12;
    header.biCompression = CRender::vs_nFccYV12;
    CSFunc::s_S_SaveImg(path.c_str(), header, picture.planes.data());
    if (!CSFunc::s_F_b_GetFileInfo(CStringW(path.c_str()), nullptr))
    {
        throw std::runtime_error("cannot write " + path.u8string());
    }
    return path.u8string();
}
