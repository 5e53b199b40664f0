#include "core/StatusHttpServer.h"

#include <httplib.h>

#include <condition_variable>
#include <deque>
#include <mutex>

#include "core/StatusBoard.h"

namespace {

// Connections get a thread each up to this many, then wait their turn: a few slow or hostile
// connections hold only their own threads, and scrapers and browsers keep being served.
constexpr size_t kMaxConnectionThreads = 64;
constexpr time_t kIoTimeoutSeconds = 2;
constexpr size_t kMaxRequestBody = 1024;
// How long stopping waits for connections still running.
constexpr auto kStopGrace = std::chrono::seconds(3);

class ConnectionThreads : public httplib::TaskQueue {
public:
    explicit ConnectionThreads(std::atomic<bool>* abandoned) : m_pAbandoned(abandoned) {}

    void enqueue(std::function<void()> fn) override {
        std::lock_guard<std::mutex> lock(m_pState->m_Lock);
        if (m_pState->m_uiRunning >= kMaxConnectionThreads) {
            m_pState->m_Waiting.push_back(std::move(fn));
            return;
        }
        ++m_pState->m_uiRunning;
        std::thread([state = m_pState, job = std::move(fn)]() mutable { Run(state, std::move(job)); }).detach();
    }

    // A connection that keeps trickling bytes never ends on its own; past the grace its thread is
    // left to the end of the process, and the owner keeps the HTTP server alive for it.
    void shutdown() override {
        std::unique_lock<std::mutex> lock(m_pState->m_Lock);
        if (!m_pState->m_Idle.wait_for(lock, kStopGrace, [this] { return m_pState->m_uiRunning == 0; }))
            *m_pAbandoned = true;
    }

private:
    // Shared with the threads, which may outlive the queue.
    struct State {
        std::mutex m_Lock;
        std::condition_variable m_Idle;
        std::deque<std::function<void()>> m_Waiting;
        size_t m_uiRunning = 0;
    };

    static void Run(std::shared_ptr<State> state, std::function<void()> job) {
        for (;;) {
            job();
            std::lock_guard<std::mutex> lock(state->m_Lock);
            if (state->m_Waiting.empty()) {
                --state->m_uiRunning;
                state->m_Idle.notify_all();
                return;
            }
            job = std::move(state->m_Waiting.front());
            state->m_Waiting.pop_front();
        }
    }

    std::shared_ptr<State> m_pState = std::make_shared<State>();
    std::atomic<bool>* m_pAbandoned;
};

} // namespace

StatusHttpServer::StatusHttpServer(const StatusBoard& board)
    : m_Board(board), m_pServer(std::make_unique<httplib::Server>()) {
    httplib::Server& http = *m_pServer;
    http.new_task_queue = [this] { return new ConnectionThreads(&m_bAbandoned); };
    http.set_read_timeout(kIoTimeoutSeconds, 0);
    http.set_write_timeout(kIoTimeoutSeconds, 0);
    http.set_keep_alive_timeout(kIoTimeoutSeconds);
    http.set_keep_alive_max_count(16);
    http.set_payload_max_length(kMaxRequestBody);

    http.Get("/metrics", [this](const httplib::Request&, httplib::Response& res) {
        std::shared_ptr<const StatusSnapshot> s = m_Board.Current();
        res.set_content(RenderMetrics(s->m_Figures), "text/plain; version=0.0.4; charset=utf-8");
    });
    http.Get("/status.json", [this](const httplib::Request&, httplib::Response& res) {
        std::shared_ptr<const StatusSnapshot> s = m_Board.Current();
        res.set_content(RenderStatusJson(*s), "application/json");
    });
    http.Get("/", [](const httplib::Request&, httplib::Response& res) {
        res.set_content(StatusPageHtml(), "text/html; charset=utf-8");
    });
    http.Get("/healthz", [this](const httplib::Request&, httplib::Response& res) {
        bool healthy = m_Board.Healthy(kHealthySilence);
        res.status = healthy ? 200 : 503;
        res.set_content(healthy ? "ok\n" : "main loop stalled\n", "text/plain");
    });
}

StatusHttpServer::~StatusHttpServer() {
    m_pServer->stop();
    if (m_Thread.joinable()) m_Thread.join();
    // Threads of connections that would not end still use the server object.
    if (m_bAbandoned) (void)m_pServer.release();
}

bool StatusHttpServer::Start(const std::string& address, uint16_t port) {
    if (!m_pServer->bind_to_port(address, port)) return false;
    m_Thread = std::thread([this] { m_pServer->listen_after_bind(); });
    return true;
}
