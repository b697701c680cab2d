/// @file
/// The HTTP client for cameras and recorders.
#pragma once

#include <afxmt.h>
#include <afxwin.h>
#include <winsock2.h>

#include <atomic>

#include "CMemManage.h"
#include "LibOstrelExport.h"

/// Talks to cameras and recorders over hand-written HTTP with Basic authentication (RFC 2617). It
/// - fetches a resource, as a rule a JPEG snapshot, directly on the caller's thread or on a worker
///   thread that reports to a callback;
/// - posts data directly and hands the raw answer back, or posts queued blocks on a worker thread;
/// - reads a multipart stream (RFC 2046) of small parts, one part at a call.
///
/// Fetches and direct posts make a connection of their own each and close it abortively when done.
/// The post workers and the multipart reader keep one in #m_socket.
///
/// **Threads.** One worker runs at a time, and #m_nState tells which. It uses the object without a
/// lock, the post queue alone excepted: while #m_nState is not 0 the caller neither reads
/// #m_memData nor changes a request field, nor calls m_F_n_MultiPartStreamGet(). The members whose
/// names end in Direct or DirectSplit do not touch the object, so any number of threads may be
/// inside them; m_F_b_AddPost() may be called on any thread. All others are for one thread at a
/// time.
///
/// **Time-outs** are milliseconds, for the connect, and again for every wait for data. In a fetch a
/// pause of more than a second inside a block of received data ends that block; a head is judged by
/// what came before its first such pause. So an answer other than a 200 with its length and its
/// whole body costs that second when the server keeps the connection open.
class OSTREL_API CHTTP
{
public:
    /// Completion callback: the result code, then #m_nUserData1, then #m_nUserData2. Its own
    /// result is ignored.
    typedef int (*PFN_FINISHED)(int nCode, __int64 nUserData1, __int64 nUserData2);

    /// Sets the fields as stated with them and starts Winsock 2.2 for the process.
    CHTTP();

    /// Releases, as m_S_Release() does, and stops a post worker of any kind, as
    /// m_F_n_StopPostThread() does.
    ~CHTTP();

    CHTTP(const CHTTP&) = delete;
    CHTTP& operator=(const CHTTP&) = delete;

    /// Names the server for worker fetches, after releasing whatever the object held.
    ///
    /// Exception, on purpose: the object's own #m_szHost, #m_szUser and #m_szPassword (these very
    /// addresses, whatever their texts) with the port already set change and release nothing.
    /// @param pszHost, pszUser, pszPassword up to 31 characters each; a longer or null text leaves
    /// its field empty.
    /// @param nPort TCP port.
    /// @return true, always.
    /// A callback must be set after this call, because the release clears it.
    bool m_S_Init(const char* pszHost, const char* pszUser, const char* pszPassword, int nPort);

    /// Clears the callback, ends a GET worker (waiting up to 10 seconds for it) or a post worker
    /// (state 2, as m_F_n_StopPostThread() does), closes the connection, frees the result and
    /// forgets the multipart stream. A group post worker (state 3) is not stopped, on purpose, but
    /// #m_nState reads 0 all the same: stop it with m_F_n_StopPostThread() first.
    /// @return true, always.
    bool m_S_Release();

    /// Fetches a resource on the calling thread.
    /// @param pszHost host name or dotted IPv4 address.
    /// @param pszUser, pszPassword credentials; null counts as empty. Of credentials whose Base64
    /// text exceeds 255 characters nothing is sent (an authorisation without text).
    /// @param nPort TCP port.
    /// @param pszUrl path without its leading slash.
    /// @param pData receives the body: the block is made 5 bytes longer than the announced length
    /// (4194304 when none is announced) and the spare bytes are 0, so that a body reads as
    /// terminated text. It is left alone unless the status is 200.
    /// @param nTimeOut milliseconds.
    /// @return the body bytes received, which may fall short of the announced length; or
    /// -1 bad arguments (empty host, empty path, negative port, null @p pData), nothing was sent;
    /// -2 not connected within the time-out;
    /// -3 the answer has no line end, or neither " 200 " nor " 401 " in it;
    /// -4 the server refused the credentials (401).
    /// 0 is also the result of a 200 answer whose head does not end within 5000 bytes.
    int m_F_n_HTTPGetDataDirect(const char* pszHost, const char* pszUser, const char* pszPassword,
                                int nPort, const char* pszUrl, CMemManage* pData, int nTimeOut);

    /// Starts fetching a resource from the server of m_S_Init() on a worker thread.
    ///
    /// When the worker is done it calls #m_pfnFinished, on the worker's thread, with the announced
    /// length (4194304 when none was announced), which may be more than arrived in #m_memData, or
    /// with -3 or -4 as m_F_n_HTTPGetDataDirect() has them (also -3 for a 200 answer whose head
    /// does not end within 1000 bytes); then it sets #m_nState to 0. A failed connect ends it
    /// without a callback.
    /// @param pszUrl path without its leading slash; up to 255 characters.
    /// @param nTimeOut milliseconds.
    /// @return the worker's thread handle (its low 32 bits); the running worker's if there is one,
    /// nothing being started then; 0 when host or path is empty, or no thread could be started.
    /// The object owns the handle.
    unsigned int m_F_n_HTTPGetData(const char* pszUrl, int nTimeOut);

