// The simulated reader library through its operations: what it lists, the
// bytes of its records, and the reports of an acquisition.
#include "tavlo_sim.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "platform/guid.h"
#include "platform/utf16.h"
#include "shim/tavlo_api.h"
#include "support/temp_folder.h"

namespace {

constexpr int32_t kNotFound = static_cast<int32_t>(0x80070490u);

uint32_t U32(const void* bytes, size_t offset) {
    uint32_t value;
    std::memcpy(&value, static_cast<const uint8_t*>(bytes) + offset, 4);
    return value;
}

// Everything that reached one acquisition's callback, in order.
struct Recorder {
    std::mutex mutex;
    std::vector<std::vector<uint32_t>> reports;  // group, type, then id and value of each param
    std::vector<uint8_t> image;

    static uint32_t Callback(void* context, const void* header, uint32_t count,
                             const void* params) {
        auto* self = static_cast<Recorder*>(context);
        std::lock_guard lock(self->mutex);
        std::vector<uint32_t> report{U32(header, 0x18), U32(header, 0x1C)};
        for (uint32_t i = 0; i < count; ++i) {
            const auto* element = static_cast<const uint8_t*>(params) + 32 * i;
            report.push_back(U32(element, 0x00));
            report.push_back(U32(element, 0x10));
            const uint8_t* block;
            std::memcpy(&block, element + 0x18, sizeof block);
            if (block != nullptr) {
                self->image.assign(block, block + U32(element, 0x10));
            }
        }
        self->reports.push_back(report);
        return 0;
    }
};

class TavloSim : public testing::Test {
  protected:
    void SetUp() override {
        ridgex_test::WriteFile(folder_ / "tavlo.conf",
                               "[reader]\nid = {00112233-4455-6677-8899-AABBCCDDEEFF}\n"
                               "vendor = Kestrix \xC3\x9C\nclass = 2\ntype = 3\n"
                               "version_words = 1 2 3 4 5 6\nwidth = 0\nheight = 300\n"
                               "resolution = 1000\ncap_word_6 = 6\ncap_word_3 = 3\n"
                               "cap_word_8 = 8\nvid = 0x05BA\npid = 0x000C\nrevision = 0x0103\n"
                               "[reader]\nquality = 11\n[reader]\nheld_exclusively = yes\n");
        setenv("RIDGEX_TAVLO_SIM_CONFIG", (folder_ / "tavlo.conf").c_str(), 1);
        ASSERT_NE(module_, nullptr) << dlerror();
        ASSERT_EQ(Op<decltype(&tavlo::Init)>("TavloInit")(), 0);
    }
    void TearDown() override {
        if (module_ == nullptr) {
            return;
        }
        Op<decltype(&tavlo::Term)>("TavloTerm")();
        unsetenv("RIDGEX_TAVLO_SIM_CONFIG");
        dlclose(module_);
    }
    template <typename F>
    F Op(const char* name) {
        return reinterpret_cast<F>(dlsym(module_, name));
    }
    std::vector<std::array<uint8_t, 16>> Ids() {
        uint32_t count = 0;
        void* list = nullptr;
        EXPECT_EQ(Op<decltype(&tavlo::EnumerateDevices)>("TavloEnumerateDevices")(&count, &list),
                  0);
        std::vector<std::array<uint8_t, 16>> ids(count);
        std::memcpy(ids.data(), list, 16 * count);
        Op<decltype(&tavlo::BufferFree)>("TavloBufferFree")(list);
        return ids;
    }
    int32_t Create(uint32_t priority, const std::array<uint8_t, 16>& id, Recorder& to,
                   uint32_t* handle) {
        return Op<decltype(&tavlo::CreateAcquisitionWithCallback)>(
            "TavloCreateAcquisitionWithCallback")(priority, id.data(), 4, Recorder::Callback, &to,
                                                  handle);
    }

