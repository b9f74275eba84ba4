// The standard directories, from the environment, the XDG user-dirs files and /proc.
#include "fs/directories.h"

#include "fs/files.h"
#include "fs/strings.h"

#include <cstdio>
#include <cstdlib>
#include <sys/types.h>
#include <unistd.h>

namespace fs {

namespace {

// The variable's value, or empty when it is unset.
std::string environment(char const* name) {
    char const* value = std::getenv(name);
    return value ? std::string(value) : std::string();
}

// One quotation mark off each end, each end on its own: "abc stays "abc without the opening one.
std::string without_quotes(std::string text) {
    if (!text.empty() && text.front() == '"')
        text.erase(0, 1);
    if (!text.empty() && text.back() == '"')
        text.pop_back();
    return text;
}

std::string variable_value(std::string const& name) {
    if (name == "HOME")
        return home_directory().str();
    return environment(name.c_str());
}

} // namespace

Path temporary_directory() {
    std::string const tmpdir = environment("TMPDIR");
    return tmpdir.empty() ? Path("/tmp") : Path(tmpdir);
}

Path common_application_data_directory() {
    return Path("/var/opt");
}

Path common_color_profile_directory() {
    return common_application_data_directory() / "OVAK/profiles";
}

Path home_directory() {
    return detail::home_directory(&user_name_for_linux);
}

Path user_application_data_directory() {
    return home_directory() / ".local/share";
}

Path user_color_profile_directory() {
    return user_application_data_directory() / "icc";
}

Path xdg_config_home() {
    std::string const configured = environment("XDG_CONFIG_HOME");
    if (!configured.empty())
        return Path(detail::resolve_env(configured));
    return home_directory() / ".config";
}

Path user_startup_directory() {
    return home_directory() / ".config/autostart";
}

Path xdg_config_path(std::string const& name) {
    return detail::xdg_config_path(name, Path(detail::kUserDirsDefaultsFile));
}

Path desktop_directory() {
    return detail::desktop_directory(Path(detail::kUserDirsDefaultsFile));
}

Path executable_path() {
    char link[64];
    std::snprintf(link, sizeof link, "/proc/%ld/exe", static_cast<long>(::getpid()));
    char target[2048] = {};
    ssize_t const length = ::readlink(link, target, sizeof target - 1);
    if (length < 0)
        return Path();
    return Path(std::string(target, static_cast<std::size_t>(length)));
}

Path bundle_directory() {
    Path const executable = executable_path();
    std::string::size_type const last_slash = executable.str().rfind('/');
    if (last_slash == std::string::npos)
        return Path();
    return Path(executable.str().substr(0, last_slash));
}

std::string user_name_for_linux() {
    char name[1024] = {};
    if (::getlogin_r(name, sizeof name) != 0)
        return std::string();
    name[sizeof name - 1] = '\0';
    return std::string(name);
}

namespace detail {

std::string resolve_env(std::string const& text) {
    std::string resolved;
    std::string::size_type position = 0;
    if (!text.empty() && text.front() == '~') {
        resolved = fs::home_directory().str();
        position = 1;
    }
    while (position < text.size()) {
        std::string::size_type const dollar = text.find('$', position);
        if (dollar == std::string::npos) {
            resolved.append(text, position, std::string::npos);
            break;
        }
        resolved.append(text, position, dollar - position);
        std::string name;
        std::string::size_type next = 0;
        if (dollar + 1 < text.size() && text[dollar + 1] == '{') {
            std::string::size_type const close = text.find('}', dollar + 2);
            if (close == std::string::npos) {
                resolved.append(text, dollar, std::string::npos);
                break;
            }
            name = text.substr(dollar + 2, close - dollar - 2);
            next = close + 1;
        } else {
            next = text.find_first_of("/$\n\r", dollar + 1);
            if (next == std::string::npos)
                next = text.size();
            name = text.substr(dollar + 1, next - dollar - 1);
        }
        if (name.empty())
            resolved.append(text, dollar, next - dollar);
        else
            resolved += variable_value(name);
        position = next;
    }
    return resolved;
}

std::string load_xdg_config(Path const& path, std::string const& key) {
    IOError error = kIOErrorNone;
    std::vector<std::uint8_t> const bytes = bytes_with_contents_of_file(path, &error);
    if (error != kIOErrorNone)
        return std::string();
    for (std::string line : string::split(std::string(bytes.begin(), bytes.end()), "\n")) {
        // split leaves out empty pieces, so every line has a first byte.
        if (line.front() == '#' || line.front() == '\r')
            continue;
        if (line.back() == '\r')
            line.pop_back();
        std::string::size_type const equals = line.find('=');
        if (equals == std::string::npos)
            continue;
        if (without_quotes(line.substr(0, equals)) == key)
            return without_quotes(line.substr(equals + 1));
    }
    return std::string();
}

Path home_directory(LoginNameSource login_name) {
    std::string const home = environment("HOME");
    if (!home.empty())
        return Path(home);
    std::string const login = login_name ? login_name() : std::string();
    if (login.empty() || login == "root")
        return Path("/root");
    return Path("/home") / login;
}

Path xdg_config_path(std::string const& name, Path const& defaults_file) {
    if (name == "HOME")
        return fs::home_directory();
    std::string const key = "XDG_" + name + "_DIR";
    std::string const from_environment = environment(key.c_str());
    if (!from_environment.empty())
        return Path(from_environment);
    std::string const from_user_dirs = load_xdg_config(xdg_config_home() / "user-dirs.dirs", key);
    if (!from_user_dirs.empty())
        return Path(resolve_env(from_user_dirs));
    std::string const from_defaults = load_xdg_config(defaults_file, name);
    if (from_defaults.empty())
        return Path();
    // The defaults file names places relative to the home directory; an absolute one is kept.
    if (from_defaults.front() == '/')
        return Path(from_defaults);
    return fs::home_directory() / from_defaults;
}

Path desktop_directory(Path const& defaults_file) {
    Path desktop = xdg_config_path("DESKTOP", defaults_file);
    if (desktop.empty())
        return fs::home_directory() / "Desktop";
    return desktop;
}

} // namespace detail

} // namespace fs
