// GetSampleAtTime and GetValueAtTime on the in-memory recording: failures,
// void scaling and the 16-bit range. (The interpolation rules are checked on a
// recording file through `krf value` by interop_values.py.)
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "LegacyRecording.h"
#include "platform/com_ptr.h"
#include "platform/win.h"
#include "tests/api/data_test_util.h"

namespace {

using mlr::ComPtr;
using namespace mlr::api::test;

constexpr int16_t kAbsent = -32768;

// What one time answers: the sample, the value, and the error object left
// on the thread (taken).
struct Answer {
  int16_t sample = 0;
  double value = 0.0;
  ThreadError error;
};

// Through the channel's members (which hand the call to the functions), and
// through the functions themselves for a null channel.
Answer At(IChannelInfo* channel, double time) {
  Answer answer;
  EXPECT_EQ(channel ? channel->GetSampleAtTime(time, &answer.sample)
                    : GetSampleAtTime(channel, time, &answer.sample),
            S_OK);
  const ThreadError sample_error = TakeThreadError();
  EXPECT_EQ(channel ? channel->GetValueAtTime(time, &answer.value)
                    : GetValueAtTime(channel, time, &answer.value),
            S_OK);
  answer.error = TakeThreadError();
  // Both functions leave the same error behind (or none).
  EXPECT_EQ(sample_error.description, answer.error.description) << time;
  return answer;
}

// Group 1: A analog (Y0 1, YStep 0.5 from 0; Y0 -2, YStep -0.25 from 0.45),
// E events, N analog without vertical normsets, V analog whose scaling is
// void before 0.25. Segments 0 .. 0.5 and 1.0 .. 1.2 at 0.1 s.
// Group 2: one channel, no normsets.
ComPtr<IRecording> ValueRecording() {
  TestGroup group;
  group.channels = {{false, {{1.0, 0.5, 0.0}, {-2.0, -0.25, 0.45}}},
                    {true, {}},
                    {false, {}},
                    {false, {{0.0, kVoid, 0.0}, {0.0, 1.0, 0.25}}}};
  // Frames: A, E, N, V.
  group.segments.push_back({0.0, 0.1, {100, 1, 0, 10,            //
                                       201, kAbsent, 0, 20,       //
                                       kAbsent, 3, 0, 30,         //
                                       32767, 4, 0, 40,           //
                                       -32767, 5, 0, 50,          //
                                       10, 6, 0, 60}});
  group.segments.push_back({1.0, 0.1, {7, 1, 0, 0, 8, 2, 0, 0, 9, 3, 0, 0}});
  TestGroup empty;
  empty.channels = {{false, {{0.0, 1.0, 0.0}}}};
  return InMemory({group, empty});
}

TEST(ValueAtTime, FailuresAnswerSOkWithNoValueAndLeaveTheError) {
  ComPtr<IRecording> r = ValueRecording();
  ComPtr<IChannelInfo> a = Channel(r.get(), 1, 1);
  const struct {
    IChannelInfo* channel;
    double time;
    const char16_t* text;
    const GUID* iid;
  } cases[] = {
      {a.get(), 0.55, u"Specfied time out of range", &IID_IChannelGroup},  // in the gap
      {a.get(), 1.25, u"Specfied time out of range", &IID_IChannelGroup},  // past the end
      {a.get(), -0.01, u"Specfied time out of range", &IID_IChannelGroup},
      {a.get(), kVoid, u"Specfied time out of range", &IID_IChannelGroup},
      {a.get(), std::nan(""), u"Specfied time out of range", &IID_IChannelGroup},
      {Channel(r.get(), 1, 3).get(), 0.1, u"No vertical normsets", &IID_IChannelInfo},
      {Channel(r.get(), 2, 1).get(), 0.0, u"No horizontal normsets", &IID_IChannelGroup},
      {nullptr, 0.0, u"Invalid Channelinfo specified", &IID_IChannelInfo},
  };
  for (const auto& c : cases) {
    Answer failed = At(c.channel, c.time);
    EXPECT_EQ(failed.sample, kAbsent) << c.time;
    EXPECT_EQ(Bits(failed.value), Bits(kVoid)) << c.time;
    EXPECT_EQ(failed.error.description, c.text) << c.time;
    EXPECT_EQ(failed.error.guid, *c.iid) << c.time;
  }
  // A later success leaves no stale error behind.
  EXPECT_FALSE(At(a.get(), 0.1).error.present);
  // Next to an absent sample, and where the scaling is void (channel V
  // before 0.25): no value, and no error either.
  for (const Answer& none : {At(a.get(), 0.15), At(Channel(r.get(), 1, 4).get(), 0.15)}) {
    EXPECT_EQ(none.sample, kAbsent);
    EXPECT_EQ(Bits(none.value), Bits(kVoid));
    EXPECT_FALSE(none.error.present);
  }
  // Near the extremes interpolation stays inside the 16-bit range and never
  // makes up -32768.
  EXPECT_EQ(At(a.get(), 0.399999).sample, -32766);

  EXPECT_EQ(GetSampleAtTime(a.get(), 0.0, nullptr), E_POINTER);
  EXPECT_EQ(GetValueAtTime(a.get(), 0.0, nullptr), E_POINTER);
  EXPECT_EQ(a->GetValueAtTime(0.05, nullptr), E_POINTER);
}

}  // namespace
