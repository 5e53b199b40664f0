#include <gtest/gtest.h>

#include "net/Packet.h"

using Bytes = std::vector<uint8_t>;

TEST(Packet, FieldsAreWrittenLittleEndianAndStringsCarryAU32Count) {
    Packet p;
    EXPECT_EQ(p.m_fResendRate, 2.0f); // the transport resends twice a second unless told otherwise
    p.AppendU16(0x1234);
    p.AppendU32(1);
    p.AppendFloat(1.0f);
    p.AppendI16(-2);
    p.AppendI32(-1);
    p.AppendByte(0xAB);
    p.AppendBool(true);
    p.AppendBool(false);
    p.AppendString("");
    p.AppendString(std::string("a\0b", 3));
    const uint8_t raw[] = {9, 8, 7};
    p.AppendBytes(raw, 3);
    EXPECT_EQ(p.m_Data, (Bytes{0x34, 0x12, 1, 0, 0, 0, 0x00, 0x00, 0x80, 0x3F, 0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xAB,
                               1,    0,    0, 0, 0, 0, 3,    0,    0,    0,    'a',  0,    'b',  9,    8,    7}));
}

TEST(Packet, FieldsAreReadBackInOrder) {
    Packet p;
    p.m_Data = {0x34, 0x12, 0xFE, 0xFF, 0x78, 0x56, 0x34, 0x12, 0x00, 0x00, 0xC0, 0x3F,
                0x05, 0,    0,    0,    0,    2,    0,    0,    0,    'o',  'k'};
    uint16_t u16 = 0;
    int16_t i16 = 0;
    uint32_t u32 = 0;
    float f = 0;
    uint8_t b = 0;
    std::string empty = "old", s;
    p.ReadU16(u16);
    p.ReadI16(i16);
    p.ReadU32(u32);
    p.ReadFloat(f);
    p.ReadByte(b);
    p.ReadString(empty);
    p.ReadString(s);
    EXPECT_EQ(std::tuple(u16, i16, u32, f, b, empty, s, p.Remaining()),
              std::tuple(0x1234, -2, 0x12345678u, 1.5f, 5, "", "ok", 0u));
}

// Bodies come from the network: no read may go past the end, whatever the counts say.
TEST(Packet, ReadsStopAtTheEndOfTheBody) {
    Packet p;
    p.m_Data = {0x00, 0x11, 0x22, 0x33};
    p.Skip(1);
    uint32_t v = 0xAABBCCDD;
    p.ReadU32(v);
    uint16_t untouched = 0x7777;
    p.ReadU16(untouched);
    // What remains goes into the low bytes; nothing is left for the second read.
    EXPECT_EQ(std::pair(v, untouched), std::pair(0xAA332211u, uint16_t(0x7777)));
    p.m_uiReadPos = 2;
    p.Skip(100);
    EXPECT_EQ(p.m_uiReadPos, 4u);
    // A string count beyond the body, and a count cut short.
    for (auto [body, text, readPos] :
         {std::tuple<Bytes, std::string, uint32_t>{{0xFF, 0xFF, 0xFF, 0xFF, 'a', 'b', 'c'}, "abc", 7},
          {{0x02, 0x00}, "", 2}}) {
        Packet q;
        q.m_Data = body;
        std::string s = "x";
        q.ReadString(s);
        EXPECT_EQ(std::pair(s, q.m_uiReadPos), std::pair(text, readPos));
    }
}
