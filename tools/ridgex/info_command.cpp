// ridgex info NAME: who the reader is and what it can do.
#include <cstdio>
#include <string>

#include "commands.h"
#include "exit_status.h"
#include "library_session.h"
#include "reader_facts.h"
#include "report.h"

namespace {

// The size of a bare image at `dpi`, learnt the way a capture learns it:
// a call without room, which answers at once.
std::string ImageSize(ridgex_handle dev, uint32_t dpi) {
    ridgex_capture_param parm{sizeof(parm), RIDGEX_IMG_FMT_RAW, RIDGEX_IMG_PROC_DEFAULT, dpi};
    ridgex_capture_result result{};
    result.size = sizeof(result);
    uint32_t bytes = 0;
    if (ridgex_capture(dev, &parm, 0, &result, &bytes, nullptr) != RIDGEX_E_MORE_DATA) {
        return "not known";
    }
    if (result.info.width != 0 && result.info.height != 0) {
        return std::to_string(result.info.width) + " x " + std::to_string(result.info.height) +
               " pixels";
    }
    return std::to_string(bytes) + " bytes";
}

void PrintIdentity(const ridgex_device_info& r) {
    std::printf("%s\n", r.name);
    std::printf("  Vendor:       %s\n", r.vendor_name);
    std::printf("  Product:      %s\n", r.product_name);
    std::printf("  Serial:       %s\n", r.serial_text);
    std::printf("  VID:PID:      %04x:%04x\n", r.vid, r.pid);
    std::printf("  Revision:     0x%04X\n", r.revision);
    std::printf("  Slot:         %d\n", ReaderSlot(r));
}

void PrintCapabilities(ridgex_handle dev, const reader_caps& caps) {
    for (size_t i = 0; i < caps.resolutions.size(); ++i) {
        std::printf("  %s %u dpi%s, image %s\n", i == 0 ? "Resolution:  " : "             ",
                    caps.resolutions[i], i == 0 ? " (the reader's own)" : "",
                    ImageSize(dev, caps.resolutions[i]).c_str());
    }
    std::printf("  Streaming:    %s\n", caps.fixed.can_stream != 0 ? "yes" : "no");
    if (caps.fixed.led_mask != 0) {
        std::printf("  LEDs:         mask 0x%X\n", caps.fixed.led_mask);
    } else {
        std::printf("  LEDs:         none\n");
    }
    std::printf("  Mode 1:       %s\n", caps.fixed.can_proc_mode1 != 0 ? "yes" : "no");
}

void PrintStatus(ridgex_handle dev) {
    ridgex_device_status status{};
    status.size = sizeof(status);
    if (ridgex_get_device_status(dev, &status) != RIDGEX_SUCCESS) {
        return;
    }
    std::printf("  Status:       %s, %s\n",
                status.status == RIDGEX_STATUS_READY  ? "ready"
                : status.status == RIDGEX_STATUS_BUSY ? "busy"
                                                      : "unknown",
                status.finger_detected != 0 ? "a finger is on it" : "no finger on it");
}

}  // namespace

int RunInfo(const arguments& args) {
    if (args.Operands().size() != 1) {
        return UsageError("info", "give one reader's name");
    }
    library_session library;
    if (!library.Start()) {
        return kExitFailure;
    }
    const ridgex_device_info* reader = library.Find(args.Operands()[0]);
    if (reader == nullptr) {
        return kExitFailure;
    }
    open_reader dev;
    if (!dev.Open(reader->name)) {
        return kExitFailure;
    }
    reader_caps caps;
    if (const ridgex_result status = ReaderCapabilities(dev.Handle(), &caps);
        status != RIDGEX_SUCCESS) {
        ReportStatus("cannot read the capabilities of " + std::string(reader->name), status);
        return kExitFailure;
    }
    PrintIdentity(*reader);
    PrintCapabilities(dev.Handle(), caps);
    PrintStatus(dev.Handle());
    return kExitOk;
}
