/// @file
/// The HTTP client for cameras and recorders.
#pragma once

#include <afxwin.h>
#include <winsock2.h>

#include <atomic>

#include "CMemManage.h"
#include "LibOstrelExport.h"

/// Fetches resources, as a rule JPEG snapshots, from cameras and recorders: HTTP over a fresh TCP
/// connection with Basic authentication (RFC 2617), directly on the caller's thread or on a worker
/// thread that reports to a callback. Each fetch closes its connection abortively when done.
///
/// **Threads.** The worker uses the object without a lock: while #m_nState is not 0 the caller
/// neither reads #m_memData nor changes a request field. m_F_n_HTTPGetDataDirect() does not touch
/// the object, so any number of threads may be inside it.
///
/// **Time-outs** are milliseconds, for the connect, and again for every wait for data. A pause of
/// more than a second inside a block of received data ends that block; a head is judged by what
/// came before its first such pause.
class OSTREL_API CHTTP
{
public:
    /// Completion callback: the result code, then #m_nUserData1, then #m_nUserData2. Its own
    /// result is ignored.
    typedef int (*PFN_FINISHED)(int nCode, __int64 nUserData1, __int64 nUserData2);

    /// Sets the fields as stated with them and starts Winsock 2.2 for the process.
    CHTTP();

    /// Releases, as m_S_Release() does.
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

    /// Clears the callback, ends the worker (waiting up to 10 seconds for it), closes the
    /// connection and frees the result. A group post worker (state 3) is not stopped, on purpose.
    /// @return true, always.
    bool m_S_Release();

    /// Fetches a resource on the calling thread.
    /// @param pszHost host name or dotted IPv4 address.
    /// @param pszUser, pszPassword credentials; null counts as empty. Credentials whose Base64 text
    /// exceeds 255 characters are sent as empty ones.
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

    CMemManage m_memData;          ///< body of the last worker fetch
    HANDLE m_hThread;              ///< the GET worker; a finished one's is kept until the next fetch
    char m_szHost[32];             ///< host name or dotted address
    char m_szUser[32];             ///< user name
    char m_szPassword[32];         ///< password
    char m_szUrl[256];             ///< path without its leading slash
    int m_nPort;                   ///< TCP port; 80 at first
    int m_nTimeOut;                ///< milliseconds; 30000 at first
    __int64 m_nUserData2;          ///< the caller's, the callback's third argument
    __int64 m_nUserData1;          ///< the caller's, the callback's second argument
    std::atomic<int> m_nState;     ///< which worker runs: 0 none, 1 GET, 2 post, 3 group post
    HANDLE m_hPostThread;          ///< the post worker
    std::atomic<bool> m_bPostRun;  ///< the post worker's run flag
    CPtrList m_listPost;           ///< the post queue
    char m_szPostUrl[256];         ///< request head prefix of the post workers
    SOCKET m_socket;               ///< the running worker's connection
    char* m_pszBoundary;           ///< the multipart reader's boundary; an array, owned
    int m_nStreamLen;              ///< bytes that the multipart reader holds in #m_memData
    std::atomic<PFN_FINISHED> m_pfnFinished;  ///< completion callback, or null
};
