// Ownership of the recording tree: children forward their counts to the
// root, the tree lives while any part is held, and releasing everything in
// any order frees every object.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "model/live_objects.h"
#include "model/owned_ref_count.h"
#include "model_test_util.h"

namespace mlr::model::testing {
namespace {

MemoryRecordingSpec RichSpec() {
  MemoryRecordingSpec spec;
  spec.groups.push_back(MakeGroup(2, {{0.0, 0.01, 100}, {5.0, 0.01, 50}}));
  spec.groups.push_back(MakeGroup(1, {{0.0, 0.5, 10}}));
  spec.markers = {1.0, 2.0};
  spec.bookmarks = {{1.5, u"note"}};
  spec.triggers = {{0.5, kalTriggerSrcChannel, u"Ch1", 1, 1}};
  spec.has_physical_channels = true;
  spec.physical_channels = {{1, 1, 1, 1, {u"Ch1"}}};
  spec.display_pages.push_back({{1, 2, 3}, {}});
  return spec;
}

TEST(ModelLifetime, HeldLeafKeepsWholeTreeAlive) {
  const long baseline = LiveObjectCount();
  ComPtr<IVNorm> vnorm;
  {
    ComPtr<IRecording> recording = MakeRecording(RichSpec());
    ASSERT_TRUE(recording);
    ComPtr<IVNorms> vnorms = VNorms(recording.get(), 1, 2);
    ASSERT_TRUE(vnorms);
    ASSERT_EQ(S_OK, vnorms->get_Item(1, vnorm.put()));
    ASSERT_TRUE(vnorm);
  }
  // Only the normset is held, yet its whole path up to the recording answers.
  EXPECT_GT(LiveObjectCount(), baseline);
  ComPtr<IVNorms> parent;
  ASSERT_EQ(S_OK, vnorm->get_Parent(parent.put()));
  ComPtr<IChannelInfo> channel;
  ASSERT_EQ(S_OK, parent->get_Parent(channel.put()));
  ComPtr<IChannelGroup> group;
  ASSERT_EQ(S_OK, channel->get_ChannelGroup(group.put()));
  ComPtr<IRecording> recording;
  ASSERT_EQ(S_OK, group->get_Recording(recording.put()));
  LONG index = 0;
  EXPECT_EQ(S_OK, channel->get_Index(&index));
  EXPECT_EQ(2, index);
  double end = 0.0;
  EXPECT_EQ(S_OK, recording->get_EndTime(&end));
  EXPECT_DOUBLE_EQ(5.49, end);
  parent.reset();
  channel.reset();
  group.reset();
  recording.reset();
  EXPECT_GT(LiveObjectCount(), baseline);
  vnorm.reset();
  EXPECT_EQ(baseline, LiveObjectCount());
}

TEST(ModelLifetime, ReleasingInAnyOrderFreesEverything) {
  const long baseline = LiveObjectCount();
  // Five references of different kinds, released in every order.
  std::array<int, 5> order = {0, 1, 2, 3, 4};
  int permutations = 0;
  do {
    ComPtr<IRecording> recording = MakeRecording(RichSpec());
    ASSERT_TRUE(recording);
    std::array<ComPtr<IUnknown>, 5> held;
    held[0] = QueryAs<IUnknown>(recording.get(), IID_IUnknown);
    held[1] = QueryAs<IUnknown>(Channel(recording.get(), 1, 1).get(), IID_IUnknown);
    ComPtr<IUnknown> markers = CollectionOf(recording.get(), kalRecColMarkers);
    ComPtr<IMarkers> typed = QueryAs<IMarkers>(markers.get(), IID_IMarkers);
    ComPtr<IUnknown> marker;
    ASSERT_EQ(S_OK, typed->get_Item(1, marker.put()));
    held[2] = marker;
    ComPtr<IUnknown> enumerator;
    ComPtr<IChannelGroups> groups;
    ASSERT_EQ(S_OK, recording->get_ChannelGroups(groups.put()));
    ASSERT_EQ(S_OK, groups->get__NewEnum(enumerator.put()));
    held[3] = enumerator;
    ComPtr<IUnknown> pages = CollectionOf(recording.get(), kalRecColDisplayPages);
    ComPtr<IDisplayPages> typed_pages = QueryAs<IDisplayPages>(pages.get(), IID_IDisplayPages);
    ComPtr<IDisplayPage> page;
    ASSERT_EQ(S_OK, typed_pages->get_Item(1, page.put()));
    ComPtr<IUnknown> blob;
    ASSERT_EQ(S_OK, page->get_PageSetup(blob.put()));
    held[4] = QueryAs<IUnknown>(page.get(), IID_IUnknown);
    recording.reset();
    markers.reset();
    typed.reset();
    marker.reset();
    enumerator.reset();
    groups.reset();
    pages.reset();
    typed_pages.reset();
    page.reset();
    blob.reset();
    for (int i : order) {
      EXPECT_GT(LiveObjectCount(), baseline);
      held[static_cast<size_t>(i)].reset();
    }
    EXPECT_EQ(baseline, LiveObjectCount()) << "permutation " << permutations;
    ++permutations;
  } while (std::next_permutation(order.begin(), order.end()));
  EXPECT_EQ(120, permutations);
}

TEST(ModelLifetime, ChildCountsForwardToRootAndNeverUnderflow) {
  const long baseline = LiveObjectCount();
  ComPtr<IRecording> recording = MakeRecording(RichSpec());
  ASSERT_TRUE(recording);
  // The root's count shows through a child's AddRef/Release answers.
  const ULONG root_now = recording->AddRef();
  recording->Release();
  ComPtr<IChannelGroup> group = Group(recording.get(), 1);
  ASSERT_TRUE(group);
  EXPECT_EQ(root_now + 1, group->AddRef());
  EXPECT_EQ(root_now, group->Release());
  // A child whose own count is already 0 answers 0 and leaves the root
  // alone (an over-release by a client does not destroy the tree).
  IChannelGroup* raw = group.detach();
  EXPECT_EQ(root_now - 1, raw->Release());
  EXPECT_EQ(0u, raw->Release());
  EXPECT_EQ(root_now, recording->AddRef());
  recording->Release();
  recording.reset();
  EXPECT_EQ(baseline, LiveObjectCount());
}

TEST(ModelLifetime, EventItemsAreSeparateSelfDeletingObjects) {
  const long baseline = LiveObjectCount();
  ComPtr<IRecording> recording = MakeRecording(RichSpec());
  ComPtr<IMarkers> markers =
      QueryAs<IMarkers>(CollectionOf(recording.get(), kalRecColMarkers).get(), IID_IMarkers);
  ASSERT_TRUE(markers);
  const long before_items = LiveObjectCount();
  ComPtr<IUnknown> first;
  ComPtr<IUnknown> second;
  ASSERT_EQ(S_OK, markers->get_Item(1, first.put()));
  ASSERT_EQ(S_OK, markers->get_Item(1, second.put()));
  EXPECT_NE(first.get(), second.get());
  EXPECT_EQ(before_items + 2, LiveObjectCount());
  first.reset();
  EXPECT_EQ(before_items + 1, LiveObjectCount());
  markers.reset();
  recording.reset();
  // The remaining marker holds the recording.
  ComPtr<IMarker> marker = QueryAs<IMarker>(second.get(), IID_IMarker);
  ComPtr<IMarkers> parent;
  ASSERT_EQ(S_OK, marker->get_Parent(parent.put()));
  LONG count = 0;
  EXPECT_EQ(S_OK, parent->get_Count(&count));
  EXPECT_EQ(2, count);
  parent.reset();
  marker.reset();
  second.reset();
  EXPECT_EQ(baseline, LiveObjectCount());
}
}  // namespace
}  // namespace mlr::model::testing

