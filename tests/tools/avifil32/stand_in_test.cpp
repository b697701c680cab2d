#include <windows.h>
// The multimedia types that vfw.h needs.
#include <mmsystem.h>
#include <vfw.h>

#include <gtest/gtest.h>

#include <filesystem>

namespace
{

// Wine names its own DLL after a native one that it finds beside the program, so the path tells
// nothing. The stand-in, though, has nothing for reading.
TEST(StandIn, IsWhatTheProgramHasLoaded)
{
    AVIFileInit();
    const HMODULE loaded = GetModuleHandleW(L"avifil32.dll");
    ASSERT_NE(nullptr, loaded);
    EXPECT_EQ(nullptr, GetProcAddress(loaded, "AVIStreamRead"));
    AVIFileExit();
}

}  // namespace
