// Server-driven windows of one client: the message of the day, the special menu, the update
// news browser, the scroll viewer, the clicks on them, and the admin signals of the update
// message.
#include <array>
#include <string>

#include "clientui/Windows.h"
#include "net/Packet.h"
#include "platform/Files.h"
#include "replication/Server_Client.h"
#include "replication/UpdateMessages.h"
#include "world/Server_Client_Entity.h"
#include "world/Server_EntityKinds.h"

using windows::Layout;
using namespace replication;

namespace {

constexpr uint32_t kLit = 0xFF0000;
constexpr uint32_t kUnlit = 0;

enum : uint8_t {
    kMenuButton = 0,
    kBuyShield = 3,
    kBuyIceCream = 5,
    kLocateEnemy = 6,
    kToggleAFK = 8,
    kLocateOwn = 9,
    kClientSideMovement = 10,
    kNewsButton = 11,
    kFirstNewsTitle = 12,
    kLastClickableNewsTitle = 26,
    kNewsText = 27,
    kNewsCloseBar = 28,
    kMessageWindow = 29,
    kRedisplayMOTD = 30,
    kKickOwnProperty = 31,
    kScrollText = 36,
    kScrollUp = 37,
    kScrollDown = 38,
    kBuySolexis = 39,
    kLocateTopEnemy = 35,
};

using Colours = std::array<uint32_t, 4>;
// White text on black; the fourth colour carries the window's alpha.
constexpr Colours kOpaque{0xFFFFFF, 0x000000, 0xFFFFFF, 0xFFFFFFFF};
constexpr Colours kAlphaC0{0xFFFFFF, 0x000000, 0xFFFFFF, 0xC0FFFFFF};
constexpr Colours kAlphaD0{0xFFFFFF, 0x000000, 0xFFFFFF, 0xD0FFFFFF};

constexpr Layout kMenuButtonWindow{kMenuButton, 470, 444, 56, 28, kOpaque, 4};
constexpr Layout kNewsButtonWindow{kNewsButton, 358, 432, 108, 40, {0xFFFFFF, 0x004040, 0xFFFFFF, 0xFFFFFFFF}, 4};
constexpr uint32_t kNewsButtonColour2 = 0x004040;
constexpr Layout kNewsTextWindow{kNewsText, 196, 120, 376, 240, kAlphaC0, 0};
constexpr Layout kNewsCloseWindow{kNewsCloseBar, 64, 100, 508, 16, kAlphaC0, 4};
constexpr Layout kMessageWindowLayout{kMessageWindow, 120, 90, 400, 300, kAlphaD0, 0};
constexpr Layout kScrollTextWindow{kScrollText, 120, 90, 400, 300, kAlphaD0, 8};
constexpr Layout kScrollUpWindow{kScrollUp, 520, 90, 60, 40, kAlphaD0, 12};
constexpr Layout kScrollDownWindow{kScrollDown, 520, 350, 60, 40, kAlphaD0, 12};

constexpr char kMenuButtonText[] = "Special Menu";
constexpr char kNewsButtonDefault[] = "Click Here for Game Update and Rule Change Info";
constexpr char kNewsCloseText[] = "GAME UPDATE INFO - Click here to close this.";
constexpr char kNewsFolder[] = "updatenews";
constexpr char kNoNewsFile[] = "teststuff.txt";
constexpr char kMOTDFile[] = "server_motd.txt";
constexpr char kWhenUpdatedFile[] = "when_updated.txt";
constexpr uint32_t kScrollLinesShown = 24;
// Title ids run on from 12; past 255 they would wrap onto the other windows.
constexpr size_t kMaxNewsTitles = 256 - kFirstNewsTitle;

// An entry of the special menu. Two entries read a switch and show one of two texts and
// colour sets; the others always show the first.
enum class MenuSwitch : uint8_t { None, KickOwnProperty, ClientSideMovement };
struct MenuEntry {
    uint8_t m_ucId;
    uint16_t m_usTop, m_usHeight;
    MenuSwitch m_Switch;
    const char* m_szText[2];
    Colours m_Colours[2];
};
constexpr uint16_t kMenuLeft = 226, kMenuWidth = 300;
constexpr uint8_t kMenuStyle = 4;

// In the order they are sent; below the first two each entry sits right under the one before.
constexpr MenuEntry kSpecialMenu[] = {
    {kLocateEnemy,
     400,
     32,
     MenuSwitch::None,
     {"Locate Nearest Enemy BuildingBlock (Costs 10,000 Pocket Coins (only if BuildingBlock found))"},
     {kOpaque}},
    {kToggleAFK, 384, 16, MenuSwitch::None, {"Toggle away from keyboard status"}, {kOpaque}},
    {kLocateOwn, 368, 16, MenuSwitch::None, {"Locate Nearest Own BuildingBlock (FREE!)"}, {kOpaque}},
    {kRedisplayMOTD, 352, 16, MenuSwitch::None, {"ReDisplay Login Message Window"}, {kOpaque}},
    {kBuyShield,
     320,
     32,
     MenuSwitch::None,
     {"Buy 30 time units of SHIELD OF TALVY (Costs 100,000 pocket coins)"},
     {kOpaque}},
    {kBuyIceCream,
     288,
     32,
     MenuSwitch::None,
     {"Buy 30 time units of SPIRIT OF ICE CREAM (Costs 250,000 pocket coins)"},
     {kOpaque}},
    {kKickOwnProperty,
     256,
     32,
     MenuSwitch::KickOwnProperty,
     {"Kicking/Destroying your own property is ON.  Click here to TURN OFF.",
      "Kicking/Destroying your own property is OFF.  Click here to TURN ON."},
     {{0xFFFFFF, 0x004000, 0xFFFFFF, 0xFFFFFFFF}, {0xFFFFFF, 0x008000, 0xFFFFFF, 0xFFFFFFFF}}},
    {kLocateTopEnemy,
     224,
     32,
     MenuSwitch::None,
     {"Locate Highest Ranked Enemy BuildingBlock (Costs 50,000 Pocket Coins (only if BuildingBlock found))"},
     {kOpaque}},
    {kBuySolexis, 208, 16, MenuSwitch::None, {"Buy 10 Solexis for 10,000 coins"}, {kOpaque}},
    {kClientSideMovement,
     192,
     16,
     MenuSwitch::ClientSideMovement,
     {"Client Side Movement is ON.  Click here to turn off.", "Client Side Movement is OFF.  Click here to turn on."},
     {{0xFF0000, 0x800000, 0xFFFF00, 0xFFFFFFFF}, {0x808080, 0x404040, 0xFFFFFF, 0xFFFFFFFF}}},
};

// Closed together when the menu goes (4 has no window but is closed all the same).
constexpr uint8_t kMenuCloseIds[] = {3, 4, 5, 6, 8, 9, 10, 30, 31, 35, 39};

// Menu requests the player rules carry out on their next tick, by button id.
struct MenuRequest {
    uint8_t m_ucId;
    PlayerFlag m_Flag;
};
constexpr MenuRequest kMenuRequests[] = {
    {1, kPlayerMenuButton1},
    {2, kPlayerMenuButton2},
    {4, kPlayerMenuButton4},
    {kLocateEnemy, kPlayerMenuLocateEnemy},
    {7, kPlayerMenuButton7},
    {kToggleAFK, kPlayerMenuToggleAFK},
    {kLocateTopEnemy, kPlayerMenuLocateTopEnemy},
    {kLocateOwn, kPlayerMenuLocateOwn},
};

Packet* NewWindowMessage() {
    Packet* p = new Packet;
    p->m_fResendRate = windows::kResendRate;
    return p;
}

Layout NewsTitle(size_t i) { return {uint8_t(kFirstNewsTitle + i), 64, uint16_t(120 + 16 * i), 128, 16, kAlphaC0, 4}; }

} // namespace

