// The POSIX file seam: short reads at the end, sizes, sharing locks, memory
// files. (Its error kinds are checked through StgOpenStorage in api_test.cc;
// that a read-only open neither writes nor touches the file's times, end to
// end through the reader's read-only open.)
#include "platform/file.h"

#include <gtest/gtest.h>

#include <filesystem>

#include <unistd.h>

namespace mlr {
namespace {

std::string TempPath(const std::string& name) {
  auto dir = std::filesystem::temp_directory_path() / ("mlr_file_" + std::to_string(::getpid()));
  std::filesystem::create_directories(dir);
  return (dir / name).string();
}

TEST(File, SharingConflictsWithinTheProcess) {
  const std::string path = TempPath("shared");
  std::unique_ptr<File> a, b;
  ASSERT_EQ(OpenFile(path.c_str(), FileMode::kCreateAlways, FileShare::kExclusive, &a), S_OK);
  ASSERT_EQ(a->WriteAt(0, "data", 4), S_OK);
  EXPECT_EQ(OpenFile(path.c_str(), FileMode::kOpenRead, FileShare::kDenyWrite, &b), STG_E_SHAREVIOLATION);
  // A refused create must not have truncated the file.
  EXPECT_EQ(OpenFile(path.c_str(), FileMode::kCreateAlways, FileShare::kExclusive, &b), STG_E_SHAREVIOLATION);
  uint64_t size = 0;
  ASSERT_EQ(a->GetSize(&size), S_OK);
  EXPECT_EQ(size, 4u);
  a.reset();
  ASSERT_EQ(OpenFile(path.c_str(), FileMode::kOpenRead, FileShare::kDenyWrite, &a), S_OK);
  EXPECT_EQ(OpenFile(path.c_str(), FileMode::kOpenRead, FileShare::kDenyWrite, &b), S_OK);
  std::filesystem::remove(path);
}

TEST(File, ReadsWritesAndSizes) {
  const std::string path = TempPath("rw");
  std::unique_ptr<File> f;
  ASSERT_EQ(OpenFile(path.c_str(), FileMode::kCreateAlways, FileShare::kDenyNone, &f), S_OK);
  ASSERT_EQ(f->WriteAt(100, "abc", 3), S_OK);
  uint64_t size = 0;
  ASSERT_EQ(f->GetSize(&size), S_OK);
  EXPECT_EQ(size, 103u);
  char buf[10] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
  size_t got = 0;
  ASSERT_EQ(f->ReadAt(98, buf, 10, &got), S_OK);
  EXPECT_EQ(got, 5u);
  EXPECT_EQ(std::string(buf, 5), std::string("\0\0abc", 5));
  ASSERT_EQ(f->SetSize(4096), S_OK);
  ASSERT_EQ(f->GetSize(&size), S_OK);
  EXPECT_EQ(size, 4096u);
  ASSERT_EQ(f->SetSize(101), S_OK);
  ASSERT_EQ(f->ReadAt(100, buf, 10, &got), S_OK);
  EXPECT_EQ(got, 1u);
  EXPECT_EQ(f->Flush(), S_OK);
  std::filesystem::remove(path);
}

TEST(File, MemoryFiles) {
  auto f = NewMemoryFile("hello", 5, true);
  char buf[8];
  size_t got = 0;
  ASSERT_EQ(f->ReadAt(3, buf, 8, &got), S_OK);
  EXPECT_EQ(std::string(buf, got), "lo");
  EXPECT_EQ(f->WriteAt(0, "x", 1), STG_E_ACCESSDENIED);
  auto g = NewMemoryFile();
  ASSERT_EQ(g->WriteAt(2, "x", 1), S_OK);
  uint64_t size = 0;
  ASSERT_EQ(g->GetSize(&size), S_OK);
  EXPECT_EQ(size, 3u);
}

}  // namespace
}  // namespace mlr
