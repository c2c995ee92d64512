// Reading a string property of a root storage's Summary Information set
// (FMTID_SummaryInformation): the recording's comment (PIDSI_COMMENTS) and
// the application name that decides the upgrade of old files
// (PIDSI_APPNAME). The set is opened read-only through the storage's
// property-set interface. Strings stored as VT_LPSTR are decoded from the
// "ANSI" code page (UTF-8 here); VT_LPWSTR and VT_BSTR are taken as they
// stand.
#pragma once

#include <string>

#include "platform/win.h"
#include "platform/strings.h"

namespace mlr::reader {

// True with the text when the property exists and holds a string.
bool ReadSummaryString(IStorage* root, PROPID id, mlr::OleString* text);

// Days since 1899-12-30 (the automation DATE) of a UTC start given as year,
// 1-based day of the year and seconds since midnight.
double StartToDate(int32_t year, int32_t year_day, double time_of_day);

}  // namespace mlr::reader
