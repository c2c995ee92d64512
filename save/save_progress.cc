#include "save/save_progress.h"

#include <algorithm>

#include "model/query_interface.h"

namespace mlr::save {
namespace {

constexpr bool Same(kalRecordingProgressStatus general, kalSaveRecordingStatus save) {
  return static_cast<LONG>(general) == static_cast<LONG>(save);
}
static_assert(Same(kalRPS_Initializing, kalSRS_Initializing) &&
                  Same(kalRPS_ProcessingData, kalSRS_SavingData) &&
                  Same(kalRPS_Finalizing, kalSRS_Closing) && Same(kalRPS_Ready, kalSRS_Ready) &&
                  Same(kalRPS_ErrorOccurred, kalSRS_ErrorOccurred) &&
                  Same(kalRPS_Aborting, kalSRS_Aborting) && Same(kalRPS_Aborted, kalSRS_Aborted),
              "IRecordingProgress reports the save's status numbers unchanged");

constexpr int64_t kSizeLimit = 0x40000000;
constexpr DWORD kRecomputeMs = 1000;

bool TickReached(DWORD now, DWORD when) { return static_cast<LONG>(now - when) >= 0; }

struct Totals {
  int64_t estimated = 0, written = 0, to_allocate = 0, allocated = 0;
};

Totals Sum(const std::vector<CSaveObject*>& groups) {
  Totals t;
  for (const CSaveObject* g : groups) {
    t.estimated += g->EstimatedSize();
    t.written += g->BytesWritten();
    t.to_allocate += g->BytesToAllocate();
    t.allocated += g->BytesAllocated();
  }
  return t;
}

// Pushes a known estimate into the history and averages the known slots,
// rounding up.
LONG PushEstimate(CTimeLeftState& state, LONG estimate) {
  state.history[0] = state.history[1];
  state.history[1] = state.history[2];
  state.history[2] = estimate;
  LONG sum = 0, count = 0;
  for (LONG slot : state.history) {
    if (slot == -1) continue;
    sum += slot;
    ++count;
  }
  return (sum - 1) / count + 1;
}

}  // namespace

CSaveProgress::CSaveProgress(CMainSaveThread* thread)
    : thread_(thread) {
  if (thread_) thread_->AddRef();
}

CSaveProgress::~CSaveProgress() {
  if (!thread_) return;
  // Once the save has let go of its groups (it then only sets Ready and
  // drops its own reference), waiting for the thread makes this the last
  // reference, so the target is closed and stamped or deleted before the
  // client's Release returns.
  const bool finished = thread_->status() == kalSRS_Ready ||
                        thread_->WithGroups([](const std::vector<CSaveObject*>* groups,
                                               CTimeLeftState&) { return groups == nullptr; });
  if (finished) thread_->Join();
  thread_->Release();
}

HRESULT STDMETHODCALLTYPE CSaveProgress::QueryInterface(REFIID riid, void** ppv) {
  return mlr::model::AnswerQueryInterface(
      static_cast<ISaveRecordingProgress*>(this), {IID_ISaveRecordingProgress}, riid, ppv,
      {{IID_IRecordingProgress, static_cast<IRecordingProgress*>(&recording_progress_)}});
}

HRESULT STDMETHODCALLTYPE
CSaveProgress::RecordingProgressFace::get_Status(kalRecordingProgressStatus* pVal) {
  // Both status enumerations give every state the same number.
  kalSaveRecordingStatus status;
  const HRESULT hr = outer_->get_Status(pVal ? &status : nullptr);
  if (SUCCEEDED(hr)) *pVal = static_cast<kalRecordingProgressStatus>(status);
  return hr;
}

ULONG STDMETHODCALLTYPE CSaveProgress::AddRef() {
  return refs_.AddRef();
}

ULONG STDMETHODCALLTYPE CSaveProgress::Release() {
  const ULONG left = refs_.Release();
  if (left == 0) delete this;
  return left;
}

HRESULT STDMETHODCALLTYPE CSaveProgress::get_Status(kalSaveRecordingStatus* pVal) {
  if (!pVal) return E_POINTER;
  if (!thread_) {
    *pVal = kalSRS_Initializing;
  } else if (thread_->error() < 0) {
    *pVal = kalSRS_ErrorOccurred;
  } else {
    *pVal = static_cast<kalSaveRecordingStatus>(thread_->status());
  }
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CSaveProgress::get_ErrorCode(LONG* pVal) {
  if (!pVal) return E_POINTER;
  *pVal = thread_ ? thread_->error() : 0;
  return S_OK;
}

LONG CSaveProgress::Completion() const {
  const ULONG status = static_cast<ULONG>(thread_->status()) % 0x10000;
  return thread_->WithGroups([status](const std::vector<CSaveObject*>* groups, CTimeLeftState&) {
    const Totals t = groups ? Sum(*groups) : Totals{};
    LONG base = 0;
    if (status == kalSRS_SavingData || status == kalSRS_Closing) {
      base = 10;
    } else if (status == kalSRS_AllocatingDiskSpace) {
      // Allocation moves the bar from 0 to 10 on its own.
      LONG share = t.to_allocate != 0 ? static_cast<LONG>(10.0 * t.allocated / t.to_allocate) : 0;
      return std::clamp<LONG>(share, 0, 10);
    }
    if (t.estimated >= 1 && t.written > 0)
      base += static_cast<LONG>(89.0 * t.written / t.estimated);
    return groups ? base : 100;
  });
}

HRESULT STDMETHODCALLTYPE CSaveProgress::get_Completion(LONG* pVal) {
  if (!pVal) return E_POINTER;
  LONG value = thread_ ? std::min<LONG>(Completion(), 100) : 100;
  *pVal = aborted_.load(std::memory_order_acquire) ? 0 : value;
  return S_OK;
}

LONG CSaveProgress::ActiveTime() const {
  const DWORD seconds = (thread_->clock().Now() - thread_->work_start_tick()) / 1000;
  return std::max<LONG>(static_cast<LONG>(seconds), 0);
}

HRESULT STDMETHODCALLTYPE CSaveProgress::get_ActiveTime(LONG* pVal) {
  if (!pVal) return E_POINTER;
  *pVal = thread_ ? ActiveTime() : 0;
  return S_OK;
}

LONG CSaveProgress::TimeLeft() const {
  if (ActiveTime() < 10) return -1;
  const DWORD now = thread_->clock().Now();
  const DWORD data_start = thread_->data_start_tick();
  return thread_->WithGroups([&](const std::vector<CSaveObject*>* groups, CTimeLeftState& state) {
    if (!TickReached(now, state.next_tick)) return state.last;
    state.next_tick = now + kRecomputeMs;
    LONG estimate = 2;
    if (groups) {
      const Totals t = Sum(*groups);
      if (t.written == 0) {
        estimate = -1;
      } else {
        const DWORD elapsed = (now - data_start) / 1000;
        const double total = 1.05 * elapsed * static_cast<double>(t.estimated) / t.written;
        estimate = static_cast<LONG>(static_cast<int64_t>(total + 0.5) - elapsed + 2);
      }
    }
    if (estimate != -1) state.last = PushEstimate(state, estimate);
    return state.last;
  });
}

HRESULT STDMETHODCALLTYPE CSaveProgress::get_EstimatedTimeLeft(LONG* pVal) {
  if (!pVal) return E_POINTER;
  LONG value = thread_ ? std::max<LONG>(TimeLeft(), 0) : 0;
  *pVal = aborted_.load(std::memory_order_acquire) ? 0 : value;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CSaveProgress::Abort() {
  aborted_.store(1, std::memory_order_release);
  if (thread_) thread_->Abort();
  return S_OK;
}

void CSaveProgress::Sums(int64_t* estimated, int64_t* written) const {
  *estimated = *written = -1;
  if (!thread_) return;
  thread_->WithGroups([&](const std::vector<CSaveObject*>* groups, CTimeLeftState&) {
    if (!groups) return;
    // Each sum starts at -1: a known sum is one less than the total, which
    // clients have always seen.
    for (const CSaveObject* g : *groups) {
      *estimated += g->EstimatedSize();
      *written += g->BytesWritten();
    }
  });
}

namespace {

// The power of 1024 that brings `size` to at most 0x40000000, and the
// reduced size.
LONG ReduceSize(int64_t* size) {
  LONG multiplier = 1;
  while (*size > kSizeLimit) {
    *size /= 1024;
    multiplier *= 1024;
  }
  return multiplier;
}

}  // namespace

HRESULT STDMETHODCALLTYPE CSaveProgress::get_SizeMultiplier(LONG* pVal) {
  if (!pVal) return E_POINTER;
  int64_t estimated, written;
  Sums(&estimated, &written);
  *pVal = ReduceSize(&estimated);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CSaveProgress::get_EstimatedSize(LONG* pVal) {
  if (!pVal) return E_POINTER;
  int64_t estimated, written;
  Sums(&estimated, &written);
  ReduceSize(&estimated);
  *pVal = static_cast<LONG>(estimated);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CSaveProgress::get_BytesProcessed(LONG* pVal) {
  if (!pVal) return E_POINTER;
  int64_t estimated, written;
  Sums(&estimated, &written);
  const LONG multiplier = ReduceSize(&estimated);
  *pVal = written == -1 ? -1 : static_cast<LONG>(written / multiplier);
  return S_OK;
}

}  // namespace mlr::save
