// C++ helpers for tests over the stand-ins: recorded answers, events and log lines as values.
#pragma once

#include "sim/sim_control.h"

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <dirent.h>
#include <dlfcn.h>
#include <ostream>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

namespace sim {

struct Response {
    std::int32_t promiseId;
    std::int32_t statusCode;
    std::string json;
};

struct Event {
    std::string name;
    std::string json;
};

struct LogLine {
    std::int32_t level;
    std::string name;
    std::string line;
};

inline bool operator==(Response const& a, Response const& b) {
    return a.promiseId == b.promiseId && a.statusCode == b.statusCode && a.json == b.json;
}
inline bool operator==(Event const& a, Event const& b) {
    return a.name == b.name && a.json == b.json;
}
inline bool operator==(LogLine const& a, LogLine const& b) {
    return a.level == b.level && a.name == b.name && a.line == b.line;
}
inline std::ostream& operator<<(std::ostream& out, Response const& r) {
    return out << "{promise " << r.promiseId << ", status " << r.statusCode << ", " << r.json
               << "}";
}
inline std::ostream& operator<<(std::ostream& out, Event const& e) {
    return out << "{" << e.name << ", " << e.json << "}";
}
inline std::ostream& operator<<(std::ostream& out, LogLine const& l) {
    return out << "{" << l.name << ", level " << l.level << ", " << l.line << "}";
}

// Answers recorded by the page-bridge stand-in, in call order (needs sim_pagebridge linked).
inline std::vector<Response> responses() {
    std::vector<Response> out;
    Response r{0, 0, {}};
    char const* json = nullptr;
    for (std::size_t i = 0; SimPageBridgeResponseAt(i, &r.promiseId, &r.statusCode, &json) == 0;
         ++i) {
        r.json = json;
        out.push_back(r);
    }
    return out;
}

// Events recorded by the page-bridge stand-in, in call order.
inline std::vector<Event> events() {
    std::vector<Event> out;
    char const* name = nullptr;
    char const* json = nullptr;
    for (std::size_t i = 0; SimPageBridgeEventAt(i, &name, &json) == 0; ++i)
        out.push_back(Event{name, json});
    return out;
}

// Lines recorded by the logging stand-in, in call order (needs sim_ostrana2 linked, so that the
// plug-in's run-time copy and this one are the same instance).
inline std::vector<LogLine> logLines() {
    std::vector<LogLine> out;
    LogLine l{0, {}, {}};
    char const* name = nullptr;
    char const* line = nullptr;
    for (std::size_t i = 0; SimOstranaLineAt(i, &l.level, &name, &line) == 0; ++i) {
        l.name = name;
        l.line = line;
        out.push_back(l);
    }
    return out;
}

#ifdef TOLMA_SIM_LIBRARY_DIR
// The build's directory of stand-ins; use it as the exports directory.
inline std::string libraryDirectory() {
    return TOLMA_SIM_LIBRARY_DIR;
}
#endif

// Sets the exports directory for the scope, then returns to the environment variable.
class ExportsPathScope {
public:
    explicit ExportsPathScope(std::string const& path) { SimHostSetExportsPath(path.c_str()); }
    ~ExportsPathScope() { SimHostUseEnvironmentExportsPath(); }
    ExportsPathScope(ExportsPathScope const&) = delete;
    ExportsPathScope& operator=(ExportsPathScope const&) = delete;
};

#ifdef TOLMA_SIM_LIBRARY_DIR
// A temporary exports directory: symbolic links to the build's stand-ins, without the files named
// absent (a library that is not installed) and with some files taken from elsewhere (a variant
// built by tolma_sim_variant, under the stand-in's file name). Removed with the object.
class ExportsDirectory {
public:
    explicit ExportsDirectory(
        std::vector<std::string> const& absent = {},
        std::vector<std::pair<std::string, std::string>> const& replaced = {}) {
        std::string pattern = "/tmp/tolma-exports-XXXXXX";
        if (mkdtemp(&pattern[0]) == nullptr)
            return;
        path_ = pattern;
        std::vector<std::pair<std::string, std::string>> links;
        if (DIR* dir = opendir(TOLMA_SIM_LIBRARY_DIR)) {
            while (dirent* entry = readdir(dir)) {
                std::string const name = entry->d_name;
                if (name.compare(0, 3, "lib") != 0 || name.find(".so") == std::string::npos)
                    continue;
                bool skip = false;
                for (std::string const& a : absent)
                    skip = skip || a == name;
                for (auto const& r : replaced)
                    skip = skip || r.first == name;
                if (!skip)
                    links.emplace_back(name, libraryDirectory() + "/" + name);
            }
            closedir(dir);
        }
        links.insert(links.end(), replaced.begin(), replaced.end());
        for (auto const& link : links) {
            std::string const at = path_ + "/" + link.first;
            if (symlink(link.second.c_str(), at.c_str()) == 0)
                files_.push_back(at);
        }
    }
    ~ExportsDirectory() {
        for (std::string const& file : files_)
            unlink(file.c_str());
        if (!path_.empty())
            rmdir(path_.c_str());
    }
    ExportsDirectory(ExportsDirectory const&) = delete;
    ExportsDirectory& operator=(ExportsDirectory const&) = delete;

