#include "capture_support.h"

#include <cstring>
#include <optional>

#include "aggregator/lib_aggregator.h"
#include "liveness/spoof_detector.h"
#include "platform/syscalls.h"
#include "support/syscall_override.h"
#include "support/thread_count.h"

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

uint32_t Status(ridgex_handle dev) {
    ridgex_device_status status{};
    status.size = sizeof(status);
    return ridgex_get_device_status(dev, &status) == RIDGEX_SUCCESS ? status.status
                                                                    : RIDGEX_STATUS_BUSY + 1;
}

ridgex_result Probe(ridgex_handle dev, ridgex_capture_param parm, ridgex_capture_result* result,
                    uint32_t* size) {
    ridgex_capture_result own = Result();
    uint32_t own_size = 0;
    return ridgex_capture(dev, &parm, 0, result != nullptr ? result : &own,
                          size != nullptr ? size : &own_size, nullptr);
}

capture_thread::capture_thread(ridgex_handle dev)
    : thread([this, dev] {
          tid = gettid();
          ridgex_capture_param parm = Param();
          std::vector<uint8_t> image(kImageBytes);
          uint32_t size = kImageBytes;
          status =
              ridgex_capture(dev, &parm, RIDGEX_TIMEOUT_INFINITE, &result, &size, image.data());
          done = true;
      }) {}

bool capture_thread::Join() {
    if (!Eventually([this] { return done.load(); })) {
        return false;
    }
    if (thread.joinable()) {
        thread.join();
    }
    return true;
}

void ExpectNoImage(const delivery& seen, uint32_t quality, uint32_t error) {
    EXPECT_EQ(seen.error, error);
    EXPECT_EQ(seen.capture_result.success, 0u);
    EXPECT_EQ(seen.capture_result.quality, quality);
    EXPECT_EQ(seen.size, 72u);
    EXPECT_EQ(seen.image_size, 0u);
    EXPECT_EQ(seen.image_data, nullptr);
}

void async_recorder::Callback(void* context, uint32_t, uint32_t size,
                              ridgex_capture_callback_data* data) {
    auto* me = static_cast<async_recorder*>(context);
    delivery seen{size,
                  data->size,
                  data->error,
                  data->capture_parm,
                  data->capture_result,
                  data->image_size,
                  data->image_data,
                  reinterpret_cast<const uint8_t*>(data),
                  gettid(),
                  {}};
    if (data->image_data != nullptr) {
        seen.image.assign(data->image_data, data->image_data + data->image_size);
    }
    size_t call = 0;
    {
        std::lock_guard guard(me->lock_);
        me->deliveries_.push_back(std::move(seen));
        call = me->deliveries_.size();
    }
    if (me->react) {
        me->react(call, data);
    }
}

ridgex_result async_recorder::Start(ridgex_handle dev, ridgex_capture_param parm) {
    parm_ = parm;
    return ridgex_capture_async(dev, &parm_, this, Callback);
}

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

void capture_fixture::TearDown() {
    EXPECT_TRUE(WaitForThreadCount(threads_at_start_)) << "a capture thread did not end";
    // A thread's last step is its RelRef under the context lock. Taking that
    // lock once (any operation on a handle does) orders it before the stop
    // of the library for ThreadSanitizer, which cannot see a detached
    // thread end.
    Status(Handle(1));
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

ridgex_handle capture_fixture::Open(const char* name) {
    ridgex_handle dev = nullptr;
    const std::string prefixed = "$01$" + std::string(name);
    EXPECT_EQ(ridgex_open(prefixed.c_str(), &dev), RIDGEX_SUCCESS) << prefixed;
    return dev;
}

}  // namespace capture_test
