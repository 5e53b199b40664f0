#include "support/TransportServer.h"

#include "headless/Records.h"

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
