// The table-driven IDispatch end to end, through a small sample interface:
// names, property put errors, methods with [out] and optional arguments,
// retval, DISPID_NEWENUM, errors with EXCEPINFO and argument positions.
#include "platform/com_ptr.h"
#include "platform/dispatch.h"
#include "platform/error_info.h"
#include "platform/ref_count.h"
#include "platform/win.h"
#include "tests/platform/test_objects.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

struct ISample : public IDispatch {
  virtual HRESULT STDMETHODCALLTYPE put_Enabled(VARIANT_BOOL newVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE Scale(double value, LONG* rounded, SHORT factor,
                                          double* result) = 0;
  virtual HRESULT STDMETHODCALLTYPE Describe(VARIANT what, BSTR prefix, BSTR* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE Fail(LONG code) = 0;
  virtual HRESULT STDMETHODCALLTYPE Swap(LONG* a, BSTR* b) = 0;
  virtual HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** ppEnum) = 0;
  virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
  virtual HRESULT STDMETHODCALLTYPE Combine(ISample* other, SAFEARRAY** items, DATE when,
                                            LONG* pVal) = 0;
};

inline constexpr IID IID_ISample = {
    0x4B5246FF, 0x0001, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
MLR_DECLARE_IID(ISample, IID_ISample)

namespace {

constexpr mlr::dispatch::Member kSampleMembers[] = {
    MLR_DISP_PROPPUT(ISample, put_Enabled, "Enabled", 2, InBool),
    MLR_DISP_METHOD(ISample, Scale, "Scale", 4, In, Out, Opt(10), Retval),
    MLR_DISP_METHOD(ISample, Describe, "Describe", 5, Opt(), Opt(OLESTR("<")), Retval),
    MLR_DISP_METHOD(ISample, Fail, "Fail", 6),
    MLR_DISP_METHOD(ISample, Swap, "Swap", 7, InOut, InOut),
    MLR_DISP_PROPGET(ISample, get__NewEnum, "_NewEnum", DISPID_NEWENUM),
    MLR_DISP_METHOD(ISample, Reset, "Reset", 8),
    MLR_DISP_METHOD(ISample, Combine, "Combine", 9, In, In.As(VT_ARRAY | VT_I4), InDate, Retval),
};
constexpr mlr::dispatch::Table kSampleTable = MLR_DISP_TABLE(ISample, kSampleMembers);

class Sample final : public mlr::DispatchImpl<ISample, &kSampleTable>,
                     public mlr::SupportErrorInfoImpl<ISample> {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
    if (!ppv) return E_POINTER;
    if (riid == IID_IUnknown || riid == IID_IDispatch || riid == IID_ISample) {
      *ppv = static_cast<ISample*>(this);
    } else if (riid == IID_ISupportErrorInfo) {
      *ppv = static_cast<ISupportErrorInfo*>(this);
    } else {
      *ppv = nullptr;
      return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return refs_.AddRef(); }
  ULONG STDMETHODCALLTYPE Release() override { return refs_.Release(); }  // stack object

  HRESULT STDMETHODCALLTYPE put_Enabled(VARIANT_BOOL) override { return S_OK; }
  HRESULT STDMETHODCALLTYPE Scale(double value, LONG* rounded, SHORT factor,
                                  double* result) override {
    *rounded = static_cast<LONG>(value + 0.5);
    *result = value * factor;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Describe(VARIANT what, BSTR prefix, BSTR* pVal) override {
    std::u16string s = prefix ? prefix : u"";
    if (what.vt == VT_ERROR && what.scode == DISP_E_PARAMNOTFOUND) {
      s += u"missing";
    } else {
      VARIANT text;
      VariantInit(&text);
      if (FAILED(VariantChangeType(&text, &what, 0, VT_BSTR))) return E_INVALIDARG;
      s += text.bstrVal;
      VariantClear(&text);
    }
    *pVal = SysAllocString(s.c_str());
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Fail(LONG code) override {
    if (code == 0) return E_FAIL;  // no error info
    return mlr::ReportError(MAKE_HRESULT(1, FACILITY_ITF, code), IID_ISample, OLESTR("Sample"),
                            OLESTR("It failed"));
  }
  HRESULT STDMETHODCALLTYPE Swap(LONG* a, BSTR* b) override {
    *a += 1;
    SysFreeString(*b);
    *b = SysAllocString(OLESTR("swapped"));
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** ppEnum) override {
    *ppEnum = static_cast<IUnknown*>(&item);
    item.AddRef();
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Reset() override {
    ++resets;
    return S_OK;
  }
  // Counts the other object (1 when it is this one), plus the sum of the
  // array, plus the whole days of the date.
  HRESULT STDMETHODCALLTYPE Combine(ISample* other, SAFEARRAY** items, DATE when,
                                    LONG* pVal) override {
    LONG sum = other == static_cast<ISample*>(this) ? 1 : 0;
    LONG* data = nullptr;
    if (items && *items && SUCCEEDED(SafeArrayAccessData(*items, reinterpret_cast<void**>(&data)))) {
      for (ULONG i = 0; i < (*items)->rgsabound[0].cElements; ++i) sum += data[i];
      SafeArrayUnaccessData(*items);
    }
    *pVal = sum + static_cast<LONG>(when);
    return S_OK;
  }

  CountedObject item;
  int resets = 0;
  mlr::RefCount refs_{1};
};

// Calls Invoke with arguments given in natural order.
struct Call {
  HRESULT hr;
  VARIANT result;
  EXCEPINFO excep;
  UINT arg_err;
};

Call Invoke(IDispatch* d, DISPID id, WORD flags, std::vector<VARIANT> args, bool named_put = false) {
  std::vector<VARIANT> reversed(args.rbegin(), args.rend());
  DISPID put = DISPID_PROPERTYPUT;
  DISPPARAMS dp = {reversed.data(), named_put ? &put : nullptr,
                   static_cast<UINT>(reversed.size()), named_put ? 1u : 0u};
  Call c;
  VariantInit(&c.result);
  c.excep = EXCEPINFO{};
  c.arg_err = 999;
  c.hr = d->Invoke(id, IID_NULL, 0, flags, &dp, &c.result, &c.excep, &c.arg_err);
  for (VARIANT& v : reversed) VariantClear(&v);  // the caller's arguments
  return c;
}

VARIANT V(LONG v) { return I4(v); }
VARIANT V(const char16_t* s) { return Str(s); }

class DispatchTest : public ::testing::Test {
 protected:
  void TearDown() override {
    EXPECT_EQ(sample.refs_.Peek(), 1u);
    EXPECT_EQ(sample.item.Count(), 1u);
  }
  Sample sample;
  IDispatch* disp = static_cast<ISample*>(&sample);
};

TEST_F(DispatchTest, NamesAreCaseInsensitive) {
  DISPID id = 0;
  LPOLESTR name = const_cast<LPOLESTR>(OLESTR("sCALE"));
  EXPECT_EQ(disp->GetIDsOfNames(IID_NULL, &name, 1, 0, &id), S_OK);
  EXPECT_EQ(id, 4);
  LPOLESTR unknown = const_cast<LPOLESTR>(OLESTR("Nope"));
  EXPECT_EQ(disp->GetIDsOfNames(IID_NULL, &unknown, 1, 0, &id), DISP_E_UNKNOWNNAME);
  EXPECT_EQ(id, DISPID_UNKNOWN);
  LPOLESTR two[2] = {name, const_cast<LPOLESTR>(OLESTR("value"))};
  DISPID ids[2];
  EXPECT_EQ(disp->GetIDsOfNames(IID_NULL, two, 2, 0, ids), DISP_E_UNKNOWNNAME);
  EXPECT_EQ(ids[0], 4);
  EXPECT_EQ(ids[1], DISPID_UNKNOWN);
  EXPECT_EQ(disp->GetIDsOfNames(IID_IDispatch, &name, 1, 0, &id), DISP_E_UNKNOWNINTERFACE);
  UINT count = 9;
  EXPECT_EQ(disp->GetTypeInfoCount(&count), S_OK);
  EXPECT_EQ(count, 0u);
}

TEST_F(DispatchTest, MethodWithOutOptionalAndRetval) {
  LONG rounded = 0;
  VARIANT out = RefI4(&rounded);
  Call c = Invoke(disp, 4, DISPATCH_METHOD, {V(u"2.75"), out});
  ASSERT_EQ(c.hr, S_OK);
  EXPECT_EQ(rounded, 3);
  EXPECT_EQ(c.result.vt, VT_R8);
  EXPECT_DOUBLE_EQ(c.result.dblVal, 27.5);  // default factor 10

  // An [out] through a by-reference VARIANT of another type is converted.
  VARIANT holder = Str(u"old");  // freed by the write-back
  c = Invoke(disp, 4, DISPATCH_METHOD, {V(4), RefVariant(&holder), V(3)});
  ASSERT_EQ(c.hr, S_OK);
  EXPECT_EQ(holder.vt, VT_I4);
  EXPECT_EQ(holder.lVal, 4);
  EXPECT_DOUBLE_EQ(c.result.dblVal, 12.0);

  // Explicitly missing optional argument takes the default.
  c = Invoke(disp, 4, DISPATCH_METHOD, {V(1), out, Missing()});
  ASSERT_EQ(c.hr, S_OK);
  EXPECT_DOUBLE_EQ(c.result.dblVal, 10.0);

  // An [out] given by value is refused, pointing at its position.
  c = Invoke(disp, 4, DISPATCH_METHOD, {V(1), V(2)});
  EXPECT_EQ(c.hr, DISP_E_TYPEMISMATCH);
  EXPECT_EQ(c.arg_err, 0u);  // rgvarg index of the second of two arguments
}

TEST_F(DispatchTest, VariantParameterSeesMissingArguments) {
  Call c = Invoke(disp, 5, DISPATCH_METHOD, {});
  ASSERT_EQ(c.hr, S_OK);
  EXPECT_EQ(TextOf(c.result.bstrVal), u"<missing");
  VariantClear(&c.result);
  c = Invoke(disp, 5, DISPATCH_METHOD, {V(7), V(u"#")});
  ASSERT_EQ(c.hr, S_OK);
  EXPECT_EQ(TextOf(c.result.bstrVal), u"#7");
  VariantClear(&c.result);
}

TEST_F(DispatchTest, InOutArgumentsAreReadAndWrittenBack) {
  LONG a = 41;
  BSTR b = SysAllocString(OLESTR("before"));
  VARIANT vb = MakeVariant(VT_BYREF | VT_BSTR);
  vb.pbstrVal = &b;
  Call c = Invoke(disp, 7, DISPATCH_METHOD, {RefI4(&a), vb});
  ASSERT_EQ(c.hr, S_OK);
  EXPECT_EQ(a, 42);
  EXPECT_EQ(std::u16string(b), u"swapped");
  SysFreeString(b);
}

TEST_F(DispatchTest, FailingMemberBecomesException) {
  Call c = Invoke(disp, 6, DISPATCH_METHOD, {V(10001)});
  ASSERT_EQ(c.hr, DISP_E_EXCEPTION);
  EXPECT_EQ(c.excep.scode, MAKE_HRESULT(1, FACILITY_ITF, 10001));
  EXPECT_EQ(TextOf(c.excep.bstrSource), u"Sample");
  EXPECT_EQ(TextOf(c.excep.bstrDescription), u"It failed");
  SysFreeString(c.excep.bstrSource);
  SysFreeString(c.excep.bstrDescription);
  SysFreeString(c.excep.bstrHelpFile);
  // The error info was handed to EXCEPINFO: nothing remains on the thread.
  IErrorInfo* left = nullptr;
  EXPECT_EQ(GetErrorInfo(0, &left), S_FALSE);

  // A failure without error info still gives the code, described by a plain
  // sentence for script clients; stale info from an earlier call is not
  // reported.
  mlr::ReportError(E_FAIL, IID_ISample, OLESTR("stale"), OLESTR("stale"));
  c = Invoke(disp, 6, DISPATCH_METHOD, {V(0)});
  ASSERT_EQ(c.hr, DISP_E_EXCEPTION);
  EXPECT_EQ(c.excep.scode, E_FAIL);
  EXPECT_EQ(c.excep.bstrSource, nullptr);
  EXPECT_EQ(TextOf(c.excep.bstrDescription), u"The operation failed (status 0x80004005).");
  SysFreeString(c.excep.bstrDescription);

  // Without EXCEPINFO the member's code comes back.
  VARIANT arg = V(0);
  DISPPARAMS dp = {&arg, nullptr, 1, 0};
  EXPECT_EQ(disp->Invoke(6, IID_NULL, 0, DISPATCH_METHOD, &dp, nullptr, nullptr, nullptr), E_FAIL);

  ISupportErrorInfo* support = nullptr;
  ASSERT_EQ(sample.QueryInterface(IID_ISupportErrorInfo, reinterpret_cast<void**>(&support)), S_OK);
  EXPECT_EQ(support->InterfaceSupportsErrorInfo(IID_ISample), S_OK);
  EXPECT_EQ(support->InterfaceSupportsErrorInfo(IID_IDispatch), S_FALSE);
  support->Release();
}

TEST_F(DispatchTest, DispatchErrors) {
  EXPECT_EQ(Invoke(disp, 99, DISPATCH_METHOD, {}).hr, DISP_E_MEMBERNOTFOUND);
  EXPECT_EQ(Invoke(disp, 4, DISPATCH_PROPERTYGET, {}).hr, DISP_E_MEMBERNOTFOUND);
  EXPECT_EQ(Invoke(disp, 6, DISPATCH_METHOD, {}).hr, DISP_E_BADPARAMCOUNT);
  EXPECT_EQ(Invoke(disp, 6, DISPATCH_METHOD, {Missing()}).hr, DISP_E_PARAMNOTOPTIONAL);
  EXPECT_EQ(Invoke(disp, 6, DISPATCH_METHOD, {V(1), V(2)}).hr, DISP_E_BADPARAMCOUNT);
  EXPECT_EQ(Invoke(disp, 8, DISPATCH_METHOD, {V(1)}).hr, DISP_E_BADPARAMCOUNT);
  // A put with no value, and a put of a property that has only a get.
  EXPECT_EQ(Invoke(disp, 2, DISPATCH_PROPERTYPUT, {}).hr, DISP_E_BADPARAMCOUNT);
  EXPECT_EQ(Invoke(disp, DISPID_NEWENUM, DISPATCH_PROPERTYPUT, {V(1)}, true).hr, DISP_E_MEMBERNOTFOUND);

  Call c = Invoke(disp, 4, DISPATCH_METHOD, {V(u"abc"), V(0)});
  EXPECT_EQ(c.hr, DISP_E_TYPEMISMATCH);
  EXPECT_EQ(c.arg_err, 1u);  // the first of two arguments is rgvarg[1]
  LONG r;
  c = Invoke(disp, 4, DISPATCH_METHOD, {V(1), RefI4(&r), V(100000)});
  EXPECT_EQ(c.hr, DISP_E_OVERFLOW);
  EXPECT_EQ(c.arg_err, 0u);

  // Named arguments other than the put value are not supported.
  VARIANT arg = V(1);
  DISPID named = 0;
  DISPPARAMS dp = {&arg, &named, 1, 1};
  EXPECT_EQ(disp->Invoke(6, IID_NULL, 0, DISPATCH_METHOD, &dp, nullptr, nullptr, nullptr),
            DISP_E_NONAMEDARGS);
  DISPPARAMS none = {nullptr, nullptr, 0, 0};
  EXPECT_EQ(disp->Invoke(8, IID_IUnknown, 0, DISPATCH_METHOD, &none, nullptr, nullptr, nullptr),
            DISP_E_UNKNOWNINTERFACE);
  EXPECT_EQ(disp->Invoke(8, IID_NULL, 0, DISPATCH_METHOD, &none, nullptr, nullptr, nullptr), S_OK);
  EXPECT_EQ(sample.resets, 1);
}

TEST_F(DispatchTest, InterfaceArrayAndDateArguments) {
  SAFEARRAY* items = SafeArrayCreateVector(VT_I4, 0, 3);
  for (LONG i = 0; i < 3; ++i) {
    LONG v = 10 * (i + 1);
    SafeArrayPutElement(items, &i, &v);
  }
  // The helper clears the arguments: each owns a reference or the array.
  VARIANT self = Object(VT_DISPATCH, disp);
  disp->AddRef();
  Call c = Invoke(disp, 9, DISPATCH_METHOD, {self, Array(VT_I4, items), V(u"1900-01-01")});
  ASSERT_EQ(c.hr, S_OK);
  EXPECT_EQ(c.result.lVal, 1 + 60 + 2);

  // An object that does not implement the interface is a type mismatch at
  // its position; so is an array of another element type.
  sample.item.AddRef();
  c = Invoke(disp, 9, DISPATCH_METHOD, {Object(VT_DISPATCH, &sample.item),
                                        Array(VT_I4, SafeArrayCreateVector(VT_I4, 0, 1)), V(0)});
  EXPECT_EQ(c.hr, DISP_E_TYPEMISMATCH);
  EXPECT_EQ(c.arg_err, 2u);
  disp->AddRef();
  c = Invoke(disp, 9, DISPATCH_METHOD, {self, Array(VT_R8, SafeArrayCreateVector(VT_R8, 0, 1)), V(0)});
  EXPECT_EQ(c.hr, DISP_E_TYPEMISMATCH);
  EXPECT_EQ(c.arg_err, 1u);
}

TEST_F(DispatchTest, NewEnumAnswersGetAndMethod) {
  // Script engines ask with DISPATCH_METHOD alone.
  for (WORD flags : {WORD{DISPATCH_PROPERTYGET}, WORD{DISPATCH_METHOD},
                     WORD{DISPATCH_METHOD | DISPATCH_PROPERTYGET}}) {
    Call c = Invoke(disp, DISPID_NEWENUM, flags, {});
    ASSERT_EQ(c.hr, S_OK);
    EXPECT_EQ(c.result.vt, VT_UNKNOWN);
    EXPECT_NE(c.result.punkVal, nullptr);
    VariantClear(&c.result);
  }
}

}  // namespace
