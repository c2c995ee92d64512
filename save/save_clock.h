// The clock of a save: millisecond ticks for the progress arithmetic, the
// commit interval and the time-left estimate. The system clock is
// timeGetTime; tests pass a clock they move by hand, so that the progress
// arithmetic is tested without sleeping. Sleeps and polling intervals always
// use real time.
//
// Threading: Now may be called from any thread.
#pragma once

#include "platform/win.h"

namespace mlr::save {

class CSaveClock {
 public:
  // Milliseconds since an arbitrary start, 32-bit, wrapping.
  virtual DWORD Now() const = 0;

 protected:
  ~CSaveClock() = default;
};

// timeGetTime. A static object: lives for the whole process.
const CSaveClock& SystemSaveClock();

}  // namespace mlr::save
