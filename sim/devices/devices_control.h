/* Test controls of the device stand-ins (monitor control, measurement, lighting, sensor, libusb).
 */
#ifndef TOLMA_SIM_DEVICES_CONTROL_H
#define TOLMA_SIM_DEVICES_CONTROL_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The device stand-ins read the one simulated world (sim/world/world.h). Plugging and unplugging
   happens there; each library reports it the way the real one does:
   - libvqc_x64.so.1 and libdispctl_x64.so answer from the list of their last search (VqCtrlFind,
     VqUpdateEx(16)); each searches once when it is loaded, and again at its Reset control;
   - libmeterlink_x64.so.2 (MDEnumConnectedDevices) and the serial enumeration of libpelto.so read
     the world at every call;
   - the fake libusb queues an arrival or departure for every registered hot-plug callback when
     the world changes, and calls the callbacks from libusb_handle_events_timeout_completed.

   Failing calls are set in the world (sim::World::failCalls, by function name). A failing call
   has no effect and answers as listed per library below.

   Every library also counts its calls and keeps a log of them ("Name(arg, ...)", with string and
   integer arguments only; the polling libusb_handle_events_timeout_completed is counted but not
   logged), and counts contract violations (each one also reported on stderr). Pointers handed
   out by ...CallAt stay valid until that library's next Reset. Every control is thread-safe. */

/* ---- libvqc_x64.so.1 ---------------------------------------------------------------------------
   Failing calls: VqCtrlFind returns -1 and keeps the list; VqCtrlGetSerialProduct returns -1 with
   the buffers untouched; VqCtrlGetHIDHandle writes NULL and returns -1. VqCtrlGetNumMonitors does
   not fail.
   HID handles name their monitor (serial and product) and stay readable for the process, so the
   sensor library still finds the built-in sensor of a monitor that a later search lost. A monitor
   found again by a search keeps its handle; one that reappears after a search without it gets a
   new one. Violations: NULL buffers or handle pointer. */

/* Forgets calls and violations and searches again, as when the library was loaded. */
void SimVqcReset(void);
uint64_t SimVqcCallCount(const char* function); /* 0 for an unknown name */
size_t SimVqcCallLogSize(void);
int32_t SimVqcCallAt(size_t index, const char** call); /* 0, or -1 past the end */
size_t SimVqcViolationCount(void);

/* ---- libmeterlink_x64.so.2 ---------------------------------------------------------------------
   MDEnumConnectedDevices enumerates the world's attached monitors' built-in sensors (in monitor
   order), then its attached USB sensors. Failing call: -1, outputs untouched. Violations: NULL
   outputs. */

void SimMeterLinkReset(void); /* forgets calls and violations */
uint64_t SimMeterLinkCallCount(const char* function);
size_t SimMeterLinkCallLogSize(void);
int32_t SimMeterLinkCallAt(size_t index, const char** call);
size_t SimMeterLinkViolationCount(void);

/* ---- libdispctl_x64.so
   --------------------------------------------------------------------------- Kind 16 lists the
   world's attached lighting devices; other kinds list nothing. Each device's statuses come from the
   world (LightingStatus): a negative retrieve status is what VqRetrieveEx answers for that index; a
   negative string status fails that call (outputs untouched), except VQ_STATUS_PARTIAL, which does
   the work and answers it. Failing calls: VqRetrieveEx -1 (device untouched), VqUpdateEx -1 (list
   kept), VqGetFixedData and VqGetFeatureArray -1 (outputs untouched). Violations: a device handle
   that is NULL, not one of this library's, or from before the last VqUpdateEx(16) (the call then
   answers -1); NULL outputs; a NULL buffer with a nonzero length. */

/* Forgets calls and violations and searches again, as when the library was loaded. Handles
   handed out before become stale. */
void SimDispctlReset(void);
uint64_t SimDispctlCallCount(const char* function);
size_t SimDispctlCallLogSize(void);
int32_t SimDispctlCallAt(size_t index, const char** call);
size_t SimDispctlViolationCount(void);

