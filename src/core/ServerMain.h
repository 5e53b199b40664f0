// One server run: build the server, load, run the console main loop until the operator quits.
#pragma once
#include <string>

// Returns 0. With bSaveEnabled false a crash returns with g_bException set instead of
// restarting the process.
int ServerMain(bool bLoad, bool bSaveEnabled);

// Parses "krv_admin.ini" content: the first line, up to NUL, CR or LF, in upper case.
std::string ParseAdminName(const std::string& fileContents);
