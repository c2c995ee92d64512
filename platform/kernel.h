// The Win32 subset of the POSIX build: last error, handles, files, file
// times, time and time zone, modules and string resources, threads,
// events, mutexes, critical sections, waits, interlocked operations and
// UTF-8 ("ANSI" code page) conversions. Exported with C linkage. Included
// through platform/win.h.
//
// Handles: a HANDLE refers to a file, thread, event or mutex created by the
// functions below; CloseHandle releases it (a thread keeps running when its
// handle is closed). Threads, events and mutexes are waitable: a thread is
// signalled when it has ended. Names given to CreateEventA/CreateMutexA are
// ignored (objects are never shared by name).
// Paths are UTF-8 and use the platform's separator.
#pragma once

#include "platform/export.h"
#include "platform/hresult.h"

// --- errors -----------------------------------------------------------------
MLR_API DWORD GetLastError(void);
MLR_API void SetLastError(DWORD dwErrCode);
MLR_API BOOL CloseHandle(HANDLE hObject);

// --- files ------------------------------------------------------------------
#define GENERIC_READ 0x80000000u
#define GENERIC_WRITE 0x40000000u
#define GENERIC_EXECUTE 0x20000000u
#define GENERIC_ALL 0x10000000u
#define FILE_WRITE_ATTRIBUTES 0x0100
#define FILE_READ_ATTRIBUTES 0x0080
#define FILE_SHARE_READ 0x00000001
#define FILE_SHARE_WRITE 0x00000002
#define FILE_SHARE_DELETE 0x00000004
#define CREATE_NEW 1
#define CREATE_ALWAYS 2
#define OPEN_EXISTING 3
#define OPEN_ALWAYS 4
#define TRUNCATE_EXISTING 5
#define FILE_ATTRIBUTE_READONLY 0x00000001
#define FILE_ATTRIBUTE_HIDDEN 0x00000002
#define FILE_ATTRIBUTE_SYSTEM 0x00000004
#define FILE_ATTRIBUTE_DIRECTORY 0x00000010
#define FILE_ATTRIBUTE_ARCHIVE 0x00000020
#define FILE_ATTRIBUTE_NORMAL 0x00000080
#define FILE_ATTRIBUTE_TEMPORARY 0x00000100
#define FILE_FLAG_WRITE_THROUGH 0x80000000u
#define FILE_FLAG_SEQUENTIAL_SCAN 0x08000000
#define FILE_FLAG_RANDOM_ACCESS 0x10000000
#define FILE_FLAG_NO_BUFFERING 0x20000000
#define INVALID_FILE_ATTRIBUTES ((DWORD)-1)
#define INVALID_FILE_SIZE ((DWORD)0xFFFFFFFF)
#define INVALID_SET_FILE_POINTER ((DWORD)-1)
#define FILE_BEGIN 0
#define FILE_CURRENT 1
#define FILE_END 2
#define DRIVE_UNKNOWN 0
#define DRIVE_NO_ROOT_DIR 1
#define DRIVE_REMOVABLE 2
#define DRIVE_FIXED 3
#define DRIVE_REMOTE 4
#define DRIVE_CDROM 5
#define DRIVE_RAMDISK 6

typedef struct _OVERLAPPED OVERLAPPED, *LPOVERLAPPED;  // not supported: pass null

typedef struct _WIN32_FIND_DATAA {
  DWORD dwFileAttributes;
  FILETIME ftCreationTime;
  FILETIME ftLastAccessTime;
  FILETIME ftLastWriteTime;
  DWORD nFileSizeHigh;
  DWORD nFileSizeLow;
  DWORD dwReserved0;
  DWORD dwReserved1;
  CHAR cFileName[MAX_PATH];
  CHAR cAlternateFileName[14];
} WIN32_FIND_DATAA, *LPWIN32_FIND_DATAA;

MLR_API HANDLE CreateFileA(LPCSTR lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode,
                           LPSECURITY_ATTRIBUTES lpSecurityAttributes,
                           DWORD dwCreationDisposition, DWORD dwFlagsAndAttributes,
                           HANDLE hTemplateFile);
