// krf classes: what the registry holds for the library's two creatable
// classes and its type library.
#include "LegacyRecording.h"
#include "platform/strings.h"
#include "platform/win.h"
#include "server/class_table.h"
#include "tools/krf/command.h"

#include <cstdio>
#include <string>

namespace {

std::string GuidText(REFGUID guid) {
  OLECHAR text[40];
  StringFromGUID2(guid, text, 40);
  return mlr::ToUtf8(text);
}

// The value `name` (null: default) of HKCR\<sub_key>, or "" when missing.
bool Read(const std::string& sub_key, const OLECHAR* name, std::string* out) {
  HKEY key = nullptr;
  const mlr::OleString wide = mlr::ToUtf16(sub_key.c_str());
  if (RegOpenKeyExW(HKEY_CLASSES_ROOT, wide.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) {
    return false;
  }
  OLECHAR buffer[4096];
  DWORD size = sizeof buffer;
  const LONG status = RegQueryValueExW(key, name, nullptr, nullptr,
                                       reinterpret_cast<BYTE*>(buffer), &size);
  RegCloseKey(key);
  if (status != ERROR_SUCCESS) return false;
  *out = mlr::ToUtf8(buffer);
  return true;
}

void ShowProgId(const char* label, const char* prog_id) {
  CLSID clsid;
  if (CLSIDFromProgID(mlr::ToUtf16(prog_id).c_str(), &clsid) != S_OK) {
    std::printf("  %s %s: not registered\n", label, prog_id);
    return;
  }
  std::string cur_ver;
  if (Read(std::string(prog_id) + "\\CurVer", nullptr, &cur_ver)) {
    std::printf("  %s %s -> %s (CurVer %s)\n", label, prog_id, GuidText(clsid).c_str(),
                cur_ver.c_str());
  } else {
    std::printf("  %s %s -> %s\n", label, prog_id, GuidText(clsid).c_str());
  }
}

int Run() {
  size_t count = 0;
  const mlr::server::ClassRow* rows = mlr::server::ClassRows(&count);
  for (size_t i = 0; i < count; ++i) {
    const std::string key = "CLSID\\" + GuidText(*rows[i].clsid);
    std::string description, server, model, typelib;
    if (!Read(key, nullptr, &description)) {
      std::printf("%s %s: not registered\n", rows[i].description,
                  GuidText(*rows[i].clsid).c_str());
      continue;
    }
    std::printf("%s %s\n", description.c_str(), GuidText(*rows[i].clsid).c_str());
    ShowProgId("ProgID", rows[i].prog_id);
    ShowProgId("VersionIndependentProgID", rows[i].version_independent_prog_id);
    Read(key + "\\InprocServer32", nullptr, &server);
    Read(key + "\\InprocServer32", OLESTR("ThreadingModel"), &model);
    std::printf("  InprocServer32 %s (ThreadingModel %s)\n", server.c_str(), model.c_str());
    if (Read(key + "\\TypeLib", nullptr, &typelib)) std::printf("  TypeLib %s\n", typelib.c_str());
  }
  BSTR path = nullptr;
  if (QueryPathOfRegTypeLib(LIBID_LegacyRecording, 1, 0, 0, &path) == S_OK) {
    std::printf("type library %s 1.0: %s\n", GuidText(LIBID_LegacyRecording).c_str(),
                mlr::ToUtf8(path).c_str());
    SysFreeString(path);
  } else {
    std::printf("type library %s 1.0: not registered\n", GuidText(LIBID_LegacyRecording).c_str());
  }
  return 0;
}

const krf::Registrar kClasses("classes", "List what the registry holds for the library",
                              [](CLI::App&) { return []() { return Run(); }; });

}  // namespace
