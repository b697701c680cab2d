// A camera to try the client with: a small HTTP server on this machine.
#pragma once

#include <winsock2.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

// Serves moving pictures at /snapshot.jpg and a stream of events to everyone who knows the
// password, from construction to destruction, on a free port of 127.0.0.1. Winsock must have been
// started.
class EmbeddedCamera
{
public:
    static constexpr const char* kEventsPath = "events";

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
    void AnswerWithPicture(SOCKET connection);
    void AnswerWithEvents(SOCKET connection);
    void SendEventWhenDue();

    const std::vector<std::string>& pictures_;  // the same for all cameras
    std::size_t next_ = 0;
    SOCKET listener_ = INVALID_SOCKET;
    int port_ = 0;
    std::vector<SOCKET> followers_;  // connections whose clients get the events
    int events_ = 0;
    std::chrono::steady_clock::time_point nextEvent_{};
    std::atomic<bool> ending_{false};
    std::thread thread_;
};
