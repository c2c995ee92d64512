#include "tests/api/builder_file.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "platform/win.h"
#include "reader/krf_loader.h"
#include "testing/krf_writer.h"

namespace mlr::api::test {

ComPtr<IRecording> OpenBuilderFile(const mlr::testing::RecordingSpec& spec) {
  char name[] = "/tmp/api_test_XXXXXX";
  const int fd = mkstemp(name);
  if (fd >= 0) close(fd);
  ComPtr<IRecording> recording;
  EXPECT_EQ(mlr::testing::WriteRecordingFile(name, spec), S_OK);
  ComPtr<IStorage> root;
  const std::u16string wide = mlr::testing::WidePath(name);
  EXPECT_EQ(StgOpenStorage(wide.c_str(), nullptr, STGM_SHARE_EXCLUSIVE | STGM_READ, nullptr, 0,
                           root.put()),
            S_OK);
  if (root) {
    EXPECT_EQ(mlr::reader::OpenRecordingOnStorage(root.get(), recording.put()), S_OK);
  }
  unlink(name);
  return recording;
}

}  // namespace mlr::api::test
