/// @file
/// Plays decoded sound.
#pragma once

#include <afxwin.h>
#include <mmsystem.h>

#include <atomic>

#include "CMemManage.h"
#include "LibOstrelExport.h"

/// Plays decoded PCM audio through the platform's wave-out device, block by block, and posts a
/// message to a window whenever a block has been played.
///
/// Blocks queue up in a ring of #vs_nMaxBuf slots, each with a buffer of its own. Nothing here
/// waits for a free one: whoever plays a block sees to it that m_F_n_UseBuf() is less than
/// #vs_nMaxBuf.
///
/// **Threads.** One thread at a time uses a player, and the destructor runs on the thread that
/// created its window, if there is one. The device reports a block on a thread of its own, where
/// the player only counts, and posts. A player cannot be copied.
class OSTREL_API CWaveOut : public CWnd
{
    DECLARE_DYNAMIC(CWaveOut)

public:
    CWaveOut();

    /// As m_S_WaveClose(); then destroys the window, if there is one.
    ~CWaveOut() override;

    /// Creates a child window, named "WavwOut" (deliberately), of the current thread's main window,
    /// which then belongs to this object, but only when the object holds a window already: on
    /// purpose nothing is done otherwise. A window held before is not destroyed, but no longer this
    /// object's. Playing needs no window.
    void m_S_InitWnd();

    /// Opens the default device at full volume. A device that is open is closed first.
    /// @param pFormat the blocks' format; not kept. Null: false.
    /// @param hNotify the window that is told of every block that has been played, by the posted
    /// message `MM_WOM_DONE` (957) with `wParam` the length in bytes, divided by 16, of the block
    /// that is in slot 0 at that time, whichever has been played (deliberately), and `lParam` 0.
    /// Null: none. Not this object's own window, which would pass the message on to itself.
    /// @return whether the device is open; the player is closed when it is not.
    bool m_F_n_WaveOpen(WAVEFORMATEX* pFormat, HWND hNotify);

    /// Ends the sound at once, also in the middle of a block, frees the slots' buffers and closes
    /// the device. All blocks that the device held count as played then, which the window is told;
    /// blocks that it had refused stay in the count until the next opening, and the slot that is
    /// next stays the next. Does nothing on a closed player.
    void m_S_WaveClose();

    /// Queues a block behind those that are queued already, and returns at once. Does nothing on a
    /// closed player.
    /// @param pData the sound, which is copied, unless it is the block that m_F_b_GetBufPoint()
    /// returned: that one is played where it is. Null: a block of #vs_nMuteBuf bytes of silence.
    /// @param nLen bytes; of the block that m_F_b_GetBufPoint() returned no more than it has. 0:
    /// silence, as with null; so too when it is negative, or memory is short.
    ///
    /// The block counts as queued even if the device refuses it, and is never reported then. With
    /// all slots queued, that of the oldest block is used again, and the device refuses it: a block
    /// of the same length replaces what has not been heard of the oldest one, any other is not
    /// heard.
    void m_S_WavePlay(unsigned char* pData, int nLen);

    /// Sets the volume of an open device.
    /// @param nVolume low word the left channel, high word the right one, each from 0 to 0xFFFF.
    void m_S_SetWaveVolume(unsigned long nVolume);

    /// @return whether the device is open.
    bool m_F_n_IsOpen();

    /// @return the number of blocks queued and not yet reported as played, since the device was
    /// opened. It may be off by one for a moment while a block is being queued.
    int m_F_n_UseBuf();

    /// Makes the buffer of the slot that is next exactly @p nSize bytes long, for the sound to be
    /// decoded straight into it. A buffer of that length keeps its contents, otherwise they are
    /// undefined.
    /// @return the buffer, which stays the player's and is valid until the block in its slot is
    /// played again, or the player is closed. Null when there is no memory, or @p nSize is not
    /// positive.
    unsigned char* m_F_b_GetBufPoint(int nSize);

    /// The device's callback. Not for clients.
    static void CALLBACK waveOutProc(HWAVEOUT hWaveOut, UINT nMsg, DWORD_PTR nInstance,
                                     DWORD_PTR nParam1, DWORD_PTR nParam2);

    static const int vs_nMuteBuf = 1600;  ///< bytes of silence that are played for empty input
    static const int vs_nMaxBuf = 8;      ///< slots of the ring

    HWAVEOUT vm_hWaveOut;              ///< the device; null while it is closed
    WAVEHDR vm_stWaveHdr[vs_nMaxBuf];  ///< the slots' headers, prepared while the device is open
    CMemManage vm_cBuf[vs_nMaxBuf];    ///< the slots' buffers
    int vm_nCurBuf;                    ///< the slot that is next
    /// The slot whose length is reported; deliberately never advanced, and so always 0.
    int vm_nDoneBuf;
    HWND vm_hNotifyWnd;           ///< the window that is told; may be null
    std::atomic<int> vm_nUseBuf;  ///< the blocks queued and not yet reported as played
    CMemManage vm_cMuteBuf;       ///< #vs_nMuteBuf bytes of silence

protected:
    /// What follows when a block has been played: it no longer counts as queued, and the window is
    /// told.
    void m_S_WomDone();

    /// The handler of `MM_WOM_DONE` for the object's own window: as m_S_WomDone().
    /// @return 0.
    afx_msg LRESULT OnPlayAudio(WPARAM wParam, LPARAM lParam);

    DECLARE_MESSAGE_MAP()
};

static_assert(sizeof(std::atomic<int>) == sizeof(int) && alignof(std::atomic<int>) == alignof(int),
              "the counter is as wide as its plain value");
static_assert(sizeof(CWaveOut) == sizeof(CWnd) + 8 + 8 * sizeof(WAVEHDR) + 8 * sizeof(CMemManage) +
                                      4 + 4 + 8 + 8 + sizeof(CMemManage),
              "the fields, behind those of the window, and nothing else");
