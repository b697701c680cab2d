#include "CWaveOut.h"

#include <cstdlib>

#include "present/wave_block.h"

using namespace ostrel::present;

const int CWaveOut::vs_nMuteBuf;
const int CWaveOut::vs_nMaxBuf;

namespace
{

constexpr DWORD kFullVolume = 0xFFFFFFFF;
constexpr int kNoticeShift = 4;

// The device writes the flags, on its own thread.
bool IsQueued(const WAVEHDR& header)
{
    return (*static_cast<const volatile DWORD*>(&header.dwFlags) & WHDR_INQUEUE) != 0;
}

// The length of a header is read on the device's thread, too.
volatile LONG* LengthOf(WAVEHDR& header)
{
    return reinterpret_cast<volatile LONG*>(&header.dwBufferLength);
}

void Point(WAVEHDR& header, CMemManage& buffer, unsigned __int64 length)
{
    header.lpData = buffer.m_F_p_GetStrCHAR();
    InterlockedExchange(LengthOf(header), static_cast<LONG>(length));
}

// A block that the device still reads when its slot has got another one: the header, which is not
// touched until the device is done with it, carries it along.
void KeepIfQueued(WAVEHDR& header, CMemManage& previous)
{
    if (IsQueued(header) && header.lpData == previous.m_F_p_GetStrCHAR())
    {
        header.dwUser = reinterpret_cast<DWORD_PTR>(previous.m_pMem);
        previous = CMemManage();
    }
}

void FreeKept(WAVEHDR& header)
{
    std::free(reinterpret_cast<void*>(header.dwUser));
    header.dwUser = 0;
}

}  // namespace

IMPLEMENT_DYNAMIC(CWaveOut, CWnd)

BEGIN_MESSAGE_MAP(CWaveOut, CWnd)
ON_MESSAGE(MM_WOM_DONE, &CWaveOut::OnPlayAudio)
END_MESSAGE_MAP()

CWaveOut::CWaveOut()
    : vm_hWaveOut(nullptr),
      vm_stWaveHdr{},
      vm_nCurBuf(0),
      vm_nDoneBuf(0),
      vm_hNotifyWnd(nullptr),
      vm_nUseBuf(0),
      vm_cMuteBuf(vs_nMuteBuf)
{
    vm_cMuteBuf.m_S_ZeroMem();
}

CWaveOut::~CWaveOut()
{
    m_S_WaveClose();
    if (m_hWnd != nullptr)
    {
        CWnd::DestroyWindow();
    }
}

void CWaveOut::m_S_InitWnd()
{
    // Only a window that is there already is made anew; deliberately so.
    if (m_hWnd != nullptr)
    {
        Create(nullptr, _T("WavwOut"), WS_CHILD, CRect(0, 0, 0, 0), AfxGetMainWnd(), 0);
    }
}

bool CWaveOut::m_F_n_WaveOpen(WAVEFORMATEX* pFormat, HWND hNotify)
{
    // The headers may still be queued at a device that is open.
    m_S_WaveClose();
    vm_hNotifyWnd = hNotify;
    HWAVEOUT device = nullptr;
    if (pFormat == nullptr ||
        waveOutOpen(&device, WAVE_MAPPER, pFormat, reinterpret_cast<DWORD_PTR>(&waveOutProc),
                    reinterpret_cast<DWORD_PTR>(this), CALLBACK_FUNCTION) != MMSYSERR_NOERROR ||
        device == nullptr)
    {
        return false;
    }
    vm_hWaveOut = device;
    for (WAVEHDR& header : vm_stWaveHdr)
    {
        header = {};
        waveOutPrepareHeader(vm_hWaveOut, &header, sizeof(header));
    }
    waveOutSetVolume(vm_hWaveOut, kFullVolume);
    vm_nUseBuf = 0;
    return true;
}

void CWaveOut::m_S_WaveClose()
{
    if (!m_F_n_IsOpen())
    {
        return;
    }
    // The device may report the blocks from inside of the reset, or on its own thread meanwhile.
    waveOutSetVolume(vm_hWaveOut, 0);
    waveOutPause(vm_hWaveOut);
    waveOutReset(vm_hWaveOut);
    for (int i = 0; i < vs_nMaxBuf; ++i)
    {
        waveOutUnprepareHeader(vm_hWaveOut, &vm_stWaveHdr[i], sizeof(vm_stWaveHdr[i]));
        vm_cBuf[i].m_S_DelMem();
        FreeKept(vm_stWaveHdr[i]);
    }
    waveOutSetVolume(vm_hWaveOut, kFullVolume);
    waveOutClose(vm_hWaveOut);
    vm_hWaveOut = nullptr;
}

void CWaveOut::m_S_WavePlay(unsigned char* pData, int nLen)
{
    if (!m_F_n_IsOpen())
    {
        return;
    }
    WAVEHDR& header = vm_stWaveHdr[vm_nCurBuf];
    CMemManage& buffer = vm_cBuf[vm_nCurBuf];
    CMemManage previous;
    const bool isEmpty = pData == nullptr || nLen == 0;
    const auto length =
        static_cast<unsigned>(isEmpty ? 0 : TakeBlock(buffer, pData, nLen, previous));
    KeepIfQueued(header, previous);
    // What the device is reading must neither move nor become shorter.
    if (!IsQueued(header))
    {
        FreeKept(header);
        if (length == 0)
        {
            Point(header, vm_cMuteBuf, vm_cMuteBuf.m_F_n_GetMemSize());
        }
        else
        {
            Point(header, buffer, length);
        }
    }
    waveOutWrite(vm_hWaveOut, &header, sizeof(header));
    vm_nCurBuf = (vm_nCurBuf + 1) % vs_nMaxBuf;
    ++vm_nUseBuf;
}

void CWaveOut::m_S_SetWaveVolume(unsigned long nVolume)
{
    if (m_F_n_IsOpen())
    {
        waveOutSetVolume(vm_hWaveOut, nVolume);
    }
}

bool CWaveOut::m_F_n_IsOpen()
{
    return vm_hWaveOut != nullptr;
}

int CWaveOut::m_F_n_UseBuf()
{
    return vm_nUseBuf;
}

unsigned char* CWaveOut::m_F_b_GetBufPoint(int nSize)
{
    CMemManage previous;
    unsigned char* const block = ResizeBlock(vm_cBuf[vm_nCurBuf], nSize, previous);
    KeepIfQueued(vm_stWaveHdr[vm_nCurBuf], previous);
    return block;
}

void CALLBACK CWaveOut::waveOutProc(HWAVEOUT, UINT nMsg, DWORD_PTR nInstance, DWORD_PTR, DWORD_PTR)
{
    if (nMsg == WOM_DONE && nInstance != 0)
    {
        reinterpret_cast<CWaveOut*>(nInstance)->m_S_WomDone();
    }
}

void CWaveOut::m_S_WomDone()
{
    --vm_nUseBuf;
    if (vm_hNotifyWnd != nullptr)
    {
        const LONG length = InterlockedCompareExchange(LengthOf(vm_stWaveHdr[vm_nDoneBuf]), 0, 0);
        PostMessageW(vm_hNotifyWnd, MM_WOM_DONE, static_cast<DWORD>(length) >> kNoticeShift, 0);
    }
}

LRESULT CWaveOut::OnPlayAudio(WPARAM, LPARAM)
{
    m_S_WomDone();
    return 0;
}
