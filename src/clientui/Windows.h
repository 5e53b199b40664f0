// The window messages the server draws on the client: open (or replace) a text window, close
// it, set its highlight. Coordinates are in the client's 640 x 480 screen space.
#pragma once
#include <array>
#include <cstdint>
#include <string_view>

#include "net/Packet.h"

namespace windows {

enum : uint8_t {
    kMsgOpen = 0x65,
    kMsgClose = 0x66,
    kMsgHighlight = 0x67,
};

// Window messages (and the texture offers) are resent twice as often as the default.
inline constexpr float kResendRate = 0.5f;

struct Layout {
    uint8_t m_ucId;
    uint16_t m_usLeft, m_usTop, m_usWidth, m_usHeight;
    std::array<uint32_t, 4> m_uiColours;
    uint8_t m_ucStyle;
};

inline void AppendOpen(Packet& p, const Layout& w, std::string_view text) {
    p.AppendByte(kMsgOpen);
    p.AppendByte(w.m_ucId);
    p.AppendU16(w.m_usLeft);
    p.AppendU16(w.m_usTop);
    p.AppendU16(w.m_usWidth);
    p.AppendU16(w.m_usHeight);
    for (uint32_t colour : w.m_uiColours) p.AppendU32(colour);
    p.AppendByte(w.m_ucStyle);
    p.AppendString(text);
}

inline void AppendClose(Packet& p, uint8_t id) {
    p.AppendByte(kMsgClose);
    p.AppendByte(id);
}

inline void AppendHighlight(Packet& p, uint8_t id, uint32_t colour) {
    p.AppendByte(kMsgHighlight);
    p.AppendByte(id);
    p.AppendU32(colour);
}

} // namespace windows
