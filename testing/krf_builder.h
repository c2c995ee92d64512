// A builder of legacy recording files for tests, tools, fuzz seeds and the
// bundled sample: a `RecordingSpec` describes a recording; `BuildTree`
// turns it into the storages and streams of the file, byte for byte;
// `WriteTree` (krf_writer.h) writes such a tree through IStorage.
//
// Defaults give the simplest valid file: every stream present, version
// 0x20000 stamped, 8-byte index entries. Switches produce the variants that
// the reader must handle: wide (16-byte) index entries, reduced streams
// (with old-style offsets for unversioned files), missing streams, dropped
// channels, raw stream overrides for malformed content.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "testing/krf_bytes.h"

namespace mlr::testing {

struct ChannelSpec {
  uint32_t number = 0;
  std::u16string name;
  std::u16string unit;
  bool event = false;                 // writes tag 102 = 1
  std::vector<std::u16string> bits;   // bit names 1..16 (tags 1..16), empty ones left out
  std::optional<uint32_t> present;    // tag 101 when set
  std::vector<VNormSpec> vnorms;
  bool write_intern = true;
  bool write_vnorms = true;
};

struct GroupSpec {
  uint32_t number = 0;
  std::vector<ChannelSpec> channels;  // in list order, including dropped ones
  std::vector<HNormSpec> hnorms;      // Length is taken from the segment when 0
  // Frames per segment, values interleaved over the channels that are kept
  // (present flag not 0), in list order.
  std::vector<std::vector<int16_t>> segments;
  uint32_t reduction_factor = 1;      // tag 0x4000 written when not 1
  bool write_reduced = true;          // writes MuxData<F> when F is not 1
  bool terminate_config = true;
  bool write_hnorms = true;
  bool write_mux = true;
};

struct DisplayPageSpec {
  std::vector<uint8_t> page_setup;
  std::optional<std::vector<uint8_t>> trace_assignment;
};

struct RecordingSpec {
  std::optional<uint32_t> version = 0x20000;  // tag 20; none for old files
  bool wide_index = false;                    // 16-byte index entries
  std::u16string x_units = u"s";
  double time_per_division = 1.0;
  bool utc = true;                            // tags 8-10, else 3-5
  int32_t year = 2003;
  int32_t day = 45;
  double time_of_day = 3600.0;
  std::vector<GroupSpec> groups;
  std::vector<MarkerSpec> markers;
  std::vector<BookmarkSpec> bookmarks;
  std::vector<TriggerSpec> triggers;
  std::vector<VoicemarkSpec> voicemarks;
  std::vector<PhysicalChannelSpec> physical_channels;
  std::vector<DisplayPageSpec> display_pages;
  std::optional<std::string> comment;          // summary information PIDSI_COMMENTS
  std::optional<std::string> app_name;         // summary information PIDSI_APPNAME
  bool write_data = true;                      // the "Data" storage
  bool write_intern = true;
  // Streams replaced (or added) verbatim, by path below the root
  // ("Data/Markers01"); an empty optional removes the stream.
  std::map<std::string, std::optional<std::vector<uint8_t>>> overrides;
};

// One storage or stream of a file. Paths are "/"-separated below the root;
// storages come before their children.
struct TreeEntry {
  std::string path;
  bool storage = false;
  std::vector<uint8_t> bytes;
};

struct FileTree {
  std::vector<TreeEntry> entries;
  std::optional<std::string> comment;
  std::optional<std::string> app_name;

  const TreeEntry* Find(const std::string& path) const;
};

FileTree BuildTree(const RecordingSpec& spec);

// The Intern01 bytes of a recording spec (used by BuildTree).
std::vector<uint8_t> EncodeRecordingIntern(const RecordingSpec& spec);

// A recording with two groups at different rates (analog and event
// channels, a reduced stream), every collection filled: the bundled sample
// and a common starting point for tests.
RecordingSpec SampleRecording();

}  // namespace mlr::testing
