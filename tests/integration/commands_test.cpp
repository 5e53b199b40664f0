// Who may use which administrative command, over real UDP against the real binary: every word of
// the administrators' table, long and short, from players of levels 0, 1, 3, 99 and 100, with and
// without the coin-changing permission.
#include <gtest/gtest.h>

#include <cctype>
#include <cstring>
#include <optional>

#include "net/Packet.h"
#include "support/GameServer.h"

namespace {

using namespace std::chrono_literals;
using namespace records;

enum class Reply : uint8_t {
    None,   // nothing without a selection
    Chat,   // one chat line from the server (text given or not)
    Window, // a window opens
};

struct Row {
    const char* m_szLong;
    const char* m_szShort; // null: none
    const char* m_szParams;
    int m_iLevelAbove = 0;
    bool m_bPermission = false;
    Reply m_Reply = Reply::None;
    const char* m_szText = nullptr;    // when allowed, the answer (a line break between two lines); null: any text
    const char* m_szRefusal = nullptr; // the answer when the level (or a permission row's permission) is lacking
};

constexpr const char* kNotFound = "PLAYER NOT FOUND";
constexpr Reply N = Reply::None, C = Reply::Chat, W = Reply::Window;

// The administrators' table, in its order, as its text gives it. Parameters keep each word
// harmless: names match nobody, indices reach past every list, values are the defaults or near.
const Row kRows[] = {
    {"/help", "/h", "", 0, false, W},
    {"/no_udp_thread", nullptr, "", 0, false, C, "UDP Thread Mode Disabled"},
    {"/yes_udp_thread", nullptr, "", 0, false, C, "UDP Thread Mode Enabled"},
    {"/compact_save_on", nullptr, "", 0, false, C,
     "Compact save mode ON!  Future save files with this mode on may be incompatible with other versions of the VUK "
     "server!!!"},
    {"/compact_save_off", nullptr, "", 0, false, C,
     "Compact save mode OFF!  Future save files with this mode off are more likely to be compatible with other "
     "versions of the VUK server."},
    {"/improved_cts_on", nullptr, "", 0, false, C, "Improved CTS on"},
    {"/improved_cts_off", nullptr, "", 0, false, C, "Improved CTS false"},
    {"/stats", nullptr, "", 0, false, W},
    {"/debugstuff1", nullptr, "", 0, false, C},
    {"/holes_in_heap", nullptr, "", 0, false, W},
    {"/debugstuff2", nullptr, ""},
    {"/goalpad_message_set", "/gms", "hello"},
    {"/goalpad_set", "/gp", "5 hello", 2},
    {"/goalpad_amount", "/ga", "5", 2},
    {"/bouncy_amount", "/ba", "5"},
    {"/tagpad_amount", "/ta", "5"},
    {"/tagpad_lock_time", "/tlt", "5"},
    {"/talvy_land_amount", "/tla", "5", 2},
    {"/goalpad_respawn_pos_right_here", "/grprh", "", 2},
    {"/setsize", "/ss", "10 10 10"},
    {"/setpos", "/sp", "10 10 10"},
    {"/setplayerpos", "/spp", "nobody 1 2 3", 0, false, C, kNotFound},
    {"/changeplayerpassword", "/cpp", "nobody abcd", 99, false, C, kNotFound,
     "You must be a master administrator to use this command."},
    {"/display_player_coins", "/dpc", "nobody", 0, false, C, kNotFound},
    {"/display_player_time_offline", "/dpto", "nobody", 0, false, C, kNotFound},
    {"/display_player_pos", "/dpp", "nobody", 0, false, C, kNotFound},
    {"/warp_player_to_self", "/wpts", "nobody", 0, false, C, kNotFound},
    {"/kick_player", "/kick", "nobody", 0, false, C, kNotFound},
    {"/warp_self_to_player", "/wstp", "nobody", 0, false, C, kNotFound},
    {"/give_player_coins", "/gpc", "nobody 5", 2, true, C, kNotFound,
     "You don't have the coin changing permission flag."},
    {"/copy_and_paste", "/cap", ""},
    {"/convert_to_room", "/ctr", ""},
    {"/raise_conflicted_players", "/rcp", ""},
    {"/display_powerup_table_count", "/dptc", "", 0, false, C},
    {"/display_powerup_table_entry", "/dpte", "1000000"},
    {"/remove_powerup_table_entry", "/rpte", "-1"},
    {"/force_powerup_spawn", "/fps", "", 0, false, C, "OK"},
    {"/set_pitch", "/s_pitch", "5"},
    {"/set_yaw", "/s_yaw", "5"},
    {"/set_roll", "/s_roll", "5"},
    {"/put_wings_here", "/pwh", ""},
    {"/put_moon_here", "/pmh", ""},
    {"/put_soz_here", "/psh", ""},
    {"/put_hyper_here", "/phh", ""},
    {"/put_gloves_here", "/pgh", ""},
    {"/put_jump_here", "/pjh", ""},
    {"/put_trifire_here", "/pth", ""},
    {"/put_gf_here", "/pgfh", ""},
    {"/put_rare_sot", "/pr_sot", ""},
    {"/put_rare_wse", "/pr_wse", ""},
    {"/put_rare_gov", "/pr_gov", ""},
    {"/put_rare_pf", "/pr_pf", ""},
    {"/put_rare_dtt", "/pr_dtt", ""},
    {"/put_rare_soc", "/pr_soc", ""},
    {"/put_rare_rp", "/pr_rp", ""},
    {"/put_rare_sbd", "/pr_sbd", ""},
    {"/put_rare_bos", "/pr_bos", ""},
    {"/destroy_all_palacecubes", "/dapc", ""},
    {"/destroy_all_quillhob", "/daq", ""},
    {"/add_talvy_right_here", "/atrh", "", 0, false, C, "OK"},
    {"/add_oriset_right_here", "/aorh", "", 0, false, C, "OK"},
    {"/add_quillhob_right_here", "/aqrh", "", 0, false, C, "OK"},
    {"/set_admin_access", "/saa", "nobody 5", 98, false, C, kNotFound, "Not level 99!"},
    {"/enable_admin_coin_changing", "/eacc", "nobody", 99, false, C, kNotFound},
    {"/disable_admin_coin_changing", "/dacc", "nobody", 99, false, C, kNotFound},
    {"/display_admin_access", "/daa", "nobody", 0, false, C, kNotFound},
    {"/set_pos_top", "/spt", "100"},
    {"/save", nullptr, "", 0, false, C, "Backup save complete"},
    {"/hide", nullptr, "", 0, false, C},
    {"/set_texture", "/st", "5"},
    {"/get_texture", "/gt", ""},
    {"/count_zones", nullptr, "", 0, false, C},
    {"/count_p_zones", nullptr, "", 0, false, C},
    {"/set_pop_princess_skip", "/spps", "3", 0, false, C, "Pop Princess Skip value is now 3"},
    {"/enable_irs", "/ei", "", 0, false, C, "IRS Building Enabled"},
    {"/disable_irs", "/di", "", 0, false, C, "IRS Building Disabled"},
    {"/stoplifts", nullptr, "", 0, false, C, "Lifts stopped (NOTE: Not saved in data file)"},
    {"/startlifts", nullptr, "", 0, false, C, "Lifts started"},
    {"/stop_princesses", "/stop_p", "", 0, false, C, "Princesses stopped (NOTE: Not saved in data file)"},
    {"/start_princesses", "/start_p", "", 0, false, C, "Princesses started"},
    {"/off_pscan_on", nullptr, "", 0, false, C, "Offline player scan on"},
    {"/off_pscan_off", nullptr, "", 0, false, C, "Offline player scan off"},
    {"/straight_update_on", nullptr, "", 0, false, C, "Straight update on (this client only)"},
    {"/straight_update_off", nullptr, "", 0, false, C, "Straight update off (this client only)"},
    {"/udp_send_buffer_limit", "/usbl", "16", 0, false, C, "UDP Send Buffer Limit is now: 16"},
    {"/set_quillhob_texture", "/sqt", "100", 0, false, C,
     "Any QuillhobCubes created from now on will have texture 100."},
    {"/set_zorbin_shrink_per_hit", "/szsph", "0.5", 0, false, C, "Zorbin shrink per hit value is now 0.500000"},
    {"/set_sb_shrink_per_hit", "/sssph", "0.5", 0, false, C, "StoneBlock shrink per hit value is now 0.500000"},
    {"/set_bb_shrink_per_hit", "/sbbsph", "0.5", 0, false, C, "BuildingBlock shrink per hit value is now 0.500000"},
    {"/set_zorbin_coins_stolen_per_hit", "/szcsph", "7", 0, false, C, "Zorbin coins stolen per hit value is now 7"},
    {"/set_property_moving_groups", "/spmg", "8", 0, false, C, "Propety Moving Groups now set to 8"},
    {"/set_max_property_move_per_tick", "/smpmpt", "5", 0, false, C, "Max property move per second now set to 5"},
    {"/set_reward_hitting_quillhob", "/srhq", "5", 0, true, C, "Reward for hitting Quillhob with a FireBlock is now 5.",
     "Sorry, you need coin changing permissions to use this command."},
    {"/flying_disallow_enable", "/fde", ""},
    {"/flying_disallow_disable", "/fdd", ""},
    {"/flying_reallow_enable", "/fre", ""},
    {"/flying_reallow_disable", "/frd", ""},
    {"/jail_enable", "/je", ""},
    {"/jail_disable", "/jd", ""},
    {"/jail_release_enable", "/jre", ""},
    {"/jail_release_disable", "/jrd", ""},
    {"/alpha", nullptr, "300", 0, false, C, "Alpha Blend Factor must be between 0-255"},
    {"/allow_zorbins_here", "/azh", ""},
    {"/disallow_zorbins_here", "/dzh", ""},
    {"/client_side_move", "/csm", "", 0, false, C},
    {"/enable_tagpad", "/et", ""},
    {"/disable_tagpad", "/dt", ""},
    {"/enable_lift", "/el", ""},
    {"/disable_lift", "/dl", ""},
    {"/warp_to_lift", "/wtl", "1000000", 0, false, C, "LIFT NOT FOUND"},
    {"/warp_to_talvy", "/wtt", "1000000", 0, false, C, "NOT FOUND"},
    {"/warp_to_oriset", "/wto", "-1", 0, false, C, "NOT FOUND"},
    {"/warp_to_quillhob", "/wtq", "1000000", 0, false, C, "NOT FOUND"},
    {"/set_lift_end_here", "/sleh", ""},
    {"/set_lift_speed", "/sls", "2501", 0, false, C,
     "Sorry, this speed is too fast.\nMaximum speed on this server is 2500."},
    {"/set_byte_send_limit", "/sbsl", "0", 0, false, C,
     "The server is no longer limited to how many bytes per 1/30th second it can send over the Internet."},
    {"/add_spline_point", "/asp", ""},
    {"/make_spline_lift", "/msl", ""},
    {"/finalize_spline_lift", "/fsl", ""},
    {"/set_normalpad_label", "/snl", "label"},
    {"/index_tagpads", "/itp", "", 0, false, W},
    {"/index_admins", "/ia", "", 0, false, W},
    {"/index_powerups", "/ip", "", 0, false, W},
    {"/kill_all_pp", "/kapp", ""},
    {"/goalpad_solexis", "/gps", "5", 2},
};

struct Word {
    const Row* m_pRow;
    std::string m_strLine;
};

std::vector<Word> AllWords() {
    std::vector<Word> words;
    for (const Row& row : kRows)
        for (const char* word : {row.m_szLong, row.m_szShort})
            if (word) words.push_back({&row, *row.m_szParams ? std::string(word) + " " + row.m_szParams : word});
    return words;
}

// A chat record (49): the sender and the text.
bool ReadChat(const Bytes& b, std::string* sender, std::string* text) {
    if (b.empty() || b[0] != 49) return false;
    Packet p;
    p.m_Data = b;
    p.m_uiReadPos = 1;
    p.ReadString(*sender);
    p.ReadString(*text);
    return true;
}

// One player who issues the words in a chat channel of its own, and what it heard, split at its
// sentinels: the server's answers to each word and its own line, should the line have gone to the
// channel (a speaker hears its own chat).
struct Issuer {
    std::string m_strName; // as its chat lines are sent: upper case
    int m_iLevel;
    std::unique_ptr<headless::HeadlessClient> m_pClient;
    std::vector<std::vector<std::string>> m_PerWord;
};

// The message window (29) or the scroll viewer, whose first window is its up button (37); other
// windows (the menu button, the please-wait window) come of themselves.
bool IsAnswerWindow(const Bytes& b) { return b.size() > 1 && b[0] == 0x65 && (b[1] == 29 || b[1] == 37); }

std::string Sentinel(size_t i) { return std::string("~") + std::to_string(i); }

// Files each message the issuer got: its own sentinel closes the current word.
void Hear(Issuer& issuer) {
    issuer.m_pClient->Poll();
    for (auto& inbox = issuer.m_pClient->m_Inbox; !inbox.empty(); inbox.pop_front()) {
        std::string sender, text;
        std::vector<std::string>& heard = issuer.m_PerWord.back();
        if (!ReadChat(inbox.front().body, &sender, &text)) {
            if (IsAnswerWindow(inbox.front().body)) heard.push_back("window");
        } else if (sender == issuer.m_strName && text == Sentinel(issuer.m_PerWord.size() - 1)) {
            issuer.m_PerWord.emplace_back();
        } else {
            heard.push_back(std::string(sender == issuer.m_strName ? "said:" : "chat:").append(text));
        }
    }
}

// What the issuer should hear; nullopt where it is not checked. Recognised commands never reach
// the channel; an ordinary player's are chat.
std::optional<std::vector<std::string>> Expected(const Word& word, int level, bool permission) {
    const Row& row = *word.m_pRow;
    if (level == 0) return std::vector<std::string>{std::string("said:").append(word.m_strLine)};
    bool levelOk = level > row.m_iLevelAbove, permissionOk = !row.m_bPermission || permission;
    if (!levelOk || !permissionOk) {
        // A permission row's refusal answers a lacking permission only; below its level it is silent.
        bool answered = row.m_szRefusal && (row.m_bPermission ? levelOk : true);
        return answered ? std::vector<std::string>{std::string("chat:") + row.m_szRefusal} : std::vector<std::string>{};
    }
    switch (row.m_Reply) {
    case Reply::None:
        return std::vector<std::string>{};
    case Reply::Window:
        return std::vector<std::string>{"window"};
    case Reply::Chat: {
        if (!row.m_szText) return std::nullopt;
        std::vector<std::string> lines;
        for (const char *line = row.m_szText, *end; line; line = *end ? end + 1 : nullptr) {
            end = std::strchr(line, '\n');
            if (!end) end = line + std::strlen(line);
            lines.push_back(std::string("chat:").append(line, end));
        }
        return lines;
    }
    default:
        return std::nullopt;
    }
}

class CommandsOverUdp : public ::testing::Test {
protected:
    // Sends every word with its sentinel from every issuer at once and waits until every issuer
    // has heard its last sentinel.
    void Walk(bool permission) {
        const std::vector<Word> words = AllWords();
        for (Issuer& p : m_Issuers) {
            p.m_PerWord = {{}};
            for (size_t i = 0; i < words.size(); ++i)
                p.m_pClient->Send(0, Concat(Record(8, {words[i].m_strLine}), Record(8, {Sentinel(i)})));
        }
        const auto until = std::chrono::steady_clock::now() + 60s;
        auto done = [&] {
            for (const Issuer& p : m_Issuers)
                if (p.m_PerWord.size() <= words.size()) return false;
            return true;
        };
        while (!done() && std::chrono::steady_clock::now() < until)
            for (Issuer& p : m_Issuers) {
                Hear(p);
                p.m_pClient->PollFor(1ms);
            }
        for (const Issuer& p : m_Issuers) {
            ASSERT_GT(p.m_PerWord.size(), words.size()) << p.m_strName << " heard only " << p.m_PerWord.size() - 1;
            for (size_t i = 0; i < words.size(); ++i) {
                const Word& w = words[i];
                SCOPED_TRACE(w.m_strLine + " at level " + std::to_string(p.m_iLevel) +
                             (permission ? " with" : " without") + " the permission");
                const std::vector<std::string>& answers = p.m_PerWord[i];
                if (auto expected = Expected(w, p.m_iLevel, permission)) {
                    EXPECT_EQ(answers, *expected);
                } else if (w.m_pRow->m_Reply == Reply::Chat) {
                    EXPECT_TRUE(answers.size() == 1 && answers[0].rfind("chat:", 0) == 0) << answers.size();
                }
            }
        }
    }