MLR_API BOOL ReadFile(HANDLE hFile, LPVOID lpBuffer, DWORD nNumberOfBytesToRead,
                      LPDWORD lpNumberOfBytesRead, LPOVERLAPPED lpOverlapped);
MLR_API BOOL WriteFile(HANDLE hFile, LPCVOID lpBuffer, DWORD nNumberOfBytesToWrite,
                       LPDWORD lpNumberOfBytesWritten, LPOVERLAPPED lpOverlapped);
MLR_API BOOL SetFilePointerEx(HANDLE hFile, LARGE_INTEGER liDistanceToMove,
                              PLARGE_INTEGER lpNewFilePointer, DWORD dwMoveMethod);
MLR_API BOOL SetEndOfFile(HANDLE hFile);
MLR_API BOOL FlushFileBuffers(HANDLE hFile);
MLR_API BOOL GetFileSizeEx(HANDLE hFile, PLARGE_INTEGER lpFileSize);
MLR_API DWORD GetFileSize(HANDLE hFile, LPDWORD lpFileSizeHigh);
// Where the file system keeps no creation time, the creation time reported is
// the last status change and a creation time given to SetFileTime is ignored
// (access and write times are still set).
MLR_API BOOL GetFileTime(HANDLE hFile, LPFILETIME lpCreationTime, LPFILETIME lpLastAccessTime,
                         LPFILETIME lpLastWriteTime);
MLR_API BOOL SetFileTime(HANDLE hFile, const FILETIME* lpCreationTime,
                         const FILETIME* lpLastAccessTime, const FILETIME* lpLastWriteTime);
MLR_API BOOL DeleteFileA(LPCSTR lpFileName);
// FILE_ATTRIBUTE_READONLY maps to the absence of every write permission bit;
// clearing it gives the owner write permission back.
MLR_API DWORD GetFileAttributesA(LPCSTR lpFileName);
MLR_API BOOL SetFileAttributesA(LPCSTR lpFileName, DWORD dwFileAttributes);
// DRIVE_REMOVABLE when the path lies on a removable block device (as the
// system reports it), DRIVE_REMOTE on network file systems, DRIVE_RAMDISK on
// memory file systems, DRIVE_NO_ROOT_DIR when the path does not exist,
// otherwise DRIVE_FIXED. A bare drive ("E:") is taken as the current
// directory's file system.
MLR_API UINT GetDriveTypeA(LPCSTR lpRootPathName);
// The last path component may hold the wildcards * and ?.
MLR_API HANDLE FindFirstFileA(LPCSTR lpFileName, LPWIN32_FIND_DATAA lpFindFileData);
MLR_API BOOL FindNextFileA(HANDLE hFindFile, LPWIN32_FIND_DATAA lpFindFileData);
MLR_API BOOL FindClose(HANDLE hFindFile);
// The absolute, symlink-resolved path; returns its length (without NUL), or
// the buffer size needed (with NUL) when cchBuffer is too small, 0 on error.
MLR_API DWORD GetLongPathNameA(LPCSTR lpszShortPath, LPSTR lpszLongPath, DWORD cchBuffer);
MLR_API DWORD GetFullPathNameA(LPCSTR lpFileName, DWORD nBufferLength, LPSTR lpBuffer,
                               LPSTR* lpFilePart);
MLR_API DWORD GetTempPathA(DWORD nBufferLength, LPSTR lpBuffer);

// --- time -------------------------------------------------------------------
#define TIME_ZONE_ID_INVALID ((DWORD)0xFFFFFFFF)
#define TIME_ZONE_ID_UNKNOWN 0
#define TIME_ZONE_ID_STANDARD 1
#define TIME_ZONE_ID_DAYLIGHT 2

typedef struct _TIME_ZONE_INFORMATION {
  LONG Bias;  // minutes, UTC = local + Bias
  WCHAR StandardName[32];
  SYSTEMTIME StandardDate;
  LONG StandardBias;
  WCHAR DaylightName[32];
  SYSTEMTIME DaylightDate;
  LONG DaylightBias;
} TIME_ZONE_INFORMATION, *PTIME_ZONE_INFORMATION, *LPTIME_ZONE_INFORMATION;

