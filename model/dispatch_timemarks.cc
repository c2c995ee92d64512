// IDispatch tables of the time marks: voice marks, triggers, markers and bookmarks with their collections
// (see model/dispatch_tables.h). Each line is checked when compiled: the
// parameter specs must fit the C++ member's signature.
#include "model/dispatch_tables.h"

namespace mlr::model {

constexpr mlr::dispatch::Member kTimemarkMembers[] = {
    MLR_DISP_PROPGET(ITimemark, get_Time, "Time", 0, Retval),
    MLR_DISP_PROPGET(ITimemark, get_Index, "Index", 1, Retval),
};
const mlr::dispatch::Table DispatchTableOf<ITimemark>::kTable =
    MLR_DISP_TABLE(ITimemark, kTimemarkMembers);

constexpr mlr::dispatch::Member kTimemarksMembers[] = {
    MLR_DISP_PROPGET(ITimemarks, get_Item, "Item", 0, In, Retval),
    MLR_DISP_PROPGET(ITimemarks, get_Parent, "Parent", 1, Retval),
    MLR_DISP_PROPGET(ITimemarks, get_Count, "Count", 2, Retval),
    MLR_DISP_METHOD(ITimemarks, GetIndicesFromTime, "GetIndicesFromTime", 3, In, In, Out, Out),
    MLR_DISP_PROPGET(ITimemarks, get__NewEnum, "_NewEnum", DISPID_NEWENUM, Retval),
};
const mlr::dispatch::Table DispatchTableOf<ITimemarks>::kTable =
    MLR_DISP_TABLE(ITimemarks, kTimemarksMembers);

constexpr mlr::dispatch::Member kVoiceMarkMembers[] = {
    MLR_DISP_PROPGET(IVoiceMark, get_Time, "Time", 0, Retval),
    MLR_DISP_PROPGET(IVoiceMark, get_Index, "Index", 1, Retval),
    MLR_DISP_PROPGET(IVoiceMark, get_Parent, "Parent", 2, Retval),
    MLR_DISP_PROPGET(IVoiceMark, get_Length, "Length", 3, Retval),
    MLR_DISP_PROPGET(IVoiceMark, get_Channels, "Channels", 4, Retval),
    MLR_DISP_PROPGET(IVoiceMark, get_SamplesPerSec, "SamplesPerSec", 5, Retval),
    MLR_DISP_PROPGET(IVoiceMark, get_BitsPerSample, "BitsPerSample", 6, Retval),
    MLR_DISP_METHOD(IVoiceMark, Remove, "Remove", 7),
    MLR_DISP_METHOD(IVoiceMark, Append, "Append", 8, In),
    MLR_DISP_METHOD(IVoiceMark, GetData, "GetData", 9, In, In, Out),
};
const mlr::dispatch::Table DispatchTableOf<IVoiceMark>::kTable =
    MLR_DISP_TABLE(IVoiceMark, kVoiceMarkMembers);

constexpr mlr::dispatch::Member kVoiceMarksMembers[] = {
    MLR_DISP_PROPGET(IVoiceMarks, get_Item, "Item", 0, In, Retval),
    MLR_DISP_PROPGET(IVoiceMarks, get_Parent, "Parent", 1, Retval),
    MLR_DISP_PROPGET(IVoiceMarks, get_Count, "Count", 2, Retval),
    MLR_DISP_METHOD(IVoiceMarks, GetIndicesFromTime, "GetIndicesFromTime", 3, In, In, Out, Out),
    MLR_DISP_PROPGET(IVoiceMarks, get__NewEnum, "_NewEnum", DISPID_NEWENUM, Retval),
    MLR_DISP_METHOD(IVoiceMarks, Add, "Add", 4, In, In, In, In, Out),
};
const mlr::dispatch::Table DispatchTableOf<IVoiceMarks>::kTable =
    MLR_DISP_TABLE(IVoiceMarks, kVoiceMarksMembers);

constexpr mlr::dispatch::Member kTriggerInfoMembers[] = {
    MLR_DISP_PROPGET(ITriggerInfo, get_Time, "Time", 0, Retval),
    MLR_DISP_PROPGET(ITriggerInfo, get_Index, "Index", 1, Retval),
    MLR_DISP_PROPGET(ITriggerInfo, get_Parent, "Parent", 2, Retval),
    MLR_DISP_PROPGET(ITriggerInfo, get_Source, "Source", 3, Retval),
    MLR_DISP_PROPGET(ITriggerInfo, get_Name, "Name", 4, Retval),
    MLR_DISP_PROPGET(ITriggerInfo, get_ChannelInfo, "ChannelInfo", 5, Retval),
};
const mlr::dispatch::Table DispatchTableOf<ITriggerInfo>::kTable =
    MLR_DISP_TABLE(ITriggerInfo, kTriggerInfoMembers);

constexpr mlr::dispatch::Member kTriggerInfosMembers[] = {
    MLR_DISP_PROPGET(ITriggerInfos, get_Item, "Item", 0, In, Retval),
    MLR_DISP_PROPGET(ITriggerInfos, get_Parent, "Parent", 1, Retval),
    MLR_DISP_PROPGET(ITriggerInfos, get_Count, "Count", 2, Retval),
    MLR_DISP_METHOD(ITriggerInfos, GetIndicesFromTime, "GetIndicesFromTime", 3, In, In, Out, Out),
    MLR_DISP_PROPGET(ITriggerInfos, get__NewEnum, "_NewEnum", DISPID_NEWENUM, Retval),
};
const mlr::dispatch::Table DispatchTableOf<ITriggerInfos>::kTable =
    MLR_DISP_TABLE(ITriggerInfos, kTriggerInfosMembers);

constexpr mlr::dispatch::Member kMarkerMembers[] = {
    MLR_DISP_PROPGET(IMarker, get_Time, "Time", 0, Retval),
    MLR_DISP_PROPGET(IMarker, get_Index, "Index", 1, Retval),
    MLR_DISP_PROPGET(IMarker, get_Parent, "Parent", 2, Retval),
};
const mlr::dispatch::Table DispatchTableOf<IMarker>::kTable =
    MLR_DISP_TABLE(IMarker, kMarkerMembers);

constexpr mlr::dispatch::Member kMarkersMembers[] = {
    MLR_DISP_PROPGET(IMarkers, get_Item, "Item", 0, In, Retval),
    MLR_DISP_PROPGET(IMarkers, get_Parent, "Parent", 1, Retval),
    MLR_DISP_PROPGET(IMarkers, get_Count, "Count", 2, Retval),
    MLR_DISP_METHOD(IMarkers, GetIndicesFromTime, "GetIndicesFromTime", 3, In, In, Out, Out),
    MLR_DISP_PROPGET(IMarkers, get__NewEnum, "_NewEnum", DISPID_NEWENUM, Retval),
    MLR_DISP_METHOD(IMarkers, Add, "Add", 4, In),
};
const mlr::dispatch::Table DispatchTableOf<IMarkers>::kTable =
    MLR_DISP_TABLE(IMarkers, kMarkersMembers);

constexpr mlr::dispatch::Member kBookmarkMembers[] = {
    MLR_DISP_PROPGET(IBookmark, get_Name, "Name", 0, Retval),
    MLR_DISP_PROPGET(IBookmark, get_Parent, "Parent", 1, Retval),
    MLR_DISP_PROPGET(IBookmark, get_Time, "Time", 2, Retval),
    MLR_DISP_METHOD(IBookmark, Remove, "Remove", 4),
};
const mlr::dispatch::Table DispatchTableOf<IBookmark>::kTable =
    MLR_DISP_TABLE(IBookmark, kBookmarkMembers);

constexpr mlr::dispatch::Member kBookmarksMembers[] = {
    MLR_DISP_PROPGET(IBookmarks, get_Item, "Item", 0, In, Retval),
    MLR_DISP_PROPGET(IBookmarks, get_Parent, "Parent", 1, Retval),
    MLR_DISP_PROPGET(IBookmarks, get_Count, "Count", 2, Retval),
    MLR_DISP_METHOD(IBookmarks, Add, "Add", 3, In, In, Out),
    MLR_DISP_PROPGET(IBookmarks, get__NewEnum, "_NewEnum", DISPID_NEWENUM, Retval),
};
const mlr::dispatch::Table DispatchTableOf<IBookmarks>::kTable =
    MLR_DISP_TABLE(IBookmarks, kBookmarksMembers);

}  // namespace mlr::model
