#include "save/interface_table.h"

namespace mlr::save {
namespace {

ComPtr<IGlobalInterfaceTable> Table() {
  ComPtr<IGlobalInterfaceTable> table;
  if (FAILED(CoCreateInstance(CLSID_StdGlobalInterfaceTable, nullptr, CLSCTX_INPROC_SERVER,
                              IID_IGlobalInterfaceTable, table.put_void()))) {
    table.reset();
  }
  return table;
}

}  // namespace

HRESULT RegisterInTable(IUnknown* object, REFIID iid, DWORD* cookie) {
  *cookie = 0;
  ComPtr<IGlobalInterfaceTable> table = Table();
  if (!table) return E_FAIL;
  return table->RegisterInterfaceInGlobal(object, iid, cookie);
}

HRESULT FetchFromTable(DWORD cookie, REFIID iid, void** out) {
  *out = nullptr;
  if (cookie == 0) return E_INVALIDARG;
  ComPtr<IGlobalInterfaceTable> table = Table();
  if (!table) return E_FAIL;
  return table->GetInterfaceFromGlobal(cookie, iid, out);
}

void RevokeFromTable(DWORD* cookie) {
  if (*cookie == 0) return;
  if (ComPtr<IGlobalInterfaceTable> table = Table()) table->RevokeInterfaceFromGlobal(*cookie);
  *cookie = 0;
}

}  // namespace mlr::save
