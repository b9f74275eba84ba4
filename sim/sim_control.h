/* Test controls of the stand-in libraries; every name starts with Sim, never a platform name. */
#ifndef TOLMA_SIM_CONTROL_H
#define TOLMA_SIM_CONTROL_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- libpagebridge.so.2 ------------------------------------------------------------------------
   Records every BridgeHelperSetResponse and BridgeHelperDispatchEvent in call order and relays
   native events to the registered callbacks. All functions are thread-safe. Pointers handed out
   by ...At stay valid until the next SimPageBridgeReset. Index functions return 0 and fill the
   outputs, or -1 (outputs untouched) when the index is past the end. */

/* Forgets the recorded answers, events and contract violations; promise ids start at 1 again.
   The callback registry and the listener are kept. */
void SimPageBridgeReset(void);

/* The next BridgeHelperCreatePromiseID returns id; later calls count up from there (wrapping). */
void SimPageBridgeSetNextPromiseID(int32_t id);

size_t SimPageBridgeResponseCount(void);
int32_t SimPageBridgeResponseAt(size_t index, int32_t* promiseId, int32_t* statusCode,
                                const char** json);

size_t SimPageBridgeEventCount(void);
int32_t SimPageBridgeEventAt(size_t index, const char** name, const char** json);

/* Wait until at least count answers (events) are recorded, at most timeoutMs milliseconds.
   1 = reached, 0 = timed out. */
int32_t SimPageBridgeWaitForResponses(size_t count, uint32_t timeoutMs);
int32_t SimPageBridgeWaitForEvents(size_t count, uint32_t timeoutMs);

/* Calls that break the library's contract since the last reset: an answer for a promise id that
   was not handed out or was already answered, or a NULL string argument. Each one is also
   reported on stderr. */
size_t SimPageBridgeViolationCount(void);

/* Number of registered (callback, userData) pairs. */
size_t SimPageBridgeObserverCount(void);

/* Calls every registered callback with name and a private copy of size bytes of data, padded with
   zero bytes to at least 32 bytes plus one (so a short XCB event is still 32 readable bytes).
   data NULL passes NULL. Runs on the calling thread without holding any lock of the library;
   callbacks registered meanwhile miss this event, callbacks removed meanwhile are skipped.
   Returns the number of calls made. */
size_t SimPageBridgeDeliverNativeEvent(const char* name, const void* data, size_t size);

#define SIM_PAGEBRIDGE_RESPONSE 1
#define SIM_PAGEBRIDGE_EVENT 2

/* Told of every answer (kind SIM_PAGEBRIDGE_RESPONSE: promiseId, statusCode, json; name NULL) and
   every event (kind SIM_PAGEBRIDGE_EVENT: name, json; promiseId and statusCode 0) after it is
   recorded, on the caller's thread, with no lock held. Strings are borrowed for the call. */
typedef void (*SimPageBridgeListener)(void* user, int32_t kind, int32_t promiseId,
                                      int32_t statusCode, const char* name, const char* json);

/* NULL removes the listener. A call already under way may still reach the previous one. */
void SimPageBridgeSetListener(SimPageBridgeListener listener, void* user);

/* ---- libhostplug_x64.so.1 ----------------------------------------------------------------------
   Plg_GetRegistryExportsPath answers, in this order of precedence, the last of
   SimHostSetExportsPath / SimHostSetExportsPathNull, or else the environment variable named
   below (read at every call; unset = ""). Every string it has returned stays valid for the life
   of the process. */

#define SIM_EXPORTS_DIR_VARIABLE "TOLMA_SIM_EXPORTS_DIR"

/* From now on answer a copy of path; NULL or "" answers "". */
void SimHostSetExportsPath(const char* path);

/* From now on answer NULL (the other form of "unknown"). */
void SimHostSetExportsPathNull(void);

/* Back to the start: answer the environment variable. */
void SimHostUseEnvironmentExportsPath(void);

/* ---- libostrana2_x64.so ------------------------------------------------------------------------
   Records every ostrana_log line in call order. Thread-safe. Pointers handed out by
   SimOstranaLineAt stay valid until the next SimOstranaReset. The echo starts on when the
   environment variable TOLMA_SIM_OSTRANA_ECHO is set to anything but "" or "0". */

/* Forgets lines, violations and the ostrana_get_logger call count; makes the logger available.
   The echo setting is kept. */
void SimOstranaReset(void);

/* 0: ostrana_get_logger returns NULL from now on; nonzero: the process-wide logger again. A
   logger handed out before stays usable. */
void SimOstranaSetAvailable(int32_t available);

/* Nonzero: also print each line to stderr as "[name] level: line". */
void SimOstranaSetEcho(int32_t echo);

size_t SimOstranaLineCount(void);
/* 0 and the outputs filled, or -1 (outputs untouched) past the end. */
int32_t SimOstranaLineAt(size_t index, int32_t* level, const char** name, const char** line);

/* Wait until at least count lines are recorded, at most timeoutMs milliseconds. 1 = reached. */
int32_t SimOstranaWaitForLines(size_t count, uint32_t timeoutMs);

/* Calls of ostrana_get_logger since the last reset, whatever they returned. */
size_t SimOstranaGetLoggerCallCount(void);

/* ostrana_log calls that break the contract since the last reset: a logger that ostrana_get_logger
   never returned (NULL included), or a NULL name or line. They are not recorded as lines; each one
   is reported on stderr. */
size_t SimOstranaViolationCount(void);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* TOLMA_SIM_CONTROL_H */
