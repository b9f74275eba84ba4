// kavri::DllLibgio: the few GSettings calls of the power settings, through GIO opened at run time.
#pragma once

#include "loader/dynamic_library.h"

#include <initializer_list>
#include <memory>
#include <string>

// GIO's settings object; only ever handled by pointer.
struct _GSettings;

namespace kavri {

// "libgio-2.0.so.0", opened when constructed and closed when destroyed. Each operation looks its
// GIO function up at the moment of the call; a missing function (or library) makes it do nothing
// and return null, "" or 0.
class DllLibgio final : public DynamicLibrary {
public:
    static constexpr char const* kFileName = "libgio-2.0.so.0";

    // Releases its settings object with g_object_unref from "libgobject-2.0.so.0", which is
    // opened for that call and closed again.
    struct Unref {
        void operator()(_GSettings* settings) const;
    };
    using Settings = std::unique_ptr<_GSettings, Unref>;

    DllLibgio();

    // Settings of the schema `schema` when the default schema source (looked up recursively)
    // holds it with every one of `keys`; null otherwise. GIO aborts the process for a schema
    // or key that is not installed, so nothing is created without that look-up.
    Settings settings_new(char const* schema, std::initializer_list<char const*> keys) const;
    std::string settings_get_string(_GSettings* settings, char const* key) const;
    unsigned settings_get_uint(_GSettings* settings, char const* key) const;
    bool settings_set_string(_GSettings* settings, char const* key, char const* value) const;
    bool settings_set_uint(_GSettings* settings, char const* key, unsigned value) const;
    // Waits until every write has reached the back end.
    void settings_sync() const;

private:
    bool installed(char const* schema, std::initializer_list<char const*> keys) const;
};

} // namespace kavri
