#include "base/Settings.h"

#include <cstring>
#include <limits>

// Zero until the table's defaults are applied below, before main runs.
uint32_t g_uiCurrentPort;
uint32_t g_uiUdpSendBufferLimit;
bool g_bUDPThreadMode;
bool g_bImprovedCTSResponse;
bool g_bCompactSaveMode;
int32_t g_iPropertyMovingGroups;
int32_t g_iMaxPropertyMovePerTick;
uint32_t g_uiQuillhobTexture;
uint32_t g_uiRewardHittingQuillhob;
float g_fZorbinShrinkPerHit;
float g_fStoneBlockShrinkPerHit;
float g_fBuildingBlockShrinkPerHit;
int32_t g_iZorbinCoinsStolenPerHit;
float g_fPeerIdleSeconds;

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr SettingLimits kNotNegative{0.0, kInf};
using T = SettingType;

} // namespace

const Setting g_Settings[] = {
    // ---- saved with the world, in the order of the file ----
    {.m_szName = "m_uiPopPrincessSkip",
     .m_Type = T::U32,
     .m_uiServerOffset = offsetof(ServerSettings, m_uiPopPrincessSkip),
     .m_Typed = {-kInf, 64},
     .m_szRecord = "KRV_POP_PRINCESS_SKIP",
     .m_Set = {"/set_pop_princess_skip", "/spps", "Pop Princess Skip value is now %d"}},
    {.m_szName = "m_bIRSBuildEnabled",
     .m_Type = T::Bool,
     .m_uiServerOffset = offsetof(ServerSettings, m_bIRSBuildEnabled),
     .m_szRecord = "KRV_IRS_BUILD_ENABLE",
     .m_Set = {"/enable_irs", "/ei", "IRS Building Enabled"},
     .m_Clear = {"/disable_irs", "/di", "IRS Building Disabled"}},
    {.m_szName = "g_uiUdpSendBufferLimit",
     .m_Type = T::U32,
     .m_pGlobal = &g_uiUdpSendBufferLimit,
     .m_dDefault = 6,
     .m_Load = {6, kInf},
     .m_Typed = {6, 16},
     .m_szRecord = "KRV_UDP_SEND_BUFFER_LIMIT_CODE",
     .m_Set = {"/udp_send_buffer_limit", "/usbl", "UDP Send Buffer Limit is now: %d"},
     .m_szStatsLabel = "Maximum UnACKed packets to client allowed",
     .m_ucStatsLine = 1},
    // Its command also shares the budget out again and answers by whether a limit is left.
    {.m_szName = "m_uiServerByteSendLimit",
     .m_Type = T::U32,
     .m_uiServerOffset = offsetof(ServerSettings, m_uiServerByteSendLimit),
     .m_Typed = kNotNegative,
     .m_szRecord = "KRV_TOTAL_SERVER_RATE_LIMIT",
     .m_Set = {"/set_byte_send_limit", "/sbsl", nullptr}},
    {.m_szName = "g_uiQuillhobTexture",
     .m_Type = T::U32,
     .m_pGlobal = &g_uiQuillhobTexture,
     .m_dDefault = 100,
     .m_szRecord = "KRV_SET_QUILLHOB_TEXTURE",
     .m_Set = {"/set_quillhob_texture", "/sqt", "Any QuillhobCubes created from now on will have texture %d."},
     .m_szStatsLabel = "Quillhob texture number",
     .m_ucStatsLine = 2},
    {.m_szName = "g_uiRewardHittingQuillhob",
     .m_Type = T::U32,
     .m_pGlobal = &g_uiRewardHittingQuillhob,
     .m_dDefault = 1000,
     .m_Typed = kNotNegative,
     .m_szRecord = "KRV_REWARD_HITTING_QUILLHOB",
     .m_Set = {"/set_reward_hitting_quillhob", "/srhq", "Reward for hitting Quillhob with a FireBlock is now %d."},
     .m_bCoinPermission = true,
     .m_szStatsLabel = "Reward for hitting Quillhob",
     .m_ucStatsLine = 3},
    {.m_szName = "g_fZorbinShrinkPerHit",
     .m_Type = T::F32,
     .m_pGlobal = &g_fZorbinShrinkPerHit,
     .m_dDefault = 0.02f,
     .m_szRecord = "KRV_ZORBIN_SHRINK_PER_HIT",
     .m_Set = {"/set_zorbin_shrink_per_hit", "/szsph", "Zorbin shrink per hit value is now %f"},
     .m_szStatsLabel = "Zorbin Shrink Per Hit",
     .m_ucStatsLine = 4},
    {.m_szName = "g_fStoneBlockShrinkPerHit",
     .m_Type = T::F32,
     .m_pGlobal = &g_fStoneBlockShrinkPerHit,
     .m_dDefault = 0.007f,
     .m_szRecord = "KRV_STONEBLOCK_SHRINK_PER_HIT",
     .m_Set = {"/set_sb_shrink_per_hit", "/sssph", "StoneBlock shrink per hit value is now %f"},
     .m_szStatsLabel = "StoneBlock Shrink Per Hit",
     .m_ucStatsLine = 5},
    {.m_szName = "g_fBuildingBlockShrinkPerHit",
     .m_Type = T::F32,
     .m_pGlobal = &g_fBuildingBlockShrinkPerHit,
     .m_dDefault = 0.06f,
     .m_szRecord = "KRV_BUILDINGBLOCK_SHRINK_PER_HIT",
     .m_Set = {"/set_bb_shrink_per_hit", "/sbbsph", "BuildingBlock shrink per hit value is now %f"},
     .m_szStatsLabel = "BuildingBlock Shrink Per Hit",
     .m_ucStatsLine = 9},
    {.m_szName = "g_iZorbinCoinsStolenPerHit",
     .m_Type = T::I32,
     .m_pGlobal = &g_iZorbinCoinsStolenPerHit,
     .m_dDefault = 1,
     .m_szRecord = "KRV_ZORBIN_COINS_STOLEN_PER_HIT",
     .m_Set = {"/set_zorbin_coins_stolen_per_hit", "/szcsph", "Zorbin coins stolen per hit value is now %d"},
     .m_szStatsLabel = "Zorbin Coins Stolen Per Hit",
     .m_ucStatsLine = 6},
    // The moving-property rules take entity counts modulo the groups: a file never sets fewer than one.
    {.m_szName = "g_iPropertyMovingGroups",
     .m_Type = T::I32,
     .m_pGlobal = &g_iPropertyMovingGroups,
     .m_dDefault = 8,
     .m_Load = {1, kInf},
     .m_szRecord = "KRV_PROPERTY_MOVING_GROUPS",
     .m_Set = {"/set_property_moving_groups", "/spmg", "Propety Moving Groups now set to %d"},
     .m_szStatsLabel = "Property Moving Groups",
     .m_ucStatsLine = 7},
    {.m_szName = "g_iMaxPropertyMovePerTick",
     .m_Type = T::I32,
     .m_pGlobal = &g_iMaxPropertyMovePerTick,
     .m_dDefault = 5,
     .m_szRecord = "KRV_MAX_PROPERTY_MOVE_PER_TICK",
     .m_Set = {"/set_max_property_move_per_tick", "/smpmpt", "Max property move per second now set to %d"},
     .m_szStatsLabel = "Maximum number of properties moving per tick",
     .m_ucStatsLine = 8},
    {.m_szName = "g_bCompactSaveMode",
     .m_Type = T::Bool,
     .m_pGlobal = &g_bCompactSaveMode,
     .m_szRecord = "KRV_COMPACT_SAVE_MODE",
     .m_Set = {"/compact_save_on", nullptr,
               "Compact save mode ON!  Future save files with this mode on may be incompatible with other "
               "versions of the VUK server!!!"},
     .m_Clear = {"/compact_save_off", nullptr,
                 "Compact save mode OFF!  Future save files with this mode off are more likely to be compatible "
                 "with other versions of the VUK server."}},
    {.m_szName = "g_bImprovedCTSResponse",
     .m_Type = T::Bool,
     .m_pGlobal = &g_bImprovedCTSResponse,
     .m_dDefault = 1,
     .m_szRecord = "KRV_BOOL_IMPROVED_CTS_RESPONSE",
     .m_Set = {"/improved_cts_on", nullptr, "Improved CTS on"},
     .m_Clear = {"/improved_cts_off", nullptr, "Improved CTS false"}},

    // ---- not saved ----
    // Chosen by the marker files, the menu and --port.
    {.m_szName = "g_uiCurrentPort", .m_Type = T::U32, .m_pGlobal = &g_uiCurrentPort, .m_dDefault = 1983},
    {.m_szName = "g_bUDPThreadMode",
     .m_Type = T::Bool,
     .m_pGlobal = &g_bUDPThreadMode,
     .m_dDefault = 1,
     .m_Set = {"/yes_udp_thread", nullptr, "UDP Thread Mode Enabled"},
     .m_Clear = {"/no_udp_thread", nullptr, "UDP Thread Mode Disabled"}},
    // 30 s as the single-precision period the peers' timers are built with; --peer-timeout.
    {.m_szName = "g_fPeerIdleSeconds", .m_Type = T::F32, .m_pGlobal = &g_fPeerIdleSeconds, .m_dDefault = 29.999998f},
    {.m_szName = "m_bLiftsRunning",
     .m_Type = T::Bool,
     .m_uiServerOffset = offsetof(ServerSettings, m_bLiftsRunning),
     .m_dDefault = 1,
     .m_Set = {"/startlifts", nullptr, "Lifts started"},
     .m_Clear = {"/stoplifts", nullptr, "Lifts stopped (NOTE: Not saved in data file)"}},
    {.m_szName = "m_bPrincessesRunning",
     .m_Type = T::Bool,
     .m_uiServerOffset = offsetof(ServerSettings, m_bPrincessesRunning),
     .m_dDefault = 1,
     .m_Set = {"/start_princesses", "/start_p", "Princesses started"},
     .m_Clear = {"/stop_princesses", "/stop_p", "Princesses stopped (NOTE: Not saved in data file)"}},
    {.m_szName = "m_bOfflinePlayerScan",
     .m_Type = T::Bool,
     .m_uiServerOffset = offsetof(ServerSettings, m_bOfflinePlayerScan),
     .m_dDefault = 1,
     .m_Set = {"/off_pscan_on", nullptr, "Offline player scan on"},
     .m_Clear = {"/off_pscan_off", nullptr, "Offline player scan off"}},
};

