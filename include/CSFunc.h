/// @file
/// The library's static tools: debug output, sockets, pictures, windows, time, processes, files,
/// text and shell.
#pragma once

#include <afxmt.h>
#include <afxwin.h>
#include <winsock2.h>

#include "LibOstrelExport.h"

/// Static functions only; there is nothing to construct. Any thread may call any of them.
///
/// Where to look, in the order of this file:
/// - **Debug output**: a line to the debugger.
/// - **Sockets and threads**: connecting with a time-out, ending by force.
/// - **Picture sizes**: of H.264, MPEG-4 and JPEG.
/// - **Planar to packed**, **packed to planar**: the colour conversions.
/// - **Image files**: saving a picture.
/// - **Window and screen geometry**: a grid of rectangles, the monitors' places.
/// - **Time and time zones**: now, calendar times, local times, the hours of a day.
/// - **Processes**: finding, starting and ending them by name.
/// - **Directories and files**: making and removing chains of directories, listing files.
/// - **Text**: UTF-8, hexadecimal.
/// - **Shell**: choosing a folder; the browser's protected mode.
///
/// The framework's exceptions (CMemoryException, by pointer) pass through to the caller.
///
/// **Pictures.** A YV12 picture is planar 4:2:0: a Y plane of width x height bytes and two chroma
/// planes, U (Cb) and V (Cr), of (width/2) x (height/2) bytes. The conversions take the planes as
/// separate pointers in the order Y, U, V. The colour matrix is ITU-R BT.601 in studio range (luma
/// 16 to 235, chroma 16 to 240 around 128), in fixed point. RGB *output* is B, G, R (and a fourth
/// byte 0 for 32-bit pixels), RGB *input* is R, G, B; the asymmetry is deliberate. All rows run
/// top-down.
///
/// **Room.** A conversion processes whole row pairs and, in each row, the width rounded up to a
/// multiple of 16 (W16). So for a width that is no multiple of 16, or an odd height, it reads and
/// writes past the picture, and the caller's buffers must allow it: each row of each plane is
/// accessed for W16 (chroma: W16/2) bytes from the row's start, for the height rounded up to even
/// (chroma: half of that) rows; likewise each packed row, for W16 pixels. Rows then overlap, and
/// what remains is what was written last. A width or height of 0 or less does nothing.
///
/// **Lock.** All conversions of the process run one at a time, under #vs_csYuvToRgb.
class OSTREL_API CSFunc
{
public:
    // ---- Debug output ----------------------------------------------------------------------

    /// Formats a message as `printf` does and sends it to the debugger output, a line end added.
    /// @param pFormat 8-bit format; null does nothing.
    /// The message must stay below 1023 characters; a longer one is cut there.
    static void s_S_Debug(const char* pFormat, ...);

    // ---- Sockets and threads ---------------------------------------------------------------

    /// Connects a TCP socket, for at most @p nTimeOut milliseconds.
    ///
    /// With a time-out greater than 0 the socket is switched to non-blocking mode and stays in it
    /// whatever the outcome. Only the write set is watched: a refused connection costs the whole
    /// time-out. With a time-out of 0 or less this is a plain blocking connect.
    /// @param socket a stream socket, not yet connected. The caller stays its owner.
    /// @param pAddr the peer's address.
    /// @param nAddrLen the address's size in bytes.
    /// @param nTimeOut milliseconds.
    /// @return true when connected.
    static bool s_F_n_ConnectTimeOut(SOCKET socket, const sockaddr* pAddr, int nAddrLen,
                                     int nTimeOut);

    /// Closes a socket abortively: the connection is reset at once, nothing is drained.
    /// @param socket reads `INVALID_SOCKET` afterwards; `INVALID_SOCKET` does nothing.
    static void s_S_ForceCloseSocket(SOCKET& socket);

    /// Waits for a thread to end and terminates it if it does not within @p nTimeOut milliseconds.
    ///
    /// The wait comes first; the socket the thread works on, if one is given, is closed abortively
    /// after it (before the thread is terminated). A termination is reported to the debugger
    /// output. Never to be called by the thread itself.
    /// @param hThread closed, and null afterwards; null does nothing, the socket left alone too.
    /// @param nTimeOut milliseconds.
    /// @param pSocket the thread's socket (reads `INVALID_SOCKET` afterwards), or null.
    static void s_S_ForceCloseThread(HANDLE& hThread, int nTimeOut, SOCKET* pSocket);

