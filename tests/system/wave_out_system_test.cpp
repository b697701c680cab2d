// The wave-out player on the platform's own device. `tone RATE CHANNELS SECONDS` plays a tone that
// wave_out_system_test.py listens to; without arguments the tests run.
#include <CWaveOut.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <vector>

#include "support/scripted_camera.h"

namespace
{

using ostrel::test::NextHandleValue;

constexpr DWORD kPatience = 20000;

WAVEFORMATEX Format(DWORD rate, WORD channels)
{
    WAVEFORMATEX format = {};
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.nChannels = channels;
    format.nSamplesPerSec = rate;
    format.wBitsPerSample = 16;
    format.nBlockAlign = static_cast<WORD>(channels * 2);
    format.nAvgBytesPerSec = rate * format.nBlockAlign;
    return format;
}

template <typename Condition>
bool WaitUntil(Condition condition)
{
    for (const DWORD start = GetTickCount(); !condition(); Sleep(1))
    {
        if (GetTickCount() - start > kPatience)
        {
            return false;
        }
    }
    return true;
}

// ---- The tone -----------------------------------------------------------------------------------

// 1 kHz; the second channel has half the level of the first.
std::vector<short> Tone(int rate, int channels, int first, int count)
{
    constexpr double kPi = 3.14159265358979323846;
    constexpr double kLevel = 8192;
    std::vector<short> samples;
    for (int i = first; i < first + count; ++i)
    {
        const double value = kLevel * std::sin(2 * kPi * 1000 * i / rate);
        for (int channel = 0; channel < channels; ++channel)
        {
            samples.push_back(static_cast<short>(std::lround(value / (channel + 1))));
        }
    }
    return samples;
}

// Every other block is decoded in place.
void PlayBlock(CWaveOut& player, const std::vector<short>& samples, bool inPlace)
{
    std::vector<unsigned char> bytes(samples.size() * sizeof(short));
    std::memcpy(bytes.data(), samples.data(), bytes.size());
    const int length = static_cast<int>(bytes.size());
    if (!inPlace)
    {
        player.m_S_WavePlay(bytes.data(), length);
        return;
    }
    unsigned char* const room = player.m_F_b_GetBufPoint(length);
    std::memcpy(room, bytes.data(), bytes.size());
    player.m_S_WavePlay(room, length);
}

int PlayTone(int rate, int channels, int seconds)
{
    CWaveOut player;
    WAVEFORMATEX format = Format(static_cast<DWORD>(rate), static_cast<WORD>(channels));
    if (!player.m_F_n_WaveOpen(&format, nullptr))
    {
        std::cerr << "the device does not open\n";
        return 1;
    }
    const int count = rate / 10;
    for (int block = 0; block < 10 * seconds; ++block)
    {
        if (!WaitUntil([&] { return player.m_F_n_UseBuf() < CWaveOut::vs_nMaxBuf; }))
        {
            std::cerr << "no block is played\n";
            return 1;
        }
        PlayBlock(player, Tone(rate, channels, block * count, count), block % 2 == 1);
    }
    const bool isPlayed = WaitUntil([&] { return player.m_F_n_UseBuf() == 0; });
    // The last block is reported when the device has taken it, and is still to be heard then.
    Sleep(500);
    player.m_S_WaveClose();
    return isPlayed ? 0 : 1;
}

// ---- Tests --------------------------------------------------------------------------------------

// A window that gets notices, and no thread that takes them while it is not asked.
class NoticeWindow
{
public:
    NoticeWindow()
        : m_window(CreateWindowExW(0, L"STATIC", L"notices", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                   nullptr, nullptr))
    {
    }
    ~NoticeWindow() { DestroyWindow(m_window); }
    NoticeWindow(const NoticeWindow&) = delete;
    NoticeWindow& operator=(const NoticeWindow&) = delete;

    operator HWND() const { return m_window; }

    // All that have come since the start.
    const std::vector<MSG>& Notices()
    {
        for (MSG message; PeekMessageW(&message, m_window, MM_WOM_DONE, MM_WOM_DONE, PM_REMOVE);)
        {
            m_notices.push_back(message);
        }
        return m_notices;
    }

private:
    HWND m_window;
    std::vector<MSG> m_notices;
};

class WaveOutDevice : public testing::Test
{
protected:
    bool Open(HWND window = nullptr)
    {
        WAVEFORMATEX format = Format(8000, 1);
        return player.m_F_n_WaveOpen(&format, window);
    }

    void Play(int milliseconds)
    {
        std::vector<unsigned char> silence(static_cast<std::size_t>(milliseconds) * 16);
        player.m_S_WavePlay(silence.data(), static_cast<int>(silence.size()));
    }

