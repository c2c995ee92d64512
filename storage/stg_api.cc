// The structured-storage entry points: StgOpenStorage, StgCreateDocfile,
// StgIsStorageFile, StgCreateStorageEx and StgOpenStorageEx.
//
// Choices where Windows leaves room or differs by version:
// - StgCreateDocfile writes version 4 files (4096-byte sectors), so that a
//   saved recording may grow beyond the 2 GiB that version 3 allows;
//   StgCreateStorageEx writes version 3 unless STGOPTIONS asks for
//   4096-byte sectors.
// - Sharing flags become advisory whole-file locks (platform/file.h): an
//   open with STGM_SHARE_EXCLUSIVE (or DENY_READ) locks the file
//   exclusively, STGM_SHARE_DENY_WRITE takes a shared lock; a conflicting
//   open gives STG_E_SHAREVIOLATION.
// - A file that exists but is not a compound file gives
//   STG_E_FILEALREADYEXISTS; one that is damaged STG_E_DOCFILECORRUPT.
// - A file created by StgCreateDocfile that cannot be initialised is removed.
// - A root storage's Stat name is the file's full path (made absolute against
//   the working folder at open), as Windows reports it.
#include "platform/file.h"
#include "storage/com_util.h"
#include "storage/compound_file.h"
#include "storage/hresult.h"
#include "storage/objects.h"

#include <filesystem>
#include <new>

namespace mlr::storage {
namespace {

FileShare ShareOf(DWORD mode) {
  switch (mode & 0x70) {
    case STGM_SHARE_EXCLUSIVE:
    case STGM_SHARE_DENY_READ: return FileShare::kExclusive;
    case STGM_SHARE_DENY_WRITE: return FileShare::kDenyWrite;
    default: return FileShare::kDenyNone;
  }
}

std::string PathOf(const WCHAR* name) { return ToUtf8(std::u16string(name)); }

// The name a root storage reports: its file's full path, fixed at open, so
// that it still names the same file after the caller changes its working
// folder. Falls back to the name as given when the working folder is gone.
std::u16string FullPathOf(const std::string& path, const WCHAR* name) {
  std::error_code ec;
  const std::filesystem::path full = std::filesystem::absolute(path, ec);
  if (ec) return name;
  return FromUtf8(full.lexically_normal().string());
}

HRESULT OpenRoot(const WCHAR* name, DWORD mode, IStorage** out) {
  HRESULT hr = CheckRootMode(mode, false);
  if (FAILED(hr)) return hr;
  const std::string path = PathOf(name);
  std::unique_ptr<File> file;
  hr = OpenFile(path.c_str(), CanWrite(mode) ? FileMode::kOpenReadWrite : FileMode::kOpenRead, ShareOf(mode), &file);
  if (FAILED(hr)) return hr;
  Result<std::shared_ptr<CompoundFile>> cf = CompoundFile::Open(std::move(file), FullPathOf(path, name));
  if (!cf.ok()) return ToHresult(cf.status());
  *out = new StorageObject(std::move(*cf), CompoundFile::kRoot, mode, false);
  return S_OK;
}

HRESULT CreateRoot(const WCHAR* name, DWORD mode, uint16_t version, IStorage** out) {
  HRESULT hr = CheckRootMode(mode, true);
  if (FAILED(hr)) return hr;
  if (!CanWrite(mode)) return STG_E_INVALIDFLAG;
  const std::string path = PathOf(name);
  std::unique_ptr<File> file;
  hr = OpenFile(path.c_str(), (mode & STGM_CREATE) ? FileMode::kCreateAlways : FileMode::kCreateNew, ShareOf(mode),
                &file);
  if (FAILED(hr)) return hr;
  Result<std::shared_ptr<CompoundFile>> cf = CompoundFile::Create(std::move(file), FullPathOf(path, name), version);
  if (!cf.ok()) {
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
    return ToHresult(cf.status());
  }
  *out = new StorageObject(std::move(*cf), CompoundFile::kRoot, mode, false);
  return S_OK;
}

HRESULT QueryAndRelease(IStorage* stg, REFIID riid, void** out) {
  HRESULT hr = stg->QueryInterface(riid, out);
  stg->Release();
  return hr;
}

}  // namespace
}  // namespace mlr::storage

using namespace mlr::storage;

