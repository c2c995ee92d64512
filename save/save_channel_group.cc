#include "save/save_channel_group.h"

#include <cmath>
#include <new>

#include "reader/krf_format.h"
#include "save/interface_table.h"
#include "save/record_writer.h"
#include "save/source_hnorms.h"

namespace mlr::save {
namespace {

// The frames [k0, k1] (0-based) of a normset that lie in [first, last]; false
// when none does. A tolerance of a millionth of a step keeps a sample that
// lies on a bound despite rounding.
bool FramesInSpan(const HNormRow& row, double first, double last, LONG* k0, LONG* k1) {
  if (row.length <= 0) return false;
  const double end = row.end();
  if (!(row.x_step > 0.0) || !std::isfinite(row.x_step)) {
    if (row.start < first || row.start > last) return false;
    *k0 = 0;
    *k1 = row.length - 1;
    return true;
  }
  if (end < first - row.x_step * 1e-6 || row.start > last + row.x_step * 1e-6) return false;
  double from = std::ceil((first - row.start) / row.x_step - 1e-6);
  double to = std::floor((last - row.start) / row.x_step + 1e-6);
  from = from < 0.0 ? 0.0 : from;
  to = to > row.length - 1 ? row.length - 1 : to;
  if (from > to) return false;
  *k0 = static_cast<LONG>(from);
  *k1 = static_cast<LONG>(to);
  return true;
}

}  // namespace

CSaveChannelGroup::CSaveChannelGroup(IChannelGroup* source, ULONG source_recording,
                                     ULONG number)
    : source_(source), source_recording_(source_recording), number_(number) {}

CSaveChannelGroup::~CSaveChannelGroup() { Close(); }

HRESULT CSaveChannelGroup::AddChannel(IChannelInfo* channel) {
  if (!channel) return E_INVALIDARG;
  try {
    channels_.push_back(
        std::make_unique<CSaveChannelInfo>(channel, static_cast<ULONG>(channels_.size() + 1)));
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  return S_OK;
}

void CSaveChannelGroup::SetSpan(double first, double last, double shift, LONG hnorm) {
  span_first_ = first;
  span_last_ = last;
  shift_ = shift;
  triggered_hnorm_ = hnorm;
}

void CSaveChannelGroup::SetError(HRESULT hr) {
  HRESULT current = error_.load(std::memory_order_acquire);
  while (SUCCEEDED(current) && FAILED(hr) &&
         !error_.compare_exchange_weak(current, hr, std::memory_order_acq_rel)) {
  }
}

ULONG CSaveChannelGroup::FindChannel(IChannelInfo* source_channel) const {
  if (!source_channel) return 0;
  ComPtr<IUnknown> wanted;
  source_channel->QueryInterface(IID_IUnknown, wanted.put_void());
  for (const auto& channel : channels_) {
    ComPtr<IUnknown> identity;
    channel->source()->QueryInterface(IID_IUnknown, identity.put_void());
    if (identity && identity == wanted) return channel->number();
  }
  return 0;
}

HRESULT CSaveChannelGroup::CreateStorage(IStorage* data) {
  ComPtr<IStorage> storage;
  HRESULT hr = data->CreateStorage(reader::FormatName(reader::kGroupPattern, number_).c_str(),
                                   kSaveStorageMode, 0, 0, storage.put());
  if (FAILED(hr)) return hr;
  if (FAILED(hr = RegisterInTable(storage.get(), IID_IStorage, &storage_cookie_))) return hr;
  ComPtr<IStream> stream;
  hr = storage->CreateStream(reader::kMuxDataStream, kSaveStreamMode, 0, 0, stream.put());
  if (FAILED(hr)) return hr;
  if (FAILED(hr = RegisterInTable(stream.get(), IID_IStream, &main_cookie_))) return hr;
  if (options_ & kalSRF_SkipReducedStream) return S_OK;
  hr = storage->CreateStream(reader::FormatName(reader::kReducedPattern, kSaveReduction).c_str(),
                             kSaveStreamMode, 0, 0, stream.put());
  if (FAILED(hr)) return hr;
  return RegisterInTable(stream.get(), IID_IStream, &reduced_cookie_);
}

void CSaveChannelGroup::Phase(ULONG phase, const CSaveStopSource& caller) {
  try {
    switch (phase) {
      case kSavePhaseDescribe: Describe(); break;
      case kSavePhaseInternals: WriteInternals(); break;
      case kSavePhaseAllocate: Allocate(caller); break;
      case kSavePhaseData: SaveData(caller); break;
      case kSavePhaseFinish: Finish(false); break;
      case kSavePhaseCleanUp: Finish(true); break;
      default: break;
    }
  } catch (const std::bad_alloc&) {
    SetError(E_OUTOFMEMORY);
  }
}

void CSaveChannelGroup::Close() {
  RevokeFromTable(&storage_cookie_);
  RevokeFromTable(&main_cookie_);
  RevokeFromTable(&reduced_cookie_);
}

bool CSaveChannelGroup::Stopped(const CSaveStopSource& caller) const {
  return caller.StopRequested() || FAILED(error());
}

int64_t CSaveChannelGroup::EstimatedSize() const {
  if (segments_.empty()) return 0;
  int64_t n = total_frames_ * static_cast<int64_t>(channels_.size());
  if (!(options_ & kalSRF_SkipReducedStream) && n > 0) {
    n += 2 * ((n + kSaveReduction - 1) / kSaveReduction);
  }
  return 2 * n;
}

void CSaveChannelGroup::Describe() {
  segments_.clear();
  total_frames_ = 0;
  for (auto& channel : channels_) {
    HRESULT hr = channel->Describe();
    if (FAILED(hr)) return SetError(hr);
  }
  ComPtr<IHNorms> hnorms;
  LONG count = 0;
  HRESULT hr = OpenHNorms(source_.get(), hnorms.put(), &count);
  if (FAILED(hr)) return SetError(hr);
  for (LONG i = 1; i <= count; ++i) {
    if (triggered_hnorm_ != 0 && i != triggered_hnorm_) continue;
    HNormRow row;
    if (FAILED(hr = ReadHNorm(hnorms.get(), i, &row))) return SetError(hr);
    LONG k0 = 0, k1 = row.length - 1;
    if (triggered_hnorm_ == 0 && !FramesInSpan(row, span_first_, span_last_, &k0, &k1)) continue;
    if (k1 < k0) continue;
    SaveSegment segment;
    segment.source_hnorm = i;
    segment.first_frame = k0 + 1;
    segment.frames = k1 - k0 + 1;
    segment.start_time = row.start + row.x_step * k0 - shift_;
    segment.x_step = row.x_step;
    segments_.push_back(segment);
    total_frames_ += segment.frames;
  }
}

void CSaveChannelGroup::WriteInternals() {
  ComPtr<IStorage> storage;
  HRESULT hr = FetchFromTable(storage_cookie_, &storage);
  if (FAILED(hr)) return SetError(hr);

  RecordBuilder config;
  for (const auto& channel : channels_) config.U32(channel->number());
  config.U32(reader::kListEnd);
  if (!(options_ & kalSRF_SkipReducedStream)) {
    config.TagU32(reader::kTagReductionFactor, kSaveReduction);
  }
  config.U16(reader::kEndTag);
  if (FAILED(hr = WriteNewStream(storage.get(), reader::kConfigStream, config.bytes()))) {
    return SetError(hr);
  }

  RecordBuilder hnorms;
  hnorms.U32(static_cast<uint32_t>(segments_.size()));
  for (const SaveSegment& segment : segments_) {
    hnorms.F64(segment.start_time).F64(segment.x_step).U32(static_cast<uint32_t>(segment.frames));
  }
  if (FAILED(hr = WriteNewStream(storage.get(), reader::kHNormsStream, hnorms.bytes()))) {
    return SetError(hr);
  }

  for (const auto& channel : channels_) {
    hr = channel->WriteStorage(storage.get(), span_first_, span_last_, shift_);
    if (FAILED(hr)) return SetError(hr);
  }
}

void CSaveChannelGroup::Finish(bool failed) {
  if (storage_cookie_ == 0) return;
  for (DWORD cookie : {reduced_cookie_, main_cookie_}) {
    ComPtr<IStream> stream;
    if (cookie == 0 || FAILED(FetchFromTable(cookie, &stream))) continue;
    if (!failed) {
      stream->Commit(STGC_DEFAULT);
    } else if (!(options_ & kalSRF_UseKSS)) {
      ULARGE_INTEGER zero;
      zero.QuadPart = 0;
      stream->SetSize(zero);
    }
  }
  ComPtr<IStorage> storage;
  if (SUCCEEDED(FetchFromTable(storage_cookie_, &storage))) storage->Commit(STGC_DEFAULT);
  storage.reset();
  Close();
}

}  // namespace mlr::save
