/* Logging library (libostrana2_x64.so, run time only, looked up in the library's own handle). */
#ifndef TOLMA_PLATFORM_OSTRANA2_H
#define TOLMA_PLATFORM_OSTRANA2_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct OstranaLogger OstranaLogger;

/* The process-wide logger, [P]; NULL = logging unavailable; never freed by the caller. */
OstranaLogger* ostrana_get_logger(void);

/* name "Tolma"; level 0 = successful request, 3 = failed request or event; line is borrowed UTF-8
   with tabs inside and no trailing newline; any thread, concurrently. */
void ostrana_log(OstranaLogger* logger, const char* name, int32_t level, const char* line);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* TOLMA_PLATFORM_OSTRANA2_H */
