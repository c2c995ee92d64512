// Triggers: CURITriggerInfosImpl (`ITriggerInfos`, an `ITimemarks`) and its
// item objects CURITriggerInfoImpl (`ITriggerInfo`, an `ITimemark`).
//
// The collection keeps one record per trigger (time, source, name, source
// channel) in ascending time order (model/time_ordered_array.h); the
// recording adds them through its protected AddTrigger. It is owned by the
// recording (made on first use) and forwards its reference counts to it.
//
// Item objects are made anew on each Item call (two calls give two distinct
// objects), hold a snapshot of their record, count their own references and
// delete themselves at zero; every AddRef/Release is also passed on to the
// collection, so a held item keeps the recording alive.
//
// ITriggerInfos: Item(Index) - 1-based, a new item as IUnknown (an
//   ITriggerInfo pointer); out of range S_OK with null. Parent - the
//   recording as IRecording. Count. GetIndicesFromTime(Start, End, First,
//   Last) - the 1-based range of the triggers in [Start, End], (-1, -1) when
//   none; null First or Last give E_POINTER. _NewEnum - a snapshot made
//   through Count and Item.
// ITriggerInfo: Time, Index, Source (kalTriggerSource), Name (copy), Parent
//   (the collection as ITriggerInfos), ChannelInfo (null with S_OK when no
//   channel is attached, else the channel as IChannelInfo, S_OK whatever the
//   query answered).
//
// The source channel is a plain, non-counting pointer (a counted one would
// keep the recording alive from inside); it must belong to the recording.
#pragma once

#include "LegacyRecording.h"
#include "model/bstr_value.h"
#include "model/dispatch_tables.h"
#include "model/error_info_support.h"
#include "model/live_objects.h"
#include "model/owned_ref_count.h"
#include "model/time_ordered_array.h"
#include "platform/win.h"

class CURIRecordingImpl;
class CURITriggerInfosImpl;

namespace mlr::model {
struct TriggerRecord {
  double time = 0.0;
  LONG source = 0;
  BstrValue name;
  IChannelInfo* channel = nullptr;  // not counted
};
}  // namespace mlr::model

class CURITriggerInfoImpl : public mlr::model::DispatchImplFor<ITriggerInfo>,
                            public URI_ISupportErrorInfoImpl<&IID_ITriggerInfo> {
 public:
  CURITriggerInfoImpl(CURITriggerInfosImpl* owner, LONG index, const mlr::model::TriggerRecord& record);
  virtual ~CURITriggerInfoImpl() = default;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  HRESULT STDMETHODCALLTYPE get_Time(double* pVal) override;
  HRESULT STDMETHODCALLTYPE get_Index(LONG* pVal) override;
  HRESULT STDMETHODCALLTYPE get_Parent(ITriggerInfos** pVal) override;
  HRESULT STDMETHODCALLTYPE get_Source(kalTriggerSource* pVal) override;
  HRESULT STDMETHODCALLTYPE get_Name(BSTR* pVal) override;
  HRESULT STDMETHODCALLTYPE get_ChannelInfo(IChannelInfo** pVal) override;

 private:
  mlr::model::LiveObjectToken live_;
  mlr::model::ItemRefCount<CURITriggerInfosImpl> refs_;
  LONG index_;
  mlr::model::TriggerRecord record_;
};

class CURITriggerInfosImpl : public mlr::model::DispatchImplFor<ITriggerInfos>,
                             public URI_ISupportErrorInfoImpl<&IID_ITriggerInfos> {
 public:
  explicit CURITriggerInfosImpl(CURIRecordingImpl* owner);
  virtual ~CURITriggerInfosImpl() = default;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;

  HRESULT STDMETHODCALLTYPE get_Item(LONG Index, IUnknown** pVal) override;
  HRESULT STDMETHODCALLTYPE get_Parent(IRecording** pVal) override;
  HRESULT STDMETHODCALLTYPE get_Count(LONG* pVal) override;
  HRESULT STDMETHODCALLTYPE GetIndicesFromTime(double StartTime, double EndTime, LONG* First,
                                               LONG* Last) override;
  HRESULT STDMETHODCALLTYPE get__NewEnum(IUnknown** pVal) override;

  // Ordered insertion of a trigger; false when it could not be stored.
  bool Add(double time, LONG source, const OLECHAR* name, IChannelInfo* channel);

 private:
  mlr::model::LiveObjectToken live_;
  mlr::model::ChildRefCount<CURIRecordingImpl> refs_;
  mlr::model::TimeOrderedArray<mlr::model::TriggerRecord> records_;
};
