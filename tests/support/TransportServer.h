// The real server on a free port for transport tests, with headless clients aimed at it.
#pragma once
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "headless/HeadlessClient.h"
#include "support/GameServer.h"

class TransportServer : public GameServer {
public:
    // extraArguments: more command-line options, e.g. a short peer time-out.
    explicit TransportServer(std::vector<std::string> extraArguments = {})
        : GameServer({}, std::move(extraArguments)) {}

    // A client with raw datagram recording on and keep-alives off, connected from a new port.
    std::unique_ptr<headless::HeadlessClient> NewClient() {
        auto client = GameServer::NewClient();
        client->m_bRecordDatagrams = true;
        client->m_bAutoKeepAlive = false;
        return client;
    }
};

using Bytes = std::vector<uint8_t>;

// Record 12 as one raw data datagram of channel 0 with the given number.
Bytes QueryDatagram(uint8_t seq, const std::string& name);
// The server's answer to a query as the whole data datagram: 5, seq, 76, u32 length, name, value.
Bytes AnswerDatagram(uint8_t seq, const std::string& name, uint8_t value);
bool IsDataOf(const headless::Datagram& d, unsigned channel);
