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
