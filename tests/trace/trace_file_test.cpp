#include <cerrno>
#include <filesystem>

#include "platform/syscalls.h"
#include "trace/trace_file_name.h"
#include "trace/trace_head.h"
#include "trace/trace_scope.h"
#include "trace_fixture.h"

namespace {

using namespace SlvTraceNS;
using ridgex_test::ReadFile;
using ridgex_test::TraceTest;
using ridgex_test::WriteFile;

void OneScope() {
    CTraceScope scope("Test::File", 0);
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    for (size_t at = 0, end; (end = text.find("\r\n", at)) != std::string::npos; at = end + 2) {
        lines.push_back(text.substr(at, end - at));
    }
    return lines;
}

// ---- the head -----------------------------------------------------------------

TEST(TraceHead, LinesInOrder) {
    HeadFacts facts;
    facts.kernel_major = 6;
    facts.kernel_minor = 1;
    facts.machine_name = "build-host";
    facts.local_installation = true;
    facts.time = {2024, 3, 0, 9, 7, 5, 4, 32};
    const auto lines = Lines(ComposeHead(facts));
    ASSERT_EQ(lines.size(), 11u);
    EXPECT_EQ(lines[0], "trace3");
    EXPECT_EQ(lines[1].rfind("Compiled: ", 0), 0u);
    EXPECT_EQ(lines[2], "OS: UNKNOWN OS(Major:6 Minor:1)");
    EXPECT_EQ(lines[3], "ServicePack: ");
    EXPECT_EQ(lines[4], "Machine name: build-host");
    EXPECT_EQ(lines[5], "Trace Ver: 3.0.1");
    EXPECT_EQ(lines[6], "FileVersion: 3.2.0.0");
    EXPECT_EQ(lines[7], "No Oraline products found");
    EXPECT_EQ(lines[8], "installation: LOCAL");
    EXPECT_EQ(lines[9], "03/09/2024 07:05:04.032");
    EXPECT_EQ(lines[10], ".");
}

TEST(TraceHead, ACutLineStillEndsInCrLf) {
    HeadFacts facts;
    facts.machine_name = std::string(300, 'm');
    const auto lines = Lines(ComposeHead(facts));
    EXPECT_EQ(lines[4], "Machine name: " + std::string(258 - 14, 'm'));
}

TEST_F(TraceTest, HeadNamesProductsAndInstallation) {
    registry_.Write(
        "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Solvane\\Products\\Reader]\n\"Version\"=\"1.2\"\n"
        "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Solvane\\Products\\Bare]\n"
        "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Policies\\Solvane]\n\"NetworkSupport\"=dword:1\n");
    const HeadFacts facts = GatherHeadFacts();
    EXPECT_EQ(facts.product_lines,
              (std::vector<std::string>{"Product: Bare; Version: ERROR(0x2)\r\n",
                                        "Product: Reader; Version: 1.2\r\n"}));
    EXPECT_FALSE(facts.local_installation);
    registry_.Write(
        "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Policies\\Solvane]\n\"NetworkSupport\"=dword:0\n");
    EXPECT_TRUE(GatherHeadFacts().local_installation);
}

// ---- the file's name and folder ---------------------------------------------------

TEST(TraceFileName, BuiltFromProgramLibraryAndSession) {
    std::string path;
    ASSERT_TRUE(ComposeFileName({}, "/opt/app/client", "/opt/app/libridgex.so.3", 1234, &path));
    EXPECT_EQ(path, "/opt/app/client.libridgex.so.x64.1234.trc3");
    FileNameSettings settings;
    settings.trace_path = "";  // the process's current folder
    ASSERT_TRUE(ComposeFileName(settings, "/bin/c.bin", "/l/libridgex.so", 7, &path));
    EXPECT_EQ(path, "c.libridgex.so.x64.7.trc3");
    settings.file_name = "/as/given/name.x";
    ASSERT_TRUE(ComposeFileName(settings, "/bin/c", "/l/libridgex.so", 7, &path));
    EXPECT_EQ(path, "/as/given/name.x");
    settings.file_name = "/" + std::string(300, 'f');
    ASSERT_TRUE(ComposeFileName(settings, "/bin/c", "/l/libridgex.so", 7, &path));
    EXPECT_EQ(path.size(), 259u);
}

TEST(TraceFileName, PathOf260CharactersFails) {
    const std::string folder = "/" + std::string(230, 'd') + "/";
    std::string path;
    // 232 + "c.libridgex.so.x64.7.trc3" (25) = 257 fits; three more do not.
    EXPECT_TRUE(ComposeFileName({}, "/bin/c", folder + "libridgex.so", 7, &path));
    EXPECT_FALSE(ComposeFileName({}, "/bin/cccc", folder + "libridgex.so", 7, &path));
    EXPECT_FALSE(ComposeFileName({}, "/bin/c", "/" + std::string(300, 'd') + "/l.so", 7, &path));
}

TEST(TraceFileName, TracePathChainIsCreated) {
    ridgex_test::TempFolder folder;
    FileNameSettings settings;
    settings.trace_path = folder / "a/b/c";
    std::string path;
    ASSERT_TRUE(ComposeFileName(settings, "/bin/c", "/l/libridgex.so", 7, &path));
    EXPECT_TRUE(std::filesystem::is_directory(folder / "a/b/c"));
    EXPECT_EQ(path, folder / "a/b/c/c.libridgex.so.x64.7.trc3");
    settings.trace_path = folder / "a/";  // ends in a separator: none added
    ASSERT_TRUE(ComposeFileName(settings, "/bin/c", "/l/libridgex.so", 7, &path));
    EXPECT_EQ(path, folder / "a/c.libridgex.so.x64.7.trc3");
}

TEST(TraceFileName, FolderChainReportsFailures) {
    ridgex_test::TempFolder folder;
    EXPECT_EQ(CreateFolderChain(""), kInvalidArgument);
    WriteFile(folder / "file", "x");
    EXPECT_EQ(CreateFolderChain(folder / "file/below"), 0x80070000u | EEXIST);
    EXPECT_EQ(CreateFolderChain(folder / "x//y/"), 0u);
    EXPECT_TRUE(std::filesystem::is_directory(folder / "x/y"));
}

// ---- opening, continuing and writing the file ----------------------------------------

TEST_F(TraceTest, NewFileBeginsWithMagicHeadAndMarks) {
    Configure("\"DoTrace\"=dword:1\n");
    OneScope();
    const std::string bytes = ReadFile(trace_file());
    EXPECT_EQ(bytes.substr(0, 8), "trace3\r\n");
    const trc3::TraceFile file = ReadBack();
    ASSERT_EQ(file.heads.size(), 1u);
    EXPECT_TRUE(file.heads[0].complete);
    EXPECT_TRUE(file.problems.empty());
    // The first record is a date mark, then the time, then the scope entry.
    EXPECT_EQ(AllTypes().substr(0, 3), "tT>");
    EXPECT_EQ(Types(), "><");
    // The byte behind ".\r\n" is the first byte of the thread id.
    const size_t first = bytes.find("\r\n.\r\n") + 5;
    EXPECT_EQ(file.records[0].offset, first);
    // An exit record has no text: 7 bytes.
    EXPECT_EQ(bytes.size() - file.records.back().offset, 7u);
}

TEST_F(TraceTest, ContinuedFileKeepsItsContentAndGainsAnNRecord) {
    Configure("\"DoTrace\"=dword:1\n\"NewFileAlways\"=dword:0\n");
    WriteFile(trace_file(), "earlier");
    OneScope();
    const std::string bytes = ReadFile(trace_file());
    EXPECT_EQ(bytes.substr(0, 7), "earlier");
    const trc3::TraceFile file = trc3::ReadTraceFile(bytes.substr(7));
    std::string types;
    for (const auto& record : file.records) {
        types += record.type;
    }
    EXPECT_EQ(types.substr(0, 4), "NtT>");
    EXPECT_EQ(file.records[0].text.size(), 10u);  // MM-DD-YYYY
}

TEST_F(TraceTest, ContinuedEmptyOrMissingFileGetsAHead) {
    Configure("\"DoTrace\"=dword:1\n\"NewFileAlways\"=dword:0\n");
    WriteFile(trace_file(), "");
    OneScope();
    EXPECT_EQ(ReadFile(trace_file()).substr(0, 8), "trace3\r\n");
    SlvTraceNS::RestoreLoadState();
    std::filesystem::remove(trace_file());
    OneScope();
    EXPECT_EQ(Types(), "><");
}

TEST_F(TraceTest, NewFileAlwaysAbsentOrAStringEmptiesTheFile) {
    for (const char* setting : {"", "\"NewFileAlways\"=\"0\"\n"}) {
        SlvTraceNS::RestoreLoadState();
        Configure(std::string("\"DoTrace\"=dword:1\n") + setting);
        WriteFile(trace_file(), "earlier content");
        OneScope();
        EXPECT_EQ(ReadFile(trace_file()).substr(0, 8), "trace3\r\n") << setting;
        EXPECT_EQ(Types(), "><");
    }
}

TEST_F(TraceTest, EmptyFileNameWritesNothing) {
    registry_.Write(
        "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Solvane\\Tracing]\n\"DoTrace\"=dword:1\n\"FileName\"=\"\"\n"
        "\"TracePath\"=\"" +
        (folder_ / "t") + "\"\n");
    OneScope();
    EXPECT_FALSE(std::filesystem::exists(folder_ / "t"));  // the name was used, not TracePath
}

TEST_F(TraceTest, MalformedFileNameCountsAsAbsent) {
    // "/x" without its terminating NUL, then with an odd size.
    int round = 0;
    // Also a string of 522 bytes, beyond the 520 that a path value may have.
    const std::string too_big = "\"" + std::string(260, 'x') + "\"";
    for (const char* file_name : {"hex(2):2f,00,78,00", "hex(1):2f,00,78,00,00", too_big.c_str()}) {
        SlvTraceNS::RestoreLoadState();
        const std::string traces = folder_ / ("traces" + std::to_string(++round));
        registry_.Write(
            "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Solvane\\Tracing]\n\"DoTrace\"=dword:1\n"
            "\"FileName\"=" +
            std::string(file_name) + "\n\"TracePath\"=\"" + traces + "\"\n");
        OneScope();
        ASSERT_TRUE(std::filesystem::is_directory(traces)) << file_name;
        EXPECT_FALSE(std::filesystem::is_empty(traces)) << file_name;
    }
}

TEST_F(TraceTest, AFailedWriteLosesOneRecordOnly) {
    Configure("\"DoTrace\"=dword:1\n");
    CTraceScope scope("Test::Disk", 0);
    auto& table = platform::syscalls();
    const auto real_write = table.write;
    table.write = [](int, const void*, size_t) -> ssize_t {
        errno = ENOSPC;
        return -1;
    };
    scope.Message("lost");
    table.write = real_write;
    scope.Message("kept");
    EXPECT_EQ(Texts('U'), (std::vector<std::string>{"kept"}));
}

TEST_F(TraceTest, EqualTextsGiveEqualCipherBytes) {
    Configure("\"DoTrace\"=dword:1\n");
    { CTraceScope scope("Twice::Same", 0); }
    { CTraceScope scope("Twice::Same", 0); }
    const std::string bytes = ReadFile(trace_file());
    const auto records = ReadBack().records;
    std::vector<std::string> stored;
    for (const auto& record : records) {
        if (record.type == '>') {
            stored.push_back(bytes.substr(record.offset + 7, record.text.size()));
        }
    }
    ASSERT_EQ(stored.size(), 2u);
    EXPECT_EQ(stored[0], stored[1]);
    EXPECT_NE(stored[0], "Twice::Same");  // and enciphered
}

}  // namespace
