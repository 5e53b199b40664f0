#include <gtest/gtest.h>

#include "base/LogChat.h"
#include "support/FixedLocalTime.h"
#include "support/WorkingFolder.h"

// In a fresh folder: the log folder does not exist yet, so the first entry must create it.
TEST(LogChat, EntriesAppendToTheDaysFileWithUnpaddedFieldsAndCrLf) {
    WorkingFolder folder;
    FixedLocalTime time;
    LogChat("LOG", "Starting Server");
    LogChat(std::string("Bob (1)"), std::string("hello"));
    EXPECT_EQ(ChatLogFileName(), "chat_logs/vuk_chat_2_3_2026.log");
    EXPECT_EQ(folder.Dir().Read("chat_logs/vuk_chat_2_3_2026.log"),
              "[2/3/2026 9:5:7] LOG: Starting Server\r\n[2/3/2026 9:5:7] Bob (1): hello\r\n");
}
