// Where records go: nowhere, or to the trace file. The choice is made once,
// by the first record, and holds until the library is unloaded.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace SlvTraceNS {

class COutput {
  public:
    // `record` is a whole record, head included; its text may be enciphered
    // in place. Never fails in a way the caller could notice.
    virtual void Write(uint8_t* record, size_t length) = 0;
    virtual ~COutput() = default;
};

// Drops every record: tracing is on but TraceToFile says no file.
class CNoOutput final : public COutput {
  public:
    void Write(uint8_t*, size_t) override {}
};

// Appends records to the trace file. A file that could not be opened leaves
// the output invalid, and every record is then dropped in silence.
class CFileOutput final : public COutput {
  public:
    CFileOutput();
    ~CFileOutput() override;
    CFileOutput(const CFileOutput&) = delete;
    CFileOutput& operator=(const CFileOutput&) = delete;

    void Write(uint8_t* record, size_t length) override;

    bool is_valid() const { return file_ >= 0; }
    const std::string& path() const { return path_; }

  private:
    int file_ = -1;
    std::string path_;
};

// Creates the output on first use and writes one record to it. Called with
// the trace lock held; a null record does nothing.
void WriteRecord(uint8_t* record, size_t length);

}  // namespace SlvTraceNS
