/// @file
/// What a client may rely on of the renderer: its fields, its two paths, and what it does when
/// DirectDraw fails. DirectDraw is a fake here except where a test says otherwise.
#include <winsock2.h>

#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "CRender.h"
#include "CSFunc.h"
#include "present/fake_directdraw.h"
#include "present/test_window.h"
#include "support/import_patch.h"
#include "support/output_capture.h"

namespace
{

using ostrel::test::CallLog;
using ostrel::test::FakeDirectDraw;
using ostrel::test::ImportPatch;
using ostrel::test::OutputCapture;
using ostrel::test::TestWindow;
using Bytes = std::vector<unsigned char>;
using Lines = std::vector<std::string>;

const int g_nCanUseDD7AtStart = CRender::vs_nCanUseDD7;

// ---- What the library asks of the platform ------------------------------------------------------

struct Rect
{
    int left, top, right, bottom;
};

bool operator==(const Rect& a, const Rect& b)
{
    return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

std::ostream& operator<<(std::ostream& stream, const Rect& rect)
{
    return stream << '{' << rect.left << ',' << rect.top << ',' << rect.right << ',' << rect.bottom
                  << '}';
}

Rect Of(const RECT& rect)
{
    return {static_cast<int>(rect.left), static_cast<int>(rect.top), static_cast<int>(rect.right),
            static_cast<int>(rect.bottom)};
}

struct Fill
{
    HWND window;
    Rect rect;
    COLORREF colour;
};

struct Stretch
{
    HWND window;
    int stretchMode;
    Rect destination;  // left, top, width, height
    Rect source;       // left, top, width, height
    const void* bits;
    BITMAPINFOHEADER header;
    UINT usage;
    DWORD operation;
};

struct Platform
{
    CallLog* log = nullptr;
    FakeDirectDraw* directDraw = nullptr;
    HRESULT createResult = DD_OK;
    int creations = 0;
    GUID* createDevice = nullptr;
    IID createInterface = {};
    IUnknown* createOuter = nullptr;
    std::vector<Fill> fills;
    std::vector<Stretch> stretches;
    bool stretchFails = false;
    int openContexts = 0;
};

Platform g_platform;

HRESULT WINAPI CreateFake(GUID* device, void** object, REFIID interfaceId, IUnknown* outer)
{
    ++g_platform.creations;
    g_platform.log->push_back("create");
    g_platform.createDevice = device;
    g_platform.createInterface = interfaceId;
    g_platform.createOuter = outer;
    if (g_platform.directDraw == nullptr)
    {
        return DirectDrawCreateEx(device, object, interfaceId, outer);
    }
    if (SUCCEEDED(g_platform.createResult))
    {
        *object = static_cast<IDirectDraw7*>(g_platform.directDraw);
    }
    return g_platform.createResult;
}

int WINAPI RecordFillRect(HDC dc, const RECT* rect, HBRUSH brush)
{
    LOGBRUSH description = {};
    GetObjectW(brush, sizeof(description), &description);
    g_platform.fills.push_back({WindowFromDC(dc), Of(*rect), description.lbColor});
    g_platform.log->push_back("FillRect");
    return FillRect(dc, rect, brush);
}

int WINAPI RecordStretch(HDC dc, int x, int y, int width, int height, int sourceX, int sourceY,
                         int sourceWidth, int sourceHeight, const void* bits,
                         const BITMAPINFO* info, UINT usage, DWORD operation)
{
    g_platform.stretches.push_back({WindowFromDC(dc), GetStretchBltMode(dc),
                                    Rect{x, y, width, height},
                                    Rect{sourceX, sourceY, sourceWidth, sourceHeight}, bits,
                                    info->bmiHeader, usage, operation});
    g_platform.log->push_back("StretchDIBits");
    return g_platform.stretchFails
               ? 0
               : StretchDIBits(dc, x, y, width, height, sourceX, sourceY, sourceWidth, sourceHeight,
                               bits, info, usage, operation);
}

HDC WINAPI RecordGetDC(HWND window)
{
    ++g_platform.openContexts;
    return GetDC(window);
}

int WINAPI RecordReleaseDC(HWND window, HDC dc)
{
    --g_platform.openContexts;
    return ReleaseDC(window, dc);
}

// ---- Pictures -----------------------------------------------------------------------------------

constexpr DWORD kYv12 = 0x32315659;

BITMAPINFOHEADER Header(int width, int height, int bits, DWORD compression)
{
    BITMAPINFOHEADER header = {};
    header.biSize = sizeof(header);
    header.biWidth = width;
    header.biHeight = height;
    header.biPlanes = 1;
    header.biBitCount = static_cast<WORD>(bits);
    header.biCompression = compression;
    return header;
}

struct Yuv
{
    unsigned char y, u, v;
};

constexpr Yuv kRed = {82, 90, 240};
constexpr Yuv kBlue = {41, 240, 110};

/// Y, V, U; the upper half in one colour, the lower half in another.
Bytes Planar(int width, int height, Yuv upper, Yuv lower)
{
    const int n = width * height;
    Bytes picture(static_cast<std::size_t>(n + n / 2));
    for (int i = 0; i < n; ++i)
    {
        picture[static_cast<std::size_t>(i)] = i < n / 2 ? upper.y : lower.y;
    }
    for (int i = 0; i < n / 4; ++i)
    {
        picture[static_cast<std::size_t>(n + i)] = i < n / 8 ? upper.v : lower.v;
        picture[static_cast<std::size_t>(n + n / 4 + i)] = i < n / 8 ? upper.u : lower.u;
    }
    return picture;
}

Bytes RandomBytes(std::size_t size)
{
    static std::mt19937 random(99);
    Bytes bytes(size);
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<unsigned char>(random()); });
    return bytes;
}

bool IsRed(COLORREF pixel)
{
    return GetRValue(pixel) > 200 && GetGValue(pixel) < 60 && GetBValue(pixel) < 60;
}

bool IsBlue(COLORREF pixel)
{
    return GetBValue(pixel) > 200 && GetGValue(pixel) < 60 && GetRValue(pixel) < 60;
}

bool IsZero(const void* memory, std::size_t size)
{
    const auto* bytes = static_cast<const unsigned char*>(memory);
    return std::all_of(bytes, bytes + size, [](unsigned char byte) { return byte == 0; });
}

constexpr int kWindowLeft = 60;
constexpr int kWindowTop = 50;
constexpr int kClientWidth = 200;
constexpr int kClientHeight = 150;
constexpr Rect kWholeClient = {0, 0, kClientWidth, kClientHeight};

class RendererContract : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        s_window = new TestWindow(kWindowLeft, kWindowTop, kClientWidth, kClientHeight);
    }
    static void TearDownTestSuite()
    {
        delete s_window;
        s_window = nullptr;
    }

    void SetUp() override
    {
        CRender::vs_nCanUseDD7 = 1;
        g_platform = Platform();
        g_platform.log = &log;
        g_platform.directDraw = &directDraw;
        UseVideoSurface(64, 48);
        s_window->Move(kWindowLeft, kWindowTop, kClientWidth, kClientHeight);
        s_window->Clear();
    }
    void TearDown() override { EXPECT_EQ(0, g_platform.openContexts); }

    void UseVideoSurface(int pitch, int height)
    {
        directDraw.video.pitch = pitch;
        directDraw.video.bytes.assign(
            static_cast<std::size_t>(pitch * height + 2 * (pitch / 2) * ((height + 1) / 2)), 0xEE);
    }

    static HWND Window() { return s_window->Get(); }
    static void Move(int left, int top, int width, int height)
    {
        s_window->Move(left, top, width, height);
    }

    static COLORREF PixelAt(int x, int y)
    {
        GdiFlush();
        const HDC dc = GetDC(Window());
        const COLORREF pixel = GetPixel(dc, x, y);
        ReleaseDC(Window(), dc);
        return pixel;
    }

    /// A draw of the whole planar 64x48 picture over the whole client area.
    CRender::stDef_DrawInfo Info(bool useDirectDraw)
    {
        CRender::stDef_DrawInfo info = {};
        info.hWnd = Window();
        info.pPicData = planar.data();
        info.pBmpHeader = &header;
        info.rcSource = {0, 0, 64, 48};
        info.bUseDD7 = useDirectDraw;
        info.bFillWnd = true;
        return info;
    }

    /// Gives the renderer all four objects, as a creation would.
    void Equip(CRender& renderer)
    {
        renderer.vm_pDD7 = &directDraw;
        renderer.vm_pPrimary = &directDraw.primary;
        renderer.vm_pVideo = &directDraw.video;
        renderer.vm_pClipper = &directDraw.clipper;
    }

    CallLog Named(const std::string& text) const
    {
        CallLog found;
        std::copy_if(log.begin(), log.end(), std::back_inserter(found),
                     [&](const std::string& line) { return line.find(text) != line.npos; });
        return found;
    }

    static TestWindow* s_window;
    CallLog log;
    FakeDirectDraw directDraw{log};
    BITMAPINFOHEADER header = Header(64, 48, 12, kYv12);
    Bytes planar = Planar(64, 48, kRed, kBlue);

    ImportPatch<decltype(CreateFake)> createPatch{"DirectDrawCreateEx", &CreateFake};
    ImportPatch<decltype(RecordFillRect)> fillPatch{"FillRect", &RecordFillRect};
    ImportPatch<decltype(RecordStretch)> stretchPatch{"StretchDIBits", &RecordStretch};
    ImportPatch<decltype(RecordGetDC)> getPatch{"GetDC", &RecordGetDC};
    ImportPatch<decltype(RecordReleaseDC)> releasePatch{"ReleaseDC", &RecordReleaseDC};
};

TestWindow* RendererContract::s_window = nullptr;

const CallLog kReleases = {"directDraw.Release", "primary.Release", "video.Release",
                           "clipper.Release"};

// ---- The class and its fields -------------------------------------------------------------------

TEST_F(RendererContract, DirectDrawMayBeUsedAtFirst)
{
    EXPECT_EQ(1, g_nCanUseDD7AtStart);
}

TEST_F(RendererContract, FourccIsYv12)
{
    EXPECT_EQ(0x32315659u, CRender::vs_nFccYV12);
}

