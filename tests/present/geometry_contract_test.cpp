/// @file
/// What a client may rely on when it lays out panes and looks for monitors.
#include <CSFunc.h>
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <type_traits>
#include <vector>

#include "support/import_patch.h"

namespace
{

using ostrel::test::ImportPatch;

static_assert(std::is_same_v<decltype(&CSFunc::s_S_CalWndRect), void (*)(int, int, CRect*, CRect)>);
static_assert(
    std::is_same_v<decltype(&CSFunc::s_F_n_GetScreenRectByID), int (*)(unsigned long, CRect&)>);
static_assert(
    std::is_same_v<decltype(&CSFunc::s_S_GetWndPlacedScreenRect), void (*)(CWnd*, CRect&)>);

const CRect kUntouched(-77, -78, -79, -80);

std::string TextOf(const RECT& rect)
{
    return std::to_string(rect.left) + ',' + std::to_string(rect.top) + ',' +
           std::to_string(rect.right) + ',' + std::to_string(rect.bottom);
}

// ---- The grid ----------------------------------------------------------------------------------

/// The rectangles of a grid, and kBehind more that lie behind them in the array.
constexpr std::size_t kBehind = 4;

std::vector<CRect> GridWithGuard(int rows, int columns, const CRect& area)
{
    const std::size_t count =
        rows > 0 && columns > 0 ? static_cast<std::size_t>(rows) * columns : 0;
    std::vector<CRect> rects(count + kBehind, kUntouched);
    CSFunc::s_S_CalWndRect(rows, columns, rects.data(), area);
    return rects;
}

std::vector<CRect> Grid(int rows, int columns, const CRect& area)
{
    std::vector<CRect> rects = GridWithGuard(rows, columns, area);
    rects.resize(rects.size() - kBehind);
    return rects;
}

std::vector<int> WidthsOfFirstRow(const std::vector<CRect>& grid, int columns)
{
    std::vector<int> widths;
    for (int column = 0; column < columns; ++column)
    {
        widths.push_back(grid[static_cast<std::size_t>(column)].Width());
    }
    return widths;
}

std::vector<int> HeightsOfFirstColumn(const std::vector<CRect>& grid, int rows, int columns)
{
    std::vector<int> heights;
    for (int row = 0; row < rows; ++row)
    {
        heights.push_back(grid[static_cast<std::size_t>(row) * columns].Height());
    }
    return heights;
}

void ExpectUntouched(const std::vector<CRect>& rects)
{
    for (const CRect& rect : rects)
    {
        EXPECT_EQ(TextOf(rect), TextOf(kUntouched));
    }
}

TEST(GridContract, SplitsTheExampleOf1000By700In3By3)
{
    const std::vector<CRect> grid = Grid(3, 3, CRect(0, 0, 1000, 700));
    EXPECT_EQ(WidthsOfFirstRow(grid, 3), (std::vector<int>{334, 333, 333}));
    EXPECT_EQ(HeightsOfFirstColumn(grid, 3, 3), (std::vector<int>{234, 233, 233}));
}

TEST(GridContract, Splits10By10In3By3)
{
    const std::vector<CRect> grid = Grid(3, 3, CRect(0, 0, 10, 10));
    EXPECT_EQ(WidthsOfFirstRow(grid, 3), (std::vector<int>{4, 3, 3}));
    EXPECT_EQ(HeightsOfFirstColumn(grid, 3, 3), (std::vector<int>{4, 3, 3}));
    const char* const expected[] = {"0,0,4,4",  "4,0,7,4",  "7,0,10,4", "0,4,4,7",  "4,4,7,7",
                                    "7,4,10,7", "0,7,4,10", "4,7,7,10", "7,7,10,10"};
    for (std::size_t i = 0; i < 9; ++i)
    {
        EXPECT_EQ(TextOf(grid[i]), expected[i]) << i;
    }
}

TEST(GridContract, IsFilledRowByRow)
{
    // Two rows of three columns: index 3 begins the second row.
    const std::vector<CRect> grid = Grid(2, 3, CRect(0, 0, 30, 20));
    const char* const expected[] = {"0,0,10,10",  "10,0,20,10",  "20,0,30,10",
                                    "0,10,10,20", "10,10,20,20", "20,10,30,20"};
    for (std::size_t i = 0; i < 6; ++i)
    {
        EXPECT_EQ(TextOf(grid[i]), expected[i]) << i;
    }
}

TEST(GridContract, BeginsAtTheAreasCorner)
{
    const std::vector<CRect> grid = Grid(2, 2, CRect(-100, 50, -95, 57));
    EXPECT_EQ(TextOf(grid[0]), "-100,50,-97,54");
    EXPECT_EQ(TextOf(grid[1]), "-97,50,-95,54");
    EXPECT_EQ(TextOf(grid[2]), "-100,54,-97,57");
    EXPECT_EQ(TextOf(grid[3]), "-97,54,-95,57");
}

TEST(GridContract, CoversTheAreaWithoutGapsOrOverlaps)
{
    for (int rows = 1; rows <= 6; ++rows)
    {
        for (int columns = 1; columns <= 7; ++columns)
        {
            for (int width = 1; width <= 23; width += 2)
            {
                const int height = 24 - width;
                SCOPED_TRACE(std::to_string(rows) + " rows, " + std::to_string(columns) +
                             " columns, " + std::to_string(width) + "x" + std::to_string(height));
                const CRect area(-3, 5, -3 + width, 5 + height);
                std::vector<int> covered(static_cast<std::size_t>(width) * height, 0);
                for (const CRect& rect : Grid(rows, columns, area))
                {
                    for (int y = rect.top; y < rect.bottom; ++y)
                    {
                        for (int x = rect.left; x < rect.right; ++x)
                        {
                            ASSERT_TRUE(area.PtInRect(CPoint(x, y))) << x << ' ' << y;
                            ++covered[static_cast<std::size_t>(y - area.top) * width +
                                      (x - area.left)];
                        }
                    }
                }
                for (const int times : covered)
                {
                    ASSERT_EQ(times, 1);
                }
            }
        }
    }
}

TEST(GridContract, GivesLeftOverPixelsOneEachToTheFirstColumnsAndRows)
{
    for (int count = 1; count <= 9; ++count)
    {
        for (int length = 1; length <= 40; ++length)
        {
            SCOPED_TRACE(std::to_string(length) + " in " + std::to_string(count));
            const std::vector<CRect> grid =
                Grid(count, count, CRect(7, -9, 7 + length, length - 9));
            std::vector<int> expected;
            for (int i = 0; i < count; ++i)
            {
                expected.push_back(length / count + (i < length % count ? 1 : 0));
            }
            ASSERT_EQ(WidthsOfFirstRow(grid, count), expected);
            ASSERT_EQ(HeightsOfFirstColumn(grid, count, count), expected);
        }
    }
}

TEST(GridContract, GivesTheOnlyCellTheWholeArea)
{
    EXPECT_EQ(TextOf(Grid(1, 1, CRect(3, 4, 643, 484))[0]), "3,4,643,484");
}

TEST(GridContract, LeavesColumnsEmptyWhenThereAreMoreOfThemThanPixels)
{
    const std::vector<CRect> grid = Grid(1, 5, CRect(0, 0, 2, 9));
    EXPECT_EQ(WidthsOfFirstRow(grid, 5), (std::vector<int>{1, 1, 0, 0, 0}));
    EXPECT_EQ(TextOf(grid[4]), "2,0,2,9");
}

TEST(GridContract, HoldsOverAWideArea)
{
    const std::vector<CRect> grid = Grid(1, 7, CRect(-1000000000, 0, 1000000000, 1));
    EXPECT_EQ(grid.front().left, -1000000000);
    EXPECT_EQ(grid.back().right, 1000000000);
    // 2000000000 = 7 * 285714285 + 5
    EXPECT_EQ(WidthsOfFirstRow(grid, 7),
              (std::vector<int>{285714286, 285714286, 285714286, 285714286, 285714286, 285714285,
                                285714285}));
}

TEST(GridContract, LeavesTheArrayUntouchedForAnAreaOfWidthZero)
{
    ExpectUntouched(GridWithGuard(3, 3, CRect(5, 0, 5, 100)));
}

TEST(GridContract, LeavesTheArrayUntouchedForANegativeWidth)
{
    ExpectUntouched(GridWithGuard(3, 3, CRect(100, 0, 5, 100)));
}

TEST(GridContract, LeavesTheArrayUntouchedWithoutRows)
{
    std::vector<CRect> rects(16, kUntouched);
    for (const int rows : {0, -1, INT_MIN})
    {
        CSFunc::s_S_CalWndRect(rows, 4, rects.data(), CRect(0, 0, 100, 100));
    }
    ExpectUntouched(rects);
}

TEST(GridContract, LeavesTheArrayUntouchedWithoutColumns)
{
    std::vector<CRect> rects(16, kUntouched);
    for (const int columns : {0, -1, INT_MIN})
    {
        CSFunc::s_S_CalWndRect(4, columns, rects.data(), CRect(0, 0, 100, 100));
    }
    ExpectUntouched(rects);
}

TEST(GridContract, IsWrittenForAnAreaOfHeightZero)
{
    const std::vector<CRect> grid = Grid(2, 2, CRect(0, 9, 10, 9));
    EXPECT_EQ(TextOf(grid[0]), "0,9,5,9");
    EXPECT_EQ(TextOf(grid[1]), "5,9,10,9");
    EXPECT_EQ(TextOf(grid[2]), "0,9,5,9");
    EXPECT_EQ(TextOf(grid[3]), "5,9,10,9");
}

TEST(GridContract, GivesRowsOfANegativeHeightTheQuotientAndNothingOfTheRemainder)
{
    // -10 / 3 = -3, remainder -1, and no row number is less than that.
    const std::vector<CRect> grid = Grid(3, 1, CRect(0, 10, 8, 0));
    EXPECT_EQ(TextOf(grid[0]), "0,10,8,7");
    EXPECT_EQ(TextOf(grid[1]), "0,7,8,4");
    EXPECT_EQ(TextOf(grid[2]), "0,4,8,1");
}

TEST(GridContract, WritesNothingBehindItsRectangles)
{
    const std::vector<CRect> rects = GridWithGuard(4, 5, CRect(0, 0, 1001, 703));
    ExpectUntouched(std::vector<CRect>(rects.end() - kBehind, rects.end()));
    EXPECT_EQ(TextOf(rects[19]).substr(TextOf(rects[19]).size() - 8), "1001,703");
}

TEST(GridContract, DoesNothingWithoutAnArray)
{
    CSFunc::s_S_CalWndRect(3, 3, nullptr, CRect(0, 0, 100, 100));
}

// ---- The monitors ------------------------------------------------------------------------------

/// The display devices that the library sees instead of the platform's.
struct Display
{
    RECT place;
    bool hasMode = true;
};

struct DeviceQuery
{
    bool hasName;
    DWORD number;
    DWORD flags;
    DWORD size;
};

struct ModeQuery
{
    std::wstring name;
    DWORD mode;
    WORD size;
    WORD extra;
};

std::vector<Display> theDisplays;
std::vector<DeviceQuery> theDeviceQueries;
std::vector<ModeQuery> theModeQueries;

std::wstring NameOf(DWORD number)
{
    return L"\\\\.\\CONTRACT" + std::to_wstring(number);
}

BOOL WINAPI FakeEnumDisplayDevices(const wchar_t* name, DWORD number, DISPLAY_DEVICEW* device,
                                   DWORD flags)
{
    theDeviceQueries.push_back({name != nullptr, number, flags, device->cb});
    if (number >= theDisplays.size())
    {
        return FALSE;
    }
    wcscpy(device->DeviceName, NameOf(number).c_str());
    wcscpy(device->DeviceString, L"A display of the test's own");
    // Not what modes are asked for by.
    wcscpy(device->DeviceID, L"\\\\?\\DISPLAY#CONTRACT");
    device->StateFlags = DISPLAY_DEVICE_ATTACHED_TO_DESKTOP;
    return TRUE;
}

BOOL WINAPI FakeEnumDisplaySettings(const wchar_t* name, DWORD mode, DEVMODEW* settings)
{
    const std::wstring given = name != nullptr ? name : L"";
    theModeQueries.push_back({given, mode, settings->dmSize, settings->dmDriverExtra});
    for (DWORD number = 0; number < theDisplays.size(); ++number)
    {
        const Display& display = theDisplays[number];
        if (NameOf(number) == given && display.hasMode && mode == ENUM_CURRENT_SETTINGS)
        {
            settings->dmFields = DM_POSITION | DM_PELSWIDTH | DM_PELSHEIGHT;
            settings->dmPosition.x = display.place.left;
            settings->dmPosition.y = display.place.top;
            settings->dmPelsWidth = static_cast<DWORD>(display.place.right - display.place.left);
            settings->dmPelsHeight = static_cast<DWORD>(display.place.bottom - display.place.top);
            return TRUE;
        }
    }
    return FALSE;
}

class MonitorContract : public testing::Test
{
protected:
    MonitorContract()
    {
        theDisplays.clear();
        theDeviceQueries.clear();
        theModeQueries.clear();
    }

private:
    ImportPatch<BOOL WINAPI(const wchar_t*, DWORD, DISPLAY_DEVICEW*, DWORD)> vm_devices{
        "EnumDisplayDevicesW", &FakeEnumDisplayDevices};
    ImportPatch<BOOL WINAPI(const wchar_t*, DWORD, DEVMODEW*)> vm_settings{
        "EnumDisplaySettingsW", &FakeEnumDisplaySettings};
};

using MonitorByNumberContract = MonitorContract;

TEST_F(MonitorByNumberContract, IsThePositionAndSizeOfTheCurrentMode)
{
    theDisplays = {{{0, 0, 1920, 1080}}};
    CRect rect = kUntouched;
    EXPECT_EQ(CSFunc::s_F_n_GetScreenRectByID(0, rect), 1);
    EXPECT_EQ(TextOf(rect), "0,0,1920,1080");
}

TEST_F(MonitorByNumberContract, IsInDesktopCoordinates)
{
    theDisplays = {{{0, 0, 1920, 1080}}, {{-1280, -200, 0, 824}}, {{1920, 300, 3200, 1324}}};
    CRect rect = kUntouched;
    EXPECT_EQ(CSFunc::s_F_n_GetScreenRectByID(1, rect), 1);
    EXPECT_EQ(TextOf(rect), "-1280,-200,0,824");
    EXPECT_EQ(CSFunc::s_F_n_GetScreenRectByID(2, rect), 1);
    EXPECT_EQ(TextOf(rect), "1920,300,3200,1324");
}

TEST_F(MonitorByNumberContract, AsksForTheDeviceOfThatNumberByNoName)
{
    theDisplays.resize(5, {{0, 0, 10, 10}});
    CRect rect;
    ASSERT_EQ(CSFunc::s_F_n_GetScreenRectByID(3, rect), 1);
    ASSERT_EQ(theDeviceQueries.size(), 1u);
    EXPECT_FALSE(theDeviceQueries[0].hasName);
    EXPECT_EQ(theDeviceQueries[0].number, 3u);
    EXPECT_EQ(theDeviceQueries[0].flags, static_cast<DWORD>(EDD_GET_DEVICE_INTERFACE_NAME));
    EXPECT_EQ(theDeviceQueries[0].size, sizeof(DISPLAY_DEVICEW));
}

TEST_F(MonitorByNumberContract, AsksForThatDevicesCurrentMode)
{
    theDisplays.resize(5, {{0, 0, 10, 10}});
    CRect rect;
    ASSERT_EQ(CSFunc::s_F_n_GetScreenRectByID(3, rect), 1);
    ASSERT_EQ(theModeQueries.size(), 1u);
    EXPECT_EQ(theModeQueries[0].name, NameOf(3));
    EXPECT_EQ(theModeQueries[0].mode, ENUM_CURRENT_SETTINGS);
    // The platform writes as much as these two announce.
    EXPECT_EQ(theModeQueries[0].size, sizeof(DEVMODEW));
    EXPECT_EQ(theModeQueries[0].extra, 0);
}

TEST_F(MonitorByNumberContract, IsNonePastTheLastDeviceAndLeavesTheRectangleAlone)
{
    theDisplays = {{{0, 0, 1920, 1080}}, {{1920, 0, 3840, 1080}}};
    for (const unsigned long number : {2ul, 3ul, 0x7FFFFFFFul, 0xFFFFFFFFul})
    {
        CRect rect = kUntouched;
        EXPECT_EQ(CSFunc::s_F_n_GetScreenRectByID(number, rect), 0) << number;
        EXPECT_EQ(TextOf(rect), TextOf(kUntouched)) << number;
        EXPECT_EQ(theDeviceQueries.back().number, number);
    }
}

TEST_F(MonitorByNumberContract, IsNoneWithoutACurrentModeAndLeavesTheRectangleAlone)
{
    theDisplays = {{{0, 0, 1920, 1080}}, {{1920, 0, 3840, 1080}, false}, {{3840, 0, 3850, 10}}};
    CRect rect = kUntouched;
    EXPECT_EQ(CSFunc::s_F_n_GetScreenRectByID(1, rect), 0);
    EXPECT_EQ(TextOf(rect), TextOf(kUntouched));
    // It does not hide those behind it.
    EXPECT_EQ(CSFunc::s_F_n_GetScreenRectByID(2, rect), 1);
    EXPECT_EQ(TextOf(rect), "3840,0,3850,10");
}

// ---- The monitor of a window -------------------------------------------------------------------

/// A window of the platform's own, hidden, at this place on the desktop.
class PlacedWindow
{
public:
    explicit PlacedWindow(const RECT& place, HWND parent = nullptr)
    {
        const DWORD style = parent != nullptr ? WS_CHILD : WS_POPUP;
        const HWND window = CreateWindowExW(0, L"STATIC", L"contract", style, place.left, place.top,
                                            place.right - place.left, place.bottom - place.top,
                                            parent, nullptr, GetModuleHandleW(nullptr), nullptr);
        vm_window.Attach(window);
    }

