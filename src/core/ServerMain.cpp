#include "core/ServerMain.h"

#include <cctype>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <thread>

#include "base/LogChat.h"
#include "base/Settings.h"
#include "base/Timer.h"
#include "core/OperatorServices.h"
#include "core/Server.h"
#include "mod/VukServer_Mod_Interface.h"
#include "net/UDPServerInterface.h"
#include "platform/Clock.h"
#include "platform/Console.h"
#include "platform/Event.h"
#include "platform/Files.h"
#include "platform/Process.h"
#include "platform/Signals.h"
#include "world/VUKHeap.h"

using platform::ConsolePrintf;

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
    if (enabled && std::string(enabled) == "1") g_TestHooks.crashKey = g_TestHooks.fastSwitchCheck = true;
}

namespace {

const char kActiveLines[] = "Server active...\nType Q to save, stop the server, and quit.\n"
                            "Type S to save the game state to KRV1_DATA.KRV and VUK_PLAYERS.KRV.\n"
                            "Type V to view time until next save.\n";

std::unique_ptr<UDPServerInterface> MakeUDPInterface(Server& server) {
    return std::make_unique<UDPServerInterface>(
        [&server](ClientServerPipe** pipes, size_t count) {
            ServerLockGuard lock(server.m_ServerLock);
            return UDPServerInterface::OneByOne([&server] { return server.CreateClientServerPipe(); })(pipes, count);
        },
        Server::kMaxPeers);
}

void ReadAdminName() {
    std::string contents;
    if (!platform::ReadWholeFile("krv_admin.ini", &contents)) {
        ConsolePrintf("WARNING!  NO krv_admin.ini FILE PRESENT!\nAdmin powers granted to ADMIN.\n");
        g_strAdminName = "ADMIN";
        return;
    }
    g_strAdminName = ParseAdminName(contents);
    ConsolePrintf("krv_admin.ini says the master admin is: %s\n", g_strAdminName.c_str());
}

// Every save of the main loop holds the server lock so that the UDP thread cannot add a client
// halfway through.
void SaveLocked(Server& server) {
    ServerLockGuard lock(server.m_ServerLock);
    server.SaveAll();
}

void PrintSecondsToAutosave(Timer& autosave) {
    autosave.m_iNow = platform::QueryCounter();
    int64_t s = (autosave.m_iStart + autosave.m_iPeriod - autosave.m_iNow) / Timer::ms_frequency;
    ConsolePrintf("%2dh:%2dm:%2ds until next autosave. \r", int(s / 3600), int((s / 60) % 60), int(s % 60));
    ConsolePrintf("\n(S) - Save     (Q) - Save and Quit\n");
}

// Hands the process over to the executable named in "vuk_exe_switch.txt". Returns only when the
// new executable could not be started.
void SwitchExecutable(Server& server, std::unique_ptr<UDPServerInterface>& udp, std::string text) {
    ConsolePrintf("GOING INTO SWITCH MODE...\n");
    ConsolePrintf("SAVE TO KRV1_DATA.KRV AND VUK_PLAYERS.KRV...\n");
    SaveLocked(server);
    ConsolePrintf("SAVE COMPLETE!\n");
    size_t lineEnd = text.find_first_of("\r\n");
    if (lineEnd != std::string::npos) text.resize(lineEnd);
    text = text.c_str(); // the path ends at its first NUL as well
    platform::DeleteFile("vuk_exe_switch.txt");
    udp.reset();
    int pid = platform::SpawnProcess(text);
    if (pid > 0) {
        g_pi.pid = pid;
        snprintf(g_szBuffer, sizeof g_szBuffer, "VUK Server Switching To: %s", text.c_str());
        LogChat("LOG", g_szBuffer);
        platform::TerminateProcess(0);
    }
    ConsolePrintf("NEW EXE COULD NOT START!!!\n");
    ConsolePrintf("THIS SERVER WILL STAY RUNNING.\n");
    udp = MakeUDPInterface(server);
}

void HandToUDPThread(UDPServerInterface& udp) {
    udp.m_hTickEvent.Set();
    if (g_bUDPThreadMode) {
        if (udp.m_hDoneEvent.Wait(33)) udp.m_hDoneEvent.Reset();
    } else {
        udp.m_hDoneEvent.Wait(-1);
        udp.m_hDoneEvent.Reset();
    }
}

// A rest at least this long first readies the growing pools' next chunks.
constexpr std::chrono::microseconds kPrepareAheadRest{4000};

// With nothing to hand over, the server thread waits for the next timer of the tick or for
// whatever could give it work: the UDP thread's word that something came, a console key, a
// shutdown signal. The rest is short enough (one game tick at most) for the loop's slower timers.
// Lock-step mode keeps the threads alternating pass for pass, so it never rests.
void RestUntilWork(UDPServerInterface& udp, std::chrono::microseconds rest) {
    if (!g_bUDPThreadMode || rest.count() <= 0) return;
    // Time to spare: growing pools get their next chunk now rather than in the middle of a pass.
    // Pools belong to this thread, so no lock is needed.
    if (rest >= kPrepareAheadRest) {
        const auto start = std::chrono::steady_clock::now();
        PrepareGlobalHeapsAhead();
        rest -= std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start);
        if (rest.count() <= 0) return;
    }
    udp.BeginServerRest();
    platform::WaitUntilReadable({udp.m_hIncomingEvent.Fd(), platform::ConsoleKeyWakeFd(), platform::ShutdownWakeFd()},
                                rest);
    udp.EndServerRest();
}

