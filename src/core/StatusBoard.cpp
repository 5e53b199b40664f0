#include "core/StatusBoard.h"

#include <algorithm>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>

#include "core/Server.h"
#include "net/TransportCounters.h"
#include "replication/Server_Client.h"
#include "world/VUKHeap.h"

namespace {

int64_t NowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(StatusBoard::Clock::now().time_since_epoch()).count();
}

void Appendf(std::string& out, const char* format, ...) __attribute__((format(printf, 2, 3)));
void Appendf(std::string& out, const char* format, ...) {
    char buffer[512];
    va_list args;
    va_start(args, format);
    int n = vsnprintf(buffer, sizeof buffer, format, args);
    va_end(args);
    if (n > 0) out.append(buffer, std::min(size_t(n), sizeof buffer - 1));
}

// Names come from the server's own tables, but a metric label or a JSON string must never be
// broken by one.
std::string Escaped(const std::string& text) {
    std::string out;
    for (char c : text) {
        if (c == '"' || c == '\\') out.push_back('\\');
        if (static_cast<unsigned char>(c) < 0x20) continue;
        out.push_back(c);
    }
    return out;
}

// The world's arrays by kind, as the metrics label them.
struct KindArray {
    const char* m_szName;
    VUKFastArray_Entity World::*m_pArray;
};
constexpr KindArray kKindArrays[] = {
    {"player", &World::m_Players},          {"normal_pad", &World::m_NormalPads},
    {"fire_block", &World::m_FireBlocks},   {"talvy_cube", &World::m_TalvyCubes},
    {"oriset_cube", &World::m_OrisetCubes}, {"zorbin_cube", &World::m_ZorbinCubes},
    {"palace_cube", &World::m_PalaceCubes}, {"quillhob_cube", &World::m_QuillhobCubes},
};

void Metric(std::string& out, const char* name, const char* type, const char* help) {
    Appendf(out, "# HELP %s %s\n# TYPE %s %s\n", name, help, name, type);
}

} // namespace

void TickHistogram::Add(double seconds) {
    size_t i = 0;
    while (i < kTickBucketBounds.size() && seconds > kTickBucketBounds[i]) ++i;
    ++m_Buckets[i];
    ++m_uiCount;
    m_dSum += seconds;
}

