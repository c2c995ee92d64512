#include "tools/krf/fail.h"

#include <cstdio>

namespace krf {

const char* HresultName(HRESULT hr) {
  switch (hr) {
#define NAME(x) \
  case x:       \
    return #x;
    NAME(S_OK)
    NAME(S_FALSE)
    NAME(E_FAIL)
    NAME(E_NOTIMPL)
    NAME(E_OUTOFMEMORY)
    NAME(E_INVALIDARG)
    NAME(E_POINTER)
    NAME(E_NOINTERFACE)
    NAME(E_UNEXPECTED)
    NAME(E_ACCESSDENIED)
    NAME(STG_E_INVALIDFUNCTION)
    NAME(STG_E_FILENOTFOUND)
    NAME(STG_E_PATHNOTFOUND)
    NAME(STG_E_TOOMANYOPENFILES)
    NAME(STG_E_ACCESSDENIED)
    NAME(STG_E_INSUFFICIENTMEMORY)
    NAME(STG_E_INVALIDPOINTER)
    NAME(STG_E_WRITEFAULT)
    NAME(STG_E_READFAULT)
    NAME(STG_E_SHAREVIOLATION)
    NAME(STG_E_LOCKVIOLATION)
    NAME(STG_E_FILEALREADYEXISTS)
    NAME(STG_E_INVALIDPARAMETER)
    NAME(STG_E_MEDIUMFULL)
    NAME(STG_E_INVALIDHEADER)
    NAME(STG_E_INVALIDNAME)
    NAME(STG_E_UNIMPLEMENTEDFUNCTION)
    NAME(STG_E_INVALIDFLAG)
    NAME(STG_E_REVERTED)
    NAME(STG_E_DOCFILECORRUPT)
    NAME(STG_E_DOCFILETOOLARGE)
    NAME(REGDB_E_CLASSNOTREG)
    NAME(CLASS_E_CLASSNOTAVAILABLE)
    NAME(CLASS_E_NOAGGREGATION)
    NAME(CO_E_CLASSSTRING)
    NAME(CO_E_ERRORINDLL)
    NAME(TYPE_E_LIBNOTREGISTERED)
    NAME(TYPE_E_REGISTRYACCESS)
#undef NAME
    case static_cast<HRESULT>(0x80080011):  // a save of 2 GiB or more without KSS
      return "MEM_E_INVALID_SIZE";
    case static_cast<HRESULT>(0x8007000DL):
      return "HRESULT_FROM_WIN32(ERROR_INVALID_DATA)";
    case static_cast<HRESULT>(0x8007007EL):
      return "HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND)";
    case static_cast<HRESULT>(0x800703F1L):
      return "HRESULT_FROM_WIN32(ERROR_BADDB)";
    default:
      return "";
  }
}

int Fail(const std::string& what, HRESULT hr) {
  const char* name = HresultName(hr);
  std::fprintf(stderr, "krf: %s: 0x%08X%s%s\n", what.c_str(), static_cast<unsigned>(hr), *name ? " " : "", name);
  return 1;
}

}  // namespace krf
