#include "platform/strings.h"
#include "reader/krf_recording.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "model/physical_channels_impl.h"
#include "platform/serialised_storage.h"
#include "reader/event_records.h"
#include "reader/group_config.h"
#include "reader/krf_channel_group.h"
#include "reader/krf_channel_info.h"
#include "reader/krf_format.h"
#include "reader/krf_voicemarks.h"
#include "reader/kss_storage_provider.h"
#include "reader/path_split.h"
#include "reader/recording_properties.h"
#include "reader/side_records.h"
#include "reader/stream_io.h"
#include "reader/summary_info.h"
#include "reader/text_convert.h"
#include "reader/void_runs.h"

using mlr::ComPtr;
namespace rd = mlr::reader;

namespace {

constexpr DWORD kReadWrite = STGM_SHARE_EXCLUSIVE | STGM_READWRITE;
constexpr DWORD kReadOnly = STGM_SHARE_EXCLUSIVE | STGM_READ;
constexpr uint32_t kVoidScanSamples = 100;

}  // namespace

CKrfRecording* CKrfRecording::Open(const OLECHAR* file_name) {
  CKrfRecording* recording = new CKrfRecording();
  recording->AddRef();
  try {
    recording->OpenFile(file_name);
  } catch (...) {
    recording->Release();
    throw;
  }
  return recording;
}

CKrfRecording* CKrfRecording::OpenStorage(IStorage* root) {
  CKrfRecording* recording = new CKrfRecording();
  recording->AddRef();
  try {
    recording->root_.assign(root);
    recording->open_result_ = root ? S_OK : E_POINTER;
    if (root) recording->Init();
  } catch (...) {
    recording->Release();
    throw;
  }
  return recording;
}

void CKrfRecording::OpenFile(const OLECHAR* file_name) {
  ComPtr<IStorage> root;
  HRESULT hr = StgOpenStorage(file_name, nullptr, kReadWrite, nullptr, 0, root.put());
  if (hr == STG_E_ACCESSDENIED) {
    hr = StgOpenStorage(file_name, nullptr, kReadOnly, nullptr, 0, root.put());
  }
  if (FAILED(hr) || !root) {
    ComPtr<IKssStorageProvider> kss;
    hr = rd::CreateKssStorageProvider(kss.put());
    if (SUCCEEDED(hr)) {
      BSTR name = SysAllocString(file_name);
      hr = kss->OpenStorage(name, 0x20001, root.put());
      if (!root) hr = kss->OpenStorage(name, 0x10001, root.put());
      SysFreeString(name);
    }
    version_ = rd::kVersionWideIndex;
  }
  if (FAILED(hr) || !root) {
    open_result_ = FAILED(hr) ? hr : E_FAIL;
    return;
  }
  // The recording's groups are read from several threads at once (the
  // resampler's and the saver's workers).
  hr = mlr::StorageForThreads(root.get(), root_.put());
  if (FAILED(hr)) {
    open_result_ = hr;
    return;
  }
  open_result_ = S_OK;
  Init();
}

void CKrfRecording::Init() {
  STATSTG st{};
  if (SUCCEEDED(root_->Stat(&st, STATFLAG_NONAME))) {
    // Sub-elements are always opened share-exclusive, with the root's access.
    mode_ = (st.grfMode & (STGM_WRITE | STGM_READWRITE)) | STGM_SHARE_EXCLUSIVE;
  }
  time_per_division_ = 1.0;
  modified_ = false;
  if (FAILED(root_->OpenStorage(rd::kDataStorage, nullptr, mode_, nullptr, 0, data_.put())) ||
      !data_) {
    open_result_ = STG_E_FILENOTFOUND;
    return;
  }
  STATSTG named{};
  if (SUCCEEDED(root_->Stat(&named, STATFLAG_DEFAULT))) {
    path_ = rd::Utf16ToAnsi(named.pwcsName);
    CoTaskMemFree(named.pwcsName);
  }
  const rd::PathParts parts = rd::SplitRecordingPath(path_);

  std::vector<uint8_t> bytes;
  rd::ReadNamedStream(data_.get(), rd::kInternStream, mode_, &bytes);
  const rd::RecordingProperties props =
      rd::DecodeRecordingProperties(bytes.data(), bytes.size(), version_);
  version_ = props.version;
  time_per_division_ = props.time_per_division;
  SetStrings(rd::AnsiToUtf16(parts.title).c_str(), rd::AnsiToUtf16(parts.location).c_str(),
             rd::AnsiToUtf16(parts.extension).c_str(), nullptr, props.x_units.c_str());
  if (props.utc) {
    SetStartTimeFromUTC(props.year, props.day, props.time_of_day);
  } else {
    SetStartTimeFromLocal(props.year, props.day, props.time_of_day);
  }
  if (static_cast<int32_t>(version_) < static_cast<int32_t>(rd::kVersionStamped) &&
      EligibleForUpgrade()) {
    Upgrade();
  }
}

