#include <gtest/gtest.h>

#include <sys/stat.h>

#include "platform/Files.h"
#include "support/TempDir.h"

namespace {

TEST(DirectoryListing, ReturnsMatchingRegularFilesSortedByName) {
    TempDir dir;
    dir.Write("b.txt", "");
    dir.Write("a.txt", "");
    dir.Write("c.png", "");
    dir.Write("A.txt", "");
    mkdir(dir.File("d.txt").c_str(), 0755);
    EXPECT_EQ(platform::ListDirectorySorted(dir.Path(), ".txt"), (std::vector<std::string>{"A.txt", "a.txt", "b.txt"}));
    EXPECT_TRUE(platform::ListDirectorySorted(dir.File("missing"), ".txt").empty());
}

TEST(DurableWrite, ReplacesTheFileAndLeavesNoTemporary) {
    TempDir dir;
    dir.Write("KRV1_Data.krv", "old");
    ASSERT_TRUE(platform::WriteFileDurably(dir.File("KRV1_Data.krv"), std::string("new\0data", 8)));
    EXPECT_EQ(dir.Read("KRV1_Data.krv"), std::string("new\0data", 8));
    EXPECT_FALSE(dir.Exists("KRV1_Data.krv.tmp"));
}

TEST(DurableWrite, FailureLeavesTheOldFileIntact) {
    TempDir dir;
    dir.Write("KRV1_Data.krv", "old");
    // A folder where the temporary file must go makes the write fail before any rename.
    mkdir(dir.File("KRV1_Data.krv.tmp").c_str(), 0755);
    EXPECT_FALSE(platform::WriteFileDurably(dir.File("KRV1_Data.krv"), "new"));
    EXPECT_EQ(dir.Read("KRV1_Data.krv"), "old");
}

TEST(WholeFileRead, MissingFileIsReportedAndEmptyFileReadsEmpty) {
    TempDir dir;
    std::string contents = "x";
    EXPECT_FALSE(platform::ReadWholeFile(dir.File("none"), &contents));
    dir.Write("empty", "");
    EXPECT_TRUE(platform::ReadWholeFile(dir.File("empty"), &contents));
    EXPECT_EQ(contents, "");
}

} // namespace
