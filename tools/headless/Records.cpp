#include "headless/Records.h"

namespace headless {

std::vector<uint8_t> QueryExtensionRecord(std::string_view name) {
    std::vector<uint8_t> r{12};
    const uint32_t n = uint32_t(name.size());
    for (int i = 0; i < 4; ++i) r.push_back(uint8_t(n >> (8 * i)));
    r.insert(r.end(), name.begin(), name.end());
    return r;
}

std::vector<uint8_t> MovementSequenceRecord(uint8_t value) { return {29, value}; }

bool ParseExtensionAnswer(const std::vector<uint8_t>& body, std::string* name, uint8_t* value) {
    if (body.size() < 6 || body[0] != 76) return false;
    const uint32_t n = uint32_t(body[1]) | uint32_t(body[2]) << 8 | uint32_t(body[3]) << 16 | uint32_t(body[4]) << 24;
    if (body.size() != size_t(n) + 6) return false;
    name->assign(body.begin() + 5, body.begin() + 5 + n);
    *value = body.back();
    return true;
}

} // namespace headless
