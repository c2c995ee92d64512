// Structured-storage and object-table types for the POSIX build:
// ISequentialStream, IStream, IEnumSTATSTG, IStorage, IGlobalInterfaceTable,
// STATSTG and the STGM_/STGC_/STGTY_/STREAM_SEEK_/STATFLAG_/LOCK_/STGMOVE_
// constants, in the Windows layout and vtable order, with the Windows IIDs.
// Included through platform/win.h.
#pragma once

#include "platform/oaidl.h"

inline constexpr IID IID_ISequentialStream = {
    0x0C733A30, 0x2A1C, 0x11CE, {0xAD, 0xE5, 0x00, 0xAA, 0x00, 0x44, 0x77, 0x3D}};
inline constexpr IID IID_IStream = {0x0000000C, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IStorage = {0x0000000B, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IEnumSTATSTG = {0x0000000D, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IGlobalInterfaceTable = {
    0x00000146, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr CLSID CLSID_StdGlobalInterfaceTable = {
    0x00000323, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

// Access modes (grfMode).
#define STGM_DIRECT 0x00000000L
#define STGM_TRANSACTED 0x00010000L
#define STGM_SIMPLE 0x08000000L
#define STGM_READ 0x00000000L
#define STGM_WRITE 0x00000001L
#define STGM_READWRITE 0x00000002L
#define STGM_SHARE_DENY_NONE 0x00000040L
#define STGM_SHARE_DENY_READ 0x00000030L
#define STGM_SHARE_DENY_WRITE 0x00000020L
#define STGM_SHARE_EXCLUSIVE 0x00000010L
#define STGM_PRIORITY 0x00040000L
#define STGM_DELETEONRELEASE 0x04000000L
#define STGM_NOSCRATCH 0x00100000L
#define STGM_CREATE 0x00001000L
#define STGM_CONVERT 0x00020000L
#define STGM_FAILIFTHERE 0x00000000L
#define STGM_NOSNAPSHOT 0x00200000L
#define STGM_DIRECT_SWMR 0x00400000L

// Commit flags.
#define STGC_DEFAULT 0
#define STGC_OVERWRITE 1
#define STGC_ONLYIFCURRENT 2
#define STGC_DANGEROUSLYCOMMITMERELYTODISKCACHE 4
#define STGC_CONSOLIDATE 8

// Element types (STATSTG::type).
#define STGTY_STORAGE 1
#define STGTY_STREAM 2
#define STGTY_LOCKBYTES 3
#define STGTY_PROPERTY 4

#define STREAM_SEEK_SET 0
#define STREAM_SEEK_CUR 1
#define STREAM_SEEK_END 2

#define STATFLAG_DEFAULT 0
#define STATFLAG_NONAME 1
#define STATFLAG_NOOPEN 2

#define LOCK_WRITE 1
#define LOCK_EXCLUSIVE 2
#define LOCK_ONLYONCE 4

#define STGMOVE_MOVE 0
#define STGMOVE_COPY 1
#define STGMOVE_SHALLOWCOPY 2

#define STGFMT_STORAGE 0
#define STGFMT_NATIVE 1
#define STGFMT_FILE 3
#define STGFMT_ANY 4
#define STGFMT_DOCFILE 5

typedef OLECHAR** SNB;

// STATSTG::pwcsName is allocated with CoTaskMemAlloc and freed by the caller
// with CoTaskMemFree (null with STATFLAG_NONAME).
typedef struct tagSTATSTG {
  LPOLESTR pwcsName;
  DWORD type;
  ULARGE_INTEGER cbSize;
  FILETIME mtime;
  FILETIME ctime;
  FILETIME atime;
  DWORD grfMode;
  DWORD grfLocksSupported;
  CLSID clsid;
  DWORD grfStateBits;
  DWORD reserved;
} STATSTG;

typedef struct tagSTGOPTIONS {
  USHORT usVersion;
  USHORT reserved;
  ULONG ulSectorSize;
  const WCHAR* pwcsTemplateFile;
} STGOPTIONS;

struct ISequentialStream : public IUnknown {
  virtual HRESULT STDMETHODCALLTYPE Read(void* pv, ULONG cb, ULONG* pcbRead) = 0;
  virtual HRESULT STDMETHODCALLTYPE Write(const void* pv, ULONG cb, ULONG* pcbWritten) = 0;

 protected:
  ~ISequentialStream() = default;
};

struct IStream : public ISequentialStream {
  virtual HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER dlibMove, DWORD dwOrigin,
                                         ULARGE_INTEGER* plibNewPosition) = 0;
  virtual HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER libNewSize) = 0;
  virtual HRESULT STDMETHODCALLTYPE CopyTo(IStream* pstm, ULARGE_INTEGER cb,
                                           ULARGE_INTEGER* pcbRead,
                                           ULARGE_INTEGER* pcbWritten) = 0;
  virtual HRESULT STDMETHODCALLTYPE Commit(DWORD grfCommitFlags) = 0;
  virtual HRESULT STDMETHODCALLTYPE Revert() = 0;
  virtual HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER libOffset, ULARGE_INTEGER cb,
                                               DWORD dwLockType) = 0;
  virtual HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER libOffset, ULARGE_INTEGER cb,
                                                 DWORD dwLockType) = 0;
  virtual HRESULT STDMETHODCALLTYPE Stat(STATSTG* pstatstg, DWORD grfStatFlag) = 0;
  virtual HRESULT STDMETHODCALLTYPE Clone(IStream** ppstm) = 0;

 protected:
  ~IStream() = default;
};
typedef IStream* LPSTREAM;

struct IEnumSTATSTG : public IUnknown {
  virtual HRESULT STDMETHODCALLTYPE Next(ULONG celt, STATSTG* rgelt, ULONG* pceltFetched) = 0;
  virtual HRESULT STDMETHODCALLTYPE Skip(ULONG celt) = 0;
  virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
  virtual HRESULT STDMETHODCALLTYPE Clone(IEnumSTATSTG** ppenum) = 0;

 protected:
  ~IEnumSTATSTG() = default;
};

struct IStorage : public IUnknown {
  virtual HRESULT STDMETHODCALLTYPE CreateStream(const OLECHAR* pwcsName, DWORD grfMode,
                                                 DWORD reserved1, DWORD reserved2,
                                                 IStream** ppstm) = 0;
  virtual HRESULT STDMETHODCALLTYPE OpenStream(const OLECHAR* pwcsName, void* reserved1,
                                               DWORD grfMode, DWORD reserved2,
                                               IStream** ppstm) = 0;
  virtual HRESULT STDMETHODCALLTYPE CreateStorage(const OLECHAR* pwcsName, DWORD grfMode,
                                                  DWORD reserved1, DWORD reserved2,
                                                  IStorage** ppstg) = 0;
  virtual HRESULT STDMETHODCALLTYPE OpenStorage(const OLECHAR* pwcsName,
                                                IStorage* pstgPriority, DWORD grfMode,
                                                SNB snbExclude, DWORD reserved,
                                                IStorage** ppstg) = 0;
  virtual HRESULT STDMETHODCALLTYPE CopyTo(DWORD ciidExclude, const IID* rgiidExclude,
                                           SNB snbExclude, IStorage* pstgDest) = 0;
  virtual HRESULT STDMETHODCALLTYPE MoveElementTo(const OLECHAR* pwcsName,
                                                  IStorage* pstgDest,
                                                  const OLECHAR* pwcsNewName,
                                                  DWORD grfFlags) = 0;
  virtual HRESULT STDMETHODCALLTYPE Commit(DWORD grfCommitFlags) = 0;
  virtual HRESULT STDMETHODCALLTYPE Revert() = 0;
  virtual HRESULT STDMETHODCALLTYPE EnumElements(DWORD reserved1, void* reserved2,
                                                 DWORD reserved3, IEnumSTATSTG** ppenum) = 0;
  virtual HRESULT STDMETHODCALLTYPE DestroyElement(const OLECHAR* pwcsName) = 0;
  virtual HRESULT STDMETHODCALLTYPE RenameElement(const OLECHAR* pwcsOldName,
                                                  const OLECHAR* pwcsNewName) = 0;
  virtual HRESULT STDMETHODCALLTYPE SetElementTimes(const OLECHAR* pwcsName,
                                                    const FILETIME* pctime,
                                                    const FILETIME* patime,
                                                    const FILETIME* pmtime) = 0;
  virtual HRESULT STDMETHODCALLTYPE SetClass(REFCLSID clsid) = 0;
  virtual HRESULT STDMETHODCALLTYPE SetStateBits(DWORD grfStateBits, DWORD grfMask) = 0;
  virtual HRESULT STDMETHODCALLTYPE Stat(STATSTG* pstatstg, DWORD grfStatFlag) = 0;

 protected:
  ~IStorage() = default;
};
typedef IStorage* LPSTORAGE;

struct IGlobalInterfaceTable : public IUnknown {
  virtual HRESULT STDMETHODCALLTYPE RegisterInterfaceInGlobal(IUnknown* pUnk, REFIID riid,
                                                              DWORD* pdwCookie) = 0;
  virtual HRESULT STDMETHODCALLTYPE RevokeInterfaceFromGlobal(DWORD dwCookie) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetInterfaceFromGlobal(DWORD dwCookie, REFIID riid,
                                                           void** ppv) = 0;

 protected:
  ~IGlobalInterfaceTable() = default;
};
