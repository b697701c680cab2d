// The head of a response is whatever a camera sends.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "net/response_head.h"

namespace net = ostrel::net;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    // A block of its own, so that a read past it is seen.
    const std::vector<char> received(data, data + size);
    const std::string_view text = net::ResponseText(received.data(), received.size());
    const std::size_t start = net::BodyStart(text);
    const bool isWithin = start == std::string_view::npos || start <= text.size();
    if (text.size() > size || !isWithin || net::AnnouncedLength(text) < 0)
    {
        std::abort();
    }
    net::SaysOk(text);
    net::SaysUnauthorized(text);
    net::HasLineEnd(text);
    net::LeadingNumber(text);
    return 0;
}
