// The generic recording, group and channel: base behaviour of the members,
// the protected operations a source uses, and the in-memory recording's
// GetMuxData.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "model/api_entry_table.h"
#include "model/channel_group_impl.h"
#include "model/channel_info_impl.h"
#include "model/channel_infos_impl.h"
#include "model/physical_channels_impl.h"
#include "model/recording_impl.h"
#include "model_test_util.h"
#include "platform/strings.h"

namespace mlr::model::testing {
namespace {

// A source as a reader would write it: derived classes filling the model
// through the protected operations.
class TestChannel : public CURIChannelInfoImpl {
 public:
  using CURIChannelInfoImpl::CURIChannelInfoImpl;
  using CURIChannelInfoImpl::AddVNorm;
  using CURIChannelInfoImpl::SetEventChannel;
  using CURIChannelInfoImpl::SetName;
};

class TestGroup : public CURIChannelGroupImpl {
 public:
  using CURIChannelGroupImpl::CURIChannelGroupImpl;
  using CURIChannelGroupImpl::AddChannelInfo;
  using CURIChannelGroupImpl::AddHNorm;
  using CURIChannelGroupImpl::MapChannelIndices;
};

class TestRecording : public CURIRecordingImpl {
 public:
  using CURIRecordingImpl::AddChannelGroup;
  using CURIRecordingImpl::SetStartTimeFromLocal;
  using CURIRecordingImpl::SetStartTimeFromUTC;
  using CURIRecordingImpl::SetPhysicalChannels;
  using CURIRecordingImpl::SetStrings;
};

TEST(ModelRecording, BaseMembersOfAnEmptyRecording) {
  const long baseline = LiveObjectCount();
  {
    auto* raw = new TestRecording();
    ComPtr<IRecording> recording(static_cast<IRecording*>(raw));
    ASSERT_EQ(S_OK, raw->SetStrings(u"title", u"dir", u"krf", u"comment", u"s"));

    double start = 0.0;
    double end = 0.0;
    double duration = 0.0;
    EXPECT_EQ(S_OK, recording->get_StartTime(&start));
    EXPECT_EQ(S_OK, recording->get_EndTime(&end));
    EXPECT_EQ(S_OK, recording->get_Duration(&duration));
    EXPECT_EQ(1e200, start);
    EXPECT_EQ(-1e200, end);
    EXPECT_EQ(-2e200, duration);

    VARIANT_BOOL flag = 0;
    EXPECT_EQ(S_OK, recording->get_WriteProtect(&flag));
    EXPECT_EQ(VARIANT_TRUE, flag);
    EXPECT_EQ(S_OK, recording->get_CanBeReviewed(&flag));
    EXPECT_EQ(VARIANT_TRUE, flag);
    EXPECT_EQ(S_OK, recording->get_Acquiring(&flag));
    EXPECT_EQ(VARIANT_FALSE, flag);
    double hint = 0.0;
    EXPECT_EQ(S_OK, recording->get_TimePerDivisionHint(&hint));
    EXPECT_EQ(1.0, hint);

    // Puts are accepted and change nothing.
    Bstr other(u"other");
    EXPECT_EQ(S_OK, recording->put_Title(other.get()));
    EXPECT_EQ(S_OK, recording->put_Comment(other.get()));
    EXPECT_EQ(S_OK, recording->put_UTCYear(2020));
    EXPECT_EQ(S_OK, recording->put_UTCYearDay(200));
    EXPECT_EQ(S_OK, recording->put_UTCTimeOfDay(5.0));
    EXPECT_EQ(S_OK, recording->put_WriteProtect(VARIANT_FALSE));
    EXPECT_EQ(S_OK, recording->Remove());
    Bstr text;
    EXPECT_EQ(S_OK, recording->get_Title(text.put()));
    EXPECT_EQ(u"title", text.Str());
    EXPECT_EQ(S_OK, recording->get_Comment(text.put()));
    EXPECT_EQ(u"comment", text.Str());
    EXPECT_EQ(S_OK, recording->get_Location(text.put()));
    EXPECT_EQ(u"dir", text.Str());
    EXPECT_EQ(S_OK, recording->get_Extension(text.put()));
    EXPECT_EQ(u"krf", text.Str());
    EXPECT_EQ(S_OK, recording->get_XUnits(text.put()));
    EXPECT_EQ(u"s", text.Str());
    SHORT year = 0;
    SHORT day = 0;
    double seconds = -1.0;
    EXPECT_EQ(S_OK, recording->get_UTCYear(&year));
    EXPECT_EQ(S_OK, recording->get_UTCYearDay(&day));
    EXPECT_EQ(S_OK, recording->get_UTCTimeOfDay(&seconds));
    EXPECT_EQ(1999, year);
    EXPECT_EQ(1, day);
    EXPECT_EQ(0.0, seconds);
    EXPECT_EQ(S_OK, recording->get_WriteProtect(&flag));
    EXPECT_EQ(VARIANT_TRUE, flag);

    // Null out pointers come first.
    EXPECT_EQ(E_POINTER, recording->get_Title(nullptr));
    EXPECT_EQ(E_POINTER, recording->get_StartTime(nullptr));
    EXPECT_EQ(E_POINTER, recording->get_Collection(kalRecColMarkers, nullptr));
    EXPECT_EQ(E_POINTER, recording->get_TotalSize(nullptr));

    ComPtr<IDispatch> parent;
    EXPECT_EQ(S_OK, recording->get_Parent(parent.put()));
    EXPECT_FALSE(parent);

    // Collections: 1 is the groups; voice marks and display pages are left
    // to sources; the physical channels exist only once set.
    ComPtr<IUnknown> groups_unknown = CollectionOf(recording.get(), 1);
    ComPtr<IChannelGroups> groups;
    ASSERT_EQ(S_OK, recording->get_ChannelGroups(groups.put()));
    EXPECT_EQ(QueryAs<IUnknown>(groups.get(), IID_IUnknown), groups_unknown);
    for (LONG type : {0, 4, 6, static_cast<LONG>(kalRecColDisplayPages),
                      static_cast<LONG>(kalRecColPhysicalChannelConfig)}) {
      IUnknown* result = reinterpret_cast<IUnknown*>(0x1);
      EXPECT_EQ(S_OK, recording->get_Collection(static_cast<kalRecordingCollection>(type), &result));
      EXPECT_EQ(nullptr, result) << type;
    }
    raw->SetPhysicalChannels(new CURIPhysicalChannelsImpl(raw));
    EXPECT_TRUE(CollectionOf(recording.get(), kalRecColPhysicalChannelConfig));
  }
  EXPECT_EQ(baseline, LiveObjectCount());
}

TEST(ModelRecording, GroupWithoutNormsetsAnswersTheBareMessageNumber) {
  auto* raw = new TestRecording();
  ComPtr<IRecording> recording(static_cast<IRecording*>(raw));
  auto* empty = new TestGroup(raw);
  ASSERT_EQ(S_OK, raw->AddChannelGroup(empty));
  auto* filled = new TestGroup(raw);
  ASSERT_EQ(S_OK, raw->AddChannelGroup(filled));
  ASSERT_EQ(S_OK, filled->AddHNorm(3.0, 0.5, 5));  // [3, 5]

  double value = -1.0;
  EXPECT_EQ(10202, empty->get_StartTime(&value));
  EXPECT_EQ(0.0, value);
  value = -1.0;
  EXPECT_EQ(10202, empty->get_EndTime(&value));
  EXPECT_EQ(0.0, value);
  EXPECT_TRUE(SUCCEEDED(10202));  // deliberately not an error status
  EXPECT_EQ(S_OK, empty->get_Duration(&value));
  EXPECT_EQ(0.0, value);

  // The empty group's 0.0 takes part in the recording's minimum.
  EXPECT_EQ(S_OK, recording->get_StartTime(&value));
  EXPECT_EQ(0.0, value);
  EXPECT_EQ(S_OK, recording->get_EndTime(&value));
  EXPECT_EQ(5.0, value);

  LONG factor = 123;
  EXPECT_EQ(S_OK, filled->GetBestReductionFactor(1, &factor));
  EXPECT_EQ(123, factor);
  EXPECT_EQ(E_POINTER, filled->GetBestReductionFactor(1, nullptr));
  SAFEARRAY* result = nullptr;
  EXPECT_EQ(E_NOTIMPL, filled->GetMuxData(nullptr, 1, 1, 1, 1, &result));
  EXPECT_EQ(E_POINTER, filled->GetMuxData(nullptr, 1, 1, 1, 1, nullptr));
}

TEST(ModelRecording, ChannelNamesUnitsAndIndexMapping) {
  auto* raw = new TestRecording();
  ComPtr<IRecording> recording(static_cast<IRecording*>(raw));
  auto* group = new TestGroup(raw);
  ASSERT_EQ(S_OK, raw->AddChannelGroup(group));
  auto* other_group = new TestGroup(raw);
  ASSERT_EQ(S_OK, raw->AddChannelGroup(other_group));
  auto* analog = new TestChannel(group);
  auto* events = new TestChannel(group);
  auto* foreign = new TestChannel(other_group);
  ASSERT_EQ(S_OK, group->AddChannelInfo(analog));
  ASSERT_EQ(S_OK, group->AddChannelInfo(events));
  ASSERT_EQ(S_OK, other_group->AddChannelInfo(foreign));
  ASSERT_TRUE(analog->SetName(0, u"Pressure"));
  events->SetEventChannel(true);
  ASSERT_TRUE(events->SetName(16, u"bit sixteen"));
  EXPECT_FALSE(events->SetName(17, u"none"));

  VARIANT bit;
  VariantInit(&bit);
  Bstr name;
  EXPECT_EQ(S_OK, analog->get_Name(bit, name.put()));  // VT_EMPTY converts to 0
  EXPECT_EQ(u"Pressure", name.Str());
  bit.vt = VT_BSTR;
  bit.bstrVal = SysAllocString(u"16");
  EXPECT_EQ(S_OK, events->get_Name(bit, name.put()));
  EXPECT_EQ(u"bit sixteen", name.Str());
  VariantClear(&bit);
  bit.vt = VT_I4;
  bit.lVal = 17;
  EXPECT_EQ(E_INVALIDARG, events->get_Name(bit, name.put()));
  bit.lVal = -1;
  EXPECT_EQ(E_INVALIDARG, events->get_Name(bit, name.put()));

  VARIANT_BOOL is_event = 0;
  EXPECT_EQ(S_OK, events->get_EventChannel(&is_event));
  EXPECT_EQ(VARIANT_TRUE, is_event);
  EXPECT_EQ(S_OK, analog->get_EventChannel(&is_event));
  EXPECT_EQ(VARIANT_FALSE, is_event);
  for (kalSystemEvent e : {kalSysEventTrigger, kalSysEventHighRate, kalSysEventMarker,
                           kalSysEventAlarm}) {
    SHORT mask = 7;
    EXPECT_EQ(S_OK, events->get_SystemEventMask(e, &mask));
    EXPECT_EQ(0, mask);
  }

  // Index mapping: elements of this group give their Index; a channel of
  // another group gives 0 and the call fails with E_FAIL; the list ends
  // with -1.
  SAFEARRAY* channels = SafeArrayCreateVector(VT_DISPATCH, 0, 3);
  ASSERT_NE(nullptr, channels);
  IDispatch** slots = nullptr;
  ASSERT_EQ(S_OK, SafeArrayAccessData(channels, reinterpret_cast<void**>(&slots)));
  slots[0] = static_cast<IChannelInfo*>(events);
  slots[1] = static_cast<IChannelInfo*>(analog);
  slots[2] = nullptr;
  SafeArrayUnaccessData(channels);
  std::vector<LONG> indices;
  EXPECT_EQ(E_FAIL, group->MapChannelIndices(channels, &indices));
  EXPECT_EQ((std::vector<LONG>{2, 1, 0, -1}), indices);
  ASSERT_EQ(S_OK, SafeArrayAccessData(channels, reinterpret_cast<void**>(&slots)));
  slots[2] = static_cast<IChannelInfo*>(foreign);
  SafeArrayUnaccessData(channels);
  EXPECT_EQ(E_FAIL, group->MapChannelIndices(channels, &indices));
  EXPECT_EQ((std::vector<LONG>{2, 1, 0, -1}), indices);
  ASSERT_EQ(S_OK, SafeArrayAccessData(channels, reinterpret_cast<void**>(&slots)));
  slots[2] = static_cast<IChannelInfo*>(analog);
  SafeArrayUnaccessData(channels);
  EXPECT_EQ(S_OK, group->MapChannelIndices(channels, &indices));
  EXPECT_EQ((std::vector<LONG>{2, 1, 1, -1}), indices);
  // The elements are borrowed: destroying the array must not release them,
  // so clear the slots first.
  ASSERT_EQ(S_OK, SafeArrayAccessData(channels, reinterpret_cast<void**>(&slots)));
  slots[0] = slots[1] = slots[2] = nullptr;
  SafeArrayUnaccessData(channels);
  SafeArrayDestroy(channels);
}

TEST(ModelRecording, TotalSizeWaitsForAnotherMemberToResolveTheTable) {
  auto* raw = new TestRecording();
  ComPtr<IRecording> recording(static_cast<IRecording*>(raw));
  auto* group = new TestGroup(raw);
  ASSERT_EQ(S_OK, raw->AddChannelGroup(group));
  auto* channel = new TestChannel(group);
  ASSERT_EQ(S_OK, group->AddChannelInfo(channel));
  ASSERT_EQ(S_OK, group->AddHNorm(0.0, 0.001, 600000));
  LONG size = -1;
  if (mlr::api_entry_table::Peek().GetEstimatedTotalSize == nullptr) {
    // Nothing in this process has resolved the table yet.
    EXPECT_EQ(S_OK, recording->get_TotalSize(&size));
    EXPECT_EQ(0, size);
  }
  DATE date = 0;
  recording->get_UTCDate(&date);
  ASSERT_NE(nullptr, mlr::api_entry_table::Peek().GetEstimatedTotalSize);
  LONG expected = -1;
  ASSERT_EQ(S_OK, GetEstimatedTotalSize(recording.get(), -1e200, 1e200, &expected));
  EXPECT_GT(expected, 1000);
  EXPECT_EQ(S_OK, recording->get_TotalSize(&size));
  EXPECT_EQ(expected, size);
}

// Sets TZ for the lifetime of the object and restores the old value.
class ScopedTimeZone {
 public:
  explicit ScopedTimeZone(const char* zone) {
    if (const char* old = std::getenv("TZ")) {
      had_ = true;
      old_ = old;
    }
    setenv("TZ", zone, 1);
  }
  ~ScopedTimeZone() {
    if (had_) {
      setenv("TZ", old_.c_str(), 1);
    } else {
      unsetenv("TZ");
    }
  }

