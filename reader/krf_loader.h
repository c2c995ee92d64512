// CKrfLoader: the creatable class `KrfLoader` (CLSID_KrfLoader,
// `IKrfLoader`). Its one method OpenRecording(FileName, Result) opens a
// legacy recording file (krf_recording.h) and returns it as IRecording.
//
// OpenRecording: E_POINTER for a null Result; otherwise *Result is null on
// failure and the status is the recording's open result (STG_E_FILENOTFOUND
// for a missing file or a file without "Data", the storage's status for a
// file that cannot be opened), else the result of the IRecording query.
//
// `CreateKrfLoader` is the class's creation routine (plain or aggregated,
// model/aggregation.h), which the component frame's class object for
// CLSID_KrfLoader calls. Loader objects count their own references, delete
// themselves at zero and hold the module while they live. Free-threaded;
// stateless.
#pragma once

#include "LegacyRecording.h"
#include "model/dispatch_tables.h"
#include "model/live_objects.h"
#include "platform/ref_count.h"
#include "platform/win.h"

class CKrfLoader : public mlr::model::DispatchImplFor<IKrfLoader> {
 public:
  CKrfLoader() = default;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  HRESULT STDMETHODCALLTYPE OpenRecording(BSTR FileName, IRecording** Result) override;

 protected:
  virtual ~CKrfLoader() = default;

 private:
  mlr::RefCount refs_{0};
  mlr::model::LiveObjectToken live_;
};

namespace mlr::reader {

// Creates a loader (aggregated when `outer` is not null) and returns its
// `riid` interface; the IClassFactory::CreateInstance contract.
HRESULT CreateKrfLoader(IUnknown* outer, REFIID riid, void** ppv);

// Builds a recording over an open root storage. With a read-only storage
// nothing is ever written (the upgrade of old files finds the storage
// read-only): inspection tools open the file STGM_READ and use this.
// *recording is null on failure; the status is the recording's open result
// (STG_E_FILENOTFOUND when "Data" is missing).
HRESULT OpenRecordingOnStorage(IStorage* root, IRecording** recording);

}  // namespace mlr::reader
