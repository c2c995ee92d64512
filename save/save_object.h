// CSaveObject: a channel group of a save as the save threads drive it.
//
// The main save thread (save/main_save_thread.h) asks each group, in order,
// to create its storage inside the target's "Data" storage, gives it the
// writer queue, the removable-target flag and the save's clock, and then has
// a worker run its phase operation once per save phase (phase numbers in
// save/save_write_job.h); after a failed or aborted save it runs the
// clean-up phase, and in every case it closes the group at the end. The
// progress object sums the four counters over all groups.
//
// CSaveChannelGroup (save/save_channel_group.h) is the implementation that
// writes a source channel group; tests may derive their own.
//
// Threading: CreateStorage, SetWriter, SetRemovable, SetClock and Close run
// on the main save thread; Phase runs on one worker at a time. error() and
// the counters may be read from any thread at any time (the progress object
// reads them while a worker updates them); the counters only grow.
// Ownership: the save model owns its groups (save/save_model.h).
#pragma once

#include <cstdint>

#include "platform/win.h"
#include "save/save_clock.h"
#include "save/save_write_job.h"

namespace mlr::save {

class CSaveObject {
 public:
  virtual ~CSaveObject() = default;

  // The group's number in the saved file (names its storage "ChGroup<n>").
  virtual ULONG number() const = 0;
  // Index of the group's source recording in the save model (0-based).
  virtual ULONG source_recording() const = 0;
  // The group's error code: S_OK, or the first failure.
  virtual HRESULT error() const = 0;

  // Progress counters in bytes (the progress object's sums).
  virtual int64_t EstimatedSize() const = 0;
  virtual int64_t BytesWritten() const = 0;  // full-rate plus reduced data
  virtual int64_t BytesToAllocate() const = 0;
  virtual int64_t BytesAllocated() const = 0;

  // Creates the group's storage in `data` (main save thread, before the
  // phases). A failure is the save's failure.
  virtual HRESULT CreateStorage(IStorage* data) = 0;
  // The queue that performs the group's writes; lives as long as the save.
  virtual void SetWriter(CSaveWriteQueue* writer) = 0;
  virtual void SetRemovable(bool removable) = 0;
  // The clock of the pause after each block on a removable target; lives as
  // long as the save.
  virtual void SetClock(const CSaveClock& clock) = 0;

  // Runs phase `phase`; `caller` is the thread running it (its stop test).
  // Failures are kept as the group's error code.
  virtual void Phase(ULONG phase, const CSaveStopSource& caller) = 0;
  // Releases what the group still holds; called once, at the end.
  virtual void Close() = 0;
};

}  // namespace mlr::save
