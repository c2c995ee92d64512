// The API entry table: resolution by name from the library's own module
// (this test executable exports its symbols, as the shared library does).
#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>
#include <vector>

#include "LegacyRecording.h"
#include "model/api_entry_table.h"
#include "platform/win.h"

namespace {

using mlr::ApiEntries;
namespace table = mlr::api_entry_table;

TEST(ApiEntryTable, ResolvesTheLibrarysOwnFunctionsByName) {
  const ApiEntries entries = table::Resolve();
  EXPECT_EQ(entries.RecordingTimeToDATE, &::RecordingTimeToDATE);
  EXPECT_EQ(entries.RecordingTimeToLocalTime, &::RecordingTimeToLocalTime);
  EXPECT_EQ(entries.LocalTimeToRecordingTime, &::LocalTimeToRecordingTime);
  EXPECT_EQ(entries.GetEstimatedTotalSize, &::GetEstimatedTotalSize);
  EXPECT_EQ(entries.GetScaledMuxData, &::GetScaledMuxData);
  EXPECT_EQ(entries.GetResampledMuxData, &::GetResampledMuxData);
  EXPECT_EQ(entries.GetReducedMuxData, &::GetReducedMuxData);
  EXPECT_EQ(entries.GetDisplayData, &::GetDisplayData);
  EXPECT_EQ(entries.GetSampleAtTime, &::GetSampleAtTime);
  EXPECT_EQ(entries.GetValueAtTime, &::GetValueAtTime);

  // Once resolved, a peek sees the same table.
  const ApiEntries peeked = table::Peek();
  EXPECT_EQ(peeked.RecordingTimeToDATE, entries.RecordingTimeToDATE);
  EXPECT_EQ(peeked.GetScaledMuxData, entries.GetScaledMuxData);

  DATE date = 0.0;
  EXPECT_EQ(table::Call(&ApiEntries::RecordingTimeToDATE, 1900, 1, 43200.0,
                        static_cast<VARIANT_BOOL>(VARIANT_FALSE), &date),
            S_OK);
  EXPECT_EQ(date, 2.5);
}

TEST(ApiEntryTable, AMissingEntryAnswersNotImplemented) {
  const ApiEntries empty{};
  LONG kb = 5;
  EXPECT_EQ(table::CallWith(empty, &ApiEntries::GetEstimatedTotalSize, nullptr, 0.0, 1.0, &kb),
            E_NOTIMPL);
  EXPECT_EQ(kb, 5);
}

TEST(ApiEntryTable, PeekDoesNotResolve) {
  // In a fresh process (the death-test child re-runs only this test), a
  // peek before any resolution sees an empty table, and still does so
  // afterwards until something resolves it.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        bool ok = table::Peek().RecordingTimeToDATE == nullptr &&
                  table::Peek().GetEstimatedTotalSize == nullptr;
        ok = ok && table::Resolve().RecordingTimeToDATE == &::RecordingTimeToDATE;
        ok = ok && table::Peek().GetEstimatedTotalSize == &::GetEstimatedTotalSize;
        std::exit(ok ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST(ApiEntryTable, ConcurrentResolutionAgrees) {
  std::vector<ApiEntries> seen(8);
  std::vector<std::thread> threads;
  for (auto& slot : seen) {
    threads.emplace_back([&slot] { slot = table::Resolve(); });
  }
  for (auto& t : threads) t.join();
  for (const ApiEntries& entries : seen) {
    EXPECT_EQ(entries.RecordingTimeToDATE, &::RecordingTimeToDATE);
    EXPECT_EQ(entries.GetEstimatedTotalSize, &::GetEstimatedTotalSize);
  }
}

}  // namespace
