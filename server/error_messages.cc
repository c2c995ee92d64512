#include "server/error_messages.h"

#include "platform/module.h"

namespace mlr {
namespace {

constexpr StringEntry kMessages[] = {
#define MLR_MESSAGE(number, name, text) {name, text},
#include "server/error_messages.inc"
#undef MLR_MESSAGE
};

}  // namespace

void RegisterMessageStrings() { RegisterStrings(kMessages); }

}  // namespace mlr
