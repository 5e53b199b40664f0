/* Mods that test the loader, one per build variant:
 * REQUIRED_ONLY: only the three required exports, no hooks.
 * UNSUPPORTED: says no to the interface; any later call leaves the file "mod_was_called.txt". */
#include <stdio.h>

#define EXPORT __attribute__((visibility("default")))

#ifdef UNSUPPORTED
static void Mark(void) {
    FILE* file = fopen("mod_was_called.txt", "w");
    if (file) fclose(file);
}
#endif

EXPORT void Server_TellDLLWhatYouSupport(const char* interfaceName) { (void)interfaceName; }

EXPORT int Server_FindOutIfDLLSupportsThis(const char* interfaceName) {
    (void)interfaceName;
#ifdef UNSUPPORTED
    return 0;
#else
    return 1;
#endif
}

EXPORT void Server_GiveFunctionPointerToDLL(int number, void* function) {
    (void)number;
    (void)function;
#ifdef UNSUPPORTED
    Mark();
#endif
}

#ifdef UNSUPPORTED
EXPORT void KRV_ORIGINAL_CallAtEveryTick(void) { Mark(); }
#endif
