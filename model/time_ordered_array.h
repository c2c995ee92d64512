// The record array behind the event collections (triggers, markers,
// bookmarks): records kept in ascending time order, the ordered insertion
// they share and the index-range query `GetIndicesFromTime`.
//
// `Record` is any copyable type with a public `double time` member. The
// array owns its records (and whatever a record's destructor frees).
//
// Ordered insertion (0-based positions, n records):
//   1. lo = 0, hi = n - 1;
//   2. while hi - lo >= 9: mid = (hi + lo) / 2; t > time[mid] ? lo = mid : hi = mid;
//   3. pos = lo; while pos <= hi and time[pos] <= t: ++pos;
//   4. (markers only) if pos < n and time[pos] == t the record is not added;
//   5. insert at pos (moving the later records up) or append.
// A new record therefore lands after the records of equal or earlier time
// that the final scan passed. The equality test of step 4 looks only at the
// record at the insertion point, so an exact repeat of a marker time is
// normally inserted again after its twin; only a time found again just past
// the scanned range is refused. That is the collections' documented
// behaviour, not an oversight: do not replace it by a search for any equal
// time.
//
// Growth: capacity doubles when full. When it cannot grow the record is
// dropped and `Insert` answers -1; the interface members built on it report
// nothing in that case.
//
// Threading: none. The collections are filled while a recording is loaded;
// concurrent insertion and reading is not supported.
#pragma once

#include <new>
#include <utility>
#include <vector>

#include "platform/win.h"

namespace mlr::model {

template <class Record>
class TimeOrderedArray {
 public:
  // Inserts `record` at its ordered position and returns that 0-based
  // position, or -1 when the record was refused (`refuse_equal_at_insertion`
  // and an equal time at the insertion point) or could not be stored.
  LONG Insert(Record record, bool refuse_equal_at_insertion) {
    const double t = record.time;
    const LONG n = size();
    LONG lo = 0;
    LONG hi = n - 1;
    while (hi - lo >= 9) {
      const LONG mid = (hi + lo) / 2;
      if (t > records_[mid].time) {
        lo = mid;
      } else {
        hi = mid;
      }
    }
    LONG pos = lo;
    while (pos <= hi && records_[pos].time <= t) ++pos;
    if (refuse_equal_at_insertion && pos < n && records_[pos].time == t) return -1;
    try {
      if (records_.size() == records_.capacity()) {
        records_.reserve(records_.empty() ? 1 : records_.capacity() * 2);
      }
      records_.insert(records_.begin() + pos, std::move(record));
    } catch (const std::bad_alloc&) {
      return -1;
    }
    return pos;
  }

  LONG size() const { return static_cast<LONG>(records_.size()); }

  // 0-based access; the caller checks the range.
  const Record& at(LONG i) const { return records_[static_cast<size_t>(i)]; }

  // 1-based range of the records whose time lies in [start, end], both ends
  // inclusive; (-1, -1) when none does. The scans are linear.
  void IndicesFromTime(double start, double end, LONG* first, LONG* last) const {
    const LONG n = size();
    *first = -1;
    *last = -1;
    LONG i = 0;
    for (; i < n; ++i) {
      if (start <= records_[i].time) {
        *first = i + 1;
        break;
      }
    }
    for (; i < n && records_[i].time <= end; ++i) *last = i + 1;
    if (*last == -1) *first = -1;
  }

 private:
  std::vector<Record> records_;
};

}  // namespace mlr::model
