// The state of the simulated reader library behind its exports: the
// configured readers, the acquisitions, the two delivery threads, the
// forced failures and the log that tests read. One object for the life of
// the loaded file; one lock guards it, and no callback runs under it.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "delivery_thread.h"
#include "reader_config.h"
#include "records.h"
#include "shim/tavlo_api.h"
#include "tavlo_sim.h"

namespace tavlo_sim {

class reader_library {
  public:
    ~reader_library();

    int32_t init();
    int32_t term();
    int32_t enumerate(uint32_t* count, void** ids);
    int32_t device_info(const uint8_t* id, void* info);
    int32_t device_info_ex(const uint8_t* id, uint32_t group, uint32_t selector, void** block);
    int32_t get_parameter(const uint8_t* id, uint32_t parameter, tavlo::TavloParameter* value);
    int32_t set_parameter(const uint8_t* id, uint32_t parameter, tavlo::TavloParameter* value);
    int32_t create(uint32_t priority, const uint8_t* id, uint32_t four,
                   tavlo::TavloCallback callback, void* context, uint32_t* handle);
    int32_t start(uint32_t handle);
    int32_t stop(uint32_t handle);
    int32_t destroy(uint32_t handle);
    void buffer_free(void* block);
    // Stops the delivery threads; reports not yet delivered are dropped.
    void shut_down();

    // Test controls, as tavlo_sim.h tells them.
    void set_init_status(int32_t status);
    uint32_t init_calls();
    uint32_t term_calls();
    void fail(const char* operation, int32_t code, uint32_t times);
    int32_t place_finger(int32_t reader);
    int32_t send(int32_t reader, report message);
    void flush();
    uint32_t acquisition_priority(int32_t reader);
    uint32_t live_acquisitions();
    uint32_t calls(const char* operation);
    uint32_t parameter_calls();
    int32_t parameter_call_at(uint32_t index, tavlo_sim_parameter_call* call);
    void clear_log();
    const char* config_error();

  private:
    struct reader_state {
        reader_config config;
        // When the library places the next finger by itself; none if zero.
        std::chrono::steady_clock::time_point next_finger{};
        bool stream_mode = false;
        uint32_t f003 = 0;
    };
    struct acquisition {
        int32_t reader = 0;
        uint32_t priority = 0;
        tavlo::TavloCallback callback = nullptr;
        void* context = nullptr;
        bool started = false;
        bool destroyed = false;
        uint32_t in_flight = 0;  // callbacks running now
    };
    struct forced_code {
        int32_t code = 0;
        uint32_t remaining = 0;  // 0: every call
    };

    // Counts a call of the operation and gives the code it is forced to.
    std::optional<int32_t> enter(const std::string& operation);
    // Also refuses it while the library is stopped or a pointer is missing.
    std::optional<int32_t> admit(const std::string& operation, bool pointers_given);
    int32_t reader_index(const uint8_t* id) const;
    // Queues a finger's reports; `mutex_` is held.
    void post_finger(int32_t reader);
    // Places the fingers of readers configured with finger_every_ms, until
    // shut_down.
    void run_finger_clock();
    bool has_started_acquisition(int32_t reader) const;
    // Queues a report for the started acquisitions of `reader` (one of any
    // reader for -1) on the event thread.
    void post(int32_t reader, report message);
    // Queues an image report; its picture is drawn on the event thread.
    void post_image(int32_t reader);
    void deliver(int32_t reader, uint32_t only_handle, const report& message);
    int32_t parameter_call(bool set, const uint8_t* id, uint32_t parameter,
                           tavlo::TavloParameter* value);
    int32_t apply_parameter(bool set, reader_state& reader, int32_t index, uint32_t parameter,
                            tavlo::TavloParameter& value);

    std::mutex mutex_;
    std::condition_variable callback_returned_;
    bool running_ = false;
    int32_t init_status_ = 0;
    uint32_t init_calls_ = 0;
    uint32_t term_calls_ = 0;
    std::string config_error_;
    std::vector<reader_state> readers_;
    std::map<uint32_t, acquisition> acquisitions_;
    uint32_t next_handle_ = 1;
    std::map<std::string, forced_code> forced_;
    std::map<std::string, uint32_t> calls_;
    std::vector<tavlo_sim_parameter_call> parameter_log_;
    // Reports in the order asked for; stop reports apart, so that they
    // never wait behind a callback that is stuck at the caller's lock.
    delivery_thread events_;
    delivery_thread stops_;
    std::thread finger_clock_;
    std::condition_variable clock_changed_;
    bool clock_stopping_ = false;
};

reader_library& library();

}  // namespace tavlo_sim
