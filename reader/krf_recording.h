// CKrfRecording: a legacy recording file presented through the generic
// recording model. Made by CKrfLoader::OpenRecording (or over an already
// open root storage), it reads the file's parts the first time somebody
// asks for them, each under the recording's lock (concurrent callers wait
// rather than read twice).
//
// Opening a file by name:
//   1. StgOpenStorage read-write, share-exclusive; on STG_E_ACCESSDENIED
//      again read-only. Every sub-storage and stream is then opened with the
//      access the root storage reports (share-exclusive).
//   2. If that fails, the conversion path: the KSS storage provider
//      (kss_storage_provider.h) opens the file with mode 0x20001, then
//      0x10001; the recording's format version becomes 0x30000 (16-byte
//      index entries) whether or not that worked.
//   3. "Data" must exist (else the open result is STG_E_FILENOTFOUND). The
//      path that the root storage reports gives Title, Location and
//      Extension (path_split.h); "Data/Intern01" the start time, XUnits, the
//      time-per-division hint and the version.
//   4. Upgrade of old files: when the version is below 0x20000 (signed: the
//      unknown version counts) and the summary information's application
//      name is one of `kUpgradeApplications` (krf_format.h), the recording
//      opens every group's data streams while the version is still old (so
//      the offset repair of old reduced streams holds afterwards), then
//      (a) repairs the vertical normsets of every analog channel with two or
//      more rows at each row boundary after the first (the run of absent
//      samples around the boundary, void_runs.h, is marked void), (b) marks
//      leading void runs of the first horizontal normset and trailing ones of
//      the last (at most 100 samples examined each), (c) writes changed
//      "VNorms01" streams back, (d) reads the triggers and (e) stamps the
//      version 0x20000 into "Intern01". When the stamp had to append a
//      record, the file's creation, access and write times are set to the
//      recording's UTC start when the recording is released, after every
//      storage has been closed. On a read-only storage nothing is written;
//      the edited normsets are still what the recording answers.
//
// Collections: groups ("Config01"), markers, bookmarks, triggers and the
// physical channels are read once; voice marks are one collection object made
// on first request; display pages are built anew from "Display Setup" on
// each request (each collection lives as long as the recording).
//
// Triggers of source 3 link to the channel with the stored channel number in
// the group at the stored 1-based position; anything else leaves the link
// empty. A physical channel whose StorageEnabled flag is non-zero is linked
// to the first stored channel, in group order then channel order, whose
// stored name (tag 0) equals the physical channel's name; without such a
// channel, or when StorageEnabled is 0, it counts as not stored (channel
// index 0). The file keeps no other link between the two.
//
// Ownership and threading: the recording is the root of its object tree
// (see CURIRecordingImpl); it holds the root and "Data" storages, and its
// groups and channels hold theirs, for its whole life. Free-threaded.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "model/display_pages_impl.h"
#include "model/recording_impl.h"
#include "platform/com_ptr.h"
#include "platform/win.h"
#include "platform/strings.h"

class CKrfChannelGroup;
class CKrfVoicemarks;

class CKrfRecording : public CURIRecordingImpl {
 public:
  // Opens the named file (see above). The result carries one reference (the
  // construction reference, which the caller releases); check
  // open_result(). Throws std::bad_alloc.
  static CKrfRecording* Open(const OLECHAR* file_name);
  // The same over an open root storage (a reference is taken); open result
  // S_OK unless "Data" is missing.
  static CKrfRecording* OpenStorage(IStorage* root);

  HRESULT open_result() const { return open_result_; }
  DWORD open_mode() const { return mode_; }
  uint32_t version() const { return version_; }
  bool modified() const { return modified_; }
  // Whether the upgrade of old files ran when the recording was opened.
  bool upgraded() const { return upgraded_; }
  const std::string& path() const { return path_; }

  // The groups in collection order (reads the group list first).
  std::vector<CKrfChannelGroup*> Groups();

  HRESULT STDMETHODCALLTYPE get_ChannelGroups(IChannelGroups** pVal) override;
  HRESULT STDMETHODCALLTYPE get_TotalSize(LONG* pVal) override;
  HRESULT STDMETHODCALLTYPE get_TimePerDivisionHint(double* pVal) override;
  HRESULT STDMETHODCALLTYPE get_Comment(BSTR* pVal) override;
  HRESULT STDMETHODCALLTYPE get_Collection(kalRecordingCollection rcType, IUnknown** pVal) override;

 protected:
  ~CKrfRecording() override;

 private:
  CKrfRecording() = default;
  void OpenFile(const OLECHAR* file_name);
  void Init();
  void EnsureGroupsLocked();
  void EnsureMarkersLocked();
  void EnsureBookmarksLocked();
  void EnsureTriggersLocked();
  void EnsurePhysicalChannelsLocked();
  CKrfVoicemarks* VoicemarksLocked();
  CURIDisplayPagesImpl* MakeDisplayPagesLocked();
  bool EligibleForUpgrade();
  void Upgrade();
  void RepairBoundaries(CKrfChannelGroup* group);
  void MarkVoidEnds(CKrfChannelGroup* group);
  void StampVersion();
  void RestoreFileTimes();

  std::recursive_mutex lock_;
  mlr::ComPtr<IStorage> root_;
  mlr::ComPtr<IStorage> data_;
  HRESULT open_result_ = S_OK;
  DWORD mode_ = STGM_READ | STGM_SHARE_EXCLUSIVE;
  uint32_t version_ = 0xFFFFFFFF;
  std::string path_;
  LONG total_size_ = 0;
  bool total_size_known_ = false;
  bool groups_loaded_ = false;
  bool markers_loaded_ = false;
  bool bookmarks_loaded_ = false;
  bool triggers_loaded_ = false;
  bool physical_loaded_ = false;
  bool modified_ = false;
  bool upgraded_ = false;
  double time_per_division_ = 1.0;
  mlr::OleString comment_;
  std::vector<CKrfChannelGroup*> groups_;  // owned by the generic groups collection
  std::unique_ptr<CKrfVoicemarks> voicemarks_;
  std::vector<std::unique_ptr<CURIDisplayPagesImpl>> display_pages_;
};
