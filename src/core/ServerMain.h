// One server run: build the server, load, run the console main loop until the operator quits.
#pragma once
#include <cstdint>
#include <string>

class Server;

// ---- run state of the process ----
extern bool g_bException;          // set when the main loop caught a crash
extern Server* g_pServer;          // the running server
extern std::string g_strAdminName; // master administrator, upper case ("krv_admin.ini")
extern char g_szBuffer[16384];     // scratch for console and log text, server thread only

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
    // The switch file is looked for every 0.25 s instead of every 5 s, and a look that finds it
    // empty says so on the console, so that a test can wait for the look instead of sleeping.
    bool fastSwitchCheck = false;
};
extern TestHooks g_TestHooks;
void ReadTestHooksFromEnvironment();

// Returns 0. With bSaveEnabled false a crash returns with g_bException set instead of
// restarting the process.
int ServerMain(bool bLoad, bool bSaveEnabled);

// Parses "krv_admin.ini" content: the first line, up to NUL, CR or LF, in upper case.
std::string ParseAdminName(const std::string& fileContents);