TEST_F(RendererContract, HasNoVirtualMember)
{
    EXPECT_FALSE(std::is_polymorphic_v<CRender>);
}

TEST_F(RendererContract, FieldsStandInTheirOrder)
{
    const std::size_t fields[] = {
        offsetof(CRender, vm_pBmpHeader), offsetof(CRender, vm_hWnd),
        offsetof(CRender, vm_rcLastShow), offsetof(CRender, vm_nLockErrCount),
        offsetof(CRender, vm_cRGBBuf),    offsetof(CRender, vm_pDD7),
        offsetof(CRender, vm_pPrimary),   offsetof(CRender, vm_pVideo),
        offsetof(CRender, vm_pClipper)};
    EXPECT_EQ(0u, fields[0]);
    EXPECT_TRUE(std::is_sorted(std::begin(fields), std::end(fields)));
    using Info = CRender::stDef_DrawInfo;
    const std::size_t infoFields[] = {
        offsetof(Info, hWnd),       offsetof(Info, nBorder),  offsetof(Info, pPicData),
        offsetof(Info, pBmpHeader), offsetof(Info, rcSource), offsetof(Info, bReserved),
        offsetof(Info, bUseDD7),    offsetof(Info, rcShow),   offsetof(Info, bFillWnd)};
    EXPECT_EQ(0u, infoFields[0]);
    EXPECT_TRUE(std::is_sorted(std::begin(infoFields), std::end(infoFields)));
    EXPECT_EQ(1u, sizeof(Info::bReserved));
    EXPECT_EQ(1u, sizeof(Info::bUseDD7));
    EXPECT_EQ(1u, sizeof(Info::bFillWnd));
}

TEST_F(RendererContract, StartsEmpty)
{
    CRender renderer;
    ASSERT_NE(nullptr, renderer.vm_pBmpHeader);
    EXPECT_TRUE(IsZero(renderer.vm_pBmpHeader, 44));
    EXPECT_EQ(nullptr, renderer.vm_hWnd);
    EXPECT_EQ((Rect{0, 0, 0, 0}), Of(renderer.vm_rcLastShow));
    EXPECT_EQ(0, renderer.vm_nLockErrCount);
    EXPECT_EQ(nullptr, renderer.vm_cRGBBuf.m_F_p_GetMemPoint());
    EXPECT_EQ(0u, renderer.vm_cRGBBuf.m_F_n_GetMemSize());
    EXPECT_EQ(nullptr, renderer.vm_pDD7);
    EXPECT_EQ(nullptr, renderer.vm_pPrimary);
    EXPECT_EQ(nullptr, renderer.vm_pVideo);
    EXPECT_EQ(nullptr, renderer.vm_pClipper);
}

TEST_F(RendererContract, AssignmentAndCopySharesEverything)
{
    CRender source;
    Equip(source);
    source.vm_hWnd = Window();
    source.vm_rcLastShow = {1, 2, 3, 4};
    source.vm_nLockErrCount = 2;
    source.vm_cRGBBuf.m_F_p_MemAlloc(100);
    const auto expectShared = [&](CRender& copy)
    {
        EXPECT_EQ(source.vm_pBmpHeader, copy.vm_pBmpHeader);
        EXPECT_EQ(source.vm_hWnd, copy.vm_hWnd);
        EXPECT_EQ((Rect{1, 2, 3, 4}), Of(copy.vm_rcLastShow));
        EXPECT_EQ(2, copy.vm_nLockErrCount);
        EXPECT_EQ(source.vm_cRGBBuf.m_pMem, copy.vm_cRGBBuf.m_pMem);
        EXPECT_EQ(100u, copy.vm_cRGBBuf.m_nMemSize);
        EXPECT_EQ(source.vm_pDD7, copy.vm_pDD7);
        EXPECT_EQ(source.vm_pPrimary, copy.vm_pPrimary);
        EXPECT_EQ(source.vm_pVideo, copy.vm_pVideo);
        EXPECT_EQ(source.vm_pClipper, copy.vm_pClipper);
    };

    CRender target;
    alignas(CRender) unsigned char own[sizeof(CRender)];
    std::memcpy(own, &target, sizeof(own));
    target = source;
    expectShared(target);
    // Give the target back what it alone must free.
    std::memcpy(static_cast<void*>(&target), own, sizeof(own));

    // Never destroyed, for what it holds is the source's.
    alignas(CRender) unsigned char place[sizeof(CRender)];
    expectShared(*new (place) CRender(source));
    EXPECT_TRUE(log.empty());
}

// ---- m_F_n_InitDD7 ------------------------------------------------------------------------------

/// A renderer ready for m_F_n_InitDD7().
void Prepare(CRender& renderer, HWND window, int width, int height)
{
    renderer.vm_hWnd = window;
    renderer.vm_pBmpHeader->bmiHeader.biWidth = width;
    renderer.vm_pBmpHeader->bmiHeader.biHeight = height;
}

TEST_F(RendererContract, InitDoesNothingAndReturns1WhenDirectDrawIsOff)
{
    CRender renderer;
    Prepare(renderer, Window(), 64, 48);
    CRender::vs_nCanUseDD7 = 0;
    EXPECT_EQ(1, renderer.m_F_n_InitDD7());
    EXPECT_EQ(0, g_platform.creations);
    EXPECT_EQ(nullptr, renderer.vm_pDD7);
    EXPECT_EQ(Window(), renderer.vm_hWnd);
    EXPECT_EQ(64, renderer.vm_pBmpHeader->bmiHeader.biWidth);
}

TEST_F(RendererContract, InitCreatesEverythingInOrderAndReturns1)
{
    CRender renderer;
    Prepare(renderer, Window(), 64, 48);
    OutputCapture capture;
    EXPECT_EQ(1, renderer.m_F_n_InitDD7());
    EXPECT_EQ(
        (CallLog{"create", "directDraw.SetCooperativeLevel", "directDraw.CreateSurface primary",
                 "directDraw.CreateClipper 0", "clipper.SetHWnd 0", "primary.SetClipper",
                 "directDraw.CreateSurface video"}),
        log);
    EXPECT_EQ(Lines{}, capture.Texts());
    EXPECT_EQ(&directDraw, renderer.vm_pDD7);
    EXPECT_EQ(&directDraw.primary, renderer.vm_pPrimary);
    EXPECT_EQ(&directDraw.video, renderer.vm_pVideo);
    EXPECT_EQ(&directDraw.clipper, renderer.vm_pClipper);
    EXPECT_FALSE(directDraw.isAggregated);
}

TEST_F(RendererContract, InitAsksForTheDefaultDevicesDirectDraw7)
{
    CRender renderer;
    Prepare(renderer, Window(), 64, 48);
    renderer.m_F_n_InitDD7();
    EXPECT_EQ(nullptr, g_platform.createDevice);
    const IID directDraw7 = {
        0x15e65ec0, 0x3b9c, 0x11d2, {0xb9, 0x2f, 0x00, 0x60, 0x97, 0x97, 0xea, 0x5b}};
    EXPECT_TRUE(IsEqualIID(directDraw7, g_platform.createInterface));
    EXPECT_EQ(nullptr, g_platform.createOuter);
}

TEST_F(RendererContract, InitCooperatesNormallyAndBindsTheClipperToTheWindow)
{
    CRender renderer;
    Prepare(renderer, Window(), 64, 48);
    renderer.m_F_n_InitDD7();
    EXPECT_EQ(Window(), directDraw.window);
    EXPECT_EQ(static_cast<DWORD>(DDSCL_NORMAL), directDraw.cooperativeFlags);
    EXPECT_EQ(Window(), directDraw.clipper.window);
    EXPECT_EQ(&directDraw.clipper, directDraw.primary.clipper);
}

TEST_F(RendererContract, InitDescribesThePrimarySurfaceInVideoMemory)
{
    CRender renderer;
    Prepare(renderer, Window(), 64, 48);
    renderer.m_F_n_InitDD7();
    DDSURFACEDESC2 expected;
    std::memset(&expected, 0, sizeof(expected));
    ASSERT_EQ(136u, sizeof(expected));
    expected.dwSize = 136;
    expected.dwFlags = DDSD_CAPS;
    expected.ddsCaps.dwCaps = 0x4200;
    EXPECT_EQ(0, std::memcmp(&expected, &directDraw.primaryDescription, sizeof(expected)));
}

TEST_F(RendererContract, InitDescribesAnOffscreenYv12SurfaceOfThePicturesSize)
{
    CRender renderer;
    Prepare(renderer, Window(), 64, 48);
    renderer.m_F_n_InitDD7();
    DDSURFACEDESC2 expected;
    std::memset(&expected, 0, sizeof(expected));
    expected.dwSize = 136;
    expected.dwFlags = 0x1007;
    expected.dwWidth = 64;
    expected.dwHeight = 48;
    expected.ddpfPixelFormat.dwSize = 32;
    expected.ddpfPixelFormat.dwFlags = DDPF_FOURCC;
    expected.ddpfPixelFormat.dwFourCC = kYv12;
    expected.ddpfPixelFormat.dwYUVBitCount = 8;
    expected.ddsCaps.dwCaps = DDSCAPS_OFFSCREENPLAIN;
    EXPECT_EQ(0, std::memcmp(&expected, &directDraw.videoDescription, sizeof(expected)));
}

TEST_F(RendererContract, InitReportsThatDirectDrawCannotBeCreated)
{
    CRender renderer;
    Prepare(renderer, Window(), 64, 48);
    g_platform.createResult = DDERR_GENERIC;
    OutputCapture capture;
    EXPECT_EQ(0, renderer.m_F_n_InitDD7());
    EXPECT_EQ(Lines{"DirectDrawCreateEx err=" + std::to_string(DDERR_GENERIC) + "\n"},
              capture.Texts());
    EXPECT_EQ(CallLog{"create"}, log);
    EXPECT_EQ(nullptr, renderer.vm_pDD7);
}

