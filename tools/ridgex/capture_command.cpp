// ridgex capture [NAME] [-o FILE] [--format png|pgm|ansi|iso] [--dpi N]
//                [--timeout MS] [--liveness [--far N]]
#include <algorithm>
#include <cstdio>
#include <string>

#include "commands.h"
#include "exit_status.h"
#include "finger_capture.h"
#include "image_files.h"
#include "library_session.h"
#include "reader_facts.h"
#include "report.h"
#include "ridgex_text.h"

namespace {

// The public parameter operations take every identifier but the liveness
// switch as the false accept rate.
constexpr uint32_t kFalseAcceptRate = 0;

struct file_format {
    const char* name;       // as --format takes it
    const char* extension;  // of the default file, and recognised in -o
    const char* alias;      // a second extension recognised in -o
    uint32_t image_fmt;
};

constexpr file_format kFormats[] = {
    {"png", "png", "png", RIDGEX_IMG_FMT_RAW},
    {"pgm", "pgm", "pgm", RIDGEX_IMG_FMT_RAW},
    {"ansi", "ansi381", "ansi", RIDGEX_IMG_FMT_ANSI381},
    {"iso", "iso19794", "iso", RIDGEX_IMG_FMT_ISO19794},
};

// --format if given, else the extension of -o, else PNG.
const file_format* ChooseFormat(const arguments& args) {
    if (args.Has("--format")) {
        for (const file_format& format : kFormats) {
            if (args.Value("--format") == format.name) {
                return &format;
            }
        }
        return nullptr;
    }
    const std::string path = args.Value("-o");
    const std::string extension = path.substr(path.find_last_of('.') + 1);
    for (const file_format& format : kFormats) {
        if (path.find('.') != std::string::npos &&
            (extension == format.extension || extension == format.alias)) {
            return &format;
        }
    }
    return &kFormats[0];
}

struct capture_request {
    std::string reader;
    std::string path;
    const file_format* format = nullptr;
    uint32_t dpi = 0;  // 0: the reader's own
    uint32_t timeout = RIDGEX_TIMEOUT_INFINITE;
    bool liveness = false;
    uint32_t far = 0;
    bool far_given = false;
};

// False after the message of a usage error.
bool ReadRequest(const arguments& args, capture_request* request, int* exit) {
    std::string error;
    request->format = ChooseFormat(args);
    if (args.Operands().size() > 1) {
        error = "give at most one reader's name";
    } else if (request->format == nullptr) {
        error = "--format is one of png, pgm, ansi, iso";
    } else if (args.Has("--far") && !args.Has("--liveness")) {
        error = "--far goes with --liveness";
    } else if (args.Number("--dpi", 1, 100000, &request->dpi, &error) &&
               args.Number("--timeout", 0, RIDGEX_TIMEOUT_INFINITE - 1, &request->timeout,
                           &error) &&
               args.Number("--far", 0, 255, &request->far, &error)) {
        request->reader = args.Operands().empty() ? "" : args.Operands()[0];
        request->path = args.Has("-o") ? args.Value("-o")
                                       : std::string("fingerprint.") + request->format->extension;
        request->liveness = args.Has("--liveness");
        request->far_given = args.Has("--far");
        return true;
    }
    *exit = UsageError("capture", error);
    return false;
}

// Switches the liveness check on for this reader, and sets the rate.
bool SwitchLivenessOn(ridgex_handle dev, const capture_request& request) {
    uint8_t on = 1;
    if (const ridgex_result status = ridgex_set_parameter(dev, RIDGEX_PARMID_PAD_ENABLE, 1, &on);
        status != RIDGEX_SUCCESS) {
        ReportStatus("cannot switch the liveness check on for " + request.reader, status);
        return false;
    }
    if (!request.far_given) {
        return true;
    }
    uint8_t far = static_cast<uint8_t>(request.far);
    if (const ridgex_result status = ridgex_set_parameter(dev, kFalseAcceptRate, 1, &far);
        status != RIDGEX_SUCCESS) {
        ReportStatus("cannot set the false accept rate", status);
        return false;
    }
    return true;
}

bool WriteImage(const capture_request& request, const finger_capture& capture) {
    const ridgex_image_info& info = capture.result.info;
    if (request.format->image_fmt != RIDGEX_IMG_FMT_RAW) {
        return WriteBytesFile(request.path, capture.image);
    }
    const gray_image image{info.width, info.height, info.res, capture.image.data()};
    if (capture.image.empty()) {
        ReportError("the reader delivered fewer bytes than its image size says");
        return false;
    }
    return request.format->name == std::string("png") ? WritePngFile(request.path, image)
                                                      : WritePgmFile(request.path, image);
}

// What the capture gave, as an exit status, with the file written on
// success.
int Conclude(const capture_request& request, const finger_capture& capture) {
    const ridgex_capture_result& result = capture.result;
    if (capture.interrupted) {
        std::fprintf(stderr, "Capture cancelled.\n");
        return kExitCanceled;
    }
    if (capture.status != RIDGEX_SUCCESS) {
        ReportStatus("the capture on " + request.reader + " failed", capture.status);
        return kExitFailure;
    }
    if (result.success == 0) {
        std::fprintf(stderr, "No image: %s (0x%04X): %s.\n", ridgex_quality_name(result.quality),
                     result.quality, ridgex_quality_text(result.quality));
        if (request.liveness && result.quality == RIDGEX_QUALITY_REJECTED) {
            std::printf("Liveness check: failed.\n");
        }
        return result.quality == RIDGEX_QUALITY_TIMED_OUT  ? kExitTimedOut
               : result.quality == RIDGEX_QUALITY_CANCELED ? kExitFailure
                                                           : kExitNoImage;
    }
    if (!WriteImage(request, capture)) {
        return kExitFailure;
    }
    // With the image on standard output, the summary goes to standard error.
    std::FILE* out = request.path == "-" ? stderr : stdout;
    std::fprintf(out, "Wrote %s (%s): %u x %u pixels at %u dpi, score %u.\n", request.path.c_str(),
                 request.format->name, result.info.width, result.info.height, result.info.res,
                 result.score);
    if (request.liveness) {
        std::fprintf(out, "Liveness check: passed.\n");
    }
    return kExitOk;
}

}  // namespace

