// The class object of one creatable class: an IClassFactory over the class's
// creation routine. CreateInstance creates a plain instance when `outer` is
// null and an aggregated one otherwise (the routine decides what it
// supports); LockServer(TRUE/FALSE) adds or removes one module lock. The
// object counts its own references (starting at 0) and deletes itself at
// zero; it does not hold the module. Free-threaded.
#pragma once

#include "platform/ref_count.h"
#include "platform/win.h"
#include "server/class_table.h"

namespace mlr::server {

class ClassFactory final : public IClassFactory {
 public:
  explicit ClassFactory(CreateRoutine create) : create_(create) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID riid, void** ppv) override;
  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override;

 private:
  ~ClassFactory() = default;
  mlr::RefCount refs_{0};
  const CreateRoutine create_;
};

}  // namespace mlr::server
