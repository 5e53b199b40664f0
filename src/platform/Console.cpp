#include "platform/Console.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <poll.h>
#include <string>
#include <termios.h>
#include <unistd.h>

#include "platform/Signals.h"

namespace platform {
namespace {

std::mutex g_OutputLock;
bool g_bTerminalChanged = false;
termios g_SavedTerminal;
bool g_bEndOfInput = false;
int g_iPendingKey = -1;
std::atomic<KeySource> g_KeySource{nullptr};

void WriteAll(int fd, const char* data, size_t size) {
    while (size > 0) {
        ssize_t n = write(fd, data, size);
        if (n < 0) {
            if (errno == EINTR) continue;
            return;
        }
        data += n;
        size -= size_t(n);
    }
}

} // namespace

void ConsoleInit() {
    if (!isatty(STDIN_FILENO) || g_bTerminalChanged) return;
    if (tcgetattr(STDIN_FILENO, &g_SavedTerminal) != 0) return;
    termios raw = g_SavedTerminal;
    raw.c_lflag &= ~tcflag_t(ICANON | ECHO);
    raw.c_cc[VMIN] = 1;
    raw.c_cc[VTIME] = 0;
    if (tcsetattr(STDIN_FILENO, TCSANOW, &raw) == 0) g_bTerminalChanged = true;
}

void ConsoleRestore() {
    if (!g_bTerminalChanged) return;
    tcsetattr(STDIN_FILENO, TCSANOW, &g_SavedTerminal);
    g_bTerminalChanged = false;
}

void ConsoleWrite(std::string_view text) {
    std::lock_guard<std::mutex> lock(g_OutputLock);
    WriteAll(STDOUT_FILENO, text.data(), text.size());
}

void ErrorWrite(std::string_view text) {
    std::lock_guard<std::mutex> lock(g_OutputLock);
    WriteAll(STDERR_FILENO, text.data(), text.size());
}

void ConsolePrintf(const char* format, ...) {
    char small[1024];
    va_list args;
    va_start(args, format);
    int n = vsnprintf(small, sizeof small, format, args);
    va_end(args);
    if (n < 0) return;
    if (size_t(n) < sizeof small) {
        ConsoleWrite(std::string_view(small, size_t(n)));
        return;
    }
    std::string big(size_t(n) + 1, '\0');
    va_start(args, format);
    vsnprintf(big.data(), big.size(), format, args);
    va_end(args);
    big.resize(size_t(n));
    ConsoleWrite(big);
}

void SetKeySource(KeySource source) { g_KeySource.store(source); }

bool ConsoleKeyWaiting() {
    if (KeySource source = g_KeySource.load()) {
        if (g_iPendingKey < 0) g_iPendingKey = source();
        return g_iPendingKey >= 0;
    }
    if (g_iPendingKey >= 0) return true;
    if (g_bEndOfInput) return false;
    pollfd p{STDIN_FILENO, POLLIN, 0};
    if (poll(&p, 1, 0) <= 0) return false;
    if (!(p.revents & (POLLIN | POLLHUP | POLLERR))) return false;
    unsigned char c;
    ssize_t n = read(STDIN_FILENO, &c, 1);
    if (n == 1) {
        g_iPendingKey = c;
        return true;
    }
    if (n == 0 || (n < 0 && errno != EINTR && errno != EAGAIN)) g_bEndOfInput = true;
    return false;
}

int ConsoleKeyWakeFd() {
    if (g_KeySource.load() || g_bEndOfInput) return -1;
    return STDIN_FILENO;
}

int ConsoleReadKeyWithEcho() {
    int key = -1;
    if (g_iPendingKey >= 0) {
        key = g_iPendingKey;
        g_iPendingKey = -1;
    } else if (KeySource source = g_KeySource.load()) {
        key = source();
    } else {
        while (!g_bEndOfInput && !ShutdownRequested()) {
            unsigned char c;
            ssize_t n = read(STDIN_FILENO, &c, 1);
            if (n == 1) {
                key = c;
                break;
            }
            if (n == 0 || (n < 0 && errno != EINTR)) g_bEndOfInput = true;
        }
    }
    if (key < 0) return -1;
    char echo = char(key);
    ConsoleWrite(std::string_view(&echo, 1));
    return key;
}

} // namespace platform
