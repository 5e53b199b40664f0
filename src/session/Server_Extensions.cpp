// Optional protocol features: what the server offers, what a client asks about, and which
// features each client declares it uses.
#include <cstring>

#include "core/Server.h"
#include "game/GameConstants.h"
#include "net/Packet.h"
#include "replication/Server_Client.h"

namespace {

constexpr uint8_t kOfferRecord = 76;      // 'L'
constexpr uint8_t kCostChartRecord = 123; // '{'

struct CostChartEntry {
    const char* item;
    uint32_t cost;
};
constexpr CostChartEntry kCostChart[] = {
    {"STONEBLOCK", kCostStoneBlock}, {"PERSONAL_BOUNCYPAD", kCostBouncyPad},
    {"ZORBINCUBE", kCostZorbinCube}, {"BUILDINGBLOCK", kCostBuildingBlock},
    {"IRSCUBE", kCostIRSCube},
};

constexpr const char* kOffers[] = {"KRV_MSG_COMMAND", "KRV_CSE1", "KRV_MULTI_UDP_CHANNEL"};

struct ExtensionFlag {
    const char* name;
    bool Server_Client::*flag;
};
constexpr ExtensionFlag kExtensionFlags[] = {
    {"KRV_CACHE_STRINGS", &Server_Client::m_bCacheStrings},
    {"KRV_FASTADD_NORMALPADS", &Server_Client::m_bFastAddNormalPads},
    {"KRV_ALPHA_BLEND_SUPPORT", &Server_Client::m_bAlphaBlendSupport},
    {"KRV_LOGIN_WITH_HIDE", &Server_Client::m_bLoginWithHide},
    {"KRV_CSE1", &Server_Client::m_bCSE1},
    {"KRV_CHAT_CHANNELS", &Server_Client::m_bChatChannels},
    {"KRV_MULTI_UDP_CHANNEL", &Server_Client::m_bMultiUdpChannel},
};

} // namespace

void Server::SendQueryExtensions(Packet* packet) {
    packet->AppendByte(100);
    packet->AppendU16(uint16_t(m_uiTickCount));
    for (const char* name : kOffers) {
        packet->AppendByte(kOfferRecord);
        packet->AppendString(name);
        packet->AppendByte(1);
    }
}

void Server_Client::HandleQueryExtension(Packet* packet, unsigned char visibleCount) {
    std::string name;
    packet->ReadString(name);
    Packet* answer = new Packet;
    answer->m_fResendRate = 0.5f;
    answer->AppendByte(kOfferRecord);
    answer->AppendString(name);
    // The count is shifted by one so that 0 keeps meaning "unknown extension".
    answer->AppendByte(name == "KRV_HOW_MANY_LOGGED_IN" ? uint8_t(visibleCount + 1) : 0);
    Send(kChannelWorld, answer);
}

void Server_Client::HandleQueryExtensionResponse(Packet* packet) {
    std::string name;
    uint8_t value = 0;
    packet->ReadString(name);
    packet->ReadByte(value);
    for (const ExtensionFlag& e : kExtensionFlags) {
        if (name == e.name) {
            this->*e.flag = value != 0;
            return;
        }
    }
    if (name == "KRV_COST_CHART_SUPPORT" && value == 1) {
        Packet* chart = new Packet;
        chart->m_fResendRate = 1.0f;
        for (const CostChartEntry& entry : kCostChart) {
            chart->AppendByte(kCostChartRecord);
            chart->AppendString(entry.item);
            chart->AppendU32(entry.cost);
        }
        Send(kChannelWorld, chart);
    }
}
