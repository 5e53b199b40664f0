// The tagged record format of the two save files: a version byte, then records back to back,
// each opened by a command byte. A record is raw (command byte and a fixed payload) or named
// (byte 24, its name, the payload's length, the payload), so that readers can skip names they
// do not know.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>

class Packet;
class Server;
class Server_Entity;
class Server_Player;

inline constexpr const char* kWorldFileName = "KRV1_Data.krv";
inline constexpr const char* kPlayersFileName = "VUK_Players.krv";
inline constexpr uint8_t kKRVFileVersion = 11;

// Command codes. 23 and 24 frame other records and have no name.
enum KRVCommand : uint8_t {
    KRV_FILE_ADD_ENTITY = 1,
    KRV_LAST_ENTITY_RESTRICTED = 2,
    KRV_NORMALPAD_EXTENSION_ONE = 3,
    KRV_NORMALPAD_EXTENSION_TWO = 4,
    KRV_PLAYER_FB_STRENGTH = 5,
    KRV_NORMALPAD_TEXTURE_68 = 6,
    KRV_TEMP_POWERUP_TABLE_ADD = 7,
    KRV_PLAYER_TEMP_EFFECTS = 8,
    KRV_EXTRA_ROTATION = 9,
    KRV_BOUNCY_PAD = 10,
    KRV_PLAYER_CREATED_BLOCK = 11,
    KRV_ZORBINCUBE_OWNER_NAME = 12,
    KRV_OFFPLAYER_COINS = 13,
    KRV_NP_LABEL = 14,
    KRV_ADMIN_LEVEL = 15,
    KRV_NP_NETWORTH = 16,
    KRV_ZC_NETWORTH = 17,
    KRV_POP_PRINCESS_SKIP = 18,
    KRV_IRS_BUILD_ENABLE = 19,
    KRV_ADMIN_PERMIT_COIN_CHANGING = 20,
    KRV_UDP_SEND_BUFFER_LIMIT_CODE = 21,
    KRV_TICKS_SINCE_LAST_LOGIN = 22,
    KRV_SKIP_MARKER = 23,
    KRV_NAMED_RECORD = 24,
    KRV_PLAYER_TEAMNAME = 25,
    KRV_ENTITY_LIFTINFO = 26,
    KRV_TOTAL_SERVER_RATE_LIMIT = 27,
    KRV_STONEBLOCK_BONUS = 44,
    KRV_IGNORE_LIST_ENTRY = 45,
    KRV_PALACECUBE_HP = 46,
    KRV_TAGPAD_AMOUNT = 47,
    KRV_ALPHA_BLEND_FACTOR = 48,
    KRV_TAGPAD_LOCK_TIME = 49,
    KRV_SET_QUILLHOB_TEXTURE = 50,
    KRV_STORED_COINS = 51,
    KRV_REWARD_HITTING_QUILLHOB = 52,
    KRV_TAGPAD_STARTING_LOCK_TIME = 53,
    KRV_ZORBIN_SHRINK_PER_HIT = 54,
    KRV_STONEBLOCK_SHRINK_PER_HIT = 55,
    KRV_ZORBIN_COINS_STOLEN_PER_HIT = 56,
    KRV_PROPERTY_MOVING_GROUPS = 57,
    KRV_MAX_PROPERTY_MOVE_PER_TICK = 58,
    KRV_COMPACT_SAVE_MODE = 59,
    KRV_WAS_MOVING_AT_SAVE_TIME = 60,
    KRV_BUILDINGBLOCK_SHRINK_PER_HIT = 61,
    KRV_NP_LABEL_SAME_AS_LAST = 62,
    KRV_BOOL_IMPROVED_CTS_RESPONSE = 63,
    QVS_SOLEXIS = 252,
    QVS_ENTITY_JAIL_DISALLOW = 253,
    QVS_ENTITY_JAIL_RELEASE = 254,
    KRV_ENTITY_SPLINELIFTINFO = 255,
};

// One row of the command table: the code and the name used in named records.
struct KRVCommandName {
    uint8_t m_ucCode;
    const char* m_szName;
};

// The command table, one row per named command, in code order; m_szName is null at the end.
extern const KRVCommandName g_KRVCommandNames[];

// The code of a name from the command table, or 0 for an unknown name (printing that it is
// skipped). Names of four characters or fewer are unknown.
uint8_t LoadRoutine_TranslateStringToCommand(std::string_view name);

// Appends a named record, or in compact save mode with a known name its raw form (the code
// byte and the payload). Copies the payload from its read position to its end and advances the
// read position past the bytes copied.
void Append_KRV_StringCommand(Packet* out, const char* name, Packet* payload);
// The same from payload bytes held anywhere.
void Append_KRV_NamedRecord(Packet* out, const char* name, const void* payload, uint32_t size);

// The raw KRV_FILE_ADD_ENTITY record of any entity with its kind's tail. A player-built block
// goes to the players file with a zero normal-pad tail (zeroPadTail).
void Append_KRV_FILE_ADD_ENTITY(Packet* out, const Server_Entity* e, bool zeroPadTail = false);
// The same for a caller that has already looked up the pad's extended attribute 6.
void Append_KRV_FILE_ADD_ENTITY(Packet* out, const Server_Entity* e, bool zeroPadTail, uint32_t princessReward);
void Append_KRV_FILE_ADD_ENTITY_Player(Packet* out, const Server_Player* player);
// Nothing without lift data or for a spline lift not yet finalized; otherwise the named lift
// record (plain or spline).
void Append_KRV_ENTITY_LIFTINFO(Packet* out, const Server_Entity* e);

// The whole content of "KRV1_Data.krv" and of "VUK_Players.krv", as the save routines write them.
void BuildWorldFile(Server* server, Packet* out);
void BuildPlayersFile(Server* server, Packet* out);

// Writes the packet's bytes to a dated copy in "backups", then to the file itself. Each write
// goes to a temporary file that is flushed and renamed into place, so a crash never leaves a
// torn file; a failed write leaves the old file and is logged.
void WritePacketToKRVFile(Packet* packet, const char* fileName);
// Appends the whole file to the packet; false when it cannot be opened.
bool ReadKRVFileToPacket(Packet* packet, const char* fileName);
// "backups/<month>_<day>_<year>_<hour>_<minute>_<second>_<file name>" for the local time now.
std::string BackupFileName(const char* fileName);
// Keeps a save file the server did not load from being overwritten: moves it into "backups/"
// under a dated name marked "not_loaded" and logs where it went.
void MoveAsideUnloadedFile(const char* fileName);

// The verdict of reading a save file. Only the top of the program ends the process on a failure
// (EndProgramAfterLoadError), so the reader can be fed any bytes in process.
enum class LoadError : uint8_t {
    None,
    FireBlockEntity, // ends the program without a word
    BadEntityType,
    BadCommandByte,
};
// The message box text of a failure, or null when the program ends silently.
const char* LoadErrorText(LoadError error);
// Shows the failure's text (titled "Loading World Error") and ends the process with exit code 1.
[[noreturn]] void EndProgramAfterLoadError(LoadError error);