    CWnd* Object() { return &vm_window; }
    HWND Handle() const { return vm_window.m_hWnd; }

    RECT Place() const
    {
        RECT place = {};
        ::GetWindowRect(vm_window.m_hWnd, &place);
        return place;
    }

private:
    CWnd vm_window;
};

std::string DesktopText()
{
    RECT desktop = {};
    ::GetWindowRect(::GetDesktopWindow(), &desktop);
    return TextOf(desktop);
}

/// Where the window of this place is said to lie.
std::string MonitorTextOfWindowAt(const RECT& place)
{
    PlacedWindow window(place);
    // The expectations are worth something only when the platform has put it there.
    EXPECT_EQ(TextOf(window.Place()), TextOf(place));
    CRect monitor = kUntouched;
    CSFunc::s_S_GetWndPlacedScreenRect(window.Object(), monitor);
    return TextOf(monitor);
}

const RECT kLeft = {100, 100, 300, 300};
const RECT kRight = {300, 100, 500, 300};

using MonitorOfWindowContract = MonitorContract;

TEST_F(MonitorOfWindowContract, IsTheOneThatHoldsAllOfIt)
{
    theDisplays = {{kLeft}, {kRight}};
    EXPECT_EQ(MonitorTextOfWindowAt({120, 120, 200, 180}), TextOf(kLeft));
    EXPECT_EQ(MonitorTextOfWindowAt({320, 120, 400, 180}), TextOf(kRight));
}

TEST_F(MonitorOfWindowContract, IsTheFirstInEnumerationOrderThatHoldsACornerOfAStraddlingWindow)
{
    const RECT straddling = {290, 120, 480, 180};
    theDisplays = {{kLeft}, {kRight}};
    EXPECT_EQ(MonitorTextOfWindowAt(straddling), TextOf(kLeft));
    theDisplays = {{kRight}, {kLeft}};
    EXPECT_EQ(MonitorTextOfWindowAt(straddling), TextOf(kRight));
}

TEST_F(MonitorOfWindowContract, IsFoundByTheTopLeftCornerAlone)
{
    theDisplays = {{kLeft}};
    EXPECT_EQ(MonitorTextOfWindowAt({290, 290, 600, 600}), TextOf(kLeft));
}

TEST_F(MonitorOfWindowContract, IsFoundByTheBottomLeftCornerAlone)
{
    theDisplays = {{kLeft}};
    EXPECT_EQ(MonitorTextOfWindowAt({290, 20, 600, 110}), TextOf(kLeft));
}

TEST_F(MonitorOfWindowContract, IsFoundByTheTopRightCornerAlone)
{
    theDisplays = {{kLeft}};
    EXPECT_EQ(MonitorTextOfWindowAt({20, 290, 110, 600}), TextOf(kLeft));
}

TEST_F(MonitorOfWindowContract, IsFoundByTheBottomRightCornerAlone)
{
    theDisplays = {{kLeft}};
    EXPECT_EQ(MonitorTextOfWindowAt({20, 20, 110, 110}), TextOf(kLeft));
}

TEST_F(MonitorOfWindowContract, GoesByTheDeviceBeforeTheCorner)
{
    // The second device holds the corner that is looked at first, the first one the last.
    const RECT first = {380, 380, 500, 500};
    const RECT second = {0, 0, 200, 200};
    theDisplays = {{first}, {second}};
    EXPECT_EQ(MonitorTextOfWindowAt({100, 100, 400, 400}), TextOf(first));
}

TEST_F(MonitorOfWindowContract, TestsTheLeftSideOnePixelInwards)
{
    theDisplays = {{kLeft}, {kRight}};
    // The corner's column is left + 1; a monitor's right edge lies outside of it.
    EXPECT_EQ(MonitorTextOfWindowAt({298, 120, 400, 180}), TextOf(kLeft));
    EXPECT_EQ(MonitorTextOfWindowAt({299, 120, 400, 180}), TextOf(kRight));
}

TEST_F(MonitorOfWindowContract, TestsTheRightSideOnePixelInwards)
{
    theDisplays = {{kRight}, {kLeft}};
    EXPECT_EQ(MonitorTextOfWindowAt({200, 120, 301, 180}), TextOf(kRight));
    EXPECT_EQ(MonitorTextOfWindowAt({200, 120, 300, 180}), TextOf(kLeft));
}

TEST_F(MonitorOfWindowContract, TestsTheTopSideOnePixelInwards)
{
    const RECT below = {100, 300, 300, 500};
    theDisplays = {{kLeft}, {below}};
    EXPECT_EQ(MonitorTextOfWindowAt({120, 298, 180, 400}), TextOf(kLeft));
    EXPECT_EQ(MonitorTextOfWindowAt({120, 299, 180, 400}), TextOf(below));
}

TEST_F(MonitorOfWindowContract, TestsTheBottomSideOnePixelInwards)
{
    const RECT below = {100, 300, 300, 500};
    theDisplays = {{below}, {kLeft}};
    EXPECT_EQ(MonitorTextOfWindowAt({120, 200, 180, 301}), TextOf(below));
    EXPECT_EQ(MonitorTextOfWindowAt({120, 200, 180, 300}), TextOf(kLeft));
}

TEST_F(MonitorOfWindowContract, IsTheDesktopForAWindowOnNoMonitor)
{
    theDisplays = {{kLeft}, {kRight}};
    EXPECT_EQ(MonitorTextOfWindowAt({600, 400, 700, 500}), DesktopText());
    ASSERT_EQ(theDeviceQueries.size(), 3u);
}

TEST_F(MonitorOfWindowContract, IsTheDesktopWhenOnlyTheMiddleOfTheWindowLiesOnAMonitor)
{
    theDisplays = {{kLeft}};
    EXPECT_EQ(MonitorTextOfWindowAt({50, 50, 350, 350}), DesktopText());
    EXPECT_EQ(MonitorTextOfWindowAt({50, 150, 350, 250}), DesktopText());
}

TEST_F(MonitorOfWindowContract, IsTheDesktopWhenThereIsNoDevice)
{
    EXPECT_EQ(MonitorTextOfWindowAt({120, 120, 200, 180}), DesktopText());
    EXPECT_EQ(theDeviceQueries.size(), 1u);
    EXPECT_TRUE(theModeQueries.empty());
}

TEST_F(MonitorOfWindowContract, IsTheDesktopWhenADeviceBeforeItsOwnHasNoCurrentMode)
{
    theDisplays = {{kLeft}, {{0, 0, 9, 9}, false}, {kRight}};
    EXPECT_EQ(MonitorTextOfWindowAt({320, 120, 400, 180}), DesktopText());
    EXPECT_EQ(theDeviceQueries.size(), 2u);
}

TEST_F(MonitorOfWindowContract, IsFoundBeforeADeviceThatHasNoCurrentMode)
{
    theDisplays = {{kLeft}, {{0, 0, 9, 9}, false}, {kRight}};
    EXPECT_EQ(MonitorTextOfWindowAt({120, 120, 200, 180}), TextOf(kLeft));
}

TEST_F(MonitorOfWindowContract, IsSoughtDeviceByDeviceFromNumberZero)
{
    theDisplays.assign(4, {{0, 0, 9, 9}});
    theDisplays.push_back({kLeft});
    theDisplays.push_back({kRight});
    EXPECT_EQ(MonitorTextOfWindowAt({120, 120, 200, 180}), TextOf(kLeft));
    ASSERT_EQ(theDeviceQueries.size(), 5u);
    ASSERT_EQ(theModeQueries.size(), 5u);
    for (DWORD number = 0; number < 5; ++number)
    {
        EXPECT_FALSE(theDeviceQueries[number].hasName);
        EXPECT_EQ(theDeviceQueries[number].number, number);
        EXPECT_EQ(theModeQueries[number].name, NameOf(number));
        EXPECT_EQ(theModeQueries[number].mode, ENUM_CURRENT_SETTINGS);
    }
}

TEST_F(MonitorOfWindowContract, MayLieAtNegativeCoordinates)
{
    const RECT negative = {-1280, -500, 0, 524};
    theDisplays = {{{0, 0, 1920, 1080}}, {negative}};
    EXPECT_EQ(MonitorTextOfWindowAt({-700, -400, -200, -100}), TextOf(negative));
}

TEST_F(MonitorOfWindowContract, IsFoundForAWindowWithoutArea)
{
    // Its sides pass each other, and its corners are the pixels around the place.
    theDisplays = {{{200, 200, 201, 201}}};
    EXPECT_EQ(MonitorTextOfWindowAt({199, 199, 199, 199}), "200,200,201,201");
    EXPECT_EQ(MonitorTextOfWindowAt({201, 201, 201, 201}), "200,200,201,201");
    EXPECT_EQ(MonitorTextOfWindowAt({200, 200, 200, 200}), DesktopText());
}

TEST_F(MonitorOfWindowContract, IsFoundByTheScreenPlaceOfAChildWindow)
{
    theDisplays = {{kLeft}, {kRight}};
    const PlacedWindow parent({250, 120, 450, 280});
    PlacedWindow child({100, 20, 140, 60}, parent.Handle());
    ASSERT_EQ(TextOf(child.Place()), "350,140,390,180");
    CRect monitor = kUntouched;
    CSFunc::s_S_GetWndPlacedScreenRect(child.Object(), monitor);
    EXPECT_EQ(TextOf(monitor), TextOf(kRight));
}

TEST_F(MonitorOfWindowContract, IsTheDesktopForANullWindow)
{
    // Monitors all around the origin: a rectangle that was never filled would be found.
    theDisplays = {{{-1000, -1000, 1000, 1000}}};
    CRect monitor = kUntouched;
    CSFunc::s_S_GetWndPlacedScreenRect(nullptr, monitor);
    EXPECT_EQ(TextOf(monitor), DesktopText());
}

TEST_F(MonitorOfWindowContract, IsTheDesktopForAnObjectWithoutAWindow)
{
    theDisplays = {{{-1000, -1000, 1000, 1000}}};
    CWnd none;
    CRect monitor = kUntouched;
    CSFunc::s_S_GetWndPlacedScreenRect(&none, monitor);
    EXPECT_EQ(TextOf(monitor), DesktopText());
}

TEST_F(MonitorOfWindowContract, IsTheDesktopForAWindowThatIsGone)
{
    theDisplays = {{{-1000, -1000, 1000, 1000}}};
    const HWND gone = CreateWindowExW(0, L"STATIC", L"", WS_POPUP, 10, 10, 20, 20, nullptr, nullptr,
                                      GetModuleHandleW(nullptr), nullptr);
    ASSERT_NE(gone, nullptr);
    ASSERT_TRUE(::DestroyWindow(gone));
    CWnd window;
    window.m_hWnd = gone;
    CRect monitor = kUntouched;
    CSFunc::s_S_GetWndPlacedScreenRect(&window, monitor);
    window.m_hWnd = nullptr;
    EXPECT_EQ(TextOf(monitor), DesktopText());
}

// ---- The real screen ---------------------------------------------------------------------------

TEST(RealMonitorContract, ByNumberIsWhatThePlatformSaysOfEachDevice)
{
    DISPLAY_DEVICEW device = {};
    device.cb = sizeof(device);
    unsigned long number = 0;
    int places = 0;
    for (; EnumDisplayDevicesW(nullptr, number, &device, 0); ++number)
    {
        DEVMODEW mode = {};
        mode.dmSize = sizeof(mode);
        const BOOL hasMode = EnumDisplaySettingsW(device.DeviceName, ENUM_CURRENT_SETTINGS, &mode);
        CRect rect = kUntouched;
        EXPECT_EQ(CSFunc::s_F_n_GetScreenRectByID(number, rect), hasMode ? 1 : 0) << number;
        CRect expected = kUntouched;
        if (hasMode)
        {
            ++places;
            const CPoint corner(mode.dmPosition.x, mode.dmPosition.y);
            expected = CRect(corner, CSize(static_cast<int>(mode.dmPelsWidth),
                                           static_cast<int>(mode.dmPelsHeight)));
        }
        EXPECT_EQ(TextOf(rect), TextOf(expected)) << number;
    }
    EXPECT_GT(places, 0);
    CRect rect = kUntouched;
    EXPECT_EQ(CSFunc::s_F_n_GetScreenRectByID(number, rect), 0);
    EXPECT_EQ(TextOf(rect), TextOf(kUntouched));
}

TEST(RealMonitorContract, OfTheFirstDeviceHasThePrimaryScreensSize)
{
    CRect rect;
    ASSERT_EQ(CSFunc::s_F_n_GetScreenRectByID(0, rect), 1);
    EXPECT_EQ(rect.Width(), GetSystemMetrics(SM_CXSCREEN));
    EXPECT_EQ(rect.Height(), GetSystemMetrics(SM_CYSCREEN));
}

TEST(RealMonitorContract, OfAWindowOnThePrimaryScreenIsThatScreen)
{
    CRect screen;
    ASSERT_EQ(CSFunc::s_F_n_GetScreenRectByID(0, screen), 1);
    EXPECT_EQ(MonitorTextOfWindowAt({40, 40, 240, 200}), TextOf(screen));
}

TEST(RealMonitorContract, OfAWindowFarAwayIsTheDesktop)
{
    EXPECT_EQ(MonitorTextOfWindowAt({20000, 20000, 20100, 20100}), DesktopText());
}

TEST(RealMonitorContract, OfTheDesktopWindowIsThePrimaryScreen)
{
    CRect screen;
    ASSERT_EQ(CSFunc::s_F_n_GetScreenRectByID(0, screen), 1);
    CRect monitor = kUntouched;
    CSFunc::s_S_GetWndPlacedScreenRect(CWnd::GetDesktopWindow(), monitor);
    EXPECT_EQ(TextOf(monitor), TextOf(screen));
}

}  // namespace
