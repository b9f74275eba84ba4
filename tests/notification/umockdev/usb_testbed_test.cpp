// Self-check of the USB testbed (usb_testbed.h) against the real libusb.
// It covers the enumeration on registration, plugging in and out through the hot-plug callback,
// and the crash of a poll without a context after the last one was exited.
#include "child_process.h"
#include "usb_testbed.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <libusb.h>
#include <memory>
#include <mutex>
#include <spawn.h>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

extern char** environ;

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// How long an effect may take before the test gives up on it; the callbacks come within about a
// poll interval of the uevent.
constexpr auto kDeadline = 5s;
// The plug-in's watcher polls libusb this often.
constexpr auto kPollInterval = 50ms;

char const* const kSkipMessage = "the USB simulator is not active in this process (run it with "
                                 "LD_PRELOAD=libumockdev-preload.so.0)";

struct Event {
    libusb_hotplug_event kind;
    std::uint16_t vendorId;
    std::uint16_t productId;
    std::uint8_t bus;
    std::uint8_t address;
    Clock::time_point at;
};

std::string describe(libusb_hotplug_event kind, std::uint16_t vendorId, std::uint16_t productId,
                     std::uint8_t bus, std::uint8_t address) {
    char text[80];
    std::snprintf(text, sizeof text, "%s %04x:%04x at %u-%u",
                  kind == LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED ? "arrived" : "left", vendorId,
                  productId, unsigned{bus}, unsigned{address});
    return text;
}

std::string describe(Event const& e) {
    return describe(e.kind, e.vendorId, e.productId, e.bus, e.address);
}

std::string describe(libusb_hotplug_event kind, std::uint16_t vendorId, std::uint16_t productId,
                     test::SimulatedUsbDevice const& device) {
    return describe(kind, vendorId, productId, device.bus, device.address);
}

// The hot-plug events in the order the callback saw them, for the test's thread to wait on.
class Recorder {
public:
    void record(Event const& event) {
        {
            std::lock_guard<std::mutex> const held(mutex_);
            events_.push_back(event);
        }
        changed_.notify_all();
    }
    std::vector<Event> events() const {
        std::lock_guard<std::mutex> const held(mutex_);
        return events_;
    }
    // True once at least n events came; false if they have not by the deadline.
    bool waitForCount(std::size_t n, Clock::duration limit) const {
        std::unique_lock<std::mutex> held(mutex_);
        return changed_.wait_for(held, limit, [&] { return events_.size() >= n; });
    }
    std::vector<std::string> described(std::size_t from = 0) const {
        std::vector<std::string> lines;
        for (Event const& e : events())
            lines.push_back(describe(e));
        lines.erase(lines.begin(),
                    lines.begin() + static_cast<std::ptrdiff_t>(std::min(from, lines.size())));
        return lines;
    }

private:
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::vector<Event> events_;
};

int LIBUSB_CALL onHotplug(libusb_context*, libusb_device* device, libusb_hotplug_event kind,
                          void* recorder) {
    // libusb keeps the descriptor it read on arrival, so it is there for a leaving device too.
    libusb_device_descriptor descriptor{};
    int const read = libusb_get_device_descriptor(device, &descriptor);
    Event event{kind,
                read == 0 ? descriptor.idVendor : std::uint16_t{0},
                read == 0 ? descriptor.idProduct : std::uint16_t{0},
                libusb_get_bus_number(device),
                libusb_get_device_address(device),
                Clock::now()};
    static_cast<Recorder*>(recorder)->record(event);
    return 0;
}

// Polls a context as the plug-in's watcher does: without waiting, every 50 ms, on a thread of its
// own, so the callbacks run on that thread.
class Poller {
public:
    explicit Poller(libusb_context* context) : thread_([this, context] { run(context); }) {}
    ~Poller() {
        {
            std::lock_guard<std::mutex> const held(mutex_);
            stop_ = true;
        }
        stopped_.notify_all();
        thread_.join();
    }
    Poller(Poller const&) = delete;
    Poller& operator=(Poller const&) = delete;

private:
    void run(libusb_context* context) {
        std::unique_lock<std::mutex> held(mutex_);
        while (!stop_) {
            held.unlock();
            timeval zero{0, 0};
            int completed = 0;
            libusb_handle_events_timeout_completed(context, &zero, &completed);
            held.lock();
            stopped_.wait_for(held, kPollInterval, [this] { return stop_; });
        }
    }

