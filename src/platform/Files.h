// Whole-file reads and durable writes, folders and listings.
#pragma once
#include <string>
#include <string_view>
#include <vector>

namespace platform {

bool FileExists(const std::string& path);
// Reads the whole file; false when it cannot be opened.
bool ReadWholeFile(const std::string& path, std::string* contents);
// Appends text to a file, creating it; false when it cannot be opened.
bool AppendToFile(const std::string& path, std::string_view text);
// Writes the file so that it is either the old or the new content after a crash or power
// loss: a temporary file in the same folder is written, flushed to disk and renamed into
// place. On failure the old file is untouched and the temporary file is removed.
bool WriteFileDurably(const std::string& path, std::string_view contents);
// Creates a folder; an existing one is fine.
bool MakeDirectory(const std::string& path);
bool DeleteFile(const std::string& path);
// Moves a file within the file system; false when it cannot.
bool RenameFile(const std::string& from, const std::string& to);
// The names (not paths) of the regular files in a folder that end with suffix, sorted.
std::vector<std::string> ListDirectorySorted(const std::string& folder, std::string_view suffix);

} // namespace platform
