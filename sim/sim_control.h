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

/* ---- libscrinfo2_x64.so.2 ----------------------------------------------------------------------
   Lists the world's screens as they are at MiFindScreens (sim/WORLD.md). Screen and EDID handles
   are tokens that are never reused: a handle from an earlier list is answered with the "unknown"
   values and counted here (and reported on stderr). Thread-safe. */

/* Calls that passed a handle of an earlier list (or any other non-NULL value not in the list). */
size_t SimScrinfoStaleHandleCount(void);
/* Calls of MiFindScreens. */
size_t SimScrinfoFindScreensCount(void);
/* Both counts back to 0. */
void SimScrinfoResetCounts(void);
/* MiFindScreens sleeps this long before it reads the world (0, the default: no wait), so that a
   screen re-read can be caught while it runs. */
void SimScrinfoSetFindScreensDelay(uint32_t milliseconds);

/* ---- libormic_x64.so.1 -------------------------------------------------------------------------
   Answers the world's system facts as they are at each call; a snapshot holds the world as it was
   at its creation. Graphics-adapter handles are [P] per adapter id and answer the adapter as the
   world has it now ("" and 0 once it is gone). Thread-safe. */

/* Snapshots created and not yet released. */
size_t SimOrmicOpenSnapshotCount(void);
/* Calls with a snapshot or entry that is not live (released, of another library, garbage) and
   second releases; each is also reported on stderr. */
size_t SimOrmicViolationCount(void);
/* Forgets the violations (open snapshots stay open). */
void SimOrmicResetCounts(void);

/* ==== The simulated world (libtolmasim_world.so) ===============================================
   One world per process, shared by every stand-in that links the world library: screens, the
   maker's monitors, sensors, serial sensors and lighting devices, and system facts. Its JSON form
   is documented in sim/WORLD.md. Stand-ins read the world at their own refresh calls
   (MiFindScreens, VqCtrlFind, VqUpdateEx, snapshot creation, ...), so a change shows through a
   library only after its next refresh call. All functions are thread-safe; none may be called
   from inside a native-event callback or an observer of the world.

   Results of type const char*: NULL on success, otherwise a one-line English message (for a bad
   world it starts with the JSON path of the bad member, e.g. "$.screens[1].rotation: must be 0,
   90, 180 or 270"); the world is then unchanged. The message stays valid until the next SimWorld
   call on the same thread.

   Collections and the ids that name their items: "screens" (member "id"), "monitors" ("serial"),
   "sensors" ("deviceId", decimal), "serialSensors" ("deviceId", decimal), "lightingDevices"
   ("serial").

   A change of the screen configuration (anything but a screen's "profile" and "gamma") delivers,
   after the change is in place and on the calling thread, one RandR RRScreenChangeNotify event
   (32 bytes, response type = "randrEventBase") through SimPageBridgeDeliverNativeEvent under the
   name "_native_xcb_generic_event_t"; none when the event base is 0. */

/* Replaces the world by a JSON document, by the document in a file. */
const char* SimWorldLoad(const char* json);
const char* SimWorldLoadFile(const char* path);

/* The default world again, and no failing calls. */
void SimWorldReset(void);

/* The current world as a JSON document (pretty nonzero: indented); valid until the next SimWorld
   call on the same thread. */
const char* SimWorldText(int32_t pretty);

/* Applies a JSON merge patch (objects merge member by member, null removes a member so that its
   default applies, anything else replaces) to the current world's document. */
const char* SimWorldPatch(const char* json);

/* Replaces the screens by a JSON array of screens. */
const char* SimWorldSetScreens(const char* json);

/* Appends an item (JSON object) to a collection, removes the item with that id, or applies a
   JSON merge patch to it. */
const char* SimWorldAdd(const char* collection, const char* json);
const char* SimWorldRemove(const char* collection, const char* id);
const char* SimWorldModify(const char* collection, const char* id, const char* json);

/* Plugs (attached nonzero) or unplugs a monitor (with its built-in sensor), sensor, serial sensor
   or lighting device: sets its "attached" member. */
const char* SimWorldSetAttached(const char* collection, const char* id, int32_t attached);

/* Counts every change of the world; starts at 1. */
uint64_t SimWorldGeneration(void);

/* Makes the next count calls of the named library function (e.g. "MiGetScreenProfile") fail the
   way its library reports failure: a negative status, 0 for a boolean byte, NULL for a handle or
   snapshot, "" for a string. SIM_WORLD_FAIL_ALWAYS: every call until cleared; 0: clears it. */
#define SIM_WORLD_FAIL_ALWAYS (-1)
void SimWorldFailCalls(const char* function, int32_t count);
void SimWorldClearFailures(void);
/* Failures left for that function; SIM_WORLD_FAIL_ALWAYS; 0 = none. */
int32_t SimWorldPendingFailures(const char* function);

/* Delivers one RandR event with response type randrEventBase + offset (0: RRScreenChangeNotify,
   1: RRNotify) now, without changing the world. Returns the number of callbacks reached; 0 when
   the event base is 0. */
size_t SimWorldDeliverScreenEvent(uint8_t offset);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* TOLMA_SIM_CONTROL_H */
