// A testbed of simulated USB devices through the simulator's library.
#include "usb_testbed.h"

#include <cstdio>
#include <stdexcept>

#include <umockdev.h>

namespace test {

namespace {

// The device descriptor (18 bytes) and one configuration descriptor without interfaces (9 bytes),
// as the kernel's binary "descriptors" attribute holds them, in hex. Multi-byte fields are little
// endian.
std::string descriptorsHex(std::uint16_t vendorId, std::uint16_t productId) {
    char hex[64];
    std::snprintf(hex, sizeof hex,
                  "12010002000000" "40" "%02X%02X" "%02X%02X" "0001" "000000" "01"
                  "0902" "0900" "00" "01" "00" "80" "32",
                  vendorId & 0xFFu, vendorId >> 8u, productId & 0xFFu, productId >> 8u);
    return hex;
}

} // namespace

UsbTestbed::UsbTestbed() : testbed_(umockdev_testbed_new()) {}

UsbTestbed::~UsbTestbed() { g_object_unref(testbed_); }

// The simulator answers from the first call on and caches it, so the first call must come after
// a testbed exists, as it does here.
bool UsbTestbed::active() const { return umockdev_in_mock_environment() != 0; }

SimulatedUsbDevice UsbTestbed::add(std::uint16_t vendorId, std::uint16_t productId) {
    // Addresses 2..127 on bus 1, then on bus 2, and so on (address 1 is the root hub's).
    int const bus = 1 + added_ / 126;
    int const address = 2 + added_ % 126;
    ++added_;
    char path[64];
    std::snprintf(path, sizeof path, "/devices/usb%d/%d-%d", bus, bus, address - 1);
    // A description in the simulator's text format: properties (E), text attributes (A, with "\n"
    // for a newline: libusb wants busnum and devnum to end in one) and binary attributes (H).
    // Adding it from text writes all of it and sends no uevent; the "add" follows below.
    char text[512];
    std::snprintf(text, sizeof text,
                  "P: %s\n"
                  "E: SUBSYSTEM=usb\n"
                  "E: DEVTYPE=usb_device\n"
                  "E: DEVNAME=/dev/bus/usb/%03d/%03d\n"
                  "A: busnum=%d\\n\n"
                  "A: devnum=%d\\n\n"
                  "A: idVendor=%04x\\n\n"
                  "A: idProduct=%04x\\n\n"
                  "H: descriptors=%s\n",
                  path, bus, address, bus, address, vendorId, productId,
                  descriptorsHex(vendorId, productId).c_str());
    GError* error = nullptr;
    if (!umockdev_testbed_add_from_string(testbed_, text, &error)) {
        std::string const message = error != nullptr ? error->message : "no reason given";
        g_clear_error(&error);
        throw std::runtime_error("the testbed refused a USB device: " + message);
    }
    SimulatedUsbDevice device;
    device.sysfsPath = std::string("/sys") + path;
    device.bus = static_cast<std::uint8_t>(bus);
    device.address = static_cast<std::uint8_t>(address);
    umockdev_testbed_uevent(testbed_, device.sysfsPath.c_str(), "add");
    return device;
}

// libusb knows a leaving device by the device name in its uevent, which the simulator reads from
// the sysfs directory: so the uevent first, while the directory is still there.
void UsbTestbed::remove(SimulatedUsbDevice const& device) {
    umockdev_testbed_uevent(testbed_, device.sysfsPath.c_str(), "remove");
    umockdev_testbed_remove_device(testbed_, device.sysfsPath.c_str());
}

} // namespace test
