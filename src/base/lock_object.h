// Mutual exclusion: a recursive lock and the stack object that holds it for
// the length of a block.
#pragma once

#include <cstdint>

#include "platform/mutex.h"

// The holder may enter again; every Lock needs its Unlock. The mutex lives
// in its own heap block, so an owner that is relocated bitwise (an item of
// vector_t) carries the lock along unharmed while nobody holds it. Lock and
// Unlock do nothing when there is no mutex.
class lock_object_t {
  public:
    // Allocates with the throwing allocator: a lock that cannot be allocated
    // ends the construction of its owner.
    lock_object_t() : section(platform::create_recursive_mutex()) {}
    virtual ~lock_object_t() {
        if (section != nullptr) {
            platform::destroy_recursive_mutex(section);
        }
    }
    lock_object_t(const lock_object_t&) = delete;
    lock_object_t& operator=(const lock_object_t&) = delete;

    void Lock() {
        if (section != nullptr) {
            platform::lock_mutex(section);
        }
    }
    // Lock, giving up after `ms` milliseconds; true if it locked (also when
    // there is no mutex, as Lock then does nothing either).
    bool LockFor(uint32_t ms) {
        return section == nullptr || platform::lock_mutex_for(section, ms);
    }
    void Unlock() {
        if (section != nullptr) {
            platform::unlock_mutex(section);
        }
    }

  private:
    platform::recursive_mutex* section;
};

// Holds `lock` from construction to the end of the enclosing block, on every
// way out of it.
class scoped_lock_t {
  public:
    explicit scoped_lock_t(lock_object_t& lock) : held(lock) { held.Lock(); }
    virtual ~scoped_lock_t() { held.Unlock(); }
    scoped_lock_t(const scoped_lock_t&) = delete;
    scoped_lock_t& operator=(const scoped_lock_t&) = delete;

  private:
    lock_object_t& held;
};
