#include "pane.h"

#include <algorithm>

namespace
{
constexpr wchar_t kClassName[] = L"LiveViewPane";
constexpr UINT kFetchEnded = WM_APP;
constexpr double kRetryAfter = 1000;  // milliseconds, while the camera fails
}  // namespace

Pane::Pane(HWND owner, Feed& feed, bool useGdi, int framesPerSecond)
    : window_(owner, kClassName, &Pane::Procedure, this),
      feed_(feed),
      display_(window_.Handle(), useGdi),
      interval_(1000.0 / framesPerSecond),
      nextFetch_(interval_)
{
}

void Pane::Tick()
{
    // A camera that cannot be reached ends a fetch without a message.
    if (fetching_ != 0 && feed_.HasEnded())
    {
        EndFetch();
    }
    const double now = time_.Elapsed();
    if (now < nextFetch_)
    {
        return;
    }
    // Keeps the pace over a late tick, and does not make up for a longer pause.
    const int late = static_cast<int>((now - nextFetch_) / interval_);
    if (fetching_ != 0)
    {
        return;
    }
    feed_.statistics.dropped += late;
    nextFetch_ += (late + 1) * interval_;
    fetching_ = feed_.StartFetch(window_.Handle(), kFetchEnded);
}

void Pane::EndFetch()
{
    fetching_ = 0;
    if (feed_.EndFetch())
    {
        Show();
    }
    else
    {
        nextFetch_ = std::max(nextFetch_, time_.Elapsed() + kRetryAfter);
    }
}

void Pane::Show()
{
    if (feed_.Number() < 0 || IsIconic(window_.Owner()))
    {
        return;  // there is nothing to draw, or to draw into
    }
    Stopwatch watch;
    if (!Draw())
    {
        feed_.SetTrouble("picture not drawn");
        return;
    }
    Statistics& statistics = feed_.statistics;
    statistics.Add(Stage::Draw, watch.Elapsed());
    ++statistics.frames;
    statistics.drawPath = display_.Path();
    statistics.width = feed_.Shown().width;
    statistics.height = feed_.Shown().height;
}

bool Pane::Draw()
{
    return display_.Draw(feed_.Shown());
}

LRESULT CALLBACK Pane::Procedure(HWND window, UINT message, WPARAM first, LPARAM second)
{
    auto* const self = static_cast<Pane*>(OwnedWindow::SelfOf(window));
    if (self == nullptr)
    {
        return DefWindowProcW(window, message, first, second);
    }
    switch (message)
    {
        case WM_PAINT:
        {
            PAINTSTRUCT paint;
            BeginPaint(window, &paint);
            EndPaint(window, &paint);
            self->Draw();
            return 0;
        }
        case kFetchEnded:
            // It may come late, when a tick has already noticed the fetch's end.
            if (static_cast<int>(first) == self->fetching_)
            {
                self->EndFetch();
                self->Tick();
            }
            return 0;
        default:
            return DefWindowProcW(window, message, first, second);
    }
}
