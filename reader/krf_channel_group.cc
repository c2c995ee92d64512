#include "platform/strings.h"
#include "reader/krf_channel_group.h"

#include <algorithm>
#include <new>

#include "platform/safearray_uninit.h"
#include "reader/byte_reader.h"
#include "reader/group_config.h"
#include "reader/krf_channel_info.h"
#include "reader/krf_format.h"
#include "reader/krf_recording.h"
#include "reader/mux_copy.h"
#include "reader/stream_io.h"

using mlr::ComPtr;
namespace rd = mlr::reader;

namespace {

constexpr size_t kBlockFrames = 4096;

// Reads the segment index at the head of `stream`.
std::vector<rd::IndexEntry> ReadIndex(IStream* stream, size_t width) {
  std::vector<rd::IndexEntry> index;
  uint8_t head[4];
  size_t got = 0;
  if (FAILED(rd::SeekTo(stream, 0)) || FAILED(rd::ReadFully(stream, head, 4, &got)) || got < 4) {
    return index;
  }
  const uint32_t count = rd::LoadU32(head);
  const uint64_t size = rd::StreamSize(stream);
  uint64_t want = static_cast<uint64_t>(count) * width;
  want = std::min<uint64_t>(want, size > 4 ? size - 4 : 0);
  want = std::min<uint64_t>(want, rd::kMaxSideStreamBytes);
  std::vector<uint8_t> bytes(static_cast<size_t>(want));
  if (FAILED(rd::ReadFully(stream, bytes.data(), bytes.size(), &got))) got = 0;
  return rd::DecodeIndexEntries(bytes.data(), got, count, width);
}

}  // namespace

CKrfChannelGroup::CKrfChannelGroup(CKrfRecording* recording, IStorage* data_storage,
                                   uint32_t group_number)
    : CURIChannelGroupImpl(recording), recording_(recording), data_storage_(data_storage),
      number_(group_number) {}

CKrfChannelGroup::~CKrfChannelGroup() = default;

void CKrfChannelGroup::EnsureStorageLocked() {
  if (storage_tried_) return;
  storage_tried_ = true;
  if (!data_storage_) return;
  const mlr::OleString name = rd::FormatName(rd::kGroupPattern, number_);
  (void)data_storage_->OpenStorage(name.c_str(), nullptr, recording_->open_mode(), nullptr, 0,
                                   storage_.put());
}

void CKrfChannelGroup::EnsureChannelsLocked() {
  if (channels_read_) return;
  EnsureStorageLocked();
  std::vector<uint8_t> bytes;
  rd::ReadNamedStream(storage_.get(), rd::kConfigStream, recording_->open_mode(), &bytes);
  const rd::GroupConfig config = rd::DecodeGroupConfig(bytes.data(), bytes.size());
  channels_read_ = true;
  for (uint32_t number : config.channel_numbers) {
    CKrfChannelInfo* channel = new CKrfChannelInfo(this, recording_, storage_.get(), number);
    if (channel->PresentFlag() == 0) {
      delete channel;
      continue;
    }
    if (FAILED(AddChannelInfo(channel))) break;  // the collection deleted it
    channels_.push_back(channel);
    ++channel_count_;
  }
  reduction_ = config.reduction_factor;
}

void CKrfChannelGroup::EnsureHNormsLocked() {
  if (hnorms_read_) return;
  EnsureStorageLocked();
  std::vector<uint8_t> bytes;
  rd::ReadNamedStream(storage_.get(), rd::kHNormsStream, recording_->open_mode(), &bytes);
  hnorms_ = rd::DecodeHNorms(bytes.data(), bytes.size());
  hnorms_read_ = true;
}

void CKrfChannelGroup::EnsureStreamsLocked() {
  if (streams_open_) return;
  EnsureChannelsLocked();
  streams_open_ = true;
  if (!storage_) {
    reduction_ = 1;
    return;
  }
  const DWORD mode = recording_->open_mode();
  (void)storage_->OpenStream(rd::kMuxDataStream, nullptr, mode, 0, full_.put());
  bool had_reduced = false;
  if (reduction_ != 1) {
    const mlr::OleString name = rd::FormatName(rd::kReducedPattern, reduction_);
    had_reduced = SUCCEEDED(storage_->OpenStream(name.c_str(), nullptr, mode, 0, reduced_.put())) &&
                  reduced_;
  }
  if (!had_reduced) {
    reduction_ = 1;
    reduced_ = full_;
  }
  const uint32_t version = recording_->version();
  const size_t width = rd::IndexEntryWidth(version);
  if (full_) full_index_ = ReadIndex(full_.get(), width);
  if (had_reduced) {
    reduced_index_ = ReadIndex(reduced_.get(), width);
    if (version == rd::kVersionUnknown) {
      rd::RepairReducedIndex(&reduced_index_, channel_count_, rd::StreamSize(reduced_.get()));
    }
  } else {
    reduced_index_ = full_index_;
  }
}

