#include "server/class_table.h"

#include <new>

#include "LegacyRecording.h"
#include "platform/com_ptr.h"
#include "reader/krf_loader.h"
#include "resampler/channel_resampler.h"
#include "server/class_factory.h"

namespace mlr::server {
namespace {

const ClassRow kRows[] = {
    {&CLSID_KrfLoader, 101, &reader::CreateKrfLoader, "KrfLoader Class",
     "Movaris.Legacy.KrfLoader.1", "Movaris.Legacy.KrfLoader"},
    // The middle words differ on purpose ("Legacy" and "Recording").
    {&CLSID_ChannelResampler, 102, &resampler::CreateChannelResamplerInstance, "ChannelResampler Class",
     "Movaris.Recording.ChannelResampler.1", "Movaris.Recording.ChannelResampler"},
};
constexpr size_t kRowCount = sizeof kRows / sizeof kRows[0];

CRITICAL_SECTION g_lock;
bool g_initialised = false;
IClassFactory* g_cached[kRowCount] = {};  // guarded by g_lock; one reference each

}  // namespace

const ClassRow* ClassRows(size_t* count) {
  *count = kRowCount;
  return kRows;
}

void InitClassObjects() {
  if (g_initialised) return;
  InitializeCriticalSection(&g_lock);
  g_initialised = true;
}

void ReleaseClassObjects() {
  if (!g_initialised) return;
  IClassFactory* dropped[kRowCount];
  EnterCriticalSection(&g_lock);
  for (size_t i = 0; i < kRowCount; ++i) {
    dropped[i] = g_cached[i];
    g_cached[i] = nullptr;
  }
  LeaveCriticalSection(&g_lock);
  for (IClassFactory* factory : dropped) {
    if (factory) factory->Release();
  }
  DeleteCriticalSection(&g_lock);
  g_initialised = false;
}

HRESULT GetClassObject(REFCLSID clsid, REFIID riid, void** ppv) {
  if (!ppv) return E_POINTER;
  *ppv = nullptr;
  size_t row = 0;
  while (row < kRowCount && (*kRows[row].clsid != clsid || !kRows[row].create)) ++row;
  if (row == kRowCount) return CLASS_E_CLASSNOTAVAILABLE;
  if (!g_initialised) return E_UNEXPECTED;
  ComPtr<IClassFactory> factory;
  EnterCriticalSection(&g_lock);
  if (!g_cached[row]) {
    auto* created = new (std::nothrow) ClassFactory(kRows[row].create);
    if (created) {
      created->AddRef();
      g_cached[row] = created;
    }
  }
  factory.assign(g_cached[row]);
  LeaveCriticalSection(&g_lock);
  if (!factory) return E_OUTOFMEMORY;
  return factory->QueryInterface(riid, ppv);
}

}  // namespace mlr::server
