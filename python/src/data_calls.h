// The typed calls of the module: opening a recording and the data paths
// (raw and scaled frames, display data, values at a time). They call the
// library's interfaces directly (vtable calls, no late binding) with the GIL
// released, and hand the returned safe arrays to numpy without copying.
//
//   open_recording(path, writable) -> Object (IRecording) of a new Session
//     writable=False opens the compound file read-only and builds the
//     recording on it, so that nothing is ever written to the file (not even
//     the upgrade of old files); writable=True opens it as
//     KrfLoader.OpenRecording does (read-write, read-only when access is
//     denied, upgrading old files).
//   read_frames(group, channels, hnorm, first, count, scaled, events)
//     -> (frames, channels) array: int16 raw (GetMuxData) or float64 scaled
//     (GetScaledMuxData) frames of one horizontal normset, whose base is the
//     library's safe array. In scaled frames the columns flagged in `events`
//     (event channels, whose 16-bit word the library stores in the low bytes
//     of the double) are turned into the word's unsigned value, in place.
//   display_data(group, channel, start, end, points) -> (points, 2) float32
//     array of (maximum, minimum) per display point (GetDisplayData).
//   time_axis(start, step, first, count) -> float64 array of the times
//     start + (first + k) * step, k = 0 .. count - 1 (filled in one pass).
//   value_at(channel, time) -> float (GetValueAtTime; NaN, the void number,
//     where there is no value).
//   live_objects() -> number of model objects alive in the process.
#pragma once

#include <pybind11/pybind11.h>

namespace movalegacy {

void RegisterDataCalls(pybind11::module_& m);

}  // namespace movalegacy
