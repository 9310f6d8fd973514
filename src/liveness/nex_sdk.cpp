#include "liveness/nex_sdk.h"

#include <atomic>
#include <new>

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
// failure, so a scorer installed later is still found.
const entry_points* bind() {
    if (const entry_points* known = bound.load(std::memory_order_acquire)) {
        return known;
    }
    void* library = platform::load_library("nex_sdk.dll");
    if (library == nullptr) {
        return nullptr;
    }
    auto* table = new (std::nothrow) entry_points{};
    if (table == nullptr || !resolve(library, "nex_sdk_initialize", table->initialize) ||
        !resolve(library, "nex_sdk_load_model", table->load_model) ||
        !resolve(library, "nex_sdk_load_image_bytes", table->load_image_bytes) ||
        !resolve(library, "nex_sdk_get_score", table->get_score) ||
        !resolve(library, "nex_sdk_error_query", table->error_query) ||
        !resolve(library, "nex_sdk_destroy_model", table->destroy_model) ||
        !resolve(library, "nex_sdk_destroy", table->destroy)) {
        delete table;
        platform::free_library(library);
        return nullptr;
    }
    const entry_points* expected = nullptr;
    if (!bound.compare_exchange_strong(expected, table, std::memory_order_acq_rel)) {
        // Another thread bound it first; its table stands.
        delete table;
        platform::free_library(library);
        return expected;
    }
    return table;
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
