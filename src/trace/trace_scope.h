// The trace scope: the first statement of nearly every function in the
// library. It writes an entry record when constructed and an exit record when
// destroyed, and carries the function's messages and failure codes in between.
// With tracing off a scope costs a tick count, a comparison and a bit test.
#pragma once

#include <cstdarg>
#include <cstdint>

namespace SlvTraceNS {

class CTraceScope {
  public:
    // `name` is "Class::Function" (null gives "????"); `level` is compared
    // with the configured verbosity.
    CTraceScope(const char* name, int32_t level);
    ~CTraceScope();

    CTraceScope(const CTraceScope&) = delete;
    CTraceScope& operator=(const CTraceScope&) = delete;

    // printf-style text under this scope. A format too long for a message
    // writes nothing.
    void Message(const char* format, ...) __attribute__((format(printf, 2, 3)));
    // `text` as it stands, under the rules of a Message whose format it is:
    // nothing when it is too long, and a percent sign reads no value.
    void Text(const char* text);
    // A failure line: "%d %s" of `code` and `text`, written only for codes
    // that look like failures.
    void Result(const char* text, uint32_t code);

  private:
    // The message rules shared by Message and Text; `args` null writes
    // `format` unformatted.
    void WriteMessage(const char* format, va_list* args);

    char name_[100];
    int32_t level_;
};

}  // namespace SlvTraceNS
