#include "net/http_exchange.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "net/response_head.h"

namespace ostrel::net
{

namespace
{

constexpr WaitLimit kPauseLimit = WaitLimit::Seconds(1);
constexpr int kRetryLimit = 10;

// The spare bytes behind a body are zero, so that it reads as terminated text.
constexpr unsigned kSpareBytes = 5;

// One exchange. Nothing in it is allocated but the body: a worker may be terminated at any point,
// and must leave nothing behind.
class GetExchange : private Permit
{
public:
    GetExchange(const GetRequest& request, const GetPolicy& policy, Transport& transport,
                CMemManage& body, char* work)
        : vm_request(request),
          vm_policy(policy),
          vm_transport(transport),
          vm_body(body),
          vm_pWork(work),
          vm_receiver(transport,
                      {request.timeOut, WhenReceiveBlocks::Wait, kPauseLimit, kRetryLimit, *this})
    {
    }

    GetOutcome Run()
    {
        const GetOutcome outcome = RunUnclosed();
        vm_transport.Close();
        return outcome;
    }

private:
    // A block may be received on until it holds the whole answer: so an answer that is shorter than
    // a block does not cost the second that its end would otherwise be waited for.
    bool Holds() const override
    {
        return vm_isBodyBegun ||
               !IsWholeAnswer(vm_pWork, static_cast<std::size_t>(vm_receiver.Held()));
    }

    GetOutcome RunUnclosed()
    {
        const Server& server = vm_request.server;
        if (!vm_transport.Connect(server.host, server.port, vm_request.timeOut))
        {
            return Failed(kConnectFailed);
        }
        FormatRequest();
        // An answer may come even to a request that did not leave in full.
        SendRequest();
        return TakeAnswer(ReceiveBlock(vm_policy.workSize));
    }

    void FormatRequest()
    {
        FormatGet(vm_request.server, vm_request.path,
                  {vm_pWork, static_cast<std::size_t>(vm_policy.workSize)});
    }

    void SendRequest()
    {
        SendBytes(vm_transport, vm_pWork, static_cast<std::uint32_t>(std::strlen(vm_pWork)),
                  {vm_request.timeOut, vm_policy.whenSendBlocks, vm_noPermit});
    }

    // Receives up to `capacity` bytes into the cleared work buffer. Returns the bytes held.
    int ReceiveBlock(int capacity)
    {
        std::memset(vm_pWork, 0, static_cast<std::size_t>(vm_policy.workSize));
        return vm_receiver.Receive(vm_pWork, capacity);
    }

    GetOutcome TakeAnswer(int held)
    {
        const std::string_view text = ResponseText(vm_pWork, static_cast<std::size_t>(held));
        if (!HasLineEnd(text))
        {
            return BadAnswer(text, vm_policy.noLineEnd);
        }
        if (!SaysOk(text))
        {
            return BadAnswer(text, {kRefused, kBadAnswer});
        }
        const int length = AnnouncedLength(text);
        const std::size_t bodyStart = BodyStart(text);
        // The buffer is prepared even if the body cannot be found.
        if (!PrepareBody(length) || bodyStart == std::string_view::npos)
        {
            return BadAnswer(text, vm_policy.noBodyStart);
        }
        const int headLength = static_cast<int>(bodyStart);
        // A body may be longer than announced; what is announced is what there is room for.
        const int early = std::min(held - headLength, length);
        Store(vm_pWork + headLength, early, 0);
        return {ReceiveBody(early, length), length};
    }

    bool PrepareBody(int length)
    {
        if (vm_body.m_F_p_MemAlloc(static_cast<unsigned __int64>(length) + kSpareBytes) == nullptr)
        {
            return false;
        }
        vm_body.m_S_ZeroMem();
        return true;
    }

    // Receives what is missing, one work buffer after another. Returns the bytes stored.
    int ReceiveBody(int stored, int length)
    {
        vm_isBodyBegun = true;
        while (stored < length && !vm_receiver.IsExhausted())
        {
            const int received = ReceiveBlock(std::min(length - stored, vm_policy.workSize));
            if (received == 0)
            {
                break;
            }
            Store(vm_pWork, received, stored);
            stored += received;
        }
        return stored;
    }

    void Store(const char* bytes, int count, int offset)
    {
        vm_body.m_F_n_MemCopy(reinterpret_cast<const unsigned char*>(bytes),
                              static_cast<unsigned __int64>(count),
                              static_cast<unsigned __int64>(offset));
    }

    static GetOutcome Failed(int code) { return {code, code}; }

    static GetOutcome BadAnswer(std::string_view text, const BadAnswerCodes& codes)
    {
        return Failed(SaysUnauthorized(text) ? codes.refused : codes.otherwise);
    }

    const GetRequest& vm_request;
    const GetPolicy& vm_policy;
    Transport& vm_transport;
    CMemManage& vm_body;
    char* vm_pWork;
    const NoPermitNeeded vm_noPermit;
    Receiver vm_receiver;
    bool vm_isBodyBegun = false;
};

}  // namespace

GetOutcome GetDirectly(const GetRequest& request, Transport& transport, CMemManage& body)
{
    char work[kDirectGet.workSize] = {};
    return GetExchange(request, kDirectGet, transport, body, work).Run();
}

GetOutcome GetOnWorker(const GetRequest& request, Transport& transport, CMemManage& body)
{
    char work[kWorkerGet.workSize] = {};
    return GetExchange(request, kWorkerGet, transport, body, work).Run();
}

}  // namespace ostrel::net
