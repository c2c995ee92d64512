// The registry file: API semantics, the text form, corrupt and unwritable
// files, and two processes writing at once.
#include "platform/posix/registry_store.h"
#include "platform/win.h"
#include "tests/platform/registry_fixture.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace {

namespace fs = std::filesystem;

class Registry : public PrivateRegistry {
 protected:
  std::string FileText() const {
    std::ifstream in(path_, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
  }
  void WriteFile(const std::string& text) const { std::ofstream(path_, std::ios::binary) << text; }

  static LONG Create(HKEY parent, const char16_t* sub, HKEY* out) {
    return RegCreateKeyExW(parent, sub, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, out, nullptr);
  }
  static LONG Set(HKEY key, const char16_t* name, const std::u16string& text) {
    return RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                          static_cast<DWORD>((text.size() + 1) * 2));
  }
  static LONG Get(HKEY key, const char16_t* name, std::u16string* text) {
    char16_t buffer[256];
    DWORD size = sizeof buffer;
    LONG status =
        RegQueryValueExW(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(buffer), &size);
    if (status == ERROR_SUCCESS) *text = buffer;
    return status;
  }
};

TEST_F(Registry, KeysAndValuesPersistAcrossHandlesAndCase) {
  HKEY key = nullptr;
  DWORD disposition = 0;
  ASSERT_EQ(RegCreateKeyExW(HKEY_CLASSES_ROOT, u"A\\B\\C", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                            &key, &disposition),
            ERROR_SUCCESS);
  EXPECT_EQ(disposition, static_cast<DWORD>(REG_CREATED_NEW_KEY));
  const std::u16string tricky = u"quote \" back\\slash\nline \u00e9\u20ac";
  ASSERT_EQ(Set(key, nullptr, u"default"), ERROR_SUCCESS);
  ASSERT_EQ(Set(key, u"Named", tricky), ERROR_SUCCESS);
  ASSERT_EQ(RegCloseKey(key), ERROR_SUCCESS);

  HKEY again = nullptr;
  ASSERT_EQ(RegOpenKeyExW(HKEY_CLASSES_ROOT, u"a\\b\\c", 0, KEY_READ, &again), ERROR_SUCCESS);
  std::u16string text;
  ASSERT_EQ(Get(again, nullptr, &text), ERROR_SUCCESS);
  EXPECT_EQ(text, u"default");
  ASSERT_EQ(Get(again, u"NAMED", &text), ERROR_SUCCESS);
  EXPECT_EQ(text, tricky);
  EXPECT_EQ(Get(again, u"missing", &text), ERROR_FILE_NOT_FOUND);

  // The size query, then a buffer that is too small.
  DWORD size = 0;
  ASSERT_EQ(RegQueryValueExW(again, nullptr, nullptr, nullptr, nullptr, &size), ERROR_SUCCESS);
  EXPECT_EQ(size, 8u * 2u);
  char16_t small[3];
  size = sizeof small;
  EXPECT_EQ(RegQueryValueExW(again, nullptr, nullptr, nullptr, reinterpret_cast<BYTE*>(small),
                             &size),
            ERROR_MORE_DATA);
  EXPECT_EQ(size, 16u);
  RegCloseKey(again);

  // Created keys keep the case they were created with.
  HKEY a = nullptr;
  ASSERT_EQ(RegOpenKeyExW(HKEY_CLASSES_ROOT, u"a", 0, KEY_READ, &a), ERROR_SUCCESS);
  char16_t name[16];
  DWORD length = 16;
  ASSERT_EQ(RegEnumKeyExW(a, 0, name, &length, nullptr, nullptr, nullptr, nullptr), ERROR_SUCCESS);
  EXPECT_EQ(std::u16string(name), u"B");
  EXPECT_EQ(length, 1u);
  length = 16;
  EXPECT_EQ(RegEnumKeyExW(a, 1, name, &length, nullptr, nullptr, nullptr, nullptr),
            ERROR_NO_MORE_ITEMS);
  RegCloseKey(a);
  EXPECT_EQ(RegOpenKeyExW(HKEY_CLASSES_ROOT, u"A\\X", 0, KEY_READ, &a), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(a, nullptr);
}

TEST_F(Registry, DeletingKeysAndTrees) {
  HKEY key = nullptr;
  ASSERT_EQ(Create(HKEY_CURRENT_USER, u"T\\Child\\Grandchild", &key), ERROR_SUCCESS);
  RegCloseKey(key);
  HKEY child = nullptr;
  ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, u"T\\Child", 0, KEY_ALL_ACCESS, &child),
            ERROR_SUCCESS);

  EXPECT_EQ(RegDeleteKeyW(HKEY_CURRENT_USER, u"T\\Child"), ERROR_ACCESS_DENIED);  // has a sub-key
  EXPECT_EQ(RegDeleteKeyW(HKEY_CURRENT_USER, u"T\\Child\\Grandchild"), ERROR_SUCCESS);
  EXPECT_EQ(RegDeleteKeyW(HKEY_CURRENT_USER, u"T\\Child\\Grandchild"), ERROR_FILE_NOT_FOUND);
  ASSERT_EQ(Create(HKEY_CURRENT_USER, u"T\\Child\\Again", &key), ERROR_SUCCESS);
  RegCloseKey(key);
  EXPECT_EQ(RegDeleteTreeW(HKEY_CURRENT_USER, u"T"), ERROR_SUCCESS);

  // The open handle names a key that is gone.
  EXPECT_EQ(Set(child, u"v", u"x"), ERROR_KEY_DELETED);
  EXPECT_EQ(Create(child, u"Sub", &key), ERROR_KEY_DELETED);
  EXPECT_EQ(RegCloseKey(child), ERROR_SUCCESS);
  EXPECT_EQ(RegCloseKey(child), ERROR_INVALID_HANDLE);
  EXPECT_EQ(RegDeleteTreeW(HKEY_CURRENT_USER, u"T"), ERROR_FILE_NOT_FOUND);
}

