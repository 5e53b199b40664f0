// Save and load of a large world.
//   bench_persist [--pads N] [--players N] [--runs N] [--dir FOLDER]
// Builds a world of labelled pads with attributes and a population of players, then
// 1. saves it (both files, each with its dated backup, each flushed to disk and renamed into
//    place) and compares the time with a plain durable write of the same bytes to the same
//    names, in the same run: the save should take at most twice as long;
// 2. loads both files into a fresh server (goal: 100,000 entities in under 300 ms);
// 3. saves the loaded world again and checks that the files come out as large.
// Times are the median of the runs.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "base/Settings.h"
#include "core/Server.h"
#include "net/Packet.h"
#include "persist/Server_File.h"
#include "platform/Files.h"
#include "world/Server_EntityKinds.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Options {
    int pads = 100'000;
    int players = 1'000;
    int runs = 5;
    std::string dir;
};

double Ms(Clock::duration d) { return std::chrono::duration<double, std::milli>(d).count(); }

double CpuMs() {
    timespec t;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return double(t.tv_sec) * 1e3 + double(t.tv_nsec) / 1e6;
}

double Median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

// A fixed sequence, so every run builds the same world.
struct Lcg {
    uint32_t state = 12345;
    uint32_t Next() {
        state = state * 1664525u + 1013904223u;
        return state >> 8;
    }
    float Coordinate(float range) { return float(Next() % 1'000'000) / 1'000'000.0f * range - range / 2; }
};

