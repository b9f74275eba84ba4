// test::UsbTestbed: simulated USB devices that the real libusb of this process sees and hears.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>

typedef struct _UMockdevTestbed UMockdevTestbed;

namespace test {

// One simulated device: its sysfs path in the testbed, and the bus number and address libusb
// reads for it.
struct SimulatedUsbDevice {
    std::string sysfsPath;
    std::uint8_t bus = 0;
    std::uint8_t address = 0;
};

// A testbed of simulated USB devices. The program must run with the simulator's preload library
// (LD_PRELOAD=libumockdev-preload.so.0), which shows the testbed to the process in place of /sys
// and of udev's uevent socket; and the testbed must exist before the first libusb_init, whose
// udev monitor then listens to the testbed. Destroy it only after the last libusb_exit. Devices
// may be plugged in and out from several threads at once.
class UsbTestbed {
public:
    UsbTestbed();
    ~UsbTestbed();
    UsbTestbed(UsbTestbed const&) = delete;
    UsbTestbed& operator=(UsbTestbed const&) = delete;

    // True when this process sees the testbed: false without the preload library, and then no
    // device of it reaches libusb.
    bool active() const;

    // Plugs a device in: its sysfs directory with every attribute libusb reads (the descriptors
    // among them) is complete before the "add" uevent goes out. Each device gets a bus number and
    // address of its own. Throws std::runtime_error when the testbed refuses the device.
    SimulatedUsbDevice add(std::uint16_t vendorId, std::uint16_t productId);
    // Unplugs it: the "remove" uevent, then its sysfs directory goes.
    void remove(SimulatedUsbDevice const& device);

private:
    std::mutex mutex_; // one change of the testbed at a time
    UMockdevTestbed* testbed_;
    int added_ = 0;
};

} // namespace test
