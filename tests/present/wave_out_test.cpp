// The wave-out player, call by call, on a device that plays nothing.
#include "CWaveOut.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>

#include "present/fake_wave_out.h"

namespace
{

using ostrel::test::AllocationWatch;
using ostrel::test::FakeWaveOut;
using Calls = std::vector<std::string>;
using Bytes = std::vector<char>;

const HWND kWindow = reinterpret_cast<HWND>(std::uintptr_t{0x5678});
const Bytes kSilence(1600, 0);

const Calls kOpening = {"open",      "prepare 0", "prepare 1", "prepare 2", "prepare 3",
                        "prepare 4", "prepare 5", "prepare 6", "prepare 7", "volume ffffffff"};
const Calls kClosing = {"volume 0",    "pause",       "reset",       "unprepare 0",
                        "unprepare 1", "unprepare 2", "unprepare 3", "unprepare 4",
                        "unprepare 5", "unprepare 6", "unprepare 7", "volume ffffffff",
                        "close"};

// What a derived class reaches.
class Player : public CWaveOut
{
public:
    using CWaveOut::m_S_WomDone;
    using CWaveOut::OnPlayAudio;
};

Bytes Sound(std::size_t size, char first = 1)
{
    Bytes bytes;
    for (std::size_t i = 0; i < size; ++i)
    {
        bytes.push_back(static_cast<char>(first + static_cast<char>(i)));
    }
    return bytes;
}

unsigned char* Data(Bytes& bytes)
{
    return reinterpret_cast<unsigned char*>(bytes.data());
}

const char* Address(const unsigned char* data)
{
    return reinterpret_cast<const char*>(data);
}

void Play(CWaveOut& player, Bytes sound)
{
    player.m_S_WavePlay(Data(sound), static_cast<int>(sound.size()));
}

class WaveOut : public testing::Test
{
protected:
    bool Open(HWND window = kWindow) { return player.m_F_n_WaveOpen(&format, window); }

    void OpenSilently()
    {
        ASSERT_TRUE(Open());
        device.TakeCalls();
    }

    void PlayAll()
    {
        while (!device.queue.empty())
        {
            device.PlayOne();
        }
    }

    std::vector<int> Slots() const
    {
        std::vector<int> slots;
        for (const FakeWaveOut::Block& block : device.blocks)
        {
            slots.push_back(block.slot);
        }
        return slots;
    }

