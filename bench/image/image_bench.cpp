// Speed of the image record routines on reader-sized images, each case next
// to two copies of the same number of output bytes measured in the same run:
// memcpy, and a loop of 64-byte vector loads and stores. glibc's memcpy may
// move whole cache lines in one string instruction that writes them without
// reading them first; any routine that changes the bytes on the way passes
// them through registers, so the loop is the floor for those. Every case
// reports output megapixels per second and its time as a multiple of each
// copy; a summary table follows the usual report. --isa=avx512, avx2, ssse3
// or baseline runs the resample cases on that build of the resampler instead
// of the one this processor would pick; records always use the picked one.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "image/finger_image_record.h"
#include "image/resample_variants.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Reader {
    const char* name;
    uint32_t width;
    uint32_t height;
    uint32_t resolution;
};

constexpr Reader kReaders[] = {
    {"400x500@500", 400, 500, 500},
    {"800x750@500", 800, 750, 500},
    {"1600x1500@1000", 1600, 1500, 1000},
};

struct Row {
    std::string name;
    double output_pixels;
    double seconds;
    double memcpy_seconds;
    double loop_seconds;
};
std::vector<Row> g_rows;  // one per case, in the order the cases ran

// The resampler the cases call: ResampleImage, or one build named by --isa.
image_detail::ResampleFn g_resample = &ResampleImage;

// Takes --isa=NAME out of the arguments and picks that build of the
// resampler; false if the name is unknown or this processor lacks the build.
bool PickBuild(int* argc, char** argv) {
    constexpr std::string_view kFlag = "--isa=";
    int kept = 1;
    bool ok = true;
    for (int i = 1; i < *argc; ++i) {
        const std::string_view argument = argv[i];
        if (!argument.starts_with(kFlag)) {
            argv[kept++] = argv[i];
            continue;
        }
        const std::string_view name = argument.substr(kFlag.size());
        const auto& builds = image_detail::kResampleBuilds;
        const auto* build = std::find_if(std::begin(builds), std::end(builds),
                                         [&](const auto& b) { return name == b.name; });
        ok = build != std::end(builds) && build->supported();
        if (!ok) {
            std::fprintf(stderr, "no build '%.*s' that this processor runs\n",
                         static_cast<int>(name.size()), name.data());
        } else {
            g_resample = build->run;
        }
    }
    *argc = kept;
    return ok;
}

// The framework calls a case several times while it settles on an iteration
// count; the last call is the one it reports.
void Record(const Row& row) {
    const auto same = [&](const Row& r) { return r.name == row.name; };
    const auto it = std::find_if(g_rows.begin(), g_rows.end(), same);
    if (it == g_rows.end()) {
        g_rows.push_back(row);
    } else {
        *it = row;
    }
}

std::vector<uint8_t> Fingerprint(const Reader& r) {
    std::vector<uint8_t> pixels(size_t{r.width} * r.height);
    std::mt19937 random(7);
    std::generate(pixels.begin(), pixels.end(), [&] { return static_cast<uint8_t>(random()); });
    return pixels;
}

using Vector64 = uint8_t __attribute__((vector_size(64)));

// One clone per instruction set, picked at load time like the resampler's
// own builds, so the loop's stores are as wide as the resampler's.
__attribute__((target_clones("arch=x86-64-v4", "avx2", "default"))) void VectorCopy(
    uint8_t* to, const uint8_t* from, size_t bytes) {
    size_t i = 0;
    for (; i + sizeof(Vector64) <= bytes; i += sizeof(Vector64)) {
        Vector64 v;
        std::memcpy(&v, from + i, sizeof v);
        std::memcpy(to + i, &v, sizeof v);
    }
    std::memcpy(to + i, from + i, bytes - i);
}

// Best of a few batches of `work`: on a shared machine the fastest batch is
// the one least disturbed by others.
template <typename Work>
double BestSeconds(size_t bytes, Work work) {
    const int batch = static_cast<int>(std::clamp<size_t>((16u << 20) / bytes, 4, 500));
    double best = 1e9;
    for (int round = 0; round < 9; ++round) {
        const auto start = Clock::now();
        for (int i = 0; i < batch; ++i) {
            work();
            benchmark::ClobberMemory();
        }
        best = std::min(best, std::chrono::duration<double>(Clock::now() - start).count() / batch);
    }
    return best;
}

