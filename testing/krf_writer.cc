#include "testing/krf_writer.h"

#include <map>
#include <vector>

#include "platform/com_ptr.h"

namespace mlr::testing {

std::u16string WidePath(const std::string& path) {
  std::u16string out;
  for (size_t i = 0; i < path.size();) {
    const unsigned char b = static_cast<unsigned char>(path[i]);
    uint32_t c = b;
    size_t n = 1;
    if (b >= 0xF0) {
      n = 4;
      c = b & 0x07;
    } else if (b >= 0xE0) {
      n = 3;
      c = b & 0x0F;
    } else if (b >= 0xC0) {
      n = 2;
      c = b & 0x1F;
    }
    for (size_t k = 1; k < n && i + k < path.size(); ++k) {
      c = (c << 6) | (static_cast<unsigned char>(path[i + k]) & 0x3F);
    }
    i += n;
    if (c >= 0x10000) {
      c -= 0x10000;
      out.push_back(static_cast<char16_t>(0xD800 + (c >> 10)));
      out.push_back(static_cast<char16_t>(0xDC00 + (c & 0x3FF)));
    } else {
      out.push_back(static_cast<char16_t>(c));
    }
  }
  return out;
}

namespace {

constexpr DWORD kCreate = STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE;

std::u16string Wide(const std::string& ascii) {
  return std::u16string(ascii.begin(), ascii.end());
}

HRESULT WriteSummary(IStorage* root, const FileTree& tree) {
  if (!tree.comment && !tree.app_name) return S_OK;
  ComPtr<IPropertySetStorage> sets;
  HRESULT hr = StgCreatePropSetStg(root, 0, sets.put());
  if (FAILED(hr)) return hr;
  ComPtr<IPropertyStorage> props;
  hr = sets->Create(FMTID_SummaryInformation, nullptr, PROPSETFLAG_DEFAULT, kCreate, props.put());
  if (FAILED(hr)) return hr;
  std::vector<PROPSPEC> specs;
  std::vector<PROPVARIANT> values;
  std::vector<std::string> texts;
  texts.reserve(2);
  auto add = [&](PROPID id, const std::string& text) {
    texts.push_back(text);
    PROPSPEC spec{};
    spec.ulKind = PRSPEC_PROPID;
    spec.propid = id;
    specs.push_back(spec);
    PROPVARIANT v;
    PropVariantInit(&v);
    v.vt = VT_LPSTR;
    v.pszVal = const_cast<char*>(texts.back().c_str());
    values.push_back(v);
  };
  if (tree.comment) add(PIDSI_COMMENTS, *tree.comment);
  if (tree.app_name) add(PIDSI_APPNAME, *tree.app_name);
  hr = props->WriteMultiple(static_cast<ULONG>(specs.size()), specs.data(), values.data(),
                            PID_FIRST_USABLE);
  if (FAILED(hr)) return hr;
  return props->Commit(STGC_DEFAULT);
}

}  // namespace

HRESULT WriteTree(IStorage* root, const FileTree& tree) {
  std::map<std::string, ComPtr<IStorage>> storages;
  storages[""].assign(root);
  for (const TreeEntry& e : tree.entries) {
    const size_t slash = e.path.rfind('/');
    const std::string parent = slash == std::string::npos ? "" : e.path.substr(0, slash);
    const std::u16string name = Wide(slash == std::string::npos ? e.path : e.path.substr(slash + 1));
    auto it = storages.find(parent);
    if (it == storages.end()) return STG_E_PATHNOTFOUND;
    IStorage* in = it->second.get();
    if (e.storage) {
      ComPtr<IStorage> sub;
      HRESULT hr = in->CreateStorage(name.c_str(), kCreate, 0, 0, sub.put());
      if (FAILED(hr)) return hr;
      storages[e.path] = sub;
    } else {
      ComPtr<IStream> stream;
      HRESULT hr = in->CreateStream(name.c_str(), kCreate, 0, 0, stream.put());
      if (FAILED(hr)) return hr;
      size_t done = 0;
      while (done < e.bytes.size()) {
        const ULONG n = static_cast<ULONG>(std::min<size_t>(e.bytes.size() - done, 1u << 24));
        ULONG written = 0;
        hr = stream->Write(e.bytes.data() + done, n, &written);
        if (FAILED(hr)) return hr;
        if (written != n) return STG_E_WRITEFAULT;
        done += n;
      }
    }
  }
  HRESULT hr = WriteSummary(root, tree);
  if (FAILED(hr)) return hr;
  // Children first, so that every storage is complete when its parent commits.
  for (auto it = storages.rbegin(); it != storages.rend(); ++it) {
    if (it->first.empty()) continue;
    hr = it->second->Commit(STGC_DEFAULT);
    if (FAILED(hr)) return hr;
  }
  return root->Commit(STGC_DEFAULT);
}

HRESULT WriteRecordingFile(const std::string& path, const FileTree& tree) {
  ComPtr<IStorage> root;
  const std::u16string wide = WidePath(path);
  HRESULT hr = StgCreateDocfile(wide.c_str(), kCreate, 0, root.put());
  if (FAILED(hr)) return hr;
  return WriteTree(root.get(), tree);
}

}  // namespace mlr::testing