MLR_API HRESULT StgOpenStorage(const WCHAR* pwcsName, IStorage* pstgPriority, DWORD grfMode, SNB snbExclude,
                               DWORD reserved, IStorage** ppstgOpen) {
  if (!ppstgOpen) return STG_E_INVALIDPOINTER;
  *ppstgOpen = nullptr;
  if (!pwcsName || !*pwcsName) return STG_E_INVALIDNAME;
  if (reserved) return STG_E_INVALIDPARAMETER;
  if (pstgPriority || snbExclude) return STG_E_INVALIDFUNCTION;
  try {
    return OpenRoot(pwcsName, grfMode, ppstgOpen);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (...) {
    return E_UNEXPECTED;
  }
}

MLR_API HRESULT StgCreateDocfile(const WCHAR* pwcsName, DWORD grfMode, DWORD reserved, IStorage** ppstgOpen) {
  if (!ppstgOpen) return STG_E_INVALIDPOINTER;
  *ppstgOpen = nullptr;
  if (!pwcsName || !*pwcsName) return STG_E_INVALIDNAME;
  if (reserved) return STG_E_INVALIDPARAMETER;
  try {
    return CreateRoot(pwcsName, grfMode, 4, ppstgOpen);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (...) {
    return E_UNEXPECTED;
  }
}

MLR_API HRESULT StgIsStorageFile(const WCHAR* pwcsName) {
  if (!pwcsName || !*pwcsName) return STG_E_INVALIDNAME;
  try {
    std::unique_ptr<mlr::File> file;
    HRESULT hr = mlr::OpenFile(PathOf(pwcsName).c_str(), mlr::FileMode::kOpenRead, mlr::FileShare::kDenyNone, &file);
    if (FAILED(hr)) return hr;
    uint8_t bytes[8];
    size_t got = 0;
    hr = file->ReadAt(0, bytes, sizeof(bytes), &got);
    if (FAILED(hr)) return hr;
    return HasSignature(bytes, got) ? S_OK : S_FALSE;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
}

MLR_API HRESULT StgCreateStorageEx(const WCHAR* pwcsName, DWORD grfMode, DWORD stgfmt, DWORD grfAttrs,
                                   STGOPTIONS* pStgOptions, void* pSecurityDescriptor, REFIID riid,
                                   void** ppObjectOpen) {
  if (!ppObjectOpen) return STG_E_INVALIDPOINTER;
  *ppObjectOpen = nullptr;
  if (!pwcsName || !*pwcsName) return STG_E_INVALIDNAME;
  if (stgfmt != STGFMT_DOCFILE && stgfmt != STGFMT_STORAGE) return STG_E_INVALIDPARAMETER;
  if (grfAttrs || pSecurityDescriptor) return STG_E_INVALIDPARAMETER;
  uint16_t version = 3;
  if (pStgOptions) {
    if (pStgOptions->ulSectorSize == 4096) version = 4;
    else if (pStgOptions->ulSectorSize != 512) return STG_E_INVALIDPARAMETER;
  }
  try {
    IStorage* stg = nullptr;
    HRESULT hr = CreateRoot(pwcsName, grfMode, version, &stg);
    if (FAILED(hr)) return hr;
    return QueryAndRelease(stg, riid, ppObjectOpen);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (...) {
    return E_UNEXPECTED;
  }
}

MLR_API HRESULT StgOpenStorageEx(const WCHAR* pwcsName, DWORD grfMode, DWORD stgfmt, DWORD grfAttrs,
                                 STGOPTIONS* pStgOptions, void* pSecurityDescriptor, REFIID riid,
                                 void** ppObjectOpen) {
  if (!ppObjectOpen) return STG_E_INVALIDPOINTER;
  *ppObjectOpen = nullptr;
  if (!pwcsName || !*pwcsName) return STG_E_INVALIDNAME;
  if (stgfmt != STGFMT_DOCFILE && stgfmt != STGFMT_STORAGE && stgfmt != STGFMT_ANY) return STG_E_INVALIDPARAMETER;
  if (grfAttrs || pSecurityDescriptor || pStgOptions) return STG_E_INVALIDPARAMETER;
  try {
    IStorage* stg = nullptr;
    HRESULT hr = OpenRoot(pwcsName, grfMode, &stg);
    if (FAILED(hr)) return hr;
    return QueryAndRelease(stg, riid, ppObjectOpen);
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (...) {
    return E_UNEXPECTED;
  }
}
