#include "statistics.h"

#include <algorithm>
#include <iomanip>
#include <sstream>

namespace
{
constexpr const char* kStageNames[kStages] = {"fetch", "size", "decode", "convert", "draw"};

void WriteReasons(std::ostream& report, const char* what, const std::map<std::string, int>& reasons)
{
    int sum = 0;
    for (const auto& [reason, count] : reasons)
    {
        sum += count;
    }
    report << what << ": " << sum << '\n';
    for (const auto& [reason, count] : reasons)
    {
        report << "  " << count << " x " << reason << '\n';
    }
}
}  // namespace

void Statistics::Add(Stage stage, double milliseconds)
{
    for (auto* const times : {&all_, &recent_})
    {
        Times& one = (*times)[static_cast<std::size_t>(stage)];
        one.sum += milliseconds;
        one.most = std::max(one.most, milliseconds);
        ++one.count;
    }
}

std::string Statistics::TakeStageLine()
{
    std::ostringstream line;
    line << std::fixed << std::setprecision(1);
    for (std::size_t i = 0; i < kStages; ++i)
    {
        line << (i == 0 ? "" : ", ") << kStageNames[i] << ' '
             << (recent_[i].count > 0 ? recent_[i].sum / recent_[i].count : 0);
    }
    line << " ms";
    recent_ = {};
    return line.str();
}

std::string Statistics::Report() const
{
    std::ostringstream report;
    report << std::fixed << "frames drawn: " << frames << "\npictures dropped: " << dropped
           << "\nseconds: " << std::setprecision(2) << seconds
           << "\nframes per second: " << (seconds > 0 ? frames / seconds : 0)
           << "\nbytes received: " << bytes << "\npicture size: " << width << 'x' << height
           << "\ndraw path: " << drawPath << '\n';

    WriteReasons(report, "failures", failures_);
    if (hasStream)
    {
        report << "events received: " << events << '\n';
        WriteReasons(report, "interruptions of the event stream", interruptions_);
    }

    report << "milliseconds per picture (mean, max):\n" << std::setprecision(3);
    for (std::size_t i = 0; i < kStages; ++i)
    {
        const Times& times = all_[i];
        report << "  " << std::left << std::setw(8) << kStageNames[i] << std::right << std::setw(9)
               << (times.count > 0 ? times.sum / times.count : 0) << std::setw(9) << times.most
               << '\n';
    }
    return report.str();
}
