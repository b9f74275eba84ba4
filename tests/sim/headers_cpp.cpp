// Compiles every platform header as C++17 in the reverse order of headers_c.c, twice over.
// The include order is the point of this file:
// clang-format off
#include "platform/ostrana2.h"
#include "platform/pelto.h"
#include "platform/meterlink.h"
#include "platform/dispctl.h"
#include "platform/vqc.h"
#include "platform/ormic.h"
#include "platform/scrinfo2.h"
#include "platform/hostplug.h"
#include "platform/pagebridge.h"

#include "platform/pagebridge.h"
#include "platform/hostplug.h"
#include "platform/scrinfo2.h"
#include "platform/ormic.h"
#include "platform/vqc.h"
#include "platform/dispctl.h"
#include "platform/meterlink.h"
#include "platform/pelto.h"
#include "platform/ostrana2.h"
// clang-format on

namespace {

// The observer interface can be implemented and destroyed through its base.
class Observer final : public BridgeHelperEventObserver {
public:
    void onEvent(const char*, const char*) override {}
};

} // namespace

int tolmaPlatformHeadersCxx();
int tolmaPlatformHeadersCxx() {
    BridgeHelperEventObserver* observer = new Observer;
    delete observer;
    BridgeHelperEventCallback callback = nullptr;
    return callback == nullptr ? 0 : 1;
}
