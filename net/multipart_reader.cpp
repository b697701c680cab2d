#include "net/multipart_reader.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>
#include <string_view>

#include "net/http_transfer.h"
#include "net/multipart_part.h"
#include "net/response_head.h"

namespace ostrel::net
{

namespace
{

constexpr int kOpened = 0;
constexpr int kHeadRetries = 5;
constexpr std::string_view kHeadEnd = "\r\n\r\n";

// The rest after a receive that brought nothing although there was no wait for it: the connection
// has ended or the buffer is full, and only time is left to pass.
constexpr int kFruitlessPause = 10;

class StreamReader
{
public:
    StreamReader(const GetRequest& request, Transport& transport, StreamState state)
        : vm_request(request), vm_transport(transport), vm_state(state)
    {
    }

    // Returns kOpened or a negative code; the connection is closed then.
    int Open()
    {
        const int result = OpenUnclosed();
        if (result != kOpened)
        {
            vm_transport.Close();
        }
        return result;
    }

    int NextPart(PartBuffer out)
    {
        if (vm_state.boundary == nullptr || *vm_state.boundary == '\0')
        {
            return kNoPart;
        }
        std::uint32_t lastArrival = vm_transport.Now();
        while (!IsSilentSince(lastArrival))
        {
            const PartPlace part = FindPart(Held(), vm_state.boundary, vm_nHeadSize);
            if (part.isComplete)
            {
                return HandOut(part, out);
            }
            const std::uint32_t start = vm_transport.Now();
            if (Receive(vm_request.timeOut) > 0)
            {
                lastArrival = vm_transport.Now();
            }
            else if (vm_transport.Now() == start)
            {
                vm_transport.Pause(kFruitlessPause);
            }
        }
        vm_transport.Close();
        return kNoPart;
    }

private:
    int OpenUnclosed()
    {
        const Server& server = vm_request.server;
        if (!vm_transport.Connect(server.host, server.port, vm_request.timeOut))
        {
            return kConnectFailed;
        }
        if (vm_state.buffer.m_F_p_MemAlloc(kStreamBufferSize) == nullptr)
        {
            return kNoBoundary;
        }
        SendRequest();
        vm_state.buffer.m_S_ZeroMem();
        vm_state.held = 0;
        Receive(WaitLimit::ForEver());
        if (!HasLineEnd(Text()) || !SaysOk(Text()))
        {
            return SaysUnauthorized(Text()) ? kRefused : kBadAnswer;
        }
        return TakeHead();
    }

    void SendRequest()
    {
        char* const text = vm_state.buffer.m_F_p_GetStrCHAR();
        FormatGet(vm_request.server, vm_request.path, {text, kStreamBufferSize});
        SendBytes(vm_transport, text, static_cast<std::uint32_t>(std::strlen(text)),
                  {WaitLimit::ForEver(), WhenSendBlocks::Wait, vm_noPermit});
    }

    int TakeHead()
    {
        for (int retry = 0; retry < kHeadRetries && !HasHeadEnd(); ++retry)
        {
            Receive(WaitLimit::ForEver());
        }
        if (!HasHeadEnd())
        {
            return kNoBoundary;
        }
        vm_nHeadSize = Text().find(kHeadEnd) + kHeadEnd.size();
        return KeepBoundary(DeclaredBoundary(Text().substr(0, vm_nHeadSize)));
    }

    bool HasHeadEnd() const { return Text().find(kHeadEnd) != std::string_view::npos; }

    int KeepBoundary(std::string_view boundary)
    {
        char* const kept =
            boundary.empty() ? nullptr : new (std::nothrow) char[boundary.size() + 1];
        if (kept == nullptr)
        {
            return kNoBoundary;
        }
        boundary.copy(kept, boundary.size());
        kept[boundary.size()] = '\0';
        delete[] vm_state.boundary;
        vm_state.boundary = kept;
        return kOpened;
    }

    // Receives what is there into the rest of the buffer. Returns the bytes received.
    int Receive(WaitLimit arrival)
    {
        Receiver receiver(vm_transport,
                          {arrival, WhenReceiveBlocks::Stop, 0, kAnyRetries, vm_noPermit});
        const int held = HeldCount();
        const int received = receiver.Receive(vm_state.buffer.m_F_p_GetStrCHAR() + held,
                                              static_cast<int>(vm_state.buffer.m_nMemSize) - held);
        vm_state.held = held + received;
        return received;
    }

    bool IsSilentSince(std::uint32_t start) const
    {
        return std::int64_t{vm_transport.Now() - start} > vm_request.timeOut;
    }

    // The field that it stands in is the caller's to change, the memory is not.
    int HeldCount() const
    {
        return std::clamp(vm_state.held, 0, static_cast<int>(vm_state.buffer.m_nMemSize));
    }

    std::string_view Held() const
    {
        return {vm_state.buffer.m_F_p_GetStrCHAR(), static_cast<std::size_t>(HeldCount())};
    }

    std::string_view Text() const { return ResponseText(Held().data(), Held().size()); }

    // The part's own place in the buffer goes with it, and so does all before it; the delimiter
    // that ends it stays, for it begins the next.
    int HandOut(const PartPlace& part, PartBuffer out)
    {
        const std::string_view held = Held();
        std::memset(out.bytes, 0, static_cast<std::size_t>(out.size));
        const std::size_t room = static_cast<std::size_t>(out.size);
        held.substr(part.start, part.length).copy(out.bytes, room);

        const std::size_t left = held.size() - part.End();
        char* const buffer = vm_state.buffer.m_F_p_GetStrCHAR();
        std::memmove(buffer, buffer + part.End(), left);
        std::memset(buffer + left, 0, vm_state.buffer.m_nMemSize - left);
        vm_state.held = static_cast<int>(left);
        return static_cast<int>(part.length);
    }

    const GetRequest& vm_request;
    Transport& vm_transport;
    StreamState vm_state;
    const NoPermitNeeded vm_noPermit;
    // The boundary also stands in the head itself, where no part begins. Once a part was handed out
    // there is no head any more.
    std::size_t vm_nHeadSize = 0;
};

}  // namespace

int ReadPart(const GetRequest& request, bool isOpen, Transport& transport, StreamState state,
             PartBuffer out)
{
    StreamReader reader(request, transport, state);
    const int opened = isOpen ? kOpened : reader.Open();
    return opened == kOpened ? reader.NextPart(out) : opened;
}

}  // namespace ostrel::net
