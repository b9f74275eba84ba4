// The fs file operations: tests, copy, move, remove, make directory, size, date, listing, read.
#pragma once

#include "fs/date_time.h"
#include "fs/path.h"

#include <cstdint>
#include <string>
#include <vector>

namespace fs {

// Result code of fs::bytes_with_contents_of_file.
using IOError = std::uint32_t;
constexpr IOError kIOErrorNone = 0;
constexpr IOError kIOErrorCannotOpen = 0x80000001;

// None of these throws or reports errno: failure is false, an empty or zero value, the largest
// size, or kIOErrorCannotOpen.

// stat (following links) succeeds and names a regular file / a directory.
bool is_file(Path const& path);
bool is_directory(Path const& path);

// Copies in 1024-byte blocks into `to`, which is created or truncated. False when either file
// cannot be opened, a block cannot be read or written in full, or the destination cannot be
// closed; a partial destination is then left behind.
bool copy_file(Path const& from, Path const& to);

// rename(2): does not cross file systems.
bool move_file(Path const& from, Path const& to);

// unlink(2).
bool remove_file(Path const& path);

// rmdir(2): the directory must be empty.
bool remove_directory(Path const& path);

// Creates `path` with mode 0777 (less the umask) after creating its missing parents. The parent
// is the text before the last '/'. Returns false without creating anything when the path has no
// '/' or only a leading one (a bare relative name, or a top-level directory such as "/x"), and
// when the parent is a single byte (a one-letter relative parent such as "a/b"). Otherwise the
// result is that of mkdir for the path itself, so an existing directory gives false.
bool make_directory(Path const& path);

// Size from stat, or the largest std::uint64_t when stat fails.
std::uint64_t file_size_of(Path const& path);

// Modification time from stat in UTC, millisecond 0; an all-zero DateTime on failure.
DateTime file_modification_date(Path const& path);

// Appends the name of every entry of the directory except "." and "..", in readdir order. Adds
// nothing when the directory cannot be opened.
void items_in_directory(std::vector<std::string>& names, Path const& directory);

// The whole file. `error` (optional) is set to kIOErrorNone, or to kIOErrorCannotOpen with an
// empty result when the file cannot be opened or read (a directory, for one).
std::vector<std::uint8_t> bytes_with_contents_of_file(Path const& path, IOError* error = nullptr);

// Creates or truncates the file and writes `bytes` in one write. True when the file opened, every
// byte was written and it closed cleanly; a partly written file is left behind otherwise.
bool write_file(Path const& path, std::string const& bytes);

} // namespace fs
