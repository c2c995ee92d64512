#include "api/void_number.h"

#include "LegacyRecording.h"
#include "platform/win.h"

MLR_API VARIANT_BOOL STDAPICALLTYPE IsVoidNumber(double dValue) {
  return mlr::HasVoidHighWord(dValue) ? VARIANT_TRUE : VARIANT_FALSE;
}
