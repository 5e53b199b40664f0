// A strict reading of a save file, record by record, for the operator's tool: every field of
// every record decoded with its byte offset, and the first fault named where it starts. The
// server's own reader forgives short files (missing bytes read as zero); this one says where
// the file went wrong.
#pragma once
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace krv {

struct Field {
    std::string m_strName;
    std::string m_strText; // the value as the dump shows it
};

enum class RecordForm : uint8_t {
    Raw,        // command byte and payload
    Named,      // byte 24, name, payload length, payload
    SkipMarker, // byte 23 and a length for the next record
    Unknown,    // a named record of a name the server does not know, or a skippable raw one
};

struct Record {
    uint32_t m_uiOffset = 0; // of the record's first byte
    uint8_t m_ucCode = 0;    // 0 for an unknown record
    std::string m_strName;
    RecordForm m_Form = RecordForm::Raw;
    std::vector<uint8_t> m_Payload;
    std::vector<uint8_t> m_Bytes; // the whole record as it stands in the file
    std::vector<Field> m_Fields;
    uint8_t m_ucEntityKind = 0; // KRV_FILE_ADD_ENTITY only
    bool m_bAboutEntity = true; // false for the server's settings and the powerup table
};

struct Fault {
    uint32_t m_uiOffset = 0;
    std::string m_strWhat;
};

struct File {
    uint8_t m_ucVersion = 0;
    std::vector<Record> m_Records;
    bool m_bFault = false;
    Fault m_Fault;
};

// Reads records until the end or the first fault (kept in the result with the records before
// it).
File Parse(const std::vector<uint8_t>& bytes);

// The same records in compact form (known named records as their raw form, a repeated label as
// the one-byte repeat, the compact-mode setting on) or in normal form (the reverse). Needs a
// file without fault.
std::vector<uint8_t> Reencode(const File& file, bool compact);

std::string Dump(const File& file);

struct Stats {
    std::map<std::string, uint64_t> m_EntitiesByKind;
    uint64_t m_uiPlayers = 0;
    uint64_t m_uiPocketCoins = 0; // players' own coins
    uint64_t m_uiStoredCoins = 0; // coins stored in property
};
Stats ComputeStats(const File& file);

// "normal_pad" for 4 and so on; "kind_<n>" for a kind the world does not have.
std::string KindName(uint8_t kind);

} // namespace krv
