#include "save/save_clock.h"

namespace mlr::save {
namespace {

class SystemClock final : public CSaveClock {
 public:
  DWORD Now() const override { return timeGetTime(); }
};

}  // namespace

const CSaveClock& SystemSaveClock() {
  static const SystemClock clock;
  return clock;
}

}  // namespace mlr::save
