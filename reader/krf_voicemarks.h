// Voice marks: CKrfVoicemarks (`IVoiceMarks`), the collection of a
// recording's recorded sound notes, and CKrfVoicemark (`IVoiceMark`), one
// note. Read-only: `Add`, `Remove` and `Append` answer E_NOTIMPL.
//
// The collection is made by the recording on the first request and opens
// "Data/Voicemarks" with the recording's mode then (a missing storage gives
// an empty collection). Its table ("Intern01") is read once under the
// collection's lock; each mark's sound stream "Voicemark<v>" is opened once,
// under the same lock, by the first member that needs it (Length, Channels,
// SamplesPerSec, BitsPerSample, GetData).
//
// Collection members: Item(Index) (1-based, the mark as IUnknown; out of
// range S_OK with null), Parent (the recording), Count, GetIndicesFromTime
// (the 1-based range of marks, in table order, whose Time lies in
// [StartTime, EndTime]; -1, -1 when none), _NewEnum.
//
// GetData(FirstSample, Count, Result): E_POINTER for a null Result, which is
// emptied first; E_OUTOFMEMORY when the mark's stream cannot be opened (the
// status this component has always reported there); E_INVALIDARG for
// FirstSample below 1; Count is cut to Length - FirstSample + 1 when
// FirstSample + Count >= Length; a Count below 1 gives S_OK with the empty
// VARIANT. Otherwise an array of Count x bytes-per-frame elements (VT_I1 for
// 8-bit sound, else VT_I2; a vector from 0 for mono, else channels x
// elements from 1) whose first Count x bytes-per-frame bytes are the sound
// bytes from (FirstSample - 1) x bytes-per-frame; for 16-bit sound the rest
// of the array stays zero.
//
// Ownership: the recording owns the collection (and deletes it first when
// it goes); the collection owns its records and streams. Item objects are
// made on each request, count their own references, delete themselves at
// zero and pass every AddRef/Release on to the collection, whose counts go
// to the recording. Free-threaded.
#pragma once

#include <mutex>
#include <vector>

#include "LegacyRecording.h"
#include "model/dispatch_tables.h"
#include "model/owned_ref_count.h"
#include "platform/com_ptr.h"
#include "platform/win.h"
#include "reader/side_records.h"

class CKrfRecording;
class CKrfVoicemarks;

class CKrfVoicemark : public mlr::model::DispatchImplFor<IVoiceMark> {
 public:
  CKrfVoicemark(CKrfVoicemarks* owner, LONG index);

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  HRESULT STDMETHODCALLTYPE get_Time(double* pVal) override;
  HRESULT STDMETHODCALLTYPE get_Index(LONG* pVal) override;
  HRESULT STDMETHODCALLTYPE get_Parent(IVoiceMarks** pVal) override;
  HRESULT STDMETHODCALLTYPE get_Length(LONG* pVal) override;
  HRESULT STDMETHODCALLTYPE get_Channels(LONG* pVal) override;
  HRESULT STDMETHODCALLTYPE get_SamplesPerSec(LONG* pVal) override;
  HRESULT STDMETHODCALLTYPE get_BitsPerSample(LONG* pVal) override;
  HRESULT STDMETHODCALLTYPE Remove() override;
  HRESULT STDMETHODCALLTYPE Append(VARIANT Data) override;
  HRESULT STDMETHODCALLTYPE GetData(LONG FirstSample, LONG Count, VARIANT* Result) override;

 private:
  virtual ~CKrfVoicemark() = default;
  HRESULT Field(LONG* pVal, uint32_t mlr::reader::VoicemarkRecord::*field);

  mlr::model::ItemRefCount<CKrfVoicemarks> refs_;
  const LONG index_;
};

class CKrfVoicemarks : public mlr::model::DispatchImplFor<IVoiceMarks> {
 public:
  // Opens "Voicemarks" in `data_storage` with `mode`.
  CKrfVoicemarks(CKrfRecording* recording, IStorage* data_storage, DWORD mode);
  virtual ~CKrfVoicemarks();

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  HRESULT STDMETHODCALLTYPE get_Item(LONG Index, IUnknown** pVal) override;
  HRESULT STDMETHODCALLTYPE get_Parent(IRecording** pVal) override;
  HRESULT STDMETHODCALLTYPE get_Count(LONG* pVal) override;
  HRESULT STDMETHODCALLTYPE GetIndicesFromTime(double StartTime, double EndTime, LONG* First,
                                               LONG* Last) override;
  HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** pVal) override;
  HRESULT STDMETHODCALLTYPE Add(double dTime, LONG SamplesPerSecond, LONG BitsPerChannel,
                                LONG Channels, IVoiceMark** Voicemark) override;

  // The record of mark `index` (1-based); false outside 1..Count.
  bool Record(LONG index, mlr::reader::VoicemarkRecord* record);
  // The mark's sound stream, opened on first need (null when it cannot be).
  // The caller serialises its use with `data_lock()`.
  IStream* DataStream(LONG index);
  std::mutex& data_lock() { return data_lock_; }

  void ReleaseStorages();

 private:
  void EnsureTableLocked();

  struct Mark {
    mlr::reader::VoicemarkRecord record;
    mlr::ComPtr<IStream> stream;
    bool stream_tried = false;
  };

  CKrfRecording* const recording_;
  const DWORD mode_;
  std::recursive_mutex lock_;
  std::mutex data_lock_;
  mlr::ComPtr<IStorage> storage_;
  bool loaded_ = false;
  std::vector<Mark> marks_;
  mlr::model::ChildRefCount<CKrfRecording> refs_;
};
