// Time, files, modules, threads, events and waits, text conversion.
#include "platform/module.h"
#include "platform/strings.h"
#include "platform/time_zone.h"
#include "platform/win.h"
#include "testing/scoped_env.h"
#include "testing/temp_dir.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

TEST(Time, VariantTimeToSystemTimeTable) {
  struct {
    double date;
    WORD y, mo, d, h, mi, s;
  } cases[] = {
      {0.0, 1899, 12, 30, 0, 0, 0},   {1.0, 1899, 12, 31, 0, 0, 0},
      {2.5, 1900, 1, 1, 12, 0, 0},    {-1.25, 1899, 12, 29, 6, 0, 0},
      {36526.75, 2000, 1, 1, 18, 0, 0}, {60.0, 1900, 2, 28, 0, 0, 0},
      {61.0, 1900, 3, 1, 0, 0, 0},    {2958465.0, 9999, 12, 31, 0, 0, 0},
      {43831.0 + 1.0 / 86400 * 3661, 2020, 1, 1, 1, 1, 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.date);
    SYSTEMTIME st;
    ASSERT_TRUE(VariantTimeToSystemTime(c.date, &st));
    EXPECT_EQ((std::vector<int>{st.wYear, st.wMonth, st.wDay, st.wHour, st.wMinute, st.wSecond}),
              (std::vector<int>{c.y, c.mo, c.d, c.h, c.mi, c.s}));
    double back = 0;
    ASSERT_TRUE(SystemTimeToVariantTime(&st, &back));
    EXPECT_NEAR(back, c.date, 1e-6);
  }
  SYSTEMTIME st;
  EXPECT_FALSE(VariantTimeToSystemTime(2958466.0, &st));
  EXPECT_FALSE(VariantTimeToSystemTime(-657435.0, &st));
}

TEST(Time, FileTimeAndSystemTime) {
  SYSTEMTIME st = {2001, 9, 0, 9, 1, 46, 40, 123};
  FILETIME ft;
  ASSERT_TRUE(SystemTimeToFileTime(&st, &ft));
  uint64_t ticks = (uint64_t{ft.dwHighDateTime} << 32) | ft.dwLowDateTime;
  // 2001-09-09 01:46:40.123 UTC is 1e9 seconds after 1970.
  EXPECT_EQ(ticks, (1000000000ull + 11644473600ull) * 10000000ull + 1230000ull);
  SYSTEMTIME back;
  ASSERT_TRUE(FileTimeToSystemTime(&ft, &back));
  EXPECT_EQ(back.wDayOfWeek, 0);  // a Sunday
  EXPECT_EQ(back.wMilliseconds, 123);
  SYSTEMTIME bad = {2001, 2, 0, 29, 0, 0, 0, 0};
  EXPECT_FALSE(SystemTimeToFileTime(&bad, &ft));
  SYSTEMTIME early = {1600, 12, 0, 31, 0, 0, 0, 0};
  EXPECT_FALSE(SystemTimeToFileTime(&early, &ft));
}

TEST(Time, BiasHonoursTz) {
  // Fixed offsets (minutes west of UTC, as Windows counts) ...
  for (const auto& [zone, minutes] : {std::pair{"UTC0", 0}, std::pair{"XST-5:30", -330}}) {
    mlr::testing::ScopedEnv tz("TZ", zone);
    TIME_ZONE_INFORMATION tzi;
    EXPECT_EQ(GetTimeZoneInformation(&tzi), static_cast<DWORD>(TIME_ZONE_ID_UNKNOWN)) << zone;
    EXPECT_EQ(tzi.Bias, minutes) << zone;
    EXPECT_EQ(mlr::CurrentUtcBiasSeconds(), minutes * 60) << zone;
  }
  // ... and daylight rules: the result says which is in force, the biases add up.
  mlr::testing::ScopedEnv tz("TZ", "CET-1CEST,M3.5.0,M10.5.0/3");
  TIME_ZONE_INFORMATION tzi;
  DWORD id = GetTimeZoneInformation(&tzi);
  ASSERT_TRUE(id == TIME_ZONE_ID_STANDARD || id == TIME_ZONE_ID_DAYLIGHT);
  EXPECT_EQ(tzi.Bias, -60);
  EXPECT_EQ(tzi.DaylightBias, -60);
  LONG expect = (tzi.Bias + (id == TIME_ZONE_ID_DAYLIGHT ? tzi.DaylightBias : 0)) * 60;
  EXPECT_EQ(mlr::CurrentUtcBiasSeconds(), expect);
}

