#include "resampler/channel_resampler.h"

#include <cmath>
#include <cstring>
#include <new>

#include "api/void_number.h"
#include "model/channel_array.h"
#include "platform/com_ptr.h"
#include "resampler/worker_batch.h"

using mlr::ComPtr;
using mlr::resampler::CGroupResampler;

namespace {

void SleepPause(DWORD milliseconds) { Sleep(milliseconds); }

bool IsSetTime(double value) { return std::isfinite(value); }

// Items of the run: trunc((end - start) / step + 0.5) + 1, kept inside the
// 64-bit range (a huge quotient cannot be converted as it stands).
int64_t TotalItems(double start, double end, double step) {
  const double steps = std::trunc((end - start) / step + 0.5);
  if (steps >= 4.0e18) return static_cast<int64_t>(4.0e18);
  if (steps <= -2.0) return -1;
  return static_cast<int64_t>(steps) + 1;
}

// A one-dimensional array of n items (lower bound 1) for one channel, else
// (channels, n) with both lower bounds 1.
SAFEARRAY* CreateMux(VARTYPE vt, int32_t channels, int32_t n) {
  if (channels == 1) return SafeArrayCreateVector(vt, 1, static_cast<ULONG>(n));
  SAFEARRAYBOUND bounds[2];
  bounds[0].cElements = static_cast<ULONG>(channels);
  bounds[0].lLbound = 1;
  bounds[1].cElements = static_cast<ULONG>(n);
  bounds[1].lLbound = 1;
  return SafeArrayCreate(vt, 2, bounds);
}

// Copies `n` items of `width` values each, from `from` (packed) into columns
// column .. column + width - 1 of `to` (items of `to_width` values).
template <typename T>
void PlaceColumns(const T* from, int32_t width, int32_t n, T* to, int32_t to_width,
                  int32_t column) {
  if (width <= 0) return;
  for (int32_t item = 0; item < n; ++item) {
    std::memcpy(to + static_cast<size_t>(item) * to_width + column,
                from + static_cast<size_t>(item) * width, sizeof(T) * width);
  }
}

// Column `column` of `n` items of `width` values each, into `to`.
template <typename T>
void TakeColumn(const T* from, int32_t width, int32_t column, LONG n, T* to) {
  const T* at = from + column;
  for (LONG i = 0; i < n; ++i) to[i] = at[static_cast<size_t>(i) * width];
}

// The channel's group, found through its parent collection.
ComPtr<IChannelGroup> GroupOf(IChannelInfo* channel) {
  ComPtr<IChannelInfos> parent;
  ComPtr<IChannelGroup> group;
  if (SUCCEEDED(channel->get_Parent(parent.put())) && parent) parent->get_Parent(group.put());
  return group;
}

}  // namespace

// --- identity and lifetime ----------------------------------------------------

CChannelResampler::CChannelResampler(IUnknown* outer, PauseFunction pause)
    : outer_(outer ? outer : &inner_),
      pause_(pause),
      start_time_(mlr::VoidNumber()),
      end_time_(mlr::VoidNumber()),
      x_step_(mlr::VoidNumber()),
      invalid_value_(mlr::VoidNumber()) {
  inner_.self = this;
}

CChannelResampler::~CChannelResampler() = default;

HRESULT CChannelResampler::CreateInstance(IUnknown* outer, REFIID riid, void** ppv,
                                          PauseFunction pause) {
  if (!ppv) return E_POINTER;
  *ppv = nullptr;
  if (outer && riid != IID_IUnknown) return CLASS_E_NOAGGREGATION;
  CChannelResampler* object = new (std::nothrow) CChannelResampler(outer, pause ? pause : &SleepPause);
  if (!object) return E_OUTOFMEMORY;
  object->inner_.AddRef();
  const HRESULT hr = object->inner_.QueryInterface(riid, ppv);
  object->inner_.Release();
  return hr;
}

HRESULT STDMETHODCALLTYPE CChannelResampler::Inner::QueryInterface(REFIID riid, void** ppv) {
  if (!ppv) return E_POINTER;
  *ppv = nullptr;
  if (riid == IID_IUnknown) {
    *ppv = static_cast<IUnknown*>(this);
  } else if (riid == IID_IDispatch || riid == IID_IChannelResampler) {
    *ppv = static_cast<IChannelResampler*>(self);
  } else {
    return E_NOINTERFACE;
  }
  static_cast<IUnknown*>(*ppv)->AddRef();
  return S_OK;
}

