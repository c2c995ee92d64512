// A small fake recording for the data-function tests: groups, channels,
// vertical normset counts and horizontal normsets, answered through the
// interfaces. The test owns every object (no object deletes itself); the
// reference counts only record what callers took and gave back, so a test
// can check that nothing is left held.
#pragma once

#include <memory>
#include <vector>

#include "LegacyRecording.h"
#include "platform/win.h"

namespace fake {

// IUnknown and IDispatch for one interface; counts references.
template <class Interface, const IID& kIid>
class Object : public Interface {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override {
    if (!out) return E_POINTER;
    if (riid == IID_IUnknown || riid == IID_IDispatch || riid == kIid) {
      *out = static_cast<Interface*>(this);
      AddRef();
      return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
  ULONG STDMETHODCALLTYPE Release() override { return --refs_; }
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*,
                                   EXCEPINFO*, UINT*) override {
    return E_NOTIMPL;
  }

  // References taken by callers and not yet given back.
  long Outstanding() const { return refs_; }

 protected:
  // Hands out this object with a reference added.
  template <class T>
  HRESULT Give(T* object, T** out) {
    if (!out) return E_POINTER;
    *out = object;
    if (object) object->AddRef();
    return S_OK;
  }

 private:
  long refs_ = 0;
};

#define FAKE_NOTIMPL(signature) \
  HRESULT STDMETHODCALLTYPE signature override { return E_NOTIMPL; }

class HNorm final : public Object<IHNorm, IID_IHNorm> {
 public:
  HNorm(LONG index, double start, double step, LONG length)
      : index_(index), start_(start), step_(step), length_(length) {}
  double End() const { return start_ + step_ * (length_ - 1); }
  double Start() const { return start_; }

  HRESULT STDMETHODCALLTYPE get_StartTime(double* v) override { return *v = start_, S_OK; }
  FAKE_NOTIMPL(get_Parent(IHNorms**))
  HRESULT STDMETHODCALLTYPE get_Length(LONG* v) override { return *v = length_, S_OK; }
  HRESULT STDMETHODCALLTYPE get_Index(LONG* v) override { return *v = index_, S_OK; }
  HRESULT STDMETHODCALLTYPE get_XStep(double* v) override { return *v = step_, S_OK; }
  FAKE_NOTIMPL(get_Duration(double*))
  HRESULT STDMETHODCALLTYPE get_EndTime(double* v) override { return *v = End(), S_OK; }

 private:
  LONG index_;
  double start_, step_;
  LONG length_;
};

class HNorms final : public Object<IHNorms, IID_IHNorms> {
 public:
  HNorm* Add(double start, double step, LONG length) {
    items_.push_back(std::make_unique<HNorm>(static_cast<LONG>(items_.size() + 1), start, step,
                                             length));
    return items_.back().get();
  }
  const std::vector<std::unique_ptr<HNorm>>& Items() const { return items_; }

  HRESULT STDMETHODCALLTYPE get_Item(LONG index, IHNorm** out) override {
    const bool in_range = index >= 1 && index <= static_cast<LONG>(items_.size());
    return Give<IHNorm>(in_range ? items_[index - 1].get() : nullptr, out);
  }
  FAKE_NOTIMPL(get_Parent(IChannelGroup**))
  HRESULT STDMETHODCALLTYPE get_Count(LONG* v) override {
    return *v = static_cast<LONG>(items_.size()), S_OK;
  }
  // The first normset whose last sample is at or after t.
  HRESULT STDMETHODCALLTYPE GetFirstEndingAfter(double t, IHNorm** out) override {
    for (auto& item : items_) {
      if (item->End() >= t) return Give<IHNorm>(item.get(), out);
    }
    return Give<IHNorm>(nullptr, out);
  }
  // The last normset whose first sample is at or before t.
  HRESULT STDMETHODCALLTYPE GetLastStartingBefore(double t, IHNorm** out) override {
    for (auto it = items_.rbegin(); it != items_.rend(); ++it) {
      if ((*it)->Start() <= t) return Give<IHNorm>(it->get(), out);
    }
    return Give<IHNorm>(nullptr, out);
  }
  FAKE_NOTIMPL(get__NewEnum(IUnknown**))

 private:
  std::vector<std::unique_ptr<HNorm>> items_;
};

class VNorms final : public Object<IVNorms, IID_IVNorms> {
 public:
  explicit VNorms(LONG count) : count_(count) {}
  FAKE_NOTIMPL(get_Item(LONG, IVNorm**))
  FAKE_NOTIMPL(get_Parent(IChannelInfo**))
  HRESULT STDMETHODCALLTYPE get_Count(LONG* v) override { return *v = count_, S_OK; }
  FAKE_NOTIMPL(GetFromTime(double, IVNorm**))
  FAKE_NOTIMPL(get__NewEnum(IUnknown**))

