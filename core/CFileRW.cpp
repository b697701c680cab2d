#include "CFileRW.h"

namespace
{

constexpr unsigned int kNotOpen = 0xFFFFFFFF;

struct OpenMode
{
    UINT flags;
    bool canWrite;
};

OpenMode ModeOf(emDef_OpenType type)
{
    switch (type)
    {
        case emDef_ReadWrite:
            return {CFile::modeReadWrite, true};
        case emDef_Create:
            return {CFile::modeCreate | CFile::modeReadWrite, true};
        case emDef_OpenAlways:
            return {CFile::modeCreate | CFile::modeNoTruncate | CFile::modeReadWrite, true};
        default:
            return {CFile::modeRead, false};
    }
}

}  // namespace

CFileRW::CFileRW(CStringA sPath, emDef_OpenType nType) : vm_bCanWrite(false)
{
    if (!sPath.IsEmpty())
    {
        m_F_n_Open(CStringW(sPath), nType);
    }
}

CFileRW::~CFileRW()
{
    // Also a handle that someone else has opened; and a destructor lets no exception out.
    Abort();
}

int CFileRW::m_F_n_Open(CStringW sPath, emDef_OpenType nType)
{
    m_S_Close();
    const OpenMode mode = ModeOf(nType);
    const int isOpen = Open(sPath, mode.flags | typeBinary | shareDenyWrite);
    vm_bCanWrite = isOpen != 0 && mode.canWrite;
    return isOpen;
}

int CFileRW::m_F_n_Open(CStringA sPath, emDef_OpenType nType)
{
    return m_F_n_Open(CStringW(sPath), nType);
}

void CFileRW::m_S_Close()
{
    if (m_F_b_IsOpen() != 0)
    {
        Close();
    }
}

void CFileRW::m_S_Write(const void* p, unsigned int n)
{
    if (m_F_b_IsOpen() != 0 && vm_bCanWrite)
    {
        Write(p, n);
    }
}

unsigned int CFileRW::m_F_n_Read(void* p, unsigned int n)
{
    return m_F_b_IsOpen() != 0 ? Read(p, n) : kNotOpen;
}

unsigned __int64 CFileRW::m_F_n_Seek(__int64 nOffset, unsigned int nFrom)
{
    return m_F_b_IsOpen() != 0 ? Seek(nOffset, nFrom) : kNotOpen;
}

int CFileRW::m_F_b_IsOpen()
{
    return m_hFile != hFileNull ? 1 : 0;
}
