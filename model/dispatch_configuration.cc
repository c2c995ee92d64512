// IDispatch tables of the physical channels and display pages
// (see model/dispatch_tables.h). Each line is checked when compiled: the
// parameter specs must fit the C++ member's signature.
#include "model/dispatch_tables.h"

namespace mlr::model {

constexpr mlr::dispatch::Member kPhysicalChannelMembers[] = {
    MLR_DISP_PROPGET(IPhysicalChannel, get_Channel, "Channel", 0, Retval),
    MLR_DISP_PROPGET(IPhysicalChannel, get_Board, "Board", 1, Retval),
    MLR_DISP_PROPGET(IPhysicalChannel, get_Name, "Name", 2, Opt(0), Retval),
    MLR_DISP_PROPGET(IPhysicalChannel, get_Parent, "Parent", 3, Retval),
    MLR_DISP_PROPGET(IPhysicalChannel, get_StorageEnabled, "StorageEnabled", 4, RetBool),
    MLR_DISP_PROPGET(IPhysicalChannel, get_ChannelInfo, "ChannelInfo", 5, Retval),
};
const mlr::dispatch::Table DispatchTableOf<IPhysicalChannel>::kTable =
    MLR_DISP_TABLE(IPhysicalChannel, kPhysicalChannelMembers);

constexpr mlr::dispatch::Member kPhysicalChannelsMembers[] = {
    MLR_DISP_PROPGET(IPhysicalChannels, get_Item, "Item", 0, In, Retval),
    MLR_DISP_PROPGET(IPhysicalChannels, get_Parent, "Parent", 1, Retval),
    MLR_DISP_PROPGET(IPhysicalChannels, get_Count, "Count", 2, Retval),
    MLR_DISP_METHOD(IPhysicalChannels, FindChannelInfo, "FindChannelInfo", 3, In, In, Out),
    MLR_DISP_PROPGET(IPhysicalChannels, get__NewEnum, "_NewEnum", DISPID_NEWENUM, Retval),
};
const mlr::dispatch::Table DispatchTableOf<IPhysicalChannels>::kTable =
    MLR_DISP_TABLE(IPhysicalChannels, kPhysicalChannelsMembers);

constexpr mlr::dispatch::Member kDisplayPageMembers[] = {
    MLR_DISP_PROPGET(IDisplayPage, get_PageSetup, "PageSetup", 1, Retval),
    MLR_DISP_PROPGET(IDisplayPage, get_TraceAssignment, "TraceAssignment", 2, Retval),
};
const mlr::dispatch::Table DispatchTableOf<IDisplayPage>::kTable =
    MLR_DISP_TABLE(IDisplayPage, kDisplayPageMembers);

constexpr mlr::dispatch::Member kDisplayPagesMembers[] = {
    MLR_DISP_PROPGET(IDisplayPages, get_Item, "Item", 1, In, Retval),
    MLR_DISP_PROPGET(IDisplayPages, get_Count, "Count", 2, Retval),
};
const mlr::dispatch::Table DispatchTableOf<IDisplayPages>::kTable =
    MLR_DISP_TABLE(IDisplayPages, kDisplayPagesMembers);

}  // namespace mlr::model
