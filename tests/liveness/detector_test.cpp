// The detector: which readers have a model and which file each takes, what a
// scorer that will not start leaves behind, the verdict against the threshold
// of the false accept rate, and every way the scoring can fail.
#include "liveness_fixture.h"
#include "support/syscall_override.h"

namespace {

using detector_test = liveness_test;

std::string model(const char* file) {
    return std::string(RIDGEX_LIB_DIR) + "/" + file;
}

TEST_F(detector_test, EachKnownReaderTakesItsModelAndOnlyProduct8214IsAsked) {
    const struct {
        uint16_t vid, pid;
        uint32_t code;
        const char* file;
        int asked;
    } readers[] = {
        {0x05BA, 0x000E, 0, "nex_53ov_23.dat", 0},
        {0x147E, 0x000E, 0, "nex_53ov_23.dat", 0},
        {0x147E, 0x2016, 0x66000026, "model_2.3_tcss.dat", 1},
        {0x05BA, 0x2016, 0x66080026, "model_2.3_tcsc.dat", 1},
    };
    for (const auto& reader : readers) {
        SCOPED_TRACE(reader.file);
        backend.sensor_code = reader.code;
        backend.parameter_calls = 0;
        enumerate(name(std::to_string(&reader - readers)), reader.vid, reader.pid);
        EXPECT_EQ(detector().init(context), RIDGEX_SUCCESS);
        EXPECT_TRUE(detector().isInitialized());
        EXPECT_EQ(model_path(), model(reader.file));
        EXPECT_EQ(backend.parameter_calls, reader.asked);
        detector().destroy();
    }
    EXPECT_EQ(backend.last_handle, kBackendHandle);
    EXPECT_THAT(backend.last_asked, ::testing::ElementsAre(RIDGEX_PARMID_SENSOR_INFO, 48u, 0u));
}

TEST_F(detector_test, ReadersWithoutAModelAreRefusedBeforeTheScorerStarts) {
    const struct {
        const char* what;
        uint16_t vid, pid;
        uint32_t code;
        ridgex_result parameter_status;
        const char* current;  // the name the reader was opened by, if not its own
    } refused[] = {
        {"unknown vendor", 0x1234, 0x000E, 0x66000026, RIDGEX_SUCCESS, nullptr},
        {"vendor zero", 0, 0x000E, 0x66000026, RIDGEX_SUCCESS, nullptr},
        {"unknown product", 0x05BA, 0x2017, 0x66000026, RIDGEX_SUCCESS, nullptr},
        {"unknown sensor code", 0x05BA, 0x2016, 0x66000027, RIDGEX_SUCCESS, nullptr},
        {"sensor info not served", 0x05BA, 0x2016, 0x66000026, RIDGEX_E_NOT_IMPLEMENTED, nullptr},
        {"no name", 0x05BA, 0x000E, 0, RIDGEX_SUCCESS, ""},
        {"never enumerated", 0x05BA, 0x000E, 0, RIDGEX_SUCCESS, "$02$reader"},
    };
    for (const auto& reader : refused) {
        SCOPED_TRACE(reader.what);
        backend.sensor_code = reader.code;
        backend.parameter_status = reader.parameter_status;
        enumerate(name("reader"), reader.vid, reader.pid);
        if (reader.current != nullptr) {
            detector().setCurrentName(reader.current);
        }
        EXPECT_EQ(detector().init(context), RIDGEX_E_NOT_IMPLEMENTED);
        EXPECT_FALSE(detector().isInitialized());
    }
    detector().setCurrentName(nullptr);
    EXPECT_EQ(detector().init(context), RIDGEX_E_NOT_IMPLEMENTED);
    EXPECT_EQ(calls("initialize"), 0);
}

// A name enumerated without identifiers keeps those it had; a new name in a
// full table takes the row seen longest ago.
TEST_F(detector_test, DeviceTableKeepsKnownIdentifiersAndDropsTheOldestRow) {
    enumerate(name("reader"), 0x05BA, 0x000E);
    enumerate(name("reader"), 0, 0x2016);  // vendor unknown this time
    EXPECT_EQ(detector().init(context), RIDGEX_SUCCESS);
    EXPECT_EQ(model_path(), model("nex_53ov_23.dat"));
    detector().destroy();
    enumerate(name("reader"), 0x147E, 0x2016);  // both known: the row takes them
    backend.sensor_code = 0x66080026;
    EXPECT_EQ(detector().init(context), RIDGEX_SUCCESS);
    EXPECT_EQ(model_path(), model("model_2.3_tcsc.dat"));
    detector().destroy();
    for (int i = 0; i < SpoofDetector::kDeviceRows; ++i) {
        enumerate(name(std::to_string(i)), 0x05BA, 0x000E);  // "reader" is the oldest
    }
    enumerate(name("0"), 0x05BA, 0x000E);  // seen again: the most recent now
    enumerate(name("new"), 0x05BA, 0x000E);
    for (const char* kept : {"new", "0", "2", "9", "1"}) {
        detector().setCurrentName(name(kept).c_str());
        EXPECT_EQ(detector().init(context),
                  kept[0] == '1' ? RIDGEX_E_NOT_IMPLEMENTED : RIDGEX_SUCCESS)
            << kept;
        detector().destroy();
    }
}

TEST_F(detector_test, ScorerOrModelThatFailsStopsTheScorerAndAllowsAnotherTry) {
    enumerate(name("reader"), 0x05BA, 0x000E);
    for (const auto& [operation, status] :
         {std::pair{"initialize", RIDGEX_E_SCORER_INIT}, {"load_model", RIDGEX_E_MODEL}}) {
        SCOPED_TRACE(operation);
        Scorer<nex_sim_reset_fn>("nex_sim_reset")();
        fail(operation, 7);
        EXPECT_EQ(detector().init(context), status);
        EXPECT_FALSE(detector().isInitialized());
        EXPECT_EQ(calls("initialize"), 1);
        EXPECT_EQ(calls("load_model"), status == RIDGEX_E_MODEL ? 1 : 0);
        EXPECT_EQ(calls("destroy"), 1);
        EXPECT_EQ(calls("destroy_model"), 0);
        fail(operation, 0);
        EXPECT_EQ(detector().init(context), RIDGEX_SUCCESS);
        detector().destroy();
        detector().destroy();  // nothing started: both calls all the same
        EXPECT_FALSE(detector().isInitialized());
        EXPECT_EQ(calls("destroy"), 3);
        EXPECT_EQ(calls("destroy_model"), 2);
    }
}

// A rate picks the threshold of the nearest row and reads back as that
// row's rate; a score equal to the threshold passes, one below rejects.
TEST_F(detector_test, RatesGiveTheThresholdOfTheNearestRow) {
    ridgex_capture_result result = good_capture(kWidth, kHeight);
    EXPECT_EQ(detector().detect(kClient, context, &result), RIDGEX_SUCCESS);  // empty list
    enumerate(name("reader"), 0x05BA, 0x000E);
    ASSERT_EQ(detector().init(context), RIDGEX_SUCCESS);
    list(kClient);
    EXPECT_EQ(detector().detect(reinterpret_cast<ridgex_handle>(4), context, &result),
              RIDGEX_SUCCESS);
    EXPECT_EQ(backend.pad_calls, 0) << "a reader not in the list is never asked for a pad";
    EXPECT_EQ(result.score, 77u);
    const struct {
        uint8_t rate;
        int threshold;
        uint8_t read_back;
    } rates[] = {{0, 933, 0},  {1, 933, 0}, {2, 813, 2}, {10, 42, 9},
                 {19, 21, 18}, {48, 5, 47}, {49, 4, 49}, {255, 4, 49}};
    for (const auto& rate : rates) {
        SCOPED_TRACE(static_cast<int>(rate.rate));
        detector().setFar(rate.rate);
        EXPECT_EQ(detector().getFar(), rate.read_back);
        Scorer<nex_sim_set_score_fn>("nex_sim_set_score")(rate.threshold);
        EXPECT_TRUE(passes());
        Scorer<nex_sim_set_score_fn>("nex_sim_set_score")(rate.threshold - 1);
        EXPECT_FALSE(passes());
    }
    EXPECT_EQ(backend.last_handle, kBackendHandle);
    EXPECT_EQ(backend.last_asked[2], RIDGEX_IMG_PROC_PAD2);
    // The image is scored in the shape of the capture, height first.
    set_pad(sim::pad_surface::skin, 300, 400);
    result = good_capture(200, 500);  // same bytes, other shape
    EXPECT_EQ(detector().detect(kClient, context, &result), RIDGEX_SUCCESS);
    int shape[2] = {};
    Scorer<nex_sim_image_shape_fn>("nex_sim_image_shape")(&shape[0], &shape[1]);
    EXPECT_THAT(shape, ::testing::ElementsAre(500, 200));
}

// A failed scoring leaves the capture as it was; the backend's answers to
// the pad request become the capture's status.
TEST_F(detector_test, FailuresLeaveTheCaptureAsItWas) {
    auto detect = [&](ridgex_result expected, int pad_calls, uint32_t width = kWidth,
                      uint32_t height = kHeight) {
        backend.pad_calls = 0;
        ridgex_capture_result result = good_capture(width, height);
        EXPECT_EQ(detector().detect(kClient, context, &result), expected);
        EXPECT_EQ(backend.pad_calls, pad_calls);
        EXPECT_EQ(result.success, 1u);
        EXPECT_EQ(result.quality, RIDGEX_QUALITY_GOOD);
        EXPECT_EQ(result.score, 77u);
    };
    list(kClient);
    detect(RIDGEX_E_SCORING, 2);  // listed, never switched on: the pad is fetched first
    enumerate(name("reader"), 0x05BA, 0x000E);
    ASSERT_EQ(detector().init(context), RIDGEX_SUCCESS);
    // Shapes that do not fit the pad.
    detect(RIDGEX_E_SCORING, 2, 0, kHeight);
    detect(RIDGEX_E_SCORING, 2, kWidth, 0);
    detect(RIDGEX_E_SCORING, 2, kWidth, kHeight + 1);
    const struct {
        ridgex_result first, second, expected;
        int calls;
    } answers[] = {
        {RIDGEX_E_NOT_IMPLEMENTED, RIDGEX_SUCCESS, RIDGEX_E_NOT_IMPLEMENTED, 1},  // no pads
        {RIDGEX_SUCCESS, RIDGEX_SUCCESS, RIDGEX_SUCCESS, 1},  // nothing to hand over
        {RIDGEX_E_MORE_DATA, RIDGEX_E_DEVICE_FAILURE, RIDGEX_E_DEVICE_FAILURE, 2},
    };
    for (const auto& answer : answers) {
        backend.pad_status[0] = answer.first;
        backend.pad_status[1] = answer.second;
        detect(answer.expected, answer.calls);
    }
    backend.pad_status[0] = RIDGEX_E_MORE_DATA;
    backend.pad_status[1] = RIDGEX_SUCCESS;
    {
        // A block that cannot be allocated says so.
        syscall_override no_memory(
            &platform::syscall_table::realloc, +[](void*, size_t) -> void* { return nullptr; });
        detect(RIDGEX_E_NO_MEMORY, 1);
    }
    EXPECT_EQ(calls("load_image_bytes"), 0);
}

}  // namespace