    FakeWaveOut device;
    WAVEFORMATEX format = {WAVE_FORMAT_PCM, 1, 8000, 16000, 2, 16, 0};
    Player player;
};

// ---- At first -----------------------------------------------------------------------------------

TEST_F(WaveOut, StartsClosedWithAnEmptyRing)
{
    EXPECT_EQ(player.vm_hWaveOut, nullptr);
    EXPECT_FALSE(player.m_F_n_IsOpen());
    for (int i = 0; i < CWaveOut::vs_nMaxBuf; ++i)
    {
        EXPECT_EQ(player.vm_cBuf[i].m_F_p_GetMemPoint(), nullptr);
    }
    EXPECT_EQ(player.vm_nCurBuf, 0);
    EXPECT_EQ(player.vm_nDoneBuf, 0);
    EXPECT_EQ(player.vm_hNotifyWnd, nullptr);
    EXPECT_EQ(player.m_F_n_UseBuf(), 0);
    EXPECT_EQ(player.m_hWnd, nullptr);
    EXPECT_TRUE(device.calls.empty());
}

TEST_F(WaveOut, HasARingOfEightAndAMuteBlockOf1600Bytes)
{
    EXPECT_EQ(CWaveOut::vs_nMaxBuf, 8);
    EXPECT_EQ(CWaveOut::vs_nMuteBuf, 1600);
    const int* const exported[] = {&CWaveOut::vs_nMaxBuf, &CWaveOut::vs_nMuteBuf};
    EXPECT_EQ(*exported[0], 8);
    EXPECT_EQ(*exported[1], 1600);
    EXPECT_EQ(player.vm_cMuteBuf.m_F_n_GetMemSize(), 1600u);
}

TEST_F(WaveOut, IsAWindowOfTheFramework)
{
    const CWnd& window = player;
    EXPECT_EQ(window.GetRuntimeClass(), RUNTIME_CLASS(CWaveOut));
    EXPECT_EQ(CWaveOut::GetThisClass(), RUNTIME_CLASS(CWaveOut));
    EXPECT_STREQ(RUNTIME_CLASS(CWaveOut)->m_lpszClassName, "CWaveOut");
    EXPECT_EQ(RUNTIME_CLASS(CWaveOut)->m_nObjectSize, static_cast<int>(sizeof(CWaveOut)));
    EXPECT_EQ(RUNTIME_CLASS(CWaveOut)->m_pfnGetBaseClass(), RUNTIME_CLASS(CWnd));
}

TEST_F(WaveOut, ItsFieldsStandInTheirOrder)
{
    const auto place = [this](const void* field)
    {
        return static_cast<std::size_t>(static_cast<const char*>(field) -
                                        reinterpret_cast<const char*>(&player)) -
               sizeof(CWnd);
    };
    EXPECT_EQ(place(&player.vm_hWaveOut), 0u);
    EXPECT_EQ(place(&player.vm_stWaveHdr), 8u);
    EXPECT_EQ(place(&player.vm_cBuf), 8 + 8 * sizeof(WAVEHDR));
    const std::size_t behindRing = 8 + 8 * sizeof(WAVEHDR) + 8 * 16;
    EXPECT_EQ(place(&player.vm_nCurBuf), behindRing);
    EXPECT_EQ(place(&player.vm_nDoneBuf), behindRing + 4);
    EXPECT_EQ(place(&player.vm_hNotifyWnd), behindRing + 8);
    EXPECT_EQ(place(&player.vm_nUseBuf), behindRing + 16);
    EXPECT_EQ(place(&player.vm_cMuteBuf), behindRing + 24);
}

// ---- Opening ------------------------------------------------------------------------------------

TEST_F(WaveOut, OpensTheDefaultDeviceWithItsCallback)
{
    EXPECT_TRUE(Open());
    EXPECT_EQ(device.device, WAVE_MAPPER);
    EXPECT_EQ(device.format, &format);
    EXPECT_EQ(device.instance, reinterpret_cast<DWORD_PTR>(static_cast<CWaveOut*>(&player)));
    EXPECT_EQ(device.callback, &CWaveOut::waveOutProc);
    EXPECT_EQ(device.flags, static_cast<DWORD>(CALLBACK_FUNCTION));
    EXPECT_EQ(player.vm_hWaveOut, device.handle);
    EXPECT_TRUE(player.m_F_n_IsOpen());
    EXPECT_EQ(player.vm_hNotifyWnd, kWindow);
}

TEST_F(WaveOut, OpeningPreparesTheHeadersOnceAndThenSetsFullVolume)
{
    EXPECT_TRUE(Open());
    EXPECT_EQ(device.calls, kOpening);
}

TEST_F(WaveOut, HeadersArePreparedZeroedWithoutData)
{
    std::memset(player.vm_stWaveHdr, 0x55, sizeof(player.vm_stWaveHdr));
    EXPECT_TRUE(Open());
    ASSERT_EQ(device.prepared.size(), 8u);
    const WAVEHDR zero = {};
    for (const WAVEHDR& header : device.prepared)
    {
        EXPECT_EQ(std::memcmp(&header, &zero, sizeof(zero)), 0);
    }
}

TEST_F(WaveOut, ADeviceThatDoesNotOpenGivesFalseAndNothingElseIsTried)
{
    device.failing = {"open"};
    EXPECT_FALSE(Open());
    EXPECT_FALSE(player.m_F_n_IsOpen());
    EXPECT_EQ(device.calls, Calls{"open"});
    EXPECT_EQ(player.vm_hNotifyWnd, kWindow);
}

TEST_F(WaveOut, ADeviceThatGivesNoHandleGivesFalse)
{
    device.handle = nullptr;
    EXPECT_FALSE(Open());
    EXPECT_FALSE(player.m_F_n_IsOpen());
    EXPECT_EQ(device.calls, Calls{"open"});
}

TEST_F(WaveOut, WithoutAFormatThereIsNothingToOpen)
{
    EXPECT_FALSE(player.m_F_n_WaveOpen(nullptr, kWindow));
    EXPECT_FALSE(player.m_F_n_IsOpen());
}

TEST_F(WaveOut, AHeaderOrAVolumeThatTheDeviceRefusesDoesNotKeepItClosed)
{
    device.failing = {"prepare", "volume"};
    EXPECT_TRUE(Open());
    EXPECT_EQ(device.calls, kOpening);
}

TEST_F(WaveOut, OpeningAnOpenPlayerClosesItsDeviceFirst)
{
    OpenSilently();
    Play(player, Sound(100));
    EXPECT_TRUE(Open());
    Calls both = kClosing;
    both.insert(both.begin(), "write 0");
    both.insert(both.end(), kOpening.begin(), kOpening.end());
    EXPECT_EQ(device.calls, both);
}

TEST_F(WaveOut, OpeningStartsTheCountOfQueuedBlocksAnew)
{
    player.vm_nUseBuf = 5;
    EXPECT_TRUE(Open());
    EXPECT_EQ(player.m_F_n_UseBuf(), 0);
}

// ---- Playing ------------------------------------------------------------------------------------

TEST_F(WaveOut, AClosedPlayerPlaysNothing)
{
    Play(player, Sound(100));
    player.m_S_WavePlay(nullptr, 0);
    player.m_S_SetWaveVolume(1);
    EXPECT_TRUE(device.calls.empty());
    EXPECT_EQ(player.vm_nCurBuf, 0);
    EXPECT_EQ(player.m_F_n_UseBuf(), 0);
}

TEST_F(WaveOut, ABlockIsCopiedIntoItsSlotAndQueued)
{
    OpenSilently();
    Bytes sound = Sound(300);
    player.m_S_WavePlay(Data(sound), 300);
    EXPECT_EQ(device.calls, Calls{"write 0"});
    ASSERT_EQ(device.blocks.size(), 1u);
    EXPECT_EQ(device.blocks[0].bytes, sound);
    EXPECT_EQ(device.blocks[0].address, player.vm_cBuf[0].m_F_p_GetStrCHAR());
    EXPECT_NE(device.blocks[0].address, sound.data());
    EXPECT_EQ(player.vm_cBuf[0].m_F_n_GetMemSize(), 300u);
    EXPECT_EQ(player.vm_nCurBuf, 1);
    EXPECT_EQ(player.m_F_n_UseBuf(), 1);
}

TEST_F(WaveOut, ANullBlockAndAnEmptyOnePlayTheMuteBlock)
{
    OpenSilently();
    Bytes sound = Sound(10);
    player.m_S_WavePlay(nullptr, 500);
    player.m_S_WavePlay(nullptr, 0);
    player.m_S_WavePlay(Data(sound), 0);
    EXPECT_EQ(device.calls, (Calls{"write 0", "write 1", "write 2"}));
    for (const FakeWaveOut::Block& block : device.blocks)
    {
        EXPECT_EQ(block.address, player.vm_cMuteBuf.m_F_p_GetStrCHAR());
        EXPECT_EQ(block.bytes, kSilence);
    }
    EXPECT_EQ(player.m_F_n_UseBuf(), 3);
}

TEST_F(WaveOut, ANegativeLengthPlaysTheMuteBlock)
{
    OpenSilently();
    Bytes sound = Sound(10);
    player.m_S_WavePlay(Data(sound), -1);
    player.m_S_WavePlay(Data(sound), INT_MIN);
    ASSERT_EQ(device.blocks.size(), 2u);
    EXPECT_EQ(device.blocks[0].bytes, kSilence);
    EXPECT_EQ(device.blocks[1].bytes, kSilence);
}

TEST_F(WaveOut, WithoutMemoryForABlockTheMuteBlockIsPlayed)
{
    OpenSilently();
    Bytes sound = Sound(1000);
    {
        AllocationWatch memory;
        memory.isFailing = true;
        player.m_S_WavePlay(Data(sound), 1000);
    }
    ASSERT_EQ(device.blocks.size(), 1u);
    EXPECT_EQ(device.blocks[0].bytes, kSilence);
    EXPECT_EQ(player.m_F_n_UseBuf(), 1);
}

TEST_F(WaveOut, WithoutMemoryForTheMuteBlockNothingIsReadInItsPlace)
{
    AllocationWatch memory;
    memory.isFailing = true;
    Player poor;
    memory.isFailing = false;
    ASSERT_TRUE(poor.m_F_n_WaveOpen(&format, nullptr));
    poor.m_S_WavePlay(nullptr, 0);
    ASSERT_EQ(device.blocks.size(), 1u);
    EXPECT_TRUE(device.blocks[0].bytes.empty());
}

TEST_F(WaveOut, TenBlocksGoRoundTheRing)
{
    OpenSilently();
    for (int i = 0; i < 10; ++i)
    {
        Play(player, Sound(100));
    }
    EXPECT_EQ(Slots(), (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 0, 1}));
    EXPECT_EQ(player.vm_nCurBuf, 2);
    EXPECT_EQ(player.m_F_n_UseBuf(), 10);
    PlayAll();
    EXPECT_EQ(player.m_F_n_UseBuf(), 2);
}

