#include "platform/strings.h"
#include "LegacyRecording.h"
#include "reader/krf_format.h"
#include "save/record_writer.h"
#include "save/save_channel_group.h"

namespace mlr::save {
namespace {

mlr::OleString ChannelName(IChannelInfo* channel, LONG bit) {
  VARIANT number;
  VariantInit(&number);
  number.vt = VT_I4;
  number.lVal = bit;
  BSTR name = nullptr;
  mlr::OleString text;
  if (SUCCEEDED(channel->get_Name(number, &name)) && name) text = name;
  SysFreeString(name);
  return text;
}

struct VNormRow {
  double start, y0, y_step;
};

// The vertical normsets of `channel` in order (an empty list when it has
// none or they cannot be read).
std::vector<VNormRow> ReadVNorms(IChannelInfo* channel) {
  std::vector<VNormRow> rows;
  ComPtr<IVNorms> vnorms;
  LONG count = 0;
  if (FAILED(channel->get_VNorms(vnorms.put())) || !vnorms || FAILED(vnorms->get_Count(&count))) {
    return rows;
  }
  for (LONG i = 1; i <= count; ++i) {
    ComPtr<IVNorm> vnorm;
    VNormRow row{};
    if (FAILED(vnorms->get_Item(i, vnorm.put())) || !vnorm ||
        FAILED(vnorm->get_StartTime(&row.start)) || FAILED(vnorm->get_Y0(&row.y0)) ||
        FAILED(vnorm->get_YStep(&row.y_step))) {
      continue;
    }
    rows.push_back(row);
  }
  return rows;
}

}  // namespace

CSaveChannelInfo::CSaveChannelInfo(IChannelInfo* source, ULONG number)
    : source_(source), number_(number) {}

HRESULT CSaveChannelInfo::Describe() {
  VARIANT_BOOL event = VARIANT_FALSE;
  HRESULT hr = source_->get_EventChannel(&event);
  if (FAILED(hr)) return hr;
  event_ = event != VARIANT_FALSE;
  return S_OK;
}

HRESULT CSaveChannelInfo::WriteStorage(IStorage* group_storage, double first, double last,
                                       double shift) const {
  ComPtr<IStorage> storage;
  HRESULT hr = group_storage->CreateStorage(
      reader::FormatName(reader::kChannelPattern, number_).c_str(), kSaveStorageMode, 0, 0,
      storage.put());
  if (FAILED(hr)) return hr;

  RecordBuilder intern;
  intern.TagText(reader::kTagChannelName, ChannelName(source_.get(), 0));
  if (event_) {
    for (LONG bit = 1; bit <= 16; ++bit) {
      mlr::OleString name = ChannelName(source_.get(), bit);
      if (!name.empty()) intern.TagText(static_cast<uint16_t>(bit), name);
    }
  }
  BSTR units = nullptr;
  mlr::OleString unit_text;
  if (SUCCEEDED(source_->get_YUnits(&units)) && units) unit_text = units;
  SysFreeString(units);
  intern.TagText(reader::kTagYUnits, unit_text);
  intern.TagU32(reader::kTagEventChannel, event_ ? 1 : 0);
  intern.U16(reader::kEndTag);
  hr = WriteNewStream(storage.get(), reader::kInternStream, intern.bytes());
  if (FAILED(hr)) return hr;

  // The normsets valid somewhere in [first, last]: the last one that starts
  // at or before `first` (or the first one, when all start later) and every
  // later one that starts at or before `last`.
  std::vector<VNormRow> rows = ReadVNorms(source_.get());
  size_t begin = 0;
  while (begin + 1 < rows.size() && rows[begin + 1].start <= first) ++begin;
  size_t end = begin + (rows.empty() ? 0 : 1);
  while (end < rows.size() && rows[end].start <= last) ++end;
  RecordBuilder vnorms;
  vnorms.U32(static_cast<uint32_t>(end - begin));
  for (size_t i = begin; i < end; ++i) {
    double start = i == begin ? 0.0 : rows[i].start - shift;
    vnorms.F64(start).F64(rows[i].y0).F64(rows[i].y_step);
  }
  return WriteNewStream(storage.get(), reader::kVNormsStream, vnorms.bytes());
}

}  // namespace mlr::save