void RunMainLoop(Server& server, std::unique_ptr<UDPServerInterface>& udp, bool bSaveEnabled, Timer& autosave,
                 Timer& switchCheck, OperatorServices& services) {
    bool running = true;
    while (running) {
        // Whatever the UDP thread reports from here on is seen by this pass or ends its rest.
        udp->m_hIncomingEvent.Reset();
        std::chrono::microseconds rest;
        {
            ServerLockGuard lock(server.m_ServerLock);
            auto start = std::chrono::steady_clock::now();
            server.Tick();
            services.AfterTick(server, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
            rest = server.RestAllowance();
        }
        HandToUDPThread(*udp);

        bool idle;
        {
            ServerLockGuard lock(server.m_ServerLock);
            idle = server.IsIdle();
        }
        if (idle)
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        else
            RestUntilWork(*udp, rest);

        if (platform::ConsoleKeyWaiting()) {
            int key = platform::ConsoleReadKeyWithEcho();
            if (key >= 0) {
                key = std::tolower(key);
                ConsolePrintf("\n");
                if (key == 'q') {
                    ServerLockGuard lock(server.m_ServerLock);
                    if (!server.AnyPlayerLoggedIn())
                        running = false;
                    else
                        ConsolePrintf("Cannot quit: Players are logged in.\n");
                } else if (key == 's' && bSaveEnabled) {
                    ConsolePrintf("SAVING TO KRV1_DATA.KRV AND VUK_PLAYERS.KRV...\n");
                    SaveLocked(server);
                    ConsolePrintf("SAVE COMPLETE!\n%s", kActiveLines);
                    autosave.Restart();
                } else if (key == 'v' && bSaveEnabled) {
                    PrintSecondsToAutosave(autosave);
                } else if (key == '!' && g_TestHooks.crashKey) {
                    throw std::runtime_error("crash requested from the console");
                }
            }
        }

        // A shutdown signal stops the server like the quit key, players or not.
        if (platform::ShutdownRequested()) running = false;

        if (bSaveEnabled) {
            ServerLockGuard lock(server.m_ServerLock);
            if (autosave.Check()) {
                ConsolePrintf("AUTOSAVING TO KRV1_DATA.KRV AND VUK_PLAYERS.KRV...\n");
                server.SaveAll();
                ConsolePrintf("AUTOSAVE COMPLETE!\n%s", kActiveLines);
                LogChat("LOG", "AutoSave Complete.");
            }
        }

        if (running && switchCheck.HasElapsed()) {
            bool anyoneOnline;
            {
                ServerLockGuard lock(server.m_ServerLock);
                anyoneOnline = server.AnyPlayerLoggedIn();
            }
            if (!anyoneOnline) {
                switchCheck.Restart();
                std::string text;
                if (platform::ReadWholeFile("vuk_exe_switch.txt", &text)) {
                    if (!text.empty())
                        SwitchExecutable(server, udp, std::move(text));
                    else if (g_TestHooks.fastSwitchCheck)
                        ConsolePrintf("(test hook) empty vuk_exe_switch.txt left\n");
                }
            }
        }
    }
}

} // namespace

