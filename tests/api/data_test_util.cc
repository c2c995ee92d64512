#include "tests/api/data_test_util.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>

#include "testing/krf_writer.h"

namespace mlr::api::test {

const double kVoid = FromBits(0x7FFFFFFFFFFFFFFFull);

ComPtr<IRecording> OpenBuilderFile(const mlr::testing::RecordingSpec& spec) {
  char name[] = "/tmp/api_test_XXXXXX";
  const int fd = mkstemp(name);
  EXPECT_GE(fd, 0);
  if (fd >= 0) close(fd);
  const std::string path = name;
  EXPECT_EQ(mlr::testing::WriteRecordingFile(path, spec), S_OK);
  ComPtr<IRecording> recording;
  EXPECT_EQ(reader::test::Open(path, &recording), S_OK);
  unlink(path.c_str());
  return recording;
}



double TestGroup::Scaled(size_t channel, double t, int16_t raw) const {
  const std::vector<model::MemoryVNorm>& norms = channels[channel].vnorms;
  size_t pick = 0;
  for (size_t k = 0; k < norms.size(); ++k) {
    if (norms[k].start_time <= t) pick = k;
  }
  volatile double product = static_cast<double>(raw) * norms[pick].y_step;
  return product + norms[pick].y0;
}

std::pair<int16_t, int16_t> TestGroup::MaxMin(size_t segment, size_t channel, size_t first,
                                              size_t count) const {
  int16_t high = Raw(segment, first, channel);
  int16_t low = high;
  for (size_t f = first + 1; f < first + count && f < Length(segment); ++f) {
    const int16_t v = Raw(segment, f, channel);
    if (channels[channel].event) {
      high = static_cast<int16_t>(high | v);
      low = static_cast<int16_t>(low & v);
    } else {
      high = std::max(high, v);
      low = std::min(low, v);
    }
  }
  return {high, low};
}

namespace {

int16_t Pattern(size_t segment, size_t frame, size_t channel) {
  if (channel == 0 && frame % 7 == 3) return -32768;
  const int64_t v = static_cast<int64_t>((frame * 7919 + channel * 104729 + segment * 31337) % 65535);
  return static_cast<int16_t>(v - 32767);
}

}  // namespace

model::MemorySegment PatternSegment(const TestGroup& group, size_t segment, double start,
                                    double x_step, size_t length) {
  model::MemorySegment s;
  s.start_time = start;
  s.x_step = x_step;
  for (size_t f = 0; f < length; ++f) {
    for (size_t c = 0; c < group.channels.size(); ++c) {
      const int16_t v = Pattern(segment, f, c);
      s.frames.push_back(group.channels[c].event ? static_cast<int16_t>((v & 0x0F0F) | (f % 5 == 0 ? 0x8000 : 0)) : v);
    }
  }
  return s;
}

ComPtr<IRecording> InMemory(const std::vector<TestGroup>& groups) {
  model::MemoryRecordingSpec spec;
  for (const TestGroup& group : groups) {
    model::MemoryGroupSpec g;
    g.reduction_factor = group.reduction_factor;
    for (size_t c = 0; c < group.channels.size(); ++c) {
      model::MemoryChannelSpec channel;
      channel.name = u"C" + std::u16string(1, static_cast<char16_t>(u'1' + c));
      channel.units = u"V";
      channel.event = group.channels[c].event;
      channel.vnorms = group.channels[c].vnorms;
      g.channels.push_back(channel);
    }
    g.segments = group.segments;
    spec.groups.push_back(g);
  }
  return MakeMemoryRecording(spec);
}

ComPtr<IRecording> InFile(const std::vector<TestGroup>& groups) {
  mlr::testing::RecordingSpec spec;
  uint32_t number = 1;
  for (const TestGroup& group : groups) {
    mlr::testing::GroupSpec g;
    g.number = number++;
    g.reduction_factor = static_cast<uint32_t>(group.reduction_factor);
    for (size_t c = 0; c < group.channels.size(); ++c) {
      mlr::testing::ChannelSpec channel;
      channel.number = static_cast<uint32_t>(c + 1);
      channel.name = u"C" + std::u16string(1, static_cast<char16_t>(u'1' + c));
      channel.unit = u"V";
      channel.event = group.channels[c].event;
      for (const model::MemoryVNorm& v : group.channels[c].vnorms) {
        channel.vnorms.push_back({v.start_time, v.y0, v.y_step});
      }
      g.channels.push_back(channel);
    }
    for (const model::MemorySegment& s : group.segments) {
      g.hnorms.push_back({s.start_time, s.x_step, 0});
      g.segments.push_back(s.frames);
    }
    spec.groups.push_back(g);
  }
  return OpenBuilderFile(spec);
}

void GroupTest::Build(const std::vector<TestGroup>& others) {
  std::vector<TestGroup> groups = {group_};
  groups.insert(groups.end(), others.begin(), others.end());
  recording_ = GetParam() ? InFile(groups) : InMemory(groups);
  ASSERT_TRUE(recording_);
  g_ = Group(recording_.get(), 1);
  for (LONG c = 1; c <= static_cast<LONG>(group_.channels.size()); ++c) {
    ch_.push_back(Channel(g_.get(), c));
  }
}


HRESULT WatchedGroup::QueryInterface(REFIID riid, void** out) {
  if (out == nullptr) return E_POINTER;
  if (riid == IID_IUnknown || riid == IID_IDispatch || riid == IID_IChannelGroup) {
    *out = static_cast<IChannelGroup*>(this);
    return S_OK;
  }
  *out = nullptr;
  return E_NOINTERFACE;
}

HRESULT WatchedGroup::GetMuxData(SAFEARRAY** channels, LONG hnorm, LONG first, LONG count,
                                 LONG reduction, SAFEARRAY** result) {
  const size_t number = calls.size();
  calls.push_back({hnorm, first, count, reduction});
  if (number == fail_at) return E_FAIL;
  if (number == empty_at) {
    if (result) *result = nullptr;
    return S_OK;
  }
  return inner_->GetMuxData(channels, hnorm, first, count, reduction, result);
}

int64_t WatchedGroup::LargestRead() const {
  int64_t largest = 0;
  for (const MuxCall& call : calls) {
    largest = std::max(largest, int64_t{call.count} * call.reduction);
  }
  return largest;
}

}  // namespace mlr::api::test
