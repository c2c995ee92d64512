#include "tools/krf/command.h"

#include <cstdio>

namespace {

const krf::Registrar kVersion("version", "Print the tool's version", [](CLI::App&) {
  return []() {
    std::printf("krf (movaLegacyRecording) 0.1.0\n");
    return 0;
  };
});

}  // namespace
