#include "capture_support.h"

#include <pthread.h>

#include <cstring>
#include <thread>

#include "aggregator/lib_aggregator.h"
#include "liveness/spoof_detector.h"
#include "platform/syscalls.h"
#include "support/syscall_override.h"
#include "support/thread_count.h"

namespace capture_test {

namespace {

template <typename F>
F Control(const char* name) {
    F function = sim_backends::control<F>(kSlot, name);
    EXPECT_NE(function, nullptr) << name;
    return function;
}

using capture_fn = decltype(&ridgex_capture);
using close_fn = decltype(&ridgex_close);

std::atomic<capture_fn> real_capture{nullptr};
std::atomic<close_fn> real_close{nullptr};

ridgex_result InterposedCapture(ridgex_handle dev, ridgex_capture_param* capture_parm,
                                uint32_t timeout, ridgex_capture_result* capture_result,
                                uint32_t* image_size, uint8_t* image_data) {
    if (interposed::before_capture) {
        interposed::before_capture(image_size != nullptr ? *image_size : 0);
    }
    const uint32_t extra = interposed::extra_room;
    const uint32_t room = image_size != nullptr ? *image_size : 0;
    if (extra != 0 && image_size != nullptr) {
        // Ask the simulator for its size first, without a buffer.
        uint32_t needed = 0;
        ridgex_result status =
            real_capture.load()(dev, capture_parm, timeout, capture_result, &needed, nullptr);
        if (status != RIDGEX_E_MORE_DATA) {
            return status;
        }
        if (room < needed + extra) {
            *image_size = needed + extra;
            return RIDGEX_E_MORE_DATA;
        }
    }
    return real_capture.load()(dev, capture_parm, timeout, capture_result, image_size, image_data);
}

ridgex_result InterposedClose(ridgex_handle dev) {
    interposed::close_thread = gettid();
    ++interposed::closes;
    return real_close.load()(dev);
}

// The first library to resolve each export is slot 1's: slots load in order.
void* InterposingLookup(void* library, const char* name) {
    void* address = ::dlsym(library, name);
    if (address == nullptr) {
        return address;
    }
    if (std::strcmp(name, "ridgex_capture") == 0 && real_capture.load() == nullptr) {
        real_capture = reinterpret_cast<capture_fn>(address);
        return reinterpret_cast<void*>(&InterposedCapture);
    }
    if (std::strcmp(name, "ridgex_close") == 0 && real_close.load() == nullptr) {
        real_close = reinterpret_cast<close_fn>(address);
        return reinterpret_cast<void*>(&InterposedClose);
    }
    return address;
}

}  // namespace

uint32_t SimCount(const char* operation, int32_t reader) {
    return sim_backends::count(kSlot, operation, reader);
}

void PlaceFinger(int32_t reader) {
    auto place = Control<ridgex_sim_place_finger_fn>("ridgex_sim_place_finger");
    ASSERT_EQ(place(reader), RIDGEX_SUCCESS);
}

void Disconnect(int32_t reader) {
    auto disconnect = Control<ridgex_sim_disconnect_fn>("ridgex_sim_disconnect");
    ASSERT_EQ(disconnect(reader), RIDGEX_SUCCESS);
}

bool WaitCapturing(int32_t reader, uint32_t timeout_ms) {
    auto wait = Control<ridgex_sim_wait_capturing_fn>("ridgex_sim_wait_capturing");
    return wait != nullptr && wait(reader, timeout_ms) == 1;
}

std::string Reader(const std::string& name, const std::string& settings) {
    return "[reader]\nname = " + name + "\n" + settings + (settings.empty() ? "" : "\n");
}

bool Eventually(const std::function<bool()>& done, std::chrono::milliseconds limit) {
    const auto end = clock_type::now() + limit;
    while (!done()) {
        if (clock_type::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(1ms);
    }
    return true;
}

uint32_t Status(ridgex_handle dev) {
    ridgex_device_status status{};
    status.size = sizeof(status);
    if (ridgex_get_device_status(dev, &status) != RIDGEX_SUCCESS) {
        return RIDGEX_STATUS_BUSY + 1;
    }
    return status.status;
}

bool EventuallyReady(ridgex_handle dev) {
    return Eventually([dev] { return Status(dev) == RIDGEX_STATUS_READY; });
}

ridgex_result Probe(ridgex_handle dev, ridgex_capture_param parm, ridgex_capture_result* result,
                    uint32_t* size) {
    ridgex_capture_result own = Result();
    uint32_t own_size = 0;
    return ridgex_capture(dev, &parm, 0, result != nullptr ? result : &own,
                          size != nullptr ? size : &own_size, nullptr);
}

clock_type::duration Timed(const std::function<void()>& call) {
    const auto begin = clock_type::now();
    call();
    return clock_type::now() - begin;
}

void ExpectNoImage(const delivery& seen, uint32_t quality, uint32_t error) {
    EXPECT_EQ(seen.error, error);
    EXPECT_EQ(seen.capture_result.success, 0u);
    EXPECT_EQ(seen.capture_result.quality, quality);
    EXPECT_EQ(seen.size, 72u);
    EXPECT_EQ(seen.image_size, 0u);
    EXPECT_EQ(seen.image_data, nullptr);
}

capture_thread::capture_thread(ridgex_handle dev, ridgex_capture_param parm, uint32_t timeout)
    : dev_(dev), parm_(parm), timeout_(timeout) {
    pthread_create(&thread_, nullptr, Run, this);
}

capture_thread::~capture_thread() {
    if (!joined_) {
        pthread_join(thread_, nullptr);
    }
}

void* capture_thread::Run(void* self) {
    auto* me = static_cast<capture_thread*>(self);
    me->tid = gettid();
    me->status = ridgex_capture(me->dev_, &me->parm_, me->timeout_, &me->result, &me->image_size,
                                me->image.data());
    me->done_ = true;
    return nullptr;
}

bool capture_thread::Join(std::chrono::milliseconds limit) {
    if (!Eventually([this] { return done_.load(); }, limit)) {
        return false;
    }
    pthread_join(thread_, nullptr);
    joined_ = true;
    return true;
}

void async_recorder::Callback(void* context, uint32_t, uint32_t size,
                              ridgex_capture_callback_data* data) {
    auto* me = static_cast<async_recorder*>(context);
    me->in_callback = true;
    delivery seen{};
    seen.size = size;
    seen.block_size = data->size;
    seen.error = data->error;
    seen.capture_parm = data->capture_parm;
    seen.capture_result = data->capture_result;
    seen.image_size = data->image_size;
    seen.image_data = data->image_data;
    seen.block = data;
    seen.image_behind_record = data->image_data == reinterpret_cast<uint8_t*>(data) + 72;
    if (data->image_data != nullptr) {
        seen.image.assign(data->image_data, data->image_data + data->image_size);
    }
    seen.thread = gettid();
    size_t call = 0;
    {
        std::lock_guard guard(me->lock_);
        me->deliveries_.push_back(std::move(seen));
        call = me->deliveries_.size();
    }
    me->changed_.notify_all();
    if (me->react) {
        me->react(call, data);
    }
    me->in_callback = false;
}

ridgex_result async_recorder::Start(ridgex_handle dev, ridgex_capture_param parm) {
    parm_ = parm;
    return ridgex_capture_async(dev, &parm_, this, Callback);
}

bool async_recorder::WaitFor(size_t count, std::chrono::milliseconds limit) {
    std::unique_lock guard(lock_);
    return changed_.wait_for(guard, limit, [&] { return deliveries_.size() >= count; });
}

size_t async_recorder::Count() {
    std::lock_guard guard(lock_);
    return deliveries_.size();
}

delivery async_recorder::At(size_t index) {
    std::lock_guard guard(lock_);
    return deliveries_.at(index);
}

void interposed::Reset() {
    extra_room = 0;
    before_capture = nullptr;
    close_thread = 0;
    closes = 0;
    real_capture = nullptr;
    real_close = nullptr;
}

void capture_fixture::SetUp() {
    threads_at_start_ = BaselineThreadCount();
    interposed::Reset();
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
    ridgex_result status = RIDGEX_E_FAILURE;
    if (interpose) {
        syscall_override lookup(&platform::syscall_table::dlsym, &InterposingLookup);
        status = sims_.start();
    } else {
        status = sims_.start();
    }
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
