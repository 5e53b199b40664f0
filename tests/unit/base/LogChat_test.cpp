#include <gtest/gtest.h>

#include <unistd.h>

#include "core/LogChat.h"
#include "platform/LocalTime.h"
#include "support/TempDir.h"

namespace {

platform::LocalTime MorningOfFebruaryThird() {
    platform::LocalTime t;
    t.year = 2026;
    t.month = 2;
    t.day = 3;
    t.hour = 9;
    t.minute = 5;
    t.second = 7;
    return t;
}

class InTempFolder : public ::testing::Test {
protected:
    void SetUp() override {
        char cwd[4096];
        ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
        m_OldFolder = cwd;
        ASSERT_EQ(chdir(m_Dir.Path().c_str()), 0);
        platform::SetLocalTimeSource(&MorningOfFebruaryThird);
    }
    void TearDown() override {
        platform::SetLocalTimeSource(nullptr);
        ASSERT_EQ(chdir(m_OldFolder.c_str()), 0);
    }
    TempDir m_Dir;
    std::string m_OldFolder;
};

TEST_F(InTempFolder, EntriesGoToTheDaysFileWithUnpaddedFieldsAndCrLf) {
    LogChat("LOG", "Starting Server");
    LogChat(std::string("Bob (1)"), std::string("hello"));
    EXPECT_EQ(ChatLogFileName(), "chat_logs/vuk_chat_2_3_2026.log");
    EXPECT_EQ(m_Dir.Read("chat_logs/vuk_chat_2_3_2026.log"),
              "[2/3/2026 9:5:7] LOG: Starting Server\r\n[2/3/2026 9:5:7] Bob (1): hello\r\n");
}

TEST_F(InTempFolder, MissingFolderIsCreatedAndExistingFileIsAppended) {
    m_Dir.Write("placeholder", "");
    LogChat("WARNING", "first");
    LogChat("WARNING", "second");
    std::string log = m_Dir.Read("chat_logs/vuk_chat_2_3_2026.log");
    EXPECT_EQ(log, "[2/3/2026 9:5:7] WARNING: first\r\n[2/3/2026 9:5:7] WARNING: second\r\n");
}

} // namespace
