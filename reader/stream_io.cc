#include "platform/strings.h"
#include "reader/stream_io.h"

#include <algorithm>

#include "platform/com_ptr.h"

namespace mlr::reader {

HRESULT SeekTo(IStream* stream, uint64_t offset) {
  LARGE_INTEGER move;
  move.QuadPart = static_cast<LONGLONG>(offset);
  return stream->Seek(move, STREAM_SEEK_SET, nullptr);
}

HRESULT ReadFully(IStream* stream, void* buffer, size_t size, size_t* got) {
  *got = 0;
  uint8_t* p = static_cast<uint8_t*>(buffer);
  while (*got < size) {
    const ULONG ask = static_cast<ULONG>(std::min<size_t>(size - *got, 0x40000000u));
    ULONG n = 0;
    HRESULT hr = stream->Read(p + *got, ask, &n);
    if (FAILED(hr)) return hr;
    *got += n;
    if (n < ask) break;
  }
  return S_OK;
}

HRESULT ReadWholeStream(IStream* stream, std::vector<uint8_t>* out) {
  out->clear();
  HRESULT hr = SeekTo(stream, 0);
  if (FAILED(hr)) return hr;
  // The size the stream reports, read in one go (most side streams are a
  // few hundred bytes: no larger buffer is cleared for them); then on in
  // small steps only if the stream holds more than it said.
  const size_t hint = static_cast<size_t>(std::min<uint64_t>(StreamSize(stream), kMaxSideStreamBytes));
  out->resize(hint);
  size_t got = 0;
  hr = ReadFully(stream, out->data(), hint, &got);
  out->resize(got);
  if (FAILED(hr) || got < hint) return hr;
  uint8_t more[4096];
  while (out->size() < kMaxSideStreamBytes) {
    const size_t ask = std::min(sizeof more, kMaxSideStreamBytes - out->size());
    hr = ReadFully(stream, more, ask, &got);
    out->insert(out->end(), more, more + got);
    if (FAILED(hr) || got < ask) return hr;
  }
  return S_OK;
}

bool ReadNamedStream(IStorage* storage, const mlr::OleString& name, DWORD mode,
                     std::vector<uint8_t>* out) {
  out->clear();
  if (!storage) return false;
  ComPtr<IStream> stream;
  if (FAILED(storage->OpenStream(name.c_str(), nullptr, mode, 0, stream.put())) || !stream) {
    return false;
  }
  (void)ReadWholeStream(stream.get(), out);  // a failed read keeps what was read
  return true;
}

uint64_t StreamSize(IStream* stream) {
  STATSTG st{};
  if (FAILED(stream->Stat(&st, STATFLAG_NONAME))) return 0;
  return st.cbSize.QuadPart;
}

}  // namespace mlr::reader
