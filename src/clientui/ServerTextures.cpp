// Server textures: the offer of the files in "ServerTextures/", the client's answer, and the
// streaming in the update message or on channel 3.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

#include "clientui/Windows.h"
#include "net/Packet.h"
#include "platform/Files.h"
#include "replication/Server_Client.h"
#include "replication/UpdateMessages.h"

using namespace replication;

namespace {

constexpr char kTextureFolder[] = "ServerTextures";
constexpr char kTextureSuffix[] = ".png";
// Names and chunks travel with a one-byte length.
constexpr size_t kMaxNameLength = 255;
constexpr uint32_t kMaxInBandChunk = 255;
// An update message that is already full still carries this much, so a transfer always moves on.
constexpr uint32_t kMinInBandRoom = 64;
constexpr uint32_t kMaxChannel3Chunk = 64;
// Queued plus unacknowledged: one chunk in flight and the next ready behind it.
constexpr uint32_t kMaxChannel3Backlog = 1;
constexpr size_t kNone = std::numeric_limits<size_t>::max();

// The number at the start of the name, read as atoi reads it (wrapping like its 32-bit result);
// 0 when the name does not start with a digit.
uint32_t TextureNumberOf(const std::string& name) {
    uint32_t number = 0;
    for (char c : name) {
        if (c < '0' || c > '9') break;
        number = number * 10 + uint32_t(c - '0');
    }
    return number;
}

uint32_t ByteSum(const std::string& data) {
    uint32_t sum = 0;
    for (char c : data) sum += uint8_t(c);
    return sum;
}

void PutNamed(Packet* packet, uint8_t type, const std::string& name) {
    packet->AppendByte(type);
    packet->AppendByte(uint8_t(name.size()));
    packet->AppendBytes(name.data(), name.size());
}

void PutReady(Packet* packet, const ServerTextureFile* file) {
    PutNamed(packet, kMsgTextureReady, file->m_strName);
    packet->AppendU16(uint16_t(file->m_uiTextureNumber));
}

// The next piece of the file, at most `most` bytes (1 to 255).
void PutChunk(Packet* packet, ServerTextureFile* file, uint32_t most) {
    const uint32_t count = std::min(file->m_uiSize - file->m_uiSentOffset, most);
    PutNamed(packet, kMsgTextureChunk, file->m_strName);
    packet->AppendByte(uint8_t(count));
    packet->AppendBytes(file->m_strData.data() + file->m_uiSentOffset, count);
    file->m_uiSentOffset += count;
}

size_t FirstRequested(const ServerTextureFileList& list) {
    for (size_t i = 0; i < list.Length(); ++i)
        if (list[i]->m_bRequested) return i;
    return kNone;
}

} // namespace

void Server_Client::SendServerTextures() {
    for (const std::string& name : platform::ListDirectorySorted(kTextureFolder, kTextureSuffix)) {
        const uint32_t number = TextureNumberOf(name);
        if (number == 0 || name.size() > kMaxNameLength) continue;
        std::string path = kTextureFolder;
        path.append("/").append(name);
        std::string data;
        // Sizes travel as 32 bits.
        if (!platform::ReadWholeFile(path, &data) || data.size() > std::numeric_limits<uint32_t>::max()) continue;

        auto* file = new ServerTextureFile;
        file->m_strName = name;
        file->m_uiSize = uint32_t(data.size());
        file->m_uiTextureNumber = number;
        file->m_uiByteSum = ByteSum(data);
        file->m_strData = std::move(data);
        m_Textures.m_ServerTextures.Append(file);

        Packet* offer = new Packet;
        offer->m_fResendRate = windows::kResendRate;
        PutNamed(offer, kMsgTextureOffer, name);
        Send(ChannelFor(kChannelTextures), offer);
    }
}

void Server_Client::HandleReceivedSFileInfo(Packet* packet) {
    uint8_t length = 0;
    packet->ReadByte(length);
    // Cut short: the record runs to the end of the message, so nothing after it is lost.
    if (packet->Remaining() < uint32_t(length) + 8) {
        packet->Skip(packet->Remaining());
        return;
    }
    const std::string_view name(reinterpret_cast<const char*>(packet->Data()) + packet->m_uiReadPos, length);
    packet->Skip(length);
    uint32_t size = 0, sum = 0;
    packet->ReadU32(size);
    packet->ReadU32(sum);

    ServerTextureFileList& list = m_Textures.m_ServerTextures;
    for (size_t i = 0; i < list.Length(); ++i) {
        ServerTextureFile* file = list[i];
        if (file->m_strName != name) continue;
        if (size != file->m_uiSize || sum != file->m_uiByteSum) {
            file->m_bRequested = true;
            return;
        }
        Packet* ready = new Packet;
        ready->m_fResendRate = windows::kResendRate;
        PutReady(ready, file);
        Send(kChannelWorld, ready);
        list.DeleteAt(i);
        return;
    }
}

void Server_Client::SendServerTextures_Part2() {
    ServerTextureFileList& list = m_Textures.m_ServerTextures;
    const size_t i = FirstRequested(list);
    if (i == kNone) return;
    ServerTextureFile* file = list[i];
    if (file->m_uiSentOffset == 0) PutNamed(m_pPacket, kMsgTextureStart, file->m_strName);
    if (file->m_uiSentOffset < file->m_uiSize) {
        uint32_t limit = m_uiMaxUpdateSize;
        if (m_uiRateLimit != 0 && m_uiRateLimit < limit) limit = m_uiRateLimit;
        const uint32_t length = m_pPacket->Length();
        const uint32_t room = std::max(length < limit ? limit - length : 0u, kMinInBandRoom);
        PutChunk(m_pPacket, file, std::min(room, kMaxInBandChunk));
        if (file->m_uiSentOffset < file->m_uiSize) return;
    }
    PutReady(m_pPacket, file);
    list.DeleteAt(i);
}

void Server_Client::SendServerTextures_Channel3() {
    ServerTextureFileList& list = m_Textures.m_ServerTextures;
    if (!m_bStartupSent || list.Empty() || m_Pipe.Backlog(kChannelTextures) > kMaxChannel3Backlog) return;
    const size_t i = FirstRequested(list);
    if (i == kNone) return;
    ServerTextureFile* file = list[i];
    Packet* packet = new Packet;
    if (file->m_uiSentOffset == 0) PutNamed(packet, kMsgTextureStart, file->m_strName);
    if (file->m_uiSentOffset < file->m_uiSize) {
        uint32_t most = kMaxChannel3Chunk;
        if (m_uiRateLimit != 0 && m_uiRateLimit < most) most = m_uiRateLimit;
        PutChunk(packet, file, most);
    }
    if (file->m_uiSentOffset >= file->m_uiSize) {
        PutReady(packet, file);
        list.DeleteAt(i);
    }
    Send(kChannelTextures, packet);
}
