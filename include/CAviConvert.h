/// @file
/// Records encoded video, audio and text into an AVI file with a subtitle file beside it.
#pragma once

#include <afxwin.h>
#include <mmreg.h>
#include <vfw.h>

#include <type_traits>

#include "CFileRW.h"
#include "LibOstrelExport.h"

/// Records video frames that are already encoded, blocks of audio and one line of text per second
/// into an AVI file, through the platform's AVIFile interface, and writes the text also into a
/// subtitle file (SRT, UTF-16) of the same name.
///
/// Nothing is encoded or converted: frames are stored as they are given. For each of the three
/// streams the object keeps the time at which its next sample is due, in milliseconds of the
/// caller's clock; the caller writes when his clock has come there. To record, create the file, add
/// the audio stream if there is to be one, set the start time, write, and close.
///
/// What cannot be opened is a result of false, also for want of memory; what cannot be written
/// later is not reported, but for audio, of which a line on the debugger output tells. No member
/// throws, but for m_S_WriteText() and m_F_s_GetFileName(): `CMemoryException*` when memory runs
/// out for the text. The file's format ends at 2 GiB: m_F_n_GetWriteSzie() tells when to go on in
/// another one.
///
/// One thread at a time uses an object. It cannot be copied, because a file cannot.
class OSTREL_API CAviConvert
{
public:
    /// Initialises the AVIFile interface. Nothing is open.
    CAviConvert();

    /// Closes the recording, as m_S_CloseAviFile() does, and leaves the AVIFile interface.
    ~CAviConvert();

    /// @return true while an AVI file is open.
    bool m_F_b_Create();

    /// Opens a recording, with its video and text streams, and the subtitle file. A recording that
    /// is open is closed first. Existing files are overwritten.
    ///
    /// That the subtitle file cannot be opened is no failure; there is none then.
    /// @param sPath the file's name. If it does not end in ".avi", in whatever case, ".avi" is
    /// added. The subtitle file is called the same, with "srt" for the last three characters.
    /// @param pFormat describes the frames: its first 44 bytes are stored (the header and one
    /// colour), so palettes and codec extras are not. `biCompression` tells the kind of the frames,
    /// `biWidth` and `biHeight` their size in pixels.
    /// @param nFPS frames per second, at least 1.
    /// @return true when the file is open with its two streams. False otherwise, and nothing is
    /// open then; when the file itself could not be opened, or memory ran out for its name, or
    /// @p pFormat is null or @p nFPS below 1 (no file is touched then), m_F_s_GetFileName() is
    /// empty.
    bool m_F_n_CreateAviFile(CStringW sPath, BITMAPINFO* pFormat, int nFPS);

    /// Adds the audio stream; to be called once, after m_F_n_CreateAviFile() and before the first
    /// audio is written. Nothing happens while no file is open or when @p pWave is null. If the
    /// stream cannot be made, the whole recording is closed, the subtitle file too.
    /// @param pWave the format of the audio; 18 bytes of it are stored, whatever `cbSize` says.
    void m_S_SetAudioInfo(WAVEFORMATEX* pWave);

    /// Sets the time at which the next sample is due, for all three streams.
    /// @param nMS milliseconds of any clock. Behind the last of the 64-bit numbers, times wrap
    /// around.
    void m_S_SetStartTime(__int64 nMS);

    /// Writes a frame and makes the next one due. Nothing happens while nothing is open.
    ///
    /// Null data without the key mark, or a negative length, leave an empty place in the stream:
    /// the way in which a frame that was dropped is recorded.
    /// @param pData, nLen the encoded frame and its length in bytes. The length counts as written
    /// also where there is no data; a negative one counts nothing.
    /// @param bKeyFrame whether decoding can begin with this frame.
    void m_S_WriteVideo(unsigned char* pData, int nLen, bool bKeyFrame);

    /// Writes audio, and moves the time at which more is due by as long as what was written lasts.
    /// Nothing happens while there is no audio stream, when @p pData is null or @p nLen negative,
    /// or when the audio's format has a block align or a sample rate of 0.
    ///
    /// When the platform refuses what is left, or accepts it but takes nothing, that is dropped and
    /// "Error in _WriteAudioStream" is printed to the debugger output.
    /// @param pData, nLen the samples, and their length in bytes.
    void m_S_WriteAudio(unsigned char* pData, int nLen);

    /// Writes the text of the next second, into the AVI file (in the ANSI code page) and into the
    /// subtitle file, and makes the next one due. Nothing happens while nothing is open.
    void m_S_WriteText(CStringW sText);

    /// Makes the frame after the next one due, without writing one.
    void m_S_CalNextVideoTime();

    /// Moves the time at which more audio is due, without writing any.
    /// @param nSamples by as long as so many samples last; the arithmetic is that of 32-bit
    /// unsigned numbers. Nothing happens while no audio format with a sample rate is known.
    void m_S_CalNextAudioTime(long nSamples);

    /// Moves the time at which text is due by one second, without writing any.
    void m_S_CalNextTextTime();

    /// @return the millisecond at which the next frame is due.
    __int64 m_F_n_GetNextVideoTime();

    /// @return the millisecond at which more audio is due.
    __int64 m_F_n_GetNextAudioTime();

    /// @return the millisecond at which the next text is due.
    __int64 m_F_n_GetNextTextTime();

    /// @return the bytes of frames, audio and text written since the file was opened; see
    /// #vm_nWriteSize.
    unsigned int m_F_n_GetWriteSzie();

    /// @return the AVI file's name, with the extension that was added; also after it was closed.
    CStringW m_F_s_GetFileName();

    /// @return whether the next frame begins a second of video, as the very first one does.
    bool m_F_b_n_IsMultipleFPS();

    /// Completes and closes both files. Counts, times and the name stay. Harmless when nothing is
    /// open.
    void m_S_CloseAviFile();

    IAVIFile* vm_pAviFile;         ///< the AVI file, owned, or null
    IAVIStream* vm_pVideoStream;   ///< the video stream, owned, or null
    int vm_nVideoIndex;            ///< index of the next frame
    IAVIStream* vm_pAudioStream;   ///< the audio stream, owned, or null
    int vm_nAudioPos;              ///< index of the next sample of audio
    WAVEFORMATEX vm_stWaveFormat;  ///< the audio's format
    IAVIStream* vm_pTextStream;    ///< the text stream, owned, or null
    int vm_nTextIndex;             ///< index of the next text
    __int64 vm_nNextVideoTime;     ///< when the next frame is due, in milliseconds
    __int64 vm_nNextAudioTime;     ///< when more audio is due, in milliseconds
    __int64 vm_nNextTextTime;      ///< when the next text is due, in milliseconds
    /// Bytes written, without the formats' own. Of audio that the platform took in several pieces
    /// only the last piece counts.
    unsigned int vm_nWriteSize;
    int vm_nFrameMS;        ///< whole milliseconds between two frames
    int vm_nFrameMSRem;     ///< so many frames of each second last a millisecond longer
    int vm_nFPS;            ///< frames per second
    CStringW vm_sFileName;  ///< the AVI file's name
    CFileRW vm_cSrtFile;    ///< the subtitle file
};

static_assert(sizeof(WAVEFORMATEX) == 18, "the audio's format is stored in 18 bytes");
static_assert(!std::is_polymorphic_v<CAviConvert>, "a recording has no virtual member");
