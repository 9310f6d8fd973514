#include "liveness/spoof_detector.h"

SpoofDetector& SpoofDetector::Instance() {
    static SpoofDetector detector;
    return detector;
}

// The table of known readers arrives with the scorer.
void SpoofDetector::updateDevicesInfo(const ridgex_device_info&) {}
