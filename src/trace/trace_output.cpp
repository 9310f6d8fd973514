#include "trace/trace_output.h"

#include <cstdio>
#include <cstring>

#include "platform/clock.h"
#include "platform/thread.h"
#include "platform/trace_file.h"
#include "trace/trace_cipher.h"
#include "trace/trace_config.h"
#include "trace/trace_file_name.h"
#include "trace/trace_head.h"
#include "trace/trace_record.h"
#include "trace/trace_registry.h"
#include "trace/trace_statics.h"

namespace SlvTraceNS {
namespace {

COutput* CreateOutput() {
    platform::registry_key key;
    uint32_t value = 0;
    if (!OpenTracingKey(&key) || !ReadDword(key, "DoTrace", &value) || value == 0) {
        return new CNoOutput;
    }
    if (ReadDword(key, "TraceToFile", &value) && value != 1) {
        return new CNoOutput;
    }
    return new CFileOutput;
}

}  // namespace

CFileOutput::CFileOutput() {
    platform::registry_key key;
    OpenTracingKey(&key);
    if (!BuildFileName(key, &path_)) {
        return;
    }
    uint32_t new_file = 1;
    const bool continue_file = ReadDword(key, "NewFileAlways", &new_file) && new_file == 0;
    // All that may run out of memory comes before the open, so that a
    // failure leaves no file open.
    const std::string head = ComposeHead(GatherHeadFacts());
    file_ = platform::open_trace_file(path_.c_str(), !continue_file);
    if (file_ < 0) {
        // Tracing was switched on and cannot work; the trace cannot say so.
        platform::report_unusable("cannot open the trace file", path_.c_str(), -file_);
        return;
    }
    if (platform::trace_file_size(file_) == 0) {
        platform::append_to_trace_file(file_, head.data(), head.size());
        return;
    }
    // Another process wrote here before: mark where this one goes on.
    const platform::local_time_t now = platform::local_time();
    char date[kContinuedText + 1];
    std::snprintf(date, sizeof date, "%02d-%02d-%02d", now.month % 100, now.day % 100,
                  now.year % 10000);
    uint8_t record[kRecordHeadSize + kContinuedText];
    PutRecordHead(record, platform::current_thread_id(), kContinued, kContinuedText);
    std::memcpy(record + kRecordHeadSize, date, kContinuedText);
    Write(record, kRecordHeadSize + kContinuedText);
}

CFileOutput::~CFileOutput() {
    if (is_valid()) {
        platform::close_trace_file(file_);
    }
}

void CFileOutput::Write(uint8_t* record, size_t length) {
    if (!is_valid()) {
        return;
    }
    if (length > kRecordHeadSize) {
        EncipherText(record + kRecordHeadSize, length - kRecordHeadSize);
    }
    // Opened for appending: every write lands at the end as one step, also
    // when another process has written or cut the file meanwhile.
    platform::append_to_trace_file(file_, record, length);
}

void WriteRecord(uint8_t* record, size_t length) {
    if (record == nullptr) {
        return;
    }
    if (output_holder.get() == nullptr) {
        // An output that cannot be made for want of memory costs this
        // record; the next one tries again.
        try {
            output_holder.set(CreateOutput());
        } catch (...) {
            return;
        }
    }
    output_holder.get()->Write(record, length);
}

void output_holder_t::Release() {
    next_check.store(0, std::memory_order_relaxed);
    delete output_;
    output_ = nullptr;
}

}  // namespace SlvTraceNS
