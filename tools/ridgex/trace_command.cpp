// ridgex trace on [--folder DIR] | off | status | show [--flat] FILE
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

#include "commands.h"
#include "exit_status.h"
#include "platform/registry.h"
#include "platform/utf16.h"
#include "report.h"
#include "trace_file_reader.h"
#include "trace_printer.h"
#include "trace_switch.h"

namespace {

constexpr const char* kTracingKey = "SOFTWARE\\Solvane\\Tracing";

bool ReadFile(const std::string& path, std::string* bytes) {
    std::ifstream in(path, std::ios::binary);
    bytes->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return static_cast<bool>(in) || in.eof();
}

// Writes beside the store and renames, so that a library reading the store
// meanwhile sees either the old text or the new one.
bool WriteStore(const std::string& path, const std::string& text) {
    std::error_code error;
    const std::filesystem::path folder = std::filesystem::path(path).parent_path();
    if (!folder.empty()) {
        std::filesystem::create_directories(folder, error);
    }
    const std::string temporary = path + ".new." + std::to_string(getpid());
    std::ofstream(temporary, std::ios::binary | std::ios::trunc) << text;
    std::filesystem::rename(temporary, path, error);
    if (error || std::filesystem::file_size(path, error) != text.size()) {
        std::filesystem::remove(temporary, error);
        ReportError("cannot write the registry store " + path +
                    " (run as root, or point RIDGEX_REGISTRY at a file of your own)");
        return false;
    }
    return true;
}

// A value of the tracing key as the library reads it: a number, or text.
bool QueryNumber(const platform::registry_key& key, const char* name, uint32_t* value) {
    uint32_t type = 0;
    uint32_t size = sizeof(*value);
    return key.query_value(name, &type, value, &size) == platform::reg_ok &&
           type == platform::reg_dword;
}

std::string QueryText(const platform::registry_key& key, const char* name) {
    uint32_t type = 0;
    uint32_t size = 0;
    if (key.query_value(name, &type, nullptr, &size) != platform::reg_ok ||
        (type != platform::reg_sz && type != platform::reg_expand_sz)) {
        return "";
    }
    std::vector<uint8_t> bytes(size);
    key.query_value(name, &type, bytes.data(), &size);
    const std::u16string text = platform::utf16le_from_bytes(bytes.data(), bytes.size());
    return platform::utf16_to_utf8(text.data(), text.size());
}

int Status() {
    const std::string path = platform::registry_file_path();
    platform::registry_key key;
    uint32_t on = 0;
    const bool found =
        key.open(kTracingKey) == platform::reg_ok && QueryNumber(key, "DoTrace", &on);
    std::printf("Tracing is %s (registry store %s).\n", found && on != 0 ? "on" : "off",
                path.c_str());
    if (!found || on == 0) {
        return kExitOk;
    }
    const std::string file = QueryText(key, "FileName");
    const std::string folder = QueryText(key, "TracePath");
    if (!file.empty()) {
        std::printf("Trace file: %s\n", file.c_str());
    } else {
        std::printf("Trace files: PROGRAM.libridgex.so.x64.SESSION.trc3 in %s\n",
                    folder.empty() ? "the folder of libridgex.so" : folder.c_str());
    }
    uint32_t verbosity = 0;
    if (QueryNumber(key, "Verbosity", &verbosity)) {
        std::printf("Verbosity: %u\n", verbosity);
    }
    return kExitOk;
}

std::string QuotedText(const std::string& text) {
    std::string quoted = "\"";
    for (char c : text) {
        quoted += c == '"' || c == '\\' ? std::string("\\") + c : std::string(1, c);
    }
    return quoted + "\"";
}

int Switch(bool on, const arguments& args) {
    const std::string path = platform::registry_file_path();
    std::string text;
    const bool exists = std::filesystem::exists(path);
    if (exists && !ReadFile(path, &text)) {
        ReportError("cannot read the registry store " + path);
        return kExitFailure;
    }
    if (!on && !exists) {
        std::printf("Tracing is off (registry store %s does not exist).\n", path.c_str());
        return kExitOk;
    }
    std::vector<value_line> values = {
        {"DoTrace", std::string("\"DoTrace\"=dword:0000000") + (on ? "1" : "0")}};
    if (args.Has("--folder")) {
        const std::string folder = std::filesystem::absolute(args.Value("--folder")).string();
        values.push_back({"TracePath", "\"TracePath\"=" + QuotedText(folder)});
    }
    if (!WriteStore(path, SetTracingValues(text, values))) {
        return kExitFailure;
    }
    return Status();
}

int Show(const arguments& args) {
    if (args.Operands().size() != 2) {
        return UsageError("trace", "show takes one file");
    }
    const std::string& path = args.Operands()[1];
    std::string bytes;
    if (!std::filesystem::is_regular_file(path) || !ReadFile(path, &bytes)) {
        ReportError("cannot read " + path);
        return kExitFailure;
    }
    const trc3::TraceFile file = trc3::ReadTraceFile(bytes);
    trc3::PrintOptions options;
    options.flat = args.Has("--flat");
    trc3::PrintTraceFile(file, options, std::cout);
    return file.problems.empty() ? kExitOk : kExitDamaged;
}

}  // namespace

int RunTrace(const arguments& args) {
    const std::string what = args.Operands().empty() ? "" : args.Operands()[0];
    if (what == "show") {
        return Show(args);
    }
    if (args.Operands().size() != 1 || (what != "on" && what != "off" && what != "status")) {
        return UsageError("trace", "say on, off, status or show FILE");
    }
    if (args.Has("--folder") && what != "on") {
        return UsageError("trace", "--folder goes with on");
    }
    if (args.Has("--flat")) {
        return UsageError("trace", "--flat goes with show");
    }
    return what == "status" ? Status() : Switch(what == "on", args);
}
