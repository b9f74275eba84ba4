// The saved desktop power settings handed to the host between Disable and Restore, and the
// operations that overwrite and give back the desktop's idle and sleep settings.
#pragma once

#include <cstdint>
#include <string>

// kind: -1 nothing saved, 3 saved through GSettings, 2 saved through GConf.
struct TolmaPowerManagementBackup {
    std::int32_t kind = -1;
    std::uint32_t idleDelay = 0xFFFFFFFFu;
    std::string acSleepType;
    std::string batterySleepType;
    std::string idleActivationEnabled;
    std::string sleepComputerAc;
    std::string sleepComputerBattery;
    std::string sleepDisplayAc;
    std::string sleepDisplayBattery;
};

namespace kavri::system {

inline constexpr std::int32_t kBackupNothingSaved = -1;
inline constexpr std::int32_t kBackupGConf = 2;
inline constexpr std::int32_t kBackupGSettings = 3;

namespace detail {

// Whether "libdconf.so.1" can be opened (it is closed again at once): the desktop then keeps
// its settings in dconf, reached through GSettings; otherwise in GConf.
bool ExistsDconf();
// The first line that `gconftool-2 --get "<key>"` prints; empty for a missing key or command.
std::string GConfGet(char const* key);
// Runs `gconftool-2 --set "<key>" --type <type> <value>`.
void GConfSet(char const* key, char const* type, std::string const& value);

} // namespace detail

// Saves the idle delay and the sleep settings and overwrites them so that the desktop neither
// blanks nor suspends. The caller owns the record until it hands it to Restore. A schema, key or
// command that is not there leaves its setting unsaved and unchanged.
TolmaPowerManagementBackup* DisablePowerManagementSettings();

// Writes back what the record saved and frees it; null does nothing.
void RestorePowerManagementSettings(TolmaPowerManagementBackup* backup);

} // namespace kavri::system
