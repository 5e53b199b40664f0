// The day's log: "chat_logs/vuk_chat_<month>_<day>_<year>.log", one "[m/d/y h:m:s] name: text"
// line per entry. Chat lines and every notable server event go here.
#pragma once
#include <string>

void LogChat(const char* name, const char* text);
void LogChat(const std::string& name, const std::string& text);

// The file name of the log for today's local date.
std::string ChatLogFileName();
