#include "liveness/far_table.h"
#include "liveness/spoof_detector.h"

void SpoofDetector::setFar(uint8_t rate) {
    SlvTraceNS::CTraceScope scope("SpoofDetector::setFar", 0);
    const int32_t chosen = threshold_for_rate(rate);
    threshold.store(chosen, std::memory_order_relaxed);
    scope.Message("requested FAR: %d; threshold: %d", rate, chosen);
}

uint8_t SpoofDetector::getFar() {
    SlvTraceNS::CTraceScope scope("SpoofDetector::getFar", 0);
    const int32_t current = threshold.load(std::memory_order_relaxed);
    const far_row_t& row = row_of_threshold(current);
    scope.Message("current threshold: %d; current FAR: %f", current, row.far);
    // Cut toward zero; the client receives one byte.
    return static_cast<uint8_t>(static_cast<int32_t>(row.far));
}