 private:
  bool had_ = false;
  std::string old_;
};

TEST(ModelRecording, StartTimeFromLocalAndUtcGoThroughTheTimeFunctions) {
  struct Case {
    const char* zone;
    LONG day;
    double local_seconds;
    SHORT utc_day;
    double utc_seconds;
  };
  // Fixed offsets: "XYZ-2" is two hours east of UTC.
  for (const Case& c : {Case{"XYZ-2", 10, 7200.0, 10, 0.0}, Case{"XYZ+3", 10, 0.0, 10, 10800.0},
                        Case{"XYZ-2", 10, 3600.0, 9, 82800.0}}) {
    ScopedTimeZone zone(c.zone);
    auto* raw = new TestRecording();
    ComPtr<IRecording> recording(static_cast<IRecording*>(raw));
    raw->SetStartTimeFromLocal(2021, c.day, c.local_seconds);
    SHORT year = 0;
    SHORT day = 0;
    double seconds = -1.0;
    recording->get_UTCYear(&year);
    recording->get_UTCYearDay(&day);
    recording->get_UTCTimeOfDay(&seconds);
    EXPECT_EQ(2021, year) << c.zone;
    EXPECT_EQ(c.utc_day, day) << c.zone;
    EXPECT_DOUBLE_EQ(c.utc_seconds, seconds) << c.zone;
    // A UTC start goes through local time and back unchanged.
    raw->SetStartTimeFromUTC(2021, c.utc_day, c.utc_seconds);
    recording->get_UTCYearDay(&day);
    recording->get_UTCTimeOfDay(&seconds);
    EXPECT_EQ(c.utc_day, day) << c.zone;
    EXPECT_DOUBLE_EQ(c.utc_seconds, seconds) << c.zone;
  }
}

// --- The in-memory recording's data ------------------------------------------

SAFEARRAY* ChannelArray(const std::vector<IChannelInfo*>& channels) {
  SAFEARRAY* array = SafeArrayCreateVector(VT_DISPATCH, 0, static_cast<ULONG>(channels.size()));
  for (LONG i = 0; i < static_cast<LONG>(channels.size()); ++i) {
    SafeArrayPutElement(array, &i, static_cast<IDispatch*>(channels[static_cast<size_t>(i)]));
  }
  return array;
}

std::vector<SHORT> Values(SAFEARRAY* array) {
  std::vector<SHORT> values;
  if (array == nullptr) return values;
  LONG count = 1;
  for (UINT d = 1; d <= SafeArrayGetDim(array); ++d) {
    LONG lo = 0;
    LONG hi = -1;
    SafeArrayGetLBound(array, d, &lo);
    SafeArrayGetUBound(array, d, &hi);
    count *= hi - lo + 1;
  }
  SHORT* data = nullptr;
  SafeArrayAccessData(array, reinterpret_cast<void**>(&data));
  values.assign(data, data + count);
  SafeArrayUnaccessData(array);
  return values;
}

TEST(ModelMemoryRecording, MuxDataFullRateAndReduced) {
  MemoryGroupSpec group = MakeGroup(3, {{0.0, 1.0, 10}});
  group.reduction_factor = 4;
  group.channels[2].event = true;
  // Event channel samples: bit patterns.
  for (size_t f = 0; f < 10; ++f) group.segments[0].frames[f * 3 + 2] = static_cast<int16_t>(1 << (f % 3));
  ComPtr<IRecording> recording = MakeRecording({group});
  ComPtr<IChannelGroup> g = Group(recording.get(), 1);
  ComPtr<IChannelInfo> c1 = Channel(recording.get(), 1, 1);
  ComPtr<IChannelInfo> c2 = Channel(recording.get(), 1, 2);
  ComPtr<IChannelInfo> c3 = Channel(recording.get(), 1, 3);

  SAFEARRAY* one = ChannelArray({c2.get()});
  SAFEARRAY* result = nullptr;
  // One channel at full rate: a vector of m items from FirstSample.
  ASSERT_EQ(S_OK, g->GetMuxData(&one, 1, 3, 100, 1, &result));
  EXPECT_EQ(1u, SafeArrayGetDim(result));
  EXPECT_EQ((std::vector<SHORT>{21, 31, 41, 51, 61, 71, 81, 91}), Values(result));
  SafeArrayDestroy(result);
  ASSERT_EQ(S_OK, g->GetMuxData(&one, 1, 10, 5, 1, &result));  // FirstSample = Length
  EXPECT_EQ((std::vector<SHORT>{91}), Values(result));
  SafeArrayDestroy(result);
  ASSERT_EQ(S_OK, g->GetMuxData(&one, 1, 2, 2, 1, &result));  // ItemCount limits
  EXPECT_EQ((std::vector<SHORT>{11, 21}), Values(result));
  SafeArrayDestroy(result);

  // Two channels in the order asked, channel fastest, 2-D with lower bounds 1.
  SAFEARRAY* two = ChannelArray({c3.get(), c1.get()});
  ASSERT_EQ(S_OK, g->GetMuxData(&two, 1, 1, 3, 1, &result));
  EXPECT_EQ(2u, SafeArrayGetDim(result));
  LONG lower = 0;
  SafeArrayGetLBound(result, 1, &lower);
  EXPECT_EQ(1, lower);
  EXPECT_EQ((std::vector<SHORT>{1, 0, 2, 10, 4, 20}), Values(result));
  SafeArrayDestroy(result);

  // Reduction = F: (max, min) per channel, OR/AND for the event channel;
  // the last reduced frame covers frames 9 and 10 only.
  ASSERT_EQ(S_OK, g->GetMuxData(&two, 1, 1, 100, 4, &result));
  EXPECT_EQ((std::vector<SHORT>{7, 0, 30, 0, 7, 0, 70, 40, 5, 0, 90, 80}), Values(result));
  SafeArrayDestroy(result);

  LONG factor = 3;
  EXPECT_EQ(S_OK, g->GetBestReductionFactor(1, &factor));
  EXPECT_EQ(3, factor);
  factor = 11;
  EXPECT_EQ(S_OK, g->GetBestReductionFactor(1, &factor));
  EXPECT_EQ(8, factor);

  // Argument checks.
  EXPECT_EQ(E_INVALIDARG, g->GetMuxData(&one, 2, 1, 1, 1, &result));
  EXPECT_EQ(E_INVALIDARG, g->GetMuxData(&one, 0, 1, 1, 1, &result));
  EXPECT_EQ(E_INVALIDARG, g->GetMuxData(&one, 1, 0, 1, 1, &result));
  EXPECT_EQ(E_INVALIDARG, g->GetMuxData(&one, 1, 1, 1, 0, &result));
  EXPECT_EQ(E_INVALIDARG, g->GetMuxData(nullptr, 1, 1, 1, 1, &result));
  EXPECT_EQ(nullptr, result);

  // A channel of another recording is not one of the group's.
  ComPtr<IRecording> other = MakeRecording({MakeGroup(1, {{0.0, 1.0, 2}})});
  ComPtr<IChannelInfo> stranger = Channel(other.get(), 1, 1);
  SAFEARRAY* foreign = ChannelArray({stranger.get()});
  EXPECT_EQ(E_FAIL, g->GetMuxData(&foreign, 1, 1, 1, 1, &result));
  SafeArrayDestroy(foreign);
  SafeArrayDestroy(one);
  SafeArrayDestroy(two);
}

TEST(ModelMemoryRecording, MuxDataFromBeyondTheSegmentIsEmpty) {
  // The second segment holds no frames at all (its storage has no address).
  ComPtr<IRecording> recording = MakeRecording({MakeGroup(2, {{0.0, 1.0, 4}, {9.0, 1.0, 0}})});
  ComPtr<IChannelGroup> g = Group(recording.get(), 1);
  ComPtr<IChannelInfo> c2 = Channel(recording.get(), 1, 2);
  SAFEARRAY* one = ChannelArray({c2.get()});
  SAFEARRAY* result = nullptr;
  for (LONG segment : {1, 2}) {
    for (LONG first : {5, 6, 1000}) {
      ASSERT_EQ(S_OK, g->GetMuxData(&one, segment, first, 10, 1, &result));
      EXPECT_TRUE(Values(result).empty()) << segment << " " << first;
      SafeArrayDestroy(result);
    }
  }
  SafeArrayDestroy(one);
}

TEST(ModelMemoryRecording, RejectsInconsistentSpecs) {
  IRecording* recording = reinterpret_cast<IRecording*>(0x1);
  MemoryRecordingSpec bad_frames;
  bad_frames.groups.push_back(MakeGroup(2, {{0.0, 1.0, 3}}));
  bad_frames.groups[0].segments[0].frames.pop_back();
  EXPECT_EQ(E_INVALIDARG, CreateMemoryRecording(bad_frames, &recording));
  EXPECT_EQ(nullptr, recording);
  MemoryRecordingSpec bad_trigger;
  bad_trigger.triggers = {{1.0, kalTriggerSrcChannel, u"x", 1, 1}};
  EXPECT_EQ(E_INVALIDARG, CreateMemoryRecording(bad_trigger, &recording));
  EXPECT_EQ(E_POINTER, CreateMemoryRecording(bad_trigger, nullptr));
}

TEST(ModelMemoryRecording, PhysicalChannelsAndDisplayPages) {
  MemoryRecordingSpec spec;
  spec.groups.push_back(MakeGroup(2, {{0.0, 1.0, 2}}));
  spec.has_physical_channels = true;
  spec.physical_channels = {{7, 1, 1, 0, {u"not stored"}},
                            {7, 2, 1, 2, {u"stored", u"bit one"}},
                            {7, 2, 1, 1, {u"shadowed twin"}}};
  spec.display_pages = {{{1, 2, 3, 4}, {}}};
  ComPtr<IRecording> recording = MakeRecording(spec);
  auto physical = QueryAs<IPhysicalChannels>(
      CollectionOf(recording.get(), kalRecColPhysicalChannelConfig).get(), IID_IPhysicalChannels);
  ASSERT_TRUE(physical);
  ComPtr<IChannelInfo> found;
  EXPECT_EQ(S_OK, physical->FindChannelInfo(7, 1, found.put()));
  EXPECT_FALSE(found);  // configured but not stored
  EXPECT_EQ(S_OK, physical->FindChannelInfo(7, 2, found.put()));
  ASSERT_TRUE(found);  // the first of the twins wins: channel 2
  LONG index = 0;
  found->get_Index(&index);
  EXPECT_EQ(2, index);
  EXPECT_EQ(S_OK, physical->FindChannelInfo(9, 9, found.put()));
  EXPECT_FALSE(found);

  ComPtr<IPhysicalChannel> first;
  ASSERT_EQ(S_OK, physical->get_Item(1, first.put()));
  VARIANT_BOOL stored = VARIANT_TRUE;
  EXPECT_EQ(S_OK, first->get_StorageEnabled(&stored));
  EXPECT_EQ(VARIANT_FALSE, stored);
  ComPtr<IPhysicalChannel> second;
  ASSERT_EQ(S_OK, physical->get_Item(2, second.put()));
  VARIANT bit;
  VariantInit(&bit);
  bit.vt = VT_I2;
  bit.iVal = 1;
  Bstr name;
  EXPECT_EQ(S_OK, second->get_Name(bit, name.put()));
  EXPECT_EQ(u"bit one", name.Str());
  ComPtr<IChannelInfo> via_item;
  EXPECT_EQ(S_OK, second->get_ChannelInfo(via_item.put()));
  EXPECT_EQ(QueryAs<IUnknown>(via_item.get(), IID_IUnknown),
            QueryAs<IUnknown>(Channel(recording.get(), 1, 2).get(), IID_IUnknown));

  auto pages = QueryAs<IDisplayPages>(CollectionOf(recording.get(), kalRecColDisplayPages).get(),
                                      IID_IDisplayPages);
  ComPtr<IDisplayPage> page;
  ASSERT_EQ(S_OK, pages->get_Item(1, page.put()));
  ComPtr<IUnknown> empty;
  EXPECT_EQ(S_OK, page->get_TraceAssignment(empty.put()));
  EXPECT_FALSE(empty);
  // Two independent clones of the page set-up, each from the start.
  ComPtr<IUnknown> a_unknown;
  ComPtr<IUnknown> b_unknown;
  ASSERT_EQ(S_OK, page->get_PageSetup(a_unknown.put()));
  ASSERT_EQ(S_OK, page->get_PageSetup(b_unknown.put()));
  ComPtr<IStream> a = QueryAs<IStream>(a_unknown.get(), IID_IStream);
  ComPtr<IStream> b = QueryAs<IStream>(b_unknown.get(), IID_IStream);
  ASSERT_TRUE(a && b);
  EXPECT_NE(a.get(), b.get());
  BYTE bytes[8] = {};
  ULONG read = 0;
  ASSERT_EQ(S_OK, a->Read(bytes, 2, &read));
  EXPECT_EQ(2u, read);
  ASSERT_EQ(S_OK, b->Read(bytes, sizeof bytes, &read));
  EXPECT_EQ(4u, read);
  EXPECT_EQ(1, bytes[0]);
  EXPECT_EQ(4, bytes[3]);
}

}  // namespace
}  // namespace mlr::model::testing
