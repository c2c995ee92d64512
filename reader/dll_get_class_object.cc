// DllGetClassObject: the class objects this library serves, KrfLoader and
// ChannelResampler; the component frame adds its module state around them.
#include "platform/export.h"
#include "platform/win.h"
#include "LegacyRecording.h"
#include "reader/krf_loader.h"
#include "resampler/channel_resampler.h"

MLR_API HRESULT DllGetClassObject(REFCLSID rclsid, REFIID riid, LPVOID* ppv) {
  if (!ppv) return E_POINTER;
  *ppv = nullptr;
  if (rclsid == CLSID_KrfLoader) return mlr::reader::GetKrfLoaderClassObject(riid, ppv);
  if (rclsid == CLSID_ChannelResampler) {
    return mlr::resampler::GetChannelResamplerClassObject(riid, ppv);
  }
  return CLASS_E_CLASSNOTAVAILABLE;
}
