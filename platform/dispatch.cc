// The non-template half of the table-driven IDispatch: member lookup,
// argument counting and mapping, conversions, write-back of [out] arguments,
// and the exception information of failing members. See dispatch.h for the
// behaviour.
#include "platform/dispatch.h"
#include "platform/strings.h"

#include <cstdio>

#include "platform/com_ptr.h"

#include <cstring>
#include <new>

namespace mlr {
namespace dispatch {
namespace {

bool NameEquals(const char* name, const OLECHAR* candidate) {
  size_t i = 0;
  for (; name[i]; ++i) {
    OLECHAR a = static_cast<unsigned char>(name[i]);
    OLECHAR b = candidate[i];
    if (a >= OLESTR('A') && a <= OLESTR('Z')) a = static_cast<OLECHAR>(a - OLESTR('A') + OLESTR('a'));
    if (b >= OLESTR('A') && b <= OLESTR('Z')) b = static_cast<OLECHAR>(b - OLESTR('A') + OLESTR('a'));
    if (a != b) return false;
  }
  return candidate[i] == 0;
}

// Frees the content of a by-reference target before it is overwritten.
void ClearTarget(VARTYPE vt, void* target) {
  if (vt & VT_ARRAY) {
    SafeArrayDestroy(*static_cast<SAFEARRAY**>(target));
    *static_cast<SAFEARRAY**>(target) = nullptr;
  } else if (vt == VT_BSTR) {
    SysFreeString(*static_cast<BSTR*>(target));
    *static_cast<BSTR*>(target) = nullptr;
  } else if (vt == VT_UNKNOWN || vt == VT_DISPATCH) {
    IUnknown* p = *static_cast<IUnknown**>(target);
    if (p) p->Release();
    *static_cast<IUnknown**>(target) = nullptr;
  }
}

size_t TargetSize(VARTYPE vt) {
  if (vt & VT_ARRAY) return sizeof(SAFEARRAY*);
  switch (vt) {
    case VT_I1: case VT_UI1: return 1;
    case VT_I2: case VT_UI2: case VT_BOOL: return 2;
    case VT_I4: case VT_UI4: case VT_INT: case VT_UINT: case VT_R4: case VT_ERROR: return 4;
    case VT_I8: case VT_UI8: case VT_R8: case VT_DATE: case VT_CY: return 8;
    case VT_BSTR: case VT_UNKNOWN: case VT_DISPATCH: return sizeof(void*);
    default: return 0;
  }
}

// Moves *value (owned) into the caller's VT_BYREF argument, converting it to
// the argument's type. *value is left empty.
HRESULT WriteBack(VARIANT* arg, VARIANT* value) {
  VARTYPE target = arg->vt & ~VT_BYREF;
  if (target == VT_VARIANT) {
    HRESULT hr = VariantClear(arg->pvarVal);
    if (FAILED(hr)) return hr;
    *arg->pvarVal = *value;
    value->vt = VT_EMPTY;
    return S_OK;
  }
  size_t size = TargetSize(target);
  if (!size) return DISP_E_TYPEMISMATCH;
  VARIANT converted;
  VariantInit(&converted);
  HRESULT hr = S_OK;
  if (value->vt == target) {
    converted = *value;
    value->vt = VT_EMPTY;
  } else {
    hr = VariantChangeType(&converted, value, 0, target);
    if (FAILED(hr)) return hr;
    VariantClear(value);
  }
  ClearTarget(target, arg->byref);
  std::memcpy(arg->byref, &converted.llVal, size);
  return S_OK;
}

// The argument for parameter `index` of a member with `positional` positional
// parameters, or null when it is missing.
VARIANT* ArgumentFor(const DISPPARAMS& dp, UINT positional_given, UINT index, bool is_put_value,
                     UINT* rg_index) {
  if (is_put_value) {
    *rg_index = 0;
    return &dp.rgvarg[0];
  }
  if (index >= positional_given) return nullptr;
  *rg_index = dp.cArgs - 1 - index;
  VARIANT* v = &dp.rgvarg[*rg_index];
  if (v->vt == VT_ERROR && v->scode == DISP_E_PARAMNOTFOUND) return nullptr;
  return v;
}

HRESULT DefaultValue(const Param& p, VARIANT* out) {
  VariantInit(out);
  switch (p.def.vt) {
    case VT_EMPTY:
      if (p.vt == VT_VARIANT) {
        out->vt = VT_ERROR;
        out->scode = DISP_E_PARAMNOTFOUND;
      }
      return S_OK;
    case VT_I4:
      out->vt = VT_I4;
      out->lVal = static_cast<LONG>(p.def.i);
      return S_OK;
    case VT_R8:
      out->vt = VT_R8;
      out->dblVal = p.def.d;
      return S_OK;
    case VT_BOOL:
      out->vt = VT_BOOL;
      out->boolVal = p.def.i ? VARIANT_TRUE : VARIANT_FALSE;
      return S_OK;
    case VT_BSTR:
      out->vt = VT_BSTR;
      out->bstrVal = SysAllocString(p.def.s ? p.def.s : OLESTR(""));
      return out->bstrVal ? S_OK : E_OUTOFMEMORY;
    default:
      return E_UNEXPECTED;
  }
}

// A plain sentence for a status, for errors that carry no error info.
BSTR StatusSentence(HRESULT hr) {
  const char* text = nullptr;
  switch (hr) {
    case STG_E_FILENOTFOUND: text = "The file was not found."; break;
    case STG_E_PATHNOTFOUND: text = "The path was not found."; break;
    case STG_E_ACCESSDENIED: case E_ACCESSDENIED: text = "Access was denied."; break;
    case STG_E_SHAREVIOLATION: text = "The file is in use by another process."; break;
    case STG_E_FILEALREADYEXISTS: text = "The file already exists."; break;
    case STG_E_INVALIDHEADER: text = "The file is not a compound file."; break;
    case E_INVALIDARG: text = "An argument is not valid."; break;
    case E_POINTER: text = "A required pointer is null."; break;
    case E_OUTOFMEMORY: text = "Out of memory."; break;
    case E_NOTIMPL: text = "The operation is not implemented."; break;
    default: break;
  }
  char buffer[64];
  if (!text) {
    std::snprintf(buffer, sizeof buffer, "The operation failed (status 0x%08X).",
                  static_cast<unsigned>(hr));
    text = buffer;
  }
  return AllocBstrUtf8(text);
}

void FillException(HRESULT hr, EXCEPINFO* info) {
  *info = EXCEPINFO{};
  info->scode = hr;
  ComPtr<IErrorInfo> error;
  if (GetErrorInfo(0, error.put()) == S_OK && error) {
    error->GetSource(&info->bstrSource);
    error->GetDescription(&info->bstrDescription);
    error->GetHelpFile(&info->bstrHelpFile);
    error->GetHelpContext(&info->dwHelpContext);
  }
  if (!info->bstrDescription) info->bstrDescription = StatusSentence(hr);
}

struct ArgSlots {
  VARIANT values[kMaxParams];
  VARIANT* pointers[kMaxParams];
  ArgSlots() {
    for (size_t i = 0; i < kMaxParams; ++i) {
      VariantInit(&values[i]);
      pointers[i] = &values[i];
    }
  }
  ~ArgSlots() {
    for (VARIANT& v : values) VariantClear(&v);
  }
};

HRESULT InvokeMember(const Member& m, IDispatch* self, WORD flags, DISPPARAMS* dp,
                     VARIANT* result, EXCEPINFO* excep, UINT* arg_err) {
  bool put = flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF);
  // Named arguments: only the new value of a put.
  if (dp->cNamedArgs > 1 || (dp->cNamedArgs == 1 && (!put || !dp->rgdispidNamedArgs ||
                                                     dp->rgdispidNamedArgs[0] != DISPID_PROPERTYPUT))) {
    return DISP_E_NONAMEDARGS;
  }
  UINT declared = 0;  // parameters a caller passes (all but Retval)
  UINT required = 0;
  for (UINT i = 0; i < m.param_count; ++i) {
    if (m.params[i].dir == Dir::kRetval) continue;
    ++declared;
    if (!m.params[i].optional) required = declared;
  }
  // A caller that cannot pass by reference (JScript) leaves out a trailing
  // [out] parameter of a member without a retval: its value becomes the
  // call's result.
  UINT out_as_result = kMaxParams;
  if (!put && declared > 0 && declared == m.param_count && dp->cArgs + 1 == declared &&
      m.params[declared - 1].dir == Dir::kOut) {
    out_as_result = declared - 1;
    if (required == declared) required = declared - 1;
  }
  if (put && dp->cArgs == 0) return DISP_E_BADPARAMCOUNT;
  if (dp->cArgs > declared) return DISP_E_BADPARAMCOUNT;
  // For a put the value (rgvarg[0]) belongs to the last parameter; the others
  // are positional.
  UINT positional_given = put ? dp->cArgs - 1 : dp->cArgs;
  UINT positional_declared = put ? declared - 1 : declared;
  UINT positional_required = put ? (required ? required - 1 : 0) : required;
  if (positional_given < positional_required || positional_given > positional_declared) {
    return DISP_E_BADPARAMCOUNT;
  }

