// `krf save` as a user runs it: a selection by SOURCE:GROUP:CHANNEL, status
// lines on a standard error that is not a terminal, and a bad selection
// refused with a message and a non-zero exit.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "tests/save/writer_fixture.h"

namespace mlr::save::test {
namespace {

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
  EXPECT_EQ(NameOf(ChannelOf(saved.get(), 1, 1).get()), NameOf(ChannelOf(original.get(), 1, 2).get()));
  EXPECT_FALSE(ChannelOf(saved.get(), 1, 2)) << "one channel of group 1";
  EXPECT_EQ(NameOf(ChannelOf(saved.get(), 2, 1).get()), NameOf(ChannelOf(original.get(), 2, 1).get()));
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

}  // namespace
}  // namespace mlr::save::test