TEST_F(WaveOut, ASlotThatHasBeenPlayedIsUsedAgainWithItsNewBlock)
{
    OpenSilently();
    for (char i = 0; i < 20; ++i)
    {
        Play(player, Sound(100 + static_cast<std::size_t>(i) % 3, i));
        device.PlayOne();
    }
    ASSERT_EQ(device.blocks.size(), 20u);
    for (char i = 0; i < 20; ++i)
    {
        const FakeWaveOut::Block& block = device.blocks[static_cast<std::size_t>(i)];
        EXPECT_EQ(block.slot, i % 8);
        EXPECT_EQ(block.bytes, Sound(100 + static_cast<std::size_t>(i) % 3, i));
    }
    EXPECT_EQ(player.m_F_n_UseBuf(), 0);
}

TEST_F(WaveOut, ABlockThatTheDeviceRefusesCountsAsQueued)
{
    OpenSilently();
    device.failing = {"write"};
    Play(player, Sound(100));
    Play(player, Sound(100));
    EXPECT_EQ(Slots(), (std::vector<int>{0, 1}));
    EXPECT_EQ(player.m_F_n_UseBuf(), 2);
}

TEST_F(WaveOut, TheVolumeIsHandedOnAsItIs)
{
    OpenSilently();
    player.m_S_SetWaveVolume(0x12345678);
    player.m_S_SetWaveVolume(0);
    EXPECT_EQ(device.calls, (Calls{"volume 12345678", "volume 0"}));
}

