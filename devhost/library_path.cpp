// The fake libusb's folder on the library path, where the plug-in's bare-name dlopen finds it.
#include "devhost/library_path.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace tolmahost {

namespace {

constexpr char kVariable[] = "LD_LIBRARY_PATH";

bool isDirectory(std::string const& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

} // namespace

void putFirstOnLibraryPath(std::string const& directory, char** argv) {
    if (directory.empty() || !isDirectory(directory))
        return;
    char const* current = std::getenv(kVariable);
    std::string const old = current != nullptr ? current : "";
    if (old.compare(0, directory.size(), directory) == 0 &&
        (old.size() == directory.size() || old[directory.size()] == ':'))
        return;
    std::string const path = old.empty() ? directory : directory + ":" + old;
    if (setenv(kVariable, path.c_str(), 1) != 0)
        return;
    // The file's own path, so that the process keeps its name.
    char self[4096];
    ssize_t const length = readlink("/proc/self/exe", self, sizeof self - 1);
    if (length <= 0)
        return;
    self[length] = '\0';
    std::fflush(nullptr);
    execv(self, argv);
    std::fprintf(stderr, "tolmahost: cannot restart with %s on the library path (%s)\n",
                 directory.c_str(), std::strerror(errno));
    // Carry on: the plug-in also tries each LD_LIBRARY_PATH folder by full path.
}

} // namespace tolmahost
