/// @file
/// A connection that is read ahead of what is asked of it.
#pragma once

#include "net/transport.h"

namespace ostrel::net
{

/// Receives as much as there is at a time and hands it out as it is asked for, so that small
/// receives and the waits before them cost nothing while bytes are held. Otherwise just the
/// connection that it is put before. What is held is lost with it: one is kept for a connection's
/// whole life.
class ReadAhead final : public Transport
{
public:
    explicit ReadAhead(Transport& connection) : vm_connection(connection) {}

    bool Connect(const char* host, int port, int timeOut) override
    {
        return vm_connection.Connect(host, port, timeOut);
    }
    bool WaitWritable(WaitLimit limit) override { return vm_connection.WaitWritable(limit); }
    bool WaitReadable(WaitLimit limit) override
    {
        return vm_nNext < vm_nHeld || vm_connection.WaitReadable(limit);
    }
    TransferResult Send(const char* bytes, int count) override
    {
        return vm_connection.Send(bytes, count);
    }
    TransferResult Receive(char* bytes, int capacity) override;
    void Pause(int time) override { vm_connection.Pause(time); }
    std::uint32_t Now() const override { return vm_connection.Now(); }
    void Close() override { vm_connection.Close(); }

private:
    Transport& vm_connection;
    int vm_nNext = 0;
    int vm_nHeld = 0;
    // Not allocated: a worker that is terminated must leave nothing behind.
    char vm_szHeld[65536];
};

}  // namespace ostrel::net
