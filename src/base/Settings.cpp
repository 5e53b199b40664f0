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
constexpr SettingLimits kAny{-kInf, kInf};
constexpr SettingLimits kNotNegative{0.0, kInf};
constexpr SettingCommand kNone{nullptr, nullptr, nullptr};

constexpr Setting Global(const char* name, SettingType type, void* storage, double value) {
    return Setting{name, type, storage, 0, value, kAny, kAny, nullptr, kNone, kNone, false, nullptr, 0};
}

constexpr Setting Field(const char* name, SettingType type, size_t offset, double value) {
    return Setting{name, type, nullptr, offset, value, kAny, kAny, nullptr, kNone, kNone, false, nullptr, 0};
}

// Builder steps, so that each row names only what it has.
constexpr Setting Saved(Setting s, const char* record) { return s.m_szRecord = record, s; }
constexpr Setting Loaded(Setting s, SettingLimits limits) { return s.m_Load = limits, s; }
constexpr Setting Typed(Setting s, SettingLimits limits) { return s.m_Typed = limits, s; }
constexpr Setting Command(Setting s, SettingCommand set, SettingCommand clear = kNone) {
    s.m_Set = set;
    s.m_Clear = clear;
    return s;
}
constexpr Setting Stats(Setting s, const char* label, uint8_t line) {
    s.m_szStatsLabel = label;
    s.m_ucStatsLine = line;
    return s;
}
constexpr Setting CoinPermission(Setting s) { return s.m_bCoinPermission = true, s; }

using T = SettingType;

} // namespace

