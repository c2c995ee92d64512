// The module's resources where the platform keeps none in the binary
// (POSIX): the message table (server/error_messages.h) as the string table,
// and the registration scripts server/KrfLoader.rgs and
// server/ChannelResampler.rgs as resources 101 and 102 of type "REGISTRY".
// On Windows the same come from the DLL's resource section and publishing
// does nothing. Idempotent; called by DllMain at process attach.
#pragma once

namespace mlr::server {

void PublishModuleResources();

}  // namespace mlr::server
