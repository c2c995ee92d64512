#include "testing/recording_walk.h"

#include <algorithm>

#include "platform/com_ptr.h"
#include "platform/win.h"

namespace mlr::testing {
namespace {

VARIANT Long(LONG v) {
  VARIANT var;
  VariantInit(&var);
  var.vt = VT_I4;
  var.lVal = v;
  return var;
}

uint64_t WalkGroup(IChannelGroup* group) {
  uint64_t touched = 0;
  double d;
  group->get_StartTime(&d);
  group->get_EndTime(&d);
  ComPtr<IChannelInfos> infos;
  LONG channels = 0;
  if (SUCCEEDED(group->get_ChannelInfos(infos.put())) && infos) infos->get_Count(&channels);
  SAFEARRAY* list = SafeArrayCreateVector(VT_DISPATCH, 0, static_cast<ULONG>(channels));
  for (LONG c = 1; c <= channels; ++c) {
    ComPtr<IChannelInfo> info;
    if (FAILED(infos->get_Item(c, info.put())) || !info) continue;
    for (LONG b = 0; b <= 16; ++b) {
      BSTR name = nullptr;
      info->get_Name(Long(b), &name);
      touched += SysStringLen(name);
      SysFreeString(name);
    }
    VARIANT_BOOL event;
    info->get_EventChannel(&event);
    ComPtr<IVNorms> vnorms;
    LONG n = 0;
    if (SUCCEEDED(info->get_VNorms(vnorms.put())) && vnorms) vnorms->get_Count(&n);
    touched += static_cast<uint64_t>(n > 0 ? n : 0);
    LONG at = c - 1;
    if (list) SafeArrayPutElement(list, &at, static_cast<IDispatch*>(info.get()));
  }
  ComPtr<IHNorms> hnorms;
  LONG count = 0;
  if (SUCCEEDED(group->get_HNorms(hnorms.put())) && hnorms) hnorms->get_Count(&count);
  LONG factor = 0x7FFFFFFF;
  group->GetBestReductionFactor(1, &factor);
  // A read costs up to items x reduction frames (a reduction that is not
  // stored is merged from full-rate or stored frames), so the walk asks for
  // at most about a million frames per read, whatever factor a file claims.
  constexpr LONG kFramesPerRead = 1 << 20;
  for (LONG h = 1; h <= count && h <= 4 && list; ++h) {
    for (LONG reduction : {LONG{1}, factor}) {
      if (reduction < 1 || reduction > kFramesPerRead) break;
      const LONG items = std::min<LONG>(2000, kFramesPerRead / reduction);
      SAFEARRAY* result = nullptr;
      if (SUCCEEDED(group->GetMuxData(&list, h, 1, items, reduction, &result)) && result) {
        LONG lo = 0, hi = -1;
        SafeArrayGetLBound(result, SafeArrayGetDim(result), &lo);
        SafeArrayGetUBound(result, SafeArrayGetDim(result), &hi);
        touched += static_cast<uint64_t>(hi - lo + 1);
        SafeArrayDestroy(result);
      }
      if (reduction == 1 && factor == 1) break;
    }
  }
  if (list) SafeArrayDestroy(list);
  return touched;
}

uint64_t WalkTimemarks(IUnknown* collection) {
  uint64_t touched = 0;
  if (!collection) return 0;
  ComPtr<ITimemarks> marks;
  if (FAILED(collection->QueryInterface(IID_ITimemarks, marks.put_void())) || !marks) return 0;
  LONG count = 0;
  marks->get_Count(&count);
  for (LONG i = 1; i <= count; ++i) {
    ComPtr<IUnknown> item;
    if (FAILED(marks->get_Item(i, item.put())) || !item) continue;
    ComPtr<ITimemark> mark;
    double t = 0;
    if (SUCCEEDED(item->QueryInterface(IID_ITimemark, mark.put_void())) && mark) {
      mark->get_Time(&t);
      ++touched;
    }
    ComPtr<IVoiceMark> voice;
    if (SUCCEEDED(item->QueryInterface(IID_IVoiceMark, voice.put_void())) && voice) {
      VARIANT data;
      VariantInit(&data);
      if (SUCCEEDED(voice->GetData(1, 4096, &data))) touched += data.vt != VT_EMPTY;
      VariantClear(&data);
    }
    ComPtr<ITriggerInfo> trigger;
    if (SUCCEEDED(item->QueryInterface(IID_ITriggerInfo, trigger.put_void())) && trigger) {
      ComPtr<IChannelInfo> info;
      trigger->get_ChannelInfo(info.put());
      touched += info ? 1 : 0;
    }
  }
  LONG first, last;
  marks->GetIndicesFromTime(-1e300, 1e300, &first, &last);
  return touched;
}

}  // namespace

uint64_t WalkRecording(IRecording* recording) {
  uint64_t touched = 0;
  BSTR text = nullptr;
  recording->get_Title(&text);
  SysFreeString(text);
  text = nullptr;
  recording->get_Comment(&text);
  SysFreeString(text);
  LONG size = 0;
  recording->get_TotalSize(&size);
  double d;
  recording->get_StartTime(&d);
  recording->get_Duration(&d);
  ComPtr<IChannelGroups> groups;
  LONG count = 0;
  if (SUCCEEDED(recording->get_ChannelGroups(groups.put())) && groups) groups->get_Count(&count);
  for (LONG g = 1; g <= count; ++g) {
    ComPtr<IChannelGroup> group;
    if (SUCCEEDED(groups->get_Item(g, group.put())) && group) touched += WalkGroup(group.get());
  }
  for (kalRecordingCollection type : {kalRecColMarkers, kalRecColBookmarks, kalRecColTriggers,
                                      kalRecColVoicemarks}) {
    ComPtr<IUnknown> collection;
    recording->get_Collection(type, collection.put());
    touched += WalkTimemarks(collection.get());
  }
  ComPtr<IUnknown> physical;
  recording->get_Collection(kalRecColPhysicalChannelConfig, physical.put());
  ComPtr<IPhysicalChannels> channels;
  if (physical &&
      SUCCEEDED(physical->QueryInterface(IID_IPhysicalChannels, channels.put_void())) &&
      channels) {
    LONG n = 0;
    channels->get_Count(&n);
    for (LONG i = 1; i <= n; ++i) {
      ComPtr<IPhysicalChannel> pc;
      if (FAILED(channels->get_Item(i, pc.put())) || !pc) continue;
      ComPtr<IChannelInfo> info;
      pc->get_ChannelInfo(info.put());
      touched += 1 + (info ? 1 : 0);
    }
  }
  ComPtr<IUnknown> pages_unknown;
  recording->get_Collection(kalRecColDisplayPages, pages_unknown.put());
  ComPtr<IDisplayPages> pages;
  if (pages_unknown &&
      SUCCEEDED(pages_unknown->QueryInterface(IID_IDisplayPages, pages.put_void())) && pages) {
    LONG n = 0;
    pages->get_Count(&n);
    for (LONG i = 1; i <= n; ++i) {
      ComPtr<IDisplayPage> page;
      if (FAILED(pages->get_Item(i, page.put())) || !page) continue;
      ComPtr<IUnknown> blob;
      page->get_PageSetup(blob.put());
      touched += blob ? 1 : 0;
    }
  }
  return touched;
}

}  // namespace mlr::testing
