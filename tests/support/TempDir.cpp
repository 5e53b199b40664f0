#include "support/TempDir.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

int FreePort(int type) {
    int s = socket(AF_INET, type, 0);
    sockaddr_in a{.sin_family = AF_INET, .sin_port = 0, .sin_addr = {htonl(INADDR_LOOPBACK)}, .sin_zero = {}};
    bind(s, reinterpret_cast<sockaddr*>(&a), sizeof a);
    socklen_t length = sizeof a;
    getsockname(s, reinterpret_cast<sockaddr*>(&a), &length);
    close(s);
    return ntohs(a.sin_port);
}

} // namespace

int FreeUdpPort() { return FreePort(SOCK_DGRAM); }
int FreeTcpPort() { return FreePort(SOCK_STREAM); }
