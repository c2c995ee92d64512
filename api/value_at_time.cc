// GetSampleAtTime and GetValueAtTime: one channel read at one time, the raw
// 16-bit sample or the value in technical units, interpolated linearly
// between the sample at or before the time (A) and the next one (B); see
// sample_pair.h for how A and B are found and which errors the lookup raises.
//
// Both return S_OK whatever happens, also when the lookup failed: a failure
// shows only in the result (-32768 for the sample, the void number for the
// value) and in the thread's error object. This is deliberate, for the
// scripts that rely on it. Choices where the contract leaves room:
// - A time that lies on a sample (within 1e-9 sample steps of its time, see
//   sample_pair.h) answers that sample, as an exact hit does.
// - A null Result gives E_POINTER (there is nowhere to put the answer).
// - The thread's error object is cleared on entry, so after a call it
//   describes that call's failure, or is empty when a value was found.
// - A stored -32768 is an absent sample. A time exactly on it answers
//   -32768 and the void number; interpolation with an absent neighbour
//   answers the same, since no value can be made up for the gap. (Event
//   channels answer their word as stored: 0x8000 is a valid bit mask there.)
// - A void Y0 or YStep (a time range the recording marks as void) gives
//   the void number for the value; a void factor of A gives -32768 for the
//   interpolated sample, as does an absent sample B.
// - Scaled values are raw x YStep + Y0 with two roundings (no fused
//   multiply-add), so every machine gives the same bits.
#include <cstdint>

#include "LegacyRecording.h"
#include "api/sample_pair.h"
#include "api/scaling.h"
#include "api/void_number.h"
#include "platform/win.h"

namespace {

using mlr::api::kAbsentSample;
using mlr::api::SamplePair;
using mlr::api::SampleRecord;

// raw x factor + offset (two roundings); the void number when the sample is
// absent or its scaling void.
double Scaled(const SampleRecord& sample) {
  if (sample.raw == kAbsentSample || mlr::HasVoidHighWord(sample.factor) ||
      mlr::HasVoidHighWord(sample.offset)) {
    return mlr::VoidNumber();
  }
  return mlr::api::Scale(sample.raw, sample.offset, sample.factor);
}

bool LookUp(IChannelInfo* channel, double time, SamplePair* pair) {
  SetErrorInfo(0, nullptr);
  return SUCCEEDED(mlr::api::LookUpSamplePair(channel, time, pair));
}

}  // namespace

MLR_API HRESULT STDAPICALLTYPE GetSampleAtTime(IChannelInfo* ChInfo, double Time, short* Result) {
  if (!Result) return E_POINTER;
  *Result = kAbsentSample;
  SamplePair pair;
  if (!LookUp(ChInfo, Time, &pair)) return S_OK;
  const SampleRecord& a = pair.a;
  const SampleRecord& b = pair.b;
  if (mlr::HasVoidHighWord(a.factor) && !pair.event) return S_OK;
  if (pair.on_sample || a.time == Time || pair.event) {
    *Result = a.raw;
    return S_OK;
  }
  if (mlr::HasVoidHighWord(b.offset) || b.time == a.time) return S_OK;
  if (a.raw == kAbsentSample || b.raw == kAbsentSample) return S_OK;
  const double v = a.raw + (b.raw - a.raw) * (Time - a.time) / (b.time - a.time);
  if (v > 32767.0) {
    *Result = 32767;
  } else if (v < -32767.0) {
    *Result = -32767;
  } else {
    *Result = static_cast<short>(v);
  }
  return S_OK;
}

MLR_API HRESULT STDAPICALLTYPE GetValueAtTime(IChannelInfo* ChInfo, double Time, double* Result) {
  if (!Result) return E_POINTER;
  *Result = mlr::VoidNumber();
  SamplePair pair;
  if (!LookUp(ChInfo, Time, &pair) || pair.event) return S_OK;
  const SampleRecord& a = pair.a;
  const SampleRecord& b = pair.b;
  const double scaled_a = Scaled(a);
  if (pair.on_sample || a.time == Time) {
    *Result = scaled_a;
    return S_OK;
  }
  if (mlr::HasVoidHighWord(b.time) || b.time == a.time) return S_OK;
  const double scaled_b = Scaled(b);
  if (mlr::HasVoidHighWord(scaled_a) || mlr::HasVoidHighWord(scaled_b)) return S_OK;
  *Result = scaled_a + (scaled_b - scaled_a) * (Time - a.time) / (b.time - a.time);
  return S_OK;
}
