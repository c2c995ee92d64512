// An in-memory recording: the generic object model filled from a
// description and caller-supplied samples, through the same protected
// operations a file reader uses. It serves the tests, the demo program, the
// data functions and the saver wherever a recording is needed without a
// file.
//
//   mlr::model::MemoryRecordingSpec spec;
//   spec.groups.push_back(...);          // channels, normsets, samples
//   mlr::ComPtr<IRecording> recording;
//   HRESULT hr = mlr::model::CreateMemoryRecording(spec, recording.put());
//
// What it holds: the recording's strings and UTC start time; channel groups,
// each with its channels (analog or event, names, unit, vertical normsets)
// and its horizontal normsets, one per segment of samples; triggers (with an
// optional source channel named by group and channel position), markers,
// bookmarks; optionally a physical-channel configuration; and display pages
// with their two blobs.
//
// Samples: each segment holds Length frames of the group's channels,
// channel varying fastest (frames.size() must be a multiple of the channel
// count; Length = frames.size() / channels). The description is copied; the caller
// keeps its own.
//
// GetMuxData of a memory group behaves as the file reader's: E_POINTER for a
// null Result; E_INVALIDARG for FirstSample < 1, Reduction < 1, a null or
// empty channel array, or an HNormIndex outside 1..Count; a Reduction other
// than 1 and the group's reduction factor F goes to the data function
// GetReducedMuxData (Reduction / k frames merged on top of stored reduction
// k, k = F when Reduction is a multiple of F, else 1; E_NOTIMPL when that
// function is not available); E_FAIL for a channel that is not one of the
// group's. The result holds m = (Length - FirstSample) / Reduction + 1 items,
// at most ItemCount, and none when FirstSample lies past the segment (the
// file reader leaves that case undefined): a VT_I2 vector (lower bound 0)
// for one channel at Reduction 1, else a two-dimensional VT_I2 array
// (channels, or channels x 2 for (maximum, minimum) pairs at Reduction F;
// (OR, AND) for event channels) x m, both lower bounds 1. The reduced pairs
// are computed from the frames: reduced frame r covers frames r*F to
// (r+1)*F - 1 of the segment (fewer at its end).
// GetBestReductionFactor: a factor below F stays; otherwise it is rounded
// down to a multiple of F.
//
// Collection(kalRecColDisplayPages) answers the display pages (an empty
// collection when the description has none); voice marks are not supported (null).
// The physical-channel configuration exists only when
// `has_physical_channels` is set.
//
// Threading: the recording is immutable once made (except for markers and
// bookmarks added through their interfaces); reading from several threads
// is safe.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "LegacyRecording.h"
#include "platform/win.h"
#include "platform/strings.h"

namespace mlr::model {

struct MemoryVNorm {
  double y0 = 0.0;
  double y_step = 1.0;
  double start_time = 0.0;
};

struct MemoryChannelSpec {
  mlr::OleString name;
  mlr::OleString units;
  bool event = false;
  std::vector<mlr::OleString> bit_names;  // up to 16: the names of bits 1..16
  std::vector<MemoryVNorm> vnorms;
};

struct MemorySegment {
  double start_time = 0.0;
  double x_step = 1.0;
  std::vector<int16_t> frames;  // Length x channel count, channel fastest
};

struct MemoryGroupSpec {
  std::vector<MemoryChannelSpec> channels;
  std::vector<MemorySegment> segments;
  LONG reduction_factor = 1;  // F, at least 1
};

struct MemoryTrigger {
  double time = 0.0;
  LONG source = kalTriggerSrcUnknown;
  mlr::OleString name;
  LONG group = 0;    // 1-based group of the source channel, 0 for none
  LONG channel = 0;  // 1-based channel within that group
};

struct MemoryBookmark {
  double time = 0.0;
  mlr::OleString text;
};

struct MemoryPhysicalChannel {
  LONG board = 0;
  LONG channel = 0;
  LONG group_index = 0;
  LONG channel_index = 0;  // 0: the input was not stored
  std::vector<mlr::OleString> names;  // entry 0 the name, then bit names
};

struct MemoryDisplayPage {
  std::vector<uint8_t> page_setup;  // empty: never written
  std::vector<uint8_t> trace_assignment;
};

struct MemoryRecordingSpec {
  mlr::OleString title, location, extension, comment, xunits;
  LONG utc_year = 1999;
  LONG utc_year_day = 1;
  double utc_time_of_day = 0.0;
  std::vector<MemoryGroupSpec> groups;
  std::vector<MemoryTrigger> triggers;
  std::vector<double> markers;
  std::vector<MemoryBookmark> bookmarks;
  bool has_physical_channels = false;
  std::vector<MemoryPhysicalChannel> physical_channels;
  std::vector<MemoryDisplayPage> display_pages;
};

// Builds a recording from `spec` into *result (a new reference). E_POINTER
// for a null result; E_INVALIDARG when a segment's frames do not divide by
// the group's channel count or exceed 2^31 - 1 frames, a reduction factor
// is below 1, a channel has more than 16 bit names or a trigger names a
// channel that does not exist; E_OUTOFMEMORY. *result is null on failure.
HRESULT CreateMemoryRecording(const MemoryRecordingSpec& spec, IRecording** result);

}  // namespace mlr::model
