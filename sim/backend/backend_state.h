// The state of one simulated backend library: its configuration, the live
// state of its readers and the open handles. One instance per loaded file, so
// each slot's copy of the library is a backend of its own.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "base/signal.h"
#include "config.h"
#include "ridgex.h"

namespace sim {

// The most handles open at once in one library.
inline constexpr int max_sessions = 64;

// One open handle. The handle given out is the session's address; sessions
// live in a fixed pool for the life of the library, so a stale handle never
// points at freed memory and a handle check needs no lock.
struct session_t {
    ~session_t() { delete wake.load(); }

    std::atomic<bool> open{false};
    std::atomic<bool> in_capture{false};
    std::atomic<bool> cancel_requested{false};
    // Set by a cancel, a finger or a disconnect; the capture on this handle
    // waits on it. Made at the first open of the pool entry, kept for reuse.
    std::atomic<signal_t*> wake{nullptr};
    // Written under the state lock before `open` is set.
    int reader = -1;
    uint32_t prio = 0;

    std::mutex parameters_lock;
    std::map<uint32_t, std::vector<uint8_t>> parameters;
};

// What happens on one reader right now, whoever has it open.
struct reader_state_t {
    std::atomic<session_t*> capturing{nullptr};
    std::atomic<session_t*> streaming{nullptr};
    // A finger placed by a test and not yet taken by a capture.
    std::atomic<bool> finger_placed{false};
    // A disconnect that the next or running capture reports.
    std::atomic<bool> unplugged{false};
    // Under the state lock.
    uint32_t opens = 0;
    bool exclusive_open = false;
};

class backend_state {
  public:
    static backend_state& instance();

    // The slot part of this library's file name: "amber" for
    // libridgex_amber.so. Chooses RIDGEX_SIM_CONFIG_<SLOT>.
    const std::string& slot();

    // The first init reads the configuration; later ones only count.
    ridgex_result init();
    // The last exit closes what is still open and forgets the readers.
    ridgex_result exit();

    // The configuration in force, fresh from the file for callers outside
    // init (the version is asked before any init).
    bool current_config(backend_config& config, std::string& error);
    const std::string& config_error();

    // Null unless initialised. Stable while any handle is open or until the
    // last exit, so operations on an open handle read it without a lock.
    const backend_config* config() const { return config_.load(std::memory_order_acquire); }
    // Forced status of an operation; only while initialised.
    const std::optional<ridgex_result>& forced(operation op) const;

    ridgex_result query_devices(uint32_t* dev_cnt, ridgex_device_info* dev_infos);
    ridgex_result open(const char* dev_name, uint32_t prio, ridgex_handle* pdev);
    ridgex_result close(ridgex_handle dev);

    // The open session behind a handle, or null. Lock-free and async-signal-
    // safe.
    session_t* find(ridgex_handle dev);
    reader_state_t& reader(int index) { return readers_[index]; }
    const reader_config& reader_config_of(const session_t& session) const {
        return config()->readers[static_cast<size_t>(session.reader)];
    }

    // Wakes the capture that runs on `index`, if any.
    void wake_reader(int index);
    // Tells waiters of wait_capturing that a capture has begun waiting.
    void capture_started();
    // True once a capture waits on reader `index`, false after `timeout_ms`.
    bool wait_capturing(int index, uint32_t timeout_ms);
    uint32_t open_sessions();
    int reader_count();

  private:
    backend_state() = default;
    session_t* take_session();
    // load_config, with a failure's reason on standard error; lock_ held.
    bool load_reported(backend_config& config, std::string& error);

    std::mutex lock_;
    std::condition_variable capture_started_;
    int init_count_ = 0;
    // Points at storage_ while initialised. storage_ is rewritten only by a
    // first init, when no handle is open.
    std::atomic<const backend_config*> config_{nullptr};
    backend_config storage_;
    std::string config_error_;
    std::string reported_error_;
    uint32_t next_session_ = 0;
    session_t sessions_[max_sessions];
    reader_state_t readers_[max_readers];
};

}  // namespace sim
