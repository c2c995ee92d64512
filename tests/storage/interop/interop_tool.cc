// Helper of the interoperability tests (interop_test.py): writes compound
// files through the storage interfaces, changes them in place, and prints a
// manifest of what a file holds as the engine reads it, one line per element:
//   <d|f> <size> <crc32 of the bytes, hex> <path>
// so that independent readers can be compared with it.
//
//   interop_tool write FILE VERSION   a fresh file (version 3 or 4)
//   interop_tool modify FILE          rewrite, append, replace, destroy, rename
//   interop_tool manifest FILE        print the manifest
#include "platform/com_ptr.h"
#include "platform/win.h"
#include "storage/directory_entry.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

using mlr::ComPtr;
using mlr::storage::FromUtf8;
using mlr::storage::ToUtf8;

uint32_t Crc32(uint32_t crc, const uint8_t* p, size_t n) {
  static uint32_t table[256];
  if (!table[1]) {
    for (uint32_t i = 0; i < 256; ++i) {
      uint32_t c = i;
      for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
      table[i] = c;
    }
  }
  crc = ~crc;
  for (size_t i = 0; i < n; ++i) crc = table[(crc ^ p[i]) & 0xFF] ^ (crc >> 8);
  return ~crc;
}

void Fill(std::vector<uint8_t>& buf, uint64_t pos, uint32_t seed) {
  for (size_t i = 0; i < buf.size(); ++i) {
    uint64_t at = pos + i;
    buf[i] = static_cast<uint8_t>(seed * 31 + at * 7 + (at >> 8));
  }
}

bool Check(HRESULT hr, const char* what) {
  if (SUCCEEDED(hr)) return true;
  std::fprintf(stderr, "interop_tool: %s failed: 0x%08X\n", what, static_cast<unsigned>(hr));
  return false;
}

bool WriteStream(IStorage* stg, const std::string& name, uint64_t size, uint32_t seed, bool create = true,
                 uint64_t at = 0) {
  ComPtr<IStream> s;
  std::u16string n = FromUtf8(name);
  HRESULT hr = create ? stg->CreateStream(n.c_str(), STGM_CREATE | STGM_SHARE_EXCLUSIVE | STGM_WRITE, 0, 0, s.put())
                      : stg->OpenStream(n.c_str(), nullptr, STGM_SHARE_EXCLUSIVE | STGM_READWRITE, 0, s.put());
  if (!Check(hr, name.c_str())) return false;
  LARGE_INTEGER move;
  move.QuadPart = static_cast<LONGLONG>(at);
  if (!Check(s->Seek(move, STREAM_SEEK_SET, nullptr), "seek")) return false;
  std::vector<uint8_t> buf;
  for (uint64_t done = 0; done < size;) {
    buf.resize(static_cast<size_t>(std::min<uint64_t>(size - done, 1 << 20)));
    Fill(buf, at + done, seed);
    if (!Check(s->Write(buf.data(), static_cast<ULONG>(buf.size()), nullptr), "write")) return false;
    done += buf.size();
  }
  return true;
}

ComPtr<IStorage> Sub(IStorage* stg, const char* name, bool create) {
  ComPtr<IStorage> out;
  std::u16string n = FromUtf8(name);
  HRESULT hr = create ? stg->CreateStorage(n.c_str(), STGM_CREATE | STGM_SHARE_EXCLUSIVE | STGM_READWRITE, 0, 0, out.put())
                      : stg->OpenStorage(n.c_str(), nullptr, STGM_SHARE_EXCLUSIVE | STGM_READWRITE, nullptr, 0, out.put());
  Check(hr, name);
  return out;
}

bool WriteSummary(IStorage* root) {
  ComPtr<IPropertySetStorage> sets;
  ComPtr<IPropertyStorage> props;
  if (!Check(StgCreatePropSetStg(root, 0, sets.put()), "StgCreatePropSetStg")) return false;
  if (!Check(sets->Create(FMTID_SummaryInformation, nullptr, PROPSETFLAG_ANSI, 0x1012, props.put()), "Create")) return false;
  PROPSPEC specs[3];
  PROPVARIANT values[3];
  for (int i = 0; i < 3; ++i) {
    specs[i].ulKind = PRSPEC_PROPID;
    PropVariantInit(&values[i]);
  }
  specs[0].propid = PIDSI_COMMENTS;
  values[0].vt = VT_LPSTR;
  values[0].pszVal = const_cast<char*>("Messung Pr\xC3\xBC" "fstand 3 \xE2\x80\x93 \xC3\xA9t\xC3\xA9 \xE2\x82\xAC");
  specs[1].propid = PIDSI_APPNAME;
  values[1].vt = VT_LPSTR;
  values[1].pszVal = const_cast<char*>("Kalvern Recorder \xC2\xA9");
  specs[2].propid = PIDSI_TITLE;
  values[2].vt = VT_LPSTR;
  values[2].pszVal = const_cast<char*>("Title");
  return Check(props->WriteMultiple(3, specs, values, PID_FIRST_USABLE), "WriteMultiple");
}

