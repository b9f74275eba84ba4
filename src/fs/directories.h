// The standard directories: temporary, app data, colour profiles, home, XDG, autostart, bundle.
#pragma once

#include "fs/path.h"

#include <string>

namespace fs {

// Every function here only computes a path: nothing is created on disk and nothing checks that
// the place exists. An empty path means "not available".

// $TMPDIR if set and not empty, else /tmp.
Path temporary_directory();
// /var/opt
Path common_application_data_directory();
// /var/opt/OVAK/profiles
Path common_color_profile_directory();
// $HOME if set and not empty; else /root for the login name root or no login name, else
// /home/<login name>.
Path home_directory();
// <home>/.local/share
Path user_application_data_directory();
// <home>/.local/share/icc
Path user_color_profile_directory();
// $XDG_CONFIG_HOME (with ~ and $NAME references resolved) if set and not empty, else
// <home>/.config.
Path xdg_config_home();
// <home>/.config/autostart, whatever XDG_CONFIG_HOME says.
Path user_startup_directory();
// The XDG user directory called `name` ("DESKTOP", "DOCUMENTS", ...), first of: the home
// directory for "HOME"; the variable XDG_<name>_DIR; the XDG_<name>_DIR line of
// <xdg_config_home>/user-dirs.dirs, resolved; the <name> line of /etc/xdg/user-dirs.defaults,
// under the home directory. Empty when none has it.
Path xdg_config_path(std::string const& name);
// xdg_config_path("DESKTOP"), or <home>/Desktop when that is empty.
Path desktop_directory();
// The target of /proc/<pid>/exe (at most 2047 bytes), or empty when it cannot be read.
Path executable_path();
// The executable path up to, not including, its last '/'.
Path bundle_directory();
// The login name from getlogin_r (at most 1023 bytes), or the empty text when there is none.
std::string user_name_for_linux();

namespace detail {

// Expands a leading '~' to the home directory, then each $NAME or ${NAME} in the rest: HOME is
// the home directory, any other name its environment value (empty when unset). An unbraced name
// ends at '/', '$', a line feed, a carriage return or the end. A '$' without a name ("$/", "${}")
// and an unterminated "${" are kept as written.
std::string resolve_env(std::string const& text);

// The value of the first KEY=VALUE line of the file whose key is `key`; empty when the file
// cannot be read or has no such line. Lines starting with '#' or a carriage return are skipped,
// as are lines without '='; a CR before the line feed is not part of the value. One quotation
// mark is removed from each end of key and value where present.
std::string load_xdg_config(Path const& path, std::string const& key);

// The parts of home_directory, xdg_config_path and desktop_directory that read the login name
// and the system defaults file, with those two taken as arguments. The public functions pass
// user_name_for_linux and kUserDirsDefaultsFile; tests pass their own.
using LoginNameSource = std::string (*)();
inline constexpr char const* kUserDirsDefaultsFile = "/etc/xdg/user-dirs.defaults";
Path home_directory(LoginNameSource login_name);
Path xdg_config_path(std::string const& name, Path const& defaults_file);
Path desktop_directory(Path const& defaults_file);

} // namespace detail

} // namespace fs