void Server_Client::SendWindowMessage(Packet* packet) { Send(ChannelFor(kChannelWindows), packet); }

void Server_Client::SendMOTD() {
    m_bStartupSent = true;
    std::string text;
    if (platform::ReadWholeFile(kMOTDFile, &text)) SendMOTDWindowText(text.c_str());
}

void Server_Client::SendMOTDWindowText(const char* text) {
    Packet* p = NewWindowMessage();
    windows::AppendOpen(*p, kMessageWindowLayout, text ? text : "");
    SendWindowMessage(p);
}

void Server_Client::DeleteMOTD() {
    Packet* p = NewWindowMessage();
    windows::AppendClose(*p, kMessageWindow);
    SendWindowMessage(p);
}

void Server_Client::SendSpecialButton() {
    windows::AppendOpen(*m_pPacket, kMenuButtonWindow, kMenuButtonText);
    std::string when;
    windows::AppendOpen(*m_pPacket, kNewsButtonWindow,
                        platform::ReadWholeFile(kWhenUpdatedFile, &when) ? when.c_str() : kNewsButtonDefault);
}

void Server_Client::CreateSpecialMenu() {
    m_Windows.m_bSpecialMenuOpen = true;
    Packet* lit = NewWindowMessage();
    windows::AppendHighlight(*lit, kMenuButton, kLit);
    SendWindowMessage(lit);
    for (const MenuEntry& entry : kSpecialMenu) {
        bool second = false;
        if (entry.m_Switch == MenuSwitch::KickOwnProperty)
            second = m_pPlayer && m_pPlayer->GetFlag(kPlayerNoKickOwnProperty);
        else if (entry.m_Switch == MenuSwitch::ClientSideMovement)
            second = !m_Movement.m_bClientSideMovementAllowed;
        const Layout layout{
            entry.m_ucId, kMenuLeft, entry.m_usTop, kMenuWidth, entry.m_usHeight, entry.m_Colours[second], kMenuStyle};
        Packet* p = NewWindowMessage();
        windows::AppendOpen(*p, layout, entry.m_szText[second]);
        SendWindowMessage(p);
    }
}

