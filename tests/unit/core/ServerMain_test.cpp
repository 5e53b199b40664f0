// A server run inside the test process, keys fed through the console seam.
#include <gtest/gtest.h>

#include <tuple>

#include "base/Settings.h"
#include "core/MenuMain.h"
#include "core/ServerLock.h"
#include "core/ServerMain.h"
#include "platform/Console.h"
#include "support/WorkingFolder.h"

namespace {

TEST(AdminName, FirstLineUpToNulOrLineBreakInUpperCase) {
    // clang-format off
    const std::pair<std::string, const char*> cases[] = {
        {"bob\r\nother\n", "BOB"}, {"Mixed Case\nsecond", "MIXED CASE"}, {std::string("ann\0ignored", 11), "ANN"},
        {"", ""}, {"\nname", ""}, {"\rname", ""}};
    // clang-format on
    for (const auto& [file, name] : cases) EXPECT_EQ(ParseAdminName(file), name) << file;
}

TEST(ServerLockDeathTest, EnteringTwiceOnOneThreadAborts) {
    EXPECT_DEATH(
        {
            ServerLock lock;
            lock.Lock();
            lock.Lock();
        },
        "server lock was entered twice");
}

TEST(ServerLock, HeldFlagFollowsTheLock) {
    ServerLock lock;
    EXPECT_FALSE(lock.IsHeld());
    {
        ServerLockGuard guard(lock);
        EXPECT_TRUE(lock.IsHeld());
    }
    EXPECT_FALSE(lock.IsHeld());
}

const char* g_keys = "";
int NextKey() { return *g_keys ? *g_keys++ : -1; }

class ServerRun : public ::testing::Test {
protected:
    void SetUp() override {
        m_SavedHooks = g_TestHooks;
        g_TestHooks.crashKey = true;
        g_uiCurrentPort = uint32_t(FreeUdpPort());
        platform::SetKeySource(&NextKey);
    }
    void TearDown() override {
        platform::SetKeySource(nullptr);
        g_TestHooks = m_SavedHooks;
        g_uiCurrentPort = 1983;
        g_bException = false;
    }
    WorkingFolder m_Folder;
    const TempDir& m_Dir = m_Folder.Dir();
    TestHooks m_SavedHooks;
};

TEST_F(ServerRun, WithoutSavingACrashReturnsWithTheExceptionFlagSet) {
    g_keys = "sv!";
    testing::internal::CaptureStdout();
    int result = ServerMain(false, false);
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(std::tuple(result, g_bException, g_pServer), std::tuple(0, true, nullptr));
    // No save instructions, no loading, the save and view keys do nothing beyond their echo.
    EXPECT_EQ(out.find("LOADING"), std::string::npos);
    EXPECT_EQ(out.find("Type S to save"), std::string::npos);
    EXPECT_NE(out.find("(S) - Save     (Q) - Save and Quit\nDO NOT CLICK"), std::string::npos);
    size_t keys = out.find("s\nv\n!\n");
    ASSERT_NE(keys, std::string::npos);
    EXPECT_EQ(out.substr(keys), "s\nv\n!\n");
    EXPECT_FALSE(m_Dir.Exists("KRV1_Data.krv"));
    EXPECT_NE(m_Dir.Read(ChatLogFileName()).find("] CRASH ALERT: CRASH!!!\r\n"), std::string::npos);
}

TEST_F(ServerRun, WithoutSavingQuitStoresNothing) {
    g_keys = "q";
    testing::internal::CaptureStdout();
    EXPECT_EQ(ServerMain(false, false), 0);
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(std::tuple(g_bException, out.find("FINAL SAVE"), m_Dir.Exists("KRV1_Data.krv"),
                         m_Dir.Exists("VUK_Players.krv")),
              std::tuple(false, std::string::npos, false, false));
}

TEST(AddressBanner, LoopbackIsSkippedAndPrivateAddressesGetTheRouterAdvice) {
    g_uiCurrentPort = 1984;
    testing::internal::CaptureStdout();
    PrintAddressBanners({{127, 0, 0, 1}, {192, 168, 0, 5}, {0, 0, 0, 0}, {10, 1, 2, 3}});
    std::string out = testing::internal::GetCapturedStdout();
    g_uiCurrentPort = 1983;
    const std::string head = "Welcome to Quorvane!\nVisit the Quorvane home page for information and updates.\n"
                             "More information on this server can also be found by typing /sa\n"
                             "===================================\n";
    EXPECT_EQ(out, head +
                       "This computer's IP address is: 192.168.0.5\n"
                       "\nIt appears that this computer is connected to the Internet through a\n"
                       "router or other Internet Connection Sharing (ICS) device.  You will\n"
                       "need to configure your ICS device so that it forwards UDP packets\n"
                       "destined for port 1984 to IP address 192.168.0.5.  Then, figure out the\n"
                       "IP address of your ICS device (look at its instruction manual for help),\n"
                       "and then tell your friends the address of the ICS device, so they\n"
                       "can connect to VUK.\n\n" +
                       head + "This computer's IP address is: 10.1.2.3\n");
}

} // namespace
