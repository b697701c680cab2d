#include "live_view.h"

#include <CSFunc.h>

#include <cstdio>
#include <numeric>
#include <stdexcept>

#include "capture.h"
#include "snapshots.h"

namespace
{
constexpr double kReportEvery = 1000;  // milliseconds

int FramesOf(const Feeds& feeds)
{
    return std::accumulate(feeds.begin(), feeds.end(), 0,
                           [](int sum, const auto& feed) { return sum + feed->statistics.frames; });
}
}  // namespace

LiveView::LiveView(Feeds& feeds, const Options& options, const std::optional<RECT>& place)
    : feeds_(feeds), options_(options), window_(*this, place)
{
    for (const auto& feed : feeds_)
    {
        panes_.push_back(std::make_unique<Pane>(window_.Handle(), *feed, options_.useGdi,
                                                options_.framesPerSecond));
    }
    if (options_.sound)
    {
        speaker_.emplace(window_.Handle());
    }
    if (!options_.recordFile.empty())
    {
        recorder_.emplace(options_.recordFile, *feeds_.front(), options_.framesPerSecond);
    }
}

void LiveView::FollowEvents(const CameraUrl& url)
{
    panel_.emplace(window_.Handle());
    stream_.emplace(url);
}

void LiveView::Run()
{
    runTime_.Lap();
    nextReport_ = kReportEvery;
    OnPlaced();
    for (const auto& pane : panes_)
    {
        pane->Show();
    }
    window_.RunMessageLoop();
    stream_.reset();
    if (!error_.empty())
    {
        throw std::runtime_error(error_);
    }
}

void LiveView::OnPlaced()
{
    if (IsIconic(window_.Handle()))
    {
        return;  // its parts went with it
    }
    RECT area = {};
    GetClientRect(window_.Handle(), &area);
    if (panel_)
    {
        panel_->Place();
        area = panel_->Beside();
    }
    std::vector<CRect> cells(static_cast<std::size_t>(options_.gridRows) * options_.gridColumns);
    CSFunc::s_S_CalWndRect(options_.gridRows, options_.gridColumns, cells.data(), CRect(area));
    for (std::size_t i = 0; i < panes_.size() && i < cells.size(); ++i)
    {
        panes_[i]->Place(cells[i]);
    }
}

void LiveView::OnTimer()
{
    for (const auto& pane : panes_)
    {
        pane->Tick();
    }
    ShowNews();
    if (runTime_.Elapsed() >= nextReport_)
    {
        ReportOnConsole();
    }
    if (options_.seconds > 0 && runTime_.Elapsed() >= options_.seconds * 1000.0)
    {
        OnClose();
    }
}

// Not only on the timer, which waits while pictures come: so each frame gets the picture of its
// time.
void LiveView::OnHandled()
{
    if (recorder_)
    {
        recorder_->WriteUntil(runTime_.Elapsed());
    }
}

void LiveView::OnKey(WPARAM key)
{
    if (key == 'S' && !options_.snapshotFolder.empty())
    {
        SaveSnapshots();
    }
}

void LiveView::ShowNews()
{
    if (!stream_)
    {
        return;
    }
    for (const EventStream::News& news : stream_->TakeNews())
    {
        if (!news.isEvent)
        {
            ShowInterruption(news.text);
            continue;
        }
        interruption_.clear();
        ++feeds_.front()->statistics.events;
        std::printf("Event: %s\n", news.text.c_str());
        panel_->Add(news.text, false);
    }
    std::fflush(stdout);
}

void LiveView::ShowInterruption(const std::string& text)
{
    feeds_.front()->statistics.AddInterruption(text);
    // Every try to open the stream again may end in the same way.
    if (text != interruption_)
    {
        interruption_ = text;
        std::printf("Event stream: %s\n", text.c_str());
        panel_->Add(text, true);
    }
}

void LiveView::ReportOnConsole()
{
    const double elapsed = runTime_.Elapsed() - (nextReport_ - kReportEvery);
    nextReport_ += elapsed;
    const int frames = FramesOf(feeds_);
    Statistics& first = feeds_.front()->statistics;
    char figures[200];
    std::snprintf(figures, sizeof figures, "%dx%d, %.1f pictures/s, %s, ", first.width,
                  first.height, (frames - reportedFrames_) * 1000 / elapsed,
                  first.drawPath.c_str());
    reportedFrames_ = frames;
    std::string line = figures + first.TakeStageLine();
    for (const auto& feed : feeds_)
    {
        if (!feed->Trouble().empty())
        {
            line += " - " + feed->Name() + ": " + feed->Trouble();
        }
    }
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
    const std::string title = Title() + " - " + line;
    SetWindowTextW(window_.Handle(), CSFunc::s_F_s_Utf8ToUnicode(title.c_str()));
}

std::string LiveView::Title() const
{
    const std::string first = feeds_.front()->Name();
    return feeds_.size() == 1 ? first : std::to_string(feeds_.size()) + " cameras";
}

void LiveView::SaveSnapshots()
{
    for (std::size_t i = 0; i < feeds_.size(); ++i)
    {
        if (feeds_[i]->statistics.frames == 0)
        {
            continue;
        }
        try
        {
            const std::string file =
                SaveSnapshot(options_.snapshotFolder, static_cast<int>(i) + 1, *feeds_[i]);
            std::printf("Snapshot: %s\n", file.c_str());
        }
        catch (const std::exception& error)
        {
            error_ = error.what();
        }
    }
    std::fflush(stdout);
}

void LiveView::OnClose()
{
    const double elapsed = runTime_.Elapsed();
    for (const auto& feed : feeds_)
    {
        feed->statistics.seconds = elapsed / 1000;
    }
    if (recorder_)
    {
        recorder_->Close();
    }
    place_ = window_.Place();
    if (!options_.snapshotFolder.empty())
    {
        SaveSnapshots();
    }
    if (!options_.screenshotFile.empty())
    {
        try
        {
            SaveScreenshot(window_.Handle(), options_.screenshotFile);
        }
        catch (const std::exception& error)
        {
            error_ = error.what();
        }
    }
    DestroyWindow(window_.Handle());
}

std::string LiveView::Report()
{
    return (speaker_ ? speaker_->Report() : "") + (recorder_ ? recorder_->Report() : "");
}
