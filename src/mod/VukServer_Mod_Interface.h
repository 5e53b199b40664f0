// The optional mod library "VukServer_Mod.dll" in the working folder.
#pragma once

// Loads the library; true when it was found and accepted.
bool TryToLoadVukMod();
void FreeVukMod();
