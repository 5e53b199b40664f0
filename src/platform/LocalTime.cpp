#include "platform/LocalTime.h"

#include <atomic>
#include <ctime>

namespace platform {
namespace {

LocalTime SystemLocalTime() {
    time_t now = time(nullptr);
    tm parts;
    localtime_r(&now, &parts);
    LocalTime t;
    t.year = parts.tm_year + 1900;
    t.month = parts.tm_mon + 1;
    t.day = parts.tm_mday;
    t.hour = parts.tm_hour;
    t.minute = parts.tm_min;
    t.second = parts.tm_sec;
    return t;
}

std::atomic<LocalTimeSource> g_source{&SystemLocalTime};

} // namespace

LocalTime GetLocalTime() { return g_source.load()(); }

void SetLocalTimeSource(LocalTimeSource source) { g_source.store(source ? source : &SystemLocalTime); }

} // namespace platform
