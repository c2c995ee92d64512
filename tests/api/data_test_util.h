// Helpers for the data-function tests: builder files opened through the
// loader, test groups built in memory or as files with their expected
// values, and a group that watches its reads. Memory recordings, groups,
// channels, channel lists and the contents of returned arrays come from the
// reader tests' fixture.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "LegacyRecording.h"
#include "api/mux_support.h"
#include "model/memory_recording.h"
#include "platform/com_ptr.h"
#include "platform/win.h"
#include "testing/float_bits.h"
#include "testing/krf_builder.h"
#include "tests/platform/test_objects.h"
#include "tests/reader/reader_fixture.h"

namespace mlr::api::test {

// Writes `spec` to a temporary file, opens it read-only through the
// loader's class object and removes the file (the open recording keeps it).
ComPtr<IRecording> OpenBuilderFile(const mlr::testing::RecordingSpec& spec);

using namespace reader::test;  // MakeMemoryRecording, Group, Channel, ChannelList, Contents


using mlr::testing::Bits;
using mlr::testing::FromBits;
extern const double kVoid;


// One channel of a test group: analog with vertical normsets (ascending
// start times), or an event channel.
struct TestChannel {
  bool event = false;
  std::vector<model::MemoryVNorm> vnorms;
};

// A channel group described once and built either in memory or as a
// builder file, with the expected values worked out independently of the
// code under test.
struct TestGroup {
  std::vector<TestChannel> channels;
  std::vector<model::MemorySegment> segments;  // frames interleaved over the channels
  LONG reduction_factor = 1;

  int16_t Raw(size_t segment, size_t frame, size_t channel) const {
    return segments[segment].frames[frame * channels.size() + channel];
  }
  size_t Length(size_t segment) const { return segments[segment].frames.size() / channels.size(); }
  double TimeOf(size_t segment, size_t frame) const {
    return segments[segment].start_time + static_cast<double>(frame) * segments[segment].x_step;
  }
  // raw x YStep + Y0 with the last normset starting at or before t (the
  // first before all of them), two roundings.
  double Scaled(size_t channel, double t, int16_t raw) const;
  // (max, min) of frames [first, first + count) of a segment, clipped to it;
  // OR and AND for event channels.
  std::pair<int16_t, int16_t> MaxMin(size_t segment, size_t channel, size_t first,
                                     size_t count) const;
};

// A memory recording / a builder file of these groups, in order.
ComPtr<IRecording> InMemory(const std::vector<TestGroup>& groups);
ComPtr<IRecording> InFile(const std::vector<TestGroup>& groups);

// A test on a recording of `group_` (then `others`), in memory (parameter
// false) or as a builder file (true): Build() sets recording_, its first
// group g_ and that group's channels ch_.
class GroupTest : public ::testing::TestWithParam<bool> {
 protected:
  void Build(const std::vector<TestGroup>& others = {});
  TestGroup group_;
  ComPtr<IRecording> recording_;
  ComPtr<IChannelGroup> g_;
  std::vector<ComPtr<IChannelInfo>> ch_;
};

// Fills segment frames for `group`: values spread over the int16 range,
// every seventh sample of channel 0 absent (-32768), small bit masks (and
// 0x8000 on every fifth frame) on event channels.
model::MemorySegment PatternSegment(const TestGroup& group, size_t segment, double start,
                                    double x_step, size_t length);


// A channel group that forwards every member to another one and watches the
// GetMuxData calls: it records them and can make one of them fail or come
// back empty. Lives on the stack; reference counting is not used for its
// lifetime.
class WatchedGroup final : public IChannelGroup {
 public:
  struct MuxCall {
    LONG hnorm, first, count, reduction;
  };
  explicit WatchedGroup(IChannelGroup* inner) : inner_(inner) {}

  std::vector<MuxCall> calls;
  size_t fail_at = SIZE_MAX;   // the call with this 0-based number fails (E_FAIL)
  size_t empty_at = SIZE_MAX;  // the call with this number succeeds with no array

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override;
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* n) override { return inner_->GetTypeInfoCount(n); }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT a, LCID b, ITypeInfo** c) override {
    return inner_->GetTypeInfo(a, b, c);
  }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID a, LPOLESTR* b, UINT c, LCID d, DISPID* e) override {
    return inner_->GetIDsOfNames(a, b, c, d, e);
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID a, REFIID b, LCID c, WORD d, DISPPARAMS* e, VARIANT* f,
                                   EXCEPINFO* g, UINT* h) override {
    return inner_->Invoke(a, b, c, d, e, f, g, h);
  }
  HRESULT STDMETHODCALLTYPE get_Parent(IChannelGroups** v) override { return inner_->get_Parent(v); }
  HRESULT STDMETHODCALLTYPE get_HNorms(IHNorms** v) override { return inner_->get_HNorms(v); }
  HRESULT STDMETHODCALLTYPE get_ChannelInfos(IChannelInfos** v) override {
    return inner_->get_ChannelInfos(v);
  }
  HRESULT STDMETHODCALLTYPE GetBestReductionFactor(LONG h, LONG* r) override {
    return inner_->GetBestReductionFactor(h, r);
  }
  HRESULT STDMETHODCALLTYPE get_StartTime(double* v) override { return inner_->get_StartTime(v); }
  HRESULT STDMETHODCALLTYPE get_EndTime(double* v) override { return inner_->get_EndTime(v); }
  HRESULT STDMETHODCALLTYPE get_Duration(double* v) override { return inner_->get_Duration(v); }
  HRESULT STDMETHODCALLTYPE GetMuxData(SAFEARRAY** channels, LONG hnorm, LONG first, LONG count,
                                       LONG reduction, SAFEARRAY** result) override;
  // The computing members run the module functions on this group, so that
  // their reads are watched too.
  HRESULT STDMETHODCALLTYPE GetScaledMuxData(SAFEARRAY** c, LONG h, LONG f, LONG n, LONG r,
                                             SAFEARRAY** out) override {
    return ::GetScaledMuxData(this, c, h, f, n, r, out);
  }
  HRESULT STDMETHODCALLTYPE GetResampledMuxData(SAFEARRAY** c, LONG h, LONG f, LONG n, LONG r,
                                                SAFEARRAY** out) override {
    return ::GetResampledMuxData(this, c, h, f, n, r, out);
  }
  HRESULT STDMETHODCALLTYPE GetDisplayData(IChannelInfo* c, double s, double e, LONG n,
                                           SAFEARRAY** out) override {
    return ::GetDisplayData(this, c, s, e, n, out);
  }
  HRESULT STDMETHODCALLTYPE get_Recording(IRecording** v) override { return inner_->get_Recording(v); }
  HRESULT STDMETHODCALLTYPE get_Index(LONG* v) override { return inner_->get_Index(v); }

  // The largest ItemCount x Reduction of a recorded call, in samples.
  int64_t LargestRead() const;

 private:
  IChannelGroup* inner_;
};

}  // namespace mlr::api::test
