// The closed scoring library "nex_sdk.dll", bound at its first call so that
// the library starts and runs on a machine without it. The calls keep the
// scorer's own meaning: results of initialize and load_model are read back
// through error_query.
#pragma once

#include <cstdint>

namespace nex_sdk {

// These bind the scorer if it is not bound yet. Without it, initialize and
// load_model do nothing and error_query answers non-zero, so a start counts
// as failed; get_score answers -1.
int initialize(const char* model_path);
int load_model(int which);
int load_image_bytes(const uint8_t* image, int height, int width);
int get_score(int which);
int error_query();

// The release calls never bind: while the scorer is not bound they do
// nothing and answer 0. On our side they are one atomic load and an indirect
// call, so they load nothing and take no lock; whether they are
// async-signal-safe beyond that is up to the scorer's own functions.
int destroy_model();
int destroy();

}  // namespace nex_sdk
