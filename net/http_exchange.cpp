#include "net/http_exchange.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "net/base64.h"
#include "net/response_head.h"

namespace ostrel::net
{

namespace
{

constexpr int kPauseLimit = 1000;
constexpr int kRetryLimit = 10;
constexpr int kBlockedSendSleep = 5;

// The spare bytes behind a body are zero, so that it reads as terminated text.
constexpr unsigned kSpareBytes = 5;

// One exchange. Nothing in it is allocated but the body: a worker may be terminated at any point,
// and must leave nothing behind.
class GetExchange
{
public:
    GetExchange(const GetRequest& request, const GetPolicy& policy, Transport& transport,
                CMemManage& body, char* work)
        : vm_request(request),
          vm_policy(policy),
          vm_transport(transport),
          vm_body(body),
          vm_pWork(work)
    {
    }

    GetOutcome Run()
    {
        const GetOutcome outcome = RunUnclosed();
        vm_transport.Close();
        return outcome;
    }

private:
    GetOutcome RunUnclosed()
    {
        if (!vm_transport.Connect(vm_request.host, vm_request.port, vm_request.timeOut))
        {
            return Failed(kConnectFailed);
        }
        FormatRequest();
        // An answer may come even to a request that did not leave in full.
        SendRequest();
        const bool isReadable = BeginBlock();
        const int held = isReadable ? ReceiveBlock(vm_policy.workSize) : 0;
        return TakeAnswer(held);
    }

    void FormatRequest()
    {
        char credentials[256] = {};
        EncodeCredentialsBounded(vm_request.user, vm_request.password, credentials,
                                 sizeof(credentials));
        std::snprintf(vm_pWork, static_cast<std::size_t>(vm_policy.workSize),
                      "GET /%s HTTP/1.1\r\n"
                      "Accept: image/jpeg,*/*\r\n"
                      "Connection: Keep-Alive\r\n"
                      "Host:%s\r\n"
                      "Authorization: Basic %s\r\n"
                      "\r\n",
                      vm_request.path, vm_request.host, credentials);
    }

    void SendRequest()
    {
        const char* rest = vm_pWork;
        int length = static_cast<int>(std::strlen(rest));
        bool isWritable = vm_transport.WaitWritable(vm_request.timeOut);
        while (isWritable && length > 0)
        {
            const TransferResult sent = vm_transport.Send(rest, length);
            if (sent.wouldBlock)
            {
                isWritable = CanSendAgain();
                continue;
            }
            if (sent.count <= 0)
            {
                return;
            }
            rest += sent.count;
            length -= sent.count;
        }
    }

    bool CanSendAgain()
    {
        if (vm_policy.whenSendBlocks == WhenSendBlocks::Wait)
        {
            return vm_transport.WaitWritable(vm_request.timeOut);
        }
        vm_transport.Pause(kBlockedSendSleep);
        return true;
    }

    // Clears the work buffer and waits for something to receive into it.
    bool BeginBlock()
    {
        std::memset(vm_pWork, 0, static_cast<std::size_t>(vm_policy.workSize));
        return vm_transport.WaitReadable(vm_request.timeOut);
    }

    // Receives up to `capacity` bytes into the work buffer, until the first pause of a second, the
    // connection's end, or too many retries. Returns the bytes held.
    int ReceiveBlock(int capacity)
    {
        int held = 0;
        bool isReadable = true;
        while (isReadable && vm_nRetries < kRetryLimit)
        {
            const TransferResult received =
                held < capacity ? vm_transport.Receive(vm_pWork + held, capacity - held)
                                : TransferResult{0, false};
            if (received.wouldBlock)
            {
                isReadable = vm_transport.WaitReadable(kPauseLimit);
                ++vm_nRetries;
                continue;
            }
            vm_nRetries = 0;
            if (received.count <= 0)
            {
                break;
            }
            held += received.count;
        }
        return held;
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
        while (stored < length && vm_nRetries < kRetryLimit)
        {
            if (!BeginBlock())
            {
                break;
            }
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
    // Would-blocks in a row. The count runs on from the head into the body.
    int vm_nRetries = 0;
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