TEST_F(RendererContract, InitReportsARefusedCooperationAndLeavesWhatItCreated)
{
    CRender renderer;
    Prepare(renderer, Window(), 64, 48);
    directDraw.cooperativeResult = DDERR_EXCLUSIVEMODEALREADYSET;
    OutputCapture capture;
    EXPECT_EQ(0, renderer.m_F_n_InitDD7());
    EXPECT_EQ(Lines{"SetCooperativeLevel err=" +
                    std::to_string(static_cast<int>(DDERR_EXCLUSIVEMODEALREADYSET)) + "\n"},
              capture.Texts());
    EXPECT_EQ((CallLog{"create", "directDraw.SetCooperativeLevel"}), log);
    EXPECT_EQ(&directDraw, renderer.vm_pDD7);
    EXPECT_EQ(nullptr, renderer.vm_pPrimary);
    EXPECT_EQ(Window(), renderer.vm_hWnd);
    EXPECT_EQ(1, CRender::vs_nCanUseDD7);
}

TEST_F(RendererContract, InitReportsAMissingPrimarySurfaceAndLeavesWhatItCreated)
{
    CRender renderer;
    Prepare(renderer, Window(), 64, 48);
    directDraw.primaryResult = DDERR_NOEXCLUSIVEMODE;
    OutputCapture capture;
    EXPECT_EQ(0, renderer.m_F_n_InitDD7());
    EXPECT_EQ(Lines{"CreateSurface Primary err=" +
                    std::to_string(static_cast<int>(DDERR_NOEXCLUSIVEMODE)) + "\n"},
              capture.Texts());
    EXPECT_EQ("directDraw.CreateSurface primary", log.back());
    EXPECT_EQ(&directDraw, renderer.vm_pDD7);
    EXPECT_EQ(nullptr, renderer.vm_pPrimary);
    EXPECT_EQ(nullptr, renderer.vm_pClipper);
    EXPECT_EQ(nullptr, renderer.vm_pVideo);
}

TEST_F(RendererContract, InitReportsAMissingVideoSurfaceAndLeavesWhatItCreated)
{
    CRender renderer;
    Prepare(renderer, Window(), 64, 48);
    directDraw.videoResult = DDERR_INVALIDPIXELFORMAT;
    OutputCapture capture;
    EXPECT_EQ(0, renderer.m_F_n_InitDD7());
    EXPECT_EQ(Lines{"CreateSurface Video err=" +
                    std::to_string(static_cast<int>(DDERR_INVALIDPIXELFORMAT)) + "\n"},
              capture.Texts());
    EXPECT_EQ(&directDraw, renderer.vm_pDD7);
    EXPECT_EQ(&directDraw.primary, renderer.vm_pPrimary);
    EXPECT_EQ(&directDraw.clipper, renderer.vm_pClipper);
    EXPECT_EQ(nullptr, renderer.vm_pVideo);
    EXPECT_TRUE(Named("Release").empty());
}

TEST_F(RendererContract, InitDoesNotCheckTheClipper)
{
    directDraw.clipper.setHWndResult = E_FAIL;
    directDraw.primary.setClipperResult = E_FAIL;
    OutputCapture capture;
    {
        CRender renderer;
        Prepare(renderer, Window(), 64, 48);
        EXPECT_EQ(1, renderer.m_F_n_InitDD7());
        EXPECT_EQ(&directDraw.video, renderer.vm_pVideo);
    }
    directDraw.clipperResult = E_FAIL;
    CRender renderer;
    Prepare(renderer, Window(), 64, 48);
    EXPECT_EQ(1, renderer.m_F_n_InitDD7());
    EXPECT_EQ(nullptr, renderer.vm_pClipper);
    EXPECT_EQ(&directDraw.video, renderer.vm_pVideo);
    EXPECT_EQ(Lines{}, capture.Texts());
}

// ---- m_S_UninitDD7 and the destructor -----------------------------------------------------------

TEST_F(RendererContract, UninitReleasesInOrderAndResets)
{
    CRender renderer;
    Equip(renderer);
    renderer.vm_hWnd = Window();
    renderer.vm_rcLastShow = {1, 2, 3, 4};
    renderer.vm_nLockErrCount = 2;
    renderer.vm_cRGBBuf.m_F_p_MemAlloc(100);
    std::memset(renderer.vm_pBmpHeader, 0x77, 44);
    const BITMAPINFO* const block = renderer.vm_pBmpHeader;
    renderer.m_S_UninitDD7();
    EXPECT_EQ(kReleases, log);
    EXPECT_EQ(nullptr, renderer.vm_pDD7);
    EXPECT_EQ(nullptr, renderer.vm_pPrimary);
    EXPECT_EQ(nullptr, renderer.vm_pVideo);
    EXPECT_EQ(nullptr, renderer.vm_pClipper);
    EXPECT_EQ(block, renderer.vm_pBmpHeader);
    EXPECT_TRUE(IsZero(block, 44));
    EXPECT_EQ(nullptr, renderer.vm_hWnd);
    EXPECT_EQ(nullptr, renderer.vm_cRGBBuf.m_pMem);
    EXPECT_EQ(0u, renderer.vm_cRGBBuf.m_nMemSize);
}

TEST_F(RendererContract, UninitKeepsLastShowAndLockErrors)
{
    CRender renderer;
    renderer.vm_rcLastShow = {1, 2, 3, 4};
    renderer.vm_nLockErrCount = 2;
    renderer.m_S_UninitDD7();
    EXPECT_EQ((Rect{1, 2, 3, 4}), Of(renderer.vm_rcLastShow));
    EXPECT_EQ(2, renderer.vm_nLockErrCount);
    EXPECT_EQ(1, CRender::vs_nCanUseDD7);
}

TEST_F(RendererContract, UninitReleasesOnlyWhatIsPresentAndOnlyOnce)
{
    CRender renderer;
    renderer.vm_pPrimary = &directDraw.primary;
    renderer.vm_pClipper = &directDraw.clipper;
    renderer.m_S_UninitDD7();
    renderer.m_S_UninitDD7();
    EXPECT_EQ((CallLog{"primary.Release", "clipper.Release"}), log);
}

TEST_F(RendererContract, DestructorReleasesTheObjects)
{
    {
        CRender renderer;
        Equip(renderer);
    }
    EXPECT_EQ(kReleases, log);
}

// ---- Validation ---------------------------------------------------------------------------------

TEST_F(RendererContract, InvalidDrawUninitialisesAndFails)
{
    BITMAPINFOHEADER noWidth = Header(0, 48, 12, kYv12);
    BITMAPINFOHEADER noHeight = Header(64, 0, 12, kYv12);
    const HWND dead = CreateWindowExW(0, L"STATIC", L"", WS_POPUP, 0, 0, 10, 10, nullptr, nullptr,
                                      nullptr, nullptr);
    DestroyWindow(dead);
    for (const bool useDirectDraw : {false, true})
    {
        std::vector<CRender::stDef_DrawInfo> invalid(6, Info(useDirectDraw));
        invalid[0].pPicData = nullptr;
        invalid[1].pBmpHeader = nullptr;
        invalid[2].pBmpHeader = &noWidth;
        invalid[3].pBmpHeader = &noHeight;
        invalid[4].hWnd = nullptr;
        invalid[5].hWnd = dead;
        for (std::size_t i = 0; i < invalid.size(); ++i)
        {
            SCOPED_TRACE(i);
            log.clear();
            CRender renderer;
            Equip(renderer);
            renderer.vm_hWnd = Window();
            renderer.vm_rcLastShow = {1, 2, 3, 4};
            renderer.vm_cRGBBuf.m_F_p_MemAlloc(100);
            renderer.vm_pBmpHeader->bmiHeader = header;
            EXPECT_FALSE(renderer.m_F_b_DrawPicture(invalid[i]));
            EXPECT_EQ(kReleases, log);
            EXPECT_EQ(nullptr, renderer.vm_hWnd);
            EXPECT_TRUE(IsZero(renderer.vm_pBmpHeader, 44));
            EXPECT_EQ(nullptr, renderer.vm_cRGBBuf.m_pMem);
            EXPECT_EQ((Rect{1, 2, 3, 4}), Of(renderer.vm_rcLastShow));
            EXPECT_EQ(1, CRender::vs_nCanUseDD7);
        }
    }
}

TEST_F(RendererContract, EmptyClientAreaFailsWithoutUninitialising)
{
    Move(kWindowLeft, kWindowTop, 0, 0);
    RECT client = {};
    GetClientRect(Window(), &client);
    ASSERT_TRUE(IsRectEmpty(&client));
    for (const bool useDirectDraw : {false, true})
    {
        log.clear();
        CRender renderer;
        Equip(renderer);
        renderer.vm_hWnd = Window();
        renderer.vm_cRGBBuf.m_F_p_MemAlloc(100);
        renderer.vm_pBmpHeader->bmiHeader = header;
        EXPECT_FALSE(renderer.m_F_b_DrawPicture(Info(useDirectDraw)));
        EXPECT_EQ(CallLog{}, log);
        EXPECT_EQ(&directDraw, renderer.vm_pDD7);
        EXPECT_EQ(Window(), renderer.vm_hWnd);
        EXPECT_EQ(0, std::memcmp(&header, renderer.vm_pBmpHeader, 40));
        EXPECT_EQ(100u, renderer.vm_cRGBBuf.m_nMemSize);
    }
}

// ---- The destination ----------------------------------------------------------------------------

TEST_F(RendererContract, EmptyDestinationWithFillTakesTheWholeClientArea)
{
    CRender renderer;
    auto info = Info(false);
    info.rcSource = {0, 0, 64, 10};
    for (const RECT& empty : {RECT{0, 0, 0, 0}, RECT{7, 7, 7, 90}, RECT{90, 80, 10, 20}})
    {
        info.rcShow = empty;
        renderer.vm_rcLastShow = {};
        EXPECT_TRUE(renderer.m_F_b_DrawPicture(info));
        EXPECT_EQ(kWholeClient, Of(renderer.vm_rcLastShow));
    }
}

TEST_F(RendererContract, EmptyDestinationWithoutFillIsFittedToTheSourceRectangle)
{
    CRender renderer;
    auto info = Info(false);
    info.bFillWnd = false;
    info.rcSource = {4, 6, 44, 26};  // 40x20, unlike the picture
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(info));
    EXPECT_EQ((Rect{0, 25, 200, 125}), Of(renderer.vm_rcLastShow));
    ASSERT_EQ(1u, g_platform.stretches.size());
    EXPECT_EQ((Rect{0, 25, 200, 100}), g_platform.stretches[0].destination);
    EXPECT_EQ((Rect{4, 6, 40, 20}), g_platform.stretches[0].source);
}

