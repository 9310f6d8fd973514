#include "worker.h"

#include <system_error>

namespace fprint {

bool worker_t::Start() {
    context_ = g_main_context_new();
    loop_ = g_main_loop_new(context_, FALSE);
    try {
        thread_ = std::thread([this] {
            g_main_context_push_thread_default(context_);
            g_main_loop_run(loop_);
            // What a last callback posted still runs and frees what it holds.
            while (g_main_context_iteration(context_, FALSE)) {
            }
            g_main_context_pop_thread_default(context_);
        });
    } catch (const std::system_error&) {
        g_main_loop_unref(loop_);
        g_main_context_unref(context_);
        loop_ = nullptr;
        context_ = nullptr;
        return false;
    }
    return true;
}

void worker_t::Stop() {
    if (!thread_.joinable()) {
        return;
    }
    Post([this] { g_main_loop_quit(loop_); });
    thread_.join();
    g_main_loop_unref(loop_);
    g_main_context_unref(context_);
    loop_ = nullptr;
    context_ = nullptr;
}

void worker_t::Post(std::function<void()> work) {
    g_main_context_invoke_full(
        context_, G_PRIORITY_DEFAULT,
        [](gpointer data) -> gboolean {
            (*static_cast<std::function<void()>*>(data))();
            return G_SOURCE_REMOVE;
        },
        new std::function<void()>(std::move(work)),
        [](gpointer data) { delete static_cast<std::function<void()>*>(data); });
}

}  // namespace fprint
