// The IDispatch tables of every interface of the LegacyRecording type
// library: one line per member, giving the member's automation name, dispatch
// identifier, kind and parameter directions as server/LegacyRecording.idl
// declares them (the catalogue tests hold the three against each other).
// A derived interface's table repeats its base interface's members first, so
// that late-bound clients reach every member by name.
//
// An object implements IDispatch for interface I by deriving from
//
//   mlr::DispatchImpl<I, &mlr::model::DispatchTableOf<I>::kTable>
//
// (platform/dispatch.h), or from mlr::model::DispatchImplFor<I> below, which
// names the same base.
//
// Tables are immutable, constant-initialised objects: usable from any thread
// and during static initialisation.
#pragma once

#include "LegacyRecording.h"
#include "platform/dispatch.h"

namespace mlr::model {

// Specialised for every interface of the type library; the tables are defined
// in model/dispatch_<family>.cc.
template <class I>
struct DispatchTableOf;

template <class I>
using DispatchImplFor = ::mlr::DispatchImpl<I, &DispatchTableOf<I>::kTable>;

#define MLR_MODEL_DISPATCH_TABLE_OF(I)      \
  template <>                               \
  struct DispatchTableOf<I> {               \
    static const ::mlr::dispatch::Table kTable; \
  };

// model/dispatch_recording.cc
MLR_MODEL_DISPATCH_TABLE_OF(IRecording)
MLR_MODEL_DISPATCH_TABLE_OF(IChannelGroups)
MLR_MODEL_DISPATCH_TABLE_OF(IChannelGroup)
MLR_MODEL_DISPATCH_TABLE_OF(IChannelInfos)
MLR_MODEL_DISPATCH_TABLE_OF(IChannelInfo)
// model/dispatch_normsets.cc
MLR_MODEL_DISPATCH_TABLE_OF(IHNorms)
MLR_MODEL_DISPATCH_TABLE_OF(IHNorm)
MLR_MODEL_DISPATCH_TABLE_OF(IVNorms)
MLR_MODEL_DISPATCH_TABLE_OF(IVNorm)
// model/dispatch_timemarks.cc
MLR_MODEL_DISPATCH_TABLE_OF(ITimemark)
MLR_MODEL_DISPATCH_TABLE_OF(ITimemarks)
MLR_MODEL_DISPATCH_TABLE_OF(IVoiceMark)
MLR_MODEL_DISPATCH_TABLE_OF(IVoiceMarks)
MLR_MODEL_DISPATCH_TABLE_OF(ITriggerInfo)
MLR_MODEL_DISPATCH_TABLE_OF(ITriggerInfos)
MLR_MODEL_DISPATCH_TABLE_OF(IMarker)
MLR_MODEL_DISPATCH_TABLE_OF(IMarkers)
MLR_MODEL_DISPATCH_TABLE_OF(IBookmark)
MLR_MODEL_DISPATCH_TABLE_OF(IBookmarks)
// model/dispatch_configuration.cc
MLR_MODEL_DISPATCH_TABLE_OF(IPhysicalChannel)
MLR_MODEL_DISPATCH_TABLE_OF(IPhysicalChannels)
MLR_MODEL_DISPATCH_TABLE_OF(IDisplayPage)
MLR_MODEL_DISPATCH_TABLE_OF(IDisplayPages)
// model/dispatch_services.cc
MLR_MODEL_DISPATCH_TABLE_OF(IKrfLoader)
MLR_MODEL_DISPATCH_TABLE_OF(ISaveRecordingProgress)
MLR_MODEL_DISPATCH_TABLE_OF(IRecordingProgress)
MLR_MODEL_DISPATCH_TABLE_OF(IChannelResampler)
MLR_MODEL_DISPATCH_TABLE_OF(IRecordings)

#undef MLR_MODEL_DISPATCH_TABLE_OF

}  // namespace mlr::model
