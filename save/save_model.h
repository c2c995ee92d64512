// CSaveModel: what the main save thread needs of the model of a save.
//
// The model holds the source recordings (in the order of their first
// appearance among the saved channels), the channel groups to write (same
// order, owned by the model), the options and the span. CSaveRecording
// (save/save_recording.h) is the model built by SaveRecording; tests may
// derive their own.
//
// The main save thread calls, in this order and only on its own thread:
//   Align            before the phases: the time alignment of the groups and
//                    the target's file time
//   Gather           after phase 1: the recording-wide description
//   WriteRecording   right after Gather: the recording-wide records into the
//                    "Data" storage and the root storage (summary
//                    information, physical-channel configuration) and the
//                    collections
// A negative result of any of them becomes the save's error code. The group
// list does not change once the thread has started.
#pragma once

#include <vector>

#include "platform/win.h"
#include "save/save_object.h"

namespace mlr::save {

class CSaveModel {
 public:
  virtual ~CSaveModel() = default;

  // The groups in model order; the pointers stay valid while the model lives.
  virtual const std::vector<CSaveObject*>& groups() const = 0;
  // The number of source recordings (groups' source_recording() is below it).
  virtual ULONG recording_count() const = 0;

  // Computes the start and end of every group; *file_time receives the
  // target's file time (a DATE, UTC).
  virtual HRESULT Align(DATE* file_time) = 0;
  virtual HRESULT Gather() = 0;
  virtual HRESULT WriteRecording(IStorage* root, IStorage* data) = 0;
};

}  // namespace mlr::save
