// The four process-wide loaders of the maker's run-time libraries.
#pragma once

#include "loader/dynamic_library.h"

namespace kavri {

// Each loader() returns the process-wide instance and, while its library is closed, tries to open
// it from the host's exports directory again (no negative cache). A required function that is
// missing ends the request with 404 "FunctionNotFoundError" and the loader's message.
class ormicLoader final : public DynamicLibrary {
public:
    static constexpr char const* kFileName = "libormic_x64.so";
    static ormicLoader& loader();
    void throw_function_not_found_error() const override;
};

class libscrinfo2Loader final : public DynamicLibrary {
public:
    static constexpr char const* kFileName = "libscrinfo2_x64.so";
    static libscrinfo2Loader& loader();
    void throw_function_not_found_error() const override;
};

class libdispctlLoader final : public DynamicLibrary {
public:
    static constexpr char const* kFileName = "libdispctl_x64.so";
    static libdispctlLoader& loader();
    void throw_function_not_found_error() const override;
};

// The sensor library's file name has no "_x64"; that difference is deliberate.
class PeltoLoader final : public DynamicLibrary {
public:
    static constexpr char const* kFileName = "libpelto.so";
    static PeltoLoader& loader();
    void throw_function_not_found_error() const override;
};

} // namespace kavri
