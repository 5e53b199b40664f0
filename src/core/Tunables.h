// Every process-wide setting and piece of global state, with its default, its range and the
// command or file that changes it. /stats, the save routine and the commands read these.
#pragma once
#include <cstdint>
#include <string>

class Server;

// ---- network ---------------------------------------------------------------------------------
extern uint32_t g_uiCurrentPort;          // 1983; marker files, menu key p, --port; bound at start
extern uint32_t g_uiUdpSendBufferLimit;   // 6, >= 6 on load; "/udp_send_buffer_limit"; saved
extern bool g_bUDPThreadMode;             // true = free-running UDP thread, false = lock-step
extern bool g_bImprovedCTSResponse;       // true = drain every inbound message each pass; saved

// ---- persistence -----------------------------------------------------------------------------
extern bool g_bCompactSaveMode;           // false; saved

// ---- clients ---------------------------------------------------------------------------------
extern uint32_t g_uiAllocatedClientUINs;  // 32; doubles when a client number reaches it

// ---- rules -----------------------------------------------------------------------------------
extern int32_t g_iPropertyMovingGroups;       // 8; saved
extern int32_t g_iMaxPropertyMovePerTick;     // 5; saved
extern uint32_t g_uiQuillhobTexture;          // 100; "/sqt"; saved
extern uint32_t g_uiRewardHittingQuillhob;    // 1000; saved
extern float g_fZorbinShrinkPerHit;           // 0.02; saved
extern float g_fStoneBlockShrinkPerHit;       // 0.007; saved
extern float g_fBuildingBlockShrinkPerHit;    // 0.06; saved
extern int32_t g_iZorbinCoinsStolenPerHit;    // 1; saved

// ---- run state -------------------------------------------------------------------------------
extern bool g_bException;                 // set when the main loop caught a crash
extern Server* g_pServer;                 // the running server
extern std::string g_strAdminName;        // master administrator, upper case ("krv_admin.ini")
extern char g_szBuffer[16384];            // scratch for console and log text, server thread only

// Records handed to the process starter (kept for the operator's tools; cb is 68 as on the
// original host).
struct StartUpInfo {
    uint32_t cb = 0;
};
struct ProcessInformation {
    int pid = 0;
};
extern StartUpInfo g_myStartUpInfo;
extern ProcessInformation g_pi;

// Test seams that production never turns on by accident: only the environment variable
// QUORVANE_TEST_HOOKS=1 enables them.
struct TestHooks {
    // Console key '!' throws out of the main loop, to exercise the crash path.
    bool crashKey = false;
    // Idle time-out of a silent peer in seconds (production: 30).
    float peerIdleSeconds = 29.999998f;
};
extern TestHooks g_TestHooks;
void ReadTestHooksFromEnvironment();
