/*
 * The simulated scoring library libnex_sdk.so: the seven operations of the
 * closed scorer and the test controls beside them (prefix nex_sim_). Tests
 * load the library with dlopen and look these up by name; the typedefs give
 * the types. The model file format and the error numbers are written down in
 * docs/liveness.md.
 */
#ifndef NEX_SIM_H
#define NEX_SIM_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define NEX_SIM_API __attribute__((visibility("default")))

/* Error numbers of nex_sdk_error_query, besides those a test injects. */
#define NEX_SIM_E_NOT_STARTED 1 /* initialize was not called, or destroy since */
#define NEX_SIM_E_MODEL_FILE 2  /* the model file cannot be read */
#define NEX_SIM_E_MODEL_TEXT 3  /* the model file is not a valid model */
#define NEX_SIM_E_NO_MODEL 4    /* no model is loaded */
#define NEX_SIM_E_IMAGE 5       /* null image or a size below 1 */
#define NEX_SIM_E_NO_IMAGE 6    /* get_score before an image was loaded */

NEX_SIM_API int nex_sdk_initialize(const char* model_path);
NEX_SIM_API int nex_sdk_load_model(int which);
NEX_SIM_API int nex_sdk_load_image_bytes(const uint8_t* image, int height, int width);
NEX_SIM_API int nex_sdk_get_score(int which);
NEX_SIM_API int nex_sdk_error_query(void);
NEX_SIM_API int nex_sdk_destroy_model(void);
NEX_SIM_API int nex_sdk_destroy(void);

/* Operation names for the controls: "initialize", "load_model",
 * "load_image_bytes", "get_score", "error_query", "destroy_model",
 * "destroy". */

/* Forgets everything: the scorer's state, call counts, failures, the forced
 * score and the recorded path and shape. */
NEX_SIM_API void nex_sim_reset(void);
/* Every later call of the operation fails with `error` (0 stops it) until
 * reset: initialize, load_model and load_image_bytes report it through
 * error_query, get_score returns -error. -1 for an operation that cannot
 * fail this way. */
NEX_SIM_API int nex_sim_fail(const char* operation, int error);
/* get_score returns `score` for every loaded image until reset. */
NEX_SIM_API void nex_sim_set_score(int score);
/* Calls of the operation since the last reset; -1 for an unknown name. */
NEX_SIM_API int nex_sim_calls(const char* operation);
/* The path given to the last initialize, "" before any. */
NEX_SIM_API const char* nex_sim_model_path(void);
/* Height and width given with the last image that loaded, 0 before any. */
NEX_SIM_API void nex_sim_image_shape(int* height, int* width);

typedef int (*nex_sdk_initialize_fn)(const char*);
typedef int (*nex_sdk_load_model_fn)(int);
typedef int (*nex_sdk_load_image_bytes_fn)(const uint8_t*, int, int);
typedef int (*nex_sdk_get_score_fn)(int);
typedef int (*nex_sdk_error_query_fn)(void);
typedef int (*nex_sdk_destroy_fn)(void);
typedef void (*nex_sim_reset_fn)(void);
typedef int (*nex_sim_fail_fn)(const char*, int);
typedef void (*nex_sim_set_score_fn)(int);
typedef int (*nex_sim_calls_fn)(const char*);
typedef const char* (*nex_sim_model_path_fn)(void);
typedef void (*nex_sim_image_shape_fn)(int*, int*);

#ifdef __cplusplus
}
#endif

#endif
