// CSaveProgress: the progress object of a save (coclass
// SaveRecordingProgress, ISaveRecordingProgress), polled by the client while
// the save runs on its own threads. It also answers IRecordingProgress, the
// type library's general progress interface, with the same members and
// dispatch identifiers (its status values are the same numbers); IUnknown and
// IDispatch are those of ISaveRecordingProgress.
//
// Every property returns E_POINTER for a null out pointer, else S_OK. Without
// a main save thread: Status Initializing, ErrorCode 0, Completion 100,
// EstimatedTimeLeft 0, ActiveTime 0, sums unknown (-1).
//
//   Status       ErrorOccurred while the save's error code is negative, else
//                the status word.
//   Completion   from the status word s (modulo 0x10000): AllocatingDiskSpace
//                gives 10 x allocated / to-allocate (0..10) alone; SavingData
//                and Closing start at 10, other states at 0, and add
//                89 x written / estimated when both are known; a finished
//                save (no group list) is 100. Capped at 100; 0 once Abort
//                was called here. The 89 keeps the bar below 100 until the
//                end.
//   EstimatedTimeLeft  0 while ActiveTime < 10 s. Otherwise, at most once a
//                second: with e whole seconds since phase 4 began, the
//                estimate is round(1.05 x e x estimated / written) - e + 2
//                (2 once the save has finished, unknown while nothing is
//                written); a known estimate enters a history of three, whose
//                known slots are averaged rounding up. Between recomputations
//                the last result. Never negative; 0 once Abort was called.
//   ActiveTime   whole seconds since the work started (unsigned tick
//                arithmetic).
//   SizeMultiplier, EstimatedSize, BytesProcessed  sums over the groups that
//                start at -1 (so a known sum is one less than the total;
//                -1 without a group list): the multiplier is the power of
//                1024 that brings the estimated sum to at most 0x40000000,
//                EstimatedSize that reduced sum, BytesProcessed the written
//                sum divided by the multiplier.
//   Abort        sets this object's abort flag and the thread's stop flag and
//                status Aborting; returns at once. The save then ends with
//                Ready and deletes its target.
//
// Lifetime: holds a reference to the main save thread (which keeps running
// when the progress object goes). Released once the save has ended (status
// Ready, or ErrorOccurred with Completion 100), it waits for the thread's
// last instructions, so that the target file is closed and time-stamped, or
// deleted, when the last Release returns. Counts its own references; deletes itself
// at zero. Threading: free-threaded; the properties read the thread's state
// as save/main_save_thread.h describes.
#pragma once

#include <atomic>
#include <cstdint>

#include "LegacyRecording.h"
#include "model/dispatch_tables.h"
#include "platform/ref_count.h"
#include "platform/win.h"
#include "save/main_save_thread.h"

namespace mlr::save {

class CSaveProgress final : public mlr::model::DispatchImplFor<ISaveRecordingProgress> {
 public:
  // `thread` may be null; a reference is taken. The reference count starts
  // at 0.
  explicit CSaveProgress(CMainSaveThread* thread);

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  HRESULT STDMETHODCALLTYPE get_Status(kalSaveRecordingStatus* pVal) override;
  HRESULT STDMETHODCALLTYPE get_ErrorCode(LONG* pVal) override;
  HRESULT STDMETHODCALLTYPE get_Completion(LONG* pVal) override;
  HRESULT STDMETHODCALLTYPE get_EstimatedTimeLeft(LONG* pVal) override;
  HRESULT STDMETHODCALLTYPE get_ActiveTime(LONG* pVal) override;
  HRESULT STDMETHODCALLTYPE Abort() override;
  HRESULT STDMETHODCALLTYPE get_SizeMultiplier(LONG* pVal) override;
  HRESULT STDMETHODCALLTYPE get_EstimatedSize(LONG* pVal) override;
  HRESULT STDMETHODCALLTYPE get_BytesProcessed(LONG* pVal) override;

 private:
  // IRecordingProgress of the object: every member forwards to the
  // ISaveRecordingProgress member of the same name.
  class RecordingProgressFace final : public mlr::model::DispatchImplFor<IRecordingProgress> {
   public:
    explicit RecordingProgressFace(CSaveProgress* outer) : outer_(outer) {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
      return outer_->QueryInterface(riid, ppv);
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return outer_->AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return outer_->Release(); }
    HRESULT STDMETHODCALLTYPE get_Status(kalRecordingProgressStatus* pVal) override;
    HRESULT STDMETHODCALLTYPE get_ErrorCode(LONG* pVal) override { return outer_->get_ErrorCode(pVal); }
    HRESULT STDMETHODCALLTYPE get_Completion(LONG* pVal) override {
      return outer_->get_Completion(pVal);
    }
    HRESULT STDMETHODCALLTYPE get_EstimatedTimeLeft(LONG* pVal) override {
      return outer_->get_EstimatedTimeLeft(pVal);
    }
    HRESULT STDMETHODCALLTYPE get_ActiveTime(LONG* pVal) override {
      return outer_->get_ActiveTime(pVal);
    }
    HRESULT STDMETHODCALLTYPE Abort() override { return outer_->Abort(); }
    HRESULT STDMETHODCALLTYPE get_SizeMultiplier(LONG* pVal) override {
      return outer_->get_SizeMultiplier(pVal);
    }
    HRESULT STDMETHODCALLTYPE get_EstimatedSize(LONG* pVal) override {
      return outer_->get_EstimatedSize(pVal);
    }
    HRESULT STDMETHODCALLTYPE get_BytesProcessed(LONG* pVal) override {
      return outer_->get_BytesProcessed(pVal);
    }

   private:
    CSaveProgress* const outer_;
  };

  ~CSaveProgress();
  LONG Completion() const;
  LONG TimeLeft() const;
  LONG ActiveTime() const;
  // The estimated-size and bytes-written sums (-1 = unknown).
  void Sums(int64_t* estimated, int64_t* written) const;

  CMainSaveThread* thread_;
  std::atomic<LONG> aborted_{0};
  mlr::RefCount refs_{0};
  RecordingProgressFace recording_progress_{this};
};

}  // namespace mlr::save
