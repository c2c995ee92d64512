#include "storage/com_util.h"

#include "storage/le.h"

#include <cstring>

namespace mlr::storage {

Guid GuidToBytes(const GUID& g) {
  Guid b{};
  Store32(b.data(), g.Data1);
  Store16(b.data() + 4, g.Data2);
  Store16(b.data() + 6, g.Data3);
  std::memcpy(b.data() + 8, g.Data4, 8);
  return b;
}

GUID GuidFromBytes(const Guid& b) {
  GUID g;
  g.Data1 = Load32(b.data());
  g.Data2 = Load16(b.data() + 4);
  g.Data3 = Load16(b.data() + 6);
  std::memcpy(g.Data4, b.data() + 8, 8);
  return g;
}

std::u16string NameOf(const OLECHAR* name) {
  std::u16string s;
  for (size_t i = 0; name[i] && i < 33; ++i) s.push_back(name[i]);
  return s;
}

LPOLESTR TaskStrDup(const std::u16string& s) {
  auto* p = static_cast<LPOLESTR>(CoTaskMemAlloc((s.size() + 1) * sizeof(OLECHAR)));
  if (!p) return nullptr;
  std::memcpy(p, s.data(), s.size() * sizeof(OLECHAR));
  p[s.size()] = 0;
  return p;
}

}  // namespace mlr::storage
