#include "storage/property_storage.h"

#include "platform/ref_count.h"
#include "storage/com_util.h"
#include "storage/guard.h"
#include "storage/directory_entry.h"
#include "storage/hresult.h"
#include "storage/property_set.h"

#include <cstring>
#include <algorithm>
#include <memory>
#include <mutex>
#include <new>
#include <vector>

namespace mlr::storage {
namespace {

// A property set stream larger than this is refused as damaged.
constexpr uint64_t kMaxPropertySetStream = 64u << 20;

template <class Iface>
class Unknown : public Iface {
 public:
  ULONG STDMETHODCALLTYPE AddRef() override { return refs_.AddRef(); }
  ULONG STDMETHODCALLTYPE Release() override {
    ULONG n = refs_.Release();
    if (n == 0) delete this;
    return n;
  }

 protected:
  virtual ~Unknown() = default;
  HRESULT QueryAs(REFIID riid, const IID& own, void** ppv) {
    if (!ppv) return E_POINTER;
    *ppv = nullptr;
    if (riid != IID_IUnknown && riid != own) return E_NOINTERFACE;
    *ppv = static_cast<Iface*>(this);
    AddRef();
    return S_OK;
  }

 private:
  RefCount refs_;
};

HRESULT ToPropVariant(const PropValue& v, PROPVARIANT* out) {
  PropVariantInit(out);
  switch (v.vt) {
    case kVtI2: out->iVal = static_cast<SHORT>(v.bits); break;
    case kVtUI2: out->uiVal = static_cast<USHORT>(v.bits); break;
    case kVtBool: out->boolVal = static_cast<VARIANT_BOOL>(v.bits ? -1 : 0); break;
    case kVtI4: out->lVal = static_cast<LONG>(v.bits); break;
    case kVtUI4: out->ulVal = static_cast<ULONG>(v.bits); break;
    case kVtR4: {
      uint32_t b = static_cast<uint32_t>(v.bits);
      std::memcpy(&out->fltVal, &b, 4);
      break;
    }
    case kVtR8: std::memcpy(&out->dblVal, &v.bits, 8); break;
    case kVtI8: out->hVal.QuadPart = static_cast<LONGLONG>(v.bits); break;
    case kVtUI8: out->uhVal.QuadPart = v.bits; break;
    case kVtFiletime: out->filetime = FileTimeOf(v.bits); break;
    case kVtLpstr: {
      out->pszVal = static_cast<LPSTR>(CoTaskMemAlloc(v.text.size() + 1));
      if (!out->pszVal) return E_OUTOFMEMORY;
      std::memcpy(out->pszVal, v.text.c_str(), v.text.size() + 1);
      break;
    }
    case kVtLpwstr:
      out->pwszVal = TaskStrDup(v.wtext);
      if (!out->pwszVal) return E_OUTOFMEMORY;
      break;
    default:
      return S_FALSE;  // kept in the stream, not handed out
  }
  out->vt = v.vt;
  return S_OK;
}

HRESULT FromPropVariant(const PROPVARIANT& in, PropValue* v) {
  v->vt = in.vt;
  switch (in.vt) {
    case VT_I2: v->bits = static_cast<uint64_t>(static_cast<int64_t>(in.iVal)); break;
    case VT_UI2: v->bits = in.uiVal; break;
    case VT_BOOL: v->bits = in.boolVal ? 0xFFFF : 0; break;
    case VT_I4: v->bits = static_cast<uint64_t>(static_cast<int64_t>(in.lVal)); break;
    case VT_UI4: v->bits = in.ulVal; break;
    case VT_R4: {
      uint32_t b;
      std::memcpy(&b, &in.fltVal, 4);
      v->bits = b;
      break;
    }
    case VT_R8: std::memcpy(&v->bits, &in.dblVal, 8); break;
    case VT_I8: v->bits = static_cast<uint64_t>(in.hVal.QuadPart); break;
    case VT_UI8: v->bits = in.uhVal.QuadPart; break;
    case VT_FILETIME: v->bits = Ticks(in.filetime); break;
    case VT_LPSTR:
      if (!in.pszVal) return STG_E_INVALIDPARAMETER;
      v->text = in.pszVal;
      break;
    case VT_LPWSTR:
      if (!in.pwszVal) return STG_E_INVALIDPARAMETER;
      v->wtext = in.pwszVal;
      break;
    default:
      return STG_E_INVALIDPARAMETER;
  }
  return S_OK;
}

// An enumerator over a snapshot of items shared with its clones; each clone
// keeps its own position.
template <class Iface, class Item, const IID& kIid>
class VectorEnum final : public Unknown<Iface> {
 public:
  VectorEnum(std::shared_ptr<const std::vector<Item>> items, size_t at) : items_(std::move(items)), at_(at) {}
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override { return this->QueryAs(riid, kIid, ppv); }
  HRESULT STDMETHODCALLTYPE Next(ULONG celt, Item* rgelt, ULONG* fetched) override {
    if (fetched) *fetched = 0;
    if (!rgelt || (celt > 1 && !fetched)) return STG_E_INVALIDPOINTER;
    std::lock_guard<std::mutex> lock(mu_);
    ULONG n = 0;
    for (; n < celt && at_ < items_->size(); ++n, ++at_) rgelt[n] = (*items_)[at_];
    if (fetched) *fetched = n;
    return n == celt ? S_OK : S_FALSE;
  }
  HRESULT STDMETHODCALLTYPE Skip(ULONG celt) override {
    std::lock_guard<std::mutex> lock(mu_);
    size_t left = items_->size() - at_;
    at_ += std::min<size_t>(celt, left);
    return celt <= left ? S_OK : S_FALSE;
  }
  HRESULT STDMETHODCALLTYPE Reset() override {
    std::lock_guard<std::mutex> lock(mu_);
    at_ = 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Clone(Iface** pp) override {
    if (!pp) return STG_E_INVALIDPOINTER;
    std::lock_guard<std::mutex> lock(mu_);
    *pp = new (std::nothrow) VectorEnum(items_, at_);
    return *pp ? S_OK : E_OUTOFMEMORY;
  }

 private:
  std::mutex mu_;
  std::shared_ptr<const std::vector<Item>> items_;
  size_t at_;
};

using PropertyEnum = VectorEnum<IEnumSTATPROPSTG, STATPROPSTG, IID_IEnumSTATPROPSTG>;
using PropertySetEnum = VectorEnum<IEnumSTATPROPSETSTG, STATPROPSETSTG, IID_IEnumSTATPROPSETSTG>;

class PropertyStorage final : public Unknown<IPropertyStorage> {
 public:
  PropertyStorage(IStream* stream, PropertySet set, DWORD mode) : stream_(stream), set_(std::move(set)), mode_(mode) {
    stream_->AddRef();
  }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
    return QueryAs(riid, IID_IPropertyStorage, ppv);
  }

