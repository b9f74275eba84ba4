// The fs file operations over stat, stdio, rename, unlink, mkdir, rmdir and readdir.
#include "fs/files.h"

#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <limits>
#include <sys/stat.h>
#include <sys/types.h>
#include <time.h>
#include <unistd.h>
#include <utility>

namespace fs {

namespace {

constexpr std::size_t kBlockSize = 1024;

// Closes the FILE* on scope exit; close() reports whether the final flush succeeded.
class StdioFile {
public:
    StdioFile(Path const& path, char const* mode) : file_(std::fopen(path.c_str(), mode)) {}
    ~StdioFile() { close(); }
    StdioFile(StdioFile const&) = delete;
    StdioFile& operator=(StdioFile const&) = delete;

    std::FILE* get() const { return file_; }
    bool close() {
        if (!file_)
            return true;
        bool const closed = std::fclose(file_) == 0;
        file_ = nullptr;
        return closed;
    }

private:
    std::FILE* file_;
};

bool stat_of(Path const& path, struct stat& info) {
    return ::stat(path.c_str(), &info) == 0;
}

} // namespace

bool is_file(Path const& path) {
    struct stat info {};
    return stat_of(path, info) && S_ISREG(info.st_mode);
}

bool is_directory(Path const& path) {
    struct stat info {};
    return stat_of(path, info) && S_ISDIR(info.st_mode);
}

bool copy_file(Path const& from, Path const& to) {
    StdioFile source(from, "rb");
    if (!source.get())
        return false;
    StdioFile destination(to, "wb");
    if (!destination.get())
        return false;
    char block[kBlockSize];
    for (;;) {
        std::size_t const read = std::fread(block, 1, sizeof block, source.get());
        if (read > 0 && std::fwrite(block, 1, read, destination.get()) != read)
            return false;
        if (read < sizeof block)
            break;
    }
    if (std::ferror(source.get()))
        return false;
    return destination.close();
}

bool move_file(Path const& from, Path const& to) {
    return std::rename(from.c_str(), to.c_str()) == 0;
}

bool remove_file(Path const& path) {
    return ::unlink(path.c_str()) == 0;
}

bool remove_directory(Path const& path) {
    return ::rmdir(path.c_str()) == 0;
}

bool make_directory(Path const& path) {
    // Walk up from the path while the parent is missing, then create top-down. This is the
    // recursive rule "make the parent first (ignoring its result), then mkdir", unrolled so that
    // a long path cannot exhaust the stack: every check happens before the first mkdir, as it
    // would in the recursion.
    std::vector<Path> chain{path};
    for (;;) {
        std::string const& text = chain.back().str();
        std::string::size_type const last_slash = text.rfind('/');
        // No '/', or only a leading one, or a one-byte parent: that level creates nothing.
        bool const stops = last_slash == std::string::npos || last_slash == 0 || last_slash == 1;
        if (stops) {
            if (chain.size() == 1)
                return false;
            chain.pop_back(); // that ancestor is left alone; the mkdir below it will fail
            break;
        }
        Path parent(text.substr(0, last_slash));
        if (is_directory(parent))
            break;
        chain.push_back(std::move(parent));
    }
    // Each missing ancestor gets one mkdir, outermost first; its result only matters through the
    // mkdir of the level below it.
    for (std::size_t level = chain.size() - 1; level > 0; --level)
        static_cast<void>(::mkdir(chain[level].c_str(), 0777));
    return ::mkdir(path.c_str(), 0777) == 0;
}

std::uint64_t file_size_of(Path const& path) {
    struct stat info {};
    if (!stat_of(path, info))
        return std::numeric_limits<std::uint64_t>::max();
    return static_cast<std::uint64_t>(info.st_size);
}

DateTime file_modification_date(Path const& path) {
    struct stat info {};
    if (!stat_of(path, info))
        return DateTime();
    tm parts{};
    time_t const seconds = info.st_mtime;
    if (!gmtime_r(&seconds, &parts))
        return DateTime();
    return DateTime(parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday, parts.tm_hour,
                    parts.tm_min, parts.tm_sec, 0);
}

void items_in_directory(std::vector<std::string>& names, Path const& directory) {
    DIR* const dir = ::opendir(directory.c_str());
    if (!dir)
        return;
    while (dirent const* entry = ::readdir(dir)) {
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0)
            continue;
        names.emplace_back(entry->d_name);
    }
    ::closedir(dir);
}

std::vector<std::uint8_t> bytes_with_contents_of_file(Path const& path, IOError* error) {
    std::vector<std::uint8_t> bytes;
    IOError result = kIOErrorNone;
    StdioFile file(path, "rb");
    if (!file.get()) {
        result = kIOErrorCannotOpen;
    } else {
        std::uint8_t block[kBlockSize];
        std::size_t read = 0;
        do {
            read = std::fread(block, 1, sizeof block, file.get());
            bytes.insert(bytes.end(), block, block + read);
        } while (read == sizeof block);
        if (std::ferror(file.get())) {
            bytes.clear();
            result = kIOErrorCannotOpen;
        }
    }
    if (error)
        *error = result;
    return bytes;
}

bool write_file(Path const& path, std::string const& bytes) {
    StdioFile file(path, "wb");
    if (!file.get())
        return false;
    bool const written = std::fwrite(bytes.data(), 1, bytes.size(), file.get()) == bytes.size();
    return file.close() && written;
}

} // namespace fs
