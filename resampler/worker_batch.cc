#include "resampler/worker_batch.h"

namespace mlr::resampler {
namespace {

void Work(WorkerRecord* record) {
  record->produced =
      record->group->Produce(record->wanted, record->analog.data(), record->events.data());
}

DWORD WINAPI WorkerMain(LPVOID parameter) {
  const HRESULT apartment = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  Work(static_cast<WorkerRecord*>(parameter));
  if (SUCCEEDED(apartment)) CoUninitialize();
  return 0;
}

}  // namespace

void RunBatch(WorkerRecord* records, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    WorkerRecord& r = records[i];
    r.analog.assign(static_cast<size_t>(r.wanted) * static_cast<size_t>(r.group->analog_count()),
                    0.0f);
    r.events.assign(static_cast<size_t>(r.wanted) * static_cast<size_t>(r.group->event_count()),
                    0);
    r.produced = 0;
  }
  HANDLE threads[kMaxBatchThreads];
  DWORD running = 0;
  for (size_t i = 0; i < count; ++i) {
    records[i].thread = CreateThread(nullptr, 0, &WorkerMain, &records[i], 0, nullptr);
    if (records[i].thread) {
      threads[running++] = records[i].thread;
    } else {
      Work(&records[i]);
    }
  }
  if (running > 0) WaitForMultipleObjects(running, threads, TRUE, INFINITE);
  for (size_t i = 0; i < count; ++i) {
    if (records[i].thread) CloseHandle(records[i].thread);
    records[i].thread = nullptr;
  }
}

}  // namespace mlr::resampler
