// The generic recording object model, in one include, and the contract for
// recording sources (the file reader, the saver's recording, the in-memory
// recording).
//
// Classes (one header per interface family):
//   recording_impl.h          CURIRecordingImpl          IRecording (root)
//   channel_groups_impl.h     CURIChannelGroupsImpl      IChannelGroups
//   channel_group_impl.h      CURIChannelGroupImpl       IChannelGroup
//   channel_infos_impl.h      CURIChannelInfosImpl       IChannelInfos
//   channel_info_impl.h       CURIChannelInfoImpl        IChannelInfo
//   hnorm_impl.h              CURIHNormsImpl/CURIHNormImpl  IHNorms/IHNorm
//   vnorm_impl.h              CURIVNormsImpl/CURIVNormImpl  IVNorms/IVNorm
//   trigger_infos_impl.h      CURITriggerInfosImpl/CURITriggerInfoImpl
//   markers_impl.h            CURIMarkersImpl/CURIMarkerImpl
//   bookmarks_impl.h          CURIBookmarksImpl/CURIBookmarkImpl
//   physical_channels_impl.h  CURIPhysicalChannelsImpl/CURIPhysicalChannelImpl
//   display_pages_impl.h      CURIDisplayPagesImpl/CURIDisplayPageImpl
//   com_enum.h                CURIComEnum, CURIComEnumVariant,
//                             CURIComEnumCollectionImpl (IEnumVARIANT)
//   error_info_support.h      URI_ISupportErrorInfoImpl
//   memory_recording.h        mlr::model::CreateMemoryRecording
//
// Every class answers IUnknown, IDispatch (through the interface's dispatch
// table, model/dispatch_tables.h) and its interface; the recording tree's
// classes also answer ISupportErrorInfo for their own interface. Bookmarks
// answer ITimemarks / ITimemark as a second interface with its own IDispatch.
//
// Writing a source
// ----------------
// 1. Derive the recording from CURIRecordingImpl, the group from
//    CURIChannelGroupImpl and the channel from CURIChannelInfoImpl. Create
//    them with `new`; a group is made with the recording as owner, a channel
//    with its group as owner. Constructors throw std::bad_alloc (catch it at
//    your own boundary); nothing else throws.
// 2. Fill through the protected operations:
//      recording: SetStrings, SetStartTimeFromLocal / SetStartTimeFromUTC,
//                 AddChannelGroup, AddTrigger, AddBookmark, AddMarker,
//                 SetPhysicalChannels (a CURIPhysicalChannelsImpl made with
//                 the recording as owner and filled with its Add);
//      group:     AddChannelInfo, AddHNorm (ascending time order);
//      channel:   SetName (0 the name, 1..16 bit names), SetYUnits,
//                 SetEventChannel, AddVNorm (ascending time order).
//    Handing an object to Add... passes its ownership, also on failure (the
//    object is then deleted and E_OUTOFMEMORY returned); keep only a plain
//    pointer to it afterwards, valid as long as the recording lives.
// 3. Override what the generic classes cannot know, and call the base member
//    after a lazy load:
//      recording: get_ChannelGroups, get_TotalSize, get_TimePerDivisionHint,
//                 get_Comment/put_Comment, get_Collection (voice marks,
//                 display pages: the base answers null for them);
//      group:     get_HNorms, get_ChannelInfos, GetBestReductionFactor,
//                 GetMuxData (MapChannelIndices maps the requested channels
//                 to indices; CallGetReducedMuxData hands other reductions
//                 to the data functions);
//      channel:   get_VNorms (and the name-dependent getters when loading
//                 lazily).
//    The base classes call their own members through the interface (for
//    example a group's StartTime calls get_HNorms), so an override that loads
//    first is seen everywhere.
// 4. Hand the recording out with QueryInterface(IID_IRecording) and drop the
//    creation reference; a new recording's count starts at 0.
//
// Lifetime: children forward AddRef/Release to their owner, so any held part
// keeps the whole tree; the recording deletes itself at zero and its
// destructor deletes every child (plain deletion). Derived destructors run
// first: release what the source holds (storages, streams) there.
// Nothing in the tree may hold a counted reference to another part of the
// same tree (that would keep it alive forever); the trigger's channel is a
// plain pointer for that reason.
//
// Threading: the classes are free-threaded; counts are atomic. The generic
// classes do not lock: lazy collections are made without a lock, racing
// first uses agreeing on one object by compare-and-swap. The fill operations
// are not synchronised with readers (the model is read-only after loading).
// Sources lock their own lazy loads.
#pragma once

#include "model/bookmarks_impl.h"
#include "model/channel_group_impl.h"
#include "model/channel_groups_impl.h"
#include "model/channel_info_impl.h"
#include "model/channel_infos_impl.h"
#include "model/com_enum.h"
#include "model/display_pages_impl.h"
#include "model/error_info_support.h"
#include "model/hnorm_impl.h"
#include "model/markers_impl.h"
#include "model/memory_recording.h"
#include "model/physical_channels_impl.h"
#include "model/recording_impl.h"
#include "model/trigger_infos_impl.h"
#include "model/vnorm_impl.h"
