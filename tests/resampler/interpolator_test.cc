// The resampling of one group's frames onto the output grid, fed from plain
// vectors: where the output lies on, between, before and after the frames.
#include <gtest/gtest.h>

#include <cmath>
#include <algorithm>
#include <cstring>
#include <limits>
#include <vector>

#include "resampler/group_interpolator.h"

namespace mlr::resampler {
namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();

double EventSlot(int16_t word) {
  double slot = 0.0;
  std::memcpy(&slot, &word, sizeof word);
  return slot;
}

// Blocks handed out in order; each is one normset's frames (or part).
class VectorSource : public FrameSource {
 public:
  struct Block {
    std::vector<double> values;
    int32_t frames;
    double start, step;
    int64_t first_frame, length;
  };
  std::vector<Block> blocks;
  size_t next = 0;

  bool Next(FrameBlock* out) override {
    if (next == blocks.size()) return false;
    const Block& b = blocks[next++];
    *out = FrameBlock{b.values.data(), b.frames, b.start, b.step, b.first_frame, b.length};
    return true;
  }
};

// One analog and one event channel; frame i holds (analog[i], events[i]).
VectorSource::Block MakeBlock(double start, double step, const std::vector<double>& analog,
                              const std::vector<int16_t>& events = {}) {
  VectorSource::Block b{{}, static_cast<int32_t>(analog.size()), start, step, 0,
                        static_cast<int64_t>(analog.size())};
  for (size_t i = 0; i < analog.size(); ++i) {
    b.values.push_back(analog[i]);
    b.values.push_back(EventSlot(i < events.size() ? events[i] : 0));
  }
  return b;
}

struct Items {
  std::vector<float> analog;
  std::vector<int16_t> events;
  int32_t count = 0;
};

Items Take(GroupInterpolator& g, FrameSource& source, int32_t n) {
  Items items;
  items.analog.assign(static_cast<size_t>(n), -1.0f);
  items.events.assign(static_cast<size_t>(n), -1);
  items.count = g.Produce(source, n, items.analog.data(), items.events.data());
  items.analog.resize(static_cast<size_t>(items.count));
  items.events.resize(static_cast<size_t>(items.count));
  return items;
}

VectorSource::Block Truncated(VectorSource::Block b, int64_t length) {
  b.length = length;
  return b;
}

TEST(GroupInterpolator, PlacesTheOutputOnBetweenBeforeAndAfterTheFrames) {
  const struct {
    const char* what;
    std::vector<VectorSource::Block> blocks;
    double start, step;
    std::vector<float> analog;
    std::vector<int16_t> events;  // empty: not checked
  } cases[] = {
      // Between two frames an event channel takes the next frame's word.
      {"on and between", {MakeBlock(1.0, 0.5, {10, 20, 30}, {1, 2, 3})}, 1.0, 0.25,
       {10, 15, 20, 25, 30}, {1, 2, 2, 3, 3}},
      // 0 and .75 lie before frame 0 (no previous value); 1.5 between the
      // frames; 2.25 after the last: one final item holds the value, events 0.
      {"before and after", {MakeBlock(1.0, 1.0, {4, 8}, {7, 9})}, 0.0, 0.75, {4, 4, 6, 8},
       {7, 7, 9, 0}},
      // 0.5: the next frame is invalid. 1.0: on the invalid frame. 1.5: the
      // next frame (5) is valid but its predecessor was not, so 5 itself.
      {"invalid input", {MakeBlock(0.0, 1.0, {1, kNaN, 5, 7})}, 0.0, 0.5,
       {1, -99, -99, 5, 5, 6, 7}, {}},
      {"a gap between normsets", {MakeBlock(0.0, 1.0, {0, 1}), MakeBlock(5.0, 1.0, {5, 6})}, 0.0,
       1.0, {0, 1, 2, 3, 4, 5, 6}, {}},
      {"an empty group", {}, 0.0, 1.0, {}, {}},
      // A normset whose recorded length ends before its frames (as a damaged
      // file can give): the usable count computes to 0 or below, and a pass
      // still makes progress.
      {"no usable frame", {Truncated(MakeBlock(0.0, 1.0, {1, 2, 3, 4}), 1)}, 0.0, 1.0,
       {1, 2, 3, 4}, {}},
  };
  for (const auto& c : cases) {
    VectorSource source;
    source.blocks = c.blocks;
    GroupInterpolator g(1, 1, c.start, c.step, -99.0);
    const Items items = Take(g, source, 10);
    EXPECT_EQ(items.analog, c.analog) << c.what;
    if (!c.events.empty()) {
      EXPECT_EQ(items.events, c.events) << c.what;
    }
    EXPECT_EQ(Take(g, source, 10).count, 0) << c.what;
  }
}

TEST(GroupInterpolator, ALongRunStaysOnTheGrid) {
  // 2 million frames at 1 ms in blocks of 8192, output at the same times from
  // 1 s on: every item must be the frame itself. Summing the step instead of
  // multiplying drifts past the 1e-9 s tolerance and starts interpolating.
  constexpr int64_t kFrames = 2000000;
  VectorSource source;
  for (int64_t first = 0; first < kFrames; first += 8192) {
    std::vector<double> analog(static_cast<size_t>(std::min<int64_t>(8192, kFrames - first)));
    for (size_t i = 0; i < analog.size(); ++i) analog[i] = static_cast<double>((first + i) % 1000);
    source.blocks.push_back(MakeBlock(0.0, 0.001, analog));
    source.blocks.back().first_frame = first;
    source.blocks.back().length = kFrames;
  }
  GroupInterpolator g(1, 1, 1.0, 0.001, -1.0);
  int64_t k = 0;
  int32_t wrong = 0;
  for (Items items; (items = Take(g, source, 8192)).count > 0;) {
    for (int32_t i = 0; i < items.count && k + 1000 < kFrames; ++i, ++k) {
      if (items.analog[static_cast<size_t>(i)] != static_cast<float>((k + 1000) % 1000)) ++wrong;
    }
  }
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(k, kFrames - 1000);
}

}  // namespace
}  // namespace mlr::resampler
