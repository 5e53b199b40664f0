// Raised when an invariant of the world model breaks (an array destroyed while it still holds
// entries, a pool destroyed with live elements, a pointer handed to the wrong pool). Only the
// server's crash path catches it.
#pragma once
#include <stdexcept>
#include <string>

class WorldFatalError : public std::runtime_error {
public:
    explicit WorldFatalError(const std::string& what) : std::runtime_error(what) {}
};

// Destructors cannot throw without forcing every class that contains a world object (the
// World in Game and Server, a grid in a client record, test fixtures) to throw from its own
// destructor too. A destructor that finds an invariant broken therefore reports it with this:
// a console line and a "CRASH" entry in the log. What it leaves behind is unreachable or raises
// a WorldFatalError on its next use.
void ReportBrokenInvariant(const char* text);
