#include "save/save_alignment.h"

#include <algorithm>
#include <limits>

#include "api/recording_calendar.h"
#include "platform/com_ptr.h"
#include "save/save_channel_group.h"
#include "save/source_hnorms.h"

namespace mlr::save {
namespace {

struct UtcStart {
  int32_t year = 0, day = 0;
  double time = 0.0;
};

HRESULT ReadStart(IRecording* recording, UtcStart* start) {
  SHORT year = 0, day = 0;
  HRESULT hr = recording->get_UTCYear(&year);
  if (SUCCEEDED(hr)) hr = recording->get_UTCYearDay(&day);
  if (SUCCEEDED(hr)) hr = recording->get_UTCTimeOfDay(&start->time);
  start->year = year;
  start->day = day;
  return hr;
}

// The normset of `group` that holds `time` (first sample <= time <= last
// sample): its index, or -1 when none does.
HRESULT FindHoldingNormset(IChannelGroup* group, double time, LONG* index, HNormRow* row) {
  *index = -1;
  ComPtr<IHNorms> hnorms;
  LONG count = 0;
  HRESULT hr = OpenHNorms(group, hnorms.put(), &count);
  if (FAILED(hr)) return hr;
  for (LONG i = 1; i <= count; ++i) {
    if (FAILED(hr = ReadHNorm(hnorms.get(), i, row))) return hr;
    if (row->length > 0 && row->start <= time && time <= row->end()) {
      *index = i;
      return S_OK;
    }
  }
  return S_OK;
}

}  // namespace

HRESULT AlignSaveGroups(const std::vector<IRecording*>& recordings,
                        const std::vector<CSaveChannelGroup*>& groups, double start_time,
                        double end_time, LONG options, SaveAlignment* out) {
  const size_t n = recordings.size();
  if (n == 0) return E_INVALIDARG;
  for (const CSaveChannelGroup* group : groups) {
    if (group->source_recording() >= n) return E_INVALIDARG;
  }
  std::vector<UtcStart> starts(n);
  std::vector<double> offset(n, 0.0);  // d(r): own time = first recording's time - d(r)
  for (size_t r = 0; r < n; ++r) {
    HRESULT hr = ReadStart(recordings[r], &starts[r]);
    if (FAILED(hr)) return hr;
    if (!(options & kalSRF_SkipAbsoluteTimeAlign)) {
      offset[r] = recording_time::Difference(starts[r].year, starts[r].day, starts[r].time,
                                             starts[0].year, starts[0].day, starts[0].time);
    }
  }

  double origin = start_time, latest = end_time;
  struct Triggered {
    LONG index;
    HNormRow row;
  };
  std::vector<Triggered> triggered(groups.size(), Triggered{-1, {}});
  if (options & kalSRF_TriggeredSegmentOnly) {
    double first_start = std::numeric_limits<double>::infinity();
    double last_end = -first_start;
    for (size_t g = 0; g < groups.size(); ++g) {
      const double d = offset[groups[g]->source_recording()];
      HRESULT hr = FindHoldingNormset(groups[g]->source(), start_time - d, &triggered[g].index,
                                      &triggered[g].row);
      if (FAILED(hr)) return hr;
      if (triggered[g].index < 0) continue;
      first_start = std::min(first_start, triggered[g].row.start + d);
      last_end = std::max(last_end, triggered[g].row.end() + d);
    }
    if (first_start <= last_end) {
      origin = first_start;
      latest = last_end;
    }
  }

  out->recordings.assign(n, SaveRecordingSpan{});
  for (size_t r = 0; r < n; ++r) {
    out->recordings[r] = SaveRecordingSpan{origin - offset[r], latest - offset[r], origin - offset[r]};
  }
  for (size_t g = 0; g < groups.size(); ++g) {
    const SaveRecordingSpan& span = out->recordings[groups[g]->source_recording()];
    if (options & kalSRF_TriggeredSegmentOnly) {
      const HNormRow& row = triggered[g].row;
      groups[g]->SetSpan(row.start, row.end(), span.shift, triggered[g].index);
    } else {
      groups[g]->SetSpan(span.first, span.last, span.shift, 0);
    }
  }

  int32_t year = starts[0].year, day = starts[0].day;
  double time = starts[0].time + origin;
  if (!recording_time::Normalise(year, day, time)) {
    year = starts[0].year;
    day = starts[0].day;
    time = starts[0].time;
  }
  out->utc_year = year;
  out->utc_year_day = day;
  out->utc_time_of_day = time;
  out->file_time = recording_time::AutomationDayNumber(year, day) + time / recording_time::kSecondsPerDay;
  return S_OK;
}

}  // namespace mlr::save