int Write(const std::string& file, int version) {
  ComPtr<IStorage> root;
  STGOPTIONS options{};
  options.usVersion = 1;
  options.ulSectorSize = version == 4 ? 4096 : 512;
  HRESULT hr = StgCreateStorageEx(FromUtf8(file).c_str(), STGM_CREATE | STGM_SHARE_EXCLUSIVE | STGM_READWRITE,
                                  STGFMT_DOCFILE, 0, &options, nullptr, IID_IStorage,
                                  reinterpret_cast<void**>(root.put()));
  if (!Check(hr, "StgCreateStorageEx")) return 1;
  if (!WriteSummary(root.get())) return 1;
  ComPtr<IStorage> data = Sub(root.get(), "Data", true);
  if (!data) return 1;
  bool ok = WriteStream(data.get(), "Intern01", 300, 1) && WriteStream(data.get(), "Config01", 8, 2);
  for (int g = 1; ok && g <= 3; ++g) {
    ComPtr<IStorage> group = Sub(data.get(), ("ChGroup" + std::to_string(g)).c_str(), true);
    if (!group) return 1;
    ok = WriteStream(group.get(), "Cut4095", 4095, g) && WriteStream(group.get(), "Cut4096", 4096, g + 10) &&
         WriteStream(group.get(), "Cut4097", 4097, g + 20) && WriteStream(group.get(), "HNorms02", 64, g + 30);
    for (int c = 1; ok && c <= 4; ++c) {
      ComPtr<IStorage> channel = Sub(group.get(), ("Channel" + std::to_string(c)).c_str(), true);
      ok = channel && WriteStream(channel.get(), "Intern01", 100 + c, c) && WriteStream(channel.get(), "VNorms01", 28, c);
    }
  }
  // Many entries in one storage.
  ComPtr<IStorage> many = Sub(data.get(), "Many", true);
  for (int i = 0; ok && i < 1100; ++i) ok = WriteStream(many.get(), "Entry" + std::to_string(i), i * 13 % 5000, i);
  // Large enough for DIFAT sectors: beyond 109 FAT sectors.
  const uint64_t big = version == 4 ? (uint64_t{470} << 20) : (uint64_t{9} << 20);
  ok = ok && WriteStream(data.get(), "MuxData02", big, 77);
  return ok ? 0 : 1;
}

int Modify(const std::string& file) {
  ComPtr<IStorage> root;
  HRESULT hr = StgOpenStorage(FromUtf8(file).c_str(), nullptr, STGM_SHARE_EXCLUSIVE | STGM_READWRITE, nullptr, 0, root.put());
  if (!Check(hr, "StgOpenStorage")) return 1;
  ComPtr<IStorage> data = Sub(root.get(), "Data", false);
  ComPtr<IStorage> group = data ? Sub(data.get(), "ChGroup2", false) : ComPtr<IStorage>();
  if (!group) return 1;
  bool ok = WriteStream(data.get(), "Intern01", 300, 5, false) &&    // rewritten in place
            WriteStream(group.get(), "Cut4095", 3000, 6, false, 4095) &&  // appended across the cutoff
            WriteStream(group.get(), "Cut4097", 100000, 7, false, 4097) &&  // appended
            WriteStream(group.get(), "HNorms02", 50, 8, true) &&           // replaced with STGM_CREATE
            WriteStream(data.get(), "Config01", 20000, 9, true);           // replaced, now bigger
  ok = ok && Check(group->DestroyElement(u"Channel3"), "DestroyElement");
  ok = ok && Check(group->RenameElement(u"Cut4096", u"Renamed4096"), "RenameElement");
  return ok ? 0 : 1;
}

bool Manifest(IStorage* stg, const std::string& prefix) {
  ComPtr<IEnumSTATSTG> e;
  if (!Check(stg->EnumElements(0, nullptr, 0, e.put()), "EnumElements")) return false;
  STATSTG st;
  std::vector<uint8_t> buf(1 << 20);
  while (e->Next(1, &st, nullptr) == S_OK) {
    std::u16string name = st.pwcsName;
    CoTaskMemFree(st.pwcsName);
    std::string path = prefix.empty() ? ToUtf8(name) : prefix + "/" + ToUtf8(name);
    if (st.type == STGTY_STORAGE) {
      std::printf("d 0 0 %s\n", path.c_str());
      ComPtr<IStorage> child;
      if (!Check(stg->OpenStorage(name.c_str(), nullptr, STGM_SHARE_EXCLUSIVE | STGM_READ, nullptr, 0, child.put()),
                 "OpenStorage") ||
          !Manifest(child.get(), path))
        return false;
      continue;
    }
    ComPtr<IStream> s;
    if (!Check(stg->OpenStream(name.c_str(), nullptr, STGM_SHARE_EXCLUSIVE | STGM_READ, 0, s.put()), "OpenStream")) return false;
    uint32_t crc = 0;
    uint64_t total = 0;
    for (;;) {
      ULONG got = 0;
      if (!Check(s->Read(buf.data(), static_cast<ULONG>(buf.size()), &got), "Read")) return false;
      if (got == 0) break;
      crc = Crc32(crc, buf.data(), got);
      total += got;
    }
    std::printf("f %llu %08x %s\n", static_cast<unsigned long long>(total), crc, path.c_str());
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: interop_tool write FILE VERSION | modify FILE | manifest FILE\n");
    return 2;
  }
  const std::string cmd = argv[1], file = argv[2];
  if (cmd == "write" && argc == 4) return Write(file, std::atoi(argv[3]));
  if (cmd == "modify") return Modify(file);
  if (cmd == "manifest") {
    ComPtr<IStorage> root;
    if (!Check(StgOpenStorage(FromUtf8(file).c_str(), nullptr, STGM_SHARE_DENY_WRITE | STGM_READ, nullptr, 0, root.put()),
               "StgOpenStorage"))
      return 1;
    return Manifest(root.get(), "") ? 0 : 1;
  }
  return 2;
}
