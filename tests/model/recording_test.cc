// The generic recording, group and channel: base behaviour of the members,
// the protected operations a source uses, and the in-memory recording's
// GetMuxData.
#include <gtest/gtest.h>

#include <vector>

#include "model/api_entry_table.h"
#include "model/channel_group_impl.h"
#include "model/channel_info_impl.h"
#include "model/channel_infos_impl.h"
#include "model/physical_channels_impl.h"
#include "model/recording_impl.h"
#include "model_test_util.h"
#include "platform/strings.h"
#include "testing/scoped_env.h"
#include "tests/platform/test_objects.h"

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

// A recording with `groups` empty groups, held by `recording`.
TestRecording* NewRecording(ComPtr<IRecording>* recording, std::vector<TestGroup*>* groups = nullptr,
                            int group_count = 0) {
  auto* raw = new TestRecording();
  *recording = ComPtr<IRecording>(static_cast<IRecording*>(raw));  // counts from 0
  for (int i = 0; i < group_count; ++i) {
    groups->push_back(new TestGroup(raw));
    EXPECT_EQ(S_OK, raw->AddChannelGroup(groups->back()));
  }
  return raw;
}

TEST(ModelRecording, BaseMembersOfAnEmptyRecording) {
  const long baseline = LiveObjectCount();
  {
    ComPtr<IRecording> recording;
    TestRecording* raw = NewRecording(&recording);
    IRecording* r = recording.get();
    ASSERT_EQ(S_OK, raw->SetStrings(u"title", u"dir", u"krf", u"comment", u"s"));

    EXPECT_EQ(1e200, Get(r, &IRecording::get_StartTime));
    EXPECT_EQ(-1e200, Get(r, &IRecording::get_EndTime));
    EXPECT_EQ(-2e200, Get(r, &IRecording::get_Duration));
    EXPECT_EQ(VARIANT_TRUE, Get(r, &IRecording::get_CanBeReviewed));
    EXPECT_EQ(VARIANT_FALSE, Get(r, &IRecording::get_Acquiring));
    EXPECT_EQ(1.0, Get(r, &IRecording::get_TimePerDivisionHint));

    // Puts are accepted and change nothing.
    Bstr other(u"other");
    for (HRESULT hr : {r->put_Title(other.get()), r->put_Comment(other.get()), r->put_UTCYear(2020),
                       r->put_UTCYearDay(200), r->put_UTCTimeOfDay(5.0),
                       r->put_WriteProtect(VARIANT_FALSE), r->Remove()}) {
      EXPECT_EQ(S_OK, hr);
    }
    EXPECT_EQ(u"title", Text(r, &IRecording::get_Title));
    EXPECT_EQ(u"comment", Text(r, &IRecording::get_Comment));
    EXPECT_EQ(u"dir", Text(r, &IRecording::get_Location));
    EXPECT_EQ(u"krf", Text(r, &IRecording::get_Extension));
    EXPECT_EQ(u"s", Text(r, &IRecording::get_XUnits));
    EXPECT_EQ(1999, Get(r, &IRecording::get_UTCYear));
    EXPECT_EQ(1, Get(r, &IRecording::get_UTCYearDay));
    EXPECT_EQ(0.0, Get(r, &IRecording::get_UTCTimeOfDay));
    EXPECT_EQ(VARIANT_TRUE, Get(r, &IRecording::get_WriteProtect));

    // Null out pointers come first.
    EXPECT_EQ(E_POINTER, r->get_Title(nullptr));
    EXPECT_EQ(E_POINTER, r->get_StartTime(nullptr));
    EXPECT_EQ(E_POINTER, r->get_Collection(kalRecColMarkers, nullptr));
    EXPECT_EQ(E_POINTER, r->get_TotalSize(nullptr));
    EXPECT_FALSE(Child(r, &IRecording::get_Parent));

    // Collections: 1 is the groups; voice marks and display pages are left
    // to sources; the physical channels exist only once set.
    EXPECT_EQ(Identity(Child(r, &IRecording::get_ChannelGroups).get()), CollectionOf(r, 1));
    for (LONG type : {0, 4, 6, static_cast<LONG>(kalRecColDisplayPages),
                      static_cast<LONG>(kalRecColPhysicalChannelConfig)}) {
      IUnknown* result = reinterpret_cast<IUnknown*>(0x1);
      EXPECT_EQ(S_OK, r->get_Collection(static_cast<kalRecordingCollection>(type), &result));
      EXPECT_EQ(nullptr, result) << type;
    }
    raw->SetPhysicalChannels(new CURIPhysicalChannelsImpl(raw));
    EXPECT_TRUE(CollectionOf(r, kalRecColPhysicalChannelConfig));
  }
  EXPECT_EQ(baseline, LiveObjectCount());
}