    // ---- Picture sizes ---------------------------------------------------------------------

    /// Reads the picture size of an H.264 stream from a sequence parameter set (ITU-T H.264
    /// 7.3.2.1.1). A size is written on every call: whatever the bytes are, they are read as a
    /// sequence parameter set, and bits that are missing read as 0. Without any, the size is
    /// 16 x 32. Nothing goes to the debugger output.
    ///
    /// The rules are simpler than the standard's, on purpose; they give the true size of the usual
    /// 4:2:0 progressive stream:
    /// - Only the profiles 100, 110, 122 and 144 are taken to hold the chroma and scaling fields,
    ///   and always eight scaling lists. So the size of a stream of any other profile that holds
    ///   them (244, High 4:4:4 Predictive, say) comes from the wrong bits.
    /// - The right and the bottom cropping offset count 2 pixels each, whatever the chroma format,
    ///   and interlaced or not. An offset of 8 or more is ignored; the left and the top one are
    ///   always.
    /// @param data a start code of four bytes, which are not looked at, and behind it the unit.
    /// More may follow the unit; a start code ends it.
    /// @param len bytes that follow the start code (so 4 fewer than @p data holds); nothing past
    /// them is read. 1 or less, as a null @p data, is a unit without content.
    /// @param width, height pixels; always written.
    static void s_S_GetH264WH(unsigned char* data, int len, int& width, int& height);

    /// Reads the picture size of an MPEG-4 Part 2 stream from the first video object layer header
    /// (ISO/IEC 14496-2 6.2.3) whose start code is 00 00 01 20; 21 to 2F are not accepted.
    ///
    /// When there is such a start code, the size is also written to the debugger output, as it
    /// stands, found or not. A layer that is not rectangular, and a header that ends before its
    /// size is complete, have none.
    ///
    /// Two fields are read to this library's own measure, on purpose: VBV parameters take 63 bits
    /// (79 in the standard), and the increment of a fixed VOP rate as many bits as the resolution
    /// itself has (one more than in the standard when the resolution is a power of two). Behind
    /// them the size comes from other bits than a decoder's.
    /// @param data the stream; nothing past @p len bytes is read.
    /// @param len bytes held.
    /// @param width, height pixels; left alone when no size is found, so preset them.
    static void s_S_GetMpg4WH(unsigned char* data, int len, int& width, int& height);

    /// Reads the picture size of a baseline JFIF picture from its SOF0 segment (ITU-T T.81 B.2.2).
    ///
    /// Only pictures that open with an APP0 "JFIF" segment and whose frame header is SOF0 are
    /// sized. The result is also written to the debugger output, as it stands, found or not; only
    /// a segment walk that ends out of range or at a byte that is no marker stays silent.
    /// @param data the picture; nothing past @p len bytes is read.
    /// @param len bytes held.
    /// @param width, height pixels; left alone when no size is found, so preset them.
    static void s_S_GetJpegWH(unsigned char* data, int len, int& width, int& height);

    // ---- Planar to packed ------------------------------------------------------------------

    /// YV12 to YUY2 (Y0 U Y1 V). See the class for what the buffers must hold.
    ///
    /// Packed rows are laid out @p nWidth bytes apart, half of their length, on purpose. For a
    /// width that is a multiple of 16 the finished buffer holds rows 0, 2, 4 ... one after another,
    /// each complete in 2 x width bytes, then width bytes with the right half of the last odd row:
    /// (height + 1) x width bytes in all.
    static void s_S_YV12_to_YUY2(unsigned char* pYUY2, const unsigned char* pY,
                                 const unsigned char* pU, const unsigned char* pV, int nWidth,
                                 int nHeight);

    /// YV12 to UYVY (U Y0 V Y1); otherwise as s_S_YV12_to_YUY2().
    static void s_S_YV12_to_UYVY(unsigned char* pUYVY, const unsigned char* pY,
                                 const unsigned char* pU, const unsigned char* pV, int nWidth,
                                 int nHeight);

    /// YV12 to 24-bit RGB: B, G, R, rows 3 x width bytes apart.
    static void s_S_YV12_to_RGB24(unsigned char* pRGB, const unsigned char* pY,
                                  const unsigned char* pU, const unsigned char* pV, int nWidth,
                                  int nHeight);

