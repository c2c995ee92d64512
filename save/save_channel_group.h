// CSaveChannelGroup and CSaveChannelInfo: the writer of one saved channel
// group. The save model makes one group per source channel group that gives
// channels, the main save thread creates its storage, and workers run its
// phase operation once per save phase (save/save_write_job.h for the phase
// numbers).
//
// What the group writes below "Data"/"ChGroup<number>":
//   Config01       channel numbers 1..C in the order the channels were added,
//                  0xFFFFFFFF, then tag 0x4000 = 500 (left out with
//                  kalSRF_SkipReducedStream), then 0xFFFF
//   HNorms02       one record per saved segment, times in the saved
//                  recording's time base
//   Channel<c>/Intern01  name (tag 0), bit names of an event channel (tags
//                  1..16, empty ones left out), unit (100), event flag (102)
//   Channel<c>/VNorms01  the vertical normsets valid in the saved span,
//                  shifted, the first one moved to start at 0
//   MuxData02      full-rate frames; 8-byte index entries, 16-byte with
//                  kalSRF_UseKSS
//   MuxData500     (max, min) pairs over every 500 frames of a segment, (OR,
//                  AND) for event channels; not with kalSRF_SkipReducedStream
//
// Phases (argument of Phase):
//   1  describe: the segments to save from the source's horizontal normsets
//      and the span set by SetSpan: every normset that overlaps the span,
//      from its first sample at or after the span's start to its last sample
//      at or before the span's end; a normset left with no sample is dropped.
//      With a triggered segment (SetSpan's `hnorm` not 0) that normset whole.
//   2  internals: Config01, HNorms02 and each channel's storage.
//   3  stream headers, then disk space reserved in steps of 8 MiB (1 GiB
//      with kalSRF_UseKSS); without kalSRF_UseKSS a full-rate stream of
//      2 GiB or more fails with 0x80080011 before any data is written.
//   4  data: blocks of 100,000 / 50,000 / 30,000 / 15,000 frames by channel
//      count (on a removable target ceil(100,000 / C / 500) x 500 clamped to
//      500..25,000, each block followed by a pause on the save's clock that
//      makes it last 500 ms, or of 500 ms when it took longer), written
//      through the writer queue; reduced frames batched by 100,000 (10,000
//      on a removable target). A fetch that succeeds without frames fails
//      the group with E_FAIL (it would never end).
//   5 / kSavePhaseCleanUp  finish: commit the streams and the storage, or,
//      after a failure or abort, set the streams' size to 0 (left as they
//      are with kalSRF_UseKSS); revoke the interface-table entries. A second
//      call does nothing.
// A group without segments writes no stream header and no data and
// estimates 0 bytes. No timing log is kept: the benchmark under bench/
// measures the phases instead.
//
// Errors: every failure of a write, seek, size change or source fetch is kept
// as the group's error code (the first failure wins) and ends the group's
// loops at their next test. The stop test of the calling thread ends them
// too.
//
// Threading: one phase at a time, on any worker (the storage and streams go
// through the global interface table). The progress counters are atomic
// 64-bit values that only grow; any thread may read them at any time.
// Ownership: the save model owns its groups; a group owns its channels and
// holds counted references to its source group and channels.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "LegacyRecording.h"
#include "platform/com_ptr.h"
#include "platform/win.h"
#include "save/save_object.h"
#include "save/save_write_job.h"

namespace mlr::save {

// The reduction factor of the saved reduced stream ("MuxData500").
inline constexpr ULONG kSaveReduction = 500;
// The group's error on a full-rate stream of 2 GiB or more without
// kalSRF_UseKSS.
inline constexpr HRESULT kSaveTooLarge = static_cast<HRESULT>(0x80080011);

// One saved segment: the source normset and the frames taken from it.
struct SaveSegment {
  LONG source_hnorm = 0;     // 1-based index of the source normset
  LONG first_frame = 1;      // 1-based first frame within that normset
  LONG frames = 0;           // frames saved
  double start_time = 0.0;   // of the first saved frame, saved time base
  double x_step = 0.0;
};

class CSaveChannelInfo {
 public:
  // `number` names the channel's storage ("Channel<number>").
  CSaveChannelInfo(IChannelInfo* source, ULONG number);

  IChannelInfo* source() const { return source_.get(); }
  ULONG number() const { return number_; }
  bool is_event() const { return event_; }

  // Reads the event flag (phase 1).
  HRESULT Describe();
  // Creates "Channel<number>" in `group_storage` with its Intern01 and
  // VNorms01 for the span [first, last] of source time, moved by -shift.
  HRESULT WriteStorage(IStorage* group_storage, double first, double last, double shift) const;

