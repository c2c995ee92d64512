#include "save/save_start.h"

#include <new>

#include "platform/com_ptr.h"
#include "save/main_save_thread.h"
#include "save/save_progress.h"

namespace mlr::save {

constexpr DWORD kSettleMs = 20;

HRESULT StartSave(const OLECHAR* file_name, IStorage* root, std::unique_ptr<CSaveModel> model,
                  const CSaveClock& clock, ISaveRecordingProgress** result,
                  CMainSaveThread** thread_out) {
  if (!result) return E_POINTER;
  *result = nullptr;
  if (!root || !model) return E_INVALIDARG;
  ComPtr<IStorage> data;
  HRESULT hr = root->CreateStorage(OLESTR("Data"),
                                   STGM_CREATE | STGM_SHARE_EXCLUSIVE | STGM_READWRITE, 0, 0,
                                   data.put());
  if (FAILED(hr)) return hr;
  CSaveProgress* progress = nullptr;
  try {
    auto* thread = new CMainSaveThread(file_name, root, data.get(), std::move(model), clock);
    progress = new (std::nothrow) CSaveProgress(thread);
    if (!progress) {
      thread->AddRef();
      thread->Release();
      return E_OUTOFMEMORY;
    }
    progress->AddRef();
    if (thread_out) *thread_out = thread;
    hr = thread->Init();
    if (SUCCEEDED(hr) && !thread->Launch()) hr = E_FAIL;
  } catch (const std::bad_alloc&) {
    hr = E_OUTOFMEMORY;
  }
  if (FAILED(hr)) {
    if (progress) progress->Release();
    return hr;
  }
  Sleep(kSettleMs);
  hr = progress->QueryInterface(IID_ISaveRecordingProgress, reinterpret_cast<void**>(result));
  progress->Release();
  return hr;
}

}  // namespace mlr::save
