#include <cstdio>
#include <sstream>
#include <thread>

#include "trace/trace_scope.h"
#include "trace_fixture.h"
#include "trace_printer.h"

namespace {

using ridgex_test::ReadFile;
using ridgex_test::TraceTest;
using SlvTraceNS::CTraceScope;

class Trc3Reader : public TraceTest {
  protected:
    // Two threads, each with a small call tree.
    void SetUp() override {
        TraceTest::SetUp();
        Configure("\"DoTrace\"=dword:1\n");
        Work();
        std::thread(Work).join();
        SlvTraceNS::RestoreLoadState();  // closes the file
        bytes_ = ReadFile(trace_file());
    }
    static void Work() {
        CTraceScope outer("Reader::Outer", 0);
        {
            CTraceScope inner("Reader::Inner", 0);
            inner.Message("value %d", 42);
            inner.Result("denied", 0x80070005);
        }
    }
    static std::string Print(const trc3::TraceFile& file, bool flat = false) {
        std::ostringstream out;
        trc3::PrintTraceFile(file, {flat}, out);
        return out.str();
    }
    std::string bytes_;
};

TEST_F(Trc3Reader, ToolPrintsOneCallTreePerThread) {
    const std::string command = std::string(TRC3DUMP_PATH) + " " + trace_file();
    FILE* pipe = popen(command.c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    std::string output;
    char chunk[4096];
    for (size_t got; (got = fread(chunk, 1, sizeof chunk, pipe)) > 0;) {
        output.append(chunk, got);
    }
    EXPECT_EQ(pclose(pipe), 0) << output;
    EXPECT_NE(output.find("Trace Ver: 3.0.1"), std::string::npos) << output;
    EXPECT_EQ(output.find("Damage"), std::string::npos) << output;
    size_t threads = 0;
    for (size_t at = 0; (at = output.find("\nThread ", at)) != std::string::npos; ++at) {
        ++threads;
    }
    EXPECT_EQ(threads, 2u) << output;
    // Indented by depth, messages and failures under their scope.
    EXPECT_NE(output.find("  > Reader::Outer\n"), std::string::npos) << output;
    EXPECT_NE(output.find("    > Reader::Inner\n"), std::string::npos) << output;
    EXPECT_NE(output.find("      - value 42\n"), std::string::npos) << output;
    EXPECT_NE(output.find("      ! 0x80070005 (-2147024891) denied\n"), std::string::npos)
        << output;
    EXPECT_NE(output.find("    < Reader::Inner  ["), std::string::npos) << output;
}

TEST_F(Trc3Reader, CutFileIsReportedAndReadUpToTheCut) {
    const trc3::TraceFile whole = trc3::ReadTraceFile(bytes_);
    ASSERT_TRUE(whole.problems.empty());
    const auto& last_text = whole.records[whole.records.size() - 2];  // inner's failure or exit
    const trc3::TraceFile cut = trc3::ReadTraceFile(bytes_.substr(0, bytes_.size() - 3));
    ASSERT_EQ(cut.problems.size(), 1u);
    EXPECT_NE(cut.problems[0].what.find("cut"), std::string::npos);
    EXPECT_EQ(cut.records.size(), whole.records.size() - 1);
    EXPECT_LE(cut.records.back().offset, last_text.offset);
    EXPECT_NE(Print(cut).find("no exit recorded for: Reader::Outer"), std::string::npos);
}

TEST_F(Trc3Reader, OverwrittenBytesAreSkippedAndReadingGoesOn) {
    const trc3::TraceFile whole = trc3::ReadTraceFile(bytes_);
    const size_t damaged = whole.records[4].offset;
    std::string broken = bytes_;
    broken.replace(damaged, 5, "\xFF\xFF\xFF\xFF\xFF");
    const trc3::TraceFile file = trc3::ReadTraceFile(broken);
    ASSERT_EQ(file.problems.size(), 1u);
    EXPECT_EQ(file.problems[0].offset, damaged);
    // Everything behind the damaged record is read as before.
    EXPECT_EQ(file.records.back().offset, whole.records.back().offset);
    EXPECT_GE(file.records.size(), whole.records.size() - 2);
}

TEST_F(Trc3Reader, HeadInTheMiddleMeansAnotherProcessRecreatedTheFile) {
    const trc3::TraceFile whole = trc3::ReadTraceFile(bytes_);
    const size_t head_end = whole.records[0].offset;
    const std::string twice =
        "junk" + bytes_ + bytes_.substr(0, head_end) + bytes_.substr(head_end);
    const trc3::TraceFile file = trc3::ReadTraceFile(twice);
    EXPECT_EQ(file.heads.size(), 2u);
    EXPECT_EQ(file.records.size(), 2 * whole.records.size());
    ASSERT_EQ(file.problems.size(), 3u);  // not at the start, junk, second head
    EXPECT_EQ(file.problems[2].offset, 4 + bytes_.size());
    EXPECT_NE(Print(file, true).find("Damage (3)"), std::string::npos);
}

}  // namespace
