// The program's start-up dialogue: port choice, address banner, menu or unattended runs.
#pragma once
#include <array>
#include <cstdint>
#include <vector>

struct MenuOptions {
    bool autoStart = false; // as if "auto_server.txt" existed
    bool portGiven = false; // --port overrides the marker files
    uint32_t port = 0;
};

int MenuMain(const MenuOptions& options);

// The welcome banner for every usable address (127.x and 0.x are skipped), with the router
// advice for 192.x addresses.
void PrintAddressBanners(const std::vector<std::array<uint8_t, 4>>& addresses);

// Parses the command line, changes to the working folder and runs the menu. Returns the
// process exit code (2 for a bad option).
int RunQuorvane(int argc, char** argv);