TEST_F(RendererContract, GivenDestinationIsNeverFitted)
{
    for (const bool fill : {false, true})
    {
        CRender renderer;
        auto info = Info(false);
        info.bFillWnd = fill;
        info.rcShow = {10, 20, 190, 40};
        EXPECT_TRUE(renderer.m_F_b_DrawPicture(info));
        EXPECT_EQ((Rect{10, 20, 190, 40}), Of(renderer.vm_rcLastShow));
    }
}

TEST_F(RendererContract, BorderIsTakenOffBeforeFitting)
{
    CRender renderer;
    auto info = Info(false);
    info.bFillWnd = false;
    info.nBorder = 10;
    info.rcSource = {0, 0, 40, 20};
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(info));
    EXPECT_EQ((Rect{10, 30, 190, 120}), Of(renderer.vm_rcLastShow));
}

TEST_F(RendererContract, BorderThatLeavesNothingIsSurvived)
{
    for (const bool useDirectDraw : {false, true})
    {
        for (const int border : {75, 100, 500, INT_MAX, INT_MIN})
        {
            for (const bool fill : {false, true})
            {
                CRender renderer;
                auto info = Info(useDirectDraw);
                info.bFillWnd = fill;
                info.nBorder = border;
                CRender::vs_nCanUseDD7 = 1;
                renderer.m_F_b_DrawPicture(info);
                EXPECT_EQ(0, g_platform.openContexts) << border;
            }
        }
    }
}

TEST_F(RendererContract, SourceWithoutHeightIsSurvived)
{
    for (const bool useDirectDraw : {false, true})
    {
        CRender renderer;
        auto info = Info(useDirectDraw);
        info.bFillWnd = false;
        info.rcSource = {0, 5, 64, 5};
        renderer.m_F_b_DrawPicture(info);
        const Rect whole = useDirectDraw ? Rect{kWindowLeft, kWindowTop, kWindowLeft + kClientWidth,
                                                kWindowTop + kClientHeight}
                                         : kWholeClient;
        EXPECT_EQ(whole, Of(renderer.vm_rcLastShow));
        EXPECT_EQ(0, g_platform.openContexts);
    }
}

// ---- The GDI path -------------------------------------------------------------------------------

TEST_F(RendererContract, GdiDrawStretchesTheConvertedPicture)
{
    CRender renderer;
    auto info = Info(false);
    info.rcShow = {10, 20, 110, 80};
    info.nBorder = 3;
    info.rcSource = {2, 4, 34, 28};
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(info));
    ASSERT_EQ(1u, g_platform.stretches.size());
    const Stretch& call = g_platform.stretches[0];
    EXPECT_EQ(Window(), call.window);
    EXPECT_EQ(COLORONCOLOR, call.stretchMode);
    EXPECT_EQ((Rect{13, 23, 94, 54}), call.destination);
    EXPECT_EQ((Rect{2, 4, 32, 24}), call.source);
    EXPECT_EQ(renderer.vm_cRGBBuf.m_pMem, call.bits);
    EXPECT_NE(nullptr, call.bits);
    EXPECT_EQ(0, std::memcmp(renderer.vm_pBmpHeader, &call.header, 40));
    EXPECT_EQ(static_cast<UINT>(DIB_RGB_COLORS), call.usage);
    EXPECT_EQ(static_cast<DWORD>(SRCCOPY), call.operation);
    EXPECT_EQ(0, g_platform.creations);
}

TEST_F(RendererContract, GdiDrawDoesNotLookAtTheResultOfTheStretch)
{
    CRender renderer;
    g_platform.stretchFails = true;
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(Info(false)));
}

TEST_F(RendererContract, PlanarHeaderIsKeptRewrittenTo24BitRgb)
{
    CRender renderer;
    header.biXPelsPerMeter = 1234;
    header.biSizeImage = 77;
    header.biClrUsed = 5;
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(Info(false)));
    BITMAPINFOHEADER expected = header;
    expected.biBitCount = 24;
    expected.biCompression = 0;
    expected.biSizeImage = 64 * 48 * 3;
    EXPECT_EQ(0, std::memcmp(&expected, renderer.vm_pBmpHeader, 40));
    EXPECT_EQ(64u * 48u * 3u, renderer.vm_cRGBBuf.m_nMemSize);
    EXPECT_EQ(12, header.biBitCount);
    EXPECT_EQ(kYv12, header.biCompression);
}

TEST_F(RendererContract, PlanarHeaderThatDoesNotSay24BitsIsCopiedAndResizedOnEveryCall)
{
    CRender renderer;
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(Info(false)));
    header.biXPelsPerMeter = 4321;
    renderer.vm_cRGBBuf.m_F_p_MemAlloc(5);
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(Info(false)));
    EXPECT_EQ(4321, renderer.vm_pBmpHeader->bmiHeader.biXPelsPerMeter);
    EXPECT_EQ(64u * 48u * 3u, renderer.vm_cRGBBuf.m_nMemSize);
}

TEST_F(RendererContract, PlanarHeaderThatSays24BitsIsCopiedOnce)
{
    CRender renderer;
    header.biBitCount = 24;
    header.biXPelsPerMeter = 1;
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(Info(false)));
    const unsigned char* const buffer = renderer.vm_cRGBBuf.m_pMem;
    header.biXPelsPerMeter = 2;
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(Info(false)));
    EXPECT_EQ(1, renderer.vm_pBmpHeader->bmiHeader.biXPelsPerMeter);
    EXPECT_EQ(buffer, renderer.vm_cRGBBuf.m_pMem);
}

TEST_F(RendererContract, AnyCompressionButNoneMeansPlanar)
{
    for (const DWORD compression : {1u, 3u, 0x59565955u, 0xFFFFFFFFu})
    {
        CRender renderer;
        header.biCompression = compression;
        EXPECT_TRUE(renderer.m_F_b_DrawPicture(Info(false)));
        EXPECT_EQ(64u * 48u * 3u, renderer.vm_cRGBBuf.m_nMemSize);
        EXPECT_EQ(renderer.vm_cRGBBuf.m_pMem, g_platform.stretches.back().bits);
        EXPECT_EQ(0u, renderer.vm_pBmpHeader->bmiHeader.biCompression);
    }
}

TEST_F(RendererContract, RgbPictureIsDrawnFromTheCallersBitsAndFreesTheBuffer)
{
    CRender renderer;
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(Info(false)));
    Bytes bits(64 * 48 * 4, 0x40);
    BITMAPINFOHEADER rgb = Header(64, 48, 32, BI_RGB);
    auto info = Info(false);
    info.pPicData = bits.data();
    info.pBmpHeader = &rgb;
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(info));
    EXPECT_EQ(bits.data(), g_platform.stretches.back().bits);
    EXPECT_EQ(nullptr, renderer.vm_cRGBBuf.m_pMem);
    EXPECT_EQ(0u, renderer.vm_cRGBBuf.m_nMemSize);
    EXPECT_EQ(0, std::memcmp(&rgb, renderer.vm_pBmpHeader, 40));
    EXPECT_EQ(RGB(0x40, 0x40, 0x40), PixelAt(100, 70));
}

TEST_F(RendererContract, HeaderIsComparedByHeightWidthAndBitCountOnly)
{
    CRender renderer;
    Bytes bits(64 * 48 * 4, 0x40);
    BITMAPINFOHEADER rgb = Header(64, 48, 32, BI_RGB);
    auto info = Info(false);
    info.pPicData = bits.data();
    info.pBmpHeader = &rgb;
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(info));
    rgb.biXPelsPerMeter = 9;
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(info));
    EXPECT_EQ(0, renderer.vm_pBmpHeader->bmiHeader.biXPelsPerMeter);
    const BITMAPINFOHEADER changes[] = {Header(32, 48, 32, BI_RGB), Header(32, 24, 32, BI_RGB),
                                        Header(32, 24, 24, BI_RGB)};
    for (const BITMAPINFOHEADER& changed : changes)
    {
        rgb = changed;
        rgb.biXPelsPerMeter = 9;
        EXPECT_TRUE(renderer.m_F_b_DrawPicture(info));
        EXPECT_EQ(0, std::memcmp(&rgb, renderer.vm_pBmpHeader, 40));
    }
}

TEST_F(RendererContract, PlanarPictureAfterAnRgbPictureWithTheSameHeaderIsConverted)
{
    CRender renderer;
    Bytes bits(64 * 48 * 3, 0x40);
    BITMAPINFOHEADER rgb = Header(64, 48, 24, BI_RGB);
    auto info = Info(false);
    info.pPicData = bits.data();
    info.pBmpHeader = &rgb;
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(info));
    header.biBitCount = 24;
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(Info(false)));
    EXPECT_EQ(64u * 48u * 3u, renderer.vm_cRGBBuf.m_nMemSize);
    EXPECT_EQ(renderer.vm_cRGBBuf.m_pMem, g_platform.stretches.back().bits);
    EXPECT_TRUE(IsBlue(PixelAt(100, 20)));
    EXPECT_TRUE(IsRed(PixelAt(100, 130)));
}

TEST_F(RendererContract, GdiDrawAfterADirectDrawDrawOfTheSamePictureIsConverted)
{
    CRender renderer;
    ASSERT_TRUE(renderer.m_F_b_DrawPicture(Info(true)));
    ASSERT_EQ(0, std::memcmp(&header, renderer.vm_pBmpHeader, 40));
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(Info(false)));
    EXPECT_EQ(64u * 48u * 3u, renderer.vm_cRGBBuf.m_nMemSize);
    EXPECT_EQ(renderer.vm_cRGBBuf.m_pMem, g_platform.stretches.back().bits);
    EXPECT_TRUE(IsBlue(PixelAt(100, 20)));
    EXPECT_TRUE(IsRed(PixelAt(100, 130)));
}

TEST_F(RendererContract, PlanarPictureOfPositiveHeightAppearsUpsideDown)
{
    CRender renderer;
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(Info(false)));
    EXPECT_TRUE(IsBlue(PixelAt(100, 20)));
    EXPECT_TRUE(IsRed(PixelAt(100, 130)));
}

