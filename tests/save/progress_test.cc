// The progress arithmetic, on a main save thread that is never started and a
// clock moved by hand.
#include "pipeline_fixture.h"
#include "save/save_progress.h"

namespace mlr::save::testing {
namespace {

class ProgressTest : public ::testing::Test {
 protected:
  // A progress object over a thread whose model holds `groups` test groups
  // (none: a finished save, without a group list).
  void Make(int groups) {
    std::unique_ptr<TestModel> model;
    if (groups > 0) {
      model = std::make_unique<TestModel>(1, &log_);
      for (int i = 0; i < groups; ++i) groups_.push_back(model->Add(0));
    }
    thread_ = new CMainSaveThread(u"/nonexistent-folder/target.krf", nullptr, nullptr,
                                  std::move(model), clock_);
    progress_.attach(new CSaveProgress(thread_));
    progress_->AddRef();
  }
  LONG Get(HRESULT (STDMETHODCALLTYPE ISaveRecordingProgress::*getter)(LONG*)) {
    LONG value = -12345;
    EXPECT_EQ((progress_.get()->*getter)(&value), S_OK);
    return value;
  }
  LONG Completion() { return Get(&ISaveRecordingProgress::get_Completion); }
  LONG TimeLeft() { return Get(&ISaveRecordingProgress::get_EstimatedTimeLeft); }

