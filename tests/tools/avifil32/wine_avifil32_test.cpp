// Why the stand-in is there: what Wine's own avifil32.dll does. Should a test in here fail, Wine
// has learned to record sound, and the stand-in can go.
#include <windows.h>
// The multimedia types that vfw.h needs.
#include <mmsystem.h>
#include <vfw.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

namespace
{

TEST(WineAvifil32, RefusesTheSecondContiguousWriteToAnAudioStream)
{
    const auto path = std::filesystem::temp_directory_path() / "wine_avifil32_test.avi";
    AVIFileInit();
    PAVIFILE file = nullptr;
    ASSERT_EQ(AVIERR_OK, AVIFileOpenW(&file, path.c_str(), OF_WRITE | OF_CREATE, nullptr));

    WAVEFORMATEX format = {WAVE_FORMAT_PCM, 2, 8000, 32000, 4, 16, 0};
    AVISTREAMINFOW info = {};
    info.fccType = streamtypeAUDIO;
    info.dwScale = format.nBlockAlign;
    info.dwRate = format.nAvgBytesPerSec;
    info.dwSampleSize = format.nBlockAlign;
    PAVISTREAM stream = nullptr;
    ASSERT_EQ(AVIERR_OK, AVIFileCreateStreamW(file, &stream, &info));
    ASSERT_EQ(AVIERR_OK, AVIStreamSetFormat(stream, 0, &format, sizeof format));

    std::vector<unsigned char> block(3200);
    EXPECT_EQ(AVIERR_OK,
              AVIStreamWrite(stream, 0, 800, block.data(), 3200, AVIIF_KEYFRAME, nullptr, nullptr));
    EXPECT_EQ(AVIERR_UNSUPPORTED, AVIStreamWrite(stream, 800, 800, block.data(), 3200,
                                                 AVIIF_KEYFRAME, nullptr, nullptr));

    AVIStreamRelease(stream);
    AVIFileRelease(file);
    AVIFileExit();
    std::filesystem::remove(path);
}

}  // namespace