    /// The worker's thread function.
    /// @param pParam the CHTTP object.
    /// @return the body bytes stored in #m_memData, or a negative code; see m_F_n_HTTPGetData().
    static unsigned int m_F_n_HTTP_Thread(void* pParam);

    /// Posts data on the calling thread and hands back the raw answer. The request is HTTP/1.0, on
    /// purpose.
    /// @param pszHost host name or dotted IPv4 address.
    /// @param pszUser, pszPassword credentials, as m_F_n_HTTPGetDataDirect() takes them.
    /// @param nPort TCP port.
    /// @param pszUrl path without its leading slash.
    /// @param pData, nDataLen the bytes to post, at least one.
    /// @param pszReply receives the answer, status line and headers included, as far as its first
    /// zero byte and its first 5000 bytes, cut to @p nReplySize. No terminator is written: clear
    /// the buffer first. Null: nothing is copied.
    /// @param nReplySize size of @p pszReply in bytes; 0 or less: nothing is copied.
    /// @param nTimeOut milliseconds. An answer is taken to have ended when the server closes or
    /// sends nothing for this long.
    /// @return the bytes copied, whatever the answer's status, and 0 if there was none; or
    /// -1 bad arguments (empty host, empty path, null @p pData, length below 1, negative port),
    /// nothing was sent;
    /// -2 not connected within the time-out.
    int m_F_n_HTTPPostDataDirect(const char* pszHost, const char* pszUser, const char* pszPassword,
                                 int nPort, const char* pszUrl, const unsigned char* pData,
                                 int nDataLen, char* pszReply, int nReplySize, int nTimeOut);

    /// Posts data in pieces on the calling thread, and hands back the raw answer. As
    /// m_F_n_HTTPPostDataDirect(), but for the following.
    /// @param nSent the bytes of data (the head does not count) that have left so far; brought up
    /// to date after every piece. It tells how far the exchange came, and is set to 0 only after
    /// the arguments were found good: after a result of -1 it is as before.
    /// @param nTimeOut milliseconds, for the connect, and then for all of the rest together.
    /// No single wait is longer than 10 seconds; one that has begun is not cut short, so that the
    /// call can last up to one such wait longer.
    /// @param nChunkSize the most bytes to send at once; 0: as much as goes.
    /// @return as m_F_n_HTTPPostDataDirect().
    int m_F_n_HTTPPostDataDirectSplit(const char* pszHost, const char* pszUser,
                                      const char* pszPassword, int nPort, const char* pszUrl,
                                      const unsigned char* pData, int nDataLen, char* pszReply,
                                      int nReplySize, int& nSent, unsigned int nTimeOut,
                                      unsigned int nChunkSize);

    /// Starts a worker that posts queued blocks to the server of m_S_Init(), with the credentials
    /// of it and with #m_nTimeOut for every connect and wait. Answers are not read. While the
    /// server cannot be reached the worker tries again every 100 ms.
    ///
    /// The queue is emptied first, so blocks are to be added (m_F_b_AddPost()) after the start.
    /// @param pszPrefix what the request's head begins with, up to 255 characters: the request line
    /// and any header lines, each with its CR LF. A longer or null text counts as empty.
    /// @param nMode 1: the group worker, which makes a connection and a request of its own for each
    /// block and adds the header lines Content-Length and Authorization. It keeps a block while it
    /// cannot connect, and drops one that cannot be sent in full over its connection.
    /// Anything else: the worker of one connection, on which the blocks make up one body that never
    /// ends. It adds the Authorization line alone, so the prefix should announce a length that is
    /// large enough. It drops a block that cannot be sent, and does not connect again.
    /// @return 1 (even when no thread could be started: #m_nState is 0 then); 0 when a worker of
    /// any kind, the GET worker included, is running, nothing being started then.
    unsigned int m_F_n_StartPostThread(const char* pszPrefix, int nMode);

    /// Ends the post worker of either kind, waiting about a second before it is ended by force,
    /// closes its connection, and frees all blocks in the queue. Sets #m_nState to 0, whatever it
    /// was. Harmless when none is running; not to be called while a GET worker is.
    /// @return 1, always.
    unsigned int m_F_n_StopPostThread();

    /// Appends a block to the post queue. Any thread may call it while a post worker runs.
    ///
    /// A block may also be appended to #m_listPost itself, at its tail: an array allocated with
    /// `new[]`, of a 32-bit byte count in the machine's order and then so many bytes, which passes
    /// to the object. That way takes no lock; this one should be preferred.
    /// @param pData, nLen the bytes, which are copied. No bytes make an empty block: the group
    /// worker sends a request with an empty body for it, the other nothing.
    /// @return false when @p pData is null although there should be bytes, or there is no memory.
    bool m_F_b_AddPost(const unsigned char* pData, unsigned int nLen);

