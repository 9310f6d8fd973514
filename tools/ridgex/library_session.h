// The library for the length of one command: started at construction,
// stopped at destruction, with the readers it lists and the reader a
// command names.
#pragma once

#include <string>
#include <vector>

#include "ridgex.h"

class library_session {
  public:
    library_session();
    ~library_session();
    library_session(const library_session&) = delete;
    library_session& operator=(const library_session&) = delete;

    // Starts the library and lists its readers. False after a message when
    // the library failed, or started without any backend: then the message
    // names where backend libraries were looked for.
    bool Start();

    const std::vector<ridgex_device_info>& Readers() const { return readers_; }

    // The listed reader of that name: its full name ("$01$door") or, if
    // only one reader has it, the name behind the slot prefix ("door").
    // Null after a message when none or several match.
    const ridgex_device_info* Find(const std::string& name) const;

  private:
    bool started_ = false;
    std::vector<ridgex_device_info> readers_;
};

// The slot of a listed reader, from the "$NN$" prefix of its name; -1
// without one.
int ReaderSlot(const ridgex_device_info& reader);

// An open reader, closed when the object goes.
class open_reader {
  public:
    open_reader() = default;
    ~open_reader();
    open_reader(const open_reader&) = delete;
    open_reader& operator=(const open_reader&) = delete;

    // Opens exclusively; false after a message naming the status.
    bool Open(const std::string& name);
    ridgex_handle Handle() const { return dev_; }

  private:
    ridgex_handle dev_ = nullptr;
};
