// MultiByteToWideChar / WideCharToMultiByte with UTF-8 as every "ANSI" code
// page, and lstrlenW.
#if !defined(_WIN32)

#include "platform/strings.h"
#include "platform/win.h"

#include <cstring>
#include <new>
#include <string>

namespace {

bool Utf8CodePage(UINT cp) {
  return cp == CP_ACP || cp == CP_OEMCP || cp == CP_THREAD_ACP || cp == CP_UTF8;
}

size_t Strlen16(const WCHAR* s) {
  size_t n = 0;
  while (s[n]) ++n;
  return n;
}

}  // namespace

int MultiByteToWideChar(UINT CodePage, DWORD, LPCSTR lpMultiByteStr, int cbMultiByte,
                        LPWSTR lpWideCharStr, int cchWideChar) {
  if (!Utf8CodePage(CodePage) || !lpMultiByteStr || cbMultiByte == 0 || cbMultiByte < -1 ||
      cchWideChar < 0 || (cchWideChar && !lpWideCharStr)) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  size_t len = cbMultiByte == -1 ? std::strlen(lpMultiByteStr) + 1 : size_t(cbMultiByte);
  std::u16string w;
  try {
    w = mlr::ToUtf16(lpMultiByteStr, len);
  } catch (const std::bad_alloc&) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return 0;
  }
  if (cchWideChar == 0) return static_cast<int>(w.size());
  if (w.size() > static_cast<size_t>(cchWideChar)) {
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return 0;
  }
  std::memcpy(lpWideCharStr, w.data(), w.size() * sizeof(WCHAR));
  return static_cast<int>(w.size());
}

int WideCharToMultiByte(UINT CodePage, DWORD, LPCWSTR lpWideCharStr, int cchWideChar,
                        LPSTR lpMultiByteStr, int cbMultiByte, LPCSTR, LPBOOL lpUsedDefaultChar) {
  if (!Utf8CodePage(CodePage) || !lpWideCharStr || cchWideChar == 0 || cchWideChar < -1 ||
      cbMultiByte < 0 || (cbMultiByte && !lpMultiByteStr)) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
  }
  if (lpUsedDefaultChar) *lpUsedDefaultChar = FALSE;
  size_t len = cchWideChar == -1 ? Strlen16(lpWideCharStr) + 1 : size_t(cchWideChar);
  std::string s;
  try {
    s = mlr::ToUtf8(lpWideCharStr, len);
  } catch (const std::bad_alloc&) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return 0;
  }
  if (cbMultiByte == 0) return static_cast<int>(s.size());
  if (s.size() > static_cast<size_t>(cbMultiByte)) {
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return 0;
  }
  std::memcpy(lpMultiByteStr, s.data(), s.size());
  return static_cast<int>(s.size());
}

int lstrlenW(LPCWSTR lpString) { return lpString ? static_cast<int>(Strlen16(lpString)) : 0; }

#endif  // !_WIN32
