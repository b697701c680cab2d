// The live picture: fetches, shows, reports.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "camera.h"
#include "command_line.h"
#include "display.h"
#include "event_panel.h"
#include "event_stream.h"
#include "picture.h"
#include "statistics.h"
#include "view_window.h"

class LiveView : private ViewWindow::Events
{
public:
    // All of them outlive the view. Throws std::runtime_error when there can be no window.
    LiveView(Camera& camera, const std::string& name, const Options& options,
             Statistics& statistics);

    // Shows the events from this address, too. Before Run().
    void FollowEvents(const CameraUrl& url);

    // Shows the first picture, and fetches and shows more until the window is closed or the time is
    // over; then takes the screenshot that was asked for. Throws std::runtime_error when that
    // cannot be written.
    void Run(CMemManage& first, int length);

    // The last picture that was shown, as it was received.
    const std::vector<unsigned char>& LastJpeg() const { return lastJpeg_; }

private:
    void OnTimer() override;
    void OnPosted(UINT message, WPARAM number) override;
    void OnPlaced() override;
    void OnPaint() override;
    void OnClose() override;

    void StartFetch();
    void EndFetch();
    void Show(CMemManage& jpeg, int length);
    bool Draw();
    void ShowNews();
    void ShowInterruption(const std::string& text);
    void Report();

    Camera& camera_;
    const std::string name_;
    const Options& options_;
    Statistics& statistics_;

    ViewWindow window_;
    Display display_;
    Picture picture_;
    std::vector<unsigned char> lastJpeg_;

    int fetching_ = 0;  // number of the fetch that is under way, or 0
    Stopwatch fetchTime_;
    Stopwatch runTime_;
    double nextFetch_ = 0;  // both in milliseconds of runTime_
    double nextReport_ = 0;
    int reportedFrames_ = 0;
    std::string trouble_;  // what went wrong with the last picture, or empty
    std::string screenshotError_;

    // Only with events.
    std::optional<EventPanel> panel_;
    std::optional<EventStream> stream_;
    std::string interruption_;  // what is wrong with the event stream, or empty
};
