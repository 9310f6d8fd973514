// The main job: starts the library, lists the readers it finds with their
// identities, captures one fingerprint from a reader and writes it as an
// ISO/IEC 19794-4 record and as a PGM image, then stops the library.
//
//   ridgex_demo [READER [OUTPUT_PREFIX]]
//
// READER is a name as listed (with its "$NN$" prefix). Without one, the
// first listed reader of every backend captures in turn, into
// OUTPUT_PREFIX-NN.iso19794 and .pgm with NN the backend's slot; with one,
// into OUTPUT_PREFIX.iso19794 and .pgm. OUTPUT_PREFIX is "fingerprint" by
// default. Without configurations of their own the simulated backend
// library and the simulated reader library take "simulated_readers.conf"
// and "simulated_reader_library.conf" beside this program, whose readers
// wait a few seconds for the finger.
#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "finger_capture.h"
#include "image_files.h"
#include "ridgex.h"

namespace {

constexpr uint32_t kDeviceInfoSize = sizeof(ridgex_device_info);

int Fail(const char* what, ridgex_result status) {
    std::fprintf(stderr, "%s failed: 0x%08X\n", what, status);
    return 1;
}

void PrintReader(const ridgex_device_info& info) {
    std::printf("  %s\n", info.name);
    std::printf("    %s, %s, serial %s\n", info.vendor_name, info.product_name, info.serial_text);
    std::printf("    vid 0x%04X  pid 0x%04X  revision 0x%04X\n", info.vid, info.pid, info.revision);
}

// Asks for the size first, then for the list; readers may come and go in
// between, so a second MORE_DATA just means asking again.
ridgex_result ListReaders(std::vector<ridgex_device_info>& readers) {
    uint32_t count = 0;
    ridgex_result status = RIDGEX_E_MORE_DATA;
    while (status == RIDGEX_E_MORE_DATA) {
        readers.resize(count);
        if (!readers.empty()) {
            readers[0].size = kDeviceInfoSize;
        }
        status = ridgex_query_devices(&count, readers.empty() ? nullptr : readers.data());
    }
    readers.resize(status == RIDGEX_SUCCESS ? count : 0);
    return status;
}

// The reader's own resolution: the first it lists.
uint32_t FirstResolution(ridgex_handle dev) {
    std::vector<uint8_t> room(RIDGEX_DEVICE_CAPS_FIXED_SIZE + 4 * 16);
    auto* caps = reinterpret_cast<ridgex_device_caps*>(room.data());
    caps->size = static_cast<uint32_t>(room.size());
    if (ridgex_get_device_capabilities(dev, caps) != RIDGEX_SUCCESS || caps->resolution_cnt == 0) {
        return 500;
    }
    return caps->resolutions[0];
}

void UseDemoReadersUnlessConfigured(const char* program, const char* variable, const char* file) {
    const std::filesystem::path config = std::filesystem::path(program).parent_path() / file;
    if (getenv(variable) == nullptr && std::filesystem::exists(config)) {
        setenv(variable, config.c_str(), 0);
    }
}

// The first listed reader of each backend, by the slot prefix of its name.
std::vector<std::string> OneReaderPerBackend(const std::vector<ridgex_device_info>& readers) {
    std::vector<std::string> chosen;
    std::string last_prefix;
    for (const ridgex_device_info& reader : readers) {
        const std::string prefix = std::string(reader.name).substr(0, 4);
        if (prefix != last_prefix) {
            chosen.emplace_back(reader.name);
            last_prefix = prefix;
        }
    }
    return chosen;
}

int CaptureAndWrite(ridgex_handle dev, const std::string& prefix) {
    const finger_capture capture = CaptureFinger(dev, FirstResolution(dev));
    if (capture.status != RIDGEX_SUCCESS) {
        return Fail("ridgex_capture", capture.status);
    }
    if (capture.result.quality == RIDGEX_QUALITY_CANCELED) {
        std::printf("Capture cancelled.\n");
        return 130;  // as for a program that Ctrl-C ended, and no further capture
    }
    if (capture.result.success == 0) {
        std::printf("No fingerprint: quality 0x%04X.\n", capture.result.quality);
        return 1;
    }
    const std::string record_file = prefix + ".iso19794";
    const std::string image_file = prefix + ".pgm";
    if (!WriteRecordFile(record_file, capture.record) ||
        !WritePgmFile(image_file, capture.record)) {
        std::fprintf(stderr, "cannot write %s and %s\n", record_file.c_str(), image_file.c_str());
        return 1;
    }
    std::printf("Captured %u x %u at %u dpi, score %u.\n", capture.result.info.width,
                capture.result.info.height, capture.result.info.res, capture.result.score);
    std::printf("Wrote %s (%zu bytes) and %s.\n", record_file.c_str(), capture.record.size(),
                image_file.c_str());
    return 0;
}

}  // namespace

int OpenCaptureAndWrite(const std::string& name, const std::string& prefix) {
    ridgex_handle dev = nullptr;
    if (const ridgex_result status = ridgex_open(name.c_str(), &dev); status != RIDGEX_SUCCESS) {
        return Fail(("ridgex_open of " + name).c_str(), status);
    }
    std::printf("Opened %s.\n", name.c_str());
    const int result = CaptureAndWrite(dev, prefix);
    ridgex_close(dev);
    return result;
}

int main(int argc, char** argv) {
    UseDemoReadersUnlessConfigured(argv[0], "RIDGEX_SIM_CONFIG", "simulated_readers.conf");
    UseDemoReadersUnlessConfigured(argv[0], "RIDGEX_TAVLO_SIM_CONFIG",
                                   "simulated_reader_library.conf");
    ridgex_version_info version{};
    version.size = sizeof(version);
    if (const ridgex_result status = ridgex_version(&version); status != RIDGEX_SUCCESS) {
        return Fail("ridgex_version", status);
    }
    std::printf("libridgex %u.%u.%u, interface %u.%u.%u\n", version.lib_major, version.lib_minor,
                version.lib_maintenance, version.api_major, version.api_minor,
                version.api_maintenance);

    if (const ridgex_result status = ridgex_init(); status != RIDGEX_SUCCESS) {
        return Fail("ridgex_init", status);
    }
    std::vector<ridgex_device_info> readers;
    if (const ridgex_result status = ListReaders(readers); status != RIDGEX_SUCCESS) {
        ridgex_exit();
        return Fail("ridgex_query_devices", status);
    }
    std::printf("%zu reader%s\n", readers.size(), readers.size() == 1 ? "" : "s");
    for (const ridgex_device_info& reader : readers) {
        PrintReader(reader);
    }
    if (readers.empty() && argc < 2) {
        ridgex_exit();
        return 0;
    }

    const std::string prefix = argc >= 3 ? argv[2] : "fingerprint";
    int result = 0;
    if (argc >= 2) {
        result = OpenCaptureAndWrite(argv[1], prefix);
    } else {
        for (const std::string& name : OneReaderPerBackend(readers)) {
            result = OpenCaptureAndWrite(name, prefix + "-" + name.substr(1, 2));
            if (result != 0) {
                break;
            }
        }
    }
    ridgex_exit();
    return result;
}
