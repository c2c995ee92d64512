// A Windows client of movaLegacyRecording.dll, run under Wine by
// tests/windows/run_wine_tests.sh.
//   mlr_client RECORDING
// creates the loader by ProgID, opens the recording and prints what it
// reads, once through the vtables and once through IDispatch, then calls
// exported functions of the DLL. The runner compares the lines with what the
// Linux build reads from the same file.
//   mlr_client --save SOURCE TARGET
// saves every channel of SOURCE over its whole span into TARGET with the
// DLL's exported SaveRecording (so through the system's compound-file
// engine), waits for the save to end and for the file to be closed, and
// prints the save's end status; the runner then reads TARGET with the Linux
// build.
//   mlr_client --resample RECORDING START END STEP
// creates the channel resampler by ProgID and prints the rows of every
// channel resampled onto the grid START, START + STEP, ... END as krf
// resample prints them (without the header).
// Exit status 0 when every call succeeded.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <string>

#include "LegacyRecording.h"

namespace {

int g_failures = 0;

void Check(HRESULT hr, const char* what) {
  if (FAILED(hr)) {
    std::printf("FAILED %s: 0x%08lX\n", what, static_cast<unsigned long>(hr));
    ++g_failures;
  }
}

std::string Narrow(BSTR text) {
  if (!text) return std::string();
  const int n = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
  std::string out(n > 0 ? n - 1 : 0, '\0');
  if (n > 1) WideCharToMultiByte(CP_UTF8, 0, text, -1, &out[0], n, nullptr, nullptr);
  return out;
}

// Text that reads back as `value`, as krf prints doubles (15 digits, more
// only where needed).
std::string Shortest(double value) {
  char text[40];
  for (int precision = 15; precision <= 17; ++precision) {
    std::snprintf(text, sizeof text, "%.*g", precision, value);
    if (std::strtod(text, nullptr) == value) break;
  }
  return text;
}

template <class T>
void Release(T*& p) {
  if (p) p->Release();
  p = nullptr;
}

// The vtable path: groups, channels, normsets and raw samples.
void ReadThroughVtables(IRecording* recording) {
  BSTR title = nullptr;
  Check(recording->get_Title(&title), "get_Title");
  std::printf("title=%s\n", Narrow(title).c_str());
  SysFreeString(title);
  IChannelGroups* groups = nullptr;
  Check(recording->get_ChannelGroups(&groups), "get_ChannelGroups");
  LONG group_count = 0;
  if (groups) Check(groups->get_Count(&group_count), "IChannelGroups::get_Count");
  std::printf("groups=%ld\n", static_cast<long>(group_count));
  for (LONG g = 1; g <= group_count; ++g) {
    IChannelGroup* group = nullptr;
    Check(groups->get_Item(g, &group), "IChannelGroups::get_Item");
    if (!group) continue;
    IChannelInfos* infos = nullptr;
    IHNorms* hnorms = nullptr;
    Check(group->get_ChannelInfos(&infos), "get_ChannelInfos");
    Check(group->get_HNorms(&hnorms), "get_HNorms");
    LONG channels = 0, normsets = 0;
    if (infos) Check(infos->get_Count(&channels), "IChannelInfos::get_Count");
    if (hnorms) Check(hnorms->get_Count(&normsets), "IHNorms::get_Count");
    std::printf("group %ld: channels=%ld hnorms=%ld names=", static_cast<long>(g),
                static_cast<long>(channels), static_cast<long>(normsets));
    IChannelInfo* first = nullptr;
    for (LONG c = 1; c <= channels; ++c) {
      IChannelInfo* info = nullptr;
      Check(infos->get_Item(c, &info), "IChannelInfos::get_Item");
      if (!info) continue;
      VARIANT none;
      VariantInit(&none);
      none.vt = VT_ERROR;
      none.scode = DISP_E_PARAMNOTFOUND;
      BSTR name = nullptr;
      Check(info->get_Name(none, &name), "IChannelInfo::get_Name");
      std::printf("%s%s", c > 1 ? "|" : "", Narrow(name).c_str());
      SysFreeString(name);
      if (c == 1) {
        first = info;
      } else {
        info->Release();
      }
    }
    std::printf("\n");
    if (first) {
      // The first three samples of the first channel, through GetMuxData.
      SAFEARRAY* list = SafeArrayCreateVector(VT_DISPATCH, 0, 1);
      LONG index = 0;
      Check(SafeArrayPutElement(list, &index, static_cast<IDispatch*>(first)), "PutElement");
      SAFEARRAY* data = nullptr;
      Check(group->GetMuxData(&list, 1, 1, 3, 1, &data), "GetMuxData");
      if (data) {
        VARTYPE vt = VT_EMPTY;
        SafeArrayGetVartype(data, &vt);
        std::printf("group %ld: vt=%d samples=", static_cast<long>(g), vt);
        // One row per frame, the channels varying fastest (one channel here).
        void* raw = nullptr;
        Check(SafeArrayAccessData(data, &raw), "SafeArrayAccessData");
        if (raw) {
          const SHORT* values = static_cast<const SHORT*>(raw);
          std::printf("%d,%d,%d", values[0], values[1], values[2]);
          SafeArrayUnaccessData(data);
        }
        std::printf("\n");
        SafeArrayDestroy(data);
      }
      // The same samples scaled: IChannelGroup::GetScaledMuxData calls the
      // DLL's exported function through the API entry table.
      SAFEARRAY* scaled = nullptr;
      Check(group->GetScaledMuxData(&list, 1, 1, 3, 1, &scaled), "GetScaledMuxData");
      if (scaled) {
        VARTYPE vt = VT_EMPTY;
        SafeArrayGetVartype(scaled, &vt);
        std::printf("group %ld: scaled vt=%d values=", static_cast<long>(g), vt);
        void* raw = nullptr;
        Check(SafeArrayAccessData(scaled, &raw), "SafeArrayAccessData");
        if (raw && vt == VT_R8) {
          const double* values = static_cast<const double*>(raw);
          std::printf("%s,%s,%s", Shortest(values[0]).c_str(), Shortest(values[1]).c_str(),
                      Shortest(values[2]).c_str());
        }
        if (raw) SafeArrayUnaccessData(scaled);
        std::printf("\n");
        SafeArrayDestroy(scaled);
      }
      if (g == 1) {
        // A normset the group lacks: the library's message, from the DLL's
        // string table, as the thread's error information.
        SAFEARRAY* none = nullptr;
        const HRESULT hr = group->GetScaledMuxData(&list, 99, 1, 3, 1, &none);
        IErrorInfo* info = nullptr;
        BSTR text = nullptr;
        if (GetErrorInfo(0, &info) == S_OK && info) {
          info->GetDescription(&text);
          info->Release();
        }
        std::printf("normset 99: 0x%08lX %s\n", static_cast<unsigned long>(hr),
                    Narrow(text).c_str());
        SysFreeString(text);
        if (none) SafeArrayDestroy(none);
      }
      SafeArrayDestroy(list);
      first->Release();
    }
    Release(infos);
    Release(hnorms);
    group->Release();
  }
  Release(groups);
}

HRESULT Call(IDispatch* object, const wchar_t* name, WORD flags, VARIANT* args, UINT count,
             VARIANT* result, EXCEPINFO* excep = nullptr) {
  DISPID id = 0;
  LPOLESTR names[] = {const_cast<LPOLESTR>(name)};
  HRESULT hr = object->GetIDsOfNames(IID_NULL, names, 1, 0, &id);
  if (FAILED(hr)) return hr;
  DISPPARAMS params = {args, nullptr, count, 0};
  return object->Invoke(id, IID_NULL, 0, flags, &params, result, excep, nullptr);
}

// The late-bound path: the loader's OpenRecording with a by-reference
// result, then properties by name; a missing file as a rich error.
void ReadThroughDispatch(IDispatch* loader, const wchar_t* path) {
  VARIANT args[2], recording;
  VariantInit(&recording);
  args[1].vt = VT_BSTR;
  args[1].bstrVal = SysAllocString(path);
  args[0].vt = VT_BYREF | VT_VARIANT;
  args[0].pvarVal = &recording;
  Check(Call(loader, L"OpenRecording", DISPATCH_METHOD, args, 2, nullptr), "Invoke OpenRecording");
  VARIANT title, groups, count;
  VariantInit(&title);
  VariantInit(&groups);
  VariantInit(&count);
  if (recording.vt == VT_DISPATCH && recording.pdispVal) {
    Check(Call(recording.pdispVal, L"Title", DISPATCH_PROPERTYGET, nullptr, 0, &title),
          "Invoke Title");
    Check(Call(recording.pdispVal, L"ChannelGroups", DISPATCH_PROPERTYGET, nullptr, 0, &groups),
          "Invoke ChannelGroups");
    if (groups.vt == VT_DISPATCH) {
      Check(Call(groups.pdispVal, L"Count", DISPATCH_PROPERTYGET, nullptr, 0, &count),
            "Invoke Count");
    }
  } else {
    Check(E_FAIL, "OpenRecording result is no object");
  }
  std::printf("dispatch title=%s groups=%ld\n", title.vt == VT_BSTR ? Narrow(title.bstrVal).c_str() : "?",
              count.vt == VT_I4 ? static_cast<long>(count.lVal) : -1L);
  VariantClear(&title);
  VariantClear(&groups);
  VariantClear(&recording);
  SysFreeString(args[1].bstrVal);

  // A missing file: DISP_E_EXCEPTION with the library's text.
  args[1].bstrVal = SysAllocString(L"Z:\\no\\such\\file.krf");
  VariantInit(&recording);
  args[0].pvarVal = &recording;
  EXCEPINFO excep = {};
  const HRESULT hr = Call(loader, L"OpenRecording", DISPATCH_METHOD, args, 2, nullptr, &excep);
  std::printf("dispatch missing file: 0x%08lX scode=0x%08lX %s\n", static_cast<unsigned long>(hr),
              static_cast<unsigned long>(excep.scode), Narrow(excep.bstrDescription).c_str());
  SysFreeString(excep.bstrSource);
  SysFreeString(excep.bstrDescription);
  SysFreeString(excep.bstrHelpFile);
  SysFreeString(args[1].bstrVal);
}

// An exported function of the DLL that COM loaded, or null.
template <class Fn>
Fn Export(const char* name) {
  HMODULE dll = GetModuleHandleA("movaLegacyRecording.dll");
  if (!dll) return nullptr;
  return reinterpret_cast<Fn>(reinterpret_cast<void (*)()>(GetProcAddress(dll, name)));
}

// Module functions, from the DLL that COM loaded.
void CallExports() {
  using IsVoidFn = VARIANT_BOOL(STDAPICALLTYPE*)(double);
  using ValidFn = HRESULT(STDAPICALLTYPE*)(LONG*, LONG*, double*);
  auto is_void = Export<IsVoidFn>("IsVoidNumber");
  auto valid = Export<ValidFn>("MakeValidTime");
  if (!is_void || !valid) {
    Check(E_FAIL, "GetProcAddress");
    return;
  }
  ULONGLONG bits = 0x7FFFFFFFFFFFFFFFull;
  double void_number;
  memcpy(&void_number, &bits, sizeof void_number);
  LONG year = 2023, day = 365;
  double seconds = 86400.5;
  Check(valid(&year, &day, &seconds), "MakeValidTime");
  std::printf("IsVoidNumber=%d,%d MakeValidTime=%ld,%ld,%.1f\n", is_void(void_number), is_void(1.0),
              static_cast<long>(year), static_cast<long>(day), seconds);
}

// Every channel of `recording`, in group and channel order, as a safe array
// of VARIANTs holding the channel objects (what a script would pass).
SAFEARRAY* AllChannels(IRecording* recording) {
  IChannelGroups* groups = nullptr;
  LONG group_count = 0;
  Check(recording->get_ChannelGroups(&groups), "get_ChannelGroups");
  if (groups) Check(groups->get_Count(&group_count), "IChannelGroups::get_Count");
  SAFEARRAY* list = SafeArrayCreateVector(VT_VARIANT, 0, 0);
  LONG n = 0;
  for (LONG g = 1; g <= group_count; ++g) {
    IChannelGroup* group = nullptr;
    IChannelInfos* infos = nullptr;
    LONG channels = 0;
    Check(groups->get_Item(g, &group), "IChannelGroups::get_Item");
    if (group) Check(group->get_ChannelInfos(&infos), "get_ChannelInfos");
    if (infos) Check(infos->get_Count(&channels), "IChannelInfos::get_Count");
    for (LONG c = 1; c <= channels; ++c) {
      IChannelInfo* info = nullptr;
      Check(infos->get_Item(c, &info), "IChannelInfos::get_Item");
      if (!info) continue;
      SAFEARRAYBOUND bound = {static_cast<ULONG>(n + 1), 0};
      Check(SafeArrayRedim(list, &bound), "SafeArrayRedim");
      VARIANT item;
      VariantInit(&item);
      item.vt = VT_DISPATCH;
      item.pdispVal = info;  // PutElement copies (and counts) the object
      Check(SafeArrayPutElement(list, &n, &item), "PutElement");
      ++n;
      info->Release();
    }
    Release(infos);
    Release(group);
  }
  Release(groups);
  return list;
}

// True once nobody else holds `path` open (the save's thread closes the
// target after the last reference to its progress object is gone).
bool WaitUntilClosed(const wchar_t* path) {
  for (int i = 0; i < 600; ++i) {
    IStorage* storage = nullptr;
    if (SUCCEEDED(StgOpenStorage(path, nullptr, STGM_READ | STGM_SHARE_EXCLUSIVE, nullptr, 0,
                                 &storage))) {
      storage->Release();
      return true;
    }
    Sleep(50);
  }
  return false;
}

// Saves every channel of `source` into `target` with the exported
// SaveRecording and waits for the end: prints "save: status=... error=...".
void Save(IKrfLoader* loader, const wchar_t* source, const wchar_t* target) {
  using SaveFn = HRESULT(STDAPICALLTYPE*)(BSTR, SAFEARRAY**, double, double, kalSaveRecordingFlags,
                                          ISaveRecordingProgress**);
  auto save = Export<SaveFn>("SaveRecording");
  if (!save) {
    Check(E_FAIL, "GetProcAddress SaveRecording");
    return;
  }
  BSTR path = SysAllocString(source);
  IRecording* recording = nullptr;
  Check(loader->OpenRecording(path, &recording), "OpenRecording");
  SysFreeString(path);
  if (!recording) return;
  double start = 0.0, end = 0.0;
  Check(recording->get_StartTime(&start), "get_StartTime");
  Check(recording->get_EndTime(&end), "get_EndTime");
  SAFEARRAY* channels = AllChannels(recording);
  BSTR name = SysAllocString(target);
  ISaveRecordingProgress* progress = nullptr;
  Check(save(name, &channels, start, end, static_cast<kalSaveRecordingFlags>(0), &progress),
        "SaveRecording");
  SysFreeString(name);
  SafeArrayDestroy(channels);
  recording->Release();
  if (!progress) return;
  // Ready ends every save; a failed one stays at ErrorOccurred and shows its
  // end as Completion 100.
  kalSaveRecordingStatus status = kalSRS_Initializing;
  LONG completion = 0, error = 0;
  for (int i = 0; i < 1200; ++i) {
    Check(progress->get_Status(&status), "get_Status");
    Check(progress->get_Completion(&completion), "get_Completion");
    if (status == kalSRS_Ready || (status == kalSRS_ErrorOccurred && completion == 100)) break;
    Sleep(25);
  }
  Check(progress->get_ErrorCode(&error), "get_ErrorCode");
  progress->Release();
  if (!WaitUntilClosed(target)) Check(E_FAIL, "the saved file stays open");
  std::printf("save: status=0x%lX error=0x%08lX\n", static_cast<unsigned long>(status),
              static_cast<unsigned long>(error));
  if (status != kalSRS_Ready || FAILED(error)) ++g_failures;
}

// As krf prints a float: the shortest of 6 to 9 digits that reads back.
std::string FloatText(float value) {
  if (value != value) return "nan";
  char text[32];
  for (int precision = 6; precision <= 9; ++precision) {
    std::snprintf(text, sizeof text, "%.*g", precision, static_cast<double>(value));
    if (std::strtof(text, nullptr) == value) break;
  }
  return text;
}

// Every channel of `path` through the channel resampler, one CSV row per
// item: the time, then each channel's value (floats, or event words).
void Resample(IKrfLoader* loader, const wchar_t* path, double start, double end, double step) {
  CLSID clsid;
  IChannelResampler* resampler = nullptr;
  Check(CLSIDFromProgID(L"Movaris.Recording.ChannelResampler", &clsid), "CLSIDFromProgID");
  Check(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IChannelResampler,
                         reinterpret_cast<void**>(&resampler)),
        "CoCreateInstance ChannelResampler");
  BSTR name = SysAllocString(path);
  IRecording* recording = nullptr;
  Check(loader->OpenRecording(name, &recording), "OpenRecording");
  SysFreeString(name);
  if (!resampler || !recording) return;
  SAFEARRAY* channels = AllChannels(recording);
  Check(resampler->put_StartTime(start), "put_StartTime");
  Check(resampler->put_EndTime(end), "put_EndTime");
  Check(resampler->put_XStep(step), "put_XStep");
  Check(resampler->Start(&channels), "Start");
  SafeArrayDestroy(channels);
  for (LONG done = 0;;) {
    LONG n = 0;
    SAFEARRAY* result = nullptr;
    const HRESULT hr = resampler->GetNextDataBuffers(&n, &result);
    Check(hr, "GetNextDataBuffers");
    if (FAILED(hr) || n == 0 || !result) {
      if (result) SafeArrayDestroy(result);
      break;
    }
    LONG lower = 0, upper = -1;  // the columns are numbered from 1
    SafeArrayGetLBound(result, 1, &lower);
    SafeArrayGetUBound(result, 1, &upper);
    const LONG width = upper - lower + 1;
    VARIANT* columns = nullptr;
    Check(SafeArrayAccessData(result, reinterpret_cast<void**>(&columns)), "SafeArrayAccessData");
    for (LONG i = 0; columns && i < n; ++i) {
      std::printf("%s", Shortest(start + static_cast<double>(done + i) * step).c_str());
      for (LONG k = 0; k < width; ++k) {
        void* data = nullptr;
        SafeArrayAccessData(columns[k].parray, &data);
        if ((columns[k].vt & ~VT_ARRAY) == VT_I2) {
          std::printf(",%d", static_cast<const SHORT*>(data)[i]);
        } else {
          std::printf(",%s", FloatText(static_cast<const float*>(data)[i]).c_str());
        }
        SafeArrayUnaccessData(columns[k].parray);
      }
      std::printf("\n");
    }
    if (columns) SafeArrayUnaccessData(result);
    SafeArrayDestroy(result);
    done += n;
  }
  recording->Release();
  resampler->Release();
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  const bool save = argc == 4 && std::wcscmp(argv[1], L"--save") == 0;
  const bool resample = argc == 6 && std::wcscmp(argv[1], L"--resample") == 0;
  if (argc != 2 && !save && !resample) {
    std::printf("usage: mlr_client RECORDING | mlr_client --save SOURCE TARGET |"
                " mlr_client --resample RECORDING START END STEP\n");
    return 2;
  }
  Check(CoInitializeEx(nullptr, COINIT_MULTITHREADED), "CoInitializeEx");
  CLSID clsid;
  Check(CLSIDFromProgID(L"Movaris.Legacy.KrfLoader", &clsid), "CLSIDFromProgID");
  IKrfLoader* loader = nullptr;
  Check(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IKrfLoader,
                         reinterpret_cast<void**>(&loader)),
        "CoCreateInstance");
  if (loader && save) {
    Save(loader, argv[2], argv[3]);
    loader->Release();
  } else if (loader && resample) {
    Resample(loader, argv[2], std::wcstod(argv[3], nullptr), std::wcstod(argv[4], nullptr),
             std::wcstod(argv[5], nullptr));
    loader->Release();
  } else if (loader) {
    BSTR path = SysAllocString(argv[1]);
    IRecording* recording = nullptr;
    Check(loader->OpenRecording(path, &recording), "OpenRecording");
    SysFreeString(path);
    if (recording) {
      ReadThroughVtables(recording);
      recording->Release();
    }
    ReadThroughDispatch(loader, argv[1]);
    CallExports();
    loader->Release();
  }
  CoUninitialize();
  std::printf("failures=%d\n", g_failures);
  return g_failures == 0 ? 0 : 1;
}