// ---- Decoding in place --------------------------------------------------------------------------

TEST_F(WaveOut, TheCurrentSlotsBufferHasExactlyTheSizeAskedFor)
{
    unsigned char* const block = player.m_F_b_GetBufPoint(123);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(player.vm_cBuf[0].m_F_p_GetMemPoint(), block);
    EXPECT_EQ(player.vm_cBuf[0].m_F_n_GetMemSize(), 123u);
    std::fill_n(block, 123, static_cast<unsigned char>(9));
    EXPECT_EQ(player.m_F_b_GetBufPoint(123), block);
    EXPECT_EQ(block[122], 9);
    ASSERT_NE(player.m_F_b_GetBufPoint(124), nullptr);
    EXPECT_EQ(player.vm_cBuf[0].m_F_n_GetMemSize(), 124u);
}

TEST_F(WaveOut, ABufferThatIsHandedOutIsPlayedWithoutACopy)
{
    OpenSilently();
    Play(player, Sound(10));
    unsigned char* const block = player.m_F_b_GetBufPoint(200);
    const Bytes sound = Sound(200, 3);
    std::copy(sound.begin(), sound.end(), block);
    player.m_S_WavePlay(block, 200);
    ASSERT_EQ(device.blocks.size(), 2u);
    EXPECT_EQ(device.blocks[1].slot, 1);
    EXPECT_EQ(device.blocks[1].address, Address(block));
    EXPECT_EQ(device.blocks[1].bytes, sound);
}

