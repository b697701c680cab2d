/// @file
/// A named block of memory that processes share.
#pragma once

#include <afxwin.h>

#include <cstddef>

#include "LibOstrelExport.h"

/// Opens, or creates, a named block of memory that is backed by the paging file, and maps it into
/// this process to be read and written.
///
/// The block lives as long as any process has it open. The class brings no lock: processes that
/// write to one block agree among themselves. One thread at a time uses an object.
///
/// Copying is memberwise on purpose: both objects then hold one handle and one view, and the caller
/// sees to it that only one of them closes them, for instance by setting #vm_pView and #vm_hMapping
/// to null in the other.
class OSTREL_API CShareMem
{
public:
    /// Opens nothing.
    CShareMem();
    CShareMem(const CShareMem& other) = default;
    CShareMem& operator=(const CShareMem& other) = default;

    /// As m_S_CloseSM().
    ~CShareMem();

    /// Opens the block of this name or, when there is none and @p bCreate is true, creates it,
    /// filled with 0. An open block is closed first.
    /// @param sName the mapping's name, as the platform takes it: `Local\...`, `Global\...`.
    /// @param nSize bytes. Creates a block of that size, a negative one counted as unsigned. It
    /// becomes #vm_nSize also when an existing block is opened, whose real size may differ: who
    /// uses the view must know how long it is.
    /// @param bCreate whether a block may be created.
    /// @return 1 when the block is mapped; 0 when there is none, or it could not be created
    /// (@p nSize is 0, say) or mapped. When the mapping fails, its handle stays in #vm_hMapping,
    /// unclosed, on purpose; the next call overwrites it.
    int m_F_n_OpenShareMem(CStringW sName, int nSize, bool bCreate);

    /// Unmaps and closes the block, and empties #vm_sName; #vm_nSize stays.
    /// @return 1 when the block was closed; 0, with nothing done, when none was open.
    int m_S_CloseSM();

    /// @return not 0 when both the handle and the view are there.
    int m_F_n_IsOpen();

    /// Fills #vm_nSize bytes of the view with 0, if the block is open; nothing is touched beyond
    /// the view's real end.
    void m_S_ZeroMem();

    /// @return #vm_nSize: bytes, as they were asked for.
    int m_F_n_GetMemSize();

    CStringW vm_sName;   ///< the name; empty while no block is open
    void* vm_pView;      ///< the block in this process; null while none is open
    int vm_nSize;        ///< bytes, as they were asked for last; 0 at first
    HANDLE vm_hMapping;  ///< the mapping; null while none is open
};

static_assert(offsetof(CShareMem, vm_sName) == 0 &&
                  offsetof(CShareMem, vm_pView) == sizeof(CStringW) &&
                  offsetof(CShareMem, vm_nSize) == sizeof(CStringW) + 8 &&
                  offsetof(CShareMem, vm_hMapping) == sizeof(CStringW) + 16 &&
                  sizeof(CShareMem) == sizeof(CStringW) + 24,
              "the fields, in this order, and nothing else");
