#include "tools/krf/recording_view.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "reader/krf_loader.h"
#include "reader/text_convert.h"
#include "tools/krf/fail.h"

using mlr::ComPtr;
using nlohmann::json;

namespace krf {
namespace {

template <class T>
ComPtr<T> Query(IUnknown* from, const IID& iid) {
  ComPtr<T> out;
  if (from) (void)from->QueryInterface(iid, out.put_void());
  return out;
}

class Bstr {
 public:
  ~Bstr() { SysFreeString(text_); }
  BSTR* put() {
    SysFreeString(text_);
    text_ = nullptr;
    return &text_;
  }
  std::string str() const { return Utf8(text_); }

 private:
  BSTR text_ = nullptr;
};

bool IsVoid(double d) {
  uint64_t bits;
  std::memcpy(&bits, &d, sizeof bits);
  return bits == 0x7FFFFFFFFFFFFFFFull;
}

VARIANT Long(LONG v) {
  VARIANT var;
  VariantInit(&var);
  var.vt = VT_I4;
  var.lVal = v;
  return var;
}

template <class Itf>
json TimeOf(Itf* item) {
  double t = 0;
  return SUCCEEDED(item->get_Time(&t)) ? Number(t) : json();
}

json Channel(IChannelInfo* info) {
  json c;
  LONG index = 0;
  info->get_Index(&index);
  c["Index"] = index;
  c["Name"] = ChannelName(info);
  Bstr units;
  info->get_YUnits(units.put());
  c["YUnits"] = units.str();
  VARIANT_BOOL event = VARIANT_FALSE;
  info->get_EventChannel(&event);
  c["EventChannel"] = event != VARIANT_FALSE;
  json bits = json::array();
  for (LONG b = 1; b <= 16; ++b) {
    Bstr bit;
    info->get_Name(Long(b), bit.put());
    bits.push_back(bit.str());
  }
  c["BitNames"] = std::move(bits);
  json vnorms = json::array();
  ComPtr<IVNorms> norms;
  LONG count = 0;
  if (SUCCEEDED(info->get_VNorms(norms.put())) && norms) norms->get_Count(&count);
  for (LONG i = 1; i <= count; ++i) {
    ComPtr<IVNorm> v;
    if (FAILED(norms->get_Item(i, v.put())) || !v) continue;
    double start = 0, y0 = 0, step = 0, end = 0;
    LONG idx = 0;
    v->get_Index(&idx);
    v->get_StartTime(&start);
    v->get_Y0(&y0);
    v->get_YStep(&step);
    v->get_EndTime(&end);
    vnorms.push_back({{"Index", idx}, {"StartTime", Number(start)}, {"Y0", Number(y0)},
                      {"YStep", Number(step)}, {"EndTime", Number(end)}});
  }
  c["VNorms"] = std::move(vnorms);
  return c;
}

json Group(IChannelGroup* group) {
  json g;
  LONG index = 0;
  group->get_Index(&index);
  g["Index"] = index;
  double start = 0, end = 0, duration = 0;
  group->get_StartTime(&start);
  group->get_EndTime(&end);
  group->get_Duration(&duration);
  g["StartTime"] = Number(start);
  g["EndTime"] = Number(end);
  g["Duration"] = Number(duration);
  json hnorms = json::array();
  ComPtr<IHNorms> norms;
  LONG count = 0;
  if (SUCCEEDED(group->get_HNorms(norms.put())) && norms) norms->get_Count(&count);
  for (LONG i = 1; i <= count; ++i) {
    ComPtr<IHNorm> h;
    if (FAILED(norms->get_Item(i, h.put())) || !h) continue;
    LONG idx = 0, length = 0;
    double s = 0, x = 0, e = 0;
    h->get_Index(&idx);
    h->get_StartTime(&s);
    h->get_XStep(&x);
    h->get_Length(&length);
    h->get_EndTime(&e);
    hnorms.push_back({{"Index", idx}, {"StartTime", Number(s)}, {"XStep", Number(x)},
                      {"Length", length}, {"EndTime", Number(e)}});
  }
  g["HNorms"] = std::move(hnorms);
  json channels = json::array();
  ComPtr<IChannelInfos> infos;
  count = 0;
  if (SUCCEEDED(group->get_ChannelInfos(infos.put())) && infos) infos->get_Count(&count);
  for (LONG i = 1; i <= count; ++i) {
    ComPtr<IChannelInfo> info;
    if (SUCCEEDED(infos->get_Item(i, info.put())) && info) channels.push_back(Channel(info.get()));
  }
  g["ChannelInfos"] = std::move(channels);
  return g;
}

// The Index of the channel's group and of the channel, or nulls.
void LinkOf(IChannelInfo* info, json* group_index, json* channel_index) {
  *group_index = nullptr;
  *channel_index = nullptr;
  if (!info) return;
  ComPtr<IChannelGroup> group;
  LONG g = 0, c = 0;
  if (SUCCEEDED(info->get_ChannelGroup(group.put())) && group) group->get_Index(&g);
  info->get_Index(&c);
  *group_index = g;
  *channel_index = c;
}

ComPtr<IUnknown> CollectionOf(IRecording* recording, kalRecordingCollection type) {
  ComPtr<IUnknown> unknown;
  (void)recording->get_Collection(type, unknown.put());
  return unknown;
}

json TimeList(IRecording* recording, kalRecordingCollection type,
              void (*fill)(IUnknown* item, json* entry)) {
  json list = json::array();
  ComPtr<ITimemarks> marks = Query<ITimemarks>(CollectionOf(recording, type).get(), IID_ITimemarks);
  LONG count = 0;
  if (marks) marks->get_Count(&count);
  for (LONG i = 1; i <= count; ++i) {
    ComPtr<IUnknown> item;
    if (FAILED(marks->get_Item(i, item.put())) || !item) continue;
    ComPtr<ITimemark> mark = Query<ITimemark>(item.get(), IID_ITimemark);
    json entry;
    entry["Index"] = i;
    entry["Time"] = mark ? TimeOf(mark.get()) : json();
    if (fill) fill(item.get(), &entry);
    list.push_back(entry);
  }
  return list;
}

}  // namespace

std::string Utf8(const OLECHAR* text) { return mlr::reader::Utf16ToAnsi(text); }

std::string ChannelName(IChannelInfo* info) {
  Bstr name;
  info->get_Name(Long(0), name.put());
  return name.str();
}

std::string RoundTrip(double value) {
  char buf[40];
  for (int precision = 15; precision <= 17; ++precision) {
    std::snprintf(buf, sizeof buf, "%.*g", precision, value);
    if (std::strtod(buf, nullptr) == value) break;
  }
  return buf;
}

json Number(double value) {
  if (IsVoid(value) || !std::isfinite(value)) return nullptr;
  return value;
}

int ReportError(const std::string& file, const std::string& message, HRESULT status) {
  return Fail(file + ": " + message, status);
}

bool OpenForInspection(const std::string& path, ComPtr<IRecording>* recording, OpenError* error) {
  recording->reset();
  const std::u16string wide = mlr::reader::AnsiToUtf16(path);
  ComPtr<IStorage> root;
  HRESULT hr = StgOpenStorage(wide.c_str(), nullptr, STGM_SHARE_EXCLUSIVE | STGM_READ, nullptr, 0,
                              root.put());
  if (FAILED(hr) || !root) {
    error->status = FAILED(hr) ? hr : E_FAIL;
    if (hr == STG_E_FILENOTFOUND || hr == STG_E_PATHNOTFOUND) {
      error->message = "no such file";
    } else if (hr == STG_E_FILEALREADYEXISTS || hr == STG_E_INVALIDHEADER) {
      error->message = "not a compound file";
    } else if (hr == STG_E_ACCESSDENIED) {
      error->message = "cannot read the file";
    } else {
      error->message = "cannot open the compound file";
    }
    return false;
  }
  hr = mlr::reader::OpenRecordingOnStorage(root.get(), recording->put());
  if (FAILED(hr)) {
    error->status = hr;
    error->message = hr == STG_E_FILENOTFOUND ? "no \"Data\" storage: not a recording"
                                              : "cannot read the recording";
    return false;
  }
  return true;
}

json DescribeRecording(IRecording* recording) {
  json r;
  Bstr text;
  recording->get_Title(text.put());
  r["Title"] = text.str();
  recording->get_Location(text.put());
  r["Location"] = text.str();
  recording->get_Extension(text.put());
  r["Extension"] = text.str();
  recording->get_Comment(text.put());
  r["Comment"] = text.str();
  recording->get_XUnits(text.put());
  r["XUnits"] = text.str();
  double d = 0;
  recording->get_TimePerDivisionHint(&d);
  r["TimePerDivisionHint"] = Number(d);
  SHORT year = 0, day = 0;
  recording->get_UTCYear(&year);
  recording->get_UTCYearDay(&day);
  r["UTCYear"] = year;
  r["UTCYearDay"] = day;
  recording->get_UTCTimeOfDay(&d);
  r["UTCTimeOfDay"] = Number(d);
  recording->get_StartTime(&d);
  r["StartTime"] = Number(d);
  recording->get_EndTime(&d);
  r["EndTime"] = Number(d);
  recording->get_Duration(&d);
  r["Duration"] = Number(d);
  LONG size = 0;
  recording->get_TotalSize(&size);
  r["TotalSize"] = size;

  json groups = json::array();
  ComPtr<IChannelGroups> all;
  LONG count = 0;
  if (SUCCEEDED(recording->get_ChannelGroups(all.put())) && all) all->get_Count(&count);
  for (LONG i = 1; i <= count; ++i) {
    ComPtr<IChannelGroup> group;
    if (SUCCEEDED(all->get_Item(i, group.put())) && group) groups.push_back(Group(group.get()));
  }
  r["ChannelGroups"] = std::move(groups);

  r["Markers"] = TimeList(recording, kalRecColMarkers, nullptr);
  r["Bookmarks"] = TimeList(recording, kalRecColBookmarks, [](IUnknown* item, json* e) {
    ComPtr<IBookmark> b = Query<IBookmark>(item, IID_IBookmark);
    Bstr name;
    if (b) b->get_Name(name.put());
    (*e)["Name"] = name.str();
  });
  r["Triggers"] = TimeList(recording, kalRecColTriggers, [](IUnknown* item, json* e) {
    ComPtr<ITriggerInfo> t = Query<ITriggerInfo>(item, IID_ITriggerInfo);
    kalTriggerSource source = kalTriggerSrcUnknown;
    Bstr name;
    ComPtr<IChannelInfo> info;
    if (t) {
      t->get_Source(&source);
      t->get_Name(name.put());
      t->get_ChannelInfo(info.put());
    }
    (*e)["Source"] = static_cast<int>(source);
    (*e)["Name"] = name.str();
    json g, c;
    LinkOf(info.get(), &g, &c);
    (*e)["ChannelGroup"] = g;
    (*e)["ChannelInfo"] = c;
  });
  r["VoiceMarks"] = TimeList(recording, kalRecColVoicemarks, [](IUnknown* item, json* e) {
    ComPtr<IVoiceMark> v = Query<IVoiceMark>(item, IID_IVoiceMark);
    LONG sps = 0, bits = 0, channels = 0, length = 0;
    if (v) {
      v->get_SamplesPerSec(&sps);
      v->get_BitsPerSample(&bits);
      v->get_Channels(&channels);
      v->get_Length(&length);
    }
    (*e)["SamplesPerSec"] = sps;
    (*e)["BitsPerSample"] = bits;
    (*e)["Channels"] = channels;
    (*e)["Length"] = length;
  });

  json physical = json::array();
  ComPtr<IPhysicalChannels> pcs = Query<IPhysicalChannels>(
      CollectionOf(recording, kalRecColPhysicalChannelConfig).get(), IID_IPhysicalChannels);
  count = 0;
  if (pcs) pcs->get_Count(&count);
  for (LONG i = 1; i <= count; ++i) {
    ComPtr<IPhysicalChannel> pc;
    if (FAILED(pcs->get_Item(i, pc.put())) || !pc) continue;
    LONG board = 0, channel = 0;
    pc->get_Board(&board);
    pc->get_Channel(&channel);
    Bstr name;
    pc->get_Name(Long(0), name.put());
    VARIANT_BOOL stored = VARIANT_FALSE;
    pc->get_StorageEnabled(&stored);
    ComPtr<IChannelInfo> info;
    pc->get_ChannelInfo(info.put());
    json g, c;
    LinkOf(info.get(), &g, &c);
    physical.push_back({{"Index", i}, {"Board", board}, {"Channel", channel},
                        {"Name", name.str()}, {"StorageEnabled", stored != VARIANT_FALSE},
                        {"ChannelGroup", g}, {"ChannelInfo", c}});
  }
  r["PhysicalChannels"] = std::move(physical);

  json pages = json::array();
  ComPtr<IDisplayPages> dps =
      Query<IDisplayPages>(CollectionOf(recording, kalRecColDisplayPages).get(), IID_IDisplayPages);
  count = 0;
  if (dps) dps->get_Count(&count);
  for (LONG i = 1; i <= count; ++i) {
    ComPtr<IDisplayPage> page;
    if (FAILED(dps->get_Item(i, page.put())) || !page) continue;
    auto bytes = [](IUnknown* blob) -> json {
      ComPtr<IStream> s = Query<IStream>(blob, IID_IStream);
      if (!s) return nullptr;
      STATSTG st{};
      if (FAILED(s->Stat(&st, STATFLAG_NONAME))) return nullptr;
      return static_cast<uint64_t>(st.cbSize.QuadPart);
    };
    ComPtr<IUnknown> setup, trace;
    page->get_PageSetup(setup.put());
    page->get_TraceAssignment(trace.put());
    pages.push_back({{"Index", i},
                     {"PageSetupBytes", bytes(setup.get())},
                     {"TraceAssignmentBytes", bytes(trace.get())}});
  }
  r["DisplayPages"] = std::move(pages);
  return r;
}

}  // namespace krf
