// A client that sees only the installed headers and the shared library: it
// creates the loader through the exported class-object entry point, opens a
// recording given on the command line and prints its channel-group count,
// then checks a module function and frees a runtime string.
#include <LegacyRecording.h>

#include <cstdio>

extern "C" HRESULT DllGetClassObject(REFCLSID, REFIID, void**);

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  IClassFactory* factory = nullptr;
  HRESULT hr = DllGetClassObject(CLSID_KrfLoader, IID_IClassFactory,
                                 reinterpret_cast<void**>(&factory));
  if (FAILED(hr)) return std::printf("DllGetClassObject: 0x%08X\n", static_cast<unsigned>(hr)), 1;
  IKrfLoader* loader = nullptr;
  hr = factory->CreateInstance(nullptr, IID_IKrfLoader, reinterpret_cast<void**>(&loader));
  factory->Release();
  if (FAILED(hr)) return std::printf("CreateInstance: 0x%08X\n", static_cast<unsigned>(hr)), 1;

  int length = 0;
  while (argv[1][length]) ++length;
  BSTR path = SysAllocStringLen(nullptr, static_cast<UINT>(length));
  for (int i = 0; i < length; ++i) path[i] = static_cast<OLECHAR>(argv[1][i]);
  IRecording* recording = nullptr;
  hr = loader->OpenRecording(path, &recording);
  SysFreeString(path);
  loader->Release();
  if (FAILED(hr)) return std::printf("OpenRecording: 0x%08X\n", static_cast<unsigned>(hr)), 1;

  IChannelGroups* groups = nullptr;
  LONG count = -1;
  if (SUCCEEDED(recording->get_ChannelGroups(&groups)) && groups) {
    groups->get_Count(&count);
    groups->Release();
  }
  recording->Release();
  std::printf("groups %d void %d\n", static_cast<int>(count),
              IsVoidNumber(1.0) == VARIANT_FALSE ? 0 : 1);
  return 0;
}
