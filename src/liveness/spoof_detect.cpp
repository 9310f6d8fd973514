#include <cstdint>

#include "aggregator/lib_aggregator.h"
#include "liveness/nex_sdk.h"
#include "liveness/spoof_detector.h"
#include "platform/memory.h"

bool SpoofDetector::IsListed(ridgex_handle dev) {
    return CLibAggregator::LivenessList().Contains(dev);
}

void SpoofDetector::ReleaseIfWanted() {
    // A holder that unlocks comes back here, so a wish made while it held
    // the lock is not lost.
    while (release_wanted_.load() && score_lock_.try_lock()) {
        if (release_wanted_.exchange(false) && CLibAggregator::LivenessList().Empty()) {
            DestroyLocked();
        }
        score_lock_.unlock();
    }
}

ridgex_result SpoofDetector::FetchPadImage(AGGREGATOR_DEVICE_CONTEXT& context, uint8_t** block,
                                           uint32_t* block_size) {
    // The two outputs beside the image mean nothing to the check; they are
    // only passed on.
    ridgex_image_info info{sizeof(ridgex_image_info), 0, 0, 0, 0};
    uint32_t pad_out1 = 0;
    uint32_t pad_out2 = 0;
    uint32_t size = 0;
    ridgex_result status = context.pBackend->GetPadImage(
        context.handle, RIDGEX_IMG_PROC_PAD2, &pad_out1, &pad_out2, &info, &size, nullptr);
    // A backend that delivers without room for an image has nothing to score,
    // so its 0 lets the capture stand.
    if (status != RIDGEX_E_MORE_DATA) {
        return status;
    }
    auto* image = static_cast<uint8_t*>(platform::reallocate(nullptr, size));
    if (image == nullptr) {
        return RIDGEX_E_NO_MEMORY;
    }
    status = context.pBackend->GetPadImage(context.handle, RIDGEX_IMG_PROC_PAD2, &pad_out1,
                                           &pad_out2, &info, &size, image);
    if (status != RIDGEX_SUCCESS) {
        platform::release(image);
        return status;
    }
    *block = image;
    *block_size = size;
    return RIDGEX_SUCCESS;
}

ridgex_result SpoofDetector::Score(SlvTraceNS::CTraceScope& scope, const uint8_t* image,
                                   uint32_t image_size, ridgex_capture_result* result) {
    if (!isInitialized()) {
        scope.Message("error: not initialized");
        return RIDGEX_E_SCORING;
    }
    // The scorer reads the pad image in the shape of the capture's image,
    // and never beyond the block: that memory is not ours.
    const uint32_t width = result->info.width;
    const uint32_t height = result->info.height;
    if (width == 0 || height == 0 || width > INT32_MAX || height > INT32_MAX ||
        static_cast<uint64_t>(width) * height > image_size) {
        scope.Message("error: invalid raw image");
        return RIDGEX_E_SCORING;
    }
    nex_sdk::load_image_bytes(image, static_cast<int>(height), static_cast<int>(width));
    if (const int error = nex_sdk::error_query(); error != 0) {
        scope.Message("nex_sdk_load_image_bytes() failed, error: %d", error);
        return RIDGEX_E_SCORING;
    }
    const int32_t score = nex_sdk::get_score(1);
    mlp_score.store(score, std::memory_order_relaxed);
    if (score < 0) {
        scope.Message("nex_sdk_get_score() failed, mlp score: %d", score);
        return RIDGEX_E_SCORING;
    }
    scope.Message("mlp_score: %d", score);
    // A score equal to the threshold passes.
    if (score < threshold.load(std::memory_order_relaxed)) {
        result->quality = RIDGEX_QUALITY_REJECTED;
        result->score = 0;
        result->success = 0;
    }
    return RIDGEX_SUCCESS;
}

ridgex_result SpoofDetector::detect(ridgex_handle dev, AGGREGATOR_DEVICE_CONTEXT& context,
                                    ridgex_capture_result* result) {
    if (!IsListed(dev)) {
        return RIDGEX_SUCCESS;
    }
    uint8_t* block = nullptr;
    uint32_t block_size = 0;
    const ridgex_result fetched = FetchPadImage(context, &block, &block_size);
    if (block == nullptr) {
        return fetched;
    }
    SlvTraceNS::CTraceScope scope("SpoofDetector::detect", 0);
    ridgex_result status;
    {
        // The image and its score are one state of the scorer: another
        // capture in between would swap the verdicts.
        std::lock_guard guard(score_lock_);
        status = Score(scope, block, block_size, result);
    }
    ReleaseIfWanted();
    platform::release(block);
    return status;
}
