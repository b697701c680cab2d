// What a run is measured by.
#pragma once

#include <array>
#include <chrono>
#include <map>
#include <string>

enum class Stage
{
    Fetch,
    Size,
    Decode,
    Convert,
    Draw
};
constexpr std::size_t kStages = 5;

// Milliseconds since its making or its last lap.
class Stopwatch
{
public:
    double Elapsed() const
    {
        return std::chrono::duration<double, std::milli>(Clock::now() - start_).count();
    }
    double Lap()
    {
        const double elapsed = Elapsed();
        start_ = Clock::now();
        return elapsed;
    }

private:
    using Clock = std::chrono::steady_clock;
    Clock::time_point start_ = Clock::now();
};

class Statistics
{
public:
    // Notes that a stage took so many milliseconds.
    void Add(Stage stage, double milliseconds);
    // Notes a picture that could not be shown, by reason.
    void AddFailure(const std::string& reason) { ++failures_[reason]; }

    // Notes an interruption of the event stream, by reason.
    void AddInterruption(const std::string& reason) { ++interruptions_[reason]; }

    // For the console, once a second: the mean times of the stages since the last call.
    std::string TakeStageLine();
    // For the summary file: what is known about the pictures, their failures and stages.
    std::string Report() const;

    int frames = 0;                // drawn
    int dropped = 0;               // due while the one before was still coming, or too late
    unsigned long long bytes = 0;  // of all pictures received
    int width = 0;                 // of the last picture
    int height = 0;
    std::string drawPath = "none";  // that was used last
    bool hasStream = false;         // whether events were asked for
    int events = 0;                 // received
    double seconds = 0;             // from the first picture to the end

private:
    struct Times
    {
        double sum = 0;
        double most = 0;
        int count = 0;
    };
    std::array<Times, kStages> all_;
    std::array<Times, kStages> recent_;
    std::map<std::string, int> failures_;
    std::map<std::string, int> interruptions_;
};
