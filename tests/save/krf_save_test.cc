// `krf save` as a user runs it: a selection by SOURCE:GROUP:CHANNEL, status
// lines on a standard error that is not a terminal, a bad selection refused
// with a message and a non-zero exit, and Ctrl-C in the middle of a save.
#include <gtest/gtest.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "tests/save/writer_fixture.h"

namespace mlr::save::test {
namespace {

using reader::test::FileBytes;

class KrfSaveTest : public WriterTest {
 protected:
};

TEST_F(KrfSaveTest, SavesTheChosenChannelsAndReportsEachStatus) {
  std::string err;
  const std::string source = Path("sample.krf"), target = Path("picked.krf");
  ASSERT_EQ(Krf("sample " + source, &err), 0) << err;
  ASSERT_EQ(Krf("save " + target + " " + source + " --channel 1:1:2 --channel 1:2:1", &err), 0)
      << err;
  // Short states may pass between two polls; the end is always seen.
  EXPECT_EQ(err.substr(err.size() - 16), "krf save: ready\n") << err;
  EXPECT_EQ(err.find('\r'), std::string::npos) << "no progress bar off a terminal";

  ComPtr<IRecording> original, saved;
  ASSERT_EQ(Open(source, &original), S_OK);
  ASSERT_EQ(Open(target, &saved), S_OK);
  EXPECT_EQ(Name(Channel(saved.get(), 1, 1).get()), Name(Channel(original.get(), 1, 2).get()));
  EXPECT_FALSE(Channel(saved.get(), 1, 2)) << "one channel of group 1";
  EXPECT_EQ(Name(Channel(saved.get(), 2, 1).get()), Name(Channel(original.get(), 2, 1).get()));
}

TEST_F(KrfSaveTest, ABadSelectionIsRefusedAndNoTargetIsMade) {
  std::string err;
  const std::string source = Path("sample.krf"), target = Path("none.krf");
  ASSERT_EQ(Krf("sample " + source, &err), 0) << err;
  EXPECT_EQ(Krf("save " + target + " " + source + " --channel 1:9:1", &err), 1);
  EXPECT_NE(err.find("no channel 1:9:1"), std::string::npos) << err;
  EXPECT_NE(err.find("0x80070057 E_INVALIDARG"), std::string::npos) << err;
  EXPECT_EQ(Krf("save " + target + " " + source + " --channel 2:1:1", &err), 1) << "one source";
  EXPECT_FALSE(std::filesystem::exists(target));
}

TEST_F(KrfSaveTest, CtrlCDuringTheDataAbortsTheSaveAndLeavesNoTarget) {
  // Two channels of 250 million frames (1 GB to write, seconds of work): the
  // save is still writing data when the interrupt comes.
  const std::string source = Path("source.krf"), target = Path("target.krf");
  WriteSparseRecording(source, 2, 250000000);
  const std::string source_bytes = FileBytes(source);

  // The shell prints its process number, then becomes krf, whose standard
  // error is read here line by line.
  const std::string command =
      "echo $$; exec " + krf_ + " save " + target + " " + source + " 2>&1 >/dev/null";
  FILE* err = popen(command.c_str(), "r");
  ASSERT_NE(err, nullptr);
  char line[512];
  ASSERT_TRUE(std::fgets(line, sizeof line, err));
  const pid_t pid = static_cast<pid_t>(std::atol(line));
  std::string lines;
  bool interrupted = false;
  while (std::fgets(line, sizeof line, err)) {
    lines += line;
    if (!interrupted && std::string(line) == "krf save: saving data\n") {
      EXPECT_TRUE(std::filesystem::exists(target)) << "the file being written";
      ASSERT_EQ(kill(pid, SIGINT), 0);
      interrupted = true;
    }
  }
  const int status = pclose(err);

  ASSERT_TRUE(interrupted) << lines;
  ASSERT_TRUE(WIFEXITED(status)) << lines;
  EXPECT_EQ(WEXITSTATUS(status), 130) << lines;
  EXPECT_EQ(lines.substr(lines.rfind("krf save: ")), "krf save: aborted\n") << lines;
  // Nothing a user could take for a saved recording: no target and no
  // other file beside the source, which is unchanged.
  std::vector<std::string> left;
  for (const auto& entry : std::filesystem::directory_iterator(dir_.path()))
    left.push_back(entry.path().filename().string());
  EXPECT_EQ(left, std::vector<std::string>{"source.krf"});
  EXPECT_TRUE(FileBytes(source) == source_bytes) << "the source changed";
}

}  // namespace
}  // namespace mlr::save::test
