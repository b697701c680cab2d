#include "local_time.h"

#include <CSFunc.h>

SYSTEMTIME LocalTime()
{
    TIME_ZONE_INFORMATION zone = {};
    GetTimeZoneInformation(&zone);
    SYSTEMTIME now = {};
    CSFunc::s_S_ChangeTimeType(CSFunc::s_F_n_GetCurTm(), now, &zone);
    return now;
}

std::wstring LocalTimeText()
{
    const SYSTEMTIME now = LocalTime();
    CStringW text;
    text.Format(L"%04d-%02d-%02d %02d:%02d:%02d", now.wYear, now.wMonth, now.wDay, now.wHour,
                now.wMinute, now.wSecond);
    return text.GetString();
}
