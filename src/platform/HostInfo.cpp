#include "platform/HostInfo.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <netinet/in.h>
#include <unistd.h>

namespace platform {

std::string GetHostName() {
    char name[34] = {};
    if (gethostname(name, 33) != 0) return std::string();
    name[33] = '\0';
    return std::string(name);
}

std::vector<std::array<uint8_t, 4>> GetIPv4Addresses() {
    std::vector<std::array<uint8_t, 4>> result;
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) return result;
    for (ifaddrs* a = list; a; a = a->ifa_next) {
        if (!a->ifa_addr || a->ifa_addr->sa_family != AF_INET) continue;
        uint32_t address = ntohl(reinterpret_cast<sockaddr_in*>(a->ifa_addr)->sin_addr.s_addr);
        result.push_back({uint8_t(address >> 24), uint8_t(address >> 16), uint8_t(address >> 8), uint8_t(address)});
    }
    freeifaddrs(list);
    return result;
}

} // namespace platform