TEST_F(WaveOut, OfABufferThatIsHandedOutLessMayBePlayedButNotMore)
{
    OpenSilently();
    unsigned char* block = player.m_F_b_GetBufPoint(200);
    player.m_S_WavePlay(block, 50);
    block = player.m_F_b_GetBufPoint(200);
    player.m_S_WavePlay(block, 201);
    ASSERT_EQ(device.blocks.size(), 2u);
    EXPECT_EQ(device.blocks[0].bytes.size(), 50u);
    EXPECT_EQ(device.blocks[1].bytes.size(), 200u);
    EXPECT_EQ(device.blocks[1].address, Address(block));
}

TEST_F(WaveOut, ASourceInsideTheSlotsBufferIsPlayedAsItWas)
{
    OpenSilently();
    unsigned char* const block = player.m_F_b_GetBufPoint(200);
    const Bytes sound = Sound(200);
    std::copy(sound.begin(), sound.end(), block);
    player.m_S_WavePlay(block + 100, 100);
    ASSERT_EQ(device.blocks.size(), 1u);
    EXPECT_EQ(device.blocks[0].bytes, Sound(100, 101));
}

TEST_F(WaveOut, NoBufferIsHandedOutWithoutMemoryOrForNoSize)
{
    EXPECT_EQ(player.m_F_b_GetBufPoint(0), nullptr);
    ASSERT_NE(player.m_F_b_GetBufPoint(10), nullptr);
    EXPECT_EQ(player.m_F_b_GetBufPoint(-1), nullptr);
    EXPECT_EQ(player.vm_cBuf[0].m_F_n_GetMemSize(), 0u);
    ASSERT_NE(player.m_F_b_GetBufPoint(10), nullptr);
    EXPECT_EQ(player.m_F_b_GetBufPoint(0), nullptr);
    ASSERT_NE(player.m_F_b_GetBufPoint(10), nullptr);
    AllocationWatch memory;
    memory.isFailing = true;
    EXPECT_EQ(player.m_F_b_GetBufPoint(11), nullptr);
    EXPECT_EQ(player.vm_cBuf[0].m_F_n_GetMemSize(), 0u);
}

// ---- A ring that is full ------------------------------------------------------------------------

TEST_F(WaveOut, AFullRingTakesABlockOfTheSameLengthInTheOldestSlot)
{
    OpenSilently();
    for (int i = 0; i < 8; ++i)
    {
        Play(player, Sound(100));
    }
    Play(player, Sound(100, 50));
    EXPECT_EQ(device.blocks.back().slot, 0);
    EXPECT_EQ(device.blocks.back().address, device.blocks.front().address);
    EXPECT_EQ(device.blocks.back().bytes, Sound(100, 50));
}

TEST_F(WaveOut, WhatTheDeviceReadsStaysWhileItReadsIt)
{
    AllocationWatch memory;
    OpenSilently();
    for (int i = 0; i < 8; ++i)
    {
        Play(player, Sound(100));
    }
    const char* const read = device.blocks.front().address;
    Play(player, Sound(40, 50));
    for (int i = 1; i < 8; ++i)
    {
        Play(player, Sound(5000, 50));
    }
    player.m_F_b_GetBufPoint(30);
    player.m_S_WavePlay(player.m_F_b_GetBufPoint(20), 20);
    EXPECT_EQ(device.blocks.back().slot, 0);
    EXPECT_EQ(device.blocks.back().address, read);
    EXPECT_TRUE(memory.IsAllocated(read));
    EXPECT_EQ(device.blocks.back().bytes, Sound(100));
    EXPECT_EQ(player.m_F_n_UseBuf(), 17);
    player.m_S_WaveClose();
    EXPECT_TRUE(memory.blocks.empty());
}

