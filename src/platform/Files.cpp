#include "platform/Files.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {
namespace {

bool WriteAll(int fd, const char* data, size_t size) {
    while (size > 0) {
        ssize_t n = write(fd, data, size);
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        data += n;
        size -= size_t(n);
    }
    return true;
}

std::string FolderOf(const std::string& path) {
    size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    if (slash == 0) return "/";
    return path.substr(0, slash);
}

} // namespace

bool FileExists(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

bool ReadWholeFile(const std::string& path, std::string* contents) {
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    struct stat st;
    if (fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        close(fd);
        return false;
    }
    contents->clear();
    contents->reserve(size_t(st.st_size));
    char buffer[65536];
    for (;;) {
        ssize_t n = read(fd, buffer, sizeof buffer);
        if (n < 0) {
            if (errno == EINTR) continue;
            break;
        }
        if (n == 0) break;
        contents->append(buffer, size_t(n));
    }
    close(fd);
    return true;
}

bool AppendToFile(const std::string& path, std::string_view text) {
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (fd < 0) return false;
    bool ok = WriteAll(fd, text.data(), text.size());
    close(fd);
    return ok;
}

bool WriteFileDurably(const std::string& path, std::string_view contents) {
    std::string temporary = path + ".tmp";
    int fd = open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) return false;
    bool ok = WriteAll(fd, contents.data(), contents.size()) && fsync(fd) == 0;
    ok = (close(fd) == 0) && ok;
    if (ok) ok = rename(temporary.c_str(), path.c_str()) == 0;
    if (!ok) {
        unlink(temporary.c_str());
        return false;
    }
    // The rename itself must reach the disk too.
    int dir = open(FolderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir >= 0) {
        fsync(dir);
        close(dir);
    }
    return true;
}

bool MakeDirectory(const std::string& path) {
    if (mkdir(path.c_str(), 0755) == 0) return true;
    struct stat st;
    return errno == EEXIST && stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool DeleteFile(const std::string& path) { return unlink(path.c_str()) == 0; }

bool RenameFile(const std::string& from, const std::string& to) { return std::rename(from.c_str(), to.c_str()) == 0; }

std::vector<std::string> ListDirectorySorted(const std::string& folder, std::string_view suffix) {
    std::vector<std::string> names;
    DIR* dir = opendir(folder.c_str());
    if (!dir) return names;
    while (dirent* entry = readdir(dir)) {
        std::string name = entry->d_name;
        if (name == "." || name == "..") continue;
        if (name.size() < suffix.size() || name.compare(name.size() - suffix.size(), suffix.size(), suffix) != 0)
            continue;
        struct stat st;
        if (stat((folder + "/" + name).c_str(), &st) != 0 || !S_ISREG(st.st_mode)) continue;
        names.push_back(std::move(name));
    }
    closedir(dir);
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace platform
