// What the channel-group writer shares with the save threads: the write job,
// the queue that performs jobs (the writer thread), the stop test of the
// thread that runs a phase, and the phase numbers.
//
// Write job: one sequential write of `bytes` bytes from the start of an owned
// safe array's data, at the current position of a stream. Jobs of one stream
// must be performed in the order of submission, so the data follows the
// stream header without gaps. A job owns its array (destroyed with the job)
// and holds a counted reference to its stream.
//
// Threading: a job is made on a worker thread and performed either there or
// on the writer thread; it is used by one thread at a time.
#pragma once

#include <cstddef>
#include <memory>

#include "platform/com_ptr.h"
#include "platform/win.h"

namespace mlr::save {

// Phase numbers of a save: 1 describe, 2 internal records, 3 stream headers
// and disk space, 4 data, 5 finish; kSavePhaseCleanUp finishes a failed or
// aborted save. Any other number does nothing.
inline constexpr ULONG kSavePhaseDescribe = 1;
inline constexpr ULONG kSavePhaseInternals = 2;
inline constexpr ULONG kSavePhaseAllocate = 3;
inline constexpr ULONG kSavePhaseData = 4;
inline constexpr ULONG kSavePhaseFinish = 5;
inline constexpr ULONG kSavePhaseCleanUp = 0xFFFFFFFF;

class CSaveWriteJob {
 public:
  // Takes over `data` (destroyed with the job, may be null with bytes 0).
  // `bytes` must not exceed the array's data size.
  CSaveWriteJob(IStream* stream, SAFEARRAY* data, size_t bytes);
  ~CSaveWriteJob();
  CSaveWriteJob(const CSaveWriteJob&) = delete;
  CSaveWriteJob& operator=(const CSaveWriteJob&) = delete;

  // Writes the bytes at the stream's current position. S_OK, the stream's
  // failure, or STG_E_MEDIUMFULL for a short write.
  HRESULT Perform();

  size_t bytes() const { return bytes_; }
  IStream* stream() const { return stream_.get(); }

 private:
  ComPtr<IStream> stream_;
  SAFEARRAY* data_;
  size_t bytes_;
};

// Performs write jobs for the channel-group writer: the writer thread
// implements it (it queues the job, or performs it at once on the calling
// thread when it was never started, keeping a failure as its own error code).
// Submit may block while the queue is full.
class CSaveWriteQueue {
 public:
  virtual void Submit(std::unique_ptr<CSaveWriteJob> job) = 0;

 protected:
  ~CSaveWriteQueue() = default;
};

// The stop test of the thread that runs a phase operation (the save threads'
// base implements it with its stop flag). Read without a lock.
class CSaveStopSource {
 public:
  virtual bool StopRequested() const = 0;

 protected:
  ~CSaveStopSource() = default;
};

}  // namespace mlr::save
