// CSaveRecording: the model of one save, built by SaveRecording from the
// channels the caller chose, then owned by the main save thread.
//
// Building (caller's thread): AddChannels takes the channels of a safe array
// in index order. For each channel it finds or adds the saved group of the
// channel's ChannelGroup (compared by object identity) and the recording
// of that group (its Recording), and appends the channel to
// that group. Recordings are kept in the order of their first appearance,
// groups too: saved groups are numbered 1..G in the order of their first
// channel in the array, and channels 1..C within their group in the order
// given. The options go to the model and every group.
//
// Running (main save thread, save/save_model.h): Align computes the spans
// and the saved time base (save/save_alignment.h); Gather collects the
// items of the collections (save/collections_writer.h); WriteRecording
// writes, in this order, the recording records into "Data", the Summary
// Information into the root, "Data"/"PhysicalChannelInfo" (rebuilt from the
// first source's physical-channel collection; none when it has none) and
// the collections. A failure of the recording records or of the summary
// information fails the save; the physical channels and the collections go
// on past their own failures.
//
// Ownership: owns its groups; holds references to the source recordings
// (the groups hold their source groups and channels).
#pragma once

#include <memory>
#include <vector>

#include "LegacyRecording.h"
#include "platform/com_ptr.h"
#include "platform/win.h"
#include "save/collections_writer.h"
#include "save/save_alignment.h"
#include "save/save_channel_group.h"
#include "save/save_model.h"

namespace mlr::save {

class CSaveRecording final : public CSaveModel {
 public:
  CSaveRecording() = default;

  // Adds every channel of the one-dimensional `channels`: an array of
  // VARIANTs holding objects, or of IDispatch/IUnknown pointers. E_INVALIDARG
  // when an element cannot be fetched, holds no channel info, or its channel
  // gives no group or recording (the model is then to be discarded);
  // E_OUTOFMEMORY.
  HRESULT AddChannels(SAFEARRAY* channels);
  // One channel (an object answering IChannelInfo); the same failures.
  HRESULT AddChannel(IUnknown* channel);
  void SetOptions(LONG options);
  void SetSpan(double start_time, double end_time);

  const std::vector<CSaveObject*>& groups() const override { return objects_; }
  ULONG recording_count() const override { return static_cast<ULONG>(recordings_.size()); }
  HRESULT Align(DATE* file_time) override;
  HRESULT Gather() override;
  HRESULT WriteRecording(IStorage* root, IStorage* data) override;

 private:
  std::vector<IRecording*> RecordingPointers() const;

  LONG options_ = 0;
  double start_time_ = 0.0, end_time_ = 0.0;
  std::vector<ComPtr<IRecording>> recordings_;
  std::vector<ComPtr<IUnknown>> recording_ids_, group_ids_;  // identities
  std::vector<std::unique_ptr<CSaveChannelGroup>> owned_;
  std::vector<CSaveChannelGroup*> groups_;
  std::vector<CSaveObject*> objects_;
  SaveAlignment alignment_;
  SaveCollections collections_;
};

// Writes "PhysicalChannelInfo" into `data` from `source`'s physical-channel
// collection: one record per channel (size, board, channel, 0, storage
// enabled, 0, then the channel name and the 16 bit names, each with its NUL),
// assembled in memory and copied into the stream. S_FALSE (no stream) when the
// source has no such collection; otherwise the first failure.
HRESULT WritePhysicalChannels(IStorage* data, IRecording* source);

}  // namespace mlr::save