    std::mutex mutex_;
    std::condition_variable stopped_;
    bool stop_ = false;
    std::thread thread_;
};

class UsbTestbedTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!testbed_.active())
            GTEST_SKIP() << kSkipMessage;
        ASSERT_EQ(libusb_init(&context_), 0);
        ASSERT_NE(libusb_has_capability(LIBUSB_CAP_HAS_HOTPLUG), 0);
    }
    void TearDown() override {
        poller_.reset();
        if (context_ != nullptr) {
            if (registered_)
                libusb_hotplug_deregister_callback(context_, handle_);
            libusb_exit(context_);
        }
    }

    // Registers as the plug-in does: arrivals and departures of any device, and the devices that
    // are there already, which libusb reports from within the registration.
    void registerCallback() {
        int const events = LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED | LIBUSB_HOTPLUG_EVENT_DEVICE_LEFT;
        ASSERT_EQ(libusb_hotplug_register_callback(
                      context_, static_cast<libusb_hotplug_event>(events), LIBUSB_HOTPLUG_ENUMERATE,
                      LIBUSB_HOTPLUG_MATCH_ANY, LIBUSB_HOTPLUG_MATCH_ANY, LIBUSB_HOTPLUG_MATCH_ANY,
                      onHotplug, &recorder_, &handle_),
                  LIBUSB_SUCCESS);
        registered_ = true;
    }
    void startPolling() { poller_ = std::make_unique<Poller>(context_); }

    // Declared first: it must exist before libusb_init and outlive libusb_exit.
    test::UsbTestbed testbed_;
    Recorder recorder_;
    libusb_context* context_ = nullptr;
    libusb_hotplug_callback_handle handle_{};
    bool registered_ = false;
    std::unique_ptr<Poller> poller_;
};

long long millisecondsBetween(Clock::time_point from, Clock::time_point to) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(to - from).count();
}

TEST_F(UsbTestbedTest, TheDevicesPluggedInBeforeRegistrationAreEnumeratedWithTheirIds) {
    auto const monitor = testbed_.add(0x29AB, 0x4001);
    auto const adapter = testbed_.add(0x0403, 0x6001);
    // The testbed came before libusb_init, so libusb finds both there; the registration reports
    // them before it returns. The machine's own devices are hidden.
    registerCallback();
    std::vector<std::string> seen = recorder_.described();
    std::sort(seen.begin(), seen.end());
    std::vector<std::string> expected{
        describe(LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED, 0x29AB, 0x4001, monitor),
        describe(LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED, 0x0403, 0x6001, adapter)};
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(seen, expected);
    EXPECT_NE(monitor.address, adapter.address);
}

