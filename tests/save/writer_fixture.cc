#include "tests/save/writer_fixture.h"

#include "testing/float_bits.h"
#include "testing/krf_writer.h"

namespace mlr::save::test {

DrivenSave WriterTest::Save(const std::vector<IChannelInfo*>& channels, double start, double end,
                            LONG options, const std::string& path, CSaveWriteQueue* writer,
                            const CSaveClock* removable) {
  DrivenSave save;
  CSaveRecording& model = *save.model;
  for (IChannelInfo* channel : channels) EXPECT_EQ(model.AddChannel(channel), S_OK);
  model.SetOptions(options);
  model.SetSpan(start, end);
  ComPtr<IStorage> root, data;
  CreateTarget(path, &root, &data);
  DATE file_time = 0;
  if (!data || FAILED(save.result = model.Align(&file_time))) return save;
  for (CSaveObject* g : model.groups()) {
    if (FAILED(save.result = g->CreateStorage(data.get()))) return save;
    g->SetWriter(writer);
    if (removable) {
      g->SetRemovable(true);
      g->SetClock(*removable);
    }
  }
  TestStop running;
  for (ULONG phase = 1; phase <= 5 && SUCCEEDED(save.result); ++phase) {
    for (CSaveObject* g : model.groups()) {
      g->Phase(phase, running);
      if (FAILED(g->error()) && SUCCEEDED(save.result)) save.result = g->error();
    }
    if (phase == 1 && SUCCEEDED(save.result) && SUCCEEDED(save.result = model.Gather())) {
      save.result = model.WriteRecording(root.get(), data.get());
    }
  }
  for (CSaveObject* g : model.groups()) {
    if (FAILED(save.result)) g->Phase(kSavePhaseCleanUp, running);
    g->Close();
  }
  EXPECT_EQ(root->Commit(STGC_DEFAULT), S_OK);
  return save;
}

void WriterTest::CreateTarget(const std::string& path, ComPtr<IStorage>* root,
                              ComPtr<IStorage>* data) {
  ASSERT_EQ(StgCreateDocfile(mlr::testing::WidePath(path).c_str(), 0x1012, 0, root->put()), S_OK);
  ASSERT_EQ((*root)->CreateStorage(u"Data", 0x1012, 0, 0, data->put()), S_OK);
}

void WriteSparseRecording(const std::string& path, uint32_t channels, uint32_t frames) {
  mlr::testing::GroupSpec group;
  group.number = 1;
  for (uint32_t c = 1; c <= channels; ++c) {
    mlr::testing::ChannelSpec channel;
    channel.number = c;
    channel.name = u"c" + std::u16string(1, char16_t(u'0' + c));
    group.channels.push_back(channel);
  }
  group.hnorms = {{0.0, 1e-6, frames}};
  group.segments = {std::vector<int16_t>(10 * channels, 1)};
  mlr::testing::RecordingSpec spec;
  spec.groups = {group};
  ASSERT_EQ(mlr::testing::WriteRecordingFile(path, spec), S_OK);
}

std::vector<IChannelInfo*> AllChannels(IRecording* r, std::vector<ComPtr<IChannelInfo>>* keep) {
  std::vector<IChannelInfo*> out;
  for (LONG g = 1; Group(r, g); ++g) {
    for (LONG c = 1; Channel(r, g, c); ++c) {
      keep->push_back(Channel(r, g, c));
      out.push_back(keep->back().get());
    }
  }
  return out;
}

std::vector<int16_t> Frames(IRecording* recording, LONG group, LONG hnorm) {
  ComPtr<IChannelGroup> g = Group(recording, group);
  ComPtr<IHNorms> hnorms;
  ComPtr<IHNorm> normset;
  LONG length = 0;
  if (!g || FAILED(g->get_HNorms(hnorms.put())) || FAILED(hnorms->get_Item(hnorm, normset.put())) ||
      !normset || FAILED(normset->get_Length(&length)) || length == 0) {
    return {};
  }
  std::vector<ComPtr<IChannelInfo>> keep;
  std::vector<IChannelInfo*> channels;
  for (LONG c = 1; Channel(g.get(), c); ++c) {
    keep.push_back(Channel(g.get(), c));
    channels.push_back(keep.back().get());
  }
  return reader::test::GetMux(g.get(), channels, hnorm, 1, length, 1).values;
}

uint32_t U32At(const std::vector<uint8_t>& b, size_t at) {
  uint32_t v = 0;
  for (int i = 3; i >= 0; --i) v = (v << 8) | b.at(at + static_cast<size_t>(i));
  return v;
}

double F64At(const std::vector<uint8_t>& b, size_t at) {
  uint64_t bits = static_cast<uint64_t>(U32At(b, at)) | (static_cast<uint64_t>(U32At(b, at + 4)) << 32);
  return mlr::testing::FromBits(bits);
}

}  // namespace mlr::save::test
