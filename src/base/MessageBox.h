// A fatal notice for the operator: title and text on stderr and in the day's log.
#pragma once

void ShowMessageBox(const char* text, const char* title);
