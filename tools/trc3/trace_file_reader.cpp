#include "trace_file_reader.h"

#include <cctype>

#include "trace/trace_cipher.h"
#include "trace/trace_record.h"

namespace trc3 {
namespace {

using namespace SlvTraceNS;

// The text lengths that a record of each type may have.
bool LengthFits(uint8_t type, size_t length) {
    switch (type) {
        case kScopeEntered:
            return length <= kMaxNameText;
        case kScopeLeft:
            return length == 0;
        case kMessage:
            return length <= kMaxMessageText;
        case kFailure:
            return length <= kMaxFailureText;
        case kDateMark:
            return length == kDateMarkText;
        case kTimeMark:
            return length == kTimeMarkText;
        case kContinued:
            return length == kContinuedText;
        default:
            return false;
    }
}

// "NN?NN?NN..." with `separators` at the places of the mask's '?'.
bool MatchesPattern(std::string_view text, std::string_view pattern) {
    if (text.size() != pattern.size()) {
        return false;
    }
    for (size_t i = 0; i < text.size(); ++i) {
        const bool digit = std::isdigit(static_cast<unsigned char>(text[i])) != 0;
        if (pattern[i] == '9' ? !digit : text[i] != pattern[i]) {
            return false;
        }
    }
    return true;
}

bool TextFits(uint8_t type, std::string_view text) {
    switch (type) {
        case kDateMark:
            return MatchesPattern(text, "99/99/99");
        case kTimeMark:
            return MatchesPattern(text, "99:99:99.999");
        case kContinued:
            return MatchesPattern(text, "99-99-9999");
        default:
            return true;
    }
}

class Reader {
  public:
    explicit Reader(std::string_view bytes) : bytes_(bytes) {}

    TraceFile Read() {
        if (bytes_.substr(0, kTraceMagic.size()) != kTraceMagic) {
            const size_t magic = bytes_.find(kTraceMagic);
            Report(0, magic == std::string_view::npos
                          ? "no trace3 head: not a .trc3 file, or its head was overwritten"
                          : "the file does not begin with its head; the first bytes were "
                            "written while another process was recreating the file");
        }
        while (pos_ < bytes_.size()) {
            if (bytes_.substr(pos_, kTraceMagic.size()) == kTraceMagic) {
                ReadHead();
            } else if (!ReadRecord()) {
                Resynchronise();
            }
        }
        return std::move(file_);
    }

  private:
    void Report(size_t offset, std::string what) {
        file_.problems.push_back({offset, std::move(what)});
    }

    void ReadHead() {
        if (!file_.heads.empty() || !file_.records.empty()) {
            Report(pos_,
                   "a new head: another process recreated the file here, and what it "
                   "held before is lost");
        }
        Head head;
        head.offset = pos_;
        head.records_before = file_.records.size();
        while (pos_ < bytes_.size() && !head.complete) {
            const size_t end = bytes_.find("\r\n", pos_);
            if (end == std::string_view::npos) {
                Report(pos_, "the file ends inside its head");
                pos_ = bytes_.size();
                break;
            }
            head.lines.emplace_back(bytes_.substr(pos_, end - pos_));
            pos_ = end + 2;
            head.complete = head.lines.back() == ".";
        }
        file_.heads.push_back(std::move(head));
    }

    // A record that can stand at `at`: a known type, a length that suits
    // it, a thread id, and a text that is all inside the file.
    bool Plausible(size_t at, Record* record) const {
        if (at + kRecordHeadSize > bytes_.size()) {
            return false;
        }
        const auto* head = reinterpret_cast<const uint8_t*>(bytes_.data() + at);
        const uint32_t thread =
            head[0] | (head[1] << 8) | (head[2] << 16) | (static_cast<uint32_t>(head[3]) << 24);
        const size_t length = head[5] | (head[6] << 8);
        if (thread == 0 || !LengthFits(head[4], length) ||
            at + kRecordHeadSize + length > bytes_.size()) {
            return false;
        }
        record->offset = at;
        record->thread = thread;
        record->type = static_cast<char>(head[4]);
        record->text.assign(bytes_.substr(at + kRecordHeadSize, length));
        DecipherText(reinterpret_cast<uint8_t*>(record->text.data()), length);
        return TextFits(head[4], record->text);
    }

    bool ReadRecord() {
        Record record;
        if (Plausible(pos_, &record)) {
            pos_ += kRecordHeadSize + record.text.size();
            file_.records.push_back(std::move(record));
            return true;
        }
        if (pos_ + kRecordHeadSize <= bytes_.size()) {
            const auto* head = reinterpret_cast<const uint8_t*>(bytes_.data() + pos_);
            const size_t length = head[5] | (head[6] << 8);
            const size_t present = bytes_.size() - pos_ - kRecordHeadSize;
            if (LengthFits(head[4], length) && length > present) {
                Report(pos_, "the file is cut here: a '" + std::string(1, char(head[4])) +
                                 "' record announces " + std::to_string(length) +
                                 " bytes of text, " + std::to_string(present) + " are present");
                pos_ = bytes_.size();
                return true;
            }
        } else {
            Report(pos_, "the file is cut here, inside the head of a record (" +
                             std::to_string(bytes_.size() - pos_) + " bytes left)");
            pos_ = bytes_.size();
            return true;
        }
        return false;
    }

    // Skips unreadable bytes up to the next place where a head begins, or
    // where two records follow each other, or one ends the file exactly.
    void Resynchronise() {
        const size_t start = pos_;
        size_t at = start + 1;
        for (; at < bytes_.size(); ++at) {
            if (bytes_.substr(at, kTraceMagic.size()) == kTraceMagic) {
                break;
            }
            Record first;
            Record second;
            if (Plausible(at, &first)) {
                const size_t next = at + kRecordHeadSize + first.text.size();
                if (next == bytes_.size() || Plausible(next, &second) ||
                    bytes_.substr(next, kTraceMagic.size()) == kTraceMagic) {
                    break;
                }
            }
        }
        Report(start, std::to_string(at - start) +
                          " bytes cannot be read here: overwritten by another process, or "
                          "not written by this tracing");
        pos_ = at;
    }

    std::string_view bytes_;
    size_t pos_ = 0;
    TraceFile file_;
};

}  // namespace

TraceFile ReadTraceFile(std::string_view bytes) {
    return Reader(bytes).Read();
}

}  // namespace trc3