  HRESULT STDMETHODCALLTYPE ReadMultiple(ULONG cpspec, const PROPSPEC rgpspec[], PROPVARIANT rgpropvar[]) override {
    if (cpspec == 0) return S_FALSE;
    if (!rgpspec || !rgpropvar) return STG_E_INVALIDPOINTER;
    MLR_GUARD_BEGIN
    std::lock_guard<std::mutex> lock(mu_);
    bool any = false;
    for (ULONG i = 0; i < cpspec; ++i) PropVariantInit(&rgpropvar[i]);
    for (ULONG i = 0; i < cpspec; ++i) {
      if (rgpspec[i].ulKind != PRSPEC_PROPID) continue;
      PropValue v;
      if (rgpspec[i].propid == kPidCodePage) {
        v.vt = kVtI2;
        v.bits = static_cast<uint64_t>(static_cast<int64_t>(static_cast<int16_t>(set_.code_page)));
      } else {
        auto it = set_.values.find(rgpspec[i].propid);
        if (it == set_.values.end()) continue;
        v = it->second;
      }
      HRESULT hr = ToPropVariant(v, &rgpropvar[i]);
      if (FAILED(hr)) {
        FreePropVariantArray(i, rgpropvar);
        return hr;
      }
      if (hr == S_OK) any = true;
    }
    return any ? S_OK : S_FALSE;
    MLR_GUARD_END
  }

