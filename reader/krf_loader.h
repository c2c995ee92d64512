// CKrfLoader: the creatable class `KrfLoader` (CLSID_KrfLoader,
// `IKrfLoader`). Its one method OpenRecording(FileName, Result) opens a
// legacy recording file (krf_recording.h) and returns it as IRecording.
//
// OpenRecording: E_POINTER for a null Result; otherwise *Result is null on
// failure and the status is the recording's open result (STG_E_FILENOTFOUND
// for a missing file or a file without "Data", the storage's status for a
// file that cannot be opened), else the result of the IRecording query.
//
// `CreateKrfLoaderClassObject` hands out the class object (an
// IClassFactory, static, never deleted) that the exported DllGetClassObject
// serves for CLSID_KrfLoader. Loader objects count their own references and
// delete themselves at zero. Free-threaded; stateless.
#pragma once

#include <atomic>

#include "LegacyRecording.h"
#include "model/dispatch_tables.h"
#include "platform/export.h"
#include "platform/win.h"

class CKrfLoader : public mlr::model::DispatchImplFor<IKrfLoader> {
 public:
  CKrfLoader() = default;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  HRESULT STDMETHODCALLTYPE OpenRecording(BSTR FileName, IRecording** Result) override;

 private:
  virtual ~CKrfLoader() = default;
  std::atomic<ULONG> refs_{0};
};

// The exported class-object entry point (reader/dll_get_class_object.cc).
MLR_API HRESULT DllGetClassObject(REFCLSID rclsid, REFIID riid, LPVOID* ppv);

namespace mlr::reader {

// The KrfLoader class object, queried for `riid`.
HRESULT GetKrfLoaderClassObject(REFIID riid, void** ppv);

// Builds a recording over an open root storage. With a read-only storage
// nothing is ever written (the upgrade of old files finds the storage
// read-only): inspection tools open the file STGM_READ and use this.
// *recording is null on failure; the status is the recording's open result
// (STG_E_FILENOTFOUND when "Data" is missing).
HRESULT OpenRecordingOnStorage(IStorage* root, IRecording** recording);

}  // namespace mlr::reader