    /// YV12 to 32-bit RGB: B, G, R, 0, rows 4 x width bytes apart.
    static void s_S_YV12_to_RGB32(unsigned char* pRGB, const unsigned char* pY,
                                  const unsigned char* pU, const unsigned char* pV, int nWidth,
                                  int nHeight);

    /// YV12 to 32-bit RGB for display surfaces: B, G, R, 0 (the value 0x00RRGGBB), rows 4 x width
    /// bytes apart.
    ///
    /// It differs from s_S_YV12_to_RGB32() in one place, deliberately: its sums wrap in 16 bits.
    /// Where 74 x (Y - 16) + 129 x (U - 128) is above 32767 (as for Y = 255, U = 255) blue is 0
    /// instead of 255.
    ///
    /// No argument needs an alignment. Whatever the name says, the fastest instructions that the
    /// machine has are used; the result is the same.
    /// @param y, u, v luma, Cb and Cr: width and width/2 bytes per row; not written to.
    /// @param width, height pixels.
    /// @param out the packed picture. See the class for what the buffers must hold.
    static void s_S_YUV420_To_ARGB8888_SSE2(unsigned char* y, unsigned char* u, unsigned char* v,
                                            int width, int height, unsigned char* out);

    // ---- Packed to planar ------------------------------------------------------------------

    /// 24-bit RGB (R, G, B; rows 3 x width bytes apart) to YV12. Chroma is the rounded mean of
    /// each 2x2 block.
    static void s_S_RGB24_to_YV12(const unsigned char* pRGB, unsigned char* pY, unsigned char* pU,
                                  unsigned char* pV, int nWidth, int nHeight);

    /// 32-bit RGB (R, G, B, ignored; rows 4 x width bytes apart) to YV12.
    static void s_S_RGB32_to_YV12(const unsigned char* pRGB, unsigned char* pY, unsigned char* pU,
                                  unsigned char* pV, int nWidth, int nHeight);

    /// YUY2 (Y0 U Y1 V; rows 2 x width bytes apart) to YV12. Chroma is the rounded mean of the two
    /// rows of a pair.
    static void s_S_YUY2_to_YV12(const unsigned char* pYUY2, unsigned char* pY, unsigned char* pU,
                                 unsigned char* pV, int nWidth, int nHeight);

    /// The lock that every conversion holds while it runs.
    static CCriticalSection vs_csYuvToRgb;

    // ---- Image files -----------------------------------------------------------------------

    /// Writes one picture to an image file of 24 bits per pixel: BMP, PNG or JPEG, encoded by the
    /// platform with its default quality. Nothing is reported: whether there is a file says whether
    /// it succeeded. A planar picture is converted under #vs_csYuvToRgb.
    ///
    /// The format is found by searching the whole path, folders included, for a text, capitals or
    /// not, on purpose: ".bmp" anywhere but at the start means BMP, otherwise ".png" anywhere but
    /// at the start means PNG, otherwise it is JPEG, whatever the extension. So `shots.bmp/a.jpg`
    /// is a BMP.
    /// @param path the file's name; a file that exists is replaced.
    /// @param header the picture. `biWidth` is positive. `biHeight` is positive when the first row
    /// in memory is the bottom one, negative when it is the top one. `biCompression` is `BI_RGB`
    /// for packed pixels of `biBitCount` bits, or the FourCC 'YV12' for a planar picture. The other
    /// fields go to the platform as they are. A width or height without a picture of at most 2 GB
    /// writes nothing.
    /// @param pixels the picture; nothing outside of it is read. Packed (B, G, R and, with 32 bits,
    /// a byte that is ignored): rows padded to a multiple of 4 bytes; there is no colour table,
    /// pixels of 8 or fewer bits are all black. Planar: width x height bytes of Y, then V, then U,
    /// of (width x height)/4 bytes each. What cannot be drawn (null, another compression) is
    /// saved as a black picture.
    ///
    /// A planar picture is taken top row first but is not flipped, on purpose: with a positive
    /// `biHeight` it is stored upside down; state a negative one to have it upright. Its width
    /// should be a multiple of 4, otherwise it comes out skewed.
    static void s_S_SaveImg(CString path, BITMAPINFOHEADER header, unsigned char* pixels);

    // ---- Window and screen geometry --------------------------------------------------------

