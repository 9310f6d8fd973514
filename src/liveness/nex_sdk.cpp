#include "liveness/nex_sdk.h"

#include <atomic>
#include <mutex>

#include "platform/dynamic_library.h"

namespace nex_sdk {
namespace {

// Answered by error_query while the scorer cannot be bound.
constexpr int kNotBound = -1;

struct entry_points {
    int (*initialize)(const char*);
    int (*load_model)(int);
    int (*load_image_bytes)(const uint8_t*, int, int);
    int (*get_score)(int);
    int (*error_query)();
    int (*destroy_model)();
    int (*destroy)();
};

// Published once, complete, and kept with its library for the life of the
// process: a release call may read it from a signal handler at any moment, so
// neither is ever freed.
std::atomic<const entry_points*> bound{nullptr};

template <typename F>
bool resolve(void* library, const char* name, F& function) {
    function = reinterpret_cast<F>(platform::find_symbol(library, name));
    return function != nullptr;
}

// The scorer, bound now if it was not. A library that lacks any of the seven
// operations counts as missing. Tried again at the next call after a
// failure, so a scorer installed later is still found. The table lives in
// static storage, so that binding never runs out of memory; a thread that
// comes while another binds waits for it.
const entry_points* bind() {
    if (const entry_points* known = bound.load(std::memory_order_acquire)) {
        return known;
    }
    static constinit std::mutex binding;
    static constinit entry_points table{};
    std::lock_guard guard(binding);
    if (const entry_points* known = bound.load(std::memory_order_acquire)) {
        return known;
    }
    void* library = platform::load_library("nex_sdk.dll");
    if (library == nullptr) {
        return nullptr;
    }
    entry_points found{};
    if (!resolve(library, "nex_sdk_initialize", found.initialize) ||
        !resolve(library, "nex_sdk_load_model", found.load_model) ||
        !resolve(library, "nex_sdk_load_image_bytes", found.load_image_bytes) ||
        !resolve(library, "nex_sdk_get_score", found.get_score) ||
        !resolve(library, "nex_sdk_error_query", found.error_query) ||
        !resolve(library, "nex_sdk_destroy_model", found.destroy_model) ||
        !resolve(library, "nex_sdk_destroy", found.destroy)) {
        platform::free_library(library);
        return nullptr;
    }
    table = found;
    bound.store(&table, std::memory_order_release);
    return &table;
}

}  // namespace

int initialize(const char* model_path) {
    const entry_points* scorer = bind();
    return scorer != nullptr ? scorer->initialize(model_path) : kNotBound;
}

int load_model(int which) {
    const entry_points* scorer = bind();
    return scorer != nullptr ? scorer->load_model(which) : kNotBound;
}

int load_image_bytes(const uint8_t* image, int height, int width) {
    const entry_points* scorer = bind();
    return scorer != nullptr ? scorer->load_image_bytes(image, height, width) : kNotBound;
}

int get_score(int which) {
    const entry_points* scorer = bind();
    return scorer != nullptr ? scorer->get_score(which) : kNotBound;
}

int error_query() {
    const entry_points* scorer = bind();
    return scorer != nullptr ? scorer->error_query() : kNotBound;
}

int destroy_model() {
    const entry_points* scorer = bound.load(std::memory_order_acquire);
    return scorer != nullptr ? scorer->destroy_model() : 0;
}

int destroy() {
    const entry_points* scorer = bound.load(std::memory_order_acquire);
    return scorer != nullptr ? scorer->destroy() : 0;
}

}  // namespace nex_sdk
