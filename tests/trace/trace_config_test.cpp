#include <cctype>
#include <filesystem>
#include <utility>

#include "platform/clock.h"
#include "platform/module_path.h"
#include "trace/trace_file_name.h"
#include "trace/trace_registry.h"
#include "trace/trace_scope.h"
#include "trace/trace_statics.h"
#include "trace_fixture.h"

namespace {

using namespace SlvTraceNS;
using ridgex_test::TraceTest;

// The name under which the filters know the code of this test program.
std::string OwnModule() {
    return ModuleName(platform::module_path());
}

void OpenScope() {
    CTraceScope scope("Test::Scope", 0);
}

TEST(TraceModuleName, LibraryVersionAndExtensionAreDropped) {
    EXPECT_EQ(ModuleName("/opt/app/libridgex.so.3"), "ridgex");
    EXPECT_EQ(ModuleName("/opt/app/libridgex.so.3.2.0"), "ridgex");
    EXPECT_EQ(ModuleName("libridgex_amber.so"), "ridgex_amber");
    EXPECT_EQ(ModuleName("/usr/bin/client.bin"), "client");
    EXPECT_EQ(ModuleName("/usr/bin/client"), "client");
    EXPECT_EQ(ModuleName("/lib/libsomething.sort"), "libsomething");  // ".so" must end a piece
}

class TraceFlags : public TraceTest {
  protected:
    uint32_t FlagsOf(const std::string& values) {
        registry_.Write("[HKEY_LOCAL_MACHINE\\SOFTWARE\\Solvane\\Tracing]\n" + values);
        platform::registry_key key;
        EXPECT_TRUE(OpenTracingKey(&key));
        return BuildFlags(key);
    }
};

TEST_F(TraceFlags, EachSwitchSetsItsBit) {
    EXPECT_EQ(FlagsOf(""), kFlagToFile | kFlagNewFile);
    EXPECT_EQ(FlagsOf("\"TraceToFile\"=dword:1\n\"NewFileAlways\"=dword:0\n"), kFlagToFile);
    // The test is for exactly 1: 2 means no file.
    EXPECT_EQ(FlagsOf("\"TraceToFile\"=dword:2\n\"NewFileAlways\"=dword:5\n"), kFlagNewFile);
    // A string where a number belongs counts as absent.
    EXPECT_EQ(FlagsOf("\"TraceToFile\"=\"0\"\n\"NewFileAlways\"=\"0\"\n"),
              kFlagToFile | kFlagNewFile);
    EXPECT_EQ(FlagsOf("\"DoTrace\"=dword:1\n\"DoProfiling\"=dword:2\n\"DoLog\"=dword:3\n"),
              kFlagToFile | kFlagNewFile | kFlagTrace | kFlagProfiling | kFlagLog);
    EXPECT_EQ(FlagsOf("\"DoTrace\"=dword:0\n\"DoProfiling\"=dword:0\n\"DoLog\"=dword:0\n"),
              kFlagToFile | kFlagNewFile);
}

TEST_F(TraceFlags, ThirtyTwoBitViewIsTheFallback) {
    registry_.Write(
        "[HKEY_LOCAL_MACHINE\\SOFTWARE\\WOW6432Node\\Solvane\\Tracing]\n\"DoTrace\"=dword:1\n");
    platform::registry_key key;
    ASSERT_TRUE(OpenTracingKey(&key));
    EXPECT_EQ(BuildFlags(key) & kFlagTrace, kFlagTrace);
}

TEST_F(TraceTest, NoKeyTurnsTracingOffUntilTheNextCheck) {
    const uint32_t before = platform::tick_count();
    OpenScope();
    EXPECT_EQ(flags_word.load(), 0u);
    EXPECT_GE(next_check.load(), before + kCheckPeriodMs);
    EXPECT_LE(next_check.load(), platform::tick_count() + kCheckPeriodMs);

    // Switched on meanwhile: nothing before the next check, records after it.
    Configure("\"DoTrace\"=dword:1\n");
    OpenScope();
    EXPECT_FALSE(std::filesystem::exists(trace_file()));
    ForceCheck();
    OpenScope();
    EXPECT_EQ(Types(), "><");
}

TEST_F(TraceTest, SwitchedOffTheFileStaysOpenAndRecordsEnd) {
    Configure("\"DoTrace\"=dword:1\n");
    {
        CTraceScope straddling("Test::Straddling", 0);
        Configure("\"DoTrace\"=dword:0\n");
        ForceCheck();
        OpenScope();
    }
    // The straddling scope's exit is tested afresh and not written.
    EXPECT_EQ(Types(), ">");
    EXPECT_NE(output_holder.get(), nullptr);
}

TEST_F(TraceTest, TraceToFileOtherThanOneDropsRecords) {
    Configure("\"DoTrace\"=dword:1\n\"TraceToFile\"=dword:2\n");
    OpenScope();
    EXPECT_FALSE(std::filesystem::exists(trace_file()));
    EXPECT_NE(output_holder.get(), nullptr);  // the choice is made, and holds
}

TEST_F(TraceTest, VerbosityIsReadOnlyWhenTheFlagsChange) {
    Configure("\"DoTrace\"=dword:1\n\"Verbosity\"=dword:0\n");
    OpenScope();
    EXPECT_EQ(verbosity, 0);
    Configure("\"DoTrace\"=dword:1\n\"Verbosity\"=dword:0000000a\n");
    ForceCheck();
    OpenScope();
    EXPECT_EQ(verbosity, 0);
    Configure("\"DoTrace\"=dword:1\n\"Verbosity\"=dword:0000000a\n\"DoLog\"=dword:1\n");
    ForceCheck();
    OpenScope();
    EXPECT_EQ(verbosity, 10);
}

TEST_F(TraceTest, NegativeVerbositySilencesScopesButNotFailures) {
    Configure("\"DoTrace\"=dword:1\n\"Verbosity\"=dword:ffffffff\n");
    {
        CTraceScope scope("Test::Silent", 0);
        scope.Message("not written");
        scope.Result("written", 0x80004005);
    }
    EXPECT_EQ(Types(), "E");
}

struct FilterCase {
    const char* name;
    const char* lists;  // registry sections, with MODULE for this program's module name
    bool traced;
};

std::string Upper(std::string text) {
    for (char& c : text) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return text;
}

class TraceFilter : public TraceTest, public ::testing::WithParamInterface<FilterCase> {};

TEST_P(TraceFilter, DecidesPerModule) {
    std::string lists = GetParam().lists;
    for (const auto& [token, name] :
         {std::pair<std::string, std::string>{"UPPER", Upper(OwnModule())},
          {"MODULE", OwnModule()}}) {
        for (size_t at; (at = lists.find(token)) != std::string::npos;) {
            lists.replace(at, token.size(), name);
        }
    }
    Configure("\"DoTrace\"=dword:1\n", lists);
    {
        CTraceScope scope("Test::Filtered", 0);
        scope.Result("failure", 0x80004005);
    }
    // Failures pass the filter; scopes only when the module is traced.
    EXPECT_EQ(Types(), GetParam().traced ? ">E<" : "E");
}

INSTANTIATE_TEST_SUITE_P(
    Lists, TraceFilter,
    ::testing::Values(
        // Names compare without regard to case.
        FilterCase{"NoLists", "", true},
        FilterCase{
            "ExcludedInAnyCase",
            "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Solvane\\Tracing\\ComponentsNOT]\n\"UPPER\"=\"\"\n",
            false},
        FilterCase{"IncludedInAnyCase",
                   "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Solvane\\Tracing\\Components]\n\"UPPER\"=\"\"\n",
                   true},
        FilterCase{"OnlyOthersIncluded",
                   "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Solvane\\Tracing\\Components]\n\"other\"=\"\"\n",
                   false},
        // Components beats ComponentsNOT, in whichever order the file holds them.
        FilterCase{
            "IncludeBeatsLaterExclude",
            "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Solvane\\Tracing\\ComponentsNOT]\n\"MODULE\"=\"\"\n"
            "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Solvane\\Tracing\\Components]\n\"MODULE\"=\"\"\n",
            true},
        FilterCase{
            "IncludeBeatsEarlierExclude",
            "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Solvane\\Tracing\\Components]\n\"MODULE\"=\"\"\n"
            "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Solvane\\Tracing\\ComponentsNOT]\n\"MODULE\"=\"\"\n",
            true},
        // A name behind another in Components still enables.
        FilterCase{"IncludedBehindAnother",
                   "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Solvane\\Tracing\\Components]\n\"other\"=\"\"\n"
                   "\"MODULE\"=dword:0\n",
                   true},
        // An empty Components leaves the verdict of ComponentsNOT.
        FilterCase{
            "EmptyIncludeLeavesExclude",
            "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Solvane\\Tracing\\Components]\n"
            "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Solvane\\Tracing\\ComponentsNOT]\n\"MODULE\"=\"\"\n",
            false}),
    [](const ::testing::TestParamInfo<FilterCase>& info) { return info.param.name; });

}  // namespace
