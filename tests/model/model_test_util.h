// Helpers for the object-model tests: recordings built in memory and typed
// navigation shortcuts.
#pragma once

#include <string>
#include <vector>

#include "LegacyRecording.h"
#include "model/live_objects.h"
#include "model/memory_recording.h"
#include "platform/com_ptr.h"
#include "platform/win.h"

namespace mlr::model::testing {

// A group of `channels` analog channels "Ch1".. (unit "V", one vertical
// normset Y0 0, YStep 0.5 from 0) and one segment per (start, x_step,
// length); the sample of frame f, channel c is f * 10 + c.
struct Segment {
  double start;
  double x_step;
  LONG length;
};
MemoryGroupSpec MakeGroup(LONG channels, const std::vector<Segment>& segments);

ComPtr<IRecording> MakeRecording(const std::vector<MemoryGroupSpec>& groups);
ComPtr<IRecording> MakeRecording(const MemoryRecordingSpec& spec);

ComPtr<IChannelGroup> Group(IRecording* recording, LONG index);
ComPtr<IChannelInfo> Channel(IRecording* recording, LONG group, LONG channel);
ComPtr<IHNorms> HNorms(IRecording* recording, LONG group);
ComPtr<IVNorms> VNorms(IRecording* recording, LONG group, LONG channel);
ComPtr<IUnknown> CollectionOf(IRecording* recording, LONG type);

template <class T>
ComPtr<T> QueryAs(IUnknown* object, REFIID iid) {
  ComPtr<T> result;
  if (object != nullptr) object->QueryInterface(iid, reinterpret_cast<void**>(result.put()));
  return result;
}

std::u16string ToU16(BSTR text);

}  // namespace mlr::model::testing
