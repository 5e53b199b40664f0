// The optional mod library "VukServer_Mod.dll" in the working folder: loaded at start, checked
// for the "KRV_ORIGINAL" interface, given four functions to act on players, and called back once
// per game tick and when a player shoots down a Talvy cube. The hooks and the given functions
// run on the server thread inside the game tick.
#pragma once

class Server_Player;
class Server_TalvyCube;

// The mod's hooks, each null when the mod does not export it (or no mod is loaded).
extern "C" {
extern void (*KRV_ORIGINAL_CallAtEveryTick)();
// While set it replaces the player's own defeat handling.
extern void (*KRV_ORIGINAL_CallWhenPlayerDefeatsTalvyCube)(Server_Player* player, Server_TalvyCube* cube);
}

// Loads the library; true when it was found and accepted.
bool TryToLoadVukMod();
void FreeVukMod();

// The mod's hook called at the end of every game tick's rules, or null.
extern void (*KRV_ORIGINAL_CallAtEveryTick)();
