// A client that sees only the installed headers and the shared library: it
// creates the loader through the exported class-object entry point, opens a
// recording given on the command line and prints its channel-group count,
// then checks a module function and frees a runtime string, and reads
// scaled data through a group member and a sample through a channel member,
// which reach their module functions through the library's own entry table.
#include <LegacyRecording.h>

#include <cstdio>

extern "C" HRESULT DllGetClassObject(REFCLSID, REFIID, void**);

// Frames of IChannelGroup::GetScaledMuxData for 10 samples of channel 1 of
// group 1, or -1.
static LONG ScaledFrames(IChannelGroups* groups) {
  IChannelGroup* group = nullptr;
  IChannelInfos* infos = nullptr;
  IChannelInfo* channel = nullptr;
  LONG frames = -1;
  if (SUCCEEDED(groups->get_Item(1, &group)) && group &&
      SUCCEEDED(group->get_ChannelInfos(&infos)) && infos &&
      SUCCEEDED(infos->get_Item(1, &channel)) && channel) {
    SAFEARRAY* selection = SafeArrayCreateVector(VT_UNKNOWN, 0, 1);
    LONG index = 0;
    SafeArrayPutElement(selection, &index, channel);
    SAFEARRAY* result = nullptr;
    if (group->GetScaledMuxData(&selection, 1, 1, 10, 1, &result) == S_OK && result) {
      LONG lower = 0, upper = -1;
      SafeArrayGetLBound(result, 2, &lower);
      SafeArrayGetUBound(result, 2, &upper);
      frames = upper - lower + 1;
      SafeArrayDestroy(result);
    }
    SafeArrayDestroy(selection);
  }
  if (channel) channel->Release();
  if (infos) infos->Release();
  if (group) group->Release();
  return frames;
}

// IChannelInfo::GetSampleAtTime of channel 1 of group 2 at 0.25 s, which
// also reaches its module function through the entry table, or -1.
static int SampleAt(IChannelGroups* groups) {
  IChannelGroup* group = nullptr;
  IChannelInfos* infos = nullptr;
  IChannelInfo* channel = nullptr;
  short sample = -1;
  if (SUCCEEDED(groups->get_Item(2, &group)) && group &&
      SUCCEEDED(group->get_ChannelInfos(&infos)) && infos &&
      SUCCEEDED(infos->get_Item(1, &channel)) && channel &&
      channel->GetSampleAtTime(0.25, &sample) != S_OK) {
    sample = -1;
  }
  if (channel) channel->Release();
  if (infos) infos->Release();
  if (group) group->Release();
  return sample;
}

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
  LONG scaled = -1;
  int sample = -1;
  if (SUCCEEDED(recording->get_ChannelGroups(&groups)) && groups) {
    groups->get_Count(&count);
    scaled = ScaledFrames(groups);
    sample = SampleAt(groups);
    groups->Release();
  }
  recording->Release();
  std::printf("groups %d void %d scaled %d sample %d\n", static_cast<int>(count),
              IsVoidNumber(1.0) == VARIANT_FALSE ? 0 : 1, static_cast<int>(scaled), sample);
  return 0;
}
