#include "mod/VukServer_Mod_Interface.h"

void (*KRV_ORIGINAL_CallAtEveryTick)() = nullptr;

// Not yet built: loading "./VukServer_Mod.dll" with its exports and callbacks. Without it the
// server simply runs without a mod, as it does when the file is absent.
bool TryToLoadVukMod() { return false; }

void FreeVukMod() {}
