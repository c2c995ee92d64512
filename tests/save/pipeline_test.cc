// The save threads over minimal groups: phase order and statuses, the order
// of the groups, the writer thread, the workers, failures and aborts, and
// what becomes of the target file.
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <set>
#include <thread>

#include "pipeline_fixture.h"
#include "tests/save/writer_fixture.h"

namespace mlr::save::testing {
namespace {

std::string PhaseLine(int phase, int group, LONG status) {
  return "phase " + std::to_string(phase) + " group " + std::to_string(group) + " status " +
         std::to_string(status);
}

// The lines of `lines` without their " on <thread>" tail.
std::vector<std::string> WithoutThread(std::vector<std::string> lines) {
  for (std::string& l : lines) l = l.substr(0, l.find(" on "));
  return lines;
}

TEST_F(PipelineTest, PhasesRunInOrderWithTheirStatusesAndTheFileIsStamped) {
  auto model = std::make_unique<TestModel>(1, &log_);
  model->Add(0);
  ComPtr<ISaveRecordingProgress> progress = Start(std::move(model));
  kalSaveRecordingStatus status;
  LONG error = -1;
  WaitForEnd(progress.get(), &status, &error);
  EXPECT_EQ(status, kalSRS_Ready);
  EXPECT_EQ(error, S_OK);

  std::vector<std::string> lines = WithoutThread(log_.Lines());
  const std::vector<std::string> expected = {
      "align",
      "create 1",
      PhaseLine(1, 1, kalSRS_Initializing),
      "gather status " + std::to_string(kalSRS_Initializing),
      "records status " + std::to_string(kalSRS_SavingInternals) + " storages",
      PhaseLine(2, 1, kalSRS_SavingInternals),
      PhaseLine(3, 1, kalSRS_AllocatingDiskSpace),
      PhaseLine(4, 1, kalSRS_SavingData),
      PhaseLine(5, 1, kalSRS_Closing),
      "close 1",
  };
  lines.erase(std::remove(lines.begin(), lines.end(), "writer 1 1"), lines.end());
  EXPECT_EQ(lines, expected);
  EXPECT_EQ(log_.With("writer"), std::vector<std::string>{"writer 1 1"}) << "one group: a writer";
  progress = nullptr;

  // The written stream reads back, and the file carries the model's time.
  std::vector<uint8_t> bytes;
  ASSERT_TRUE(reader::test::ReadStream(target_, "Data/ChGroup1/MuxData02", &bytes));
  ASSERT_EQ(bytes.size(), 1000u);
  EXPECT_EQ(bytes[0], 1);
  EXPECT_EQ(bytes[999], static_cast<unsigned char>(1 + 999));

  struct stat st;
  ASSERT_EQ(::stat(target_.c_str(), &st), 0);
  // 40000.5 = 2009-07-06 12:00 UTC.
  EXPECT_EQ(st.st_mtime, 1246881600);
  EXPECT_EQ(st.st_atime, 1246881600);
}

TEST_F(PipelineTest, TwoGroupsUseTheWriterThreadThreeDoNot) {
  for (int count : {2, 3}) {
    CallLog log;
    auto model = std::make_unique<TestModel>(1, &log);
    for (int i = 0; i < count; ++i) model->Add(0);
    ComPtr<ISaveRecordingProgress> progress = Start(std::move(model), &log);
    kalSaveRecordingStatus status;
    LONG error = -1;
    WaitForEnd(progress.get(), &status, &error);
    EXPECT_EQ(error, S_OK);
    std::vector<std::string> writers = log.With("writer");
    ASSERT_EQ(writers.size(), static_cast<size_t>(count));
    for (const std::string& w : writers) EXPECT_EQ(w.back(), count == 2 ? '1' : '0') << w;
  }
}

// Groups 1-3 of one recording and 4-7 of another: created interleaved, one
// of each recording in turn; every group runs every phase once.
TEST_F(PipelineTest, SevenGroupsShareFiveWorkers) {
  auto model = std::make_unique<TestModel>(2, &log_);
  for (int i = 0; i < 7; ++i) model->Add(i < 3 ? 0 : 1);
  ComPtr<ISaveRecordingProgress> progress = Start(std::move(model));
  kalSaveRecordingStatus status;
  LONG error = -1;
  WaitForEnd(progress.get(), &status, &error);
  EXPECT_EQ(log_.With("create"), (std::vector<std::string>{"create 1", "create 4", "create 2", "create 5",
                                                           "create 3", "create 6", "create 7"}));
  EXPECT_TRUE(log_.With("phase -1").empty()) << "no clean-up after a save that succeeded";
  std::set<std::string> workers;
  for (int phase = 1; phase <= 5; ++phase) {
    std::vector<std::string> lines = log_.With("phase " + std::to_string(phase) + " ");
    ASSERT_EQ(lines.size(), 7u);
    std::set<std::string> groups;
    for (const std::string& l : lines) {
      groups.insert(l.substr(0, l.find(" status")));
      workers.insert(l.substr(l.find(" on ") + 4));
    }
    EXPECT_EQ(groups.size(), 7u) << "each group once in phase " << phase;
  }
  for (const std::string& w : workers)
    EXPECT_TRUE(w.size() == 8 && w.compare(0, 7, "KrfWork") == 0 && w[7] >= '1' && w[7] <= '5')
        << w;
}

TEST_F(PipelineTest, AFailingGroupEndsTheSaveInItsPhaseAndTheTargetIsDeleted) {
  for (ULONG phase = 1; phase <= 5; ++phase) {
    CallLog log;
    auto model = std::make_unique<TestModel>(1, &log);
    model->Add(0);
    TestGroup* failing = model->Add(0);
    failing->fail_phase = phase;
    failing->fail_code = STG_E_MEDIUMFULL;
    ComPtr<ISaveRecordingProgress> progress = Start(std::move(model), &log);
    ASSERT_TRUE(progress);
    kalSaveRecordingStatus status;
    LONG error = 0;
    WaitForEnd(progress.get(), &status, &error);
    EXPECT_EQ(status, kalSRS_ErrorOccurred) << phase;
    EXPECT_EQ(error, STG_E_MEDIUMFULL) << phase;
    // No phase after the failing one; every group cleaned up and closed.
    for (ULONG later = phase + 1; later <= 5; ++later)
      EXPECT_TRUE(log.With("phase " + std::to_string(later) + " ").empty()) << phase;
    EXPECT_EQ(log.With("phase -1 ").size(), 2u) << phase;
    EXPECT_EQ(log.With("close").size(), 2u) << phase;
    EXPECT_TRUE(std::filesystem::exists(target_)) << "the file goes only with the last reference";
    progress = nullptr;
    EXPECT_FALSE(std::filesystem::exists(target_)) << phase;
  }
}

TEST_F(PipelineTest, AbortInEachPhaseEndsReadyWithoutATarget) {
  for (ULONG phase = 1; phase <= 5; ++phase) {
    CallLog log;
    auto model = std::make_unique<TestModel>(1, &log);
    model->Add(0)->block_phase = phase;
    ComPtr<ISaveRecordingProgress> progress = Start(std::move(model), &log);
    ASSERT_TRUE(progress);
    while (log.blocked != 1) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    ASSERT_EQ(progress->Abort(), S_OK);
    kalSaveRecordingStatus status;
    progress->get_Status(&status);
    EXPECT_TRUE(status == kalSRS_Aborting || status == kalSRS_Ready) << status;
    LONG error = -1;
    WaitForEnd(progress.get(), &status, &error);
    EXPECT_EQ(status, kalSRS_Ready);
    for (ULONG later = phase + 1; later <= 5; ++later)
      EXPECT_TRUE(log.With("phase " + std::to_string(later) + " ").empty()) << phase;
    EXPECT_EQ(log.With("phase -1 ").size(), 1u) << phase;
    progress = nullptr;
    EXPECT_FALSE(std::filesystem::exists(target_)) << phase;
  }
}

}  // namespace
}  // namespace mlr::save::testing
