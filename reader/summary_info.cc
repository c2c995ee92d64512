#include "platform/strings.h"
#include "reader/summary_info.h"

#include "platform/com_ptr.h"
#include "reader/text_convert.h"

namespace mlr::reader {

bool ReadSummaryString(IStorage* root, PROPID id, mlr::OleString* text) {
  text->clear();
  if (!root) return false;
  ComPtr<IPropertySetStorage> sets;
  if (FAILED(root->QueryInterface(IID_IPropertySetStorage, sets.put_void())) || !sets) {
    if (FAILED(StgCreatePropSetStg(root, 0, sets.put())) || !sets) return false;
  }
  ComPtr<IPropertyStorage> props;
  if (FAILED(sets->Open(FMTID_SummaryInformation, STGM_READ | STGM_SHARE_EXCLUSIVE,
                        props.put())) ||
      !props) {
    return false;
  }
  PROPSPEC spec{};
  spec.ulKind = PRSPEC_PROPID;
  spec.propid = id;
  PROPVARIANT value;
  PropVariantInit(&value);
  bool found = false;
  if (props->ReadMultiple(1, &spec, &value) == S_OK) {
    if (value.vt == VT_LPSTR && value.pszVal) {
      *text = AnsiToUtf16(value.pszVal);
      found = true;
    } else if (value.vt == VT_LPWSTR && value.pwszVal) {
      *text = value.pwszVal;
      found = true;
    } else if (value.vt == VT_BSTR) {
      if (value.bstrVal) *text = value.bstrVal;
      found = true;
    }
  }
  PropVariantClear(&value);
  return found;
}

double StartToDate(int32_t year, int32_t year_day, double time_of_day) {
  // Days from 1970-01-01 of 1 January of `year` (proleptic Gregorian).
  const int64_t y = static_cast<int64_t>(year) - 1;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const int64_t yoe = y - era * 400;
  const int64_t doy = 306;  // 1 January counted from 1 March of the year before
  const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  const int64_t days_1970 = era * 146097 + doe - 719468;
  const int64_t days_1899 = days_1970 + 25569;  // 1899-12-30 to 1970-01-01
  return static_cast<double>(days_1899 + (year_day - 1)) + time_of_day / 86400.0;
}

}  // namespace mlr::reader
