// The operator's view of a running server: figures gathered by the main loop once a second into
// an immutable snapshot, which the status thread renders as metrics, JSON or a page. The main
// loop never waits on the status thread: it only swaps a pointer under a lock that the reader
// holds for a pointer copy.
#pragma once
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

class Server;

// Upper bounds of the tick-duration histogram, in seconds; the last bucket (+Inf) is implicit.
inline constexpr std::array<double, 11> kTickBucketBounds = {0.0005, 0.001, 0.002, 0.005, 0.01, 0.02,
                                                             0.033,  0.05,  0.1,   0.25,  1.0};
// The health check fails once the main loop has been silent this long.
inline constexpr auto kHealthySilence = std::chrono::seconds(2);
// One hour at one point a second.
inline constexpr size_t kStatusHistoryLength = 3600;

struct TickHistogram {
    std::array<uint64_t, kTickBucketBounds.size() + 1> m_Buckets{}; // per bucket, not cumulative
    uint64_t m_uiCount = 0;
    double m_dSum = 0.0;

    void Add(double seconds);
};

struct NamedCount {
    std::string m_strName;
    uint64_t m_uiCount = 0;
};

struct PoolUse {
    std::string m_strName;
    uint64_t m_uiLive = 0;
    uint64_t m_uiCapacity = 0; // elements of the first pool of the chain
    uint64_t m_uiCommittedPages = 0;
};

// One second of the last hour.
struct HistoryPoint {
    int64_t m_iUnixTime = 0;
    double m_dTickMeanMs = 0.0;
    double m_dTickMaxMs = 0.0;
    uint32_t m_uiPlayers = 0;
    uint32_t m_uiGameTicks = 0;
    uint64_t m_uiBytesIn = 0;
    uint64_t m_uiBytesOut = 0;
};

struct StatusFigures {
    int64_t m_iUnixTime = 0;
    uint32_t m_uiPlayersOnline = 0;
    uint32_t m_uiClientsConnected = 0;
    std::vector<NamedCount> m_EntitiesByKind;
    int32_t m_iGameTickRate = 0;      // the adaptive target, 15 to 30
    double m_dGameTicksPerSecond = 0; // measured over the last second
    uint64_t m_uiGameTicksTotal = 0;
    TickHistogram m_TickDuration;
    uint64_t m_uiBytesIn = 0, m_uiBytesOut = 0;
    uint64_t m_uiDatagramsIn = 0, m_uiDatagramsOut = 0;
    uint64_t m_uiUnackedBacklog = 0;
    double m_dLastSaveUnixTime = 0.0; // 0: no save since start
    double m_dLastSaveSeconds = 0.0;
    std::vector<PoolUse> m_Pools;
};

struct StatusSnapshot {
    StatusFigures m_Figures;
    std::vector<HistoryPoint> m_History; // oldest first
};

// Renderings of a snapshot, free of any server state so that tests can feed them figures.
std::string RenderMetrics(const StatusFigures& f);
std::string RenderStatusJson(const StatusSnapshot& s);
// The page at "/": plots the last hour from /status.json, with no external assets.
const char* StatusPageHtml();

class StatusBoard {
public:
    using Clock = std::chrono::steady_clock;

    StatusBoard();

    // Main loop, every pass: the duration of the server tick just run.
    void RecordPass(double tickSeconds);
    // Main loop, with the server lock held: publishes a new snapshot when a second has passed.
    void MaybePublish(const Server& server);
    void Publish(const Server& server);

    // Any thread.
    std::shared_ptr<const StatusSnapshot> Current() const;
    // True while the main loop has passed within the last maxSilence.
    bool Healthy(Clock::duration maxSilence) const;

private:
    StatusFigures Gather(const Server& server) const;

    std::atomic<int64_t> m_iLastPassNs;
    Clock::time_point m_LastPublish;
    TickHistogram m_Ticks;
    // The current second's passes, for its history point.
    double m_dSecondSum = 0.0, m_dSecondMax = 0.0;
    uint64_t m_uiSecondPasses = 0;
    uint64_t m_uiLastBytesIn = 0, m_uiLastBytesOut = 0;
    uint32_t m_uiLastTickCount = 0;
    bool m_bPublishedOnce = false;
    std::vector<HistoryPoint> m_History; // ring of kStatusHistoryLength
    size_t m_uiHistoryNext = 0;

    mutable std::mutex m_Lock; // guards m_pCurrent only
    std::shared_ptr<const StatusSnapshot> m_pCurrent;
};
