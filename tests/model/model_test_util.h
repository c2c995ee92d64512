// Helpers for the object-model tests: recordings built in memory and typed
// navigation shortcuts.
#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "LegacyRecording.h"
#include "model/live_objects.h"
#include "model/memory_recording.h"
#include "platform/com_ptr.h"
#include "platform/win.h"
#include "tests/platform/test_objects.h"

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
// The recording's collection `type` through interface T.
template <class T>
ComPtr<T> CollectionAs(IRecording* recording, LONG type) {
  return QueryAs<T>(CollectionOf(recording, type).get(), IidOf<T>());
}
// The object's identity (its IUnknown), for comparing objects.
inline ComPtr<IUnknown> Identity(IUnknown* object) { return QueryAs<IUnknown>(object, IID_IUnknown); }

// What a property getter answers; the call must succeed. Text() takes a
// BSTR getter's text, Child() an object getter's result, At() an Item.
template <class B, class R, class I>
R Get(I* object, HRESULT (STDMETHODCALLTYPE B::*getter)(R*)) {
  R value{};
  EXPECT_EQ(S_OK, (object->*getter)(&value));
  return value;
}
template <class B, class I>
std::u16string Text(I* object, HRESULT (STDMETHODCALLTYPE B::*getter)(BSTR*)) {
  BSTR text = nullptr;
  EXPECT_EQ(S_OK, (object->*getter)(&text));
  std::u16string result = TextOf(text);
  SysFreeString(text);
  return result;
}
template <class B, class R, class I>
ComPtr<R> Child(I* object, HRESULT (STDMETHODCALLTYPE B::*getter)(R**)) {
  ComPtr<R> result;
  EXPECT_EQ(S_OK, (object->*getter)(result.put()));
  return result;
}
template <class B, class R, class C>
ComPtr<R> ItemOf(C* collection, LONG index, HRESULT (STDMETHODCALLTYPE B::*getter)(LONG, R**)) {
  ComPtr<R> result;
  EXPECT_EQ(S_OK, (collection->*getter)(index, result.put()));
  return result;
}
template <class C>
auto At(C* collection, LONG index) {
  return ItemOf(collection, index, &C::get_Item);
}

}  // namespace mlr::model::testing
