// The four loaders: their instances, file names and function-not-found errors.
#include "loader/loaders.h"

#include "bridge/bridge_result.h"

namespace kavri {

namespace {

template <typename Loader>
Loader& openedInstance() {
    static Loader instance;
    if (instance.handle() == nullptr)
        instance.openInExportsDirectory(Loader::kFileName);
    return instance;
}

[[noreturn]] void throwNotFound(char const* message) {
    throw BridgeResultError(BridgeStatusNotFound, "FunctionNotFoundError", message);
}

} // namespace

ormicLoader& ormicLoader::loader() {
    return openedInstance<ormicLoader>();
}
void ormicLoader::throw_function_not_found_error() const {
    throwNotFound("ormic does not have a requested function.");
}

libscrinfo2Loader& libscrinfo2Loader::loader() {
    return openedInstance<libscrinfo2Loader>();
}
void libscrinfo2Loader::throw_function_not_found_error() const {
    throwNotFound("libscrinfo2 does not have a requested function.");
}

libdispctlLoader& libdispctlLoader::loader() {
    return openedInstance<libdispctlLoader>();
}
void libdispctlLoader::throw_function_not_found_error() const {
    throwNotFound("libdispctl does not have a requested function.");
}

PeltoLoader& PeltoLoader::loader() {
    return openedInstance<PeltoLoader>();
}
void PeltoLoader::throw_function_not_found_error() const {
    throwNotFound("Pelto does not have a requested function.");
}

} // namespace kavri