    /// The thread function of the worker of one connection.
    /// @param pParam the CHTTP object.
    /// @return 1, always.
    static unsigned int m_F_n_PostThreadProc(void* pParam);

    /// The thread function of the group worker.
    /// @param pParam the CHTTP object.
    /// @return 1, always.
    static unsigned int m_F_n_GroupPostThreadProc(void* pParam);

    /// Reads the next part of a multipart stream from the server of m_S_Init(). The first call
    /// opens the stream; the following ones, with the same path, go on with it. A call with another
    /// path closes it and opens the other.
    ///
    /// A part is all that stands between two delimiters: its own header lines, the empty line, the
    /// content and the CR LF after it. The delimiters alone decide; a length in a part's headers is
    /// not looked at. The boundary is taken from the head together with the line end behind it, so
    /// the closing delimiter is none: the last part of a stream that ends is not returned. A part
    /// must fit, with the delimiters around it (and the first one also with the head), in the
    /// receive buffer of 1024 bytes; one that does not is never complete.
    ///
    /// While the stream is being opened the waits have no limit: a server that accepts the
    /// connection and stays silent blocks the caller. Not to be called while a worker runs.
    /// @param pszUrl path without its leading slash; up to 255 characters, a longer one counts as
    /// empty.
    /// @param pszBuffer receives the part, which is binary; the rest of the buffer is cleared.
    /// @param nBufferSize size of @p pszBuffer in bytes; 1024 hold every part. A longer part is cut
    /// to it, while the result still tells its length.
    /// @param nTimeOut milliseconds: for the connect, and for a silence in the midst of the stream.
    /// @return the part's length; or
    /// 0 empty path or host, null @p pszBuffer or a size below 1, nothing was done (a part of no
    /// bytes, or two delimiters too close for one, is 0 too);
    /// 1 no complete part came before a silence of @p nTimeOut, the connection was closed and the
    /// next call opens a new one; or the connection is open but no boundary is known. (A part of
    /// one byte is 1 too, but then #m_socket is not `INVALID_SOCKET`.)
    /// The connection is closed, too, with
    /// -2 not connected within the time-out;
    /// -3 the answer's first bytes have no line end, or neither " 200 " nor " 401 " in them;
    /// -4 the server refused the credentials (401);
    /// -5 the answer's head does not end within 1024 bytes and 5 further receives, or declares no
    /// boundary.
    int m_F_n_MultiPartStreamGet(const char* pszUrl, char* pszBuffer, int nBufferSize,
                                 int nTimeOut);

    /// Calls #m_pfnFinished, if it is set, with @p nCode and the two user values.
    void OnFinished(int nCode);

    /// Looks a host up.
    /// @param pszHost host name or dotted IPv4 address, up to 127 characters.
    /// @return the IPv4 address in host byte order; all ones when unknown, or @p pszHost is null or
    /// too long.
    unsigned int GetIPAddress(const char* pszHost);

    /// Writes the Base64 text (RFC 4648 section 4) of user name, colon and password.
    /// @param pszUser, pszPassword null counts as empty.
    /// @param pszOut receives the text and its terminator: 4 characters for every 3 begun of the
    /// credentials' length, and one more.
    static void Base64Encode(const char* pszUser, const char* pszPassword, char* pszOut);

    /// Finds the body in a received response.
    /// @param pszText the response, terminated.
    /// @return the byte after the first empty line (CR LF CR LF, or else LF LF); null if there is
    /// none or @p pszText is null.
    static const char* s_F_s_GetHTTPData(const char* pszText);

    CMemManage m_memData;       ///< body of the last worker fetch; the multipart reader's buffer
    HANDLE m_hThread;           ///< the GET worker; a finished one's is kept until the next fetch
    char m_szHost[32];          ///< host name or dotted address
    char m_szUser[32];          ///< user name
    char m_szPassword[32];      ///< password
    char m_szUrl[256];          ///< path without its leading slash
    int m_nPort;                ///< TCP port; 80 at first
    int m_nTimeOut;             ///< milliseconds; 30000 at first
    __int64 m_nUserData2;       ///< the caller's, the callback's third argument
    __int64 m_nUserData1;       ///< the caller's, the callback's second argument
    std::atomic<int> m_nState;  ///< which worker runs: 0 none, 1 GET, 2 post, 3 group post
    HANDLE m_hPostThread;       ///< the post worker
    std::atomic<bool> m_bPostRun;  ///< the post worker's run flag
    CPtrList m_listPost;           ///< the post queue; see m_F_b_AddPost()
    char m_szPostUrl[256];         ///< request head prefix of the post workers
    SOCKET m_socket;      ///< the running worker's connection, or the open multipart stream
    char* m_pszBoundary;  ///< the multipart reader's boundary; an array, owned
    int m_nStreamLen;     ///< bytes that the multipart reader holds in #m_memData
    std::atomic<PFN_FINISHED> m_pfnFinished;  ///< completion callback, or null
    CCriticalSection m_csPost;                ///< held for every look at the post queue
};
