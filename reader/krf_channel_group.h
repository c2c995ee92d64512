// CKrfChannelGroup: the reader's channel group, filled from the storage
// "ChGroup<g>" of the recording's "Data" storage, and the one place where
// samples leave the file.
//
// Lazy parts, each loaded once under the group's lock:
//   - the group storage, opened with the recording's mode;
//   - the channels ("Config01"): one CKrfChannelInfo per listed number; a
//     channel whose present flag is 0 is dropped and does not widen the
//     frame; then the reduction factor F (tag 0x4000; 1 when absent);
//   - the horizontal normsets ("HNorms02");
//   - the data streams: "MuxData02" and, when F is not 1, "MuxData<F>"
//     (without it F becomes 1 and the full-rate stream serves both), with
//     their segment indexes (16-byte entries from version 0x30000 on) and
//     the offset repair of reduced streams of unversioned files.
//
// GetMuxData(ChInfo, HNormIndex, FirstSample, ItemCount, Reduction, Result):
//   E_POINTER for a null Result; E_INVALIDARG for FirstSample or Reduction
//   below 1, a null or empty channel array or a normset index outside
//   1..Count. A Reduction that is neither 1 nor F goes to the data function
//   GetReducedMuxData (with the stored reduction F when Reduction is a
//   multiple of F, else full-rate data); E_NOTIMPL when that function is not
//   available. A channel of another group gives E_FAIL, as does a normset
//   that has no entry in the stream's index or a missing data stream.
//   Items: (Length - FirstSample) / Reduction + 1 (integer division, toward
//   zero), at most ItemCount: FirstSample = Length + 1 gives no item at full
//   rate and one at the stored reduction. An empty normset,
//   a start further past the end (formula below 1) and an ItemCount of 0 or
//   below give an empty result: S_OK with an array of the usual shape whose
//   item dimension has 0 elements, which callers read as "no data". One
//   value per channel at full rate, a (maximum, minimum) pair - (OR, AND) for
//   event channels - per channel when Reduction is F. One channel at full
//   rate gives a vector (lower bound 0), anything else a two-dimensional
//   array (channels fastest, lower bounds 1). Frames are read in blocks of
//   4096 straight into the result; bytes beyond the end of the stream read
//   as the absent sample -32768. Calls on one group are serialised around
//   their seek and reads (one data lock per group), so concurrent callers
//   each get their own frames.
//
// The data F is settled when the data streams are opened, so F as seen by
// GetBestReductionFactor and GetMuxData is always the effective one.
//
// Ownership: made by CKrfRecording, owned by the recording's generic groups
// collection; counts go to the recording. Holds its storage and streams
// until `ReleaseStorages`. Free-threaded.
#pragma once

#include <mutex>
#include <vector>

#include "model/channel_group_impl.h"
#include "platform/com_ptr.h"
#include "platform/win.h"
#include "reader/mux_index.h"
#include "reader/normset_records.h"

class CKrfRecording;
class CKrfChannelInfo;

class CKrfChannelGroup : public CURIChannelGroupImpl {
 public:
  CKrfChannelGroup(CKrfRecording* recording, IStorage* data_storage, uint32_t group_number);
  ~CKrfChannelGroup() override;

  uint32_t group_number() const { return number_; }

  // The kept channels in list order (loads them first).
  std::vector<CKrfChannelInfo*> Channels();
  // The kept channel with this channel number, or null (loads them first).
  CKrfChannelInfo* FindChannelByNumber(uint32_t number);
  // The horizontal normsets as stored (loads them first).
  std::vector<mlr::reader::HNormRecord> HNormRecords();
  // The effective reduction factor (opens the data streams first).
  uint32_t ReductionFactor();

  // Reads `frames` stored frames from 0-based frame `first` of the 0-based
  // normset `hnorm`, full-rate or reduced, picking the 0-based channel
  // positions `picks` into `out` (1 or 2 values per pick and frame). On
  // success every one of those values is written (-32768 where the stream
  // holds none), so `out` may be uninitialised memory; on failure it holds
  // an unspecified part of them.
  HRESULT ReadFrames(size_t hnorm, uint64_t first, size_t frames, bool reduced,
                     const uint32_t* picks, size_t pick_count, int16_t* out);

  // Drops storages and streams (before the recording restores file times).
  void ReleaseStorages();

  HRESULT STDMETHODCALLTYPE get_HNorms(IHNorms** pVal) override;
  HRESULT STDMETHODCALLTYPE get_ChannelInfos(IChannelInfos** pVal) override;
  HRESULT STDMETHODCALLTYPE GetBestReductionFactor(LONG HNormIndex, LONG* ReductionFactor) override;
  HRESULT STDMETHODCALLTYPE GetMuxData(SAFEARRAY** ChInfo, LONG HNormIndex, LONG FirstSample,
                                       LONG ItemCount, LONG Reduction, SAFEARRAY** Result) override;

 private:
  void EnsureStorageLocked();
  void EnsureChannelsLocked();
  void EnsureHNormsLocked();
  void EnsureStreamsLocked();

  std::recursive_mutex lock_;
  std::mutex data_lock_;
  CKrfRecording* const recording_;
  mlr::ComPtr<IStorage> data_storage_;
  mlr::ComPtr<IStorage> storage_;
  const uint32_t number_;
  bool storage_tried_ = false;
  bool channels_read_ = false;
  bool hnorms_read_ = false;
  bool generic_hnorms_ = false;
  bool streams_open_ = false;
  uint32_t channel_count_ = 0;
  uint32_t reduction_ = 1;
  std::vector<CKrfChannelInfo*> channels_;  // owned by the generic collection
  std::vector<mlr::reader::HNormRecord> hnorms_;
  mlr::ComPtr<IStream> full_;
  mlr::ComPtr<IStream> reduced_;
  std::vector<mlr::reader::IndexEntry> full_index_;
  std::vector<mlr::reader::IndexEntry> reduced_index_;
};
