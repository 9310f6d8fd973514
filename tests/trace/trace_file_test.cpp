#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "support/syscall_override.h"
#include "trace/trace_file_name.h"
#include "trace/trace_head.h"
#include "trace_fixture.h"

namespace {

using namespace SlvTraceNS;
using ridgex_test::Key;
using ridgex_test::kTracingKey;
using ridgex_test::ReadFile;
using ridgex_test::TraceTest;
using ridgex_test::WriteFile;

// The reader takes the head apart by its lines: a cut one still ends in CR LF.
TEST(TraceHead, LongLineIsCutAndStillEndsTheLine) {
    HeadFacts facts;
    facts.machine_name = std::string(300, 'm');
    const std::string line = "\r\nMachine name: " + std::string(258 - 14, 'm') + "\r\n";
    EXPECT_NE(ComposeHead(facts).find(line), std::string::npos);
}

TEST_F(TraceTest, HeadNamesProductsAndInstallation) {
    registry_.Write(Key("Solvane\\Products\\Reader") + "\"Version\"=\"1.2\"\n" +
                    Key("Solvane\\Products\\Bare") + Key("Policies\\Solvane") +
                    "\"NetworkSupport\"=dword:1\n");
    const HeadFacts facts = GatherHeadFacts();
    EXPECT_EQ(facts.product_lines,
              (std::vector<std::string>{"Product: Bare; Version: ERROR(0x2)\r\n",
                                        "Product: Reader; Version: 1.2\r\n"}));
    EXPECT_FALSE(facts.local_installation);
    registry_.Write(Key("Policies\\Solvane") + "\"NetworkSupport\"=dword:0\n");
    EXPECT_TRUE(GatherHeadFacts().local_installation);
}

// ---- the file's name and folder ---------------------------------------------------

// The file's name for the program "/bin/`program`", or "failed".
std::string NameFor(const FileNameSettings& settings, const std::string& program = "c",
                    const std::string& library = "/l/libridgex.so") {
    std::string path;
    return ComposeFileName(settings, "/bin/" + program, library, 7, &path) ? path : "failed";
}

TEST(TraceFileName, BuiltFromProgramLibraryAndSessionUpTo259Characters) {
    std::string path;
    ASSERT_TRUE(ComposeFileName({}, "/opt/app/client", "/opt/app/libridgex.so.3", 1234, &path));
    EXPECT_EQ(path, "/opt/app/client.libridgex.so.x64.1234.trc3");
    FileNameSettings settings;
    settings.trace_path = "";  // the process's current folder
    EXPECT_EQ(NameFor(settings, "c.bin"), "c.libridgex.so.x64.7.trc3");
    settings.file_name = "/as/given/name.x";
    EXPECT_EQ(NameFor(settings), "/as/given/name.x");
    settings.file_name = "/" + std::string(300, 'f');
    EXPECT_EQ(NameFor(settings).size(), 259u);
    const std::string library = "/" + std::string(230, 'd') + "/libridgex.so";
    // 232 + "c.libridgex.so.x64.7.trc3" (25) = 257 fits; three more do not.
    EXPECT_NE(NameFor({}, "c", library), "failed");
    EXPECT_EQ(NameFor({}, "cccc", library), "failed");
    EXPECT_EQ(NameFor({}, "c", "/" + std::string(300, 'd') + "/l.so"), "failed");
}

TEST(TraceFileName, TracePathChainIsCreatedAndReportsFailures) {
    ridgex_test::TempFolder folder;
    FileNameSettings settings;
    settings.trace_path = folder / "a/b/c";
    EXPECT_EQ(NameFor(settings), folder / "a/b/c/c.libridgex.so.x64.7.trc3");
    EXPECT_TRUE(std::filesystem::is_directory(folder / "a/b/c"));
    settings.trace_path = folder / "a/";  // ends in a separator: none added
    EXPECT_EQ(NameFor(settings), folder / "a/c.libridgex.so.x64.7.trc3");

    EXPECT_EQ(CreateFolderChain(""), kInvalidArgument);
    WriteFile(folder / "file", "x");
    EXPECT_EQ(CreateFolderChain(folder / "file/below"), 0x80070000u | EEXIST);
    EXPECT_EQ(CreateFolderChain(folder / "x//y/"), 0u);
    EXPECT_TRUE(std::filesystem::is_directory(folder / "x/y"));
}

// ---- opening, continuing and writing the file ----------------------------------------

// Tracing switched on toward a folder that cannot be made or a file that
// cannot be opened says so on standard error, once; otherwise nothing.
TEST_F(TraceTest, AnUnusableTraceFileIsSaidOnceOnStandardError) {
    WriteFile(folder_ / "file", "x");
    const std::string below = folder_ / "file/below";
    const std::string folder = folder_.path().string();
    const struct {
        std::string values;
        std::string first_line;
        long lines;
    } cases[] = {
        {"\"TracePath\"=\"" + below + "\"\n",
         "ridgex: cannot create the trace folder " + below + ": File exists\n", 2},
        {"\"FileName\"=\"" + folder + "\"\n",
         "ridgex: cannot open the trace file " + folder + ": Is a directory\n", 1},
        {"\"FileName\"=\"" + trace_file() + "\"\n", "", 0},
    };
    for (const auto& c : cases) {
        SlvTraceNS::RestoreLoadState();
        registry_.Write(kTracingKey + "\"DoTrace\"=dword:1\n" + c.values);
        testing::internal::CaptureStderr();
        OneScope();
        OneScope();
        const std::string said = testing::internal::GetCapturedStderr();
        EXPECT_EQ(said.substr(0, c.first_line.size()), c.first_line) << said;
        EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), c.lines) << said;
    }
}