void Server_Client::DeleteSpecialMenu() {
    m_Windows.m_bSpecialMenuOpen = false;
    Packet* p = NewWindowMessage();
    windows::AppendHighlight(*p, kMenuButton, kUnlit);
    for (uint8_t id : kMenuCloseIds) windows::AppendClose(*p, id);
    SendWindowMessage(p);
}

void Server_Client::CreateUpdateNewsStuff() {
    ClientWindows& w = m_Windows;
    w.m_bUpdateNewsOpen = true;
    w.m_iCurrentNewsItem = -1;
    Packet* lit = NewWindowMessage();
    windows::AppendHighlight(*lit, kNewsButton, kLit);
    SendWindowMessage(lit);

    w.m_UpdateNewsFiles.DeleteAll();
    std::vector<std::string> names = platform::ListDirectorySorted(kNewsFolder, ".txt");
    if (names.empty()) names.emplace_back(kNoNewsFile);
    if (names.size() > kMaxNewsTitles) names.resize(kMaxNewsTitles);
    Packet* titles = NewWindowMessage();
    for (size_t i = 0; i < names.size(); ++i) {
        auto* file = new UpdateNewsFile;
        file->m_strName = names[i];
        w.m_UpdateNewsFiles.Append(file);
        windows::AppendOpen(*titles, NewsTitle(i), std::string_view(names[i]).substr(0, names[i].size() - 4));
    }
    SendWindowMessage(titles);

    DisplayUpdateNewsItem(0);

    Packet* bar = NewWindowMessage();
    windows::AppendOpen(*bar, kNewsCloseWindow, kNewsCloseText);
    SendWindowMessage(bar);
}

