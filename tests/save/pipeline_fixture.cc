#include "pipeline_fixture.h"

#include <chrono>
#include <thread>

#include "platform/strings.h"
#include "save/save_start.h"
#include "save/save_threads.h"

namespace mlr::save::testing {

void ManualClock::Pause(DWORD ms) const {
  std::lock_guard<std::mutex> lock(mutex_);
  pauses_.push_back(ms);
  now_.fetch_add(ms);
}

std::vector<DWORD> ManualClock::Pauses() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return pauses_;
}

std::vector<std::string> CallLog::With(const std::string& prefix) const {
  std::vector<std::string> out;
  for (const std::string& line : Lines())
    if (line.compare(0, prefix.size(), prefix) == 0) out.push_back(line);
  return out;
}

HRESULT TestGroup::CreateStorage(IStorage* data) {
  log_->Add("create " + std::to_string(number_));
  ComPtr<IStorage> storage;
  const std::u16string name = u"ChGroup" + ToUtf16(std::to_string(number_).c_str());
  const DWORD mode = STGM_CREATE | STGM_SHARE_EXCLUSIVE | STGM_READWRITE;
  HRESULT hr = data->CreateStorage(name.c_str(), mode, 0, 0, storage.put());
  if (SUCCEEDED(hr)) hr = storage->CreateStream(OLESTR("MuxData02"), mode, 0, 0, stream_.put());
  return hr;
}

void TestGroup::Phase(ULONG phase, const CSaveStopSource& caller) {
  const auto* thread = dynamic_cast<const CThreadBase*>(&caller);
  const std::string name = thread ? thread->name() : "?";
  const LONG status = log_->thread ? log_->thread->status() : -1;
  log_->Add("phase " + std::to_string(static_cast<LONG>(phase)) + " group " +
            std::to_string(number_) + " status " + std::to_string(status) + " on " + name);
  if (phase == block_phase) {
    log_->blocked = number_;
    while (!caller.StopRequested()) std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  if (phase == fail_phase) {
    HRESULT expected = S_OK;
    error_.compare_exchange_strong(expected, fail_code);
    return;
  }
  if (phase == kSavePhaseData && stream_) {
    log_->Add("writer " + std::to_string(number_) + " " +
              (static_cast<CWriterThread*>(writer_)->started() ? "1" : "0"));
    estimated = static_cast<int64_t>(bytes_per_save);
    SAFEARRAY* data = SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(bytes_per_save));
    auto* p = static_cast<unsigned char*>(data->pvData);
    for (size_t i = 0; i < bytes_per_save; ++i) p[i] = static_cast<unsigned char>(number_ + i);
    writer_->Submit(std::make_unique<CSaveWriteJob>(stream_.get(), data, bytes_per_save));
    written = static_cast<int64_t>(bytes_per_save);
  }
}

void TestGroup::Close() {
  log_->Add("close " + std::to_string(number_));
  if (stream_ && error_.load() >= 0) stream_->Commit(STGC_DEFAULT);
  stream_ = nullptr;
}

TestGroup* TestModel::Add(ULONG recording) {
  owned_.push_back(std::make_unique<TestGroup>(static_cast<ULONG>(owned_.size() + 1), recording, log_));
  view_.push_back(owned_.back().get());
  return owned_.back().get();
}

HRESULT TestModel::Align(DATE* out) {
  log_->Add("align");
  *out = file_time;
  return S_OK;
}

HRESULT TestModel::Gather() {
  log_->Add("gather status " + std::to_string(log_->thread->status()));
  return S_OK;
}

HRESULT TestModel::WriteRecording(IStorage* root, IStorage* data) {
  log_->Add(std::string("records status ") + std::to_string(log_->thread->status()) +
            (root && data ? " storages" : " none"));
  return S_OK;
}

void PipelineTest::SetUp() {
  reader::test::ReaderTest::SetUp();
  target_ = Path("target.krf");
}

ComPtr<ISaveRecordingProgress> PipelineTest::Start(std::unique_ptr<TestModel> model,
                                                   CallLog* log, const CSaveClock& clock) {
  const std::u16string wide = ToUtf16(target_.c_str());
  ComPtr<IStorage> root;
  EXPECT_EQ(StgCreateDocfile(wide.c_str(), STGM_CREATE | STGM_SHARE_EXCLUSIVE | STGM_READWRITE,
                             0, root.put()),
            S_OK);
  ComPtr<ISaveRecordingProgress> progress;
  EXPECT_EQ(StartSave(wide.c_str(), root.get(), std::move(model), clock, progress.put(),
                      &(log ? log : &log_)->thread),
            S_OK);
  return progress;
}

void WaitForEnd(ISaveRecordingProgress* progress, kalSaveRecordingStatus* status, LONG* error) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  for (;;) {
    LONG completion = 0;
    progress->get_Status(status);
    progress->get_Completion(&completion);
    if (*status == kalSRS_Ready || (*status == kalSRS_ErrorOccurred && completion == 100)) break;
    if (std::chrono::steady_clock::now() > deadline) {
      ADD_FAILURE() << "the save did not end";
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  progress->get_ErrorCode(error);
}

}  // namespace mlr::save::testing