std::string RenderMetrics(const StatusFigures& f) {
    std::string out;
    Metric(out, "quorvane_players_online", "gauge", "Clients with a logged-in player.");
    Appendf(out, "quorvane_players_online %u\n", f.m_uiPlayersOnline);
    Metric(out, "quorvane_clients_connected", "gauge", "Client records with a live connection.");
    Appendf(out, "quorvane_clients_connected %u\n", f.m_uiClientsConnected);
    Metric(out, "quorvane_entities", "gauge", "Entities in the world by kind.");
    for (const NamedCount& k : f.m_EntitiesByKind)
        Appendf(out, "quorvane_entities{kind=\"%s\"} %" PRIu64 "\n", Escaped(k.m_strName).c_str(), k.m_uiCount);
    Metric(out, "quorvane_game_ticks_per_second", "gauge", "Game ticks run in the last second.");
    Appendf(out, "quorvane_game_ticks_per_second %.0f\n", f.m_dGameTicksPerSecond);
    Metric(out, "quorvane_game_tick_rate", "gauge", "Game ticks per second the server aims at (15 to 30).");
    Appendf(out, "quorvane_game_tick_rate %d\n", f.m_iGameTickRate);
    Metric(out, "quorvane_game_ticks_total", "counter", "Game ticks run since start.");
    Appendf(out, "quorvane_game_ticks_total %" PRIu64 "\n", f.m_uiGameTicksTotal);

    Metric(out, "quorvane_tick_duration_seconds", "histogram", "Duration of one server pass.");
    uint64_t cumulative = 0;
    for (size_t i = 0; i < kTickBucketBounds.size(); ++i) {
        cumulative += f.m_TickDuration.m_Buckets[i];
        Appendf(out, "quorvane_tick_duration_seconds_bucket{le=\"%g\"} %" PRIu64 "\n", kTickBucketBounds[i],
                cumulative);
    }
    Appendf(out, "quorvane_tick_duration_seconds_bucket{le=\"+Inf\"} %" PRIu64 "\n", f.m_TickDuration.m_uiCount);
    Appendf(out, "quorvane_tick_duration_seconds_sum %.9f\n", f.m_TickDuration.m_dSum);
    Appendf(out, "quorvane_tick_duration_seconds_count %" PRIu64 "\n", f.m_TickDuration.m_uiCount);

    Metric(out, "quorvane_udp_received_bytes_total", "counter", "UDP payload bytes received.");
    Appendf(out, "quorvane_udp_received_bytes_total %" PRIu64 "\n", f.m_uiBytesIn);
    Metric(out, "quorvane_udp_sent_bytes_total", "counter", "UDP payload bytes sent.");
    Appendf(out, "quorvane_udp_sent_bytes_total %" PRIu64 "\n", f.m_uiBytesOut);
    Metric(out, "quorvane_udp_received_datagrams_total", "counter", "UDP datagrams received.");
    Appendf(out, "quorvane_udp_received_datagrams_total %" PRIu64 "\n", f.m_uiDatagramsIn);
    Metric(out, "quorvane_udp_sent_datagrams_total", "counter", "UDP datagrams sent.");
    Appendf(out, "quorvane_udp_sent_datagrams_total %" PRIu64 "\n", f.m_uiDatagramsOut);
    Metric(out, "quorvane_unacked_backlog", "gauge", "Update messages sent and not yet acknowledged, all clients.");
    Appendf(out, "quorvane_unacked_backlog %" PRIu64 "\n", f.m_uiUnackedBacklog);

    Metric(out, "quorvane_last_save_timestamp_seconds", "gauge", "Unix time the last save ended (0: none yet).");
    Appendf(out, "quorvane_last_save_timestamp_seconds %.3f\n", f.m_dLastSaveUnixTime);
    Metric(out, "quorvane_last_save_duration_seconds", "gauge", "Duration of the last save.");
    Appendf(out, "quorvane_last_save_duration_seconds %.6f\n", f.m_dLastSaveSeconds);

    Metric(out, "quorvane_pool_live_elements", "gauge", "Live elements of each pooled heap.");
    for (const PoolUse& p : f.m_Pools)
        Appendf(out, "quorvane_pool_live_elements{pool=\"%s\"} %" PRIu64 "\n", Escaped(p.m_strName).c_str(),
                p.m_uiLive);
    Metric(out, "quorvane_pool_capacity_elements", "gauge", "Elements the first pool of each heap holds.");
    for (const PoolUse& p : f.m_Pools)
        Appendf(out, "quorvane_pool_capacity_elements{pool=\"%s\"} %" PRIu64 "\n", Escaped(p.m_strName).c_str(),
                p.m_uiCapacity);
    Metric(out, "quorvane_pool_committed_pages", "gauge", "Memory pages committed to each pooled heap.");
    for (const PoolUse& p : f.m_Pools)
        Appendf(out, "quorvane_pool_committed_pages{pool=\"%s\"} %" PRIu64 "\n", Escaped(p.m_strName).c_str(),
                p.m_uiCommittedPages);
    return out;
}

