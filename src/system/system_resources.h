// The System/... and PowerManagementSettings resources of the page bridge.
#pragma once

#include "bridge/bridge.h"

namespace kavri::bridge {

class SystemInformation : public Bridge {};
class SystemProcesses : public Bridge {};
class SystemUSBDevices : public Bridge {};
class SystemApplications : public Bridge {};
class SystemApplicationWindows : public Bridge {};
class SystemKEXT : public Bridge {};
class SystemPrinters : public Bridge {};
class SystemLoginState : public Bridge {};
class SystemLockState : public Bridge {};
class SystemScreenSaver : public Bridge {};
class SystemPreferredLanguage : public Bridge {};
class SystemLoginItem : public Bridge {};
class SystemEventLogBackup : public Bridge {};
class PowerManagementSettings : public Bridge {};

} // namespace kavri::bridge
