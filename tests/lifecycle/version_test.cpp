// The version record, from the export and from the built-in backend, which
// report the same numbers.
#include <gtest/gtest.h>

#include <cstring>

#include "shim/fpapi_shim.h"

namespace {

template <typename Fill>
void ExpectVersionRecord(Fill fill) {
    ridgex_version_info version;
    std::memset(&version, 0xAB, sizeof(version));
    version.size = 27;
    EXPECT_EQ(fill(&version), RIDGEX_E_INVALID_PARAMETER);
    EXPECT_EQ(version.lib_major, 0xABABABABu) << "a short record must stay untouched";
    EXPECT_EQ(fill(nullptr), RIDGEX_E_INVALID_PARAMETER);

    version.size = 40;
    ASSERT_EQ(fill(&version), RIDGEX_SUCCESS);
    EXPECT_EQ(version.size, 40u);
    const uint32_t expected[] = {3, 2, 0, 1, 10, 0};
    EXPECT_EQ(std::memcmp(&version.lib_major, expected, sizeof(expected)), 0);
}

TEST(Version, ExportNeedsNoInit) {
    ExpectVersionRecord(ridgex_version);
}

TEST(Version, BuiltInBackendReportsTheSameNumbers) {
    ExpectVersionRecord([](ridgex_version_info* v) { return CFpapiShim::Instance().Version(v); });
}

}  // namespace