void BuildWorld(Server& server, const Options& o) {
    Lcg rng;
    std::vector<std::string> labels;
    for (int i = 0; i < 2'000; ++i) labels.push_back("Pad area " + std::to_string(i));
    for (int i = 0; i < o.pads; ++i) {
        Server_Entity* pad = server.ProperAddByType(kKindNormalPad);
        pad->m_vPosition.Set(rng.Coordinate(60'000.0f), float(rng.Next() % 4'000), rng.Coordinate(60'000.0f));
        pad->m_vSize.Set(32.0f + float(rng.Next() % 200), 16.0f, 32.0f + float(rng.Next() % 200));
        pad->m_usTexture = uint16_t(1 + rng.Next() % 76);
        // Labels come in runs, as administrators build areas of alike pads.
        pad->SetLabel(labels[size_t(i / 7) % labels.size()]);
        if (i % 3 == 0) pad->SetEEA(kEEABounce, 5 + rng.Next() % 20);
        if (i % 7 == 0) pad->SetEEA(kEEAInverseAlpha, 100);
        if (i % 11 == 0) pad->SetYaw(0.5f);
        if (i % 50 == 0) {
            pad->m_ucSurfaceFlags |= kSurfaceTagPad;
            pad->SetEEA(kEEATagPayout, 10);
            pad->SetEEA(kEEATagLockTime, 10'800);
        }
        if (i % 97 == 0) {
            GoalPadStuff* goal = pad->GetOrCreateGoalPad();
            goal->m_strMessage = "Welcome to the area.";
            goal->m_vRespawnPoint.Set(0.0f, 100.0f, 0.0f);
            goal->m_iCoinReward = 100;
        }
        if (i % 500 == 0) {
            LiftStuff* lift = pad->GetOrCreateLift();
            lift->m_vEnd.Set(0.0f, 200.0f, 0.0f);
            lift->m_fSpeed = 1.0f;
        }
        server.UpdateGroupsAndZonesEntityIsIn(pad);
    }
    for (int i = 0; i < o.players; ++i) {
        auto* p = static_cast<Server_Player*>(server.ProperAddByType(kKindPlayer));
        p->m_vPosition.Set(rng.Coordinate(20'000.0f), 8.0f, rng.Coordinate(20'000.0f));
        p->m_strName = "Player" + std::to_string(i);
        p->m_strPassword = "secret" + std::to_string(i);
        p->m_uiEnergy = 5'000;
        p->m_i64PocketCoins = rng.Next() % 1'000'000;
        p->m_strTeamName = i % 4 ? "Team" + std::to_string(i % 10) : "";
        p->m_strEffectNames[0] = "Tri-Fire";
        p->m_fEffectTimes[0] = -100.0f;
        p->m_uiEffectIds[0] = 7;
        if (i % 5 == 0) p->m_IgnoreList.Append(new std::string("Player" + std::to_string(i + 1)));
        server.UpdateGroupsAndZonesEntityIsIn(p);
    }
}

size_t FileSize(const char* name) {
    struct stat st;
    return stat(name, &st) == 0 ? size_t(st.st_size) : 0;
}

void ParseOptions(int argc, char** argv, Options& o) {
    for (int i = 1; i + 1 < argc; i += 2) {
        if (!std::strcmp(argv[i], "--pads"))
            o.pads = std::atoi(argv[i + 1]);
        else if (!std::strcmp(argv[i], "--players"))
            o.players = std::atoi(argv[i + 1]);
        else if (!std::strcmp(argv[i], "--runs"))
            o.runs = std::max(1, std::atoi(argv[i + 1]));
        else if (!std::strcmp(argv[i], "--dir"))
            o.dir = argv[i + 1];
    }
}

// The bench's own folder: the save files, the backups and the log of the heaps growing.
void RemoveTree(const std::string& folder) {
    for (const char* sub : {"/backups", "/chat_logs"}) {
        for (const std::string& name : platform::ListDirectorySorted(folder + sub, ""))
            platform::DeleteFile(folder + sub + "/" + name);
        rmdir((folder + sub).c_str());
    }
    for (const std::string& name : platform::ListDirectorySorted(folder, "")) platform::DeleteFile(folder + "/" + name);
    rmdir(folder.c_str());
}

} // namespace

int main(int argc, char** argv) {
    Options o;
    ParseOptions(argc, argv, o);
    bool ownFolder = o.dir.empty();
    if (ownFolder) {
        char pattern[] = "bench_persist.XXXXXX";
        if (!mkdtemp(pattern)) return 1;
        o.dir = pattern;
    }
    char previous[4096];
    if (!getcwd(previous, sizeof previous) || chdir(o.dir.c_str()) != 0) return 1;

    std::printf("world: %d pads with labels and attributes, %d players; %d runs; folder %s\n", o.pads, o.players,
                o.runs, o.dir.c_str());
    auto built = Clock::now();
    auto server = std::make_unique<Server>();
    BuildWorld(*server, o);
    std::printf("built in %.1f ms\n\n", Ms(Clock::now() - built));

    // 1. Save against a plain durable write of the same bytes to the same names.
    std::vector<double> saveMs, plainMs;
    std::string world, players;
    for (int run = 0; run < o.runs; ++run) {
        auto t0 = Clock::now();
        server->SaveAll();
        saveMs.push_back(Ms(Clock::now() - t0));
        // The first save also settles the mode of texture-5 pads; the bytes of the last save are the
        // ones the round trip must reproduce.
        if (run == 0 || run + 1 == o.runs) {
            platform::ReadWholeFile(kWorldFileName, &world);
            platform::ReadWholeFile(kPlayersFileName, &players);
        }
        auto t1 = Clock::now();
        platform::MakeDirectory("backups");
        platform::WriteFileDurably(BackupFileName(kPlayersFileName), players);
        platform::WriteFileDurably(kPlayersFileName, players);
        platform::WriteFileDurably(BackupFileName(kWorldFileName), world);
        platform::WriteFileDurably(kWorldFileName, world);
        plainMs.push_back(Ms(Clock::now() - t1));
    }
    double bytes = 2.0 * double(world.size() + players.size());
    double save = Median(saveMs), plain = Median(plainMs);
    std::printf("save      : %8.1f ms  %8.1f MB/s   (world %zu bytes, players %zu bytes, each written twice)\n", save,
                bytes / save / 1e3, world.size(), players.size());
    std::printf("plain     : %8.1f ms  %8.1f MB/s   (same bytes, same names, same flushing)\n", plain,
                bytes / plain / 1e3);
    std::printf("ratio     : %8.2f        (goal: at most 2)\n", save / plain);

    // The part of the save that is ours: building both files in memory.
    std::vector<double> buildMs, buildCpuMs;
    for (int run = 0; run < o.runs; ++run) {
        double cpu = CpuMs();
        auto t0 = Clock::now();
        Packet worldPacket, playersPacket;
        BuildPlayersFile(server.get(), &playersPacket);
        BuildWorldFile(server.get(), &worldPacket);
        buildMs.push_back(Ms(Clock::now() - t0));
        buildCpuMs.push_back(CpuMs() - cpu);
    }
    double build = Median(buildMs);
    std::printf("build     : %8.1f ms  %8.1f MB/s   (%.1f ms CPU; both files in memory, no writing)\n\n", build,
                double(world.size() + players.size()) / build / 1e3, Median(buildCpuMs));

    // 2. Load into a fresh server.
    std::vector<double> loadMs;
    uint32_t entities = 0;
    for (int run = 0; run < o.runs; ++run) {
        auto fresh = std::make_unique<Server>();
        auto t0 = Clock::now();
        fresh->LoadRoutine();
        loadMs.push_back(Ms(Clock::now() - t0));
        entities = fresh->m_AllEntities.Count();
        if (run + 1 == o.runs) server = std::move(fresh);
    }
    double load = Median(loadMs);
    std::printf("load      : %8.1f ms  %8.1f MB/s  %8.0f entities/ms   (%u entities; goal: under 300 ms for 100,000)\n",
                load, double(world.size() + players.size()) / load / 1e3, entities / load, entities);

    // 3. The loaded world saves to as many bytes. (Entities are saved in address order, and a
    // fresh server's pools need not hand out addresses in the order of the first one's, so the
    // order of records may differ.)
    server->SaveAll();
    bool same = FileSize(kWorldFileName) == world.size() && FileSize(kPlayersFileName) == players.size();
    std::printf("round trip: %s\n\n", same ? "same sizes" : "DIFFERENT SIZES");

    // Compact mode, for the record.
    g_bCompactSaveMode = true;
    auto t0 = Clock::now();
    server->SaveAll();
    double compact = Ms(Clock::now() - t0);
    std::printf("compact   : %8.1f ms   (world %zu bytes, players %zu bytes)\n", compact, FileSize(kWorldFileName),
                FileSize(kPlayersFileName));

    server.reset();
    if (chdir(previous) != 0) return 1;
    if (ownFolder) RemoveTree(o.dir);
    return 0;
}
