// Fuzz target of the legacy file reader: the input is a whole recording
// file. It is opened read-only, every collection is walked and a bounded
// amount of data is read from every group and voice mark. Seeds: the
// recordings written by the reader's tests into $MLR_CORPUS_DIR/reader.
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstdio>
#include <string>

#include "platform/com_ptr.h"
#include "platform/win.h"
#include "reader/krf_loader.h"
#include "testing/recording_walk.h"

namespace {

std::string& TempPathSlot() {
  static std::string path;
  return path;
}

void RemoveTempFile() { unlink(TempPathSlot().c_str()); }

// One scratch file per process, removed at exit.
std::string TempPath() {
  std::string& path = TempPathSlot();
  if (path.empty()) {
    char name[] = "/tmp/reader_fuzz_XXXXXX";
    const int fd = mkstemp(name);
    if (fd >= 0) close(fd);
    path = name;
    std::atexit(RemoveTempFile);
  }
  return path;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string path = TempPath();
  FILE* f = std::fopen(path.c_str(), "wb");
  if (!f) return 0;
  std::fwrite(data, 1, size, f);
  std::fclose(f);
  const std::u16string wide(path.begin(), path.end());
  mlr::ComPtr<IStorage> root;
  if (FAILED(StgOpenStorage(wide.c_str(), nullptr, STGM_SHARE_EXCLUSIVE | STGM_READ, nullptr, 0,
                            root.put())) ||
      !root) {
    return 0;
  }
  mlr::ComPtr<IRecording> recording;
  if (SUCCEEDED(mlr::reader::OpenRecordingOnStorage(root.get(), recording.put())) && recording) {
    (void)mlr::testing::WalkRecording(recording.get());
  }
  return 0;
}
