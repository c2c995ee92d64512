// CKrfChannelInfo: the reader's channel, filled from the storage
// "Channel<c>" inside its group's storage.
//
// Lazy parts, each read once under the channel's own lock:
//   - properties ("Intern01"): names, unit, event flag, present flag. An
//     event channel (tag 102 non-zero, or any bit name present) is given the
//     sixteen bit names; an analog channel its name (tag 0) and unit.
//   - normset table ("VNorms01"): the rows (StartTime, Y0, YStep) as
//     stored, handed to the generic normset collection on the first VNorms
//     request.
// Missing streams leave empty names and no normsets.
//
// The upgrade of old files (CKrfRecording) edits the table before any client
// has seen the channel: `MarkVoid` marks a run of absent samples void
// (normset_records.h), `WriteBackNormsets` rewrites "VNorms01" when the
// table changed (a failed write leaves the file as it was; the edited table
// is still what the channel answers).
//
// Ownership: made by its CKrfChannelGroup and owned by the group's generic
// channel collection; reference counts go to the group and so to the
// recording. It keeps its group's storage and its own storage open for its
// lifetime (until `ReleaseStorages`). Free-threaded.
#pragma once

#include <mutex>
#include <vector>

#include "model/channel_info_impl.h"
#include "platform/com_ptr.h"
#include "platform/win.h"
#include "platform/strings.h"
#include "reader/channel_properties.h"
#include "reader/normset_records.h"

class CKrfChannelGroup;
class CKrfRecording;

class CKrfChannelInfo : public CURIChannelInfoImpl {
 public:
  CKrfChannelInfo(CKrfChannelGroup* group, CKrfRecording* recording, IStorage* group_storage,
                  uint32_t channel_number);
  ~CKrfChannelInfo() override;

  uint32_t channel_number() const { return number_; }

  // The present flag (tag 101, default 1); reads the properties first.
  uint32_t PresentFlag();
  // Whether the channel is an event channel; reads the properties first.
  bool IsEventChannel();
  // The name as stored under tag 0, for analog and event channels alike.
  mlr::OleString StoredName();

  // Upgrade path (see the file comment).
  std::vector<mlr::reader::VNormRow> NormsetTable();
  void MarkVoid(double t1, double t2);
  void WriteBackNormsets();
  bool normsets_changed();

  // Drops the storages (before the recording restores file times).
  void ReleaseStorages();

  HRESULT STDMETHODCALLTYPE get_Name(VARIANT BitNumber, BSTR* pVal) override;
  HRESULT STDMETHODCALLTYPE get_EventChannel(VARIANT_BOOL* pVal) override;
  HRESULT STDMETHODCALLTYPE get_SystemEventMask(kalSystemEvent SysEvent, SHORT* pVal) override;
  HRESULT STDMETHODCALLTYPE get_VNorms(IVNorms** pVal) override;
  HRESULT STDMETHODCALLTYPE get_YUnits(BSTR* pVal) override;

 private:
  void EnsureStorageLocked();
  void EnsurePropertiesLocked();
  void EnsureTableLocked();
  // Takes the lock and reads the channel's properties if not read yet:
  // S_OK, or E_OUTOFMEMORY when reading them ran out of memory.
  HRESULT LoadProperties();

  std::recursive_mutex lock_;
  CKrfRecording* const recording_;
  mlr::ComPtr<IStorage> group_storage_;
  mlr::ComPtr<IStorage> storage_;
  const uint32_t number_;
  bool storage_tried_ = false;
  bool properties_read_ = false;
  bool table_read_ = false;
  bool generic_filled_ = false;
  bool changed_ = false;
  mlr::reader::ChannelProperties props_;
  std::vector<mlr::reader::VNormRow> table_;
};