TEST_F(WaveOut, ASlotOfAFullRingGoesOnAsUsualOnceItHasBeenPlayed)
{
    AllocationWatch memory;
    OpenSilently();
    for (int i = 0; i < 16; ++i)
    {
        Play(player, Sound(100 + static_cast<std::size_t>(i)));
    }
    const char* const read = device.blocks.front().address;
    EXPECT_TRUE(memory.IsAllocated(read));
    PlayAll();
    Play(player, Sound(70, 9));
    EXPECT_EQ(device.blocks.back().slot, 0);
    EXPECT_EQ(device.blocks.back().bytes, Sound(70, 9));
    EXPECT_EQ(memory.blocks.size(), 15u) << "the other slots still hold what was read";
    PlayAll();
    for (int i = 1; i < 8; ++i)
    {
        player.m_S_WavePlay(nullptr, 0);
    }
    EXPECT_EQ(memory.blocks.size(), 8u);
    player.m_S_WaveClose();
    EXPECT_TRUE(memory.blocks.empty());
}

TEST_F(WaveOut, AFullRingTakesABufferThatWasHandedOutForItsOldestSlot)
{
    OpenSilently();
    for (int i = 0; i < 8; ++i)
    {
        Play(player, Sound(100));
    }
    unsigned char* const block = player.m_F_b_GetBufPoint(60);
    ASSERT_NE(block, nullptr);
    EXPECT_NE(Address(block), device.blocks.front().address);
    std::fill_n(block, 60, static_cast<unsigned char>(9));
    player.m_S_WavePlay(block, 60);
    EXPECT_EQ(device.blocks.back().bytes, Sound(100));
}

// ---- Completion ---------------------------------------------------------------------------------

TEST_F(WaveOut, ABlockThatHasBeenPlayedIsNoLongerCountedAndTheWindowIsTold)
{
    OpenSilently();
    Play(player, Sound(320));
    device.PlayOne();
    EXPECT_EQ(player.m_F_n_UseBuf(), 0);
    EXPECT_EQ(device.messages, (std::vector<FakeWaveOut::Message>{{kWindow, 957, 20, 0}}));
}

TEST_F(WaveOut, EveryNoticeCarriesTheLengthInSlotZero)
{
    OpenSilently();
    for (const std::size_t size : {335, 3200, 6400, 16})
    {
        Play(player, Sound(size));
    }
    PlayAll();
    for (int i = 4; i < 8; ++i)
    {
        Play(player, Sound(800));
    }
    Play(player, Sound(0x12345));
    device.PlayOne();
    std::vector<WPARAM> lengths;
    for (const FakeWaveOut::Message& message : device.messages)
    {
        EXPECT_EQ(std::get<1>(message), 957u);
        lengths.push_back(std::get<2>(message));
    }
    EXPECT_EQ(lengths, (std::vector<WPARAM>{20, 20, 20, 20, 0x1234}));
    EXPECT_EQ(player.vm_nDoneBuf, 0);
}

TEST_F(WaveOut, WithoutAWindowBlocksAreCountedOnly)
{
    ASSERT_TRUE(Open(nullptr));
    Play(player, Sound(320));
    device.PlayOne();
    EXPECT_EQ(player.m_F_n_UseBuf(), 0);
    EXPECT_TRUE(device.messages.empty());
}

TEST_F(WaveOut, OtherReportsOfTheDeviceMeanNothing)
{
    OpenSilently();
    Play(player, Sound(320));
    device.Report(WOM_OPEN);
    device.Report(WOM_CLOSE);
    device.Report(WOM_DONE + 1);
    CWaveOut::waveOutProc(device.handle, WOM_DONE, 0, 0, 0);
    EXPECT_EQ(player.m_F_n_UseBuf(), 1);
    EXPECT_TRUE(device.messages.empty());
}

