// Plays the tone with the library's wave-out player, from a thread of its own, so that a busy
// window makes no gaps.
#pragma once

#include <CStdThread.h>
#include <CWaveOut.h>

#include <atomic>
#include <string>

#include "tone.h"

// How the tone is described to the platform.
WAVEFORMATEX ToneFormat();

class Speaker
{
public:
    // Throws std::runtime_error when there is no sound device.
    explicit Speaker(HWND notified);
    ~Speaker();
    Speaker(const Speaker&) = delete;
    Speaker& operator=(const Speaker&) = delete;

    // For the summary.
    std::string Report() const;

private:
    static unsigned int Supply(void* self);

    CWaveOut player_;
    Tone tone_;
    std::atomic<int> blocks_{0};
    CStdThread supplier_;
};
