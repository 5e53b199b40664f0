// A fresh folder under /tmp, removed with everything in it when the object goes.
#pragma once
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

class TempDir {
public:
    TempDir() {
        char pattern[] = "/tmp/quorvane-test-XXXXXX";
        if (!mkdtemp(pattern)) throw std::runtime_error("mkdtemp failed");
        m_Path = pattern;
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(m_Path, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& Path() const { return m_Path; }
    std::string File(const std::string& name) const { return m_Path + "/" + name; }
    void Write(const std::string& name, const std::string& contents) const {
        std::ofstream(File(name), std::ios::binary) << contents;
    }
    // The whole file; "" when there is none.
    std::string Read(const std::string& name) const {
        std::ostringstream s;
        s << std::ifstream(File(name), std::ios::binary).rdbuf();
        return s.str();
    }
    bool Exists(const std::string& name) const { return std::filesystem::exists(File(name)); }

private:
    std::string m_Path;
};

// A UDP port on the loopback interface that nothing is bound to right now.
int FreeUdpPort();
// The same for TCP.
int FreeTcpPort();
