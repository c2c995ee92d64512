// Compiled with -O3 (see CMakeLists.txt): the plain loops below are then
// vectorised as they stand.
#include "api/fold.h"

#include <algorithm>

namespace mlr::api {
namespace {

struct Max {
  static int16_t Apply(int16_t a, int16_t b) { return std::max(a, b); }
};
struct Min {
  static int16_t Apply(int16_t a, int16_t b) { return std::min(a, b); }
};
struct Or {
  static int16_t Apply(int16_t a, int16_t b) { return static_cast<int16_t>(a | b); }
};
struct And {
  static int16_t Apply(int16_t a, int16_t b) { return static_cast<int16_t>(a & b); }
};

template <class Op>
int16_t Run(const int16_t* values, size_t stride, size_t count, int16_t start) {
  int16_t acc = start;
  if (stride == 1) {
    for (size_t k = 0; k < count; ++k) acc = Op::Apply(acc, values[k]);
  } else {
    for (size_t k = 0; k < count; ++k) acc = Op::Apply(acc, values[k * stride]);
  }
  return acc;
}

}  // namespace

void FoldMaxMin(const int16_t* values, size_t count, int16_t* high, int16_t* low) {
  int16_t hi = *high;
  int16_t lo = *low;
  for (size_t k = 0; k < count; ++k) {
    hi = std::max(hi, values[k]);
    lo = std::min(lo, values[k]);
  }
  *high = hi;
  *low = lo;
}

int16_t FoldRun(Fold fold, const int16_t* values, size_t stride, size_t count, int16_t start) {
  switch (fold) {
    case Fold::kMax:
      return Run<Max>(values, stride, count, start);
    case Fold::kMin:
      return Run<Min>(values, stride, count, start);
    case Fold::kOr:
      return Run<Or>(values, stride, count, start);
    case Fold::kAnd:
      return Run<And>(values, stride, count, start);
  }
  return start;
}

}  // namespace mlr::api
