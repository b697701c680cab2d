#include "net/stream_transfer.h"

#include <cstring>

namespace ostrel::net
{

namespace
{

constexpr int kAllowed = 0;

int Refusal(int role, const char* buffer)
{
    if (role != kClientRole && role != kAcceptedRole)
    {
        return kWrongRole;
    }
    return buffer == nullptr ? kNoBuffer : kAllowed;
}

// How often a transfer may find in a row that it would block.
class Retries
{
public:
    explicit Retries(int timeOut) : vm_nLimit(timeOut / kTransferWait) {}

    bool AreBelowLimit() const { return vm_nCount < vm_nLimit; }
    void Count() { ++vm_nCount; }
    void Reset() { vm_nCount = 0; }

    // The transfer's result, unless there were more retries than allowed. Only a negative limit can
    // be exceeded, for at any other the transfer stops by itself.
    int Judge(int result) const { return vm_nCount > vm_nLimit ? kTooManyRetries : result; }

private:
    int vm_nLimit;
    int vm_nCount = 0;
};

}  // namespace

int SendStream(StreamConnection& connection, int role, const char* data, int length, int timeOut)
{
    const int refusal = Refusal(role, data);
    if (refusal != kAllowed)
    {
        return refusal;
    }
    if (length < 0)
    {
        return 0;
    }
    Retries retries(timeOut);
    int sent = 0;
    WaitResult room = connection.WaitWritable(kTransferWait);
    while (room == WaitResult::Ready && retries.AreBelowLimit() && sent < length)
    {
        const TransferResult result = connection.Send(data + sent, length - sent);
        if (result.wouldBlock)
        {
            room = connection.WaitWritable(kTransferWait);
            retries.Count();
            continue;
        }
        retries.Reset();
        if (result.count <= 0)
        {
            break;
        }
        sent += result.count;
    }
    return retries.Judge(sent);
}

int ReceiveStream(StreamConnection& connection, int role, char* buffer, int size, int timeOut)
{
    const int refusal = Refusal(role, buffer);
    if (refusal != kAllowed)
    {
        return refusal;
    }
    if (size < 0)
    {
        return 0;
    }
    std::memset(buffer, 0, static_cast<std::size_t>(size));
    Retries retries(timeOut);
    WaitResult arrival = connection.WaitReadable(kTransferWait);
    if (arrival == WaitResult::TimedOut)
    {
        return kNothingArrived;
    }
    while (arrival == WaitResult::Ready && retries.AreBelowLimit() && size > 0)
    {
        const TransferResult result = connection.Receive(buffer, size);
        if (!result.wouldBlock)
        {
            return result.count > 0 ? result.count : 0;
        }
        arrival = connection.WaitReadable(kTransferWait);
        retries.Count();
    }
    return retries.Judge(0);
}

}  // namespace ostrel::net