void Server_Client::DisplayUpdateNewsItem(unsigned int n) {
    ClientWindows& w = m_Windows;
    if (n >= w.m_UpdateNewsFiles.Length()) return;
    std::string text;
    if (!platform::ReadWholeFile(std::string(kNewsFolder) + "/" + w.m_UpdateNewsFiles[n]->m_strName, &text))
        text = "File not found";
    Packet* highlight = NewWindowMessage();
    if (w.m_iCurrentNewsItem >= 0)
        windows::AppendHighlight(*highlight, uint8_t(kFirstNewsTitle + w.m_iCurrentNewsItem), kUnlit);
    windows::AppendHighlight(*highlight, uint8_t(kFirstNewsTitle + n), kLit);
    w.m_iCurrentNewsItem = int32_t(n);
    SendWindowMessage(highlight);
    Packet* body = NewWindowMessage();
    windows::AppendOpen(*body, kNewsTextWindow, text);
    SendWindowMessage(body);
}

void Server_Client::DeleteUpdateNewsStuff() {
    ClientWindows& w = m_Windows;
    w.m_bUpdateNewsOpen = false;
    Packet* p = NewWindowMessage();
    windows::AppendHighlight(*p, kNewsButton, kNewsButtonColour2);
    for (size_t i = 0; i < w.m_UpdateNewsFiles.Length(); ++i) windows::AppendClose(*p, uint8_t(kFirstNewsTitle + i));
    windows::AppendClose(*p, kNewsText);
    windows::AppendClose(*p, kNewsCloseBar);
    SendWindowMessage(p);
    w.m_UpdateNewsFiles.DeleteAll();
}

void Server_Client::AppendScrollText(Packet& p, uint8_t style) {
    std::string text;
    const ClientWindows& w = m_Windows;
    for (size_t i = w.m_uiScrollTopLine; i < w.m_ScrollLines.Length() && i < w.m_uiScrollTopLine + kScrollLinesShown;
         ++i) {
        text += *w.m_ScrollLines[i];
        text += '\n';
    }
    Layout layout = kScrollTextWindow;
    layout.m_ucStyle = style;
    windows::AppendOpen(p, layout, text);
}

// The viewer keeps the default resend rate and always travels on channel 0.
void Server_Client::SendScrollableButton() {
    m_Windows.m_uiScrollTopLine = 0;
    Packet* p = new Packet;
    windows::AppendOpen(*p, kScrollUpWindow, "\nUp");
    windows::AppendOpen(*p, kScrollDownWindow, "\nDn");
    AppendScrollText(*p, kScrollTextWindow.m_ucStyle);
    Send(kChannelWorld, p);
    m_Windows.m_bScrollViewerShown = true;
}

void Server_Client::ScrollBy(int step) {
    ClientWindows& w = m_Windows;
    const size_t count = w.m_ScrollLines.Length();
    if (count <= kScrollLinesShown) return;
    if (step > 0 ? w.m_uiScrollTopLine >= count - kScrollLinesShown : w.m_uiScrollTopLine == 0) return;
    w.m_uiScrollTopLine += step;
    Packet* p = new Packet;
    AppendScrollText(*p, 0);
    Send(kChannelWorld, p);
}

void Server_Client::ScrollDown() { ScrollBy(1); }

void Server_Client::ScrollUp() { ScrollBy(-1); }

void Server_Client::DeleteScrollerButton() {
    Packet* p = new Packet;
    for (uint8_t id : {kScrollText, kScrollUp, kScrollDown}) windows::AppendClose(*p, id);
    Send(kChannelWorld, p);
    m_Windows.m_bScrollViewerShown = false;
}

