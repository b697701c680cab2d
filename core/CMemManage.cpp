#include "CMemManage.h"

#include <cstdlib>
#include <cstring>

namespace
{

// What the interface promises about a range is its length alone; whether the range lies inside the
// block is for us to know before memory is touched.
bool IsInside(const unsigned char* block, unsigned __int64 blockSize, unsigned __int64 offset,
              unsigned __int64 length)
{
    return block != nullptr && offset <= blockSize && length <= blockSize - offset;
}

}  // namespace

CMemManage::CMemManage(unsigned __int64 nSize) : m_pMem(nullptr), m_nMemSize(0)
{
    m_F_p_MemAlloc(nSize);
}

CMemManage::~CMemManage()
{
    m_S_DelMem();
}

// Shallow, on purpose.
CMemManage& CMemManage::operator=(const CMemManage& other) = default;

unsigned char* CMemManage::m_F_p_MemAlloc(unsigned __int64 nSize)
{
    if (nSize == m_nMemSize)
    {
        return m_pMem;
    }
    m_S_DelMem();
    if (nSize == 0)
    {
        return nullptr;
    }
    m_pMem = static_cast<unsigned char*>(std::malloc(nSize));
    if (m_pMem != nullptr)
    {
        m_nMemSize = nSize;
    }
    return m_pMem;
}

void CMemManage::m_S_DelMem()
{
    std::free(m_pMem);
    m_pMem = nullptr;
    m_nMemSize = 0;
}

void CMemManage::m_S_ZeroMem()
{
    if (m_pMem != nullptr)
    {
        std::memset(m_pMem, 0, m_nMemSize);
    }
}

unsigned char* CMemManage::m_F_p_GetMemPoint()
{
    return m_pMem;
}

char* CMemManage::m_F_p_GetStrCHAR()
{
    return reinterpret_cast<char*>(m_pMem);
}

wchar_t* CMemManage::m_F_p_GetStrWCHAR()
{
    return reinterpret_cast<wchar_t*>(m_pMem);
}

unsigned __int64 CMemManage::m_F_n_GetMemSize()
{
    return m_nMemSize;
}

void CMemManage::m_S_MemCopy(void* pDst, const void* pSrc, unsigned __int64 nLen)
{
    std::memcpy(pDst, pSrc, nLen);
}

int CMemManage::m_F_n_MemCopy(const unsigned char* pSrc, unsigned __int64 nLen,
                              unsigned __int64 nOffset)
{
    if (nLen > m_nMemSize - nOffset)
    {
        return -1;
    }
    // Memory may overlap: nothing forbids a source that lies in this very block.
    if (pSrc != nullptr && IsInside(m_pMem, m_nMemSize, nOffset, nLen))
    {
        std::memmove(m_pMem + nOffset, pSrc, nLen);
    }
    return static_cast<int>(nLen);
}

int CMemManage::m_F_n_MemCopy(CMemManage& src, unsigned __int64 nSrcOffset, unsigned __int64 nLen,
                              unsigned __int64 nOffset)
{
    if (nSrcOffset + nLen > src.m_nMemSize)
    {
        return -1;
    }
    const bool isSourceInside = IsInside(src.m_pMem, src.m_nMemSize, nSrcOffset, nLen);
    return m_F_n_MemCopy(isSourceInside ? src.m_pMem + nSrcOffset : nullptr, nLen, nOffset);
}