/* ---- libpelto.so
   --------------------------------------------------------------------------------- The library
   knows every sensor it has seen attached (USB sensors, monitors' built-in sensors, serial sensors)
   until PeltoRemoveSensor forgets it; a sensor still attached is seen again at the next change of
   the world or the next Pelto call. PeltoGetHandleForHIDHandle and PeltoGetHandleForDeviceID answer
   a known sensor, attached or not. Every function takes the library's lock for its duration
   (recursively), so a caller that holds it with PeltoLockSensors keeps the others waiting. Failing
   calls: -1 and no effect; the two GetHandle functions write NULL; PeltoLockSensors and
   PeltoUnlockSensors do not fail.
   Violations: PeltoUnlockSensors by a thread that does not hold the lock; a sensor handle that is
   NULL, not this library's, or already removed; a HID handle that is not libvqc's; NULL
   arguments. */

/* Forgets calls, violations and removals, and every known sensor; then sees the attached ones.
   The lock is left as it is. */
void SimPeltoReset(void);
uint64_t SimPeltoCallCount(const char* function);
size_t SimPeltoCallLogSize(void);
int32_t SimPeltoCallAt(size_t index, const char** call);
size_t SimPeltoViolationCount(void);

/* Sensors forgotten by PeltoRemoveSensor, in call order. monitorSerial is the serial of the
   monitor a built-in sensor belongs to, "" otherwise (valid until the next SimPeltoReset);
   serial is 1 for a serial sensor. */
size_t SimPeltoRemovedCount(void);
int32_t SimPeltoRemovedAt(size_t index, uint32_t* deviceId, uint64_t* individualId,
                          const char** monitorSerial, int32_t* serial); /* 0, or -1 past the end */

/* Levels of the library's lock held now by PeltoLockSensors calls (0 = free). */
uint32_t SimPeltoLockDepth(void);

/* ---- libusb-1.0.so.1 / libusb-1.0.so.0 (the fake libusb) ---------------------------------------
   Seven functions: libusb_init, libusb_exit, libusb_has_capability,
   libusb_hotplug_register_callback, libusb_hotplug_deregister_callback,
   libusb_handle_events_timeout_completed, libusb_get_device_descriptor.
   The bus holds the world's attached USB devices (sim::WorldData::attachedUsbDevices). A change of
   the world queues an arrival or departure for every callback registered at that moment whose
   filter matches; libusb_handle_events_timeout_completed delivers the queue of its context on the
   calling thread (waiting up to its timeout for something to deliver when the queue is empty).
   Registration with LIBUSB_HOTPLUG_ENUMERATE reports the attached devices as arrived from inside
   libusb_hotplug_register_callback, on the calling thread, before the handle is written. A
   callback that returns nonzero is deregistered. Device objects stay readable for the process, so
   libusb_get_device_descriptor works on a device that has left.
   Failing calls: libusb_init, libusb_hotplug_register_callback,
   libusb_handle_events_timeout_completed and libusb_get_device_descriptor answer
   LIBUSB_ERROR_OTHER (-99) with no effect (queued events stay queued); libusb_has_capability
   answers 0; libusb_exit and libusb_hotplug_deregister_callback do not fail.
   Violations: a context that libusb_init did not make or that was exited (NULL when no default
   context exists: real libusb crashes there); a NULL timeout or output; an unknown device. */

/* Forgets calls and violations and turns the hot-plug capability back on. Contexts, callbacks and
   queued events are kept. */
void SimUsbReset(void);
uint64_t SimUsbCallCount(const char* function);
size_t SimUsbCallLogSize(void);
int32_t SimUsbCallAt(size_t index, const char** call);
size_t SimUsbViolationCount(void);

/* 0: libusb_has_capability(LIBUSB_CAP_HAS_HOTPLUG) answers 0 and registration answers
   LIBUSB_ERROR_NOT_SUPPORTED; nonzero: hot-plug is supported again (the start). */
void SimUsbSetHotplugCapability(int32_t supported);

/* Contexts made by libusb_init and not exited yet; registered callbacks over all of them. */
size_t SimUsbContextCount(void);
size_t SimUsbCallbackCount(void);

/* Events queued for callbacks of live contexts and not delivered yet. */
size_t SimUsbPendingEventCount(void);

/* Hot-plug callback calls made so far (enumeration included); not cleared by SimUsbReset. Wait
   until at least count calls were made, at most timeoutMs milliseconds: 1 = reached. */
uint64_t SimUsbDeliveredCount(void);
int32_t SimUsbWaitForDelivered(uint64_t count, uint32_t timeoutMs);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* TOLMA_SIM_DEVICES_CONTROL_H */
