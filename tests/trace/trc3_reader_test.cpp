#include <sys/stat.h>

#include <cstdlib>
#include <sstream>
#include <thread>

#include "trace/trace_scope.h"
#include "trace_fixture.h"
#include "trace_printer.h"

namespace {

using ridgex_test::TraceTest;
using SlvTraceNS::CTraceScope;

std::string Print(const trc3::TraceFile& file, bool flat = false) {
    std::ostringstream out;
    trc3::PrintTraceFile(file, {flat}, out);
    return out.str();
}

// Two threads, each with a small call tree, printed as one tree per thread
// under the head: scopes indented by depth, messages and failures under
// them. A cut file is read up to the cut; overwritten bytes are skipped and
// reading goes on; a head in the middle means another process recreated the
// file.
TEST_F(TraceTest, ReaderPrintsCallTreesAndReadsOnPastDamage) {
    Configure("\"DoTrace\"=dword:1\n");
    auto work = [] {
        CTraceScope outer("Reader::Outer", 0);
        CTraceScope inner("Reader::Inner", 0);
        inner.Message("value %d", 42);
        inner.Result("denied", 0x80070005);
    };
    work();
    std::thread(work).join();
    SlvTraceNS::RestoreLoadState();  // closes the file
    const std::string bytes = ridgex_test::ReadFile(trace_file());
    const trc3::TraceFile whole = trc3::ReadTraceFile(bytes);
    ASSERT_TRUE(whole.problems.empty());
    const std::string output = Print(whole);
    EXPECT_NE(output.find("\nThread "), output.rfind("\nThread ")) << output;
    for (const char* line :
         {"Trace Ver: 3.0.1", "  > Reader::Outer\n", "    > Reader::Inner\n", "      - value 42\n",
          "      ! 0x80070005 (-2147024891) denied\n", "    < Reader::Inner  ["}) {
        EXPECT_NE(output.find(line), std::string::npos) << line << "\n" << output;
    }

    const trc3::TraceFile cut = trc3::ReadTraceFile(bytes.substr(0, bytes.size() - 3));
    ASSERT_EQ(cut.problems.size(), 1u);
    EXPECT_NE(cut.problems[0].what.find("cut"), std::string::npos);
    EXPECT_EQ(cut.records.size(), whole.records.size() - 1);
    EXPECT_LE(cut.records.back().offset, whole.records[whole.records.size() - 2].offset);
    EXPECT_NE(Print(cut).find("no exit recorded for: Reader::Outer"), std::string::npos);

    const size_t damaged = whole.records[4].offset;
    std::string broken = bytes;
    broken.replace(damaged, 5, "\xFF\xFF\xFF\xFF\xFF");
    const trc3::TraceFile file = trc3::ReadTraceFile(broken);
    ASSERT_EQ(file.problems.size(), 1u);
    EXPECT_EQ(file.problems[0].offset, damaged);
    EXPECT_EQ(file.records.back().offset, whole.records.back().offset);
    EXPECT_GE(file.records.size(), whole.records.size() - 2);

    const trc3::TraceFile twice = trc3::ReadTraceFile("junk" + bytes + bytes);
    EXPECT_EQ(twice.heads.size(), 2u);
    EXPECT_EQ(twice.records.size(), 2 * whole.records.size());
    ASSERT_EQ(twice.problems.size(), 3u);  // not at the start, junk, second head
    EXPECT_EQ(twice.problems[2].offset, 4 + bytes.size());
    EXPECT_NE(Print(twice, true).find("Damage (3)"), std::string::npos);
}

// Deep nesting keeps the output in proportion to the file; what is no file
// to read is refused with a word and status 1, and a FIFO does not block.
TEST(Trc3Dump, DeepNestingStaysInProportionAndWhatIsNoFileIsRefused) {
    trc3::TraceFile deep;
    deep.records.assign(5000, {0, 1, SlvTraceNS::kScopeEntered, "S"});
    EXPECT_LT(Print(deep).size(), 100 * deep.records.size());
    ridgex_test::TempFolder folder;
    ridgex_test::WriteFile(folder / "empty.trc3", "");
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    for (const std::string& path : {folder.path().string(), std::string("/dev/null"),
                                    folder / "empty.trc3", folder / "fifo", folder / "none"}) {
        const int status = std::system((TRC3DUMP " '" + path + "' >/dev/null 2>&1").c_str());
        EXPECT_EQ(WEXITSTATUS(status), 1) << path;
    }
}

}  // namespace