    NoticeWindow window;
    CWaveOut player;
};

TEST_F(WaveOutDevice, TenBlocksWithoutWaitingCountAsTenLessThosePlayed)
{
    ASSERT_TRUE(Open(window));
    for (int i = 0; i < 10; ++i)
    {
        Play(100);
    }
    EXPECT_LE(player.m_F_n_UseBuf(), 10);
    EXPECT_EQ(player.vm_nCurBuf, 2);
    // The ring is played, and what was refused while it was full is never reported.
    ASSERT_TRUE(WaitUntil([this] { return player.m_F_n_UseBuf() <= 2; }));
    Sleep(200);
    EXPECT_TRUE(WaitUntil(
        [this]
        { return player.m_F_n_UseBuf() == 10 - static_cast<int>(window.Notices().size()); }));
    player.m_S_WaveClose();
}

TEST_F(WaveOutDevice, ThePlayersOwnMuteBlockIsPlayed)
{
    ASSERT_TRUE(Open(window));
    player.m_S_WavePlay(nullptr, 0);
    EXPECT_TRUE(WaitUntil([this] { return player.m_F_n_UseBuf() == 0; }));
    ASSERT_TRUE(WaitUntil([this] { return !window.Notices().empty(); }));
    EXPECT_EQ(window.Notices()[0].wParam, 100u);
    EXPECT_EQ(window.Notices()[0].lParam, 0);
}

TEST_F(WaveOutDevice, TheWindowIsToldOfEveryBlock)
{
    ASSERT_TRUE(Open(window));
    for (int i = 0; i < 16; ++i)
    {
        ASSERT_TRUE(WaitUntil([this] { return player.m_F_n_UseBuf() < CWaveOut::vs_nMaxBuf; }));
        Play(i % 8 == 0 ? 40 : 20);
    }
    EXPECT_TRUE(WaitUntil([this] { return window.Notices().size() == 16; }));
    for (const MSG& notice : window.Notices())
    {
        EXPECT_EQ(notice.wParam, 40u);
    }
    EXPECT_EQ(player.m_F_n_UseBuf(), 0);
}

TEST_F(WaveOutDevice, PlayingTakesAsLongAsTheSoundIs)
{
    ASSERT_TRUE(Open());
    const DWORD start = GetTickCount();
    for (int i = 0; i < 8; ++i)
    {
        Play(100);
    }
    ASSERT_TRUE(WaitUntil([this] { return player.m_F_n_UseBuf() == 0; }));
    // A block is reported as soon as the device has taken it over, so not the whole length passes.
    EXPECT_GE(GetTickCount() - start, 400u);
}

TEST_F(WaveOutDevice, ClosingCutsOffWhatIsQueuedAndReportsIt)
{
    ASSERT_TRUE(Open(window));
    for (int i = 0; i < 8; ++i)
    {
        Play(5000);
    }
    const DWORD start = GetTickCount();
    player.m_S_WaveClose();
    EXPECT_LT(GetTickCount() - start, 15000u) << "the sound is 40 s long";
    EXPECT_EQ(player.m_F_n_UseBuf(), 0);
    EXPECT_EQ(window.Notices().size(), 8u);
    EXPECT_TRUE(Open());
}

TEST_F(WaveOutDevice, ClosingSucceedsAtAnyMomentOfABlock)
{
    for (DWORD wait = 0; wait < 60; wait += 3)
    {
        ASSERT_TRUE(Open(window));
        for (int i = 0; i < 10; ++i)
        {
            Play(10 + i);
        }
        Sleep(wait);
        player.m_S_WaveClose();
        EXPECT_GE(player.m_F_n_UseBuf(), 0);
        EXPECT_LE(player.m_F_n_UseBuf(), 2);
    }
}

TEST_F(WaveOutDevice, AFullRingOfChangingLengthsDisturbsNothing)
{
    ASSERT_TRUE(Open());
    for (int i = 0; i < 300; ++i)
    {
        Play(1 + 7 * i % 40);
        player.m_F_b_GetBufPoint(16 * (1 + 11 * i % 50));
        Sleep(1);
    }
    player.m_S_WaveClose();
    EXPECT_TRUE(Open());
    Play(10);
    EXPECT_TRUE(WaitUntil([this] { return player.m_F_n_UseBuf() == 0; }));
}

TEST_F(WaveOutDevice, APlayerMayGoWhileItPlays)
{
    for (int i = 0; i < 10; ++i)
    {
        CWaveOut other;
        WAVEFORMATEX format = Format(16000, 2);
        ASSERT_TRUE(other.m_F_n_WaveOpen(&format, window));
        std::vector<unsigned char> silence(64000);
        other.m_S_WavePlay(silence.data(), 64000);
    }
}

TEST_F(WaveOutDevice, TwoPlayersPlayAtATime)
{
    CWaveOut other;
    WAVEFORMATEX format = Format(44100, 2);
    ASSERT_TRUE(Open());
    ASSERT_TRUE(other.m_F_n_WaveOpen(&format, nullptr));
    Play(50);
    other.m_S_WavePlay(nullptr, 0);
    EXPECT_TRUE(WaitUntil([this] { return player.m_F_n_UseBuf() == 0; }));
    EXPECT_TRUE(WaitUntil([&] { return other.m_F_n_UseBuf() == 0; }));
}

TEST_F(WaveOutDevice, AFormatThatIsNoneDoesNotOpen)
{
    WAVEFORMATEX format = Format(8000, 1);
    format.wFormatTag = 0x7777;
    EXPECT_FALSE(player.m_F_n_WaveOpen(&format, window));
    EXPECT_FALSE(player.m_F_n_IsOpen());
}

TEST_F(WaveOutDevice, OpeningAndClosingLeavesNoHandle)
{
    const auto openAndClose = [this](int count)
    {
        for (int i = 0; i < count; ++i)
        {
            ASSERT_TRUE(Open());
            player.m_S_WavePlay(nullptr, 0);
            player.m_S_WaveClose();
        }
    };
    openAndClose(5);
    const std::size_t before = NextHandleValue();
    openAndClose(200);
    EXPECT_LT(NextHandleValue(), before + 100);
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc == 5 && std::strcmp(argv[1], "tone") == 0)
    {
        return PlayTone(std::atoi(argv[2]), std::atoi(argv[3]), std::atoi(argv[4]));
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
