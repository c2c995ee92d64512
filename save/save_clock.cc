#include "save/save_clock.h"

namespace mlr::save {
namespace {

class SystemClock final : public CSaveClock {
 public:
  DWORD Now() const override { return timeGetTime(); }
  void Pause(DWORD ms) const override { Sleep(ms); }
};

}  // namespace

const CSaveClock& SystemSaveClock() {
  static const SystemClock clock;
  return clock;
}

}  // namespace mlr::save