TEST_F(Registry, TextFormRoundTripsAndRejectsDamage) {
  HKEY key = nullptr;
  ASSERT_EQ(Create(HKEY_LOCAL_MACHINE, u"Software\\Empty", &key), ERROR_SUCCESS);
  RegCloseKey(key);
  ASSERT_EQ(Create(HKEY_CLASSES_ROOT, u"x y", &key), ERROR_SUCCESS);
  ASSERT_EQ(Set(key, u"n=\"1\"", u"[not a section]"), ERROR_SUCCESS);
  RegCloseKey(key);
  const std::string text = FileText();
  mlr::posix::registry::Tree tree;
  ASSERT_TRUE(mlr::posix::registry::Parse(text, &tree));
  EXPECT_EQ(mlr::posix::registry::Serialize(tree), text);
  EXPECT_NE(text.find("[HKEY_LOCAL_MACHINE\\Software\\Empty]"), std::string::npos);

  const char* damaged[] = {
      "",                                                     // no header
      "; something else\n",                                   // wrong header
      "; movaLegacyRecording registry 1\n@=\"v\"\n",         // value before a section
      "; movaLegacyRecording registry 1\n[HKEY_NOWHERE\\A]\n",  // unknown root
      "; movaLegacyRecording registry 1\n[HKEY_USERS\\A\\B]\n",  // parent missing
      "; movaLegacyRecording registry 1\n[HKEY_USERS\\A]\n\"v\"=\"\\q\"\n",  // bad escape
      "; movaLegacyRecording registry 1\n[HKEY_USERS\\A]\n\"v\"=\"open\n",  // unterminated
      "; movaLegacyRecording registry 1\n[HKEY_USERS\\A]\n@=\"1\"\n@=\"2\"\n",  // twice
  };
  for (const char* bad : damaged) {
    SCOPED_TRACE(bad);
    EXPECT_FALSE(mlr::posix::registry::Parse(bad, &tree));
  }
}