void Server_Client::HandleServerButtonClick(unsigned char id) {
    ClientWindows& w = m_Windows;
    auto closeMenu = [&] {
        if (w.m_bSpecialMenuOpen) DeleteSpecialMenu();
    };
    for (const MenuRequest& request : kMenuRequests) {
        if (request.m_ucId != id) continue;
        closeMenu();
        if (m_pPlayer) m_pPlayer->SetFlag(request.m_Flag, true);
        return;
    }
    if (id >= kFirstNewsTitle && id <= kLastClickableNewsTitle) {
        closeMenu();
        DisplayUpdateNewsItem(id - kFirstNewsTitle);
        return;
    }
    switch (id) {
    case kMenuButton:
        DeleteMOTD();
        if (w.m_bUpdateNewsOpen) DeleteUpdateNewsStuff();
        if (w.m_bSpecialMenuOpen)
            DeleteSpecialMenu();
        else
            CreateSpecialMenu();
        break;
    case kBuyShield:
        closeMenu();
        if (m_pPlayer) m_pPlayer->TryBuyPowerup_ShieldOfTalvy();
        break;
    case kBuyIceCream:
        closeMenu();
        if (m_pPlayer) m_pPlayer->TryBuyPowerup_SpiritOfIceCream();
        break;
    case kBuySolexis:
        closeMenu();
        if (m_pPlayer) m_pPlayer->TryBuySolexis();
        break;
    case kClientSideMovement:
        closeMenu();
        m_Movement.m_bClientSideMovementAllowed = !m_Movement.m_bClientSideMovementAllowed;
        break;
    case kNewsButton:
        DeleteMOTD();
        closeMenu();
        if (w.m_bUpdateNewsOpen)
            DeleteUpdateNewsStuff();
        else
            CreateUpdateNewsStuff();
        break;
    case kNewsCloseBar:
        if (w.m_bUpdateNewsOpen) DeleteUpdateNewsStuff();
        break;
    case kMessageWindow:
        DeleteMOTD();
        break;
    case kRedisplayMOTD:
        closeMenu();
        DeleteMOTD();
        SendMOTD();
        break;
    case kKickOwnProperty:
        closeMenu();
        if (m_pPlayer) m_pPlayer->SetFlag(kPlayerNoKickOwnProperty, !m_pPlayer->GetFlag(kPlayerNoKickOwnProperty));
        break;
    case kScrollText:
        if (w.m_bScrollViewerShown) DeleteScrollerButton();
        break;
    case kScrollUp:
        if (w.m_bScrollViewerShown) ScrollUp();
        break;
    case kScrollDown:
        if (w.m_bScrollViewerShown) ScrollDown();
        break;
    default:
        break;
    }
}

// Admin state the client shows, each sent when it differs from what the own player's view last
// carried. Afterwards m_pEntity and m_pView point at the selection and this client's view of it.
void Server_Client::SendAdminSignals() {
    Server_Client_Entity* own = ViewOf(m_pPlayer);
    if (!own || !own->PlayerView()) return;
    SCE_Player* sent = own->PlayerView();
    const bool adminMode = m_pPlayer->GetFlag(kPlayerAdminMode);
    if (adminMode != ((sent->m_ucSentBits & kSCEAdminFlag) != 0)) {
        m_pPacket->AppendByte(kMsgAdminMode);
        m_pPacket->AppendByte(adminMode ? 1 : 0);
        Server_Entity::SetBit(sent->m_ucSentBits, kSCEAdminFlag, adminMode);
    }
    if (m_pPlayer->m_ucEditMode != sent->m_ucAdminToolByte) {
        m_pPacket->AppendByte(kMsgAdminToolByte);
        m_pPacket->AppendByte(m_pPlayer->m_ucEditMode);
        sent->m_ucAdminToolByte = m_pPlayer->m_ucEditMode;
    }
    if (m_pPlayer->m_fAdminStep != sent->m_fAdminToolValue) {
        m_pPacket->AppendByte(kMsgAdminToolValue);
        m_pPacket->AppendFloat(m_pPlayer->m_fAdminStep);
        sent->m_fAdminToolValue = m_pPlayer->m_fAdminStep;
    }
    Server_Entity* selection = m_pPlayer->m_pAdminSelection;
    Server_Client_Entity* selectionView = selection ? ViewOf(selection) : nullptr;
    const uint32_t handle = selectionView ? HandleOf(selectionView) : 0;
    if (handle != sent->m_uiAdminSelection) {
        m_pPacket->AppendByte(kMsgAdminSelection);
        m_pPacket->AppendU32(handle);
        sent->m_uiAdminSelection = handle;
    }
    if (selection) {
        m_pEntity = selection;
        m_pView = selectionView;
    }
}