ULONG STDMETHODCALLTYPE CChannelResampler::Inner::AddRef() {
  return self->refs_.AddRef();
}

ULONG STDMETHODCALLTYPE CChannelResampler::Inner::Release() {
  const ULONG left = self->refs_.Release();
  if (left == 0) delete self;
  return left;
}

HRESULT STDMETHODCALLTYPE CChannelResampler::QueryInterface(REFIID riid, void** ppv) {
  return outer_->QueryInterface(riid, ppv);
}
ULONG STDMETHODCALLTYPE CChannelResampler::AddRef() { return outer_->AddRef(); }
ULONG STDMETHODCALLTYPE CChannelResampler::Release() { return outer_->Release(); }

// --- properties -----------------------------------------------------------------

HRESULT STDMETHODCALLTYPE CChannelResampler::get_StartTime(double* pVal) {
  if (!pVal) return E_POINTER;
  *pVal = start_time_;
  return S_OK;
}
HRESULT STDMETHODCALLTYPE CChannelResampler::put_StartTime(double newVal) {
  start_time_ = newVal;
  return S_OK;
}
HRESULT STDMETHODCALLTYPE CChannelResampler::get_EndTime(double* pVal) {
  if (!pVal) return E_POINTER;
  *pVal = end_time_;
  return S_OK;
}
HRESULT STDMETHODCALLTYPE CChannelResampler::put_EndTime(double newVal) {
  end_time_ = newVal;
  return S_OK;
}
HRESULT STDMETHODCALLTYPE CChannelResampler::get_XStep(double* pVal) {
  if (!pVal) return E_POINTER;
  *pVal = x_step_;
  return S_OK;
}
HRESULT STDMETHODCALLTYPE CChannelResampler::put_XStep(double newVal) {
  x_step_ = newVal;
  return S_OK;
}
HRESULT STDMETHODCALLTYPE CChannelResampler::get_InvalidSampleValue(double* pVal) {
  if (!pVal) return E_POINTER;
  *pVal = invalid_value_;
  return S_OK;
}
HRESULT STDMETHODCALLTYPE CChannelResampler::put_InvalidSampleValue(double newVal) {
  invalid_value_ = newVal;
  return S_OK;
}
HRESULT STDMETHODCALLTYPE CChannelResampler::get_Flags(kalRecordingResamplerFlags* pVal) {
  if (!pVal) return E_POINTER;
  *pVal = flags_;
  return S_OK;
}
HRESULT STDMETHODCALLTYPE CChannelResampler::put_Flags(kalRecordingResamplerFlags newVal) {
  flags_ = newVal;
  return S_OK;
}

// --- Start ------------------------------------------------------------------------

void CChannelResampler::Reset() {
  started_ = false;
  groups_.clear();
  columns_.clear();
  analog_total_ = 0;
  event_total_ = 0;
  total_items_ = 0;
  position_ = 0;
}

HRESULT STDMETHODCALLTYPE CChannelResampler::Start(SAFEARRAY** Channels) {
  Reset();
  if (!IsSetTime(start_time_) || !IsSetTime(end_time_)) return E_INVALIDARG;
  if (!std::isfinite(x_step_) || !(x_step_ > 0.0)) return E_INVALIDARG;
  if (!Channels || !*Channels) return E_INVALIDARG;
  try {
    const HRESULT hr = StartChannels(*Channels);
    if (FAILED(hr)) Reset();
    return hr;
  } catch (const std::bad_alloc&) {
    Reset();
    return E_OUTOFMEMORY;
  }
}

