#include "storage/com_util.h"
#include "storage/guard.h"
#include "storage/hresult.h"
#include "storage/objects.h"
#include "storage/property_storage.h"

#include <new>

namespace mlr::storage {
namespace {

constexpr DWORD kUnsupportedFlags = STGM_TRANSACTED | STGM_PRIORITY | STGM_DELETEONRELEASE | STGM_CONVERT |
                                    STGM_SIMPLE | STGM_NOSCRATCH | STGM_NOSNAPSHOT | STGM_DIRECT_SWMR;
constexpr DWORD kShareMask = 0x70;

}  // namespace

HRESULT CheckRootMode(DWORD mode, bool create) {
  if ((mode & 3) == 3) return STG_E_INVALIDFLAG;
  if (mode & kUnsupportedFlags) return STG_E_INVALIDFLAG;
  if (!create && (mode & STGM_CREATE)) return STG_E_INVALIDFLAG;
  const DWORD share = mode & kShareMask;
  if (share != 0 && share != STGM_SHARE_EXCLUSIVE && share != STGM_SHARE_DENY_WRITE &&
      share != STGM_SHARE_DENY_READ && share != STGM_SHARE_DENY_NONE)
    return STG_E_INVALIDFLAG;
  // Direct mode with write access needs the file for itself.
  if (CanWrite(mode) && share != STGM_SHARE_EXCLUSIVE) return STG_E_INVALIDFLAG;
  return S_OK;
}

HRESULT FillStatStg(const ElementInfo& info, const std::u16string& name, DWORD mode, DWORD flag, STATSTG* st) {
  *st = STATSTG{};
  if (!(flag & STATFLAG_NONAME)) {
    st->pwcsName = TaskStrDup(name);
    if (!st->pwcsName) return E_OUTOFMEMORY;
  }
  st->type = info.type == EntryType::kStream ? STGTY_STREAM : STGTY_STORAGE;
  st->cbSize.QuadPart = info.size;
  st->mtime = FileTimeOf(info.modified_time);
  st->ctime = FileTimeOf(info.creation_time);
  st->grfMode = mode;
  st->clsid = GuidFromBytes(info.clsid);
  st->grfStateBits = info.state_bits;
  return S_OK;
}

StorageObject::StorageObject(std::shared_ptr<CompoundFile> file, uint32_t index, DWORD mode, bool holds_open)
    : file_(std::move(file)), index_(index), mode_(mode), holds_open_(holds_open) {}

StorageObject::~StorageObject() {
  if (holds_open_) file_->ReleaseOpen(index_);
  if (index_ == CompoundFile::kRoot) (void)file_->Flush();
}

ULONG StorageObject::Release() {
  ULONG n = refs_.Release();
  if (n == 0) delete this;
  return n;
}

HRESULT StorageObject::QueryInterface(REFIID riid, void** ppv) {
  if (!ppv) return E_POINTER;
  *ppv = nullptr;
  if (riid == IID_IUnknown || riid == IID_IStorage) {
    *ppv = static_cast<IStorage*>(this);
    AddRef();
    return S_OK;
  }
  if (riid == IID_IPropertySetStorage) {
    // A tear-off over this storage.
    return StgCreatePropSetStg(this, 0, reinterpret_cast<IPropertySetStorage**>(ppv));
  }
  return E_NOINTERFACE;
}

HRESULT StorageObject::CheckChild(const OLECHAR* name, DWORD mode, bool create, std::u16string* out) const {
  if (!name) return STG_E_INVALIDNAME;
  if ((mode & 3) == 3 || (mode & kUnsupportedFlags)) return STG_E_INVALIDFLAG;
  if ((mode & kShareMask) != STGM_SHARE_EXCLUSIVE) return STG_E_INVALIDFLAG;
  if (!create && (mode & STGM_CREATE)) return STG_E_INVALIDFLAG;
  // A child gets no access its parent lacks.
  if ((CanWrite(mode) && !CanWrite(mode_)) || (CanRead(mode) && !CanRead(mode_))) return STG_E_ACCESSDENIED;
  *out = NameOf(name);
  return S_OK;
}

HRESULT StorageObject::CreateChild(const OLECHAR* name, DWORD mode, EntryType type, uint32_t* index) {
  std::u16string n;
  HRESULT hr = CheckChild(name, mode, true, &n);
  if (FAILED(hr)) return hr;
  if (!CanWrite(mode_)) return STG_E_ACCESSDENIED;
  Result<uint32_t> created = file_->CreateElement(index_, n, type, (mode & STGM_CREATE) != 0);
  if (!created.ok()) return ToHresult(created.status());
  *index = *created;
  return S_OK;
}

HRESULT StorageObject::FindChild(const OLECHAR* name, DWORD mode, EntryType type, uint32_t* index) const {
  std::u16string n;
  HRESULT hr = CheckChild(name, mode, false, &n);
  if (FAILED(hr)) return hr;
  Result<uint32_t> found = file_->Find(index_, n);
  if (!found.ok()) return ToHresult(found.status());
  if (file_->Stat(*found).type != type) return STG_E_FILENOTFOUND;
  *index = *found;
  return S_OK;
}

HRESULT StorageObject::MakeStorage(uint32_t index, DWORD mode, IStorage** ppstg) {
  Status st = file_->AcquireOpen(index);
  if (!st.ok()) return ToHresult(st);
  *ppstg = new StorageObject(file_, index, mode, true);
  return S_OK;
}

HRESULT StorageObject::MakeStream(uint32_t index, DWORD mode, IStream** ppstm) {
  Result<std::shared_ptr<StreamNode>> node = file_->OpenStream(index);
  if (!node.ok()) return ToHresult(node.status());
  *ppstm = new StreamObject(std::move(*node), mode);
  return S_OK;
}

HRESULT StorageObject::CreateStream(const OLECHAR* name, DWORD mode, DWORD reserved1, DWORD reserved2,
                                    IStream** ppstm) {
  if (!ppstm) return STG_E_INVALIDPOINTER;
  *ppstm = nullptr;
  MLR_GUARD_BEGIN
  if (reserved1 || reserved2) return STG_E_INVALIDPARAMETER;
  uint32_t index = 0;
  HRESULT hr = CreateChild(name, mode, EntryType::kStream, &index);
  if (FAILED(hr)) return hr;
  return MakeStream(index, mode, ppstm);
  MLR_GUARD_END
}

HRESULT StorageObject::OpenStream(const OLECHAR* name, void* reserved1, DWORD mode, DWORD reserved2,
                                  IStream** ppstm) {
  if (!ppstm) return STG_E_INVALIDPOINTER;
  *ppstm = nullptr;
  MLR_GUARD_BEGIN
  if (reserved1 || reserved2) return STG_E_INVALIDPARAMETER;
  uint32_t index = 0;
  HRESULT hr = FindChild(name, mode, EntryType::kStream, &index);
  if (FAILED(hr)) return hr;
  return MakeStream(index, mode, ppstm);
  MLR_GUARD_END
}

HRESULT StorageObject::CreateStorage(const OLECHAR* name, DWORD mode, DWORD reserved1, DWORD reserved2,
                                     IStorage** ppstg) {
  if (!ppstg) return STG_E_INVALIDPOINTER;
  *ppstg = nullptr;
  MLR_GUARD_BEGIN
  if (reserved1 || reserved2) return STG_E_INVALIDPARAMETER;
  uint32_t index = 0;
  HRESULT hr = CreateChild(name, mode, EntryType::kStorage, &index);
  if (FAILED(hr)) return hr;
  return MakeStorage(index, mode, ppstg);
  MLR_GUARD_END
}

HRESULT StorageObject::OpenStorage(const OLECHAR* name, IStorage* priority, DWORD mode, SNB exclude,
                                   DWORD reserved, IStorage** ppstg) {
  if (!ppstg) return STG_E_INVALIDPOINTER;
  *ppstg = nullptr;
  MLR_GUARD_BEGIN
  if (reserved) return STG_E_INVALIDPARAMETER;
  if (priority || exclude) return STG_E_INVALIDFUNCTION;
  uint32_t index = 0;
  HRESULT hr = FindChild(name, mode, EntryType::kStorage, &index);
  if (FAILED(hr)) return hr;
  return MakeStorage(index, mode, ppstg);
  MLR_GUARD_END
}

HRESULT StorageObject::CopyTo(DWORD ciidExclude, const IID* rgiidExclude, SNB snbExclude, IStorage* dest) {
  if (!dest) return STG_E_INVALIDPOINTER;
  MLR_GUARD_BEGIN
  if (ciidExclude && !rgiidExclude) return STG_E_INVALIDPOINTER;
  bool skip_storages = false, skip_streams = false;
  for (DWORD i = 0; i < ciidExclude; ++i) {
    if (rgiidExclude[i] == IID_IStorage) skip_storages = true;
    if (rgiidExclude[i] == IID_IStream) skip_streams = true;
  }
  auto excluded = [&](const std::u16string& n) {
    for (SNB p = snbExclude; p && *p; ++p)
      if (CompareNames(NameOf(*p), n) == 0) return true;
    return false;
  };
  const DWORD child_mode = STGM_SHARE_EXCLUSIVE | STGM_READ;
  const DWORD dest_mode = STGM_CREATE | STGM_SHARE_EXCLUSIVE | STGM_WRITE;
  for (const ElementInfo& e : file_->List(index_)) {
    if (excluded(e.name)) continue;
    std::u16string name = e.name;
    if (e.type == EntryType::kStream) {
      if (skip_streams) continue;
      IStream* from = nullptr;
      IStream* to = nullptr;
      HRESULT hr = OpenStream(name.c_str(), nullptr, child_mode, 0, &from);
      if (SUCCEEDED(hr)) hr = dest->CreateStream(name.c_str(), dest_mode, 0, 0, &to);
      if (SUCCEEDED(hr)) {
        ULARGE_INTEGER all;
        all.QuadPart = ~0ull;
        hr = from->CopyTo(to, all, nullptr, nullptr);
      }
      if (to) to->Release();
      if (from) from->Release();
      if (FAILED(hr)) return hr;
    } else {
      if (skip_storages) continue;
      IStorage* from = nullptr;
      IStorage* to = nullptr;
      HRESULT hr = OpenStorage(name.c_str(), nullptr, child_mode, nullptr, 0, &from);
      if (SUCCEEDED(hr)) hr = dest->CreateStorage(name.c_str(), STGM_CREATE | STGM_SHARE_EXCLUSIVE | STGM_READWRITE, 0, 0, &to);
      if (SUCCEEDED(hr)) hr = to->SetClass(GuidFromBytes(e.clsid));
      if (SUCCEEDED(hr)) hr = from->CopyTo(0, nullptr, nullptr, to);
      if (to) to->Release();
      if (from) from->Release();
      if (FAILED(hr)) return hr;
    }
  }
  return S_OK;
  MLR_GUARD_END
}

HRESULT StorageObject::MoveElementTo(const OLECHAR*, IStorage*, const OLECHAR*, DWORD) {
  return STG_E_UNIMPLEMENTEDFUNCTION;
}

HRESULT StorageObject::Commit(DWORD) {
  MLR_GUARD_BEGIN
  if (!CanWrite(mode_)) return S_OK;
  return ToHresult(file_->Flush());
  MLR_GUARD_END
}

HRESULT StorageObject::Revert() { return S_OK; }  // direct mode: every change is already made

HRESULT StorageObject::EnumElements(DWORD reserved1, void* reserved2, DWORD reserved3, IEnumSTATSTG** ppenum) {
  if (!ppenum) return STG_E_INVALIDPOINTER;
  *ppenum = nullptr;
  MLR_GUARD_BEGIN
  if (reserved1 || reserved2 || reserved3) return STG_E_INVALIDPARAMETER;
  if (!CanRead(mode_)) return STG_E_ACCESSDENIED;
  return NewElementEnum(file_->List(index_), ppenum);
  MLR_GUARD_END
}

HRESULT StorageObject::DestroyElement(const OLECHAR* name) {
  if (!name) return STG_E_INVALIDNAME;
  MLR_GUARD_BEGIN
  if (!CanWrite(mode_)) return STG_E_ACCESSDENIED;
  return ToHresult(file_->DestroyElement(index_, NameOf(name)));
  MLR_GUARD_END
}

HRESULT StorageObject::RenameElement(const OLECHAR* old_name, const OLECHAR* new_name) {
  if (!old_name || !new_name) return STG_E_INVALIDNAME;
  MLR_GUARD_BEGIN
  if (!CanWrite(mode_)) return STG_E_ACCESSDENIED;
  return ToHresult(file_->RenameElement(index_, NameOf(old_name), NameOf(new_name)));
  MLR_GUARD_END
}

HRESULT StorageObject::SetElementTimes(const OLECHAR* name, const FILETIME* ctime, const FILETIME*,
                                       const FILETIME* mtime) {
  MLR_GUARD_BEGIN
  if (!CanWrite(mode_)) return STG_E_ACCESSDENIED;
  uint32_t index = index_;
  if (name) {
    Result<uint32_t> found = file_->Find(index_, NameOf(name));
    if (!found.ok()) return ToHresult(found.status());
    index = *found;
  }
  uint64_t c = ctime ? Ticks(*ctime) : 0, m = mtime ? Ticks(*mtime) : 0;
  return ToHresult(file_->SetTimes(index, ctime ? &c : nullptr, mtime ? &m : nullptr));
  MLR_GUARD_END
}

HRESULT StorageObject::SetClass(REFCLSID clsid) {
  MLR_GUARD_BEGIN
  if (!CanWrite(mode_)) return STG_E_ACCESSDENIED;
  return ToHresult(file_->SetClass(index_, GuidToBytes(clsid)));
  MLR_GUARD_END
}

HRESULT StorageObject::SetStateBits(DWORD bits, DWORD mask) {
  MLR_GUARD_BEGIN
  if (!CanWrite(mode_)) return STG_E_ACCESSDENIED;
  return ToHresult(file_->SetStateBits(index_, bits, mask));
  MLR_GUARD_END
}

HRESULT StorageObject::Stat(STATSTG* st, DWORD flag) {
  if (!st) return STG_E_INVALIDPOINTER;
  MLR_GUARD_BEGIN
  if (flag & ~static_cast<DWORD>(STATFLAG_NONAME | STATFLAG_NOOPEN)) return STG_E_INVALIDFLAG;
  ElementInfo info = file_->Stat(index_);
  // The root is named by its file, as on Windows.
  return FillStatStg(info, index_ == CompoundFile::kRoot ? file_->path() : info.name, mode_, flag, st);
  MLR_GUARD_END
}

}  // namespace mlr::storage