TEST_F(RendererContract, PlanarPictureOfNegativeHeightAppearsUpright)
{
    CRender renderer;
    header.biHeight = -48;
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(Info(false)));
    EXPECT_TRUE(IsRed(PixelAt(100, 20)));
    EXPECT_TRUE(IsBlue(PixelAt(100, 130)));
    EXPECT_EQ(64u * 48u * 3u, renderer.vm_cRGBBuf.m_nMemSize);
    EXPECT_EQ(64u * 48u * 3u, renderer.vm_pBmpHeader->bmiHeader.biSizeImage);
    EXPECT_EQ(-48, renderer.vm_pBmpHeader->bmiHeader.biHeight);
}

// ---- The background -----------------------------------------------------------------------------

TEST_F(RendererContract, BackgroundIsPaintedBlackBeforeThePictureWhenTheDestinationChanges)
{
    CRender renderer;
    auto info = Info(false);
    info.rcShow = {50, 40, 150, 110};
    info.nBorder = 5;
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(info));
    ASSERT_EQ(1u, g_platform.fills.size());
    EXPECT_EQ(Window(), g_platform.fills[0].window);
    EXPECT_EQ((Rect{5, 5, 195, 145}), g_platform.fills[0].rect);
    EXPECT_EQ(0u, g_platform.fills[0].colour);
    EXPECT_EQ((CallLog{"FillRect", "StretchDIBits"}), log);
    EXPECT_EQ((Rect{55, 45, 145, 105}), Of(renderer.vm_rcLastShow));
    EXPECT_EQ(RGB(0, 0, 0), PixelAt(20, 20));
    EXPECT_EQ(RGB(128, 128, 128), PixelAt(2, 2));
    EXPECT_TRUE(IsRed(PixelAt(100, 95)));

    // The same destination again: nothing is painted, not even after a window's move.
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(info));
    Move(kWindowLeft + 20, kWindowTop, kClientWidth, kClientHeight);
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(info));
    EXPECT_EQ(1u, g_platform.fills.size());

    info.nBorder = 6;
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(info));
    ASSERT_EQ(2u, g_platform.fills.size());
    EXPECT_EQ((Rect{6, 6, 194, 144}), g_platform.fills[1].rect);
}

TEST_F(RendererContract, BackgroundIsPaintedAgainWhenTheWindowMovesUnderDirectDraw)
{
    CRender renderer;
    auto info = Info(true);
    info.rcShow = {50, 40, 150, 110};
    info.nBorder = 5;
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(info));
    EXPECT_EQ((Rect{115, 95, 205, 155}), Of(renderer.vm_rcLastShow));
    ASSERT_EQ(1u, g_platform.fills.size());
    EXPECT_EQ(Window(), g_platform.fills[0].window);
    EXPECT_EQ((Rect{5, 5, 195, 145}), g_platform.fills[0].rect);
    EXPECT_EQ(0u, g_platform.fills[0].colour);
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(info));
    EXPECT_EQ(1u, g_platform.fills.size());
    Move(kWindowLeft + 20, kWindowTop + 10, kClientWidth, kClientHeight);
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(info));
    ASSERT_EQ(2u, g_platform.fills.size());
    EXPECT_EQ((Rect{5, 5, 195, 145}), g_platform.fills[1].rect);
    EXPECT_EQ((Rect{135, 105, 225, 165}), Of(renderer.vm_rcLastShow));
}

TEST_F(RendererContract, BackgroundIsPaintedAgainWhenThePathChanges)
{
    CRender renderer;
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(Info(true)));
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(Info(false)));
    EXPECT_EQ(2u, g_platform.fills.size());
    EXPECT_EQ(kWholeClient, Of(renderer.vm_rcLastShow));
}

TEST_F(RendererContract, FirstDestinationThatEqualsTheInitialRectanglePaintsNoBackground)
{
    CRender renderer;
    renderer.vm_rcLastShow = {0, 0, kClientWidth, kClientHeight};
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(Info(false)));
    EXPECT_TRUE(g_platform.fills.empty());
}

// ---- The DirectDraw path ------------------------------------------------------------------------

TEST_F(RendererContract, DirectDrawDrawCopiesAndBlitsInOrder)
{
    CRender renderer;
    auto info = Info(true);
    info.rcShow = {10, 20, 110, 80};
    info.nBorder = 3;
    info.rcSource = {2, 4, 34, 28};
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(info));
    EXPECT_EQ((CallLog{"FillRect", "video.Lock", "video.Unlock", "primary.Blt"}),
              CallLog(log.end() - 4, log.end()));
    EXPECT_TRUE(directDraw.video.lockedWhole);
    EXPECT_EQ(static_cast<DWORD>(DDLOCK_WAIT), directDraw.video.lockFlags);
    DDSURFACEDESC2 expected;
    std::memset(&expected, 0, sizeof(expected));
    expected.dwSize = 136;
    EXPECT_EQ(0, std::memcmp(&expected, &directDraw.video.describedBefore, sizeof(expected)));
    EXPECT_EQ(&directDraw.video, directDraw.primary.bltFrom);
    EXPECT_EQ((Rect{73, 73, 167, 127}), Of(directDraw.primary.bltDestination));
    EXPECT_EQ((Rect{2, 4, 34, 28}), Of(directDraw.primary.bltSource));
    EXPECT_EQ(0x01000000u, directDraw.primary.bltFlags);
    EXPECT_EQ(nullptr, directDraw.primary.bltEffects);
    EXPECT_EQ(planar, directDraw.video.bytes);
    EXPECT_TRUE(g_platform.stretches.empty());
    EXPECT_EQ(nullptr, renderer.vm_cRGBBuf.m_pMem);
}

TEST_F(RendererContract, DirectDrawDrawFitsInScreenCoordinates)
{
    CRender renderer;
    auto info = Info(true);
    info.bFillWnd = false;
    info.nBorder = 10;
    info.rcSource = {4, 6, 44, 26};
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(info));
    EXPECT_EQ((Rect{70, 80, 250, 170}), Of(directDraw.primary.bltDestination));
    EXPECT_EQ((Rect{70, 80, 250, 170}), Of(renderer.vm_rcLastShow));
}

TEST_F(RendererContract, DirectDrawDrawCopiesAnyPictureAsPlanar)
{
    CRender renderer;
    header = Header(64, 48, 32, BI_RGB);
    Bytes bits = RandomBytes(64 * 48 * 4);
    auto info = Info(true);
    info.pPicData = bits.data();
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(info));
    EXPECT_TRUE(
        std::equal(directDraw.video.bytes.begin(), directDraw.video.bytes.end(), bits.begin()));
}

TEST_F(RendererContract, DirectDrawObjectsAreKeptWhileWindowAndSizeStay)
{
    CRender renderer;
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(Info(true)));
    EXPECT_EQ(Window(), renderer.vm_hWnd);
    header.biBitCount = 24;
    header.biCompression = 0;
    header.biXPelsPerMeter = 7;
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(Info(true)));
    EXPECT_EQ(1, g_platform.creations);
    EXPECT_EQ(0, renderer.vm_pBmpHeader->bmiHeader.biXPelsPerMeter);
    EXPECT_EQ(kYv12, renderer.vm_pBmpHeader->bmiHeader.biCompression);
}

TEST_F(RendererContract, DirectDrawObjectsAreRebuiltForAnotherSize)
{
    CRender renderer;
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(Info(true)));
    for (const auto& [width, height] : {std::pair(32, 48), std::pair(32, 24)})
    {
        log.clear();
        renderer.vm_cRGBBuf.m_F_p_MemAlloc(9);
        header.biWidth = width;
        header.biHeight = height;
        EXPECT_TRUE(renderer.m_F_b_DrawPicture(Info(true)));
        ASSERT_LT(4u, log.size());
        EXPECT_EQ(kReleases, CallLog(log.begin(), log.begin() + 4));
        EXPECT_EQ("create", log[4]);
        EXPECT_EQ(static_cast<DWORD>(width), directDraw.videoDescription.dwWidth);
        EXPECT_EQ(static_cast<DWORD>(height), directDraw.videoDescription.dwHeight);
        EXPECT_EQ(0, std::memcmp(&header, renderer.vm_pBmpHeader, 40));
        EXPECT_EQ(nullptr, renderer.vm_cRGBBuf.m_pMem);
        EXPECT_EQ(Window(), renderer.vm_hWnd);
    }
}

TEST_F(RendererContract, DirectDrawObjectsAreRebuiltForAnotherWindow)
{
    CRender renderer;
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(Info(true)));
    const HWND desktop = GetDesktopWindow();
    log.clear();
    auto info = Info(true);
    info.hWnd = desktop;
    info.rcShow = {0, 0, 10, 10};
    info.nBorder = 4;
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(info));
    EXPECT_EQ(kReleases, CallLog(log.begin(), log.begin() + 4));
    EXPECT_EQ(desktop, renderer.vm_hWnd);
    EXPECT_EQ(desktop, directDraw.window);
    EXPECT_EQ(desktop, directDraw.clipper.window);
}

TEST_F(RendererContract, DirectDrawAfterGdiCreatesTheObjects)
{
    CRender renderer;
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(Info(false)));
    EXPECT_EQ(nullptr, renderer.vm_hWnd);
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(Info(true)));
    EXPECT_EQ(1, g_platform.creations);
    EXPECT_EQ(0, std::memcmp(&header, renderer.vm_pBmpHeader, 40));
    EXPECT_EQ(nullptr, renderer.vm_cRGBBuf.m_pMem);
}

TEST_F(RendererContract, GoodLockClearsTheErrorCount)
{
    CRender renderer;
    renderer.vm_nLockErrCount = 4;
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(Info(true)));
    EXPECT_EQ(0, renderer.vm_nLockErrCount);
}

TEST_F(RendererContract, FailedBlitIsNotLookedAt)
{
    CRender renderer;
    renderer.vm_nLockErrCount = 2;
    directDraw.primary.bltResult = DDERR_SURFACELOST;
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(Info(true)));
    EXPECT_EQ(0, renderer.vm_nLockErrCount);
    EXPECT_EQ(&directDraw, renderer.vm_pDD7);
    EXPECT_EQ(1, CRender::vs_nCanUseDD7);
}

