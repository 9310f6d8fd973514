// ridgex stream NAME [--frames N]: images of a stream, counted live.
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "commands.h"
#include "exit_status.h"
#include "interrupt.h"
#include "library_session.h"
#include "reader_facts.h"
#include "report.h"

namespace {

using std::chrono::steady_clock;

double Seconds(steady_clock::time_point since) {
    return std::chrono::duration<double>(steady_clock::now() - since).count();
}

// One stream image into `image`, growing it as the reader asks.
ridgex_result NextImage(ridgex_handle dev, ridgex_capture_param* parm, std::vector<uint8_t>& image,
                        bool* delivered) {
    ridgex_capture_result result{};
    result.size = sizeof(result);
    result.info.size = sizeof(result.info);
    ridgex_result status = RIDGEX_E_MORE_DATA;
    while (status == RIDGEX_E_MORE_DATA) {
        uint32_t size = static_cast<uint32_t>(image.size());
        status = ridgex_get_stream_image(dev, parm, &result, &size,
                                         image.empty() ? nullptr : image.data());
        if (status == RIDGEX_E_MORE_DATA) {
            image.resize(size);
        }
    }
    *delivered = status == RIDGEX_SUCCESS && result.success != 0;
    return status;
}

// Counts images until `frames` (0: no limit) or Ctrl-C; the count and the
// rate stand in one line that is rewritten on a terminal, and come once a
// second elsewhere.
ridgex_result Count(ridgex_handle dev, uint32_t dpi, uint32_t frames, uint64_t* count,
                    double* seconds) {
    ridgex_capture_param parm{sizeof(parm), RIDGEX_IMG_FMT_RAW, RIDGEX_IMG_PROC_DEFAULT, dpi};
    std::vector<uint8_t> image;
    const bool terminal = isatty(STDERR_FILENO) != 0;
    const steady_clock::time_point start = steady_clock::now();
    double shown = 0;
    ridgex_result status = RIDGEX_SUCCESS;
    while (status == RIDGEX_SUCCESS && (frames == 0 || *count < frames) &&
           !interrupt_guard::Interrupted()) {
        bool delivered = false;
        status = NextImage(dev, &parm, image, &delivered);
        *count += delivered ? 1 : 0;
        *seconds = Seconds(start);
        if (terminal || *seconds - shown >= 1) {
            shown = *seconds;
            std::fprintf(stderr, "%sFrames: %llu, %.1f frames/s%s", terminal ? "\r" : "",
                         static_cast<unsigned long long>(*count),
                         *seconds > 0 ? *count / *seconds : 0.0, terminal ? "" : "\n");
        }
    }
    if (terminal) {
        std::fprintf(stderr, "\n");
    }
    return status;
}

}  // namespace

int RunStream(const arguments& args) {
    uint32_t frames = 0;
    std::string error;
    if (args.Operands().size() != 1) {
        return UsageError("stream", "give one reader's name");
    }
    if (!args.Number("--frames", 1, UINT32_MAX, &frames, &error)) {
        return UsageError("stream", error);
    }
    library_session library;
    if (!library.Start()) {
        return kExitFailure;
    }
    const ridgex_device_info* reader = library.Find(args.Operands()[0]);
    open_reader dev;
    reader_caps caps;
    if (reader == nullptr || !dev.Open(reader->name)) {
        return kExitFailure;
    }
    if (const ridgex_result status = ReaderCapabilities(dev.Handle(), &caps);
        status != RIDGEX_SUCCESS) {
        ReportStatus("cannot read the capabilities of " + std::string(reader->name), status);
        return kExitFailure;
    }
    if (const ridgex_result status = ridgex_start_stream(dev.Handle()); status != RIDGEX_SUCCESS) {
        ReportStatus("cannot start a stream on " + std::string(reader->name), status);
        return kExitFailure;
    }
    std::fprintf(stderr, "Streaming from %s (Ctrl-C stops)\n", reader->name);
    uint64_t count = 0;
    double seconds = 0;
    interrupt_guard guard(nullptr);
    const ridgex_result status =
        Count(dev.Handle(), caps.resolutions.empty() ? 500 : caps.resolutions[0], frames, &count,
              &seconds);
    ridgex_stop_stream(dev.Handle());
    std::printf("%llu frames in %.1f s (%.1f frames/s).\n", static_cast<unsigned long long>(count),
                seconds, seconds > 0 ? count / seconds : 0.0);
    if (status != RIDGEX_SUCCESS) {
        ReportStatus("the stream on " + std::string(reader->name) + " failed", status);
        return kExitFailure;
    }
    return interrupt_guard::Interrupted() ? kExitCanceled : kExitOk;
}