TEST(ModelRecording, GroupWithoutNormsetsAnswersTheBareMessageNumber) {
  ComPtr<IRecording> recording;
  std::vector<TestGroup*> groups;
  NewRecording(&recording, &groups, 2);
  TestGroup* empty = groups[0];
  TestGroup* filled = groups[1];
  ASSERT_EQ(S_OK, filled->AddHNorm(3.0, 0.5, 5));  // [3, 5]

  // 10202 is deliberately not an error status.
  double value = -1.0;
  EXPECT_EQ(10202, empty->get_StartTime(&value));
  EXPECT_EQ(0.0, value);
  value = -1.0;
  EXPECT_EQ(10202, empty->get_EndTime(&value));
  EXPECT_EQ(0.0, value);
  EXPECT_EQ(0.0, Get(empty, &IChannelGroup::get_Duration));

  // The empty group's 0.0 takes part in the recording's minimum.
  EXPECT_EQ(0.0, Get(recording.get(), &IRecording::get_StartTime));
  EXPECT_EQ(5.0, Get(recording.get(), &IRecording::get_EndTime));

  LONG factor = 123;
  EXPECT_EQ(S_OK, filled->GetBestReductionFactor(1, &factor));
  EXPECT_EQ(123, factor);
  EXPECT_EQ(E_POINTER, filled->GetBestReductionFactor(1, nullptr));
  SAFEARRAY* result = nullptr;
  EXPECT_EQ(E_NOTIMPL, filled->GetMuxData(nullptr, 1, 1, 1, 1, &result));
  EXPECT_EQ(E_POINTER, filled->GetMuxData(nullptr, 1, 1, 1, 1, nullptr));
}

TEST(ModelRecording, ChannelNamesAndIndexMapping) {
  ComPtr<IRecording> recording;
  std::vector<TestGroup*> groups;
  NewRecording(&recording, &groups, 2);
  auto* analog = new TestChannel(groups[0]);
  auto* events = new TestChannel(groups[0]);
  auto* foreign = new TestChannel(groups[1]);
  ASSERT_EQ(S_OK, groups[0]->AddChannelInfo(analog));
  ASSERT_EQ(S_OK, groups[0]->AddChannelInfo(events));
  ASSERT_EQ(S_OK, groups[1]->AddChannelInfo(foreign));
  ASSERT_TRUE(analog->SetName(0, u"Pressure"));
  events->SetEventChannel(true);
  ASSERT_TRUE(events->SetName(16, u"bit sixteen"));
  EXPECT_FALSE(events->SetName(17, u"none"));

  // The bit number converts from any type (VT_EMPTY: 0); 0..16 only.
  struct Case {
    TestChannel* channel;
    VARIANT bit;
    HRESULT status;
    const char16_t* name;
  };
  for (const Case& c : {Case{analog, MakeVariant(VT_EMPTY), S_OK, u"Pressure"},
                        Case{events, Str(u"16"), S_OK, u"bit sixteen"},
                        Case{events, I4(17), E_INVALIDARG, nullptr},
                        Case{events, I4(-1), E_INVALIDARG, nullptr}}) {
    Variant bit;
    *bit.get() = c.bit;  // owned from here
    Bstr name;
    EXPECT_EQ(c.status, c.channel->get_Name(c.bit, name.put())) << c.bit.lVal;
    if (c.name) {
      EXPECT_EQ(c.name, name.Str());
    }
  }
  // No system event is ever masked.
  SHORT mask = 7;
  EXPECT_EQ(S_OK, events->get_SystemEventMask(kalSysEventAlarm, &mask));
  EXPECT_EQ(0, mask);

  // Index mapping: elements of this group give their Index; null or a
  // channel of another group gives 0 and the call fails with E_FAIL; the
  // list ends with -1. The elements are borrowed: the slots are cleared
  // before the array goes.
  SAFEARRAY* channels = SafeArrayCreateVector(VT_DISPATCH, 0, 3);
  ASSERT_NE(nullptr, channels);
  auto map = [&](IChannelInfo* a, IChannelInfo* b, IChannelInfo* c, std::vector<LONG>* indices) {
    IDispatch** slots = nullptr;
    EXPECT_EQ(S_OK, SafeArrayAccessData(channels, reinterpret_cast<void**>(&slots)));
    slots[0] = a;
    slots[1] = b;
    slots[2] = c;
    SafeArrayUnaccessData(channels);
    return groups[0]->MapChannelIndices(channels, indices);
  };
  std::vector<LONG> indices;
  EXPECT_EQ(E_FAIL, map(events, analog, nullptr, &indices));
  EXPECT_EQ((std::vector<LONG>{2, 1, 0, -1}), indices);
  EXPECT_EQ(E_FAIL, map(events, analog, foreign, &indices));
  EXPECT_EQ((std::vector<LONG>{2, 1, 0, -1}), indices);
  EXPECT_EQ(S_OK, map(events, analog, analog, &indices));
  EXPECT_EQ((std::vector<LONG>{2, 1, 1, -1}), indices);
  map(nullptr, nullptr, nullptr, &indices);
  SafeArrayDestroy(channels);
}

