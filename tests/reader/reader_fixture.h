// Shared helpers of the reader's and the saver's object tests: a temporary
// folder per test, recordings written there by the test builder (and copied
// as fuzz seeds into $MLR_CORPUS_DIR/reader), opened through the exported
// class object, and short ways to the groups, channels and samples of a
// recording. tests/save builds this file into its own program.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "LegacyRecording.h"
#include "model/memory_recording.h"
#include "platform/com_ptr.h"
#include "platform/win.h"
#include "testing/krf_builder.h"
#include "testing/temp_dir.h"

namespace mlr::reader::test {

class ReaderTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  std::string Path(const std::string& name) const { return dir_.Path(name); }
  // Writes `spec` (or `tree`) as <temp>/<name>.krf and returns the path.
  std::string Write(const mlr::testing::RecordingSpec& spec, const std::string& name);
  std::string WriteTree(const mlr::testing::FileTree& tree, const std::string& name);

  // Runs the krf tool with `args` (split into words by the shell) and waits
  // for it: its exit status (-1 when it did not exit), its standard error in
  // *err, its standard output dropped. With `unprivileged` a test running as
  // root runs the tool as the user "nobody" (kCannotDropRoot when it cannot).
  int Krf(const std::string& args, std::string* err, bool unprivileged = false);
  static constexpr int kCannotDropRoot = 77;

  mlr::testing::ScopedTempDir dir_;
  const std::string krf_ = std::string(MLR_BINARY_DIR) + "/tools/krf/krf";
};

// OpenRecording through DllGetClassObject(CLSID_KrfLoader).
HRESULT Open(const std::string& path, ComPtr<IRecording>* recording);

// A memory recording of `spec` (or of these groups alone), its creation
// checked.
ComPtr<IRecording> MakeMemoryRecording(const model::MemoryRecordingSpec& spec);
ComPtr<IRecording> MakeMemoryRecording(const std::vector<model::MemoryGroupSpec>& groups);

// The bytes of the stream at "/"-separated `path` below the root of `file`;
// false when it does not exist.
bool ReadStream(const std::string& file, const std::string& path, std::vector<uint8_t>* bytes);

// Items of the collections, null when missing.
ComPtr<IChannelGroup> Group(IRecording* r, LONG index);
ComPtr<IChannelInfo> Channel(IChannelGroup* g, LONG index);
ComPtr<IChannelInfo> Channel(IRecording* r, LONG group, LONG index);
// The collection `type` of `r` as `Interface` (null when missing).
template <typename Interface>
ComPtr<Interface> CollectionOf(IRecording* r, kalRecordingCollection type) {
  ComPtr<IUnknown> unknown;
  ComPtr<Interface> out;
  if (SUCCEEDED(r->get_Collection(type, unknown.put())) && unknown) out = unknown.As<Interface>();
  return out;
}
// The Count of a timemark collection; -1 when it is missing.
LONG TimemarkCount(IRecording* r, kalRecordingCollection type);
// The channel linked to trigger `index` (null when it links to none).
ComPtr<IChannelInfo> TriggerChannel(IRecording* r, LONG index);

// The shape and the elements of a safe array, in memory order.
template <class T>
struct Contents {
  VARTYPE vt = VT_EMPTY;
  std::vector<LONG> extents;  // per dimension, leftmost first
  std::vector<LONG> lowers;
  std::vector<T> values;
};
Contents<double> Doubles(SAFEARRAY* array);
Contents<int16_t> Shorts(SAFEARRAY* array);
Contents<float> Floats(SAFEARRAY* array);

// A vector (lower bound `lower`) of the channels as VT_DISPATCH, VT_UNKNOWN
// or VT_VARIANT (each a VT_DISPATCH) elements; null entries stay empty. The
// caller destroys it.
SAFEARRAY* ChannelList(const std::vector<IChannelInfo*>& channels, VARTYPE vt = VT_DISPATCH,
                       LONG lower = 0);

// GetMuxData's status and result.
struct Mux : Contents<int16_t> {
  HRESULT hr = E_FAIL;
};
Mux GetMux(IChannelGroup* g, const std::vector<IChannelInfo*>& channels, LONG hnorm, LONG first,
           LONG count, LONG reduction);

// Frames of `seg` for the kept channels, picked.
std::vector<int16_t> Pick(const std::vector<int16_t>& frames, size_t width,
                          const std::vector<size_t>& picks, size_t first, size_t count);

// The channel's name (or its bit's, for an event channel), as UTF-8.
std::string Name(IChannelInfo* channel, LONG bit = 0);

// The bytes of the file at `path` (empty when it cannot be read).
std::string FileBytes(const std::string& path);

// Whether `y_step` is the void marker of a vertical normset row.
bool IsVoid(double y_step);

}  // namespace mlr::reader::test
