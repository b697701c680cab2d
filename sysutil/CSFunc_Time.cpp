#include <ctime>
#include <optional>

#include "CSFunc.h"
#include "core/current_time.h"
#include "sysutil/local_day.h"

using ostrel::core::TimeValue;
using ostrel::sysutil::kHour;
using ostrel::sysutil::LocalDay;

namespace
{

/// @return what the run-time counts as seconds since 1970; less than 0 outside its years.
__int64 SecondsOf(const SYSTEMTIME& utc)
{
    std::tm fields = {};
    fields.tm_sec = utc.wSecond;
    fields.tm_min = utc.wMinute;
    fields.tm_hour = utc.wHour;
    fields.tm_mday = utc.wDay;
    fields.tm_mon = utc.wMonth - 1;
    fields.tm_year = utc.wYear - 1900;
    return _mkgmtime64(&fields);
}

/// @return the time value of a time in UTC, without its milliseconds; none outside the run-time's
/// years.
std::optional<TimeValue> WholeSecondsOf(const SYSTEMTIME& utc)
{
    const __int64 seconds = SecondsOf(utc);
    if (seconds < 0)
    {
        return std::nullopt;
    }
    return ostrel::core::ToTimeValue(seconds, 0);
}

/// Gives the calendar time of a time value, in UTC and whole seconds. Where there is none, it is
/// what the run-time's record of -1 in each field comes to.
/// @return whether there is one.
bool CalendarTimeOf(TimeValue time, SYSTEMTIME& utc)
{
    const __int64 seconds = static_cast<__int64>(time / 1000);
    std::tm fields = {-1, -1, -1, -1, -1, -1, -1, -1, -1};
    const bool isValid = _gmtime64_s(&fields, &seconds) == 0;
    utc.wYear = static_cast<WORD>(fields.tm_year + 1900);
    utc.wMonth = static_cast<WORD>(fields.tm_mon + 1);
    utc.wDayOfWeek = static_cast<WORD>(fields.tm_wday);
    utc.wDay = static_cast<WORD>(fields.tm_mday);
    utc.wHour = static_cast<WORD>(fields.tm_hour);
    utc.wMinute = static_cast<WORD>(fields.tm_min);
    utc.wSecond = static_cast<WORD>(fields.tm_sec);
    utc.wMilliseconds = 0;
    return isValid;
}

/// Gives the local time at a time value, in whole seconds; a null zone is the machine's.
/// @return false, and @p local left alone, when there is none.
bool LocalTimeAt(TimeValue time, TIME_ZONE_INFORMATION* zone, SYSTEMTIME& local)
{
    SYSTEMTIME utc = {};
    return CalendarTimeOf(time, utc) && SystemTimeToTzSpecificLocalTime(zone, &utc, &local);
}

/// Moves a time in UTC on by one hour if the local hour number stays the same by that, that is to
/// the second of two equal local times.
void TakeLaterHour(TIME_ZONE_INFORMATION* zone, WORD hour, SYSTEMTIME& utc)
{
    const std::optional<TimeValue> first = WholeSecondsOf(utc);
    SYSTEMTIME local = {};
    if (first && LocalTimeAt(*first + kHour, zone, local) && local.wHour == hour)
    {
        CalendarTimeOf(*first + kHour, utc);
    }
}

void ListHours(TIME_ZONE_INFORMATION* zone, const SYSTEMTIME& midnight, LocalDay& day)
{
    SYSTEMTIME utc = {};
    if (!TzSpecificLocalTimeToSystemTime(zone, &midnight, &utc))
    {
        return;
    }
    const std::optional<TimeValue> start = WholeSecondsOf(utc);
    if (!start)
    {
        return;
    }
    const auto hourOfDay = [&](TimeValue time)
    {
        SYSTEMTIME local = {};
        const bool isInDay = LocalTimeAt(time, zone, local) && local.wDay == midnight.wDay;
        return isInDay ? std::optional<unsigned int>(local.wHour) : std::nullopt;
    };
    day = ostrel::sysutil::WalkLocalDay(*start, hourOfDay);
}

}  // namespace

unsigned __int64 CSFunc::s_F_n_GetCurTm()
{
    return ostrel::core::CurrentTime();
}

void CSFunc::s_S_ChangeTimeType(SYSTEMTIME stUtc, unsigned __int64& nMS)
{
    nMS = ostrel::core::ToTimeValue(SecondsOf(stUtc), stUtc.wMilliseconds);
}

void CSFunc::s_S_ChangeTimeType(unsigned __int64 nMS, SYSTEMTIME& st, TIME_ZONE_INFORMATION* pTz)
{
    if (pTz == nullptr)
    {
        CalendarTimeOf(nMS, st);
    }
    else
    {
        LocalTimeAt(nMS, pTz, st);
    }
    st.wMilliseconds = static_cast<WORD>(nMS % 1000);
}

void CSFunc::s_S_SystemTimeToLocalTime(TIME_ZONE_INFORMATION* pTz, SYSTEMTIME* pUtc,
                                       SYSTEMTIME* pLocal)
{
    if (pUtc == nullptr || pLocal == nullptr)
    {
        return;
    }
    const WORD milliseconds = pUtc->wMilliseconds;
    pUtc->wMilliseconds = 0;
    SystemTimeToTzSpecificLocalTime(pTz, pUtc, pLocal);
    pUtc->wMilliseconds = milliseconds;
    pLocal->wMilliseconds = milliseconds;
}

void CSFunc::s_S_LocalTimeToSystemTime(TIME_ZONE_INFORMATION* pTz, SYSTEMTIME* pLocal,
                                       SYSTEMTIME* pUtc, bool bLaterHour)
{
    if (pLocal == nullptr || pUtc == nullptr)
    {
        return;
    }
    const WORD hour = pLocal->wHour;
    const WORD milliseconds = pLocal->wMilliseconds;
    pLocal->wMilliseconds = 0;
    const bool isConverted = TzSpecificLocalTimeToSystemTime(pTz, pLocal, pUtc) != FALSE;
    if (isConverted && bLaterHour && pTz != nullptr && pTz->DaylightBias != 0)
    {
        TakeLaterHour(pTz, hour, *pUtc);
    }
    pLocal->wMilliseconds = milliseconds;
    pUtc->wMilliseconds = milliseconds;
}

void CSFunc::s_S_CalDayHours(TIME_ZONE_INFORMATION* pTz, SYSTEMTIME* pDay, CUIntArray* pHours,
                             unsigned __int64* pStart, unsigned __int64* pEnd)
{
    LocalDay day;
    if (pDay != nullptr)
    {
        pDay->wHour = 0;
        pDay->wMinute = 0;
        pDay->wSecond = 0;
        pDay->wMilliseconds = 0;
        ListHours(pTz, *pDay, day);
    }
    if (pHours != nullptr)
    {
        for (const unsigned int hour : day.hours)
        {
            pHours->SetAtGrow(pHours->GetSize(), hour);
        }
    }
    if (pStart != nullptr)
    {
        *pStart = day.start;
    }
    if (pEnd != nullptr)
    {
        *pEnd = day.end;
    }
}