TEST(Time, CountersMove) {
  DWORD t0 = timeGetTime();
  Sleep(20);
  DWORD t1 = timeGetTime();
  EXPECT_GE(static_cast<DWORD>(t1 - t0), 15u);  // wrapping difference
  LARGE_INTEGER f, c0, c1;
  ASSERT_TRUE(QueryPerformanceFrequency(&f));
  ASSERT_TRUE(QueryPerformanceCounter(&c0));
  ASSERT_TRUE(QueryPerformanceCounter(&c1));
  EXPECT_GT(f.QuadPart, 0);
  EXPECT_GE(c1.QuadPart, c0.QuadPart);
}

class TempDir : public ::testing::Test {
 protected:
  std::string Path(const char* name) const { return dir_.Path(name); }
  mlr::testing::ScopedTempDir dir_;
};

TEST_F(TempDir, FileSizeTimesAttributesAndDelete) {
  std::string path = Path("data.bin");
  HANDLE h = CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                         FILE_ATTRIBUTE_NORMAL, nullptr);
  ASSERT_NE(h, INVALID_HANDLE_VALUE);
  // Beyond 4 GiB without writing the data (a sparse file).
  LARGE_INTEGER at;
  at.QuadPart = (1ll << 32) + 10;
  ASSERT_TRUE(SetFilePointerEx(h, at, nullptr, FILE_BEGIN));
  DWORD written = 0;
  ASSERT_TRUE(WriteFile(h, "x", 1, &written, nullptr));
  LARGE_INTEGER size;
  ASSERT_TRUE(GetFileSizeEx(h, &size));
  EXPECT_EQ(size.QuadPart, (1ll << 32) + 11);
  DWORD high = 0;
  EXPECT_EQ(GetFileSize(h, &high), 11u);
  EXPECT_EQ(high, 1u);

  SYSTEMTIME st = {2005, 6, 0, 15, 12, 30, 0, 0};
  FILETIME ft;
  SystemTimeToFileTime(&st, &ft);
  ASSERT_TRUE(SetFileTime(h, &ft, &ft, &ft));  // creation time: ignored where unsupported
  FILETIME access, write;
  ASSERT_TRUE(GetFileTime(h, nullptr, &access, &write));
  EXPECT_EQ(write.dwLowDateTime, ft.dwLowDateTime);
  EXPECT_EQ(write.dwHighDateTime, ft.dwHighDateTime);
  EXPECT_EQ(access.dwHighDateTime, ft.dwHighDateTime);
  ASSERT_TRUE(CloseHandle(h));
  EXPECT_FALSE(CloseHandle(h));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));

  EXPECT_EQ(CreateFileA(path.c_str(), GENERIC_READ, 0, nullptr, CREATE_NEW, 0, nullptr),
            INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_EXISTS));

  WIN32_FIND_DATAA fd;
  HANDLE find = FindFirstFileA(path.c_str(), &fd);
  ASSERT_NE(find, INVALID_HANDLE_VALUE);
  EXPECT_EQ(fd.nFileSizeHigh, 1u);
  EXPECT_EQ(fd.nFileSizeLow, 11u);
  EXPECT_STREQ(fd.cFileName, "data.bin");
  EXPECT_FALSE(FindNextFileA(find, &fd));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NO_MORE_FILES));
  FindClose(find);
  find = FindFirstFileA(Path("*.bin").c_str(), &fd);
  ASSERT_NE(find, INVALID_HANDLE_VALUE);
  FindClose(find);
  EXPECT_EQ(FindFirstFileA(Path("*.none").c_str(), &fd), INVALID_HANDLE_VALUE);

  // Read-only attribute set and cleared.
  ASSERT_TRUE(SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_READONLY));
  EXPECT_TRUE(GetFileAttributesA(path.c_str()) & FILE_ATTRIBUTE_READONLY);
  ASSERT_TRUE(SetFileAttributesA(path.c_str(), FILE_ATTRIBUTE_NORMAL));
  EXPECT_FALSE(GetFileAttributesA(path.c_str()) & FILE_ATTRIBUTE_READONLY);

  ASSERT_TRUE(DeleteFileA(path.c_str()));
  EXPECT_FALSE(DeleteFileA(path.c_str()));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
  EXPECT_EQ(GetFileAttributesA(path.c_str()), INVALID_FILE_ATTRIBUTES);
  EXPECT_FALSE(DeleteFileA(dir_.path().c_str()));  // a directory
}

