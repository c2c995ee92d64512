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
  ComPtr<IChannelGroups> groups;
  ComPtr<IChannelGroup> group;
  if (SUCCEEDED(recording->get_ChannelGroups(groups.put())) && groups) {
    groups->get_Item(index, group.put());
  }
  return group;
}

ComPtr<IChannelInfo> Channel(IRecording* recording, LONG group, LONG channel) {
  ComPtr<IChannelInfo> result;
  ComPtr<IChannelGroup> g = Group(recording, group);
  ComPtr<IChannelInfos> channels;
  if (g && SUCCEEDED(g->get_ChannelInfos(channels.put())) && channels) {
    channels->get_Item(channel, result.put());
  }
  return result;
}

ComPtr<IHNorms> HNorms(IRecording* recording, LONG group) {
  ComPtr<IHNorms> result;
  ComPtr<IChannelGroup> g = Group(recording, group);
  if (g) g->get_HNorms(result.put());
  return result;
}

ComPtr<IVNorms> VNorms(IRecording* recording, LONG group, LONG channel) {
  ComPtr<IVNorms> result;
  ComPtr<IChannelInfo> c = Channel(recording, group, channel);
  if (c) c->get_VNorms(result.put());
  return result;
}

ComPtr<IUnknown> CollectionOf(IRecording* recording, LONG type) {
  ComPtr<IUnknown> result;
  recording->get_Collection(static_cast<kalRecordingCollection>(type), result.put());
  return result;
}

std::u16string ToU16(BSTR text) {
  return text == nullptr ? std::u16string() : std::u16string(text, SysStringLen(text));
}

}  // namespace mlr::model::testing
