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
#include <fstream>
#include <iterator>
#include <string>

#include "testing/krf_writer.h"
#include "tests/save/writer_fixture.h"

namespace mlr::save::test {
namespace {

using reader::test::FileBytes;

class KrfSaveTest : public WriterTest {
 protected:
  // Runs krf with `args`; its exit status, standard error in *err.
  int Krf(const std::string& args, std::string* err) {
    const std::string krf = std::string(MLR_BINARY_DIR) + "/tools/krf/krf";
    EXPECT_EQ(access(krf.c_str(), X_OK), 0) << krf;
    const std::string err_path = Path("stderr.txt");
    const int status = std::system((krf + " " + args + " > /dev/null 2> " + err_path).c_str());
    std::ifstream in(err_path);
    err->assign(std::istreambuf_iterator<char>(in), {});
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
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
  // The normset claims 250 million frames of two channels (1 GB to write,
  // seconds of work) while the file stores ten: the save is still writing
  // data when the interrupt comes.
  mlr::testing::RecordingSpec spec;
  mlr::testing::GroupSpec group;
  group.number = 1;
  for (uint32_t c = 1; c <= 2; ++c) {
    mlr::testing::ChannelSpec channel;
    channel.number = c;
    channel.name = u"c";
    group.channels.push_back(channel);
  }
  group.hnorms = {{0.0, 1e-6, 250000000}};
  group.segments = {std::vector<int16_t>(20, 7)};
  spec.groups = {group};
  const std::string source = Path("source.krf"), target = Path("target.krf");
  ASSERT_EQ(mlr::testing::WriteRecordingFile(source, spec), S_OK);
  const std::string source_bytes = FileBytes(source);

  int err_pipe[2];
  ASSERT_EQ(pipe(err_pipe), 0);
  const std::string krf = std::string(MLR_BINARY_DIR) + "/tools/krf/krf";
  const pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    dup2(err_pipe[1], STDERR_FILENO);
    close(err_pipe[0]);
    close(err_pipe[1]);
    execl(krf.c_str(), krf.c_str(), "save", target.c_str(), source.c_str(),
          static_cast<char*>(nullptr));
    _exit(127);
  }
  close(err_pipe[1]);
  FILE* err = fdopen(err_pipe[0], "r");
  ASSERT_NE(err, nullptr);
  std::string lines;
  bool interrupted = false;
  char line[512];
  while (std::fgets(line, sizeof line, err)) {
    lines += line;
    if (!interrupted && std::string(line) == "krf save: saving data\n") {
      EXPECT_TRUE(std::filesystem::exists(target)) << "the file being written";
      ASSERT_EQ(kill(pid, SIGINT), 0);
      interrupted = true;
    }
  }
  std::fclose(err);
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);

  ASSERT_TRUE(interrupted) << lines;
  ASSERT_TRUE(WIFEXITED(status)) << lines;
  EXPECT_EQ(WEXITSTATUS(status), 130) << lines;
  EXPECT_EQ(lines.substr(lines.rfind("krf save: ")), "krf save: aborted\n") << lines;
  // Nothing a user could take for a saved recording: no target and no
  // other file beside the source, which is unchanged.
  std::vector<std::string> left;
  for (const auto& entry : std::filesystem::directory_iterator(dir_))
    left.push_back(entry.path().filename().string());
  EXPECT_EQ(left, std::vector<std::string>{"source.krf"});
  EXPECT_TRUE(FileBytes(source) == source_bytes) << "the source changed";
}

}  // namespace
}  // namespace mlr::save::test
