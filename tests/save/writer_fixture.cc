#include "tests/save/writer_fixture.h"

#include <stdlib.h>

#include <cstring>
#include <filesystem>

#include "server/module.h"
#include "reader/stream_io.h"
#include "reader/text_convert.h"
#include "save/collections_writer.h"
#include "save/recording_records.h"
#include "testing/krf_writer.h"

namespace mlr::save::test {
namespace {

ComPtr<IUnknown> Identity(IUnknown* object) {
  ComPtr<IUnknown> identity;
  if (object) object->QueryInterface(IID_IUnknown, identity.put_void());
  return identity;
}

}  // namespace

void WriterTest::SetUp() {
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  char name[] = "/tmp/save_writer_test_XXXXXX";
  ASSERT_NE(mkdtemp(name), nullptr);
  dir_ = name;
}

void WriterTest::TearDown() {
  std::error_code ec;
  std::filesystem::remove_all(dir_, ec);
  CoUninitialize();
}

DrivenSave WriterTest::Save(const std::vector<IChannelInfo*>& channels, double start, double end,
                            LONG options, const std::string& path, CSaveWriteQueue* writer) {
  DrivenSave save;
  std::vector<ComPtr<IRecording>> recordings;
  std::vector<ComPtr<IUnknown>> recording_ids, group_ids;
  for (IChannelInfo* channel : channels) {
    ComPtr<IChannelGroup> group;
    ComPtr<IRecording> recording;
    EXPECT_EQ(channel->get_ChannelGroup(group.put()), S_OK);
    EXPECT_EQ(group->get_Recording(recording.put()), S_OK);
    size_t r = 0;
    while (r < recordings.size() && recording_ids[r] != Identity(recording.get())) ++r;
    if (r == recordings.size()) {
      recordings.push_back(recording);
      recording_ids.push_back(Identity(recording.get()));
    }
    size_t g = 0;
    while (g < save.groups.size() && group_ids[g] != Identity(group.get())) ++g;
    if (g == save.groups.size()) {
      save.groups.push_back(std::make_unique<CSaveChannelGroup>(
          group.get(), static_cast<ULONG>(r), static_cast<ULONG>(g + 1)));
      save.groups.back()->SetOptions(options);
      group_ids.push_back(Identity(group.get()));
    }
    EXPECT_EQ(save.groups[g]->AddChannel(channel), S_OK);
  }
  std::vector<IRecording*> sources;
  for (auto& r : recordings) sources.push_back(r.get());
  std::vector<CSaveChannelGroup*> groups;
  for (auto& g : save.groups) groups.push_back(g.get());

  ComPtr<IStorage> root, data;
  save.result = StgCreateDocfile(mlr::testing::WidePath(path).c_str(), 0x1012, 0, root.put());
  if (FAILED(save.result)) return save;
  save.result = root->CreateStorage(u"Data", 0x1012, 0, 0, data.put());
  if (FAILED(save.result)) return save;
  save.result = AlignSaveGroups(sources, groups, start, end, options, &save.alignment);
  if (FAILED(save.result)) return save;
  for (CSaveChannelGroup* g : groups) {
    if (FAILED(save.result = g->CreateStorage(data.get()))) return save;
    g->SetWriter(writer);
  }
  TestStop running;
  for (ULONG phase = 1; phase <= 5 && SUCCEEDED(save.result); ++phase) {
    for (CSaveChannelGroup* g : groups) {
      g->Phase(phase, running);
      if (FAILED(g->error()) && SUCCEEDED(save.result)) save.result = g->error();
    }
    if (phase == 1 && SUCCEEDED(save.result)) {
      FILETIME created{};
      GetSystemTimeAsFileTime(&created);
      SaveCollections collections;
      EXPECT_EQ(WriteRecordingRecords(data.get(), sources[0], save.alignment,
                                      static_cast<ULONG>(groups.size()), options),
                S_OK);
      EXPECT_EQ(WriteSummaryInformation(root.get(), sources[0], created), S_OK);
      EXPECT_EQ(GatherCollections(sources, save.alignment, &collections), S_OK);
      WriteCollections(data.get(), collections, groups);
    }
  }
  for (CSaveChannelGroup* g : groups) {
    if (FAILED(save.result)) g->Phase(kSavePhaseCleanUp, running);
    g->Close();
  }
  EXPECT_EQ(root->Commit(STGC_DEFAULT), S_OK);
  return save;
}

HRESULT WriterTest::Open(const std::string& path, ComPtr<IRecording>* recording) {
  ComPtr<IClassFactory> factory;
  HRESULT hr = DllGetClassObject(CLSID_KrfLoader, IID_IClassFactory, factory.put_void());
  if (FAILED(hr)) return hr;
  ComPtr<IKrfLoader> loader;
  hr = factory->CreateInstance(nullptr, IID_IKrfLoader, loader.put_void());
  if (FAILED(hr)) return hr;
  BSTR name = SysAllocString(reader::AnsiToUtf16(path).c_str());
  hr = loader->OpenRecording(name, recording->put());
  SysFreeString(name);
  return hr;
}

bool WriterTest::ReadStream(const std::string& file, const std::string& path,
                            std::vector<uint8_t>* bytes) {
  bytes->clear();
  ComPtr<IStorage> storage;
  if (FAILED(StgOpenStorage(mlr::testing::WidePath(file).c_str(), nullptr, 0x10, nullptr, 0,
                            storage.put()))) {
    return false;
  }
  size_t from = 0;
  for (;;) {
    size_t slash = path.find('/', from);
    std::u16string name = reader::AnsiToUtf16(path.substr(from, slash - from));
    if (slash == std::string::npos) return reader::ReadNamedStream(storage.get(), name, 0x10, bytes);
    ComPtr<IStorage> child;
    if (FAILED(storage->OpenStorage(name.c_str(), nullptr, 0x10, nullptr, 0, child.put()))) {
      return false;
    }
    storage = child;
    from = slash + 1;
  }
}

ComPtr<IRecording> MakeMemoryRecording(const model::MemoryRecordingSpec& spec) {
  ComPtr<IRecording> recording;
  EXPECT_EQ(model::CreateMemoryRecording(spec, recording.put()), S_OK);
  return recording;
}

ComPtr<IChannelGroup> GroupOf(IRecording* recording, LONG group) {
  ComPtr<IChannelGroups> groups;
  ComPtr<IChannelGroup> out;
  if (SUCCEEDED(recording->get_ChannelGroups(groups.put())) && groups) {
    groups->get_Item(group, out.put());
  }
  return out;
}

ComPtr<IChannelInfo> ChannelOf(IRecording* recording, LONG group, LONG channel) {
  ComPtr<IChannelGroup> g = GroupOf(recording, group);
  ComPtr<IChannelInfos> infos;
  ComPtr<IChannelInfo> out;
  if (g && SUCCEEDED(g->get_ChannelInfos(infos.put())) && infos) {
    infos->get_Item(channel, out.put());
  }
  return out;
}

ComPtr<IHNorms> HNormsOf(IRecording* recording, LONG group) {
  ComPtr<IHNorms> hnorms;
  if (ComPtr<IChannelGroup> g = GroupOf(recording, group)) g->get_HNorms(hnorms.put());
  return hnorms;
}

std::vector<int16_t> Frames(IRecording* recording, LONG group, LONG hnorm) {
  std::vector<int16_t> out;
  ComPtr<IChannelGroup> g = GroupOf(recording, group);
  ComPtr<IChannelInfos> infos;
  ComPtr<IHNorms> hnorms = HNormsOf(recording, group);
  ComPtr<IHNorm> normset;
  LONG channels = 0, length = 0;
  if (!g || FAILED(g->get_ChannelInfos(infos.put())) || FAILED(infos->get_Count(&channels)) ||
      !hnorms || FAILED(hnorms->get_Item(hnorm, normset.put())) || !normset ||
      FAILED(normset->get_Length(&length)) || length == 0) {
    return out;
  }
  SAFEARRAY* list = SafeArrayCreateVector(VT_DISPATCH, 0, static_cast<ULONG>(channels));
  for (LONG c = 0; c < channels; ++c) {
    ComPtr<IChannelInfo> info;
    infos->get_Item(c + 1, info.put());
    SafeArrayPutElement(list, &c, static_cast<IDispatch*>(info.get()));
  }
  SAFEARRAY* result = nullptr;
  if (SUCCEEDED(g->GetMuxData(&list, hnorm, 1, length, 1, &result)) && result) {
    void* p = nullptr;
    if (SUCCEEDED(SafeArrayAccessData(result, &p))) {
      const int16_t* v = static_cast<const int16_t*>(p);
      out.assign(v, v + static_cast<size_t>(length) * static_cast<size_t>(channels));
      SafeArrayUnaccessData(result);
    }
    SafeArrayDestroy(result);
  }
  SafeArrayDestroy(list);
  return out;
}

std::u16string NameOf(IChannelInfo* channel, LONG bit) {
  VARIANT v;
  VariantInit(&v);
  v.vt = VT_I4;
  v.lVal = bit;
  BSTR name = nullptr;
  channel->get_Name(v, &name);
  std::u16string text = name ? name : u"";
  SysFreeString(name);
  return text;
}

uint32_t U32At(const std::vector<uint8_t>& b, size_t at) {
  uint32_t v = 0;
  for (int i = 3; i >= 0; --i) v = (v << 8) | b.at(at + static_cast<size_t>(i));
  return v;
}

double F64At(const std::vector<uint8_t>& b, size_t at) {
  uint64_t bits = static_cast<uint64_t>(U32At(b, at)) | (static_cast<uint64_t>(U32At(b, at + 4)) << 32);
  double v = 0.0;
  std::memcpy(&v, &bits, sizeof v);
  return v;
}

std::vector<int16_t> I16s(const std::vector<uint8_t>& b, size_t at, size_t count) {
  std::vector<int16_t> out(count);
  for (size_t i = 0; i < count; ++i) {
    out[i] = static_cast<int16_t>(b.at(at + 2 * i) | (b.at(at + 2 * i + 1) << 8));
  }
  return out;
}

}  // namespace mlr::save::test