TEST_F(WaveOut, TheHandlersDoAsTheCallbackDoes)
{
    OpenSilently();
    for (int i = 0; i < 3; ++i)
    {
        Play(player, Sound(160));
    }
    player.m_S_WomDone();
    EXPECT_EQ(player.m_F_n_UseBuf(), 2);
    EXPECT_EQ(player.OnPlayAudio(1, 2), 0);
    EXPECT_EQ(player.m_F_n_UseBuf(), 1);
    EXPECT_EQ(device.messages,
              (std::vector<FakeWaveOut::Message>{{kWindow, 957, 10, 0}, {kWindow, 957, 10, 0}}));
}

TEST_F(WaveOut, NoCompletionIsLostWhileBlocksAreQueued)
{
    ASSERT_TRUE(Open());
    device.isQueueing = false;
    constexpr int kBlocks = 20000;
    std::thread played(
        [this]
        {
            for (int i = 0; i < kBlocks; ++i)
            {
                device.Report(WOM_DONE);
            }
        });
    for (int i = 0; i < kBlocks; ++i)
    {
        player.m_S_WavePlay(nullptr, 0);
    }
    played.join();
    EXPECT_EQ(player.m_F_n_UseBuf(), 0);
}

// ---- Closing ------------------------------------------------------------------------------------

TEST_F(WaveOut, ClosingSilencesResetsUnpreparesAndCloses)
{
    OpenSilently();
    player.m_S_WaveClose();
    EXPECT_EQ(device.calls, kClosing);
    EXPECT_EQ(player.vm_hWaveOut, nullptr);
    EXPECT_FALSE(player.m_F_n_IsOpen());
}

TEST_F(WaveOut, ClosingAClosedPlayerDoesNothing)
{
    player.m_S_WaveClose();
    OpenSilently();
    player.m_S_WaveClose();
    device.TakeCalls();
    player.m_S_WaveClose();
    EXPECT_TRUE(device.calls.empty());
}

TEST_F(WaveOut, ClosingFreesTheSlotsBuffersAndKeepsTheMuteBlock)
{
    OpenSilently();
    for (int i = 0; i < 8; ++i)
    {
        Play(player, Sound(100));
    }
    player.m_S_WaveClose();
    for (CMemManage& buffer : player.vm_cBuf)
    {
        EXPECT_EQ(buffer.m_F_p_GetMemPoint(), nullptr);
    }
    EXPECT_EQ(player.vm_cMuteBuf.m_F_n_GetMemSize(), 1600u);
}

TEST_F(WaveOut, TheBlocksThatWereQueuedAreReportedWhileItCloses)
{
    for (const bool onAThread : {false, true})
    {
        device.messages.clear();
        device.resetReportsOnAThread = onAThread;
        ASSERT_TRUE(Open());
        for (int i = 0; i < 5; ++i)
        {
            Play(player, Sound(100));
        }
        player.m_S_WaveClose();
        EXPECT_EQ(player.m_F_n_UseBuf(), 0);
        EXPECT_EQ(device.messages.size(), 5u);
    }
}

TEST_F(WaveOut, ClosingLeavesTheNextSlotAndTheCount)
{
    OpenSilently();
    device.isQueueing = false;
    for (int i = 0; i < 11; ++i)
    {
        Play(player, Sound(100));
    }
    player.m_S_WaveClose();
    EXPECT_EQ(player.vm_nCurBuf, 3);
    EXPECT_EQ(player.m_F_n_UseBuf(), 11);
    EXPECT_TRUE(Open());
    Play(player, Sound(100));
    EXPECT_EQ(device.blocks.back().slot, 3);
    EXPECT_EQ(player.m_F_n_UseBuf(), 1);
}

TEST_F(WaveOut, ClosingGoesOnWhateverTheDeviceRefuses)
{
    OpenSilently();
    Play(player, Sound(100));
    device.TakeCalls();
    device.failing = {"volume", "pause", "reset", "unprepare", "close"};
    player.m_S_WaveClose();
    EXPECT_EQ(device.calls, kClosing);
    EXPECT_FALSE(player.m_F_n_IsOpen());
}

