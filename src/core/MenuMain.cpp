#include "core/MenuMain.h"

#include <cctype>
#include <climits>
#include <cstdlib>
#include <string>
#include <unistd.h>
#include <vector>

#include "base/LogChat.h"
#include "base/Settings.h"
#include "core/OperatorServices.h"
#include "core/ServerMain.h"
#include "mod/VukServer_Mod_Interface.h"
#include "platform/Console.h"
#include "platform/Files.h"
#include "platform/HostInfo.h"
#include "platform/Process.h"
#include "platform/Signals.h"

using platform::ConsolePrintf;

namespace {

void TogglePort() { g_uiCurrentPort = g_uiCurrentPort == 1983 ? 1984 : 1983; }

void ApplyMarkerFiles() {
    if (platform::FileExists("test_server_port.txt")) {
        TogglePort();
        ConsolePrintf("AUTOMATIC SET TEST SERVER PORT\n");
    }
    if (platform::FileExists("test_server_1988.txt")) {
        g_uiCurrentPort = 1988;
        ConsolePrintf("SET TEST SERVER PORT: 1988\n");
    }
    if (platform::FileExists("test_server_1989.txt")) {
        g_uiCurrentPort = 1989;
        ConsolePrintf("SET SERVER PORT: 1989\n");
    }
}

// Runs the server until a run ends without a crash.
void RunServerUntilClean(bool logReturn) {
    for (;;) {
        ServerMain(true, true);
        FreeVukMod();
        if (!g_bException || platform::ShutdownRequested()) return;
        if (logReturn) {
            LogChat("CRASH", "DEBUG: Made it back to MenuMain.cpp");
            ConsolePrintf("DEBUG: Made it back to MenuMain.cpp\n");
        }
    }
}

void PrintUsage() {
    platform::ErrorWrite("usage: quorvane [--port N] [--auto] [--dir PATH] [--peer-timeout SECONDS]\n"
                         "                [--status-port N] [--status-bind ADDRESS] [--agones]\n");
}

bool ParsePort(const char* text, uint32_t* port) {
    char* end = nullptr;
    long value = std::strtol(text, &end, 10);
    if (!*text || *end || value < 1 || value > 65535) return false;
    *port = uint32_t(value);
    return true;
}

bool ParseSeconds(const char* text, float* seconds) {
    char* end = nullptr;
    float value = std::strtof(text, &end);
    if (!*text || *end || !(value > 0.0f) || value > 86'400.0f) return false;
    *seconds = value;
    return true;
}

} // namespace

void PrintAddressBanners(const std::vector<std::array<uint8_t, 4>>& addresses) {
    for (const auto& a : addresses) {
        if (a[0] == 127 || a[0] == 0) continue;
        ConsolePrintf("Welcome to Quorvane!\n");
        ConsolePrintf("Visit the Quorvane home page for information and updates.\n");
        ConsolePrintf("More information on this server can also be found by typing /sa\n");
        ConsolePrintf("===================================\n");
        ConsolePrintf("This computer's IP address is: %u.%u.%u.%u\n", a[0], a[1], a[2], a[3]);
        if (a[0] == 192) {
            ConsolePrintf("\nIt appears that this computer is connected to the Internet through a\n"
                          "router or other Internet Connection Sharing (ICS) device.  You will\n"
                          "need to configure your ICS device so that it forwards UDP packets\n"
                          "destined for port %d to IP address %u.%u.%u.%u.  Then, figure out the\n"
                          "IP address of your ICS device (look at its instruction manual for help),\n"
                          "and then tell your friends the address of the ICS device, so they\n"
                          "can connect to VUK.\n\n",
                          int(g_uiCurrentPort), a[0], a[1], a[2], a[3]);
        }
    }
}

int MenuMain(const MenuOptions& options) {
    platform::ConsoleInit();
    ApplyMarkerFiles();
    if (options.portGiven) g_uiCurrentPort = options.port;

    if (options.autoStart || platform::FileExists("auto_server.txt")) {
        ConsolePrintf("AUTO SERVER START\nCurrent port: %d\n", int(g_uiCurrentPort));
        RunServerUntilClean(true);
        return 0;
    }

    platform::GetHostName();
    PrintAddressBanners(platform::GetIPv4Addresses());
    for (;;) {
        ConsolePrintf("Type choice:\n(L) - Start Server\n(P) - Port switch (NORMALLY NOT NEEDED)\n(Q) - Quit\n"
                      "Current port: %d\n",
                      int(g_uiCurrentPort));
        int key = platform::ConsoleReadKeyWithEcho();
        if (key < 0) return 0; // no more keys will come, or a shutdown signal
        key = std::tolower(key);
        ConsolePrintf("\n");
        if (key == 'p') {
            TogglePort();
            ConsolePrintf("Current port: %d\n", int(g_uiCurrentPort));
        } else if (key == 'l') {
            RunServerUntilClean(false);
            return 0;
        } else if (key == 'q') {
            return 0;
        }
    }
}

int RunQuorvane(int argc, char** argv) {
    MenuOptions options;
    std::string folder;
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--auto") {
            options.autoStart = true;
        } else if (arg == "--port" && i + 1 < argc) {
            if (!ParsePort(argv[++i], &options.port)) {
                PrintUsage();
                return 2;
            }
            options.portGiven = true;
        } else if (arg == "--status-port" && i + 1 < argc) {
            uint32_t port = 0;
            if (!ParsePort(argv[++i], &port)) {
                PrintUsage();
                return 2;
            }
            g_OperatorOptions.m_uiStatusPort = uint16_t(port);
        } else if (arg == "--status-bind" && i + 1 < argc) {
            g_OperatorOptions.m_strStatusBind = argv[++i];
        } else if (arg == "--agones") {
            g_OperatorOptions.m_bAgones = true;
        } else if (arg == "--dir" && i + 1 < argc) {
            folder = argv[++i];
        } else if (arg == "--peer-timeout" && i + 1 < argc) {
            if (!ParseSeconds(argv[++i], &g_fPeerIdleSeconds)) {
                PrintUsage();
                return 2;
            }
        } else {
            PrintUsage();
            return 2;
        }
    }

    std::vector<std::string> ownArguments(argv, argv + argc);
    if (!folder.empty()) {
        if (chdir(folder.c_str()) != 0) {
            platform::ErrorWrite("quorvane: cannot enter the folder " + folder + "\n");
            return 2;
        }
        // A restart re-runs these arguments from inside the folder: make it absolute.
        char absolute[PATH_MAX];
        if (getcwd(absolute, sizeof absolute)) {
            for (size_t i = 1; i + 1 < ownArguments.size(); ++i)
                if (ownArguments[i] == "--dir") ownArguments[i + 1] = absolute;
        }
    }
    platform::SetOwnCommandLine(std::move(ownArguments));
    platform::InstallShutdownSignals();
    ReadTestHooksFromEnvironment();
    int code = MenuMain(options);
    platform::ConsoleRestore();
    return code;
}
