#include "tests/reader/reader_fixture.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "reader/stream_io.h"
#include "reader/text_convert.h"
#include "server/module.h"
#include "testing/float_bits.h"
#include "testing/krf_writer.h"
#include "tests/platform/test_objects.h"

namespace mlr::reader::test {

void ReaderTest::SetUp() {
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
}

void ReaderTest::TearDown() {
  CoUninitialize();
}

std::string ReaderTest::WriteTree(const mlr::testing::FileTree& tree, const std::string& name) {
  const std::string path = Path(name + ".krf");
  EXPECT_EQ(mlr::testing::WriteRecordingFile(path, tree), S_OK) << path;
  if (const char* corpus = getenv("MLR_CORPUS_DIR")) {
    std::error_code ec;
    const std::string seeds = std::string(corpus) + "/reader";
    std::filesystem::create_directories(seeds, ec);
    const ::testing::TestInfo* info = ::testing::UnitTest::GetInstance()->current_test_info();
    std::filesystem::copy_file(
        path, seeds + "/" + info->test_suite_name() + "_" + info->name() + "_" + name + ".krf",
        std::filesystem::copy_options::overwrite_existing, ec);
  }
  return path;
}

std::string ReaderTest::Write(const mlr::testing::RecordingSpec& spec, const std::string& name) {
  return WriteTree(mlr::testing::BuildTree(spec), name);
}

int ReaderTest::Krf(const std::string& args, std::string* err, bool unprivileged) {
  EXPECT_EQ(access(krf_.c_str(), X_OK), 0) << krf_;
  const std::string command = "exec " + krf_ + " " + args;
  const std::string err_path = Path("krf_stderr.txt");
  const int err_fd = open(err_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  const int null_fd = open("/dev/null", O_WRONLY);
  EXPECT_GE(err_fd, 0) << err_path;
  const pid_t child = fork();
  if (child == 0) {
    if (dup2(null_fd, 1) < 0 || dup2(err_fd, 2) < 0) _exit(126);
    if (unprivileged && geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) {
      _exit(kCannotDropRoot);
    }
    execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  close(err_fd);
  close(null_fd);
  int status = 0;
  EXPECT_GE(child, 0);
  EXPECT_EQ(child > 0 ? waitpid(child, &status, 0) : -1, child);
  *err = FileBytes(err_path);
  return child > 0 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

HRESULT Open(const std::string& path, ComPtr<IRecording>* recording) {
  ComPtr<IClassFactory> factory;
  HRESULT hr = DllGetClassObject(CLSID_KrfLoader, IID_IClassFactory, factory.put_void());
  if (FAILED(hr)) return hr;
  ComPtr<IKrfLoader> loader;
  hr = factory->CreateInstance(nullptr, IID_IKrfLoader, loader.put_void());
  if (FAILED(hr)) return hr;
  BSTR name = SysAllocString(AnsiToUtf16(path).c_str());
  hr = loader->OpenRecording(name, recording->put());
  SysFreeString(name);
  return hr;
}

ComPtr<IRecording> MakeMemoryRecording(const model::MemoryRecordingSpec& spec) {
  ComPtr<IRecording> recording;
  EXPECT_EQ(model::CreateMemoryRecording(spec, recording.put()), S_OK);
  return recording;
}

ComPtr<IRecording> MakeMemoryRecording(const std::vector<model::MemoryGroupSpec>& groups) {
  model::MemoryRecordingSpec spec;
  spec.groups = groups;
  return MakeMemoryRecording(spec);
}

bool ReadStream(const std::string& file, const std::string& path, std::vector<uint8_t>* bytes) {
  bytes->clear();
  ComPtr<IStorage> storage;
  if (FAILED(StgOpenStorage(mlr::testing::WidePath(file).c_str(), nullptr, 0x10, nullptr, 0,
                            storage.put()))) {
    return false;
  }
  size_t from = 0;
  for (;;) {
    size_t slash = path.find('/', from);
    std::u16string name = AnsiToUtf16(path.substr(from, slash - from));
    if (slash == std::string::npos) return ReadNamedStream(storage.get(), name, 0x10, bytes);
    ComPtr<IStorage> child;
    if (FAILED(storage->OpenStorage(name.c_str(), nullptr, 0x10, nullptr, 0, child.put()))) {
      return false;
    }
    storage = child;
    from = slash + 1;
  }
}

ComPtr<IChannelGroup> Group(IRecording* r, LONG index) {
  ComPtr<IChannelGroups> groups;
  ComPtr<IChannelGroup> group;
  if (SUCCEEDED(r->get_ChannelGroups(groups.put())) && groups) groups->get_Item(index, group.put());
  return group;
}

ComPtr<IChannelInfo> Channel(IChannelGroup* g, LONG index) {
  ComPtr<IChannelInfos> infos;
  ComPtr<IChannelInfo> info;
  if (g && SUCCEEDED(g->get_ChannelInfos(infos.put())) && infos) infos->get_Item(index, info.put());
  return info;
}

ComPtr<IChannelInfo> Channel(IRecording* r, LONG group, LONG index) {
  return Channel(Group(r, group).get(), index);
}

LONG TimemarkCount(IRecording* r, kalRecordingCollection type) {
  LONG count = -1;
  if (ComPtr<ITimemarks> marks = CollectionOf<ITimemarks>(r, type)) marks->get_Count(&count);
  return count;
}

ComPtr<IChannelInfo> TriggerChannel(IRecording* r, LONG index) {
  ComPtr<IUnknown> item;
  ComPtr<IChannelInfo> channel;
  ComPtr<ITimemarks> triggers = CollectionOf<ITimemarks>(r, kalRecColTriggers);
  if (triggers && SUCCEEDED(triggers->get_Item(index, item.put())) && item) {
    if (ComPtr<ITriggerInfo> trigger = item.As<ITriggerInfo>()) trigger->get_ChannelInfo(channel.put());
  }
  return channel;
}

namespace {

template <class T>
Contents<T> Read(SAFEARRAY* array) {
  Contents<T> contents;
  if (array == nullptr) return contents;
  SafeArrayGetVartype(array, &contents.vt);
  const UINT dims = SafeArrayGetDim(array);
  size_t cells = 1;
  for (UINT d = 1; d <= dims; ++d) {
    LONG lower = 0;
    LONG upper = -1;
    SafeArrayGetLBound(array, d, &lower);
    SafeArrayGetUBound(array, d, &upper);
    contents.lowers.push_back(lower);
    contents.extents.push_back(upper - lower + 1);
    cells *= static_cast<size_t>(upper - lower + 1);
  }
  EXPECT_EQ(SafeArrayGetElemsize(array), sizeof(T));
  void* data = nullptr;
  if (cells > 0 && SUCCEEDED(SafeArrayAccessData(array, &data))) {
    contents.values.assign(static_cast<T*>(data), static_cast<T*>(data) + cells);
    SafeArrayUnaccessData(array);
  }
  return contents;
}

}  // namespace

Contents<double> Doubles(SAFEARRAY* array) { return Read<double>(array); }
Contents<int16_t> Shorts(SAFEARRAY* array) { return Read<int16_t>(array); }
Contents<float> Floats(SAFEARRAY* array) { return Read<float>(array); }

SAFEARRAY* ChannelList(const std::vector<IChannelInfo*>& channels, VARTYPE vt, LONG lower) {
  SAFEARRAY* list = SafeArrayCreateVector(vt, lower, static_cast<ULONG>(channels.size()));
  for (size_t k = 0; k < channels.size(); ++k) {
    LONG index = lower + static_cast<LONG>(k);
    VARIANT v = Object(VT_DISPATCH, channels[k]);
    void* element = vt == VT_VARIANT ? static_cast<void*>(&v) : static_cast<IDispatch*>(channels[k]);
    if (channels[k]) {
      EXPECT_EQ(SafeArrayPutElement(list, &index, element), S_OK);
    }
  }
  return list;
}

Mux GetMux(IChannelGroup* g, const std::vector<IChannelInfo*>& channels, LONG hnorm, LONG first,
           LONG count, LONG reduction) {
  Mux mux;
  SAFEARRAY* list = ChannelList(channels);
  SAFEARRAY* result = nullptr;
  mux.hr = g->GetMuxData(&list, hnorm, first, count, reduction, &result);
  SafeArrayDestroy(list);
  if (FAILED(mux.hr) || !result) return mux;
  static_cast<Contents<int16_t>&>(mux) = Shorts(result);
  SafeArrayDestroy(result);
  return mux;
}

std::vector<int16_t> Pick(const std::vector<int16_t>& frames, size_t width,
                          const std::vector<size_t>& picks, size_t first, size_t count) {
  std::vector<int16_t> out;
  for (size_t f = first; f < first + count; ++f) {
    for (size_t p : picks) out.push_back(frames[f * width + p]);
  }
  return out;
}

std::string Name(IChannelInfo* channel, LONG bit) {
  BSTR name = nullptr;
  channel->get_Name(I4(bit), &name);
  std::string text = Utf16ToAnsi(name);
  SysFreeString(name);
  return text;
}

std::string FileBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

bool IsVoid(double y_step) {
  return mlr::testing::Bits(y_step) == 0x7FFFFFFFFFFFFFFFull;
}

}  // namespace mlr::reader::test