  HRESULT STDMETHODCALLTYPE WriteMultiple(ULONG cpspec, const PROPSPEC rgpspec[], const PROPVARIANT rgpropvar[],
                                          PROPID) override {
    if (cpspec == 0) return S_OK;
    if (!rgpspec || !rgpropvar) return STG_E_INVALIDPOINTER;
    MLR_GUARD_BEGIN
    if (!CanWrite(mode_)) return STG_E_ACCESSDENIED;
    std::lock_guard<std::mutex> lock(mu_);
    PropertySet next = set_;
    for (ULONG i = 0; i < cpspec; ++i) {
      if (rgpspec[i].ulKind != PRSPEC_PROPID) return STG_E_INVALIDPARAMETER;
      const PROPID pid = rgpspec[i].propid;
      if (pid == PID_DICTIONARY || pid == PID_ILLEGAL) return STG_E_INVALIDPARAMETER;
      if (pid == kPidCodePage) {
        if (rgpropvar[i].vt != VT_I2) return STG_E_INVALIDPARAMETER;
        next.code_page = static_cast<uint16_t>(rgpropvar[i].iVal);
        continue;
      }
      if (rgpropvar[i].vt == VT_EMPTY) {
        next.values.erase(pid);
        continue;
      }
      PropValue v;
      HRESULT hr = FromPropVariant(rgpropvar[i], &v);
      if (FAILED(hr)) return hr;
      next.values[pid] = std::move(v);
    }
    return Store(std::move(next));
    MLR_GUARD_END
  }

  HRESULT STDMETHODCALLTYPE DeleteMultiple(ULONG cpspec, const PROPSPEC rgpspec[]) override {
    if (cpspec == 0) return S_OK;
    if (!rgpspec) return STG_E_INVALIDPOINTER;
    MLR_GUARD_BEGIN
    if (!CanWrite(mode_)) return STG_E_ACCESSDENIED;
    std::lock_guard<std::mutex> lock(mu_);
    PropertySet next = set_;
    for (ULONG i = 0; i < cpspec; ++i)
      if (rgpspec[i].ulKind == PRSPEC_PROPID) next.values.erase(rgpspec[i].propid);
    return Store(std::move(next));
    MLR_GUARD_END
  }

  HRESULT STDMETHODCALLTYPE ReadPropertyNames(ULONG, const PROPID[], LPOLESTR rglpwstrName[]) override {
    (void)rglpwstrName;
    return S_FALSE;  // no names are kept
  }
  HRESULT STDMETHODCALLTYPE WritePropertyNames(ULONG, const PROPID[], const LPOLESTR[]) override {
    return STG_E_INVALIDPARAMETER;
  }
  HRESULT STDMETHODCALLTYPE DeletePropertyNames(ULONG, const PROPID[]) override { return S_OK; }
  HRESULT STDMETHODCALLTYPE Commit(DWORD) override { return S_OK; }
  HRESULT STDMETHODCALLTYPE Revert() override { return S_OK; }

  HRESULT STDMETHODCALLTYPE Enum(IEnumSTATPROPSTG** ppenum) override {
    if (!ppenum) return STG_E_INVALIDPOINTER;
    *ppenum = nullptr;
    MLR_GUARD_BEGIN
    std::lock_guard<std::mutex> lock(mu_);
    auto items = std::make_shared<std::vector<STATPROPSTG>>();
    items->push_back({nullptr, kPidCodePage, VT_I2});
    for (const auto& [pid, v] : set_.values) items->push_back({nullptr, pid, v.vt});
    *ppenum = new PropertyEnum(std::move(items), 0);
    return S_OK;
    MLR_GUARD_END
  }

  HRESULT STDMETHODCALLTYPE SetTimes(const FILETIME*, const FILETIME*, const FILETIME*) override { return S_OK; }

