// CChannelResampler: the creatable class `ChannelResampler`
// (CLSID_ChannelResampler, `IChannelResampler`). A client steps through a
// time segment of a recording and receives any set of channels, from any
// channel groups at any rates, resampled onto one time grid, in buffers:
//
//   put_StartTime(s); put_EndTime(e); put_XStep(x);  // required
//   put_InvalidSampleValue(v); put_Flags(f);          // optional
//   Start(&channels);                                  // IChannelInfo array
//   while (GetNextMuxDataBuffer(&n, &analog, &events) succeeds and n > 0) ...
//
// The run has trunc((e - s) / x + 0.5) + 1 items (none when that is below
// 1), at times s + k * x. Each buffer holds at most 8192 items: AnalogData
// (VT_R4) holds the analog channels, EventData (VT_I2) the event channels,
// each kind numbered separately in the order of their groups' first
// appearance in the array given to Start and, within a group, in the order
// given; one dimension (items, lower bound 1) for a single channel, else
// (channels, items), both lower bounds 1, channel fastest; null when there is
// no channel of that kind. GetNextDataBuffers gives the same items as one
// VT_R4 or VT_I2 vector (lower bound 1) per channel, in the order given to
// Start, inside a VARIANT vector (lower bound 1). How each group is
// resampled: group_interpolator.h; how its frames are read and which input
// values are invalid: group_reader.h.
//
// A buffer call runs the groups on worker threads, at most four at a time,
// and pauses 50 ms after each batch of four; the pause is deliberate (it
// leaves the machine to the acquisition and display) and is kept. A group
// whose data end early fills the rest of the buffer with zeros; the buffer
// is as long as the longest group delivered.
//
// Choices made here:
// - Flags is stored and returned as given; no value changes the behaviour
//   (RRF_None is the only one defined).
// - InvalidSampleValue (default: the void number) is written, as a float,
//   for analog samples that cannot be given; the void number becomes a NaN.
// - Start refuses, with E_INVALIDARG and no run started: a StartTime or
//   EndTime that is not set (still the void number) or not finite, an XStep
//   that is 0 or below or not finite, a null or empty channel array or one
//   that is not one-dimensional, an element that is not a channel info (or
//   whose group cannot be found), and more than 1000 groups. An EndTime
//   before StartTime is accepted and gives the items the count above says.
// - A buffer call before a successful Start returns E_UNEXPECTED with 0
//   items. A buffer call that delivers no item returns S_OK, 0 items and null
//   arrays.
//
// Identity: the object supports aggregation; the outer object then controls
// its lifetime and interfaces. Out pointers are checked first (E_POINTER)
// and are null or 0 on failure. Threading: free-threaded class, but one
// object is called by one client thread at a time; several objects may run
// on one recording at once from different threads.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "LegacyRecording.h"
#include "model/dispatch_tables.h"
#include "model/live_objects.h"
#include "platform/ref_count.h"
#include "platform/win.h"
#include "resampler/group_resampler.h"

class CChannelResampler final : public mlr::model::DispatchImplFor<IChannelResampler> {
 public:
  // What runs after each batch of worker threads, given 50 (ms): Sleep in
  // every object made through the class object (also when null is given);
  // tests and benchmarks may give another.
  using PauseFunction = void (*)(DWORD milliseconds);

  static constexpr int32_t kBufferItems = 8192;
  static constexpr size_t kMaxGroups = 1000;
  static constexpr DWORD kBatchPauseMs = 50;

  // IClassFactory::CreateInstance rules: aggregation when `outer` is set
  // (riid must then be IID_IUnknown, else CLASS_E_NOAGGREGATION).
  static HRESULT CreateInstance(IUnknown* outer, REFIID riid, void** ppv,
                                PauseFunction pause = nullptr);

  // IUnknown, delegating to the controlling unknown.
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  HRESULT STDMETHODCALLTYPE get_StartTime(double* pVal) override;
  HRESULT STDMETHODCALLTYPE put_StartTime(double newVal) override;
  HRESULT STDMETHODCALLTYPE get_EndTime(double* pVal) override;
  HRESULT STDMETHODCALLTYPE put_EndTime(double newVal) override;
  HRESULT STDMETHODCALLTYPE Start(SAFEARRAY** Channels) override;
  HRESULT STDMETHODCALLTYPE get_XStep(double* pVal) override;
  HRESULT STDMETHODCALLTYPE put_XStep(double newVal) override;
  HRESULT STDMETHODCALLTYPE GetNextMuxDataBuffer(LONG* lItemCount, SAFEARRAY** AnalogData,
                                                 SAFEARRAY** EventData) override;
  HRESULT STDMETHODCALLTYPE GetNextDataBuffers(LONG* lItemCount, SAFEARRAY** Result) override;
  HRESULT STDMETHODCALLTYPE get_InvalidSampleValue(double* pVal) override;
  HRESULT STDMETHODCALLTYPE put_InvalidSampleValue(double newVal) override;
  HRESULT STDMETHODCALLTYPE get_Flags(kalRecordingResamplerFlags* pVal) override;
  HRESULT STDMETHODCALLTYPE put_Flags(kalRecordingResamplerFlags newVal) override;

 private:
  // The non-delegating IUnknown: the object's own identity and count.
  struct Inner final : IUnknown {
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;
    CChannelResampler* self = nullptr;
  };

  struct ChannelColumn {
    bool event = false;
    size_t group = 0;     // index into groups_
    int32_t local = 0;    // column among the group's analog or event channels
    int32_t column = 0;   // column among all analog or all event channels
  };

  CChannelResampler(IUnknown* outer, PauseFunction pause);
  ~CChannelResampler();

  void Reset();
  HRESULT StartChannels(SAFEARRAY* channels);
  HRESULT FillBuffers(int32_t n, float* analog, int16_t* events, int32_t* produced);

  Inner inner_;
  IUnknown* outer_;  // the aggregating object, or &inner_
  mlr::RefCount refs_{0};
  PauseFunction pause_;
  mlr::model::LiveObjectToken live_;

  double start_time_;
  double end_time_;
  double x_step_;
  double invalid_value_;
  kalRecordingResamplerFlags flags_ = RRF_None;

  bool started_ = false;
  std::vector<std::unique_ptr<mlr::resampler::CGroupResampler>> groups_;
  std::vector<ChannelColumn> columns_;  // one per channel given to Start
  int32_t analog_total_ = 0;
  int32_t event_total_ = 0;
  int64_t total_items_ = 0;
  int64_t position_ = 0;
};

namespace mlr::resampler {

// The class's creation routine (IClassFactory::CreateInstance semantics,
// aggregation supported), for class tables that take a function.
HRESULT CreateChannelResamplerInstance(IUnknown* outer, REFIID riid, void** ppv);

}  // namespace mlr::resampler