TEST_F(TempDir, DriveTypeAndPaths) {
  EXPECT_EQ(GetDriveTypeA(Path("missing/dir").c_str()), static_cast<UINT>(DRIVE_NO_ROOT_DIR));
  UINT here = GetDriveTypeA(dir_.path().c_str());
  EXPECT_TRUE(here == DRIVE_FIXED || here == DRIVE_RAMDISK || here == DRIVE_REMOVABLE ||
              here == DRIVE_REMOTE)
      << here;
  EXPECT_EQ(GetDriveTypeA("/dev/shm"), static_cast<UINT>(DRIVE_RAMDISK));
  EXPECT_EQ(GetDriveTypeA("E:"), GetDriveTypeA(nullptr));

  char buf[MAX_PATH];
  std::string link = Path("link");
  ASSERT_EQ(symlink(dir_.path().c_str(), link.c_str()), 0);
  DWORD n = GetLongPathNameA(link.c_str(), buf, sizeof buf);
  char* real = realpath(dir_.path().c_str(), nullptr);
  EXPECT_EQ(std::string(buf, n), real);
  EXPECT_EQ(GetLongPathNameA(link.c_str(), buf, 2), std::strlen(real) + 1);  // size needed
  std::free(real);
  EXPECT_EQ(GetLongPathNameA(Path("none").c_str(), buf, sizeof buf), 0u);
}

TEST(Module, OwnHandleFindsExportedFunctions) {
  HMODULE self = mlr::ModuleHandle();
  ASSERT_NE(self, nullptr);
  // Tests link the library statically, so the module is this executable,
  // which exports its symbols.
  FARPROC proc = GetProcAddress(self, "SysAllocString");
  EXPECT_NE(proc, nullptr);
  EXPECT_EQ(GetProcAddress(self, "NoSuchFunction_xyz"), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_PROC_NOT_FOUND));
  HMODULE of_address = nullptr;
  ASSERT_TRUE(GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                                 reinterpret_cast<LPCSTR>(&SysAllocString), &of_address));
  EXPECT_EQ(of_address, self);
  EXPECT_EQ(GetModuleHandleA(nullptr), self);
  EXPECT_EQ(GetModuleHandleA("libnot-loaded-anywhere.so"), nullptr);
  char path[4096];
  DWORD n = GetModuleFileNameA(self, path, sizeof path);
  ASSERT_GT(n, 0u);
  EXPECT_NE(std::string(path, n).find("test_platform"), std::string::npos);

  std::string lib = std::string(MLR_BINARY_DIR) + "/libmovaLegacyRecording.so";
  HMODULE h = LoadLibraryA(lib.c_str());
  if (h) {  // built beside the tests
    EXPECT_NE(GetProcAddress(h, "VariantChangeType"), nullptr);
    EXPECT_TRUE(FreeLibrary(h));
  }
  EXPECT_EQ(LoadLibraryA("/nonexistent/lib.so"), nullptr);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_MOD_NOT_FOUND));
}

