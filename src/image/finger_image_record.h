// Finger image records: resampling of 8-bit images and the writer of
// ANSI/INCITS 381 and ISO/IEC 19794-4 records around the resampled pixels.
//
// Images are 8 bits per pixel, top row first, rows without gaps. The step of
// a resampling is the distance between two output pixels in source pixels, as
// unsigned 8.8 fixed point: 256 is one source pixel.
//
// All three routines are pure: they read the source, write the caller's
// buffer, and allocate nothing, take no lock and write no trace, so they may
// run on any thread and under any lock of the library.
#pragma once

#include <cstdint>

#include "ridgex.h"

// Bytes in front of the pixels of a record: general header plus finger view.
inline constexpr uint32_t kAnsiRecordHeaderSize = 50;
inline constexpr uint32_t kIsoRecordHeaderSize = 46;

// The values of the general record header that depend on the image.
struct RecordHeaderFields {
    uint32_t record_length;  // bytes of the whole record, headers and pixels
    uint32_t resolution;     // pixels per inch; the low 16 bits are stored
};

// Resamples `source` (source_width × source_height pixels) into `output`,
// which receives `output_pixels` bytes: rows of `output_width` pixels, the
// last one cut short if `output_pixels` is not a multiple of the width.
//
// At step 256 the first `output_pixels` source bytes are copied (the source
// must hold that many). Any other step interpolates bilinearly in 8.8 fixed
// point from the source pixel at the output pixel's position and its right,
// lower and lower-right neighbours. A neighbour beyond the right or bottom
// edge stands in as the nearest pixel of the image (the edge is repeated), so
// no read ever leaves the source block, a constant image stays constant, and
// a neighbour whose weight is 0 has no effect at all.
//
// `reverse` turns the output by 180 degrees: the pixel computed k-th lands at
// output[output_pixels - 1 - k], on both paths.
void ResampleImage(uint8_t* output, uint32_t output_width, uint32_t output_pixels,
                   const uint8_t* source, uint32_t source_width, uint32_t source_height,
                   uint32_t step, bool reverse);

// Writes the general record header of `format` (RIDGEX_IMG_FMT_ANSI381: 36
// bytes, RIDGEX_IMG_FMT_ISO19794: 32 bytes) at `output`. Any other format is
// written as ISO; WriteFingerImageRecord has refused those before.
void WriteRecordHeader(const RecordHeaderFields& fields, uint32_t format, uint8_t* output);

// Resamples `pixels` (width × height at `resolution`) to `output_resolution`
// and writes the whole record of `format` into `output`. `*output_size` holds
// the room in `output` and comes back with the record's length; too little
// room gives RIDGEX_E_MORE_DATA with the length, so a first call may pass 0
// and null to learn it. A non-zero `reverse` turns the image by 180 degrees.
//
// Refusals, in the order they are tested (none writes into `output`):
// RIDGEX_E_INVALID_PARAMETER for an empty image or null pixels, for another
// format, for a null `output_size` or a zero resolution; RIDGEX_E_BAD_IMAGE
// when width × height exceeds `pixels_length`; RIDGEX_E_INVALID_PARAMETER
// when the record would not fit in 32 bits; RIDGEX_E_MORE_DATA; and
// RIDGEX_E_INVALID_PARAMETER for a null `output`.
ridgex_result WriteFingerImageRecord(uint32_t width, uint32_t height, uint32_t resolution,
                                     const uint8_t* pixels, uint32_t pixels_length, uint32_t format,
                                     uint32_t output_resolution, uint32_t reverse, uint8_t* output,
                                     uint32_t* output_size);
