// The worker threads of a channel resampler's buffer call: one thread per
// group resampler, run together in a batch of at most four.
//
// Each thread enters the multithreaded apartment, lets its group resampler
// produce the wanted items into the record's own buffers, stores the count
// produced and leaves the apartment. RunBatch returns when every thread of
// the batch has ended; only then does the caller touch the records again.
// A thread that cannot be created is replaced by running its group on the
// calling thread, so a batch always completes.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/win.h"
#include "resampler/group_resampler.h"

namespace mlr::resampler {

constexpr size_t kMaxBatchThreads = 4;

struct WorkerRecord {
  CGroupResampler* group = nullptr;
  int32_t wanted = 0;
  std::vector<float> analog;    // wanted x the group's analog channels
  std::vector<int16_t> events;  // wanted x the group's event channels
  HANDLE thread = nullptr;
  int32_t produced = 0;
};

// Sizes each record's buffers (zero-filled) and runs the batch. `count` is
// at most kMaxBatchThreads. Throws std::bad_alloc before any thread starts.
void RunBatch(WorkerRecord* records, size_t count);

}  // namespace mlr::resampler
