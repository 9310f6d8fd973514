// The cost of tracing: a scope with tracing off, against an empty call in the
// same run, and records per second with tracing on into a file.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "trace/trace_front_end.h"
#include "trace/trace_scope.h"

namespace {

const std::filesystem::path kFolder = std::filesystem::temp_directory_path() / "ridgex-trace-bench";

// Points the registry at a store with `values` in the tracing key, and puts
// tracing back as at load, so the next scope reads it.
void Configure(const std::string& values) {
    std::filesystem::create_directories(kFolder);
    const std::string store = (kFolder / "registry.reg").string();
    std::ofstream(store, std::ios::trunc) << "Windows Registry Editor Version 5.00\n\n"
                                          << "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Solvane\\Tracing]\n"
                                          << values;
    setenv("RIDGEX_REGISTRY", store.c_str(), 1);
    SlvTraceNS::RestoreLoadState();
}

[[gnu::noinline]] void EmptyCall(int* value) {
    benchmark::DoNotOptimize(value);
}

void BM_NoOpBaseline(benchmark::State& state) {
    int value = 0;
    for (auto _ : state) {
        EmptyCall(&value);
    }
}
BENCHMARK(BM_NoOpBaseline);

void BM_ScopeTracingOff(benchmark::State& state) {
    Configure("\"DoTrace\"=dword:0\n");
    { SlvTraceNS::CTraceScope first("Bench::First", 0); }  // the check of the configuration
    for (auto _ : state) {
        SlvTraceNS::CTraceScope scope("Bench::Off", 0);
        benchmark::DoNotOptimize(&scope);
    }
}
BENCHMARK(BM_ScopeTracingOff);

void BM_ScopeAndMessageTracingOff(benchmark::State& state) {
    Configure("\"DoTrace\"=dword:0\n");
    { SlvTraceNS::CTraceScope first("Bench::First", 0); }
    int i = 0;
    for (auto _ : state) {
        SlvTraceNS::CTraceScope scope("Bench::Off", 0);
        scope.Message("value %d", ++i);
    }
}
BENCHMARK(BM_ScopeAndMessageTracingOff);

// One 'U' record per iteration, with a 'T' mark whenever the clock moved.
void BM_MessagesToFile(benchmark::State& state) {
    const std::string file = (kFolder / "bench.trc3").string();
    Configure("\"DoTrace\"=dword:1\n\"FileName\"=\"" + file + "\"\n");
    SlvTraceNS::CTraceScope scope("Bench::File", 0);
    int i = 0;
    for (auto _ : state) {
        scope.Message("record number %d of the benchmark", ++i);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_MessagesToFile);

// A '>' and a '<' record per iteration.
void BM_ScopesToFile(benchmark::State& state) {
    const std::string file = (kFolder / "bench.trc3").string();
    Configure("\"DoTrace\"=dword:1\n\"FileName\"=\"" + file + "\"\n");
    for (auto _ : state) {
        SlvTraceNS::CTraceScope scope("CLibAggregator::Capture", 0);
    }
    state.SetItemsProcessed(2 * state.iterations());
}
BENCHMARK(BM_ScopesToFile);

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    SlvTraceNS::RestoreLoadState();
    std::filesystem::remove_all(kFolder);
    return 0;
}
