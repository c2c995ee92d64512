// Shared by the catalogue tests: the parsed server/LegacyRecording.idl and the
// C++ names the public header gives to its identifiers.
#pragma once

#include <string>
#include <vector>

#include "LegacyRecording.h"
#include "tests/catalogue/idl_parser.h"

// Every interface of the library, in IDL order: X(IRecording) ...
#define CATALOGUE_INTERFACES(X) \
  X(IRecording) X(IChannelGroups) X(IChannelGroup) X(IChannelInfos) X(IChannelInfo) X(IHNorms) \
  X(IHNorm) X(IVNorms) X(IVNorm) X(ITimemark) X(ITimemarks) X(IVoiceMark) X(IVoiceMarks) \
  X(ITriggerInfo) X(ITriggerInfos) X(IMarker) X(IMarkers) X(IBookmark) X(IBookmarks) \
  X(IPhysicalChannel) X(IPhysicalChannels) X(IDisplayPage) X(IDisplayPages) X(IKrfLoader) \
  X(ISaveRecordingProgress) X(IRecordingProgress) X(IChannelResampler) X(IRecordings)

namespace catalogue_test {

// The IDL file of the source tree, parsed once; a parse error fails every
// test that asks for it.
const idl::File& Idl();

struct NamedGuid {
  const char* name;  // the IDL name: "IRecording", "KrfLoader"
  const GUID* guid;  // IID_IRecording, CLSID_KrfLoader
};

// Every IID_ and CLSID_ constant of the header, by IDL name.
const std::vector<NamedGuid>& HeaderIids();
const std::vector<NamedGuid>& HeaderClsids();

// "4B524601-0001-4D4C-9A52-6C6567616379" -> GUID (false when malformed) and
// back, through the platform's GUID text functions.
bool ParseGuid(const std::string& text, GUID* out);
std::string GuidText(const GUID& g);

// The C++ name of an IDL member: get_X, put_X or the method's own name.
std::string CppName(const idl::Member& m);

}  // namespace catalogue_test