    /// Splits an area into a grid of rectangles, without gaps or overlaps. Pixels that are left
    /// over go one each to the first columns and the first rows: 10 x 10 in 3 x 3 gives widths and
    /// heights of 4, 3, 3.
    ///
    /// An area of no or negative width, as no rows or columns, writes nothing. In an area whose
    /// bottom lies above its top so do those of the rows, and what is left over of its height goes
    /// to none of them.
    /// @param nRow, nCol rows and columns.
    /// @param pRects room for nRow x nCol rectangles, row by row (index = row x nCol + column);
    /// null does nothing.
    /// @param rcArea the area, in whatever coordinates the rectangles are wanted.
    static void s_S_CalWndRect(int nRow, int nCol, CRect* pRects, CRect rcArea);

    /// Finds the place of a monitor by its number.
    /// @param nID the number of the display device, from 0 on.
    /// @param rc the monitor in its current mode, in pixels of the desktop (the primary monitor's
    /// corner is 0, 0); left alone when there is none.
    /// @return 1; 0 when there is no such device, or when it has no current mode, as one that is
    /// not part of the desktop.
    static int s_F_n_GetScreenRectByID(unsigned long nID, CRect& rc);

    /// Finds the place of the monitor on which a window lies.
    ///
    /// That is the first, in the order of s_F_n_GetScreenRectByID(), that holds one of the four
    /// corners of the window, each edge moved in by a pixel; how much of the window it holds does
    /// not count. The search ends at the first device that is not there or has no current mode.
    /// @param pWnd the window; null, or one that does not exist, lies on no monitor.
    /// @param rc always set: the monitor's rectangle as in s_F_n_GetScreenRectByID(), or the
    /// desktop window's when no monitor was found.
    static void s_S_GetWndPlacedScreenRect(CWnd* pWnd, CRect& rc);

    // ---- Time and time zones ---------------------------------------------------------------
    //
    // A *time value* counts the milliseconds since 1970-01-01 00:00:00 UTC. A *zone* is a record
    // of the platform with the rules of one year; where a null one stands for the machine's
    // current zone, the function says so. What the rules mean is for the platform to say.

    /// @return the time value of now.
    /// Its seconds and its milliseconds come from two clocks, read one after the other: near the
    /// change of a second it may step back, by up to a second.
    static unsigned __int64 s_F_n_GetCurTm();

    /// Converts a calendar time in UTC to a time value.
    /// @param stUtc its day of the week is not looked at. A field that is out of its range carries
    /// over: month 13 is January of the next year.
    /// @param nMS receives the time value. A time before 1970 or after the year 3000 has none: it
    /// receives the run-time's result (`_mkgmtime64`) for such a time, in milliseconds, plus the
    /// milliseconds, modulo 2^64. That result is documented as -1, which comes to 2^64 - 1000 plus
    /// the milliseconds.
    static void s_S_ChangeTimeType(SYSTEMTIME stUtc, unsigned __int64& nMS);

    /// Converts a time value to a calendar time, milliseconds included.
    ///
    /// Past the end of the year 3000, and the few hours behind it that the run-time allows for time
    /// zones, there is no calendar time: then without a zone, @p st receives month 0 of the year
    /// 1899 and 65535 in all other fields; with a zone, it is left alone. The milliseconds are set
    /// in either case.
    /// @param st receives the time: UTC without a zone, local time with one.
    /// @param pTz the zone, or null for UTC.
    static void s_S_ChangeTimeType(unsigned __int64 nMS, SYSTEMTIME& st,
                                   TIME_ZONE_INFORMATION* pTz);

    /// Converts a calendar time in UTC to the local time of a zone. The milliseconds are carried
    /// over; the zone's rules are applied to whole seconds.
    /// @param pTz the zone; null: the machine's current one.
    /// @param pUtc not changed. With a null @p pUtc or @p pLocal nothing is done.
    /// @param pLocal receives the local time. Of a date that the platform refuses it receives the
    /// milliseconds alone. It may be the same record as @p pUtc.
    static void s_S_SystemTimeToLocalTime(TIME_ZONE_INFORMATION* pTz, SYSTEMTIME* pUtc,
                                          SYSTEMTIME* pLocal);

