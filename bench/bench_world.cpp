// World model load: 100,000 normal pads over a 200,000 x 200,000 area are created, re-filed
// once, searched with 10,000 zone queries of a 4,000-unit box and destroyed; then the same
// pads are touched by one client slot to price the per-slot storage. Prints nanoseconds per
// operation and resident bytes per pad, at 32 and at 128 allocated client slots (each in a
// process of its own, so that one run's freed memory does not flatter the next).
//
// First, as a soak check, as many entities of mixed kinds and states live and die through the
// world; the program fails (exit status 1) unless every pool is back where it started, nothing
// was reported broken and the tidy gave every page of the emptied pools back.
//
//   bench_world [pads]        default 100000
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "base/LogChat.h"
#include "base/Settings.h"
#include "platform/Files.h"
#include "world/EntityClientBits.h"
#include "world/Server_Client_Entity.h"
#include "world/VUK_Zone.h"
#include "world/World.h"
#include "world/ZoneGridHolder.h"

namespace {

using Clock = std::chrono::steady_clock;

double NsPer(Clock::time_point start, size_t n) {
    return std::chrono::duration<double, std::nano>(Clock::now() - start).count() / double(n);
}

long ResidentBytes() {
    long pages = 0, resident = 0;
    FILE* f = std::fopen("/proc/self/statm", "r");
    if (!f) return 0;
    if (std::fscanf(f, "%ld %ld", &pages, &resident) != 2) resident = 0;
    std::fclose(f);
    return resident * sysconf(_SC_PAGESIZE);
}

size_t MallocInUse() {
    struct mallinfo2 m = mallinfo2();
    return m.uordblks + m.hblkhd;
}

// A small deterministic generator, so both runs build the same world.
struct Lcg {
    uint64_t state = 0x2545F4914F6CDD1DULL;
    uint32_t Next() {
        state = state * 6364136223846793005ULL + 1442695040888963407ULL;
        return uint32_t(state >> 33);
    }
    float Uniform(float lo, float hi) { return lo + (hi - lo) * float(Next() % 1'000'000) / 1'000'000.0f; }
};

// Bytes a malloc chunk of n requested bytes occupies (glibc, 64-bit).
size_t Chunk(size_t n) { return std::max<size_t>(32, (n + 8 + 15) & ~size_t(15)); }

struct Breakdown {
    double entity = 0, groupRecords = 0, groupEntries = 0, groupList = 0;
    double zoneRecords = 0, zoneEntries = 0, zoneList = 0, zones = 0, rows = 0;
};

// What each part of a pad costs, counted from the live structures.
Breakdown Count(const World& w, size_t pads) {
    Breakdown b;
    b.entity = double(sizeof(Server_Entity));
    double zoneLinks = 0, zoneListBytes = 0, groupListBytes = 0;
    for (uint32_t i = 0; i < w.m_AllEntities.Count(); ++i) {
        const Server_Entity* e = w.m_AllEntities.GetEntity(i);
        zoneLinks += e->m_ZoneLinks.Count();
        if (e->m_ZoneLinks.HeapBytes()) zoneListBytes += double(Chunk(e->m_ZoneLinks.HeapBytes()));
        if (e->m_GroupLinks.HeapBytes()) groupListBytes += double(Chunk(e->m_GroupLinks.HeapBytes()));
    }
    b.groupRecords = 2 * double(sizeof(PFAE_Info));
    b.groupEntries = 2 * 12.0;
    b.groupList = groupListBytes / double(pads);
    b.zoneRecords = zoneLinks / double(pads) * double(sizeof(PFAE_Info));
    b.zoneList = zoneListBytes / double(pads);
    double zoneCount = 0, rowCount = 0, entryBytes = 0;
    const VUK_Grid& g = w.m_Grid;
    if (g.m_pMapStack) {
        for (uint32_t l = 0; l < g.m_uiLayerCount; ++l) {
            VUK_Map* map = g.m_pMapStack->m_ppMaps[l];
            if (!map) continue;
            for (uint32_t r = 0; r < g.m_uiRowCount; ++r) {
                VUK_ZoneLine* line = map->m_ppLines[r];
                if (!line) continue;
                ++rowCount;
                for (uint32_t z = 0; z < g.m_uiZoneCount; ++z) {
                    VUK_Zone* zone = line->m_ppZones[z];
                    if (!zone) continue;
                    ++zoneCount;
                    for (const VUKFastArray_Entity& list : zone->m_Lists)
                        if (list.HasStorage()) entryBytes += double(Chunk(size_t(list.Capacity()) * 12));
                }
            }
        }
    }
    b.zoneEntries = entryBytes / double(pads);
    b.zones = zoneCount * double(sizeof(VUK_Zone)) / double(pads);
    b.rows = rowCount * double(sizeof(VUK_ZoneLine) + Chunk(g.m_uiZoneCount * sizeof(void*))) / double(pads);
    return b;
}

void Run(uint32_t slots, size_t pads) {
    g_uiAllocatedClientUINs = slots;
    std::printf("\n== %u client slots, %zu normal pads ==\n", slots, pads);
    Lcg rng;
    std::vector<Server_Entity*> made;
    made.reserve(pads);
    auto world = std::make_unique<World>();
    World& w = *world;

    long rss0 = ResidentBytes();
    size_t heap0 = MallocInUse();
    // As the loader does: make the pad (filed at the origin), set its box, file it again.
    Clock::duration making{}, placing{};
    for (size_t i = 0; i < pads; ++i) {
        auto t0 = Clock::now();
        Server_Entity* e = w.ProperAddByType(kKindNormalPad);
        auto t1 = Clock::now();
        e->m_vPosition.Set(rng.Uniform(-100'000, 100'000), rng.Uniform(0, 1'500), rng.Uniform(-100'000, 100'000));
        float s = rng.Uniform(50, 400);
        e->m_vSize.Set(s, rng.Uniform(20, 200), s);
        auto t2 = Clock::now();
        w.UpdateGroupsAndZonesEntityIsIn(e);
        auto t3 = Clock::now();
        making += t1 - t0;
        placing += t3 - t2;
        made.push_back(e);
    }
    double create = std::chrono::duration<double, std::nano>(making).count() / double(pads);
    double place = std::chrono::duration<double, std::nano>(placing).count() / double(pads);
    auto t = Clock::now();
    long rss1 = ResidentBytes();
    size_t heap1 = MallocInUse();

    t = Clock::now();
    for (Server_Entity* e : made) {
        e->m_vPosition.x += 150.0f;
        w.UpdateGroupsAndZonesEntityIsIn(e);
    }
    double refile = NsPer(t, pads);

    t = Clock::now();
    for (Server_Entity* e : made) {
        e->m_vPosition.x -= 150.0f;
        w.UpdateZonesEntityIsIn(e);
    }
    double refileZones = NsPer(t, pads);
    long rss2 = ResidentBytes();

    // Zone queries: a 4,000-unit box around a random point; every entity of the master lists is
    // read and tested against the box, as a proximity rule would.
    const size_t queries = 10'000;
    std::vector<VUKVector> centres;
    for (size_t i = 0; i < queries; ++i)
        centres.emplace_back(rng.Uniform(-100'000, 100'000), rng.Uniform(0, 1'500), rng.Uniform(-100'000, 100'000));
    size_t zonesVisited = 0, entriesSeen = 0, touching = 0;
    t = Clock::now();
    for (const VUKVector& c : centres) {
        ZoneQuery q = ZoneQuery::Box(w.m_Grid, c - VUKVector(2000, 2000, 2000), c + VUKVector(2000, 2000, 2000));
        ZoneLooper looper(&w.m_Grid, &q);
        for (VUK_Zone* z = looper.GetFirst(); z; z = looper.GetNext()) ++zonesVisited;
    }
    double walk = NsPer(t, queries);
    Server_Entity probe;
    probe.m_vSize.Set(4000, 4000, 4000);
    t = Clock::now();
    for (const VUKVector& c : centres) {
        probe.m_vPosition = c;
        ZoneQuery q = ZoneQuery::Box(w.m_Grid, c - VUKVector(2000, 2000, 2000), c + VUKVector(2000, 2000, 2000));
        ZoneLooper looper(&w.m_Grid, &q);
        for (VUK_Zone* z = looper.GetFirst(); z; z = looper.GetNext()) {
            const VUKFastArray_Entity& all = z->List(kZoneAll);
            entriesSeen += all.Count();
            for (uint32_t i = 0; i < all.Count(); ++i) touching += TouchTest(all.GetEntity(i), &probe);
        }
    }
    double query = NsPer(t, queries);

    Breakdown b = Count(w, pads);
    double perPad = double(rss1 - rss0) / double(pads);
    std::printf("%-44s %10s\n", "operation", "ns/op");
    std::printf("%-44s %10.0f\n", "ProperAddByType (made, filed at the origin)", create);
    std::printf("%-44s %10.0f\n", "first re-file at its place", place);
    std::printf("%-44s %10.0f\n", "re-file groups and zones", refile);
    std::printf("%-44s %10.0f\n", "re-file zones only", refileZones);
    std::printf("%-44s %10.0f   (%.1f zones)\n", "zone query, walk only", walk, double(zonesVisited) / queries);
    std::printf("%-44s %10.0f   (%.0f entries, %.1f touching)\n", "zone query, touch-test every entry", query,
                double(entriesSeen) / queries, double(touching) / queries);

    std::printf("\n%-44s %10s\n", "memory per pad", "bytes");
    std::printf("%-44s %10.0f\n", "resident, measured after creation", perPad);
    std::printf("%-44s %10.0f\n", "resident, measured after re-filing", double(rss2 - rss0) / double(pads));
    std::printf("%-44s %10.0f\n", "  of it malloc'd (link lists, array storage)", double(heap1 - heap0) / double(pads));
    std::printf("%-44s %10.0f\n", "  entity object (pool)", b.entity);
    std::printf("%-44s %10.0f\n", "  group link records, 2 x 8 (pool)", b.groupRecords);
    std::printf("%-44s %10.0f\n", "  world array entries, 2 x 12", b.groupEntries);
    std::printf("%-44s %10.0f\n", "  group link list (malloc chunk)", b.groupList);
    std::printf("%-44s %10.0f   (%.1f entries)\n", "  zone link records (pool)", b.zoneRecords, b.zoneRecords / 8);
    std::printf("%-44s %10.0f\n", "  zone array storage (malloc chunks)", b.zoneEntries);
    std::printf("%-44s %10.0f\n", "  zone link list (malloc chunk)", b.zoneList);
    std::printf("%-44s %10.0f\n", "  zones (pool)", b.zones);
    std::printf("%-44s %10.0f\n", "  rows (pool + zone pointer array)", b.rows);
    double counted = b.entity + b.groupRecords + b.groupEntries + b.groupList + b.zoneRecords + b.zoneEntries +
                     b.zoneList + b.zones + b.rows;
    std::printf("%-44s %10.0f\n", "  sum of the parts", counted);

    // What a pad costs for the clients: its row of client bits (pending, filed, waiting, viewed).
    std::printf("%-44s %10.1f\n", "client bit row per pad",
                double(g_EntityClientBits.Bytes()) / double(g_EntityClientBits.IndexLimit()));

    t = Clock::now();
    for (Server_Entity* e : made) w.ProperDestroy(e);
    double destroy = NsPer(t, pads);
    std::printf("\n%-44s %10.0f\n", "destroy (ns/op)", destroy);
    OptimizeGlobalHeaps();
    std::printf(
        "%-44s %10llu\n", "pool pages still committed after destroy",
        (unsigned long long)(g_VukHeap_ServerEntity.ChainCommittedPages() + g_VukHeap_PFAE_Info.ChainCommittedPages() +
                             g_VukHeap_VukZone.ChainCommittedPages() + g_VukHeap_VukZoneLine.ChainCommittedPages()));
}

// The soak check. It runs in a fresh folder, so that whatever the world logs can be read back.
bool LifetimeLeavesNoTrace(size_t count) {
    const VukHeap* pools[] = {&g_VukHeap_ServerEntity, &g_VukHeap_ServerZorbinCube, &g_VukHeap_ServerPalaceCube,
                              &g_VukHeap_PFAE_Info,    &g_VukHeap_VukZone,          &g_VukHeap_VukZoneLine,
                              &g_VukHeap_Links};
    std::vector<uint64_t> before;
    for (const VukHeap* pool : pools) before.push_back(pool->ChainLiveCount());
    char folder[] = "/tmp/bench_world.XXXXXX";
    if (!mkdtemp(folder) || chdir(folder) != 0) return false;
    std::printf("== lifetime of %zu entities of mixed kinds ==\n", count);
    Lcg rng;
    size_t peak = 0;
    uint32_t zones = 0;
    auto t = Clock::now();
    {
        World w;
        std::vector<Server_Entity*> made;
        made.reserve(count);
        for (size_t i = 0; i < count; ++i) {
            uint8_t kind = (i % 10 == 0) ? kKindZorbinCube : (i % 25 == 1) ? kKindPalaceCube : kKindNormalPad;
            Server_Entity* e = w.ProperAddByType(kind);
            e->m_vPosition.Set(rng.Uniform(-100'000, 100'000), rng.Uniform(0, 5'000), rng.Uniform(-100'000, 100'000));
            e->m_vSize.Set(rng.Uniform(10, 610), rng.Uniform(10, 610), rng.Uniform(10, 610));
            if (i % 7 == 0) e->m_ucSurfaceFlags |= kSurfacePlayerBuilt;
            if (i % 13 == 0) e->SetYaw(0.3f);
            w.UpdateGroupsAndZonesEntityIsIn(e);
            made.push_back(e);
        }
        peak = w.m_AllEntities.Count();
        // Every entity moves once more, then a third goes through the world; the world takes the rest.
        for (Server_Entity* e : made) {
            e->m_vPosition.x += 3000;
            w.UpdateZonesEntityIsIn(e);
        }
        for (size_t i = 0; i < made.size(); i += 3) w.ProperDestroy(made[i]);
        zones = w.m_Grid.CountZones();
    }
    double ms = std::chrono::duration<double, std::milli>(Clock::now() - t).count();
    OptimizeGlobalHeaps();
    bool poolsBack = true;
    uint64_t pagesLeft = 0;
    for (size_t i = 0; i < std::size(pools); ++i) {
        poolsBack = poolsBack && pools[i]->ChainLiveCount() == before[i];
        if (pools[i]->ChainLiveCount() == 0) pagesLeft += pools[i]->ChainCommittedPages();
    }
    std::string log;
    platform::ReadWholeFile(ChatLogFileName(), &log);
    const bool reported = log.find("CRASH") != std::string::npos;
    if (chdir("/") == 0) std::filesystem::remove_all(folder);
    std::printf("%-44s %10.0f\n", "create, move, destroy (ms)", ms);
    std::printf("%-44s %10zu   (%u zones before the world went)\n", "entities at the peak", peak, zones);
    std::printf("%-44s %10s\n", "pools back where they started", poolsBack ? "yes" : "NO");
    std::printf("%-44s %10llu\n", "pages of emptied pools left after the tidy", (unsigned long long)pagesLeft);
    std::printf("%-44s %10s\n", "broken invariants reported", reported ? "YES" : "none");
    return peak == count && poolsBack && pagesLeft == 0 && !reported;
}

// Runs body in a process of its own and returns its exit status (1 when it did not exit).
int InOwnProcess(const std::function<int()>& body) {
    std::fflush(stdout);
    pid_t child = fork();
    if (child == 0) {
        int status = body();
        std::fflush(stdout);
        _exit(status);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

} // namespace

int main(int argc, char** argv) {
    size_t pads = argc > 1 ? size_t(std::strtoul(argv[1], nullptr, 10)) : 100'000;
    if (pads == 0) pads = 100'000;
    int failed = InOwnProcess([&] { return LifetimeLeavesNoTrace(pads) ? 0 : 1; });
    for (uint32_t slots : {32u, 128u})
        failed |= InOwnProcess([&] {
            Run(slots, pads);
            return 0;
        });
    return failed;
}
