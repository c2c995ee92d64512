// Member by member: every interface's dispatch table and
// server/LegacyRecording.idl agree. Each line calls the header's member
// through a member function pointer; the vtable slot read from it is compared
// with the slot the IDL order gives, which holds the header's member order
// against the IDL as well.
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "model/dispatch_tables.h"
#include "tests/catalogue/catalogue_fixture.h"

namespace catalogue_test {
namespace {

using mlr::dispatch::Dir;
using mlr::model::DispatchTableOf;

// IUnknown's three and IDispatch's four members come first.
constexpr int kFirstSlot = 7;

struct NamedTable {
  const char* name;
  const mlr::dispatch::Table* table;
};
#define T(I) {#I, &DispatchTableOf<I>::kTable},
const std::vector<NamedTable>& DispatchTables() {
  static const std::vector<NamedTable> v = {CATALOGUE_INTERFACES(T)};
  return v;
}
#undef T

Dir ExpectedDir(const idl::Param& p) {
  if (p.retval()) return Dir::kRetval;
  if (p.in() && p.out()) return Dir::kInOut;
  return p.out() ? Dir::kOut : Dir::kIn;
}

// The automation type of an IDL value type (no pointer to the value).
VARTYPE ExpectedVt(const std::string& t) {
  if (t.compare(0, 10, "SAFEARRAY(") == 0)
    return static_cast<VARTYPE>(VT_ARRAY | ExpectedVt(t.substr(10, t.size() - 11)));
  static const std::map<std::string, VARTYPE> simple = {
      {"long", VT_I4},     {"short", VT_I2},         {"double", VT_R8},
      {"float", VT_R4},    {"BSTR", VT_BSTR},        {"VARIANT_BOOL", VT_BOOL},
      {"DATE", VT_DATE},   {"VARIANT", VT_VARIANT},  {"IUnknown*", VT_UNKNOWN},
  };
  auto it = simple.find(t);
  if (it != simple.end()) return it->second;
  if (t.compare(0, 3, "kal") == 0 && t.find('*') == std::string::npos) return VT_I4;
  if (t.size() > 2 && t[0] == 'I' && t.back() == '*' && t.find('*') == t.size() - 1)
    return VT_DISPATCH;  // IDispatch and the library's dual interfaces
  return VT_EMPTY;
}

std::string Where(const std::string& iface, const idl::Member& m) {
  return iface + "::" + CppName(m);
}

void ExpectLineMatches(const std::string& iface, const idl::Member& m, int slot,
                       const mlr::dispatch::Member& line) {
  const std::string where = Where(iface, m);
  EXPECT_STREQ(line.name, m.name.c_str()) << where;
  EXPECT_EQ(line.param_count, m.params.size()) << where;
  ASSERT_TRUE(line.thunk) << where;
  ASSERT_TRUE(line.vtable_slot) << where;
  EXPECT_EQ(line.vtable_slot(), slot) << where << ": the line calls another member";
  for (size_t i = 0; i < m.params.size() && i < line.param_count; ++i) {
    const idl::Param& p = m.params[i];
    const mlr::dispatch::Param& lp = line.params[i];
    const std::string at = where + " parameter " + p.name;
    EXPECT_EQ(static_cast<int>(lp.dir), static_cast<int>(ExpectedDir(p))) << at;
    EXPECT_EQ(lp.optional, p.optional()) << at;
    // [in] safe arrays and every [out] parameter come by pointer.
    const bool pointer = p.out() || p.type.compare(0, 10, "SAFEARRAY(") == 0;
    EXPECT_EQ(lp.by_pointer, pointer) << at;
    std::string value_type = p.type;
    if (pointer) value_type.pop_back();
    const VARTYPE vt = ExpectedVt(value_type);
    EXPECT_NE(vt, VT_EMPTY) << at << ": IDL type " << p.type << " has no automation type";
    EXPECT_EQ(lp.vt, vt) << at;
    if (auto def = p.attrs.arg("defaultvalue")) {
      EXPECT_EQ(lp.def.vt, VT_I4) << at;
      EXPECT_EQ(lp.def.i, std::stoll(*def)) << at;
    } else {
      EXPECT_EQ(lp.def.vt, VT_EMPTY) << at;
    }
  }
}

TEST(CatalogueDispatch, EveryIdlMemberHasOneLineThatCallsItsVtableSlot) {
  const idl::File& f = Idl();
  const auto& tables = DispatchTables();
  ASSERT_EQ(tables.size(), f.interfaces.size());
  for (const NamedTable& nt : tables) {
    const idl::Interface* iface = f.find_interface(nt.name);
    ASSERT_TRUE(iface) << nt.name;
    const mlr::dispatch::Table& table = *nt.table;
    EXPECT_STREQ(table.interface_name, nt.name);
    const auto members = f.vtable_members(nt.name);
    EXPECT_EQ(table.count, members.size()) << nt.name;
    std::set<size_t> used;
    for (size_t k = 0; k < members.size(); ++k) {
      const idl::Member& m = *members[k];
      const auto kind = m.kind == idl::Kind::PropGet   ? mlr::dispatch::Kind::kPropGet
                        : m.kind == idl::Kind::PropPut ? mlr::dispatch::Kind::kPropPut
                                                       : mlr::dispatch::Kind::kMethod;
      const mlr::dispatch::Member* line = nullptr;
      for (size_t j = 0; j < table.count; ++j) {
        const mlr::dispatch::Member& cand = table.members[j];
        if (cand.dispid != *m.dispid || cand.kind != kind) continue;
        EXPECT_EQ(line, nullptr) << Where(nt.name, m) << ": two lines";
        line = &cand;
        used.insert(j);
      }
      if (!line) {
        ADD_FAILURE() << Where(nt.name, m) << ": no dispatch line for id " << *m.dispid;
        continue;
      }
      ExpectLineMatches(nt.name, m, kFirstSlot + static_cast<int>(k), *line);
    }
    EXPECT_EQ(used.size(), table.count) << nt.name << " has lines the IDL does not declare";
  }
}

}  // namespace
}  // namespace catalogue_test
