#include <cctype>
#include <filesystem>
#include <utility>

#include "platform/clock.h"
#include "platform/module_path.h"
#include "trace/trace_file_name.h"
#include "trace/trace_registry.h"
#include "trace/trace_statics.h"
#include "trace_fixture.h"

namespace {

using namespace SlvTraceNS;
using ridgex_test::Key;
using ridgex_test::kTracingKey;
using ridgex_test::TraceTest;

TEST(TraceModuleName, LibraryVersionAndExtensionAreDropped) {
    for (const auto& [path, name] : {std::pair{"/opt/app/libridgex.so.3", "ridgex"},
                                     {"/opt/app/libridgex.so.3.2.0", "ridgex"},
                                     {"libridgex_amber.so", "ridgex_amber"},
                                     {"/usr/bin/client.bin", "client"},
                                     {"/usr/bin/client", "client"},
                                     {"/lib/libsomething.sort", "libsomething"}}) {
        EXPECT_EQ(ModuleName(path), name);  // ".so" must end a piece
    }
}

TEST_F(TraceTest, EachSwitchSetsItsBit) {
    auto FlagsOf = [&](const std::string& values, const std::string& key = kTracingKey) {
        registry_.Write(key + values);
        platform::registry_key opened;
        EXPECT_TRUE(OpenTracingKey(&opened));
        return BuildFlags(opened);
    };
    constexpr uint32_t kDefault = kFlagToFile | kFlagNewFile;
    EXPECT_EQ(FlagsOf(""), kDefault);
    EXPECT_EQ(FlagsOf("\"TraceToFile\"=dword:1\n\"NewFileAlways\"=dword:0\n"), kFlagToFile);
    // The test is for exactly 1: 2 means no file.
    EXPECT_EQ(FlagsOf("\"TraceToFile\"=dword:2\n\"NewFileAlways\"=dword:5\n"), kFlagNewFile);
    // A string where a number belongs counts as absent.
    EXPECT_EQ(FlagsOf("\"TraceToFile\"=\"0\"\n\"NewFileAlways\"=\"0\"\n"), kDefault);
    EXPECT_EQ(FlagsOf("\"DoTrace\"=dword:1\n\"DoProfiling\"=dword:2\n\"DoLog\"=dword:3\n"),
              kDefault | kFlagTrace | kFlagProfiling | kFlagLog);
    EXPECT_EQ(FlagsOf("\"DoTrace\"=dword:0\n\"DoProfiling\"=dword:0\n\"DoLog\"=dword:0\n"),
              kDefault);
    // The 32-bit view is the fallback.
    EXPECT_EQ(FlagsOf("\"DoTrace\"=dword:1\n", Key("WOW6432Node\\Solvane\\Tracing")) & kFlagTrace,
              kFlagTrace);
}

// No key turns tracing off until the next check; switched on meanwhile,
// records follow that check. Switched off, the file stays open and a scope
// that straddles the check writes no exit. Verbosity is read only when the
// flags change.
TEST_F(TraceTest, ConfigurationIsReadAtEachCheck) {
    const uint32_t before = platform::tick_count();
    OneScope();
    EXPECT_EQ(flags_word.load(), 0u);
    EXPECT_GE(next_check.load(), before + kCheckPeriodMs);
    EXPECT_LE(next_check.load(), platform::tick_count() + kCheckPeriodMs);
    Configure("\"DoTrace\"=dword:1\n");
    OneScope();
    EXPECT_FALSE(std::filesystem::exists(trace_file()));
    ForceCheck();
    {
        CTraceScope straddling("Test::Straddling", 0);
        Configure("\"DoTrace\"=dword:0\n");
        ForceCheck();
        OneScope();
    }
    EXPECT_EQ(Types(), ">");
    EXPECT_NE(output_holder.get(), nullptr);
    for (const auto& [values, expected] :
         {std::pair{"\"Verbosity\"=dword:0\n", 0},
          {"\"Verbosity\"=dword:0000000a\n", 0},
          {"\"Verbosity\"=dword:0000000a\n\"DoLog\"=dword:1\n", 10}}) {
        Configure(std::string("\"DoTrace\"=dword:1\n") + values);
        ForceCheck();
        OneScope();
        EXPECT_EQ(verbosity, expected) << values;
    }
}

// Names compare without regard to case; Components beats ComponentsNOT in
// whichever order the file holds them; a name behind another in Components
// still enables; an empty Components leaves the verdict of ComponentsNOT.
// Failures pass the filter; scopes only when the module is traced.
TEST_F(TraceTest, FilterDecidesPerModule) {
    const std::string own = ModuleName(platform::module_path());
    std::string upper = own;
    for (char& c : upper) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    const std::string include = Key("Solvane\\Tracing\\Components");
    const std::string exclude = Key("Solvane\\Tracing\\ComponentsNOT");
    const std::string module = "\"" + own + "\"=\"\"\n";
    const struct {
        const char* name;
        std::string lists;
        bool traced;
    } cases[] = {
        {"no lists", "", true},
        {"excluded in any case", exclude + "\"" + upper + "\"=\"\"\n", false},
        {"included in any case", include + "\"" + upper + "\"=\"\"\n", true},
        {"only others included", include + "\"other\"=\"\"\n", false},
        {"include beats later exclude", exclude + module + include + module, true},
        {"include beats earlier exclude", include + module + exclude + module, true},
        {"included behind another", include + "\"other\"=\"\"\n\"" + own + "\"=dword:0\n", true},
        {"empty include leaves exclude", include + exclude + module, false},
    };
    for (const auto& c : cases) {
        RestoreLoadState();
        std::filesystem::remove(trace_file());
        Configure("\"DoTrace\"=dword:1\n", c.lists);
        {
            CTraceScope scope("Test::Filtered", 0);
            scope.Result("failure", 0x80004005);
        }
        EXPECT_EQ(Types(), c.traced ? ">E<" : "E") << c.name;
    }
}

}  // namespace
