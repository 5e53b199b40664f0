// Every client's stream in one fixed-clock scenario, decoded into a transcript and compared with
// data/streams.golden.txt, recorded from the code before the replication layer was rewritten for speed: pads over
// several zones (some rotated, labelled or textured), movers, three clients (one late, one with the fast box add and
// label cache, one with a 300-byte limit) walking across zone borders, removals, a label and a texture change, and
// quiet ticks. Each message becomes a head line, a line per record about no object and a line per run of records about
// one object (fields in hex). Slots and handles are left out (0x2F and 0x2E are followed as the client does); objects
// are named by what they were added as. The one freedom a rewrite has is the order in which the zone pass takes one
// zone's entities (which also reorders the pending lists), so each run of lines from one zone, and from each later
// pass, is sorted. To re-record, from the worktree's root:
// QV_RECORD_STREAMS=$PWD/tests/unit/replication/data/streams.golden.txt build/debug/unit_replication
// --gtest_filter='StreamCompare.*'
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <tuple>

#include "headless/ClientWorld.h"
#include "net/ClientServerPipe.h"
#include "unit/replication/Fixtures.h"

namespace {
constexpr float kZoneSize = 6000.0f, kPassRadius = 4000.0f, kGridMin[3] = {-150000.0f, -6000.0f, -150000.0f};
constexpr int kZoneCount[3] = {50, 6, 50};
int ZoneIndex(int axis, float v) {
    return std::min(int(std::floor((std::max(v, kGridMin[axis]) - kGridMin[axis]) / kZoneSize)), kZoneCount[axis] - 1);
}
std::string Hex(const uint8_t* p, size_t n) {
    std::string s;
    for (size_t i = 0; i < n; ++i) s.append({"0123456789abcdef"[p[i] >> 4], "0123456789abcdef"[p[i] & 15]});
    return s;
}
template <typename T> T Read(const uint8_t* p) {
    T v;
    return *static_cast<T*>(std::memcpy(&v, p, sizeof v));
}
// One client's streams, decoded as the client decodes them.
struct ClientStream {
    ClientStream(std::string own, uint32_t limit) : m_Own(std::move(own)), m_uiLimit(limit) { m_Slots.fill(-1); }
    // `at`: the player where the message's pass found it. Before `filed` the left-over pass sends all but changes.
    void Decode(unsigned channel, const Bytes& body, const VUKVector& at, bool filed) {
        static const auto shapes = headless::PayloadShapes();
        m_Out = &m_Lines[channel];
        m_At = {at.x, at.y, at.z};
        m_bCut = body.size() > m_uiLimit;
        m_bFiled = filed;
        m_Out->push_back({Line::kHead, "#" + std::to_string(m_Count[channel]++)});
        for (size_t at = 0, end; at < body.size(); at = end) {
            auto shape = shapes.find(body[at]);
            end = at + 1;
            for (int n : shape == shapes.end() ? std::vector<int>{} : shape->second) {
                uint32_t length = 0;
                if (n < 0 && end + size_t(-n) <= body.size()) std::memcpy(&length, &body[end], size_t(-n));
                end += size_t(n < 0 ? -n : n) + length;
            }
            if (shape == shapes.end() || end > body.size())
                return Plain("undecodable " + Hex(&body[at], body.size() - at));
            Record(body[at], &body[at + 1], end - at - 1);
        }
        Close();
    }
    void Text(std::string& out) {
        for (auto& [channel, lines] : m_Lines) {
            SortZoneRuns(lines);
            out += "-- " + m_Own + " channel " + std::to_string(channel) + "\n";
            for (const Line& l : lines) out += (l.what == Line::kHead ? "" : "  ") + l.text + "\n";
        }
    }
    struct Object {
        uint8_t kind = 0;
        std::string player, name; // the player's from 0x09, or from its score entry 0x5C if that comes first
        float pos[3] = {}, step[3] = {}, size[3] = {};
    };
    struct Line {
        enum { kHead, kPlain, kObject } what;
        std::string text;
        bool zoned = false;        // an add or update, which a pass over the pending grid or lists wrote
        bool own = false;          // the client's own player, written before the zone pass
        bool cut = false;          // the message went past the byte limit, so a zone may go on in the next
        std::array<int, 4> zone{}; // the pass (0 for the zone pass), then the zone's y, z and x
    };
    void Plain(const std::string& text) { Close(), m_Out->push_back({Line::kPlain, text}); }
    void Record(uint8_t type, const uint8_t* p, size_t n) {
        if (type == 0x2F && !m_Live.count(Read<uint32_t>(p + 1))) m_Objects.emplace_back();
        if (type == 0x2F)
            m_Slots[p[0]] = m_Live.emplace(Read<uint32_t>(p + 1), int(m_Objects.size()) - 1).first->second;
        if (type == 0x2E || type == 0x2F) {
            if (m_Slots[p[0]] != m_Selected) Close();
            m_Selected = m_Slots[p[0]];
            return;
        }
        // Records about no object: marks, windows, movement switch, textures, login answers.
        static constexpr uint8_t kNoObject[] = {0x02, 0x31, 0x3B, 0x3C, 0x43, 0x44, 0x45, 0x46, 0x4A, 0x4C,
                                                0x64, 0x65, 0x66, 0x67, 0x6B, 0x6F, 0x72, 0x73, 0x74, 0x75};
        const std::string text = Hex(&type, 1) + ":" + Hex(p, n);
        if (std::count(std::begin(kNoObject), std::end(kNoObject), type) || m_Selected < 0) return Plain(text);
        if (m_Records.empty()) m_ucFirstRecord = type;
        m_Records += " " + text;
        Object& o = m_Objects[size_t(m_Selected)];
        if (type == 0x0B && (o.kind = p[0]) == kKindPlayer) std::fill(o.size, o.size + 3, 16.0f);
        if (type == 0x78 || type == 0x58 || type == 0x79 || type == 0x5A) { // the box adds
            const bool cubic = type == 0x79 || type == 0x5A;
            o.kind = type >= 0x78 ? kKindNormalPad : 6;
            for (int i = 0; i < 3; ++i) o.size[i] = Read<float>(p + (cubic ? 0 : 4 * i));
            std::memcpy(o.pos, p + (cubic ? 4 : 12), 12);
        }
        if (type == 0x13) std::memcpy(o.size, p, 12);
        if (type == 0x5D) std::fill(o.size, o.size + 3, Read<float>(p));
        if (type == 0x09) o.player.assign(reinterpret_cast<const char*>(p + 4), n - 4);
        if (type == 0x5C) o.kind = kKindPlayer, o.player.assign(reinterpret_cast<const char*>(p + 1), p[0]);
        if (type == 0x52) std::memset(o.step, 0, sizeof o.step);
        if (type == 0x52 || type == 0x70) std::memcpy(o.pos, p, 12);
        for (int i = 0; i < 3 && type >= 0x25 && type <= 0x28; ++i) // prediction: a correction adds to the kept step
            o.pos[i] += (o.step[i] +=
                         type == 0x25   ? 0.0f
                         : type == 0x28 ? Read<float>(p + 4 * i)
                                        : 0.1f * float(type == 0x26 ? Read<int8_t>(p + i) : Read<int16_t>(p + 2 * i)));
        if (type == 0x0A) std::erase_if(m_Live, [this](const auto& live) { return live.second == m_Selected; });
    }
    // Ends the run of records about the selected object; an object is named at the end of its add.
    void Close() {
        if (m_Records.empty()) return;
        Object& o = m_Objects[size_t(m_Selected)];
        if (o.name.empty()) {
            char b[128];
            std::snprintf(b, sizeof b, "k%d (%.1f %.1f %.1f) %.1fx%.1fx%.1f", o.kind, o.pos[0], o.pos[1], o.pos[2],
                          o.size[0], o.size[1], o.size[2]);
            o.name = o.player.empty() ? b : "player " + o.player;
        }
        const bool own = o.player == m_Own;
        Line line{Line::kObject, o.name + ":" + m_Records, m_ucFirstRecord != 0x0A, own, m_bCut};
        // The walk's first zone the object is filed in, else a left-over pass. Both step a zone at a time from the
        // low corner: the walk up to its high corner, the filing to one zone past the object's.
        for (int a = 0; a < 3; ++a) {
            const float low = (own ? m_At[size_t(a)] : o.pos[a]) - o.size[a] / 2; // not all own moves are sent
            const float walkLow = a == 1 ? std::max(0.0f, m_At[1] - kPassRadius) : m_At[size_t(a)] - kPassRadius;
            const float walkHigh = m_At[size_t(a)] + kPassRadius + kZoneSize;
            auto last = [a](float from, float to) {
                return ZoneIndex(a, from + std::floor((to - from) / kZoneSize) * kZoneSize);
            };
            const int first = ZoneIndex(a, low), walkFirst = ZoneIndex(a, walkLow);
            if (!m_bFiled || first > last(walkLow, walkHigh) || last(low, low + o.size[a] + kZoneSize) < walkFirst)
                line.zone[0] = 1;
            line.zone[size_t(a == 0 ? 3 : a)] = std::max(first, walkFirst);
        }
        // The later passes of an update, in their order: scores, removals, left-over entities and players.
        if (line.zone[0] == 1) line.zone = {o.kind == kKindPlayer ? 4 : 3, 0, 0, 0};
        if (m_ucFirstRecord == 0x5C) line.zone = {1, 0, 0, 0};
        if (m_ucFirstRecord == 0x0A) line.zone = {2, 0, 0, 0};
        m_Out->push_back(line);
        m_Records.clear();
    }
    // Sorts each run of one zone's or one list pass's lines; a run cut by the byte limit goes on in the next message.
    static void SortZoneRuns(std::vector<Line>& lines) {
        for (size_t i = 0; i < lines.size(); ++i) {
            if (!lines[i].zoned) continue;
            auto inRun = [zone = lines[i].zone](const Line& l) { return l.zoned && l.zone == zone; };
            size_t last = i;
            bool cut = lines[i].cut, crossed = false;
            for (size_t j = i + 1; j < lines.size(); ++j) {
                const Line& l = lines[j];
                if (l.what == Line::kHead && !cut) break;
                crossed |= l.what == Line::kHead;
                if (l.what != Line::kObject) continue;
                cut = l.cut;
                if (!inRun(l) && !(crossed && (l.own || l.zone < lines[i].zone))) break;
                if (inRun(l)) last = j;
            }
            const auto first = lines.begin() + std::ptrdiff_t(i);
            const auto end = std::stable_partition(first, lines.begin() + std::ptrdiff_t(last + 1), inRun);
            std::sort(first, end, [](const Line& a, const Line& b) { return a.text < b.text; });
            i += size_t(end - first) - 1; // what was passed over may hold runs of its own
        }
    }
    std::string m_Own, m_Records;
    std::map<unsigned, std::vector<Line>> m_Lines;
    std::map<unsigned, int> m_Count;
    std::vector<Line>* m_Out = nullptr;
    std::array<float, 3> m_At{};
    std::vector<Object> m_Objects;
    std::map<uint32_t, int> m_Live; // handle to object, while the client has it
    std::array<int, 256> m_Slots;
    int m_Selected = -1;
    uint8_t m_ucFirstRecord = 0;
    bool m_bCut = false, m_bFiled = false;
    uint32_t m_uiLimit;
};
// Resolved at start, as the working folder changes; a relative source path is relative to the build folder.
namespace fs = std::filesystem;
const fs::path kSource(__FILE__), kBase = kSource.is_absolute() ? "" : fs::canonical("/proc/self/exe").parent_path();
const fs::path kGolden = kBase / kSource.parent_path() / "data/streams.golden.txt";
class StreamCompare : public ReplicationTest {
protected:
    struct Viewer {
        Peer peer;
        ClientStream stream;
        VUKVector at{};
        bool hadPlayer = false, filed = false; // before the current pass
    };
    // Name, extensions, update size limit, and where the player walks (x, z) after the first pass.
    using Joiner = std::tuple<std::string, std::vector<std::string>, uint32_t, float, float>;
    void Walk(size_t viewer, float x, float z) { MoveTo(m_Viewers[viewer].peer.client->m_pPlayer, x, 8, z); }
    // Logs in; ready once the grid is filed (the left-over pass sends in address order), then ticks until settled.
    void Join(const std::vector<Joiner>& joiners) {
        const size_t first = m_Viewers.size();
        for (const auto& [name, extensions, limit, x, z] : joiners) {
            Bytes login;
            for (const std::string& ext : extensions) login = login + records::Declare(ext, 1);
            m_Viewers.push_back({m_Harness.Connect(), ClientStream(name, limit)});
            m_Viewers.back().peer.Send(0, login + records::Version(84) + records::NewLogin(name, "pw") + Bytes{10} +
                                              U32(limit));
        }
        Pass();
        for (size_t k = 0; k < joiners.size(); ++k) Walk(first + k, std::get<3>(joiners[k]), std::get<4>(joiners[k]));
        auto filed = [](Viewer& v) { return v.peer.client->m_bZonesFilled; };
        for (int pass = 0; pass < 10 && (pass == 0 || !std::all_of(m_Viewers.begin(), m_Viewers.end(), filed)); ++pass)
            Pass();
        for (Viewer& v : m_Viewers)
            if (!v.peer.client->m_bReadyForUpdates) v.peer.Send(0, {6});
        // Until three ticks send nothing. Nothing moves: where a cut falls depends on the order of a zone's adds.
        for (int tick = 0, quiet = 0; quiet < 3; ++tick, quiet = m_bBusy ? 0 : quiet + 1) {
            ASSERT_LT(tick, 200);
            m_bBusy = false;
            Pass(4, true);
        }
    }
    // Server passes, decoded against where the player was when the updates ran (before, or where the login put it).
    void Pass(int count = 1, bool gameTick = false) {
        for (int i = 0; i < count; ++i) {
            if (gameTick && i == 0) m_Harness.clock().AdvanceNanoseconds(server().m_GameTickTimer.m_iPeriod + 1);
            for (Viewer& v : m_Viewers) {
                v.filed = v.peer.client->m_bZonesFilled;
                if ((v.hadPlayer = v.peer.client->m_pPlayer)) v.at = v.peer.client->m_pPlayer->m_vPosition;
            }
            m_Harness.Pass();
            for (Viewer& v : m_Viewers) {
                if (!v.hadPlayer && v.peer.client->m_pPlayer) v.at = v.peer.client->m_pPlayer->m_vPosition;
                for (unsigned channel = 0; channel < kChannelCount; ++channel)
                    for (const Bytes& m : v.peer.Take(channel)) // busy: more than a tick mark
                        v.stream.Decode(channel, m, v.at, v.filed), m_bBusy |= m.size() > 1;
            }
        }
    }
    std::vector<Viewer> m_Viewers;
    bool m_bBusy = false;
};
TEST_F(StreamCompare, EveryClientIsSentTheRecordedStream) {
    server().m_bPrincessesRunning = false; // the princess cube moves only as the test moves it
    // Pads with drawn offsets and sizes (each its own name), pads across zone borders, movers with velocity and
    // acceleration.
    std::vector<Server_Entity*> pads;
    std::vector<std::tuple<Server_Entity*, VUKVector, VUKVector>> movers;
    auto place = [this](uint8_t kind, VUKVector pos, VUKVector size, float yaw = 0.0f) {
        Server_Entity* e = server().ProperAddByType(kind);
        e->m_vPosition = pos, e->m_vSize = size;
        if (yaw != 0.0f) e->SetYaw(yaw);
        server().UpdateZonesEntityIsIn(e);
        return e;
    };
    uint32_t seed = 12345;
    auto draw = [&](int n) { return float(((seed = seed * 1103515245u + 12345u) >> 16) % uint32_t(n)); };
    auto awayFromBorders = [](float v) { return std::fabs(std::fmod(v + 150000.0f, kZoneSize) - 3000.0f) < 2300.0f; };
    for (int n = 0; n < 240; ++n) {
        VUKVector pos(-14000.0f + 1800.0f * float(n % 16) + draw(500), 100.0f + draw(2500),
                      -13000.0f + 1800.0f * float(n / 16) + draw(500));
        VUKVector size(60.0f + draw(300), 10.0f + draw(60), 60.0f + draw(300));
        if (n % 9 == 0) size.y = size.z = size.x;
        const bool rotated = n % 7 == 0 && awayFromBorders(pos.x) && awayFromBorders(pos.z);
        pads.push_back(place(kKindNormalPad, pos, size, rotated ? 0.25f * float(1 + n % 5) : 0.0f));
        if (n % 13 == 0) pads.back()->m_usTexture = uint16_t(5 + n % 6);
    }
    for (auto [n, label] : {std::pair<size_t, const char*>{20, "alpha"}, {40, "bravo"}, {60, "charlie"}})
        pads[n]->SetLabel(label);
    const float across[] = {0,   400, 2500, 400,   40,  300, 3000, 700, 6000, 300,   20,   500,  6000, 300, -6000,
                            600, 600, 600,  -6000, 900, 0,   500,  50,  500,  12000, 1500, -100, 200,  80,  600};
    for (const float* a = across; a != std::end(across); a += 6) // position, size
        pads.push_back(place(kKindNormalPad, {a[0], a[1], a[2]}, {a[3], a[4], a[5]}));
    movers = {{place(kKindZorbinCube, {5800, 20.01f, 3500}, {40, 40, 40}), {30, 0, 0}, {}}, // resting on the ground
              {place(kKindZorbinCube, {-3500, 20.01f, 300}, {40, 40, 40}), {0, 0, -30}, {}},
              {place(kKindNormalPad, {2000, 1200, 5900}, {100, 20, 100}), {0, 0, 20}, {}},
              {place(kKindTalvyCube, {3000, 400, 3000}, {30, 30, 30}), {7, 0, 3}, {0.5f, 0, 0.25f}},
              {place(kKindNormalPad, {-3000, 150, -2950}, {80, 30, 80}), {-25, 0, -25}, {}}};
    Join({{"ann", {"KRV_FASTADD_NORMALPADS", "KRV_CACHE_STRINGS", "KRV_MULTI_UDP_CHANNEL"}, 1400, 500, 500},
          {"bob", {}, 300, -9000, -9000}});
    Join({{"cat", {"KRV_FASTADD_NORMALPADS", "KRV_ALPHA_BLEND_SUPPORT"}, 800, 2000, -7000}});
    // Players walk across zone borders while the movers move; then some go and two change.
    for (int tick = 0; tick < 40; ++tick) {
        const VUKVector& ann = m_Viewers[0].peer.client->m_pPlayer->m_vPosition;
        if (tick < 8) Walk(0, ann.x + 1500, ann.z);
        if (tick >= 10 && tick < 16) Walk(0, ann.x, ann.z + 1500);
        if (tick >= 4 && tick < 12) Walk(1, -9000.0f + 1200.0f * float(tick - 3), -9000.0f + 1000.0f * float(tick - 3));
        if (tick >= 6 && tick < 10) Walk(2, 2000, -7000.0f + 900.0f * float(tick - 5));
        if (tick == 20) {
            for (size_t n : {5u, 77u, 150u, 200u}) server().QueueEntityForRemoval(pads[n]);
            server().QueueEntityForRemoval(std::get<0>(movers[1]));
            movers.erase(movers.begin() + 1);
            pads[40]->SetLabel("delta");
            server().InformClients_EntityUpdated(pads[40]);
            pads[121]->m_usTexture = 7;
            server().InformClients_EntityUpdated(pads[121]);
        }
        if (tick == 22) { // both beyond bob's zone pass: the list passes send them, entities first
            Walk(2, -30000, -30000);
            pads[16]->m_usTexture = 9;
            server().InformClients_EntityUpdated(pads[16]);
        }
        for (auto& [entity, velocity, acceleration] : movers) {
            if (tick >= 30) break;
            velocity += acceleration * (tick == 12 || tick == 18 ? 17.0f : 1.0f); // jolts: a correction of 8.5
            const VUKVector to = entity->m_vPosition + velocity;
            MoveTo(entity, to.x, to.y, to.z);
        }
        Pass(4, true);
    }
    std::string transcript;
    for (Viewer& v : m_Viewers) v.stream.Text(transcript);
    if (const char* path = std::getenv("QV_RECORD_STREAMS")) return void(std::ofstream(path) << transcript);
    std::ifstream want(kGolden);
    ASSERT_TRUE(want) << "no " << kGolden;
    std::istringstream got(transcript);
    for (size_t line = 1; want || got; ++line) {
        std::string w, g;
        std::getline(want, w), std::getline(got, g);
        ASSERT_EQ(w, g) << "the streams differ at transcript line " << line;
    }
}
} // namespace
