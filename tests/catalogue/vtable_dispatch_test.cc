// Member by member: the C++ vtable of every interface, its dispatch table
// and server/LegacyRecording.idl agree. The slots of the header's members
// (read from member function pointers) and the slots the dispatch lines call
// are each compared with the slot the IDL order gives.
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "model/dispatch_tables.h"
#include "tests/catalogue/catalogue_fixture.h"
#include "tests/catalogue/type_names.h"

namespace catalogue_test {
namespace {

using mlr::dispatch::Dir;
using mlr::model::DispatchTableOf;

// IUnknown's three and IDispatch's four members come first.
constexpr int kFirstSlot = 7;

struct CppMember {
  std::string interface_name;
  std::string name;
  int slot;
  std::string result;
  std::vector<std::string> params;
};

#define S(I, m)                                                                    \
  CppMember {                                                                      \
    #I, #m, mlr::dispatch::internal::VtableSlotOf<&I::m>(),                        \
        Signature<decltype(&I::m)>::result(),                                      \
        Signature<decltype(&I::m)>::params()                                       \
  }
// Each interface's own members; the order here does not matter, the slot is
// read from the member pointer.
const std::vector<CppMember>& HeaderMembers() {
  static const std::vector<CppMember> v = {
      S(IRecording, get_Title), S(IRecording, put_Title), S(IRecording, get_Parent),
      S(IRecording, get_Location), S(IRecording, get_Extension), S(IRecording, get_ChannelGroups),
      S(IRecording, get_WriteProtect), S(IRecording, put_WriteProtect),
      S(IRecording, get_TotalSize), S(IRecording, get_XUnits), S(IRecording, get_UTCYear),
      S(IRecording, put_UTCYear), S(IRecording, get_UTCYearDay), S(IRecording, put_UTCYearDay),
      S(IRecording, get_UTCTimeOfDay), S(IRecording, put_UTCTimeOfDay),
      S(IRecording, get_Acquiring), S(IRecording, get_CanBeReviewed), S(IRecording, get_StartTime),
      S(IRecording, get_EndTime), S(IRecording, get_Duration),
      S(IRecording, get_TimePerDivisionHint), S(IRecording, get_UTCDate),
      S(IRecording, get_LocalDate), S(IRecording, get_Comment), S(IRecording, put_Comment),
      S(IRecording, get_Collection), S(IRecording, Remove),
      S(IChannelGroups, get_Item), S(IChannelGroups, get_Parent), S(IChannelGroups, get_Count),
      S(IChannelGroups, get__NewEnum),
      S(IChannelGroup, get_Parent), S(IChannelGroup, get_HNorms),
      S(IChannelGroup, get_ChannelInfos), S(IChannelGroup, GetBestReductionFactor),
      S(IChannelGroup, get_StartTime), S(IChannelGroup, get_EndTime),
      S(IChannelGroup, get_Duration), S(IChannelGroup, GetMuxData),
      S(IChannelGroup, GetScaledMuxData), S(IChannelGroup, GetResampledMuxData),
      S(IChannelGroup, GetDisplayData), S(IChannelGroup, get_Recording),
      S(IChannelGroup, get_Index),
      S(IChannelInfos, get_Item), S(IChannelInfos, get_Parent), S(IChannelInfos, get_Count),
      S(IChannelInfos, get__NewEnum),
      S(IChannelInfo, get_Name), S(IChannelInfo, get_Parent), S(IChannelInfo, get_EventChannel),
      S(IChannelInfo, get_SystemEventMask), S(IChannelInfo, get_VNorms),
      S(IChannelInfo, get_YUnits), S(IChannelInfo, GetSampleAtTime),
      S(IChannelInfo, GetValueAtTime), S(IChannelInfo, get_ChannelGroup),
      S(IChannelInfo, get_Index),
      S(IHNorms, get_Item), S(IHNorms, get_Parent), S(IHNorms, get_Count),
      S(IHNorms, GetFirstEndingAfter), S(IHNorms, GetLastStartingBefore), S(IHNorms, get__NewEnum),
      S(IHNorm, get_StartTime), S(IHNorm, get_Parent), S(IHNorm, get_Length), S(IHNorm, get_Index),
      S(IHNorm, get_XStep), S(IHNorm, get_Duration), S(IHNorm, get_EndTime),
      S(IVNorms, get_Item), S(IVNorms, get_Parent), S(IVNorms, get_Count), S(IVNorms, GetFromTime),
      S(IVNorms, get__NewEnum),
      S(IVNorm, get_StartTime), S(IVNorm, get_Parent), S(IVNorm, get_Index), S(IVNorm, get_Y0),
      S(IVNorm, get_YStep), S(IVNorm, get_EndTime),
      S(ITimemark, get_Time), S(ITimemark, get_Index),
      S(ITimemarks, get_Item), S(ITimemarks, get_Parent), S(ITimemarks, get_Count),
      S(ITimemarks, GetIndicesFromTime), S(ITimemarks, get__NewEnum),
      S(IVoiceMark, get_Parent), S(IVoiceMark, get_Length), S(IVoiceMark, get_Channels),
      S(IVoiceMark, get_SamplesPerSec), S(IVoiceMark, get_BitsPerSample), S(IVoiceMark, Remove),
      S(IVoiceMark, Append), S(IVoiceMark, GetData),
      S(IVoiceMarks, Add),
      S(ITriggerInfo, get_Parent), S(ITriggerInfo, get_Source), S(ITriggerInfo, get_Name),
      S(ITriggerInfo, get_ChannelInfo),
      // ITriggerInfos declares no members of its own.
      S(IMarker, get_Parent),
      S(IMarkers, Add),
      S(IBookmark, get_Name), S(IBookmark, get_Parent), S(IBookmark, get_Time),
      S(IBookmark, Remove),
      S(IBookmarks, get_Item), S(IBookmarks, get_Parent), S(IBookmarks, get_Count),
      S(IBookmarks, Add), S(IBookmarks, get__NewEnum),
      S(IPhysicalChannel, get_Channel), S(IPhysicalChannel, get_Board),
      S(IPhysicalChannel, get_Name), S(IPhysicalChannel, get_Parent),
      S(IPhysicalChannel, get_StorageEnabled), S(IPhysicalChannel, get_ChannelInfo),
      S(IPhysicalChannels, get_Item), S(IPhysicalChannels, get_Parent),
      S(IPhysicalChannels, get_Count), S(IPhysicalChannels, FindChannelInfo),
      S(IPhysicalChannels, get__NewEnum),
      S(IDisplayPage, get_PageSetup), S(IDisplayPage, get_TraceAssignment),
      S(IDisplayPages, get_Item), S(IDisplayPages, get_Count),
      S(IKrfLoader, OpenRecording),
      S(ISaveRecordingProgress, get_Status), S(ISaveRecordingProgress, get_ErrorCode),
      S(ISaveRecordingProgress, get_Completion), S(ISaveRecordingProgress, get_EstimatedTimeLeft),
      S(ISaveRecordingProgress, get_ActiveTime), S(ISaveRecordingProgress, Abort),
      S(ISaveRecordingProgress, get_SizeMultiplier), S(ISaveRecordingProgress, get_EstimatedSize),
      S(ISaveRecordingProgress, get_BytesProcessed),
      S(IRecordingProgress, get_Status), S(IRecordingProgress, get_ErrorCode),
      S(IRecordingProgress, get_Completion), S(IRecordingProgress, get_EstimatedTimeLeft),
      S(IRecordingProgress, get_ActiveTime), S(IRecordingProgress, Abort),
      S(IRecordingProgress, get_SizeMultiplier), S(IRecordingProgress, get_EstimatedSize),
      S(IRecordingProgress, get_BytesProcessed),
      S(IChannelResampler, get_StartTime), S(IChannelResampler, put_StartTime),
      S(IChannelResampler, get_EndTime), S(IChannelResampler, put_EndTime),
      S(IChannelResampler, Start), S(IChannelResampler, get_XStep), S(IChannelResampler, put_XStep),
      S(IChannelResampler, GetNextMuxDataBuffer), S(IChannelResampler, GetNextDataBuffers),
      S(IChannelResampler, get_InvalidSampleValue), S(IChannelResampler, put_InvalidSampleValue),
      S(IChannelResampler, get_Flags), S(IChannelResampler, put_Flags),
      S(IRecordings, get_Item), S(IRecordings, get_Count), S(IRecordings, get_Path),
      S(IRecordings, get_Name), S(IRecordings, OpenRecording), S(IRecordings, get__NewEnum),
  };
  return v;
}
#undef S

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

TEST(CatalogueVtable, EveryMemberSitsInItsIdlSlotWithItsIdlSignature) {
  const idl::File& f = Idl();
  std::map<std::pair<std::string, int>, const CppMember*> by_slot;
  for (const CppMember& c : HeaderMembers()) {
    EXPECT_GE(c.slot, kFirstSlot) << c.interface_name << "::" << c.name << " is not virtual";
    EXPECT_TRUE(by_slot.emplace(std::make_pair(c.interface_name, c.slot), &c).second)
        << c.interface_name << "::" << c.name << " shares slot " << c.slot;
  }
  size_t matched = 0;
  for (const idl::Interface& iface : f.interfaces) {
    const size_t inherited = f.vtable_members(iface.name).size() - iface.members.size();
    for (size_t k = 0; k < iface.members.size(); ++k) {
      const idl::Member& m = iface.members[k];
      const int slot = kFirstSlot + static_cast<int>(inherited + k);
      auto it = by_slot.find({iface.name, slot});
      if (it == by_slot.end()) {
        ADD_FAILURE() << iface.name << ": no C++ member in slot " << slot << " for "
                      << CppName(m);
        continue;
      }
      ++matched;
      const CppMember& c = *it->second;
      EXPECT_EQ(c.name, CppName(m)) << iface.name << " slot " << slot;
      EXPECT_EQ(c.result, reduce_idl_type(m.return_type)) << iface.name << "::" << c.name;
      std::vector<std::string> idl_params;
      for (const idl::Param& p : m.params) idl_params.push_back(reduce_idl_type(p.type));
      EXPECT_EQ(c.params, idl_params) << iface.name << "::" << c.name;
    }
  }
  EXPECT_EQ(matched, HeaderMembers().size()) << "C++ members that the IDL does not declare";
}

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
