// krf sample FILE: writes the bundled sample recording (two groups at
// different rates, analog and event channels, every collection), made by
// the test builder.
#include <cstdio>
#include <string>

#include "testing/krf_writer.h"
#include "tools/krf/command.h"
#include "tools/krf/fail.h"

namespace {

const krf::Registrar kSample("sample", "Write the bundled sample recording to FILE",
                             [](CLI::App& app) {
  auto file = std::make_shared<std::string>();
  app.add_option("FILE", *file, "file to create (replaced when it exists)")->required();
  return [file]() {
    const HRESULT hr = mlr::testing::WriteRecordingFile(*file, mlr::testing::SampleRecording());
    return FAILED(hr) ? krf::Fail(*file + ": cannot write the sample", hr) : 0;
  };
});

}  // namespace
