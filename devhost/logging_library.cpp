// The logging stand-in in the exports directory, read back for the lines the plug-in wrote.
#include "devhost/logging_library.h"

#include "sim/sim_control.h"

#include <dlfcn.h>

namespace tolmahost {

namespace {

constexpr char kLoggingFile[] = "libostrana2_x64.so";

} // namespace

LoggingLibrary::LoggingLibrary(std::string const& exportsDirectory) {
    std::string directory = exportsDirectory;
    if (!directory.empty() && (directory.back() == '/' || directory.back() == '\\'))
        directory.pop_back();
    path_ = directory + "/" + kLoggingFile;
    handle_ = dlopen(path_.c_str(), RTLD_LAZY | RTLD_LOCAL);
    if (handle_ == nullptr)
        return;
    lineCount_ =
        reinterpret_cast<decltype(&SimOstranaLineCount)>(dlsym(handle_, "SimOstranaLineCount"));
    lineAt_ = reinterpret_cast<decltype(&SimOstranaLineAt)>(dlsym(handle_, "SimOstranaLineAt"));
}

LoggingLibrary::~LoggingLibrary() {
    if (handle_ != nullptr)
        dlclose(handle_);
}

std::size_t LoggingLibrary::count() const {
    return available() ? lineCount_() : 0;
}

bool LoggingLibrary::lineAt(std::size_t index, LogLine& out) const {
    if (!available())
        return false;
    char const* name = nullptr;
    char const* line = nullptr;
    if (lineAt_(index, &out.level, &name, &line) != 0)
        return false;
    out.name = name != nullptr ? name : "";
    out.line = line != nullptr ? line : "";
    return true;
}

} // namespace tolmahost
