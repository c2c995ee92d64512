#include "platform/strings.h"
#include "save/save_recording.h"

#include <new>
#include <string>

#include "save/record_writer.h"
#include "save/recording_records.h"

namespace mlr::save {
namespace {

// The object's identity: its IUnknown.
ComPtr<IUnknown> Identity(IUnknown* object) {
  ComPtr<IUnknown> id;
  if (object) object->QueryInterface(IID_IUnknown, id.put_void());
  return id;
}

HRESULT RecordingOf(IChannelGroup* group, IRecording** recording) {
  const HRESULT hr = group->get_Recording(recording);
  return FAILED(hr) || !*recording ? E_INVALIDARG : S_OK;
}

}  // namespace

HRESULT CSaveRecording::AddChannels(SAFEARRAY* channels) {
  if (!channels || SafeArrayGetDim(channels) != 1) return E_INVALIDARG;
  VARTYPE vt = VT_EMPTY;
  if (FAILED(SafeArrayGetVartype(channels, &vt))) return E_INVALIDARG;
  LONG lower = 0, upper = -1;
  if (FAILED(SafeArrayGetLBound(channels, 1, &lower)) ||
      FAILED(SafeArrayGetUBound(channels, 1, &upper))) {
    return E_INVALIDARG;
  }
  for (LONG i = lower; i <= upper; ++i) {
    ComPtr<IUnknown> object;
    if (vt == VT_VARIANT) {
      VARIANT v;
      VariantInit(&v);
      if (FAILED(SafeArrayGetElement(channels, &i, &v))) return E_INVALIDARG;
      const VARTYPE t = V_VT(&v);
      if (t == VT_DISPATCH || t == VT_UNKNOWN) {
        object.assign(V_UNKNOWN(&v));
      } else if (t == (VT_BYREF | VT_DISPATCH) || t == (VT_BYREF | VT_UNKNOWN)) {
        object.assign(V_UNKNOWNREF(&v) ? *V_UNKNOWNREF(&v) : nullptr);
      }
      VariantClear(&v);
    } else if (vt == VT_DISPATCH || vt == VT_UNKNOWN) {
      if (FAILED(SafeArrayGetElement(channels, &i, object.put_void()))) return E_INVALIDARG;
    } else {
      return E_INVALIDARG;
    }
    const HRESULT hr = AddChannel(object.get());
    if (FAILED(hr)) return hr;
  }
  return S_OK;
}

HRESULT CSaveRecording::AddChannel(IUnknown* object) {
  ComPtr<IChannelInfo> channel;
  if (!object || FAILED(object->QueryInterface(IID_IChannelInfo, channel.put_void())) || !channel)
    return E_INVALIDARG;
  ComPtr<IChannelGroup> group;
  if (FAILED(channel->get_ChannelGroup(group.put())) || !group) return E_INVALIDARG;
  const ComPtr<IUnknown> group_id = Identity(group.get());
  size_t g = 0;
  while (g < group_ids_.size() && group_ids_[g].get() != group_id.get()) ++g;
  if (g == group_ids_.size()) {
    ComPtr<IRecording> recording;
    HRESULT hr = RecordingOf(group.get(), recording.put());
    if (FAILED(hr)) return hr;
    const ComPtr<IUnknown> recording_id = Identity(recording.get());
    size_t r = 0;
    while (r < recording_ids_.size() && recording_ids_[r].get() != recording_id.get()) ++r;
    try {
      if (r == recording_ids_.size()) {
        recordings_.push_back(recording);
        recording_ids_.push_back(recording_id);
      }
      owned_.push_back(std::make_unique<CSaveChannelGroup>(
          group.get(), static_cast<ULONG>(r), static_cast<ULONG>(owned_.size() + 1)));
      owned_.back()->SetOptions(options_);
      groups_.push_back(owned_.back().get());
      objects_.push_back(owned_.back().get());
      group_ids_.push_back(group_id);
    } catch (const std::bad_alloc&) {
      return E_OUTOFMEMORY;
    }
  }
  return groups_[g]->AddChannel(channel.get());
}

void CSaveRecording::SetOptions(LONG options) {
  options_ = options;
  for (CSaveChannelGroup* g : groups_) g->SetOptions(options);
}

void CSaveRecording::SetSpan(double start_time, double end_time) {
  start_time_ = start_time;
  end_time_ = end_time;
}

std::vector<IRecording*> CSaveRecording::RecordingPointers() const {
  std::vector<IRecording*> out;
  out.reserve(recordings_.size());
  for (const auto& r : recordings_) out.push_back(r.get());
  return out;
}

HRESULT CSaveRecording::Align(DATE* file_time) {
  try {
    HRESULT hr = AlignSaveGroups(RecordingPointers(), groups_, start_time_, end_time_, options_,
                                 &alignment_);
    *file_time = alignment_.file_time;
    return hr;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

HRESULT CSaveRecording::Gather() {
  try {
    return GatherCollections(RecordingPointers(), alignment_, &collections_);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

HRESULT CSaveRecording::WriteRecording(IStorage* root, IStorage* data) {
  if (!root || !data || recordings_.empty()) return E_UNEXPECTED;
  IRecording* first = recordings_.front().get();
  try {
    HRESULT hr = WriteRecordingRecords(data, first, alignment_,
                                       static_cast<ULONG>(groups_.size()), options_);
    if (FAILED(hr)) return hr;
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    hr = WriteSummaryInformation(root, first, now);
    if (FAILED(hr)) return hr;
    (void)WritePhysicalChannels(data, first);
    WriteCollections(data, collections_, groups_);
    return S_OK;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

HRESULT WritePhysicalChannels(IStorage* data, IRecording* source) {
  ComPtr<IUnknown> collection;
  if (FAILED(source->get_Collection(kalRecColPhysicalChannelConfig, collection.put())) ||
      !collection) {
    return S_FALSE;
  }
  ComPtr<IPhysicalChannels> channels;
  HRESULT hr = collection->QueryInterface(IID_IPhysicalChannels, channels.put_void());
  if (FAILED(hr)) return S_FALSE;
  LONG count = 0;
  hr = channels->get_Count(&count);
  if (FAILED(hr)) return hr;
  RecordBuilder stream;
  for (LONG i = 1; i <= count; ++i) {
    ComPtr<IPhysicalChannel> channel;
    hr = channels->get_Item(i, channel.put());
    if (FAILED(hr)) return hr;
    if (!channel) continue;
    LONG board = 0, number = 0;
    VARIANT_BOOL enabled = VARIANT_FALSE;
    channel->get_Board(&board);
    channel->get_Channel(&number);
    channel->get_StorageEnabled(&enabled);
    mlr::OleString names[17];
    size_t size = 24;
    for (LONG bit = 0; bit <= 16; ++bit) {
      VARIANT index;
      VariantInit(&index);
      V_VT(&index) = VT_I4;
      V_I4(&index) = bit;
      BSTR name = nullptr;
      if (SUCCEEDED(channel->get_Name(index, &name)) && name)
        names[bit].assign(name, SysStringLen(name));
      SysFreeString(name);
      size += (names[bit].size() + 1) * 2;
    }
    stream.U32(static_cast<uint32_t>(size)).I32(board).I32(number).U32(0).U32(enabled ? 1 : 0).U32(0);
    for (const mlr::OleString& name : names) stream.Text(name);
  }
  return WriteNewStream(data, OLESTR("PhysicalChannelInfo"), stream.bytes());
}

}  // namespace mlr::save
