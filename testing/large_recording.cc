#include "testing/large_recording.h"

#include <algorithm>
#include <vector>

#include "platform/com_ptr.h"
#include "testing/krf_builder.h"
#include "testing/krf_bytes.h"
#include "testing/krf_writer.h"

namespace mlr::testing {
namespace {

constexpr uint32_t kChunkFrames = 500000;

// A "MuxData" stream of one segment: a 12-byte index (one entry: segment 1
// at offset 12, `stored` frames), then the frames.
HRESULT WriteMux(IStorage* group, const std::u16string& name, uint32_t channels, uint32_t frames,
                 uint32_t reduction) {
  ComPtr<IStream> s;
  HRESULT hr = group->CreateStream(name.c_str(), STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE,
                                   0, 0, s.put());
  if (FAILED(hr)) return hr;
  const uint32_t stored = reduction > 1 ? (frames + reduction - 1) / reduction : frames;
  Bytes head;
  head.U32(1).U32(12).U32(stored);
  ULONG written = 0;
  hr = s->Write(head.data().data(), 12, &written);
  // Chunks are whole multiples of the reduction, so reduced runs never
  // straddle two chunks.
  const uint64_t chunk_frames = reduction > 1 ? kChunkFrames / reduction * reduction : kChunkFrames;
  std::vector<int16_t> chunk;
  std::vector<uint8_t> bytes;
  for (uint64_t start = 0; start < frames && SUCCEEDED(hr); start += chunk_frames) {
    const uint64_t n = std::min<uint64_t>(chunk_frames, frames - start);
    chunk.resize(n * channels);
    for (uint64_t f = 0; f < n; ++f) {
      for (uint32_t c = 0; c < channels; ++c) chunk[f * channels + c] = LargeSample(start + f, c);
    }
    if (reduction > 1) chunk = ReduceFrames(chunk, channels, {}, reduction);
    bytes.resize(chunk.size() * 2);
    for (size_t i = 0; i < chunk.size(); ++i) {
      bytes[2 * i] = static_cast<uint8_t>(chunk[i]);
      bytes[2 * i + 1] = static_cast<uint8_t>(static_cast<uint16_t>(chunk[i]) >> 8);
    }
    hr = s->Write(bytes.data(), static_cast<ULONG>(bytes.size()), &written);
  }
  return hr;
}

}  // namespace

int16_t LargeSample(uint64_t frame, uint32_t channel) {
  return static_cast<int16_t>((frame * 31 + channel * 977) & 0xFFFF);
}

HRESULT WriteLargeRecording(const std::string& path, uint32_t channels, uint32_t frames,
                            uint32_t reduction) {
  RecordingSpec spec;
  GroupSpec g;
  g.number = 1;
  g.reduction_factor = reduction;
  g.write_mux = false;
  g.write_reduced = false;
  for (uint32_t c = 1; c <= channels; ++c) {
    ChannelSpec ch;
    ch.number = c;
    ch.name = u"C";
    ch.vnorms = {{0, 0, 1}};
    g.channels.push_back(ch);
  }
  g.hnorms = {{0.0, 1e-5, frames}};
  spec.groups = {g};
  const std::u16string wide = WidePath(path);
  ComPtr<IStorage> root, data, group_storage;
  HRESULT hr = StgCreateDocfile(wide.c_str(), STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE,
                                0, root.put());
  if (SUCCEEDED(hr)) hr = WriteTree(root.get(), BuildTree(spec));
  const DWORD rw = STGM_READWRITE | STGM_SHARE_EXCLUSIVE;
  if (SUCCEEDED(hr)) hr = root->OpenStorage(u"Data", nullptr, rw, nullptr, 0, data.put());
  if (SUCCEEDED(hr)) hr = data->OpenStorage(u"ChGroup1", nullptr, rw, nullptr, 0, group_storage.put());
  if (SUCCEEDED(hr)) hr = WriteMux(group_storage.get(), u"MuxData02", channels, frames, 1);
  if (SUCCEEDED(hr) && reduction > 1) {
    const std::u16string reduced = u"MuxData" + WidePath(std::to_string(reduction));
    hr = WriteMux(group_storage.get(), reduced, channels, frames, reduction);
  }
  if (SUCCEEDED(hr)) hr = group_storage->Commit(STGC_DEFAULT);
  if (SUCCEEDED(hr)) hr = data->Commit(STGC_DEFAULT);
  if (SUCCEEDED(hr)) hr = root->Commit(STGC_DEFAULT);
  return hr;
}

}  // namespace mlr::testing
