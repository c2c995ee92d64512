// The channel resampler as a client sees it: settings and refusals, the item
// count, buffer shapes and sizes, several groups at different rates with
// events, absent samples, a scaling change and an early end, column order,
// batches. (Gaps between normsets are the interpolator's tests'; the
// per-channel buffers of GetNextDataBuffers are read by the Python module's
// resample and by `krf resample`, and checked there.)
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "api/void_number.h"
#include "resampler/channel_resampler.h"
#include "testing/float_bits.h"
#include "tests/resampler/resampler_fixture.h"

namespace mlr::resampler::test {
namespace {

using mlr::testing::Bits;

int16_t Ramp(int32_t frame, int32_t) { return static_cast<int16_t>(frame); }

TEST(ChannelResampler, SettingsStartUnsetAndStartRefusesWhatItCannotRun) {
  ComPtr<IChannelResampler> r;
  ASSERT_EQ(CChannelResampler::CreateInstance(nullptr, IID_IChannelResampler, r.put_void()), S_OK);
  double value = 0;
  kalRecordingResamplerFlags flags = static_cast<kalRecordingResamplerFlags>(5);
  EXPECT_EQ(r->get_StartTime(&value), S_OK);
  EXPECT_EQ(Bits(value), 0x7FFFFFFFFFFFFFFFull);
  EXPECT_EQ(r->get_InvalidSampleValue(&value), S_OK);
  EXPECT_EQ(Bits(value), 0x7FFFFFFFFFFFFFFFull);
  EXPECT_EQ(r->get_Flags(&flags), S_OK);
  EXPECT_EQ(flags, RRF_None);
  EXPECT_EQ(r->get_InvalidSampleValue(nullptr), E_POINTER);
  EXPECT_EQ(r->get_Flags(nullptr), E_POINTER);
  EXPECT_EQ(r->put_Flags(static_cast<kalRecordingResamplerFlags>(3)), S_OK);
  EXPECT_EQ(r->get_Flags(&flags), S_OK);
  EXPECT_EQ(flags, 3);

  ComPtr<IRecording> rec = MakeMemoryRecording({MakeGroup(1, 0, {{0, 0.01, 100}}, Ramp)});
  const std::vector<ComPtr<IChannelInfo>> one = {Channel(rec.get(), 1, 1)};
  LONG n = -1;
  SAFEARRAY* analog = nullptr;
  SAFEARRAY* events = nullptr;
  EXPECT_EQ(r->GetNextMuxDataBuffer(&n, &analog, &events), E_UNEXPECTED);  // before Start
  EXPECT_EQ(n, 0);
  EXPECT_EQ(Start(r.get(), one), E_INVALIDARG);  // times not set

  r->put_StartTime(0.0);
  r->put_EndTime(1.0);
  for (double step : {0.0, -0.01, std::nan(""), HUGE_VAL}) {
    r->put_XStep(step);
    EXPECT_EQ(Start(r.get(), one), E_INVALIDARG) << step;
  }
  r->put_XStep(0.01);
  EXPECT_EQ(r->Start(nullptr), E_INVALIDARG);
  SAFEARRAY* null_array = nullptr;
  EXPECT_EQ(r->Start(&null_array), E_INVALIDARG);
  EXPECT_EQ(Start(r.get(), {}), E_INVALIDARG);
  EXPECT_EQ(Start(r.get(), {Channel(rec.get(), 1, 1), nullptr}), E_INVALIDARG);
  SAFEARRAY* not_channels = SafeArrayCreateVector(VT_UNKNOWN, 0, 1);
  LONG zero = 0;
  SafeArrayPutElement(not_channels, &zero, static_cast<IUnknown*>(rec.get()));
  EXPECT_EQ(r->Start(&not_channels), E_INVALIDARG);
  SafeArrayDestroy(not_channels);
  EXPECT_EQ(r->GetNextMuxDataBuffer(&n, &analog, &events), E_UNEXPECTED);  // nothing started

  EXPECT_EQ(Start(r.get(), one), S_OK);
  EXPECT_EQ(r->GetNextMuxDataBuffer(nullptr, &analog, &events), E_POINTER);

  // The item count rounds (end - start) / step to the nearest whole number.
  const struct {
    double start, end;
    size_t items;
  } counts[] = {{0.5, 0.497, 1}, {0.5, 0.48, 0}, {0.1, 0.204, 11}, {0.1, 0.206, 12}};
  for (const auto& c : counts) {
    r = MakeResampler(c.start, c.end, 0.01);
    ASSERT_EQ(Start(r.get(), one), S_OK);
    const Items run = Collect(r.get());
    ASSERT_EQ(run.analog.size(), c.items) << c.start << ".." << c.end;
    if (c.items > 0) {
      EXPECT_EQ(run.analog[0][0], std::round(c.start * 100));
    }
  }
}

// Frames every 2 ms, items every 1 ms between them: across the buffers' ends
// the items go on interpolating from the frame the buffer before consumed.
TEST(ChannelResampler, BuffersHoldAtMost8192ItemsInTheDocumentedShapes) {
  ComPtr<IRecording> rec = MakeMemoryRecording({MakeGroup(2, 1, {{0, 0.002, 10000}}, Ramp)});
  ComPtr<IChannelResampler> r = MakeResampler(0.0015, 19.9955, 0.001);
  ASSERT_EQ(Start(r.get(), {Channel(rec.get(), 1, 1), Channel(rec.get(), 1, 2), Channel(rec.get(), 1, 3)}),
            S_OK);
  LONG n = 0;
  SAFEARRAY* analog = nullptr;
  SAFEARRAY* events = nullptr;
  ASSERT_EQ(r->GetNextMuxDataBuffer(&n, &analog, &events), S_OK);
  EXPECT_EQ(n, 8192);
  EXPECT_EQ(Shape(analog), (std::vector<std::pair<LONG, LONG>>{{1, 2}, {1, 8192}}));
  EXPECT_EQ(Shape(events), (std::vector<std::pair<LONG, LONG>>{{1, 8192}}));
  SafeArrayDestroy(analog);
  SafeArrayDestroy(events);
  const Items rest = Collect(r.get());
  EXPECT_EQ(rest.buffers, (std::vector<LONG>{8192, 19995 - 2 * 8192}));
  for (size_t k = 0; k < rest.analog.size(); ++k)
    EXPECT_NEAR(rest.analog[k][0], 0.75 + 0.5 * static_cast<double>(8192 + k), 1e-3) << k;

  // One analog channel alone: one dimension, and no event array.
  r = MakeResampler(0.0, 0.01, 0.001);
  ASSERT_EQ(Start(r.get(), {Channel(rec.get(), 1, 1)}), S_OK);
  ASSERT_EQ(r->GetNextMuxDataBuffer(&n, &analog, &events), S_OK);
  EXPECT_EQ(Shape(analog), (std::vector<std::pair<LONG, LONG>>{{1, 11}}));
  EXPECT_EQ(events, nullptr);
  SafeArrayDestroy(analog);
}

// Three groups: G1 at 1 kHz (two analog channels scaled 1 + 0.5 x raw, one
// event channel, an absent sample), G2 at 250 Hz, G3 at 500 Hz ending after
// 0.198 s, scaled 100 + 2 x raw from 0.1 s on. Output every 2 ms from 0 to
// 0.998 s.
TEST(ThreeGroups, EachGroupIsResampledOntoTheCommonGrid) {
  auto g1 = [](int32_t f, int32_t c) -> int16_t {
    if (c == 2) return static_cast<int16_t>(f % 7);
    if (c == 0 && f == 500) return -32768;
    return static_cast<int16_t>(f + 100 * c);
  };
  model::MemoryGroupSpec g3 = MakeGroup(1, 0, {{0, 0.002, 100}}, Ramp);
  g3.channels[0].vnorms.push_back({100.0, 2.0, 0.1});
  ComPtr<IRecording> rec = MakeMemoryRecording(
      {MakeGroup(2, 1, {{0, 0.001, 1000}}, g1, 1.0, 0.5),
       MakeGroup(1, 0, {{0, 0.004, 250}}, [](int32_t f, int32_t) { return int16_t(2 * f); }), g3});
  ComPtr<IChannelResampler> r = MakeResampler(0.0, 0.998, 0.002);
  r->put_InvalidSampleValue(-1e6);
  // Given out of group order: groups are numbered by first appearance.
  ASSERT_EQ(Start(r.get(), {Channel(rec.get(), 2, 1), Channel(rec.get(), 1, 1),
                            Channel(rec.get(), 1, 3), Channel(rec.get(), 3, 1),
                            Channel(rec.get(), 1, 2)}),
            S_OK);
  Items run = Collect(r.get());
  ASSERT_EQ(run.hr, S_OK);
  ASSERT_EQ(run.buffers, (std::vector<LONG>{500}));
  for (int k = 0; k < 500; ++k) {
    const std::vector<float>& a = run.analog[static_cast<size_t>(k)];
    ASSERT_EQ(a.size(), 4u);
    // Column 0: G2 (frames every 4 ms: on one every other item, halfway
    // between two otherwise). Its last frame lies on item 498: the group has
    // nothing more, and the buffer's zero fill follows.
    EXPECT_NEAR(a[0], k < 499 ? k : 0, 1e-3) << k;
    // Columns 1, 2: G1 on its frames; its absent sample gives the invalid value.
    EXPECT_EQ(a[1], k == 250 ? -1e6f : static_cast<float>(1 + 0.5 * (2 * k))) << k;
    EXPECT_EQ(a[2], static_cast<float>(1 + 0.5 * (2 * k + 100))) << k;
    // Column 3: G3 to its end (0.198 s, on item 99), then zeros.
    EXPECT_EQ(a[3], k < 50 ? k : k < 100 ? 100 + 2 * k : 0) << k;
    ASSERT_EQ(run.events[static_cast<size_t>(k)], (std::vector<int16_t>{int16_t(2 * k % 7)}));
  }
}

TEST(ChannelResampler, GroupsRunInBatchesOfFourWithAPauseAfterEachBatch) {
  std::vector<model::MemoryGroupSpec> groups;
  for (int g = 0; g < 5; ++g) {
    groups.push_back(MakeGroup(1, 0, {{0, 0.001 * (g + 1), 50}}, [g](int32_t f, int32_t) {
      return static_cast<int16_t>(1000 * g + f);
    }));
  }
  ComPtr<IRecording> rec = MakeMemoryRecording(groups);
  std::vector<ComPtr<IChannelInfo>> channels;
  for (LONG g = 1; g <= 5; ++g) channels.push_back(Channel(rec.get(), g, 1));
  ComPtr<IChannelResampler> r = MakeResampler(0.0, 0.04, 0.001);
  ASSERT_EQ(Start(r.get(), channels), S_OK);
  const int before = g_pauses;
  Items run = Collect(r.get());
  EXPECT_EQ(g_pauses - before, 2);  // one buffer: batches of 4 and 1
  EXPECT_EQ(g_pause_ms, 50);
  ASSERT_EQ(run.analog.size(), 41u);
  // The fifth group's column, filled by the second batch.
  EXPECT_NEAR(run.analog[5][4], 4001, 1e-3);
}

}  // namespace
}  // namespace mlr::resampler::test
