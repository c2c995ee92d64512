#include "platform/strings.h"
#include "model/memory_recording.h"

#include <algorithm>
#include <memory>
#include <new>

#include "model/channel_group_impl.h"
#include "model/channel_info_impl.h"
#include "model/channel_infos_impl.h"
#include "model/display_pages_impl.h"
#include "model/physical_channels_impl.h"
#include "model/recording_impl.h"
#include "platform/com_ptr.h"
#include "platform/safearray_uninit.h"

namespace mlr::model {
namespace {

class CMemoryChannelInfo : public CURIChannelInfoImpl {
 public:
  explicit CMemoryChannelInfo(CURIChannelGroupImpl* owner) : CURIChannelInfoImpl(owner) {}

  HRESULT Fill(const MemoryChannelSpec& spec) {
    SetEventChannel(spec.event);
    if (!SetName(0, spec.name.c_str()) || !SetYUnits(spec.units.c_str())) return E_OUTOFMEMORY;
    const LONG bits = static_cast<LONG>(std::min<size_t>(spec.bit_names.size(), 16));
    for (LONG bit = 1; bit <= bits; ++bit) {
      if (!SetName(bit, spec.bit_names[static_cast<size_t>(bit - 1)].c_str())) return E_OUTOFMEMORY;
    }
    for (const MemoryVNorm& vnorm : spec.vnorms) {
      const HRESULT hr = AddVNorm(vnorm.y0, vnorm.y_step, vnorm.start_time);
      if (FAILED(hr)) return hr;
    }
    return S_OK;
  }
};

class CMemoryChannelGroup : public CURIChannelGroupImpl {
 public:
  explicit CMemoryChannelGroup(CURIRecordingImpl* owner) : CURIChannelGroupImpl(owner) {}

  HRESULT Fill(const MemoryGroupSpec& spec) {
    if (spec.reduction_factor < 1) return E_INVALIDARG;
    reduction_factor_ = spec.reduction_factor;
    channel_count_ = spec.channels.size();
    for (const MemoryChannelSpec& channel_spec : spec.channels) {
      if (channel_spec.bit_names.size() > 16) return E_INVALIDARG;
    }
    for (const MemorySegment& segment : spec.segments) {
      if (channel_count_ == 0 ? !segment.frames.empty()
                              : segment.frames.size() % channel_count_ != 0) {
        return E_INVALIDARG;
      }
      // A normset's length is a 32-bit count of frames.
      if (channel_count_ != 0 && segment.frames.size() / channel_count_ > 0x7FFFFFFF) {
        return E_INVALIDARG;
      }
    }
    for (const MemoryChannelSpec& channel_spec : spec.channels) {
      auto* channel = new CMemoryChannelInfo(this);
      HRESULT hr = AddChannelInfo(channel);  // the collection owns it from here
      if (FAILED(hr)) return hr;
      hr = channel->Fill(channel_spec);
      if (FAILED(hr)) return hr;
      event_.push_back(channel_spec.event);
    }
    for (const MemorySegment& segment : spec.segments) {
      const size_t length = channel_count_ == 0 ? 0 : segment.frames.size() / channel_count_;
      const HRESULT hr = AddHNorm(segment.start_time, segment.x_step, static_cast<LONG>(length));
      if (FAILED(hr)) return hr;
      segments_.push_back(segment.frames);
    }
    return S_OK;
  }

  IChannelInfo* ChannelAt(LONG index) const {
    CURIChannelInfosImpl* channels = ChannelInfosCollection();
    CURIChannelInfoImpl* channel = channels != nullptr ? channels->At(index) : nullptr;
    return channel;
  }