MLR_API void GetSystemTime(LPSYSTEMTIME lpSystemTime);
MLR_API void GetLocalTime(LPSYSTEMTIME lpSystemTime);
MLR_API void GetSystemTimeAsFileTime(LPFILETIME lpSystemTimeAsFileTime);
MLR_API BOOL SystemTimeToFileTime(const SYSTEMTIME* lpSystemTime, LPFILETIME lpFileTime);
MLR_API BOOL FileTimeToSystemTime(const FILETIME* lpFileTime, LPSYSTEMTIME lpSystemTime);
MLR_API BOOL FileTimeToLocalFileTime(const FILETIME* lpFileTime, LPFILETIME lpLocalFileTime);
MLR_API BOOL LocalFileTimeToFileTime(const FILETIME* lpLocalFileTime, LPFILETIME lpFileTime);
// From the C library's zone (TZ honoured). Bias is the standard offset;
// the result says whether daylight time is in force now. StandardDate and
// DaylightDate are left zero (transition rules are not described).
MLR_API DWORD GetTimeZoneInformation(LPTIME_ZONE_INFORMATION lpTimeZoneInformation);
// Milliseconds since an arbitrary start, 32-bit, wrapping.
MLR_API DWORD timeGetTime(void);
MLR_API DWORD GetTickCount(void);
MLR_API ULONGLONG GetTickCount64(void);
MLR_API BOOL QueryPerformanceCounter(LARGE_INTEGER* lpPerformanceCount);
MLR_API BOOL QueryPerformanceFrequency(LARGE_INTEGER* lpFrequency);

// --- modules and string resources --------------------------------------------
// LoadLibraryA/GetProcAddress/FreeLibrary over dlopen/dlsym/dlclose. The
// library's own handle (mlr::ModuleHandle() in platform/module.h) is the
// shared library, or the executable when the library is linked statically.
MLR_API HMODULE LoadLibraryA(LPCSTR lpLibFileName);
MLR_API FARPROC GetProcAddress(HMODULE hModule, LPCSTR lpProcName);
MLR_API BOOL FreeLibrary(HMODULE hLibModule);
MLR_API DWORD GetModuleFileNameA(HMODULE hModule, LPSTR lpFilename, DWORD nSize);
// The same path as UTF-16 (the length in UTF-16 units).
MLR_API DWORD GetModuleFileNameW(HMODULE hModule, LPWSTR lpFilename, DWORD nSize);
// GetModuleHandleA(null) is the executable; a name must be a module already
// loaded (its path or file name as dlopen takes it). GetModuleHandleExA
// with GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS finds the module that contains
// the address given in lpModuleName (the executable when the address lies in
// it). Handles are not counted: FLAG_UNCHANGED_REFCOUNT and FLAG_PIN are
// accepted, and no handle from these functions needs FreeLibrary.
#define GET_MODULE_HANDLE_EX_FLAG_PIN 0x00000001
#define GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT 0x00000002
#define GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS 0x00000004
MLR_API HMODULE GetModuleHandleA(LPCSTR lpModuleName);
MLR_API BOOL GetModuleHandleExA(DWORD dwFlags, LPCSTR lpModuleName, HMODULE* phModule);
// Strings come from the process-wide table filled with mlr::RegisterStrings
// (platform/string_table.h), whatever the module handle. Copies at most
// cchBufferMax - 1 bytes plus a NUL; returns the bytes copied, 0 when the id
// is unknown. cchBufferMax == 0 is not supported (returns 0).
MLR_API int LoadStringA(HINSTANCE hInstance, UINT uID, LPSTR lpBuffer, int cchBufferMax);

