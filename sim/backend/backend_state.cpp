#include "backend_state.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>

#include "platform/module_path.h"

namespace sim {
namespace {

void anchor() {}

// "libridgex_amber.so" and "libridgex_amber.so.1" give "amber".
std::string slot_of(std::string path) {
    path = path.substr(path.find_last_of('/') + 1);
    for (const char* prefix : {"lib", "ridgex_"}) {
        if (path.starts_with(prefix)) {
            path.erase(0, std::strlen(prefix));
        }
    }
    const size_t so = path.find(".so");
    return so == std::string::npos ? path : path.substr(0, so);
}

void copy_text(char* field, size_t room, const std::string& text) {
    const size_t length = std::min(text.size(), room - 1);
    std::memcpy(field, text.data(), length);
    field[length] = '\0';
}

void fill_device_info(const reader_config& reader, ridgex_device_info& info) {
    std::memset(&info, 0, sizeof info);
    info.size = sizeof info;
    copy_text(info.name, sizeof info.name, reader.name);
    copy_text(info.vendor_name, sizeof info.vendor_name, reader.vendor);
    copy_text(info.product_name, sizeof info.product_name, reader.product);
    copy_text(info.serial_text, sizeof info.serial_text, reader.serial);
    info.vid = reader.vid;
    info.pid = reader.pid;
    std::copy(reader.version_words.begin(), reader.version_words.end(), info.version_words);
    info.revision = reader.revision;
    info.class_code = reader.class_code;
    info.type_code = reader.type_code;
}

// The name as the backend reports it, which is what an open is given back.
bool same_name(const reader_config& reader, const char* dev_name) {
    const size_t limit = sizeof(ridgex_device_info::name) - 1;
    return std::strncmp(reader.name.c_str(), dev_name, limit) == 0 &&
           std::strlen(dev_name) == std::min(reader.name.size(), limit);
}

const std::optional<ridgex_result> not_forced;

}  // namespace

backend_state& backend_state::instance() {
    static backend_state state;
    return state;
}

const std::string& backend_state::slot() {
    static const std::string name = [] {
        platform::record_module_path(reinterpret_cast<const void*>(&anchor));
        return slot_of(platform::module_path());
    }();
    return name;
}

ridgex_result backend_state::init() {
    std::lock_guard guard(lock_);
    if (init_count_ > 0) {
        ++init_count_;
        return RIDGEX_SUCCESS;
    }
    config_error_.clear();
    if (!load_reported(storage_, config_error_)) {
        return RIDGEX_E_FAILURE;
    }
    if (const auto& forced_init = storage_.forced[static_cast<uint32_t>(operation::init)]) {
        return *forced_init;
    }
    for (auto& reader : readers_) {
        reader.streaming = nullptr;
        reader.finger_placed = false;
        reader.unplugged = false;
        reader.opens = 0;
        reader.exclusive_open = false;
    }
    init_count_ = 1;
    config_.store(&storage_, std::memory_order_release);
    return RIDGEX_SUCCESS;
}

ridgex_result backend_state::exit() {
    std::lock_guard guard(lock_);
    if (init_count_ == 0) {
        return RIDGEX_E_FAILURE;
    }
    if (--init_count_ > 0) {
        return RIDGEX_SUCCESS;
    }
    for (auto& session : sessions_) {
        if (session.open.exchange(false)) {
            count(operation::closed_by_exit, session.reader);
            session.cancel_requested = true;
            session.wake.load()->Set();
        }
    }
    config_.store(nullptr, std::memory_order_release);
    return RIDGEX_SUCCESS;
}

bool backend_state::current_config(backend_config& config, std::string& error) {
    std::lock_guard guard(lock_);
    if (const backend_config* running = config_.load(std::memory_order_acquire)) {
        config = *running;
        return true;
    }
    return load_reported(config, error);
}

bool backend_state::load_reported(backend_config& config, std::string& error) {
    if (load_config(slot(), config, error)) {
        return true;
    }
    // The version is asked before any init, so whichever reads first says
    // why; the same reason is not said again.
    if (error != reported_error_) {
        std::fprintf(stderr, "ridgex simulated backend %s: %s\n", slot().c_str(), error.c_str());
        reported_error_ = error;
    }
    return false;
}

const std::string& backend_state::config_error() {
    std::lock_guard guard(lock_);
    return config_error_;
}

const std::optional<ridgex_result>& backend_state::forced(operation op) const {
    const backend_config* running = config_.load(std::memory_order_acquire);
    return running == nullptr ? not_forced : running->forced[static_cast<uint32_t>(op)];
}

ridgex_result backend_state::query_devices(uint32_t* dev_cnt, ridgex_device_info* dev_infos) {
    std::lock_guard guard(lock_);
    const backend_config* running = config();
    if (running == nullptr) {
        return RIDGEX_E_FAILURE;
    }
    if (dev_cnt == nullptr) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    const uint32_t room = *dev_cnt;
    // The caller sets the record size in the first entry only.
    if (room != 0 && (dev_infos == nullptr || dev_infos[0].size < sizeof(ridgex_device_info))) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    const auto total = static_cast<uint32_t>(running->readers.size());
    for (uint32_t i = 0; i < total && i < room; ++i) {
        fill_device_info(running->readers[i], dev_infos[i]);
    }
    *dev_cnt = total;
    return total > room ? RIDGEX_E_MORE_DATA : RIDGEX_SUCCESS;
}

ridgex_result backend_state::open(const char* dev_name, uint32_t prio, ridgex_handle* pdev) {
    if (pdev == nullptr || (prio != RIDGEX_PRIORITY_SHARED && prio != RIDGEX_PRIORITY_EXCLUSIVE)) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    std::lock_guard guard(lock_);
    const backend_config* running = config();
    if (running == nullptr) {
        return RIDGEX_E_FAILURE;
    }
    if (dev_name == nullptr && !running->open_first_without_name) {
        return RIDGEX_E_INVALID_PARAMETER;
    }
    const auto can_open = [&](size_t index) {
        const bool wants_exclusive =
            running->readers[index].exclusive && prio == RIDGEX_PRIORITY_EXCLUSIVE;
        return !readers_[index].exclusive_open && !(wants_exclusive && readers_[index].opens > 0);
    };
    int index = -1;
    bool busy = false;
    for (size_t i = 0; i < running->readers.size() && index < 0; ++i) {
        if (dev_name == nullptr || same_name(running->readers[i], dev_name)) {
            if (can_open(i)) {
                index = static_cast<int>(i);
            } else {
                busy = true;
            }
        }
    }
    if (index < 0) {
        if (busy) {
            return RIDGEX_E_DEVICE_BUSY;
        }
        // Without a name and with no reader to choose, the next backend may
        // have one: that is what RIDGEX_E_INVALID_PARAMETER tells the caller.
        return dev_name == nullptr ? RIDGEX_E_INVALID_PARAMETER : RIDGEX_E_INVALID_DEVICE;
    }
    session_t* session = take_session();
    if (session == nullptr) {
        return RIDGEX_E_NO_MEMORY;
    }
    if (session->wake.load() == nullptr) {
        auto* wake = new signal_t;
        if (wake->IsNull()) {
            delete wake;
            return RIDGEX_E_FAILURE;
        }
        session->wake = wake;
    }
    session->wake.load()->Reset();
    session->reader = index;
    session->prio = prio;
    session->cancel_requested = false;
    {
        std::lock_guard parameters_guard(session->parameters_lock);
        session->parameters.clear();
    }
    reader_state_t& reader = readers_[index];
    ++reader.opens;
    reader.exclusive_open =
        running->readers[static_cast<size_t>(index)].exclusive && prio == RIDGEX_PRIORITY_EXCLUSIVE;
    session->open.store(true, std::memory_order_release);
    *pdev = session;
    return RIDGEX_SUCCESS;
}

ridgex_result backend_state::close(ridgex_handle dev) {
    std::lock_guard guard(lock_);
    session_t* session = find(dev);
    // Checked again under the lock: two closes of one handle race here.
    if (session == nullptr || !session->open.exchange(false)) {
        return RIDGEX_E_INVALID_DEVICE;
    }
    reader_state_t& reader = readers_[session->reader];
    --reader.opens;
    if (reader.opens == 0) {
        reader.exclusive_open = false;
    }
    session_t* self = session;
    reader.streaming.compare_exchange_strong(self, nullptr);
    // A capture still running on the handle ends as cancelled.
    session->cancel_requested = true;
    session->wake.load()->Set();
    count(operation::close, session->reader);
    return RIDGEX_SUCCESS;
}

session_t* backend_state::find(ridgex_handle dev) {
    const auto address = reinterpret_cast<uintptr_t>(dev);
    const auto first = reinterpret_cast<uintptr_t>(&sessions_[0]);
    if (address < first || address >= first + sizeof sessions_ ||
        (address - first) % sizeof(session_t) != 0) {
        return nullptr;
    }
    session_t* session = &sessions_[(address - first) / sizeof(session_t)];
    return session->open.load(std::memory_order_acquire) ? session : nullptr;
}

session_t* backend_state::take_session() {
    // Round robin, so that a stale handle is not soon the handle of a new open.
    for (uint32_t i = 0; i < max_sessions; ++i) {
        session_t& session = sessions_[(next_session_ + i) % max_sessions];
        if (!session.open && !session.in_capture) {
            next_session_ = (next_session_ + i + 1) % max_sessions;
            return &session;
        }
    }
    return nullptr;
}

void backend_state::wake_reader(int index) {
    if (session_t* session = readers_[index].capturing.load()) {
        session->wake.load()->Set();
    }
}

void backend_state::capture_started() {
    { std::lock_guard guard(lock_); }
    capture_started_.notify_all();
}

bool backend_state::wait_capturing(int index, uint32_t timeout_ms) {
    std::unique_lock guard(lock_);
    return capture_started_.wait_for(guard, std::chrono::milliseconds(timeout_ms),
                                     [&] { return readers_[index].capturing.load() != nullptr; });
}

uint32_t backend_state::open_sessions() {
    uint32_t open = 0;
    for (const auto& session : sessions_) {
        open += session.open ? 1 : 0;
    }
    return open;
}

int backend_state::reader_count() {
    std::lock_guard guard(lock_);
    const backend_config* running = config();
    return running == nullptr ? 0 : static_cast<int>(running->readers.size());
}

}  // namespace sim
