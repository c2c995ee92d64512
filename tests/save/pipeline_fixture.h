// Test doubles for the save pipeline: a hand-moved clock, a minimal channel
// group that records what the threads ask of it, a model over such groups,
// and a fixture that runs a save into a temporary folder.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "LegacyRecording.h"
#include "platform/com_ptr.h"
#include "platform/win.h"
#include "save/main_save_thread.h"
#include "save/save_clock.h"
#include "save/save_model.h"
#include "tests/reader/reader_fixture.h"

namespace mlr::save::testing {

// Moves when the test says, by `step` after every reading, and by the
// length of every pause, which it records.
class ManualClock final : public CSaveClock {
 public:
  DWORD Now() const override { return now_.fetch_add(step); }
  void Pause(DWORD ms) const override;
  void Set(DWORD ms) { now_.store(ms); }
  std::vector<DWORD> Pauses() const;

  std::atomic<DWORD> step{0};

 private:
  mutable std::atomic<DWORD> now_{0};
  mutable std::mutex mutex_;
  mutable std::vector<DWORD> pauses_;
};

// One line per call the pipeline makes, in the order made.
class CallLog {
 public:
  void Add(std::string line) {
    std::lock_guard<std::mutex> lock(mutex_);
    lines_.push_back(std::move(line));
  }
  std::vector<std::string> Lines() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return lines_;
  }
  // The lines that start with `prefix`.
  std::vector<std::string> With(const std::string& prefix) const;

  // Read by the groups to log the status word during each phase.
  // Set before the thread starts.
  CMainSaveThread* thread = nullptr;
  // The number of the group waiting for a stop (0: none).
  std::atomic<ULONG> blocked{0};

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
};

// A group that writes `bytes_per_save` bytes of a known pattern to its
// stream "MuxData02" in phase 4 (through the writer queue), counts them,
// and can fail or wait for a stop in a chosen phase. It dies with the model
// at the end of the save: what tests look at afterwards goes to the log
// ("writer <n> 0|1" in phase 4: whether the writer thread runs).
class TestGroup final : public CSaveObject {
 public:
  TestGroup(ULONG number, ULONG recording, CallLog* log) : number_(number), recording_(recording), log_(log) {}

  ULONG number() const override { return number_; }
  ULONG source_recording() const override { return recording_; }
  HRESULT error() const override { return error_.load(); }
  int64_t EstimatedSize() const override { return estimated.load(); }
  int64_t BytesWritten() const override { return written.load(); }
  int64_t BytesToAllocate() const override { return to_allocate.load(); }
  int64_t BytesAllocated() const override { return allocated.load(); }

  HRESULT CreateStorage(IStorage* data) override;
  void SetWriter(CSaveWriteQueue* writer) override { writer_ = writer; }
  void SetRemovable(bool removable) override { removable_ = removable; }
  void SetClock(const CSaveClock&) override {}
  void Phase(ULONG phase, const CSaveStopSource& caller) override;
  void Close() override;

  // Test settings, set before the save starts.
  ULONG fail_phase = 0;                    // this phase fails with fail_code
  HRESULT fail_code = E_FAIL;
  ULONG block_phase = 0;                   // this phase waits for the stop flag
  size_t bytes_per_save = 1000;

  std::atomic<int64_t> estimated{0}, written{0}, to_allocate{0}, allocated{0};

 private:
  ULONG number_, recording_;
  CallLog* log_;
  std::atomic<HRESULT> error_{S_OK};
  CSaveWriteQueue* writer_ = nullptr;
  bool removable_ = false;
  ComPtr<IStream> stream_;
};

class TestModel final : public CSaveModel {
 public:
  TestModel(ULONG recordings, CallLog* log) : recordings_(recordings), log_(log) {}
  TestGroup* Add(ULONG recording);  // numbered in the order added

  const std::vector<CSaveObject*>& groups() const override { return view_; }
  ULONG recording_count() const override { return recordings_; }
  HRESULT Align(DATE* file_time) override;
  HRESULT Gather() override;
  HRESULT WriteRecording(IStorage* root, IStorage* data) override;

  DATE file_time = 40000.5;  // 2009-07-06 12:00

 private:
  ULONG recordings_;
  CallLog* log_;
  std::vector<std::unique_ptr<TestGroup>> owned_;
  std::vector<CSaveObject*> view_;
};

// Polls until the save has ended: Ready, or ErrorOccurred once the group
// list is gone (Completion 100); fails the test after 60 s. The final status
// and error code.
void WaitForEnd(ISaveRecordingProgress* progress, kalSaveRecordingStatus* status, LONG* error);

class PipelineTest : public reader::test::ReaderTest {
 protected:
  void SetUp() override;

  // Starts the save of `model` into target_ (the model's groups stay
  // reachable through their pointers until the save ends).
  // `log` (log_ by default) is the one the model's groups write to; it gets
  // the thread.
  ComPtr<ISaveRecordingProgress> Start(std::unique_ptr<TestModel> model, CallLog* log = nullptr,
                                       const CSaveClock& clock = SystemSaveClock());

  std::string target_;
  CallLog log_;
};

}  // namespace mlr::save::testing
