#include "event_panel.h"

#include <algorithm>
#include <cwchar>
#include <iterator>

#include "local_time.h"

namespace
{
constexpr wchar_t kClassName[] = L"LiveViewEvents";
constexpr int kWidth = 320;
constexpr int kMargin = 10;
constexpr int kLineGap = 6;
constexpr std::size_t kMostLines = 100;
constexpr COLORREF kBackground = RGB(32, 34, 40);
constexpr COLORREF kTitleColour = RGB(140, 180, 255);
constexpr COLORREF kTextColour = RGB(230, 230, 230);
constexpr COLORREF kMarkColour = RGB(255, 190, 90);

std::wstring Utf16(const std::string& text)
{
    const int length = static_cast<int>(text.size());
    const int size = MultiByteToWideChar(CP_UTF8, 0, text.c_str(), length, nullptr, 0);
    std::wstring wide(size, L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.c_str(), length, wide.data(), size);
    return wide;
}

std::wstring TimeOfDay()
{
    const SYSTEMTIME now = LocalTime();
    wchar_t text[16];
    swprintf(text, std::size(text), L"%02u:%02u:%02u  ", static_cast<unsigned>(now.wHour),
             static_cast<unsigned>(now.wMinute), static_cast<unsigned>(now.wSecond));
    return text;
}

// Draws the text in the upper part of the area, and takes that part off it.
void DrawWrapped(HDC dc, const std::wstring& text, COLORREF colour, RECT& area)
{
    // An event need not have blanks to wrap at.
    constexpr UINT kFormat = DT_NOPREFIX | DT_WORDBREAK | DT_EDITCONTROL;
    SetTextColor(dc, colour);
    RECT place = area;
    const int height = DrawTextW(dc, text.c_str(), static_cast<int>(text.size()), &place, kFormat);
    area.top += height + kLineGap;
}
}  // namespace

EventPanel::EventPanel(HWND owner) : window_(owner, kClassName, &EventPanel::Procedure, this)
{
    Place();
}

void EventPanel::Place()
{
    RECT area = {};
    GetClientRect(window_.Owner(), &area);
    area.left = Beside().right;
    window_.Place(area);
}

RECT EventPanel::Beside() const
{
    RECT client = {};
    GetClientRect(window_.Owner(), &client);
    // However narrow the window is, half of it is for the picture.
    client.right -= std::min<LONG>(kWidth, client.right / 2);
    return client;
}

void EventPanel::Add(const std::string& text, bool isMarked)
{
    lines_.push_front({TimeOfDay() + Utf16(text), isMarked});
    lines_.resize(std::min(lines_.size(), kMostLines));
    InvalidateRect(window_.Handle(), nullptr, FALSE);
}

void EventPanel::Paint(HDC dc) const
{
    RECT area = {};
    GetClientRect(window_.Handle(), &area);
    const HBRUSH background = CreateSolidBrush(kBackground);
    FillRect(dc, &area, background);
    DeleteObject(background);

    SetBkMode(dc, TRANSPARENT);
    const HGDIOBJ before = SelectObject(dc, GetStockObject(DEFAULT_GUI_FONT));
    InflateRect(&area, -kMargin, -kMargin);
    DrawWrapped(dc, L"Events, the newest first", kTitleColour, area);
    for (const Line& line : lines_)
    {
        if (area.top >= area.bottom)
        {
            break;
        }
        DrawWrapped(dc, line.text, line.isMarked ? kMarkColour : kTextColour, area);
    }
    SelectObject(dc, before);
}

LRESULT CALLBACK EventPanel::Procedure(HWND window, UINT message, WPARAM first, LPARAM second)
{
    const auto* const self = static_cast<const EventPanel*>(OwnedWindow::SelfOf(window));
    if (self == nullptr || message != WM_PAINT)
    {
        return DefWindowProcW(window, message, first, second);
    }
    PAINTSTRUCT paint;
    self->Paint(BeginPaint(window, &paint));
    EndPaint(window, &paint);
    return 0;
}