    // "" when the directory could not be made.
    std::string const& path() const { return path_; }

private:
    std::string path_;
    std::vector<std::string> files_;
};
#endif

// The controls of the logging stand-in, reached through dlopen of the same file the plug-in
// opens, so both see one instance. loaded() is false when the file or a control is missing;
// every other member then does nothing and returns an empty result.
class Ostrana {
public:
    explicit Ostrana(std::string const& path) : handle_(dlopen(path.c_str(), RTLD_NOW)) {
        if (handle_ == nullptr)
            return;
        bool const ok = find(reset_, "SimOstranaReset") &&
                        find(setAvailable_, "SimOstranaSetAvailable") &&
                        find(setEcho_, "SimOstranaSetEcho") && find(lineAt_, "SimOstranaLineAt") &&
                        find(waitForLines_, "SimOstranaWaitForLines") &&
                        find(getLoggerCalls_, "SimOstranaGetLoggerCallCount") &&
                        find(violations_, "SimOstranaViolationCount");
        if (!ok) {
            dlclose(handle_);
            handle_ = nullptr;
        }
    }
#ifdef TOLMA_SIM_LIBRARY_DIR
    // The stand-in in the build's library directory.
    Ostrana() : Ostrana(libraryDirectory() + "/libostrana2_x64.so") {}
#endif
    ~Ostrana() {
        if (handle_ != nullptr)
            dlclose(handle_);
    }
    Ostrana(Ostrana const&) = delete;
    Ostrana& operator=(Ostrana const&) = delete;

    bool loaded() const {
        return handle_ != nullptr;
    }
    void reset() const {
        if (loaded())
            reset_();
    }
    void setAvailable(bool available) const {
        if (loaded())
            setAvailable_(available ? 1 : 0);
    }
    void setEcho(bool echo) const {
        if (loaded())
            setEcho_(echo ? 1 : 0);
    }
    std::vector<LogLine> lines() const {
        std::vector<LogLine> out;
        if (!loaded())
            return out;
        LogLine l{0, {}, {}};
        char const* name = nullptr;
        char const* line = nullptr;
        for (std::size_t i = 0; lineAt_(i, &l.level, &name, &line) == 0; ++i) {
            l.name = name;
            l.line = line;
            out.push_back(l);
        }
        return out;
    }
    bool waitForLines(std::size_t count, std::chrono::milliseconds timeout) const {
        return loaded() && waitForLines_(count, static_cast<std::uint32_t>(timeout.count())) != 0;
    }
    std::size_t getLoggerCalls() const {
        return loaded() ? getLoggerCalls_() : 0;
    }
    std::size_t violations() const {
        return loaded() ? violations_() : 0;
    }

private:
    template <typename F>
    bool find(F& function, char const* name) {
        function = reinterpret_cast<F>(dlsym(handle_, name));
        return function != nullptr;
    }

    void* handle_;
    decltype(&SimOstranaReset) reset_ = nullptr;
    decltype(&SimOstranaSetAvailable) setAvailable_ = nullptr;
    decltype(&SimOstranaSetEcho) setEcho_ = nullptr;
    decltype(&SimOstranaLineAt) lineAt_ = nullptr;
    decltype(&SimOstranaWaitForLines) waitForLines_ = nullptr;
    decltype(&SimOstranaGetLoggerCallCount) getLoggerCalls_ = nullptr;
    decltype(&SimOstranaViolationCount) violations_ = nullptr;
};

} // namespace sim
