#include <cstring>

#include "CHTTP.h"
#include "CSFunc.h"
#include "net/http_text.h"
#include "net/multipart_reader.h"
#include "net/socket_transport.h"

namespace net = ostrel::net;

int CHTTP::m_F_n_MultiPartStreamGet(const char* pszUrl, char* pszBuffer, int nBufferSize,
                                    int nTimeOut)
{
    const auto url = net::BoundedText<sizeof(m_szUrl)>(pszUrl);
    if (net::IsEmpty(url.data()) || net::IsEmpty(m_szHost) || pszBuffer == nullptr ||
        nBufferSize <= 0)
    {
        return 0;
    }
    if (std::strcmp(url.data(), m_szUrl) != 0)
    {
        CSFunc::s_S_ForceCloseSocket(m_socket);
        net::SetText(m_szUrl, url);
    }
    m_nTimeOut = nTimeOut;
    net::SocketTransport transport(m_socket);
    return net::ReadPart({{m_szHost, m_szUser, m_szPassword, m_nPort}, m_szUrl, m_nTimeOut},
                         m_socket != INVALID_SOCKET, transport,
                         {m_memData, m_nStreamLen, m_pszBoundary}, {pszBuffer, nBufferSize});
}
