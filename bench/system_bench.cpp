// Cost of the system resources through libtolma.so.2 and the simulator, beside the simulator alone.
//
// Each request goes through the exported function as a host calls it (dlopen, the stand-ins as
// the exports directory). Beside it, the simulator's own calls for the same answer (create the
// snapshot, enumerate, every getter, release) are timed alone, so that the plug-in's part is the
// difference. The time columns are per request; for the lists, per_entry is CPU time per entry.
#include "platform/ormic.h"
#include "sim/host/exports_directory.h"
#include "sim/host/plugin.h"
#include "sim/sim_control.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

sim::host::Plugin& plugin() {
    static sim::host::Plugin* const loaded = [] {
        SimHostSetExportsPath(sim::host::standInDirectory().c_str());
        auto* p = new sim::host::Plugin();
        if (!p->open(TOLMA_PLUGIN_PATH) || !p->setup()) {
            std::fprintf(stderr, "cannot load %s: %s\n", TOLMA_PLUGIN_PATH, p->error().c_str());
            std::exit(1);
        }
        return p;
    }();
    return *loaded;
}

// The world with `count` processes of realistic name and command lengths.
void loadProcesses(std::int64_t count) {
    std::string processes;
    for (std::int64_t i = 0; i < count; ++i) {
        std::string const n = std::to_string(i);
        processes += (i ? "," : "") + std::string(R"({"name":"worker-)") + n + R"(","pid":)" +
                     std::to_string(1000 + i) + R"(,"command":"/usr/lib/worker/worker --id )" + n +
                     R"( --socket /run/user/1000/worker.sock"})";
    }
    std::string const patch = R"({"system":{"processes":[)" + processes + "]}}";
    if (char const* error = SimWorldPatch(patch.c_str())) {
        std::fprintf(stderr, "world: %s\n", error);
        std::exit(1);
    }
}

// One request, with what the stand-ins recorded dropped outside the timing.
void request(benchmark::State& state, char const* resource, char const* options,
             char const* query) {
    sim::host::ResourceFunction const function = plugin().resource(resource);
    for (auto _ : state) {
        benchmark::DoNotOptimize(function(options, "{}", query, ""));
        state.PauseTiming();
        SimPageBridgeReset();
        SimOstranaReset();
        state.ResumeTiming();
    }
}

// Seconds (CPU) per list entry.
void perEntry(benchmark::State& state, std::int64_t entries) {
    state.counters["per_entry"] =
        benchmark::Counter(static_cast<double>(entries),
                           benchmark::Counter::kIsIterationInvariantRate |
                               benchmark::Counter::kInvert);
}

void SystemProcessesRequest(benchmark::State& state) {
    loadProcesses(state.range(0));
    request(state, "SystemProcesses", R"({"method":"get"})", "{}");
    perEntry(state, state.range(0));
}

// The simulator's calls that the answer above needs, alone.
void SystemProcessesSimulatorOnly(benchmark::State& state) {
    loadProcesses(state.range(0));
    for (auto _ : state) {
        OrmSnapshot* const snapshot = OrmCreateRunningProcessSnapshot();
        for (std::uint32_t i = 0;; ++i) {
            OrmProcess* const process = OrmEnumRunningProcess(snapshot, i);
            if (process == nullptr)
                break;
            benchmark::DoNotOptimize(OrmGetProcessName(process));
            benchmark::DoNotOptimize(OrmGetProcessPID(process));
            benchmark::DoNotOptimize(OrmGetProcessCommand(process));
        }
        OrmReleaseSnapshot(snapshot);
    }
    perEntry(state, state.range(0));
}

void SystemInformationEverySection(benchmark::State& state) {
    SimWorldReset();
    request(state, "SystemInformation", R"({"method":"get"})", "null");
}

// The request cycle alone: a method the resource does not serve.
void RequestCycleOnly405(benchmark::State& state) {
    request(state, "SystemLoginItem", R"({"method":"get"})", "{}");
}

BENCHMARK(SystemProcessesRequest)->Arg(1000)->Arg(10000)->Unit(benchmark::kMicrosecond);
BENCHMARK(SystemProcessesSimulatorOnly)->Arg(1000)->Arg(10000)->Unit(benchmark::kMicrosecond);
BENCHMARK(SystemInformationEverySection)->Unit(benchmark::kMicrosecond);
BENCHMARK(RequestCycleOnly405)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
