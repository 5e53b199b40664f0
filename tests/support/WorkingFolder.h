// Runs a test inside a fresh folder, so that the log lines and backing files it causes land
// there and can be read back.
#pragma once
#include <filesystem>
#include <string>

#include "base/LogChat.h"
#include "support/TempDir.h"

class WorkingFolder {
public:
    WorkingFolder() : m_Previous(std::filesystem::current_path()) { std::filesystem::current_path(m_Dir.Path()); }
    ~WorkingFolder() {
        std::error_code ignored; // nothing sensible is left to do if the old folder has gone
        std::filesystem::current_path(m_Previous, ignored);
    }
    WorkingFolder(const WorkingFolder&) = delete;
    WorkingFolder& operator=(const WorkingFolder&) = delete;

    // Today's log, or "" when nothing was logged.
    std::string Log() const { return m_Dir.Read(ChatLogFileName()); }
    int CountInLog(const std::string& text) const {
        std::string log = Log();
        int n = 0;
        for (size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + 1)) ++n;
        return n;
    }
    bool Exists(const std::string& name) const { return m_Dir.Exists(name); }
    const TempDir& Dir() const { return m_Dir; }

private:
    TempDir m_Dir;
    std::filesystem::path m_Previous;
};
