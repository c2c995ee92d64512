// The clock of a save: millisecond ticks for the progress arithmetic, the
// commit interval and the time-left estimate, and the pause a channel group
// makes after each block on a removable target. The system clock is
// timeGetTime and Sleep; tests pass a clock they move by hand, so that the
// progress arithmetic and the pacing are tested without sleeping. The
// threads' polling intervals always use real time.
//
// Threading: Now and Pause may be called from any thread.
#pragma once

#include "platform/win.h"

namespace mlr::save {

class CSaveClock {
 public:
  // Milliseconds since an arbitrary start, 32-bit, wrapping.
  virtual DWORD Now() const = 0;
  // Lets `ms` milliseconds pass on this clock (the system clock sleeps).
  virtual void Pause(DWORD ms) const = 0;

 protected:
  ~CSaveClock() = default;
};

// timeGetTime and Sleep. A static object: lives for the whole process.
const CSaveClock& SystemSaveClock();

}  // namespace mlr::save
