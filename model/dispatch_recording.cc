// IDispatch tables of the recording, its channel groups and channel infos
// (see model/dispatch_tables.h). Each line is checked when compiled: the
// parameter specs must fit the C++ member's signature.
#include "model/dispatch_tables.h"

namespace mlr::model {

constexpr mlr::dispatch::Member kRecordingMembers[] = {
    MLR_DISP_PROPGET(IRecording, get_Title, "Title", 0, Retval),
    MLR_DISP_PROPPUT(IRecording, put_Title, "Title", 0, In),
    MLR_DISP_PROPGET(IRecording, get_Parent, "Parent", 1, Retval),
    MLR_DISP_PROPGET(IRecording, get_Location, "Location", 2, Retval),
    MLR_DISP_PROPGET(IRecording, get_Extension, "Extension", 3, Retval),
    MLR_DISP_PROPGET(IRecording, get_ChannelGroups, "ChannelGroups", 4, Retval),
    MLR_DISP_PROPGET(IRecording, get_WriteProtect, "WriteProtect", 5, RetBool),
    MLR_DISP_PROPPUT(IRecording, put_WriteProtect, "WriteProtect", 5, InBool),
    MLR_DISP_PROPGET(IRecording, get_TotalSize, "TotalSize", 6, Retval),
    MLR_DISP_PROPGET(IRecording, get_XUnits, "XUnits", 7, Retval),
    MLR_DISP_PROPGET(IRecording, get_UTCYear, "UTCYear", 8, Retval),
    MLR_DISP_PROPPUT(IRecording, put_UTCYear, "UTCYear", 8, In),
    MLR_DISP_PROPGET(IRecording, get_UTCYearDay, "UTCYearDay", 9, Retval),
    MLR_DISP_PROPPUT(IRecording, put_UTCYearDay, "UTCYearDay", 9, In),
    MLR_DISP_PROPGET(IRecording, get_UTCTimeOfDay, "UTCTimeOfDay", 10, Retval),
    MLR_DISP_PROPPUT(IRecording, put_UTCTimeOfDay, "UTCTimeOfDay", 10, In),
    MLR_DISP_PROPGET(IRecording, get_Acquiring, "Acquiring", 11, RetBool),
    MLR_DISP_PROPGET(IRecording, get_CanBeReviewed, "CanBeReviewed", 12, RetBool),
    MLR_DISP_PROPGET(IRecording, get_StartTime, "StartTime", 13, Retval),
    MLR_DISP_PROPGET(IRecording, get_EndTime, "EndTime", 14, Retval),
    MLR_DISP_PROPGET(IRecording, get_Duration, "Duration", 15, Retval),
    MLR_DISP_PROPGET(IRecording, get_TimePerDivisionHint, "TimePerDivisionHint", 16, Retval),
    MLR_DISP_PROPGET(IRecording, get_UTCDate, "UTCDate", 17, RetDate),
    MLR_DISP_PROPGET(IRecording, get_LocalDate, "LocalDate", 18, RetDate),
    MLR_DISP_PROPGET(IRecording, get_Comment, "Comment", 19, Retval),
    MLR_DISP_PROPPUT(IRecording, put_Comment, "Comment", 19, In),
    MLR_DISP_PROPGET(IRecording, get_Collection, "Collection", 20, In, Retval),
    MLR_DISP_METHOD(IRecording, Remove, "Remove", 21),
};
const mlr::dispatch::Table DispatchTableOf<IRecording>::kTable =
    MLR_DISP_TABLE(IRecording, kRecordingMembers);

constexpr mlr::dispatch::Member kChannelGroupsMembers[] = {
    MLR_DISP_PROPGET(IChannelGroups, get_Item, "Item", 0, In, Retval),
    MLR_DISP_PROPGET(IChannelGroups, get_Parent, "Parent", 1, Retval),
    MLR_DISP_PROPGET(IChannelGroups, get_Count, "Count", 2, Retval),
    MLR_DISP_PROPGET(IChannelGroups, get__NewEnum, "_NewEnum", DISPID_NEWENUM, Retval),
};
const mlr::dispatch::Table DispatchTableOf<IChannelGroups>::kTable =
    MLR_DISP_TABLE(IChannelGroups, kChannelGroupsMembers);

constexpr mlr::dispatch::Member kChannelGroupMembers[] = {
    MLR_DISP_PROPGET(IChannelGroup, get_Parent, "Parent", 1, Retval),
    MLR_DISP_PROPGET(IChannelGroup, get_HNorms, "HNorms", 2, Retval),
    MLR_DISP_PROPGET(IChannelGroup, get_ChannelInfos, "ChannelInfos", 3, Retval),
    MLR_DISP_METHOD(IChannelGroup, GetBestReductionFactor, "GetBestReductionFactor", 4, In, InOut),
    MLR_DISP_PROPGET(IChannelGroup, get_StartTime, "StartTime", 5, Retval),
    MLR_DISP_PROPGET(IChannelGroup, get_EndTime, "EndTime", 6, Retval),
    MLR_DISP_PROPGET(IChannelGroup, get_Duration, "Duration", 7, Retval),
    MLR_DISP_METHOD(IChannelGroup, GetMuxData, "GetMuxData", 8,
        In.As(VT_ARRAY | VT_DISPATCH), In, In, In, In, Out.As(VT_ARRAY | VT_I2)),
    MLR_DISP_METHOD(IChannelGroup, GetScaledMuxData, "GetScaledMuxData", 9,
        In.As(VT_ARRAY | VT_DISPATCH), In, In, In, In, Out.As(VT_ARRAY | VT_R8)),
    MLR_DISP_METHOD(IChannelGroup, GetResampledMuxData, "GetResampledMuxData", 10,
        In.As(VT_ARRAY | VT_DISPATCH), In, In, In, In, Out.As(VT_ARRAY | VT_I2)),
    MLR_DISP_METHOD(IChannelGroup, GetDisplayData, "GetDisplayData", 11,
        In, In, In, In, Out.As(VT_ARRAY | VT_R4)),
    MLR_DISP_PROPGET(IChannelGroup, get_Recording, "Recording", 12, Retval),
    MLR_DISP_PROPGET(IChannelGroup, get_Index, "Index", 13, Retval),
};
const mlr::dispatch::Table DispatchTableOf<IChannelGroup>::kTable =
    MLR_DISP_TABLE(IChannelGroup, kChannelGroupMembers);

constexpr mlr::dispatch::Member kChannelInfosMembers[] = {
    MLR_DISP_PROPGET(IChannelInfos, get_Item, "Item", 0, In, Retval),
    MLR_DISP_PROPGET(IChannelInfos, get_Parent, "Parent", 1, Retval),
    MLR_DISP_PROPGET(IChannelInfos, get_Count, "Count", 2, Retval),
    MLR_DISP_PROPGET(IChannelInfos, get__NewEnum, "_NewEnum", DISPID_NEWENUM, Retval),
};
const mlr::dispatch::Table DispatchTableOf<IChannelInfos>::kTable =
    MLR_DISP_TABLE(IChannelInfos, kChannelInfosMembers);

constexpr mlr::dispatch::Member kChannelInfoMembers[] = {
    MLR_DISP_PROPGET(IChannelInfo, get_Name, "Name", 0, Opt(0), Retval),
    MLR_DISP_PROPGET(IChannelInfo, get_Parent, "Parent", 1, Retval),
    MLR_DISP_PROPGET(IChannelInfo, get_EventChannel, "EventChannel", 2, RetBool),
    MLR_DISP_PROPGET(IChannelInfo, get_SystemEventMask, "SystemEventMask", 3, In, Retval),
    MLR_DISP_PROPGET(IChannelInfo, get_VNorms, "VNorms", 4, Retval),
    MLR_DISP_PROPGET(IChannelInfo, get_YUnits, "YUnits", 5, Retval),
    MLR_DISP_METHOD(IChannelInfo, GetSampleAtTime, "GetSampleAtTime", 6, In, Out),
    MLR_DISP_METHOD(IChannelInfo, GetValueAtTime, "GetValueAtTime", 7, In, Out),
    MLR_DISP_PROPGET(IChannelInfo, get_ChannelGroup, "ChannelGroup", 8, Retval),
    MLR_DISP_PROPGET(IChannelInfo, get_Index, "Index", 9, Retval),
};
const mlr::dispatch::Table DispatchTableOf<IChannelInfo>::kTable =
    MLR_DISP_TABLE(IChannelInfo, kChannelInfoMembers);

}  // namespace mlr::model