std::string RenderStatusJson(const StatusSnapshot& s) {
    const StatusFigures& f = s.m_Figures;
    std::string out;
    Appendf(out, "{\"time\":%" PRId64 ",\"players_online\":%u,\"clients_connected\":%u,", f.m_iUnixTime,
            f.m_uiPlayersOnline, f.m_uiClientsConnected);
    out += "\"entities\":{";
    for (size_t i = 0; i < f.m_EntitiesByKind.size(); ++i)
        Appendf(out, "%s\"%s\":%" PRIu64, i ? "," : "", Escaped(f.m_EntitiesByKind[i].m_strName).c_str(),
                f.m_EntitiesByKind[i].m_uiCount);
    Appendf(out, "},\"game_tick_rate\":%d,\"game_ticks_per_second\":%.0f,\"game_ticks_total\":%" PRIu64 ",",
            f.m_iGameTickRate, f.m_dGameTicksPerSecond, f.m_uiGameTicksTotal);
    out += "\"tick_duration\":{\"buckets\":[";
    for (size_t i = 0; i < f.m_TickDuration.m_Buckets.size(); ++i) {
        if (i < kTickBucketBounds.size())
            Appendf(out, "%s[%g,%" PRIu64 "]", i ? "," : "", kTickBucketBounds[i], f.m_TickDuration.m_Buckets[i]);
        else
            Appendf(out, ",[null,%" PRIu64 "]", f.m_TickDuration.m_Buckets[i]);
    }
    Appendf(out, "],\"count\":%" PRIu64 ",\"sum\":%.9f},", f.m_TickDuration.m_uiCount, f.m_TickDuration.m_dSum);
    Appendf(out,
            "\"bytes_in\":%" PRIu64 ",\"bytes_out\":%" PRIu64 ",\"datagrams_in\":%" PRIu64 ",\"datagrams_out\":%" PRIu64
            ",\"unacked_backlog\":%" PRIu64 ",\"last_save_time\":%.3f,\"last_save_seconds\":%.6f,",
            f.m_uiBytesIn, f.m_uiBytesOut, f.m_uiDatagramsIn, f.m_uiDatagramsOut, f.m_uiUnackedBacklog,
            f.m_dLastSaveUnixTime, f.m_dLastSaveSeconds);
    out += "\"pools\":[";
    for (size_t i = 0; i < f.m_Pools.size(); ++i) {
        const PoolUse& p = f.m_Pools[i];
        Appendf(out,
                "%s{\"name\":\"%s\",\"live\":%" PRIu64 ",\"capacity\":%" PRIu64 ",\"committed_pages\":%" PRIu64 "}",
                i ? "," : "", Escaped(p.m_strName).c_str(), p.m_uiLive, p.m_uiCapacity, p.m_uiCommittedPages);
    }
    // The history goes out as columns: a sixth of the size of an array of objects.
    out += "],\"history\":{\"interval_seconds\":1,\"time\":[";
    auto column = [&](const char* name, auto value) {
        Appendf(out, "],\"%s\":[", name);
        for (size_t i = 0; i < s.m_History.size(); ++i) {
            if (i) out += ',';
            value(s.m_History[i]);
        }
    };
    for (size_t i = 0; i < s.m_History.size(); ++i)
        Appendf(out, "%s%" PRId64, i ? "," : "", s.m_History[i].m_iUnixTime);
    column("tick_ms_mean", [&](const HistoryPoint& p) { Appendf(out, "%.3f", p.m_dTickMeanMs); });
    column("tick_ms_max", [&](const HistoryPoint& p) { Appendf(out, "%.3f", p.m_dTickMaxMs); });
    column("players", [&](const HistoryPoint& p) { Appendf(out, "%u", p.m_uiPlayers); });
    column("game_ticks", [&](const HistoryPoint& p) { Appendf(out, "%u", p.m_uiGameTicks); });
    column("bytes_in", [&](const HistoryPoint& p) { Appendf(out, "%" PRIu64, p.m_uiBytesIn); });
    column("bytes_out", [&](const HistoryPoint& p) { Appendf(out, "%" PRIu64, p.m_uiBytesOut); });
    out += "]}}\n";
    return out;
}

StatusBoard::StatusBoard() : m_iLastPassNs(NowNs()), m_LastPublish(Clock::now()) {
    m_History.reserve(kStatusHistoryLength);
}

void StatusBoard::RecordPass(double tickSeconds) {
    m_iLastPassNs.store(NowNs(), std::memory_order_relaxed);
    m_Ticks.Add(tickSeconds);
    m_dSecondSum += tickSeconds;
    m_dSecondMax = std::max(m_dSecondMax, tickSeconds);
    ++m_uiSecondPasses;
}

void StatusBoard::MaybePublish(const Server& server) {
    if (m_bPublishedOnce && Clock::now() - m_LastPublish < std::chrono::seconds(1)) return;
    Publish(server);
}

