// The layout of a .trc3 file, shared by the writer in the library and by the
// reader tool. A file is a head of text lines, each ending in CR LF, from the
// magic line to a line holding a single dot, then binary records to the end
// of the file. A record is a 7-byte plain head (thread id u32 LE, type byte,
// text length u16 LE) followed by its text, enciphered.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace SlvTraceNS {

inline constexpr std::string_view kTraceMagic = "trace3\r\n";
inline constexpr std::string_view kHeadEnd = ".\r\n";
inline constexpr std::string_view kTraceVersion = "3.0.1";

inline constexpr size_t kRecordHeadSize = 7;

enum RecordType : uint8_t {
    kScopeEntered = '>',
    kScopeLeft = '<',
    kMessage = 'U',
    kFailure = 'E',
    kDateMark = 't',
    kTimeMark = 'T',
    kContinued = 'N',
};

// Room for the text of each kind of record, terminator not counted.
inline constexpr size_t kMaxNameText = 99;
inline constexpr size_t kMaxMessageText = 399;
inline constexpr size_t kMaxFailureText = 260;
inline constexpr size_t kDateMarkText = 8;    // "MM/DD/YY"
inline constexpr size_t kTimeMarkText = 12;   // "HH:MM:SS.mmm"
inline constexpr size_t kContinuedText = 10;  // "MM-DD-YYYY"

// Writes the plain head of a record with `length` bytes of text.
inline void PutRecordHead(uint8_t* record, uint32_t thread_id, RecordType type, uint16_t length) {
    record[0] = static_cast<uint8_t>(thread_id);
    record[1] = static_cast<uint8_t>(thread_id >> 8);
    record[2] = static_cast<uint8_t>(thread_id >> 16);
    record[3] = static_cast<uint8_t>(thread_id >> 24);
    record[4] = type;
    record[5] = static_cast<uint8_t>(length);
    record[6] = static_cast<uint8_t>(length >> 8);
}

}  // namespace SlvTraceNS