// Only NewFileAlways 0 and a file with content continue the file: a new
// date, then the time marks; everything else starts afresh with a head.
TEST_F(TraceTest, FileIsContinuedOrStartedAfresh) {
    const struct {
        const char* setting;
        const char* earlier;  // null: no file
        bool continued;
    } cases[] = {{"\"NewFileAlways\"=dword:0\n", "earlier", true},
                 {"\"NewFileAlways\"=dword:0\n", "", false},
                 {"\"NewFileAlways\"=dword:0\n", nullptr, false},
                 {"", "earlier", false},
                 {"\"NewFileAlways\"=\"0\"\n", "earlier", false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.setting) + (c.earlier ? c.earlier : "no file"));
        SlvTraceNS::RestoreLoadState();
        Configure(std::string("\"DoTrace\"=dword:1\n") + c.setting);
        std::filesystem::remove(trace_file());
        if (c.earlier != nullptr) {
            WriteFile(trace_file(), c.earlier);
        }
        OneScope();
        const std::string bytes = ReadFile(trace_file());
        if (!c.continued) {
            const trc3::TraceFile file = ReadBack();
            EXPECT_EQ(bytes.substr(0, 8), "trace3\r\n");
            ASSERT_EQ(file.heads.size(), 1u);
            EXPECT_TRUE(file.heads[0].complete && file.problems.empty());
            EXPECT_EQ(Types(true).substr(0, 3), "tT>");  // a date mark, the time, the scope
            EXPECT_EQ(Types(), "><");
            // Texts are stored enciphered.
            EXPECT_EQ(bytes.find("Test::Scope"), std::string::npos);
            continue;
        }
        EXPECT_EQ(bytes.substr(0, 7), "earlier");
        const auto records = trc3::ReadTraceFile(bytes.substr(7)).records;
        ASSERT_GE(records.size(), 4u);
        EXPECT_EQ(std::string({records[0].type, records[1].type, records[2].type, records[3].type}),
                  "NtT>");
        EXPECT_EQ(records[0].text.size(), 10u);  // MM-DD-YYYY
    }
}

// An empty name writes nothing, not even in TracePath. A malformed one
// counts as absent: "/x" without its terminating NUL, with an odd size, and
// a string of 522 bytes, beyond the 520 that a path value may have.
TEST_F(TraceTest, FileNameEmptyOrMalformed) {
    const std::string too_big = "\"" + std::string(260, 'x') + "\"";
    for (const char* file_name :
         {"\"\"", "hex(2):2f,00,78,00", "hex(1):2f,00,78,00,00", too_big.c_str()}) {
        SlvTraceNS::RestoreLoadState();
        const std::string traces = folder_ / "traces";
        std::filesystem::remove_all(traces);
        registry_.Write(kTracingKey + "\"DoTrace\"=dword:1\n\"FileName\"=" + file_name +
                        "\n\"TracePath\"=\"" + traces + "\"\n");
        OneScope();
        EXPECT_EQ(std::filesystem::exists(traces) && !std::filesystem::is_empty(traces),
                  file_name[1] != '"')
            << file_name;
    }
}

TEST_F(TraceTest, AFailedWriteLosesOneRecordOnly) {
    Configure("\"DoTrace\"=dword:1\n");
    CTraceScope scope("Test::Disk", 0);
    {
        syscall_override full_disk(
            &platform::syscall_table::write, +[](int, const void*, size_t) -> ssize_t {
                errno = ENOSPC;
                return -1;
            });
        scope.Message("lost");
    }
    scope.Message("kept");
    EXPECT_EQ(Texts('U'), (std::vector<std::string>{"kept"}));
}

}  // namespace
