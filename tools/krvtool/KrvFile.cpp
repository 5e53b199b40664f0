#include "krvtool/KrvFile.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "base/Settings.h"
#include "net/Packet.h"
#include "persist/Server_File.h"
#include "world/Entity.h"

namespace krv {
namespace {

// Field letters: b u8, u u32, f f32, v vector, s string, T the ten effect slots, V as many
// vectors as the u32 before it, K an entity's kind, common fields and kind tail.
struct Layout {
    uint8_t m_ucCode;
    bool m_bNamedInNormalForm; // how the server's writers emit it outside compact mode
    bool m_bAboutEntity;
    const char* m_szFields; // "letter:name" separated by blanks
};

constexpr Layout kLayouts[] = {
    {KRV_FILE_ADD_ENTITY, false, true, "K:entity"},
    {KRV_LAST_ENTITY_RESTRICTED, false, true, ""},
    {KRV_NORMALPAD_EXTENSION_ONE, false, true, "b:flags1 b:flags2 s:goal_message u:landing_reward v:goal_respawn"},
    {KRV_NORMALPAD_EXTENSION_TWO, false, true, "u:goal_coin_reward"},
    {KRV_PLAYER_FB_STRENGTH, false, true, "u:ignored"},
    {KRV_NORMALPAD_TEXTURE_68, false, true, "u:texture"},
    {KRV_TEMP_POWERUP_TABLE_ADD, false, false, "v:spawn_point u:powerup"},
    {KRV_PLAYER_TEMP_EFFECTS, false, true, "T:effects"},
    {KRV_EXTRA_ROTATION, false, true, "f:pitch f:roll"},
    {KRV_BOUNCY_PAD, false, true, "u:amount"},
    {KRV_PLAYER_CREATED_BLOCK, false, true, "b:player_built u:ignored"},
    {KRV_ZORBINCUBE_OWNER_NAME, false, true, "s:label"},
    {KRV_OFFPLAYER_COINS, false, true, "u:property_value"},
    {KRV_NP_LABEL, false, true, "s:label"},
    {KRV_ADMIN_LEVEL, false, true, "u:admin_level"},
    {KRV_NP_NETWORTH, false, true, "u:ignored"},
    {KRV_ZC_NETWORTH, false, true, "u:ignored"},
    {KRV_POP_PRINCESS_SKIP, true, false, "u:value"},
    {KRV_IRS_BUILD_ENABLE, true, false, "b:value"},
    {KRV_ADMIN_PERMIT_COIN_CHANGING, false, true, "b:permitted"},
    {KRV_UDP_SEND_BUFFER_LIMIT_CODE, true, false, "u:value"},
    {KRV_TICKS_SINCE_LAST_LOGIN, true, true, "u:ticks"},
    {KRV_PLAYER_TEAMNAME, true, true, "s:team"},
    {KRV_ENTITY_LIFTINFO, true, true, "b:running v:start v:end f:speed"},
    {KRV_TOTAL_SERVER_RATE_LIMIT, true, false, "u:value"},
    {KRV_STONEBLOCK_BONUS, false, true, "u:ignored"},
    {KRV_IGNORE_LIST_ENTRY, true, true, "s:name"},
    {KRV_PALACECUBE_HP, true, true, "u:hit_points"},
    {KRV_TAGPAD_AMOUNT, true, true, "u:coins_per_second"},
    {KRV_ALPHA_BLEND_FACTOR, true, true, "b:alpha"},
    {KRV_TAGPAD_LOCK_TIME, true, true, "u:lock_left"},
    {KRV_SET_QUILLHOB_TEXTURE, true, false, "u:value"},
    {KRV_STORED_COINS, true, true, "u:coins"},
    {KRV_REWARD_HITTING_QUILLHOB, true, false, "u:value"},
    {KRV_TAGPAD_STARTING_LOCK_TIME, true, true, "u:lock_time"},
    {KRV_ZORBIN_SHRINK_PER_HIT, true, false, "f:value"},
    {KRV_STONEBLOCK_SHRINK_PER_HIT, true, false, "f:value"},
    {KRV_ZORBIN_COINS_STOLEN_PER_HIT, true, false, "u:value"},
    {KRV_PROPERTY_MOVING_GROUPS, true, false, "u:value"},
    {KRV_MAX_PROPERTY_MOVE_PER_TICK, true, false, "u:value"},
    {KRV_COMPACT_SAVE_MODE, true, false, "b:value"},
    {KRV_WAS_MOVING_AT_SAVE_TIME, true, true, "b:moving"},
    {KRV_BUILDINGBLOCK_SHRINK_PER_HIT, true, false, "f:value"},
    {KRV_NP_LABEL_SAME_AS_LAST, false, true, ""},
    {KRV_BOOL_IMPROVED_CTS_RESPONSE, true, false, "b:value"},
    {QVS_SOLEXIS, true, true, "u:solexis"},
    {QVS_ENTITY_JAIL_DISALLOW, true, true, "b:on"},
    {QVS_ENTITY_JAIL_RELEASE, true, true, "b:on"},
    {KRV_ENTITY_SPLINELIFTINFO, true, true, "b:running f:speed f:parameter u:count V:points"},
};

constexpr const char* kEntityHead = "v:position v:size f:yaw v:texture_scale u:texture u:texture_mode";

struct KindRow {
    uint8_t m_ucKind;
    const char* m_szName;
    const char* m_szTail;
};
constexpr KindRow kKinds[] = {
    {kKindPlayer, "player",
     "s:name s:password u:energy b:unused b:keep_message b:saved_flag s:message u:pocket_coins v:start v:respawn"},
    {kKindNormalPad, "normal_pad", "b:pyramid b:princess_reward b:texture_15 b:unused u:landing_reward"},
    {kKindFireBlock, "fire_block", nullptr}, // never loadable
    {kKindTalvyCube, "talvy_cube", "v:home"},
    {kKindOrisetCube, "oriset_cube", "f:hover_height v:home"},
    {kKindZorbinCube, "zorbin_cube", ""},
    {kKindPalaceCube, "palace_cube", ""},
    {kKindQuillhobCube, "quillhob_cube", ""},
};

const Layout* LayoutOf(uint8_t code) {
    for (const Layout& l : kLayouts)
        if (l.m_ucCode == code) return &l;
    return nullptr;
}

const KindRow* KindOf(uint8_t kind) {
    for (const KindRow& k : kKinds)
        if (k.m_ucKind == kind) return &k;
    return nullptr;
}

const char* NameOf(uint8_t code) {
    for (const KRVCommandName* row = g_KRVCommandNames; row->m_szName; ++row)
        if (row->m_ucCode == code) return row->m_szName;
    return nullptr;
}

uint8_t CodeOf(std::string_view name) {
    // The server takes names of four characters or fewer for unknown.
    if (name.size() <= 4) return 0;
    for (const KRVCommandName* row = g_KRVCommandNames; row->m_szName; ++row)
        if (name == row->m_szName) return row->m_ucCode;
    return 0;
}

std::string Quoted(std::string_view text) {
    std::string out = "\"";
    for (unsigned char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += char(c);
        } else if (c < 0x20 || c >= 0x7f) {
            char hex[8];
            snprintf(hex, sizeof hex, "\\x%02x", c);
            out += hex;
        } else {
            out += char(c);
        }
    }
    out += '"';
    return out;
}

std::string Number(const char* format, double v) {
    char text[64];
    snprintf(text, sizeof text, format, v);
    return text;
}

// Reads fields within [m_uiPos, m_uiEnd) of the file's bytes; the first short or bad field
// becomes the fault.
class FieldReader {
public:
    FieldReader(const std::vector<uint8_t>& bytes, uint32_t pos, uint32_t end)
        : m_uiPos(pos), m_uiEnd(end), m_Bytes(bytes) {}