// Every device of a burst is complete in sysfs before its uevent, so libusb drops none of them.
// The simulator sends uevents over a Unix datagram socket, whose queue holds only
// net.unix.max_dgram_qlen messages (10 by default), and ends the process when it is full; so the
// devices come in bursts of fewer, each taken in before the next.
TEST_F(UsbTestbedTest, EveryDeviceOfABurstArrivesAndLeaves) {
    registerCallback();
    startPolling();
    // Well below the queue's ten: a loaded machine may leave libusb's reader unscheduled for a
    // while.
    constexpr int kBurst = 4;
    constexpr int kCount = 8 * kBurst;
    std::vector<test::SimulatedUsbDevice> devices;
    std::vector<std::string> arrivals;
    std::vector<std::string> departures;
    auto const plugged = Clock::now();
    for (int i = 0; i < kCount; ++i) {
        auto const productId = static_cast<std::uint16_t>(0x8100 + i);
        devices.push_back(testbed_.add(0x29AB, productId));
        arrivals.push_back(
            describe(LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED, 0x29AB, productId, devices.back()));
        departures.push_back(
            describe(LIBUSB_HOTPLUG_EVENT_DEVICE_LEFT, 0x29AB, productId, devices.back()));
        if ((i + 1) % kBurst == 0) {
            ASSERT_TRUE(recorder_.waitForCount(static_cast<std::size_t>(i + 1), kDeadline))
                << recorder_.events().size() << " of " << i + 1 << " arrived within the deadline";
        }
    }
    auto const arrived = recorder_.events().back().at;
    auto const unplugged = Clock::now();
    for (int i = 0; i < kCount; ++i) {
        testbed_.remove(devices[static_cast<std::size_t>(i)]);
        if ((i + 1) % kBurst == 0) {
            ASSERT_TRUE(recorder_.waitForCount(static_cast<std::size_t>(kCount + i + 1), kDeadline))
                << recorder_.events().size() - kCount << " of " << i + 1
                << " left within the deadline";
        }
    }

    std::vector<std::string> seenArriving = recorder_.described();
    seenArriving.resize(kCount);
    std::vector<std::string> seenLeaving = recorder_.described(kCount);
    std::sort(seenArriving.begin(), seenArriving.end());
    std::sort(seenLeaving.begin(), seenLeaving.end());
    std::sort(arrivals.begin(), arrivals.end());
    std::sort(departures.begin(), departures.end());
    EXPECT_EQ(seenArriving, arrivals);
    EXPECT_EQ(seenLeaving, departures);
    std::printf("%d arrivals within %lld ms, %d departures within %lld ms\n", kCount,
                millisecondsBetween(plugged, arrived), kCount,
                millisecondsBetween(unplugged, recorder_.events().back().at));
}

// ---- a child process for what ends the process -------------------------------------------------

// The child's side: libusb_init and exit of the only context, then a poll without a context. The
// signal's default action is back in place first, so that the parent sees the kernel's verdict
// and not a sanitizer's report of it; no core file.
int pollWithoutContextAfterExit() {
    test::UsbTestbed testbed;
    libusb_context* context = nullptr;
    if (libusb_init(&context) != 0) {
        std::fprintf(stderr, "libusb_init failed\n");
        return 2;
    }
    timeval zero{0, 0};
    int completed = 0;
    int const live = libusb_handle_events_timeout_completed(context, &zero, &completed);
    std::fprintf(stderr, "polled the live context: %d\n", live);
    libusb_exit(context);
    std::signal(SIGSEGV, SIG_DFL);
    rlimit const noCore{0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    std::fprintf(stderr, "polling without a context\n");
    int const gone = libusb_handle_events_timeout_completed(nullptr, &zero, &completed);
    std::fprintf(stderr, "the poll without a context returned %d\n", gone);
    return 0;
}


// Why a watcher must never poll a context that is being exited or is gone: libusb 1.0.26 takes a
// missing context for the default one and crashes when there is none left.
TEST(UsbTestbedChild, PollingWithoutAContextAfterTheLastExitCrashes) {
    {
        test::UsbTestbed probe;
        if (!probe.active())
            GTEST_SKIP() << kSkipMessage;
    }
    libusb_version const* const version = libusb_get_version();
    std::ostringstream versionText;
    versionText << version->major << '.' << version->minor << '.' << version->micro;

    test::ProcessRun const run = test::runScenario("poll-without-context-after-exit", 60s);
    ASSERT_FALSE(run.timedOut) << "the child hung; its stderr:\n" << run.err;
    // The live context answered; so whatever follows comes from the poll without one.
    ASSERT_NE(run.err.find("polled the live context: 0"), std::string::npos) << run.err;
    ASSERT_NE(run.err.find("polling without a context"), std::string::npos) << run.err;
    bool const knownToCrash = version->major == 1 && version->minor == 0 && version->micro == 26;
    if (!knownToCrash && run.signal == 0 && run.exitStatus == 0)
        GTEST_SKIP() << "libusb " << versionText.str()
                     << " survives a poll without a context after the last exit:\n"
                     << run.err;
    EXPECT_EQ(run.signal, SIGSEGV)
        << "libusb " << versionText.str() << ", exit status " << run.exitStatus << ", stderr:\n"
        << run.err;
    EXPECT_EQ(run.err.find("returned"), std::string::npos) << run.err;
}

} // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--scenario=poll-without-context-after-exit") == 0)
            return pollWithoutContextAfterExit();
        if (std::strncmp(argv[i], "--scenario=", 11) == 0)
            return 100;
    }
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
