// The slash-command interpreter.
#include "core/Server.h"

// Not yet built: the player and administrator commands. Until they are, every slash line is
// left unhandled and goes on as ordinary chat.
bool Server::NonAdminCommand(Server_Client*, const std::string&) { return false; }

bool Server::AdminCommand(Server_Client*, const std::string&) { return false; }