  HRESULT STDMETHODCALLTYPE SetClass(REFCLSID clsid) override {
    MLR_GUARD_BEGIN
    if (!CanWrite(mode_)) return STG_E_ACCESSDENIED;
    std::lock_guard<std::mutex> lock(mu_);
    PropertySet next = set_;
    next.clsid = GuidToBytes(clsid);
    return Store(std::move(next));
    MLR_GUARD_END
  }

  HRESULT STDMETHODCALLTYPE Stat(STATPROPSETSTG* st) override {
    if (!st) return STG_E_INVALIDPOINTER;
    std::lock_guard<std::mutex> lock(mu_);
    *st = STATPROPSETSTG{};
    st->fmtid = GuidFromBytes(set_.fmtid);
    st->clsid = GuidFromBytes(set_.clsid);
    st->grfFlags = set_.code_page == 1200 ? PROPSETFLAG_DEFAULT : PROPSETFLAG_ANSI;
    st->dwOSVersion = set_.system_id;
    return S_OK;
  }

  // Writes `next` whole to the stream and keeps it.
  HRESULT Store(PropertySet next) {
    std::vector<uint8_t> bytes = SerializePropertySet(next);
    LARGE_INTEGER zero;
    zero.QuadPart = 0;
    ULARGE_INTEGER size;
    size.QuadPart = bytes.size();
    HRESULT hr = stream_->Seek(zero, STREAM_SEEK_SET, nullptr);
    if (SUCCEEDED(hr)) hr = stream_->SetSize(size);
    if (SUCCEEDED(hr)) hr = stream_->Write(bytes.data(), static_cast<ULONG>(bytes.size()), nullptr);
    if (FAILED(hr)) return hr;
    set_ = std::move(next);
    return S_OK;
  }

 private:
  ~PropertyStorage() override { stream_->Release(); }

  std::mutex mu_;
  IStream* stream_;
  PropertySet set_;
  DWORD mode_;
};

bool KnownName(const OLECHAR* name, Guid* fmtid) { return name && PropertySetIdFromName(NameOf(name), fmtid); }

class PropertySetStorage final : public Unknown<IPropertySetStorage> {
 public:
  explicit PropertySetStorage(IStorage* storage) : storage_(storage) { storage_->AddRef(); }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
    return QueryAs(riid, IID_IPropertySetStorage, ppv);
  }

  HRESULT STDMETHODCALLTYPE Create(REFFMTID rfmtid, const CLSID* pclsid, DWORD flags, DWORD mode,
                                   IPropertyStorage** pp) override {
    if (!pp) return STG_E_INVALIDPOINTER;
    *pp = nullptr;
    MLR_GUARD_BEGIN
    if (flags & PROPSETFLAG_NONSIMPLE) return STG_E_INVALIDFLAG;
    if (!CanWrite(mode)) return STG_E_INVALIDFLAG;
    PropertySet set;
    set.fmtid = GuidToBytes(rfmtid);
    if (pclsid) set.clsid = GuidToBytes(*pclsid);
    set.code_page = (flags & PROPSETFLAG_ANSI) ? 1252 : 1200;
    const std::u16string name = PropertySetStreamName(set.fmtid);
    IStream* stream = nullptr;
    // The stream is read back when the set is opened again: it needs read access.
    DWORD stream_mode = (mode & ~3u) | STGM_READWRITE;
    HRESULT hr = storage_->CreateStream(name.c_str(), stream_mode, 0, 0, &stream);
    if (FAILED(hr)) return hr;
    auto* ps = new (std::nothrow) PropertyStorage(stream, PropertySet(), mode);
    stream->Release();
    if (!ps) return E_OUTOFMEMORY;
    hr = ps->Store(std::move(set));
    if (FAILED(hr)) {
      ps->Release();
      return hr;
    }
    *pp = ps;
    return S_OK;
    MLR_GUARD_END
  }

