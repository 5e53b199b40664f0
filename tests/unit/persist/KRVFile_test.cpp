// Writing and reading whole save files: dated backups, and saves that a crash, a full disk or a
// power loss cannot tear.
#include <gtest/gtest.h>

#include <csignal>
#include <sys/resource.h>

#include "core/Server.h"
#include "net/Packet.h"
#include "persist/Server_File.h"
#include "platform/Files.h"
#include "platform/Process.h"
#include "PersistTestSupport.h"

namespace {

platform::LocalTime NewYearsEveJustBeforeMidnight() {
    platform::LocalTime t;
    t.year = 2025;
    t.month = 12;
    t.day = 31;
    t.hour = 23;
    t.minute = 59;
    t.second = 58;
    return t;
}

// Lowers the file size limit of this process for its lifetime; a write past it fails instead of
// raising a signal.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) {
        getrlimit(RLIMIT_FSIZE, &m_Old);
        m_OldHandler = std::signal(SIGXFSZ, SIG_IGN);
        rlimit lowered = m_Old;
        lowered.rlim_cur = bytes;
        setrlimit(RLIMIT_FSIZE, &lowered);
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &m_Old);
        std::signal(SIGXFSZ, m_OldHandler);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit m_Old{};
    void (*m_OldHandler)(int) = SIG_DFL;
};

class KRVFile : public InSaveFolder {
protected:
    // A world file large enough to pass the limits used below.
    void SaveWorldQuietly() {
        testing::internal::CaptureStdout();
        m_Server.SaveRoutine_WorldWithoutPlayers();
        m_strConsole = testing::internal::GetCapturedStdout();
    }
    Server m_Server;
    std::string m_strConsole;
};

TEST_F(KRVFile, BackupNameCarriesTheLocalTimeWithoutZeroPadding) {
    EXPECT_EQ(BackupFileName("KRV1_Data.krv"), "backups/2_3_2026_9_5_7_KRV1_Data.krv");
    platform::SetLocalTimeSource(&NewYearsEveJustBeforeMidnight);
    EXPECT_EQ(BackupFileName("VUK_Players.krv"), "backups/12_31_2025_23_59_58_VUK_Players.krv");
}

TEST_F(KRVFile, WriteGoesToTheDatedBackupAndToTheFile) {
    Packet packet;
    packet.AppendBytes("\x0b\x01\x02", 3);
    WritePacketToKRVFile(&packet, "KRV1_Data.krv");
    EXPECT_EQ(Read("backups/2_3_2026_9_5_7_KRV1_Data.krv"), Hex("0b0102"));
    EXPECT_EQ(Read("KRV1_Data.krv"), Hex("0b0102"));
}

TEST_F(KRVFile, EverySaveAddsABackupAndReplacesTheFile) {
    Write("KRV1_Data.krv", "old contents that are longer than the new ones");
    Packet first;
    first.AppendByte(1);
    WritePacketToKRVFile(&first, "KRV1_Data.krv");
    platform::SetLocalTimeSource(&NewYearsEveJustBeforeMidnight);
    Packet second;
    second.AppendByte(2);
    WritePacketToKRVFile(&second, "KRV1_Data.krv");
    EXPECT_EQ(Read("backups/2_3_2026_9_5_7_KRV1_Data.krv"), Hex("01"));
    EXPECT_EQ(Read("backups/12_31_2025_23_59_58_KRV1_Data.krv"), Hex("02"));
    EXPECT_EQ(Read("KRV1_Data.krv"), Hex("02"));
}

TEST_F(KRVFile, SaveRoutinesWriteBothFilesAndTheirBackups) {
    m_Server.SaveAll();
    EXPECT_EQ(Read("VUK_Players.krv"), Hex("0b"));
    EXPECT_EQ(Read("backups/2_3_2026_9_5_7_VUK_Players.krv"), Hex("0b"));
    EXPECT_EQ(Read("KRV1_Data.krv"), Hex("0b") + DefaultSettingsRecords());
    EXPECT_EQ(Read("backups/2_3_2026_9_5_7_KRV1_Data.krv"), Hex("0b") + DefaultSettingsRecords());
}

TEST_F(KRVFile, FailedWriteKeepsTheOldFileAndSaysWhichFileFailed) {
    Write("KRV1_Data.krv", "the previous world");
    {
        FileSizeLimit limit(300);
        SaveWorldQuietly();
    }
    EXPECT_EQ(Read("KRV1_Data.krv"), "the previous world");
    EXPECT_FALSE(Exists("backups/2_3_2026_9_5_7_KRV1_Data.krv"));
    EXPECT_EQ(ChatLog(), "[2/3/2026 9:5:7] LOG: Could not write backups/2_3_2026_9_5_7_KRV1_Data.krv\r\n"
                         "[2/3/2026 9:5:7] LOG: Could not write KRV1_Data.krv\r\n");
    EXPECT_EQ(m_strConsole, "Could not write backups/2_3_2026_9_5_7_KRV1_Data.krv\nCould not write KRV1_Data.krv\n");
}

TEST_F(KRVFile, SaveKilledWhileWritingTheFileLeavesTheOldFileWhole) {
    Write("KRV1_Data.krv", "the previous world");
    // No backup can be made (a plain file holds its folder's name), so the process dies in the
    // middle of writing the save file itself.
    Write("backups", "");
    EXPECT_EXIT(
        {
            rlimit limit{};
            getrlimit(RLIMIT_FSIZE, &limit);
            limit.rlim_cur = 300;
            setrlimit(RLIMIT_FSIZE, &limit);
            m_Server.SaveRoutine_WorldWithoutPlayers();
            platform::TerminateProcess(0);
        },
        testing::KilledBySignal(SIGXFSZ), "");
    EXPECT_EQ(Read("KRV1_Data.krv"), "the previous world");

    // The next save is unaffected by what the killed one left behind.
    platform::DeleteFile("backups");
    SaveWorldQuietly();
    EXPECT_EQ(Read("KRV1_Data.krv"), Hex("0b") + DefaultSettingsRecords());
}

TEST_F(KRVFile, ReadAppendsTheWholeFileToThePacket) {
    Write("KRV1_Data.krv", Hex("0b 0a 0b"));
    Packet packet;
    packet.AppendByte(0xEE);
    EXPECT_TRUE(ReadKRVFileToPacket(&packet, "KRV1_Data.krv"));
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(packet.Data()), packet.Length()), Hex("ee 0b 0a 0b"));
}

TEST_F(KRVFile, ReadOfAMissingFileFailsAndOfAnEmptyOneAppendsNothing) {
    Packet packet;
    EXPECT_FALSE(ReadKRVFileToPacket(&packet, "VUK_Players.krv"));
    Write("VUK_Players.krv", "");
    EXPECT_TRUE(ReadKRVFileToPacket(&packet, "VUK_Players.krv"));
    EXPECT_EQ(packet.Length(), 0u);
}

} // namespace
