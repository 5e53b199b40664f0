// The optional mod library "VukServer_Mod.dll" in the working folder.
#pragma once

// Loads the library; true when it was found and accepted.
bool TryToLoadVukMod();
void FreeVukMod();

// The mod's hook called at the end of every game tick's rules, or null.
extern void (*KRV_ORIGINAL_CallAtEveryTick)();