TEST(ModelRecording, TotalSizeWaitsForAnotherMemberToResolveTheTable) {
  ComPtr<IRecording> recording;
  std::vector<TestGroup*> groups;
  NewRecording(&recording, &groups, 1);
  ASSERT_EQ(S_OK, groups[0]->AddChannelInfo(new TestChannel(groups[0])));
  ASSERT_EQ(S_OK, groups[0]->AddHNorm(0.0, 0.001, 600000));
  if (mlr::api_entry_table::Peek().GetEstimatedTotalSize == nullptr) {
    // Nothing in this process has resolved the table yet.
    EXPECT_EQ(0, Get(recording.get(), &IRecording::get_TotalSize));
  }
  Get(recording.get(), &IRecording::get_UTCDate);
  ASSERT_NE(nullptr, mlr::api_entry_table::Peek().GetEstimatedTotalSize);
  LONG expected = -1;
  ASSERT_EQ(S_OK, GetEstimatedTotalSize(recording.get(), -1e200, 1e200, &expected));
  EXPECT_GT(expected, 1000);
  EXPECT_EQ(expected, Get(recording.get(), &IRecording::get_TotalSize));
}

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
    SCOPED_TRACE(c.zone);
    mlr::testing::ScopedEnv zone("TZ", c.zone);
    ComPtr<IRecording> recording;
    TestRecording* raw = NewRecording(&recording);
    raw->SetStartTimeFromLocal(2021, c.day, c.local_seconds);
    EXPECT_EQ(2021, Get(recording.get(), &IRecording::get_UTCYear));
    EXPECT_EQ(c.utc_day, Get(recording.get(), &IRecording::get_UTCYearDay));
    EXPECT_DOUBLE_EQ(c.utc_seconds, Get(recording.get(), &IRecording::get_UTCTimeOfDay));
    // A UTC start goes through local time and back unchanged.
    raw->SetStartTimeFromUTC(2021, c.utc_day, c.utc_seconds);
    EXPECT_EQ(c.utc_day, Get(recording.get(), &IRecording::get_UTCYearDay));
    EXPECT_DOUBLE_EQ(c.utc_seconds, Get(recording.get(), &IRecording::get_UTCTimeOfDay));
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

// The values of a GetMuxData result, which is destroyed.
std::vector<SHORT> TakeValues(SAFEARRAY* array) {
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
  SafeArrayDestroy(array);
  return values;
}

