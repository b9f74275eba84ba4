// Who is logged in, the lock state, and the screen saver's state and cancelling.
#pragma once

#include <optional>
#include <string>

namespace kavri::system {

// The commands whose first line answers the login and screen-saver questions.
inline constexpr char const* kWhoCommand = "who -q";
inline constexpr char const* kPresenceCommand =
    "gdbus call -e -d org.gnome.SessionManager -o /org/gnome/SessionManager/Presence "
    "-m org.freedesktop.DBus.Properties.Get /org/gnome/SessionManager/Presence status";

// The number of distinct names on the line, split at single spaces (empty pieces dropped).
unsigned CountLoginUsers(std::string const& line);

// The distinct users on the first line of "who -q"; empty when the pipe cannot be opened.
std::optional<unsigned> GetLoginUsers();

// "off", "singleUser" or "multipleUsers" for 0, 1 or more users.
char const* LoginStateName(unsigned users);

// Always "unlocked" on this platform.
std::string GetLockState();

// Whether a presence reply such as "(<uint32 3>,)" reports a status other than 0 (available).
// The status is the text before the first '>' after its last space, read as a whole integer in
// any C base that fits in 32 signed bits; anything else counts as not running.
bool PresenceReplyMeansRunning(std::string const& reply);

// Asks the session manager's presence service; false when it cannot be asked.
bool IsScreenSaverRunning();

// Makes the X server see pointer activity without moving the pointer: warps it to where it is.
// Nothing happens without libX11.so.6, one of its functions, or a display.
void CancelScreenSaver();

// The host's idle-timer reset: nothing to do on this platform.
void ResetSystemIdleTimer();

} // namespace kavri::system
