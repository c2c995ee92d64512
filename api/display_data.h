// GetDisplayData (declared with C linkage in LegacyRecording.h): what a trace
// display draws for one channel between two times (seconds since the
// recording's start) at Count horizontal points.
//
// GetDisplayData(ChGrp, ChInfo, StartTime, EndTime, Count, Result)
//   Point i stands for P(i) = StartTime + i x W, W = (EndTime - StartTime) /
//   (Count - 1). The result is a new VT_R4 array (2, points), lower bounds 0,
//   owned by the caller: [0, i] the maximum and [1, i] the minimum of point
//   i, or both the void number (as a float) for a point without data. It
//   holds the points reached: fewer than Count when the data end first.
//
//   Per horizontal normset (from the first that ends at or after StartTime,
//   on through the following ones while they start at or before EndTime):
//   - R = trunc(W / XStep) / 2, passed through the group's
//     GetBestReductionFactor.
//   - R < 2 and W < XStep (fewer samples than points): each point is
//     interpolated between the samples on either side of it (across the gap
//     to the previous normset's last sample when the normset's first sample
//     lies after the point); a void neighbour makes the point void.
//   - R < 2 and W >= XStep: every scaled sample merges into the point whose
//     time is the first at or after the sample's time (the sample at or
//     before StartTime goes to point 0).
//   - R >= 2: the same with the (max, min) pairs of the group's
//     GetScaledMuxData at reduction R, each placed at the time of its first
//     sample; the stored reduction makes the work grow with the points, not
//     with the samples.
//   Void samples are left out of a point; a double is void here only when
//   all its 64 bits are 0x7FFFFFFFFFFFFFFF (a stricter test than
//   IsVoidNumber, kept on purpose). Values are read through the group's own
//   GetScaledMuxData in blocks of at most 16384 values or pairs, so memory
//   stays bounded whatever the range.
//
//   Errors: a null Result: E_POINTER; StartTime > EndTime, Count < 2, a null
//   ChGrp or ChInfo: E_INVALIDARG; HNorms failing (its status) or missing
//   (10202 naming IChannelGroup); no normset ending at or after StartTime:
//   10201; GetFirstEndingAfter or a normset's Item failing: that status.
//
//   Choices where the contract leaves room:
//   - A StartTime before the first sample of the normset it lands in (a
//     start inside a gap) starts at that normset's first sample; the points
//     before it are void (or interpolated, for points narrower than a
//     sample).
//   - Sample times are computed from the sample's index (StartTime + s x
//     XStep) and point times from the point's index, never accumulated, so
//     no sample is skipped or repeated at a block boundary and the time
//     always belongs to the sample about to be used.
//   - Points that a gap between normsets leaves without samples are void:
//     before a sample is merged, every point whose time lies before it is
//     closed.
//   - A block read that fails or delivers nothing ends the call: with
//     points done they are returned with S_OK (a shorter result, as when
//     the data end); with none, the read's status is returned (a failure as
//     it stands, for instance E_FAIL for a channel of another group;
//     otherwise S_OK) with a null Result. This holds for the interpolating
//     branch too.
#pragma once
