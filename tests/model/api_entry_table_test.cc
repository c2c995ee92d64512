// The API entry table: resolution by name from the library registered as the
// type library's server, else from the library's own module (this test
// executable exports its symbols, as the shared library does).
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "LegacyRecording.h"
#include "model/api_entry_table.h"
#include "platform/strings.h"
#include "platform/type_library.h"
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

  // A missing entry answers E_NOTIMPL and leaves the out argument alone.
  LONG kb = 5;
  EXPECT_EQ(table::CallWith(ApiEntries{}, &ApiEntries::GetEstimatedTotalSize, nullptr, 0.0, 1.0, &kb),
            E_NOTIMPL);
  EXPECT_EQ(kb, 5);
}

// Registers `library` as the type library's server in a registry of the
// test's own (in the death-test child, whose table is still unresolved).
bool RegisterTypeLibraryPath(const std::string& library) {
  const std::string registry = ::testing::TempDir() + "api_entry_table_registry";
  std::remove(registry.c_str());
  setenv("MLR_REGISTRY", registry.c_str(), 1);
  const mlr::TypeLibDescription lib{LIBID_LegacyRecording, 1, 0, 0, OLESTR("test")};
  return mlr::RegisterModuleTypeLib(mlr::ToUtf16(library.c_str()).c_str(), lib) == S_OK;
}

TEST(ApiEntryTable, ResolvesFromTheRegisteredLibrary) {
  // The built shared library is a second copy of the library beside the one
  // linked into this test: the table must hold that copy's functions.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        const std::string library = MLR_BINARY_DIR "/libmovaLegacyRecording.so";
        bool ok = RegisterTypeLibraryPath(library);
        HMODULE registered = LoadLibraryA(library.c_str());
        ok = ok && registered != nullptr;
        const ApiEntries entries = table::Resolve();
        ok = ok && entries.GetScaledMuxData != nullptr &&
             reinterpret_cast<void*>(entries.GetScaledMuxData) ==
                 reinterpret_cast<void*>(GetProcAddress(registered, "GetScaledMuxData")) &&
             entries.GetScaledMuxData != &::GetScaledMuxData &&
             reinterpret_cast<void*>(entries.RecordingTimeToDATE) ==
                 reinterpret_cast<void*>(GetProcAddress(registered, "RecordingTimeToDATE"));
        std::exit(ok ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
  // A registered path that does not load: the library's own functions.
  EXPECT_EXIT(
      {
        bool ok = RegisterTypeLibraryPath(::testing::TempDir() + "no/such/library.so");
        ok = ok && table::Resolve().GetScaledMuxData == &::GetScaledMuxData;
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
