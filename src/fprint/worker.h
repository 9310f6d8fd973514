// The one thread on which the backend touches libfprint. libfprint's objects
// are not thread-safe and its blocking calls iterate GLib's global default
// context, which a client's own main loop may hold; so every libfprint call
// runs here, with the asynchronous API, on a GMainContext of our own that is
// this thread's default.
#pragma once

#include <glib.h>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

namespace fprint {

class worker_t {
  public:
    worker_t() = default;
    ~worker_t() { Stop(); }
    worker_t(const worker_t&) = delete;
    worker_t& operator=(const worker_t&) = delete;

    // Starts the thread with a context of its own; false if it cannot.
    bool Start();
    // Ends the loop after the work already posted and joins the thread.
    void Stop();
    // Runs `work` on the thread soon; callable from any thread but a signal
    // handler.
    void Post(std::function<void()> work);
    GMainContext* context() const { return context_; }

  private:
    GMainContext* context_ = nullptr;
    GMainLoop* loop_ = nullptr;
    std::thread thread_;
};

// A value that the worker hands to one waiting client thread.
template <typename T>
class pending_t {
  public:
    void Set(T value) {
        std::lock_guard guard(lock_);
        value_ = std::move(value);
        ready_.notify_all();
    }
    T Wait() {
        std::unique_lock guard(lock_);
        ready_.wait(guard, [this] { return value_.has_value(); });
        return std::move(*value_);
    }

  private:
    std::mutex lock_;
    std::condition_variable ready_;
    std::optional<T> value_;
};

// Runs `work` on the worker and waits for its result. `work` gets the
// pending_t to fill, which it may also hand to a libfprint callback.
template <typename T, typename Work>
T RunOn(worker_t& worker, Work work) {
    pending_t<T> result;
    worker.Post([&] { work(result); });
    return result.Wait();
}

}  // namespace fprint