// Other resources come from the process-wide table filled with
// mlr::RegisterResource (platform/module.h), whatever the module handle.
// Names and types are numbers (MAKEINTRESOURCEA) or strings (compared
// case-insensitively). An HRSRC and the HGLOBAL of LoadResource stay valid
// for the life of the process; nothing needs freeing.
typedef struct HRSRC__* HRSRC;
#define MAKEINTRESOURCEA(i) ((LPSTR)(ULONG_PTR)((WORD)(i)))
#define IS_INTRESOURCE(r) ((((ULONG_PTR)(r)) >> 16) == 0)
MLR_API HRSRC FindResourceA(HMODULE hModule, LPCSTR lpName, LPCSTR lpType);
MLR_API HGLOBAL LoadResource(HMODULE hModule, HRSRC hResInfo);
MLR_API LPVOID LockResource(HGLOBAL hResData);
MLR_API DWORD SizeofResource(HMODULE hModule, HRSRC hResInfo);

// --- module entry point --------------------------------------------------------
// The library's DllMain runs with DLL_PROCESS_ATTACH when the library (or an
// executable that links it) is loaded, and with DLL_PROCESS_DETACH at exit;
// there are no thread notifications.
#define DLL_PROCESS_DETACH 0
#define DLL_PROCESS_ATTACH 1
#define DLL_THREAD_ATTACH 2
#define DLL_THREAD_DETACH 3
MLR_API BOOL DisableThreadLibraryCalls(HMODULE hLibModule);

// --- threads ------------------------------------------------------------------
#define CREATE_SUSPENDED 0x00000004
#define STILL_ACTIVE 259
#define THREAD_PRIORITY_IDLE (-15)
#define THREAD_PRIORITY_LOWEST (-2)
#define THREAD_PRIORITY_BELOW_NORMAL (-1)
#define THREAD_PRIORITY_NORMAL 0
#define THREAD_PRIORITY_ABOVE_NORMAL 1
#define THREAD_PRIORITY_HIGHEST 2
#define THREAD_PRIORITY_TIME_CRITICAL 15
#define THREAD_PRIORITY_ERROR_RETURN (0x7fffffff)

typedef DWORD(WINAPI* PTHREAD_START_ROUTINE)(LPVOID lpThreadParameter);
typedef PTHREAD_START_ROUTINE LPTHREAD_START_ROUTINE;

// dwStackSize 0 is the default; CREATE_SUSPENDED holds the thread until
// ResumeThread. The handle is waitable and gives the exit code.
MLR_API HANDLE CreateThread(LPSECURITY_ATTRIBUTES lpThreadAttributes, SIZE_T dwStackSize,
                            LPTHREAD_START_ROUTINE lpStartAddress, LPVOID lpParameter,
                            DWORD dwCreationFlags, LPDWORD lpThreadId);
MLR_API DWORD ResumeThread(HANDLE hThread);
MLR_API BOOL GetExitCodeThread(HANDLE hThread, LPDWORD lpExitCode);
MLR_API DWORD GetCurrentThreadId(void);
MLR_API DWORD GetCurrentProcessId(void);
// Priorities are recorded and reported but do not change scheduling.
MLR_API BOOL SetThreadPriority(HANDLE hThread, int nPriority);
MLR_API int GetThreadPriority(HANDLE hThread);
// Names the thread for debuggers (the first 15 bytes of its UTF-8 form).
MLR_API HRESULT SetThreadDescription(HANDLE hThread, PCWSTR lpThreadDescription);
// The pseudo handle of the calling thread (valid for SetThreadPriority and
// SetThreadDescription only; needs no CloseHandle).
MLR_API HANDLE GetCurrentThread(void);
MLR_API void Sleep(DWORD dwMilliseconds);

// --- synchronisation ----------------------------------------------------------
#define WAIT_OBJECT_0 ((DWORD)0x00000000L)
#define WAIT_ABANDONED ((DWORD)0x00000080L)
#define WAIT_ABANDONED_0 ((DWORD)0x00000080L)
#define WAIT_TIMEOUT 258L
#define WAIT_FAILED ((DWORD)0xFFFFFFFF)
#define MAXIMUM_WAIT_OBJECTS 64

MLR_API HANDLE CreateEventA(LPSECURITY_ATTRIBUTES lpEventAttributes, BOOL bManualReset,
                            BOOL bInitialState, LPCSTR lpName);
