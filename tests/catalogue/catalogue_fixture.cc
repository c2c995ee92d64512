#include "tests/catalogue/catalogue_fixture.h"

#include "platform/strings.h"

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
  const mlr::OleString braced = mlr::ToUtf16(("{" + text + "}").c_str());
  return CLSIDFromString(braced.c_str(), out) == S_OK;
}

std::string GuidText(const GUID& g) {
  OLECHAR text[39];
  return StringFromGUID2(g, text, 39) == 39 ? mlr::ToUtf8(text).substr(1, 36) : "?";
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
