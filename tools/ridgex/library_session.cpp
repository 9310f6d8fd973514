#include "library_session.h"

#include "backend_search.h"
#include "report.h"

namespace {

constexpr size_t kPrefixLength = 4;  // "$NN$"

bool HasSlotPrefix(const char* name) {
    return name[0] == '$' && name[1] >= '0' && name[1] <= '9' && name[2] >= '0' && name[2] <= '9' &&
           name[3] == '$';
}

// Asks for the count, then for the list; readers may come in between, so a
// second RIDGEX_E_MORE_DATA just means asking again with the new count.
ridgex_result QueryReaders(std::vector<ridgex_device_info>& readers) {
    uint32_t count = 0;
    ridgex_result status = RIDGEX_E_MORE_DATA;
    while (status == RIDGEX_E_MORE_DATA) {
        readers.assign(count, ridgex_device_info{});
        if (!readers.empty()) {
            readers[0].size = sizeof(ridgex_device_info);
        }
        status = ridgex_query_devices(&count, readers.empty() ? nullptr : readers.data());
    }
    readers.resize(status == RIDGEX_SUCCESS ? count : 0);
    return status;
}

}  // namespace

int ReaderSlot(const ridgex_device_info& reader) {
    return HasSlotPrefix(reader.name) ? (reader.name[1] - '0') * 10 + (reader.name[2] - '0') : -1;
}

library_session::library_session() = default;

library_session::~library_session() {
    if (started_) {
        ridgex_exit();
    }
}

bool library_session::Start() {
    if (const ridgex_result status = ridgex_init(); status != RIDGEX_SUCCESS) {
        // Every backend that was found failed its start.
        ReportStatus("the library cannot start", status);
        ExplainNoBackend();
        return false;
    }
    started_ = true;
    const ridgex_result status = QueryReaders(readers_);
    // The start succeeds also when no backend came up; the library then
    // stays down and answers every reader operation with a failure.
    if (status == RIDGEX_E_FAILURE) {
        started_ = false;
        ExplainNoBackend();
        return false;
    }
    if (status != RIDGEX_SUCCESS) {
        ReportStatus("cannot list the readers", status);
        return false;
    }
    return true;
}

const ridgex_device_info* library_session::Find(const std::string& name) const {
    const ridgex_device_info* found = nullptr;
    int matches = 0;
    for (const ridgex_device_info& reader : readers_) {
        if (name == reader.name) {
            return &reader;
        }
        if (HasSlotPrefix(reader.name) && name == reader.name + kPrefixLength) {
            found = &reader;
            ++matches;
        }
    }
    if (matches == 1) {
        return found;
    }
    ReportError(matches == 0 ? "no reader named '" + name + "' ('ridgex list' shows the names)"
                             : "several readers are named '" + name +
                                   "'; give the name with its $NN$ prefix");
    return nullptr;
}

open_reader::~open_reader() {
    if (dev_ != nullptr) {
        ridgex_close(dev_);
    }
}

bool open_reader::Open(const std::string& name) {
    if (const ridgex_result status = ridgex_open(name.c_str(), &dev_); status != RIDGEX_SUCCESS) {
        dev_ = nullptr;
        ReportStatus("cannot open " + name, status);
        return false;
    }
    return true;
}