const size_t g_uiSettingCount = sizeof g_Settings / sizeof g_Settings[0];

void* Setting::Storage(ServerSettings* server) const {
    if (m_pGlobal) return m_pGlobal;
    return server ? reinterpret_cast<uint8_t*>(server) + m_uiServerOffset : nullptr;
}

double Setting::Get(const ServerSettings* server) const {
    const void* p = Storage(const_cast<ServerSettings*>(server));
    if (!p) return 0.0;
    switch (m_Type) {
    case SettingType::Bool:
        return *static_cast<const bool*>(p) ? 1.0 : 0.0;
    case SettingType::U32:
        return *static_cast<const uint32_t*>(p);
    case SettingType::I32:
        return *static_cast<const int32_t*>(p);
    case SettingType::F32:
        return *static_cast<const float*>(p);
    }
    return 0.0;
}

void Setting::Set(ServerSettings* server, double v) const {
    void* p = Storage(server);
    if (!p) return;
    switch (m_Type) {
    case SettingType::Bool:
        *static_cast<bool*>(p) = v != 0.0;
        break;
    // Through 64 bits: a negative value wraps as the C conversion of an int would.
    case SettingType::U32:
        *static_cast<uint32_t*>(p) = uint32_t(int64_t(v));
        break;
    case SettingType::I32:
        *static_cast<int32_t*>(p) = int32_t(int64_t(v));
        break;
    case SettingType::F32:
        *static_cast<float*>(p) = float(v);
        break;
    }
}

uint32_t Setting::Bits(const ServerSettings* server) const {
    uint32_t bits = 0;
    if (const void* p = Storage(const_cast<ServerSettings*>(server)); p && m_Type != SettingType::Bool)
        std::memcpy(&bits, p, sizeof bits);
    return bits;
}

void Setting::SetBits(ServerSettings* server, uint32_t bits) const {
    if (void* p = Storage(server); p && m_Type != SettingType::Bool) std::memcpy(p, &bits, sizeof bits);
}

const Setting* FindSetting(const char* name) {
    for (const Setting& s : g_Settings)
        if (std::strcmp(s.m_szName, name) == 0) return &s;
    return nullptr;
}

void ApplySettingDefaults(ServerSettings* server) {
    for (const Setting& s : g_Settings)
        if (s.m_pGlobal || server) s.Set(server, s.m_dDefault);
}

ServerSettings::ServerSettings() {
    for (const Setting& s : g_Settings)
        if (!s.m_pGlobal) s.Set(this, s.m_dDefault);
}

namespace {
// Before main: the globals take the table's defaults.
[[maybe_unused]] const bool g_bDefaultsApplied = (ApplySettingDefaults(nullptr), true);
} // namespace
