#include "core/MessageBox.h"

#include <string>

#include "core/LogChat.h"
#include "platform/Console.h"

void ShowMessageBox(const char* text, const char* title) {
    platform::ErrorWrite(std::string(title) + ": " + text + "\n");
    LogChat(title, text);
}