    // The text of the next chat line from the server, past everything else.
    static std::string NextAnswer(headless::HeadlessClient& client) {
        std::string sender, text;
        GameServer::NextWhere(client,
                              [&](const Bytes& b) { return ReadChat(b, &sender, &text) && sender == "VuK Server"; });
        return sender == "VuK Server" ? text : std::string();
    }

    // The master administrator's command and its one answer.
    void Order(const std::string& line, const std::string& answer) {
        headless::HeadlessClient& boss = *m_Issuers.back().m_pClient;
        boss.Send(0, Record(8, {line}));
        EXPECT_EQ(NextAnswer(boss), answer) << line;
    }

    std::vector<Issuer> m_Issuers;
};

TEST_F(CommandsOverUdp, EveryWordAtEveryLevelWithAndWithoutThePermission) {
    GameServer server([](const TempDir& dir) { dir.Write("krv_admin.ini", "Boss\r\n"); });
    ASSERT_TRUE(server.Ready()) << server.Process().Output();
    const struct {
        const char* name;
        int level;
    } players[] = {{"Ann", 0}, {"Ben", 1}, {"Cid", 3}, {"Dan", 99}, {"BOSS", 100}};
    int channel = 2; // each its own, so that nobody hears the others' lines
    for (const auto& player : players) {
        Issuer p{player.name, player.level, server.NewClient(), {}};
        for (char& c : p.m_strName) c = char(toupper(c));
        ASSERT_FALSE(GameServer::Login(*p.m_pClient, NewLogin(player.name, "pw")).empty()) << player.name;
        p.m_pClient->Send(0, Record(8, {std::string("/chatroom ").append(std::to_string(channel))}));
        ASSERT_EQ(NextAnswer(*p.m_pClient),
                  std::string("You are now in chat channel ").append(std::to_string(channel++)).append("."));
        m_Issuers.push_back(std::move(p));
    }
    Order("/saa ben 1", "ben now has access level 1.");
    Order("/saa cid 3", "cid now has access level 3.");
    Order("/saa dan 99", "dan now has access level 99.");
    Walk(false);
    for (const auto& player : players) {
        std::string name = player.name;
        Order(std::string("/eacc ") + name, name + " now has coin changing permissions.");
    }
    Walk(true);
}

} // namespace
