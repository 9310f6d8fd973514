// The readers as a client lists them.
#pragma once

#include <gtest/gtest.h>

#include <vector>

#include "ridgex.h"

namespace ridgex_test {

// At most `room` readers; the listing itself must succeed.
inline std::vector<ridgex_device_info> ListReaders(uint32_t room = 8) {
    std::vector<ridgex_device_info> readers(room);
    readers[0].size = sizeof(ridgex_device_info);
    uint32_t count = room;
    EXPECT_EQ(ridgex_query_devices(&count, readers.data()), RIDGEX_SUCCESS);
    readers.resize(count);
    return readers;
}

}  // namespace ridgex_test
