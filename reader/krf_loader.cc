#include "reader/krf_loader.h"

#include <new>

#include "model/aggregation.h"
#include "model/query_interface.h"
#include "platform/com_ptr.h"
#include "platform/error_info.h"
#include "platform/strings.h"
#include "reader/krf_recording.h"

HRESULT STDMETHODCALLTYPE CKrfLoader::QueryInterface(REFIID riid, void** ppv) {
  return mlr::model::AnswerQueryInterface(static_cast<IKrfLoader*>(this), {IID_IKrfLoader}, riid, ppv);
}

ULONG STDMETHODCALLTYPE CKrfLoader::AddRef() {
  return refs_.AddRef();
}

ULONG STDMETHODCALLTYPE CKrfLoader::Release() {
  const ULONG left = refs_.Release();
  if (left == 0) delete this;
  return left;
}

namespace {

HRESULT FinishOpen(CKrfRecording* recording, IRecording** Result) {
  const HRESULT open = recording->open_result();
  if (FAILED(open)) {
    recording->Release();
    return open;
  }
  const HRESULT hr = recording->QueryInterface(IID_IRecording, reinterpret_cast<void**>(Result));
  recording->Release();
  return hr;
}

}  // namespace

HRESULT STDMETHODCALLTYPE CKrfLoader::OpenRecording(BSTR FileName, IRecording** Result) {
  if (!Result) return E_POINTER;
  *Result = nullptr;
  try {
    const HRESULT hr = FinishOpen(CKrfRecording::Open(FileName ? FileName : OLESTR("")), Result);
    if (hr == STG_E_FILENOTFOUND || hr == STG_E_PATHNOTFOUND) {
      // Script clients show this text.
      const std::string text = "The file was not found: " + mlr::ToUtf8(FileName);
      return mlr::ReportErrorUtf8(hr, IID_IKrfLoader, "movaLegacyRecording", text.c_str());
    }
    return hr;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

namespace mlr::reader {

HRESULT CreateKrfLoader(IUnknown* outer, REFIID riid, void** ppv) {
  return model::CreateInstance<CKrfLoader>(outer, riid, ppv);
}

HRESULT OpenRecordingOnStorage(IStorage* root, IRecording** recording) {
  if (!recording) return E_POINTER;
  *recording = nullptr;
  if (!root) return E_INVALIDARG;
  try {
    return FinishOpen(CKrfRecording::OpenStorage(root), recording);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

}  // namespace mlr::reader
