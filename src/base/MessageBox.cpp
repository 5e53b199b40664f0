#include "base/MessageBox.h"

#include <string>

#include "base/LogChat.h"
#include "platform/Console.h"

void ShowMessageBox(const char* text, const char* title) {
    platform::ErrorWrite(std::string(title) + ": " + text + "\n");
    LogChat(title, text);
}
