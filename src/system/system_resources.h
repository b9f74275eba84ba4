// The System/... and PowerManagementSettings resources of the page bridge.
#pragma once

#include "bridge/bridge.h"

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

class SystemLoginState : public Bridge {};
class SystemLockState : public Bridge {};
class SystemScreenSaver : public Bridge {};

// The first of the comma-separated "resources" that serves the user's languages, in the user's
// order of preference, or "fallback".
class SystemPreferredLanguage : public Bridge {
public:
    BridgeResult Get(BridgeData const& data) override;
};

class SystemLoginItem : public Bridge {};
class SystemEventLogBackup : public Bridge {};
class PowerManagementSettings : public Bridge {};

} // namespace kavri::bridge
