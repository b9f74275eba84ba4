/* Host page-bridge helper (libpagebridge.so.2, linked): answers, events, native-event callbacks. */
#ifndef TOLMA_PLATFORM_PAGEBRIDGE_H
#define TOLMA_PLATFORM_PAGEBRIDGE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Every function may be called from any thread, concurrently. */

/* A fresh id, any value; never fails; the plug-in passes it back unchanged. */
int32_t BridgeHelperCreatePromiseID(void);

/* json = compact UTF-8 answer, borrowed for the call (the library copies it); called exactly once
   per promise id, on the request's thread. */
void BridgeHelperSetResponse(int32_t promiseId, int32_t statusCode, const char* json);

/* name = event name, json = compact UTF-8 payload, both borrowed; no failure is reported. */
void BridgeHelperDispatchEvent(const char* name, const char* json);

/* Receives every native event the host forwards, on whatever thread the host uses; name is
   borrowed. For "_native_xcb_generic_event_t", data points to the raw XCB event: at least 32
   readable bytes, not NUL-terminated, borrowed, byte 0 = response type. */
typedef void (*BridgeHelperEventCallback)(const char* name, const char* data, void* userData);

/* The same pair added twice is registered once. */
void BridgeHelperAddEventCallback(BridgeHelperEventCallback callback, void* userData);

/* Arguments = the registered pair; an unknown pair is a no-op. No call starts after this returns
   for that pair. Also called from static destruction at process exit. */
void BridgeHelperRemoveEventCallback(BridgeHelperEventCallback callback, void* userData);

#ifdef __cplusplus
} /* extern "C" */

/* Header-only companion: libpagebridge exports nothing for it.
   Vtable slots: complete dtor, deleting dtor, onEvent. */
class BridgeHelperEventObserver {
public:
    virtual ~BridgeHelperEventObserver() {}
    virtual void onEvent(const char* name, const char* data) = 0;
};

/* Defined by the plug-in with hidden visibility, never by libpagebridge. userData is
   static_cast<BridgeHelperEventObserver*>(observer) converted to void*; NULL does nothing. */
extern "C" void BridgeHelperEventObserverCallback(const char* name, const char* data,
                                                  void* userData);
#endif

#endif /* TOLMA_PLATFORM_PAGEBRIDGE_H */
