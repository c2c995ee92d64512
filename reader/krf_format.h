// Names and constants of the legacy recording file (`.krf`).
//
// A recording is a compound file. Everything but the summary information
// lives under the storage "Data":
//
//   Data/Intern01                  recording properties (tagged records)
//   Data/Config01                  u32 group numbers, ended by 0xFFFFFFFF
//   Data/ChGroup<g>/Config01       u32 channel numbers, 0xFFFFFFFF, tagged records
//   Data/ChGroup<g>/HNorms02       horizontal normsets
//   Data/ChGroup<g>/MuxData02      full-rate frames with their segment index
//   Data/ChGroup<g>/MuxData<F>     min/max reduced frames (optional)
//   Data/ChGroup<g>/Channel<c>/Intern01, VNorms01
//   Data/Markers01, Bookmarks01, Triggers01, PhysicalChannelInfo
//   Data/Voicemarks/Intern01, Voicemark<v>
//   Data/Display Setup/PageSetup <p>, TraceAssignment <p>
//
// All integers are little-endian, text is UTF-16LE. Numbered names are formed
// from the ASCII pattern with the number in decimal (`FormatName`).
#pragma once

#include "platform/strings.h"
#include <cstdint>
#include <string>

namespace mlr::reader {

// Storage and stream names (the file's own, spelled exactly).
inline constexpr OLECHAR kDataStorage[] = OLESTR("Data");
inline constexpr OLECHAR kInternStream[] = OLESTR("Intern01");
inline constexpr OLECHAR kConfigStream[] = OLESTR("Config01");
inline constexpr OLECHAR kHNormsStream[] = OLESTR("HNorms02");
inline constexpr OLECHAR kMuxDataStream[] = OLESTR("MuxData02");
inline constexpr OLECHAR kVNormsStream[] = OLESTR("VNorms01");
inline constexpr OLECHAR kMarkersStream[] = OLESTR("Markers01");
inline constexpr OLECHAR kBookmarksStream[] = OLESTR("Bookmarks01");
inline constexpr OLECHAR kTriggersStream[] = OLESTR("Triggers01");
inline constexpr OLECHAR kVoicemarksStorage[] = OLESTR("Voicemarks");
inline constexpr OLECHAR kPhysicalChannelStream[] = OLESTR("PhysicalChannelInfo");
inline constexpr OLECHAR kDisplaySetupStorage[] = OLESTR("Display Setup");

// Patterns of the numbered names.
inline constexpr char kGroupPattern[] = "ChGroup%d";
inline constexpr char kChannelPattern[] = "Channel%d";
inline constexpr char kReducedPattern[] = "MuxData%d";
inline constexpr char kVoicemarkPattern[] = "Voicemark%d";
inline constexpr char kPageSetupPattern[] = "PageSetup %d";
inline constexpr char kTraceAssignmentPattern[] = "TraceAssignment %d";

// `pattern` with its one "%d" replaced by `number` in decimal. The numbers
// come from the file as u32 and are formed as the signed 32-bit value, as
// the file's writers did (0x80000000 gives "ChGroup-2147483648").
mlr::OleString FormatName(const char* pattern, uint32_t number);

// Tagged records.
inline constexpr uint16_t kEndTag = 0xFFFF;
inline constexpr uint32_t kListEnd = 0xFFFFFFFF;

// Recording "Intern01" tags.
enum RecordingTag : uint16_t {
  kTagIgnored1 = 1,
  kTagXUnits = 2,
  kTagLocalYear = 3,
  kTagLocalDay = 4,
  kTagLocalTimeOfDay = 5,
  kTagIgnored6 = 6,
  kTagTimePerDivision = 7,
  kTagUtcYear = 8,
  kTagUtcDay = 9,
  kTagUtcTimeOfDay = 10,
  kTagVersion = 20,
};

// Group "Config01" tag and the skip limit of unknown group and channel tags.
inline constexpr uint16_t kTagReductionFactor = 0x4000;
inline constexpr uint32_t kUnknownRecordSkipLimit = 10000;

// Channel "Intern01" tags: 0 name, 1..16 bit names, then these.
inline constexpr uint16_t kTagChannelName = 0;
inline constexpr uint16_t kTagYUnits = 100;
inline constexpr uint16_t kTagPresent = 101;
inline constexpr uint16_t kTagEventChannel = 102;
inline constexpr int kNameCount = 17;  // name, then bits 1 to 16

// Format versions.
inline constexpr uint32_t kVersionUnknown = 0xFFFFFFFF;
inline constexpr uint32_t kVersionStamped = 0x20000;
inline constexpr uint32_t kVersionWideIndex = 0x30000;  // 16-byte index entries

// Start-time defaults (local time) when "Intern01" or a tag is absent.
inline constexpr int32_t kDefaultYear = 1999;
inline constexpr int32_t kDefaultDay = 201;
inline constexpr double kDefaultTimeOfDay = 43200.0;
inline constexpr double kDefaultTimePerDivision = 1.0;

// Fixed record sizes.
inline constexpr size_t kHNormRecordSize = 20;
inline constexpr size_t kVNormRecordSize = 24;
inline constexpr size_t kVoicemarkRecordSize = 32;
inline constexpr size_t kTriggerHeaderSize = 24;
inline constexpr size_t kPhysicalChannelHeaderSize = 24;
inline constexpr size_t kMarkerHeaderSize = 12;

// The absent raw sample.
inline constexpr int16_t kAbsentSample = -32768;

// Applications whose old (unversioned) files are upgraded when opened
// read-write: their files may carry void runs written as plain samples and
// need the version stamp. Compared exactly with the summary information's
// application name.
inline constexpr const char* kUpgradeApplications[] = {
    "Kalvern Acquisition",
    "Kalvern Review",
    "Kalvern Recorder",
};

}  // namespace mlr::reader
