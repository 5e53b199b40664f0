// One world file through the loader, in process: it gives a verdict, never falls over, and what
// it loaded leaves with the server.
#include <cstddef>
#include <cstdint>

#include "core/Server.h"
#include "net/Packet.h"
#include "support/FakeClock.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static FakeClock clock;
    Server server;
    Packet packet;
    packet.AppendBytes(data, size);
    server.LoadRoutineV5(&packet);
    return 0;
}