 private:
  LONG count_;
};

class ChannelInfo final : public Object<IChannelInfo, IID_IChannelInfo> {
 public:
  explicit ChannelInfo(LONG vnorm_count) : vnorms_(vnorm_count) {}
  VNorms& VNormsObject() { return vnorms_; }

  FAKE_NOTIMPL(get_Name(VARIANT, BSTR*))
  FAKE_NOTIMPL(get_Parent(IChannelInfos**))
  FAKE_NOTIMPL(get_EventChannel(VARIANT_BOOL*))
  FAKE_NOTIMPL(get_SystemEventMask(kalSystemEvent, short*))
  HRESULT STDMETHODCALLTYPE get_VNorms(IVNorms** out) override { return Give<IVNorms>(&vnorms_, out); }
  FAKE_NOTIMPL(get_YUnits(BSTR*))
  FAKE_NOTIMPL(GetSampleAtTime(double, short*))
  FAKE_NOTIMPL(GetValueAtTime(double, double*))
  FAKE_NOTIMPL(get_ChannelGroup(IChannelGroup**))
  FAKE_NOTIMPL(get_Index(LONG*))

 private:
  VNorms vnorms_;
};

class ChannelInfos final : public Object<IChannelInfos, IID_IChannelInfos> {
 public:
  ChannelInfo* Add(LONG vnorm_count) {
    items_.push_back(std::make_unique<ChannelInfo>(vnorm_count));
    return items_.back().get();
  }
  const std::vector<std::unique_ptr<ChannelInfo>>& Items() const { return items_; }
  // A count larger than the items present: the extra indices answer null.
  void ClaimCount(LONG count) { claimed_ = count; }

  HRESULT STDMETHODCALLTYPE get_Item(LONG index, IChannelInfo** out) override {
    const bool in_range = index >= 1 && index <= static_cast<LONG>(items_.size());
    return Give<IChannelInfo>(in_range ? items_[index - 1].get() : nullptr, out);
  }
  FAKE_NOTIMPL(get_Parent(IChannelGroup**))
  HRESULT STDMETHODCALLTYPE get_Count(LONG* v) override {
    return *v = claimed_ >= 0 ? claimed_ : static_cast<LONG>(items_.size()), S_OK;
  }
  FAKE_NOTIMPL(get__NewEnum(IUnknown**))

 private:
  std::vector<std::unique_ptr<ChannelInfo>> items_;
  LONG claimed_ = -1;
};

class ChannelGroup final : public Object<IChannelGroup, IID_IChannelGroup> {
 public:
  ChannelInfos& Channels() { return infos_; }
  HNorms& Normsets() { return hnorms_; }
  void WithoutHNorms() { has_hnorms_ = false; }

  FAKE_NOTIMPL(get_Parent(IChannelGroups**))
  HRESULT STDMETHODCALLTYPE get_HNorms(IHNorms** out) override {
    return Give<IHNorms>(has_hnorms_ ? &hnorms_ : nullptr, out);
  }
  HRESULT STDMETHODCALLTYPE get_ChannelInfos(IChannelInfos** out) override {
    return Give<IChannelInfos>(&infos_, out);
  }
  FAKE_NOTIMPL(GetBestReductionFactor(LONG, LONG*))
  FAKE_NOTIMPL(get_StartTime(double*))
  FAKE_NOTIMPL(get_EndTime(double*))
  FAKE_NOTIMPL(get_Duration(double*))
  FAKE_NOTIMPL(GetMuxData(SAFEARRAY**, LONG, LONG, LONG, LONG, SAFEARRAY**))
  FAKE_NOTIMPL(GetScaledMuxData(SAFEARRAY**, LONG, LONG, LONG, LONG, SAFEARRAY**))
  FAKE_NOTIMPL(GetResampledMuxData(SAFEARRAY**, LONG, LONG, LONG, LONG, SAFEARRAY**))
  FAKE_NOTIMPL(GetDisplayData(IChannelInfo*, double, double, LONG, SAFEARRAY**))
  FAKE_NOTIMPL(get_Recording(IRecording**))
  FAKE_NOTIMPL(get_Index(LONG*))

 private:
  ChannelInfos infos_;
  HNorms hnorms_;
  bool has_hnorms_ = true;
};

class ChannelGroups final : public Object<IChannelGroups, IID_IChannelGroups> {
 public:
  ChannelGroup* Add() {
    items_.push_back(std::make_unique<ChannelGroup>());
    return items_.back().get();
  }
  const std::vector<std::unique_ptr<ChannelGroup>>& Items() const { return items_; }