    bool Fields(const char* layout, Record& r) {
        std::string_view rest(layout);
        while (!rest.empty()) {
            size_t blank = rest.find(' ');
            std::string_view item = rest.substr(0, blank);
            rest = blank == std::string_view::npos ? std::string_view() : rest.substr(blank + 1);
            if (!Field(item[0], std::string(item.substr(2)), r)) return false;
        }
        return true;
    }

    uint32_t m_uiPos;
    uint32_t m_uiEnd;
    Fault m_Fault;

private:
    bool Need(uint32_t n, const std::string& what) {
        if (m_uiEnd - m_uiPos >= n) return true;
        m_Fault = {m_uiPos,
                   what + " needs " + std::to_string(n) + " bytes, " + std::to_string(m_uiEnd - m_uiPos) + " left"};
        return false;
    }
    uint32_t U32() {
        uint32_t v;
        std::memcpy(&v, &m_Bytes[m_uiPos], 4);
        m_uiPos += 4;
        return v;
    }
    float F32() {
        float v;
        std::memcpy(&v, &m_Bytes[m_uiPos], 4);
        m_uiPos += 4;
        return v;
    }
    bool Field(char type, const std::string& name, Record& r) {
        switch (type) {
        case 'b':
            if (!Need(1, name)) return false;
            r.m_Fields.push_back({name, std::to_string(m_Bytes[m_uiPos++])});
            return true;
        case 'u':
            if (!Need(4, name)) return false;
            m_uiLastU32 = U32();
            r.m_Fields.push_back({name, std::to_string(m_uiLastU32)});
            return true;
        case 'f':
            if (!Need(4, name)) return false;
            r.m_Fields.push_back({name, Number("%.9g", F32())});
            return true;
        case 'v': {
            if (!Need(12, name)) return false;
            float x = F32(), y = F32(), z = F32();
            r.m_Fields.push_back({name, Number("(%.9g,", x) + Number("%.9g,", y) + Number("%.9g)", z)});
            return true;
        }
        case 's': {
            if (!Need(4, name + " length")) return false;
            uint32_t at = m_uiPos;
            uint32_t n = U32();
            if (m_uiEnd - m_uiPos < n) {
                m_Fault = {at, name + " of " + std::to_string(n) + " bytes runs past the end (" +
                                   std::to_string(m_uiEnd - m_uiPos) + " left)"};
                return false;
            }
            r.m_Fields.push_back({name, Quoted(std::string_view(reinterpret_cast<const char*>(&m_Bytes[m_uiPos]), n))});
            m_uiPos += n;
            return true;
        }
        case 'T':
            for (int slot = 0; slot < 10; ++slot) {
                std::string i = std::to_string(slot);
                if (!Fields(("s:effect" + i + "_name f:effect" + i + "_time u:effect" + i + "_powerup").c_str(), r))
                    return false;
            }
            return true;
        case 'V': {
            uint32_t count = m_uiLastU32;
            if (count > (m_uiEnd - m_uiPos) / 12)
                return Need(count * 12ull > UINT32_MAX ? UINT32_MAX : count * 12, name);
            for (uint32_t i = 0; i < count; ++i)
                if (!Field('v', name + "[" + std::to_string(i) + "]", r)) return false;
            return true;
        }
        case 'K': {
            if (!Need(1, "kind")) return false;
            uint32_t at = m_uiPos;
            uint8_t kind = m_Bytes[m_uiPos++];
            const KindRow* row = KindOf(kind);
            if (!row || !row->m_szTail) {
                m_Fault = {at, "entity kind " + std::to_string(kind) + " cannot be loaded"};
                return false;
            }
            r.m_ucEntityKind = kind;
            r.m_Fields.push_back({"kind", std::to_string(kind) + "(" + row->m_szName + ")"});
            return Fields(kEntityHead, r) && Fields(row->m_szTail, r);
        }
        }
        return false;
    }