HRESULT CChannelResampler::StartChannels(SAFEARRAY* channels) {
  std::vector<ComPtr<IChannelInfo>> infos;
  HRESULT hr = mlr::model::ChannelInfosOf(channels, &infos);
  if (FAILED(hr)) return hr;
  if (infos.empty()) return E_INVALIDARG;

  for (const ComPtr<IChannelInfo>& info : infos) {
    if (!info) return E_INVALIDARG;
    ComPtr<IChannelGroup> group = GroupOf(info.get());
    ComPtr<IUnknown> identity;
    if (group) group->QueryInterface(IID_IUnknown, identity.put_void());
    if (!identity) return E_INVALIDARG;
    size_t g = 0;
    while (g < groups_.size() && groups_[g]->identity() != identity.get()) ++g;
    if (g == groups_.size()) {
      if (groups_.size() == kMaxGroups) return E_INVALIDARG;
      groups_.push_back(std::make_unique<CGroupResampler>(group.get(), identity.get()));
    }
    VARIANT_BOOL event = VARIANT_FALSE;
    info->get_EventChannel(&event);
    ChannelColumn column;
    column.event = event != VARIANT_FALSE;
    column.group = g;
    column.local = groups_[g]->AddChannel(info.get(), column.event);
    columns_.push_back(column);
  }

  // Columns are numbered group by group, in the order the groups appeared.
  std::vector<int32_t> analog_offset(groups_.size()), event_offset(groups_.size());
  for (size_t g = 0; g < groups_.size(); ++g) {
    analog_offset[g] = analog_total_;
    event_offset[g] = event_total_;
    analog_total_ += groups_[g]->analog_count();
    event_total_ += groups_[g]->event_count();
  }
  for (ChannelColumn& c : columns_) {
    c.column = c.local + (c.event ? event_offset[c.group] : analog_offset[c.group]);
  }

  total_items_ = TotalItems(start_time_, end_time_, x_step_);
  for (auto& group : groups_) group->Begin(start_time_, x_step_, invalid_value_);
  started_ = true;
  return S_OK;
}

// --- buffers ------------------------------------------------------------------------

