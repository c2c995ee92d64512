// The multiplexed-data functions of the module (declared with C linkage in
// LegacyRecording.h): GetScaledMuxData, GetResampledMuxData and
// GetReducedMuxData. Each fetches the data of one horizontal normset of a
// channel group through the group's own GetMuxData and returns a new safe
// array that the caller owns. They work on any IChannelGroup through its
// interfaces only, keep no state and may run on any thread (as far as the
// group allows). On failure *Result is null.
//
// Sample numbers are 1-based within the normset; sample n lies at
// StartTime + (n - 1) x XStep. Errors 10xxx are raised as rich errors
// (server/error_raiser.h) naming IChannelGroup, except where noted.
//
// GetScaledMuxData(ChGrp, ChInfo, HNormIndex, FirstSample, ItemCount,
//                  Reduction, Result)
//   Reduction < 2: VT_R8 (channels, frames), lower bounds 0, element [c, i]
//   = raw x YStep + Y0 with the vertical normset valid at the sample's own
//   time (looked up once per run of samples that share it). Two roundings,
//   no fused multiply-add: every machine gives the same bits. An event
//   channel's element holds its 16-bit word in the two lowest-addressed
//   bytes and zeros elsewhere (read the bits, not the number); a null
//   element of ChInfo gives a column of 0.0.
//   Reduction >= 2: VT_R8 (2 x channels, frames), [2c] the larger and
//   [2c + 1] the smaller scaled value of the stored (maximum, minimum) pair
//   (the pair swaps for a negative YStep); event and null channels stay 0.0.
//   Errors: HNorms failing (its status) or missing, Item failing or null:
//   10202; a normset of Length 0: 10400; GetMuxData failing: its status;
//   no frame delivered: 10104.
//   Choices:
//   - Full rate reads the group in chunks of about 256 KiB of raw values,
//     each scaled while it is still in the cache, into a result sized by
//     the first chunk (the whole answer when it holds all that was asked)
//     or else by the frames the normset has from FirstSample on: a large
//     ItemCount over a short normset costs only the frames there are. A
//     chunk that comes back empty ends the data (the result is cut to the
//     frames before it); a chunk that fails fails the call with its status.
//     Pairs come in one read of the group, scaled from the group's array.
//   - A full-rate result larger than the processor's last-level cache is
//     written with streaming stores, which go to memory without first
//     reading each line (the caller cannot find such a result in the cache
//     anyway); a smaller one is written through the cache, where a caller
//     that reads it at once finds it. The values are the same bits.
//   - An analog channel without vertical normsets (VNorms null, or no
//     normset valid at a sample's time) fails the call with 10302 naming
//     IChannelInfo; a failing VNorms, GetFromTime, EndTime, YStep or Y0
//     fails it with that status. Success is always S_OK.
//   - A null ChGrp or a null or malformed ChInfo array (not one dimension of
//     VT_UNKNOWN, VT_DISPATCH or VT_VARIANT) gives E_INVALIDARG, a null
//     Result E_POINTER.
//   - A group that hands back an array shorter than its dimensions claim
//     gives E_UNEXPECTED.
#pragma once

// GetResampledMuxData(ChGrp, ChInfo, HNormIndex, FirstSample, ItemCount,
//                     Reduction, Result): one frame out of Reduction.
//   ItemCount <= 0 or Reduction <= 0: S_FALSE and no result. Reduction 1:
//   the group's GetMuxData(ChInfo, HNormIndex, FirstSample, ItemCount, 1)
//   as it answers. Otherwise samples 1, 1 + N, 1 + 2N, ... of the normset
//   (FirstSample is not used: deliberate), at most ItemCount of them, as
//   VT_I2 raw values: a vector for one channel, (channels, frames) for more,
//   lower bounds 0. The normset is read in chunks of 10000 frames that each
//   begin at the next wanted sample (one frame per read when N > 10000); a
//   failing read only ends the reading, and the array is cut to the frames
//   written (none: S_OK with a null Result).
//   Errors: HNorms failing (its status) or missing (10202); Item failing (its
//   status) or null (10201); a normset of Length below 1: 10400.
//
// GetReducedMuxData(ChGrp, ChInfo, HNormIndex, FirstSample, ItemCount,
//                   Reduction, RequestReduction, Result): each output frame
//   merges Reduction frames read through GetMuxData at RequestReduction
//   (1: raw samples; the group's stored factor: stored (max, min) pairs).
//   VT_I2 (2 x channels, ItemCount frames at most), both lower bounds 1
//   (deliberately unlike the other functions): [2c] maximum, [2c + 1]
//   minimum; OR and AND for event channels. Frames beyond the data delivered
//   stay zero (the array is not shrunk). Reads go in blocks of at most 10000
//   frames, so memory beyond the result stays bounded whatever the request.
//   Errors: a null ChGrp or ChInfo, Reduction < 2 or RequestReduction <= 0:
//   E_INVALIDARG; HNorms and Item as GetResampledMuxData; nothing to read
//   (ItemCount x Reduction x RequestReduction cut at the normset's end is
//   below 1): 10104 naming IChannelInfo; GetMuxData failing: its status.
//   Choice: a block read that succeeds with no frame ends the reading; the
//   frames merged so far are kept and the call succeeds.
