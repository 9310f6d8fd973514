// Switching the check on: which readers have a model, which file each takes,
// and what a scorer that will not start leaves behind.
#include "liveness_fixture.h"

namespace {

using init_test = liveness_test;

std::string model(const char* file) {
    return std::string(RIDGEX_LIB_DIR) + "/" + file;
}

// Each model tells the simulated live pad from the spoof.
TEST_F(init_test, EachKnownReaderTakesItsModelAndOnlyProduct8214IsAsked) {
    const struct {
        uint16_t vid;
        uint16_t pid;
        uint32_t code;
        const char* file;
        int asked;
    } readers[] = {
        {0x05BA, 0x000E, 0, "nex_53ov_23.dat", 0},
        {0x147E, 0x000E, 0, "nex_53ov_23.dat", 0},
        {0x147E, 0x2016, 0x66000026, "model_2.3_tcss.dat", 1},
        {0x05BA, 0x2016, 0x66080026, "model_2.3_tcsc.dat", 1},
    };
    list(kClientHandle);
    for (const auto& reader : readers) {
        SCOPED_TRACE(reader.file);
        backend.sensor_code = reader.code;
        backend.parameter_calls = 0;
        enumerate(reader.vid, reader.pid, std::to_string(&reader - readers));
        EXPECT_EQ(detector().init(context), RIDGEX_SUCCESS);
        EXPECT_TRUE(detector().isInitialized());
        EXPECT_EQ(scorer.model_path(), model(reader.file));
        EXPECT_EQ(backend.parameter_calls, reader.asked);
        set_pad(sim::pad_surface::skin);
        EXPECT_TRUE(passes());
        set_pad(sim::pad_surface::spoof);
        EXPECT_FALSE(passes());
        detector().destroy();
    }
    EXPECT_EQ(backend.last_handle, kBackendHandle);
    EXPECT_EQ(backend.last_pad_format, RIDGEX_IMG_PROC_PAD2);
    EXPECT_EQ(backend.last_parm_id, RIDGEX_PARMID_SENSOR_INFO);
    EXPECT_EQ(backend.last_parm_size, 48u);
}

TEST_F(init_test, ReadersWithoutAModelAreRefusedBeforeTheScorerStarts) {
    const struct {
        const char* what;
        uint16_t vid;
        uint16_t pid;
        uint32_t code;
        ridgex_result parameter_status;
    } refused[] = {
        {"unknown vendor", 0x1234, 0x000E, 0x66000026, RIDGEX_SUCCESS},
        {"vendor zero", 0, 0x000E, 0x66000026, RIDGEX_SUCCESS},
        {"unknown product", 0x05BA, 0x2017, 0x66000026, RIDGEX_SUCCESS},
        {"unknown sensor code", 0x05BA, 0x2016, 0x66000027, RIDGEX_SUCCESS},
        {"sensor info not served", 0x05BA, 0x2016, 0x66000026, RIDGEX_E_NOT_IMPLEMENTED},
    };
    for (const auto& reader : refused) {
        SCOPED_TRACE(reader.what);
        backend.sensor_code = reader.code;
        backend.parameter_status = reader.parameter_status;
        enumerate(reader.vid, reader.pid, reader.what);
        EXPECT_EQ(detector().init(context), RIDGEX_E_NOT_IMPLEMENTED);
        EXPECT_FALSE(detector().isInitialized());
    }
    // Nor is a reader opened without a name, or by a name never enumerated.
    enumerate(0x05BA, 0x000E);
    detector().setCurrentName("");
    EXPECT_EQ(detector().init(context), RIDGEX_E_NOT_IMPLEMENTED);
    detector().setCurrentName(nullptr);
    EXPECT_EQ(detector().init(context), RIDGEX_E_NOT_IMPLEMENTED);
    std::string other_slot = reader_name("reader");  // the prefix is part of the name
    other_slot[2] = '2';
    detector().setCurrentName(other_slot.c_str());
    EXPECT_EQ(detector().init(context), RIDGEX_E_NOT_IMPLEMENTED);
    EXPECT_EQ(scorer.calls("initialize"), 0);
}

TEST_F(init_test, EnumerationWithoutIdentifiersKeepsWhatWasKnown) {
    enumerate(0x05BA, 0x000E);
    enumerate(0, 0x2016);  // the same name, vendor unknown this time
    EXPECT_EQ(detector().init(context), RIDGEX_SUCCESS);
    EXPECT_EQ(scorer.model_path(), model("nex_53ov_23.dat"));
    detector().destroy();

    enumerate(0x147E, 0x2016);  // both known: the row takes them
    backend.sensor_code = 0x66080026;
    EXPECT_EQ(detector().init(context), RIDGEX_SUCCESS);
    EXPECT_EQ(scorer.model_path(), model("model_2.3_tcsc.dat"));
}

TEST_F(init_test, FullTableGivesTheRowSeenLongestAgoToANewName) {
    for (int i = 0; i < SpoofDetector::kDeviceRows; ++i) {
        enumerate(0x05BA, 0x000E, std::to_string(i));
    }
    enumerate(0x05BA, 0x000E, "0");  // seen again: the most recent now
    enumerate(0x05BA, 0x000E, "new");
    for (const char* kept : {"new", "0", "2", "9"}) {
        detector().setCurrentName(reader_name(kept).c_str());
        EXPECT_EQ(detector().init(context), RIDGEX_SUCCESS) << kept;
        detector().destroy();
    }
    detector().setCurrentName(reader_name("1").c_str());
    EXPECT_EQ(detector().init(context), RIDGEX_E_NOT_IMPLEMENTED);
}

TEST_F(init_test, ScorerOrModelThatFailsStopsTheScorerAndAllowsAnotherTry) {
    enumerate(0x05BA, 0x000E);
    for (const auto& [operation, status] :
         {std::pair{"initialize", RIDGEX_E_SCORER_INIT}, {"load_model", RIDGEX_E_MODEL}}) {
        SCOPED_TRACE(operation);
        scorer.reset();
        scorer.fail(operation, 7);
        EXPECT_EQ(detector().init(context), status);
        EXPECT_FALSE(detector().isInitialized());
        EXPECT_EQ(scorer.calls("initialize"), 1);
        EXPECT_EQ(scorer.calls("load_model"), status == RIDGEX_E_MODEL ? 1 : 0);
        EXPECT_EQ(scorer.calls("destroy"), 1);
        EXPECT_EQ(scorer.calls("destroy_model"), 0);
        scorer.fail(operation, 0);
        EXPECT_EQ(detector().init(context), RIDGEX_SUCCESS);
        EXPECT_TRUE(detector().isInitialized());
        detector().destroy();
    }
}

TEST_F(init_test, DestroyMakesBothCallsAlsoWhenNothingWasStarted) {
    switch_on();
    scorer.reset();
    EXPECT_EQ(detector().destroy(), RIDGEX_SUCCESS);
    EXPECT_FALSE(detector().isInitialized());
    EXPECT_EQ(detector().destroy(), RIDGEX_SUCCESS);
    EXPECT_EQ(scorer.calls("destroy_model"), 2);
    EXPECT_EQ(scorer.calls("destroy"), 2);
    EXPECT_EQ(scorer.calls("initialize"), 0);
}

}  // namespace
