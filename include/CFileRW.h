/// @file
/// A binary file in one of four open modes.
#pragma once

#include <afxwin.h>

#include "LibOstrelExport.h"

/// How CFileRW opens a file. In every mode other openers, in this process or another, may read the
/// file meanwhile, but not write to it. Any value that is not named here counts as #emDef_Read.
enum emDef_OpenType : int
{
    emDef_Read = 0,       ///< to read; the file must exist
    emDef_ReadWrite = 1,  ///< to read and write; the file must exist
    emDef_Create = 2,     ///< to read and write; made if missing, emptied if it exists
    emDef_OpenAlways = 3  ///< to read and write; made if missing, contents kept if it exists
};

/// The framework's binary file, which does nothing, instead of raising an exception, while it is
/// closed or, for writing, while it is open to be read only.
///
/// The members of `CFile` stay available, its Open() with flags of the caller's own included; that
/// one does not set #vm_bCanWrite, so write with `CFile::Write` then. What the platform refuses on
/// an open file surfaces as the framework's `CFileException*`, as in `CFile`.
///
/// One thread at a time uses an object. It cannot be copied.
class OSTREL_API CFileRW : public CFile
{
public:
    /// Opens the file, if a path is given; m_F_b_IsOpen() tells whether it succeeded.
    /// @param sPath in the ANSI code page; empty opens nothing.
    CFileRW(CStringA sPath = CStringA(), emDef_OpenType nType = emDef_Read);

    /// Closes the file if it is open.
    ~CFileRW() override;

    /// Opens a file. One that is open is closed first, whatever comes of it.
    ///
    /// Pass a `CStringW` or a `CStringA`: a bare literal would fit both.
    /// @param sPath the path, absolute or from the current folder.
    /// @return not 0 when the file is open; the position is its begin. 0 when it could not be
    /// opened (missing, in use, no such folder, no right to, an empty path): no reason is told.
    int m_F_n_Open(CStringW sPath, emDef_OpenType nType);

    /// As above.
    /// @param sPath in the ANSI code page.
    int m_F_n_Open(CStringA sPath, emDef_OpenType nType);

    /// Closes the file, if it is open.
    void m_S_Close();

    /// Writes at the current position, which moves on. Does nothing when no file is open, or when
    /// it is open in the mode #emDef_Read. A failure throws `CFileException*`.
    /// @param p the bytes; the caller's.
    /// @param n their number.
    void m_S_Write(const void* p, unsigned int n);

    /// Reads from the current position, which moves on. A failure throws `CFileException*`.
    /// @param p receives the bytes.
    /// @param n its room in bytes.
    /// @return the number of bytes read, less than @p n at the file's end; 0xFFFFFFFF when no file
    /// is open.
    unsigned int m_F_n_Read(void* p, unsigned int n);

    /// Moves the position, also past the file's end. A position before its begin, or an unknown
    /// @p nFrom, throws `CFileException*`.
    /// @param nOffset bytes.
    /// @param nFrom what it counts from: `CFile::begin` (0), `CFile::current` (1), `CFile::end`
    /// (2).
    /// @return the new position, counted from the begin; 0xFFFFFFFF when no file is open (on a file
    /// of 4 GiB and more that can be a position, too).
    unsigned __int64 m_F_n_Seek(__int64 nOffset, unsigned int nFrom);

    /// @return 1 when a file is open, else 0.
    int m_F_b_IsOpen();

    bool vm_bCanWrite;  ///< whether m_F_n_Open() has opened the file in a mode that writes
};
