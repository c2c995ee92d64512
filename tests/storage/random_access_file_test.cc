// The POSIX file seam: error kinds, short reads at the end, and a read-only
// open that neither writes nor touches the file's times.
#include "platform/random_access_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mlr::platform {
namespace {

std::string TempPath(const std::string& name) {
  auto dir = std::filesystem::temp_directory_path() / ("mlr_raf_" + std::to_string(::getpid()));
  std::filesystem::create_directories(dir);
  return (dir / name).string();
}

TEST(RandomAccessFile, ErrorKinds) {
  std::unique_ptr<RandomAccessFile> f;
  EXPECT_EQ(OpenRandomAccessFile(TempPath("missing"), OpenMode::kReadOnly, &f).error, FileError::kNotFound);
  EXPECT_EQ(OpenRandomAccessFile(TempPath("no/such/dir"), OpenMode::kCreate, &f).error, FileError::kNotFound);
  const std::string path = TempPath("exists");
  ASSERT_TRUE(OpenRandomAccessFile(path, OpenMode::kCreate, &f).ok());
  f.reset();
  EXPECT_EQ(OpenRandomAccessFile(path, OpenMode::kCreateNew, &f).error, FileError::kAlreadyExists);
  EXPECT_EQ(OpenRandomAccessFile(std::filesystem::path(path).parent_path().string(), OpenMode::kReadWrite, &f).error,
            FileError::kAccessDenied);
  if (::geteuid() != 0) {  // permissions do not bind the superuser
    ::chmod(path.c_str(), 0444);
    EXPECT_EQ(OpenRandomAccessFile(path, OpenMode::kReadWrite, &f).error, FileError::kAccessDenied);
  }
  EXPECT_TRUE(RemoveFile(path).ok());
  EXPECT_EQ(RemoveFile(path).error, FileError::kNotFound);
}

TEST(RandomAccessFile, ReadsWritesAndSizes) {
  const std::string path = TempPath("rw");
  std::unique_ptr<RandomAccessFile> f;
  ASSERT_TRUE(OpenRandomAccessFile(path, OpenMode::kCreate, &f).ok());
  ASSERT_TRUE(f->WriteAt(100, "abc", 3).ok());
  uint64_t size = 0;
  ASSERT_TRUE(f->Size(&size).ok());
  EXPECT_EQ(size, 103u);
  char buf[10] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
  size_t got = 0;
  ASSERT_TRUE(f->ReadAt(98, buf, 10, &got).ok());
  EXPECT_EQ(got, 5u);
  EXPECT_EQ(std::string(buf, 5), std::string("\0\0abc", 5));
  ASSERT_TRUE(f->SetSize(4096).ok());
  ASSERT_TRUE(f->Size(&size).ok());
  EXPECT_EQ(size, 4096u);
  ASSERT_TRUE(f->SetSize(101).ok());
  ASSERT_TRUE(f->ReadAt(0, buf, 10, &got).ok());
  EXPECT_EQ(got, 10u);
  ASSERT_TRUE(f->ReadAt(100, buf, 10, &got).ok());
  EXPECT_EQ(got, 1u);
  EXPECT_TRUE(f->Sync().ok());
  RemoveFile(path);
}

TEST(RandomAccessFile, ReadOnlyOpenLeavesTheFileAlone) {
  const std::string path = TempPath("ro");
  std::ofstream(path) << "some bytes";
  struct timespec old_times[2] = {{1000000000, 0}, {1000000000, 0}};  // atime, mtime in 2001
  ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), old_times, 0), 0);
  {
    std::unique_ptr<RandomAccessFile> f;
    ASSERT_TRUE(OpenRandomAccessFile(path, OpenMode::kReadOnly, &f).ok());
    EXPECT_FALSE(f->writable());
    char buf[4];
    size_t got = 0;
    ASSERT_TRUE(f->ReadAt(0, buf, 4, &got).ok());
    EXPECT_EQ(f->WriteAt(0, "x", 1).error, FileError::kAccessDenied);
    EXPECT_EQ(f->SetSize(0).error, FileError::kAccessDenied);
    EXPECT_EQ(f->Sync().error, FileError::kAccessDenied);
  }
  struct stat st;
  ASSERT_EQ(::stat(path.c_str(), &st), 0);
  EXPECT_EQ(st.st_mtim.tv_sec, 1000000000);
  EXPECT_EQ(st.st_atim.tv_sec, 1000000000);
  EXPECT_EQ(st.st_size, 10);
  RemoveFile(path);
}

}  // namespace
}  // namespace mlr::platform