TEST_F(RendererContract, NegativeHeightCountsByItsAbsoluteValueUnderDirectDraw)
{
    CRender renderer;
    header.biHeight = -48;
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(Info(true)));
    EXPECT_EQ(64u, directDraw.videoDescription.dwWidth);
    EXPECT_EQ(48u, directDraw.videoDescription.dwHeight);
    EXPECT_TRUE(planar == directDraw.video.bytes);
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(Info(true)));
    EXPECT_EQ(1, g_platform.creations);
}

TEST_F(RendererContract, NegativeWidthIsSurvivedAndNothingIsCopied)
{
    header.biWidth = -64;
    for (const bool useDirectDraw : {false, true})
    {
        CRender renderer;
        renderer.m_F_b_DrawPicture(Info(useDirectDraw));
    }
    EXPECT_EQ(Bytes(directDraw.video.bytes.size(), 0xEE), directDraw.video.bytes);
}

// ---- Lock failures ------------------------------------------------------------------------------

TEST_F(RendererContract, FailedLockRestoresUnlocksAndUninitialises)
{
    CRender renderer;
    directDraw.video.lockResult = DDERR_SURFACELOST;
    EXPECT_FALSE(renderer.m_F_b_DrawPicture(Info(true)));
    const CallLog expected = {"video.Lock",    "video.Restore",      "primary.Restore",
                              "video.Unlock",  "directDraw.Release", "primary.Release",
                              "video.Release", "clipper.Release"};
    ASSERT_LE(expected.size(), log.size());
    EXPECT_EQ(expected,
              CallLog(log.end() - static_cast<std::ptrdiff_t>(expected.size()), log.end()));
    EXPECT_EQ(nullptr, renderer.vm_hWnd);
    EXPECT_TRUE(IsZero(renderer.vm_pBmpHeader, 44));
    EXPECT_EQ(2, renderer.vm_nLockErrCount);
    EXPECT_EQ(1, CRender::vs_nCanUseDD7);
    EXPECT_TRUE(Named("Blt").empty());
}

TEST_F(RendererContract, ThirdFailedLockInARowDisablesDirectDrawAndSaysSoOnce)
{
    CRender renderer;
    directDraw.video.lockResult = DDERR_SURFACELOST;
    OutputCapture capture;
    const int counts[] = {2, 4, 5};
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_EQ(1, CRender::vs_nCanUseDD7);
        EXPECT_EQ(Lines{}, capture.Texts());
        EXPECT_FALSE(renderer.m_F_b_DrawPicture(Info(true)));
        EXPECT_EQ(counts[i], renderer.vm_nLockErrCount);
        EXPECT_EQ(i + 1, g_platform.creations);
    }
    EXPECT_EQ(0, CRender::vs_nCanUseDD7);
    EXPECT_EQ(Lines{"LockErrCount >= 3, disable DD7\n"}, capture.Texts());
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(Info(true)));
    EXPECT_EQ(1u, g_platform.stretches.size());
    EXPECT_EQ(3, g_platform.creations);
    EXPECT_EQ(5, renderer.vm_nLockErrCount);
    EXPECT_EQ(1u, capture.Texts().size());
}

TEST_F(RendererContract, CountOfThreeDisablesDirectDrawAtTheNextFailedLock)
{
    CRender renderer;
    renderer.vm_nLockErrCount = 3;
    directDraw.video.lockResult = DDERR_SURFACELOST;
    EXPECT_FALSE(renderer.m_F_b_DrawPicture(Info(true)));
    EXPECT_EQ(0, CRender::vs_nCanUseDD7);
    EXPECT_EQ(4, renderer.vm_nLockErrCount);
}

TEST_F(RendererContract, GoodLockBetweenFailedOnesKeepsDirectDraw)
{
    CRender renderer;
    for (int round = 0; round < 3; ++round)
    {
        directDraw.video.lockResult = DDERR_SURFACELOST;
        EXPECT_FALSE(renderer.m_F_b_DrawPicture(Info(true)));
        EXPECT_FALSE(renderer.m_F_b_DrawPicture(Info(true)));
        directDraw.video.lockResult = DD_OK;
        EXPECT_TRUE(renderer.m_F_b_DrawPicture(Info(true)));
        EXPECT_EQ(0, renderer.vm_nLockErrCount);
    }
    EXPECT_EQ(1, CRender::vs_nCanUseDD7);
}

TEST_F(RendererContract, LockFailuresAreCountedPerRendererButDisableDirectDrawForAll)
{
    CRender first;
    CRender second;
    directDraw.video.lockResult = DDERR_SURFACELOST;
    EXPECT_FALSE(first.m_F_b_DrawPicture(Info(true)));
    EXPECT_FALSE(first.m_F_b_DrawPicture(Info(true)));
    EXPECT_FALSE(second.m_F_b_DrawPicture(Info(true)));
    EXPECT_EQ(2, second.vm_nLockErrCount);
    EXPECT_EQ(1, CRender::vs_nCanUseDD7);
    EXPECT_FALSE(first.m_F_b_DrawPicture(Info(true)));
    EXPECT_EQ(0, CRender::vs_nCanUseDD7);
    EXPECT_TRUE(second.m_F_b_DrawPicture(Info(true)));
    EXPECT_EQ(1u, g_platform.stretches.size());
}

// ---- Missing objects ----------------------------------------------------------------------------

TEST_F(RendererContract, MissingObjectDisablesDirectDrawAndKeepsTheOthers)
{
    CRender renderer;
    directDraw.videoResult = DDERR_INVALIDPIXELFORMAT;
    auto info = Info(true);
    info.rcShow = {10, 20, 110, 90};
    info.nBorder = 5;
    OutputCapture capture;
    EXPECT_FALSE(renderer.m_F_b_DrawPicture(info));
    EXPECT_EQ(Lines{"CreateSurface Video err=" +
                    std::to_string(static_cast<int>(DDERR_INVALIDPIXELFORMAT)) + "\n"},
              capture.Texts());
    EXPECT_EQ(0, CRender::vs_nCanUseDD7);
    EXPECT_TRUE(IsZero(renderer.vm_pBmpHeader, 44));
    EXPECT_EQ(&directDraw, renderer.vm_pDD7);
    EXPECT_EQ(&directDraw.primary, renderer.vm_pPrimary);
    EXPECT_EQ(&directDraw.clipper, renderer.vm_pClipper);
    EXPECT_TRUE(Named("Release").empty());
    EXPECT_EQ(Window(), renderer.vm_hWnd);
    EXPECT_EQ(0, renderer.vm_nLockErrCount);
}

TEST_F(RendererContract, MissingObjectPaintsTheScreenRectangleLessTwiceTheBorder)
{
    CRender renderer;
    g_platform.createResult = DDERR_GENERIC;
    auto info = Info(true);
    info.rcShow = {10, 20, 110, 90};
    info.nBorder = 5;
    EXPECT_FALSE(renderer.m_F_b_DrawPicture(info));
    EXPECT_EQ((Rect{75, 75, 165, 135}), Of(renderer.vm_rcLastShow));
    ASSERT_EQ(2u, g_platform.fills.size());
    EXPECT_EQ((Rect{5, 5, 195, 145}), g_platform.fills[0].rect);
    EXPECT_EQ((Rect{80, 80, 160, 130}), g_platform.fills[1].rect);
    EXPECT_EQ(Window(), g_platform.fills[1].window);
    EXPECT_EQ(0u, g_platform.fills[1].colour);
}

TEST_F(RendererContract, MissingObjectPaintsEvenWhereTheDestinationStayed)
{
    CRender renderer;
    g_platform.createResult = DDERR_GENERIC;
    auto info = Info(true);
    info.rcShow = {10, 20, 110, 90};
    renderer.vm_rcLastShow = {70, 70, 170, 140};
    EXPECT_FALSE(renderer.m_F_b_DrawPicture(info));
    ASSERT_EQ(1u, g_platform.fills.size());
    EXPECT_EQ((Rect{70, 70, 170, 140}), g_platform.fills[0].rect);
}

TEST_F(RendererContract, EachOfTheFourObjectsIsNeeded)
{
    for (int missing = 0; missing < 4; ++missing)
    {
        SCOPED_TRACE(missing);
        log.clear();
        CRender::vs_nCanUseDD7 = 1;
        CRender renderer;
        Equip(renderer);
        renderer.vm_hWnd = Window();
        renderer.vm_pBmpHeader->bmiHeader = header;
        switch (missing)
        {
            case 0:
                renderer.vm_pDD7 = nullptr;
                break;
            case 1:
                renderer.vm_pPrimary = nullptr;
                break;
            case 2:
                renderer.vm_pVideo = nullptr;
                break;
            default:
                renderer.vm_pClipper = nullptr;
        }
        EXPECT_FALSE(renderer.m_F_b_DrawPicture(Info(true)));
        EXPECT_EQ(0, CRender::vs_nCanUseDD7);
        EXPECT_TRUE(Named("Lock").empty());
        EXPECT_TRUE(Named("Release").empty());
    }
}

TEST_F(RendererContract, AllRenderersUseGdiOnceDirectDrawIsOff)
{
    CRender first;
    g_platform.createResult = DDERR_GENERIC;
    EXPECT_FALSE(first.m_F_b_DrawPicture(Info(true)));
    g_platform.createResult = DD_OK;
    CRender second;
    EXPECT_TRUE(second.m_F_b_DrawPicture(Info(true)));
    EXPECT_TRUE(first.m_F_b_DrawPicture(Info(true)));
    EXPECT_EQ(2u, g_platform.stretches.size());
    EXPECT_EQ(1, g_platform.creations);
    EXPECT_EQ(0, CRender::vs_nCanUseDD7);
}

TEST_F(RendererContract, AnyValueButZeroLetsDirectDrawBeUsed)
{
    CRender renderer;
    CRender::vs_nCanUseDD7 = -3;
    EXPECT_TRUE(renderer.m_F_b_DrawPicture(Info(true)));
    EXPECT_EQ(1, g_platform.creations);
    EXPECT_EQ(-3, CRender::vs_nCanUseDD7);
}

// ---- Fitting ------------------------------------------------------------------------------------

int Wrapped(long long value)
{
    return static_cast<int>(static_cast<unsigned int>(value));
}

