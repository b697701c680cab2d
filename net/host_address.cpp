#include "net/host_address.h"

#include <winsock2.h>

#include <cstring>

namespace ostrel::net
{

namespace
{

constexpr std::size_t kLongestHost = 127;

}  // namespace

unsigned int LookUpHost(const char* host)
{
    if (host == nullptr || strnlen(host, kLongestHost + 1) > kLongestHost)
    {
        return INADDR_NONE;
    }
    unsigned long address = inet_addr(host);
    // All ones also means that the text is no dotted address, unless it is this one.
    if (address == INADDR_NONE && std::strcmp(host, "255.255.255.255") != 0)
    {
        const hostent* entry = gethostbyname(host);
        if (entry != nullptr && entry->h_addrtype == AF_INET && entry->h_addr_list[0] != nullptr)
        {
            std::memcpy(&address, entry->h_addr_list[0], sizeof(address));
        }
    }
    return ntohl(address);
}

}  // namespace ostrel::net
