#include "testing/krf_builder.h"

#include <cmath>
#include <cstdio>

namespace mlr::testing {
namespace {

std::string Num(const char* pattern, uint32_t n) {
  char buf[64];
  std::snprintf(buf, sizeof buf, pattern, static_cast<int>(n));
  return buf;
}

std::vector<uint8_t> EncodeChannelIntern(const ChannelSpec& c) {
  TaggedRecords r;
  if (c.event || !c.bits.empty()) {
    for (size_t b = 0; b < c.bits.size() && b < 16; ++b) {
      if (!c.bits[b].empty()) r.Text(static_cast<uint16_t>(b + 1), c.bits[b]);
    }
    if (!c.name.empty()) r.Text(0, c.name);
    if (c.event) r.U32(102, 1);
  } else {
    r.Text(0, c.name);
    r.Text(100, c.unit);
  }
  if (c.present) r.U32(101, *c.present);
  r.End();
  return r.take();
}

bool Kept(const ChannelSpec& c) { return !c.present || *c.present != 0; }

}  // namespace

const TreeEntry* FileTree::Find(const std::string& path) const {
  for (const auto& e : entries) {
    if (e.path == path) return &e;
  }
  return nullptr;
}

std::vector<uint8_t> EncodeRecordingIntern(const RecordingSpec& spec) {
  TaggedRecords r;
  r.U32(1, 0);
  r.Text(2, spec.x_units);
  if (spec.utc) {
    r.U32(8, static_cast<uint32_t>(spec.year)).U32(9, static_cast<uint32_t>(spec.day));
    r.F64(10, spec.time_of_day);
  } else {
    r.U32(3, static_cast<uint32_t>(spec.year)).U32(4, static_cast<uint32_t>(spec.day));
    r.F64(5, spec.time_of_day);
  }
  r.F64(7, spec.time_per_division);
  if (spec.version) r.U32(20, *spec.version);
  r.End();
  return r.take();
}

FileTree BuildTree(const RecordingSpec& spec) {
  FileTree tree;
  tree.comment = spec.comment;
  tree.app_name = spec.app_name;
  auto add_storage = [&](const std::string& path) { tree.entries.push_back({path, true, {}}); };
  auto add_stream = [&](const std::string& path, std::vector<uint8_t> bytes) {
    tree.entries.push_back({path, false, std::move(bytes)});
  };
  if (spec.write_data) {
    add_storage("Data");
    if (spec.write_intern) add_stream("Data/Intern01", EncodeRecordingIntern(spec));
    std::vector<uint32_t> numbers;
    for (const auto& g : spec.groups) numbers.push_back(g.number);
    add_stream("Data/Config01", EncodeU32List(numbers, true));
    const bool wide = spec.wide_index;
    for (const auto& g : spec.groups) {
      const std::string gp = "Data/" + Num("ChGroup%d", g.number);
      add_storage(gp);
      std::vector<uint32_t> channel_numbers;
      std::vector<bool> is_event;
      for (const auto& c : g.channels) {
        channel_numbers.push_back(c.number);
        if (Kept(c)) is_event.push_back(c.event || !c.bits.empty());
      }
      const size_t width = is_event.size();
      Bytes config;
      config.Raw(EncodeU32List(channel_numbers, g.terminate_config));
      if (g.terminate_config) {
        TaggedRecords tail;
        if (g.reduction_factor != 1) tail.U32(0x4000, g.reduction_factor);
        tail.End();
        config.Raw(tail.take());
      }
      add_stream(gp + "/Config01", config.take());
      if (g.write_hnorms) {
        std::vector<HNormSpec> h = g.hnorms;
        for (size_t i = 0; i < h.size(); ++i) {
          if (h[i].length == 0 && i < g.segments.size() && width) {
            h[i].length = static_cast<uint32_t>(g.segments[i].size() / width);
          }
        }
        add_stream(gp + "/HNorms02", EncodeHNorms(h));
      }
      if (g.write_mux) add_stream(gp + "/MuxData02", EncodeMuxData(g.segments, width, wide));
      if (g.reduction_factor > 1 && g.write_reduced && width) {
        std::vector<std::vector<int16_t>> reduced;
        for (const auto& seg : g.segments) {
          reduced.push_back(ReduceFrames(seg, width, is_event, g.reduction_factor));
        }
        add_stream(gp + "/" + Num("MuxData%d", g.reduction_factor),
                   EncodeMuxData(reduced, width * 2, wide, !spec.version.has_value()));
      }
      for (const auto& c : g.channels) {
        const std::string cp = gp + "/" + Num("Channel%d", c.number);
        add_storage(cp);
        if (c.write_intern) add_stream(cp + "/Intern01", EncodeChannelIntern(c));
        if (c.write_vnorms) add_stream(cp + "/VNorms01", EncodeVNorms(c.vnorms));
      }
    }
    add_stream("Data/Markers01", EncodeMarkers(spec.markers));
    add_stream("Data/Bookmarks01", EncodeBookmarks(spec.bookmarks));
    add_stream("Data/Triggers01", EncodeTriggers(spec.triggers));
    if (!spec.voicemarks.empty()) {
      add_storage("Data/Voicemarks");
      add_stream("Data/Voicemarks/Intern01", EncodeVoicemarkTable(spec.voicemarks));
      for (const auto& v : spec.voicemarks) {
        add_stream("Data/Voicemarks/" + Num("Voicemark%d", v.stream_number), v.sound);
      }
    }
    if (!spec.physical_channels.empty()) {
      add_stream("Data/PhysicalChannelInfo", EncodePhysicalChannels(spec.physical_channels));
    }
    if (!spec.display_pages.empty()) {
      add_storage("Data/Display Setup");
      for (size_t p = 0; p < spec.display_pages.size(); ++p) {
        const auto& page = spec.display_pages[p];
        const uint32_t n = static_cast<uint32_t>(p + 1);
        add_stream("Data/Display Setup/" + Num("PageSetup %d", n), page.page_setup);
        if (page.trace_assignment) {
          add_stream("Data/Display Setup/" + Num("TraceAssignment %d", n), *page.trace_assignment);
        }
      }
    }
  }
  for (const auto& [path, bytes] : spec.overrides) {
    bool found = false;
    for (size_t i = 0; i < tree.entries.size(); ++i) {
      if (tree.entries[i].path != path) continue;
      found = true;
      if (bytes) {
        tree.entries[i].bytes = *bytes;
      } else {
        tree.entries.erase(tree.entries.begin() + static_cast<std::ptrdiff_t>(i));
      }
      break;
    }
    if (!found && bytes) add_stream(path, *bytes);
  }
  return tree;
}

RecordingSpec SampleRecording() {
  RecordingSpec s;
  s.x_units = u"s";
  s.year = 2004;
  s.day = 132;
  s.time_of_day = 36000.5;
  s.time_per_division = 0.5;
  s.comment = "Bench test run 7, pump start-up";
  s.app_name = "Kalvern Recorder";

  // Group 1: 1 kHz, two analog channels and one event channel, two
  // segments, reduced stream at factor 10.
  GroupSpec fast;
  fast.number = 1;
  fast.reduction_factor = 10;
  ChannelSpec pressure{1, u"Pressure", u"bar", false, {}, std::nullopt,
                       {{0.0, 0.0, 0.001}, {1.0, 0.5, 0.001}}};
  ChannelSpec flow{2, u"Flow", u"l/min", false, {}, std::nullopt, {{0.0, -10.0, 0.01}}};
  ChannelSpec events{4, u"", u"", true, {u"Pump on", u"Valve open", u"", u"Alarm"}, std::nullopt, {}};
  fast.channels = {pressure, flow, events};
  fast.hnorms = {{0.0, 0.001, 0}, {2.0, 0.001, 0}};
  for (int seg = 0; seg < 2; ++seg) {
    std::vector<int16_t> frames;
    const int n = seg == 0 ? 1500 : 700;
    for (int i = 0; i < n; ++i) {
      const double t = seg * 2.0 + i * 0.001;
      frames.push_back(static_cast<int16_t>(std::lround(1000 * std::sin(6.283 * t))));
      frames.push_back(static_cast<int16_t>(std::lround(500 + 200 * std::cos(3.1 * t))));
      frames.push_back(static_cast<int16_t>((i / 300) & 0x0B));
    }
    fast.segments.push_back(std::move(frames));
  }

  // Group 2: 10 Hz, one analog channel, one dropped channel, one segment.
  GroupSpec slow;
  slow.number = 3;
  ChannelSpec temp{7, u"Temperature", u"degC", false, {}, std::nullopt, {{0.0, 20.0, 0.1}}};
  ChannelSpec spare{8, u"Spare", u"V", false, {}, 0u, {}};
  slow.channels = {temp, spare};
  slow.hnorms = {{0.0, 0.1, 0}};
  std::vector<int16_t> frames;
  for (int i = 0; i < 27; ++i) frames.push_back(static_cast<int16_t>(i * 3));
  slow.segments.push_back(std::move(frames));

  s.groups = {fast, slow};
  s.markers = {{0.25, 1}, {0.5, 0}, {2.2, 1}};
  s.bookmarks = {{0.1, u"Start"}, {2.05, u"Pump stable"}};
  s.triggers = {{1, 0.0, 0, 0, u"External"}, {3, 1.2, 1, 2, u"Flow > 5"},
                {3, 1.3, 2, 99, u"Nothing"}};
  VoicemarkSpec voice;
  voice.stream_number = 1;
  voice.time = 0.75;
  for (int i = 0; i < 400; ++i) voice.sound.push_back(static_cast<uint8_t>(128 + (i % 50)));
  s.voicemarks = {voice};
  s.physical_channels = {{1, 1, 0, 1, {u"Pressure"}},
                         {1, 2, 0, 1, {u"Flow"}},
                         {2, 1, 0, 0, {u"Unused"}},
                         {3, 7, 0, 1, {u"Temperature"}}};
  s.display_pages = {{{1, 2, 3, 4}, std::vector<uint8_t>{9, 8, 7}}, {{5, 6}, std::nullopt}};
  return s;
}

}  // namespace mlr::testing
