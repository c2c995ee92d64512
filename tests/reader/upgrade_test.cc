// The upgrade of old files: eligibility, void runs in the normsets, the
// write-back, the version stamp and the file times; and the read-only
// paths that never write.
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <ctime>

#include "platform/file.h"
#include "reader/krf_recording.h"
#include "reader/normset_records.h"
#include "reader/recording_properties.h"
#include "reader/text_convert.h"
#include "tests/reader/reader_fixture.h"

namespace mlr::reader::test {
namespace {

using mlr::testing::GroupSpec;
using mlr::testing::RecordingSpec;

constexpr int16_t V = -32768;

// An old file: no version record, written by an eligible application. One
// group of an analog channel (leading void run of 3 samples, two normset
// rows with a void run around the second row's start at t = 0.5) and an
// event channel full of "void" words (never touched).
RecordingSpec OldFile() {
  RecordingSpec spec;
  spec.version.reset();
  spec.app_name = "Kalvern Acquisition";
  spec.year = 2001;
  spec.day = 100;
  spec.time_of_day = 7200.0;
  GroupSpec g;
  g.number = 1;
  mlr::testing::ChannelSpec a;
  a.number = 1;
  a.name = u"A";
  a.unit = std::u16string(u"V");  // assigning the literal trips g++ 12's -Wrestrict at -O3
  a.vnorms = {{0.0, 0.0, 1.0}, {0.5, 1.0, 2.0}};
  mlr::testing::ChannelSpec e;
  e.number = 2;
  e.event = true;
  e.bits = {u"b1"};
  g.channels = {a, e};
  g.hnorms = {{0.0, 0.1, 0}};
  std::vector<int16_t> frames;
  for (int i = 0; i < 10; ++i) {
    const bool void_sample = i < 3 || i == 4 || i == 5;
    frames.push_back(void_sample ? V : static_cast<int16_t>(i));
    frames.push_back(V);
  }
  g.segments = {frames};
  spec.groups = {g};
  return spec;
}

std::vector<VNormRow> StoredVNorms(const std::string& path) {
  std::vector<uint8_t> bytes;
  ReadStream(path, "Data/ChGroup1/Channel1/VNorms01", &bytes);
  return DecodeVNorms(bytes.data(), bytes.size());
}

uint32_t StoredVersion(const std::string& path) {
  std::vector<uint8_t> bytes;
  ReadStream(path, "Data/Intern01", &bytes);
  return DecodeRecordingProperties(bytes.data(), bytes.size()).version;
}

// An old file whose second group holds only an event channel, with a reduced
// stream at factor 4 in the old offset layout: the upgrade stamps the
// version, yet the group's reduced reads still give the stored OR/AND pairs.
TEST_F(ReaderTest, UpgradeKeepsTheOffsetRepairOfAnEventOnlyGroup) {
  RecordingSpec spec = OldFile();
  GroupSpec g;
  g.number = 2;
  mlr::testing::ChannelSpec e;
  e.number = 1;
  e.event = true;
  g.channels = {e};
  g.hnorms = {{0.0, 0.1, 0}};
  g.reduction_factor = 4;
  std::vector<int16_t> words;
  for (int i = 0; i < 10; ++i) words.push_back(static_cast<int16_t>(1 << (i % 5)));
  g.segments = {words};
  spec.groups.push_back(g);
  const std::string path = Write(spec, "old_events");
  const std::vector<int16_t> pairs = mlr::testing::ReduceFrames(words, 1, {true}, 4);

  ComPtr<IRecording> r;
  ASSERT_EQ(Open(path, &r), S_OK);
  ComPtr<IChannelGroup> group = Group(r.get(), 2);
  Mux mux = GetMux(group.get(), {Channel(group.get(), 1).get()}, 1, 1, 10, 4);
  ASSERT_EQ(mux.hr, S_OK);
  EXPECT_EQ(mux.values, pairs);
  group.reset();
  r.reset();
  EXPECT_EQ(StoredVersion(path), 0x20000u);
}

// An old file opened by a name relative to the working folder: the upgrade
// marks its void runs, stamps the version and, on release, resets the file's
// times to the recording's UTC start. The recording keeps the file's full
// path: Location, TotalSize and the time reset still name that file after the
// client moves to a folder holding another file of the same name, which is
// never touched.
TEST_F(ReaderTest, UpgradeByARelativeNameChangesThatFileOnly) {
  const std::string a = Path("a"), b = Path("b");
  ASSERT_EQ(mkdir(a.c_str(), 0755), 0);
  ASSERT_EQ(mkdir(b.c_str(), 0755), 0);
  ASSERT_EQ(std::rename(Write(OldFile(), "old").c_str(), (a + "/rec.krf").c_str()), 0);
  ASSERT_EQ(std::rename(Write(mlr::testing::SampleRecording(), "big").c_str(), (b + "/rec.krf").c_str()), 0);
  struct stat sa {}, sb {};
  ASSERT_EQ(stat((a + "/rec.krf").c_str(), &sa), 0);
  ASSERT_EQ(stat((b + "/rec.krf").c_str(), &sb), 0);
  ASSERT_NE(sa.st_size / 1024, sb.st_size / 1024);

  char here[4096];
  ASSERT_TRUE(getcwd(here, sizeof here));
  ASSERT_EQ(chdir(a.c_str()), 0);
  CKrfRecording* rec = CKrfRecording::Open(u"rec.krf");
  const bool moved = chdir(b.c_str()) == 0;
  ASSERT_EQ(rec->open_result(), S_OK);
  EXPECT_TRUE(rec->upgraded());
  EXPECT_TRUE(rec->modified());
  EXPECT_EQ(rec->version(), 0x20000u);
  SHORT year = 0, day = 0;
  double seconds = 0;
  rec->get_UTCYear(&year);
  rec->get_UTCYearDay(&day);
  rec->get_UTCTimeOfDay(&seconds);
  BSTR location = nullptr;
  rec->get_Location(&location);
  EXPECT_EQ(Utf16ToAnsi(location), a);
  SysFreeString(location);
  LONG kb = -1;
  EXPECT_EQ(rec->get_TotalSize(&kb), S_OK);
  EXPECT_EQ(kb, sa.st_size / 1024);
  rec->Release();
  EXPECT_EQ(chdir(here), 0);
  ASSERT_TRUE(moved);

  const std::string path = a + "/rec.krf";
  const std::vector<VNormRow> rows = StoredVNorms(path);
  // Leading run [0, 0.3) and the run around 0.5 ([0.4, 0.6)) are void; the
  // scaling of each row continues after its run.
  ASSERT_EQ(rows.size(), 4u);
  EXPECT_TRUE(IsVoid(rows[0].y_step));
  EXPECT_DOUBLE_EQ(rows[0].start_time, 0.0);
  EXPECT_DOUBLE_EQ(rows[1].start_time, 0.3);
  EXPECT_EQ(rows[1].y_step, 1.0);
  EXPECT_DOUBLE_EQ(rows[2].start_time, 0.4);
  EXPECT_TRUE(IsVoid(rows[2].y_step));
  EXPECT_DOUBLE_EQ(rows[3].start_time, 0.6);
  EXPECT_EQ(rows[3].y_step, 2.0);
  EXPECT_EQ(StoredVersion(path), 0x20000u);

  struct tm start {};
  start.tm_year = year - 1900;
  start.tm_mday = day;  // timegm normalises day-of-January to the date
  start.tm_sec = static_cast<int>(std::lround(seconds));
  struct stat after_a {}, after_b {};
  ASSERT_EQ(stat(path.c_str(), &after_a), 0);
  ASSERT_EQ(stat((b + "/rec.krf").c_str(), &after_b), 0);
  EXPECT_EQ(after_a.st_mtime, timegm(&start));
  EXPECT_EQ(after_a.st_atime, timegm(&start));
  EXPECT_EQ(after_b.st_mtime, sb.st_mtime);
  EXPECT_EQ(after_b.st_size, sb.st_size);
}

TEST_F(ReaderTest, NoUpgradeForStampedFilesOrOtherApplications) {
  RecordingSpec stamped = OldFile();
  stamped.version = 0x20000;
  RecordingSpec foreign = OldFile();
  foreign.app_name = "Kalvern Acquisition 2";
  for (const auto& [spec, name] : {std::make_pair(stamped, "stamped"),
                                   std::make_pair(foreign, "foreign")}) {
    const std::string path = Write(spec, name);
    const std::u16string wide = AnsiToUtf16(path);
    CKrfRecording* rec = CKrfRecording::Open(wide.c_str());
    ASSERT_EQ(rec->open_result(), S_OK);
    EXPECT_FALSE(rec->upgraded()) << name;
    rec->Release();
    EXPECT_EQ(StoredVNorms(path).size(), 2u) << name;
  }
}

// Clears the file seam's write refusal however the test ends.
struct DenyWrites {
  explicit DenyWrites(const std::string& path) { DenyWriteOpensForTesting(path.c_str()); }
  ~DenyWrites() { DenyWriteOpensForTesting(nullptr); }
};

bool SameTime(const timespec& a, const timespec& b) {
  return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

// Opening read-write is refused with access denied (the file seam's test
// refusal, which also holds when the tests run as root); the recording opens
// read-only, is write-protected, answers its data with the upgraded
// normsets, and the file keeps its bytes and times.
TEST_F(ReaderTest, ReadOnlyRetryKeepsTheFileBytesAndTimes) {
  const std::string path = Write(OldFile(), "old_mode");
  ASSERT_EQ(chmod(path.c_str(), 0444), 0);
  const std::string bytes = FileBytes(path);
  ASSERT_FALSE(bytes.empty());
  struct stat before {};
  ASSERT_EQ(stat(path.c_str(), &before), 0);
  {
    DenyWrites deny(path);
    const std::u16string wide = AnsiToUtf16(path);
    ComPtr<IStorage> refused;
    EXPECT_EQ(StgOpenStorage(wide.c_str(), nullptr, STGM_READWRITE | STGM_SHARE_EXCLUSIVE, nullptr,
                             0, refused.put()),
              STG_E_ACCESSDENIED);
    CKrfRecording* rec = CKrfRecording::Open(wide.c_str());
    EXPECT_EQ(rec->open_result(), S_OK);
    EXPECT_EQ(rec->open_mode() & (STGM_WRITE | STGM_READWRITE), 0u);
    EXPECT_TRUE(rec->upgraded());
    EXPECT_FALSE(rec->modified());
    rec->Release();

    ComPtr<IRecording> r;
    ASSERT_EQ(Open(path, &r), S_OK);
    VARIANT_BOOL protect = VARIANT_FALSE;
    EXPECT_EQ(r->get_WriteProtect(&protect), S_OK);
    EXPECT_EQ(protect, VARIANT_TRUE);
    ComPtr<IVNorms> vnorms;
    ASSERT_EQ(Channel(Group(r.get(), 1).get(), 1)->get_VNorms(vnorms.put()), S_OK);
    LONG count = 0;
    vnorms->get_Count(&count);
    EXPECT_EQ(count, 4);  // the repaired view, though nothing is written
  }
  struct stat after {};
  ASSERT_EQ(stat(path.c_str(), &after), 0);
  EXPECT_TRUE(SameTime(after.st_mtim, before.st_mtim));
  EXPECT_TRUE(SameTime(after.st_atim, before.st_atim));
  EXPECT_TRUE(SameTime(after.st_ctim, before.st_ctim));
  EXPECT_EQ(FileBytes(path), bytes);
  EXPECT_EQ(StoredVersion(path), 0xFFFFFFFFu);
}

// `krf upgrade` on an old file that can only be opened read-only says so and
// fails. The tool is a separate process, so the refusal comes from the system:
// run as root, the tool is started under the unprivileged "nobody" user.
TEST_F(ReaderTest, KrfUpgradeReportsAFileThatCanOnlyBeOpenedReadOnly) {
  ASSERT_EQ(chmod(dir_.path().c_str(), 0755), 0);
  const std::string path = Write(OldFile(), "old_krf");
  ASSERT_EQ(chmod(path.c_str(), 0444), 0);
  const std::string bytes = FileBytes(path);
  std::string text;
  const int status = Krf("upgrade " + path, &text, true);
  if (status == kCannotDropRoot) GTEST_SKIP() << "cannot drop root privileges";
  EXPECT_GT(status, 0) << "exited, with a failure";
  EXPECT_NE(text.find("old file, but it can only be opened read-only"), std::string::npos) << text;
  EXPECT_EQ(FileBytes(path), bytes);
}

}  // namespace
}  // namespace mlr::reader::test
