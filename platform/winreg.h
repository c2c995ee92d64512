// The registry subset of the POSIX build, with the Windows names, values and
// semantics. Included through platform/win.h; exported with C linkage.
//
// Storage: one text file holds the whole registry (every root). Its path is
// the environment variable MLR_REGISTRY when that is set and not empty,
// otherwise $XDG_CONFIG_HOME/movaLegacyRecording/registry (default
// $HOME/.config/...), one registry per user. The variable is read at every
// call, so a process may switch registries (tests do). A missing file is an
// empty registry; the directory of the default path is created on the first
// write.
//
// Every call reads the file anew; every change is one transaction: under an
// exclusive lock of "<path>.lock" (flock) the file is read again, changed, and
// written as a new file that replaces the old one by rename. Two processes
// writing at once therefore never lose each other's keys, and a crash leaves
// the old or the new file, never half of one.
//
// Failures are Win32 error codes (LONG, ERROR_SUCCESS = 0):
//   ERROR_BADDB            the file cannot be parsed (it is never rewritten
//                          then: a write fails the same way)
//   ERROR_ACCESS_DENIED    the file or its directory cannot be read or written
//   ERROR_FILE_NOT_FOUND   a key or value that does not exist
//   ERROR_KEY_DELETED      the key behind an open handle was deleted
//   ERROR_MORE_DATA        a buffer too small (the size needed is returned)
//   ERROR_INVALID_HANDLE, ERROR_INVALID_PARAMETER
//
// Keys and value names compare case-insensitively (ASCII letters) and keep
// the case they were created with. Values are strings only (REG_SZ,
// REG_EXPAND_SZ stored as REG_SZ); other types give ERROR_INVALID_PARAMETER.
// Names and texts may hold any character but NUL; key names may not hold a
// backslash (it separates the parts of a sub-key path).
//
// Handles: the predefined roots, or handles from RegCreateKeyExW and
// RegOpenKeyExW, which name a key by its path (not a snapshot) and must be
// closed with RegCloseKey. Access masks and options are accepted and ignored.
// Thread-safe.
#pragma once

#include "platform/export.h"
#include "platform/hresult.h"

#define HKEY_CLASSES_ROOT ((HKEY)(ULONG_PTR)0x80000000u)
#define HKEY_CURRENT_USER ((HKEY)(ULONG_PTR)0x80000001u)
#define HKEY_LOCAL_MACHINE ((HKEY)(ULONG_PTR)0x80000002u)
#define HKEY_USERS ((HKEY)(ULONG_PTR)0x80000003u)
#define HKEY_CURRENT_CONFIG ((HKEY)(ULONG_PTR)0x80000005u)

#define REG_NONE 0
#define REG_SZ 1
#define REG_EXPAND_SZ 2
#define REG_BINARY 3
#define REG_DWORD 4

#define REG_OPTION_NON_VOLATILE 0
#define REG_CREATED_NEW_KEY 1
#define REG_OPENED_EXISTING_KEY 2

#define KEY_QUERY_VALUE 0x0001
#define KEY_SET_VALUE 0x0002
#define KEY_CREATE_SUB_KEY 0x0004
#define KEY_ENUMERATE_SUB_KEYS 0x0008
#define KEY_READ 0x20019
#define KEY_WRITE 0x20006
#define KEY_ALL_ACCESS 0xF003F

typedef DWORD REGSAM;

MLR_API LONG RegCreateKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD Reserved, LPWSTR lpClass,
                             DWORD dwOptions, REGSAM samDesired,
                             LPSECURITY_ATTRIBUTES lpSecurityAttributes, HKEY* phkResult,
                             LPDWORD lpdwDisposition);
MLR_API LONG RegOpenKeyExW(HKEY hKey, LPCWSTR lpSubKey, DWORD ulOptions, REGSAM samDesired,
                           HKEY* phkResult);
MLR_API LONG RegCloseKey(HKEY hKey);
// Sets a string value; lpValueName null or "" is the key's default value.
// cbData counts bytes and may include the terminating NUL.
MLR_API LONG RegSetValueExW(HKEY hKey, LPCWSTR lpValueName, DWORD Reserved, DWORD dwType,
                            const BYTE* lpData, DWORD cbData);
// Reads a string value with its NUL; lpData may be null to ask for the size.
MLR_API LONG RegQueryValueExW(HKEY hKey, LPCWSTR lpValueName, LPDWORD lpReserved,
                              LPDWORD lpType, LPBYTE lpData, LPDWORD lpcbData);
MLR_API LONG RegDeleteValueW(HKEY hKey, LPCWSTR lpValueName);
// Deletes a key that has no sub-keys (ERROR_ACCESS_DENIED when it has some).
MLR_API LONG RegDeleteKeyW(HKEY hKey, LPCWSTR lpSubKey);
// Deletes a key with all its sub-keys and values; with lpSubKey null, the
// sub-keys and values of hKey itself (the key stays).
MLR_API LONG RegDeleteTreeW(HKEY hKey, LPCWSTR lpSubKey);
// The name of sub-key dwIndex (in creation order); ERROR_NO_MORE_ITEMS past
// the last. *lpcchName: in, the buffer size; out, the length without NUL.
MLR_API LONG RegEnumKeyExW(HKEY hKey, DWORD dwIndex, LPWSTR lpName, LPDWORD lpcchName,
                           LPDWORD lpReserved, LPWSTR lpClass, LPDWORD lpcchClass,
                           LPFILETIME lpftLastWriteTime);
