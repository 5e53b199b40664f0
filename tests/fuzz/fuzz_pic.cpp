// One incoming message from a logged-in master admin: the first byte picks the channel, the rest
// is the message. The server must answer or ignore it, never fall over.
#include <cstddef>
#include <cstdint>

#include "FuzzServer.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    FuzzServer& fuzz = FuzzServer::Instance();
    fuzz.Player().Send(data[0] % kChannelCount, std::vector<uint8_t>(data + 1, data + size));
    fuzz.Pass();
    return 0;
}
