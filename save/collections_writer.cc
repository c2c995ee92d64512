#include "platform/strings.h"
#include "save/collections_writer.h"

#include <algorithm>
#include <new>

#include "reader/krf_format.h"
#include "save/record_writer.h"
#include "save/save_channel_group.h"

namespace mlr::save {
namespace {

inline constexpr LONG kVoiceChunk = 100000;  // samples per GetData
inline constexpr uint32_t kMarkerFlag = 2;
inline constexpr uint32_t kVoicemarkRecordSize = 32;

ComPtr<IUnknown> CollectionOf(IRecording* recording, kalRecordingCollection type) {
  ComPtr<IUnknown> collection;
  if (FAILED(recording->get_Collection(type, collection.put()))) collection.reset();
  return collection;
}

bool InSpan(double time, const SaveRecordingSpan& span) {
  return span.first <= time && time <= span.last;
}

void GatherBookmarks(IRecording* recording, const SaveRecordingSpan& span, CCollectionItems* out) {
  ComPtr<IBookmarks> bookmarks = CollectionOf(recording, kalRecColBookmarks).As<IBookmarks>();
  LONG count = 0;
  if (!bookmarks || FAILED(bookmarks->get_Count(&count))) return;
  for (LONG i = 1; i <= count; ++i) {
    ComPtr<IBookmark> bookmark;
    double time = 0.0;
    if (FAILED(bookmarks->get_Item(i, bookmark.put())) || !bookmark ||
        FAILED(bookmark->get_Time(&time)) || !InSpan(time, span)) {
      continue;
    }
    BSTR text = nullptr;
    mlr::OleString value;
    if (SUCCEEDED(bookmark->get_Name(&text)) && text) value = text;
    SysFreeString(text);
    out->Add(std::make_unique<CBookmarkItem>(time - span.shift, bookmark.get(), std::move(value)));
  }
}

// Markers, voice marks and triggers: ITimemarks collections whose items
// answer ITimemark.
template <class Item>
void GatherTimemarks(IRecording* recording, kalRecordingCollection type,
                     const SaveRecordingSpan& span, CCollectionItems* out) {
  ComPtr<ITimemarks> marks = CollectionOf(recording, type).As<ITimemarks>();
  LONG count = 0;
  if (!marks || FAILED(marks->get_Count(&count))) return;
  for (LONG i = 1; i <= count; ++i) {
    ComPtr<IUnknown> item;
    double time = 0.0;
    if (FAILED(marks->get_Item(i, item.put())) || !item) continue;
    ComPtr<ITimemark> mark = item.As<ITimemark>();
    if (!mark || FAILED(mark->get_Time(&time)) || !InSpan(time, span)) continue;
    out->Add(std::make_unique<Item>(time - span.shift, item.get()));
  }
}

void WriteBookmarks(IStorage* data, const CCollectionItems& items) {
  RecordBuilder out;
  out.U32(static_cast<uint32_t>(items.size()));
  for (size_t i = 0; i < items.size(); ++i) {
    const auto& item = static_cast<const CBookmarkItem&>(items[i]);
    out.F64(item.time()).Text(item.text());
  }
  WriteNewStream(data, reader::kBookmarksStream, out.bytes());
}

void WriteMarkers(IStorage* data, const CCollectionItems& items) {
  RecordBuilder out;
  out.U32(static_cast<uint32_t>(items.size()));
  for (size_t i = 0; i < items.size(); ++i) out.F64(items[i].time()).U32(kMarkerFlag);
  WriteNewStream(data, reader::kMarkersStream, out.bytes());
}

struct VoiceFormat {
  LONG rate = 0, bits = 0, channels = 0, length = 0;
};

VoiceFormat FormatOf(IVoiceMark* mark) {
  VoiceFormat f;
  if (!mark) return f;
  mark->get_SamplesPerSec(&f.rate);
  mark->get_BitsPerSample(&f.bits);
  mark->get_Channels(&f.channels);
  mark->get_Length(&f.length);
  return f;
}

// The sound data of `mark` into "Voicemark<number>", fetched in chunks.
void WriteSound(IStorage* storage, IVoiceMark* mark, const VoiceFormat& f, uint32_t number) {
  if (!mark) return;
  const uint64_t frame_bytes = static_cast<uint64_t>(std::max<LONG>(f.channels, 0)) *
                              static_cast<uint64_t>((std::max<LONG>(f.bits, 0) + 7) / 8);
  const uint64_t total = static_cast<uint64_t>(std::max<LONG>(f.length, 0)) * frame_bytes;
  ComPtr<IStream> stream;
  for (LONG first = 1; first <= f.length; first += kVoiceChunk) {
    const LONG count = std::min<LONG>(kVoiceChunk, f.length - first + 1);
    VARIANT chunk;
    VariantInit(&chunk);
    if (FAILED(mark->GetData(first, count, &chunk)) || !(chunk.vt & VT_ARRAY) || !chunk.parray) {
      VariantClear(&chunk);
      continue;
    }
    if (!stream) {
      if (FAILED(storage->CreateStream(reader::FormatName(reader::kVoicemarkPattern, number).c_str(),
                                       kSaveStreamMode, 0, 0, stream.put()))) {
        VariantClear(&chunk);
        return;
      }
      ULARGE_INTEGER size;
      size.QuadPart = total;
      stream->SetSize(size);
    }
    SAFEARRAY* array = chunk.parray;
    uint64_t bytes = SafeArrayGetElemsize(array);
    for (UINT d = 1; d <= SafeArrayGetDim(array); ++d) {
      LONG lower = 0, upper = -1;
      SafeArrayGetLBound(array, d, &lower);
      SafeArrayGetUBound(array, d, &upper);
      bytes *= upper >= lower ? static_cast<uint64_t>(static_cast<int64_t>(upper) - lower + 1) : 0;
    }
    // A chunk stands for `count` frames: an array that is larger (the file
    // reader pads 16-bit sound with zeros) gives only those bytes, so that
    // the sound stays contiguous.
    bytes = std::min<uint64_t>(bytes, static_cast<uint64_t>(count) * frame_bytes);
    void* p = nullptr;
    if (bytes > 0 && SUCCEEDED(SafeArrayAccessData(array, &p))) {
      WriteAll(stream.get(), p, static_cast<size_t>(bytes));
      SafeArrayUnaccessData(array);
    }
    VariantClear(&chunk);
  }
}

void WriteVoicemarks(IStorage* data, const CCollectionItems& items) {
  ComPtr<IStorage> storage;
  ComPtr<IStream> table;
  if (FAILED(data->CreateStorage(reader::kVoicemarksStorage, kSaveStorageMode, 0, 0,
                                 storage.put())) ||
      FAILED(storage->CreateStream(reader::kInternStream, kSaveStreamMode, 0, 0, table.put()))) {
    return;
  }
  RecordBuilder out;
  out.U32(static_cast<uint32_t>(items.size()));
  std::vector<VoiceFormat> formats;
  for (size_t i = 0; i < items.size(); ++i) {
    ComPtr<IVoiceMark> mark = ComPtr<IUnknown>(items[i].source()).As<IVoiceMark>();
    formats.push_back(FormatOf(mark.get()));
    const VoiceFormat& f = formats.back();
    out.U32(kVoicemarkRecordSize).U32(static_cast<uint32_t>(i + 1));
    out.U32(static_cast<uint32_t>(f.rate)).U32(static_cast<uint32_t>(f.bits));
    out.U32(static_cast<uint32_t>(f.channels)).U32(static_cast<uint32_t>(f.length));
    out.F64(items[i].time());
  }
  WriteAll(table.get(), out.bytes().data(), out.size());
  table.reset();
  for (size_t i = 0; i < items.size(); ++i) {
    ComPtr<IVoiceMark> mark = ComPtr<IUnknown>(items[i].source()).As<IVoiceMark>();
    WriteSound(storage.get(), mark.get(), formats[i], static_cast<uint32_t>(i + 1));
  }
}

// The saved group position and channel number of a channel trigger's
// channel; (-1, -1) when that channel is not saved.
void TriggerLink(ITriggerInfo* trigger, const std::vector<CSaveChannelGroup*>& groups,
                 int32_t* group_position, int32_t* channel_number) {
  *group_position = -1;
  *channel_number = -1;
  ComPtr<IChannelInfo> channel;
  ComPtr<IChannelGroup> group;
  if (FAILED(trigger->get_ChannelInfo(channel.put())) || !channel ||
      FAILED(channel->get_ChannelGroup(group.put())) || !group) {
    return;
  }
  ComPtr<IUnknown> group_identity = group.As<IUnknown>();
  for (const CSaveChannelGroup* saved : groups) {
    if (ComPtr<IChannelGroup>(saved->source()).As<IUnknown>() != group_identity) continue;
    if (ULONG number = saved->FindChannel(channel.get())) {
      *group_position = static_cast<int32_t>(saved->number());
      *channel_number = static_cast<int32_t>(number);
      return;
    }
  }
}

void WriteTriggers(IStorage* data, const CCollectionItems& items,
                   const std::vector<CSaveChannelGroup*>& groups) {
  RecordBuilder out;
  out.U32(static_cast<uint32_t>(items.size()));
  for (size_t i = 0; i < items.size(); ++i) {
    ComPtr<ITriggerInfo> trigger = ComPtr<IUnknown>(items[i].source()).As<ITriggerInfo>();
    kalTriggerSource source = kalTriggerSrcUnknown;
    mlr::OleString name;
    int32_t group = -1, channel = -1;
    if (trigger) {
      trigger->get_Source(&source);
      BSTR text = nullptr;
      if (SUCCEEDED(trigger->get_Name(&text)) && text) name = text;
      SysFreeString(text);
      if (source == kalTriggerSrcChannel) TriggerLink(trigger.get(), groups, &group, &channel);
    }
    out.U32(static_cast<uint32_t>(26 + 2 * name.size())).U32(static_cast<uint32_t>(source));
    out.F64(items[i].time()).I32(group).I32(channel).Text(name);
  }
  WriteNewStream(data, reader::kTriggersStream, out.bytes());
}

}  // namespace

HRESULT GatherCollections(const std::vector<IRecording*>& recordings,
                          const SaveAlignment& alignment, SaveCollections* out) {
  try {
    for (size_t r = 0; r < recordings.size() && r < alignment.recordings.size(); ++r) {
      const SaveRecordingSpan& span = alignment.recordings[r];
      GatherBookmarks(recordings[r], span, &out->bookmarks);
      GatherTimemarks<CCollectionItem>(recordings[r], kalRecColMarkers, span, &out->markers);
      GatherTimemarks<CVoicemarkItem>(recordings[r], kalRecColVoicemarks, span, &out->voicemarks);
      GatherTimemarks<CTriggerItem>(recordings[r], kalRecColTriggers, span, &out->triggers);
    }
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  return S_OK;
}

void WriteCollections(IStorage* data, const SaveCollections& collections,
                      const std::vector<CSaveChannelGroup*>& groups) {
  try {
    if (!collections.bookmarks.empty()) WriteBookmarks(data, collections.bookmarks);
    if (!collections.markers.empty()) WriteMarkers(data, collections.markers);
    if (!collections.voicemarks.empty()) WriteVoicemarks(data, collections.voicemarks);
    if (!collections.triggers.empty()) WriteTriggers(data, collections.triggers, groups);
  } catch (const std::bad_alloc&) {
    // Collections are written as far as memory allows; the save goes on.
  }
}

}  // namespace mlr::save
