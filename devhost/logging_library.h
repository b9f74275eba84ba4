// The logging stand-in in the exports directory, read back for the lines the plug-in wrote.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace tolmahost {

struct LogLine {
    std::int32_t level = 0;
    std::string name;
    std::string line;
};

// Opens the same file the plug-in opens (one instance: the stand-in stays loaded), and reaches
// its recorded lines through its Sim... controls. Absent file or controls: available() is false
// and there are no lines.
class LoggingLibrary {
public:
    explicit LoggingLibrary(std::string const& exportsDirectory);
    ~LoggingLibrary();
    LoggingLibrary(LoggingLibrary const&) = delete;
    LoggingLibrary& operator=(LoggingLibrary const&) = delete;

    bool available() const { return lineAt_ != nullptr && lineCount_ != nullptr; }
    std::string const& path() const { return path_; }

    std::size_t count() const;
    // False past the end.
    bool lineAt(std::size_t index, LogLine& out) const;

private:
    std::string path_;
    void* handle_ = nullptr;
    std::size_t (*lineCount_)() = nullptr;
    std::int32_t (*lineAt_)(std::size_t, std::int32_t*, char const**, char const**) = nullptr;
};

} // namespace tolmahost