  HRESULT STDMETHODCALLTYPE GetBestReductionFactor(LONG, LONG* ReductionFactor) override {
    if (ReductionFactor == nullptr) return E_POINTER;
    if (*ReductionFactor >= reduction_factor_) {
      *ReductionFactor = (*ReductionFactor / reduction_factor_) * reduction_factor_;
    }
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE GetMuxData(SAFEARRAY** ChInfo, LONG HNormIndex, LONG FirstSample,
                                       LONG ItemCount, LONG Reduction,
                                       SAFEARRAY** Result) override {
    if (Result == nullptr) return E_POINTER;
    *Result = nullptr;
    if (FirstSample < 1 || Reduction < 1 || ChInfo == nullptr || *ChInfo == nullptr) {
      return E_INVALIDARG;
    }
    if (HNormIndex < 1 || static_cast<size_t>(HNormIndex) > segments_.size()) return E_INVALIDARG;
    if (Reduction != 1 && Reduction != reduction_factor_) {
      const LONG k = Reduction % reduction_factor_ == 0 ? reduction_factor_ : 1;
      return CallGetReducedMuxData(ChInfo, HNormIndex, FirstSample, ItemCount, Reduction / k, k,
                                   Result);
    }
    try {
      return ReadFrames(*ChInfo, HNormIndex, FirstSample, ItemCount, Reduction, Result);
    } catch (const std::bad_alloc&) {
      return E_OUTOFMEMORY;
    }
  }

 private:
  HRESULT ReadFrames(SAFEARRAY* channels, LONG HNormIndex, LONG FirstSample, LONG ItemCount,
                     LONG Reduction, SAFEARRAY** Result) {
    std::vector<LONG> indices;
    HRESULT hr = MapChannelIndices(channels, &indices);
    if (FAILED(hr)) return hr;
    const size_t n = indices.size() - 1;
    if (n == 0) return E_INVALIDARG;
    const std::vector<int16_t>& frames = segments_[static_cast<size_t>(HNormIndex - 1)];
    const LONG length = static_cast<LONG>(frames.size() / channel_count_);
    LONG m = FirstSample > length ? 0 : (length - FirstSample) / Reduction + 1;
    if (ItemCount < m) m = ItemCount < 0 ? 0 : ItemCount;
    const bool reduced = Reduction != 1;
    const ULONG rows = static_cast<ULONG>(reduced ? 2 * n : n);
    // Left uninitialised: every element is written below.
    SAFEARRAY* array = nullptr;
    if (!reduced && n == 1) {
      SAFEARRAYBOUND bound = {static_cast<ULONG>(m), 0};
      array = mlr::SafeArrayCreateUninitialized(VT_I2, 1, &bound);
    } else {
      SAFEARRAYBOUND bounds[2];
      bounds[0].cElements = rows;
      bounds[0].lLbound = 1;
      bounds[1].cElements = static_cast<ULONG>(m);
      bounds[1].lLbound = 1;
      array = mlr::SafeArrayCreateUninitialized(VT_I2, 2, bounds);
    }
    if (array == nullptr) return E_OUTOFMEMORY;
    void* raw = nullptr;
    hr = SafeArrayAccessData(array, &raw);
    if (FAILED(hr)) {
      SafeArrayDestroy(array);
      return hr;
    }
    auto* out = static_cast<SHORT*>(raw);
    const size_t width = channel_count_;
    std::vector<size_t> columns(n);
    for (size_t c = 0; c < n; ++c) columns[c] = static_cast<size_t>(indices[c] - 1);
    bool every_channel_in_order = n == width;
    for (size_t c = 0; c < n && every_channel_in_order; ++c) every_channel_in_order = columns[c] == c;
    if (!reduced && m > 0) {
      // Straight strided copy: frame after frame, the asked channels in order
      // (one block copy when they are all the channels, in their order).
      // Only reached with FirstSample within the segment (m > 0), so the start
      // pointer never lies beyond the end of the frames.
      const int16_t* frame = frames.data() + static_cast<size_t>(FirstSample - 1) * width;
      if (every_channel_in_order) {
        std::copy(frame, frame + static_cast<size_t>(m) * width, out);
      } else {
        for (LONG j = 0; j < m; ++j, frame += width) {
          for (size_t c = 0; c < n; ++c) *out++ = frame[columns[c]];
        }
      }
    } else if (reduced) {
      for (LONG j = 0; j < m; ++j) {
        const size_t first =
            (static_cast<size_t>(FirstSample - 1) / static_cast<size_t>(Reduction) + j) *
            static_cast<size_t>(Reduction);
        const size_t last = std::min(first + Reduction, static_cast<size_t>(length));
        for (size_t c = 0; c < n; ++c) {
          const size_t channel = columns[c];
          int16_t high = frames[first * width + channel];
          int16_t low = high;
          for (size_t f = first + 1; f < last; ++f) {
            const int16_t v = frames[f * width + channel];
            if (event_[channel]) {
              high = static_cast<int16_t>(high | v);
              low = static_cast<int16_t>(low & v);
            } else {
              high = std::max(high, v);
              low = std::min(low, v);
            }
          }
          *out++ = high;
          *out++ = low;
        }
      }
    }
    SafeArrayUnaccessData(array);
    *Result = array;
    return S_OK;
  }

  LONG reduction_factor_ = 1;
  size_t channel_count_ = 0;
  std::vector<bool> event_;
  std::vector<std::vector<int16_t>> segments_;
};

class CMemoryRecording : public CURIRecordingImpl {
 public:
  HRESULT Fill(const MemoryRecordingSpec& spec) {
    HRESULT hr = SetStrings(spec.title.c_str(), spec.location.c_str(), spec.extension.c_str(),
                            spec.comment.c_str(), spec.xunits.c_str());
    if (FAILED(hr)) return hr;
    SetStartTimeFromUTC(spec.utc_year, spec.utc_year_day, spec.utc_time_of_day);
    for (const MemoryGroupSpec& group_spec : spec.groups) {
      auto* group = new CMemoryChannelGroup(this);
      hr = AddChannelGroup(group);  // the groups collection owns it from here
      if (FAILED(hr)) return hr;
      groups_.push_back(group);
      hr = group->Fill(group_spec);
      if (FAILED(hr)) return hr;
    }
    for (const MemoryTrigger& trigger : spec.triggers) {
      IChannelInfo* channel = nullptr;
      if (trigger.group != 0 || trigger.channel != 0) {
        if (trigger.group < 1 || static_cast<size_t>(trigger.group) > groups_.size()) {
          return E_INVALIDARG;
        }
        channel = groups_[static_cast<size_t>(trigger.group - 1)]->ChannelAt(trigger.channel);
        if (channel == nullptr) return E_INVALIDARG;
      }
      hr = AddTrigger(trigger.time, trigger.source, trigger.name.c_str(), channel);
      if (FAILED(hr)) return hr;
    }
    for (double marker : spec.markers) {
      hr = AddMarker(marker);
      if (FAILED(hr)) return hr;
    }
    for (const MemoryBookmark& bookmark : spec.bookmarks) {
      hr = AddBookmark(bookmark.time, bookmark.text.c_str());
      if (FAILED(hr)) return hr;
    }
    if (spec.has_physical_channels) {
      auto* physical = new CURIPhysicalChannelsImpl(this);
      SetPhysicalChannels(physical);  // owned by the recording from here
      for (const MemoryPhysicalChannel& channel : spec.physical_channels) {
        std::vector<const OLECHAR*> names;
        for (const mlr::OleString& name : channel.names) names.push_back(name.c_str());
        if (physical->Add(channel.board, channel.channel, channel.group_index,
                          channel.channel_index, names.data(),
                          static_cast<LONG>(names.size())) == nullptr) {
          return E_OUTOFMEMORY;
        }
      }
    }
    pages_.reset(new CURIDisplayPagesImpl(static_cast<IRecording*>(this)));
    for (const MemoryDisplayPage& page_spec : spec.display_pages) {
      CURIDisplayPageImpl* page = pages_->Add();
      if (page == nullptr) return E_OUTOFMEMORY;
      if (!page_spec.page_setup.empty()) {
        hr = WriteBlob(page, &CURIDisplayPageImpl::PageSetupForWriting, page_spec.page_setup);
        if (FAILED(hr)) return hr;
      }
      if (!page_spec.trace_assignment.empty()) {
        hr = WriteBlob(page, &CURIDisplayPageImpl::TraceAssignmentForWriting,
                       page_spec.trace_assignment);
        if (FAILED(hr)) return hr;
      }
    }
    return S_OK;
  }

