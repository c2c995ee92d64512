// Costs of the automation runtime on the paths the library uses per call:
// a late-bound property get through the dispatch table, argument conversion,
// BSTR allocation and SAFEARRAY element access against a plain loop.
#include "platform/dispatch.h"
#include "platform/ref_count.h"
#include "platform/win.h"

#include <benchmark/benchmark.h>

#include <vector>

struct IBench : public IDispatch {
  virtual HRESULT STDMETHODCALLTYPE get_Value(LONG* pVal) = 0;
  virtual HRESULT STDMETHODCALLTYPE Add(double a, double b, double* pVal) = 0;
};

namespace {

constexpr mlr::dispatch::Member kBenchMembers[] = {
    MLR_DISP_PROPGET(IBench, get_Value, "Value", 1),
    MLR_DISP_METHOD(IBench, Add, "Add", 2),
};
constexpr mlr::dispatch::Table kBenchTable = MLR_DISP_TABLE(IBench, kBenchMembers);

class Bench final : public mlr::DispatchImpl<IBench, &kBenchTable> {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** ppv) override {
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE get_Value(LONG* pVal) override {
    *pVal = 7;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Add(double a, double b, double* pVal) override {
    *pVal = a + b;
    return S_OK;
  }
};

void BM_DirectCall(benchmark::State& state) {
  Bench b;
  IBench* p = &b;
  LONG v;
  for (auto _ : state) {
    p->get_Value(&v);
    benchmark::DoNotOptimize(v);
  }
}
BENCHMARK(BM_DirectCall);

void BM_InvokePropertyGet(benchmark::State& state) {
  Bench b;
  IDispatch* d = &b;
  DISPPARAMS none = {nullptr, nullptr, 0, 0};
  VARIANT result;
  VariantInit(&result);
  for (auto _ : state) {
    d->Invoke(1, IID_NULL, 0, DISPATCH_PROPERTYGET, &none, &result, nullptr, nullptr);
    benchmark::DoNotOptimize(result.lVal);
  }
}
BENCHMARK(BM_InvokePropertyGet);

void BM_InvokeMethodWithConversions(benchmark::State& state) {
  Bench b;
  IDispatch* d = &b;
  VARIANT args[2];
  args[0].vt = VT_I4;
  args[0].lVal = 3;
  args[1].vt = VT_BSTR;
  args[1].bstrVal = SysAllocString(OLESTR("1.5"));
  DISPPARAMS dp = {args, nullptr, 2, 0};
  VARIANT result;
  VariantInit(&result);
  for (auto _ : state) {
    d->Invoke(2, IID_NULL, 0, DISPATCH_METHOD, &dp, &result, nullptr, nullptr);
    benchmark::DoNotOptimize(result.dblVal);
  }
  VariantClear(&args[1]);
}
BENCHMARK(BM_InvokeMethodWithConversions);

void BM_BstrAllocFree(benchmark::State& state) {
  for (auto _ : state) {
    BSTR s = SysAllocString(OLESTR("MuxData02"));
    benchmark::DoNotOptimize(s);
    SysFreeString(s);
  }
}
BENCHMARK(BM_BstrAllocFree);

void BM_ChangeTypeR8ToI4(benchmark::State& state) {
  VARIANT src, dst;
  src.vt = VT_R8;
  src.dblVal = 12345.5;
  VariantInit(&dst);
  for (auto _ : state) {
    VariantChangeType(&dst, &src, 0, VT_I4);
    benchmark::DoNotOptimize(dst.lVal);
  }
}
BENCHMARK(BM_ChangeTypeR8ToI4);

// Summing a 1M-element VT_R8 vector: through SafeArrayGetElement, through
// SafeArrayAccessData, and a plain std::vector (the physical limit).
constexpr LONG kElements = 1 << 20;

void BM_SafeArrayGetElement(benchmark::State& state) {
  SAFEARRAY* psa = SafeArrayCreateVector(VT_R8, 0, kElements);
  for (auto _ : state) {
    double sum = 0, v;
    for (LONG i = 0; i < kElements; ++i) {
      SafeArrayGetElement(psa, &i, &v);
      sum += v;
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetBytesProcessed(state.iterations() * kElements * sizeof(double));
  SafeArrayDestroy(psa);
}
BENCHMARK(BM_SafeArrayGetElement);

void BM_SafeArrayAccessData(benchmark::State& state) {
  SAFEARRAY* psa = SafeArrayCreateVector(VT_R8, 0, kElements);
  for (auto _ : state) {
    double* data;
    SafeArrayAccessData(psa, reinterpret_cast<void**>(&data));
    double sum = 0;
    for (LONG i = 0; i < kElements; ++i) sum += data[i];
    SafeArrayUnaccessData(psa);
    benchmark::DoNotOptimize(sum);
  }
  state.SetBytesProcessed(state.iterations() * kElements * sizeof(double));
  SafeArrayDestroy(psa);
}
BENCHMARK(BM_SafeArrayAccessData);

void BM_PlainVector(benchmark::State& state) {
  std::vector<double> data(kElements);
  for (auto _ : state) {
    double sum = 0;
    for (double v : data) sum += v;
    benchmark::DoNotOptimize(sum);
  }
  state.SetBytesProcessed(state.iterations() * kElements * sizeof(double));
}
BENCHMARK(BM_PlainVector);

}  // namespace

BENCHMARK_MAIN();
