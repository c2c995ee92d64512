// DllGetClassObject: the class objects this library serves. KrfLoader is
// served here; the component frame adds its other classes.
#include "platform/export.h"
#include "platform/win.h"
#include "LegacyRecording.h"
#include "reader/krf_loader.h"

MLR_API HRESULT DllGetClassObject(REFCLSID rclsid, REFIID riid, LPVOID* ppv) {
  if (!ppv) return E_POINTER;
  *ppv = nullptr;
  if (rclsid == CLSID_KrfLoader) return mlr::reader::GetKrfLoaderClassObject(riid, ppv);
  return CLASS_E_CLASSNOTAVAILABLE;
}