TEST_F(WaveOut, DestructionClosesAndFreesEverything)
{
    AllocationWatch memory;
    {
        Player other;
        ASSERT_TRUE(other.m_F_n_WaveOpen(&format, nullptr));
        Play(other, Sound(100));
        other.m_F_b_GetBufPoint(50);
        device.TakeCalls();
    }
    EXPECT_EQ(device.calls, kClosing);
    EXPECT_TRUE(memory.blocks.empty());
}

TEST_F(WaveOut, DestructionOfAClosedPlayerTouchesNoDevice)
{
    {
        const Player other;
    }
    EXPECT_TRUE(device.calls.empty());
}

// ---- Its window ---------------------------------------------------------------------------------

class WaveOutWindow : public WaveOut
{
protected:
    WaveOutWindow()
    {
        main.CreateEx(0, nullptr, _T("main"), WS_POPUP, CRect(0, 0, 50, 50), nullptr, 0);
        AfxGetThread()->m_pMainWnd = &main;
    }
    ~WaveOutWindow() override { AfxGetThread()->m_pMainWnd = nullptr; }

    HWND MakePlain() const
    {
        return CreateWindowExW(0, L"STATIC", L"plain", WS_CHILD, 0, 0, 9, 9, main, nullptr, nullptr,
                               nullptr);
    }

    CWnd main;
};

TEST_F(WaveOutWindow, IsNotCreatedWhereThereIsNone)
{
    player.m_S_InitWnd();
    EXPECT_EQ(player.m_hWnd, nullptr);
    EXPECT_EQ(GetWindow(main, GW_CHILD), nullptr);
}

TEST_F(WaveOutWindow, IsCreatedAsAChildOfTheMainWindowWhereThereIsOne)
{
    const HWND plain = MakePlain();
    player.Attach(plain);
    player.m_S_InitWnd();
    ASSERT_NE(player.m_hWnd, nullptr);
    EXPECT_NE(player.m_hWnd, plain);
    EXPECT_TRUE(IsWindow(plain));
    EXPECT_EQ(GetParent(player), main.m_hWnd);
    EXPECT_EQ(GetDlgCtrlID(player), 0);
    EXPECT_NE(GetWindowLongPtr(player, GWL_STYLE) & WS_CHILD, 0);
    CString name;
    player.GetWindowText(name);
    EXPECT_STREQ(name, _T("WavwOut"));
    CRect rect;
    player.GetWindowRect(rect);
    EXPECT_TRUE(rect.IsRectEmpty());
}

TEST_F(WaveOutWindow, WithoutAMainWindowStaysAsItIs)
{
    AfxGetThread()->m_pMainWnd = nullptr;
    const HWND plain = MakePlain();
    player.Attach(plain);
    player.m_S_InitWnd();
    EXPECT_EQ(player.m_hWnd, plain);
}

TEST_F(WaveOutWindow, HandlesTheMessageThroughItsMap)
{
    player.Attach(MakePlain());
    player.m_S_InitWnd();
    OpenSilently();
    Play(player, Sound(160));
    Play(player, Sound(160));
    EXPECT_EQ(SendMessage(player, MM_WOM_DONE, 0, 0), 0);
    EXPECT_EQ(player.m_F_n_UseBuf(), 1);
    EXPECT_EQ(device.messages, (std::vector<FakeWaveOut::Message>{{kWindow, 957, 10, 0}}));
    EXPECT_EQ(SendMessage(player, WM_GETTEXTLENGTH, 0, 0), 7)
        << "other messages go their usual way";
}

TEST_F(WaveOutWindow, IsDestroyedWithThePlayer)
{
    HWND window = nullptr;
    {
        Player other;
        other.Attach(MakePlain());
        other.m_S_InitWnd();
        window = other;
        ASSERT_TRUE(IsWindow(window));
    }
    EXPECT_FALSE(IsWindow(window));
}

TEST_F(WaveOutWindow, MayGoBeforeThePlayer)
{
    Player other;
    other.Attach(MakePlain());
    other.m_S_InitWnd();
    main.DestroyWindow();
    EXPECT_EQ(other.m_hWnd, nullptr);
}

}  // namespace