    const std::vector<uint8_t>& m_Bytes;
    uint32_t m_uiLastU32 = 0;
};

void Fail(File& file, uint32_t offset, std::string what) {
    file.m_bFault = true;
    file.m_Fault = {offset, std::move(what)};
}

uint32_t ReadU32At(const std::vector<uint8_t>& bytes, uint32_t at) {
    uint32_t v;
    std::memcpy(&v, &bytes[at], 4);
    return v;
}

} // namespace

std::string KindName(uint8_t kind) {
    const KindRow* row = KindOf(kind);
    return row ? row->m_szName : "kind_" + std::to_string(kind);
}

File Parse(const std::vector<uint8_t>& bytes) {
    File file;
    if (bytes.empty()) {
        Fail(file, 0, "empty file: no version byte");
        return file;
    }
    file.m_ucVersion = bytes[0];
    if (file.m_ucVersion < 5 || file.m_ucVersion > kKRVFileVersion) {
        Fail(file, 0, "version " + std::to_string(file.m_ucVersion) + " is not one the server reads (5 to 11)");
        return file;
    }
    const uint32_t size = uint32_t(bytes.size());
    uint32_t pos = 1;
    bool maySkip = false;
    uint32_t skipLength = 0;
    while (pos < size) {
        Record r;
        r.m_uiOffset = pos;
        uint8_t code = bytes[pos++];
        uint32_t end = size;
        if (code == KRV_SKIP_MARKER) {
            if (size - pos < 4) {
                Fail(file, r.m_uiOffset, "skip marker needs 4 bytes of length");
                return file;
            }
            r.m_Form = RecordForm::SkipMarker;
            r.m_ucCode = code;
            r.m_strName = "(skip marker)";
            skipLength = ReadU32At(bytes, pos);
            r.m_Fields.push_back({"length", std::to_string(skipLength)});
            r.m_Payload.assign(bytes.begin() + pos, bytes.begin() + pos + 4);
            pos += 4;
            r.m_Bytes.assign(bytes.begin() + r.m_uiOffset, bytes.begin() + pos);
            r.m_bAboutEntity = false;
            file.m_Records.push_back(std::move(r));
            maySkip = true;
            continue;
        }
        if (code == KRV_NAMED_RECORD) {
            if (size - pos < 4 || size - pos - 4 < ReadU32At(bytes, pos)) {
                Fail(file, r.m_uiOffset, "named record's name runs past the end");
                return file;
            }
            uint32_t nameLength = ReadU32At(bytes, pos);
            r.m_strName.assign(reinterpret_cast<const char*>(&bytes[pos + 4]), nameLength);
            pos += 4 + nameLength;
            if (size - pos < 4 || size - pos - 4 < ReadU32At(bytes, pos)) {
                Fail(file, r.m_uiOffset, "payload of " + r.m_strName + " runs past the end");
                return file;
            }
            skipLength = ReadU32At(bytes, pos);
            pos += 4;
            end = pos + skipLength;
            maySkip = true;
            r.m_Form = RecordForm::Named;
            code = CodeOf(r.m_strName);
        }
        const Layout* layout = code ? LayoutOf(code) : nullptr;
        if (!layout) {
            if (!maySkip) {
                char what[64];
                snprintf(what, sizeof what, "unknown command byte %u (0x%02x)", code, code);
                Fail(file, r.m_uiOffset, what);
                return file;
            }
            if (r.m_Form == RecordForm::Raw) {
                if (size - pos < skipLength) {
                    Fail(file, r.m_uiOffset, "skipped record runs past the end");
                    return file;
                }
                end = pos + skipLength;
                r.m_strName = "(unknown " + std::to_string(code) + ")";
            }
            r.m_Form = RecordForm::Unknown;
            r.m_ucCode = 0;
            r.m_Payload.assign(bytes.begin() + pos, bytes.begin() + end);
            pos = end;
        } else {
            r.m_ucCode = code;
            r.m_bAboutEntity = layout->m_bAboutEntity;
            if (r.m_Form == RecordForm::Raw) r.m_strName = NameOf(code);
            FieldReader reader(bytes, pos, end);
            if (!reader.Fields(layout->m_szFields, r)) {
                reader.m_Fault.m_strWhat = r.m_strName + ": " + reader.m_Fault.m_strWhat;
                file.m_bFault = true;
                file.m_Fault = reader.m_Fault;
                return file;
            }
            if (r.m_Form == RecordForm::Named && reader.m_uiPos != end) {
                Fail(file, r.m_uiOffset,
                     r.m_strName + ": payload of " + std::to_string(end - pos) + " bytes, its fields take " +
                         std::to_string(reader.m_uiPos - pos));
                return file;
            }
            r.m_Payload.assign(bytes.begin() + pos, bytes.begin() + reader.m_uiPos);
            pos = reader.m_uiPos;
        }
        maySkip = false;
        r.m_Bytes.assign(bytes.begin() + r.m_uiOffset, bytes.begin() + pos);
        file.m_Records.push_back(std::move(r));
    }
    return file;
}

