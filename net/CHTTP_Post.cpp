#include "CHTTP.h"
#include "CSFunc.h"
#include "net/http_post.h"
#include "net/http_text.h"
#include "net/post_queue.h"
#include "net/post_worker.h"
#include "net/socket_transport.h"

namespace net = ostrel::net;

namespace
{

constexpr int kNoWorker = 0;
constexpr int kPostWorker = 2;
constexpr int kGroupPostWorker = 3;
constexpr int kGroupMode = 1;

// What the owner waits for a worker before it ends it by force, in milliseconds.
constexpr int kStopWait = 1002;

constexpr int kBadArguments = -1;
constexpr unsigned int kStarted = 1;
constexpr unsigned int kBusy = 0;
constexpr unsigned int kStopped = 1;
constexpr unsigned int kWorkerExitCode = 1;

bool CanPost(const char* host, int port, const char* path, const unsigned char* data, int length)
{
    return !net::IsEmpty(host) && !net::IsEmpty(path) && data != nullptr && length >= 1 &&
           port >= 0;
}

DWORD WINAPI StartPostWorker(void* pObject)
{
    return CHTTP::m_F_n_PostThreadProc(pObject);
}

DWORD WINAPI StartGroupPostWorker(void* pObject)
{
    return CHTTP::m_F_n_GroupPostThreadProc(pObject);
}

using PostLoop = void (*)(const net::PostTarget&, net::Transport&, net::PostQueue&,
                          const net::Permit&);

unsigned int RunPostWorker(void* pObject, PostLoop loop)
{
    auto* const self = static_cast<CHTTP*>(pObject);
    if (self == nullptr)
    {
        return kWorkerExitCode;
    }
    net::SocketTransport transport(self->m_socket, IPPROTO_TCP);
    net::LockedPostQueue queue(self->m_listPost, self->m_csPost);
    loop({{self->m_szHost, self->m_szUser, self->m_szPassword, self->m_nPort},
          self->m_szPostUrl,
          self->m_nTimeOut},
         transport, queue, net::RunFlag(self->m_bPostRun));
    // From here on the object may be gone.
    self->m_nState = kNoWorker;
    return kWorkerExitCode;
}

}  // namespace

int CHTTP::m_F_n_HTTPPostDataDirect(const char* pszHost, const char* pszUser,
                                    const char* pszPassword, int nPort, const char* pszUrl,
                                    const unsigned char* pData, int nDataLen, char* pszReply,
                                    int nReplySize, int nTimeOut)
{
    if (!CanPost(pszHost, nPort, pszUrl, pData, nDataLen))
    {
        return kBadArguments;
    }
    SOCKET socket = INVALID_SOCKET;
    net::SocketTransport transport(socket);
    return net::PostDirectly({{pszHost, net::OrEmpty(pszUser), net::OrEmpty(pszPassword), nPort},
                              pszUrl,
                              pData,
                              nDataLen},
                             nTimeOut, transport, {pszReply, nReplySize});
}

int CHTTP::m_F_n_HTTPPostDataDirectSplit(const char* pszHost, const char* pszUser,
                                         const char* pszPassword, int nPort, const char* pszUrl,
                                         const unsigned char* pData, int nDataLen, char* pszReply,
                                         int nReplySize, int& nSent, unsigned int nTimeOut,
                                         unsigned int nChunkSize)
{
    if (!CanPost(pszHost, nPort, pszUrl, pData, nDataLen))
    {
        return kBadArguments;
    }
    nSent = 0;
    SOCKET socket = INVALID_SOCKET;
    net::SocketTransport transport(socket);
    return net::PostInPieces({{pszHost, net::OrEmpty(pszUser), net::OrEmpty(pszPassword), nPort},
                              pszUrl,
                              pData,
                              nDataLen},
                             {nTimeOut, nChunkSize, nSent}, transport, {pszReply, nReplySize});
}

unsigned int CHTTP::m_F_n_StartPostThread(const char* pszPrefix, int nMode)
{
    if (m_nState != kNoWorker)
    {
        return kBusy;
    }
    // Read first: the stop clears the field, which may be the text given.
    const auto prefix = net::BoundedText<sizeof(m_szPostUrl)>(pszPrefix);
    m_F_n_StopPostThread();
    net::SetText(m_szPostUrl, prefix);
    m_bPostRun = true;
    const bool isGroup = nMode == kGroupMode;
    m_nState = isGroup ? kGroupPostWorker : kPostWorker;
    m_hPostThread = CreateThread(nullptr, 0, isGroup ? StartGroupPostWorker : StartPostWorker, this,
                                 0, nullptr);
    if (m_hPostThread == nullptr)
    {
        m_bPostRun = false;
        m_nState = kNoWorker;
    }
    // Also without a thread, on purpose.
    return kStarted;
}

unsigned int CHTTP::m_F_n_StopPostThread()
{
    m_bPostRun = false;
    CSFunc::s_S_ForceCloseThread(m_hPostThread, kStopWait, &m_socket);
    m_nState = kNoWorker;
    net::LockedPostQueue(m_listPost, m_csPost).Clear();
    net::SetText(m_szPostUrl, {});
    return kStopped;
}

bool CHTTP::m_F_b_AddPost(const unsigned char* pData, unsigned int nLen)
{
    if (pData == nullptr && nLen > 0)
    {
        return false;
    }
    unsigned char* const item = net::NewPostItem(pData, nLen);
    return item != nullptr && net::LockedPostQueue(m_listPost, m_csPost).Append(item);
}

unsigned int CHTTP::m_F_n_PostThreadProc(void* pParam)
{
    return RunPostWorker(pParam, net::PostInOneRequest);
}

unsigned int CHTTP::m_F_n_GroupPostThreadProc(void* pParam)
{
    return RunPostWorker(pParam, net::PostInSingleRequests);
}
