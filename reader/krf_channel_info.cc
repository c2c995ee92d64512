#include "platform/strings.h"
#include "reader/krf_channel_info.h"

#include <new>

#include "reader/krf_channel_group.h"
#include "reader/krf_format.h"
#include "reader/krf_recording.h"
#include "reader/stream_io.h"

using mlr::ComPtr;
namespace rd = mlr::reader;

CKrfChannelInfo::CKrfChannelInfo(CKrfChannelGroup* group, CKrfRecording* recording,
                                 IStorage* group_storage, uint32_t channel_number)
    : CURIChannelInfoImpl(group), recording_(recording), group_storage_(group_storage),
      number_(channel_number) {}

CKrfChannelInfo::~CKrfChannelInfo() = default;

void CKrfChannelInfo::EnsureStorageLocked() {
  if (storage_tried_) return;
  storage_tried_ = true;
  if (!group_storage_) return;
  const mlr::OleString name = rd::FormatName(rd::kChannelPattern, number_);
  (void)group_storage_->OpenStorage(name.c_str(), nullptr, recording_->open_mode(), nullptr, 0,
                                    storage_.put());
}

void CKrfChannelInfo::EnsurePropertiesLocked() {
  if (properties_read_) return;
  EnsureStorageLocked();
  std::vector<uint8_t> bytes;
  rd::ReadNamedStream(storage_.get(), rd::kInternStream, recording_->open_mode(), &bytes);
  props_ = rd::DecodeChannelProperties(bytes.data(), bytes.size());
  if (props_.is_event()) {
    SetEventChannel(true);
    for (LONG b = 1; b < rd::kNameCount; ++b) SetName(b, props_.names[b].c_str());
  } else {
    SetName(0, props_.names[0].c_str());
    SetYUnits(props_.y_units.c_str());
  }
  properties_read_ = true;
}

void CKrfChannelInfo::EnsureTableLocked() {
  if (table_read_) return;
  EnsureStorageLocked();
  std::vector<uint8_t> bytes;
  rd::ReadNamedStream(storage_.get(), rd::kVNormsStream, recording_->open_mode(), &bytes);
  table_ = rd::DecodeVNorms(bytes.data(), bytes.size());
  table_read_ = true;
}

uint32_t CKrfChannelInfo::PresentFlag() {
  std::lock_guard<std::recursive_mutex> hold(lock_);
  EnsurePropertiesLocked();
  return props_.present;
}

bool CKrfChannelInfo::IsEventChannel() {
  std::lock_guard<std::recursive_mutex> hold(lock_);
  EnsurePropertiesLocked();
  return props_.is_event();
}

mlr::OleString CKrfChannelInfo::StoredName() {
  std::lock_guard<std::recursive_mutex> hold(lock_);
  EnsurePropertiesLocked();
  return props_.names[0];
}

std::vector<rd::VNormRow> CKrfChannelInfo::NormsetTable() {
  std::lock_guard<std::recursive_mutex> hold(lock_);
  EnsureTableLocked();
  return table_;
}

void CKrfChannelInfo::MarkVoid(double t1, double t2) {
  std::lock_guard<std::recursive_mutex> hold(lock_);
  EnsureTableLocked();
  rd::MarkVoidRun(&table_, t1, t2);
  changed_ = true;
}

bool CKrfChannelInfo::normsets_changed() {
  std::lock_guard<std::recursive_mutex> hold(lock_);
  return changed_;
}

void CKrfChannelInfo::WriteBackNormsets() {
  std::lock_guard<std::recursive_mutex> hold(lock_);
  if (!changed_) return;
  changed_ = false;
  EnsureStorageLocked();
  if (!storage_) return;
  ComPtr<IStream> stream;
  if (FAILED(storage_->CreateStream(rd::kVNormsStream,
                                    STGM_CREATE | STGM_SHARE_EXCLUSIVE | STGM_WRITE, 0, 0,
                                    stream.put())) ||
      !stream) {
    return;
  }
  const std::vector<uint8_t> bytes = rd::EncodeVNorms(table_);
  ULONG written = 0;
  (void)stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), &written);
}

void CKrfChannelInfo::ReleaseStorages() {
  std::lock_guard<std::recursive_mutex> hold(lock_);
  storage_.reset();
  group_storage_.reset();
  storage_tried_ = true;
  properties_read_ = true;
  table_read_ = true;
}

HRESULT CKrfChannelInfo::LoadProperties() {
  try {
    std::lock_guard<std::recursive_mutex> hold(lock_);
    EnsurePropertiesLocked();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CKrfChannelInfo::get_Name(VARIANT BitNumber, BSTR* pVal) {
  if (!pVal) return E_POINTER;
  if (FAILED(LoadProperties())) {
    *pVal = nullptr;
    return E_OUTOFMEMORY;
  }
  return CURIChannelInfoImpl::get_Name(BitNumber, pVal);
}

HRESULT STDMETHODCALLTYPE CKrfChannelInfo::get_EventChannel(VARIANT_BOOL* pVal) {
  if (!pVal) return E_POINTER;
  if (FAILED(LoadProperties())) return E_OUTOFMEMORY;
  return CURIChannelInfoImpl::get_EventChannel(pVal);
}

HRESULT STDMETHODCALLTYPE CKrfChannelInfo::get_SystemEventMask(kalSystemEvent SysEvent,
                                                               SHORT* pVal) {
  if (!pVal) return E_POINTER;
  if (FAILED(LoadProperties())) return E_OUTOFMEMORY;
  return CURIChannelInfoImpl::get_SystemEventMask(SysEvent, pVal);
}

HRESULT STDMETHODCALLTYPE CKrfChannelInfo::get_YUnits(BSTR* pVal) {
  if (!pVal) return E_POINTER;
  if (FAILED(LoadProperties())) {
    *pVal = nullptr;
    return E_OUTOFMEMORY;
  }
  return CURIChannelInfoImpl::get_YUnits(pVal);
}

HRESULT STDMETHODCALLTYPE CKrfChannelInfo::get_VNorms(IVNorms** pVal) {
  if (!pVal) return E_POINTER;
  try {
    std::lock_guard<std::recursive_mutex> hold(lock_);
    EnsureTableLocked();
    if (!generic_filled_) {
      generic_filled_ = true;
      for (const rd::VNormRow& row : table_) {
        if (FAILED(AddVNorm(row.y0, row.y_step, row.start_time))) break;
      }
    }
  } catch (const std::bad_alloc&) {
    *pVal = nullptr;
    return E_OUTOFMEMORY;
  }
  return CURIChannelInfoImpl::get_VNorms(pVal);
}