const Setting g_Settings[] = {
    // ---- saved with the world, in the order of the file ----
    Command(Saved(Field("m_uiPopPrincessSkip", T::U32, offsetof(ServerSettings, m_uiPopPrincessSkip), 0),
                  "KRV_POP_PRINCESS_SKIP"),
            {"/set_pop_princess_skip", "/spps", "Pop Princess Skip value is now %d"}),
    Command(Saved(Field("m_bIRSBuildEnabled", T::Bool, offsetof(ServerSettings, m_bIRSBuildEnabled), 0),
                  "KRV_IRS_BUILD_ENABLE"),
            {"/enable_irs", "/ei", "IRS Building Enabled"}, {"/disable_irs", "/di", "IRS Building Disabled"}),
    Stats(Command(Typed(Loaded(Saved(Global("g_uiUdpSendBufferLimit", T::U32, &g_uiUdpSendBufferLimit, 6),
                                     "KRV_UDP_SEND_BUFFER_LIMIT_CODE"),
                               {6, kInf}),
                        {6, 16}),
                  {"/udp_send_buffer_limit", "/usbl", "UDP Send Buffer Limit is now: %d"}),
          "Maximum UnACKed packets to client allowed", 1),
    // Its command also shares the budget out again and answers by whether a limit is left.
    Command(Typed(Saved(Field("m_uiServerByteSendLimit", T::U32, offsetof(ServerSettings, m_uiServerByteSendLimit), 0),
                        "KRV_TOTAL_SERVER_RATE_LIMIT"),
                  kNotNegative),
            {"/set_byte_send_limit", "/sbsl", nullptr}),
    Stats(Command(Saved(Global("g_uiQuillhobTexture", T::U32, &g_uiQuillhobTexture, 100), "KRV_SET_QUILLHOB_TEXTURE"),
                  {"/set_quillhob_texture", "/sqt", "Any QuillhobCubes created from now on will have texture %d."}),
          "Quillhob texture number", 2),
    Stats(CoinPermission(Command(
              Typed(Saved(Global("g_uiRewardHittingQuillhob", T::U32, &g_uiRewardHittingQuillhob, 1000),
                          "KRV_REWARD_HITTING_QUILLHOB"),
                    kNotNegative),
              {"/set_reward_hitting_quillhob", "/srhq", "Reward for hitting Quillhob with a FireBlock is now %d."})),
          "Reward for hitting Quillhob", 3),
    Stats(Command(Saved(Global("g_fZorbinShrinkPerHit", T::F32, &g_fZorbinShrinkPerHit, 0.02f), "KRV_ZORBIN_SHRINK_PER_HIT"),
                  {"/set_zorbin_shrink_per_hit", "/szsph", "Zorbin shrink per hit value is now %f"}),
          "Zorbin Shrink Per Hit", 4),
    Stats(Command(Saved(Global("g_fStoneBlockShrinkPerHit", T::F32, &g_fStoneBlockShrinkPerHit, 0.007f),
                        "KRV_STONEBLOCK_SHRINK_PER_HIT"),
                  {"/set_sb_shrink_per_hit", "/sssph", "StoneBlock shrink per hit value is now %f"}),
          "StoneBlock Shrink Per Hit", 5),
    Stats(Command(Saved(Global("g_fBuildingBlockShrinkPerHit", T::F32, &g_fBuildingBlockShrinkPerHit, 0.06f),
                        "KRV_BUILDINGBLOCK_SHRINK_PER_HIT"),
                  {"/set_bb_shrink_per_hit", "/sbbsph", "BuildingBlock shrink per hit value is now %f"}),
          "BuildingBlock Shrink Per Hit", 9),
    Stats(Command(Saved(Global("g_iZorbinCoinsStolenPerHit", T::I32, &g_iZorbinCoinsStolenPerHit, 1),
                        "KRV_ZORBIN_COINS_STOLEN_PER_HIT"),
                  {"/set_zorbin_coins_stolen_per_hit", "/szcsph", "Zorbin coins stolen per hit value is now %d"}),
          "Zorbin Coins Stolen Per Hit", 6),
    // The moving-property rules take entity counts modulo the groups: a file never sets fewer than one.
    Stats(Command(Loaded(Saved(Global("g_iPropertyMovingGroups", T::I32, &g_iPropertyMovingGroups, 8),
                               "KRV_PROPERTY_MOVING_GROUPS"),
                         {1, kInf}),
                  {"/set_property_moving_groups", "/spmg", "Propety Moving Groups now set to %d"}),
          "Property Moving Groups", 7),
    Stats(Command(Saved(Global("g_iMaxPropertyMovePerTick", T::I32, &g_iMaxPropertyMovePerTick, 5),
                        "KRV_MAX_PROPERTY_MOVE_PER_TICK"),
                  {"/set_max_property_move_per_tick", "/smpmpt", "Max property move per second now set to %d"}),
          "Maximum number of properties moving per tick", 8),
    Command(Saved(Global("g_bCompactSaveMode", T::Bool, &g_bCompactSaveMode, false), "KRV_COMPACT_SAVE_MODE"),
            {"/compact_save_on", nullptr,
             "Compact save mode ON!  Future save files with this mode on may be incompatible with other versions "
             "of the VUK server!!!"},
            {"/compact_save_off", nullptr,
             "Compact save mode OFF!  Future save files with this mode off are more likely to be compatible with "
             "other versions of the VUK server."}),
    Command(Saved(Global("g_bImprovedCTSResponse", T::Bool, &g_bImprovedCTSResponse, true),
                  "KRV_BOOL_IMPROVED_CTS_RESPONSE"),
            {"/improved_cts_on", nullptr, "Improved CTS on"}, {"/improved_cts_off", nullptr, "Improved CTS false"}),

    // ---- not saved ----
    Global("g_uiCurrentPort", T::U32, &g_uiCurrentPort, 1983),
    Command(Global("g_bUDPThreadMode", T::Bool, &g_bUDPThreadMode, true),
            {"/yes_udp_thread", nullptr, "UDP Thread Mode Enabled"},
            {"/no_udp_thread", nullptr, "UDP Thread Mode Disabled"}),
    // 30 s as the single-precision period the peers' timers are built with; "--peer-timeout".
    Global("g_fPeerIdleSeconds", T::F32, &g_fPeerIdleSeconds, 29.999998f),
    Command(Field("m_bLiftsRunning", T::Bool, offsetof(ServerSettings, m_bLiftsRunning), true),
            {"/startlifts", nullptr, "Lifts started"},
            {"/stoplifts", nullptr, "Lifts stopped (NOTE: Not saved in data file)"}),
    Command(Field("m_bPrincessesRunning", T::Bool, offsetof(ServerSettings, m_bPrincessesRunning), true),
            {"/start_princesses", "/start_p", "Princesses started"},
            {"/stop_princesses", "/stop_p", "Princesses stopped (NOTE: Not saved in data file)"}),
    Command(Field("m_bOfflinePlayerScan", T::Bool, offsetof(ServerSettings, m_bOfflinePlayerScan), true),
            {"/off_pscan_on", nullptr, "Offline player scan on"}, {"/off_pscan_off", nullptr, "Offline player scan off"}),
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
    case SettingType::Bool: return *static_cast<const bool*>(p) ? 1.0 : 0.0;
    case SettingType::U32: return *static_cast<const uint32_t*>(p);
    case SettingType::I32: return *static_cast<const int32_t*>(p);
    case SettingType::F32: return *static_cast<const float*>(p);
    }
    return 0.0;
}

void Setting::Set(ServerSettings* server, double v) const {
    void* p = Storage(server);
    if (!p) return;
    switch (m_Type) {
    case SettingType::Bool: *static_cast<bool*>(p) = v != 0.0; break;
    // Through 64 bits: a negative value wraps as the C conversion of an int would.
    case SettingType::U32: *static_cast<uint32_t*>(p) = uint32_t(int64_t(v)); break;
    case SettingType::I32: *static_cast<int32_t*>(p) = int32_t(int64_t(v)); break;
    case SettingType::F32: *static_cast<float*>(p) = float(v); break;
    }
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
