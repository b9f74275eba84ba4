// The GSettings calls over GIO, GLib and GObject functions looked up at run time.
#include "system/gsettings.h"

namespace {

// GIO's own prototypes, declared here because the library is only ever opened at run time.
struct _GSettingsSchemaSource;
struct _GSettingsSchema;
using gboolean = int;
using guint = unsigned int;
using GetDefaultSource = _GSettingsSchemaSource* (*)();
using LookupSchema = _GSettingsSchema* (*)(_GSettingsSchemaSource*, char const*, gboolean);
using SchemaHasKey = gboolean (*)(_GSettingsSchema*, char const*);
using SchemaUnref = void (*)(_GSettingsSchema*);
using SettingsNew = _GSettings* (*)(char const*);
using GetString = char* (*)(_GSettings*, char const*);
using GetUint = guint (*)(_GSettings*, char const*);
using SetString = gboolean (*)(_GSettings*, char const*, char const*);
using SetUint = gboolean (*)(_GSettings*, char const*, guint);
using Sync = void (*)();
using Free = void (*)(void*);
using ObjectUnref = void (*)(void*);

} // namespace

namespace kavri {

void DllLibgio::Unref::operator()(_GSettings* settings) const {
    DynamicLibrary gobject;
    if (!gobject.open(fs::Path("libgobject-2.0.so.0")))
        return;
    if (auto unref = gobject.lookup<ObjectUnref>("g_object_unref"))
        unref(settings);
}

DllLibgio::DllLibgio() {
    open(fs::Path(kFileName));
}

bool DllLibgio::installed(char const* schema, std::initializer_list<char const*> keys) const {
    auto const source = lookup<GetDefaultSource>("g_settings_schema_source_get_default");
    auto const find = lookup<LookupSchema>("g_settings_schema_source_lookup");
    auto const hasKey = lookup<SchemaHasKey>("g_settings_schema_has_key");
    auto const unref = lookup<SchemaUnref>("g_settings_schema_unref");
    if (!source || !find || !hasKey || !unref)
        return false;
    _GSettingsSchemaSource* const schemas = source();
    if (schemas == nullptr) // no schema installed at all
        return false;
    _GSettingsSchema* const found = find(schemas, schema, 1);
    if (found == nullptr)
        return false;
    bool complete = true;
    for (char const* key : keys)
        complete = complete && hasKey(found, key) != 0;
    unref(found);
    return complete;
}

DllLibgio::Settings DllLibgio::settings_new(char const* schema,
                                            std::initializer_list<char const*> keys) const {
    // Without the library a look-up would search the whole process instead.
    if (handle() == nullptr)
        return nullptr;
    auto const create = lookup<SettingsNew>("g_settings_new");
    if (!create || !installed(schema, keys))
        return nullptr;
    return Settings(create(schema));
}

std::string DllLibgio::settings_get_string(_GSettings* settings, char const* key) const {
    auto const get = lookup<GetString>("g_settings_get_string");
    auto const release = lookup<Free>("g_free");
    if (!get || !release)
        return std::string();
    char* const text = get(settings, key);
    std::string copy = text != nullptr ? text : "";
    release(text);
    return copy;
}

unsigned DllLibgio::settings_get_uint(_GSettings* settings, char const* key) const {
    auto const get = lookup<GetUint>("g_settings_get_uint");
    return get ? get(settings, key) : 0;
}

bool DllLibgio::settings_set_string(_GSettings* settings, char const* key,
                                    char const* value) const {
    auto const set = lookup<SetString>("g_settings_set_string");
    return set && set(settings, key, value) != 0;
}

bool DllLibgio::settings_set_uint(_GSettings* settings, char const* key, unsigned value) const {
    auto const set = lookup<SetUint>("g_settings_set_uint");
    return set && set(settings, key, value) != 0;
}

void DllLibgio::settings_sync() const {
    if (handle() == nullptr)
        return;
    if (auto const sync = lookup<Sync>("g_settings_sync"))
        sync();
}

} // namespace kavri
