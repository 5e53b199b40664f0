// The admin help pages and the "about" page, shown in the message window.
#include "replication/Server_Client.h"

// Not yet built.
void Server_Client::SendAdminHelp(const char*) {}