  HRESULT STDMETHODCALLTYPE Open(REFFMTID rfmtid, DWORD mode, IPropertyStorage** pp) override {
    if (!pp) return STG_E_INVALIDPOINTER;
    *pp = nullptr;
    MLR_GUARD_BEGIN
    const std::u16string name = PropertySetStreamName(GuidToBytes(rfmtid));
    IStream* stream = nullptr;
    DWORD stream_mode = CanWrite(mode) ? ((mode & ~3u) | STGM_READWRITE) : mode;
    HRESULT hr = storage_->OpenStream(name.c_str(), nullptr, stream_mode, 0, &stream);
    if (FAILED(hr)) return hr;
    PropertySet set;
    hr = ReadSet(stream, &set);
    if (SUCCEEDED(hr) && !(set.fmtid == GuidToBytes(rfmtid))) hr = STG_E_INVALIDHEADER;
    if (FAILED(hr)) {
      stream->Release();
      return hr;
    }
    auto* ps = new (std::nothrow) PropertyStorage(stream, std::move(set), mode);
    stream->Release();
    if (!ps) return E_OUTOFMEMORY;
    *pp = ps;
    return S_OK;
    MLR_GUARD_END
  }

  HRESULT STDMETHODCALLTYPE Delete(REFFMTID rfmtid) override {
    MLR_GUARD_BEGIN
    const std::u16string name = PropertySetStreamName(GuidToBytes(rfmtid));
    return storage_->DestroyElement(name.c_str());
    MLR_GUARD_END
  }

  HRESULT STDMETHODCALLTYPE Enum(IEnumSTATPROPSETSTG** ppenum) override {
    if (!ppenum) return STG_E_INVALIDPOINTER;
    *ppenum = nullptr;
    MLR_GUARD_BEGIN
    IEnumSTATSTG* elements = nullptr;
    HRESULT hr = storage_->EnumElements(0, nullptr, 0, &elements);
    if (FAILED(hr)) return hr;
    auto items = std::make_shared<std::vector<STATPROPSETSTG>>();
    STATSTG st;
    while (elements->Next(1, &st, nullptr) == S_OK) {
      Guid fmtid;
      if (st.type == STGTY_STREAM && KnownName(st.pwcsName, &fmtid)) {
        STATPROPSETSTG item{};
        item.fmtid = GuidFromBytes(fmtid);
        item.mtime = st.mtime;
        item.ctime = st.ctime;
        items->push_back(item);
      }
      CoTaskMemFree(st.pwcsName);
    }
    elements->Release();
    *ppenum = new PropertySetEnum(std::move(items), 0);
    return S_OK;
    MLR_GUARD_END
  }

 private:
  ~PropertySetStorage() override { storage_->Release(); }

  static HRESULT ReadSet(IStream* stream, PropertySet* set) {
    STATSTG st;
    HRESULT hr = stream->Stat(&st, STATFLAG_NONAME);
    if (FAILED(hr)) return hr;
    if (st.cbSize.QuadPart > kMaxPropertySetStream) return STG_E_INVALIDHEADER;
    std::vector<uint8_t> bytes(static_cast<size_t>(st.cbSize.QuadPart));
    ULONG got = 0;
    hr = stream->Read(bytes.data(), static_cast<ULONG>(bytes.size()), &got);
    if (FAILED(hr)) return hr;
    Status parsed = ParsePropertySet(bytes.data(), got, set);
    return parsed.ok() ? S_OK : STG_E_INVALIDHEADER;
  }

  IStorage* storage_;
};

}  // namespace
}  // namespace mlr::storage

MLR_API HRESULT StgCreatePropSetStg(IStorage* pStorage, DWORD Reserved, IPropertySetStorage** ppPropSetStg) {
  if (!ppPropSetStg) return STG_E_INVALIDPOINTER;
  *ppPropSetStg = nullptr;
  if (!pStorage) return STG_E_INVALIDPOINTER;
  if (Reserved) return STG_E_INVALIDPARAMETER;
  *ppPropSetStg = new (std::nothrow) mlr::storage::PropertySetStorage(pStorage);
  return *ppPropSetStg ? S_OK : E_OUTOFMEMORY;
}
