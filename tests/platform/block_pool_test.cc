// The pool that keeps large safe-array data blocks: what SafeArrayCreate
// promises stays true for a reused block, the pool serves several threads at
// once and survives a fork.
#include "platform/posix/block_pool.h"
#include "platform/safearray_uninit.h"
#include "platform/win.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstdint>
#include <thread>
#include <vector>

namespace {

using mlr::posix::kPoolMaxBlocks;
using mlr::posix::kPoolMinBytes;
using mlr::posix::PoolHeldBytes;
using mlr::posix::PoolRelease;

// A VT_UI1 vector of `bytes` elements (one byte each).
SAFEARRAY* Bytes(size_t bytes, bool zeroed) {
  SAFEARRAYBOUND bound = {static_cast<ULONG>(bytes), 0};
  return zeroed ? SafeArrayCreate(VT_UI1, 1, &bound)
                : mlr::SafeArrayCreateUninitialized(VT_UI1, 1, &bound);
}

uint8_t* DataOf(SAFEARRAY* array) { return static_cast<uint8_t*>(array->pvData); }

class BlockPool : public ::testing::Test {
 protected:
  void SetUp() override { PoolRelease(); }
  void TearDown() override { PoolRelease(); }
};

TEST_F(BlockPool, AReusedBlockIsZeroedForSafeArrayCreateAndGrowsWithZeros) {
  const size_t size = 3 * kPoolMinBytes;
  SAFEARRAY* first = Bytes(size, false);
  ASSERT_NE(first, nullptr);
  uint8_t* block = DataOf(first);
  for (size_t i = 0; i < size; ++i) block[i] = 0xA5;
  ASSERT_EQ(SafeArrayDestroy(first), S_OK);
  EXPECT_EQ(PoolHeldBytes(), size);

  // Slightly smaller: the same block comes back, cleared.
  SAFEARRAY* second = Bytes(size - 4096, true);
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(DataOf(second), block);
  EXPECT_EQ(PoolHeldBytes(), 0u);
  for (size_t i = 0; i < size - 4096; ++i) ASSERT_EQ(DataOf(second)[i], 0) << i;

  // A pooled block resizes like any other data block.
  SAFEARRAYBOUND grown = {static_cast<ULONG>(2 * size), 0};
  DataOf(second)[0] = 7;
  ASSERT_EQ(SafeArrayRedim(second, &grown), S_OK);
  EXPECT_EQ(DataOf(second)[0], 7);
  for (size_t i = size - 4096; i < 2 * size; i += 997) ASSERT_EQ(DataOf(second)[i], 0) << i;
  ASSERT_EQ(SafeArrayDestroy(second), S_OK);

  // Uninitialised data is refused for element types that own what they hold.
  for (VARTYPE owning : {VARTYPE{VT_BSTR}, VARTYPE{VT_UNKNOWN}, VARTYPE{VT_DISPATCH}, VARTYPE{VT_VARIANT}})
    EXPECT_EQ(mlr::SafeArrayCreateUninitialized(owning, 1, &grown), nullptr) << owning;
}

TEST_F(BlockPool, ServesSeveralThreadsAtOnce) {
  // Each thread marks its arrays with its own number and checks the mark
  // before destroying them: a block handed to two threads would show, and so
  // would a zeroed array that still holds another thread's marks.
  std::vector<std::thread> threads;
  std::vector<int> wrong(4, 0);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &wrong] {
      for (int round = 0; round < 50; ++round) {
        const size_t size = kPoolMinBytes + static_cast<size_t>(round % 3) * 65536;
        const bool zeroed = round % 2 == 0;
        SAFEARRAY* a = Bytes(size, zeroed);
        if (a == nullptr) {
          ++wrong[t];
          continue;
        }
        uint8_t* data = DataOf(a);
        for (size_t i = 0; zeroed && i < size; i += 4096) wrong[t] += data[i] != 0;
        for (size_t i = 0; i < size; i += 4096) data[i] = static_cast<uint8_t>(t + 1);
        std::this_thread::yield();
        for (size_t i = 0; i < size; i += 4096) wrong[t] += data[i] != t + 1;
        SafeArrayDestroy(a);
      }
    });
  }
  for (std::thread& th : threads) th.join();
  for (int t = 0; t < 4; ++t) EXPECT_EQ(wrong[t], 0) << t;
  EXPECT_LE(PoolHeldBytes(), kPoolMaxBlocks * (kPoolMinBytes + 2 * 65536));
}

TEST_F(BlockPool, AForkedChildKeepsBlocksAndExits) {
  // The parent's helper thread runs while the child is made; the child has
  // none, starts its own and joins it when it exits.
  SafeArrayDestroy(Bytes(kPoolMinBytes, false));
  ASSERT_EQ(PoolHeldBytes(), kPoolMinBytes);
  // Give the helper thread time to start waiting for the block to age: a
  // child made then inherits a condition variable with a waiter that does not
  // exist in it, and must still exit.
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    SafeArrayDestroy(Bytes(2 * kPoolMinBytes, false));
    std::exit(PoolHeldBytes() == 3 * kPoolMinBytes ? 0 : 1);  // runs the static destructors
  }
  int status = 0;
  pid_t done = 0;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while ((done = waitpid(child, &status, WNOHANG)) == 0 &&
         std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  if (done == 0) {
    kill(child, SIGKILL);
    waitpid(child, &status, 0);
    FAIL() << "the child did not exit";
  }
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

}  // namespace
