// A fresh folder under /tmp, removed with everything in it when the object goes.
#pragma once
#include <string>

class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& Path() const { return m_Path; }
    std::string File(const std::string& name) const { return m_Path + "/" + name; }
    void Write(const std::string& name, const std::string& contents) const;
    std::string Read(const std::string& name) const;
    bool Exists(const std::string& name) const;

private:
    std::string m_Path;
};

// A UDP port on the loopback interface that nothing is bound to right now.
int FreeUdpPort();
