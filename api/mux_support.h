// Building blocks shared by the multiplexed-data functions (GetScaledMuxData,
// GetResampledMuxData, GetReducedMuxData, GetDisplayData). They read a
// channel group through its interfaces only.
//
// Ownership: every holder here owns what it holds (a safe array, interface
// references) and gives it back in its destructor; nothing is shared between
// threads, so each call of a data function builds its own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "LegacyRecording.h"
#include "platform/com_ptr.h"
#include "platform/win.h"

namespace mlr::api {

// Owns one safe array; destroys it unless released.
class SafeArrayHolder {
 public:
  SafeArrayHolder() = default;
  explicit SafeArrayHolder(SAFEARRAY* array) : array_(array) {}
  SafeArrayHolder(const SafeArrayHolder&) = delete;
  SafeArrayHolder& operator=(const SafeArrayHolder&) = delete;
  SafeArrayHolder(SafeArrayHolder&& other) noexcept : array_(other.release()) {}
  SafeArrayHolder& operator=(SafeArrayHolder&& other) noexcept {
    if (this != &other) {
      reset();
      array_ = other.release();
    }
    return *this;
  }
  ~SafeArrayHolder() { reset(); }

  SAFEARRAY* get() const { return array_; }
  // Destroys what is held and returns the slot for an out parameter.
  SAFEARRAY** put() {
    reset();
    return &array_;
  }
  [[nodiscard]] SAFEARRAY* release() {
    SAFEARRAY* array = array_;
    array_ = nullptr;
    return array;
  }
  void reset();

 private:
  SAFEARRAY* array_ = nullptr;
};

// The channel selection of a data function: a one-dimensional safe array of
// IChannelInfo pointers (elements VT_UNKNOWN, VT_DISPATCH, or VT_VARIANT
// holding either), any lower bound. A null element, or one that is not a
// channel info, stands for a channel whose output stays zero.
class ChannelSelection {
 public:
  // E_INVALIDARG for a null array, one of more than one dimension or of
  // another element type; E_OUTOFMEMORY; the status of SafeArrayAccessData.
  HRESULT Load(SAFEARRAY* array);

  size_t size() const { return channels_.size(); }
  IChannelInfo* at(size_t k) const { return channels_[k].get(); }
  // How many elements are null.
  size_t nulls() const;

 private:
  std::vector<ComPtr<IChannelInfo>> channels_;
};

// A one-element VT_UNKNOWN vector (lower bound 0) holding `channel` (with a
// reference of its own): the selection a data function hands to the group
// when it works on one channel. Null when out of memory.
SAFEARRAY* SingleChannelVector(IChannelInfo* channel);

// One horizontal normset as the data functions see it.
struct NormsetView {
  ComPtr<IHNorm> normset;
  double start = 0.0;
  double step = 0.0;
  LONG length = 0;
};

// How the prologue reports a normset index that leads nowhere.
enum class BadIndexReport {
  kNoNormsets,    // any failure of Item, or a null item: error 10202
  kInvalidIndex,  // a failure of Item as it stands; a null item: error 10201
};

// The prologue of the multiplexed-data functions: the group's HNorms (a
// failure as it stands; none: error 10202), Item(index) reported as
// `report` says, then the normset's StartTime, XStep and Length. Errors
// 10xxx are raised naming IChannelGroup.
HRESULT ReadNormset(IChannelGroup* group, LONG index, BadIndexReport report, NormsetView* view);

// One block of raw frames delivered by IChannelGroup::GetMuxData: `frames`
// frames of `width` 16-bit values each (width = channels, or 2 x channels for
// (maximum, minimum) pairs), frame-interleaved.
class MuxBlock {
 public:
  // Calls group->GetMuxData(selection, hnorm, first, count, reduction) and
  // checks what came back: a failure of the call as it stands; a result of
  // another element size, or whose data block is shorter than its last
  // dimension's frames at `width` values each, gives E_UNEXPECTED (a group
  // must not hand out such arrays). A null result counts as no frames.
  // `channels` is `selection` loaded: null elements are left out of the
  // group's request (a group does not know them) and read as zero columns,
  // unless every element is null, when the request goes as it is.
  HRESULT Read(IChannelGroup* group, SAFEARRAY** selection, const ChannelSelection& channels,
               LONG hnorm, LONG first, LONG count, LONG reduction);

  size_t frames() const { return frames_; }
  size_t width() const { return width_; }
  const int16_t* data() const { return data_; }
  // The index-th frame.
  const int16_t* frame(size_t index) const { return data_ + index * width_; }

  MuxBlock() = default;
  MuxBlock(const MuxBlock&) = delete;
  MuxBlock& operator=(const MuxBlock&) = delete;
  ~MuxBlock() { Clear(); }
  void Clear();

 private:
  HRESULT ReadArray(IChannelGroup* group, SAFEARRAY** selection, LONG hnorm, LONG first,
                    LONG count, LONG reduction, size_t width);
  void Expand(const ChannelSelection& channels, size_t per_channel);

  SafeArrayHolder array_;
  bool accessed_ = false;
  std::vector<int16_t> expanded_;  // the frames with zero columns, when nulls were left out
  const int16_t* data_ = nullptr;
  size_t frames_ = 0;
  size_t width_ = 0;
};

// Creates a safe array of `vt` with the given dimensions, each of
// `lower_bound`, and gives access to its data (SafeArrayAccessData is not
// held: the array is not locked while it is filled). `zeroed` says whether
// the data must start as zeros; otherwise the caller writes every element.
// Null when out of memory or when a dimension exceeds 2^31 - 1 elements.
SAFEARRAY* CreateArray(VARTYPE vt, const std::vector<size_t>& extents, LONG lower_bound,
                       bool zeroed, void** data);

// Shrinks the last dimension of `array` to `count` elements.
HRESULT ShrinkLastDimension(SAFEARRAY* array, size_t count);

}  // namespace mlr::api
