// Compile-time checks of the platform headers: layout of the automation
// structures as on 64-bit Windows, GUID constants, and that dispatch tables
// resolve their parameter types at compile time (their vtable slots are
// checked at run time by dispatch_test.cc).
#include "platform/com_ptr.h"
#include "platform/dispatch.h"
#include "platform/win.h"

#include <cstddef>

static_assert(sizeof(LONG) == 4 && sizeof(ULONG) == 4 && sizeof(DWORD) == 4);
static_assert(sizeof(OLECHAR) == 2 && sizeof(VARIANT_BOOL) == 2 && sizeof(DATE) == 8);
static_assert(sizeof(GUID) == 16);
static_assert(sizeof(VARIANT) == 24 && offsetof(VARIANT, lVal) == 8);
static_assert(sizeof(DECIMAL) == 16);
static_assert(sizeof(PROPVARIANT) == 24 && offsetof(PROPVARIANT, pwszVal) == 8);
static_assert(sizeof(SAFEARRAY) == 32 && offsetof(SAFEARRAY, rgsabound) == 24);
static_assert(sizeof(FILETIME) == 8 && sizeof(SYSTEMTIME) == 16);
static_assert(sizeof(STATSTG) == 80);
static_assert(sizeof(EXCEPINFO) == 64);
static_assert(sizeof(LARGE_INTEGER) == 8 && sizeof(CY) == 8);
static_assert(E_FAIL == static_cast<HRESULT>(0x80004005u));
static_assert(FAILED(DISP_E_EXCEPTION) && SUCCEEDED(S_FALSE));
static_assert(MAKE_HRESULT(1, FACILITY_ITF, 10001) == static_cast<HRESULT>(0x80042711u));
static_assert(HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND) == static_cast<HRESULT>(0x80070002u));
static_assert(IID_IUnknown != IID_IDispatch && IID_IDispatch == IID_IDispatch);

namespace {

struct ISample : public IDispatch {
  virtual HRESULT STDMETHODCALLTYPE get_Name(BSTR* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE put_Name(BSTR newVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE get_Flag(VARIANT_BOOL* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE Compute(LONG a, double b, VARIANT opt, LONG* out,
                                            double* result) = 0;
};

constexpr mlr::dispatch::Member kSampleMembers[] = {
    MLR_DISP_PROPGET(ISample, get_Name, "Name", 1),
    MLR_DISP_PROPPUT(ISample, put_Name, "Name", 1),
    MLR_DISP_PROPGET(ISample, get_Flag, "Flag", 2, RetBool),
    MLR_DISP_METHOD(ISample, Compute, "Compute", 3, In, InDate, Opt(7), Out, Retval),
};
constexpr mlr::dispatch::Table kSampleTable = MLR_DISP_TABLE(ISample, kSampleMembers);

using mlr::dispatch::Dir;
static_assert(kSampleTable.count == 4);
static_assert(kSampleMembers[0].params[0].dir == Dir::kRetval);
static_assert(kSampleMembers[0].params[0].vt == VT_BSTR);
static_assert(kSampleMembers[1].params[0].dir == Dir::kIn);
static_assert(kSampleMembers[2].params[0].vt == VT_BOOL);
static_assert(kSampleMembers[3].param_count == 5);
static_assert(kSampleMembers[3].params[1].vt == VT_DATE);
static_assert(kSampleMembers[3].params[2].optional && kSampleMembers[3].params[2].def.i == 7);
static_assert(kSampleMembers[3].params[3].dir == Dir::kOut);

}  // namespace
