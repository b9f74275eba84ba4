// The System/... and PowerManagementSettings resources of the page bridge.
#pragma once

#include "bridge/bridge.h"

struct TolmaPowerManagementBackup;

namespace kavri::bridge {

// Where a request's members come from: selectors ("process") in the 2nd argument, options of Get
// (the sections of SystemInformation, "fallback" and "resources" of SystemPreferredLanguage) in
// the 3rd.

// The computer: os, locale, timeZone, cpu, memory, pc, ipAddress and graphicsCards. Empty
// options answer every section; an object answers the sections whose keys it holds.
class SystemInformation : public Bridge {
public:
    BridgeResult Get(BridgeData const& data) override;
};

// The running processes; with a non-empty "process" only {"isRunning": boolean} for that name.
class SystemProcesses : public Bridge {
public:
    BridgeResult Get(BridgeData const& data) override;
};

// The inventory lists: one array of objects per snapshot of the system-information library.
class SystemUSBDevices : public Bridge {
public:
    BridgeResult Get(BridgeData const& data) override;
};
class SystemApplications : public Bridge {
public:
    BridgeResult Get(BridgeData const& data) override;
};
class SystemApplicationWindows : public Bridge {
public:
    BridgeResult Get(BridgeData const& data) override;
};
class SystemKEXT : public Bridge {
public:
    BridgeResult Get(BridgeData const& data) override;
};
class SystemPrinters : public Bridge {
public:
    BridgeResult Get(BridgeData const& data) override;
};

// {"userCount", "state"} from "who -q" and "currentUser", "domainName" from the
// system-information library; the "filter" option ("state", "currentUser" or "domainName")
// answers only that part.
class SystemLoginState : public Bridge {
public:
    BridgeResult Get(BridgeData const& data) override;
};

// {"state": "unlocked"}: the session's lock is not visible on this platform.
class SystemLockState : public Bridge {
public:
    BridgeResult Get(BridgeData const& data) override;
};

// Get: {"isRunning": boolean} from the session manager's presence; Delete: ends a running
// screen saver with pointer activity.
class SystemScreenSaver : public Bridge {
public:
    BridgeResult Get(BridgeData const& data) override;
    BridgeResult Delete(BridgeData const& data) override;
};

// The first of the comma-separated "resources" that serves the user's languages, in the user's
// order of preference, or "fallback".
class SystemPreferredLanguage : public Bridge {
public:
    BridgeResult Get(BridgeData const& data) override;
};

// Put: writes the autostart entry that the content describes, or removes it ("enable" false).
class SystemLoginItem : public Bridge {
public:
    BridgeResult Put(BridgeData const& data) override;
};

// Post: always 405 "MethodNotAllowed" "Unsupported platform.".
class SystemEventLogBackup : public Bridge {
public:
    BridgeResult Post(BridgeData const& data) override;
};

// Post: saves and overwrites the desktop's idle and sleep settings, keeping the record in
// g_backup; Delete: writes g_backup back and clears it; Put: resets the idle timer.
class PowerManagementSettings : public Bridge {
public:
    BridgeResult Put(BridgeData const& data) override;
    BridgeResult Post(BridgeData const& data) override;
    BridgeResult Delete(BridgeData const& data) override;
};

// The record of the last PowerManagementSettings Post without a Delete; null when none.
extern TolmaPowerManagementBackup* g_backup;

} // namespace kavri::bridge
