#include "platform/strings.h"
#include "save/record_writer.h"

#include <cstring>
#include <limits>

#include "platform/com_ptr.h"

namespace mlr::save {

RecordBuilder& RecordBuilder::F64(double v) {
  uint64_t bits = 0;
  std::memcpy(&bits, &v, sizeof bits);
  return U64(bits);
}

RecordBuilder& RecordBuilder::Text(const mlr::OleString& text) {
  for (OLECHAR c : text) U16(c);
  return U16(0);
}

RecordBuilder& RecordBuilder::TagText(uint16_t tag, const mlr::OleString& text) {
  U16(tag).U32(static_cast<uint32_t>((text.size() + 1) * 2));
  return Text(text);
}

HRESULT WriteAll(IStream* stream, const void* bytes, size_t size) {
  const uint8_t* p = static_cast<const uint8_t*>(bytes);
  while (size > 0) {
    ULONG chunk = size > std::numeric_limits<ULONG>::max() / 2
                      ? std::numeric_limits<ULONG>::max() / 2
                      : static_cast<ULONG>(size);
    ULONG written = 0;
    HRESULT hr = stream->Write(p, chunk, &written);
    if (FAILED(hr)) return hr;
    if (written == 0) return STG_E_MEDIUMFULL;
    p += written;
    size -= written;
  }
  return S_OK;
}

HRESULT WriteNewStream(IStorage* storage, const mlr::OleString& name,
                       const std::vector<uint8_t>& bytes) {
  ComPtr<IStream> stream;
  HRESULT hr = storage->CreateStream(name.c_str(), kSaveStreamMode, 0, 0, stream.put());
  if (FAILED(hr)) return hr;
  return WriteAll(stream.get(), bytes.data(), bytes.size());
}

}  // namespace mlr::save