std::vector<uint8_t> Reencode(const File& file, bool compact) {
    Packet out;
    out.AppendByte(file.m_ucVersion);
    bool savedMode = g_bCompactSaveMode;
    g_bCompactSaveMode = false; // named records are written here in their full frame
    std::string lastLabel;
    uint8_t currentKind = 0;
    for (const Record& r : file.m_Records) {
        const Layout* layout = LayoutOf(r.m_ucCode);
        if (r.m_Form == RecordForm::SkipMarker || r.m_Form == RecordForm::Unknown || !layout) {
            // Not ours to change: the record goes out as it came.
            out.AppendBytes(r.m_Bytes.data(), r.m_Bytes.size());
            continue;
        }
        if (r.m_ucCode == KRV_FILE_ADD_ENTITY) currentKind = r.m_ucEntityKind;
        std::vector<uint8_t> payload = r.m_Payload;
        if (r.m_ucCode == KRV_COMPACT_SAVE_MODE) payload = {uint8_t(compact ? 1 : 0)};

        if (r.m_ucCode == KRV_NP_LABEL || r.m_ucCode == KRV_ZORBINCUBE_OWNER_NAME) {
            std::string text(payload.begin() + 4, payload.end());
            if (compact && text == lastLabel) {
                out.AppendByte(KRV_NP_LABEL_SAME_AS_LAST);
                continue;
            }
            lastLabel = text;
        } else if (r.m_ucCode == KRV_NP_LABEL_SAME_AS_LAST && !compact) {
            out.AppendByte(currentKind == kKindZorbinCube ? KRV_ZORBINCUBE_OWNER_NAME : KRV_NP_LABEL);
            out.AppendString(lastLabel);
            continue;
        }
        if (!compact && layout->m_bNamedInNormalForm) {
            Append_KRV_NamedRecord(&out, r.m_strName.c_str(), payload.data(), uint32_t(payload.size()));
        } else {
            out.AppendByte(r.m_ucCode);
            out.AppendBytes(payload.data(), payload.size());
        }
    }
    g_bCompactSaveMode = savedMode;
    return std::vector<uint8_t>(out.Data(), out.Data() + out.Length());
}

