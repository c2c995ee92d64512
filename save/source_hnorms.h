// Reading a source group's horizontal normsets through IHNorms.
#pragma once

#include "LegacyRecording.h"
#include "platform/win.h"

namespace mlr::save {

struct HNormRow {
  double start = 0.0, x_step = 0.0;
  LONG length = 0;
  double end() const { return start + x_step * (length - 1); }  // the last sample
};

// Normset `index` (1-based) of `hnorms`. E_FAIL for a null item, else the
// source's failure as it stands.
HRESULT ReadHNorm(IHNorms* hnorms, LONG index, HNormRow* row);

// The normsets of `group` and their count.
HRESULT OpenHNorms(IChannelGroup* group, IHNorms** hnorms, LONG* count);

}  // namespace mlr::save