TEST_F(Registry, CorruptFileGivesBadDbAndIsNeverRewritten) {
  const std::string corrupt = "; movaLegacyRecording registry 1\n[HKEY_USERS\\A]\ngarbage\n";
  WriteFile(corrupt);
  HKEY key = nullptr;
  EXPECT_EQ(RegOpenKeyExW(HKEY_USERS, u"A", 0, KEY_READ, &key), ERROR_BADDB);
  EXPECT_EQ(Create(HKEY_USERS, u"B", &key), ERROR_BADDB);
  EXPECT_EQ(RegDeleteTreeW(HKEY_USERS, u"A"), ERROR_BADDB);
  CLSID clsid;
  EXPECT_EQ(CLSIDFromProgID(u"Any.Thing", &clsid), CO_E_CLASSSTRING);
  EXPECT_EQ(FileText(), corrupt);
  // No temporary file is left beside it.
  size_t entries = 0;
  for (const auto& entry : fs::directory_iterator(dir_.path())) {
    if (entry.path().filename() != "registry.lock") ++entries;
  }
  EXPECT_EQ(entries, 1u);
}

TEST_F(Registry, UnreachableFileGivesAClearStatus) {
  // A registry path below a regular file can be neither read nor written,
  // whoever runs the test.
  const std::string blocker = dir_.Path("file");
  std::ofstream(blocker) << "x";
  const std::string path = blocker + "/registry";
  setenv("MLR_REGISTRY", path.c_str(), 1);
  HKEY key = nullptr;
  const LONG status = Create(HKEY_CLASSES_ROOT, u"A", &key);
  EXPECT_NE(status, ERROR_SUCCESS);
  EXPECT_NE(status, ERROR_BADDB);
  EXPECT_EQ(key, nullptr);

  // A directory in place of the file (inside the test's folder, so that the
  // lock file beside it goes with the folder).
  const std::string folder = dir_.Path("folder");
  ASSERT_TRUE(fs::create_directory(folder));
  setenv("MLR_REGISTRY", folder.c_str(), 1);
  EXPECT_NE(Create(HKEY_CLASSES_ROOT, u"A", &key), ERROR_SUCCESS);
  EXPECT_TRUE(fs::is_directory(folder));
}

TEST_F(Registry, TwoProcessesWritingAtOnceLoseNothing) {
  constexpr int kProcesses = 2;
  constexpr int kKeys = 40;
  pid_t children[kProcesses];
  for (int p = 0; p < kProcesses; ++p) {
    children[p] = fork();
    ASSERT_GE(children[p], 0);
    if (children[p] == 0) {
      int failures = 0;
      for (int k = 0; k < kKeys; ++k) {
        const std::string name = "P" + std::to_string(p) + "\\K" + std::to_string(k);
        std::u16string wide(name.begin(), name.end());
        HKEY key = nullptr;
        if (Create(HKEY_CLASSES_ROOT, wide.c_str(), &key) != ERROR_SUCCESS) ++failures;
        if (key && Set(key, nullptr, wide) != ERROR_SUCCESS) ++failures;
        if (key) RegCloseKey(key);
      }
      _exit(failures == 0 ? 0 : 1);
    }
  }
  for (pid_t child : children) {
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }
  for (int p = 0; p < kProcesses; ++p) {
    for (int k = 0; k < kKeys; ++k) {
      const std::string name = "P" + std::to_string(p) + "\\K" + std::to_string(k);
      std::u16string wide(name.begin(), name.end());
      EXPECT_EQ(Value(wide), wide) << name;
    }
  }
}

TEST_F(Registry, TypeLibraryVersionsAreHexadecimal) {
  // Version 2.10 is key "2.a"; a locale without a key of its own falls back to 0.
  HKEY key = nullptr;
  ASSERT_EQ(Create(HKEY_CLASSES_ROOT, u"TypeLib\\{00000000-0000-0000-C000-000000000046}\\2.a\\0\\posix", &key),
            ERROR_SUCCESS);
  ASSERT_EQ(Set(key, nullptr, u"/lib/x.so"), ERROR_SUCCESS);
  RegCloseKey(key);
  BSTR path = nullptr;
  ASSERT_EQ(QueryPathOfRegTypeLib(IID_IUnknown, 2, 10, 0x409, &path), S_OK);
  EXPECT_EQ(std::u16string(path), u"/lib/x.so");
  SysFreeString(path);
}

}  // namespace
