#include "trace/trace_scope.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string_view>

#include "base/call_depth.h"
#include "base/test_seam.h"
#include "platform/clock.h"
#include "platform/thread.h"
#include "trace/trace_config.h"
#include "trace/trace_front_end.h"
#include "trace/trace_output.h"
#include "trace/trace_statics.h"

namespace SlvTraceNS {
namespace {

// A message's format and its text, terminator included.
constexpr size_t kMessageRoom = 400;
constexpr size_t kFailureRoom = kMaxFailureText + 1;

constinit platform::local_time_t last_time_mark{};

// Off, or in a signal handler that interrupted the library on this thread:
// there the trace lock may be held by the very code the handler interrupted,
// and the time marks, the formatter and the first output are not
// async-signal-safe, so the handler's records are dropped. Off is the case
// whose cost counts: it stays the straight path.
bool TracingOn() {
    if ((flags_word.load(std::memory_order_relaxed) & kFlagTrace) == 0) [[likely]] {
        return false;
    }
    return !call_depth::Interrupting();
}

// Verbosity and the module filter, read under the trace lock.
bool LevelWritten(int32_t level) {
    return module_enabled && verbosity >= std::llabs(level);
}

// The format must fit in the room of a message as UTF-16 units, after one
// unit more for every "%s" and "%c": the limits of a wide formatter that a
// narrow string has to pass through. A format that does not fit is dropped
// whole rather than cut.
bool FormatFits(std::string_view format) {
    size_t units = 0;
    for (size_t i = 0; i < format.size(); ++i) {
        const auto byte = static_cast<uint8_t>(format[i]);
        units += (byte & 0xC0) != 0x80;  // one per character...
        units += byte >= 0xF0;           // ...two beyond the basic plane
        if (byte == '%' && i + 1 < format.size() &&
            (format[i + 1] == 's' || format[i + 1] == 'c')) {
            ++units;
        }
    }
    return units < kMessageRoom;
}

}  // namespace

void WriteTimeMarks() {
    const platform::local_time_t now = platform::local_time();
    const platform::local_time_t& last = last_time_mark;
    char text[kTimeMarkText + 1];
    if (now.year != last.year || now.month != last.month || now.day != last.day) {
        std::snprintf(text, sizeof text, "%02d/%02d/%02d", now.month % 100, now.day % 100,
                      now.year % 100);
        WriteTextRecord(kDateMark, text, std::strlen(text));
    } else if (now.hour == last.hour && now.minute == last.minute && now.second == last.second &&
               now.milliseconds == last.milliseconds) {
        return;
    }
    std::snprintf(text, sizeof text, "%02d:%02d:%02d.%03d", now.hour % 100, now.minute % 100,
                  now.second % 100, now.milliseconds % 1000);
    WriteTextRecord(kTimeMark, text, std::strlen(text));
    last_time_mark = now;
}

void WriteTextRecord(RecordType type, const char* text, size_t length) {
    PassSeam(seam_point::trace_record);
    uint8_t record[kRecordHeadSize + kMaxMessageText];
    if (length > kMaxMessageText) {
        length = kMaxMessageText;
    }
    PutRecordHead(record, platform::current_thread_id(), type, static_cast<uint16_t>(length));
    if (length != 0) {
        std::memcpy(record + kRecordHeadSize, text, length);
    }
    WriteRecord(record, kRecordHeadSize + length);
}

void RestoreLoadState() {
    std::lock_guard lock(trace_lock);
    output_holder.Release();
    flags_word.store(kStartFlags);
    verbosity = 0;
    module_enabled = true;
    last_time_mark = {};
}

CTraceScope::CTraceScope(const char* name, int32_t level) : level_(level) {
    Refresh();
    if (!TracingOn()) {
        return;
    }
    std::lock_guard lock(trace_lock);
    std::memset(name_, 0, sizeof name_);
    std::strncpy(name_, name != nullptr ? name : "????", sizeof name_ - 1);
    if (LevelWritten(level_)) {
        WriteTimeMarks();
        WriteTextRecord(kScopeEntered, name_, std::strlen(name_));
    }
}

CTraceScope::~CTraceScope() {
    if (!TracingOn()) {
        return;
    }
    std::lock_guard lock(trace_lock);
    if (LevelWritten(level_)) {
        WriteTimeMarks();
        WriteTextRecord(kScopeLeft, nullptr, 0);
    }
}

void CTraceScope::Message(const char* format, ...) {
    va_list args;
    va_start(args, format);
    WriteMessage(format, &args);
    va_end(args);
}

void CTraceScope::Text(const char* text) {
    WriteMessage(text, nullptr);
}

void CTraceScope::WriteMessage(const char* format, va_list* args) {
    if (!TracingOn() || (flags_word.load(std::memory_order_relaxed) & kFlagProfiling) != 0) {
        return;
    }
    std::lock_guard lock(trace_lock);
    if (!LevelWritten(level_)) {
        return;
    }
    const char* text = "";
    char formatted[kMessageRoom] = {};
    if (format != nullptr && format[0] != '\0') {
        if (!FormatFits(format)) {
            return;
        }
        text = format;
        if (args != nullptr) {
            std::vsnprintf(formatted, sizeof formatted, format, *args);
            text = formatted;
        }
    }
    WriteTimeMarks();
    WriteTextRecord(kMessage, text, std::strlen(text));
}

void CTraceScope::Result(const char* text, uint32_t code) {
    if (!TracingOn()) {
        return;
    }
    if ((code & 0x80000000) == 0 && (code & 0x1FFF0000) != 0x00090000) {
        return;
    }
    std::lock_guard lock(trace_lock);
    WriteTimeMarks();
    char line[kFailureRoom];
    std::snprintf(line, sizeof line, "%d %s", static_cast<int32_t>(code),
                  text != nullptr ? text : "");
    WriteTextRecord(kFailure, line, std::strlen(line));
}

}  // namespace SlvTraceNS