MLR_API BOOL SetEvent(HANDLE hEvent);
MLR_API BOOL ResetEvent(HANDLE hEvent);
MLR_API HANDLE CreateMutexA(LPSECURITY_ATTRIBUTES lpMutexAttributes, BOOL bInitialOwner,
                            LPCSTR lpName);
MLR_API BOOL ReleaseMutex(HANDLE hMutex);
MLR_API DWORD WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds);
// bWaitAll waits until all are signalled at once and then consumes them
// together; otherwise the lowest signalled index wins (WAIT_OBJECT_0 + i).
MLR_API DWORD WaitForMultipleObjects(DWORD nCount, const HANDLE* lpHandles, BOOL bWaitAll,
                                     DWORD dwMilliseconds);

// A recursive lock owned by one thread at a time. The storage is opaque and
// sized for the platform's mutex; no allocation happens.
typedef struct _RTL_CRITICAL_SECTION {
  alignas(16) unsigned char Opaque[64];
} CRITICAL_SECTION, *LPCRITICAL_SECTION, *PCRITICAL_SECTION;

MLR_API void InitializeCriticalSection(LPCRITICAL_SECTION lpCriticalSection);
MLR_API BOOL InitializeCriticalSectionAndSpinCount(LPCRITICAL_SECTION lpCriticalSection,
                                                   DWORD dwSpinCount);
MLR_API void DeleteCriticalSection(LPCRITICAL_SECTION lpCriticalSection);
MLR_API void EnterCriticalSection(LPCRITICAL_SECTION lpCriticalSection);
MLR_API BOOL TryEnterCriticalSection(LPCRITICAL_SECTION lpCriticalSection);
MLR_API void LeaveCriticalSection(LPCRITICAL_SECTION lpCriticalSection);

// Interlocked operations: sequentially consistent, return the new value
// (Exchange/CompareExchange return the old one).
inline LONG InterlockedIncrement(LONG volatile* addend) {
  return __atomic_add_fetch(addend, 1, __ATOMIC_SEQ_CST);
}
inline LONG InterlockedDecrement(LONG volatile* addend) {
  return __atomic_sub_fetch(addend, 1, __ATOMIC_SEQ_CST);
}
inline LONG InterlockedExchange(LONG volatile* target, LONG value) {
  return __atomic_exchange_n(target, value, __ATOMIC_SEQ_CST);
}
inline LONG InterlockedExchangeAdd(LONG volatile* addend, LONG value) {
  return __atomic_fetch_add(addend, value, __ATOMIC_SEQ_CST);
}
inline LONG InterlockedCompareExchange(LONG volatile* dest, LONG exchange, LONG comparand) {
  __atomic_compare_exchange_n(dest, &comparand, exchange, false, __ATOMIC_SEQ_CST,
                              __ATOMIC_SEQ_CST);
  return comparand;
}

// --- text conversions -----------------------------------------------------------
// CP_ACP, CP_OEMCP, CP_THREAD_ACP and CP_UTF8 all mean UTF-8; other code pages
// fail with ERROR_INVALID_PARAMETER. cbMultiByte/cchWideChar -1 means
// NUL-terminated (the NUL is converted and counted). A zero output size asks
// for the size needed. Invalid sequences become U+FFFD.
#define CP_ACP 0
#define CP_OEMCP 1
#define CP_THREAD_ACP 3
#define CP_UTF8 65001
MLR_API int MultiByteToWideChar(UINT CodePage, DWORD dwFlags, LPCSTR lpMultiByteStr,
                                int cbMultiByte, LPWSTR lpWideCharStr, int cchWideChar);
MLR_API int WideCharToMultiByte(UINT CodePage, DWORD dwFlags, LPCWSTR lpWideCharStr,
                                int cchWideChar, LPSTR lpMultiByteStr, int cbMultiByte,
                                LPCSTR lpDefaultChar, LPBOOL lpUsedDefaultChar);
MLR_API int lstrlenW(LPCWSTR lpString);
