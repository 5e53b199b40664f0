#include <gtest/gtest.h>

#include <vector>

#include "net/Packet.h"

namespace {

std::vector<uint8_t> Bytes(const Packet& p) { return p.m_Data; }

TEST(PacketWriting, FreshPacketIsEmptyWithDefaultResendRate) {
    Packet p;
    EXPECT_EQ(p.Length(), 0u);
    EXPECT_EQ(p.Remaining(), 0u);
    EXPECT_FLOAT_EQ(p.m_fResendRate, 2.0f);
    EXPECT_GE(p.Capacity(), 512u);
}

TEST(PacketWriting, NumbersAreLittleEndian) {
    Packet p;
    p.AppendU16(0x1234);
    p.AppendU32(1);
    p.AppendFloat(1.0f);
    p.AppendI16(-2);
    p.AppendI32(-1);
    p.AppendByte(0xAB);
    p.AppendBool(true);
    p.AppendBool(false);
    EXPECT_EQ(Bytes(p), (std::vector<uint8_t>{0x34, 0x12, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x80, 0x3F, 0xFE,
                                              0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xAB, 0x01, 0x00}));
}

TEST(PacketWriting, StringsCarryAU32CountAndNoTerminator) {
    Packet p;
    p.AppendString("");
    p.AppendString("Hi");
    p.AppendString(std::string("a\0b", 3));
    EXPECT_EQ(Bytes(p), (std::vector<uint8_t>{0, 0, 0, 0, 2, 0, 0, 0, 'H', 'i', 3, 0, 0, 0, 'a', 0, 'b'}));
}

TEST(PacketWriting, RawBytesAreCopiedWithoutCount) {
    Packet p;
    const uint8_t raw[] = {9, 8, 7};
    p.AppendBytes(raw, 3);
    EXPECT_EQ(Bytes(p), (std::vector<uint8_t>{9, 8, 7}));
}

TEST(PacketReading, FieldsComeBackInOrder) {
    Packet p;
    p.m_Data = {0x34, 0x12, 0xFE, 0xFF, 0x78, 0x56, 0x34, 0x12, 0x00, 0x00, 0xC0, 0x3F, 0x05, 0x02, 0, 0, 0, 'o', 'k'};
    uint16_t u16 = 0;
    int16_t i16 = 0;
    uint32_t u32 = 0;
    float f = 0;
    uint8_t b = 0;
    std::string s;
    p.ReadU16(u16);
    p.ReadI16(i16);
    p.ReadU32(u32);
    p.ReadFloat(f);
    p.ReadByte(b);
    p.ReadString(s);
    EXPECT_EQ(u16, 0x1234);
    EXPECT_EQ(i16, -2);
    EXPECT_EQ(u32, 0x12345678u);
    EXPECT_EQ(f, 1.5f);
    EXPECT_EQ(b, 5);
    EXPECT_EQ(s, "ok");
    EXPECT_EQ(p.Remaining(), 0u);
}

TEST(PacketReading, ShortNumberReadCopiesWhatRemainsIntoLowBytes) {
    Packet p;
    p.m_Data = {0x11, 0x22, 0x33};
    uint32_t v = 0xAABBCCDD;
    p.ReadU32(v);
    EXPECT_EQ(v, 0xAA332211u);
    EXPECT_EQ(p.Remaining(), 0u);
    EXPECT_EQ(p.m_uiReadPos, 3u);
    uint16_t untouched = 0x7777;
    p.ReadU16(untouched);
    EXPECT_EQ(untouched, 0x7777);
    EXPECT_EQ(p.m_uiReadPos, 3u);
}

TEST(PacketReading, EmptyStringAdvancesByItsCountOnly) {
    Packet p;
    p.m_Data = {0, 0, 0, 0, 0x42};
    std::string s = "old";
    p.ReadString(s);
    EXPECT_EQ(s, "");
    EXPECT_EQ(p.m_uiReadPos, 4u);
}

TEST(PacketReading, StringCountBeyondTheBodyIsClampedToTheBody) {
    Packet p;
    p.m_Data = {0xFF, 0xFF, 0xFF, 0xFF, 'a', 'b', 'c'};
    std::string s;
    p.ReadString(s);
    EXPECT_EQ(s, "abc");
    EXPECT_EQ(p.m_uiReadPos, 7u);
    EXPECT_EQ(p.Remaining(), 0u);
}

TEST(PacketReading, StringWithTruncatedCountReadsNothingPastTheEnd) {
    Packet p;
    p.m_Data = {0x02, 0x00};
    std::string s = "x";
    p.ReadString(s);
    EXPECT_EQ(s, "");
    EXPECT_EQ(p.m_uiReadPos, 2u);
}

TEST(PacketReading, SkipStopsAtTheEnd) {
    Packet p;
    p.m_Data = {1, 2, 3};
    p.Skip(2);
    EXPECT_EQ(p.Remaining(), 1u);
    p.Skip(100);
    EXPECT_EQ(p.m_uiReadPos, 3u);
}

} // namespace
