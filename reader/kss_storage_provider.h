// The KSS storage provider: the component that opens recording files as
// storages when a plain open fails (the reader's conversion path), reports
// file sizes (the recording's TotalSize), and creates storages and deletes
// files for the saver.
//
// On POSIX the provider is part of this library: `CLSID_KssStorageProvider`
// is registered in the runtime's in-process class table on first use
// (`RegisterKssStorageProvider`, idempotent and thread-safe) and created with
// CoCreateInstance like any external class. It opens and creates compound
// files with 4096-byte sectors (major version 4).
//
// Mode words. Bit 0x20000 asks for read-write access, bit 0x10000 for
// read-only access (read-write wins when both are set); the low bits are
// passed by callers as they stand and not interpreted. Every storage is
// opened and created share-exclusive; CreateStorage always creates,
// replacing an existing file.
//
// Interface `IKssStorageProvider` (dual; after the automation slots, in
// this order): OpenStorage, CreateStorage, DeleteFile, FileSize. Out
// pointers are set to null/0 first and hold nothing on failure. The object
// is free-threaded and stateless.
#pragma once

#include "platform/iid_traits.h"
#include "platform/win.h"

inline constexpr CLSID CLSID_KssStorageProvider = {
    0x4B535300, 0x0001, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};
inline constexpr IID IID_IKssStorageProvider = {
    0x4B535300, 0x0002, 0x4D4C, {0x9A, 0x52, 0x6C, 0x65, 0x67, 0x61, 0x63, 0x79}};

struct IKssStorageProvider : public IDispatch {
  // Opens the file `FileName` as a root storage.
  virtual HRESULT STDMETHODCALLTYPE OpenStorage(BSTR FileName, LONG Mode, IStorage** Storage) = 0;
  // Creates (replacing) the file `Path` as a new root storage.
  virtual HRESULT STDMETHODCALLTYPE CreateStorage(const OLECHAR* Path, LONG Mode,
                                                  IStorage** Storage) = 0;
  // Deletes the file `Path`; S_OK, or the failure status.
  virtual HRESULT STDMETHODCALLTYPE DeleteFile(const OLECHAR* Path) = 0;
  // The file's size in bytes.
  virtual HRESULT STDMETHODCALLTYPE FileSize(BSTR Path, LONGLONG* Size) = 0;
};
MLR_DECLARE_IID(IKssStorageProvider, IID_IKssStorageProvider)

namespace mlr::reader {

inline constexpr LONG kKssModeReadWrite = 0x20000;
inline constexpr LONG kKssModeRead = 0x10000;

// Registers the provider's class object in the process's class table once.
HRESULT RegisterKssStorageProvider();

// The provider's creation function (IClassFactory::CreateInstance rules):
// what the registered class object calls.
HRESULT CreateKssStorageProviderInstance(IUnknown* outer, REFIID riid, void** ppv);

// Registers (if needed) and creates the provider through CoCreateInstance
// with CLSCTX_ALL. *provider is null on failure.
HRESULT CreateKssStorageProvider(IKssStorageProvider** provider);

}  // namespace mlr::reader
