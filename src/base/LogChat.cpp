#include "base/LogChat.h"

#include <cstdio>
#include <mutex>

#include "platform/Files.h"
#include "platform/LocalTime.h"

namespace {
// The UDP thread logs too (bind retries); entries must not interleave.
std::mutex g_LogLock;

std::string FileNameFor(const platform::LocalTime& t) {
    char name[96];
    snprintf(name, sizeof name, "chat_logs/vuk_chat_%d_%d_%d.log", t.month, t.day, t.year);
    return name;
}
} // namespace

std::string ChatLogFileName() { return FileNameFor(platform::GetLocalTime()); }

void LogChat(const char* name, const char* text) {
    platform::LocalTime t = platform::GetLocalTime();
    char stamp[96];
    snprintf(stamp, sizeof stamp, "[%d/%d/%d %d:%d:%d] ", t.month, t.day, t.year, t.hour, t.minute, t.second);
    std::string line = stamp;
    line += name;
    line += ": ";
    line += text;
    line += "\r\n";
    std::lock_guard<std::mutex> lock(g_LogLock);
    platform::MakeDirectory("chat_logs");
    platform::AppendToFile(FileNameFor(t), line); // a lost entry is not reported
}

void LogChat(const std::string& name, const std::string& text) { LogChat(name.c_str(), text.c_str()); }
