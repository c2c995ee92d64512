// Ownership of the recording tree: the tree lives while any part is held,
// event items are objects of their own, and a racing extra Release of a
// child reaches its owner once.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
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
    vnorm = At(VNorms(recording.get(), 1, 2).get(), 1);
    ASSERT_TRUE(vnorm);
  }
  // Only the normset is held, yet its whole path up to the recording answers.
  EXPECT_GT(LiveObjectCount(), baseline);
  {
    auto channel = Child(Child(vnorm.get(), &IVNorm::get_Parent).get(), &IVNorms::get_Parent);
    EXPECT_EQ(2, Get(channel.get(), &IChannelInfo::get_Index));
    auto group = Child(channel.get(), &IChannelInfo::get_ChannelGroup);
    auto recording = Child(group.get(), &IChannelGroup::get_Recording);
    EXPECT_DOUBLE_EQ(5.49, Get(recording.get(), &IRecording::get_EndTime));
  }
  EXPECT_GT(LiveObjectCount(), baseline);
  vnorm.reset();
  EXPECT_EQ(baseline, LiveObjectCount());
}

TEST(ModelLifetime, EventItemsAreSeparateSelfDeletingObjects) {
  const long baseline = LiveObjectCount();
  ComPtr<IRecording> recording = MakeRecording(RichSpec());
  auto markers = CollectionAs<IMarkers>(recording.get(), kalRecColMarkers);
  ASSERT_TRUE(markers);
  const long before_items = LiveObjectCount();
  ComPtr<IUnknown> first = At(markers.get(), 1);
  ComPtr<IUnknown> second = At(markers.get(), 1);
  EXPECT_NE(first.get(), second.get());
  EXPECT_EQ(before_items + 2, LiveObjectCount());
  first.reset();
  EXPECT_EQ(before_items + 1, LiveObjectCount());
  markers.reset();
  recording.reset();
  // The remaining marker holds the recording.
  EXPECT_EQ(2, Get(Child(QueryAs<IMarker>(second.get(), IID_IMarker).get(), &IMarker::get_Parent).get(),
                   &IMarkers::get_Count));
  second.reset();
  EXPECT_EQ(baseline, LiveObjectCount());
}

// Several threads asking at once for a collection that does not exist yet:
// all get the same one, and the copies made by the threads that lost the
// race are freed.
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
    // Per thread: the markers, the vertical and the horizontal normsets.
    std::vector<std::array<ComPtr<IUnknown>, 3>> seen(kThreads);
    std::vector<std::thread> threads;
    std::atomic<int> ready{0};
    for (auto& slot : seen) {
      threads.emplace_back([&] {
        // All threads start together, so that first uses really meet.
        for (ready.fetch_add(1); ready.load() < kThreads;) std::this_thread::yield();
        recording->get_Collection(kalRecColMarkers, slot[0].put());
        slot[1] = Identity(Child(channel.get(), &IChannelInfo::get_VNorms).get());
        slot[2] = Identity(Child(g.get(), &IChannelGroup::get_HNorms).get());
      });
    }
    for (std::thread& t : threads) t.join();
    for (const auto& slot : seen) EXPECT_EQ(seen[0], slot);
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
