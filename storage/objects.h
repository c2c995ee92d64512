// The interface objects of the engine: StorageObject (IStorage),
// StreamObject (IStream) and ElementEnum (IEnumSTATSTG).
//
// Ownership: each object holds one reference count (mlr::RefCount, starting
// at 1 for its creator) and keeps the CompoundFile alive through a
// shared_ptr; a stream object keeps its StreamNode, which keeps the file.
// Releasing the root storage writes the file's metadata (as Commit does);
// storages and streams opened from it stay usable after that.
//
// Threading: free-threaded. Different streams may be read and written from
// different threads at once; one stream object may be shared too (its seek
// pointer is guarded by a mutex, so each call sees a consistent position).
//
// Access: an object opened with STGM_READ refuses writes with
// STG_E_ACCESSDENIED, one opened with STGM_WRITE refuses reads; a child
// cannot be opened with more access than its parent. Elements below the
// root need STGM_SHARE_EXCLUSIVE (STG_E_INVALIDFLAG otherwise) and are open
// once at a time (STG_E_ACCESSDENIED for a second open); destroying,
// renaming or replacing an open element is STG_E_ACCESSDENIED.
//
// Not supported (direct mode only): STGM_TRANSACTED, STGM_PRIORITY,
// STGM_CONVERT, STGM_DELETEONRELEASE (STG_E_INVALIDFLAG); snbExclude and
// priority storages (STG_E_INVALIDFUNCTION); LockRegion (STG_E_INVALIDFUNCTION,
// as compound files on Windows); MoveElementTo (STG_E_UNIMPLEMENTEDFUNCTION).
#pragma once

#include "platform/ref_count.h"
#include "platform/win.h"
#include "storage/compound_file.h"

#include <memory>
#include <mutex>

namespace mlr::storage {

class StorageObject final : public IStorage {
 public:
  // `holds_open`: the element was acquired (AcquireOpen) for this object and
  // is released with it. The root is never acquired.
  StorageObject(std::shared_ptr<CompoundFile> file, uint32_t index, DWORD mode, bool holds_open);

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override { return refs_.AddRef(); }
  ULONG STDMETHODCALLTYPE Release() override;

  HRESULT STDMETHODCALLTYPE CreateStream(const OLECHAR* name, DWORD mode, DWORD reserved1, DWORD reserved2,
                                         IStream** ppstm) override;
  HRESULT STDMETHODCALLTYPE OpenStream(const OLECHAR* name, void* reserved1, DWORD mode, DWORD reserved2,
                                       IStream** ppstm) override;
  HRESULT STDMETHODCALLTYPE CreateStorage(const OLECHAR* name, DWORD mode, DWORD reserved1, DWORD reserved2,
                                          IStorage** ppstg) override;
  HRESULT STDMETHODCALLTYPE OpenStorage(const OLECHAR* name, IStorage* priority, DWORD mode, SNB exclude,
                                        DWORD reserved, IStorage** ppstg) override;
  HRESULT STDMETHODCALLTYPE CopyTo(DWORD ciidExclude, const IID* rgiidExclude, SNB snbExclude,
                                   IStorage* pstgDest) override;
  HRESULT STDMETHODCALLTYPE MoveElementTo(const OLECHAR* name, IStorage* dest, const OLECHAR* new_name,
                                          DWORD flags) override;
  HRESULT STDMETHODCALLTYPE Commit(DWORD flags) override;
  HRESULT STDMETHODCALLTYPE Revert() override;
  HRESULT STDMETHODCALLTYPE EnumElements(DWORD reserved1, void* reserved2, DWORD reserved3,
                                         IEnumSTATSTG** ppenum) override;
  HRESULT STDMETHODCALLTYPE DestroyElement(const OLECHAR* name) override;
  HRESULT STDMETHODCALLTYPE RenameElement(const OLECHAR* old_name, const OLECHAR* new_name) override;
  HRESULT STDMETHODCALLTYPE SetElementTimes(const OLECHAR* name, const FILETIME* ctime, const FILETIME* atime,
                                            const FILETIME* mtime) override;
  HRESULT STDMETHODCALLTYPE SetClass(REFCLSID clsid) override;
  HRESULT STDMETHODCALLTYPE SetStateBits(DWORD bits, DWORD mask) override;
  HRESULT STDMETHODCALLTYPE Stat(STATSTG* st, DWORD flag) override;

  const std::shared_ptr<CompoundFile>& file() const { return file_; }
  uint32_t index() const { return index_; }

 private:
  ~StorageObject();
  HRESULT CheckChild(const OLECHAR* name, DWORD mode, bool create, std::u16string* out) const;
  // CheckChild, then create (CreateStream, CreateStorage) or find (OpenStream,
  // OpenStorage) the child of that type; *index is set only on success.
  HRESULT CreateChild(const OLECHAR* name, DWORD mode, EntryType type, uint32_t* index);
  HRESULT FindChild(const OLECHAR* name, DWORD mode, EntryType type, uint32_t* index) const;
  HRESULT MakeStream(uint32_t index, DWORD mode, IStream** ppstm);
  HRESULT MakeStorage(uint32_t index, DWORD mode, IStorage** ppstg);

  RefCount refs_;
  std::shared_ptr<CompoundFile> file_;
  uint32_t index_;
  DWORD mode_;
  bool holds_open_;
};

class StreamObject final : public IStream {
 public:
  StreamObject(std::shared_ptr<StreamNode> node, DWORD mode, uint64_t position = 0)
      : node_(std::move(node)), mode_(mode), pos_(position) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override { return refs_.AddRef(); }
  ULONG STDMETHODCALLTYPE Release() override;

  HRESULT STDMETHODCALLTYPE Read(void* pv, ULONG cb, ULONG* pcbRead) override;
  HRESULT STDMETHODCALLTYPE Write(const void* pv, ULONG cb, ULONG* pcbWritten) override;
  HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* new_position) override;
  HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER size) override;
  HRESULT STDMETHODCALLTYPE CopyTo(IStream* dest, ULARGE_INTEGER cb, ULARGE_INTEGER* pcbRead,
                                   ULARGE_INTEGER* pcbWritten) override;
  HRESULT STDMETHODCALLTYPE Commit(DWORD flags) override;
  HRESULT STDMETHODCALLTYPE Revert() override;
  HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER cb, DWORD type) override;
  HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER cb, DWORD type) override;
  HRESULT STDMETHODCALLTYPE Stat(STATSTG* st, DWORD flag) override;
  HRESULT STDMETHODCALLTYPE Clone(IStream** ppstm) override;

 private:
  ~StreamObject() = default;

  RefCount refs_;
  std::shared_ptr<StreamNode> node_;
  DWORD mode_;
  std::mutex pos_mu_;
  uint64_t pos_;
};

// Fills *st from an element (name left null with STATFLAG_NONAME).
HRESULT FillStatStg(const ElementInfo& info, const std::u16string& name, DWORD mode, DWORD flag, STATSTG* st);

// An enumerator over a snapshot of a storage's elements.
HRESULT NewElementEnum(std::vector<ElementInfo> elements, IEnumSTATSTG** ppenum);

// Validates an StgOpenStorage/StgCreateDocfile mode for the root.
HRESULT CheckRootMode(DWORD mode, bool create);

}  // namespace mlr::storage
