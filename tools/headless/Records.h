// The few game records the tools speak, written out byte by byte: enough to get an answer from
// a server without logging in.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace headless {

// Record 12: does the server know this extension? (12, u32 length, name)
std::vector<uint8_t> QueryExtensionRecord(std::string_view name);
// Record 29: the movement sequence echo (29, u8). The server only stores it: cheap load.
std::vector<uint8_t> MovementSequenceRecord(uint8_t value);

// Record 76, the answer to a query: 76, u32 length, name, u8 value. False when the body is
// not exactly one such record.
bool ParseExtensionAnswer(const std::vector<uint8_t>& body, std::string* name, uint8_t* value);

} // namespace headless
