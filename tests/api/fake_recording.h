// A small fake recording for what the object model never produces: times
// that fail or stay void, and collections of any make. The test owns every
// object (no object deletes itself); the reference counts only record what
// callers took and gave back, so a test can check that nothing is left held.
// The reader's conversion-path test builds its storage provider on Object.
#pragma once

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

// A recording without channel groups whose times and collections a test sets.
class Recording final : public Object<IRecording, IID_IRecording> {
 public:
  void SetTimes(double start, double end) {
    start_ = start;
    end_ = end;
  }
  // StartTime and EndTime answer `status` (and no time) when it is a failure.
  void FailTimes(HRESULT status) { times_status_ = status; }
  // What Collection answers for every selector; E_NOTIMPL until set.
  void SetCollection(IUnknown* collection) {
    collection_ = collection;
    has_collection_ = true;
  }

  FAKE_NOTIMPL(get_Title(BSTR*))
  FAKE_NOTIMPL(put_Title(BSTR))
  FAKE_NOTIMPL(get_Parent(IDispatch**))
  FAKE_NOTIMPL(get_Location(BSTR*))
  FAKE_NOTIMPL(get_Extension(BSTR*))
  HRESULT STDMETHODCALLTYPE get_ChannelGroups(IChannelGroups** out) override {
    return Give<IChannelGroups>(nullptr, out);
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
  double start_ = 0.0, end_ = 0.0;
  HRESULT times_status_ = S_OK;
  IUnknown* collection_ = nullptr;
  bool has_collection_ = false;
};

#undef FAKE_NOTIMPL

}  // namespace fake
