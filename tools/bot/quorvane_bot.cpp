// quorvane-bot: a load tester made of headless clients that play by the real rules.
//
//   quorvane-bot [--clients N] [--duration S] [--host H] [--port P]
//
// Each bot logs in (creating its player on the first run, logging back in on later ones), asks
// for world updates, and then at a steady rate steers (ten times a second, each steering record
// carrying an echo value the server returns), jumps and shoots (once a second) and chats (every
// five seconds). Progress goes to stderr once a second; the report at the end gives the
// steering-echo round trip, messages per second each way, resends and losses. Exit status: 0 for
// a clean run, 1 when the server stopped answering, logins failed or anything was lost, 2 for
// bad arguments.
#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

#include "headless/HeadlessSwarm.h"

namespace {

using Clock = std::chrono::steady_clock;
using Bytes = std::vector<uint8_t>;

constexpr auto kSteerPeriod = std::chrono::milliseconds(100);
// Keys go down and up again once a second: a jump and a shot each time.
constexpr auto kKeysPeriod = std::chrono::milliseconds(500);
constexpr auto kChatPeriod = std::chrono::seconds(5);
constexpr auto kLoginTimeout = std::chrono::seconds(10);
// The server keeps every connection alive once a second: this much silence means it is gone.
constexpr auto kSilenceLimit = std::chrono::seconds(5);
constexpr auto kDrainTime = std::chrono::seconds(3);

constexpr uint8_t kClientVersion = 84;
constexpr uint8_t kRecordKeys = 1, kRecordExistingLogin = 4, kRecordNewLogin = 5, kRecordReady = 6, kRecordChat = 8,
                  kRecordVersion = 9, kRecordSteer = 23, kRecordSteerEcho = 99, kAnswerWelcome = 100,
                  kAnswerNameTaken = 4;
constexpr uint16_t kKeyJump = 1u << 4, kKeyFire = 1u << 7;

void PutU16(Bytes& b, uint16_t v) {
    b.push_back(uint8_t(v));
    b.push_back(uint8_t(v >> 8));
}
void PutU32(Bytes& b, uint32_t v) {
    for (int shift = 0; shift < 32; shift += 8) b.push_back(uint8_t(v >> shift));
}
void PutF32(Bytes& b, float f) {
    uint32_t v;
    std::memcpy(&v, &f, 4);
    PutU32(b, v);
}
void PutString(Bytes& b, const std::string& s) {
    PutU32(b, uint32_t(s.size()));
    b.insert(b.end(), s.begin(), s.end());
}

Bytes Login(uint8_t type, const std::string& name) {
    Bytes b{kRecordVersion, kClientVersion, type};
    PutString(b, name);
    PutString(b, "botpw");
    return b;
}

struct Options {
    size_t clients = 10;
    double duration = 30.0;
    std::string host = "127.0.0.1";
    uint16_t port = 1983;
};

struct Bot {
    std::string name;
    bool loggedIn = false;
    bool triedExisting = false;
    uint16_t nextEcho = 1;
    std::vector<std::pair<uint16_t, Clock::time_point>> pendingEchoes;
    Clock::time_point nextSteer, nextAction, nextChat;
    bool keysDown = false;
    float heading = 0.0f;
};

struct Totals {
    uint64_t messagesIn = 0;
    uint64_t echoesSent = 0;
    uint64_t echoesAnswered = 0;
    std::vector<double> roundTripsMs;
};

bool ParseArguments(int argc, char** argv, Options* o) {
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (i + 1 >= argc) return false;
        const char* value = argv[++i];
        char* end = nullptr;
        if (arg == "--clients") {
            long n = std::strtol(value, &end, 10);
            if (*end || n < 1 || n > 1000) return false;
            o->clients = size_t(n);
        } else if (arg == "--duration") {
            o->duration = std::strtod(value, &end);
            if (*end || !(o->duration > 0) || o->duration > 86'400) return false;
        } else if (arg == "--host") {
            o->host = value;
        } else if (arg == "--port") {
            long p = std::strtol(value, &end, 10);
            if (*end || p < 1 || p > 65535) return false;
            o->port = uint16_t(p);
        } else {
            return false;
        }
    }
    return true;
}

double Percentile(std::vector<double> v, double p) {
    if (v.empty()) return 0.0;
    std::sort(v.begin(), v.end());
    size_t i = size_t(p * double(v.size() - 1) + 0.5);
    return v[std::min(i, v.size() - 1)];
}

void Act(Bot& bot, headless::HeadlessClient& client, Clock::time_point now, size_t index, Totals& totals) {
    if (now >= bot.nextSteer) {
        bot.nextSteer += kSteerPeriod;
        bot.heading += 0.1f;
        Bytes steer{kRecordSteer};
        PutU16(steer, bot.nextEcho);
        PutU16(steer, 0);
        PutF32(steer, bot.heading);
        PutF32(steer, bot.heading);
        steer.push_back(255);
        bot.pendingEchoes.emplace_back(bot.nextEcho, now);
        bot.nextEcho = uint16_t(bot.nextEcho == 0xffff ? 1 : bot.nextEcho + 1);
        ++totals.echoesSent;
        client.Send(0, steer);
    }
    if (now >= bot.nextAction) {
        bot.nextAction += kKeysPeriod;
        bot.keysDown = !bot.keysDown;
        Bytes keys{kRecordKeys};
        PutU16(keys, bot.keysDown ? uint16_t(kKeyJump | kKeyFire) : uint16_t(0));
        client.Send(0, keys);
    }
    if (now >= bot.nextChat) {
        bot.nextChat += kChatPeriod;
        Bytes chat{kRecordChat};
        PutString(chat, "load test line from bot " + std::to_string(index));
        client.Send(0, chat);
    }
}

// Takes every message the bot has received: login answers, steering echoes, the rest counted.
void Receive(Bot& bot, headless::HeadlessClient& client, Clock::time_point now, Totals& totals) {
    while (!client.m_Inbox.empty()) {
        headless::Message m = std::move(client.m_Inbox.front());
        client.m_Inbox.pop_front();
        ++totals.messagesIn;
        if (m.body.empty()) continue;
        if (!bot.loggedIn) {
            if (m.body[0] == kAnswerWelcome) {
                bot.loggedIn = true;
                client.Send(0, Bytes{kRecordReady});
            } else if (m.body.size() == 1 && m.body[0] == kAnswerNameTaken && !bot.triedExisting) {
                bot.triedExisting = true; // an earlier run made this player
                client.Send(0, Login(kRecordExistingLogin, bot.name));
            }
            continue;
        }
        if (m.body.size() == 7 && m.body[0] == kRecordSteerEcho) {
            uint16_t echo = uint16_t(m.body[1] | (m.body[2] << 8));
            auto it = std::find_if(bot.pendingEchoes.begin(), bot.pendingEchoes.end(),
                                   [&](const auto& p) { return p.first == echo; });
            if (it != bot.pendingEchoes.end()) {
                totals.roundTripsMs.push_back(std::chrono::duration<double, std::milli>(now - it->second).count());
                ++totals.echoesAnswered;
                bot.pendingEchoes.erase(it);
            }
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    Options o;
    if (!ParseArguments(argc, argv, &o)) {
        std::fputs("usage: quorvane-bot [--clients N] [--duration SECONDS] [--host HOST] [--port PORT]\n", stderr);
        return 2;
    }
    headless::HeadlessSwarm swarm;
    if (swarm.Connect(o.host, o.port, o.clients) != o.clients) {
        std::fprintf(stderr, "quorvane-bot: cannot open %zu connections to %s:%u\n", o.clients, o.host.c_str(),
                     unsigned(o.port));
        return 1;
    }
    std::vector<Bot> bots(o.clients);
    std::string run = std::to_string(getpid() % 100000);
    Clock::time_point start = Clock::now();
    for (size_t i = 0; i < o.clients; ++i) {
        bots[i].name = "bot" + run + "_" + std::to_string(i);
        swarm[i].Send(0, Login(kRecordNewLogin, bots[i].name));
    }

    Totals totals;
    Clock::time_point end =
        start + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(o.duration));
    Clock::time_point nextProgress = start + std::chrono::seconds(1);
    Clock::time_point lastHeard = start;
    uint64_t lastDatagrams = 0;
    bool started = false; // every bot logged in
    const char* failure = nullptr;
    uint64_t lastOut = 0, lastIn = 0;

    for (;;) {
        Clock::time_point now = Clock::now();
        bool draining = now >= end;
        if (draining && now >= end + kDrainTime) break;
        swarm.Poll(std::chrono::milliseconds(10));
        now = Clock::now();

        uint64_t datagrams = 0;
        size_t loggedIn = 0;
        for (size_t i = 0; i < swarm.Size(); ++i) {
            datagrams += swarm[i].m_uiDatagramsReceived;
            Receive(bots[i], swarm[i], now, totals);
            if (bots[i].loggedIn) {
                ++loggedIn;
                if (started && !draining) Act(bots[i], swarm[i], now, i, totals);
            }
        }
        if (datagrams != lastDatagrams) lastHeard = now;
        lastDatagrams = datagrams;
        if (now - lastHeard > kSilenceLimit) {
            failure = "the server stopped answering";
            break;
        }
        if (!started && loggedIn == bots.size()) {
            started = true;
            for (Bot& b : bots) b.nextSteer = b.nextAction = b.nextChat = now;
        }
        if (!started && now - start > kLoginTimeout) {
            failure = "not every bot could log in";
            break;
        }
        if (draining) {
            bool settled = true;
            for (size_t i = 0; i < swarm.Size(); ++i)
                if (!swarm[i].AllAcknowledged() || !bots[i].pendingEchoes.empty()) settled = false;
            if (settled) break;
        }
        if (now >= nextProgress) {
            nextProgress += std::chrono::seconds(1);
            uint64_t out = 0;
            for (size_t i = 0; i < swarm.Size(); ++i) out += swarm[i].m_uiMessagesSent;
            std::fprintf(stderr,
                         "%5.0fs  logged in %zu/%zu  sent %" PRIu64 " msg/s  received %" PRIu64
                         " msg/s  echo p50 %.1f ms\n",
                         std::chrono::duration<double>(now - start).count(), loggedIn, bots.size(), out - lastOut,
                         totals.messagesIn - lastIn, Percentile(totals.roundTripsMs, 0.5));
            lastOut = out;
            lastIn = totals.messagesIn;
        }
    }
    for (size_t i = 0; i < swarm.Size(); ++i) swarm[i].SendLeave();

    double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    uint64_t sent = 0, resends = 0, unacked = 0;
    for (size_t i = 0; i < swarm.Size(); ++i) {
        sent += swarm[i].m_uiMessagesSent;
        resends += swarm[i].m_uiResends;
        for (unsigned c = 0; c < headless::kChannels; ++c) unacked += swarm[i].Unacked(c) + swarm[i].Waiting(c);
    }
    uint64_t lost = unacked + (totals.echoesSent - totals.echoesAnswered);
    std::printf("bots %zu, %.1f s against %s:%u\n", bots.size(), seconds, o.host.c_str(), unsigned(o.port));
    std::printf("steering echo round trip: median %.2f ms, 99th percentile %.2f ms (%" PRIu64 " echoes)\n",
                Percentile(totals.roundTripsMs, 0.5), Percentile(totals.roundTripsMs, 0.99), totals.echoesAnswered);
    std::printf("messages per second: %.1f to the server, %.1f from the server\n", double(sent) / seconds,
                double(totals.messagesIn) / seconds);
    std::printf("resends %" PRIu64 ", losses %" PRIu64 "\n", resends, lost);
    if (failure) {
        std::printf("FAILED: %s\n", failure);
        std::fprintf(stderr, "quorvane-bot: %s (%s:%u)\n", failure, o.host.c_str(), unsigned(o.port));
        return 1;
    }
    return lost ? 1 : 0;
}