int RunCapture(const arguments& args) {
    capture_request request;
    int exit = kExitOk;
    if (!ReadRequest(args, &request, &exit)) {
        return exit;
    }
    library_session library;
    if (!library.Start()) {
        return kExitFailure;
    }
    if (request.reader.empty()) {
        if (library.Readers().empty()) {
            ReportError("no readers");
            return kExitFailure;
        }
        request.reader = library.Readers()[0].name;
    } else if (const ridgex_device_info* reader = library.Find(request.reader)) {
        request.reader = reader->name;
    } else {
        return kExitFailure;
    }
    open_reader dev;
    reader_caps caps;
    if (!dev.Open(request.reader)) {
        return kExitFailure;
    }
    if (const ridgex_result status = ReaderCapabilities(dev.Handle(), &caps);
        status != RIDGEX_SUCCESS) {
        ReportStatus("cannot read the resolutions of " + request.reader, status);
        return kExitFailure;
    }
    if (caps.resolutions.empty()) {
        ReportError(request.reader + " names no resolution to capture at");
        return kExitFailure;
    }
    if (request.dpi == 0) {
        request.dpi = caps.resolutions[0];
    } else if (std::find(caps.resolutions.begin(), caps.resolutions.end(), request.dpi) ==
               caps.resolutions.end()) {
        std::string offered;
        for (uint32_t dpi : caps.resolutions) {
            offered += (offered.empty() ? "" : ", ") + std::to_string(dpi);
        }
        return UsageError("capture", request.reader + " captures at " + offered + " dpi only");
    }
    if (request.liveness && !SwitchLivenessOn(dev.Handle(), request)) {
        return kExitFailure;
    }
    const ridgex_capture_param parm{sizeof(parm), request.format->image_fmt,
                                    RIDGEX_IMG_PROC_DEFAULT, request.dpi};
    return Conclude(request, CaptureFinger(dev.Handle(), parm, request.timeout, request.reader));
}
