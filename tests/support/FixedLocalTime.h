// Pins the local time that log and backup names read, for the life of the object.
#pragma once
#include "platform/LocalTime.h"

inline platform::LocalTime MorningOfFebruaryThird() {
    platform::LocalTime t;
    t.year = 2026;
    t.month = 2;
    t.day = 3;
    t.hour = 9;
    t.minute = 5;
    t.second = 7;
    return t;
}

class FixedLocalTime {
public:
    explicit FixedLocalTime(platform::LocalTimeSource source = &MorningOfFebruaryThird) {
        platform::SetLocalTimeSource(source);
    }
    ~FixedLocalTime() { platform::SetLocalTimeSource(nullptr); }
    FixedLocalTime(const FixedLocalTime&) = delete;
    FixedLocalTime& operator=(const FixedLocalTime&) = delete;
};
