#include "model_test_util.h"

#include <gtest/gtest.h>

namespace mlr::model::testing {

MemoryGroupSpec MakeGroup(LONG channels, const std::vector<Segment>& segments) {
  MemoryGroupSpec group;
  for (LONG c = 0; c < channels; ++c) {
    MemoryChannelSpec channel;
    channel.name = u"Ch" + std::u16string(1, static_cast<char16_t>(u'1' + c));
    channel.units = u"V";
    channel.vnorms.push_back({0.0, 0.5, 0.0});
    group.channels.push_back(channel);
  }
  for (const Segment& s : segments) {
    MemorySegment segment;
    segment.start_time = s.start;
    segment.x_step = s.x_step;
    for (LONG f = 0; f < s.length; ++f) {
      for (LONG c = 0; c < channels; ++c) segment.frames.push_back(static_cast<int16_t>(f * 10 + c));
    }
    group.segments.push_back(segment);
  }
  return group;
}

ComPtr<IRecording> MakeRecording(const MemoryRecordingSpec& spec) {
  ComPtr<IRecording> recording;
  EXPECT_EQ(S_OK, CreateMemoryRecording(spec, recording.put()));
  return recording;
}

ComPtr<IRecording> MakeRecording(const std::vector<MemoryGroupSpec>& groups) {
  MemoryRecordingSpec spec;
  spec.groups = groups;
  return MakeRecording(spec);
}

ComPtr<IChannelGroup> Group(IRecording* recording, LONG index) {
  ComPtr<IChannelGroups> groups = Child(recording, &IRecording::get_ChannelGroups);
  return groups ? At(groups.get(), index) : ComPtr<IChannelGroup>();
}

ComPtr<IChannelInfo> Channel(IRecording* recording, LONG group, LONG channel) {
  ComPtr<IChannelGroup> g = Group(recording, group);
  ComPtr<IChannelInfos> channels = g ? Child(g.get(), &IChannelGroup::get_ChannelInfos) : nullptr;
  return channels ? At(channels.get(), channel) : ComPtr<IChannelInfo>();
}

ComPtr<IHNorms> HNorms(IRecording* recording, LONG group) {
  ComPtr<IChannelGroup> g = Group(recording, group);
  return g ? Child(g.get(), &IChannelGroup::get_HNorms) : ComPtr<IHNorms>();
}

ComPtr<IVNorms> VNorms(IRecording* recording, LONG group, LONG channel) {
  ComPtr<IChannelInfo> c = Channel(recording, group, channel);
  return c ? Child(c.get(), &IChannelInfo::get_VNorms) : ComPtr<IVNorms>();
}

ComPtr<IUnknown> CollectionOf(IRecording* recording, LONG type) {
  ComPtr<IUnknown> result;
  recording->get_Collection(static_cast<kalRecordingCollection>(type), result.put());
  return result;
}

}  // namespace mlr::model::testing
