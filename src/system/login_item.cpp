// SystemLoginItem writes or removes the XDG autostart entry; SystemEventLogBackup refuses, as
// there is no event log to back up on this platform.
#include "system/login_item.h"

#include "fs/directories.h"
#include "fs/files.h"
#include "system/system_resources.h"

namespace kavri::system {

std::string LoginItemEntry(LoginItem const& item) {
    std::string text = "#!/usr/bin/env xdg-open\n"
                       "[Desktop Entry]\n"
                       "Type=Application\n";
    text += "Name=" + item.name + "\n";
    text += "Exec=" + item.executablePath;
    if (!item.arguments.empty())
        text += " " + item.arguments;
    text += "\n";
    if (!item.iconPath.empty())
        text += "Icon=" + item.iconPath + "\n";
    if (!item.description.empty())
        text += "Comment=" + item.description + "\n";
    text += "Terminal=false\n"
            "X-GNOME-Autostart-enabled=true\n";
    return text;
}

bool SetLoginItem(bool enable, std::string const& name, std::string const& iconPath,
                  std::string const& description, std::string const& arguments,
                  std::string const& executablePath) {
    fs::Path const directory = fs::user_startup_directory();
    fs::Path const entry = directory / (name + ".desktop");
    if (!enable)
        return !fs::is_file(entry) || fs::remove_file(entry);
    std::string const text =
        LoginItemEntry({name, iconPath, description, arguments, executablePath});
    if (!fs::is_directory(directory))
        fs::make_directory(directory);
    return fs::write_file(entry, text);
}

} // namespace kavri::system

namespace kavri::bridge {

namespace {

// "enable" from any JSON kind: a boolean as it is, a number when nonzero, a string only when it
// is exactly "true"; anything else is false.
bool enableOf(pocketjson::Value const& value) {
    switch (value.type()) {
    case pocketjson::Type::Boolean:
        return value.toBool(false);
    case pocketjson::Type::Integer:
        return value.toInt64(0) != 0;
    case pocketjson::Type::Double:
        return value.toDouble(0.0) != 0.0;
    case pocketjson::Type::String:
        return value.stringValue() == "true";
    default:
        return false;
    }
}

// A value that goes into the entry must stay on its own line: a line break would add keys.
void checkEntryValue(std::string const& value, std::string const& key) {
    BridgeCheckRequestCondition(value.find_first_of("\n\r") == std::string::npos,
                                key + " must not contain a line break.");
    BridgeCheckRequestCondition(value.find('\0') == std::string::npos,
                                key + " must not contain a NUL character.");
}

} // namespace

BridgeResult SystemLoginItem::Put(BridgeData const& data) {
    uri += "System/LoginItem";
    pocketjson::Value const& request = data.body;
    std::string const name = request["name"].toString("");
    BridgeCheckRequestCondition(!name.empty(), "name is empty.");
    // The name is the file's name: it must not reach outside the autostart directory.
    BridgeCheckRequestCondition(name.find('/') == std::string::npos, "name must not contain '/'.");
    BridgeCheckRequestCondition(name.find('\0') == std::string::npos,
                                "name must not contain a NUL character.");
    system::LoginItem const item{
        name, request["iconPath"].toString(""), request["description"].toString(""),
        request["arguments"].toString(""), request["executablePath"].toString("")};
    bool const enable = enableOf(request["enable"]);
    if (enable) {
        checkEntryValue(item.name, "name");
        checkEntryValue(item.iconPath, "iconPath");
        checkEntryValue(item.description, "description");
        checkEntryValue(item.arguments, "arguments");
        checkEntryValue(item.executablePath, "executablePath");
    }
    BridgeCheckError(system::SetLoginItem(enable, item.name, item.iconPath, item.description,
                                          item.arguments, item.executablePath),
                     "Set login item.");
    return BridgeResultOK(pocketjson::Value());
}

BridgeResult SystemEventLogBackup::Post(BridgeData const&) {
    uri += "System/EventLog/Backup";
    throw BridgeResultError(BridgeStatusMethodNotAllowed, "MethodNotAllowed",
                            "Unsupported platform.");
}

} // namespace kavri::bridge
