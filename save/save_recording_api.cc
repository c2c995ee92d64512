// SaveRecording, the exported entry point of the saver: argument checks, the
// model, the target file, then StartSave (save/save_start.h).
//
//   1. E_POINTER for a null Result (else *Result is null until success);
//   2. E_INVALIDARG for an empty FileName, a null ChannelInfos or array, or
//      an option bit outside kalSRF_SkipReducedStream |
//      kalSRF_SkipAbsoluteTimeAlign | kalSRF_TriggeredSegmentOnly |
//      kalSRF_UseKSS; nothing is touched then;
//   3. the model (save/save_recording.h): E_INVALIDARG for an element that
//      is not a channel info, or no group or recording;
//   4. a file of that name loses its read-only and hidden attributes and is
//      deleted (through the KSS storage provider when it can be created);
//   5. the root storage: with kalSRF_UseKSS the provider's create-storage
//      (mode 0x24701; a provider that cannot be created fails the call),
//      otherwise StgCreateDocfile with STGM_CREATE | STGM_SHARE_EXCLUSIVE |
//      STGM_READWRITE; its failure is the call's;
//   6. StartSave. A failure after step 5 leaves the created file.
#include "platform/strings.h"
#include <memory>
#include <new>

#include "LegacyRecording.h"
#include "platform/com_ptr.h"
#include "platform/serialised_storage.h"
#include "reader/kss_storage_provider.h"
#include "save/save_recording.h"
#include "save/save_start.h"
#include "save/target_file.h"

namespace {

constexpr LONG kAllowedOptions = kalSRF_SkipReducedStream | kalSRF_SkipAbsoluteTimeAlign |
                                 kalSRF_TriggeredSegmentOnly | kalSRF_UseKSS;
constexpr LONG kKssCreateMode = 0x24701;

HRESULT CreateRoot(BSTR file_name, LONG options, IStorage** root) {
  if (options & kalSRF_UseKSS) {
    mlr::ComPtr<IKssStorageProvider> provider;
    HRESULT hr = mlr::reader::CreateKssStorageProvider(provider.put());
    if (FAILED(hr)) return hr;
    return provider->CreateStorage(file_name, kKssCreateMode, root);
  }
  return StgCreateDocfile(file_name, STGM_CREATE | STGM_SHARE_EXCLUSIVE | STGM_READWRITE, 0, root);
}

}  // namespace

namespace mlr::save {

HRESULT SaveRecordingWithClock(BSTR FileName, SAFEARRAY** ChannelInfos, double StartTime,
                               double EndTime, LONG Options, const CSaveClock& clock,
                               ISaveRecordingProgress** Result) {
  if (!Result) return E_POINTER;
  *Result = nullptr;
  if (SysStringLen(FileName) == 0 || !ChannelInfos || !*ChannelInfos ||
      (Options & ~kAllowedOptions) != 0) {
    return E_INVALIDARG;
  }
  try {
    auto model = std::make_unique<CSaveRecording>();
    HRESULT hr = model->AddChannels(*ChannelInfos);
    if (FAILED(hr)) return hr;
    model->SetOptions(Options);
    model->SetSpan(StartTime, EndTime);
    if (model->recording_count() == 0 || model->groups().empty()) return E_INVALIDARG;

    const mlr::OleString name(FileName, SysStringLen(FileName));
    SetFileAttributesA(AnsiFileName(name).c_str(), FILE_ATTRIBUTE_NORMAL);
    DeleteTargetFile(name);

    mlr::ComPtr<IStorage> created, root;
    hr = CreateRoot(FileName, Options, created.put());
    if (FAILED(hr)) return hr;
    // The save's threads write the file at once.
    hr = mlr::StorageForThreads(created.get(), root.put());
    if (FAILED(hr)) return hr;
    return StartSave(name.c_str(), root.get(), std::move(model), clock, Result);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

}  // namespace mlr::save

HRESULT STDAPICALLTYPE SaveRecording(BSTR FileName, SAFEARRAY** ChannelInfos, double StartTime,
                                     double EndTime, kalSaveRecordingFlags Options,
                                     ISaveRecordingProgress** Result) {
  return mlr::save::SaveRecordingWithClock(FileName, ChannelInfos, StartTime, EndTime, Options,
                                           mlr::save::SystemSaveClock(), Result);
}
