#include "core/Tunables.h"

#include <cstdlib>

uint32_t g_uiCurrentPort = 1983;
uint32_t g_uiUdpSendBufferLimit = 6;
bool g_bUDPThreadMode = true;
bool g_bImprovedCTSResponse = true;
bool g_bCompactSaveMode = false;
uint32_t g_uiAllocatedClientUINs = 32;
int32_t g_iPropertyMovingGroups = 8;
int32_t g_iMaxPropertyMovePerTick = 5;
uint32_t g_uiQuillhobTexture = 100;
uint32_t g_uiRewardHittingQuillhob = 1000;
float g_fZorbinShrinkPerHit = 0.02f;
float g_fStoneBlockShrinkPerHit = 0.007f;
float g_fBuildingBlockShrinkPerHit = 0.06f;
int32_t g_iZorbinCoinsStolenPerHit = 1;

bool g_bException = false;
Server* g_pServer = nullptr;
std::string g_strAdminName;
char g_szBuffer[16384];
StartUpInfo g_myStartUpInfo;
ProcessInformation g_pi;
TestHooks g_TestHooks;

void ReadTestHooksFromEnvironment() {
    const char* enabled = std::getenv("QUORVANE_TEST_HOOKS");
    g_TestHooks = TestHooks();
    if (!enabled || std::string(enabled) != "1") return;
    g_TestHooks.crashKey = true;
    if (const char* idle = std::getenv("QUORVANE_TEST_PEER_IDLE_SECONDS")) {
        float seconds = std::strtof(idle, nullptr);
        if (seconds > 0) g_TestHooks.peerIdleSeconds = seconds;
    }
}
