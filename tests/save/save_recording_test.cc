// SaveRecording end to end, on its own threads: argument checks, the
// replaced target, a selection that reads back through the reader, and a
// save whose k-th write fails or that is aborted at a random moment: the
// source stays as it was, no target stays behind, the status ends Ready.
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <random>
#include <thread>

#include "platform/drive_type.h"
#include "platform/file.h"
#include "platform/strings.h"
#include "save/save_start.h"
#include "save/target_file.h"
#include "testing/krf_bytes.h"
#include "tests/platform/test_objects.h"
#include "tests/save/pipeline_fixture.h"
#include "tests/save/writer_fixture.h"

namespace mlr::save::test {
namespace {

std::vector<int16_t> Ramp(size_t frames, size_t channels, int seed) {
  std::vector<int16_t> v(frames * channels);
  for (size_t i = 0; i < v.size(); ++i) v[i] = static_cast<int16_t>((i * 7 + seed * 101) % 4001 - 2000);
  return v;
}

// Three groups (so no writer thread) of different widths.
MemoryRecordingSpec ThreeGroups(size_t frames = 2600) {
  MemoryRecordingSpec spec;
  spec.comment = u"three";
  spec.utc_year = 2021;
  spec.utc_year_day = 50;
  for (int g = 0; g < 3; ++g) {
    MemoryGroupSpec group;
    const size_t channels = 1 + 2 * g;
    for (size_t c = 0; c < channels; ++c)
      group.channels.push_back(MemoryChannelSpec{u"C" + ToUtf16(std::to_string(c).c_str()), u"V",
                                                 false, {}, {{0.0, 1.0, 0.0}}});
    group.segments = {MemorySegment{0.0, 0.001 * (g + 1), Ramp(frames, channels, g)}};
    spec.groups.push_back(group);
  }
  spec.markers = {0.5};
  return spec;
}

class SaveRecordingTest : public WriterTest {
 protected:
  // SaveRecording of the whole span, or its body on `clock` when given.
  HRESULT Start(const std::vector<IChannelInfo*>& channels, const std::string& path, LONG options,
                ComPtr<ISaveRecordingProgress>* progress, const CSaveClock* clock = nullptr) {
    const double start = 0.0, end = 1e9;
    SAFEARRAY* array = ChannelList(channels, VT_VARIANT);
    BSTR name = SysAllocString(ToUtf16(path.c_str()).c_str());
    const auto flags = static_cast<kalSaveRecordingFlags>(options);
    HRESULT hr = clock ? SaveRecordingWithClock(name, &array, start, end, options, *clock,
                                                progress->put())
                       : SaveRecording(name, &array, start, end, flags, progress->put());
    SysFreeString(name);
    SafeArrayDestroy(array);
    return hr;
  }

  // The groups of `saved` hold the frames of `source`'s groups.
  static void ExpectSameFrames(IRecording* source, IRecording* saved, LONG groups) {
    for (LONG g = 1; g <= groups; ++g) {
      EXPECT_EQ(Frames(saved, g, 1), Frames(source, g, 1)) << "group " << g;
      EXPECT_FALSE(Frames(saved, g, 1).empty());
    }
  }

  // Starts the save and waits for its end; the start's failure, or S_OK.
  HRESULT Run(const std::vector<IChannelInfo*>& channels, const std::string& path, LONG options,
              kalSaveRecordingStatus* status, LONG* error, const CSaveClock* clock = nullptr) {
    ComPtr<ISaveRecordingProgress> progress;
    const HRESULT hr = Start(channels, path, options, &progress, clock);
    if (SUCCEEDED(hr)) testing::WaitForEnd(progress.get(), status, error);
    return hr;
  }
};

// A file source (the memory recording saved once) whose bytes the tests
// compare after the saves.
class FileSourceTest : public SaveRecordingTest {
 protected:
  void SetUp() override {
    SaveRecordingTest::SetUp();
    source_path_ = Path("source.krf");
    target_ = Path("target.krf");
    ComPtr<IRecording> memory = MakeMemoryRecording(ThreeGroups());
    std::vector<ComPtr<IChannelInfo>> memory_keep;
    kalSaveRecordingStatus status;
    LONG error = -1;
    ASSERT_EQ(Run(AllChannels(memory.get(), &memory_keep), source_path_, 0, &status, &error), S_OK);
    ASSERT_EQ(error, S_OK);
    ASSERT_EQ(Open(source_path_, &source_), S_OK);
    channels_ = AllChannels(source_.get(), &keep_);
    before_ = reader::test::FileBytes(source_path_);
  }
  void TearDown() override {
    EXPECT_EQ(reader::test::FileBytes(source_path_), before_) << "the source never changes";
    channels_.clear();
    keep_.clear();
    source_.reset();
    SaveRecordingTest::TearDown();
  }