/// The stated arithmetic, where it is defined.
int ModelFit(const Rect& source, Rect& target)
{
    const auto ratio = [](const Rect& rect)
    {
        const int hundred = Wrapped(100LL * (rect.right - rect.left));
        return std::abs(hundred / (rect.bottom - rect.top));
    };
    const int sourceRatio = ratio(source);
    if (std::abs(sourceRatio - ratio(target)) < 5)
    {
        return 0;
    }
    const int width = target.right - target.left;
    const int height = target.bottom - target.top;
    const int fitWidth = Wrapped(1LL * height * sourceRatio) / 100;
    if (fitWidth > width)
    {
        const int fitHeight = Wrapped(100LL * width) / sourceRatio;
        target.top += (height - fitHeight) / 2;
        target.bottom = target.top + fitHeight;
    }
    else if (fitWidth < width)
    {
        target.left += (width - fitWidth) / 2;
        target.right = target.left + fitWidth;
    }
    return 1;
}

struct Fitted
{
    int result;
    Rect rect;
};

Fitted Fit(const Rect& source, const Rect& target)
{
    CRender renderer;
    CRect rect(target.left, target.top, target.right, target.bottom);
    const int result = renderer.m_F_n_CalShowRect(
        CRect(source.left, source.top, source.right, source.bottom), rect);
    return {result, Of(rect)};
}

TEST(FittedRectangle, OfANarrowerPictureIsCentredHorizontally)
{
    const Fitted fitted = Fit({0, 0, 400, 300}, {0, 0, 1000, 500});
    EXPECT_EQ(1, fitted.result);
    EXPECT_EQ((Rect{167, 0, 832, 500}), fitted.rect);
}

TEST(FittedRectangle, OfAWiderPictureIsCentredVertically)
{
    const Fitted fitted = Fit({0, 0, 1000, 500}, {0, 0, 400, 300});
    EXPECT_EQ(1, fitted.result);
    EXPECT_EQ((Rect{0, 50, 400, 250}), fitted.rect);
}

TEST(FittedRectangle, ToleratesFourPointsButNotFive)
{
    EXPECT_EQ(0, Fit({0, 0, 133, 100}, {0, 0, 137, 100}).result);
    EXPECT_EQ((Rect{0, 0, 137, 100}), Fit({0, 0, 133, 100}, {0, 0, 137, 100}).rect);
    EXPECT_EQ(0, Fit({0, 0, 137, 100}, {0, 0, 133, 100}).result);
    EXPECT_EQ(1, Fit({0, 0, 133, 100}, {0, 0, 138, 100}).result);
    EXPECT_EQ(1, Fit({0, 0, 138, 100}, {0, 0, 133, 100}).result);
}

TEST(FittedRectangle, ThatNeedsNoChangeIsReportedAsFitted)
{
    // The ratios cut to 105 and 100, but the fitting width is cut to the width there is.
    const Fitted fitted = Fit({0, 0, 105, 100}, {3, 4, 4, 5});
    EXPECT_EQ(1, fitted.result);
    EXPECT_EQ((Rect{3, 4, 4, 5}), fitted.rect);
}

TEST(FittedRectangle, IsTheModelsForManyRectangles)
{
    std::mt19937 random(5);
    CRender renderer;
    int compared = 0;
    const auto compare = [&](const Rect& source, const Rect& target)
    {
        Rect expected = target;
        const int result = ModelFit(source, expected);
        CRect rect(target.left, target.top, target.right, target.bottom);
        const int got = renderer.m_F_n_CalShowRect(
            CRect(source.left, source.top, source.right, source.bottom), rect);
        ++compared;
        if (result != got || !(expected == Of(rect)))
        {
            ADD_FAILURE() << source << " into " << target << ": expected " << result << ' '
                          << expected << ", got " << got << ' ' << Of(rect);
        }
        return !testing::Test::HasFailure();
    };
    for (int width = 1; width <= 32; ++width)
    {
        for (int height = 1; height <= 32; ++height)
        {
            for (int targetWidth = 1; targetWidth <= 32; ++targetWidth)
            {
                for (int targetHeight = 1; targetHeight <= 32; ++targetHeight)
                {
                    const int left = static_cast<int>(random() % 200) - 100;
                    const int top = static_cast<int>(random() % 200) - 100;
                    const Rect source = {top, left, top + width, left + height};
                    const Rect target = {left, top, left + targetWidth, top + targetHeight};
                    // The stated division has no result there.
                    if (100 * width / height == 0)
                    {
                        continue;
                    }
                    if (!compare(source, target))
                    {
                        return;
                    }
                }
            }
        }
    }
    for (int i = 0; i < 200000; ++i)
    {
        const auto side = [&]
        {
            const int magnitude = static_cast<int>(random() % (i % 2 == 0 ? 5000 : 100)) + 1;
            return random() % 4 == 0 ? -magnitude : magnitude;
        };
        const Rect source = {7, 9, 7 + side(), 9 + side()};
        const Rect target = {-3, 11, -3 + side(), 11 + side()};
        const bool isFlat = 100 * (source.right - source.left) / (source.bottom - source.top) == 0;
        if (!isFlat && !compare(source, target))
        {
            return;
        }
    }
    EXPECT_LT(1200000, compared);
}

TEST(FittedRectangle, WrapsAroundIn32Bits)
{
    for (const int width : {30000000, 21474837, 42949673, 100000000, 2000000000})
    {
        for (const int height : {3, 1000, 20000000})
        {
            const Rect source = {0, 0, width, height};
            const Rect target = {0, 0, 1000, 500};
            const int ratio = std::abs(Wrapped(100LL * width) / height);
            if (ratio == 0)
            {
                continue;
            }
            Rect expected = target;
            const int result = ModelFit(source, expected);
            const Fitted fitted = Fit(source, target);
            EXPECT_EQ(result, fitted.result) << source;
            EXPECT_EQ(expected, fitted.rect) << source;
        }
    }
}

TEST(FittedRectangle, IsLeftAloneWhereARectangleHasNoHeight)
{
    const Fitted noSource = Fit({0, 5, 400, 5}, {1, 2, 300, 400});
    EXPECT_EQ(0, noSource.result);
    EXPECT_EQ((Rect{1, 2, 300, 400}), noSource.rect);
    const Fitted noTarget = Fit({0, 0, 400, 300}, {1, 2, 300, 2});
    EXPECT_EQ(0, noTarget.result);
    EXPECT_EQ((Rect{1, 2, 300, 2}), noTarget.rect);
}

TEST(FittedRectangle, SurvivesTheExtremesOf32Bits)
{
    const int values[] = {INT_MIN, INT_MIN + 1, -536870912, -1, 0, 1, 536870912, INT_MAX};
    for (const int left : {INT_MIN, 0, INT_MAX})
    {
        for (const int right : values)
        {
            for (const int bottom : values)
            {
                for (const Rect& other : {Rect{0, 0, 100, 50}, Rect{0, 0, -1, 1},
                                          Rect{0, 0, 1, 200}, Rect{INT_MIN, INT_MIN, 5, -1}})
                {
                    const Rect extreme = {left, left / 2, right, bottom};
                    const int source = Fit(extreme, other).result;
                    EXPECT_TRUE(source == 0 || source == 1);
                    const int target = Fit(other, extreme).result;
                    EXPECT_TRUE(target == 0 || target == 1);
                }
            }
        }
    }
}

// ---- m_S_Convert2RGB ----------------------------------------------------------------------------

/// Memory behind whose last byte the first access faults.
class FencedMemory
{
public:
    FencedMemory()
    {
        vm_pStart = static_cast<unsigned char*>(
            VirtualAlloc(nullptr, kRoom + 4096, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
        DWORD before = 0;
        VirtualProtect(vm_pStart + kRoom, 4096, PAGE_NOACCESS, &before);
    }
    ~FencedMemory() { VirtualFree(vm_pStart, 0, MEM_RELEASE); }
    FencedMemory(const FencedMemory&) = delete;
    FencedMemory& operator=(const FencedMemory&) = delete;

    unsigned char* Place(const Bytes& bytes) const
    {
        unsigned char* const place = vm_pStart + kRoom - bytes.size();
        std::copy(bytes.begin(), bytes.end(), place);
        return place;
    }

private:
    static constexpr std::size_t kRoom = 16384;
    unsigned char* vm_pStart;
};

std::size_t PlanarSize(int width, int height)
{
    return static_cast<std::size_t>(width * height + 2 * (width / 2) * (height / 2));
}

/// The conversion as stated, on the picture's own bytes; -1 where it would read elsewhere.
std::vector<int> ModelConvert(const Bytes& picture, int width, int height, bool upperFirst)
{
    std::vector<int> rgb(static_cast<std::size_t>(width * height * 3), -2);
    const int n = width * height;
    const auto at = [&](int place)
    {
        return place < static_cast<int>(picture.size())
                   ? static_cast<int>(picture[static_cast<std::size_t>(place)])
                   : -1;
    };
    const int width16 = (width + 15) / 16 * 16;
    for (int pair = 0; pair * 2 < height; ++pair)
    {
        for (int step = 0; step < width16; step += 8)
        {
            for (int i = 0; i < 2; ++i)
            {
                const int row = pair * 2 + (upperFirst ? i : 1 - i);
                for (int x = step; x < step + 8; ++x)
                {
                    const int chroma = pair * (width / 2) + x / 2;
                    const int y = at(row * width + x);
                    const int u = at(n + n / 4 + chroma);
                    const int v = at(n + chroma);
                    const int luma = 74 * (y - 16);
                    const int sums[3] = {luma + 129 * (u - 128),
                                         luma - (25 * (u - 128) + 52 * (v - 128)),
                                         luma + 102 * (v - 128)};
                    for (int channel = 0; channel < 3; ++channel)
                    {
                        const std::size_t place =
                            static_cast<std::size_t>((row * width + x) * 3 + channel);
                        if (place < rgb.size())
                        {
                            rgb[place] = y < 0 || u < 0 || v < 0
                                             ? -1
                                             : std::clamp(sums[channel] >> 6, 0, 255);
                        }
                    }
                }
            }
        }
    }
    return rgb;
}

TEST(Convert2RGB, IsTheStatedConversionOfYVU)
{
    const FencedMemory memory;
    for (int width = 1; width <= 50; ++width)
    {
        for (int height = 1; height <= 7; ++height)
        {
            SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height));
            const Bytes picture = RandomBytes(PlanarSize(width, height));
            for (const int sign : {1, -1})
            {
                CRender renderer;
                BITMAPINFOHEADER header = Header(width, sign * height, 12, kYv12);
                const std::size_t size = static_cast<std::size_t>(width * height * 3);
                unsigned char* const rgb = renderer.vm_cRGBBuf.m_F_p_MemAlloc(size);
                std::memset(rgb, 0x5A, size);
                renderer.m_S_Convert2RGB(memory.Place(picture), &header);
                ASSERT_EQ(rgb, renderer.vm_cRGBBuf.m_pMem);
                const std::vector<int> expected = ModelConvert(picture, width, height, true);
                const std::vector<int> other = ModelConvert(picture, width, height, width >= 8);
                for (std::size_t i = 0; i < size; ++i)
                {
                    if (expected[i] >= 0 && expected[i] == other[i])
                    {
                        ASSERT_EQ(expected[i], rgb[i]) << "pixel " << i / 3 << " byte " << i % 3;
                    }
                }
            }
        }
    }
}

