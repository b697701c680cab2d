/// @file
/// An owned block of bytes and its size: what the HTTP client returns bodies in and the renderer
/// keeps its pictures in.
#pragma once

#include <cstddef>

#include "LibOstrelExport.h"

/// An owned heap block and its size in bytes.
///
/// The block comes from `malloc` and its contents are never initialised by the class; only
/// m_S_ZeroMem() clears them. One thread at a time uses an object; the class takes no lock. No
/// member throws.
class OSTREL_API CMemManage
{
public:
    /// Allocates a block of @p nSize bytes; 0 allocates nothing. A failed allocation is not
    /// reported: the buffer is then empty (m_F_p_GetMemPoint() is null, the size 0).
    CMemManage(unsigned __int64 nSize = 0);

    /// Shallow, on purpose: both objects then name one block. See operator=().
    CMemManage(const CMemManage& other) = default;

    /// Frees the block, as m_S_DelMem() does.
    ~CMemManage();

    /// Copies pointer and size as they stand and duplicates nothing, on purpose: both objects then
    /// name one block, and the caller sees to it that only one of them frees it, for instance by
    /// assigning an empty buffer to the other. The block held before is not freed.
    CMemManage& operator=(const CMemManage& other);

    /// Makes the block exactly @p nSize bytes long.
    ///
    /// If that is the size already held, the block and its contents stay. Otherwise the old block
    /// is freed (its contents are not carried over) and a fresh, uninitialised one is allocated; a
    /// smaller size is no exception. Size 0 frees the block.
    /// @return the block; null when the allocation failed, the buffer being empty then.
    unsigned char* m_F_p_MemAlloc(unsigned __int64 nSize);

    /// Frees the block, if there is one, and sets pointer and size to 0. Harmless when repeated.
    void m_S_DelMem();

    /// Fills the block, if there is one, with zeros.
    void m_S_ZeroMem();

    /// @return the block, or null. The object stays the owner.
    unsigned char* m_F_p_GetMemPoint();

    /// @return the block as 8-bit text, or null. Nothing guarantees a terminator.
    char* m_F_p_GetStrCHAR();

    /// @return the block as wide text, or null. Nothing guarantees a terminator.
    wchar_t* m_F_p_GetStrWCHAR();

    /// @return the block's size in bytes.
    unsigned __int64 m_F_n_GetMemSize();

    /// Copies @p nLen bytes from @p pSrc to @p pDst, as `memcpy` does; neither reads nor changes
    /// the object. The two areas must not overlap and nothing about them is checked.
    void m_S_MemCopy(void* pDst, const void* pSrc, unsigned __int64 nLen);

    /// Copies @p nLen bytes from @p pSrc into this block, @p nOffset bytes from its start.
    ///
    /// Only the length is checked, against the size less the offset in unsigned 64-bit arithmetic:
    /// an offset beyond the end wraps around and passes, on purpose. The length is then returned,
    /// but nothing outside the block is touched.
    /// @return @p nLen truncated to 32 bits, or -1 when it exceeds the room after the offset
    /// (nothing is copied then).
    int m_F_n_MemCopy(const unsigned char* pSrc, unsigned __int64 nLen, unsigned __int64 nOffset);

    /// Copies @p nLen bytes, @p nSrcOffset bytes from the start of @p src, into this block,
    /// @p nOffset bytes from its start. Note the order of the arguments.
    ///
    /// The range in @p src is checked first (the sum of offset and length may wrap around), then
    /// the room in this block as above. Where an offset has wrapped around, the length is returned
    /// and nothing outside either block is touched.
    /// @return @p nLen truncated to 32 bits, or -1 when either range is too long (nothing is copied
    /// then).
    int m_F_n_MemCopy(CMemManage& src, unsigned __int64 nSrcOffset, unsigned __int64 nLen,
                      unsigned __int64 nOffset);

    unsigned char* m_pMem;        ///< the block, or null
    unsigned __int64 m_nMemSize;  ///< its size in bytes; 0 while there is no block
};

static_assert(offsetof(CMemManage, m_pMem) == 0 &&
                  offsetof(CMemManage, m_nMemSize) == sizeof(unsigned char*) &&
                  sizeof(CMemManage) == sizeof(unsigned char*) + sizeof(unsigned __int64),
              "a byte buffer is its pointer and its size, in this order, and nothing else");
