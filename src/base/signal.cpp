#include "base/signal.h"

int32_t wait_signal(int32_t count, signal_t** signals, uint32_t timeout) {
    if (signals == nullptr || count <= 0 || count > platform::max_wait_events) {
        return -1;
    }
    int events[platform::max_wait_events];
    for (int32_t i = 0; i < count; ++i) {
        if (signals[i] == nullptr || signals[i]->IsNull()) {
            return -1;
        }
        events[i] = signals[i]->event;
    }
    return platform::wait_any(events, count, timeout);
}
