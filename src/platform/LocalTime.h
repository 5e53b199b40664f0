// Wall-clock local time for log and backup names.
#pragma once

namespace platform {

struct LocalTime {
    int year = 0;  // four digits
    int month = 0; // 1..12
    int day = 0;   // 1..31
    int hour = 0;
    int minute = 0;
    int second = 0;
};

LocalTime GetLocalTime();

// Tests pin the date and time; nullptr restores the system clock.
using LocalTimeSource = LocalTime (*)();
void SetLocalTimeSource(LocalTimeSource source);

} // namespace platform