  HRESULT STDMETHODCALLTYPE get_Item(LONG index, IChannelGroup** out) override {
    const bool in_range = index >= 1 && index <= static_cast<LONG>(items_.size());
    return Give<IChannelGroup>(in_range ? items_[index - 1].get() : nullptr, out);
  }
  FAKE_NOTIMPL(get_Parent(IRecording**))
  HRESULT STDMETHODCALLTYPE get_Count(LONG* v) override {
    return *v = static_cast<LONG>(items_.size()), S_OK;
  }
  FAKE_NOTIMPL(get__NewEnum(IUnknown**))

 private:
  std::vector<std::unique_ptr<ChannelGroup>> items_;
};

class Recording final : public Object<IRecording, IID_IRecording> {
 public:
  ChannelGroups& Groups() { return groups_; }
  void SetTimes(double start, double end) {
    start_ = start;
    end_ = end;
  }
  void WithoutGroups() { has_groups_ = false; }
  // StartTime and EndTime answer `status` (and no time) when it is a failure.
  void FailTimes(HRESULT status) { times_status_ = status; }
  // What Collection answers for every selector; E_NOTIMPL until set.
  void SetCollection(IUnknown* collection) {
    collection_ = collection;
    has_collection_ = true;
  }

  // Every object of the tree that was handed out and not released.
  long HeldReferences() {
    long held = Outstanding() + groups_.Outstanding();
    for (auto& group : groups_.Items()) {
      held += group->Outstanding() + group->Channels().Outstanding() +
              group->Normsets().Outstanding();
      for (auto& info : group->Channels().Items()) {
        held += info->Outstanding() + info->VNormsObject().Outstanding();
      }
      for (auto& hnorm : group->Normsets().Items()) held += hnorm->Outstanding();
    }
    return held;
  }

  FAKE_NOTIMPL(get_Title(BSTR*))
  FAKE_NOTIMPL(put_Title(BSTR))
  FAKE_NOTIMPL(get_Parent(IDispatch**))
  FAKE_NOTIMPL(get_Location(BSTR*))
  FAKE_NOTIMPL(get_Extension(BSTR*))
  HRESULT STDMETHODCALLTYPE get_ChannelGroups(IChannelGroups** out) override {
    return Give<IChannelGroups>(has_groups_ ? &groups_ : nullptr, out);
  }
  FAKE_NOTIMPL(get_WriteProtect(VARIANT_BOOL*))
  FAKE_NOTIMPL(put_WriteProtect(VARIANT_BOOL))
  FAKE_NOTIMPL(get_TotalSize(LONG*))
  FAKE_NOTIMPL(get_XUnits(BSTR*))
  FAKE_NOTIMPL(get_UTCYear(short*))
  FAKE_NOTIMPL(put_UTCYear(short))
  FAKE_NOTIMPL(get_UTCYearDay(short*))
  FAKE_NOTIMPL(put_UTCYearDay(short))
  FAKE_NOTIMPL(get_UTCTimeOfDay(double*))
  FAKE_NOTIMPL(put_UTCTimeOfDay(double))
  FAKE_NOTIMPL(get_Acquiring(VARIANT_BOOL*))
  FAKE_NOTIMPL(get_CanBeReviewed(VARIANT_BOOL*))
  HRESULT STDMETHODCALLTYPE get_StartTime(double* v) override {
    return FAILED(times_status_) ? times_status_ : (*v = start_, S_OK);
  }
  HRESULT STDMETHODCALLTYPE get_EndTime(double* v) override {
    return FAILED(times_status_) ? times_status_ : (*v = end_, S_OK);
  }
  FAKE_NOTIMPL(get_Duration(double*))
  FAKE_NOTIMPL(get_TimePerDivisionHint(double*))
  FAKE_NOTIMPL(get_UTCDate(DATE*))
  FAKE_NOTIMPL(get_LocalDate(DATE*))
  FAKE_NOTIMPL(get_Comment(BSTR*))
  FAKE_NOTIMPL(put_Comment(BSTR))
  HRESULT STDMETHODCALLTYPE get_Collection(kalRecordingCollection, IUnknown** out) override {
    if (!has_collection_) return E_NOTIMPL;
    *out = collection_;
    if (collection_) collection_->AddRef();
    return S_OK;
  }
  FAKE_NOTIMPL(Remove())

 private:
  ChannelGroups groups_;
  double start_ = 0.0, end_ = 0.0;
  bool has_groups_ = true;
  HRESULT times_status_ = S_OK;
  IUnknown* collection_ = nullptr;
  bool has_collection_ = false;
};

#undef FAKE_NOTIMPL

}  // namespace fake