HRESULT CChannelResampler::FillBuffers(int32_t n, float* analog, int16_t* events,
                                       int32_t* produced) {
  using mlr::resampler::kMaxBatchThreads;
  using mlr::resampler::WorkerRecord;
  int32_t longest = 0;
  int32_t analog_column = 0;
  int32_t event_column = 0;
  for (size_t first = 0; first < groups_.size(); first += kMaxBatchThreads) {
    const size_t count =
        groups_.size() - first < kMaxBatchThreads ? groups_.size() - first : kMaxBatchThreads;
    WorkerRecord records[kMaxBatchThreads];
    for (size_t i = 0; i < count; ++i) {
      records[i].group = groups_[first + i].get();
      records[i].wanted = n;
    }
    mlr::resampler::RunBatch(records, count);
    for (size_t i = 0; i < count; ++i) {
      WorkerRecord& r = records[i];
      if (r.produced > longest) longest = r.produced;
      const int32_t a = r.group->analog_count();
      const int32_t e = r.group->event_count();
      // Items past what the group produced stay zero (the buffers start zeroed).
      PlaceColumns(r.analog.data(), a, n, analog, analog_total_, analog_column);
      PlaceColumns(r.events.data(), e, n, events, event_total_, event_column);
      analog_column += a;
      event_column += e;
    }
    pause_(kBatchPauseMs);
  }
  *produced = longest;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CChannelResampler::GetNextMuxDataBuffer(LONG* lItemCount,
                                                                 SAFEARRAY** AnalogData,
                                                                 SAFEARRAY** EventData) {
  if (!lItemCount || !AnalogData || !EventData) return E_POINTER;
  *lItemCount = 0;
  *AnalogData = nullptr;
  *EventData = nullptr;
  if (!started_) return E_UNEXPECTED;
  const int64_t left = total_items_ - position_;
  if (left <= 0) return S_OK;
  const int32_t n = left < kBufferItems ? static_cast<int32_t>(left) : kBufferItems;

  SAFEARRAY* analog = analog_total_ > 0 ? CreateMux(VT_R4, analog_total_, n) : nullptr;
  SAFEARRAY* events = event_total_ > 0 ? CreateMux(VT_I2, event_total_, n) : nullptr;
  void* analog_data = nullptr;
  void* event_data = nullptr;
  HRESULT hr = S_OK;
  if ((analog_total_ > 0 && !analog) || (event_total_ > 0 && !events)) hr = E_OUTOFMEMORY;
  if (SUCCEEDED(hr) && analog) hr = SafeArrayAccessData(analog, &analog_data);
  if (SUCCEEDED(hr) && events) {
    hr = SafeArrayAccessData(events, &event_data);
    if (FAILED(hr) && analog_data) SafeArrayUnaccessData(analog);
  }
  int32_t produced = 0;
  if (SUCCEEDED(hr)) {
    try {
      hr = FillBuffers(n, static_cast<float*>(analog_data), static_cast<int16_t*>(event_data),
                       &produced);
    } catch (const std::bad_alloc&) {
      hr = E_OUTOFMEMORY;
    }
    if (analog) SafeArrayUnaccessData(analog);
    if (events) SafeArrayUnaccessData(events);
  }
  if (SUCCEEDED(hr) && produced > 0 && produced < n) {
    SAFEARRAYBOUND items;
    items.cElements = static_cast<ULONG>(produced);
    items.lLbound = 1;
    if (analog && FAILED(SafeArrayRedim(analog, &items))) hr = E_OUTOFMEMORY;
    if (events && FAILED(SafeArrayRedim(events, &items))) hr = E_OUTOFMEMORY;
  }
  if (FAILED(hr) || produced == 0) {
    SafeArrayDestroy(analog);
    SafeArrayDestroy(events);
    return hr;
  }
  *AnalogData = analog;
  *EventData = events;
  *lItemCount = produced;
  position_ += produced;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CChannelResampler::GetNextDataBuffers(LONG* lItemCount,
                                                               SAFEARRAY** Result) {
  if (!lItemCount || !Result) return E_POINTER;
  *Result = nullptr;
  SAFEARRAY* analog = nullptr;
  SAFEARRAY* events = nullptr;
  HRESULT hr = GetNextMuxDataBuffer(lItemCount, &analog, &events);
  if (FAILED(hr) || *lItemCount == 0) return hr;
  const LONG n = *lItemCount;
  SAFEARRAY* result = SafeArrayCreateVector(VT_VARIANT, 1, static_cast<ULONG>(columns_.size()));
  void* analog_data = nullptr;
  void* event_data = nullptr;
  void* slots = nullptr;
  if (!result) hr = E_OUTOFMEMORY;
  if (SUCCEEDED(hr)) hr = SafeArrayAccessData(result, &slots);
  if (SUCCEEDED(hr) && analog) hr = SafeArrayAccessData(analog, &analog_data);
  if (SUCCEEDED(hr) && events) hr = SafeArrayAccessData(events, &event_data);
  for (size_t k = 0; SUCCEEDED(hr) && k < columns_.size(); ++k) {
    const ChannelColumn& c = columns_[k];
    const VARTYPE vt = c.event ? VT_I2 : VT_R4;
    SAFEARRAY* column = SafeArrayCreateVector(vt, 1, static_cast<ULONG>(n));
    void* out = nullptr;
    if (!column || FAILED(SafeArrayAccessData(column, &out))) {
      SafeArrayDestroy(column);
      hr = E_OUTOFMEMORY;
      break;
    }
    if (c.event) {
      TakeColumn(static_cast<const int16_t*>(event_data), event_total_, c.column, n,
                 static_cast<int16_t*>(out));
    } else {
      TakeColumn(static_cast<const float*>(analog_data), analog_total_, c.column, n,
                 static_cast<float*>(out));
    }
    SafeArrayUnaccessData(column);
    VARIANT& element = static_cast<VARIANT*>(slots)[k];  // VT_EMPTY until now
    element.vt = static_cast<VARTYPE>(VT_ARRAY | vt);
    element.parray = column;
  }
  if (slots) SafeArrayUnaccessData(result);
  if (analog_data) SafeArrayUnaccessData(analog);
  if (event_data) SafeArrayUnaccessData(events);
  SafeArrayDestroy(analog);
  SafeArrayDestroy(events);
  if (FAILED(hr)) {
    SafeArrayDestroy(result);
    *lItemCount = 0;
    return hr;
  }
  *Result = result;
  return S_OK;
}

// --- class object ---------------------------------------------------------------------

namespace mlr::resampler {

HRESULT CreateChannelResamplerInstance(IUnknown* outer, REFIID riid, void** ppv) {
  return CChannelResampler::CreateInstance(outer, riid, ppv);
}

}  // namespace mlr::resampler
