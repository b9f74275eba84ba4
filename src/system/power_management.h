// The saved desktop power settings handed to the host between Disable and Restore.
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
