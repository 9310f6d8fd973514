// The simulated scorer: one global instance, like the closed one. Every call
// is counted and can be made to fail from a test. The release calls touch
// only atomics, so a ridgex_close in a signal handler may make them.
#include <atomic>
#include <cstring>
#include <string>

#include "model_file.h"
#include "nex_sim.h"
#include "pad_energy.h"

namespace {

enum operation : int {
    op_initialize,
    op_load_model,
    op_load_image_bytes,
    op_get_score,
    op_error_query,
    op_destroy_model,
    op_destroy,
    op_count,
};

constexpr const char* kOperationNames[op_count] = {
    "initialize",  "load_model",    "load_image_bytes", "get_score",
    "error_query", "destroy_model", "destroy",
};

int operation_by_name(const char* name) {
    for (int op = 0; op < op_count; ++op) {
        if (name != nullptr && std::strcmp(name, kOperationNames[op]) == 0) {
            return op;
        }
    }
    return -1;
}

struct scorer_state {
    std::atomic<bool> started{false};
    std::atomic<bool> model_loaded{false};
    std::atomic<bool> image_loaded{false};
    std::atomic<int> last_error{0};
    nex_sim::model_t model;
    char model_path[4096] = {};
    std::atomic<double> energy{0};
    std::atomic<int> height{0};
    std::atomic<int> width{0};

    // Test controls.
    std::atomic<int> calls[op_count] = {};
    std::atomic<int> failures[op_count] = {};
    std::atomic<bool> score_forced{false};
    std::atomic<int> forced_score{0};
};

scorer_state state;

// Counts the call and gives the failure a test asked for, or 0.
int enter(operation op) {
    state.calls[op].fetch_add(1);
    return state.failures[op].load();
}

// Records the outcome for error_query and returns it.
int finish(int error) {
    state.last_error.store(error);
    return error;
}

}  // namespace

extern "C" {

int nex_sdk_initialize(const char* model_path) {
    const int injected = enter(op_initialize);
    state.model_loaded = false;
    state.image_loaded = false;
    if (injected != 0) {
        state.started = false;
        return finish(injected);
    }
    if (model_path == nullptr || std::strlen(model_path) >= sizeof(state.model_path)) {
        state.started = false;
        return finish(NEX_SIM_E_MODEL_FILE);
    }
    std::strcpy(state.model_path, model_path);
    state.started = true;
    return finish(0);
}

// The simulated scorer holds one model; `which` is not looked at.
int nex_sdk_load_model(int) {
    const int injected = enter(op_load_model);
    state.model_loaded = false;
    state.image_loaded = false;
    if (injected != 0) {
        return finish(injected);
    }
    if (!state.started) {
        return finish(NEX_SIM_E_NOT_STARTED);
    }
    switch (nex_sim::read_model(state.model_path, state.model)) {
        case nex_sim::model_read::unreadable:
            return finish(NEX_SIM_E_MODEL_FILE);
        case nex_sim::model_read::malformed:
            return finish(NEX_SIM_E_MODEL_TEXT);
        case nex_sim::model_read::good:
            break;
    }
    state.model_loaded = true;
    return finish(0);
}

// The statistic is taken at once, so the caller may free the image after the
// call, and nothing of it is kept.
int nex_sdk_load_image_bytes(const uint8_t* image, int height, int width) {
    const int injected = enter(op_load_image_bytes);
    state.image_loaded = false;
    if (injected != 0) {
        return finish(injected);
    }
    if (!state.model_loaded) {
        return finish(NEX_SIM_E_NO_MODEL);
    }
    if (image == nullptr || height < 1 || width < 1) {
        return finish(NEX_SIM_E_IMAGE);
    }
    state.energy = nex_sim::pad_energy(image, height, width);
    state.height = height;
    state.width = width;
    state.image_loaded = true;
    return finish(0);
}

// The simulated scorer has one score; `which` is not looked at.
int nex_sdk_get_score(int) {
    const int injected = enter(op_get_score);
    if (injected != 0) {
        return -finish(injected);
    }
    if (!state.image_loaded) {
        return -finish(NEX_SIM_E_NO_IMAGE);
    }
    finish(0);
    return state.score_forced ? state.forced_score.load()
                              : nex_sim::score_of(state.model, state.energy);
}

int nex_sdk_error_query(void) {
    enter(op_error_query);
    return state.last_error;
}

int nex_sdk_destroy_model(void) {
    enter(op_destroy_model);
    state.model_loaded = false;
    state.image_loaded = false;
    return finish(0);
}

int nex_sdk_destroy(void) {
    enter(op_destroy);
    state.started = false;
    state.model_loaded = false;
    state.image_loaded = false;
    return finish(0);
}

void nex_sim_reset(void) {
    state.started = false;
    state.model_loaded = false;
    state.image_loaded = false;
    state.last_error = 0;
    state.model = {};
    state.model_path[0] = '\0';
    state.energy = 0;
    state.height = 0;
    state.width = 0;
    for (int op = 0; op < op_count; ++op) {
        state.calls[op] = 0;
        state.failures[op] = 0;
    }
    state.score_forced = false;
    state.forced_score = 0;
}

int nex_sim_fail(const char* operation, int error) {
    const int op = operation_by_name(operation);
    if (op != op_initialize && op != op_load_model && op != op_load_image_bytes &&
        op != op_get_score) {
        return -1;
    }
    state.failures[op] = error;
    return 0;
}

void nex_sim_set_score(int score) {
    state.forced_score = score;
    state.score_forced = true;
}

int nex_sim_calls(const char* operation) {
    const int op = operation_by_name(operation);
    return op < 0 ? -1 : state.calls[op].load();
}

const char* nex_sim_model_path(void) {
    return state.model_path;
}

void nex_sim_image_shape(int* height, int* width) {
    *height = state.height;
    *width = state.width;
}

}  // extern "C"
