// The camera's events: a multipart stream, read on a thread of its own.
#pragma once

#include <CHTTP.h>

#include <condition_variable>
#include <future>
#include <mutex>
#include <string>
#include <vector>

#include "camera_url.h"

class EventStream
{
public:
    struct News
    {
        bool isEvent;      // or an interruption of the stream
        std::string text;  // what the event says, or what is wrong
    };

    // Reads from now on. A stream that ends, pauses or fails is opened again.
    explicit EventStream(const CameraUrl& url);
    ~EventStream();
    EventStream(const EventStream&) = delete;
    EventStream& operator=(const EventStream&) = delete;

    // What has come since the last call.
    std::vector<News> TakeNews();

private:
    void Read();
    void Note(int result, const char* part, std::size_t size);
    void Tell(bool isEvent, const std::string& text);
    bool IsEnding();
    void Pause();

    const std::string path_;
    CHTTP http_;  // the reader's own: one object serves one thread

    std::mutex mutex_;  // held for every look at what follows
    std::condition_variable end_;
    bool isEnding_ = false;
    std::vector<News> news_;

    std::future<void> reader_;  // last: begins when all else is there
};