  HRESULT STDMETHODCALLTYPE get_Collection(kalRecordingCollection rcType,
                                           IUnknown** pVal) override {
    if (rcType == kalRecColDisplayPages && pVal != nullptr && pages_) {
      *pVal = nullptr;
      return pages_->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(pVal));
    }
    return CURIRecordingImpl::get_Collection(rcType, pVal);
  }

 private:
  static HRESULT WriteBlob(CURIDisplayPageImpl* page,
                           HRESULT (CURIDisplayPageImpl::*open)(IStream**),
                           const std::vector<uint8_t>& bytes) {
    mlr::ComPtr<IStream> stream;
    HRESULT hr = (page->*open)(stream.put());
    if (FAILED(hr)) return hr;
    ULONG written = 0;
    hr = stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), &written);
    if (FAILED(hr)) return hr;
    return written == bytes.size() ? S_OK : STG_E_MEDIUMFULL;
  }

  std::vector<CMemoryChannelGroup*> groups_;  // owned by the groups collection
  std::unique_ptr<CURIDisplayPagesImpl> pages_;
};

}  // namespace

HRESULT CreateMemoryRecording(const MemoryRecordingSpec& spec, IRecording** result) {
  if (result == nullptr) return E_POINTER;
  *result = nullptr;
  try {
    auto* recording = new CMemoryRecording();
    mlr::ComPtr<IRecording> holder(static_cast<IRecording*>(recording));
    const HRESULT hr = recording->Fill(spec);
    if (FAILED(hr)) return hr;
    *result = holder.detach();
    return S_OK;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

}  // namespace mlr::model