StatusFigures StatusBoard::Gather(const Server& server) const {
    StatusFigures f;
    f.m_iUnixTime =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch()).count();
    f.m_uiPlayersOnline = server.CountClientsWithPlayer();
    f.m_uiClientsConnected = uint32_t(server.m_Clients.Length());
    for (const KindArray& k : kKindArrays) f.m_EntitiesByKind.push_back({k.m_szName, (server.*k.m_pArray).Count()});
    f.m_iGameTickRate = server.m_iGameTicksPerSecond;
    f.m_uiGameTicksTotal = server.m_uiTickCount;
    f.m_TickDuration = m_Ticks;
    f.m_uiBytesIn = g_TransportCounters.m_uiBytesIn.load(std::memory_order_relaxed);
    f.m_uiBytesOut = g_TransportCounters.m_uiBytesOut.load(std::memory_order_relaxed);
    f.m_uiDatagramsIn = g_TransportCounters.m_uiDatagramsIn.load(std::memory_order_relaxed);
    f.m_uiDatagramsOut = g_TransportCounters.m_uiDatagramsOut.load(std::memory_order_relaxed);
    for (Server_Client* client : server.m_Clients) f.m_uiUnackedBacklog += client->m_Pipe.Backlog();
    f.m_dLastSaveUnixTime = double(server.m_iLastSaveUnixMs) / 1000.0;
    f.m_dLastSaveSeconds = server.m_dLastSaveSeconds;
    for (const GlobalHeap& g : g_GlobalHeaps) {
        const VukHeap& h = *g.m_pHeap;
        f.m_Pools.push_back({h.Name(), h.ChainLiveCount(), h.ElementCount(), h.ChainCommittedPages()});
    }
    return f;
}

void StatusBoard::Publish(const Server& server) {
    Clock::time_point now = Clock::now();
    double elapsed = std::chrono::duration<double>(now - m_LastPublish).count();
    auto snapshot = std::make_shared<StatusSnapshot>();
    StatusFigures& f = snapshot->m_Figures;
    f = Gather(server);

    if (m_bPublishedOnce) {
        HistoryPoint p;
        p.m_iUnixTime = f.m_iUnixTime;
        p.m_dTickMeanMs = m_uiSecondPasses ? 1000.0 * m_dSecondSum / double(m_uiSecondPasses) : 0.0;
        p.m_dTickMaxMs = 1000.0 * m_dSecondMax;
        p.m_uiPlayers = f.m_uiPlayersOnline;
        p.m_uiGameTicks = server.m_uiTickCount - m_uiLastTickCount;
        p.m_uiBytesIn = f.m_uiBytesIn - m_uiLastBytesIn;
        p.m_uiBytesOut = f.m_uiBytesOut - m_uiLastBytesOut;
        f.m_dGameTicksPerSecond = elapsed > 0 ? double(p.m_uiGameTicks) / elapsed : 0.0;
        if (m_History.size() < kStatusHistoryLength)
            m_History.push_back(p);
        else
            m_History[m_uiHistoryNext] = p;
        m_uiHistoryNext = (m_uiHistoryNext + 1) % kStatusHistoryLength;
    }
    // Oldest first: the ring from its next slot on, once it is full.
    snapshot->m_History.reserve(m_History.size());
    size_t start = m_History.size() < kStatusHistoryLength ? 0 : m_uiHistoryNext;
    for (size_t i = 0; i < m_History.size(); ++i)
        snapshot->m_History.push_back(m_History[(start + i) % m_History.size()]);

    m_bPublishedOnce = true;
    m_LastPublish = now;
    m_dSecondSum = m_dSecondMax = 0.0;
    m_uiSecondPasses = 0;
    m_uiLastBytesIn = f.m_uiBytesIn;
    m_uiLastBytesOut = f.m_uiBytesOut;
    m_uiLastTickCount = server.m_uiTickCount;

    std::shared_ptr<const StatusSnapshot> published = std::move(snapshot);
    std::lock_guard<std::mutex> lock(m_Lock);
    m_pCurrent.swap(published);
    // The old snapshot is freed after the lock is released, when published leaves scope.
}

std::shared_ptr<const StatusSnapshot> StatusBoard::Current() const {
    std::lock_guard<std::mutex> lock(m_Lock);
    return m_pCurrent;
}

bool StatusBoard::Healthy(Clock::duration maxSilence) const {
    int64_t silence = NowNs() - m_iLastPassNs.load(std::memory_order_relaxed);
    return silence < std::chrono::duration_cast<std::chrono::nanoseconds>(maxSilence).count();
}