    /// Converts the local time of a zone to a calendar time in UTC. The milliseconds are carried
    /// over; the zone's rules are applied to whole seconds.
    /// @param pTz the zone; null: the machine's current one, and @p bLaterHour is not looked at.
    /// @param pLocal not changed. With a null @p pLocal or @p pUtc nothing is done. What becomes of
    /// a local time that the change to daylight saving skips is for the platform to say.
    /// @param pUtc receives the time in UTC. Of a date that the platform refuses it receives the
    /// milliseconds alone. It may be the same record as @p pLocal.
    /// @param bLaterHour which of the two is meant when the local time occurs twice, in the night
    /// in which daylight saving ends: false the first, true the second. The second is taken for the
    /// time one hour on whose local hour number is the same, so it is right for daylight saving of
    /// a whole hour. Where clocks change by half an hour it is not, on purpose: the half hour that
    /// occurs twice stays the first, and the one before it is moved on by an hour.
    static void s_S_LocalTimeToSystemTime(TIME_ZONE_INFORMATION* pTz, SYSTEMTIME* pLocal,
                                          SYSTEMTIME* pUtc, bool bLaterHour);

    /// Lists the hours that a local day has: 24, or 23 or 25 when the clocks change in it.
    ///
    /// The day is walked in steps of one hour from local midnight on. On a day of 25 hours the
    /// steps are used up before its end is reached, so its end is 0, on purpose.
    /// @param pTz the zone; null: the machine's current one.
    /// @param pDay year, month and day; its time of day is set to 0. Null is no day.
    /// @param pHours the hour numbers are appended to it, a skipped one missing and a repeated one
    /// twice; null: they are not wanted.
    /// @param pStart receives the time value of the first hour; 0 when there is no such day. Null:
    /// not wanted.
    /// @param pEnd receives the time value at which the next day begins; 0 for a day of 25 hours
    /// and when there is no such day. Null: not wanted.
    static void s_S_CalDayHours(TIME_ZONE_INFORMATION* pTz, SYSTEMTIME* pDay, CUIntArray* pHours,
                                unsigned __int64* pStart, unsigned __int64* pEnd);

    // ---- Processes -------------------------------------------------------------------------

    /// Finds the running processes of an executable.
    /// @param sExeName the file name with its extension and without a path; capitals or not.
    /// @param aPids emptied, then receives the process identifiers.
    /// @param nExcludePid a process that is left out, such as the caller's own; 0 for none.
    static void s_S_FindProc(CStringW sExeName, CDWordArray& aPids, unsigned long nExcludePid);

    /// Starts a program, in the caller's environment and current directory.
    ///
    /// The command line is @p sPath, a blank if there are arguments, and @p sArgs. **No quotes are
    /// added**: a path with blanks in it must be given in quotes, or the platform tries the text
    /// before each blank as the program.
    /// @param sPath the program.
    /// @param sArgs its arguments, quoted as they need to be; may be empty.
    /// @param bShow whether its window is to be shown.
    /// @param nWaitMS how long to wait for the program's end, in milliseconds; 0 does not wait. The
    /// platform reads the number as unsigned: -1 waits without limit, any other negative number
    /// for 24 to 50 days.
    /// @return true when the program was started, whether or not it has ended.
    static bool s_F_b_CreateProc(CStringW sPath, CStringW sArgs, bool bShow, int nWaitMS);

    /// Terminates all running processes of an executable, as s_S_FindProc() finds them: the
    /// caller's own too, if it is one of them. They get no chance to save anything; their exit code
    /// is 0. One that cannot be terminated is reported to the debugger output.
    /// @param sExeName the file name with its extension and without a path; capitals or not.
    /// @return true when all of them were terminated, or there were none.
    static bool s_F_b_CloseProc(CStringW sExeName);

    // ---- Directories and files -------------------------------------------------------------

    /// Creates a directory and all directories above it that are missing.
    ///
    /// Each component of the path that has a dot in it is taken for a file name and not created, on
    /// purpose, those in the middle of the path too. So the path of a file may be given to have its
    /// directory created; and below a directory with a dot in its name nothing is created unless
    /// that directory exists.
    /// @param sPath without a backslash at its end.
    /// @return 1 when the path exists, when its last component has a dot, or when it was created;
    /// otherwise 0.
    static int s_F_n_CreateDirectorys(CStringW sPath);

