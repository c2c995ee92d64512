// GroupReader: the FrameSource of one channel group, reading its scaled
// frames through IChannelGroup::GetScaledMuxData, block by block, from a
// seek time on.
//
// Seek(t) picks the horizontal normset that holds t (the last one starting
// at or before t, else the first one ending at or after t; none: no data)
// and the frame at or before t within it (frame 0 when t lies before the
// normset, its last frame when t lies past its end). Each Next() then reads
// the following block: at most 8192 frames, never across a normset boundary;
// when a normset is used up the reader goes on with the next one by index,
// skipping normsets without frames. A failed or empty read ends the data.
//
// Invalid input values: an analog value is invalid when it is the void
// number (any value whose high word is 0x7FFFFFFF) or when it is the scaled
// form of the absent raw sample -32768 under the vertical normset valid at
// the frame's time (-32768 * YStep + Y0, computed as the data functions
// compute it; not tested where YStep is 0, since every value would match).
// Any NaN delivered is invalid as well. The reader turns all of these into
// NaN in the block it hands out (FrameBlock's contract).
//
// Ownership: the reader holds references to the group, its normsets, the
// channels' vertical normsets and the channel list; the block's array lives
// until the next read. Threading: one thread at a time; the worker that runs
// the group uses it.
#pragma once

#include <cstdint>
#include <vector>

#include "LegacyRecording.h"
#include "platform/com_ptr.h"
#include "platform/win.h"
#include "resampler/frame_source.h"

namespace mlr::resampler {

class GroupReader final : public FrameSource {
 public:
  // `channels`: the group's channels in frame order, analog ones first (the
  // first `analog` of them). Throws std::bad_alloc.
  GroupReader(IChannelGroup* group, const std::vector<ComPtr<IChannelInfo>>& channels,
              int32_t analog);
  ~GroupReader() override;
  GroupReader(const GroupReader&) = delete;
  GroupReader& operator=(const GroupReader&) = delete;

  void Seek(double time);
  bool Next(FrameBlock* block) override;

  static constexpr LONG kMaxBlockFrames = 8192;

 private:
  bool LoadNormset(IHNorm* normset);
  bool LoadNormsetByIndex(LONG index);
  void ReleaseBlock();
  void MarkInvalid(double* values, int32_t frames, int32_t width) const;

  ComPtr<IChannelGroup> group_;
  ComPtr<IHNorms> hnorms_;
  SAFEARRAY* channel_list_ = nullptr;  // VT_DISPATCH vector, owned
  std::vector<ComPtr<IVNorms>> vnorms_;  // of the analog channels
  int32_t width_;
  int32_t analog_;
  LONG index_ = -1;  // current normset; below 1: no (more) data
  double start_ = 0.0;
  double step_ = 0.0;
  LONG length_ = 0;
  LONG position_ = 0;      // next unread frame of the normset, 0-based
  LONG block_frames_ = 0;  // frames of the block handed out last
  SAFEARRAY* block_ = nullptr;
};

}  // namespace mlr::resampler
