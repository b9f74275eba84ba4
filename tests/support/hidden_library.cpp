// Hiding an installed library: dlinfo for its file, unshare with a bind mount over it.
#include "hidden_library.h"

#include "child_process.h"

#include <dlfcn.h>
#include <link.h>

namespace test {

std::string loadedLibraryFile(char const* name) {
    void* handle = dlopen(name, RTLD_LAZY | RTLD_NOLOAD);
    if (handle == nullptr)
        handle = dlopen(name, RTLD_LAZY);
    if (handle == nullptr)
        return "";
    link_map* map = nullptr;
    std::string file;
    if (dlinfo(handle, RTLD_DI_LINKMAP, &map) == 0 && map != nullptr)
        file = map->l_name;
    dlclose(handle);
    return file;
}

std::vector<std::string> hidingWrapper(std::string const& file) {
    if (file.empty())
        return {};
    return {"unshare", "-r", "-m", "sh", "-c", "mount --bind /dev/null \"$0\" && exec \"$@\"", file};
}

bool canHideLibraries() {
    ProcessInput input;
    input.program = "unshare";
    input.arguments = {"-r", "-m", "sh", "-c", "mount --bind /dev/null /dev/null"};
    return runProcess(input).exitStatus == 0;
}

} // namespace test
