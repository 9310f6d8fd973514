#include "capture_support.h"

#include <cstring>
#include <optional>

#include "aggregator/lib_aggregator.h"
#include "liveness/spoof_detector.h"
#include "platform/syscalls.h"
#include "support/syscall_override.h"

namespace capture_test {

namespace {

std::atomic<decltype(&ridgex_capture)> real_capture{nullptr};
std::atomic<decltype(&ridgex_close)> real_close{nullptr};

ridgex_result InterposedCapture(ridgex_handle dev, ridgex_capture_param* parm, uint32_t timeout,
                                ridgex_capture_result* result, uint32_t* size, uint8_t* data) {
    const uint32_t room = size != nullptr ? *size : 0;
    if (interposed::before_capture) {
        interposed::before_capture(room);
    }
    uint32_t needed = 0;
    if (interposed::extra_room != 0 && size != nullptr) {
        // Ask the simulator for its size first, without a buffer.
        const ridgex_result status =
            real_capture.load()(dev, parm, timeout, result, &needed, nullptr);
        if (status != RIDGEX_E_MORE_DATA) {
            return status;
        }
        if (room < needed + interposed::extra_room) {
            *size = needed + interposed::extra_room;
            return RIDGEX_E_MORE_DATA;
        }
    }
    return real_capture.load()(dev, parm, timeout, result, size, data);
}

ridgex_result InterposedClose(ridgex_handle dev) {
    interposed::close_thread = gettid();
    ++interposed::closes;
    return real_close.load()(dev);
}

// The first library to resolve each export is slot 1's: slots load in order.
void* InterposingLookup(void* library, const char* name) {
    void* address = ::dlsym(library, name);
    if (address != nullptr && std::strcmp(name, "ridgex_capture") == 0 && real_capture == nullptr) {
        real_capture = reinterpret_cast<decltype(&ridgex_capture)>(address);
        return reinterpret_cast<void*>(&InterposedCapture);
    }
    if (address != nullptr && std::strcmp(name, "ridgex_close") == 0 && real_close == nullptr) {
        real_close = reinterpret_cast<decltype(&ridgex_close)>(address);
        return reinterpret_cast<void*>(&InterposedClose);
    }
    return address;
}

}  // namespace

void capture_fixture::SetUp() {
    threads_at_start_ = BaselineThreadCount();
    interposed::extra_room = 0;
    interposed::before_capture = nullptr;
    interposed::closes = 0;
    real_capture = nullptr;
    real_close = nullptr;
    // The test program is not the library: the scoring models lie in the
    // library folder. The detector works its folder out once per process.
    SpoofDetector::module_path.store(RIDGEX_LIB_DIR "/libridgex.so");
    // The liveness list and the scorer outlive ridgex_exit: every test
    // starts with scoring off.
    CLibAggregator::LivenessList().Free();
    SpoofDetector::Instance().destroy();
}

ridgex_handle capture_fixture::Start(const std::string& config, const char* name, bool interpose) {
    sims_.slot(kSlot, config);
    std::optional<syscall_override<decltype(platform::syscall_table::dlsym)>> lookup;
    if (interpose) {
        lookup.emplace(&platform::syscall_table::dlsym, &InterposingLookup);
    }
    const ridgex_result status = sims_.start();
    EXPECT_EQ(status, RIDGEX_SUCCESS);
    return status == RIDGEX_SUCCESS ? Open(name) : nullptr;
}

}  // namespace capture_test
