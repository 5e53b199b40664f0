#include "support/TransportServer.h"

#include <csignal>

#include "headless/Records.h"

using namespace std::chrono_literals;

TransportServer::TransportServer(std::vector<std::string> extraEnvironment) {
    m_Port = FreeUdpPort();
    ServerProcess::Options options = ServerProcess::Unattended(m_Dir.Path(), m_Port);
    options.environment.insert(options.environment.end(), extraEnvironment.begin(), extraEnvironment.end());
    m_pProcess = std::make_unique<ServerProcess>(options);
    if (m_pProcess->WaitForOutput("THE SERVER IS NOW RUNNING!", 60s) == std::string::npos) return;
    // The port is bound a moment after the banner: a reliable message resent until it is
    // acknowledged tells when. The probe leaves at once so that it does not linger as a client.
    headless::HeadlessClient probe;
    if (!probe.Connect("127.0.0.1", uint16_t(m_Port))) return;
    probe.Send(0, headless::MovementSequenceRecord(0));
    m_bReady = probe.WaitUntil([&] { return probe.AllAcknowledged(); }, 30s);
    probe.SendLeave();
}

TransportServer::~TransportServer() {
    if (m_pProcess && m_pProcess->Running()) {
        m_pProcess->Signal(SIGTERM);
        m_pProcess->WaitForExit(20s);
    }
}

std::unique_ptr<headless::HeadlessClient> TransportServer::NewClient() {
    auto client = std::make_unique<headless::HeadlessClient>();
    client->m_bRecordDatagrams = true;
    client->m_bAutoKeepAlive = false;
    client->Connect("127.0.0.1", uint16_t(m_Port));
    return client;
}

Bytes QueryDatagram(uint8_t seq, const std::string& name) {
    Bytes d{5, seq};
    Bytes record = headless::QueryExtensionRecord(name);
    d.insert(d.end(), record.begin(), record.end());
    return d;
}

Bytes AnswerDatagram(uint8_t seq, const std::string& name, uint8_t value) {
    Bytes d{5, seq, 76, uint8_t(name.size()), 0, 0, 0};
    d.insert(d.end(), name.begin(), name.end());
    d.push_back(value);
    return d;
}

bool IsDataOf(const headless::Datagram& d, unsigned channel) {
    return d.kind == headless::DatagramKind::Data && d.channel == channel;
}
