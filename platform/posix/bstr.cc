// BSTR: [4-byte byte length][UTF-16 characters][NUL], the pointer handed out
// pointing at the characters. The block comes from malloc; SysFreeString
// frees it. Lengths are checked so that the byte length and the block size
// cannot overflow 32 bits.
#if !defined(_WIN32)

#include "platform/win.h"

#include <cstdlib>
#include <cstring>

namespace {

constexpr size_t kPrefix = sizeof(DWORD);
constexpr UINT kMaxBytes = 0xFFFFFFFFu - kPrefix - sizeof(OLECHAR) - 16;

// A block for `bytes` bytes of content, terminated with a wide NUL.
BSTR AllocBytes(const void* data, UINT bytes) {
  if (bytes > kMaxBytes) return nullptr;
  // One extra byte so that an odd byte length still ends in a whole wide NUL.
  size_t block = kPrefix + size_t{bytes} + sizeof(OLECHAR) + 1;
  auto* raw = static_cast<unsigned char*>(std::malloc(block));
  if (!raw) return nullptr;
  DWORD len = bytes;
  std::memcpy(raw, &len, kPrefix);
  if (data) {
    std::memcpy(raw + kPrefix, data, bytes);
  } else {
    std::memset(raw + kPrefix, 0, bytes);
  }
  std::memset(raw + kPrefix + bytes, 0, sizeof(OLECHAR) + 1);
  return reinterpret_cast<BSTR>(raw + kPrefix);
}

UINT WideLength(const OLECHAR* s) {
  size_t n = 0;
  while (s[n]) ++n;
  return n > 0x7FFFFFFF ? 0xFFFFFFFFu : static_cast<UINT>(n);
}

}  // namespace

BSTR SysAllocString(const OLECHAR* psz) {
  if (!psz) return nullptr;
  return SysAllocStringLen(psz, WideLength(psz));
}

BSTR SysAllocStringLen(const OLECHAR* strIn, UINT ui) {
  if (ui > kMaxBytes / sizeof(OLECHAR)) return nullptr;
  return AllocBytes(strIn, ui * static_cast<UINT>(sizeof(OLECHAR)));
}

BSTR SysAllocStringByteLen(LPCSTR psz, UINT len) { return AllocBytes(psz, len); }

INT SysReAllocString(BSTR* pbstr, const OLECHAR* psz) {
  if (!pbstr) return FALSE;
  UINT len = psz ? WideLength(psz) : 0;
  return SysReAllocStringLen(pbstr, psz, len);
}

INT SysReAllocStringLen(BSTR* pbstr, const OLECHAR* psz, UINT len) {
  if (!pbstr) return FALSE;
  // Allocate before freeing: psz may point into *pbstr.
  BSTR fresh = SysAllocStringLen(psz, len);
  if (!fresh) return FALSE;
  SysFreeString(*pbstr);
  *pbstr = fresh;
  return TRUE;
}

void SysFreeString(BSTR bstrString) {
  if (!bstrString) return;
  std::free(reinterpret_cast<unsigned char*>(bstrString) - kPrefix);
}

UINT SysStringByteLen(BSTR bstr) {
  if (!bstr) return 0;
  DWORD len;
  std::memcpy(&len, reinterpret_cast<unsigned char*>(bstr) - kPrefix, kPrefix);
  return len;
}

UINT SysStringLen(BSTR pbstr) { return SysStringByteLen(pbstr) / sizeof(OLECHAR); }

#endif  // !_WIN32
