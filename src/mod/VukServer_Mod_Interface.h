// The optional mod library "VukServer_Mod.dll" in the working folder.
#pragma once

class Server_Player;
class Server_TalvyCube;

// The mod's hook for a Talvy cube a player shot down, or null; while set it replaces the
// player's own defeat handling.
extern void (*KRV_ORIGINAL_CallWhenPlayerDefeatsTalvyCube)(Server_Player* player, Server_TalvyCube* cube);

// Loads the library; true when it was found and accepted.
bool TryToLoadVukMod();
void FreeVukMod();
