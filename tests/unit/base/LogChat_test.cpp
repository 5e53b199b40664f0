#include <gtest/gtest.h>

#include "base/LogChat.h"
#include "support/FixedLocalTime.h"
#include "support/WorkingFolder.h"

namespace {

class InTempFolder : public ::testing::Test {
protected:
    WorkingFolder m_Folder;
    FixedLocalTime m_Time;
    const TempDir& m_Dir = m_Folder.Dir();
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
