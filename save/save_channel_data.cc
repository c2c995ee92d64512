// Phases 3 and 4 of a saved channel group: the stream headers and the disk
// space, then the samples and their reduction.
#include <algorithm>
#include <cstring>

#include "save/interface_table.h"
#include "save/record_writer.h"
#include "save/save_channel_group.h"

namespace mlr::save {
namespace {

inline constexpr uint64_t kStepPlain = 0x800000;     // 8 MiB
inline constexpr uint64_t kStepKss = 0x40000000;     // 1 GiB
inline constexpr uint64_t kPlainLimit = 0x80000000;  // 2 GiB
inline constexpr DWORD kPauseMs = 500;

HRESULT SetStreamSize(IStream* stream, uint64_t size) {
  ULARGE_INTEGER value;
  value.QuadPart = size;
  return stream->SetSize(value);
}

HRESULT SeekStream(IStream* stream, uint64_t offset) {
  LARGE_INTEGER move;
  move.QuadPart = static_cast<LONGLONG>(offset);
  return stream->Seek(move, STREAM_SEEK_SET, nullptr);
}

// A safe array of `count` 16-bit values (the reduced buffer).
SAFEARRAY* NewSampleBuffer(size_t count) {
  return SafeArrayCreateVector(VT_I2, 0, static_cast<ULONG>(count));
}

// The number of elements of `array` (0 when it has none).
size_t ElementCount(SAFEARRAY* array) {
  UINT dims = SafeArrayGetDim(array);
  if (dims == 0) return 0;
  size_t count = 1;
  for (UINT d = 1; d <= dims; ++d) {
    LONG lower = 0, upper = -1;
    if (FAILED(SafeArrayGetLBound(array, d, &lower)) ||
        FAILED(SafeArrayGetUBound(array, d, &upper)) || upper < lower) {
      return 0;
    }
    count *= static_cast<size_t>(static_cast<int64_t>(upper) - lower + 1);
  }
  return count;
}

}  // namespace

void ReduceRun(const int16_t* samples, size_t frames, size_t channels,
               const std::vector<bool>& is_event, int16_t* out) {
  // Frame after frame over contiguous channels, all four results for every
  // channel (the loop vectorises); each channel then keeps the pair it needs.
  thread_local std::vector<int16_t> scratch;
  scratch.resize(4 * channels);
  int16_t* hi = scratch.data();
  int16_t* lo = hi + channels;
  int16_t* any = lo + channels;
  int16_t* all = any + channels;
  for (size_t c = 0; c < channels; ++c) hi[c] = lo[c] = any[c] = all[c] = samples[c];
  const int16_t* p = samples + channels;
  for (size_t f = 1; f < frames; ++f, p += channels) {
    for (size_t c = 0; c < channels; ++c) {
      const int16_t v = p[c];
      hi[c] = std::max(hi[c], v);
      lo[c] = std::min(lo[c], v);
      any[c] = static_cast<int16_t>(any[c] | v);
      all[c] = static_cast<int16_t>(all[c] & v);
    }
  }
  for (size_t c = 0; c < channels; ++c) {
    out[2 * c] = is_event[c] ? any[c] : hi[c];
    out[2 * c + 1] = is_event[c] ? all[c] : lo[c];
  }
}

uint32_t CSaveChannelGroup::block_frames() const {
  const uint32_t c = std::max<uint32_t>(1, static_cast<uint32_t>(channels_.size()));
  if (removable_) {
    uint32_t b = ((100000 / c + kSaveReduction - 1) / kSaveReduction) * kSaveReduction;
    return std::clamp<uint32_t>(b, 500, 25000);
  }
  if (c > 34) return 15000;
  if (c > 18) return 30000;
  if (c > 10) return 50000;
  return 100000;
}

uint32_t CSaveChannelGroup::reduced_capacity() const { return removable_ ? 10000 : 100000; }

uint64_t CSaveChannelGroup::HeaderSize() const {
  const uint64_t width = (options_ & kalSRF_UseKSS) ? 8 : 4;
  return 4 + 2 * segments_.size() * width;
}

void CSaveChannelGroup::Submit(IStream* stream, SAFEARRAY* data, size_t bytes) {
  auto job = std::make_unique<CSaveWriteJob>(stream, data, bytes);
  if (writer_) return writer_->Submit(std::move(job));
  HRESULT hr = job->Perform();
  if (FAILED(hr)) SetError(hr);
}

void CSaveChannelGroup::Allocate(const CSaveStopSource& caller) {
  if (segments_.empty()) return;
  ComPtr<IStorage> storage;
  ComPtr<IStream> main, reduced;
  HRESULT hr = FetchFromTable(storage_cookie_, &storage);
  if (SUCCEEDED(hr)) hr = FetchFromTable(main_cookie_, &main);
  if (SUCCEEDED(hr) && reduced_cookie_ != 0) hr = FetchFromTable(reduced_cookie_, &reduced);
  if (FAILED(hr)) return SetError(hr);

  const bool wide = (options_ & kalSRF_UseKSS) != 0;
  const uint64_t channels = channels_.size();
  const uint64_t header = HeaderSize();
  RecordBuilder main_header, reduced_header;
  main_header.U32(static_cast<uint32_t>(segments_.size()));
  reduced_header.U32(static_cast<uint32_t>(segments_.size()));
  uint64_t main_offset = header, reduced_offset = header;
  auto entry = [wide](RecordBuilder& out, uint64_t offset, uint64_t count) {
    if (wide) {
      out.U64(offset).U64(count);
    } else {
      out.U32(static_cast<uint32_t>(offset)).U32(static_cast<uint32_t>(count));
    }
  };
  for (const SaveSegment& segment : segments_) {
    const int32_t frames = segment.frames;
    const int32_t reduced_frames = (frames - 1) / static_cast<int32_t>(kSaveReduction) + 1;
    entry(main_header, main_offset, static_cast<uint64_t>(frames));
    main_offset += channels * 2 * static_cast<uint64_t>(frames);
    entry(reduced_header, reduced_offset, static_cast<uint64_t>(reduced_frames));
    reduced_offset += channels * 4 * static_cast<uint64_t>(reduced_frames);
  }
  if (FAILED(hr = WriteAll(main.get(), main_header.bytes().data(), main_header.size()))) {
    return SetError(hr);
  }
  if (reduced) {
    hr = WriteAll(reduced.get(), reduced_header.bytes().data(), reduced_header.size());
    if (FAILED(hr)) return SetError(hr);
    if (!Stopped(caller) && FAILED(hr = SetStreamSize(reduced.get(), reduced_offset))) {
      return SetError(hr);
    }
  }

  const uint64_t total = header + static_cast<uint64_t>(total_frames_) * 2 * channels;
  to_allocate_.store(static_cast<int64_t>(total));
  const uint64_t step = wide ? kStepKss : kStepPlain;
  if (!wide && total >= kPlainLimit) return SetError(kSaveTooLarge);

  uint64_t allocated = std::max(step, header);
  allocated_.store(static_cast<int64_t>(allocated));
  for (int steps = 1; allocated < total && !FAILED(error()); ++steps) {
    hr = SetStreamSize(main.get(), allocated);
    allocated += step;
    allocated_.store(static_cast<int64_t>(allocated));
    if (FAILED(hr)) SetError(hr);
    if (Stopped(caller)) break;
    if (steps % 2 == 0) main->Commit(STGC_DEFAULT);
  }
  if (Stopped(caller)) return;
  if (FAILED(hr = SetStreamSize(main.get(), total))) return SetError(hr);
  allocated_.store(static_cast<int64_t>(total));
}

void CSaveChannelGroup::SaveData(const CSaveStopSource& caller) {
  if (segments_.empty()) return;
  const size_t channels = channels_.size();
  const uint32_t block = block_frames();
  const size_t capacity = reduced_capacity();

  ComPtr<IStorage> storage;
  ComPtr<IStream> main, reduced;
  HRESULT hr = FetchFromTable(storage_cookie_, &storage);
  if (SUCCEEDED(hr)) hr = FetchFromTable(main_cookie_, &main);
  if (SUCCEEDED(hr) && reduced_cookie_ != 0 && !(options_ & kalSRF_SkipReducedStream)) {
    hr = FetchFromTable(reduced_cookie_, &reduced);
  }
  if (FAILED(hr)) return SetError(hr);

  std::vector<bool> is_event(channels);
  for (size_t c = 0; c < channels; ++c) is_event[c] = channels_[c]->is_event();

  SAFEARRAY* buffer = nullptr;
  int16_t* buffer_data = nullptr;
  size_t pending = 0;
  auto new_buffer = [&]() {
    buffer = NewSampleBuffer(channels * capacity * 2);
    if (!buffer) return false;
    // The array is ours until its job takes it: its data stays in place.
    buffer_data = static_cast<int16_t*>(buffer->pvData);
    return true;
  };
  if (reduced && !new_buffer()) return SetError(E_OUTOFMEMORY);

  SAFEARRAY* infos = SafeArrayCreateVector(VT_DISPATCH, 0, static_cast<ULONG>(channels));
  if (!infos) {
    if (buffer) SafeArrayDestroy(buffer);
    return SetError(E_OUTOFMEMORY);
  }
  for (LONG c = 0; c < static_cast<LONG>(channels); ++c) {
    ComPtr<IDispatch> dispatch;
    channels_[c]->source()->QueryInterface(IID_IDispatch, dispatch.put_void());
    SafeArrayPutElement(infos, &c, dispatch.get());
  }

  const uint64_t header = HeaderSize();
  hr = SeekStream(main.get(), header);
  if (SUCCEEDED(hr) && reduced) hr = SeekStream(reduced.get(), header);
  if (FAILED(hr)) SetError(hr);

  for (const SaveSegment& segment : segments_) {
    if (Stopped(caller)) break;
    LONG first = std::max<LONG>(1, segment.first_frame);
    int64_t remaining = segment.frames;
    while (remaining > 0) {
      const DWORD started = clock_->Now();
      if (Stopped(caller)) break;
      const LONG n = static_cast<LONG>(std::min<int64_t>(block, remaining));
      SAFEARRAY* data = nullptr;
      hr = source_->GetMuxData(&infos, segment.source_hnorm, first, n, 1, &data);
      if (SUCCEEDED(hr) && data) {
        const size_t k = std::min<size_t>(ElementCount(data) / channels, n);
        if (k == 0) {
          SafeArrayDestroy(data);
          SetError(E_FAIL);  // a source that gives no frames would never finish
          break;
        }
        if (reduced) {
          void* samples = nullptr;
          if (SUCCEEDED(SafeArrayAccessData(data, &samples))) {
            const int16_t* in = static_cast<const int16_t*>(samples);
            for (size_t f0 = 0; f0 < k; f0 += kSaveReduction) {
              const size_t run = std::min<size_t>(kSaveReduction, k - f0);
              ReduceRun(in + f0 * channels, run, channels, is_event,
                        buffer_data + pending * 2 * channels);
              if (++pending == capacity) {
                written_reduced_ += static_cast<int64_t>(pending * 4 * channels);
                Submit(reduced.get(), buffer, pending * 4 * channels);
                pending = 0;
                buffer = nullptr;
                if (!new_buffer()) {
                  SetError(E_OUTOFMEMORY);
                  break;
                }
              }
            }
            SafeArrayUnaccessData(data);
          }
        }
        const size_t bytes = channels * k * 2;
        remaining -= static_cast<int64_t>(k);
        written_main_ += static_cast<int64_t>(bytes);
        first += static_cast<LONG>(k);
        Submit(main.get(), data, bytes);
      } else if (FAILED(hr)) {
        SetError(hr);
      } else {
        SetError(E_FAIL);  // success without a result: nothing to write
      }
      if (removable_) {
        const DWORD elapsed = clock_->Now() - started;
        clock_->Pause(elapsed <= kPauseMs ? kPauseMs - elapsed : kPauseMs);
      }
      if (FAILED(error())) break;
    }
  }
  SafeArrayDestroy(infos);
  if (buffer && pending > 0 && !Stopped(caller)) {
    written_reduced_ += static_cast<int64_t>(pending * 4 * channels);
    Submit(reduced.get(), buffer, pending * 4 * channels);
  } else if (buffer) {
    SafeArrayDestroy(buffer);
  }
}

}  // namespace mlr::save