  ArgSlots slots;
  VARIANT* outs[kMaxParams] = {};  // caller's VT_BYREF arguments to write back
  VARIANT* retval = nullptr;
  for (UINT i = 0; i < m.param_count; ++i) {
    const Param& p = m.params[i];
    VARIANT* slot = &slots.values[i];
    if (p.dir == Dir::kRetval || i == out_as_result) {
      retval = slot;
      continue;
    }
    UINT rg = 0;
    VARIANT* arg = ArgumentFor(*dp, positional_given, i, put && i + 1 == declared, &rg);
    if (!arg) {
      if (!p.optional) return DISP_E_PARAMNOTOPTIONAL;
      if (p.dir != Dir::kIn) continue;  // an omitted optional [out]
      VARIANT def;
      HRESULT hr = DefaultValue(p, &def);
      if (FAILED(hr)) return hr;
      if (def.vt == VT_EMPTY || p.vt == VT_VARIANT) {
        *slot = def;
      } else {
        hr = VariantChangeType(slot, &def, 0, p.vt);
        VariantClear(&def);
        if (FAILED(hr)) return hr;
      }
      continue;
    }
    if (p.dir == Dir::kOut || p.dir == Dir::kInOut) {
      if (!(arg->vt & VT_BYREF) || !arg->byref) {
        if (arg_err) *arg_err = rg;
        return DISP_E_TYPEMISMATCH;
      }
      outs[i] = arg;
      if (p.dir == Dir::kOut) continue;
    }
    HRESULT hr;
    const VARIANT* value = (arg->vt & VT_BYREF) && (arg->vt & ~VT_BYREF) == VT_VARIANT
                               ? arg->pvarVal
                               : arg;
    // Scripts build arrays of VARIANTs: such an array is handed on as it is
    // where an array of interfaces is declared (the members accept both).
    const bool variant_array = (p.vt == (VT_ARRAY | VT_DISPATCH) ||
                                p.vt == (VT_ARRAY | VT_UNKNOWN)) &&
                               value && (value->vt & ~VT_BYREF) == (VT_ARRAY | VT_VARIANT);
    if (p.vt == VT_VARIANT || variant_array) {
      hr = VariantCopyInd(slot, arg);
    } else {
      hr = VariantChangeType(slot, arg, 0, p.vt);
    }
    if (FAILED(hr)) {
      if (arg_err) *arg_err = rg;
      return hr == DISP_E_OVERFLOW ? DISP_E_OVERFLOW : DISP_E_TYPEMISMATCH;
    }
  }

