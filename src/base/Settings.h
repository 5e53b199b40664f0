// Every setting of the server in one table: where it lives, its type, default and limits, the
// world-file record that carries it and the commands that change it. The save routine, the
// loader, "/stats", the commands and the tests walk the table; nothing else spells a setting out.
#pragma once
#include <cstddef>
#include <cstdint>
#include <limits>

// ---- process-wide settings (defaults in the table) ---------------------------------------------
extern uint32_t g_uiCurrentPort;        // UDP port to bind
extern uint32_t g_uiUdpSendBufferLimit; // unacknowledged messages per channel
extern bool g_bUDPThreadMode;           // free-running UDP thread, or lock-step
extern bool g_bImprovedCTSResponse;     // drain every inbound message each pass
extern bool g_bCompactSaveMode;         // raw instead of named records where possible
extern int32_t g_iPropertyMovingGroups;
extern int32_t g_iMaxPropertyMovePerTick;
extern uint32_t g_uiQuillhobTexture;
extern uint32_t g_uiRewardHittingQuillhob;
extern float g_fZorbinShrinkPerHit;
extern float g_fStoneBlockShrinkPerHit;
extern float g_fBuildingBlockShrinkPerHit;
extern int32_t g_iZorbinCoinsStolenPerHit;
extern float g_fPeerIdleSeconds; // a silent peer is dropped after this

// The settings that are fields of the one server object rather than globals. Game derives from
// this, so the fields keep their names on the server; the constructor gives the table's defaults.
struct ServerSettings {
    ServerSettings();

    uint32_t m_uiPopPrincessSkip;
    bool m_bIRSBuildEnabled;
    uint32_t m_uiServerByteSendLimit; // bytes per client update over all clients, 0 = none
    bool m_bLiftsRunning;
    bool m_bPrincessesRunning;
    bool m_bOfflinePlayerScan;
};

enum class SettingType : uint8_t { Bool, U32, I32, F32 };

// An inclusive range a value is clamped into; by default none.
struct SettingLimits {
    double m_dMin = -std::numeric_limits<double>::infinity();
    double m_dMax = std::numeric_limits<double>::infinity();
    double Clamp(double v) const { return v < m_dMin ? m_dMin : v > m_dMax ? m_dMax : v; }
};

// A command that changes a setting. A valued setting takes the typed number; a switch has one
// command that turns it on and one that turns it off.
struct SettingCommand {
    const char* m_szLong = nullptr;  // null: no command
    const char* m_szShort = nullptr; // null: no short form
    const char* m_szReply = nullptr; // printf format given the new value; null: the command answers itself
};

struct Setting {
    const char* m_szName;
    SettingType m_Type;
    void* m_pGlobal = nullptr;   // a global, or null for
    size_t m_uiServerOffset = 0; // a field of ServerSettings
    double m_dDefault = 0.0;
    SettingLimits m_Load{};           // what a value read from the world file is clamped into
    SettingLimits m_Typed{};          // what a value typed with the command is clamped into
    const char* m_szRecord = nullptr; // named record of the world file; null: not saved
    SettingCommand m_Set{};           // a valued setting's command, or a switch's "on"
    SettingCommand m_Clear{};         // a switch's "off"
    bool m_bCoinPermission = false;   // the command needs the coin-changing permission
    const char* m_szStatsLabel = nullptr;
    uint8_t m_ucStatsLine = 0; // its line among the settings of "/stats", 0 = not shown

    // The storage; fields of the server need the server.
    void* Storage(ServerSettings* server) const;
    double Get(const ServerSettings* server) const;
    // Stores v as the setting's type, without clamping.
    void Set(ServerSettings* server, double v) const;
    // The 32 bits of a number setting as they are stored, a float's included: the world file
    // carries them unchanged, whatever the pattern (a NaN's too).
    uint32_t Bits(const ServerSettings* server) const;
    void SetBits(ServerSettings* server, uint32_t bits) const;
};

// In the order the world file saves them; unsaved settings follow.
extern const Setting g_Settings[];
extern const size_t g_uiSettingCount;

// The row of a global or field name ("g_uiQuillhobTexture", "m_uiPopPrincessSkip"), or null.
const Setting* FindSetting(const char* name);
// Every setting back to its default: the globals, and the server's fields when given one.
void ApplySettingDefaults(ServerSettings* server);
