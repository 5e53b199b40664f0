// Runs a test inside a fresh folder, so that the log lines and backing files it causes land
// there and can be read back.
#pragma once
#include <string>
#include <unistd.h>

#include "base/LogChat.h"
#include "support/TempDir.h"

class WorkingFolder {
public:
    WorkingFolder() {
        char buffer[4096];
        if (getcwd(buffer, sizeof buffer)) m_strPrevious = buffer;
        if (chdir(m_Dir.Path().c_str()) != 0) m_strPrevious.clear();
    }
    ~WorkingFolder() {
        // Nothing sensible is left to do if the old folder has gone.
        if (!m_strPrevious.empty() && chdir(m_strPrevious.c_str()) != 0) m_strPrevious.clear();
    }
    WorkingFolder(const WorkingFolder&) = delete;
    WorkingFolder& operator=(const WorkingFolder&) = delete;

    // Today's log, or "" when nothing was logged.
    std::string Log() const { return m_Dir.Exists(ChatLogFileName()) ? m_Dir.Read(ChatLogFileName()) : ""; }
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
    std::string m_strPrevious;
};
