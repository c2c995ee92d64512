#include "save/target_file.h"

#include "platform/com_ptr.h"
#include "platform/strings.h"
#include "reader/kss_storage_provider.h"

namespace mlr::save {

std::string AnsiFileName(const mlr::OleString& file_name) {
  return ToUtf8(file_name.c_str(), file_name.size());
}

bool IsRemovableTarget(const mlr::OleString& file_name) {
  std::string name = AnsiFileName(file_name);
  std::string root;
  if (name.size() >= 2 && name[1] == ':') {
    root = name.substr(0, 2);
  } else {
    size_t sep = name.find_last_of("/\\");
    root = sep == std::string::npos ? "." : name.substr(0, sep == 0 ? 1 : sep);
  }
  return GetDriveTypeA(root.c_str()) == DRIVE_REMOVABLE;
}

void DeleteTargetFile(const mlr::OleString& file_name) {
  ComPtr<IKssStorageProvider> provider;
  if (SUCCEEDED(mlr::reader::CreateKssStorageProvider(provider.put())) && provider) {
    (void)provider->DeleteFile(file_name.c_str());
  } else {
    DeleteFileA(AnsiFileName(file_name).c_str());
  }
}

bool StampTargetFile(const mlr::OleString& file_name, DATE time) {
  SYSTEMTIME st;
  FILETIME ft;
  if (!VariantTimeToSystemTime(time, &st) || !SystemTimeToFileTime(&st, &ft)) return false;
  HANDLE h = CreateFileA(AnsiFileName(file_name).c_str(), GENERIC_READ | GENERIC_WRITE, 0,
                         nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (h == INVALID_HANDLE_VALUE) return false;
  BOOL ok = SetFileTime(h, &ft, &ft, &ft);
  CloseHandle(h);
  return ok != FALSE;
}

}  // namespace mlr::save
