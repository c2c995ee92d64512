// The conversion with streaming stores gives the bits of the plain
// conversion at every alignment and length, and the cache size is read from
// the system's description of its caches.
#include "platform/posix/cache_size.h"
#include "platform/streaming_stores.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <vector>

#include "testing/float_bits.h"
#include "testing/temp_dir.h"

namespace {

using mlr::testing::Bits;

// The plain conversion, a product and then a sum (volatile keeps the test's
// own compiler from fusing them).
double Reference(int16_t raw, double step, double y0) {
  volatile double product = static_cast<double>(raw) * step;
  return product + y0;
}

TEST(ScaleInt16Streaming, MatchesThePlainConversionAtEveryAlignmentAndLength) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  // Coefficients that differ from element to element (as the channels of a
  // frame do), a void one among them.
  const double steps[] = {0.1, -0.25, 3.0517578125e-05, 1e300, nan, 0.0, -1e-3};
  const double y0s[] = {-0.3, 5.0, -1e-9, 0.0, 1.0, nan, 12345.678};
  constexpr size_t kAll = 65536 + 11;
  std::vector<int16_t> raw(kAll + 1);
  std::vector<double> step(kAll + 1), y0(kAll + 1);
  for (size_t k = 0; k < raw.size(); ++k) {
    raw[k] = static_cast<int16_t>(static_cast<uint16_t>(k * 40503u));  // every value once
    step[k] = steps[k % 7];
    y0[k] = y0s[k % 5];
  }
  constexpr double kGuard = -7.5;
  for (size_t count : {size_t{0}, size_t{1}, size_t{2}, size_t{7}, size_t{8}, size_t{9},
                       size_t{17}, kAll}) {
    for (size_t out_offset : {0, 1}) {
      for (size_t in_offset : {0, 1}) {
        std::vector<double> out(count + 3, kGuard);
        double* target = out.data() + out_offset;
        mlr::ScaleInt16Streaming(raw.data() + in_offset, target, count, step.data() + in_offset,
                                 y0.data() + in_offset);
        mlr::StreamingStoresFence();
        for (size_t k = 0; k < count; ++k) {
          const size_t j = k + in_offset;
          ASSERT_EQ(Bits(target[k]), Bits(Reference(raw[j], step[j], y0[j])))
              << "count " << count << " out+" << out_offset << " in+" << in_offset << " k " << k;
        }
        for (size_t k = 0; k < out.size(); ++k) {
          if (k < out_offset || k >= out_offset + count) {
            ASSERT_EQ(out[k], kGuard) << k;
          }
        }
      }
    }
  }
  // Two roundings: 3 x 0.1 rounds up before -0.3 is added.
  double one = 0.0;
  const int16_t three = 3;
  const double tenth = 0.1, minus = -0.3;
  mlr::ScaleInt16Streaming(&three, &one, 1, &tenth, &minus);
  EXPECT_EQ(Bits(one), Bits(0.30000000000000004 - 0.3));
}

class CacheDescription : public ::testing::Test {
 protected:
  void Cache(int index, const char* level, const char* type, const char* size) {
    const std::filesystem::path folder = dir_.Path("index" + std::to_string(index));
    std::filesystem::create_directories(folder);
    std::ofstream(folder / "level") << level << "\n";
    std::ofstream(folder / "type") << type << "\n";
    if (size != nullptr) std::ofstream(folder / "size") << size << "\n";
  }

  size_t Largest() const { return mlr::posix::LargestCacheBytes(dir_.path()); }

  mlr::testing::ScopedTempDir dir_;
};

TEST_F(CacheDescription, TakesTheHighestLevelThatHoldsData) {
  EXPECT_EQ(Largest(), 0u);  // nothing described
  Cache(0, "1", "Data", "48K");
  Cache(1, "1", "Instruction", "32K");
  EXPECT_EQ(Largest(), size_t{48} << 10);
  Cache(2, "2", "Unified", "1024K");
  Cache(3, "3", "Unified", "32768K");
  EXPECT_EQ(Largest(), size_t{32} << 20);
  // An instruction cache of a higher level, or one without a readable
  // size, does not count.
  Cache(4, "4", "Instruction", "1G");
  Cache(5, "4", "Unified", "lots");
  Cache(6, "4", "Unified", nullptr);
  EXPECT_EQ(Largest(), size_t{32} << 20);
  // Indexes end at the first gap.
  Cache(8, "5", "Unified", "2G");
  EXPECT_EQ(Largest(), size_t{32} << 20);
  Cache(7, "5", "Data", "3M");
  EXPECT_EQ(Largest(), size_t{3} << 20);
  Cache(9, "6", "Unified", "65536");
  EXPECT_EQ(Largest(), size_t{65536});
}

}  // namespace
