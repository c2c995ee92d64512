#include "platform/strings.h"
#include "reader/krf_voicemarks.h"

#include <new>

#include "model/com_enum.h"
#include "reader/krf_format.h"
#include "reader/krf_recording.h"
#include "reader/stream_io.h"

using mlr::ComPtr;
namespace rd = mlr::reader;

// --- CKrfVoicemark -----------------------------------------------------------

CKrfVoicemark::CKrfVoicemark(CKrfVoicemarks* owner, LONG index) : refs_(owner), index_(index) {}

HRESULT STDMETHODCALLTYPE CKrfVoicemark::QueryInterface(REFIID riid, void** ppv) {
  if (!ppv) return E_POINTER;
  *ppv = nullptr;
  if (riid == IID_IUnknown || riid == IID_IDispatch || riid == IID_ITimemark ||
      riid == IID_IVoiceMark) {
    *ppv = static_cast<IVoiceMark*>(this);
    AddRef();
    return S_OK;
  }
  return E_NOINTERFACE;
}

ULONG STDMETHODCALLTYPE CKrfVoicemark::AddRef() { return refs_.AddRef(); }
ULONG STDMETHODCALLTYPE CKrfVoicemark::Release() {
  return refs_.Release([this] { delete this; });
}

HRESULT CKrfVoicemark::Field(LONG* pVal, uint32_t rd::VoicemarkRecord::*field) {
  if (!pVal) return E_POINTER;
  *pVal = 0;
  rd::VoicemarkRecord record;
  if (!refs_.owner()->Record(index_, &record)) return E_FAIL;
  (void)refs_.owner()->DataStream(index_);  // these members open the sound stream first
  *pVal = static_cast<LONG>(record.*field);
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CKrfVoicemark::get_Time(double* pVal) {
  if (!pVal) return E_POINTER;
  *pVal = 0;
  rd::VoicemarkRecord record;
  if (!refs_.owner()->Record(index_, &record)) return E_FAIL;
  *pVal = record.time;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CKrfVoicemark::get_Index(LONG* pVal) {
  if (!pVal) return E_POINTER;
  *pVal = index_;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CKrfVoicemark::get_Parent(IVoiceMarks** pVal) {
  if (!pVal) return E_POINTER;
  *pVal = nullptr;
  return refs_.owner()->QueryInterface(IID_IVoiceMarks, reinterpret_cast<void**>(pVal));
}

HRESULT STDMETHODCALLTYPE CKrfVoicemark::get_Length(LONG* pVal) {
  return Field(pVal, &rd::VoicemarkRecord::length);
}
HRESULT STDMETHODCALLTYPE CKrfVoicemark::get_Channels(LONG* pVal) {
  return Field(pVal, &rd::VoicemarkRecord::channels);
}
HRESULT STDMETHODCALLTYPE CKrfVoicemark::get_SamplesPerSec(LONG* pVal) {
  return Field(pVal, &rd::VoicemarkRecord::samples_per_sec);
}
HRESULT STDMETHODCALLTYPE CKrfVoicemark::get_BitsPerSample(LONG* pVal) {
  return Field(pVal, &rd::VoicemarkRecord::bits_per_sample);
}
HRESULT STDMETHODCALLTYPE CKrfVoicemark::Remove() { return E_NOTIMPL; }
HRESULT STDMETHODCALLTYPE CKrfVoicemark::Append(VARIANT) { return E_NOTIMPL; }

HRESULT STDMETHODCALLTYPE CKrfVoicemark::GetData(LONG FirstSample, LONG Count, VARIANT* Result) {
  if (!Result) return E_POINTER;
  VariantInit(Result);
  CKrfVoicemarks* owner = refs_.owner();
  rd::VoicemarkRecord record;
  IStream* stream = owner->DataStream(index_);
  if (!stream || !owner->Record(index_, &record)) return E_OUTOFMEMORY;
  if (FirstSample < 1) return E_INVALIDARG;
  const int64_t length = record.length;
  int64_t count = Count;
  if (static_cast<int64_t>(FirstSample) + count >= length) count = length - FirstSample + 1;
  if (count < 1) return S_OK;
  const uint32_t bits = record.bits_per_sample;
  const uint64_t frame_bytes =
      static_cast<uint64_t>(record.channels) * ((bits == 0 ? 0 : (bits - 1) / 8) + 1);
  const uint64_t elements = static_cast<uint64_t>(count) * frame_bytes;
  if (elements == 0 || elements > 0x7FFFFFFF) return E_OUTOFMEMORY;
  const VARTYPE vt = bits <= 8 ? VT_I1 : VT_I2;
  SAFEARRAY* array;
  if (record.channels == 1) {
    array = SafeArrayCreateVector(vt, 0, static_cast<ULONG>(elements));
  } else {
    SAFEARRAYBOUND bounds[2];
    bounds[0].cElements = record.channels;
    bounds[0].lLbound = 1;
    bounds[1].cElements = static_cast<ULONG>(elements);
    bounds[1].lLbound = 1;
    array = SafeArrayCreate(vt, 2, bounds);
  }
  if (!array) return E_OUTOFMEMORY;
  void* data = nullptr;
  if (SUCCEEDED(SafeArrayAccessData(array, &data))) {
    std::lock_guard<std::mutex> hold(owner->data_lock());
    size_t got = 0;
    if (SUCCEEDED(rd::SeekTo(stream, static_cast<uint64_t>(FirstSample - 1) * frame_bytes))) {
      (void)rd::ReadFully(stream, data, static_cast<size_t>(elements), &got);
    }
    SafeArrayUnaccessData(array);
  }
  Result->vt = static_cast<VARTYPE>(VT_ARRAY | vt);
  Result->parray = array;
  return S_OK;
}

// --- CKrfVoicemarks ----------------------------------------------------------

CKrfVoicemarks::CKrfVoicemarks(CKrfRecording* recording, IStorage* data_storage, DWORD mode)
    : recording_(recording), mode_(mode), refs_(recording) {
  if (data_storage) {
    (void)data_storage->OpenStorage(rd::kVoicemarksStorage, nullptr, mode, nullptr, 0,
                                    storage_.put());
  }
}

CKrfVoicemarks::~CKrfVoicemarks() = default;

HRESULT STDMETHODCALLTYPE CKrfVoicemarks::QueryInterface(REFIID riid, void** ppv) {
  if (!ppv) return E_POINTER;
  *ppv = nullptr;
  if (riid == IID_IUnknown || riid == IID_IDispatch || riid == IID_ITimemarks ||
      riid == IID_IVoiceMarks) {
    *ppv = static_cast<IVoiceMarks*>(this);
    AddRef();
    return S_OK;
  }
  return E_NOINTERFACE;
}

ULONG STDMETHODCALLTYPE CKrfVoicemarks::AddRef() { return refs_.AddRef(); }
ULONG STDMETHODCALLTYPE CKrfVoicemarks::Release() { return refs_.Release(); }

void CKrfVoicemarks::EnsureTableLocked() {
  if (loaded_) return;
  loaded_ = true;
  if (!storage_) return;
  std::vector<uint8_t> bytes;
  rd::ReadNamedStream(storage_.get(), rd::kInternStream, mode_, &bytes);
  for (const rd::VoicemarkRecord& r : rd::DecodeVoicemarks(bytes.data(), bytes.size())) {
    marks_.push_back(Mark{r, nullptr, false});
  }
}

bool CKrfVoicemarks::Record(LONG index, rd::VoicemarkRecord* record) {
  std::lock_guard<std::recursive_mutex> hold(lock_);
  EnsureTableLocked();
  if (index < 1 || static_cast<size_t>(index) > marks_.size()) return false;
  *record = marks_[static_cast<size_t>(index - 1)].record;
  return true;
}

IStream* CKrfVoicemarks::DataStream(LONG index) {
  std::lock_guard<std::recursive_mutex> hold(lock_);
  EnsureTableLocked();
  if (index < 1 || static_cast<size_t>(index) > marks_.size()) return nullptr;
  Mark& mark = marks_[static_cast<size_t>(index - 1)];
  if (!mark.stream_tried && storage_) {
    mark.stream_tried = true;
    const mlr::OleString name = rd::FormatName(rd::kVoicemarkPattern, mark.record.stream_number);
    (void)storage_->OpenStream(name.c_str(), nullptr, mode_, 0, mark.stream.put());
  }
  return mark.stream.get();
}

void CKrfVoicemarks::ReleaseStorages() {
  std::lock_guard<std::recursive_mutex> hold(lock_);
  std::lock_guard<std::mutex> data(data_lock_);
  for (Mark& m : marks_) {
    m.stream.reset();
    m.stream_tried = true;
  }
  storage_.reset();
  loaded_ = true;
}

HRESULT STDMETHODCALLTYPE CKrfVoicemarks::get_Item(LONG Index, IUnknown** pVal) {
  if (!pVal) return E_POINTER;
  *pVal = nullptr;
  try {
    {
      std::lock_guard<std::recursive_mutex> hold(lock_);
      EnsureTableLocked();
      if (Index < 1 || static_cast<size_t>(Index) > marks_.size()) return S_OK;
    }
    CKrfVoicemark* mark = new CKrfVoicemark(this, Index);
    mark->AddRef();
    const HRESULT hr = mark->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(pVal));
    mark->Release();
    return hr;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

HRESULT STDMETHODCALLTYPE CKrfVoicemarks::get_Parent(IRecording** pVal) {
  if (!pVal) return E_POINTER;
  *pVal = nullptr;
  return static_cast<IRecording*>(recording_)->QueryInterface(IID_IRecording,
                                                              reinterpret_cast<void**>(pVal));
}

HRESULT STDMETHODCALLTYPE CKrfVoicemarks::get_Count(LONG* pVal) {
  if (!pVal) return E_POINTER;
  try {
    std::lock_guard<std::recursive_mutex> hold(lock_);
    EnsureTableLocked();
    *pVal = static_cast<LONG>(marks_.size());
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CKrfVoicemarks::GetIndicesFromTime(double StartTime, double EndTime,
                                                             LONG* First, LONG* Last) {
  if (!First || !Last) return E_POINTER;
  *First = -1;
  *Last = -1;
  try {
    std::lock_guard<std::recursive_mutex> hold(lock_);
    EnsureTableLocked();
    const LONG n = static_cast<LONG>(marks_.size());
    LONG i = 0;
    for (; i < n; ++i) {
      if (StartTime <= marks_[static_cast<size_t>(i)].record.time) {
        *First = i + 1;
        break;
      }
    }
    for (; i < n && marks_[static_cast<size_t>(i)].record.time <= EndTime; ++i) *Last = i + 1;
    if (*Last == -1) *First = -1;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CKrfVoicemarks::get__NewEnum(IUnknown** pVal) {
  return CURIComEnumCollectionImpl<CKrfVoicemarks, IUnknown>::NewEnum(this, pVal);
}

HRESULT STDMETHODCALLTYPE CKrfVoicemarks::Add(double, LONG, LONG, LONG, IVoiceMark** Voicemark) {
  if (Voicemark) *Voicemark = nullptr;
  return E_NOTIMPL;
}
