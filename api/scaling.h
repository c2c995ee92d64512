// The conversion loops of the scaled data: raw 16-bit samples to technical
// units, value = raw x step + y0.
//
// Every value is computed with two roundings, a product and then a sum,
// never with a fused multiply-add, so that every machine and every build
// gives the same bits (this file is compiled with floating-point
// contraction switched off). A void y0 or step (the void number) yields the
// void number itself, since the arithmetic passes that NaN on unchanged.
//
// The loops run over plain buffers, with no call per sample, and the
// contiguous one is written so that the compiler vectorises it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace mlr::api {

// One scaled value.
double Scale(int16_t raw, double y0, double step);

// out[k] = raw[k] x step[k] + y0[k] for k in [0, count): the frame-interleaved
// fast path, with the coefficients laid out like the data. The four buffers
// must not overlap.
void ScaleContiguous(const int16_t* raw, double* out, size_t count, const double* step,
                     const double* y0);

// Full-rate results of more bytes than this are written with stores that
// bypass the caches (platform/streaming_stores.h): the processor's
// last-level cache size, so that a result a caller can still find in the
// cache is written the ordinary way.
size_t StreamingThresholdBytes();

// Replaces the threshold for the whole process and returns the one before
// (for tests: 0 streams every result). Any thread may call it.
size_t SetStreamingThresholdBytes(size_t bytes);

// out[k x stride] = Scale(raw[k x raw_stride], y0, step) for k in [0, count).
void ScaleStrided(const int16_t* raw, size_t raw_stride, double* out, size_t stride, size_t count,
                  double y0, double step);

// The event word of an event channel kept in a double: the 16-bit word in the
// two lowest-addressed bytes, the other six bytes zero. Read it back by
// reinterpreting the bits (EventWord), not as a number.
double EventBits(int16_t raw);
int16_t EventWord(double bits);

// out[k x stride] = EventBits(raw[k x stride]) for k in [0, count).
void EventStrided(const int16_t* raw, double* out, size_t stride, size_t count);

}  // namespace mlr::api
