#include "support/TempDir.h"

#include <arpa/inet.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <netinet/in.h>
#include <sstream>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

TempDir::TempDir() {
    char pattern[] = "/tmp/quorvane-test-XXXXXX";
    if (!mkdtemp(pattern)) throw std::runtime_error("mkdtemp failed");
    m_Path = pattern;
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(m_Path, ignored);
}

void TempDir::Write(const std::string& name, const std::string& contents) const {
    std::ofstream out(File(name), std::ios::binary);
    out << contents;
}

std::string TempDir::Read(const std::string& name) const {
    std::ifstream in(File(name), std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

bool TempDir::Exists(const std::string& name) const { return std::filesystem::exists(File(name)); }

int FreeUdpPort() {
    int s = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    a.sin_port = 0;
    bind(s, reinterpret_cast<sockaddr*>(&a), sizeof a);
    socklen_t length = sizeof a;
    getsockname(s, reinterpret_cast<sockaddr*>(&a), &length);
    close(s);
    return ntohs(a.sin_port);
}