std::vector<CKrfChannelInfo*> CKrfChannelGroup::Channels() {
  std::lock_guard<std::recursive_mutex> hold(lock_);
  EnsureChannelsLocked();
  return channels_;
}

CKrfChannelInfo* CKrfChannelGroup::FindChannelByNumber(uint32_t number) {
  std::lock_guard<std::recursive_mutex> hold(lock_);
  EnsureChannelsLocked();
  for (CKrfChannelInfo* c : channels_) {
    if (c->channel_number() == number) return c;
  }
  return nullptr;
}

std::vector<rd::HNormRecord> CKrfChannelGroup::HNormRecords() {
  std::lock_guard<std::recursive_mutex> hold(lock_);
  EnsureHNormsLocked();
  return hnorms_;
}

uint32_t CKrfChannelGroup::ReductionFactor() {
  std::lock_guard<std::recursive_mutex> hold(lock_);
  EnsureStreamsLocked();
  return reduction_;
}

void CKrfChannelGroup::ReleaseStorages() {
  std::lock_guard<std::recursive_mutex> hold(lock_);
  std::lock_guard<std::mutex> data(data_lock_);
  for (CKrfChannelInfo* c : channels_) c->ReleaseStorages();
  full_.reset();
  reduced_.reset();
  storage_.reset();
  data_storage_.reset();
  storage_tried_ = channels_read_ = hnorms_read_ = streams_open_ = true;
}

