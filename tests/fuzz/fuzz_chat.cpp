// One chat line from a logged-in master admin, through the command interpreter: every command
// with every kind of argument.
#include <cstddef>
#include <cstdint>
#include <string>

#include "FuzzServer.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzServer& fuzz = FuzzServer::Instance();
    std::vector<uint8_t> message{8};
    records::PutString(message, std::string(reinterpret_cast<const char*>(data), size));
    fuzz.Player().Send(0, message);
    fuzz.Pass();
    return 0;
}
