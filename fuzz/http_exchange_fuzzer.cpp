// A whole GET exchange with a camera that sends anything, in any pieces and with any pauses.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <string>

#include "net/http_exchange.h"
#include "net/response_head.h"
#include "tests/support/scripted_transport.h"

namespace net = ostrel::net;
namespace test = ostrel::test;

// A camera may announce more than there is memory for.
extern "C" const char* __asan_default_options()
{
    return "allocator_may_return_null=1:max_allocation_size_mb=64";
}

namespace
{

test::PeerStep TakeStep(FuzzedDataProvider& input)
{
    switch (input.ConsumeIntegralInRange(0, 7))
    {
        case 0:
            return test::Silence(input.ConsumeIntegralInRange(0, 3000));
        case 1:
            return test::Block();
        case 2:
            return test::End();
        case 3:
            return test::Failure();
        default:
            return test::Bytes(
                input.ConsumeBytesAsString(input.ConsumeIntegralInRange<std::size_t>(0, 2000)));
    }
}

bool IsExpected(const net::GetOutcome& outcome, const CMemManage& body)
{
    if (outcome.code < 0)
    {
        return outcome.code >= net::kRefused && outcome.reported == outcome.code;
    }
    return outcome.code == 0 ||
           (outcome.code <= outcome.reported &&
            body.m_nMemSize == static_cast<unsigned __int64>(outcome.reported) + 5);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzedDataProvider input(data, size);
    const bool isDirect = input.ConsumeBool();
    const std::string path = input.ConsumeRandomLengthString(300);
    const std::string user = input.ConsumeRandomLengthString(300);
    const net::GetRequest request = {{"camera", user.c_str(), "secret", 80},
                                     path.c_str(),
                                     input.ConsumeIntegralInRange(-1, 3000)};

    test::ScriptedTransport transport({});
    transport.isLogging = false;
    transport.connects = input.ConsumeIntegralInRange(0, 15) != 0;
    for (int i = input.ConsumeIntegralInRange(0, 4); i > 0; --i)
    {
        const bool blocks = input.ConsumeBool();
        transport.sends.push_back(blocks ? test::ScriptedTransport::kSendBlocks
                                         : input.ConsumeIntegralInRange(-1, 400));
    }
    while (input.remaining_bytes() > 0)
    {
        transport.steps.push_back(TakeStep(input));
    }

    CMemManage body;
    const net::GetOutcome outcome = isDirect ? net::GetDirectly(request, transport, body)
                                             : net::GetOnWorker(request, transport, body);
    if (!IsExpected(outcome, body) || transport.closes != 1)
    {
        std::abort();
    }
    return 0;
}