    ridgex_test::TempFolder folder_;
    void* module_ = dlopen(RIDGEX_TAVLO_LIBRARY, RTLD_NOW | RTLD_LOCAL);
};

TEST_F(TavloSim, ListsConfiguredReadersWithTheirRecordBytes) {
    const auto ids = Ids();
    ASSERT_EQ(ids.size(), 3u);
    std::array<uint8_t, 16> expected;
    platform::guid_from_text("{00112233-4455-6677-8899-AABBCCDDEEFF}", expected.data());
    EXPECT_EQ(ids[0], expected);
    EXPECT_NE(ids[1], ids[2]);

    std::vector<uint8_t> info(832);
    ASSERT_EQ(Op<decltype(&tavlo::GetDeviceInfo)>("TavloGetDeviceInfo")(ids[0].data(), info.data()),
              0);
    EXPECT_EQ(std::memcmp(info.data(), expected.data(), 16), 0);
    EXPECT_EQ(U32(info.data(), 0x14), 2u);
    EXPECT_EQ(U32(info.data(), 0x18), 3u);
    EXPECT_EQ(platform::utf16le_from_bytes(&info[0x20], 20).c_str(),
              std::u16string(u"Kestrix \u00DC"));
    EXPECT_EQ(U32(info.data(), 0x320), 1u);
    EXPECT_EQ(U32(info.data(), 0x334), 6u);

    struct {
        uint32_t selector, offset, value;
    } fields[] = {{1, 0x00, 6},          {1, 0x10, 3},      {2, 0x04, 8},   {4, 0x00, 0x000C05BA},
                  {4, 0x02, 0x0103000C}, {102, 0x04, 1000}, {102, 0x10, 0}, {102, 0x14, 300}};
    const auto info_ex = Op<decltype(&tavlo::GetDeviceInfoEx)>("TavloGetDeviceInfoEx");
    const uint32_t zero = 0;
    for (const auto& field : fields) {
        void* block = nullptr;
        ASSERT_EQ(info_ex(ids[0].data(), &zero, 3, field.selector, &block), 0) << field.selector;
        EXPECT_EQ(U32(block, field.offset), field.value) << field.selector << "@" << field.offset;
        Op<decltype(&tavlo::BufferFree)>("TavloBufferFree")(block);
    }
    std::array<uint8_t, 16> unknown{};
    EXPECT_EQ(
        Op<decltype(&tavlo::GetDeviceInfo)>("TavloGetDeviceInfo")(unknown.data(), info.data()),
        kNotFound);
}

TEST_F(TavloSim, AFingerReportsInOrderAndTheStopReportFollows) {
    const auto ids = Ids();
    Recorder plain, refused;
    uint32_t first = 0, second = 0;
    ASSERT_EQ(Create(2, ids[0], plain, &first), 0);
    ASSERT_EQ(Create(4, ids[1], refused, &second), 0);
    const auto start = Op<decltype(&tavlo::StartAcquisition)>("TavloStartAcquisition");
    ASSERT_EQ(start(first), 0);
    ASSERT_EQ(start(second), 0);
    ASSERT_EQ(Op<tavlo_sim_place_finger_fn>("tavlo_sim_place_finger")(0), 0);
    ASSERT_EQ(Op<tavlo_sim_place_finger_fn>("tavlo_sim_place_finger")(1), 0);
    // A stop ends delivery: reports not yet delivered would be dropped.
    Op<tavlo_sim_flush_fn>("tavlo_sim_flush")();
    ASSERT_EQ(Op<decltype(&tavlo::StopAcquisition)>("TavloStopAcquisition")(first), 0);
    Op<tavlo_sim_flush_fn>("tavlo_sim_flush")();

    using R = std::vector<uint32_t>;
    const uint32_t size = static_cast<uint32_t>(plain.image.size());
    EXPECT_EQ(plain.reports, (std::vector<R>{{2, 4}, {3, 1, 4, 0, 2, size}, {2, 7}, {4, 501}}));
    EXPECT_EQ(refused.reports, (std::vector<R>{{2, 4}, {2, 14, 5, 11}, {2, 7}}));
    // Width 0 reported: the image takes 256 pixels, and the configured height and resolution.
    ASSERT_EQ(size, 0x50u + 256 * 300);
    EXPECT_EQ(U32(plain.image.data(), 0x00), size);
    EXPECT_EQ(U32(plain.image.data(), 0x28), 0x50u);
    EXPECT_EQ(U32(plain.image.data(), 0x40), 256u);
    EXPECT_EQ(U32(plain.image.data(), 0x44), 300u);
    EXPECT_EQ(U32(plain.image.data(), 0x48), 1000u);

    EXPECT_EQ(Op<decltype(&tavlo::DestroyAcquisition)>("TavloDestroyAcquisition")(first), 0);
    EXPECT_EQ(Op<tavlo_sim_place_finger_fn>("tavlo_sim_place_finger")(0),
              -1);  // nothing runs on it any more
    EXPECT_EQ(Op<tavlo_sim_live_acquisitions_fn>("tavlo_sim_live_acquisitions")(), 1u);
}

TEST_F(TavloSim, AnExclusiveAcquisitionSharesTheReaderWithNobody) {
    const auto ids = Ids();
    Recorder unused;
    uint32_t handle = 0, refused = 0;
    ASSERT_EQ(Create(4, ids[0], unused, &handle), 0);
    EXPECT_EQ(Create(2, ids[0], unused, &refused), tavlo::kAccessDenied);
    ASSERT_EQ(Create(2, ids[1], unused, &handle), 0);
    EXPECT_EQ(Create(4, ids[1], unused, &refused), tavlo::kAccessDenied);
    EXPECT_EQ(Create(2, ids[1], unused, &handle), 0);
    EXPECT_EQ(Create(2, ids[2], unused, &refused), tavlo::kAccessDenied);
    EXPECT_EQ(Op<tavlo_sim_live_acquisitions_fn>("tavlo_sim_live_acquisitions")(), 3u);
}

}  // namespace
