// The upgrade's void-run searches and normset editing, and the frame copy.
#include <gtest/gtest.h>

#include <cstring>

#include "reader/mux_copy.h"
#include "reader/normset_records.h"
#include "reader/void_runs.h"
#include "tests/reader/reader_fixture.h"

namespace mlr::reader {
namespace {

using test::IsVoid;

constexpr int16_t V = -32768;

TEST(MarkVoidRun, InsertsVoidRowAndMovesCoveredRows) {
  std::vector<VNormRow> rows = {{0, 1, 2}};
  MarkVoidRun(&rows, 0, 5);
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[0].start_time, 0);
  EXPECT_TRUE(IsVoid(rows[0].y_step));
  EXPECT_EQ(rows[0].y0, 0.0);
  EXPECT_EQ(rows[1].start_time, 5);
  EXPECT_EQ(rows[1].y0, 1);

  // Several rows inside the run: only the last one survives, at t2.
  std::vector<VNormRow> many = {{0, 1, 1}, {2, 2, 2}, {3, 3, 3}, {4, 4, 4}, {9, 9, 9}};
  MarkVoidRun(&many, 1, 5);
  ASSERT_EQ(many.size(), 4u);
  EXPECT_EQ(many[0].y0, 1);
  EXPECT_EQ(many[1].start_time, 1);
  EXPECT_TRUE(IsVoid(many[1].y_step));
  EXPECT_EQ(many[2].start_time, 5);
  EXPECT_EQ(many[2].y0, 4);
  EXPECT_EQ(many[3].start_time, 9);

  // A run after every row is appended.
  std::vector<VNormRow> tail = {{0, 1, 1}};
  MarkVoidRun(&tail, 7, 8);
  ASSERT_EQ(tail.size(), 2u);
  EXPECT_EQ(tail[1].start_time, 7);
}

TEST(VoidSearch, RunAroundBoundaryCrossesNormsets) {
  // Normset 1: 2500 samples at 1 ms from 0; normset 2: 10 samples from 10 s.
  std::vector<std::vector<int16_t>> data(2);
  data[0].assign(2500, 5);
  data[1].assign(10, 5);
  for (int i = 1200; i < 2500; ++i) data[0][i] = V;  // longer than one chunk
  for (int i = 0; i < 3; ++i) data[1][i] = V;
  int reads = 0;
  ChannelSampleReader read = [&](size_t h, uint32_t first, uint32_t count, int16_t* out) {
    ++reads;
    EXPECT_LE(count, kVoidScanChunk);
    if (first + count > data[h].size()) return false;
    std::memcpy(out, data[h].data() + first, count * 2);
    return true;
  };
  std::vector<HNormSpan> h = {{0, 0.001, 2500}, {10, 0.001, 10}};
  double t1, t2;
  ASSERT_TRUE(FindVoidRunAround(h, 1.5, read, &t1, &t2));
  EXPECT_DOUBLE_EQ(t1, 1.2);
  EXPECT_DOUBLE_EQ(t2, 10.003);
  EXPECT_GT(reads, 2);
  // A row at the start of normset 2, or in the gap before it: the run is
  // found back into normset 1's tail.
  for (double at : {10.0, 5.0}) {
    ASSERT_TRUE(FindVoidRunAround(h, at, read, &t1, &t2)) << at;
    EXPECT_DOUBLE_EQ(t1, 1.2) << at;
    EXPECT_DOUBLE_EQ(t2, 10.003) << at;
  }
  // A normset 1 that ends with a real sample stops the backward search.
  data[0][2499] = 7;
  ASSERT_TRUE(FindVoidRunAround(h, 10.0, read, &t1, &t2));
  EXPECT_DOUBLE_EQ(t1, 10.0);
  EXPECT_DOUBLE_EQ(t2, 10.003);
  data[0][2499] = V;
  // No void samples at the time: nothing to mark.
  EXPECT_FALSE(FindVoidRunAround(h, 0.5, read, &t1, &t2));
  // A time after all data: nothing.
  EXPECT_FALSE(FindVoidRunAround(h, 50, read, &t1, &t2));
}

TEST(CopyPickedChannels, PicksReordersAndCopiesPairs) {
  // Three channels, two frames: values c*10 + frame.
  std::vector<uint8_t> block;
  auto put = [&](int16_t v) {
    block.push_back(static_cast<uint8_t>(v));
    block.push_back(static_cast<uint8_t>(static_cast<uint16_t>(v) >> 8));
  };
  for (int f = 0; f < 2; ++f)
    for (int c = 0; c < 3; ++c) put(static_cast<int16_t>(c * 10 + f - 300));
  std::vector<int16_t> out(6);
  const uint32_t all[] = {0, 1, 2};
  CopyPickedChannels(block.data(), 2, 3, 1, all, 3, out.data());
  EXPECT_EQ(out, (std::vector<int16_t>{-300, -290, -280, -299, -289, -279}));
  const uint32_t some[] = {2, 0};
  CopyPickedChannels(block.data(), 2, 3, 1, some, 2, out.data());
  EXPECT_EQ(std::vector<int16_t>(out.begin(), out.begin() + 4),
            (std::vector<int16_t>{-280, -300, -279, -299}));
  // The same 12 bytes read as one reduced frame of three (max, min) pairs.
  const uint32_t second[] = {1};
  CopyPickedChannels(block.data(), 1, 3, 2, second, 1, out.data());
  EXPECT_EQ(out[0], -280);
  EXPECT_EQ(out[1], -299);
}

}  // namespace
}  // namespace mlr::reader
