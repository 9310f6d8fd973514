// A test of tracing: the registry store and the trace file in a fresh folder,
// tracing put back as at load before and after each test, and the records of
// the file read back with the reader tool's own code.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/temp_folder.h"
#include "trace/trace_config.h"
#include "trace/trace_front_end.h"
#include "trace/trace_scope.h"
#include "trace_file_reader.h"

namespace ridgex_test {

class TraceTest : public ::testing::Test {
  protected:
    void SetUp() override { SlvTraceNS::RestoreLoadState(); }
    void TearDown() override { SlvTraceNS::RestoreLoadState(); }

    // The tracing key with `values`, the file aimed at trace_file().
    void Configure(const std::string& values, const std::string& more_keys = "") {
        registry_.Write(kTracingKey + "\"FileName\"=\"" + trace_file() + "\"\n" + values +
                        more_keys);
    }
    // The next scope reads the configuration, as if 30 seconds had passed.
    static void ForceCheck() { SlvTraceNS::next_check.store(0); }
    static void OneScope() { SlvTraceNS::CTraceScope scope("Test::Scope", 0); }

    std::string trace_file() const { return folder_ / "test.trc3"; }
    trc3::TraceFile ReadBack() const { return trc3::ReadTraceFile(ReadFile(trace_file())); }

    // The types of the records in the file, as one string such as "tT>T<";
    // without the time marks unless asked, as they depend on the clock.
    std::string Types(bool with_marks = false) const {
        std::string types;
        for (const auto& record : ReadBack().records) {
            types += record.type;
        }
        if (!with_marks) {
            std::erase_if(types, [](char type) { return type == 't' || type == 'T'; });
        }
        return types;
    }
    // The texts of the records of one type.
    std::vector<std::string> Texts(char type) const {
        std::vector<std::string> texts;
        for (const auto& record : ReadBack().records) {
            if (record.type == type) {
                texts.push_back(record.text);
            }
        }
        return texts;
    }

    TempFolder folder_;
    RegistryFile registry_{folder_};
};

}  // namespace ridgex_test