TEST(ModelMemoryRecording, MuxDataFullRateAndReduced) {
  // The second segment holds no frames at all (its storage has no address).
  MemoryGroupSpec group = MakeGroup(3, {{0.0, 1.0, 10}, {20.0, 1.0, 0}});
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
  SAFEARRAY* two = ChannelArray({c3.get(), c1.get()});
  struct Case {
    SAFEARRAY** channels;
    LONG first, count, reduction;
    UINT dims;
    std::vector<SHORT> values;
  };
  const Case cases[] = {
      // One channel at full rate: a vector of m items from FirstSample.
      {&one, 3, 100, 1, 1, {21, 31, 41, 51, 61, 71, 81, 91}},
      {&one, 10, 5, 1, 1, {91}},     // FirstSample = Length
      {&one, 2, 2, 1, 1, {11, 21}},  // ItemCount limits
      // Two channels in the order asked, channel fastest, 2-D.
      {&two, 1, 3, 1, 2, {1, 0, 2, 10, 4, 20}},
      // Reduction = F: (max, min) per channel, OR/AND for the event channel;
      // the last reduced frame covers frames 9 and 10 only.
      {&two, 1, 100, 4, 2, {7, 0, 30, 0, 7, 0, 70, 40, 5, 0, 90, 80}},
  };
  for (const Case& c : cases) {
    SAFEARRAY* result = nullptr;
    ASSERT_EQ(S_OK, g->GetMuxData(c.channels, 1, c.first, c.count, c.reduction, &result));
    EXPECT_EQ(c.dims, SafeArrayGetDim(result));
    LONG lower = 0;
    SafeArrayGetLBound(result, 1, &lower);
    EXPECT_EQ(c.dims == 2 ? 1 : 0, lower);
    EXPECT_EQ(c.values, TakeValues(result)) << c.first << " " << c.count << " " << c.reduction;
  }

  LONG factor = 3;
  EXPECT_EQ(S_OK, g->GetBestReductionFactor(1, &factor));
  EXPECT_EQ(3, factor);
  factor = 11;
  EXPECT_EQ(S_OK, g->GetBestReductionFactor(1, &factor));
  EXPECT_EQ(8, factor);

  // From beyond the end of a segment, or of one without frames: empty.
  for (LONG segment : {1, 2}) {
    for (LONG first : {11, 1000}) {
      SAFEARRAY* result = nullptr;
      ASSERT_EQ(S_OK, g->GetMuxData(&one, segment, first, 10, 1, &result));
      EXPECT_TRUE(TakeValues(result).empty()) << segment << " " << first;
    }
  }

  // Argument checks: segment, first sample, reduction and the list.
  SAFEARRAY* result = nullptr;
  EXPECT_EQ(E_INVALIDARG, g->GetMuxData(&one, 3, 1, 1, 1, &result));
  EXPECT_EQ(E_INVALIDARG, g->GetMuxData(&one, 0, 1, 1, 1, &result));
  EXPECT_EQ(E_INVALIDARG, g->GetMuxData(&one, 1, 0, 1, 1, &result));
  EXPECT_EQ(E_INVALIDARG, g->GetMuxData(&one, 1, 1, 1, 0, &result));
  EXPECT_EQ(E_INVALIDARG, g->GetMuxData(nullptr, 1, 1, 1, 1, &result));
  EXPECT_EQ(nullptr, result);
  SafeArrayDestroy(one);
  SafeArrayDestroy(two);
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
  auto physical = CollectionAs<IPhysicalChannels>(recording.get(), kalRecColPhysicalChannelConfig);
  ASSERT_TRUE(physical);
  auto find = [&](LONG module, LONG number) {
    ComPtr<IChannelInfo> found;
    EXPECT_EQ(S_OK, physical->FindChannelInfo(module, number, found.put()));
    return found ? Get(found.get(), &IChannelInfo::get_Index) : 0;
  };
  EXPECT_EQ(0, find(7, 1));  // configured but not stored
  EXPECT_EQ(2, find(7, 2));  // the first of the twins wins: channel 2
  EXPECT_EQ(0, find(9, 9));

  EXPECT_EQ(VARIANT_FALSE, Get(At(physical.get(), 1).get(), &IPhysicalChannel::get_StorageEnabled));
  ComPtr<IPhysicalChannel> second = At(physical.get(), 2);
  Bstr name;
  EXPECT_EQ(S_OK, second->get_Name(I4(1), name.put()));
  EXPECT_EQ(u"bit one", name.Str());
  EXPECT_EQ(Identity(Child(second.get(), &IPhysicalChannel::get_ChannelInfo).get()),
            Identity(Channel(recording.get(), 1, 2).get()));

  auto pages = CollectionAs<IDisplayPages>(recording.get(), kalRecColDisplayPages);
  ComPtr<IDisplayPage> page = At(pages.get(), 1);
  ASSERT_TRUE(page);
  EXPECT_FALSE(Child(page.get(), &IDisplayPage::get_TraceAssignment));
  // Two independent clones of the page set-up, each from the start.
  ComPtr<IStream> a =
      QueryAs<IStream>(Child(page.get(), &IDisplayPage::get_PageSetup).get(), IID_IStream);
  ComPtr<IStream> b =
      QueryAs<IStream>(Child(page.get(), &IDisplayPage::get_PageSetup).get(), IID_IStream);
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
