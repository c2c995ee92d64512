// The saved recording's event collections: gathered from the source
// recordings, written into the "Data" storage of the target.
//
//   Bookmarks01  u32 n, then per bookmark f64 time and the text with its NUL
//   Markers01    u32 n, then per marker f64 time and u32 2 (12 bytes)
//   Voicemarks/Intern01  u32 n, then 32-byte records (32, i + 1, rate, bits,
//                channels, length, f64 time); Voicemarks/Voicemark<i+1> the
//                sound data fetched 100,000 samples at a time (of each
//                fetched array only the chunk's own frames are written:
//                count x channels x bytes per sample, never an array's
//                padding, so the stream holds the sound without gaps)
//   Triggers01   u32 n, then records of 26 + 2 x name length bytes: size,
//                source, f64 time, saved group position and channel number
//                (-1, -1 unless the trigger's channel is saved), the name,
//                two zero bytes
// A collection without items creates no stream; a stream that cannot be
// created skips its collection; single write results are not tested. Order:
// bookmarks, markers, voice marks, triggers.
//
// Gathering (a decision of the save, see save/save_alignment.h): the items of
// every source recording with span first <= time <= span last, in that
// recording's time base, moved to the saved time base by the recording's
// shift; recordings in model order, items in collection order.
//
// Ownership: CCollectionItems owns its items; items hold counted references
// to their source objects. Threading: used by the main save thread only.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "LegacyRecording.h"
#include "platform/com_ptr.h"
#include "platform/win.h"
#include "platform/strings.h"
#include "save/save_alignment.h"

namespace mlr::save {

class CSaveChannelGroup;

class CCollectionItem {
 public:
  CCollectionItem(double time, IUnknown* source) : time_(time), source_(source) {}
  virtual ~CCollectionItem() = default;
  double time() const { return time_; }
  IUnknown* source() const { return source_.get(); }

 private:
  double time_;
  ComPtr<IUnknown> source_;
};

class CBookmarkItem : public CCollectionItem {
 public:
  CBookmarkItem(double time, IUnknown* source, mlr::OleString text)
      : CCollectionItem(time, source), text_(std::move(text)) {}
  const mlr::OleString& text() const { return text_; }

 private:
  mlr::OleString text_;
};

// The source object is the source ITriggerInfo.
class CTriggerItem : public CCollectionItem {
 public:
  using CCollectionItem::CCollectionItem;
};

// The source object is the source IVoiceMark.
class CVoicemarkItem : public CCollectionItem {
 public:
  using CCollectionItem::CCollectionItem;
};

class CCollectionItems {
 public:
  void Add(std::unique_ptr<CCollectionItem> item) { items_.push_back(std::move(item)); }
  size_t size() const { return items_.size(); }
  bool empty() const { return items_.empty(); }
  const CCollectionItem& operator[](size_t i) const { return *items_[i]; }

 private:
  std::vector<std::unique_ptr<CCollectionItem>> items_;
};

struct SaveCollections {
  CCollectionItems bookmarks, markers, voicemarks, triggers;
};

// Gathers the items of `recordings` (model order) inside their spans.
// A recording without a collection gives no items; E_OUTOFMEMORY.
HRESULT GatherCollections(const std::vector<IRecording*>& recordings,
                          const SaveAlignment& alignment, SaveCollections* out);

// Writes the four collections into `data`. `groups` are the saved groups,
// their number being their position in the saved file (links of triggers).
void WriteCollections(IStorage* data, const SaveCollections& collections,
                      const std::vector<CSaveChannelGroup*>& groups);

}  // namespace mlr::save
