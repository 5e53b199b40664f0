// The strict reading of save files: faults named at their byte, conversion between the normal
// and the compact form, and the dump's lines.
#include <gtest/gtest.h>

#include "krvtool/KrvFile.h"
#include "support/ClientRecords.h"

using records::Bytes;
using records::Named;
using records::Record;

namespace {

// A Zorbin cube (kind 10, no tail) at the origin, size 1, texture 9.
Bytes ZorbinCube() { return records::SavedEntity(10, {0, 0, 0, 1, 1, 1, 0, 1, 1, 1}, 9, 0); }

Bytes File(std::initializer_list<Bytes> records) {
    Bytes b{11};
    for (const Bytes& r : records) b.insert(b.end(), r.begin(), r.end());
    return b;
}

TEST(KrvFile, FirstFaultIsNamedAtItsByte) {
    Bytes cube = ZorbinCube();
    Bytes shortString = Record(14, {"abc"});
    shortString.pop_back();
    Bytes badKind = ZorbinCube();
    badKind[1] = 6;
    struct Case {
        Bytes file;
        uint32_t offset;
        std::string what;
    } cases[] = {
        {{}, 0, "empty file: no version byte"},
        {{12}, 0, "version 12 is not one the server reads (5 to 11)"},
        {File({{64}}), 1, "unknown command byte 64 (0x40)"},
        {File({cube, shortString}), 52, "KRV_NP_LABEL: label of 3 bytes runs past the end (2 left)"},
        {File({badKind}), 2, "KRV_FILE_ADD_ENTITY: entity kind 6 cannot be loaded"},
        {File({{51, 1, 0}}), 2, "KRV_STORED_COINS: coins needs 4 bytes, 2 left"},
        {File({Named("KRV_STORED_COINS", {1, 0, 0, 0, 0})}), 1,
         "KRV_STORED_COINS: payload of 5 bytes, its fields take 4"},
    };
    for (const Case& c : cases) {
        krv::File f = krv::Parse(c.file);
        ASSERT_TRUE(f.m_bFault) << c.what;
        EXPECT_EQ(std::pair(f.m_Fault.m_uiOffset, f.m_Fault.m_strWhat), std::pair(c.offset, c.what));
    }
}

TEST(KrvFile, UnknownNamesAndSkippableRecordsAreKept) {
    Bytes file = File({Named("QVS_FUTURE_THING", {1, 2, 3}), {23, 2, 0, 0, 0, 99, 7, 7}, {51, 5, 0, 0, 0}});
    krv::File f = krv::Parse(file);
    ASSERT_FALSE(f.m_bFault) << f.m_Fault.m_strWhat;
    ASSERT_EQ(f.m_Records.size(), 4u);
    EXPECT_TRUE(f.m_Records[0].m_Form == krv::RecordForm::Unknown && f.m_Records[2].m_Form == krv::RecordForm::Unknown);
    EXPECT_EQ(krv::Reencode(f, true), file);
    EXPECT_EQ(krv::Reencode(f, false), File({Named("QVS_FUTURE_THING", {1, 2, 3}),
                                             {23, 2, 0, 0, 0, 99, 7, 7},
                                             Named("KRV_STORED_COINS", {5, 0, 0, 0})}));
}

// Two Zorbin cubes of one owner: compact form writes the second label as the one-byte repeat,
// named records as their code and the mode setting on; normal form undoes all three.
TEST(KrvFile, CompactAndNormalFormsConvertBothWays) {
    Bytes normal = File({ZorbinCube(), Record(12, {"ann"}), Named("KRV_STORED_COINS", {0x10, 0x27, 0, 0}), ZorbinCube(),
                         Record(12, {"ann"}), Named("KRV_COMPACT_SAVE_MODE", {0})});
    Bytes compact = File({ZorbinCube(), Record(12, {"ann"}), {51, 0x10, 0x27, 0, 0}, ZorbinCube(), {62}, {59, 1}});
    krv::File n = krv::Parse(normal);
    ASSERT_FALSE(n.m_bFault) << n.m_Fault.m_strWhat;
    EXPECT_EQ(krv::Reencode(n, true), compact);
    krv::File c = krv::Parse(compact);
    ASSERT_FALSE(c.m_bFault) << c.m_Fault.m_strWhat;
    EXPECT_EQ(krv::Reencode(c, false), normal);

    krv::Stats s = krv::ComputeStats(c);
    EXPECT_EQ(s.m_EntitiesByKind["zorbin_cube"], 2u);
    EXPECT_EQ(s.m_uiStoredCoins, 10000u);
}

TEST(KrvFile, DumpGroupsRecordsUnderTheirEntity) {
    Bytes file = File({ZorbinCube(), Record(12, {"a\"b"}), Named("KRV_ZORBIN_SHRINK_PER_HIT", {0, 0, 0x80, 0x3f})});
    EXPECT_EQ(krv::Dump(krv::Parse(file)),
              "version 11\n"
              "@1         entity 1 zorbin_cube\n"
              "@1           raw 1 KRV_FILE_ADD_ENTITY kind=10(zorbin_cube) position=(0,0,0) size=(1,1,1) yaw=0 "
              "texture_scale=(1,1,1) texture=9 texture_mode=0\n"
              "@51          raw 12 KRV_ZORBINCUBE_OWNER_NAME label=\"a\\\"b\"\n"
              "@59        named 54 KRV_ZORBIN_SHRINK_PER_HIT value=1\n");
}

} // namespace

// Any bytes: every cut of a valid file and every single-byte change of it reads to a verdict.
TEST(KrvFile, AnyBytesReadToAVerdict) {
    Bytes file = File({ZorbinCube(),
                       Record(12, {"ann"}),
                       Named("KRV_STORED_COINS", {1, 0, 0, 0}),
                       {255, 1, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0},
                       Named("KRV_ENTITY_SPLINELIFTINFO", {1, 2})});
    for (size_t cut = 0; cut <= file.size(); ++cut) {
        Bytes b(file.begin(), file.begin() + long(cut));
        krv::File f = krv::Parse(b);
        krv::Dump(f);
        if (!f.m_bFault) krv::Reencode(f, true);
        for (size_t i = 0; i < b.size(); ++i) {
            Bytes changed = b;
            changed[i] ^= 0xff;
            krv::File g = krv::Parse(changed);
            krv::Dump(g);
            krv::ComputeStats(g);
        }
    }
}
