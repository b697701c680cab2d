// Records what a camera sends, with the tone and a line of text per second, with the library's AVI
// writer.
#pragma once

#include <CAviConvert.h>

#include <string>

#include "feed.h"
#include "tone.h"

class Recorder
{
public:
    // The feed outlives the recorder. Throws std::runtime_error when it has no picture yet, or the
    // file cannot be made.
    Recorder(const std::wstring& file, Feed& feed, int framesPerSecond);

    // Writes all that is due until now, in milliseconds since the start of the recording. Where no
    // new picture has come, and where one of another size has, the file gets an empty frame.
    // Nothing once it is closed.
    void WriteUntil(double milliseconds);
    void Close() { avi_.m_S_CloseAviFile(); }

    // For the summary.
    std::string Report();

private:
    void WritePicture();
    void WriteSound();

    CAviConvert avi_;
    Feed& feed_;
    Tone tone_;
    const int width_;
    const int height_;
    int recordedPicture_ = -1;  // number of the last picture written
    int frames_ = 0;
    int emptyFrames_ = 0;
};
