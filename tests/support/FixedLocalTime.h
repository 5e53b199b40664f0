// Pins the local time that log and backup names read, for the life of the object.
#pragma once
#include "platform/LocalTime.h"

class FixedLocalTime {
public:
    // By default the morning of 3 February 2026, 09:05:07.
    explicit FixedLocalTime(platform::LocalTimeSource source = [] {
        return platform::LocalTime{2026, 2, 3, 9, 5, 7};
    }) {
        platform::SetLocalTimeSource(source);
    }
    ~FixedLocalTime() { platform::SetLocalTimeSource(nullptr); }
    FixedLocalTime(const FixedLocalTime&) = delete;
    FixedLocalTime& operator=(const FixedLocalTime&) = delete;
};