  std::string source_path_, target_, before_;
  ComPtr<IRecording> source_;
  std::vector<ComPtr<IChannelInfo>> keep_;
  std::vector<IChannelInfo*> channels_;
};

TEST_F(SaveRecordingTest, ArgumentsAreCheckedBeforeTheTargetIsTouched) {
  ComPtr<IRecording> source = MakeMemoryRecording(ThreeGroups(10));
  std::vector<ComPtr<IChannelInfo>> keep;
  const std::vector<IChannelInfo*> channels = AllChannels(source.get(), &keep);
  const std::string path = Path("kept.krf");
  std::ofstream(path) << "not a recording";

  SAFEARRAY* array = ChannelList(channels, VT_VARIANT);
  BSTR name = SysAllocString(ToUtf16(path.c_str()).c_str());
  ISaveRecordingProgress* progress = reinterpret_cast<ISaveRecordingProgress*>(0x1);
  EXPECT_EQ(SaveRecording(name, &array, 0, 1, kalSaveRecordingFlags(0), nullptr), E_POINTER);
  EXPECT_EQ(SaveRecording(name, &array, 0, 1, kalSaveRecordingFlags(0x8), &progress), E_INVALIDARG);
  EXPECT_EQ(progress, nullptr);
  EXPECT_EQ(SaveRecording(nullptr, &array, 0, 1, kalSaveRecordingFlags(0), &progress), E_INVALIDARG);
  EXPECT_EQ(SaveRecording(name, nullptr, 0, 1, kalSaveRecordingFlags(0), &progress), E_INVALIDARG);
  SAFEARRAY* none = nullptr;
  EXPECT_EQ(SaveRecording(name, &none, 0, 1, kalSaveRecordingFlags(0), &progress), E_INVALIDARG);
  SAFEARRAY* empty = SafeArrayCreateVector(VT_VARIANT, 0, 0);
  EXPECT_EQ(SaveRecording(name, &empty, 0, 1, kalSaveRecordingFlags(0), &progress), E_INVALIDARG);
  SafeArrayDestroy(empty);
  // An element that is not a channel info: the recording itself.
  SAFEARRAY* wrong = ChannelList({channels[0]}, VT_VARIANT);
  VARIANT v = Object(VT_UNKNOWN, source.get());
  LONG at = 0;
  SafeArrayPutElement(wrong, &at, &v);
  EXPECT_EQ(SaveRecording(name, &wrong, 0, 1, kalSaveRecordingFlags(0), &progress), E_INVALIDARG);
  SafeArrayDestroy(wrong);
  EXPECT_EQ(progress, nullptr);
  EXPECT_EQ(reader::test::FileBytes(path), "not a recording") << "nothing touched the file";
  SafeArrayDestroy(array);
  SysFreeString(name);
}

TEST_F(SaveRecordingTest, AReadOnlyTargetIsReplacedAndTheSelectionReadsBack) {
  ComPtr<IRecording> source = MakeMemoryRecording(ThreeGroups());
  std::vector<ComPtr<IChannelInfo>> keep;
  const std::string path = Path("replaced.krf");
  std::ofstream(path) << "old";
  ASSERT_EQ(::chmod(path.c_str(), 0444), 0);
  for (LONG options : {0, kalSRF_SkipReducedStream | kalSRF_UseKSS}) {
    kalSaveRecordingStatus status;
    LONG error = -1;
    ASSERT_EQ(Run(AllChannels(source.get(), &keep), path, options, &status, &error), S_OK);
    EXPECT_EQ(status, kalSRS_Ready);
    EXPECT_EQ(error, S_OK);
    ComPtr<IRecording> saved;
    ASSERT_EQ(Open(path, &saved), S_OK) << options;
    ExpectSameFrames(source.get(), saved.get(), 3);
    saved = nullptr;  // the reader holds the file exclusively
    if (options & kalSRF_UseKSS) {
      // 4096-byte sectors (sector shift 12 in the header); 64-bit index
      // entries (group 1: one channel, one segment of 2600 frames); no
      // reduction factor in Config01; version 0x30000, the last record of
      // Intern01.
      EXPECT_EQ(reader::test::FileBytes(path).at(30), 12);
      std::vector<uint8_t> full, config, intern;
      ASSERT_TRUE(ReadStream(path, "Data/ChGroup1/MuxData02", &full));
      EXPECT_EQ(U32At(full, 4), 4u + 16);
      EXPECT_EQ(U32At(full, 12), 2600u);
      EXPECT_EQ(full.size(), 4u + 16 + 2600 * 2);
      ASSERT_TRUE(ReadStream(path, "Data/ChGroup1/Config01", &config));
      EXPECT_EQ(config, (mlr::testing::Bytes().U32(1).U32(0xFFFFFFFF).U16(0xFFFF).take()));
      ASSERT_TRUE(ReadStream(path, "Data/Intern01", &intern));
      EXPECT_EQ(U32At(intern, intern.size() - 6), 0x30000u);
    }
    std::vector<uint8_t> reduced;
    EXPECT_EQ(ReadStream(path, "Data/ChGroup3/MuxData500", &reduced),
              (options & kalSRF_SkipReducedStream) == 0);
  }
}

// A target in a folder on a removable drive makes the group pause after each
// of its smaller blocks (on the save's clock, which only the pauses move
// here); the same save to a fixed disk never pauses. Both read back whole.
TEST_F(SaveRecordingTest, ARemovableTargetPausesAfterEachBlockAFixedOneNever) {
  ComPtr<IRecording> source = MakeMemoryRecording(ThreeGroups(60000));
  ComPtr<IChannelInfo> channel = Channel(source.get(), 1, 1);  // 1 channel: blocks of 25,000
  const std::string path = Path("drive/saved.krf");
  ASSERT_TRUE(std::filesystem::create_directory(Path("drive")));
  for (UINT drive : {DRIVE_REMOVABLE, DRIVE_FIXED}) {
    SetDriveTypeForTesting(Path("drive").c_str(), drive);
    ASSERT_EQ(IsRemovableTarget(ToUtf16(path.c_str())), drive == DRIVE_REMOVABLE);
    EXPECT_EQ(GetDriveTypeA(Path("drive2").c_str()), DRIVE_NO_ROOT_DIR) << "only alike in name";
    testing::ManualClock clock;
    kalSaveRecordingStatus status;
    LONG error = -1;
    ASSERT_EQ(Run({channel.get()}, path, 0, &status, &error, &clock), S_OK);
    EXPECT_EQ(error, S_OK);
    EXPECT_EQ(clock.Pauses(), std::vector<DWORD>(drive == DRIVE_REMOVABLE ? 3 : 0, 500)) << drive;
    ComPtr<IRecording> saved;
    ASSERT_EQ(Open(path, &saved), S_OK);
    EXPECT_EQ(Frames(saved.get(), 1, 1), Frames(source.get(), 1, 1));
  }
  // A drive letter names the drive, whatever folder follows.
  SetDriveTypeForTesting("E:", DRIVE_REMOVABLE);
  EXPECT_TRUE(IsRemovableTarget(u"E:\\records\\x.krf"));
  SetDriveTypeForTesting(nullptr, 0);
}

// Every k-th write of the target fails in turn (a sample of k over a whole
// save): the save ends with the failure and leaves no file, or, when the
// failed write was not needed (none is), reads back whole; the source file
// never changes.
TEST_F(FileSourceTest, AFailedWriteAtAnyPointLeavesNoTargetAndTheSourceUntouched) {
  // A clean save counts the writes.
  FailWriteForTesting(target_.c_str(), 0);
  kalSaveRecordingStatus status;
  LONG error = -1;
  ASSERT_EQ(Run(channels_, target_, 0, &status, &error), S_OK);
  ASSERT_EQ(error, S_OK);
  const uint64_t writes = CountedWritesForTesting();
  ASSERT_GT(writes, 3u);
  std::vector<uint64_t> ks;
  const uint64_t stride = std::max<uint64_t>(1, writes / 25);
  for (uint64_t k = 1; k <= writes; k += stride) ks.push_back(k);
  ks.push_back(writes);
  for (uint64_t k : ks) {
    SCOPED_TRACE(::testing::Message() << "k = " << k << " of " << writes);
    FailWriteForTesting(target_.c_str(), k, STG_E_MEDIUMFULL);
    const HRESULT started = Run(channels_, target_, 0, &status, &error);
    if (FAILED(started)) {
      EXPECT_EQ(started, STG_E_MEDIUMFULL);
    } else if (error == S_OK) {
      ComPtr<IRecording> saved;
      ASSERT_EQ(Open(target_, &saved), S_OK);
      ExpectSameFrames(source_.get(), saved.get(), 3);
    } else {
      EXPECT_EQ(error, STG_E_MEDIUMFULL);
      EXPECT_EQ(status, kalSRS_ErrorOccurred);
      EXPECT_FALSE(std::filesystem::exists(target_));
    }
  }
  FailWriteForTesting(nullptr, 0);
}

TEST_F(FileSourceTest, AnAbortAtARandomMomentEndsReadyWithoutATarget) {
  std::mt19937 random(20261124);
  for (int round = 0; round < 12; ++round) {
    // Two groups: with the writer thread; three: without.
    std::vector<IChannelInfo*> chosen = channels_;
    if (round % 2) chosen.resize(4);  // channels of groups 1 and 2
    ComPtr<ISaveRecordingProgress> progress;
    ASSERT_EQ(Start(chosen, target_, 0, &progress), S_OK);
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 150000));
    kalSaveRecordingStatus status = kalSRS_Initializing;
    progress->get_Status(&status);
    const bool ended = status == kalSRS_Ready;
    ASSERT_EQ(progress->Abort(), S_OK);
    LONG completion = -1;
    progress->get_Completion(&completion);
    EXPECT_EQ(completion, 0);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    progress->get_Status(&status);
    while (status != kalSRS_Ready && std::chrono::steady_clock::now() < deadline) {
      EXPECT_EQ(status, kalSRS_Aborting);
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
      progress->get_Status(&status);
    }
    EXPECT_EQ(status, kalSRS_Ready) << round;
    progress = nullptr;
    // An abort after the end keeps the finished file.
    EXPECT_EQ(std::filesystem::exists(target_), ended) << round;
    std::filesystem::remove(target_);
  }
}

}  // namespace
}  // namespace mlr::save::test
