// Folding runs of 16-bit samples into one value: the maximum, the minimum,
// the bitwise OR or the bitwise AND of values[0], values[stride], ...,
// values[(count - 1) x stride] together with `start`. Contiguous runs
// (stride 1) go through loops the compiler vectorises, since the reduced
// data of a long display fold hundreds of millions of samples.
#pragma once

#include <cstddef>
#include <cstdint>

namespace mlr::api {

enum class Fold { kMax, kMin, kOr, kAnd };

int16_t FoldRun(Fold fold, const int16_t* values, size_t stride, size_t count, int16_t start);

// The maximum and the minimum of one contiguous run in a single pass,
// together with *high and *low.
void FoldMaxMin(const int16_t* values, size_t count, int16_t* high, int16_t* low);

}  // namespace mlr::api