HRESULT CKrfChannelGroup::ReadFrames(size_t hnorm, uint64_t first, size_t frames, bool reduced,
                                     const uint32_t* picks, size_t pick_count, int16_t* out) {
  IStream* stream;
  rd::IndexEntry entry;
  uint32_t channels;
  {
    std::lock_guard<std::recursive_mutex> hold(lock_);
    EnsureStreamsLocked();
    const auto& index = reduced ? reduced_index_ : full_index_;
    stream = reduced ? reduced_.get() : full_.get();
    if (!stream || hnorm >= index.size()) return E_FAIL;
    entry = index[hnorm];
    channels = channel_count_;
  }
  const uint32_t values = reduced ? 2 : 1;
  if (frames == 0) return S_OK;
  if (channels == 0) {  // nothing stored: every requested value is absent
    std::fill_n(out, frames * pick_count * values, int16_t{-32768});
    return S_OK;
  }
  const size_t frame_bytes = static_cast<size_t>(channels) * values * 2;
  const size_t block_frames = std::min(frames, kBlockFrames);
  const size_t out_per_frame = pick_count * values;

  std::lock_guard<std::mutex> data(data_lock_);
  // Hostile offsets and counts: compute the start in unsigned arithmetic and
  // treat a start that does not fit as the end of the stream.
  bool readable = entry.offset >= 0;
  uint64_t start = 0;
  if (readable) {
    const uint64_t skip = first * frame_bytes;
    readable = frame_bytes == 0 || first <= UINT64_MAX / frame_bytes;
    start = static_cast<uint64_t>(entry.offset) + skip;
    readable = readable && start >= static_cast<uint64_t>(entry.offset) &&
               start <= static_cast<uint64_t>(INT64_MAX);
  }
  if (readable) readable = SUCCEEDED(rd::SeekTo(stream, start));
  if (rd::HostIsLittleEndian() && rd::PicksAreIdentity(picks, pick_count, channels)) {
    // Every channel in frame order: the stored bytes are the result; read
    // them in place, block by block.
    uint8_t* dest = reinterpret_cast<uint8_t*>(out);
    const size_t total = frames * frame_bytes;
    for (size_t at = 0; at < total;) {
      const size_t want = std::min(total - at, block_frames * frame_bytes);
      size_t got = 0;
      if (readable && FAILED(rd::ReadFully(stream, dest + at, want, &got))) got = 0;
      if (got < want) {
        for (size_t i = at + (got & ~size_t{1}); i + 1 < total; i += 2) {
          dest[i] = 0x00;
          dest[i + 1] = 0x80;
        }
        break;
      }
      at += want;
    }
    return S_OK;
  }
  std::vector<uint8_t> block(block_frames * frame_bytes);
  size_t done = 0;
  while (done < frames) {
    const size_t n = std::min(block_frames, frames - done);
    const size_t want = n * frame_bytes;
    size_t got = 0;
    if (readable && FAILED(rd::ReadFully(stream, block.data(), want, &got))) got = 0;
    if (got < want) {
      readable = false;
      for (size_t i = got & ~size_t{1}; i + 1 < want; i += 2) {
        block[i] = 0x00;
        block[i + 1] = 0x80;
      }
    }
    rd::CopyPickedChannels(block.data(), n, channels, values, picks, pick_count,
                           out + done * out_per_frame);
    done += n;
  }
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CKrfChannelGroup::get_HNorms(IHNorms** pVal) {
  if (!pVal) return E_POINTER;
  try {
    std::lock_guard<std::recursive_mutex> hold(lock_);
    EnsureHNormsLocked();
    if (!generic_hnorms_) {
      generic_hnorms_ = true;
      for (const rd::HNormRecord& h : hnorms_) {
        if (FAILED(AddHNorm(h.start_time, h.x_step, static_cast<LONG>(h.length)))) break;
      }
    }
  } catch (const std::bad_alloc&) {
    *pVal = nullptr;
    return E_OUTOFMEMORY;
  }
  return CURIChannelGroupImpl::get_HNorms(pVal);
}

HRESULT STDMETHODCALLTYPE CKrfChannelGroup::get_ChannelInfos(IChannelInfos** pVal) {
  if (!pVal) return E_POINTER;
  try {
    std::lock_guard<std::recursive_mutex> hold(lock_);
    EnsureChannelsLocked();
  } catch (const std::bad_alloc&) {
    *pVal = nullptr;
    return E_OUTOFMEMORY;
  }
  return CURIChannelGroupImpl::get_ChannelInfos(pVal);
}

HRESULT STDMETHODCALLTYPE CKrfChannelGroup::GetBestReductionFactor(LONG, LONG* Factor) {
  if (!Factor) return E_POINTER;
  try {
    const LONG f = static_cast<LONG>(ReductionFactor());
    if (f > 0 && *Factor >= f) *Factor = (*Factor / f) * f;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CKrfChannelGroup::GetMuxData(SAFEARRAY** ChInfo, LONG HNormIndex,
                                                       LONG FirstSample, LONG ItemCount,
                                                       LONG Reduction, SAFEARRAY** Result) {
  if (!Result) return E_POINTER;
  if (FirstSample < 1 || Reduction < 1 || !ChInfo || !*ChInfo) return E_INVALIDARG;
  try {
    rd::HNormRecord hnorm;
    uint32_t f;
    {
      std::lock_guard<std::recursive_mutex> hold(lock_);
      EnsureHNormsLocked();
      if (HNormIndex < 1 || static_cast<size_t>(HNormIndex) > hnorms_.size()) {
        return E_INVALIDARG;
      }
      hnorm = hnorms_[static_cast<size_t>(HNormIndex - 1)];
      EnsureStreamsLocked();
      f = reduction_;
    }
    const LONG lf = static_cast<LONG>(f);
    if (Reduction != 1 && Reduction != lf) {
      const LONG k = Reduction % lf == 0 ? lf : 1;
      return CallGetReducedMuxData(ChInfo, HNormIndex, FirstSample, ItemCount, Reduction / k, k,
                                   Result);
    }
    std::vector<LONG> indices;
    HRESULT hr = MapChannelIndices(*ChInfo, &indices);
    if (FAILED(hr)) return hr;
    indices.pop_back();  // the -1 terminator
    std::vector<uint32_t> picks;
    picks.reserve(indices.size());
    for (LONG i : indices) picks.push_back(static_cast<uint32_t>(i - 1));

    // The count formula truncates toward zero, so a start just past the end
    // still gives one item at the stored reduction; an empty normset, a
    // start further out and a negative ItemCount give none.
    const int64_t length = hnorm.length;
    int64_t m = 0;
    if (length > 0 && ItemCount > 0) {
      m = std::max<int64_t>(0, (length - FirstSample) / Reduction + 1);
      m = std::min<int64_t>(m, ItemCount);
    }
    const bool reduced = Reduction != 1;
    const uint32_t values = reduced ? 2 : 1;
    // Left uninitialised: ReadFrames writes every element when it succeeds
    // (stored values, -32768 past the stream's end), and the array is
    // destroyed when it fails.
    SAFEARRAY* array;
    if (picks.size() == 1 && !reduced) {
      SAFEARRAYBOUND bound = {static_cast<ULONG>(m), 0};
      array = mlr::SafeArrayCreateUninitialized(VT_I2, 1, &bound);
    } else {
      SAFEARRAYBOUND bounds[2];
      bounds[0].cElements = static_cast<ULONG>(picks.size() * values);
      bounds[0].lLbound = 1;
      bounds[1].cElements = static_cast<ULONG>(m);
      bounds[1].lLbound = 1;
      array = mlr::SafeArrayCreateUninitialized(VT_I2, 2, bounds);
    }
    if (!array) return E_OUTOFMEMORY;
    void* data = nullptr;
    hr = m == 0 ? S_OK : SafeArrayAccessData(array, &data);
    if (SUCCEEDED(hr) && m > 0) {
      const uint64_t first = static_cast<uint64_t>(FirstSample - 1) / static_cast<uint64_t>(Reduction);
      hr = ReadFrames(static_cast<size_t>(HNormIndex - 1), first, static_cast<size_t>(m), reduced,
                      picks.data(), picks.size(), static_cast<int16_t*>(data));
      SafeArrayUnaccessData(array);
    }
    if (FAILED(hr)) {
      SafeArrayDestroy(array);
      return hr;
    }
    *Result = array;
    return S_OK;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}
