// qv_client: talk to a Quorvane server by hand.
//   qv_client HOST:PORT [-c CHANNEL] [-w SECONDS] [-i] [HEX ...]
// Each HEX argument is sent as one reliable message on the channel (default 0); with -i, lines
// from standard input are sent too ("HEX" or "CHANNEL:HEX"). Every message received is printed
// as "ch N: hex". The program listens for -w seconds (default 3) after the last message it
// sent was acknowledged, then says goodbye with a leave datagram.
#include <poll.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "headless/HeadlessClient.h"

namespace {

void Usage() {
    std::fprintf(stderr, "usage: qv_client HOST:PORT [-c CHANNEL] [-w SECONDS] [-i] [HEX ...]\n"
                         "  sends each HEX (e.g. \"0c 16000000 4b52565f...\") as one message on CHANNEL,\n"
                         "  prints every message received as \"ch N: hex\"; -i also reads \"[CHANNEL:]HEX\"\n"
                         "  lines from standard input; -w is how long to listen after the last answer.\n");
}

bool ParseChannel(const std::string& text, unsigned* channel) {
    char* end = nullptr;
    unsigned long v = std::strtoul(text.c_str(), &end, 10);
    if (text.empty() || *end || v >= headless::kChannels) return false;
    *channel = unsigned(v);
    return true;
}

void PrintInbox(headless::HeadlessClient& client) {
    while (!client.m_Inbox.empty()) {
        const headless::Message& m = client.m_Inbox.front();
        std::printf("ch %u: %s\n", m.channel, headless::ToHex(m.body).c_str());
        client.m_Inbox.pop_front();
    }
    std::fflush(stdout);
}

// One "[CHANNEL:]HEX" line; false with a message when it does not parse.
bool SendLine(headless::HeadlessClient& client, std::string line, unsigned channel) {
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
    if (line.empty()) return true;
    size_t colon = line.find(':');
    if (colon != std::string::npos && colon <= 2) {
        if (!ParseChannel(line.substr(0, colon), &channel)) {
            std::fprintf(stderr, "bad channel in: %s\n", line.c_str());
            return false;
        }
        line = line.substr(colon + 1);
    }
    std::vector<uint8_t> body;
    if (!headless::FromHex(line, &body) || body.empty()) {
        std::fprintf(stderr, "not a hex message: %s\n", line.c_str());
        return false;
    }
    client.Send(channel, body);
    return true;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        Usage();
        return 2;
    }
    std::string target = argv[1];
    size_t colon = target.rfind(':');
    if (colon == std::string::npos) {
        Usage();
        return 2;
    }
    const std::string host = target.substr(0, colon);
    const int port = std::atoi(target.c_str() + colon + 1);
    if (port <= 0 || port > 65535) {
        std::fprintf(stderr, "bad port: %s\n", target.c_str() + colon + 1);
        return 2;
    }

    unsigned channel = 0;
    double listenSeconds = 3.0;
    bool interactive = false;
    std::vector<std::string> messages;
    for (int i = 2; i < argc; ++i) {
        std::string a = argv[i];
        if (a == "-c" && i + 1 < argc) {
            if (!ParseChannel(argv[++i], &channel)) {
                std::fprintf(stderr, "channel must be 0 to 15\n");
                return 2;
            }
        } else if (a == "-w" && i + 1 < argc) {
            listenSeconds = std::atof(argv[++i]);
        } else if (a == "-i") {
            interactive = true;
        } else if (a == "-h" || a == "--help") {
            Usage();
            return 0;
        } else {
            messages.push_back(a);
        }
    }

    headless::HeadlessClient client;
    if (!client.Connect(host, uint16_t(port))) {
        std::fprintf(stderr, "cannot reach %s\n", target.c_str());
        return 1;
    }
    for (const std::string& m : messages)
        if (!SendLine(client, m, channel)) return 2;

    bool inputOpen = interactive;
    std::string pending;
    auto quietSince = std::chrono::steady_clock::now();
    const auto listen = std::chrono::duration<double>(listenSeconds);
    for (;;) {
        pollfd fds[2] = {{client.Socket(), POLLIN, 0}, {0, POLLIN, 0}};
        poll(fds, inputOpen ? 2 : 1, 20);
        client.Poll();
        PrintInbox(client);
        if (inputOpen && (fds[1].revents & (POLLIN | POLLHUP))) {
            // Read without stdio so that poll() sees every line that is still waiting.
            char buffer[65536];
            ssize_t n = read(0, buffer, sizeof buffer);
            if (n <= 0) {
                inputOpen = false;
                pending.push_back('\n');
            } else {
                pending.append(buffer, size_t(n));
            }
            for (size_t end = pending.find('\n'); end != std::string::npos; end = pending.find('\n')) {
                SendLine(client, pending.substr(0, end), channel);
                pending.erase(0, end + 1);
            }
        }
        if (inputOpen || !client.AllAcknowledged() || !client.m_Inbox.empty())
            quietSince = std::chrono::steady_clock::now();
        else if (std::chrono::steady_clock::now() - quietSince > listen)
            break;
    }
    client.SendLeave();
    return client.AllAcknowledged() ? 0 : 1;
}
