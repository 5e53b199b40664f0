/* An example mod for the Quorvane server: it counts game ticks and pays one pocket coin to a
 * named player every minute (1,800 ticks), showing the player a short popup each time.
 *
 * The player and the interval are read from "example_mod.txt" in the server's working folder:
 * the name, then optionally the number of ticks between payments. Without the file nobody is
 * paid. Built as "VukServer_Mod.dll" and placed next to the server, it is loaded at start. */
#include <stdbool.h>
#include <stdio.h>
#include <string.h>

#define EXPORT __attribute__((visibility("default")))

typedef struct Player Player; /* the server's player: an opaque handle here */

static Player* (*GetHandleToPlayerByPlayerName)(const char* name);
static void (*AddCoinsToPlayer)(Player* player, int amount);
static void (*DisplayPlayerMiniPopupWindow)(Player* player, const char* text, float time);
static bool (*DoesPlayerHavePowerup)(Player* player, const char* powerup);

static char g_name[64];
static unsigned long g_interval = 1800;
static unsigned long g_ticks;

static void ReadSettings(void) {
    FILE* file = fopen("example_mod.txt", "r");
    if (!file) return;
    if (fscanf(file, "%63s %lu", g_name, &g_interval) < 1) g_name[0] = '\0';
    if (g_interval == 0) g_interval = 1800;
    fclose(file);
}

EXPORT void Server_TellDLLWhatYouSupport(const char* interfaceName) { (void)interfaceName; }

EXPORT int Server_FindOutIfDLLSupportsThis(const char* interfaceName) {
    return strcmp(interfaceName, "KRV_ORIGINAL") == 0;
}

EXPORT void Server_GiveFunctionPointerToDLL(int number, void* function) {
    switch (number) {
    case 1:
        GetHandleToPlayerByPlayerName = (Player * (*)(const char*)) function;
        break;
    case 2:
        AddCoinsToPlayer = (void (*)(Player*, int))function;
        break;
    case 3:
        DisplayPlayerMiniPopupWindow = (void (*)(Player*, const char*, float))function;
        break;
    case 4:
        DoesPlayerHavePowerup = (bool (*)(Player*, const char*))function;
        break;
    default:
        break;
    }
    if (number == 4) ReadSettings();
}

EXPORT void KRV_ORIGINAL_CallAtEveryTick(void) {
    if (++g_ticks % g_interval != 0 || g_name[0] == '\0' || !GetHandleToPlayerByPlayerName) return;
    Player* player = GetHandleToPlayerByPlayerName(g_name);
    if (!player) return;
    /* A player under the Cola of Smiley is paid double. */
    AddCoinsToPlayer(player, DoesPlayerHavePowerup(player, "Cola of Smiley") ? 2 : 1);
    DisplayPlayerMiniPopupWindow(player, "The example mod paid you.", 3.0f);
}
