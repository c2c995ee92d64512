// The time base of a saved recording: how the span [StartTime, EndTime] of
// a save maps onto each source recording and onto the saved file.
//
// Decisions (the save's own, documented here):
// - StartTime and EndTime are in the time base of the first source
//   recording. A group of another recording r sees the span moved by
//   d(r) = its UTC start minus the first recording's UTC start (so the same
//   absolute instant is saved), unless kalSRF_SkipAbsoluteTimeAlign asks for
//   each recording's own time base (d(r) = 0).
// - The saved recording starts at StartTime: saved time = source time of
//   recording r + d(r) - StartTime; its UTC start is the first recording's
//   UTC start + StartTime (normalised), and the target file time is that
//   start as a DATE (days since 1899-12-30, UTC).
// - kalSRF_TriggeredSegmentOnly: each group saves, whole, its horizontal
//   normset that holds StartTime (StartTime <= t <= EndTime of the normset,
//   in the group's aligned time); a group without such a normset saves no
//   segment. The saved recording starts at the earliest first sample of
//   those normsets instead of at StartTime, and [that start, the latest
//   normset end] is the span of the collections.
// - Collections of recording r keep items with span start <= time <= span
//   end in r's own time base (the span moved by d(r)), shifted like r's data.
//
// Threading: called once by the main save thread before phase 1.
#pragma once

#include <cstdint>
#include <vector>

#include "LegacyRecording.h"
#include "platform/win.h"

namespace mlr::save {

class CSaveChannelGroup;

struct SaveRecordingSpan {
  double first = 0.0;  // span of the collections, recording's own time
  double last = 0.0;
  double shift = 0.0;  // saved time = own time - shift
};

struct SaveAlignment {
  std::vector<SaveRecordingSpan> recordings;  // by source-recording index
  int32_t utc_year = 1999;                    // the saved recording's start
  int32_t utc_year_day = 1;
  double utc_time_of_day = 0.0;
  DATE file_time = 0.0;
};

// Computes the alignment for `recordings` (in model order) and sets the
// span of every group (CSaveChannelGroup::SetSpan). E_INVALIDARG for no
// recording or a group whose source-recording index is out of range; the
// failure of a source's time or normset query as it stands.
HRESULT AlignSaveGroups(const std::vector<IRecording*>& recordings,
                        const std::vector<CSaveChannelGroup*>& groups, double start_time,
                        double end_time, LONG options, SaveAlignment* out);

}  // namespace mlr::save
