#include "CHTTP.h"

#include "CSFunc.h"
#include "net/base64.h"
#include "net/host_address.h"
#include "net/http_exchange.h"
#include "net/http_text.h"
#include "net/read_ahead.h"
#include "net/response_head.h"
#include "net/socket_transport.h"

namespace net = ostrel::net;

using net::BoundedText;
using net::IsEmpty;
using net::OrEmpty;
using net::SetText;

namespace
{

constexpr int kNoWorker = 0;
constexpr int kGetWorker = 1;
constexpr int kPostWorker = 2;

// What the owner waits for a worker before it ends it by force, in milliseconds.
constexpr int kReleaseWait = 10000;
constexpr int kRestartWait = 1001;

constexpr int kBadArguments = -1;
constexpr int kPostQueueBlock = 10;

unsigned int LowBits(HANDLE handle)
{
    return static_cast<unsigned int>(reinterpret_cast<UINT_PTR>(handle));
}

DWORD WINAPI StartGetWorker(void* pObject)
{
    return CHTTP::m_F_n_HTTP_Thread(pObject);
}

}  // namespace

CHTTP::CHTTP()
    : m_hThread(nullptr),
      m_szHost{},
      m_szUser{},
      m_szPassword{},
      m_szUrl{},
      m_nPort(80),
      m_nTimeOut(30000),
      m_nUserData2(0),
      m_nUserData1(0),
      m_nState(kNoWorker),
      m_hPostThread(nullptr),
      m_bPostRun(false),
      m_listPost(kPostQueueBlock),
      m_szPostUrl{},
      m_socket(INVALID_SOCKET),
      m_pszBoundary(nullptr),
      m_nStreamLen(0),
      m_pfnFinished(nullptr)
{
    // Never matched by a WSACleanup, on purpose: other objects' sockets must outlive this one.
    WSADATA data = {};
    WSAStartup(MAKEWORD(2, 2), &data);
}

CHTTP::~CHTTP()
{
    m_S_Release();
    // What the release leaves: a group post worker, its leftovers, and the handle of a finished
    // worker for the next fetch.
    m_F_n_StopPostThread();
    if (m_hThread != nullptr)
    {
        CloseHandle(m_hThread);
    }
}

bool CHTTP::m_S_Init(const char* pszHost, const char* pszUser, const char* pszPassword, int nPort)
{
    // Addresses, not texts, on purpose.
    if (pszHost == m_szHost && pszUser == m_szUser && pszPassword == m_szPassword &&
        nPort == m_nPort)
    {
        return true;
    }
    m_S_Release();
    const auto host = BoundedText<sizeof(m_szHost)>(pszHost);
    const auto user = BoundedText<sizeof(m_szUser)>(pszUser);
    const auto password = BoundedText<sizeof(m_szPassword)>(pszPassword);
    SetText(m_szHost, host);
    SetText(m_szUser, user);
    SetText(m_szPassword, password);
    m_nPort = nPort;
    return true;
}

bool CHTTP::m_S_Release()
{
    // First of all, so that nobody is called while the object is taken apart.
    m_pfnFinished = nullptr;
    // A group post worker is left running, on purpose.
    if (m_nState == kGetWorker)
    {
        CSFunc::s_S_ForceCloseThread(m_hThread, kReleaseWait, &m_socket);
    }
    else if (m_nState == kPostWorker)
    {
        m_F_n_StopPostThread();
    }
    CSFunc::s_S_ForceCloseSocket(m_socket);
    m_nState = kNoWorker;
    m_memData.m_S_DelMem();
    delete[] m_pszBoundary;
    m_pszBoundary = nullptr;
    return true;
}

int CHTTP::m_F_n_HTTPGetDataDirect(const char* pszHost, const char* pszUser,
                                   const char* pszPassword, int nPort, const char* pszUrl,
                                   CMemManage* pData, int nTimeOut)
{
    if (IsEmpty(pszHost) || IsEmpty(pszUrl) || nPort < 0 || pData == nullptr)
    {
        return kBadArguments;
    }
    SOCKET socket = INVALID_SOCKET;
    net::SocketTransport connection(socket);
    net::ReadAhead transport(connection);
    return net::GetDirectly(
               {{pszHost, OrEmpty(pszUser), OrEmpty(pszPassword), nPort}, pszUrl, nTimeOut},
               transport, *pData)
        .code;
}

unsigned int CHTTP::m_F_n_HTTPGetData(const char* pszUrl, int nTimeOut)
{
    if (m_nState != kNoWorker)
    {
        return LowBits(m_hThread);
    }
    // A worker that has finished still has its handle here.
    CSFunc::s_S_ForceCloseThread(m_hThread, kRestartWait, &m_socket);
    const auto url = BoundedText<sizeof(m_szUrl)>(pszUrl);
    if (IsEmpty(url.data()) || IsEmpty(m_szHost))
    {
        return 0;
    }
    SetText(m_szUrl, url);
    m_nTimeOut = nTimeOut;
    CSFunc::s_S_ForceCloseSocket(m_socket);
    m_nState = kGetWorker;
    m_hThread = CreateThread(nullptr, 0, StartGetWorker, this, 0, nullptr);
    if (m_hThread == nullptr)
    {
        m_nState = kNoWorker;
    }
    return LowBits(m_hThread);
}

unsigned int CHTTP::m_F_n_HTTP_Thread(void* pParam)
{
    CHTTP* const self = static_cast<CHTTP*>(pParam);
    if (self == nullptr)
    {
        return static_cast<unsigned int>(kBadArguments);
    }
    net::SocketTransport connection(self->m_socket);
    net::ReadAhead transport(connection);
    const net::GetOutcome outcome =
        net::GetOnWorker({{self->m_szHost, self->m_szUser, self->m_szPassword, self->m_nPort},
                          self->m_szUrl,
                          self->m_nTimeOut},
                         transport, self->m_memData);
    if (outcome.code != net::kConnectFailed)
    {
        // The announced length, on purpose, even if less has arrived.
        self->OnFinished(outcome.reported);
    }
    // From here on the object may be gone.
    self->m_nState = kNoWorker;
    return static_cast<unsigned int>(outcome.code);
}

void CHTTP::OnFinished(int nCode)
{
    // Read once: a release may clear it at any moment.
    const PFN_FINISHED finished = m_pfnFinished;
    if (finished != nullptr)
    {
        finished(nCode, m_nUserData1, m_nUserData2);
    }
}

unsigned int CHTTP::GetIPAddress(const char* pszHost)
{
    return net::LookUpHost(pszHost);
}

void CHTTP::Base64Encode(const char* pszUser, const char* pszPassword, char* pszOut)
{
    if (pszOut != nullptr)
    {
        net::EncodeCredentials(OrEmpty(pszUser), OrEmpty(pszPassword), pszOut);
    }
}

const char* CHTTP::s_F_s_GetHTTPData(const char* pszText)
{
    if (pszText == nullptr)
    {
        return nullptr;
    }
    const std::size_t start = net::BodyStart(pszText);
    return start == std::string_view::npos ? nullptr : pszText + start;
}
