#include "storage/hresult.h"

#include <cstdio>

namespace mlr::storage {

Status FromHresult(HRESULT hr, Code io_default, const char* what) {
  if (SUCCEEDED(hr)) return Status::Ok();
  Code code = io_default;
  switch (hr) {
    case STG_E_FILENOTFOUND: code = Code::kFileNotFound; break;
    case STG_E_PATHNOTFOUND: code = Code::kPathNotFound; break;
    case STG_E_ACCESSDENIED: code = Code::kAccessDenied; break;
    case STG_E_FILEALREADYEXISTS: code = Code::kAlreadyExists; break;
    case STG_E_SHAREVIOLATION:
    case STG_E_LOCKVIOLATION: code = Code::kShareViolation; break;
    case STG_E_TOOMANYOPENFILES: code = Code::kTooManyFiles; break;
    case STG_E_MEDIUMFULL: code = Code::kMediumFull; break;
    case STG_E_READFAULT: code = Code::kReadFault; break;
    case STG_E_WRITEFAULT: code = Code::kWriteFault; break;
    case STG_E_INSUFFICIENTMEMORY:
    case E_OUTOFMEMORY: code = Code::kNoMemory; break;
    case STG_E_INVALIDPARAMETER: code = Code::kInvalidArg; break;
    default: break;
  }
  char hex[16];
  std::snprintf(hex, sizeof(hex), "0x%08X", static_cast<unsigned>(hr));
  return Status(code, std::string(what) + " failed with " + hex);
}

HRESULT ToHresult(Code code) {
  switch (code) {
    case Code::kOk: return S_OK;
    case Code::kCorrupt: return STG_E_DOCFILECORRUPT;
    case Code::kNotCompound: return STG_E_FILEALREADYEXISTS;
    case Code::kFileNotFound: return STG_E_FILENOTFOUND;
    case Code::kAlreadyExists: return STG_E_FILEALREADYEXISTS;
    case Code::kAccessDenied: return STG_E_ACCESSDENIED;
    case Code::kInvalidArg: return STG_E_INVALIDPARAMETER;
    case Code::kInvalidName: return STG_E_INVALIDNAME;
    case Code::kInvalidFlag: return STG_E_INVALIDFLAG;
    case Code::kInvalidFunction: return STG_E_INVALIDFUNCTION;
    case Code::kMediumFull: return STG_E_MEDIUMFULL;
    case Code::kTooLarge: return STG_E_DOCFILETOOLARGE;
    case Code::kReadFault: return STG_E_READFAULT;
    case Code::kWriteFault: return STG_E_WRITEFAULT;
    case Code::kInUse: return STG_E_ACCESSDENIED;
    case Code::kReverted: return STG_E_REVERTED;
    case Code::kNoMemory: return E_OUTOFMEMORY;
    case Code::kShareViolation: return STG_E_SHAREVIOLATION;
    case Code::kPathNotFound: return STG_E_PATHNOTFOUND;
    case Code::kTooManyFiles: return STG_E_TOOMANYOPENFILES;
  }
  return E_FAIL;
}

HRESULT ToHresult(const Status& status) { return ToHresult(status.code()); }

}  // namespace mlr::storage
