#include "platform/strings.h"
#include "save/recording_records.h"

#include <string>
#include <vector>

#include "platform/com_ptr.h"
#include "reader/krf_format.h"
#include "reader/text_convert.h"
#include "save/record_writer.h"

namespace mlr::save {
namespace {

mlr::OleString TakeBstr(BSTR text) {
  mlr::OleString out = text ? mlr::OleString(text) : mlr::OleString();
  SysFreeString(text);
  return out;
}

}  // namespace

HRESULT WriteRecordingRecords(IStorage* data, IRecording* first_source,
                              const SaveAlignment& alignment, ULONG group_count, LONG options) {
  BSTR units = nullptr;
  mlr::OleString xunits;
  if (SUCCEEDED(first_source->get_XUnits(&units))) xunits = TakeBstr(units);
  double per_division = reader::kDefaultTimePerDivision;
  if (FAILED(first_source->get_TimePerDivisionHint(&per_division))) {
    per_division = reader::kDefaultTimePerDivision;
  }
  const uint32_t version = (options & kalSRF_UseKSS) ? reader::kVersionWideIndex
                                                     : reader::kVersionStamped;
  RecordBuilder intern;
  intern.TagText(reader::kTagXUnits, xunits)
      .TagF64(reader::kTagTimePerDivision, per_division)
      .TagU32(reader::kTagUtcYear, static_cast<uint32_t>(alignment.utc_year))
      .TagU32(reader::kTagUtcDay, static_cast<uint32_t>(alignment.utc_year_day))
      .TagF64(reader::kTagUtcTimeOfDay, alignment.utc_time_of_day)
      .TagU32(reader::kTagVersion, version)
      .U16(reader::kEndTag);
  HRESULT hr = WriteNewStream(data, reader::kInternStream, intern.bytes());
  if (FAILED(hr)) return hr;

  RecordBuilder config;
  for (ULONG g = 1; g <= group_count; ++g) config.U32(g);
  config.U32(reader::kListEnd);
  return WriteNewStream(data, reader::kConfigStream, config.bytes());
}

HRESULT WriteSummaryInformation(IStorage* root, IRecording* first_source, FILETIME created) {
  ComPtr<IPropertySetStorage> sets;
  HRESULT hr = StgCreatePropSetStg(root, 0, sets.put());
  if (FAILED(hr)) return hr;
  ComPtr<IPropertyStorage> props;
  hr = sets->Create(FMTID_SummaryInformation, nullptr, PROPSETFLAG_ANSI, kSaveStorageMode,
                    props.put());
  if (FAILED(hr)) return hr;

  BSTR comment_bstr = nullptr;
  mlr::OleString comment;
  if (first_source && SUCCEEDED(first_source->get_Comment(&comment_bstr))) {
    comment = TakeBstr(comment_bstr);
  }
  const std::string comment_ansi = reader::Utf16ToAnsi(comment);
  std::string app_name = kSaveApplicationName;

  std::vector<PROPSPEC> specs;
  std::vector<PROPVARIANT> values;
  auto add = [&](PROPID id, const PROPVARIANT& value) {
    PROPSPEC spec{};
    spec.ulKind = PRSPEC_PROPID;
    spec.propid = id;
    specs.push_back(spec);
    values.push_back(value);
  };
  PROPVARIANT value;
  if (!comment.empty()) {
    PropVariantInit(&value);
    value.vt = VT_LPSTR;
    value.pszVal = const_cast<char*>(comment_ansi.c_str());
    add(PIDSI_COMMENTS, value);
  }
  PropVariantInit(&value);
  value.vt = VT_LPSTR;
  value.pszVal = app_name.data();
  add(PIDSI_APPNAME, value);
  PropVariantInit(&value);
  value.vt = VT_FILETIME;
  value.filetime = created;
  add(PIDSI_CREATE_DTM, value);

  hr = props->WriteMultiple(static_cast<ULONG>(specs.size()), specs.data(), values.data(),
                            PID_FIRST_USABLE);
  if (FAILED(hr)) return hr;
  return props->Commit(STGC_DEFAULT);
}

}  // namespace mlr::save