 private:
  ComPtr<IChannelInfo> source_;
  ULONG number_;
  bool event_ = false;
};

class CSaveChannelGroup final : public CSaveObject {
 public:
  // `number` names the storage ("ChGroup<number>"); `source_recording` is
  // the index of the source recording in the save model.
  CSaveChannelGroup(IChannelGroup* source, ULONG source_recording, ULONG number);
  ~CSaveChannelGroup() override;
  CSaveChannelGroup(const CSaveChannelGroup&) = delete;
  CSaveChannelGroup& operator=(const CSaveChannelGroup&) = delete;

  // --- Building (caller's thread, before the save starts) -----------------
  // Appends a channel of the source group; its number is the new count.
  // E_OUTOFMEMORY.
  HRESULT AddChannel(IChannelInfo* channel);
  void SetOptions(LONG options) { options_ = options; }
  // The span to save, in source time: [first, last]; saved time = source
  // time - shift. `hnorm` not 0 saves that source normset whole instead
  // (triggered segment); a negative `hnorm` saves no segment. Set by
  // AlignSaveGroups before phase 1.
  void SetSpan(double first, double last, double shift, LONG hnorm = 0);
  void SetWriter(CSaveWriteQueue* writer) override { writer_ = writer; }
  void SetRemovable(bool removable) override { removable_ = removable; }
  // The system clock until set.
  void SetClock(const CSaveClock& clock) override { clock_ = &clock; }

  // Creates "ChGroup<number>" in `data` with "MuxData02" and (unless
  // kalSRF_SkipReducedStream) "MuxData500", and registers the three in the
  // global interface table. The storage's failure as it stands.
  HRESULT CreateStorage(IStorage* data) override;

  // --- Running ------------------------------------------------------------
  // Runs phase `phase` (kSavePhase...); `caller` is the thread running it.
  void Phase(ULONG phase, const CSaveStopSource& caller) override;
  // Releases what the group still holds (the clean-up phase when the
  // storage is still registered is the caller's job before this).
  void Close() override;

  // --- Observers (any thread) ----------------------------------------------
  ULONG number() const override { return number_; }
  ULONG source_recording() const override { return source_recording_; }
  IChannelGroup* source() const { return source_.get(); }
  LONG options() const { return options_; }
  HRESULT error() const override { return error_.load(std::memory_order_acquire); }
  void SetError(HRESULT hr);
  size_t channel_count() const { return channels_.size(); }
  const CSaveChannelInfo& channel(size_t i) const { return *channels_[i]; }
  // The saved number of `source_channel` (compared by identity), 0 when the
  // group does not save it.
  ULONG FindChannel(IChannelInfo* source_channel) const;
  const std::vector<SaveSegment>& segments() const { return segments_; }
  int64_t total_frames() const { return total_frames_; }
  uint32_t block_frames() const;     // frames per fetch in phase 4
  uint32_t reduced_capacity() const; // reduced frames per batch

  // Progress counters (bytes).
  int64_t EstimatedSize() const override;
  int64_t BytesWritten() const override {
    return written_main_.load() + written_reduced_.load();
  }
  int64_t BytesToAllocate() const override { return to_allocate_.load(); }
  int64_t BytesAllocated() const override { return allocated_.load(); }

 private:
  struct Streams;
  void Describe();
  void WriteInternals();
  void Allocate(const CSaveStopSource& caller);
  void SaveData(const CSaveStopSource& caller);
  void Finish(bool failed);
  void Submit(IStream* stream, SAFEARRAY* data, size_t bytes);
  bool Stopped(const CSaveStopSource& caller) const;
  uint64_t HeaderSize() const;

  ComPtr<IChannelGroup> source_;
  ULONG source_recording_;
  ULONG number_;
  LONG options_ = 0;
  std::vector<std::unique_ptr<CSaveChannelInfo>> channels_;
  double span_first_ = 0.0, span_last_ = 0.0, shift_ = 0.0;
  LONG triggered_hnorm_ = 0;
  std::vector<SaveSegment> segments_;
  int64_t total_frames_ = 0;
  DWORD storage_cookie_ = 0, main_cookie_ = 0, reduced_cookie_ = 0;
  CSaveWriteQueue* writer_ = nullptr;
  bool removable_ = false;
  const CSaveClock* clock_ = &SystemSaveClock();
  std::atomic<HRESULT> error_{S_OK};
  std::atomic<int64_t> to_allocate_{0}, allocated_{0}, written_main_{0}, written_reduced_{0};
};

// The reduction of one run of `frames` frames (1..500) of `channels`
// samples each (channel fastest) into one reduced frame: per channel the pair
// (max, min), or (OR, AND) where `is_event[c]`, both starting at the run's
// first sample.
void ReduceRun(const int16_t* samples, size_t frames, size_t channels,
               const std::vector<bool>& is_event, int16_t* out);

}  // namespace mlr::save