DWORD WINAPI SetAfter(LPVOID param) {
  Sleep(30);
  SetEvent(static_cast<HANDLE>(param));
  return 5;
}

TEST(Sync, EventsAndWaitsWithTimeouts) {
  HANDLE manual = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  HANDLE autoev = CreateEventA(nullptr, FALSE, TRUE, nullptr);
  ASSERT_NE(manual, nullptr);
  EXPECT_EQ(WaitForSingleObject(manual, 0), static_cast<DWORD>(WAIT_TIMEOUT));
  EXPECT_EQ(WaitForSingleObject(manual, 20), static_cast<DWORD>(WAIT_TIMEOUT));
  // An auto-reset event is consumed by one wait.
  EXPECT_EQ(WaitForSingleObject(autoev, 0), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(autoev, 0), static_cast<DWORD>(WAIT_TIMEOUT));
  // A manual-reset event stays set until reset.
  SetEvent(manual);
  EXPECT_EQ(WaitForSingleObject(manual, 0), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(manual, 0), WAIT_OBJECT_0);
  ResetEvent(manual);

  HANDLE both[2] = {manual, autoev};
  EXPECT_EQ(WaitForMultipleObjects(2, both, FALSE, 10), static_cast<DWORD>(WAIT_TIMEOUT));
  SetEvent(autoev);
  EXPECT_EQ(WaitForMultipleObjects(2, both, FALSE, 10), WAIT_OBJECT_0 + 1);
  // Wait-all needs every event at once and takes none while one is missing.
  SetEvent(autoev);
  EXPECT_EQ(WaitForMultipleObjects(2, both, TRUE, 10), static_cast<DWORD>(WAIT_TIMEOUT));
  EXPECT_EQ(WaitForSingleObject(autoev, 0), WAIT_OBJECT_0);  // still set
  SetEvent(autoev);
  DWORD tid = 0;
  HANDLE thread = CreateThread(nullptr, 0, &SetAfter, manual, 0, &tid);
  ASSERT_NE(thread, nullptr);
  EXPECT_NE(tid, 0u);
  EXPECT_EQ(WaitForMultipleObjects(2, both, TRUE, 5000), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(autoev, 0), static_cast<DWORD>(WAIT_TIMEOUT));  // consumed
  EXPECT_EQ(WaitForSingleObject(thread, 5000), WAIT_OBJECT_0);
  DWORD code = 0;
  ASSERT_TRUE(GetExitCodeThread(thread, &code));
  EXPECT_EQ(code, 5u);

  HANDLE bogus = reinterpret_cast<HANDLE>(0x1234);
  EXPECT_EQ(WaitForSingleObject(bogus, 0), WAIT_FAILED);
  EXPECT_EQ(WaitForMultipleObjects(0, both, FALSE, 0), WAIT_FAILED);
  CloseHandle(thread);
  CloseHandle(manual);
  CloseHandle(autoev);
}

struct Counter {
  CRITICAL_SECTION cs;
  HANDLE mutex;
  long in_section = 0;  // guarded by cs
  long in_mutex = 0;    // guarded by mutex
};

DWORD WINAPI Work(LPVOID param) {
  auto* c = static_cast<Counter*>(param);
  SetThreadDescription(GetCurrentThread(), OLESTR("mlr-worker-thread-name"));
  for (int i = 0; i < 1000; ++i) {
    EnterCriticalSection(&c->cs);
    EnterCriticalSection(&c->cs);  // recursive
    ++c->in_section;
    LeaveCriticalSection(&c->cs);
    LeaveCriticalSection(&c->cs);
    if (WaitForSingleObject(c->mutex, INFINITE) == WAIT_OBJECT_0) {
      ++c->in_mutex;
      ReleaseMutex(c->mutex);
    }
  }
  return 0;
}

