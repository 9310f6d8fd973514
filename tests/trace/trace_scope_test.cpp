#include "trace/trace_scope.h"

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

TEST_F(TraceScope, LevelsAndProfilingLeaveFailuresWritten) {
    {
        CTraceScope scope("CFpapiShim::_AcquisitionCallback", 10);  // above verbosity 0
        scope.Message("event");
        scope.Result("failed", 0x80004005);
    }
    EXPECT_EQ(Types(), "E");

    // The level is compared by its absolute value.
    SlvTraceNS::RestoreLoadState();
    Configure("\"DoTrace\"=dword:1\n\"Verbosity\"=dword:a\n");
    { CTraceScope scope("Test::Ten", -10); }
    { CTraceScope scope("Test::Eleven", 11); }
    EXPECT_EQ(Texts('>'), (Strings{"Test::Ten"}));

    // A negative verbosity silences every scope but not failures.
    SlvTraceNS::RestoreLoadState();
    Configure("\"DoTrace\"=dword:1\n\"Verbosity\"=dword:ffffffff\n");
    {
        CTraceScope scope("Test::Silent", 0);
        scope.Message("not written");
        scope.Result("written", 0x80004005);
    }
    EXPECT_EQ(Types(), "E");

    // Profiling drops messages only.
    SlvTraceNS::RestoreLoadState();
    Configure("\"DoTrace\"=dword:1\n\"DoProfiling\"=dword:1\n");
    {
        CTraceScope scope("Test::Profiled", 0);
        scope.Message("dropped");
        scope.Result("kept", 0x80004005);
    }
    EXPECT_EQ(Types(), ">E<");
}

TEST_F(TraceScope, TimeMarksOnlyWhenTheClockHasMoved) {
    {
        CTraceScope scope("Test::Burst", 0);
        for (int i = 0; i < 2000; ++i) {
            scope.Message("m");
        }
    }
    const auto records = ReadBack().records;
    ASSERT_FALSE(records.empty());
    EXPECT_EQ(records[0].type, 't');
    std::string last_time;
    size_t unmarked = 0;
    for (size_t i = 1; i < records.size(); ++i) {
        if (records[i].type == 'T') {
            EXPECT_NE(records[i].text, last_time) << "a mark for a clock that did not move";
            last_time = records[i].text;
        } else if (records[i - 1].type != 'T') {
            ++unmarked;  // a second record in the same millisecond
        }
    }
    EXPECT_GT(unmarked, 0u);
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
    const std::pair<const char*, uint32_t> results[] = {
        {"plain status", 0x05BA0015},   {"top bit", 0x85BA0015}, {"family", 0x00090312},
        {"not the family", 0x000A0312}, {nullptr, 0x80000000},   {long_text.c_str(), 0xFFFFFFFF}};
    for (const auto& [text, code] : results) {
        ridgex_trace_result(handle, text, code);
    }
    ridgex_trace_error(handle, "error", 0x80000001);
    ridgex_trace_dispose(handle);
    EXPECT_EQ(Texts('>'), (Strings{std::string(99, 'n'), "????", "Client::Work"}));
    EXPECT_EQ(Texts('U'), (Strings{"100% literal %s %n"}));
    EXPECT_EQ(Texts('E'), (Strings{"-2051407851 top bit", "590610 family", "-2147483648 ",
                                   "-1 " + std::string(257, 'n'), "-2147483647 error"}));
    EXPECT_EQ(Types().back(), '<');
}

}  // namespace
