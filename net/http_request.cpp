#include "net/http_request.h"

#include <cstdio>

#include "net/base64.h"

namespace ostrel::net
{

namespace
{

// The authorisation of a server, encoded.
class Credentials
{
public:
    explicit Credentials(const Server& server)
    {
        EncodeCredentialsBounded(server.user, server.password, vm_szText, sizeof(vm_szText));
    }

    const char* Text() const { return vm_szText; }

private:
    char vm_szText[256] = {};
};

}  // namespace

void FormatGet(const Server& server, const char* path, TextBuffer out)
{
    std::snprintf(out.text, out.size,
                  "GET /%s HTTP/1.1\r\n"
                  "Accept: image/jpeg,*/*\r\n"
                  "Connection: Keep-Alive\r\n"
                  "Host:%s\r\n"
                  "Authorization: Basic %s\r\n"
                  "\r\n",
                  path, server.host, Credentials(server).Text());
}

void FormatPost(const Server& server, const char* path, int length, TextBuffer out)
{
    std::snprintf(out.text, out.size,
                  "POST /%s HTTP/1.0\r\n"
                  "Content-Length: %d\r\n"
                  "Connection: Keep-Alive\r\n"
                  "Host:%s\r\n"
                  "Authorization: Basic %s\r\n"
                  "\r\n",
                  path, length, server.host, Credentials(server).Text());
}

void FormatEndlessPost(const Server& server, const char* prefix, TextBuffer out)
{
    std::snprintf(out.text, out.size,
                  "%sAuthorization: Basic %s\r\n"
                  "\r\n",
                  prefix, Credentials(server).Text());
}

void FormatBlockPost(const Server& server, const char* prefix, unsigned length, TextBuffer out)
{
    std::snprintf(out.text, out.size,
                  "%sContent-Length: %u\r\n"
                  "Authorization: Basic %s\r\n"
                  "\r\n",
                  prefix, length, Credentials(server).Text());
}

}  // namespace ostrel::net
