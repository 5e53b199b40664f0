// lossy_relay SERVER_PORT DROP DUPLICATE REORDER [SEED]: relays one client on loopback to the
// server's port, dropping, duplicating and reordering datagrams at the given rates (0 to 1).
// Prints the port the client should use, then the counts every 5 s until interrupted.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "lossy_relay/LossyRelay.h"

namespace {
volatile std::sig_atomic_t g_bStop = 0;
}

int main(int argc, char** argv) {
    if (argc < 5) {
        std::fprintf(stderr, "usage: lossy_relay SERVER_PORT DROP DUPLICATE REORDER [SEED]\n");
        return 2;
    }
    LossyRelay::Rates rates{std::atof(argv[2]), std::atof(argv[3]), std::atof(argv[4])};
    LossyRelay relay(uint16_t(std::atoi(argv[1])), rates, argc > 5 ? uint32_t(std::atoi(argv[5])) : 1u);
    if (!relay.Ok()) {
        std::fprintf(stderr, "lossy_relay: could not open the sockets\n");
        return 1;
    }
    std::signal(SIGINT, [](int) { g_bStop = 1; });
    std::signal(SIGTERM, [](int) { g_bStop = 1; });
    std::printf("client port %u\n", relay.ClientPort());
    std::fflush(stdout);
    for (int tick = 1; !g_bStop; ++tick) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        if (tick % 50) continue;
        const LossyRelay::Counts c = relay.Stats();
        std::printf("forwarded %llu dropped %llu duplicated %llu reordered %llu\n", (unsigned long long)c.forwarded,
                    (unsigned long long)c.dropped, (unsigned long long)c.duplicated, (unsigned long long)c.reordered);
        std::fflush(stdout);
    }
    return 0;
}
