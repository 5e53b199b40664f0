#include <gtest/gtest.h>

#include <sys/stat.h>

#include "platform/Files.h"
#include "support/TempDir.h"

TEST(Files, ListingKeepsRegularFilesWithTheSuffixSortedByByte) {
    TempDir dir;
    for (const char* name : {"b.txt", "a.txt", "c.png", "A.txt"}) dir.Write(name, "");
    mkdir(dir.File("d.txt").c_str(), 0755);
    EXPECT_EQ(platform::ListDirectorySorted(dir.Path(), ".txt"), (std::vector<std::string>{"A.txt", "a.txt", "b.txt"}));
    EXPECT_TRUE(platform::ListDirectorySorted(dir.File("missing"), ".txt").empty());
}

TEST(Files, DurableWriteReplacesTheWholeFileOrNothing) {
    TempDir dir;
    const std::string path = dir.File("KRV1_Data.krv"), saved("new\0data", 8);
    std::string contents = "x";
    EXPECT_FALSE(platform::ReadWholeFile(path, &contents));
    ASSERT_TRUE(platform::WriteFileDurably(path, ""));
    EXPECT_TRUE(platform::ReadWholeFile(path, &contents) && contents.empty());
    ASSERT_TRUE(platform::WriteFileDurably(path, saved));
    EXPECT_EQ(dir.Read("KRV1_Data.krv"), saved);
    EXPECT_FALSE(dir.Exists("KRV1_Data.krv.tmp"));
    // A folder where the temporary file must go makes the write fail before any rename.
    mkdir(dir.File("KRV1_Data.krv.tmp").c_str(), 0755);
    EXPECT_FALSE(platform::WriteFileDurably(path, "other"));
    EXPECT_EQ(dir.Read("KRV1_Data.krv"), saved);
}