namespace mlr::model::testing {
namespace {

TEST(ModelLifetime, RacingFirstUsesAgreeOnOneCollection) {
  const long baseline = LiveObjectCount();
  for (int round = 0; round < 20; ++round) {
    // No segments and no vertical normsets: every collection below is made
    // by the racing threads.
    MemoryGroupSpec group = MakeGroup(2, {});
    group.channels[1].vnorms.clear();
    ComPtr<IRecording> recording = MakeRecording({group});
    ComPtr<IChannelGroup> g = Group(recording.get(), 1);
    ComPtr<IChannelInfo> channel = Channel(recording.get(), 1, 2);
    constexpr int kThreads = 6;
    std::vector<ComPtr<IUnknown>> markers(kThreads);
    std::vector<ComPtr<IUnknown>> vnorms(kThreads);
    std::vector<ComPtr<IUnknown>> hnorms(kThreads);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
      threads.emplace_back([&, i] {
        recording->get_Collection(kalRecColMarkers, markers[static_cast<size_t>(i)].put());
        IVNorms* v = nullptr;
        channel->get_VNorms(&v);
        vnorms[static_cast<size_t>(i)].attach(v);
        IHNorms* h = nullptr;
        g->get_HNorms(&h);
        hnorms[static_cast<size_t>(i)].attach(h);
      });
    }
    for (std::thread& t : threads) t.join();
    for (int i = 1; i < kThreads; ++i) {
      EXPECT_EQ(markers[0], markers[static_cast<size_t>(i)]);
      EXPECT_EQ(QueryAs<IUnknown>(vnorms[0].get(), IID_IUnknown),
                QueryAs<IUnknown>(vnorms[static_cast<size_t>(i)].get(), IID_IUnknown));
      EXPECT_EQ(QueryAs<IUnknown>(hnorms[0].get(), IID_IUnknown),
                QueryAs<IUnknown>(hnorms[static_cast<size_t>(i)].get(), IID_IUnknown));
    }
  }
  EXPECT_EQ(baseline, LiveObjectCount());
}

// An extra Release racing a legitimate one on a child holding one reference:
// only one of them may reach the owner, whatever the interleaving.
struct CountingOwner {
  std::atomic<LONG> releases{0};
  ULONG AddRef() { return 1; }
  ULONG Release() {
    releases.fetch_add(1);
    return 0;
  }
};

TEST(ModelLifetime, RacingReleasesOfALastChildReferenceReachTheOwnerOnce) {
  int over_released = 0;
  for (int round = 0; round < 400 && over_released == 0; ++round) {
    CountingOwner owner;
    ChildRefCount<CountingOwner> child(&owner);
    child.AddRef();
    std::atomic<int> ready{0};
    auto release = [&] {
      ready.fetch_add(1);
      while (ready.load() < 2) {
      }
      child.Release();
    };
    std::thread first(release);
    std::thread second(release);
    first.join();
    second.join();
    if (owner.releases.load() != 1 || child.value() != 0) ++over_released;
  }
  EXPECT_EQ(0, over_released);
}

}  // namespace
}  // namespace mlr::model::testing