std::string ParseAdminName(const std::string& fileContents) {
    std::string name;
    for (char c : fileContents) {
        if (c == '\0' || c == '\r' || c == '\n') break;
        name += char(std::toupper(static_cast<unsigned char>(c)));
    }
    return name;
}

int ServerMain(bool bLoad, bool bSaveEnabled) {
    Server* server = new Server;
    g_pServer = server;
    g_bException = false;
    g_myStartUpInfo = StartUpInfo();
    g_pi = ProcessInformation();
    g_myStartUpInfo.cb = 68;

    ConsolePrintf("\n\n");
    LogChat("LOG", "Starting Server");

    if (TryToLoadVukMod()) {
        ConsolePrintf("Successfully loaded VukServer_Mod.dll...\n");
        LogChat("VukServer_Mod.dll", "Successfully loaded VukServer_Mod.dll...");
    }

    ReadAdminName();

    Timer autosave(7200.0f);
    Timer switchCheck(g_TestHooks.fastSwitchCheck ? 0.25f : 5.0f);

    if (bLoad) {
        ConsolePrintf("LOADING FROM KRV1_DATA.KRV AND VUK_PLAYERS.KRV...\n");
        if (LoadError error = server->LoadRoutine(); error != LoadError::None) EndProgramAfterLoadError(error);
        ConsolePrintf("LOADING COMPLETE\n");
    }

    ConsolePrintf("\nServer active...\nType Q to save, stop the server, and quit.\n");
    LogChat("LOG", "Server is now active.");
    if (bSaveEnabled) {
        ConsolePrintf("Type S to save the game state to KRV1_DATA.KRV and VUK_PLAYERS.KRV.\n"
                      "Type V to view time till next save.\n"
                      "Every two hours, the game will automatically save the game state.\n"
                      "Every time a save occurs, the game will also save backup files in\n"
                      "the backups folder, which will be located in the same folder that you\n"
                      "started this program from.  Each backup of KRV1_DATA.KRV and\n"
                      "VUK_PLAYERS.KRV will have the date and time as part of their file names.\n\n");
    }
    ConsolePrintf("**************************\n");
    ConsolePrintf("THE SERVER IS NOW RUNNING!\n");
    ConsolePrintf("**************************\n");
    ConsolePrintf("(S) - Save     (Q) - Save and Quit\n");
    ConsolePrintf("DO NOT CLICK ON THE X IN THE UPPER-RIGHT CORNER TO QUIT THE SERVER!\nOTHERWISE, THE SAVE WILL "
                  "NOT OCCUR!!\n\n");

    std::unique_ptr<UDPServerInterface> udp = MakeUDPInterface(*server);
    OperatorServices services(g_OperatorOptions);
    {
        ServerLockGuard lock(server->m_ServerLock);
        services.Started(*server);
    }

    try {
        RunMainLoop(*server, udp, bSaveEnabled, autosave, switchCheck, services);
    } catch (...) {
        LogChat("CRASH ALERT", "CRASH!!!");
        g_bException = true;
        if (bSaveEnabled) {
            ConsolePrintf("*********************************\n");
            ConsolePrintf("SERVER CRASH DETECTED!!!  SAVING!\n");
            ConsolePrintf("*********************************\n");
            try {
                SaveLocked(*server);
            } catch (...) {
                // The state that crashed may not save cleanly; the restart goes ahead regardless.
            }
            LogChat("CRASH ALERT", "Saved files after crash");
            ConsolePrintf("Save complete!\n");
            ConsolePrintf("*************************************\n");
            ConsolePrintf("SERVER CRASH DETECTED!!!  RESTARTING!\n");
            ConsolePrintf("*************************************\n");
            udp.reset();
            platform::ReExecSelf();
            // Only reached when the restart could not start: the menu runs the server again.
        }
        udp.reset();
        delete server;
        g_pServer = nullptr;
        return 0;
    }

    services.Stopping();
    if (bSaveEnabled) {
        ConsolePrintf("FINAL SAVE TO KRV1_DATA.KRV AND VUK_PLAYERS.KRV...\n");
        SaveLocked(*server);
        ConsolePrintf("FINAL SAVE COMPLETE!\n");
        LogChat("LOG", "Final save complete.  Server stopped.");
    }
    services.Stopped();
    udp.reset();
    delete server;
    g_pServer = nullptr;
    return 0;
}
