#include "server/module_resources.h"

#include <cstring>

#include "platform/module.h"
#include "server/error_messages.h"
#include "server/registration_scripts.h"  // generated from server/*.rgs

namespace mlr::server {

void PublishModuleResources() {
  RegisterMessageStrings();
  RegisterResource("REGISTRY", 101, kKrfLoaderScript,
                   static_cast<DWORD>(std::strlen(kKrfLoaderScript)));
  RegisterResource("REGISTRY", 102, kChannelResamplerScript,
                   static_cast<DWORD>(std::strlen(kChannelResamplerScript)));
}

}  // namespace mlr::server
