// IDispatch tables of the loader, the save progress, the channel resampler and the recordings shelf
// (see model/dispatch_tables.h). Each line is checked when compiled: the
// parameter specs must fit the C++ member's signature.
#include "model/dispatch_tables.h"

namespace mlr::model {

constexpr mlr::dispatch::Member kKrfLoaderMembers[] = {
    MLR_DISP_METHOD(IKrfLoader, OpenRecording, "OpenRecording", 1, In, Out),
};
const mlr::dispatch::Table DispatchTableOf<IKrfLoader>::kTable =
    MLR_DISP_TABLE(IKrfLoader, kKrfLoaderMembers);

constexpr mlr::dispatch::Member kSaveRecordingProgressMembers[] = {
    MLR_DISP_PROPGET(ISaveRecordingProgress, get_Status, "Status", 0, Retval),
    MLR_DISP_PROPGET(ISaveRecordingProgress, get_ErrorCode, "ErrorCode", 1, Retval),
    MLR_DISP_PROPGET(ISaveRecordingProgress, get_Completion, "Completion", 2, Retval),
    MLR_DISP_PROPGET(ISaveRecordingProgress, get_EstimatedTimeLeft, "EstimatedTimeLeft", 3, Retval),
    MLR_DISP_PROPGET(ISaveRecordingProgress, get_ActiveTime, "ActiveTime", 4, Retval),
    MLR_DISP_METHOD(ISaveRecordingProgress, Abort, "Abort", 5),
    MLR_DISP_PROPGET(ISaveRecordingProgress, get_SizeMultiplier, "SizeMultiplier", 6, Retval),
    MLR_DISP_PROPGET(ISaveRecordingProgress, get_EstimatedSize, "EstimatedSize", 7, Retval),
    MLR_DISP_PROPGET(ISaveRecordingProgress, get_BytesProcessed, "BytesProcessed", 8, Retval),
};
const mlr::dispatch::Table DispatchTableOf<ISaveRecordingProgress>::kTable =
    MLR_DISP_TABLE(ISaveRecordingProgress, kSaveRecordingProgressMembers);

constexpr mlr::dispatch::Member kRecordingProgressMembers[] = {
    MLR_DISP_PROPGET(IRecordingProgress, get_Status, "Status", 0, Retval),
    MLR_DISP_PROPGET(IRecordingProgress, get_ErrorCode, "ErrorCode", 1, Retval),
    MLR_DISP_PROPGET(IRecordingProgress, get_Completion, "Completion", 2, Retval),
    MLR_DISP_PROPGET(IRecordingProgress, get_EstimatedTimeLeft, "EstimatedTimeLeft", 3, Retval),
    MLR_DISP_PROPGET(IRecordingProgress, get_ActiveTime, "ActiveTime", 4, Retval),
    MLR_DISP_METHOD(IRecordingProgress, Abort, "Abort", 5),
    MLR_DISP_PROPGET(IRecordingProgress, get_SizeMultiplier, "SizeMultiplier", 6, Retval),
    MLR_DISP_PROPGET(IRecordingProgress, get_EstimatedSize, "EstimatedSize", 7, Retval),
    MLR_DISP_PROPGET(IRecordingProgress, get_BytesProcessed, "BytesProcessed", 8, Retval),
};
const mlr::dispatch::Table DispatchTableOf<IRecordingProgress>::kTable =
    MLR_DISP_TABLE(IRecordingProgress, kRecordingProgressMembers);

constexpr mlr::dispatch::Member kChannelResamplerMembers[] = {
    MLR_DISP_PROPGET(IChannelResampler, get_StartTime, "StartTime", 1, Retval),
    MLR_DISP_PROPPUT(IChannelResampler, put_StartTime, "StartTime", 1, In),
    MLR_DISP_PROPGET(IChannelResampler, get_EndTime, "EndTime", 2, Retval),
    MLR_DISP_PROPPUT(IChannelResampler, put_EndTime, "EndTime", 2, In),
    MLR_DISP_METHOD(IChannelResampler, Start, "Start", 3, In.As(VT_ARRAY | VT_DISPATCH)),
    MLR_DISP_PROPGET(IChannelResampler, get_XStep, "XStep", 4, Retval),
    MLR_DISP_PROPPUT(IChannelResampler, put_XStep, "XStep", 4, In),
    MLR_DISP_METHOD(IChannelResampler, GetNextMuxDataBuffer, "GetNextMuxDataBuffer", 5,
        Out, Out.As(VT_ARRAY | VT_R4), Out.As(VT_ARRAY | VT_I2)),
    MLR_DISP_METHOD(IChannelResampler, GetNextDataBuffers, "GetNextDataBuffers", 6, Out, Out),
    MLR_DISP_PROPGET(IChannelResampler, get_InvalidSampleValue, "InvalidSampleValue", 7, Retval),
    MLR_DISP_PROPPUT(IChannelResampler, put_InvalidSampleValue, "InvalidSampleValue", 7, In),
    MLR_DISP_PROPGET(IChannelResampler, get_Flags, "Flags", 8, Retval),
    MLR_DISP_PROPPUT(IChannelResampler, put_Flags, "Flags", 8, In),
};
const mlr::dispatch::Table DispatchTableOf<IChannelResampler>::kTable =
    MLR_DISP_TABLE(IChannelResampler, kChannelResamplerMembers);

constexpr mlr::dispatch::Member kRecordingsMembers[] = {
    MLR_DISP_PROPGET(IRecordings, get_Item, "Item", 0, In, Retval),
    MLR_DISP_PROPGET(IRecordings, get_Count, "Count", 1, Retval),
    MLR_DISP_PROPGET(IRecordings, get_Path, "Path", 2, Retval),
    MLR_DISP_PROPGET(IRecordings, get_Name, "Name", 3, Retval),
    MLR_DISP_METHOD(IRecordings, OpenRecording, "OpenRecording", 4, In, Out),
    MLR_DISP_PROPGET(IRecordings, get__NewEnum, "_NewEnum", DISPID_NEWENUM, Retval),
};
const mlr::dispatch::Table DispatchTableOf<IRecordings>::kTable =
    MLR_DISP_TABLE(IRecordings, kRecordingsMembers);

}  // namespace mlr::model
