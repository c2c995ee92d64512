#include "server/error_messages.h"

#include "platform/module.h"

namespace mlr {
namespace {

constexpr StringEntry kMessages[] = {
    {kMsgIndexOutOfRange, "Index out of range"},
    {kMsgRecordingCannotBeReviewed, "Recording cannot be reviewed"},
    {kMsgRecordingIsReadOnly, "Recording is read-only"},
    {kMsgRecordingDeleted, "Recording has been deleted"},
    {kMsgTimeOutOfRange, "Specfied time out of range"},
    {kMsgDataNotAvailable, "Data not available"},
    {kMsgInvalidChannelInfo, "Invalid Channelinfo specified"},
    {kMsgInvalidNormsetIndex, "Invalid normset index specified"},
    {kMsgNoHorizontalNormsets, "No horizontal normsets"},
    {kMsgBitNumberOutOfRange, "Bitnumber out of range"},
    {kMsgEventChannelOperation, "Operation cannot be done on event channels"},
    {kMsgNoVerticalNormsets, "No vertical normsets"},
    {kMsgNoSamplesInTimezone, "Timezone does not contain any samples"},
};

}  // namespace

void RegisterMessageStrings() { RegisterStrings(kMessages); }

}  // namespace mlr
