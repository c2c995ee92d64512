// A private registry file for one test (MLR_REGISTRY), removed afterwards,
// and small readers over it.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>

#include "platform/win.h"
#include "testing/temp_dir.h"

class PrivateRegistry : public ::testing::Test {
 protected:
  void SetUp() override { setenv("MLR_REGISTRY", path_.c_str(), 1); }
  void TearDown() override { unsetenv("MLR_REGISTRY"); }

  // Creates HKCR\sub_key (and its parents); true on success.
  static bool CreateKey(const std::u16string& sub_key) {
    HKEY key = nullptr;
    if (RegCreateKeyExW(HKEY_CLASSES_ROOT, sub_key.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                        &key, nullptr) != ERROR_SUCCESS) {
      return false;
    }
    RegCloseKey(key);
    return true;
  }
  static bool KeyExists(const std::u16string& sub_key) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_CLASSES_ROOT, sub_key.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) {
      return false;
    }
    RegCloseKey(key);
    return true;
  }
  // The value (null: default) of HKCR\sub_key, or "<missing>".
  static std::u16string Value(const std::u16string& sub_key, const char16_t* name = nullptr) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_CLASSES_ROOT, sub_key.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) {
      return u"<missing>";
    }
    char16_t buffer[1024];
    DWORD size = sizeof buffer;
    const LONG status =
        RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(buffer), &size);
    RegCloseKey(key);
    return status == ERROR_SUCCESS ? std::u16string(buffer) : u"<missing>";
  }
  static int SubKeyCount(const std::u16string& sub_key) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_CLASSES_ROOT, sub_key.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) {
      return -1;
    }
    int n = 0;
    char16_t name[256];
    DWORD length = 256;
    while (RegEnumKeyExW(key, static_cast<DWORD>(n), name, &length, nullptr, nullptr, nullptr,
                         nullptr) == ERROR_SUCCESS) {
      ++n;
      length = 256;
    }
    RegCloseKey(key);
    return n;
  }

  mlr::testing::ScopedTempDir dir_;
  const std::string path_ = dir_.Path("registry");
};