TEST(Sync, CriticalSectionsMutexesAndSuspendedThreads) {
  Counter c;
  InitializeCriticalSection(&c.cs);
  c.mutex = CreateMutexA(nullptr, TRUE, nullptr);  // owned by this thread
  HANDLE threads[4];
  for (HANDLE& t : threads) {
    t = CreateThread(nullptr, 64 * 1024, &Work, &c, CREATE_SUSPENDED, nullptr);
    ASSERT_NE(t, nullptr);
  }
  Sleep(10);
  EXPECT_EQ(c.in_section, 0);  // suspended
  for (HANDLE t : threads) ResumeThread(t);
  // The workers block on the mutex until it is released.
  EXPECT_EQ(WaitForMultipleObjects(4, threads, TRUE, 50), static_cast<DWORD>(WAIT_TIMEOUT));
  EXPECT_TRUE(ReleaseMutex(c.mutex));
  EXPECT_FALSE(ReleaseMutex(c.mutex));  // not the owner any more
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_NOT_OWNER));
  EXPECT_EQ(WaitForMultipleObjects(4, threads, TRUE, 10000), WAIT_OBJECT_0);
  EXPECT_EQ(c.in_section, 4000);
  EXPECT_EQ(c.in_mutex, 4000);
  for (HANDLE t : threads) CloseHandle(t);
  CloseHandle(c.mutex);
  DeleteCriticalSection(&c.cs);
  EXPECT_TRUE(SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_BELOW_NORMAL));
  EXPECT_EQ(GetThreadPriority(GetCurrentThread()), THREAD_PRIORITY_BELOW_NORMAL);
  SetThreadPriority(GetCurrentThread(), THREAD_PRIORITY_NORMAL);
}

TEST(Text, Utf8IsTheAnsiCodePage) {
  const char* utf8 = "Gr\xc3\xbc\xc3\x9f \xf0\x9f\x98\x80";  // "Grüß 😀"
  WCHAR wide[16];
  int n = MultiByteToWideChar(CP_ACP, 0, utf8, -1, wide, 16);
  ASSERT_EQ(n, 8);  // 5 + a surrogate pair + NUL
  EXPECT_EQ(wide[2], u'\u00fc');
  EXPECT_EQ(wide[5], 0xD83D);
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, utf8, -1, nullptr, 0), 8);
  EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, utf8, -1, wide, 3), 0);
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INSUFFICIENT_BUFFER));
  char back[32];
  n = WideCharToMultiByte(CP_ACP, 0, wide, -1, back, sizeof back, nullptr, nullptr);
  EXPECT_EQ(n, static_cast<int>(std::strlen(utf8)) + 1);
  EXPECT_STREQ(back, utf8);
  EXPECT_EQ(MultiByteToWideChar(1252, 0, utf8, -1, wide, 16), 0);
  // Invalid UTF-8 becomes U+FFFD.
  n = MultiByteToWideChar(CP_UTF8, 0, "a\xff" "b", 3, wide, 16);
  ASSERT_EQ(n, 3);
  EXPECT_EQ(wide[1], 0xFFFD);
  // The other way, each unpaired surrogate becomes U+FFFD (entry names and
  // ANSI text rely on it); the length, not a NUL, ends the text.
  const std::string fffd = "\xEF\xBF\xBD";
  for (const auto& [utf16, utf8] : {std::pair<std::u16string, std::string>{u"a\xD800", "a" + fffd},
                                    {u"\xD800" u"b", fffd + "b"},
                                    {u"\xDC00\xD800", fffd + fffd},
                                    {u"\xD800\xD800\xDC00", fffd + "\xF0\x90\x80\x80"},
                                    {u"\xDBFF\xDFFF", "\xF4\x8F\xBF\xBF"},
                                    {std::u16string(u"x\0y", 3), std::string("x\0y", 3)}})
    EXPECT_EQ(mlr::ToUtf8(utf16.data(), utf16.size()), utf8);
}

}  // namespace