  ManualClock clock_;
  CallLog log_;
  std::vector<TestGroup*> groups_;
  CMainSaveThread* thread_ = nullptr;
  ComPtr<ISaveRecordingProgress> progress_;
};

TEST_F(ProgressTest, WithoutAThreadEveryPropertyHasItsFixedValue) {
  progress_.attach(new CSaveProgress(nullptr));
  progress_->AddRef();
  kalSaveRecordingStatus status;
  EXPECT_EQ(progress_->get_Status(&status), S_OK);
  EXPECT_EQ(status, kalSRS_Initializing);
  EXPECT_EQ(Get(&ISaveRecordingProgress::get_ErrorCode), 0);
  EXPECT_EQ(Completion(), 100);
  EXPECT_EQ(TimeLeft(), 0);
  EXPECT_EQ(Get(&ISaveRecordingProgress::get_ActiveTime), 0);
  EXPECT_EQ(Get(&ISaveRecordingProgress::get_SizeMultiplier), 1);
  EXPECT_EQ(Get(&ISaveRecordingProgress::get_EstimatedSize), -1);
  EXPECT_EQ(Get(&ISaveRecordingProgress::get_BytesProcessed), -1);
  EXPECT_EQ(progress_->Abort(), S_OK);
  EXPECT_EQ(progress_->get_Status(nullptr), E_POINTER);
  EXPECT_EQ(progress_->get_Completion(nullptr), E_POINTER);
  EXPECT_EQ(progress_->get_BytesProcessed(nullptr), E_POINTER);
}

TEST_F(ProgressTest, CompletionFollowsAllocationThenData) {
  Make(2);
  EXPECT_EQ(Completion(), 0) << "initializing, nothing written";
  thread_->SetStatus(kalSRS_AllocatingDiskSpace);
  groups_[0]->to_allocate = 600, groups_[1]->to_allocate = 400;
  groups_[0]->allocated = 300, groups_[1]->allocated = 200;
  EXPECT_EQ(Completion(), 5);
  groups_[0]->allocated = 600, groups_[1]->allocated = 399;
  EXPECT_EQ(Completion(), 9) << "truncated, not rounded";
  thread_->SetStatus(kalSRS_SavingData);
  groups_[0]->estimated = 1000, groups_[1]->estimated = 1000;
  groups_[0]->written = 1000;
  EXPECT_EQ(Completion(), 10 + 44);
  groups_[1]->written = 1000;
  EXPECT_EQ(Completion(), 99) << "the bar stays below 100 until the end";
  thread_->SetStatus(kalSRS_SavingInternals);
  EXPECT_EQ(Completion(), 89) << "other states start at 0";
  thread_->SetStatus(kalSRS_Aborting);
  EXPECT_EQ(Completion(), 89) << "high-bit states count as 0";
}

TEST_F(ProgressTest, TimeLeftAveragesTheLastThreeEstimatesOncePerSecond) {
  // The thread never runs: work and phase 4 both count from tick 0.
  Make(1);
  TestGroup& g = *groups_[0];
  g.estimated = 380, g.written = 105;
  clock_.Set(9999);
  EXPECT_EQ(Get(&ISaveRecordingProgress::get_ActiveTime), 9);
  EXPECT_EQ(TimeLeft(), 0) << "the first 10 s";
  clock_.Set(10000);  // round(1.05 x 10 x 380 / 105) - 10 + 2 = 30
  EXPECT_EQ(TimeLeft(), 30);
  g.estimated = 58, g.written = 21;
  clock_.Set(10999);
  EXPECT_EQ(TimeLeft(), 30) << "recomputed at most once a second";
  clock_.Set(20000);  // round(1.05 x 20 x 58 / 21) - 20 + 2 = 40
  EXPECT_EQ(TimeLeft(), 35) << "(30 + 40) / 2";
  g.written = 0;
  clock_.Set(21000);
  EXPECT_EQ(TimeLeft(), 35) << "an unknown estimate leaves the history";
  g.estimated = 780, g.written = 315;
  clock_.Set(30000);  // round(1.05 x 30 x 780 / 315) - 30 + 2 = 50
  EXPECT_EQ(TimeLeft(), 40) << "(30 + 40 + 50) / 3";
  g.estimated = 100, g.written = 100;
  clock_.Set(40000);  // round(42) - 40 + 2 = 4
  EXPECT_EQ(TimeLeft(), 32) << "ceil((40 + 50 + 4) / 3)";
  g.estimated = 100, g.written = 1000;
  clock_.Set(50000);  // round(5.25) - 50 + 2 = -43: kept in the history
  EXPECT_EQ(TimeLeft(), 4) << "ceil((50 + 4 - 43) / 3)";
  g.estimated = 1, g.written = 1000;
  clock_.Set(60000);  // round(0.063) - 60 + 2 = -58
  EXPECT_EQ(TimeLeft(), 0) << "never negative";
  progress_->Abort();
  clock_.Set(70000);
  EXPECT_EQ(TimeLeft(), 0);
}

TEST_F(ProgressTest, SizesAreOneLessThanTheTotalAndScaledByPowersOf1024) {
  Make(2);
  EXPECT_EQ(Get(&ISaveRecordingProgress::get_EstimatedSize), -1) << "two groups of 0 bytes";
  groups_[0]->estimated = 0x40000000;  // 1 GiB
  groups_[1]->estimated = 0x80000000;  // 2 GiB
  groups_[0]->written = 3 * 1024 * 1024;
  EXPECT_EQ(Get(&ISaveRecordingProgress::get_SizeMultiplier), 1024);
  EXPECT_EQ(Get(&ISaveRecordingProgress::get_EstimatedSize), 3145727);
  EXPECT_EQ(Get(&ISaveRecordingProgress::get_BytesProcessed), (3 * 1024 * 1024 - 1) / 1024);
  groups_[0]->estimated = 0x40000000, groups_[1]->estimated = 1;
  EXPECT_EQ(Get(&ISaveRecordingProgress::get_SizeMultiplier), 1) << "0x40000000 is not above";
  EXPECT_EQ(Get(&ISaveRecordingProgress::get_EstimatedSize), 0x40000000);
  groups_[1]->estimated = int64_t{1} << 49;  // + 1 GiB - 1: 2^29 + 1 after two steps
  EXPECT_EQ(Get(&ISaveRecordingProgress::get_SizeMultiplier), 1024 * 1024);
  // A finished save (no group list): complete, two seconds left, and in the
  // allocation state the allocation share is returned before the finish test.
  Make(0);
  EXPECT_EQ(Get(&ISaveRecordingProgress::get_BytesProcessed), -1);
  EXPECT_EQ(Get(&ISaveRecordingProgress::get_EstimatedSize), -1);
  EXPECT_EQ(Get(&ISaveRecordingProgress::get_SizeMultiplier), 1);
  EXPECT_EQ(Completion(), 100);
  clock_.Set(45000);
  EXPECT_EQ(TimeLeft(), 2);
  thread_->SetStatus(kalSRS_AllocatingDiskSpace);
  EXPECT_EQ(Completion(), 0);
}

TEST_F(ProgressTest, AlsoAnswersIRecordingProgressEarlyAndLateBound) {
  Make(1);
  ComPtr<IRecordingProgress> general;
  ASSERT_EQ(progress_->QueryInterface(IID_IRecordingProgress, general.put_void()), S_OK);
  ComPtr<IUnknown> identity, back;
  progress_->QueryInterface(IID_IUnknown, identity.put_void());
  ASSERT_EQ(general->QueryInterface(IID_IUnknown, back.put_void()), S_OK);
  EXPECT_EQ(back.get(), identity.get()) << "one object";

  thread_->SetStatus(kalSRS_SavingData);
  groups_[0]->estimated = 1000, groups_[0]->written = 500;
  kalRecordingProgressStatus status;
  ASSERT_EQ(general->get_Status(&status), S_OK);
  EXPECT_EQ(status, kalRPS_ProcessingData);
  EXPECT_EQ(general->get_Status(nullptr), E_POINTER);

  // Late-bound through the interface's own IDispatch.
  OLECHAR name[] = OLESTR("completion");
  LPOLESTR names[] = {name};
  DISPID id = -1;
  ASSERT_EQ(general->GetIDsOfNames(IID_NULL, names, 1, 0, &id), S_OK);
  EXPECT_EQ(id, 2);
  DISPPARAMS none = {nullptr, nullptr, 0, 0};
  VARIANT result;
  VariantInit(&result);
  ASSERT_EQ(general->Invoke(id, IID_NULL, 0, DISPATCH_PROPERTYGET, &none, &result, nullptr, nullptr),
            S_OK);
  EXPECT_EQ(result.vt, VT_I4);
  EXPECT_EQ(result.lVal, 10 + 44);
  ASSERT_EQ(general->Invoke(5, IID_NULL, 0, DISPATCH_METHOD, &none, nullptr, nullptr, nullptr), S_OK);
  EXPECT_EQ(thread_->status(), kalSRS_Aborting) << "Abort reached the save";
  EXPECT_EQ(Completion(), 0) << "and this progress object";
  thread_->SetError(STG_E_MEDIUMFULL);
  general->get_Status(&status);
  EXPECT_EQ(status, kalRPS_ErrorOccurred);
  ASSERT_EQ(general->Invoke(1, IID_NULL, 0, DISPATCH_PROPERTYGET, &none, &result, nullptr, nullptr),
            S_OK);
  EXPECT_EQ(result.lVal, STG_E_MEDIUMFULL);
}

}  // namespace
}  // namespace mlr::save::testing