CKrfRecording::~CKrfRecording() {
  if (voicemarks_) voicemarks_->ReleaseStorages();
  voicemarks_.reset();
  for (CKrfChannelGroup* g : groups_) g->ReleaseStorages();
  data_.reset();
  root_.reset();
  if (modified_) RestoreFileTimes();
}

bool CKrfRecording::EligibleForUpgrade() {
  mlr::OleString app;
  if (!rd::ReadSummaryString(root_.get(), PIDSI_APPNAME, &app)) return false;
  const std::string name = rd::Utf16ToAnsi(app);
  for (const char* eligible : rd::kUpgradeApplications) {
    if (name == eligible) return true;
  }
  return false;
}

void CKrfRecording::RestoreFileTimes() {
  SHORT year = 0, day = 0;
  double seconds = 0;
  get_UTCYear(&year);
  get_UTCYearDay(&day);
  get_UTCTimeOfDay(&seconds);
  SYSTEMTIME system{};
  FILETIME file_time{};
  if (!VariantTimeToSystemTime(rd::StartToDate(year, day, seconds), &system)) return;
  if (!SystemTimeToFileTime(&system, &file_time)) return;
  HANDLE file = CreateFileA(path_.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                            OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return;
  SetFileTime(file, &file_time, &file_time, &file_time);
  CloseHandle(file);
}

// --- Lazy loads (the caller holds lock_) --------------------------------------

void CKrfRecording::EnsureGroupsLocked() {
  if (groups_loaded_) return;
  groups_loaded_ = true;
  std::vector<uint8_t> bytes;
  rd::ReadNamedStream(data_.get(), rd::kConfigStream, mode_, &bytes);
  for (uint32_t number : rd::DecodeGroupList(bytes.data(), bytes.size())) {
    CKrfChannelGroup* group = new CKrfChannelGroup(this, data_.get(), number);
    if (FAILED(AddChannelGroup(group))) break;  // the collection deleted it
    groups_.push_back(group);
  }
}

void CKrfRecording::EnsureMarkersLocked() {
  if (markers_loaded_) return;
  markers_loaded_ = true;
  std::vector<uint8_t> bytes;
  rd::ReadNamedStream(data_.get(), rd::kMarkersStream, mode_, &bytes);
  for (const rd::MarkerRecord& m : rd::DecodeMarkers(bytes.data(), bytes.size())) {
    AddMarker(m.time);
  }
}

void CKrfRecording::EnsureBookmarksLocked() {
  if (bookmarks_loaded_) return;
  bookmarks_loaded_ = true;
  std::vector<uint8_t> bytes;
  rd::ReadNamedStream(data_.get(), rd::kBookmarksStream, mode_, &bytes);
  for (const rd::BookmarkRecord& b : rd::DecodeBookmarks(bytes.data(), bytes.size())) {
    AddBookmark(b.time, b.text.c_str());
  }
}

void CKrfRecording::EnsureTriggersLocked() {
  if (triggers_loaded_) return;
  triggers_loaded_ = true;
  EnsureGroupsLocked();
  std::vector<uint8_t> bytes;
  rd::ReadNamedStream(data_.get(), rd::kTriggersStream, mode_, &bytes);
  for (const rd::TriggerRecord& t : rd::DecodeTriggers(bytes.data(), bytes.size())) {
    IChannelInfo* channel = nullptr;
    if (t.source == kalTriggerSrcChannel && t.group_index >= 1 &&
        static_cast<size_t>(t.group_index) <= groups_.size()) {
      channel = groups_[static_cast<size_t>(t.group_index - 1)]->FindChannelByNumber(
          t.channel_number);
    }
    AddTrigger(t.time, static_cast<LONG>(t.source), t.name.c_str(), channel);
  }
}

void CKrfRecording::EnsurePhysicalChannelsLocked() {
  if (physical_loaded_) return;
  physical_loaded_ = true;
  std::vector<uint8_t> bytes;
  if (!rd::ReadNamedStream(data_.get(), rd::kPhysicalChannelStream, mode_, &bytes)) return;
  EnsureGroupsLocked();
  auto* collection = new CURIPhysicalChannelsImpl(this);
  SetPhysicalChannels(collection);
  for (const rd::PhysicalChannelRecord& r : rd::DecodePhysicalChannels(bytes.data(), bytes.size())) {
    LONG group_index = 0, channel_index = 0;
    if (r.storage_enabled != 0) {
      for (size_t g = 0; g < groups_.size() && channel_index == 0; ++g) {
        for (CKrfChannelInfo* c : groups_[g]->Channels()) {
          if (c->StoredName() == r.names[0]) {
            group_index = static_cast<LONG>(g + 1);
            channel_index = c->index();
            break;
          }
        }
      }
    }
    const OLECHAR* names[rd::kNameCount];
    for (int i = 0; i < rd::kNameCount; ++i) names[i] = r.names[static_cast<size_t>(i)].c_str();
    if (!collection->Add(static_cast<LONG>(r.board), static_cast<LONG>(r.channel), group_index,
                         channel_index, names, rd::kNameCount)) {
      break;
    }
  }
}

CKrfVoicemarks* CKrfRecording::VoicemarksLocked() {
  if (!voicemarks_) voicemarks_.reset(new CKrfVoicemarks(this, data_.get(), mode_));
  return voicemarks_.get();
}

CURIDisplayPagesImpl* CKrfRecording::MakeDisplayPagesLocked() {
  ComPtr<IStorage> setup;
  if (FAILED(data_->OpenStorage(rd::kDisplaySetupStorage, nullptr, mode_, nullptr, 0,
                                setup.put())) ||
      !setup) {
    return nullptr;
  }
  display_pages_.emplace_back(new CURIDisplayPagesImpl(static_cast<IRecording*>(this)));
  CURIDisplayPagesImpl* pages = display_pages_.back().get();
  std::vector<uint8_t> bytes;
  for (uint32_t p = 1;; ++p) {
    if (!rd::ReadNamedStream(setup.get(), rd::FormatName(rd::kPageSetupPattern, p),
                             STGM_SHARE_EXCLUSIVE | STGM_READ, &bytes)) {
      break;
    }
    CURIDisplayPageImpl* page = pages->Add();
    if (!page) break;
    ComPtr<IStream> out;
    ULONG written = 0;
    if (SUCCEEDED(page->PageSetupForWriting(out.put())) && out) {
      out->Write(bytes.data(), static_cast<ULONG>(bytes.size()), &written);
    }
    if (rd::ReadNamedStream(setup.get(), rd::FormatName(rd::kTraceAssignmentPattern, p),
                            STGM_SHARE_EXCLUSIVE | STGM_READ, &bytes) &&
        SUCCEEDED(page->TraceAssignmentForWriting(out.put())) && out) {
      out->Write(bytes.data(), static_cast<ULONG>(bytes.size()), &written);
    }
  }
  return pages;
}

std::vector<CKrfChannelGroup*> CKrfRecording::Groups() {
  std::lock_guard<std::recursive_mutex> hold(lock_);
  EnsureGroupsLocked();
  return groups_;
}

// --- Upgrade of old files -------------------------------------------------------

void CKrfRecording::Upgrade() {
  std::lock_guard<std::recursive_mutex> hold(lock_);
  upgraded_ = true;
  EnsureGroupsLocked();
  // Every group's data streams are opened under the old version, so that
  // the offset repair of old reduced streams applies to groups the void-run
  // passes never read (event-only groups) once the version is stamped.
  for (CKrfChannelGroup* g : groups_) (void)g->ReductionFactor();
  for (CKrfChannelGroup* g : groups_) RepairBoundaries(g);
  for (CKrfChannelGroup* g : groups_) MarkVoidEnds(g);
  EnsureTriggersLocked();
  StampVersion();
}

void CKrfRecording::RepairBoundaries(CKrfChannelGroup* group) {
  const std::vector<CKrfChannelInfo*> channels = group->Channels();
  std::vector<rd::HNormSpan> spans;
  for (const rd::HNormRecord& h : group->HNormRecords()) {
    spans.push_back({h.start_time, h.x_step, h.length});
  }
  for (size_t pos = 0; pos < channels.size(); ++pos) {
    CKrfChannelInfo* channel = channels[pos];
    if (channel->IsEventChannel()) continue;
    const std::vector<rd::VNormRow> rows = channel->NormsetTable();
    if (rows.size() < 2) continue;
    const uint32_t pick = static_cast<uint32_t>(pos);
    rd::ChannelSampleReader read = [&](size_t h, uint32_t first, uint32_t count, int16_t* out) {
      return SUCCEEDED(group->ReadFrames(h, first, count, false, &pick, 1, out));
    };
    for (size_t r = 1; r < rows.size(); ++r) {
      double t1 = 0, t2 = 0;
      if (rd::FindVoidRunAround(spans, rows[r].start_time, read, &t1, &t2)) {
        channel->MarkVoid(t1, t2);
      }
    }
  }
}

void CKrfRecording::MarkVoidEnds(CKrfChannelGroup* group) {
  const std::vector<CKrfChannelInfo*> all = group->Channels();
  std::vector<CKrfChannelInfo*> analog;
  std::vector<uint32_t> picks;
  for (size_t pos = 0; pos < all.size(); ++pos) {
    if (all[pos]->IsEventChannel()) continue;
    analog.push_back(all[pos]);
    picks.push_back(static_cast<uint32_t>(pos));
  }
  const std::vector<rd::HNormRecord> hnorms = group->HNormRecords();
  if (!analog.empty() && !hnorms.empty()) {
    const size_t k = analog.size();
    std::vector<int16_t> samples;
    // Leading runs of the first normset.
    const rd::HNormRecord& head = hnorms.front();
    uint32_t n = std::min(head.length, kVoidScanSamples);
    samples.assign(static_cast<size_t>(n) * k, 0);
    if (n > 0 && SUCCEEDED(group->ReadFrames(0, 0, n, false, picks.data(), k, samples.data()))) {
      for (size_t c = 0; c < k; ++c) {
        const size_t count = rd::LeadingVoidCount(samples.data() + c, n, k);
        if (count > 0) {
          analog[c]->MarkVoid(head.start_time, head.start_time + head.x_step * count);
        }
      }
    }
    // Trailing runs of the last normset.
    const rd::HNormRecord& tail = hnorms.back();
    n = std::min(tail.length, kVoidScanSamples);
    const uint64_t first = static_cast<uint64_t>(tail.length) - n + 1;  // 1-based
    samples.assign(static_cast<size_t>(n) * k, 0);
    if (n > 0 && SUCCEEDED(group->ReadFrames(hnorms.size() - 1, first - 1, n, false, picks.data(),
                                             k, samples.data()))) {
      for (size_t c = 0; c < k; ++c) {
        const size_t index = rd::ForwardVoidIndex(samples.data() + c, n, k);
        if (index != n - 1) {
          analog[c]->MarkVoid(tail.start_time + static_cast<double>(first + index) * tail.x_step,
                              tail.start_time + tail.x_step * tail.length);
        }
      }
    }
  }
  for (CKrfChannelInfo* c : analog) c->WriteBackNormsets();
}

void CKrfRecording::StampVersion() {
  ComPtr<IStream> stream;
  if (FAILED(data_->OpenStream(rd::kInternStream, nullptr, kReadWrite, 0, stream.put())) ||
      !stream) {
    return;
  }
  std::vector<uint8_t> bytes;
  if (FAILED(rd::ReadWholeStream(stream.get(), &bytes))) return;
  const rd::VersionStamp stamp = rd::PlanVersionStamp(bytes.data(), bytes.size());
  ULONG written = 0;
  if (FAILED(rd::SeekTo(stream.get(), stamp.offset)) ||
      FAILED(stream->Write(stamp.bytes.data(), static_cast<ULONG>(stamp.bytes.size()), &written)) ||
      written != stamp.bytes.size()) {
    return;
  }
  if (stamp.appended) {
    version_ = rd::kVersionStamped;
    modified_ = true;
  }
}

// --- IRecording overrides ------------------------------------------------------------

HRESULT STDMETHODCALLTYPE CKrfRecording::get_ChannelGroups(IChannelGroups** pVal) {
  if (!pVal) return E_POINTER;
  try {
    std::lock_guard<std::recursive_mutex> hold(lock_);
    EnsureGroupsLocked();
  } catch (const std::bad_alloc&) {
    *pVal = nullptr;
    return E_OUTOFMEMORY;
  }
  return CURIRecordingImpl::get_ChannelGroups(pVal);
}

HRESULT STDMETHODCALLTYPE CKrfRecording::get_TotalSize(LONG* pVal) {
  if (!pVal) return E_POINTER;
  try {
    std::lock_guard<std::recursive_mutex> hold(lock_);
    if (!total_size_known_) {
      total_size_known_ = true;
      ComPtr<IKssStorageProvider> kss;
      if (SUCCEEDED(rd::CreateKssStorageProvider(kss.put())) && kss) {
        BSTR path = SysAllocString(rd::AnsiToUtf16(path_).c_str());
        LONGLONG size = 0;
        if (SUCCEEDED(kss->FileSize(path, &size))) total_size_ = static_cast<LONG>(size / 1024);
        SysFreeString(path);
      } else {
        WIN32_FIND_DATAA found{};
        HANDLE h = FindFirstFileA(path_.c_str(), &found);
        if (h != INVALID_HANDLE_VALUE) {
          const uint64_t size =
              (static_cast<uint64_t>(found.nFileSizeHigh) << 32) | found.nFileSizeLow;
          total_size_ = static_cast<LONG>(size / 1024);
          FindClose(h);
        }
      }
    }
    *pVal = total_size_;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CKrfRecording::get_TimePerDivisionHint(double* pVal) {
  if (!pVal) return E_POINTER;
  *pVal = time_per_division_;
  return S_OK;
}

HRESULT STDMETHODCALLTYPE CKrfRecording::get_Comment(BSTR* pVal) {
  if (!pVal) return E_POINTER;
  *pVal = nullptr;
  try {
    std::lock_guard<std::recursive_mutex> hold(lock_);
    mlr::OleString text;
    if (rd::ReadSummaryString(root_.get(), PIDSI_COMMENTS, &text)) comment_ = text;
    *pVal = SysAllocString(comment_.c_str());
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  return *pVal ? S_OK : E_OUTOFMEMORY;
}

HRESULT STDMETHODCALLTYPE CKrfRecording::get_Collection(kalRecordingCollection rcType,
                                                        IUnknown** pVal) {
  if (!pVal) return E_POINTER;
  *pVal = nullptr;
  try {
    std::lock_guard<std::recursive_mutex> hold(lock_);
    EnsureGroupsLocked();
    switch (rcType) {
      case kalRecColMarkers:
        EnsureMarkersLocked();
        break;
      case kalRecColBookmarks:
        EnsureBookmarksLocked();
        break;
      case kalRecColTriggers:
        EnsureTriggersLocked();
        break;
      case kalRecColPhysicalChannelConfig:
        EnsurePhysicalChannelsLocked();
        break;
      case kalRecColVoicemarks: {
        CKrfVoicemarks* marks = VoicemarksLocked();
        return marks ? marks->QueryInterface(IID_IVoiceMarks, reinterpret_cast<void**>(pVal)) : S_OK;
      }
      case kalRecColDisplayPages: {
        CURIDisplayPagesImpl* pages = MakeDisplayPagesLocked();
        return pages ? pages->QueryInterface(IID_IDisplayPages, reinterpret_cast<void**>(pVal))
                     : S_OK;
      }
      default:
        break;
    }
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  return CURIRecordingImpl::get_Collection(rcType, pVal);
}
