// Loading the mod library and the four functions it is given. Everything crosses the boundary
// with C linkage and plain types, so a mod written in C links against nothing of ours.
#include "mod/VukServer_Mod_Interface.h"

#include <dlfcn.h>

#include <string>

#include "core/Server.h"
#include "core/ServerMain.h"
#include "game/GameActions.h"
#include "world/Server_EntityKinds.h"

extern "C" {
void (*KRV_ORIGINAL_CallAtEveryTick)() = nullptr;
void (*KRV_ORIGINAL_CallWhenPlayerDefeatsTalvyCube)(Server_Player*, Server_TalvyCube*) = nullptr;
}

namespace {

constexpr char kModFile[] = "./VukServer_Mod.dll";
constexpr char kInterfaceName[] = "KRV_ORIGINAL";

extern "C" {
using TellWhatYouSupport = void (*)(const char* interfaceName);
using FindOutIfSupports = int (*)(const char* interfaceName);
using GiveFunctionPointer = void (*)(int number, void* function);

Server_Player* VukDLLCall_GetHandleToPlayerByPlayerName(const char* name) {
    return g_pServer && name ? g_pServer->AC_LocatePlayerWithName(nullptr, name) : nullptr;
}

void VukDLLCall_AddCoinsToPlayer(Server_Player* player, int amount) {
    if (!player || !g_pServer) return;
    player->m_i64PocketCoins += amount;
    g_pServer->InformClients_EntityUpdated(player);
}

void VukDLLCall_DisplayPlayerMiniPopupWindow(Server_Player* player, const char* text, float time) {
    if (!player || !g_pServer) return;
    SetPlayerMessage(player, text ? text : "", time);
    g_pServer->InformClients_EntityUpdated(player);
}

bool VukDLLCall_DoesPlayerHavePowerup(Server_Player* player, const char* name) {
    if (!player || !name) return false;
    for (int i = 0; i < kPlayerEffectSlots; ++i) {
        const float time = player->m_fEffectTimes[i];
        if (player->m_strEffectNames[i] == name && (time > 0.0f || time == kEffectPermanent)) return true;
    }
    return false;
}
}

// Handed over in this order, numbered from 1.
void* const kGivenFunctions[] = {
    reinterpret_cast<void*>(&VukDLLCall_GetHandleToPlayerByPlayerName),
    reinterpret_cast<void*>(&VukDLLCall_AddCoinsToPlayer),
    reinterpret_cast<void*>(&VukDLLCall_DisplayPlayerMiniPopupWindow),
    reinterpret_cast<void*>(&VukDLLCall_DoesPlayerHavePowerup),
};

struct LoadedMod {
    void* m_hLibrary = nullptr;
    TellWhatYouSupport m_pTellWhatYouSupport = nullptr;
    FindOutIfSupports m_pFindOutIfSupports = nullptr;
    GiveFunctionPointer m_pGiveFunctionPointer = nullptr;
};
LoadedMod g_VukMod;

template <typename T> T Export(void* library, const char* name) { return reinterpret_cast<T>(dlsym(library, name)); }

} // namespace

void FreeVukMod() {
    KRV_ORIGINAL_CallAtEveryTick = nullptr;
    KRV_ORIGINAL_CallWhenPlayerDefeatsTalvyCube = nullptr;
    if (g_VukMod.m_hLibrary) dlclose(g_VukMod.m_hLibrary);
    g_VukMod = LoadedMod();
}

bool TryToLoadVukMod() {
    FreeVukMod();
    void* library = dlopen(kModFile, RTLD_NOW | RTLD_LOCAL);
    if (!library) return false;
    g_VukMod.m_hLibrary = library;
    g_VukMod.m_pTellWhatYouSupport = Export<TellWhatYouSupport>(library, "Server_TellDLLWhatYouSupport");
    g_VukMod.m_pFindOutIfSupports = Export<FindOutIfSupports>(library, "Server_FindOutIfDLLSupportsThis");
    g_VukMod.m_pGiveFunctionPointer = Export<GiveFunctionPointer>(library, "Server_GiveFunctionPointerToDLL");
    if (!g_VukMod.m_pTellWhatYouSupport || !g_VukMod.m_pFindOutIfSupports || !g_VukMod.m_pGiveFunctionPointer) {
        FreeVukMod();
        return false;
    }
    KRV_ORIGINAL_CallAtEveryTick = Export<void (*)()>(library, "KRV_ORIGINAL_CallAtEveryTick");
    KRV_ORIGINAL_CallWhenPlayerDefeatsTalvyCube =
        Export<void (*)(Server_Player*, Server_TalvyCube*)>(library, "KRV_ORIGINAL_CallWhenPlayerDefeatsTalvyCube");
    g_VukMod.m_pTellWhatYouSupport(kInterfaceName);
    if (g_VukMod.m_pFindOutIfSupports(kInterfaceName) == 0) {
        FreeVukMod();
        return false;
    }
    int number = 1;
    for (void* function : kGivenFunctions) g_VukMod.m_pGiveFunctionPointer(number++, function);
    return true;
}
