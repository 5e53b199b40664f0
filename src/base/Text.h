// Text helpers every layer uses.
#pragma once
#include <cctype>
#include <string>

// Byte by byte in the C locale: names and commands compare this way whatever bytes they hold.
inline std::string UpperCase(std::string text) {
    for (char& c : text) c = char(std::toupper(static_cast<unsigned char>(c)));
    return text;
}