TEST(Convert2RGB, ConvertsNothingIntoABufferThatIsTooSmall)
{
    CRender renderer;
    BITMAPINFOHEADER header = Header(32, 4, 12, kYv12);
    Bytes picture(PlanarSize(32, 4), 200);
    renderer.m_S_Convert2RGB(picture.data(), &header);
    EXPECT_EQ(nullptr, renderer.vm_cRGBBuf.m_pMem);
    unsigned char* const rgb = renderer.vm_cRGBBuf.m_F_p_MemAlloc(32 * 4 * 3 - 1);
    std::memset(rgb, 0x5A, 32 * 4 * 3 - 1);
    renderer.m_S_Convert2RGB(picture.data(), &header);
    EXPECT_TRUE(
        std::all_of(rgb, rgb + 32 * 4 * 3 - 1, [](unsigned char byte) { return byte == 0x5A; }));
}

TEST(Convert2RGB, IsNotDeceivedByASizeThatWrapsAround)
{
    Bytes picture(4096, 200);
    for (const auto& [width, height] :
         {std::pair(65536, 21846), std::pair(65536, 65536), std::pair(65536, -21846),
          std::pair(64, INT_MIN), std::pair(-64, 48), std::pair(-64, -48), std::pair(INT_MIN, 2)})
    {
        CRender renderer;
        BITMAPINFOHEADER header = Header(width, height, 12, kYv12);
        renderer.m_S_Convert2RGB(picture.data(), &header);
        constexpr std::size_t kRoom = 131072;
        unsigned char* const rgb = renderer.vm_cRGBBuf.m_F_p_MemAlloc(kRoom);
        std::memset(rgb, 0x5A, kRoom);
        renderer.m_S_Convert2RGB(picture.data(), &header);
        EXPECT_TRUE(std::all_of(rgb, rgb + kRoom, [](unsigned char byte) { return byte == 0x5A; }))
            << width << 'x' << height;
    }
}

// ---- m_S_CopyBmp --------------------------------------------------------------------------------

constexpr std::size_t kMargin = 256;  // watched bytes before and behind the surface

Bytes Copy(const unsigned char* picture, int width, int height, int pitch, int stated = 0)
{
    const int rows = std::abs(height);
    const std::size_t size =
        static_cast<std::size_t>(pitch * rows + 2 * (pitch / 2) * ((rows + 1) / 2));
    Bytes surface(size + 2 * kMargin, 0xEE);
    DDSURFACEDESC2 description;
    std::memset(&description, 0, sizeof(description));
    description.dwSize = sizeof(description);
    description.lPitch = pitch;
    description.lpSurface = surface.data() + kMargin;
    if (stated > 0)
    {
        description.dwFlags = DDSD_HEIGHT;
        description.dwHeight = static_cast<DWORD>(stated);
    }
    BITMAPINFOHEADER header = Header(width, height, 12, kYv12);
    CRender renderer;
    renderer.m_S_CopyBmp(&description, const_cast<unsigned char*>(picture), &header);
    return surface;
}

TEST(CopyBmp, PutsRowsAPitchApartAndChromaRowsHalfAPitchApart)
{
    const FencedMemory memory;
    for (int width = 1; width <= 40; ++width)
    {
        for (int height = 2; height <= 9; ++height)
        {
            for (const int extra : {0, 1, 2, 3, 8, 24})
            {
                for (const int sign : {1, -1})
                {
                    SCOPED_TRACE(testing::Message()
                                 << width << 'x' << sign * height << '+' << extra);
                    const int pitch = width + extra;
                    const Bytes picture = RandomBytes(PlanarSize(width, height));
                    const Bytes got = Copy(memory.Place(picture), width, sign * height, pitch);
                    Bytes expected(got.size(), 0xEE);
                    auto target = expected.begin() + kMargin;
                    auto source = picture.begin();
                    for (int row = 0; row < height; ++row, target += pitch, source += width)
                    {
                        std::copy(source, source + width, target);
                    }
                    // The source runs on from plane to plane; what it does not hold repeats its
                    // last row.
                    const int held = height / 2 * 2;
                    int next = 0;
                    for (int plane = 0; plane < 2; ++plane)
                    {
                        for (int row = 0; row < height; row += 2, target += pitch / 2, ++next)
                        {
                            const auto from = source + std::min(next, held - 1) * (width / 2);
                            std::copy(from, from + width / 2, target);
                        }
                    }
                    ASSERT_EQ(expected, got);
                }
            }
        }
    }
}

TEST(CopyBmp, OfAnOddHeightWritesHalfTheHeightRoundedUpOfChromaRows)
{
    // Room for three chroma rows of either plane: nothing is left to chance where each row lies.
    Bytes picture(16 * 5, 1);
    for (unsigned char row = 0; row < 6; ++row)
    {
        picture.insert(picture.end(), 8, static_cast<unsigned char>(10 + row));
    }
    const Bytes surface = Copy(picture.data(), 16, 5, 32);
    // The first four are all that a picture of this height is sure to hold.
    for (int row = 0; row < 6; ++row)
    {
        SCOPED_TRACE(row);
        const auto place = surface.begin() + kMargin + 160 + row * 16;
        const auto expected = static_cast<unsigned char>(10 + std::min(row, 3));
        EXPECT_EQ(Bytes(8, expected), Bytes(place, place + 8));
        EXPECT_EQ(Bytes(8, 0xEE), Bytes(place + 8, place + 16));
    }
}

TEST(CopyBmp, OfOneRowReadsNoChromaBehindThePicture)
{
    const FencedMemory memory;
    const Bytes picture = RandomBytes(PlanarSize(30, 1));
    const Bytes surface = Copy(memory.Place(picture), 30, 1, 32);
    EXPECT_TRUE(std::equal(picture.begin(), picture.begin() + 30, surface.begin() + kMargin));
    const Bytes margin(kMargin, 0xEE);
    EXPECT_EQ(margin, Bytes(surface.begin(), surface.begin() + kMargin));
    EXPECT_EQ(margin, Bytes(surface.end() - kMargin, surface.end()));
}

TEST(CopyBmp, CopiesNothingIntoAPitchSmallerThanTheWidth)
{
    const Bytes picture = RandomBytes(PlanarSize(32, 4));
    const Bytes surface = Copy(picture.data(), 32, 4, 31);
    EXPECT_EQ(Bytes(surface.size(), 0xEE), surface);
}

TEST(CopyBmp, StaysWithinTheHeightThatTheSurfaceStates)
{
    const Bytes picture = RandomBytes(PlanarSize(32, 8));
    for (int stated = 1; stated <= 8; ++stated)
    {
        const Bytes surface = Copy(picture.data(), 32, 8, 32, stated);
        const auto end = surface.begin() + kMargin + 32 * stated * 3 / 2;
        EXPECT_TRUE(
            std::all_of(end, surface.end(), [](unsigned char byte) { return byte == 0xEE; }))
            << stated;
    }
    const Bytes whole = Copy(picture.data(), 32, 8, 32, 8);
    EXPECT_TRUE(std::equal(picture.begin(), picture.end(), whole.begin() + kMargin));
}

// ---- Real DirectDraw ----------------------------------------------------------------------------

TEST_F(RendererContract, RealDirectDrawShowsThePictureUprightInItsPlace)
{
    g_platform.directDraw = nullptr;
    CRender renderer;
    auto info = Info(true);
    info.rcShow = {50, 30, 150, 120};
    ASSERT_TRUE(renderer.m_F_b_DrawPicture(info));
    ASSERT_EQ(1, CRender::vs_nCanUseDD7);
    EXPECT_NE(nullptr, renderer.vm_pDD7);
    EXPECT_NE(nullptr, renderer.vm_pPrimary);
    ASSERT_NE(nullptr, renderer.vm_pVideo);
    ASSERT_NE(nullptr, renderer.vm_pClipper);
    HWND clippedTo = nullptr;
    EXPECT_TRUE(SUCCEEDED(renderer.vm_pClipper->GetHWnd(&clippedTo)));
    EXPECT_EQ(Window(), clippedTo);
    DDSURFACEDESC2 description;
    std::memset(&description, 0, sizeof(description));
    description.dwSize = sizeof(description);
    ASSERT_TRUE(SUCCEEDED(renderer.vm_pVideo->GetSurfaceDesc(&description)));
    EXPECT_EQ(64u, description.dwWidth);
    EXPECT_EQ(48u, description.dwHeight);
    EXPECT_EQ(kYv12, description.ddpfPixelFormat.dwFourCC);

    // What was painted into the window reaches the screen in its own time.
    for (int tries = 0; tries < 50 && !IsRed(PixelAt(100, 45)); ++tries)
    {
        TestWindow::Pump();
        ASSERT_TRUE(renderer.m_F_b_DrawPicture(info));
    }
    EXPECT_TRUE(IsRed(PixelAt(100, 45)));
    EXPECT_TRUE(IsBlue(PixelAt(100, 105)));
    EXPECT_TRUE(IsRed(PixelAt(53, 33)));
    EXPECT_TRUE(IsBlue(PixelAt(146, 116)));
    EXPECT_EQ(RGB(0, 0, 0), PixelAt(20, 75));
    EXPECT_EQ(RGB(0, 0, 0), PixelAt(180, 75));
}

}  // namespace
