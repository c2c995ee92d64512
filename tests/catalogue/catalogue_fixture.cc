#include "tests/catalogue/catalogue_fixture.h"

#include <cstdio>
#include <cstring>

namespace catalogue_test {

const idl::File& Idl() {
  static const idl::File file = idl::parse_file(MLR_SOURCE_DIR "/server/LegacyRecording.idl");
  return file;
}

#define CATALOGUE_IID(I) {#I, &IID_##I},
const std::vector<NamedGuid>& HeaderIids() {
  static const std::vector<NamedGuid> v = {CATALOGUE_INTERFACES(CATALOGUE_IID)};
  return v;
}
#undef CATALOGUE_IID

#define CATALOGUE_CLSID(C) {#C, &CLSID_##C}
const std::vector<NamedGuid>& HeaderClsids() {
  static const std::vector<NamedGuid> v = {
      CATALOGUE_CLSID(Recordings),       CATALOGUE_CLSID(Recording),
      CATALOGUE_CLSID(ChannelGroups),    CATALOGUE_CLSID(ChannelGroup),
      CATALOGUE_CLSID(ChannelInfos),     CATALOGUE_CLSID(ChannelInfo),
      CATALOGUE_CLSID(HNorms),           CATALOGUE_CLSID(VNorms),
      CATALOGUE_CLSID(HNorm),            CATALOGUE_CLSID(VNorm),
      CATALOGUE_CLSID(Bookmark),         CATALOGUE_CLSID(Bookmarks),
      CATALOGUE_CLSID(PhysicalChannel),  CATALOGUE_CLSID(PhysicalChannels),
      CATALOGUE_CLSID(Voicemark),        CATALOGUE_CLSID(VoiceMarks),
      CATALOGUE_CLSID(TriggerInfo),      CATALOGUE_CLSID(TriggerInfos),
      CATALOGUE_CLSID(Marker),           CATALOGUE_CLSID(Markers),
      CATALOGUE_CLSID(SaveRecordingProgress), CATALOGUE_CLSID(KrfLoader),
      CATALOGUE_CLSID(ChannelResampler), CATALOGUE_CLSID(DisplayPages),
      CATALOGUE_CLSID(DisplayPage),
  };
  return v;
}
#undef CATALOGUE_CLSID

bool ParseGuid(const std::string& text, GUID* out) {
  if (text.size() != 36 || text[8] != '-' || text[13] != '-' || text[18] != '-' ||
      text[23] != '-')
    return false;
  unsigned b[16];
  int used = 0;
  int n = std::sscanf(text.c_str(),
                      "%2x%2x%2x%2x-%2x%2x-%2x%2x-%2x%2x-%2x%2x%2x%2x%2x%2x%n", &b[0],
                      &b[1], &b[2], &b[3], &b[4], &b[5], &b[6], &b[7], &b[8], &b[9],
                      &b[10], &b[11], &b[12], &b[13], &b[14], &b[15], &used);
  if (n != 16 || used != 36) return false;
  out->Data1 = (b[0] << 24) | (b[1] << 16) | (b[2] << 8) | b[3];
  out->Data2 = static_cast<unsigned short>((b[4] << 8) | b[5]);
  out->Data3 = static_cast<unsigned short>((b[6] << 8) | b[7]);
  for (int i = 0; i < 8; ++i) out->Data4[i] = static_cast<unsigned char>(b[8 + i]);
  return true;
}

std::string GuidText(const GUID& g) {
  char buf[40];
  std::snprintf(buf, sizeof buf, "%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X",
                static_cast<unsigned>(g.Data1), g.Data2, g.Data3, g.Data4[0], g.Data4[1],
                g.Data4[2], g.Data4[3], g.Data4[4], g.Data4[5], g.Data4[6], g.Data4[7]);
  return buf;
}

std::string CppName(const idl::Member& m) {
  switch (m.kind) {
    case idl::Kind::PropGet: return "get_" + m.name;
    case idl::Kind::PropPut: return "put_" + m.name;
    case idl::Kind::Method: break;
  }
  return m.name;
}

}  // namespace catalogue_test