std::string Dump(const File& file) {
    std::string out = "version " + std::to_string(file.m_ucVersion) + "\n";
    uint64_t entity = 0;
    bool inEntity = false;
    static const char* const kForms[] = {"raw", "named", "skip", "unknown"};
    for (const Record& r : file.m_Records) {
        char head[96];
        if (r.m_ucCode == KRV_FILE_ADD_ENTITY) {
            snprintf(head, sizeof head, "@%-9u entity %" PRIu64 " %s\n", r.m_uiOffset, ++entity,
                     KindName(r.m_ucEntityKind).c_str());
            out += head;
            inEntity = true;
        } else if (!r.m_bAboutEntity) {
            inEntity = false;
        }
        snprintf(head, sizeof head, "@%-9u %s%s %u %s", r.m_uiOffset, inEntity ? "  " : "", kForms[int(r.m_Form)],
                 r.m_ucCode, r.m_strName.c_str());
        out += head;
        for (const Field& f : r.m_Fields) {
            out += ' ';
            out += f.m_strName;
            out += '=';
            out += f.m_strText;
        }
        if (r.m_Form == RecordForm::Unknown) out += " (" + std::to_string(r.m_Payload.size()) + " bytes skipped)";
        out += '\n';
    }
    if (file.m_bFault)
        out += "fault at byte " + std::to_string(file.m_Fault.m_uiOffset) + ": " + file.m_Fault.m_strWhat + "\n";
    return out;
}

Stats ComputeStats(const File& file) {
    Stats s;
    for (const Record& r : file.m_Records) {
        if (r.m_ucCode == KRV_FILE_ADD_ENTITY) {
            ++s.m_EntitiesByKind[KindName(r.m_ucEntityKind)];
            if (r.m_ucEntityKind == kKindPlayer) {
                ++s.m_uiPlayers;
                for (const Field& f : r.m_Fields)
                    if (f.m_strName == "pocket_coins") s.m_uiPocketCoins += std::stoull(f.m_strText);
            }
        } else if (r.m_ucCode == KRV_STORED_COINS) {
            s.m_uiStoredCoins += std::stoull(r.m_Fields[0].m_strText);
        }
    }
    return s;
}

} // namespace krv
