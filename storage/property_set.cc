#include "storage/property_set.h"

#include "storage/code_page.h"
#include "storage/le.h"

#include <algorithm>
#include <cstring>

namespace mlr::storage {
namespace {

const Guid kFmtidDocSummary = {0x02, 0xD5, 0xCD, 0xD5, 0x9C, 0x2E, 0x1B, 0x10,
                               0x93, 0x97, 0x08, 0x00, 0x2B, 0x2C, 0xF9, 0xAE};
const Guid kFmtidUserDefined = {0x05, 0xD5, 0xCD, 0xD5, 0x9C, 0x2E, 0x1B, 0x10,
                                0x93, 0x97, 0x08, 0x00, 0x2B, 0x2C, 0xF9, 0xAE};
const char kNameAlphabet[] = "abcdefghijklmnopqrstuvwxyz012345";

size_t Pad4(size_t n) { return (n + 3) & ~size_t{3}; }

Status Bad(const std::string& what) { return Corrupt("property set: " + what); }

// Decodes the value at p (type word included), `avail` bytes available.
Status DecodeValue(const uint8_t* p, size_t avail, uint16_t code_page, uint32_t pid, PropValue* v) {
  if (avail < 4) return Bad("property " + std::to_string(pid) + " is cut short");
  v->vt = Load16(p);
  const uint8_t* d = p + 4;
  const size_t n = avail - 4;
  auto need = [&](size_t k) { return n >= k ? Status::Ok() : Bad("property " + std::to_string(pid) + " is cut short"); };
  switch (v->vt) {
    case kVtI2:
      MLR_RETURN_IF_ERROR(need(2));
      v->bits = static_cast<uint64_t>(static_cast<int64_t>(static_cast<int16_t>(Load16(d))));
      return Status::Ok();
    case kVtUI2:
    case kVtBool:
      MLR_RETURN_IF_ERROR(need(2));
      v->bits = Load16(d);
      return Status::Ok();
    case kVtI4:
      MLR_RETURN_IF_ERROR(need(4));
      v->bits = static_cast<uint64_t>(static_cast<int64_t>(static_cast<int32_t>(Load32(d))));
      return Status::Ok();
    case kVtUI4:
    case kVtR4:
      MLR_RETURN_IF_ERROR(need(4));
      v->bits = Load32(d);
      return Status::Ok();
    case kVtR8:
    case kVtI8:
    case kVtUI8:
    case kVtFiletime:
      MLR_RETURN_IF_ERROR(need(8));
      v->bits = Load64(d);
      return Status::Ok();
    case kVtLpstr: {
      MLR_RETURN_IF_ERROR(need(4));
      uint32_t size = Load32(d);
      if (size > n - 4) return Bad("string of property " + std::to_string(pid) + " runs past the set");
      const uint8_t* s = d + 4;
      size_t len = size;
      if (code_page == kCodePageUnicode) {
        size_t k = 0;
        while (k + 1 < len && (s[k] | s[k + 1])) k += 2;
        len = k;
      } else {
        len = static_cast<size_t>(std::find(s, s + len, 0) - s);
      }
      v->text = DecodeCodePage(s, len, code_page);
      return Status::Ok();
    }
    case kVtLpwstr: {
      MLR_RETURN_IF_ERROR(need(4));
      uint32_t chars = Load32(d);
      if (chars > (n - 4) / 2) return Bad("string of property " + std::to_string(pid) + " runs past the set");
      v->wtext.clear();
      for (uint32_t k = 0; k < chars; ++k) {
        char16_t c = static_cast<char16_t>(Load16(d + 4 + 2 * k));
        if (c == 0) break;
        v->wtext.push_back(c);
      }
      return Status::Ok();
    }
    default:
      v->raw.assign(d, d + n);
      return Status::Ok();
  }
}

void Put16(std::vector<uint8_t>& out, uint16_t v) {
  out.push_back(static_cast<uint8_t>(v));
  out.push_back(static_cast<uint8_t>(v >> 8));
}
void Put32(std::vector<uint8_t>& out, uint32_t v) {
  for (int i = 0; i < 4; ++i) out.push_back(static_cast<uint8_t>(v >> (8 * i)));
}
void Put64(std::vector<uint8_t>& out, uint64_t v) {
  for (int i = 0; i < 8; ++i) out.push_back(static_cast<uint8_t>(v >> (8 * i)));
}

void EncodeValue(const PropValue& v, uint16_t code_page, std::vector<uint8_t>& out) {
  Put16(out, v.vt);
  Put16(out, 0);
  switch (v.vt) {
    case kVtI2:
    case kVtUI2:
    case kVtBool:
      Put16(out, static_cast<uint16_t>(v.bits));
      break;
    case kVtI4:
    case kVtUI4:
    case kVtR4:
      Put32(out, static_cast<uint32_t>(v.bits));
      break;
    case kVtR8:
    case kVtI8:
    case kVtUI8:
    case kVtFiletime:
      Put64(out, v.bits);
      break;
    case kVtLpstr: {
      std::vector<uint8_t> bytes = EncodeCodePage(v.text, code_page);
      bytes.push_back(0);
      if (code_page == kCodePageUnicode) bytes.push_back(0);
      Put32(out, static_cast<uint32_t>(bytes.size()));
      out.insert(out.end(), bytes.begin(), bytes.end());
      break;
    }
    case kVtLpwstr:
      Put32(out, static_cast<uint32_t>(v.wtext.size() + 1));
      for (char16_t c : v.wtext) Put16(out, c);
      Put16(out, 0);
      break;
    default:
      out.insert(out.end(), v.raw.begin(), v.raw.end());
      break;
  }
  out.resize(Pad4(out.size()), 0);
}

}  // namespace

const Guid kFmtidSummaryInformation = {0xE0, 0x85, 0x9F, 0xF2, 0xF9, 0x4F, 0x68, 0x10,
                                       0xAB, 0x91, 0x08, 0x00, 0x2B, 0x27, 0xB3, 0xD9};

Status ParsePropertySet(const uint8_t* b, size_t size, PropertySet* out) {
  if (size < 48) return Bad("stream shorter than its header");
  if (Load16(b) != 0xFFFE) return Bad("byte order mark is not 0xFFFE");
  out->system_id = Load32(b + 4);
  std::memcpy(out->clsid.data(), b + 8, 16);
  if (Load32(b + 24) < 1) return Bad("no section");
  std::memcpy(out->fmtid.data(), b + 28, 16);
  const uint32_t offset = Load32(b + 44);
  if (offset > size || size - offset < 8) return Bad("section offset " + std::to_string(offset) + " beyond the stream");
  const uint8_t* s = b + offset;
  const uint32_t section_size = Load32(s);
  if (section_size > size - offset || section_size < 8) return Bad("section size " + std::to_string(section_size) + " does not fit");
  const uint32_t count = Load32(s + 4);
  if (count > (section_size - 8) / 8) return Bad("property count " + std::to_string(count) + " does not fit the section");
  // Each value runs to the next offset (or the section's end).
  std::map<uint32_t, uint32_t> offsets;  // value offset -> pid
  std::vector<std::pair<uint32_t, uint32_t>> entries;
  for (uint32_t i = 0; i < count; ++i) {
    uint32_t pid = Load32(s + 8 + 8 * i), off = Load32(s + 12 + 8 * i);
    if (off < 8 + 8 * count || off >= section_size)
      return Bad("property " + std::to_string(pid) + " at offset " + std::to_string(off) + " outside its section");
    entries.emplace_back(pid, off);
    offsets.emplace(off, pid);
  }
  out->code_page = kCodePageWestern;
  for (auto [pid, off] : entries) {
    if (pid != kPidCodePage) continue;
    PropValue v;
    MLR_RETURN_IF_ERROR(DecodeValue(s + off, section_size - off, 0, pid, &v));
    if (v.vt != kVtI2) return Bad("the code page is not a VT_I2");
    out->code_page = static_cast<uint16_t>(v.bits);
  }
  out->values.clear();
  for (auto [pid, off] : entries) {
    if (pid == kPidCodePage) continue;
    auto next = offsets.upper_bound(off);
    uint32_t end = next == offsets.end() ? section_size : next->first;
    PropValue v;
    MLR_RETURN_IF_ERROR(DecodeValue(s + off, end - off, out->code_page, pid, &v));
    out->values[pid] = std::move(v);
  }
  return Status::Ok();
}

std::vector<uint8_t> SerializePropertySet(const PropertySet& set) {
  std::vector<uint8_t> out;
  Put16(out, 0xFFFE);
  Put16(out, 0);
  Put32(out, set.system_id);
  out.insert(out.end(), set.clsid.begin(), set.clsid.end());
  Put32(out, 1);
  out.insert(out.end(), set.fmtid.begin(), set.fmtid.end());
  Put32(out, 48);
  // The section: the code page first, then the values in identifier order.
  std::vector<std::pair<uint32_t, std::vector<uint8_t>>> encoded;
  PropValue cp;
  cp.vt = kVtI2;
  cp.bits = set.code_page;
  encoded.emplace_back(kPidCodePage, std::vector<uint8_t>());
  EncodeValue(cp, set.code_page, encoded.back().second);
  for (const auto& [pid, v] : set.values) {
    if (pid == kPidCodePage || v.vt == kVtEmpty) continue;
    encoded.emplace_back(pid, std::vector<uint8_t>());
    EncodeValue(v, set.code_page, encoded.back().second);
  }
  const size_t table = 8 + 8 * encoded.size();
  size_t total = table;
  for (const auto& e : encoded) total += e.second.size();
  Put32(out, static_cast<uint32_t>(total));
  Put32(out, static_cast<uint32_t>(encoded.size()));
  size_t at = table;
  for (const auto& e : encoded) {
    Put32(out, e.first);
    Put32(out, static_cast<uint32_t>(at));
    at += e.second.size();
  }
  for (const auto& e : encoded) out.insert(out.end(), e.second.begin(), e.second.end());
  return out;
}

std::u16string PropertySetStreamName(const Guid& fmtid) {
  if (fmtid == kFmtidSummaryInformation) return u"\005SummaryInformation";
  if (fmtid == kFmtidDocSummary || fmtid == kFmtidUserDefined) return u"\005DocumentSummaryInformation";
  std::u16string name(1, u'\005');
  for (int group = 0; group < 26; ++group) {
    uint32_t value = 0;
    for (int bit = 0; bit < 5; ++bit) {
      int index = group * 5 + bit;  // bits 128 and 129 are zero
      if (index < 128 && (fmtid[index / 8] >> (index % 8)) & 1) value |= 1u << bit;
    }
    name.push_back(static_cast<char16_t>(kNameAlphabet[value]));
  }
  return name;
}

bool PropertySetIdFromName(const std::u16string& name, Guid* fmtid) {
  if ((name == u"\005SummaryInformation")) {
    *fmtid = kFmtidSummaryInformation;
    return true;
  }
  if ((name == u"\005DocumentSummaryInformation")) {
    *fmtid = kFmtidDocSummary;
    return true;
  }
  if (name.size() != 27 || name[0] != u'\005') return false;
  Guid g{};
  for (int group = 0; group < 26; ++group) {
    char16_t c = name[1 + group];
    if (c >= u'A' && c <= u'Z') c = static_cast<char16_t>(c - u'A' + u'a');
    const char* at = std::strchr(kNameAlphabet, static_cast<char>(c < 0x80 ? c : '?'));
    if (!at || c == 0) return false;
    uint32_t value = static_cast<uint32_t>(at - kNameAlphabet);
    for (int bit = 0; bit < 5; ++bit) {
      int index = group * 5 + bit;
      if (index < 128 && ((value >> bit) & 1)) g[index / 8] |= static_cast<uint8_t>(1u << (index % 8));
    }
  }
  *fmtid = g;
  return true;
}

}  // namespace mlr::storage
