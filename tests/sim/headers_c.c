/* Compiles every platform header as C11, twice over (include guards), in one order. */
/* The include order is the point of this file: */
/* clang-format off */
#include "platform/pagebridge.h"
#include "platform/hostplug.h"
#include "platform/scrinfo2.h"
#include "platform/ormic.h"
#include "platform/vqc.h"
#include "platform/dispctl.h"
#include "platform/meterlink.h"
#include "platform/pelto.h"
#include "platform/ostrana2.h"

#include "platform/ostrana2.h"
#include "platform/pelto.h"
#include "platform/meterlink.h"
#include "platform/dispctl.h"
#include "platform/vqc.h"
#include "platform/ormic.h"
#include "platform/scrinfo2.h"
#include "platform/hostplug.h"
#include "platform/pagebridge.h"
/* clang-format on */

/* The constants are usable in constant expressions of the type their users expect. */
_Static_assert(VQ_STATUS_PARTIAL == -2147483642, "VQ_STATUS_PARTIAL value");
_Static_assert(VQ_KIND_LIGHTING == 16u && VQ_PAGE_FIXED == 0xFF23u, "lighting constants");

int tolma_platform_headers_c(void);
int tolma_platform_headers_c(void) {
    MiColor color = {0};
    OrmMemoryInformation memory = {0, 0, 0.0};
    return (int)(color.T + (int64_t)memory.total);
}
