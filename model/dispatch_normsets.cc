// IDispatch tables of the horizontal and vertical normsets and their collections
// (see model/dispatch_tables.h). Each line is checked when compiled: the
// parameter specs must fit the C++ member's signature.
#include "model/dispatch_tables.h"

namespace mlr::model {

constexpr mlr::dispatch::Member kHNormsMembers[] = {
    MLR_DISP_PROPGET(IHNorms, get_Item, "Item", 0, In, Retval),
    MLR_DISP_PROPGET(IHNorms, get_Parent, "Parent", 1, Retval),
    MLR_DISP_PROPGET(IHNorms, get_Count, "Count", 2, Retval),
    MLR_DISP_METHOD(IHNorms, GetFirstEndingAfter, "GetFirstEndingAfter", 3, In, Out),
    MLR_DISP_METHOD(IHNorms, GetLastStartingBefore, "GetLastStartingBefore", 4, In, Out),
    MLR_DISP_PROPGET(IHNorms, get__NewEnum, "_NewEnum", DISPID_NEWENUM, Retval),
};
const mlr::dispatch::Table DispatchTableOf<IHNorms>::kTable =
    MLR_DISP_TABLE(IHNorms, kHNormsMembers);

constexpr mlr::dispatch::Member kHNormMembers[] = {
    MLR_DISP_PROPGET(IHNorm, get_StartTime, "StartTime", 0, Retval),
    MLR_DISP_PROPGET(IHNorm, get_Parent, "Parent", 1, Retval),
    MLR_DISP_PROPGET(IHNorm, get_Length, "Length", 2, Retval),
    MLR_DISP_PROPGET(IHNorm, get_Index, "Index", 3, Retval),
    MLR_DISP_PROPGET(IHNorm, get_XStep, "XStep", 4, Retval),
    MLR_DISP_PROPGET(IHNorm, get_Duration, "Duration", 5, Retval),
    MLR_DISP_PROPGET(IHNorm, get_EndTime, "EndTime", 6, Retval),
};
const mlr::dispatch::Table DispatchTableOf<IHNorm>::kTable =
    MLR_DISP_TABLE(IHNorm, kHNormMembers);

constexpr mlr::dispatch::Member kVNormsMembers[] = {
    MLR_DISP_PROPGET(IVNorms, get_Item, "Item", 0, In, Retval),
    MLR_DISP_PROPGET(IVNorms, get_Parent, "Parent", 1, Retval),
    MLR_DISP_PROPGET(IVNorms, get_Count, "Count", 2, Retval),
    MLR_DISP_METHOD(IVNorms, GetFromTime, "GetFromTime", 4, In, Out),
    MLR_DISP_PROPGET(IVNorms, get__NewEnum, "_NewEnum", DISPID_NEWENUM, Retval),
};
const mlr::dispatch::Table DispatchTableOf<IVNorms>::kTable =
    MLR_DISP_TABLE(IVNorms, kVNormsMembers);

constexpr mlr::dispatch::Member kVNormMembers[] = {
    MLR_DISP_PROPGET(IVNorm, get_StartTime, "StartTime", 0, Retval),
    MLR_DISP_PROPGET(IVNorm, get_Parent, "Parent", 1, Retval),
    MLR_DISP_PROPGET(IVNorm, get_Index, "Index", 2, Retval),
    MLR_DISP_PROPGET(IVNorm, get_Y0, "Y0", 3, Retval),
    MLR_DISP_PROPGET(IVNorm, get_YStep, "YStep", 4, Retval),
    MLR_DISP_PROPGET(IVNorm, get_EndTime, "EndTime", 5, Retval),
};
const mlr::dispatch::Table DispatchTableOf<IVNorm>::kTable =
    MLR_DISP_TABLE(IVNorm, kVNormMembers);

}  // namespace mlr::model
