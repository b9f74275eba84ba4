// The console page's files, compiled into the host from devhost/console/ and the README.
#pragma once

#include <cstddef>

namespace tolmahost::console {

struct Asset {
    char const* path;        // as requested, e.g. "/console.js"
    char const* contentType; // e.g. "text/javascript; charset=utf-8"
    char const* data;
    std::size_t size;
};

// The file served at `path` ("/" is the page itself); nullptr when there is none.
Asset const* findAsset(char const* path);

} // namespace tolmahost::console
