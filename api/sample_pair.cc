#include "api/sample_pair.h"

#include <cmath>

#include "api/mux_support.h"
#include "api/void_number.h"
#include "platform/com_ptr.h"
#include "server/error_raiser.h"

namespace mlr::api {
namespace {

// How close (in sample steps) a time must come to a sample's time to count
// as on that sample.
constexpr double kOnSampleTolerance = 1e-9;

// One horizontal normset as the lookup reads it.
struct Normset {
  double start = 0.0;
  double step = 0.0;
  LONG length = 0;
  LONG index = 0;
};

HRESULT FindGroup(IChannelInfo* channel, ComPtr<IChannelGroup>* group) {
  ComPtr<IChannelInfos> infos;
  if (FAILED(channel->get_Parent(infos.put())) || !infos ||
      FAILED(infos->get_Parent(group->put())) || !*group) {
    return RaiseError(kMsgInvalidChannelInfo, IID_IChannelInfo);
  }
  return S_OK;
}

HRESULT FindNormset(IChannelGroup* group, double time, Normset* normset) {
  ComPtr<IHNorms> hnorms;
  LONG count = 0;
  if (FAILED(group->get_HNorms(hnorms.put())) || !hnorms ||
      FAILED(hnorms->get_Count(&count)) || count < 1) {
    return RaiseError(kMsgNoHorizontalNormsets, IID_IChannelGroup);
  }
  ComPtr<IHNorm> found;
  if (FAILED(hnorms->GetLastStartingBefore(time, found.put())) || !found) {
    return RaiseError(kMsgTimeOutOfRange, IID_IChannelGroup);
  }
  if (FAILED(found->get_StartTime(&normset->start)) || FAILED(found->get_XStep(&normset->step)) ||
      FAILED(found->get_Length(&normset->length))) {
    return RaiseError(kMsgTimeOutOfRange, IID_IChannelGroup);
  }
  if (FAILED(found->get_Index(&normset->index)) || normset->index < 1) {
    return RaiseError(kMsgInvalidNormsetIndex, IID_IChannelGroup);
  }
  return S_OK;
}

// The 1-based sample at or before `time` in `normset`, or 0 when the time
// lies outside the normset's samples; *on_sample tells whether the time
// lies on that sample.
LONG SampleAtOrBefore(const Normset& normset, double time, bool* on_sample) {
  *on_sample = false;
  if (normset.length < 1 || !(time >= normset.start)) return 0;
  if (time == normset.start) {  // also for a single sample of any step
    *on_sample = true;
    return 1;
  }
  // In sample steps from the first sample; NaN for a NaN step, negative or
  // infinite for a step that is not a positive number.
  const double steps = (time - normset.start) / normset.step;
  const double last = static_cast<double>(normset.length) - 1.0;
  if (!(steps >= 0.0 && steps <= last + kOnSampleTolerance)) return 0;
  const double nearest = std::round(steps);
  if (std::fabs(steps - nearest) <= kOnSampleTolerance) {
    *on_sample = true;
    return static_cast<LONG>(nearest) + 1;
  }
  return static_cast<LONG>(steps) + 1;
}

// Reads `count` frames of `channel` from sample `first` of normset `index`
// at reduction 1; *got tells how many came.
HRESULT ReadSamples(IChannelGroup* group, IChannelInfo* channel, LONG index, LONG first,
                    int count, int16_t* raw, int* got) {
  *got = 0;
  SafeArrayHolder selection(SingleChannelVector(channel));
  ChannelSelection channels;
  if (!selection.get() || FAILED(channels.Load(selection.get()))) return E_OUTOFMEMORY;
  SAFEARRAY* list = selection.get();
  MuxBlock block;
  if (SUCCEEDED(block.Read(group, &list, channels, index, first, count, 1))) {
    *got = block.frames() < static_cast<size_t>(count) ? static_cast<int>(block.frames()) : count;
    for (int k = 0; k < *got; ++k) raw[k] = block.frame(static_cast<size_t>(k))[0];
  }
  return *got > 0 ? S_OK : RaiseError(kMsgDataNotAvailable, IID_IChannelGroup);
}

HRESULT ReadScaling(IVNorms* vnorms, SampleRecord* sample) {
  ComPtr<IVNorm> vnorm;
  if (!vnorms || FAILED(vnorms->GetFromTime(sample->time, vnorm.put())) || !vnorm ||
      FAILED(vnorm->get_Y0(&sample->offset)) || FAILED(vnorm->get_YStep(&sample->factor))) {
    sample->offset = sample->factor = VoidNumber();
    return RaiseError(kMsgNoVerticalNormsets, IID_IChannelInfo);
  }
  return S_OK;
}

}  // namespace

SampleRecord SampleRecord::Absent() {
  return SampleRecord{VoidNumber(), VoidNumber(), VoidNumber(), kAbsentSample};
}

HRESULT LookUpSamplePair(IChannelInfo* channel, double time, SamplePair* pair) {
  *pair = SamplePair{};
  if (!channel) return RaiseError(kMsgInvalidChannelInfo, IID_IChannelInfo);
  VARIANT_BOOL event = VARIANT_FALSE;
  if (SUCCEEDED(channel->get_EventChannel(&event))) pair->event = event != VARIANT_FALSE;

  ComPtr<IChannelGroup> group;
  HRESULT hr = FindGroup(channel, &group);
  if (FAILED(hr)) return hr;
  Normset normset;
  hr = FindNormset(group.get(), time, &normset);
  if (FAILED(hr)) return hr;
  const LONG sample = SampleAtOrBefore(normset, time, &pair->on_sample);
  if (sample < 1) return RaiseError(kMsgTimeOutOfRange, IID_IChannelGroup);

  const int wanted = sample < normset.length ? 2 : 1;
  int16_t raw[2] = {kAbsentSample, kAbsentSample};
  int got = 0;
  hr = ReadSamples(group.get(), channel, normset.index, sample, wanted, raw, &got);
  if (FAILED(hr)) return hr;
  pair->a.time = normset.start + (sample - 1.0) * normset.step;
  pair->a.raw = raw[0];
  if (got == 2) {
    pair->b.time = pair->a.time + normset.step;
    pair->b.raw = raw[1];
  }
  if (pair->event) return S_OK;

  ComPtr<IVNorms> vnorms;
  (void)channel->get_VNorms(vnorms.put());
  hr = ReadScaling(vnorms.get(), &pair->a);
  if (SUCCEEDED(hr) && got == 2) hr = ReadScaling(vnorms.get(), &pair->b);
  return hr;
}

}  // namespace mlr::api