  SetErrorInfo(0, nullptr);  // no stale error info from an earlier call
  constexpr UINT kNoBadParam = ~0u;
  UINT bad = kNoBadParam;
  HRESULT hr;
  try {
    hr = m.thunk(self, m, slots.pointers, &bad);
  } catch (const std::bad_alloc&) {
    hr = E_OUTOFMEMORY;
  }
  if (hr == DISP_E_TYPEMISMATCH && bad != kNoBadParam && bad < m.param_count) {
    // An interface argument that does not answer QueryInterface.
    UINT rg = 0;
    if (ArgumentFor(*dp, positional_given, bad, put && bad + 1 == declared, &rg) && arg_err) {
      *arg_err = rg;
    }
    return DISP_E_TYPEMISMATCH;
  }
  if (FAILED(hr)) {
    if (!excep) return hr;
    FillException(hr, excep);
    return DISP_E_EXCEPTION;
  }
  for (UINT i = 0; i < m.param_count; ++i) {
    if (!outs[i]) continue;
    HRESULT w = WriteBack(outs[i], &slots.values[i]);
    if (FAILED(w)) return w;
  }
  if (retval) {
    if (result) {
      VariantClear(result);
      *result = *retval;
      retval->vt = VT_EMPTY;
    }
  } else if (result) {
    VariantClear(result);
  }
  return hr;
}

}  // namespace

const Member* Find(const Table& table, DISPID dispid, Kind kind) {
  for (size_t i = 0; i < table.count; ++i) {
    if (table.members[i].dispid == dispid && table.members[i].kind == kind) {
      return &table.members[i];
    }
  }
  return nullptr;
}

HRESULT GetIDsOfNames(const Table& table, REFIID riid, LPOLESTR* rgszNames, UINT cNames,
                      DISPID* rgDispId) {
  if (riid != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
  if (!rgszNames || !rgDispId) return E_POINTER;
  if (cNames == 0) return E_INVALIDARG;
  for (UINT i = 0; i < cNames; ++i) rgDispId[i] = DISPID_UNKNOWN;
  if (!rgszNames[0]) return DISP_E_UNKNOWNNAME;
  for (size_t i = 0; i < table.count; ++i) {
    if (NameEquals(table.members[i].name, rgszNames[0])) {
      rgDispId[0] = table.members[i].dispid;
      return cNames > 1 ? DISP_E_UNKNOWNNAME : S_OK;
    }
  }
  return DISP_E_UNKNOWNNAME;
}

HRESULT Invoke(const Table& table, IDispatch* self, DISPID dispIdMember, REFIID riid,
               WORD wFlags, DISPPARAMS* pDispParams, VARIANT* pVarResult,
               EXCEPINFO* pExcepInfo, UINT* puArgErr) {
  if (riid != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
  if (!pDispParams || (pDispParams->cArgs && !pDispParams->rgvarg)) return E_INVALIDARG;
  const Member* m = nullptr;
  if (wFlags & DISPATCH_PROPERTYPUTREF) {
    m = Find(table, dispIdMember, Kind::kPropPutRef);
  } else if (wFlags & DISPATCH_PROPERTYPUT) {
    m = Find(table, dispIdMember, Kind::kPropPut);
  } else {
    if (wFlags & DISPATCH_METHOD) m = Find(table, dispIdMember, Kind::kMethod);
    // A property get answers either flag (JScript's Enumerator asks for
    // _NewEnum with DISPATCH_METHOD alone).
    if (!m && (wFlags & (DISPATCH_PROPERTYGET | DISPATCH_METHOD))) {
      m = Find(table, dispIdMember, Kind::kPropGet);
    }
  }
  if (!m) {
    if (!(wFlags & (DISPATCH_METHOD | DISPATCH_PROPERTYGET | DISPATCH_PROPERTYPUT |
                    DISPATCH_PROPERTYPUTREF))) {
      return E_INVALIDARG;
    }
    return DISP_E_MEMBERNOTFOUND;
  }
  return InvokeMember(*m, self, wFlags, pDispParams, pVarResult, pExcepInfo, puArgErr);
}

}  // namespace dispatch
}  // namespace mlr
