#include "live_view.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include "capture.h"

namespace
{
constexpr UINT kFetchEnded = WM_APP;
constexpr double kReportEvery = 1000;  // milliseconds
constexpr double kRetryAfter = 1000;   // milliseconds, while the camera fails
}  // namespace

LiveView::LiveView(Camera& camera, const std::string& name, const Options& options,
                   Statistics& statistics)
    : camera_(camera),
      name_(name),
      options_(options),
      statistics_(statistics),
      window_(*this),
      display_(window_.Handle(), options.useGdi)
{
}

void LiveView::FollowEvents(const CameraUrl& url)
{
    panel_.emplace(window_.Handle());
    stream_.emplace(url);
}

void LiveView::Run(CMemManage& first, int length)
{
    runTime_.Lap();
    nextReport_ = kReportEvery;
    nextFetch_ = 1000.0 / options_.framesPerSecond;
    Show(first, length);
    window_.RunMessageLoop();
    stream_.reset();
    if (!screenshotError_.empty())
    {
        throw std::runtime_error(screenshotError_);
    }
}

void LiveView::OnPosted(UINT, WPARAM number)
{
    // A message may come late, when the timer has already noticed the fetch's end.
    if (static_cast<int>(number) == fetching_)
    {
        EndFetch();
        OnTimer();
    }
}

void LiveView::OnPlaced()
{
    if (panel_)
    {
        panel_->Place();
    }
}

void LiveView::OnPaint()
{
    Draw();
}

bool LiveView::Draw()
{
    return display_.Draw(picture_, panel_ ? panel_->Beside() : RECT{});
}

void LiveView::OnTimer()
{
    // A camera that cannot be reached ends a fetch without a message.
    if (fetching_ != 0 && camera_.HasEnded())
    {
        EndFetch();
    }
    if (fetching_ == 0 && runTime_.Elapsed() >= nextFetch_)
    {
        StartFetch();
    }
    ShowNews();
    if (runTime_.Elapsed() >= nextReport_)
    {
        Report();
    }
    if (options_.seconds > 0 && runTime_.Elapsed() >= options_.seconds * 1000.0)
    {
        OnClose();
    }
}

void LiveView::StartFetch()
{
    const double interval = 1000.0 / options_.framesPerSecond;
    // Keeps the pace over a late tick, and does not make up for a longer pause.
    nextFetch_ = std::max(nextFetch_ + interval, runTime_.Elapsed());
    fetchTime_.Lap();
    fetching_ = camera_.StartFetch(window_.Handle(), kFetchEnded);
    if (fetching_ == 0)
    {
        trouble_ = "fetch not started";
        statistics_.AddFailure(trouble_);
    }
}

void LiveView::EndFetch()
{
    fetching_ = 0;
    const double elapsed = fetchTime_.Elapsed();
    const int length = camera_.EndFetch();
    if (length < 0)
    {
        trouble_ = Camera::Describe(length);
        statistics_.AddFailure(trouble_);
        nextFetch_ = runTime_.Elapsed() + kRetryAfter;
        return;
    }
    statistics_.Add(Stage::Fetch, elapsed);
    Show(camera_.Picture(), length);
}

void LiveView::Show(CMemManage& jpeg, int length)
{
    statistics_.bytes += length;
    unsigned char* const bytes = jpeg.m_F_p_GetMemPoint();
    trouble_ = Camera::IsCutShort(jpeg, length) ? "picture cut short"
                                                : picture_.Load(bytes, length, statistics_);
    if (trouble_.empty() && IsIconic(window_.Handle()))
    {
        return;  // there is nothing to draw into
    }
    if (trouble_.empty())
    {
        Stopwatch watch;
        if (Draw())
        {
            statistics_.Add(Stage::Draw, watch.Elapsed());
            ++statistics_.frames;
            statistics_.drawPath = display_.Path();
            statistics_.width = picture_.width;
            statistics_.height = picture_.height;
            lastJpeg_.assign(bytes, bytes + length);
            return;
        }
        trouble_ = "picture not drawn";
    }
    statistics_.AddFailure(trouble_);
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
        ++statistics_.events;
        std::printf("Event: %s\n", news.text.c_str());
        panel_->Add(news.text, false);
    }
    std::fflush(stdout);
}

void LiveView::ShowInterruption(const std::string& text)
{
    statistics_.AddInterruption(text);
    // Every try to open the stream again may end in the same way.
    if (text != interruption_)
    {
        interruption_ = text;
        std::printf("Event stream: %s\n", text.c_str());
        panel_->Add(text, true);
    }
}

void LiveView::Report()
{
    const double elapsed = runTime_.Elapsed() - (nextReport_ - kReportEvery);
    nextReport_ += elapsed;
    char figures[200];
    std::snprintf(figures, sizeof figures, "%dx%d, %.1f pictures/s, %s, ", statistics_.width,
                  statistics_.height, (statistics_.frames - reportedFrames_) * 1000 / elapsed,
                  statistics_.drawPath.c_str());
    reportedFrames_ = statistics_.frames;
    std::string line = figures + statistics_.TakeStageLine();
    if (!trouble_.empty())
    {
        line += " - " + trouble_;
    }
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
    SetWindowTextA(window_.Handle(), (name_ + " - " + line).c_str());
}

void LiveView::OnClose()
{
    statistics_.seconds = runTime_.Elapsed() / 1000;
    if (!options_.screenshotFile.empty())
    {
        try
        {
            SaveScreenshot(window_.Handle(), options_.screenshotFile);
        }
        catch (const std::exception& error)
        {
            screenshotError_ = error.what();
        }
    }
    DestroyWindow(window_.Handle());
}
