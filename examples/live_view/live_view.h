// The live picture: fetches, shows, sounds, records, reports.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "command_line.h"
#include "event_panel.h"
#include "event_stream.h"
#include "feed.h"
#include "pane.h"
#include "recorder.h"
#include "speaker.h"
#include "statistics.h"
#include "view_window.h"

using Feeds = std::vector<std::unique_ptr<Feed>>;

class LiveView : private ViewWindow::Events
{
public:
    // Both outlive the view. The window opens where it was when it was closed last, if that is
    // known. Throws std::runtime_error when there can be no window, sound or recording.
    LiveView(Feeds& feeds, const Options& options, const std::optional<RECT>& place);

    // Shows the events from this address, too. Before Run().
    void FollowEvents(const CameraUrl& url);

    // Shows the first pictures, and fetches and shows more until the window is closed or the time
    // is over; then takes the screenshot and the snapshots that were asked for. Throws
    // std::runtime_error when those cannot be written.
    void Run();

    // Where the window was at the end.
    const RECT& Place() const { return place_; }

    // How the sound and the recording went, in lines for the summary.
    std::string Report();

private:
    void OnTimer() override;
    void OnHandled() override;
    void OnPlaced() override;
    void OnKey(WPARAM key) override;
    void OnClose() override;

    std::string Title() const;
    void ShowNews();
    void ShowInterruption(const std::string& text);
    void ReportOnConsole();
    void SaveSnapshots();

    Feeds& feeds_;
    const Options& options_;
    ViewWindow window_;
    std::vector<std::unique_ptr<Pane>> panes_;
    std::optional<Speaker> speaker_;
    std::optional<Recorder> recorder_;
    RECT place_ = {};
    Stopwatch runTime_;
    double nextReport_ = 0;  // in milliseconds of runTime_
    int reportedFrames_ = 0;
    std::string error_;  // why something that was asked for could not be written, or empty

    // Only with events.
    std::optional<EventPanel> panel_;
    std::optional<EventStream> stream_;
    std::string interruption_;  // what is wrong with the event stream, or empty
};
