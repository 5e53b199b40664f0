// Writing and reading whole save files: dated backups, and saves that a crash, a full disk or a
// power loss cannot tear.
#include "PersistTestSupport.h"

#include <csignal>
#include <sys/resource.h>

#include "net/Packet.h"
#include "platform/Files.h"
#include "platform/Process.h"

namespace {

platform::LocalTime NewYearsEveJustBeforeMidnight() { return {2025, 12, 31, 23, 59, 58}; }

// Lowers the file size limit of this process, with the signal of a write past it ignored, so that
// such a write fails; gives the limit to restore.
rlimit LimitFileSize(rlim_t bytes) {
    rlimit old{};
    getrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit lowered{bytes, old.rlim_max};
    setrlimit(RLIMIT_FSIZE, &lowered);
    return old;
}

using KRVFile = InSaveFolder;

// The backup's name carries the local time without zero padding.
TEST_F(KRVFile, EverySaveAddsADatedBackupAndReplacesTheFile) {
    Write(kWorldFileName, "old contents that are longer than the new ones");
    Packet first;
    first.AppendByte(1);
    WritePacketToKRVFile(&first, kWorldFileName);
    platform::SetLocalTimeSource(&NewYearsEveJustBeforeMidnight);
    Packet second;
    second.AppendByte(2);
    WritePacketToKRVFile(&second, kWorldFileName);
    EXPECT_EQ(Read("backups/2_3_2026_9_5_7_KRV1_Data.krv"), Hex("01"));
    EXPECT_EQ(Read("backups/12_31_2025_23_59_58_KRV1_Data.krv"), Hex("02"));
    EXPECT_EQ(Read(kWorldFileName), Hex("02"));
    // Reading appends the whole file to what the packet holds.
    EXPECT_TRUE(ReadKRVFileToPacket(&second, kWorldFileName));
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(second.Data()), second.Length()), Hex("02 02"));
}

TEST_F(KRVFile, FailedWriteKeepsTheOldFileAndSaysWhichFileFailed) {
    Write(kWorldFileName, "the previous world");
    rlimit old = LimitFileSize(300);
    SaveWorld();
    setrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, SIG_DFL);
    EXPECT_EQ(Read(kWorldFileName), "the previous world");
    EXPECT_FALSE(m_Folder.Exists("backups/2_3_2026_9_5_7_KRV1_Data.krv"));
    EXPECT_EQ(ChatLog(), "[2/3/2026 9:5:7] LOG: Could not write backups/2_3_2026_9_5_7_KRV1_Data.krv\r\n"
                         "[2/3/2026 9:5:7] LOG: Could not write KRV1_Data.krv\r\n");
    EXPECT_EQ(m_strConsole, "Could not write backups/2_3_2026_9_5_7_KRV1_Data.krv\nCould not write KRV1_Data.krv\n");
}

TEST_F(KRVFile, SaveKilledWhileWritingTheFileLeavesTheOldFileWhole) {
    Write(kWorldFileName, "the previous world");
    // No backup can be made (a plain file holds its folder's name), so the process dies in the
    // middle of writing the save file itself.
    Write("backups", "");
    EXPECT_EXIT(
        {
            LimitFileSize(300);
            std::signal(SIGXFSZ, SIG_DFL);
            server().SaveRoutine_WorldWithoutPlayers();
            platform::TerminateProcess(0);
        },
        testing::KilledBySignal(SIGXFSZ), "");
    EXPECT_EQ(Read(kWorldFileName), "the previous world");

    // The next save is unaffected by what the killed one left behind.
    platform::DeleteFile("backups");
    EXPECT_EQ(SaveWorld(), Hex("0b") + DefaultSettingsRecords());
}

} // namespace
