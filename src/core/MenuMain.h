// The program's start-up dialogue: port choice, address banner, menu or unattended runs.
#pragma once
#include <cstdint>

struct MenuOptions {
    bool autoStart = false;   // as if "auto_server.txt" existed
    bool portGiven = false;   // --port overrides the marker files
    uint32_t port = 0;
};

int MenuMain(const MenuOptions& options);

// Parses the command line, changes to the working folder and runs the menu. Returns the
// process exit code (2 for a bad option).
int RunQuorvane(int argc, char** argv);
