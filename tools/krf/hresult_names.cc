#include "tools/krf/hresult_names.h"

#include <cstdio>

namespace krf {

const char* HResultName(HRESULT hr) {
  struct Entry {
    HRESULT hr;
    const char* name;
  };
  static const Entry kNames[] = {
      {S_OK, "S_OK"},
      {S_FALSE, "S_FALSE"},
      {E_POINTER, "E_POINTER"},
      {E_INVALIDARG, "E_INVALIDARG"},
      {E_OUTOFMEMORY, "E_OUTOFMEMORY"},
      {E_FAIL, "E_FAIL"},
      {E_NOTIMPL, "E_NOTIMPL"},
      {E_NOINTERFACE, "E_NOINTERFACE"},
      {E_ACCESSDENIED, "E_ACCESSDENIED"},
      {CLASS_E_CLASSNOTAVAILABLE, "CLASS_E_CLASSNOTAVAILABLE"},
      {REGDB_E_CLASSNOTREG, "REGDB_E_CLASSNOTREG"},
      {STG_E_INVALIDFUNCTION, "STG_E_INVALIDFUNCTION"},
      {STG_E_FILENOTFOUND, "STG_E_FILENOTFOUND"},
      {STG_E_PATHNOTFOUND, "STG_E_PATHNOTFOUND"},
      {STG_E_ACCESSDENIED, "STG_E_ACCESSDENIED"},
      {STG_E_INVALIDHANDLE, "STG_E_INVALIDHANDLE"},
      {STG_E_INSUFFICIENTMEMORY, "STG_E_INSUFFICIENTMEMORY"},
      {STG_E_INVALIDPOINTER, "STG_E_INVALIDPOINTER"},
      {STG_E_READFAULT, "STG_E_READFAULT"},
      {STG_E_WRITEFAULT, "STG_E_WRITEFAULT"},
      {STG_E_FILEALREADYEXISTS, "STG_E_FILEALREADYEXISTS"},
      {STG_E_INVALIDPARAMETER, "STG_E_INVALIDPARAMETER"},
      {STG_E_SHAREVIOLATION, "STG_E_SHAREVIOLATION"},
      {STG_E_LOCKVIOLATION, "STG_E_LOCKVIOLATION"},
      {STG_E_INVALIDHEADER, "STG_E_INVALIDHEADER"},
      {STG_E_INVALIDNAME, "STG_E_INVALIDNAME"},
      {STG_E_INVALIDFLAG, "STG_E_INVALIDFLAG"},
      {STG_E_DOCFILECORRUPT, "STG_E_DOCFILECORRUPT"},
      {STG_E_OLDFORMAT, "STG_E_OLDFORMAT"},
      {STG_E_OLDDLL, "STG_E_OLDDLL"},
      {STG_E_MEDIUMFULL, "STG_E_MEDIUMFULL"},
      {STG_E_UNKNOWN, "STG_E_UNKNOWN"},
      {STG_E_REVERTED, "STG_E_REVERTED"},
  };
  for (const Entry& e : kNames) {
    if (e.hr == hr) return e.name;
  }
  return "";
}

std::string HResultText(HRESULT hr) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "0x%08X", static_cast<unsigned>(hr));
  std::string text = buf;
  const char* name = HResultName(hr);
  if (*name) {
    text += ' ';
    text += name;
  }
  return text;
}

}  // namespace krf