    /// Removes a directory if it is empty, and then each directory above it that is empty by then,
    /// up to the drive. Nothing is removed with its contents.
    ///
    /// A directory that is read-only is removed too: the attributes of every directory on the way
    /// up are set to normal before, and remain so where it is not removed.
    /// @param sPath a directory. A file stays, and a directory that does not exist is passed over;
    /// the levels above are tried all the same.
    /// @return the result for the last level tried, not for @p sPath: 1 for a path with a drive,
    /// whatever was removed; for a relative path, whether its first component was removed (1, also
    /// if it has at most two characters or is no directory) or not (0).
    static int s_F_n_RemoveDirectorys(CStringW sPath);

    /// Lists the files of a directory.
    /// @param pDir the directory, with or without a backslash at its end; empty or null does
    /// nothing.
    /// @param pPattern which names to list, with `*` and `?`. It holds for directories too: with
    /// `*.jpg` only subdirectories that are named so are searched.
    /// @param lFiles the full paths are appended to it, in the order of the file system; the files
    /// of a subdirectory stand where the subdirectory does.
    /// @param bRecurse whether subdirectories are searched, too.
    static void s_S_EnumerateFiles(const wchar_t* pDir, const wchar_t* pPattern,
                                   CStringList& lFiles, bool bRecurse);

    /// Reads the entry of a file or directory: its attributes, times, size and name.
    /// @param sPath without a backslash at its end. With `*` or `?` in its last component, the
    /// first entry that matches is meant.
    /// @param pData receives the entry, or all zeros when there is none; left alone when @p sPath
    /// is empty. Null: only its existence is asked for.
    /// @return true when there is one.
    static bool s_F_b_GetFileInfo(CStringW sPath, WIN32_FIND_DATAW* pData);

    /// As above, with a path in the ANSI code page.
    static bool s_F_b_GetFileInfo(CStringA sPath, WIN32_FIND_DATAW* pData);

    // ---- Text ------------------------------------------------------------------------------

    /// Converts UTF-8 to UTF-16, up to the first null character.
    /// @return the text. What is no UTF-8 becomes U+FFFD, as the platform does it.
    static CStringW s_F_s_Utf8ToUnicode(CStringA sUtf8);

    /// Converts UTF-16 to UTF-8, up to the first null character.
    /// @return the text. A surrogate without its other half becomes U+FFFD, as the platform does
    /// it.
    static CStringA s_F_s_UnicodeToUtf8(CStringW sText);

    /// Writes bytes as hexadecimal text: two capital digits for each, nothing between them.
    /// @param p the bytes; null gives an empty text.
    /// @param n how many; 0 or less gives an empty text.
    static CStringW s_F_s_ByteToHexStr(unsigned char* p, int n);

    /// Reads bytes from hexadecimal text, two characters for each, capitals or not.
    ///
    /// Each pair is read as the run-time's `strtol` reads it, on purpose, and nothing is rejected:
    /// one that starts with a character that is no digit gives 0, one whose second is none gives
    /// the value of the first; before a digit, a blank or a plus sign is skipped and a minus sign
    /// negates.
    /// @param sHex the text; it ends at a null character that would start a pair. Of an odd number
    /// of characters, the last one gives its own value.
    /// @param p receives the bytes; null does nothing. There is no count: so clear it before.
    /// @param nMax room in bytes; more of the text is not looked at.
    static void s_S_HexStrToByte(CStringW sHex, unsigned char* p, int nMax);

    // ---- Shell -----------------------------------------------------------------------------

    /// Has the user choose a folder in the shell's dialog, and returns when it is closed.
    ///
    /// Call it on a thread of a single-threaded apartment, or one that has not entered any.
    /// @param sTitle a line of text above the folders.
    /// @param hOwner the dialog's owner, which it disables meanwhile; may be null.
    /// @param sRoot the folder at the top of the dialog; empty, or one that does not exist: the
    /// desktop.
    /// @param sInit has no effect: nothing is selected beforehand. It is there for callers' sake.
    /// @param bNewFolder whether the dialog has a button that makes a new folder.
    /// @return the folder's path; empty when the user cancelled or chose something that has none.
    static CStringW s_F_s_GetFolder(CStringW sTitle, HWND hOwner, CStringW sRoot, CStringW sInit,
                                    bool bNewFolder);

    /// @return true when the process runs in the browser's protected mode; false also where the
    /// browser's library does not know that mode or is not installed.
    static bool s_F_b_IEIsProtectedMode();
};