// The framework's own loop gives its usual report; the summary compares the
// best batch of the case with the best batches of the two copies of the same
// output size, taken right after it.
template <typename Work>
void Measure(benchmark::State& state, const std::string& name, uint32_t output_pixels,
             size_t output_bytes, Work work) {
    for (auto _ : state) {
        work();
        benchmark::ClobberMemory();
    }
    std::vector<uint8_t> from(output_bytes, 1), to(output_bytes);
    const double seconds = BestSeconds(output_bytes, work);
    const double memcpy_seconds =
        BestSeconds(output_bytes, [&] { std::memcpy(to.data(), from.data(), output_bytes); });
    const double loop_seconds =
        BestSeconds(output_bytes, [&] { VectorCopy(to.data(), from.data(), output_bytes); });
    state.counters["out_px/s"] = benchmark::Counter(
        static_cast<double>(output_pixels) * state.iterations(), benchmark::Counter::kIsRate);
    state.counters["x_memcpy"] = seconds / memcpy_seconds;
    state.counters["x_loop"] = seconds / loop_seconds;
    Record({name, static_cast<double>(output_pixels), seconds, memcpy_seconds, loop_seconds});
}

void RegisterResample(const Reader& r, uint32_t output_resolution, bool reverse) {
    const uint32_t out_w = r.width * output_resolution / r.resolution;
    const uint32_t out_h = r.height * output_resolution / r.resolution;
    const uint32_t step = r.resolution * 256 / output_resolution;
    std::string name = std::string("resample/") + r.name + "->" +
                       std::to_string(output_resolution) + (reverse ? "/turned" : "");
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
        const std::vector<uint8_t> source = Fingerprint(r);
        std::vector<uint8_t> output(size_t{out_w} * out_h);
        Measure(state, name, out_w * out_h, output.size(), [&] {
            g_resample(output.data(), out_w, out_w * out_h, source.data(), r.width, r.height, step,
                       reverse);
        });
    });
}

void RegisterRecord(const Reader& r, uint32_t format, const char* format_name) {
    std::string name = std::string("record/") + format_name + "/" + r.name;
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
        const std::vector<uint8_t> source = Fingerprint(r);
        uint32_t length = 0;
        WriteFingerImageRecord(r.width, r.height, r.resolution, source.data(),
                               static_cast<uint32_t>(source.size()), format, r.resolution, 0,
                               nullptr, &length);
        std::vector<uint8_t> output(length);
        Measure(state, name, r.width * r.height, length, [&] {
            uint32_t size = length;
            benchmark::DoNotOptimize(
                WriteFingerImageRecord(r.width, r.height, r.resolution, source.data(),
                                       static_cast<uint32_t>(source.size()), format, r.resolution,
                                       0, output.data(), &size));
        });
    });
}

void PrintSummary() {
    std::printf("\n%-36s %8s %8s %12s %10s %9s %7s\n", "case", "out Mpx", "Mpx/s", "memcpy Mpx/s",
                "loop Mpx/s", "x memcpy", "x loop");
    for (const Row& row : g_rows) {
        const double mpx = row.output_pixels / 1e6;
        std::printf("%-36s %8.3f %8.0f %12.0f %10.0f %9.2f %7.2f\n", row.name.c_str(), mpx,
                    mpx / row.seconds, mpx / row.memcpy_seconds, mpx / row.loop_seconds,
                    row.seconds / row.memcpy_seconds, row.seconds / row.loop_seconds);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (!PickBuild(&argc, argv)) {
        return 1;
    }
    for (const Reader& r : kReaders) {
        for (bool reverse : {false, true}) {
            RegisterResample(r, r.resolution, reverse);  // the copy path
            if (r.resolution == 500) {
                RegisterResample(r, 1000, reverse);
                RegisterResample(r, 250, reverse);
            } else {
                RegisterResample(r, 500, reverse);
            }
        }
        RegisterRecord(r, RIDGEX_IMG_FMT_ANSI381, "ansi");
        RegisterRecord(r, RIDGEX_IMG_FMT_ISO19794, "iso");
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    PrintSummary();
    return 0;
}
