// The type library's declarations against each other and against the public
// header: identifiers, enumerations, classes, the module's prototypes, and the
// rules every automation member follows.
// The public header comes first: it must compile on its own.
#include "LegacyRecording.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

#include "tests/catalogue/catalogue_fixture.h"
#include "tests/catalogue/type_names.h"

namespace catalogue_test {
namespace {

// The identifiers are constants: usable where the compiler needs a value.
static_assert(IID_IRecording != IID_IChannelGroup);
static_assert(CLSID_KrfLoader.Data1 == 0x4B524602 && CLSID_KrfLoader.Data2 == 0x16);
static_assert(sizeof(kalRecordingCollection) == 4 && kalRecColDisplayPages < 0);

TEST(CatalogueIdl, HeaderGuidsAreTheIdlGuids) {
  const idl::File& f = Idl();
  ASSERT_TRUE(f.library);
  GUID lib{};
  ASSERT_TRUE(ParseGuid(f.library->attrs.arg("uuid").value_or(""), &lib));
  EXPECT_TRUE(lib == LIBID_LegacyRecording) << GuidText(LIBID_LegacyRecording);
  // The module registers the type library as version 1.0 with this help text.
  EXPECT_EQ(f.library->attrs.arg("version"), std::optional<std::string>("1.0"));
  EXPECT_EQ(f.library->attrs.arg("helpstring"),
            std::optional<std::string>("Movaris Legacy Recording Definition"));

  std::set<std::string> distinct = {GuidText(lib)};
  auto compare = [&distinct](const std::vector<NamedGuid>& header,
                    const std::map<std::string, std::string>& idl_uuids, const char* what) {
    EXPECT_EQ(header.size(), idl_uuids.size()) << what;
    for (const NamedGuid& h : header) {
      auto it = idl_uuids.find(h.name);
      if (it == idl_uuids.end()) {
        ADD_FAILURE() << what << " " << h.name << " is in the header but not in the IDL";
        continue;
      }
      GUID g{};
      ASSERT_TRUE(ParseGuid(it->second, &g)) << h.name;
      EXPECT_TRUE(g == *h.guid)
          << h.name << ": IDL " << it->second << ", header " << GuidText(*h.guid);
      EXPECT_TRUE(distinct.insert(GuidText(g)).second) << h.name << " repeats an identifier";
    }
  };
  std::map<std::string, std::string> iids, clsids;
  for (const idl::Interface& i : f.interfaces) iids[i.name] = i.attrs.arg("uuid").value_or("");
  for (const idl::Coclass& c : f.library->coclasses)
    clsids[c.name] = c.attrs.arg("uuid").value_or("");
  compare(HeaderIids(), iids, "interface");
  compare(HeaderClsids(), clsids, "class");
}

struct CppEnumConst {
  const char* name;
  LONG value;
};
struct CppEnum {
  const char* name;
  size_t size;
  std::vector<CppEnumConst> consts;
};
#define C(x) {#x, x}
const std::vector<CppEnum>& HeaderEnums() {
  static const std::vector<CppEnum> v = {
      {"kalRecordingResamplerFlags", sizeof(kalRecordingResamplerFlags), {C(RRF_None)}},
      {"kalSaveRecordingFlags",
       sizeof(kalSaveRecordingFlags),
       {C(kalSRF_SkipReducedStream), C(kalSRF_SkipAbsoluteTimeAlign),
        C(kalSRF_TriggeredSegmentOnly), C(kalSRF_UseKSS)}},
      {"kalSaveRecordingStatus",
       sizeof(kalSaveRecordingStatus),
       {C(kalSRS_Initializing), C(kalSRS_SavingInternals), C(kalSRS_SavingData),
        C(kalSRS_SavingCollections), C(kalSRS_Closing), C(kalSRS_AllocatingDiskSpace),
        C(kalSRS_Aborted), C(kalSRS_Aborting), C(kalSRS_ErrorOccurred), C(kalSRS_Ready)}},
      {"kalRecordingProgressStatus",
       sizeof(kalRecordingProgressStatus),
       {C(kalRPS_Initializing), C(kalSRS_ProcessingInternals), C(kalRPS_ProcessingData),
        C(kalRPS_ProcessingCollections), C(kalRPS_Finalizing), C(kalRPS_Aborted),
        C(kalRPS_Aborting), C(kalRPS_ErrorOccurred), C(kalRPS_Ready)}},
      {"kalSystemEvent",
       sizeof(kalSystemEvent),
       {C(kalSysEventTrigger), C(kalSysEventHighRate), C(kalSysEventMarker),
        C(kalSysEventAlarm)}},
      {"kalRecordingCollection",
       sizeof(kalRecordingCollection),
       {C(kalRecColMarkers), C(kalRecColBookmarks), C(kalRecColVoicemarks),
        C(kalRecColTriggers), C(kalRecColPhysicalChannelConfig), C(kalRecColDisplayPages)}},
      {"kalTriggerSource",
       sizeof(kalTriggerSource),
       {C(kalTriggerSrcUnknown), C(kalTriggerSrcExternal), C(kalTriggerSrcManual),
        C(kalTriggerSrcChannel)}},
  };
  return v;
}
#undef C

TEST(CatalogueIdl, EnumerationsHaveTheHeaderValuesAndOrder) {
  const idl::File& f = Idl();
  const auto& header = HeaderEnums();
  ASSERT_EQ(f.enums.size(), header.size());
  for (size_t e = 0; e < header.size(); ++e) {
    const idl::Enum& ie = f.enums[e];
    const CppEnum& ce = header[e];
    EXPECT_EQ(ie.name, ce.name);
    EXPECT_EQ(ce.size, 4u) << ce.name << " must be 32-bit";
    ASSERT_EQ(ie.consts.size(), ce.consts.size()) << ie.name;
    for (size_t k = 0; k < ce.consts.size(); ++k) {
      EXPECT_EQ(ie.consts[k].name, ce.consts[k].name) << ie.name;
      EXPECT_EQ(ie.consts[k].value, ce.consts[k].value) << ce.consts[k].name;
    }
  }
  // The end and error states are single bits above the phase numbers, so that
  // a status can be tested with a mask.
  for (const char* name : {"kalSaveRecordingStatus", "kalRecordingProgressStatus"}) {
    for (const idl::Enum& ie : f.enums) {
      if (ie.name != name) continue;
      for (const idl::EnumConst& c : ie.consts) {
        const uint32_t v = static_cast<uint32_t>(c.value);
        EXPECT_TRUE((v >= 1 && v <= 6) || (v >= 0x10000 && (v & (v - 1)) == 0)) << c.name;
      }
    }
  }
}

// Dual interfaces, each extending one declared before it, whose members
// follow the automation rules.
TEST(CatalogueIdl, MembersFollowTheAutomationRules) {
  const idl::File& f = Idl();
  // (A pointer type for every [out] parameter is held against the header's
  // signatures, an identifier given to two members of one kind against the
  // dispatch lines, by the vtable tests.)
  std::set<std::string> declared = {"IDispatch"};
  for (const idl::Interface& iface : f.interfaces) {
    EXPECT_TRUE(iface.attrs.has("object") && iface.attrs.has("dual") &&
                iface.attrs.has("oleautomation"))
        << iface.name;
    EXPECT_TRUE(declared.count(iface.base)) << iface.name << " extends unknown " << iface.base;
    EXPECT_TRUE(declared.insert(iface.name).second) << iface.name << " declared twice";
    for (const idl::Member* m : f.vtable_members(iface.name)) {
      const std::string where = iface.name + "::" + CppName(*m);
      ASSERT_TRUE(m->dispid) << where << " has no id";
      EXPECT_EQ(m->return_type, "HRESULT") << where;
      for (size_t p = 0; p < m->params.size(); ++p) {
        const idl::Param& prm = m->params[p];
        EXPECT_TRUE(prm.in() || prm.out()) << where << " parameter " << prm.name;
        if (prm.retval()) {
          EXPECT_TRUE(prm.out()) << where;
          EXPECT_EQ(p + 1, m->params.size()) << where << ": retval must be last";
        }
        if (prm.optional()) {
          EXPECT_EQ(prm.type, "VARIANT") << where;
        }
      }
      if (m->kind == idl::Kind::PropGet) {
        ASSERT_FALSE(m->params.empty()) << where;
        EXPECT_TRUE(m->params.back().retval()) << where << ": a getter returns its value";
      }
      if (m->kind == idl::Kind::PropPut) {
        ASSERT_EQ(m->params.size(), 1u) << where;
        EXPECT_TRUE(m->params[0].in() && !m->params[0].out()) << where;
      }
      const bool enumerator = *m->dispid == -4;
      EXPECT_EQ(enumerator, m->name == "_NewEnum") << where;
      if (enumerator) {
        EXPECT_EQ(m->kind, idl::Kind::PropGet) << where;
        EXPECT_TRUE(m->attrs.has("restricted") && m->attrs.has("hidden")) << where;
        ASSERT_EQ(m->params.size(), 1u) << where;
        EXPECT_EQ(m->params[0].type, "IUnknown**") << where;
      }
    }
  }
}

TEST(CatalogueIdl, ClassesHaveOneDefaultInterfaceAndOnlyTwoAreCreatable) {
  const idl::File& f = Idl();
  ASSERT_TRUE(f.library);
  std::set<std::string> creatable;
  for (const idl::Coclass& c : f.library->coclasses) {
    if (!c.attrs.has("noncreatable")) creatable.insert(c.name);
    int defaults = 0;
    for (const idl::CoclassInterface& ci : c.interfaces) defaults += ci.is_default;
    EXPECT_EQ(defaults, 1) << c.name;
  }
  EXPECT_EQ(creatable, (std::set<std::string>{"KrfLoader", "ChannelResampler"}));
}

struct CppFunction {
  const char* name;
  std::string result;
  std::vector<std::string> params;
};
#define F(fn) {#fn, Signature<decltype(&::fn)>::result(), Signature<decltype(&::fn)>::params()}
// decltype only: the prototypes are checked without needing the definitions.
const std::vector<CppFunction>& HeaderModuleFunctions() {
  static const std::vector<CppFunction> v = {
      F(GetDisplayData),           F(GetScaledMuxData),
      F(GetResampledMuxData),      F(GetValueAtTime),
      F(GetReducedMuxData),        F(GetSampleAtTime),
      F(GetEstimatedTotalSize),    F(MakeValidTime),
      F(TimeDifference),           F(RecordingTimeToDATE),
      F(RecordingTimeToLocalTime), F(LocalTimeToRecordingTime),
      F(GetEventTimesFromCollection), F(FindItemFromTimeCollection),
      F(SaveRecording),            F(IsVoidNumber),
  };
  return v;
}
#undef F

TEST(CatalogueModule, FunctionsMatchTheHeaderPrototypesInOrder) {
  const idl::File& f = Idl();
  ASSERT_TRUE(f.library);
  ASSERT_EQ(f.library->modules.size(), 1u);
  const auto& fns = f.library->modules[0].functions;
  const auto& header = HeaderModuleFunctions();
  ASSERT_EQ(fns.size(), header.size());
  for (size_t k = 0; k < fns.size(); ++k) {
    const idl::Member& m = fns[k];
    const CppFunction& c = header[k];
    EXPECT_EQ(m.name, c.name) << "function " << k;
    EXPECT_EQ(m.attrs.arg("entry"), std::optional<std::string>(m.name)) << m.name;
    EXPECT_EQ(m.calling_convention, "_stdcall") << m.name;
    EXPECT_FALSE(m.dispid) << m.name << ": module members are numbered in order";
    EXPECT_EQ(reduce_idl_type(m.return_type), c.result) << m.name;
    std::vector<std::string> idl_params;
    for (const idl::Param& p : m.params) idl_params.push_back(reduce_idl_type(p.type));
    EXPECT_EQ(idl_params, c.params) << m.name;
  }
}

}  // namespace
}  // namespace catalogue_test
