// Keeping the desktop awake: the idle and sleep settings saved and overwritten through GSettings
// (when dconf is present) or GConf, written back afterwards, and the PowerManagementSettings
// resource that holds one saved record between its Post and its Delete.
#include "system/power_management.h"

#include "loader/dynamic_library.h"
#include "system/command_line.h"
#include "system/gsettings.h"
#include "system/session_state.h"
#include "system/system_resources.h"

#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace kavri::system {

namespace {

constexpr char const* kSessionSchema = "org.gnome.desktop.session";
constexpr char const* kPowerSchema = "org.gnome.settings-daemon.plugins.power";
constexpr char const* kIdleDelay = "idle-delay";
constexpr char const* kAcSleepType = "sleep-inactive-ac-type";
constexpr char const* kBatterySleepType = "sleep-inactive-battery-type";
constexpr char const* kSleepTypeWhileDisabled = "nothing";

// One GConf key: its type, the value while disabled and where the record keeps the old value.
struct GConfSetting {
    char const* key;
    char const* type;
    char const* disabledValue;
    std::string TolmaPowerManagementBackup::*saved;
};

constexpr GConfSetting kGConfSettings[] = {
    {"/apps/gnome-screensaver/idle_activation_enabled", "boolean", "false",
     &TolmaPowerManagementBackup::idleActivationEnabled},
    {"/apps/gnome-power-manager/timeout/sleep_computer_ac", "int", "0",
     &TolmaPowerManagementBackup::sleepComputerAc},
    {"/apps/gnome-power-manager/timeout/sleep_computer_battery", "int", "0",
     &TolmaPowerManagementBackup::sleepComputerBattery},
    {"/apps/gnome-power-manager/timeout/sleep_display_ac", "int", "0",
     &TolmaPowerManagementBackup::sleepDisplayAc},
    {"/apps/gnome-power-manager/timeout/sleep_display_battery", "int", "0",
     &TolmaPowerManagementBackup::sleepDisplayBattery},
};

void disableThroughGSettings(TolmaPowerManagementBackup& backup) {
    DllLibgio const gio;
    if (auto session = gio.settings_new(kSessionSchema, {kIdleDelay})) {
        backup.idleDelay = gio.settings_get_uint(session.get(), kIdleDelay);
        gio.settings_set_uint(session.get(), kIdleDelay, 0);
    }
    if (auto power = gio.settings_new(kPowerSchema, {kAcSleepType, kBatterySleepType})) {
        backup.acSleepType = gio.settings_get_string(power.get(), kAcSleepType);
        backup.batterySleepType = gio.settings_get_string(power.get(), kBatterySleepType);
        gio.settings_set_string(power.get(), kAcSleepType, kSleepTypeWhileDisabled);
        gio.settings_set_string(power.get(), kBatterySleepType, kSleepTypeWhileDisabled);
    }
    gio.settings_sync();
    backup.kind = kBackupGSettings;
}

void restoreThroughGSettings(TolmaPowerManagementBackup const& backup) {
    DllLibgio const gio;
    if (gio.handle() == nullptr)
        return;
    if (auto session = gio.settings_new(kSessionSchema, {kIdleDelay})) {
        if (backup.idleDelay != 0xFFFFFFFFu)
            gio.settings_set_uint(session.get(), kIdleDelay, backup.idleDelay);
    }
    if (auto power = gio.settings_new(kPowerSchema, {kAcSleepType, kBatterySleepType})) {
        if (!backup.acSleepType.empty())
            gio.settings_set_string(power.get(), kAcSleepType, backup.acSleepType.c_str());
        if (!backup.batterySleepType.empty())
            gio.settings_set_string(power.get(), kBatterySleepType,
                                    backup.batterySleepType.c_str());
    }
    gio.settings_sync();
}

void disableThroughGConf(TolmaPowerManagementBackup& backup) {
    for (GConfSetting const& setting : kGConfSettings)
        backup.*setting.saved = detail::GConfGet(setting.key);
    for (GConfSetting const& setting : kGConfSettings)
        detail::GConfSet(setting.key, setting.type, setting.disabledValue);
    backup.kind = kBackupGConf;
}

void restoreThroughGConf(TolmaPowerManagementBackup const& backup) {
    for (GConfSetting const& setting : kGConfSettings) {
        if (!(backup.*setting.saved).empty())
            detail::GConfSet(setting.key, setting.type, backup.*setting.saved);
    }
}

} // namespace

namespace detail {

bool ExistsDconf() {
    DynamicLibrary dconf;
    return dconf.open(fs::Path("libdconf.so.1"));
}

std::string GConfGet(char const* key) {
    std::string const command = std::string("gconftool-2 --get \"") + key + "\" 2>/dev/null";
    std::string line;
    RunCommandFirstLine(command.c_str(), line);
    return line;
}

void GConfSet(char const* key, char const* type, std::string const& value) {
    std::string const command = std::string("gconftool-2 --set \"") + key + "\" --type " + type +
                                " " + value + " 2>/dev/null";
    std::string ignored;
    RunCommandFirstLine(command.c_str(), ignored);
}

} // namespace detail

TolmaPowerManagementBackup* DisablePowerManagementSettings() {
    auto backup = std::make_unique<TolmaPowerManagementBackup>();
    if (detail::ExistsDconf())
        disableThroughGSettings(*backup);
    else
        disableThroughGConf(*backup);
    return backup.release();
}

void RestorePowerManagementSettings(TolmaPowerManagementBackup* backup) {
    std::unique_ptr<TolmaPowerManagementBackup> const owned(backup);
    if (!owned)
        return;
    if (owned->kind == kBackupGSettings)
        restoreThroughGSettings(*owned);
    else if (owned->kind == kBackupGConf)
        restoreThroughGConf(*owned);
}

} // namespace kavri::system

namespace kavri::bridge {

// The record of the last Post, restored and cleared by the next Delete.
TolmaPowerManagementBackup* g_backup = nullptr;

namespace {

// Keeps Post and Delete of concurrent pages from interleaving on g_backup.
std::mutex& backupMutex() {
    static std::mutex mutex;
    return mutex;
}

// A second Post without a Delete replaces g_backup: the settings the first one saved are never
// written back. Its record stays here, reachable, and is freed at exit.
std::vector<std::unique_ptr<TolmaPowerManagementBackup>>& replacedBackups() {
    static std::vector<std::unique_ptr<TolmaPowerManagementBackup>> replaced;
    return replaced;
}

} // namespace

BridgeResult PowerManagementSettings::Post(BridgeData const&) {
    uri += "PowerManagementSettings";
    {
        std::lock_guard<std::mutex> const lock(backupMutex());
        std::unique_ptr<TolmaPowerManagementBackup> saved(system::DisablePowerManagementSettings());
        if (g_backup != nullptr)
            replacedBackups().emplace_back(g_backup);
        g_backup = saved.release();
    }
    system::ResetSystemIdleTimer();
    return BridgeResultOK(pocketjson::Value());
}

BridgeResult PowerManagementSettings::Put(BridgeData const&) {
    uri += "PowerManagementSettings";
    system::ResetSystemIdleTimer();
    return BridgeResultOK(pocketjson::Value());
}

BridgeResult PowerManagementSettings::Delete(BridgeData const&) {
    uri += "PowerManagementSettings";
    std::lock_guard<std::mutex> const lock(backupMutex());
    system::RestorePowerManagementSettings(std::exchange(g_backup, nullptr));
    return BridgeResultOK(pocketjson::Value());
}

} // namespace kavri::bridge
