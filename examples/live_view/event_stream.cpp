#include "event_stream.h"

#include <CSFunc.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "event_text.h"

namespace
{
constexpr int kTimeOut = 3000;  // milliseconds, for the connection and for a silence
constexpr std::chrono::milliseconds kRetryAfter(1000);  // while the camera fails
constexpr std::chrono::milliseconds kGrace(700);
constexpr std::chrono::milliseconds kCloseAgainAfter(50);
constexpr std::size_t kLongestPart = 1024;  // of what the library returns

std::string Describe(int code)
{
    switch (code)
    {
        case 1:
            return "1 no event for " + std::to_string(kTimeOut / 1000) + " seconds";
        case -2:
            return "-2 not connected: no such host, nobody listens there, or no answer in time";
        case -3:
            return "-3 bad answer: neither a stream nor a question for credentials";
        case -4:
            return "-4 wrong credentials: the camera refused user or password";
        case -5:
            return "-5 no multipart stream: the answer names no boundary";
        default:
            return std::to_string(code);
    }
}
}  // namespace

EventStream::EventStream(const CameraUrl& url) : path_(url.path)
{
    http_.m_S_Init(url.host.c_str(), url.user.c_str(), url.password.c_str(), url.port);
    reader_ = std::async(std::launch::async, [this] { Read(); });
}

EventStream::~EventStream()
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isEnding_ = true;
    }
    end_.notify_all();
    // A running stream brings the reader back by itself, with the next event. One that is being
    // opened may never do so, and is closed under the reader: only the connection, for the memory
    // that m_S_Release() would free as well is in use. Again and again, as the reader may have been
    // about to make a new connection.
    std::chrono::milliseconds patience = kGrace;
    while (reader_.wait_for(patience) != std::future_status::ready)
    {
        CSFunc::s_S_ForceCloseSocket(http_.m_socket);
        patience = kCloseAgainAfter;
    }
}

std::vector<EventStream::News> EventStream::TakeNews()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(news_, {});
}

// Runs on the reader's thread.
void EventStream::Read()
{
    char part[kLongestPart];
    while (!IsEnding())
    {
        const int result =
            http_.m_F_n_MultiPartStreamGet(path_.c_str(), part, sizeof part, kTimeOut);
        Note(result, part, sizeof part);
        if (result < 0)
        {
            Pause();
        }
    }
}

void EventStream::Note(int result, const char* part, std::size_t size)
{
    // 1 is also the length of a part of one byte, which leaves the connection open.
    if (result < 0 || (result == 1 && http_.m_socket == INVALID_SOCKET))
    {
        Tell(false, Describe(result));
    }
    else if (result > 0)
    {
        Tell(true, EventText({part, std::min(static_cast<std::size_t>(result), size)}));
    }
}

void EventStream::Tell(bool isEvent, const std::string& text)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    news_.push_back({isEvent, text});
}

bool EventStream::IsEnding()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return isEnding_;
}

void EventStream::Pause()
{
    std::unique_lock<std::mutex> lock(mutex_);
    end_.wait_for(lock, kRetryAfter, [this] { return isEnding_; });
}
