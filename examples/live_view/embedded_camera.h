// A camera to try the client with: a small HTTP server on this machine.
#pragma once

#include <winsock2.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

// Serves moving pictures at /snapshot.jpg to everyone who knows the password, from construction to
// destruction, on a free port of 127.0.0.1. Winsock must have been started.
class EmbeddedCamera
{
public:
    EmbeddedCamera();
    ~EmbeddedCamera();
    EmbeddedCamera(const EmbeddedCamera&) = delete;
    EmbeddedCamera& operator=(const EmbeddedCamera&) = delete;

    // Address, user and password, as one would type them.
    std::string Url() const;

private:
    void Listen();
    void Run();
    void Answer(SOCKET connection);

    std::vector<std::string> pictures_;
    std::size_t next_ = 0;
    SOCKET listener_ = INVALID_SOCKET;
    int port_ = 0;
    std::atomic<bool> ending_{false};
    std::thread thread_;
};
