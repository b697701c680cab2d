/// @file
/// The library's static tools: sockets and threads, picture sizes, colour conversions and the
/// debug output.
#pragma once

#include <afxmt.h>
#include <afxwin.h>
#include <winsock2.h>

#include "LibOstrelExport.h"

class CWnd;

/// Static functions only; there is nothing to construct. Any thread may call any of them.
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
};
