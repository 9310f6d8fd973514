#include "trace/trace_scope.h"

#include <filesystem>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "ridgex.h"
#include "trace_fixture.h"

namespace {

using ridgex_test::ReadFile;
using ridgex_test::TraceTest;
using SlvTraceNS::CTraceScope;
using Strings = std::vector<std::string>;

class TraceScope : public TraceTest {
  protected:
    void SetUp() override {
        TraceTest::SetUp();
        Configure("\"DoTrace\"=dword:1\n");
    }
};

TEST_F(TraceScope, MessageLimits) {
    CTraceScope scope("Test::Messages", 0);
    scope.Message("%d %s %c", 5, "abc", 'x');
    scope.Message("%s", std::string(500, 'a').c_str());                 // cut to 399
    scope.Message("%s", (std::string(398, 'a') + "\xC3\xA9").c_str());  // cut inside a character
    scope.Message("%s", "");
    scope.Message(nullptr);
    scope.Message(std::string(399, 'f').c_str(), 0);  // the longest format kept
    // An over-long format writes not even time marks.
    const std::string before = Types(true);
    scope.Message(std::string(400, 'f').c_str(), 0);
    EXPECT_EQ(Types(true), before);
    // 397 characters that grow by one for each narrow string or character.
    scope.Message((std::string(391, 'g') + "%s%s%c").c_str(), "", "", 'c');
    EXPECT_EQ(Texts('U'), (Strings{"5 abc x", std::string(399, 'a'), std::string(398, 'a') + "\xC3",
                                   "", "", std::string(399, 'f')}));
}

// The level is compared by its absolute value; a negative verbosity
// silences every scope; profiling drops messages only. Failures stay.
TEST_F(TraceScope, LevelsAndProfilingLeaveFailuresWritten) {
    const struct {
        const char* values;
        int level;
        const char* types;
    } cases[] = {{"", 10, "E"},
                 {"\"Verbosity\"=dword:a\n", -10, ">UE<"},
                 {"\"Verbosity\"=dword:a\n", 11, "E"},
                 {"\"Verbosity\"=dword:ffffffff\n", 0, "E"},
                 {"\"DoProfiling\"=dword:1\n", 0, ">E<"}};
    for (const auto& c : cases) {
        SlvTraceNS::RestoreLoadState();
        std::filesystem::remove(trace_file());
        Configure(std::string("\"DoTrace\"=dword:1\n") + c.values);
        {
            CTraceScope scope("CFpapiShim::_AcquisitionCallback", c.level);
            scope.Message("event");
            scope.Result("failed", 0x80004005);
        }
        EXPECT_EQ(Types(), c.types) << c.values << c.level;
    }
}

TEST_F(TraceScope, RecordsOfManyThreadsNeverInterleave) {
    constexpr int kThreads = 4;
    constexpr int kCalls = 200;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([] {
            for (int i = 0; i < kCalls; ++i) {
                CTraceScope scope("Test::Concurrent", 0);
                scope.Message("call %d", i);
                ForceCheck();  // configuration read meanwhile too
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_TRUE(ReadBack().problems.empty());
    EXPECT_EQ(Texts('U').size(), size_t{kThreads * kCalls});
    EXPECT_EQ(Texts('<').size(), size_t{kThreads * kCalls});
}

// The exports are a client's scope, handed out also with tracing off: names
// cut at 99 characters and null as four question marks, text written as it
// stands, and results written only for failures, cut at 260 bytes.
TEST_F(TraceScope, ExportsWriteLikeAScope) {
    registry_.Write("");
    void* handle = nullptr;
    ridgex_trace_start("Client::Off", &handle);
    ASSERT_NE(handle, nullptr);
    ridgex_trace(handle, "nothing");
    ridgex_trace_error(handle, "nothing", 0x80004005);
    ridgex_trace_dispose(handle);
    ridgex_trace(nullptr, "x");
    ridgex_trace_error(nullptr, "x", 0x80004005);
    ridgex_trace_result(nullptr, "x", 0x80004005);
    ridgex_trace_dispose(nullptr);
    EXPECT_TRUE(ReadFile(trace_file()).empty());

    Configure("\"DoTrace\"=dword:1\n");
    ForceCheck();
    const std::string long_text(300, 'n');
    for (const char* name : {long_text.c_str(), static_cast<const char*>(nullptr)}) {
        ridgex_trace_start(name, &handle);
        ridgex_trace_dispose(handle);
    }
    ridgex_trace_start("Client::Work", &handle);
    ridgex_trace(handle, "100% literal %s %n");
    // Counted as a format: 399 units fit, 400 do not, and "%s" counts one more.
    const std::string longest(399, 'x');
    ridgex_trace(handle, longest.c_str());
    ridgex_trace(handle, std::string(400, 'y').c_str());
    ridgex_trace(handle, (std::string(397, 'z') + "%s").c_str());
    const std::pair<const char*, uint32_t> results[] = {
        {"plain status", 0x05BA0015},   {"top bit", 0x85BA0015}, {"family", 0x00090312},
        {"not the family", 0x000A0312}, {nullptr, 0x80000000},   {long_text.c_str(), 0xFFFFFFFF}};
    for (const auto& [text, code] : results) {
        ridgex_trace_result(handle, text, code);
    }
    ridgex_trace_error(handle, "error", 0x80000001);
    ridgex_trace_dispose(handle);
    EXPECT_EQ(Texts('>'), (Strings{std::string(99, 'n'), "????", "Client::Work"}));
    EXPECT_EQ(Texts('U'), (Strings{"100% literal %s %n", longest}));
    EXPECT_EQ(Texts('E'), (Strings{"-2051407851 top bit", "590610 family", "-2147483648 ",
                                   "-1 " + std::string(257, 'n'), "-2147483647 error"}));
    EXPECT_EQ(Types().back(), '<');
}

}  // namespace
