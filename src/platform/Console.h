// Operator console: formatted output on stdout, single keys from stdin.
// A terminal gives keys without waiting for Enter; a pipe or file gives them byte by byte.
// End of input means no more keys; it never stops the server.
#pragma once
#include <string_view>

namespace platform {

void ConsoleInit();
void ConsoleRestore();

void ConsolePrintf(const char* format, ...) __attribute__((format(printf, 1, 2)));
void ConsoleWrite(std::string_view text);
void ErrorWrite(std::string_view text);

// True when a key can be read without blocking.
bool ConsoleKeyWaiting();
// A descriptor that turns readable when a key may be waiting, for a thread that rests: -1 when
// keys come from a test's source or the input has ended (a wait then relies on its time-out).
int ConsoleKeyWakeFd();
// Blocks for one key and echoes it. Returns -1 at the end of input or when a shutdown signal
// interrupts the wait.
int ConsoleReadKeyWithEcho();

// Tests feed keys without a terminal: while set, keys come from this source (-1 = none waiting).
using KeySource = int (*)();
void SetKeySource(KeySource source);

} // namespace platform
